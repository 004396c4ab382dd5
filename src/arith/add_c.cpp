// AddC in every type and form: pDst[n] = pSrc[n] + val, the scaled forms
// rounded and saturated by the scale-factor rule. The in-place forms are the
// same entries with the vector as source and destination.
#include "arith/const_kernels.hpp"

using namespace kpl;

namespace {

// Floating tuning: stores that bypass the cache above this many 32-byte blocks
// out of place, prefetching above this many elements in place (0: never).
constexpr FloatTuning kAddC32f{.stream_blocks = 0, .prefetch_elements = 262144};
constexpr FloatTuning kAddC64f{.stream_blocks = 0, .prefetch_elements = 131072};
constexpr FloatTuning kAddC32fc{.stream_blocks = 0, .prefetch_elements = 131072};
constexpr FloatTuning kAddC64fc{.stream_blocks = 16384, .prefetch_elements = 32768};

// Scale limits: a zero fill above zero_above, saturation by sign below bound_below.
constexpr ScaleLimits kAddC8u{.zero_above = 9, .bound_below = -7};      // sums up to 510
constexpr ScaleLimits kAddC16s{.zero_above = 16, .bound_below = -15};   // |sums| up to 65536
constexpr ScaleLimits kAddC16u{.zero_above = 17, .bound_below = -15};   // sums up to 131070
constexpr ScaleLimits kAddC32s{.zero_above = 32, .bound_below = -30};   // |sums| up to 2^32
// 65-bit sums: -2^64 still rounds to -1 at s = 65 when ties go away from zero.
constexpr ScaleLimits kAddC64s{.zero_above = 65, .bound_below = -62};
constexpr ScaleLimits kAddC64u{.zero_above = 65, .bound_below = -63};   // sums up to 2^65 - 2

template <FloatTuning T, class E>
KplStatus add_c_float(const E* s, E v, E* d, int len) {
  constexpr bool kZeroShortcut = PartsOf<E>::kCount == 1;  // complex constants have none
  return float_const<AddCOp, T, kZeroShortcut>(s, v, d, len);
}

}  // namespace

KplStatus KPL_IMPL(kplsAddC_32f)(const Kpl32f* pSrc, Kpl32f val, Kpl32f* pDst, int len) { return add_c_float<kAddC32f>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsAddC_32f_I)(Kpl32f val, Kpl32f* pSrcDst, int len) { return add_c_float<kAddC32f>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAddC_64f)(const Kpl64f* pSrc, Kpl64f val, Kpl64f* pDst, int len) { return add_c_float<kAddC64f>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsAddC_64f_I)(Kpl64f val, Kpl64f* pSrcDst, int len) { return add_c_float<kAddC64f>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAddC_32fc)(const Kpl32fc* pSrc, Kpl32fc val, Kpl32fc* pDst, int len) { return add_c_float<kAddC32fc>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsAddC_32fc_I)(Kpl32fc val, Kpl32fc* pSrcDst, int len) { return add_c_float<kAddC32fc>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAddC_64fc)(const Kpl64fc* pSrc, Kpl64fc val, Kpl64fc* pDst, int len) { return add_c_float<kAddC64fc>(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsAddC_64fc_I)(Kpl64fc val, Kpl64fc* pSrcDst, int len) { return add_c_float<kAddC64fc>(pSrcDst, val, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAddC_8u_Sfs)(const Kpl8u* pSrc, Kpl8u val, Kpl8u* pDst, int len, int scaleFactor) { return narrow_const<AddCOp, kAddC8u>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_8u_ISfs)(Kpl8u val, Kpl8u* pSrcDst, int len, int scaleFactor) { return narrow_const<AddCOp, kAddC8u>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_16s_Sfs)(const Kpl16s* pSrc, Kpl16s val, Kpl16s* pDst, int len, int scaleFactor) { return narrow_const<AddCOp, kAddC16s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_16s_ISfs)(Kpl16s val, Kpl16s* pSrcDst, int len, int scaleFactor) { return narrow_const<AddCOp, kAddC16s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc val, Kpl16sc* pDst, int len, int scaleFactor) { return narrow_const<AddCOp, kAddC16s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_16sc_ISfs)(Kpl16sc val, Kpl16sc* pSrcDst, int len, int scaleFactor) { return narrow_const<AddCOp, kAddC16s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_16u_Sfs)(const Kpl16u* pSrc, Kpl16u val, Kpl16u* pDst, int len, int scaleFactor) { return const_16u<AddCOp, kAddC16u>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_16u_ISfs)(Kpl16u val, Kpl16u* pSrcDst, int len, int scaleFactor) { return const_16u<AddCOp, kAddC16u>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_32s_Sfs)(const Kpl32s* pSrc, Kpl32s val, Kpl32s* pDst, int len, int scaleFactor) { return wide32_const<AddCOp, kAddC32s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_32s_ISfs)(Kpl32s val, Kpl32s* pSrcDst, int len, int scaleFactor) { return wide32_const<AddCOp, kAddC32s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32sc val, Kpl32sc* pDst, int len, int scaleFactor) { return wide32_const<AddCOp, kAddC32s>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_32sc_ISfs)(Kpl32sc val, Kpl32sc* pSrcDst, int len, int scaleFactor) { return wide32_const<AddCOp, kAddC32s>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAddC_64s_Sfs)(const Kpl64s* pSrc, Kpl64s val, Kpl64s* pDst, Kpl32u len, int scaleFactor, KplRoundMode rndMode) { return add_c_64<kAddC64s>(pSrc, val, pDst, len, scaleFactor, rndMode); }
KplStatus KPL_IMPL(kplsAddC_64u_Sfs)(const Kpl64u* pSrc, Kpl64u val, Kpl64u* pDst, Kpl32u len, int scaleFactor, KplRoundMode rndMode) { return add_c_64<kAddC64u>(pSrc, val, pDst, len, scaleFactor, rndMode); }
KplStatus KPL_IMPL(kplsAddC_16s_I)(Kpl16s val, Kpl16s* pSrcDst, int len) { return narrow_const<AddCOp, kAddC16s>(pSrcDst, val, pSrcDst, len, 0); }
