// The machinery that Norm, NormDiff and DotProd share.
//
// Floating sums run in one fixed order, so that a result depends on the data
// alone, never on the length of the peel or the alignment of a pointer: element
// i of a stream of terms feeds partial sum i mod K, and the K partials fold the
// upper half onto the lower half until one is left (for eight,
// ((p0+p4)+(p2+p6))+((p1+p5)+(p3+p7))). K is eight, four for the streams of
// Kpl64fc results. Loads are unaligned, so no element is ever treated apart.
//
// Integer sums are exact: 16-bit products and squares go through pmaddwd and are
// widened to 64 bits every round.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "frame/entry.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// ---- The entry pattern of every reduction ----

// Pointers, then length; then the kernel, whose value is stored in *result.
template <class R, class Kernel, class... P>
inline KplStatus reduce_into(R* result, int len, Kernel&& kernel, const P*... p) {
  if (KplStatus st = check_vector_args(len, p..., result)) return st;
  *result = kernel(static_cast<size_t>(len));
  return kplStsOk;
}

// ---- What a norm reads: the elements of one vector, or the differences of two ----

template <class T>
struct Elements {
  const T* x;
};
template <class T>
struct Differences {
  const T* x;
  const T* y;
};

inline float at(const Elements<Kpl32f>& s, size_t i) { return s.x[i]; }
inline float at(const Differences<Kpl32f>& s, size_t i) { return s.x[i] - s.y[i]; }
inline __m128 load4(const Elements<Kpl32f>& s, size_t i) { return load_f(s.x + i); }
inline __m128 load4(const Differences<Kpl32f>& s, size_t i) { return _mm_sub_ps(load_f(s.x + i), load_f(s.y + i)); }

inline double at(const Elements<Kpl64f>& s, size_t i) { return s.x[i]; }
inline double at(const Differences<Kpl64f>& s, size_t i) { return s.x[i] - s.y[i]; }
inline __m128d load2(const Elements<Kpl64f>& s, size_t i) { return load_d(s.x + i); }
inline __m128d load2(const Differences<Kpl64f>& s, size_t i) { return _mm_sub_pd(load_d(s.x + i), load_d(s.y + i)); }

// One complex element as [re, im] in double. Single-precision parts are widened
// before a difference is taken.
inline __m128d widen_c(const Kpl32fc* p) { return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))); }
inline __m128d complex_at(const Elements<Kpl32fc>& s, size_t i) { return widen_c(s.x + i); }
inline __m128d complex_at(const Differences<Kpl32fc>& s, size_t i) { return _mm_sub_pd(widen_c(s.x + i), widen_c(s.y + i)); }
inline __m128d complex_at(const Elements<Kpl64fc>& s, size_t i) { return load_d(s.x + i); }
inline __m128d complex_at(const Differences<Kpl64fc>& s, size_t i) { return _mm_sub_pd(load_d(s.x + i), load_d(s.y + i)); }

// ---- Floating sums in the fixed order ----

template <size_t K, class T>
inline T fold_partials(T* p) {
  for (size_t h = K / 2; h >= 1; h /= 2)
    for (size_t j = 0; j < h; ++j) p[j] = p[j] + p[j + h];
  return p[0];
}

// One float term per element. block(i, t0, t1) gives the terms of elements
// i..i+7; scalar(i) the term of element i with the same operations.
template <class Block, class Scalar>
inline float sum8_32f(size_t n, Block&& block, Scalar&& scalar) {
  __m128 a0 = _mm_setzero_ps(), a1 = _mm_setzero_ps();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128 t0, t1;
    block(i, t0, t1);
    a0 = _mm_add_ps(a0, t0);
    a1 = _mm_add_ps(a1, t1);
  }
  alignas(16) float p[8];
  _mm_store_ps(p, a0);
  _mm_store_ps(p + 4, a1);
  for (; i < n; ++i) p[i % 8] += scalar(i);
  return fold_partials<8>(p);
}

// One double term per element. block(i, t) gives elements i..i+7 in t[0..3].
template <class Block, class Scalar>
inline double sum8_64f(size_t n, Block&& block, Scalar&& scalar) {
  __m128d a[4] = {_mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd()};
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128d t[4];
    block(i, t);
    for (int j = 0; j < 4; ++j) a[j] = _mm_add_pd(a[j], t[j]);
  }
  alignas(16) double p[8];
  for (int j = 0; j < 4; ++j) _mm_store_pd(p + 2 * j, a[j]);
  for (; i < n; ++i) p[i % 8] += scalar(i);
  return fold_partials<8>(p);
}

