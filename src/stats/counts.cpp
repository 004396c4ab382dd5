// CountInRange and ZeroCrossing: counts over a vector, 128 bits at a time.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// ---- CountInRange: lowerBound < x < upperBound, both bounds excluded ----

int count_in_range(const Kpl32s* p, size_t n, Kpl32s lo, Kpl32s hi) {
  const __m128i vlo = _mm_set1_epi32(lo), vhi = _mm_set1_epi32(hi);
  __m128i c0 = _mm_setzero_si128(), c1 = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {  // each lane counts at most n / 8 elements
    const __m128i x0 = load_i(p + i), x1 = load_i(p + i + 4);
    c0 = _mm_sub_epi32(c0, _mm_and_si128(_mm_cmpgt_epi32(x0, vlo), _mm_cmplt_epi32(x0, vhi)));
    c1 = _mm_sub_epi32(c1, _mm_and_si128(_mm_cmpgt_epi32(x1, vlo), _mm_cmplt_epi32(x1, vhi)));
  }
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), _mm_add_epi32(c0, c1));
  size_t count = size_t{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
  for (; i < n; ++i) count += (p[i] > lo && p[i] < hi) ? 1 : 0;
  return static_cast<int>(count);
}

// ---- ZeroCrossing ----
//
// Over the pairs (x[i], x[i+1]), i = 0..len-2, a count stored as a float:
//   mode 0: the product x[i] * x[i+1] is negative (for floats the product is a
//           float, so an exact 0 never counts and a product that underflows to
//           zero hides the crossing; for integers it is exact);
//   mode 1: the zero-crossing count of the ITU-T G.729 Annex B voice activity
//           detector, whose measure sums |sgn(x[i]) - sgn(x[i-1])| / 2 with the
//           two-valued sign sgn(x) = -1 for x < 0, +1 for x >= 0 (zero, -0.0
//           and NaN count as positive). Every term is 0 or 1; the result is
//           their sum, the count, not the rate that divides it by the frame
//           length;
//   mode 2: the three-valued sign (+1, 0, -1; a NaN has sign 0) changes, so a
//           step into or out of an exact zero counts.
// A vector of one element has no pair and gives 0.

enum ZeroCrossingMode : int { kProduct = 0, kTwoValuedSign = 1, kThreeValuedSign = 2 };

// All-ones lanes where the pair counts, for four floats at a time.
template <int M>
__m128i crossings(__m128 a, __m128 b) {
  const __m128 zero = _mm_setzero_ps();
  if constexpr (M == kProduct) {
    return _mm_castps_si128(_mm_cmplt_ps(_mm_mul_ps(a, b), zero));
  } else if constexpr (M == kTwoValuedSign) {
    return _mm_castps_si128(_mm_xor_ps(_mm_cmplt_ps(a, zero), _mm_cmplt_ps(b, zero)));
  } else {
    const __m128 diff_pos = _mm_xor_ps(_mm_cmpgt_ps(a, zero), _mm_cmpgt_ps(b, zero));
    const __m128 diff_neg = _mm_xor_ps(_mm_cmplt_ps(a, zero), _mm_cmplt_ps(b, zero));
    return _mm_castps_si128(_mm_or_ps(diff_pos, diff_neg));
  }
}
template <int M>
bool crosses(Kpl32f a, Kpl32f b) {
  if constexpr (M == kProduct) {
    const Kpl32f prod = a * b;
    return prod < 0.0f;
  } else if constexpr (M == kTwoValuedSign) {
    return (a < 0.0f) != (b < 0.0f);
  } else {
    return ((a > 0.0f) != (b > 0.0f)) || ((a < 0.0f) != (b < 0.0f));
  }
}

