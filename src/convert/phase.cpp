// Phase in every type: atan2(im, re) in radians, from a binary64 polynomial
// (convert/polar_math.hpp). Float results round once from binary64; the 64f
// results are within a few ulps. Signed zeros and infinities follow the C
// library's atan2, so the one result outside (-pi, pi] is -pi, for a negative
// zero imaginary part with a negative real part.
//
// Integer results round half away from zero and saturate. The 16-bit forms take
// the angle rounded to single precision, times 2^-scaleFactor, and store zeros
// from scale factor 2 on; the 32sc form scales the binary64 angle.
#include <immintrin.h>

#include <cmath>

#include "convert/polar_math.hpp"
#include "frame/entry.hpp"
#include "frame/rounding.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// The 16-bit forms store zeros from this scale factor on (pi/4 would still round
// to 1 at 2, but the family stops there on purpose). Below kPhase16Saturated
// every non-zero angle (at least atan(1/32768)) saturates, as at any lower value.
constexpr int kPhase16ZeroFrom = 2;
constexpr int kPhase16Saturated = -40;
// The 32sc form: pi / 8 rounds to 0 from 3 on; below -64 every non-zero angle
// (at least 2^-32) saturates.
constexpr int kPhase32ZeroFrom = 3;
constexpr int kPhase32Saturated = -64;

template <Accuracy A, bool kWide>
struct PhaseOp {
  __m128d operator()(__m128d re, __m128d im) const { return atan2_lanes<A, kWide>(im, re); }
};

// The angle rounded to single precision, scaled, rounded half away, saturated.
struct Phase16Op {
  double scale;
  __m128d operator()(__m128d re, __m128d im) const {
    const __m128d a = _mm_cvtps_pd(_mm_cvtpd_ps(atan2_lanes<Accuracy::kDouble, false>(im, re)));
    return clamp_lanes(round_away(_mm_mul_pd(a, polar::splat(scale))), -32768.0, 32767.0);
  }
};
struct Phase32Op {
  double scale;
  __m128d operator()(__m128d re, __m128d im) const {
    const __m128d a = atan2_lanes<Accuracy::kDouble, false>(im, re);
    return clamp_lanes(round_away(_mm_mul_pd(a, polar::splat(scale))), -2147483648.0, 2147483647.0);
  }
};

template <class Op, class T, class D>
KplStatus split_phase(const T* re, const T* im, D* dst, int len, const Op& op) {
  if (KplStatus st = check_vector_args(len, re, im, dst)) return st;
  map_pairs(SplitSource<T>{re, im}, dst, static_cast<size_t>(len), op);
  return kplStsOk;
}
template <class Op, class C, class D>
KplStatus complex_phase(const C* src, D* dst, int len, const Op& op) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  map_pairs(ComplexSource<C>{src}, dst, static_cast<size_t>(len), op);
  return kplStsOk;
}

// After the checks. Scale factor 0 multiplies by exactly 1, so it shares the
// kernel; the factor is a power of two, so single precision holds it exactly.
template <class Src>
KplStatus phase_16s(const Src& src, Kpl16s* dst, int len, int sf) {
  if (sf >= kPhase16ZeroFrom) return KPL_IMPL(kplsZero_16s)(dst, len);
  const RoundingGuard nearest(Rounding::kNearest);  // integer results never follow the caller's rounding
  map_pairs(src, dst, static_cast<size_t>(len), Phase16Op{std::ldexp(1.0, -(sf < kPhase16Saturated ? kPhase16Saturated : sf))});
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;
using Single = PhaseOp<Accuracy::kSingle, false>;
using Double = PhaseOp<Accuracy::kDouble, true>;

KplStatus KPL_IMPL(kplsPhase_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32f* pDst, int len) { return split_phase(pSrcRe, pSrcIm, pDst, len, Single{}); }
KplStatus KPL_IMPL(kplsPhase_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64f* pDst, int len) { return split_phase(pSrcRe, pSrcIm, pDst, len, Double{}); }
KplStatus KPL_IMPL(kplsPhase_16s32f)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl32f* pDst, int len) { return split_phase(pSrcRe, pSrcIm, pDst, len, Single{}); }
KplStatus KPL_IMPL(kplsPhase_16s_Sfs)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrcRe, pSrcIm, pDst)) return st;
  return phase_16s(SplitSource<Kpl16s>{pSrcRe, pSrcIm}, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsPhase_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) { return complex_phase(pSrc, pDst, len, Single{}); }
KplStatus KPL_IMPL(kplsPhase_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) { return complex_phase(pSrc, pDst, len, Double{}); }
KplStatus KPL_IMPL(kplsPhase_16sc32f)(const Kpl16sc* pSrc, Kpl32f* pDst, int len) { return complex_phase(pSrc, pDst, len, Single{}); }
KplStatus KPL_IMPL(kplsPhase_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  return phase_16s(ComplexSource<Kpl16sc>{pSrc}, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsPhase_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (scaleFactor >= kPhase32ZeroFrom) return KPL_IMPL(kplsZero_32s)(pDst, len);
  const int sf = scaleFactor < kPhase32Saturated ? kPhase32Saturated : scaleFactor;
  const RoundingGuard nearest(Rounding::kNearest);
  map_pairs(ComplexSource<Kpl32sc>{pSrc}, pDst, static_cast<size_t>(len), Phase32Op{std::ldexp(1.0, -sf)});
  return kplStsOk;
}
