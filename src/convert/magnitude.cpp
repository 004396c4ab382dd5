// Magnitude, MagSquared and PowerSpectr in every type.
//
// Everything below 64-bit floats is computed in binary64, where re^2 + im^2 of
// any 32-bit float, 16-bit or 32-bit integer pair is finite and normal (and,
// for the 16-bit types, exact): a 32f magnitude is finite whenever the true one
// is, and within a hair of half an ulp. The 64f forms rescale an element by a power of
// two when its parts are so large or so small that their squares would leave
// the range. A NaN part gives NaN, an infinite one (with no NaN) infinity.
//
// Integer results are the exact value times 2^-scaleFactor, rounded to nearest
// with ties to even, saturated. For 16-bit parts that is what binary64 gives:
// re^2 + im^2 is exact, the square root is correctly rounded and cannot fall on
// the wrong side of a half, and the scaling is exact. The 32sc magnitude takes
// an exact 64-bit integer square root instead.
#include <immintrin.h>

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "convert/polar_math.hpp"
#include "frame/entry.hpp"
#include "frame/parallel.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Lengths from which Magnitude is split over a team of two.
constexpr size_t kMagnitude32fTeam = 4096;     // 32f, 16sc32f
constexpr size_t kMagnitudeTeam = 2048;        // 32fc, 16s32f, 16s_Sfs, 16sc_Sfs
constexpr size_t kMagnitude64Team = 256;       // 64f, 64fc, 32sc_Sfs

// The 16-bit magnitudes: below this every non-zero element saturates, at
// kHalfScale the result is 1 above 2^30 and 0 otherwise, above it all are 0.
constexpr int kMagnitude16BoundBelow = -14;
constexpr int kMagnitude16HalfScale = 16;
// The 32sc magnitude: below -30 every non-zero element saturates, above 32 all are 0.
constexpr int kMagnitude32BoundBelow = -30;
constexpr int kMagnitude32ZeroAbove = 32;
// The 16-bit power spectra: below -14 every non-zero element saturates; above
// 31 even 2^31 rounds to 0.
constexpr int kPower16BoundBelow = -14;
constexpr int kPower16ZeroAbove = 31;

// Parts beyond these make a 64f square leave the normal range: the element is
// scaled by kRescale (or its inverse) first.
constexpr double kHypotBig = 0x1p500, kHypotSmall = 0x1p-500, kRescale = 0x1p600;

using polar::splat;

inline __m128d sum_of_squares(__m128d re, __m128d im) { return _mm_add_pd(_mm_mul_pd(re, re), _mm_mul_pd(im, im)); }

template <bool kWide>
struct MagnitudeOp {
  __m128d operator()(__m128d re, __m128d im) const {
    if constexpr (!kWide) {
      return _mm_sqrt_pd(sum_of_squares(re, im));
    } else {
      const __m128d ar = polar::abs_of(re), ai = polar::abs_of(im);
      const __m128d big = _mm_or_pd(_mm_cmpgt_pd(ar, splat(kHypotBig)), _mm_cmpgt_pd(ai, splat(kHypotBig)));
      const __m128d small = _mm_and_pd(_mm_cmplt_pd(ar, splat(kHypotSmall)), _mm_cmplt_pd(ai, splat(kHypotSmall)));
      const __m128d f = polar::pick(big, splat(1.0 / kRescale), polar::pick(small, splat(kRescale), splat(1.0)));
      const __m128d back = polar::pick(big, splat(kRescale), polar::pick(small, splat(1.0 / kRescale), splat(1.0)));
      return _mm_mul_pd(_mm_sqrt_pd(sum_of_squares(_mm_mul_pd(re, f), _mm_mul_pd(im, f))), back);
    }
  }
};

struct PowerOp {
  __m128d operator()(__m128d re, __m128d im) const { return sum_of_squares(re, im); }
};

// 16-bit results of the kernel's scale range: the rounded value times `scale`.
struct Magnitude16Op {
  double scale;
  __m128d operator()(__m128d re, __m128d im) const {
    return _mm_min_pd(round_even(_mm_mul_pd(_mm_sqrt_pd(sum_of_squares(re, im)), splat(scale))), splat(32767.0));
  }
};
struct Power16Op {
  double scale;
  __m128d operator()(__m128d re, __m128d im) const {
    return _mm_min_pd(round_even(_mm_mul_pd(sum_of_squares(re, im), splat(scale))), splat(32767.0));
  }
};
// Every non-zero element saturates.
struct NonZeroBoundOp {
  double bound;
  __m128d operator()(__m128d re, __m128d im) const {
    return _mm_andnot_pd(_mm_cmpeq_pd(sum_of_squares(re, im), _mm_setzero_pd()), splat(bound));
  }
};
// sqrt(n) / 2^16 rounds to 1 above n = 2^30; the tie at 2^30 goes to 0, the even side.
struct AboveHalfOp {
  __m128d operator()(__m128d re, __m128d im) const {
    return _mm_and_pd(_mm_cmpgt_pd(sum_of_squares(re, im), splat(0x1p30)), splat(1.0));
  }
};

