// SubC in every type and form: pDst[n] = pSrc[n] - val, the scaled forms
// rounded and saturated by the scale-factor rule; an unsigned difference below
// 0 is 0. The in-place forms are the same entries with the vector as source and
// destination.
#include "arith/const_kernels.hpp"

using namespace kpl;

namespace {

// Floating tuning: stores that bypass the cache above this many 32-byte blocks
// out of place, prefetching above this many elements in place (0: never).
constexpr FloatTuning kSubC32f{.stream_blocks = 0, .prefetch_elements = 262144};
constexpr FloatTuning kSubC64f{.stream_blocks = 16384, .prefetch_elements = 131072};
constexpr FloatTuning kSubC32fc{.stream_blocks = 32768, .prefetch_elements = 131072};
constexpr FloatTuning kSubC64fc{.stream_blocks = 32768, .prefetch_elements = 32768};

// Scale limits: a zero fill above zero_above, saturation by sign below bound_below.
constexpr ScaleLimits kSubC8u{.zero_above = 8, .bound_below = -7};      // differences up to 255
constexpr ScaleLimits kSubC16s{.zero_above = 16, .bound_below = -15};
// 16u: past -15 every non-zero difference saturates, which is the bound class.
constexpr ScaleLimits kSubC16u{.zero_above = 16, .bound_below = -15};
constexpr ScaleLimits kSubC32s{.zero_above = 32, .bound_below = -30};

template <FloatTuning T, class E>
KplStatus sub_c_float(const E* s, E v, E* d, int len) {
  constexpr bool kZeroShortcut = PartsOf<E>::kCount == 1;  // complex constants have none
  return float_const<SubCOp, T, kZeroShortcut>(s, v, d, len);
}

}  // namespace

KplStatus KPL_IMPL(kplsSubC_32f)(const Kpl32f* pSrc, Kpl32f val, Kpl32f* pDst, int len) { return sub_c_float<kSubC32f>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsSubC_32f_I)(Kpl32f val, Kpl32f* pSrcDst, int len) { return sub_c_float<kSubC32f>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSubC_64f)(const Kpl64f* pSrc, Kpl64f val, Kpl64f* pDst, int len) { return sub_c_float<kSubC64f>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsSubC_64f_I)(Kpl64f val, Kpl64f* pSrcDst, int len) { return sub_c_float<kSubC64f>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSubC_32fc)(const Kpl32fc* pSrc, Kpl32fc val, Kpl32fc* pDst, int len) { return sub_c_float<kSubC32fc>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsSubC_32fc_I)(Kpl32fc val, Kpl32fc* pSrcDst, int len) { return sub_c_float<kSubC32fc>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSubC_64fc)(const Kpl64fc* pSrc, Kpl64fc val, Kpl64fc* pDst, int len) { return sub_c_float<kSubC64fc>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsSubC_64fc_I)(Kpl64fc val, Kpl64fc* pSrcDst, int len) { return sub_c_float<kSubC64fc>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSubC_8u_Sfs)(const Kpl8u* pSrc, Kpl8u val, Kpl8u* pDst, int len, int scaleFactor) { return narrow_const<SubCOp, kSubC8u>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_8u_ISfs)(Kpl8u val, Kpl8u* pSrcDst, int len, int scaleFactor) { return narrow_const<SubCOp, kSubC8u>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16s_Sfs)(const Kpl16s* pSrc, Kpl16s val, Kpl16s* pDst, int len, int scaleFactor) { return narrow_const<SubCOp, kSubC16s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16s_ISfs)(Kpl16s val, Kpl16s* pSrcDst, int len, int scaleFactor) { return narrow_const<SubCOp, kSubC16s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc val, Kpl16sc* pDst, int len, int scaleFactor) { return narrow_const<SubCOp, kSubC16s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16sc_ISfs)(Kpl16sc val, Kpl16sc* pSrcDst, int len, int scaleFactor) { return narrow_const<SubCOp, kSubC16s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16u_Sfs)(const Kpl16u* pSrc, Kpl16u val, Kpl16u* pDst, int len, int scaleFactor) { return const_16u<SubCOp, kSubC16u>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16u_ISfs)(Kpl16u val, Kpl16u* pSrcDst, int len, int scaleFactor) { return const_16u<SubCOp, kSubC16u>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_32s_Sfs)(const Kpl32s* pSrc, Kpl32s val, Kpl32s* pDst, int len, int scaleFactor) { return wide32_const<SubCOp, kSubC32s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_32s_ISfs)(Kpl32s val, Kpl32s* pSrcDst, int len, int scaleFactor) { return wide32_const<SubCOp, kSubC32s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32sc val, Kpl32sc* pDst, int len, int scaleFactor) { return wide32_const<SubCOp, kSubC32s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_32sc_ISfs)(Kpl32sc val, Kpl32sc* pSrcDst, int len, int scaleFactor) { return wide32_const<SubCOp, kSubC32s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSubC_16s_I)(Kpl16s val, Kpl16s* pSrcDst, int len) { return narrow_const<SubCOp, kSubC16s>(pSrcDst, val, pSrcDst, len, 0); }