// Two float streams per element, laid out as the parts of a complex value, in G
// groups: block(i, t) gives elements i..i+7 as t[g][j] = [s0, s1, s0, s1] of
// elements i+2j and i+2j+1; scalar(i, t) gives t[g][0..1] of element i.
template <size_t G, class Block, class Scalar>
inline void sum8_pairs_32f(size_t n, Block&& block, Scalar&& scalar, float (&out)[G][2]) {
  __m128 a[G][4];
  for (auto& g : a)
    for (auto& v : g) v = _mm_setzero_ps();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128 t[G][4];
    block(i, t);
    for (size_t g = 0; g < G; ++g)
      for (int j = 0; j < 4; ++j) a[g][j] = _mm_add_ps(a[g][j], t[g][j]);
  }
  float p[G][2][8];
  for (size_t g = 0; g < G; ++g)
    for (int j = 0; j < 4; ++j) {
      alignas(16) float l[4];
      _mm_store_ps(l, a[g][j]);
      p[g][0][2 * j] = l[0], p[g][1][2 * j] = l[1], p[g][0][2 * j + 1] = l[2], p[g][1][2 * j + 1] = l[3];
    }
  for (; i < n; ++i) {
    float t[G][2];
    scalar(i, t);
    for (size_t g = 0; g < G; ++g) p[g][0][i % 8] += t[g][0], p[g][1][i % 8] += t[g][1];
  }
  for (size_t g = 0; g < G; ++g) out[g][0] = fold_partials<8>(p[g][0]), out[g][1] = fold_partials<8>(p[g][1]);
}

// Two double streams per element as one vector, in G groups; element i feeds
// accumulator i mod 4. step(i, t) gives t[g] for element i.
template <size_t G, class Step>
inline void sum4_pairs_64f(size_t n, Step&& step, __m128d (&a)[G][4]) {
  for (auto& g : a)
    for (auto& v : g) v = _mm_setzero_pd();
  size_t i = 0;
  for (; i + 4 <= n; i += 4)
    for (int j = 0; j < 4; ++j) {
      __m128d t[G];
      step(i + j, t);
      for (size_t g = 0; g < G; ++g) a[g][j] = _mm_add_pd(a[g][j], t[g]);
    }
  for (; i < n; ++i) {
    __m128d t[G];
    step(i, t);
    for (size_t g = 0; g < G; ++g) a[g][i % 4] = _mm_add_pd(a[g][i % 4], t[g]);
  }
}

// The four accumulators of one group folded per stream: (a0+a2)+(a1+a3).
inline __m128d fold4(const __m128d (&a)[4]) { return _mm_add_pd(_mm_add_pd(a[0], a[2]), _mm_add_pd(a[1], a[3])); }

// ---- Largest magnitude ----
// Magnitudes are compared as the bits of their absolute values: as integers these
// order like the values, and a NaN ranks above infinity, so a NaN always wins.

// block(i) gives the bits of elements i..i+3, scalar(i) of element i.
template <class Block, class Scalar>
inline uint32_t max_bits32(size_t n, Block&& block, Scalar&& scalar) {
  __m128i m = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 4 <= n; i += 4) m = _mm_max_epi32(m, block(i));
  m = _mm_max_epi32(m, _mm_shuffle_epi32(m, _MM_SHUFFLE(1, 0, 3, 2)));
  m = _mm_max_epi32(m, _mm_shuffle_epi32(m, _MM_SHUFFLE(2, 3, 0, 1)));
  uint32_t r = static_cast<uint32_t>(_mm_cvtsi128_si32(m));
  for (; i < n; ++i) r = std::max(r, scalar(i));
  return r;
}

// The same on 64-bit bits; block(i) gives elements i and i+1.
template <class Block, class Scalar>
inline uint64_t max_bits64(size_t n, Block&& block, Scalar&& scalar) {
  __m128i m = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const __m128i t = block(i);
    m = _mm_blendv_epi8(m, t, _mm_cmpgt_epi64(t, m));
  }
  alignas(16) uint64_t l[2];
  _mm_store_si128(reinterpret_cast<__m128i*>(l), m);
  uint64_t r = std::max(l[0], l[1]);
  for (; i < n; ++i) r = std::max(r, scalar(i));
  return r;
}

constexpr uint32_t kAbs32 = 0x7fffffffu;
constexpr uint64_t kAbs64 = 0x7fffffffffffffffull;

// ---- Float norms over Elements or Differences ----

