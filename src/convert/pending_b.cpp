// TEMPORARY: placeholders replaced by the real family files.
#include "frame/entry.hpp"
KplStatus KPL_IMPL(kplsCopy_1u)(const Kpl8u* pSrc, int srcBitOffset, Kpl8u* pDst, int dstBitOffset, int len) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsPackBits_32u8u)(const Kpl32u* pSrc, const Kpl32s* pSrcBits, int len, Kpl8u* pDst, int dstBitOffset, int* pDstBitOffset) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsJoin_32f16s_D2L)(const Kpl32f* const* pSrc, int nChannels, int chanLen, Kpl16s* pDst) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsJoinScaled_32f16s_D2L)(const Kpl32f* const* pSrc, int nChannels, int chanLen, Kpl16s* pDst) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsJoinScaled_32f24s_D2L)(const Kpl32f* const* pSrc, int nChannels, int chanLen, Kpl24s* pDst) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSplitScaled_16s32f_D2L)(const Kpl16s* pSrc, Kpl32f** pDst, int nChannels, int chanLen) { return kplStsBadSize; }
KplStatus KPL_IMPL(kplsSplitScaled_24s32f_D2L)(const Kpl24s* pSrc, Kpl32f** pDst, int nChannels, int chanLen) { return kplStsBadSize; }