// All-ones 16-bit lanes where the pair counts, for eight shorts at a time: the
// signs as -1, 0, +1 make every mode one compare.
template <int M>
__m128i crossings(__m128i a, __m128i b) {
  if constexpr (M == kProduct) {
    const __m128i one = _mm_set1_epi16(1);
    const __m128i prod = _mm_mullo_epi16(_mm_sign_epi16(one, a), _mm_sign_epi16(one, b));
    return _mm_cmpeq_epi16(prod, _mm_set1_epi16(-1));
  } else if constexpr (M == kTwoValuedSign) {
    return _mm_xor_si128(_mm_srai_epi16(a, 15), _mm_srai_epi16(b, 15));
  } else {
    const __m128i one = _mm_set1_epi16(1);
    const __m128i same = _mm_cmpeq_epi16(_mm_sign_epi16(one, a), _mm_sign_epi16(one, b));
    return _mm_xor_si128(same, _mm_set1_epi16(-1));
  }
}
template <int M>
bool crosses(Kpl16s a, Kpl16s b) {
  const int sa = (a > 0) - (a < 0), sb = (b > 0) - (b < 0);
  if constexpr (M == kProduct) {
    return sa * sb < 0;
  } else if constexpr (M == kTwoValuedSign) {
    return (a < 0) != (b < 0);
  } else {
    return sa != sb;
  }
}

// Eight pairs a round: x[i..i+7] against x[i+1..i+8], so the round's last load
// ends at x[i + 8], inside the vector.
template <int M>
size_t count_crossings(const Kpl32f* p, size_t n) {
  __m128i c = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 9 <= n; i += 8) {
    const __m128i m0 = crossings<M>(load_f(p + i), load_f(p + i + 1));
    const __m128i m1 = crossings<M>(load_f(p + i + 4), load_f(p + i + 5));
    c = _mm_sub_epi32(c, _mm_add_epi32(m0, m1));
  }
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), c);
  size_t count = size_t{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
  for (; i + 1 < n; ++i) count += crosses<M>(p[i], p[i + 1]) ? 1 : 0;
  return count;
}
template <int M>
size_t count_crossings(const Kpl16s* p, size_t n) {
  const __m128i minus_one = _mm_set1_epi16(-1);
  __m128i c = _mm_setzero_si128();  // 32-bit lanes: madd folds pairs of 16-bit hits
  size_t i = 0;
  for (; i + 9 <= n; i += 8) {
    c = _mm_add_epi32(c, _mm_madd_epi16(crossings<M>(load_i(p + i), load_i(p + i + 1)), minus_one));
  }
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), c);
  size_t count = size_t{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
  for (; i + 1 < n; ++i) count += crosses<M>(p[i], p[i + 1]) ? 1 : 0;
  return count;
}

// Only len = 0 is refused. A negative len is taken as no pair at all: the count
// is 0 and nothing is read.
template <class T>
KplStatus zero_crossing(const T* src, int len, Kpl32f* result, int mode) {
  if (any_null(src, result)) return kplStsNullPointer;
  if (len == 0) return kplStsBadSize;
  if (mode != kProduct && mode != kTwoValuedSign && mode != kThreeValuedSign) return kplStsBadMode;
  const size_t n = len < 0 ? 0 : static_cast<size_t>(len);
  size_t count = 0;
  switch (mode) {
    case kProduct: count = count_crossings<kProduct>(src, n); break;
    case kTwoValuedSign: count = count_crossings<kTwoValuedSign>(src, n); break;
    default: count = count_crossings<kThreeValuedSign>(src, n); break;
  }
  *result = static_cast<Kpl32f>(count);
  return kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsCountInRange_32s)(const Kpl32s* pSrc, int len, int* pCounts, Kpl32s lowerBound, Kpl32s upperBound) {
  if (KplStatus st = check_vector_args(len, pSrc, pCounts)) return st;
  *pCounts = count_in_range(pSrc, static_cast<size_t>(len), lowerBound, upperBound);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsZeroCrossing_16s32f)(const Kpl16s* pSrc, int len, Kpl32f* pValZC, int mode) { return zero_crossing(pSrc, len, pValZC, mode); }
KplStatus KPL_IMPL(kplsZeroCrossing_32f)(const Kpl32f* pSrc, int len, Kpl32f* pValZC, int mode) { return zero_crossing(pSrc, len, pValZC, mode); }
