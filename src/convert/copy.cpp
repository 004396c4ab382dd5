// Copy in every type: one byte kernel on len * element size bytes. The vectors
// must not overlap; Move is the form for those that do.
#include "convert/move_kernels.hpp"
#include "frame/entry.hpp"

using namespace kpl;

KplStatus KPL_IMPL(kplsCopy_8u)(const Kpl8u* pSrc, Kpl8u* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_32sc)(const Kpl32sc* pSrc, Kpl32sc* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64s)(const Kpl64s* pSrc, Kpl64s* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCopy_64sc)(const Kpl64sc* pSrc, Kpl64sc* pDst, int len) { return bytewise<copy_bytes>(pSrc, pDst, len); }