template <class Src>
inline float norm_inf_32f(const Src& s, size_t n) {
  const __m128i mask = _mm_set1_epi32(static_cast<int>(kAbs32));
  return std::bit_cast<float>(max_bits32(
      n, [&](size_t i) { return _mm_and_si128(_mm_castps_si128(load4(s, i)), mask); },
      [&](size_t i) { return std::bit_cast<uint32_t>(at(s, i)) & kAbs32; }));
}

template <class Src>
inline float norm_l1_32f(const Src& s, size_t n) {
  const __m128 mask = _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(kAbs32)));
  return sum8_32f(
      n,
      [&](size_t i, __m128& t0, __m128& t1) {
        t0 = _mm_and_ps(load4(s, i), mask);
        t1 = _mm_and_ps(load4(s, i + 4), mask);
      },
      [&](size_t i) { return std::fabs(at(s, i)); });
}

template <class Src>
inline float sum_squares_32f(const Src& s, size_t n) {
  return sum8_32f(
      n,
      [&](size_t i, __m128& t0, __m128& t1) {
        const __m128 x0 = load4(s, i), x1 = load4(s, i + 4);
        t0 = _mm_mul_ps(x0, x0);
        t1 = _mm_mul_ps(x1, x1);
      },
      [&](size_t i) {
        const float x = at(s, i);
        return x * x;
      });
}

template <class Src>
inline float norm_l2_32f(const Src& s, size_t n) {
  return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(sum_squares_32f(s, n))));
}

template <class Src>
inline double norm_inf_64f(const Src& s, size_t n) {
  const __m128i mask = _mm_set1_epi64x(static_cast<long long>(kAbs64));
  return std::bit_cast<double>(max_bits64(
      n, [&](size_t i) { return _mm_and_si128(_mm_castpd_si128(load2(s, i)), mask); },
      [&](size_t i) { return std::bit_cast<uint64_t>(at(s, i)) & kAbs64; }));
}

template <class Src>
inline double norm_l1_64f(const Src& s, size_t n) {
  const __m128d mask = _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(kAbs64)));
  return sum8_64f(
      n,
      [&](size_t i, __m128d* t) {
        for (int j = 0; j < 4; ++j) t[j] = _mm_and_pd(load2(s, i + 2 * j), mask);
      },
      [&](size_t i) { return std::fabs(at(s, i)); });
}

template <class Src>
inline double norm_l2_64f(const Src& s, size_t n) {
  const double q = sum8_64f(
      n,
      [&](size_t i, __m128d* t) {
        for (int j = 0; j < 4; ++j) {
          const __m128d x = load2(s, i + 2 * j);
          t[j] = _mm_mul_pd(x, x);
        }
      },
      [&](size_t i) {
        const double x = at(s, i);
        return x * x;
      });
  return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(q)));
}

// Complex norms in double: |z|^2 = re^2 + im^2 (one rounding), |z| its root.
// The largest magnitude is the root of the largest square: the root is rounded
// correctly and never decreases, so it is the same value, with one root.
template <class Src>
inline double norm_inf_complex(const Src& s, size_t n) {
  const __m128i mask = _mm_set1_epi64x(static_cast<long long>(kAbs64));
  auto sq = [&](size_t i) {
    const __m128d z = complex_at(s, i);
    return _mm_mul_pd(z, z);
  };
  const double m = std::bit_cast<double>(max_bits64(
      n, [&](size_t i) { return _mm_and_si128(_mm_castpd_si128(_mm_hadd_pd(sq(i), sq(i + 1))), mask); },
      [&](size_t i) {
        const __m128d q = sq(i);
        return std::bit_cast<uint64_t>(_mm_cvtsd_f64(_mm_hadd_pd(q, q))) & kAbs64;
      }));
  return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(m)));
}

// Sum of |z|, one term per element.
template <class Src>
inline double norm_l1_complex(const Src& s, size_t n) {
  auto sq = [&](size_t i) {
    const __m128d z = complex_at(s, i);
    return _mm_mul_pd(z, z);
  };
  return sum8_64f(
      n,
      [&](size_t i, __m128d* t) {
        for (int j = 0; j < 4; ++j) t[j] = _mm_sqrt_pd(_mm_hadd_pd(sq(i + 2 * j), sq(i + 2 * j + 1)));
      },
      [&](size_t i) {
        const __m128d q = sq(i);
        return _mm_cvtsd_f64(_mm_sqrt_pd(_mm_hadd_pd(q, q)));
      });
}

