// TEMPORARY: placeholders replaced by the real family files.
#include "frame/entry.hpp"
KplStatus KPL_IMPL(kplsFlip_8u)(const Kpl8u* pSrc, Kpl8u* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_8u_I)(Kpl8u* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_16u)(const Kpl16u* pSrc, Kpl16u* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_16u_I)(Kpl16u* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_32f_I)(Kpl32f* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_32fc_I)(Kpl32fc* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_64f_I)(Kpl64f* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsFlip_64fc_I)(Kpl64fc* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_16u)(const Kpl16u* pSrc, Kpl16u* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_16u_I)(Kpl16u* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_24u)(const Kpl24u* pSrc, Kpl24u* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_24u_I)(Kpl24u* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_32u)(const Kpl32u* pSrc, Kpl32u* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_32u_I)(Kpl32u* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_64u)(const Kpl64u* pSrc, Kpl64u* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSwapBytes_64u_I)(Kpl64u* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsReal_16sc)(const Kpl16sc* pSrc, Kpl16s* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsReal_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsReal_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsImag_16sc)(const Kpl16sc* pSrc, Kpl16s* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsImag_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsImag_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsCplxToReal_16sc)(const Kpl16sc* pSrc, Kpl16s* pDstRe, Kpl16s* pDstIm, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsCplxToReal_32fc)(const Kpl32fc* pSrc, Kpl32f* pDstRe, Kpl32f* pDstIm, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsCplxToReal_64fc)(const Kpl64fc* pSrc, Kpl64f* pDstRe, Kpl64f* pDstIm, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsRealToCplx_16s)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16sc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsRealToCplx_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsRealToCplx_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConj_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConj_16sc_I)(Kpl16sc* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConj_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConj_32fc_I)(Kpl32fc* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConj_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConj_64fc_I)(Kpl64fc* pSrcDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConjFlip_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConjFlip_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsConjFlip_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return kplStsBadSize; }
