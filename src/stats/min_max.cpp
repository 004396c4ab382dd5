// Min, Max, MinMax, MinAbs and MaxAbs: one pass of 128-bit lanes over the vector.
//
// Integers have one answer whatever the order of the comparisons, so their loop
// takes two vectors' extremes first and then the running ones, and folds the
// lanes with shifts at the end.
//
// Floats meet NaN, and there the lane scheme is part of the result, so it is
// fixed: element i belongs to lane i % K (K = four vectors: 16 floats, 8 doubles),
// every lane starts from the first element, the running step is
// acc > x ? acc : x (acc < x ? acc : x for the minimum) in each lane, elements
// past the last whole round join their lanes one by one. The lanes then fold as
// vectors, v = step(step(step(a0, a1), a2), a3) for the four vectors a0..a3, and
// within v by halves: v[j] = step(v[j], v[j + h]) for h = P/2, ..., 1 (P lanes
// per vector); the result is v[0]. A NaN has no test of its own: it replaces the
// lane's value and the next element of the lane replaces it, so the result is a
// NaN only when a NaN survives every later step of the fold.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/simd.hpp"
#include "stats/extreme_lanes.hpp"

using namespace kpl;

namespace {

// What is compared: the element itself, or its clamped magnitude (ClampedAbs).
struct Plain {
  template <class T>
  static T scalar(T x) {
    return x;
  }
  template <class V>
  static V vec(V v) {
    return v;
  }
};

enum Want : unsigned { kMin = 1, kMax = 2 };

// Lanes of v folded by halves with f, v[j] = f(v[j], v[j + h]); lane 0 returned.
template <class T, class F>
T fold_halves(__m128i v, F f) {
  v = f(v, _mm_srli_si128(v, 8));
  if constexpr (sizeof(T) <= 4) v = f(v, _mm_srli_si128(v, 4));
  if constexpr (sizeof(T) <= 2) v = f(v, _mm_srli_si128(v, 2));
  if constexpr (sizeof(T) == 1) v = f(v, _mm_srli_si128(v, 1));
  return static_cast<T>(_mm_cvtsi128_si32(v));
}
template <class T, class F>
T fold_halves(__m128 v, F f) {
  v = f(v, _mm_movehl_ps(v, v));
  return _mm_cvtss_f32(f(v, _mm_shuffle_ps(v, v, 1)));
}
template <class T, class F>
T fold_halves(__m128d v, F f) {
  return _mm_cvtsd_f64(f(v, _mm_unpackhi_pd(v, v)));
}

// The extremes of Map(x) over p[0..n), n >= 1, for integers: four vectors a round,
// the extremes of each pair first, one operation per vector and per extreme
// wanted; the rest one element at a time against the folded result.
template <unsigned W, class T, class Map>
void integer_extremes(const T* p, size_t n, T* lo, T* hi) {
  using L = ExtremeLanes<T>;
  constexpr size_t kPer = L::kPerVector;
  const __m128i first = L::set1(Map::scalar(p[0]));
  __m128i mn0 = first, mn1 = first, mx0 = first, mx1 = first;
  size_t i = 0;
  for (; i + 4 * kPer <= n; i += 4 * kPer) {
    __m128i x0 = Map::vec(L::load(p + i)), x1 = Map::vec(L::load(p + i + kPer));
    __m128i x2 = Map::vec(L::load(p + i + 2 * kPer)), x3 = Map::vec(L::load(p + i + 3 * kPer));
    // Pins the vectors to registers: both extremes use each, and the compiler
    // would rather load it twice than copy it, which halves the loop's speed.
    if constexpr (W == (kMin | kMax)) __asm__("" : "+x"(x0), "+x"(x1), "+x"(x2), "+x"(x3));
    if constexpr ((W & kMin) != 0) {
      mn0 = L::vmin(mn0, L::vmin(x0, x1));
      mn1 = L::vmin(mn1, L::vmin(x2, x3));
    }
    if constexpr ((W & kMax) != 0) {
      mx0 = L::vmax(mx0, L::vmax(x0, x1));
      mx1 = L::vmax(mx1, L::vmax(x2, x3));
    }
  }
  T rmin = fold_halves<T>(L::vmin(mn0, mn1), [](__m128i a, __m128i b) { return L::vmin(a, b); });
  T rmax = fold_halves<T>(L::vmax(mx0, mx1), [](__m128i a, __m128i b) { return L::vmax(a, b); });
  for (; i < n; ++i) {
    const T x = Map::scalar(p[i]);
    rmin = L::min(rmin, x);
    rmax = L::max(rmax, x);
  }
  if constexpr ((W & kMin) != 0) *lo = rmin;
  if constexpr ((W & kMax) != 0) *hi = rmax;
}

// The same for floats, in the lane scheme above.
template <unsigned W, class T>
void float_extremes(const T* p, size_t n, T* lo, T* hi) {
  using L = ExtremeLanes<T>;
  using V = typename L::Vec;
  constexpr size_t kVectors = 4;
  constexpr size_t kRound = kVectors * L::kPerVector;
  const V first = L::set1(p[0]);
  V mn[kVectors], mx[kVectors];
  for (size_t k = 0; k < kVectors; ++k) mn[k] = mx[k] = first;
  size_t i = 0;
  for (; i + kRound <= n; i += kRound) {
    _mm_prefetch(reinterpret_cast<const char*>(p + i) + 128, _MM_HINT_T0);
    for (size_t k = 0; k < kVectors; ++k) {
      const V x = L::load(p + i + k * L::kPerVector);
      if constexpr ((W & kMin) != 0) mn[k] = L::vmin(mn[k], x);
      if constexpr ((W & kMax) != 0) mx[k] = L::vmax(mx[k], x);
    }
  }
  if (i < n) {  // the rest joins its lanes one element at a time
    alignas(16) T lmin[kRound], lmax[kRound];
    for (size_t k = 0; k < kVectors; ++k) {
      L::store(lmin + k * L::kPerVector, mn[k]);
      L::store(lmax + k * L::kPerVector, mx[k]);
    }
    for (size_t j = 0; i < n; ++i, ++j) {
      lmin[j] = L::min(lmin[j], p[i]);
      lmax[j] = L::max(lmax[j], p[i]);
    }
    for (size_t k = 0; k < kVectors; ++k) {
      mn[k] = L::load(lmin + k * L::kPerVector);
      mx[k] = L::load(lmax + k * L::kPerVector);
    }
  }
  if constexpr ((W & kMin) != 0) {
    const V v = L::vmin(L::vmin(L::vmin(mn[0], mn[1]), mn[2]), mn[3]);
    *lo = fold_halves<T>(v, [](V a, V b) { return L::vmin(a, b); });
  }
  if constexpr ((W & kMax) != 0) {
    const V v = L::vmax(L::vmax(L::vmax(mx[0], mx[1]), mx[2]), mx[3]);
    *hi = fold_halves<T>(v, [](V a, V b) { return L::vmax(a, b); });
  }
}

template <unsigned W, class T, class Map = Plain>
void extremes(const T* p, size_t n, T* lo, T* hi) {
  if constexpr (std::is_floating_point_v<T>) {
    float_extremes<W>(p, n, lo, hi);
  } else {
    integer_extremes<W, T, Map>(p, n, lo, hi);
  }
}

template <class T>
KplStatus min_entry(const T* src, int len, T* result) {
  if (KplStatus st = check_vector_args(len, src, result)) return st;
  extremes<kMin>(src, static_cast<size_t>(len), result, static_cast<T*>(nullptr));
  return kplStsOk;
}
template <class T>
KplStatus max_entry(const T* src, int len, T* result) {
  if (KplStatus st = check_vector_args(len, src, result)) return st;
  extremes<kMax>(src, static_cast<size_t>(len), static_cast<T*>(nullptr), result);
  return kplStsOk;
}
template <class T>
KplStatus min_max_entry(const T* src, int len, T* min, T* max) {
  if (KplStatus st = check_vector_args(len, src, min, max)) return st;
  extremes<kMin | kMax>(src, static_cast<size_t>(len), min, max);
  return kplStsOk;
}
template <unsigned W, class T>
KplStatus abs_entry(const T* src, int len, T* result) {
  if (KplStatus st = check_vector_args(len, src, result)) return st;
  extremes<W, T, ClampedAbs<T>>(src, static_cast<size_t>(len), result, result);
  return kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsMin_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult) { return min_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMin_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult) { return min_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMin_32f)(const Kpl32f* pSrc, int len, Kpl32f* pResult) { return min_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMin_64f)(const Kpl64f* pSrc, int len, Kpl64f* pResult) { return min_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMax_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult) { return max_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMax_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult) { return max_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMax_32f)(const Kpl32f* pSrc, int len, Kpl32f* pResult) { return max_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMax_64f)(const Kpl64f* pSrc, int len, Kpl64f* pResult) { return max_entry(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMinMax_8u)(const Kpl8u* pSrc, int len, Kpl8u* pMin, Kpl8u* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinMax_16u)(const Kpl16u* pSrc, int len, Kpl16u* pMin, Kpl16u* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinMax_16s)(const Kpl16s* pSrc, int len, Kpl16s* pMin, Kpl16s* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinMax_32u)(const Kpl32u* pSrc, int len, Kpl32u* pMin, Kpl32u* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinMax_32s)(const Kpl32s* pSrc, int len, Kpl32s* pMin, Kpl32s* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinMax_32f)(const Kpl32f* pSrc, int len, Kpl32f* pMin, Kpl32f* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinMax_64f)(const Kpl64f* pSrc, int len, Kpl64f* pMin, Kpl64f* pMax) { return min_max_entry(pSrc, len, pMin, pMax); }
KplStatus KPL_IMPL(kplsMinAbs_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult) { return abs_entry<kMin>(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMinAbs_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult) { return abs_entry<kMin>(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMaxAbs_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult) { return abs_entry<kMax>(pSrc, len, pResult); }
KplStatus KPL_IMPL(kplsMaxAbs_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult) { return abs_entry<kMax>(pSrc, len, pResult); }