// ---------------------------------------------------------------------------
// 32sc: exact integer arithmetic, one element at a time.

uint64_t square_sum(Kpl32sc z) {
  return static_cast<uint64_t>(int64_t{z.re} * z.re) + static_cast<uint64_t>(int64_t{z.im} * z.im);
}

// floor(sqrt(x)) from the binary64 estimate, corrected by exact squares.
uint64_t isqrt(uint64_t x) {
  using U = unsigned __int128;
  uint64_t r = static_cast<uint64_t>(std::sqrt(static_cast<double>(x)));
  while (U{r} * r > x) --r;
  while (U{r + 1} * (r + 1) <= x) ++r;
  return r;
}

// round(sqrt(n) * 2^-s), ties to even, saturated, for s in -30..32.
Kpl32s magnitude_32sc(Kpl32sc z, int s) {
  using U = unsigned __int128;
  const uint64_t n = square_sum(z);
  if (s <= 0) {
    // 2 sqrt(n) 2^-s = sqrt(4 n 4^-s): no tie can arise, since 4 n 4^-s is even.
    const U x4 = U{n} << (2 - 2 * s);
    constexpr U kLimit = U{2u * uint64_t{INT_MAX} + 1u} * (2u * uint64_t{INT_MAX} + 1u);  // (2 max + 1)^2
    if (x4 >= kLimit) return INT_MAX;
    return static_cast<Kpl32s>((isqrt(static_cast<uint64_t>(x4)) + 1) >> 1);
  }
  // u = sqrt(n) / 2^(s-1), w = floor(u); the result is round(u / 2).
  const int shift = 2 * s - 2;
  const uint64_t w = shift >= 64 ? 0 : isqrt(n >> shift);
  uint64_t q = (w + 1) >> 1;
  if ((w & 1) != 0 && (U{w} * w << shift) == n && (q & 1) != 0) --q;  // u / 2 is exactly a half
  return static_cast<Kpl32s>(q);
}

Kpl32s mag_squared_32sc(Kpl32sc z, int s) {
  const uint64_t n = square_sum(z);  // at most 2^63
  constexpr uint64_t kMax = INT_MAX;
  if (s == 0) return static_cast<Kpl32s>(n < kMax ? n : kMax);
  if (s > 0) {
    if (s >= 64) return 0;  // 2^63 / 2^64 is a half: even
    const uint64_t q = (n + ((uint64_t{1} << (s - 1)) - 1) + ((n >> s) & 1)) >> s;
    return static_cast<Kpl32s>(q < kMax ? q : kMax);
  }
  if (n == 0) return 0;
  if (s <= -31 || n > (kMax >> -s)) return INT_MAX;
  return static_cast<Kpl32s>(n << -s);
}

// ---------------------------------------------------------------------------
// Entries.

template <class Kernel>
void run(size_t team_from, size_t len, Kernel&& kernel) {
  if (len < team_from) {
    kernel(size_t{0}, len);
  } else {
    parallel_slices(len, TeamCap::kTwo, [&](size_t begin, size_t count) { return kernel(begin, count), false; });
  }
}

// Magnitude of any source into any destination, split over a team from `team_from`.
template <class Src, class D, class Op>
void magnitude_slices(size_t team_from, const Src& src, D* dst, size_t len, const Op& op) {
  run(team_from, len, [&](size_t begin, size_t count) { map_pairs(src.at(begin), dst + begin, count, op); });
}

template <class T, class D, class Op>
KplStatus split_entry(const T* re, const T* im, D* dst, int len, const Op& op, size_t team_from) {
  if (KplStatus st = check_vector_args(len, re, im, dst)) return st;
  magnitude_slices(team_from, SplitSource<T>{re, im}, dst, static_cast<size_t>(len), op);
  return kplStsOk;
}

template <class C, class D, class Op>
KplStatus complex_entry(const C* src, D* dst, int len, const Op& op, size_t team_from) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  magnitude_slices(team_from, ComplexSource<C>{src}, dst, static_cast<size_t>(len), op);
  return kplStsOk;
}

constexpr size_t kNoTeam = SIZE_MAX;

