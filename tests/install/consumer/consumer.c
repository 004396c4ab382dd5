/* Links the installed library and checks a call end to end. */
#include <stdio.h>
#include <string.h>

#include <kpls.h>

int main(void) {
  const KplLibraryVersion* v = kplsGetLibVersion();
  Kpl32f src[5] = {1, 2, 3, 4, 5}, dst[5] = {0};
  if (v->major != 7 || kplsCopy_32f(src, dst, 5) != kplStsOk || memcmp(src, dst, sizeof src) != 0) {
    fprintf(stderr, "consumer: the installed library misbehaves\n");
    return 1;
  }
  if (kplsCopy_32f(src, NULL, 5) != kplStsNullPointer) return 1;
  printf("consumer: %s %s\n", v->name, v->version);
  return 0;
}
