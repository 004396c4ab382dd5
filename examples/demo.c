/* A first look at kpls: the version record, aligned memory and a few calls with
   their statuses (moves, statistics, a real FFT, a conversion), through nothing
   but the public C interface. */
#include <stdio.h>

#include "kpls.h"

static const char* status_name(KplStatus st) {
  switch (st) {
    case kplStsOk: return "kplStsOk";
    case kplStsNullPointer: return "kplStsNullPointer";
    case kplStsBadSize: return "kplStsBadSize";
    case kplStsBadContext: return "kplStsBadContext";
    default: return "other";
  }
}

static void show(const char* call, KplStatus st) { printf("  %-52s -> %4d %s\n", call, st, status_name(st)); }

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

  /* A tone through a real FFT: the spectrum's peak sits in bin 2, and the
     statistics of the signal come back with their statuses too. */
  for (int i = 0; i < kLen; ++i) a[i] = (Kpl32f)(i % 4 < 2 ? 1 : -1);
  Kpl32f mean = 0, norm = 0, ccs[kLen + 2];
  show("kplsMean_32f(a, 8, &mean, kplAlgHintNone)", kplsMean_32f(a, kLen, &mean, kplAlgHintNone));
  show("kplsNorm_L2_32f(a, 8, &norm)", kplsNorm_L2_32f(a, kLen, &norm));
  printf("  mean %g, L2 norm %g\n", mean, norm);
  KplsFFTSpec_R_32f* plan = NULL;
  show("kplsFFTInitAlloc_R_32f(&plan, 3, ...)", kplsFFTInitAlloc_R_32f(&plan, 3, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone));
  show("kplsFFTFwd_RToCCS_32f(a, ccs, plan, NULL)", kplsFFTFwd_RToCCS_32f(a, ccs, plan, NULL));
  printf("  |X[k]| = ");
  for (int k = 0; k <= kLen / 2; ++k) {
    Kpl32f m = 0;
    kplsMagnitude_32f(&ccs[2 * k], &ccs[2 * k + 1], &m, 1);
    printf("%.3g ", m);
  }
  printf("\n");
  show("kplsFFTFree_R_32f(plan)", kplsFFTFree_R_32f(plan));
  show("kplsFFTFree_R_32f(plan) again", kplsFFTFree_R_32f(plan));
  Kpl16s pcm[kLen];
  show("kplsConvert_32f16s_Sfs(a, pcm, 8, kplRndNear, -14)", kplsConvert_32f16s_Sfs(a, pcm, kLen, kplRndNear, -14));
  printf("  pcm[0] = %d, pcm[2] = %d\n", pcm[0], pcm[2]);

  show("kplsCopy_32f(a, NULL, 8)", kplsCopy_32f(a, NULL, kLen));
  show("kplsCopy_32f(a, b, 0)", kplsCopy_32f(a, b, 0));

  kplsFree(a);
  kplsFree(b);
  kplsFree(z);
  return 0;
}