// The 2 * n parts as one real vector: the sum of squares in the order of a real
// vector of doubles, whose partial sum 2j + c is lane c of accumulator j.
template <class Src>
inline double norm_l2_complex(const Src& s, size_t n) {
  __m128d a[1][4];
  sum4_pairs_64f<1>(n, [&](size_t i, __m128d* t) {
    const __m128d z = complex_at(s, i);
    t[0] = _mm_mul_pd(z, z);
  }, a);
  const __m128d f = fold4(a[0]);
  const __m128d q = _mm_add_sd(f, _mm_unpackhi_pd(f, f));
  return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), q));
}

// ---- Exact integer reductions on 16-bit data ----

inline __m128i widen_lo_s32(__m128i v) { return _mm_cvtepi32_epi64(v); }
inline __m128i widen_hi_s32(__m128i v) { return _mm_cvtepi32_epi64(_mm_unpackhi_epi64(v, v)); }
inline uint64_t lanes_sum64(__m128i a) {
  return static_cast<uint64_t>(_mm_cvtsi128_si64(a)) + static_cast<uint64_t>(_mm_extract_epi64(a, 1));
}

// Sum of a[i] * b[i]. A pmaddwd lane lies in [-2^31 + 2^16, 2^31], and only 2^31
// (both pairs -32768 * -32768) wraps, to -2^31: less one, every lane fits in 32
// signed bits, and the ones are added back at the end.
inline int64_t dot_16s(const Kpl16s* a, const Kpl16s* b, size_t n) {
  const __m128i one = _mm_set1_epi32(1);
  __m128i acc0 = _mm_setzero_si128(), acc1 = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i p = _mm_sub_epi32(_mm_madd_epi16(load_i(a + i), load_i(b + i)), one);
    acc0 = _mm_add_epi64(acc0, widen_lo_s32(p));
    acc1 = _mm_add_epi64(acc1, widen_hi_s32(p));
  }
  int64_t s = static_cast<int64_t>(lanes_sum64(_mm_add_epi64(acc0, acc1))) + static_cast<int64_t>(i / 2);
  for (; i < n; ++i) s += int32_t{a[i]} * b[i];
  return s;
}

// Sum of squares: a pmaddwd lane of squares lies in [0, 2^31], unsigned.
inline uint64_t sum_squares(const Elements<Kpl16s>& s, size_t n) {
  const __m128i zero = _mm_setzero_si128();
  __m128i acc = zero;
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i x = load_i(s.x + i);
    const __m128i p = _mm_madd_epi16(x, x);
    acc = _mm_add_epi64(acc, _mm_add_epi64(_mm_unpacklo_epi32(p, zero), _mm_unpackhi_epi32(p, zero)));
  }
  uint64_t r = lanes_sum64(acc);
  for (; i < n; ++i) r += static_cast<uint64_t>(int32_t{s.x[i]} * s.x[i]);
  return r;
}

// Sum of |x|: |x| - 1 lies in [-1, 32767], so pmaddwd with ones sums the pairs
// exactly, and the ones come back at the end.
inline uint64_t sum_abs(const Elements<Kpl16s>& s, size_t n) {
  const __m128i ones = _mm_set1_epi16(1);
  __m128i acc0 = _mm_setzero_si128(), acc1 = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i m = _mm_sub_epi16(_mm_abs_epi16(load_i(s.x + i)), ones);
    const __m128i p = _mm_madd_epi16(m, ones);
    acc0 = _mm_add_epi64(acc0, widen_lo_s32(p));
    acc1 = _mm_add_epi64(acc1, widen_hi_s32(p));
  }
  uint64_t r = lanes_sum64(_mm_add_epi64(acc0, acc1)) + i;
  for (; i < n; ++i) r += static_cast<uint64_t>(std::abs(int32_t{s.x[i]}));
  return r;
}

// Largest |x|, up to 32768: pabsw leaves -32768 as 0x8000, right as unsigned.
inline uint32_t max_abs(const Elements<Kpl16s>& s, size_t n) {
  __m128i m = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 8 <= n; i += 8) m = _mm_max_epu16(m, _mm_abs_epi16(load_i(s.x + i)));
  alignas(16) uint16_t l[8];
  _mm_store_si128(reinterpret_cast<__m128i*>(l), m);
  uint32_t r = 0;
  for (uint16_t v : l) r = std::max<uint32_t>(r, v);
  for (; i < n; ++i) r = std::max<uint32_t>(r, static_cast<uint32_t>(std::abs(int32_t{s.x[i]})));
  return r;
}

// Differences of 16-bit elements, exact in 32-bit lanes: |d| <= 65535, d^2 below 2^32.
inline __m128i diff_lanes(const Differences<Kpl16s>& s, size_t i) {
  return _mm_sub_epi32(_mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.x + i))),
                       _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.y + i))));
}
inline uint32_t abs_diff(const Differences<Kpl16s>& s, size_t i) {
  return static_cast<uint32_t>(std::abs(int32_t{s.x[i]} - int32_t{s.y[i]}));
}

