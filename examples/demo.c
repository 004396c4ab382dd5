/* A first look at kpls: the version record, aligned memory and a few calls with
   their statuses, through nothing but the public C interface. */
#include <stdio.h>

#include "kpls.h"

static const char* status_name(KplStatus st) {
  switch (st) {
    case kplStsOk: return "kplStsOk";
    case kplStsNullPointer: return "kplStsNullPointer";
    case kplStsBadSize: return "kplStsBadSize";
    default: return "other";
  }
}

static void show(const char* call, KplStatus st) { printf("  %-44s -> %4d %s\n", call, st, status_name(st)); }

int main(void) {
  const KplLibraryVersion* v = kplsGetLibVersion();
  printf("%s %s (%d.%d.%d.%d, tier %s, %s)\n", v->name, v->version, v->major, v->minor, v->majorBuild, v->build,
         v->targetCpu, v->buildDate);

  enum { kLen = 8 };
  Kpl32f* a = kplsMalloc_32f(kLen);
  Kpl32f* b = kplsMalloc_32f(kLen);
  Kpl32fc* z = kplsMalloc_32fc(kLen);
  if (!a || !b || !z) {
    fprintf(stderr, "out of memory\n");
    return 1;
  }
  printf("kplsMalloc_32f(%d) gave %p (%s on 32 bytes)\n", kLen, (void*)a, ((size_t)a & 31) ? "not" : "aligned");

  printf("calls:\n");
  show("kplsSet_32f(0.5f, a, 8)", kplsSet_32f(0.5f, a, kLen));
  show("kplsCopy_32f(a, b, 8)", kplsCopy_32f(a, b, kLen));
  show("kplsZero_32f(b, 3)", kplsZero_32f(b, 3));
  show("kplsRealToCplx_32f(a, b, z, 8)", kplsRealToCplx_32f(a, b, z, kLen));
  show("kplsConj_32fc_I(z, 8)", kplsConj_32fc_I(z, kLen));
  show("kplsFlip_32fc_I(z, 8)", kplsFlip_32fc_I(z, kLen));
  printf("  z = ");
  for (int i = 0; i < kLen; ++i) printf("(%g,%g) ", z[i].re, z[i].im);
  printf("\n");
  show("kplsCopy_32f(a, NULL, 8)", kplsCopy_32f(a, NULL, kLen));
  show("kplsCopy_32f(a, b, 0)", kplsCopy_32f(a, b, 0));

  kplsFree(a);
  kplsFree(b);
  kplsFree(z);
  return 0;
}
