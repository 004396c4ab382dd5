// Set and Zero in every type: Set has one fill kernel per element width, Zero is
// a fill of bytes.
#include "convert/move_kernels.hpp"
#include "frame/entry.hpp"

using namespace kpl;

namespace {
template <class T>
KplStatus set(T val, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, dst)) return st;
  fill_elements<sizeof(T)>(bytes_of(dst), &val, static_cast<size_t>(len));
  return kplStsOk;
}

template <class T>
KplStatus zero(T* dst, int len) {
  if (KplStatus st = check_vector_args(len, dst)) return st;
  const uint8_t zero_byte = 0;
  fill_elements<1>(bytes_of(dst), &zero_byte, static_cast<size_t>(len) * sizeof(T));
  return kplStsOk;
}
}  // namespace

KplStatus KPL_IMPL(kplsSet_8u)(Kpl8u val, Kpl8u* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_16s)(Kpl16s val, Kpl16s* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_16sc)(Kpl16sc val, Kpl16sc* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_32f)(Kpl32f val, Kpl32f* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_32fc)(Kpl32fc val, Kpl32fc* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_32s)(Kpl32s val, Kpl32s* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_32sc)(Kpl32sc val, Kpl32sc* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_64f)(Kpl64f val, Kpl64f* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_64fc)(Kpl64fc val, Kpl64fc* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_64s)(Kpl64s val, Kpl64s* pDst, int len) { return set(val, pDst, len); }
KplStatus KPL_IMPL(kplsSet_64sc)(Kpl64sc val, Kpl64sc* pDst, int len) { return set(val, pDst, len); }

KplStatus KPL_IMPL(kplsZero_8u)(Kpl8u* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_16s)(Kpl16s* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_16sc)(Kpl16sc* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_32f)(Kpl32f* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_32fc)(Kpl32fc* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_32s)(Kpl32s* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_32sc)(Kpl32sc* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_64f)(Kpl64f* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_64fc)(Kpl64fc* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_64s)(Kpl64s* pDst, int len) { return zero(pDst, len); }
KplStatus KPL_IMPL(kplsZero_64sc)(Kpl64sc* pDst, int len) { return zero(pDst, len); }
