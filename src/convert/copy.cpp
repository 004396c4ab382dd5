// Copy in every type: one byte kernel on len * element size bytes. The vectors
// must not overlap; Move is the form for those that do.
#include "convert/move_kernels.hpp"
#include "frame/entry.hpp"

using namespace kpl;

namespace {
template <class T>
KplStatus copy(const T* src, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  copy_bytes(bytes_of(src), bytes_of(dst), static_cast<size_t>(len) * sizeof(T));
  return kplStsOk;
}
}  // namespace

KplStatus KPL_IMPL(kplsCopy_8u)(const Kpl8u* pSrc, Kpl8u* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32sc)(const Kpl32sc* pSrc, Kpl32sc* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64s)(const Kpl64s* pSrc, Kpl64s* pDst, int len) { return copy(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64sc)(const Kpl64sc* pSrc, Kpl64sc* pDst, int len) { return copy(pSrc, pDst, len); }
