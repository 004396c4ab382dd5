// Move in every type: a byte copy of vectors that may overlap, run in the
// direction that reads each source byte before it is overwritten.
#include "convert/move_kernels.hpp"
#include "frame/entry.hpp"

using namespace kpl;

KplStatus KPL_IMPL(kplsMove_8u)(const Kpl8u* pSrc, Kpl8u* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_32sc)(const Kpl32sc* pSrc, Kpl32sc* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_64s)(const Kpl64s* pSrc, Kpl64s* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsMove_64sc)(const Kpl64sc* pSrc, Kpl64sc* pDst, int len) { return bytewise<move_bytes>(pSrc, pDst, len); }
