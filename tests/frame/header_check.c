/* The public headers compile as C99 with every warning an error. */
#include "kpls.h"

int kpls_header_check_c(void);

int kpls_header_check_c(void) {
  Kpl32fc z = {1.0f, -1.0f};
  Kpl24s s24 = {{1, 2, 3}};
  KplStatus st = kplStsOk;
  (void)z;
  (void)s24;
  return st + (int)sizeof(KplLibraryVersion) * 0 + KPL_FFT_DIV_BY_SQRTN * 0 + kplRndFinancial * 0;
}