// Unsigned 32-bit lanes added into 64-bit ones.
inline __m128i add_u32_lanes(__m128i acc, __m128i v) {
  const __m128i zero = _mm_setzero_si128();
  return _mm_add_epi64(acc, _mm_add_epi64(_mm_unpacklo_epi32(v, zero), _mm_unpackhi_epi32(v, zero)));
}

inline uint64_t sum_squares(const Differences<Kpl16s>& s, size_t n) {
  __m128i acc = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i d = diff_lanes(s, i);
    acc = add_u32_lanes(acc, _mm_mullo_epi32(d, d));
  }
  uint64_t r = lanes_sum64(acc);
  for (; i < n; ++i) r += uint64_t{abs_diff(s, i)} * abs_diff(s, i);
  return r;
}

inline uint64_t sum_abs(const Differences<Kpl16s>& s, size_t n) {
  __m128i acc = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 4 <= n; i += 4) acc = add_u32_lanes(acc, _mm_abs_epi32(diff_lanes(s, i)));
  uint64_t r = lanes_sum64(acc);
  for (; i < n; ++i) r += abs_diff(s, i);
  return r;
}

inline uint32_t max_abs(const Differences<Kpl16s>& s, size_t n) {
  __m128i m = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 4 <= n; i += 4) m = _mm_max_epu32(m, _mm_abs_epi32(diff_lanes(s, i)));
  alignas(16) uint32_t l[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(l), m);
  uint32_t r = std::max(std::max(l[0], l[1]), std::max(l[2], l[3]));
  for (; i < n; ++i) r = std::max(r, abs_diff(s, i));
  return r;
}

// ---- The scaling rules of the 16-bit norms ----

// Sum of |x| to 32 bits. Up to 65536 elements the sum is held in 32 unsigned bits,
// and at scale 0 it is stored as it is: a sum of 2^31 or more shows in the sign
// bit. Longer vectors go through 64 bits and saturate.
constexpr size_t kL1ShortPath = 65536;

inline Kpl32s scale_l1_32s(uint64_t sum, size_t n, int sf) {
  constexpr uint64_t kMax = 0x7fffffff;
  const int up = sf < -31 ? 31 : -sf;  // left shift for sf < 0, at most 31
  if (n <= kL1ShortPath) {
    const uint32_t u = static_cast<uint32_t>(sum);
    if (sf == 0) return static_cast<Kpl32s>(u);
    if (sf < 0) return static_cast<Kpl32s>(std::min(uint64_t{u} << up, kMax));
    return sf < 32 ? static_cast<Kpl32s>(u >> sf) : 0;
  }
  if (sf == 0) return static_cast<Kpl32s>(std::min(sum, kMax));
  if (sf < 0) return sum > (kMax >> up) ? static_cast<Kpl32s>(kMax) : static_cast<Kpl32s>(sum << up);
  return sf > 63 ? 0 : static_cast<Kpl32s>(std::min(sum >> sf, kMax));
}

// Root of the sum of squares to 32 bits: the root in double, scaled by a power of
// two whose count wraps at 32 (a scale factor of 32 divides by 1), truncated.
inline Kpl32s scale_l2_32s(uint64_t sum_sq, int sf) {
  double v = std::sqrt(static_cast<double>(sum_sq));
  if (sf > 0) {
    v /= static_cast<double>(uint64_t{1} << (static_cast<unsigned>(sf) & 31u));
  } else if (sf < 0) {
    v *= static_cast<double>(uint64_t{1} << ((0u - static_cast<unsigned>(sf)) & 31u));
  }
  if (v > 2147483647.0) return 0x7fffffff;
  return static_cast<Kpl32s>(v);
}

// Sum of squares to 64 bits: right shifts truncate; a left shift (at most 63) is
// made only when the value's bit length plus the shift stays below 64, and
// saturates otherwise.
inline Kpl64s scale_l2sqr_64s(uint64_t sum_sq, int sf) {
  if (sf == 0) return static_cast<Kpl64s>(sum_sq);
  if (sf > 0) return sf > 63 ? 0 : static_cast<Kpl64s>(sum_sq >> sf);
  const int up = sf < -63 ? 63 : -sf;
  if (std::bit_width(sum_sq) + up < 64) return static_cast<Kpl64s>(sum_sq << up);
  return INT64_MAX;
}

}  // namespace q5
}  // namespace kpl
