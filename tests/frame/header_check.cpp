// The public headers compile as C++ with every warning an error.
#include "kpls.h"

extern "C" int kpls_header_check_c(void);

int kpls_header_check_cxx() {
  Kpl64fc z = {1.0, -1.0};
  static_assert(sizeof(Kpl24u) == 3 && sizeof(Kpl24s) == 3, "24-bit elements are packed");
  static_assert(sizeof(KplStatus) == 4 && sizeof(KplRoundMode) == 4, "32-bit statuses and enumerations");
  return static_cast<int>(z.re) - 1 + kpls_header_check_c();
}