// The 16-bit magnitudes after the checks: the shortcuts, then the kernel.
template <class Src>
KplStatus magnitude_16s(const Src& src, Kpl16s* dst, int len, int sf) {
  const auto n = static_cast<size_t>(len);
  if (sf > kMagnitude16HalfScale) return KPL_IMPL(kplsZero_16s)(dst, len);
  if (sf == kMagnitude16HalfScale) {
    magnitude_slices(kMagnitudeTeam, src, dst, n, AboveHalfOp{});
  } else if (sf < kMagnitude16BoundBelow) {
    magnitude_slices(kMagnitudeTeam, src, dst, n, NonZeroBoundOp{32767.0});
  } else {
    magnitude_slices(kMagnitudeTeam, src, dst, n, Magnitude16Op{std::ldexp(1.0, -sf)});
  }
  return kplStsOk;
}

template <class Src>
KplStatus power_16s(const Src& src, Kpl16s* dst, int len, int sf) {
  if (sf > kPower16ZeroAbove) return KPL_IMPL(kplsZero_16s)(dst, len);
  if (sf < kPower16BoundBelow) {
    map_pairs(src, dst, static_cast<size_t>(len), NonZeroBoundOp{32767.0});
  } else {
    map_pairs(src, dst, static_cast<size_t>(len), Power16Op{std::ldexp(1.0, -sf)});
  }
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsMagnitude_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32f* pDst, int len) {
  return split_entry(pSrcRe, pSrcIm, pDst, len, MagnitudeOp<false>{}, kMagnitude32fTeam);
}
KplStatus KPL_IMPL(kplsMagnitude_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64f* pDst, int len) {
  return split_entry(pSrcRe, pSrcIm, pDst, len, MagnitudeOp<true>{}, kMagnitude64Team);
}
KplStatus KPL_IMPL(kplsMagnitude_16s32f)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl32f* pDst, int len) {
  return split_entry(pSrcRe, pSrcIm, pDst, len, MagnitudeOp<false>{}, kMagnitudeTeam);
}
KplStatus KPL_IMPL(kplsMagnitude_16s_Sfs)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrcRe, pSrcIm, pDst)) return st;
  return magnitude_16s(SplitSource<Kpl16s>{pSrcRe, pSrcIm}, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsMagnitude_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, MagnitudeOp<false>{}, kMagnitudeTeam);
}
KplStatus KPL_IMPL(kplsMagnitude_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, MagnitudeOp<true>{}, kMagnitude64Team);
}
KplStatus KPL_IMPL(kplsMagnitude_16sc32f)(const Kpl16sc* pSrc, Kpl32f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, MagnitudeOp<false>{}, kMagnitude32fTeam);
}
KplStatus KPL_IMPL(kplsMagnitude_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  return magnitude_16s(ComplexSource<Kpl16sc>{pSrc}, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsMagnitude_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (scaleFactor > kMagnitude32ZeroAbove) return KPL_IMPL(kplsSet_32s)(0, pDst, len);
  const int sf = scaleFactor;
  run(kMagnitude64Team, static_cast<size_t>(len), [&](size_t begin, size_t count) {
    if (sf < kMagnitude32BoundBelow) {
      for (size_t i = begin; i < begin + count; ++i) store_raw<Kpl32s>(pDst + i, square_sum(load_raw<Kpl32sc>(pSrc + i)) != 0 ? INT_MAX : 0);
    } else {
      for (size_t i = begin; i < begin + count; ++i) store_raw(pDst + i, magnitude_32sc(load_raw<Kpl32sc>(pSrc + i), sf));
    }
  });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsPowerSpectr_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32f* pDst, int len) {
  return split_entry(pSrcRe, pSrcIm, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsPowerSpectr_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64f* pDst, int len) {
  return split_entry(pSrcRe, pSrcIm, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsPowerSpectr_16s32f)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl32f* pDst, int len) {
  return split_entry(pSrcRe, pSrcIm, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsPowerSpectr_16s_Sfs)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrcRe, pSrcIm, pDst)) return st;
  return power_16s(SplitSource<Kpl16s>{pSrcRe, pSrcIm}, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsPowerSpectr_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsPowerSpectr_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsPowerSpectr_16sc32f)(const Kpl16sc* pSrc, Kpl32f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsPowerSpectr_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  return power_16s(ComplexSource<Kpl16sc>{pSrc}, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsMagSquared_32fc64f)(const Kpl32fc* pSrc, Kpl64f* pDst, int len) {
  return complex_entry(pSrc, pDst, len, PowerOp{}, kNoTeam);
}
KplStatus KPL_IMPL(kplsMagSquared_32sc32s_Sfs)(const Kpl32sc* pSrc, Kpl32s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  for (size_t i = 0; i < static_cast<size_t>(len); ++i) store_raw(pDst + i, mag_squared_32sc(load_raw<Kpl32sc>(pSrc + i), scaleFactor));
  return kplStsOk;
}
