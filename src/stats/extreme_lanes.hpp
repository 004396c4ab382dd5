// The 128-bit lanes of each element type as the extreme families use them (Min,
// Max, MinMax, their Abs, Every and Indx forms): load, broadcast, store, the min
// and max instructions with their exact scalar counterparts, equality as a mask,
// and the clamped magnitude that MinAbs and MaxAbs compare.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// The scalar max and min are the exact counterparts of the instructions (maxps
// returns its second operand when the first is not greater, NaN included).
template <class T>
struct ExtremeLanes;

template <class T>
struct ExtremeLanesBase {
  static constexpr size_t kPerVector = 16 / sizeof(T);
  static T max(T a, T b) { return a > b ? a : b; }
  static T min(T a, T b) { return a < b ? a : b; }
};

template <>
struct ExtremeLanes<Kpl8u> : ExtremeLanesBase<Kpl8u> {
  using Vec = __m128i;
  static Vec load(const Kpl8u* p) { return load_i(p); }
  static Vec set1(Kpl8u v) { return _mm_set1_epi8(static_cast<char>(v)); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_epu8(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_epu8(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_cmpeq_epi8(a, b); }
  static void store(Kpl8u* p, Vec v) { store_i(p, v); }
};
template <>
struct ExtremeLanes<Kpl16u> : ExtremeLanesBase<Kpl16u> {
  using Vec = __m128i;
  static Vec load(const Kpl16u* p) { return load_i(p); }
  static Vec set1(Kpl16u v) { return _mm_set1_epi16(static_cast<short>(v)); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_epu16(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_epu16(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_cmpeq_epi16(a, b); }
  static void store(Kpl16u* p, Vec v) { store_i(p, v); }
};
template <>
struct ExtremeLanes<Kpl16s> : ExtremeLanesBase<Kpl16s> {
  using Vec = __m128i;
  static Vec load(const Kpl16s* p) { return load_i(p); }
  static Vec set1(Kpl16s v) { return _mm_set1_epi16(v); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_epi16(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_epi16(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_cmpeq_epi16(a, b); }
  static void store(Kpl16s* p, Vec v) { store_i(p, v); }
};
template <>
struct ExtremeLanes<Kpl32u> : ExtremeLanesBase<Kpl32u> {
  using Vec = __m128i;
  static Vec load(const Kpl32u* p) { return load_i(p); }
  static Vec set1(Kpl32u v) { return _mm_set1_epi32(static_cast<int>(v)); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_epu32(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_epu32(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_cmpeq_epi32(a, b); }
  static void store(Kpl32u* p, Vec v) { store_i(p, v); }
};
template <>
struct ExtremeLanes<Kpl32s> : ExtremeLanesBase<Kpl32s> {
  using Vec = __m128i;
  static Vec load(const Kpl32s* p) { return load_i(p); }
  static Vec set1(Kpl32s v) { return _mm_set1_epi32(v); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_epi32(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_epi32(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_cmpeq_epi32(a, b); }
  static void store(Kpl32s* p, Vec v) { store_i(p, v); }
};
template <>
struct ExtremeLanes<Kpl32f> : ExtremeLanesBase<Kpl32f> {
  using Vec = __m128;
  static Vec load(const Kpl32f* p) { return load_f(p); }
  static Vec set1(Kpl32f v) { return _mm_set1_ps(v); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_ps(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_ps(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_castps_si128(_mm_cmpeq_ps(a, b)); }  // -0 equals +0, NaN nothing
  static void store(Kpl32f* p, Vec v) { store_f(p, v); }
};
template <>
struct ExtremeLanes<Kpl64f> : ExtremeLanesBase<Kpl64f> {
  using Vec = __m128d;
  static Vec load(const Kpl64f* p) { return load_d(p); }
  static Vec set1(Kpl64f v) { return _mm_set1_pd(v); }
  static Vec vmax(Vec a, Vec b) { return _mm_max_pd(a, b); }
  static Vec vmin(Vec a, Vec b) { return _mm_min_pd(a, b); }
  static __m128i eq(Vec a, Vec b) { return _mm_castpd_si128(_mm_cmpeq_pd(a, b)); }
  static void store(Kpl64f* p, Vec v) { store_d(p, v); }
};

// The magnitude clamped to the positive range, so that the most negative integer
// counts as the largest positive one.
template <class T>
struct ClampedAbs;
template <>
struct ClampedAbs<Kpl16s> {
  static Kpl16s scalar(Kpl16s x) { return x == INT16_MIN ? INT16_MAX : static_cast<Kpl16s>(x < 0 ? -x : x); }
  static __m128i vec(__m128i v) { return _mm_min_epu16(_mm_abs_epi16(v), _mm_set1_epi16(INT16_MAX)); }
};
// The magnitude in unsigned arithmetic, clamped at 0x7fffffff.
template <>
struct ClampedAbs<Kpl32s> {
  static Kpl32s scalar(Kpl32s x) {
    const uint32_t m = x < 0 ? 0u - static_cast<uint32_t>(x) : static_cast<uint32_t>(x);
    return static_cast<Kpl32s>(m > INT32_MAX ? uint32_t{INT32_MAX} : m);
  }
  static __m128i vec(__m128i v) { return _mm_min_epu32(_mm_abs_epi32(v), _mm_set1_epi32(INT32_MAX)); }
};

}  // namespace q5
}  // namespace kpl
