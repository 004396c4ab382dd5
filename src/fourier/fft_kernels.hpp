// The butterflies and passes of the power-of-two engine, written once over the
// data layout (interleaved complex or split arrays) and the precision. A complex
// vector type V carries `lanes` complex values: two single-precision pairs per
// register interleaved, one double pair, four (two) split values. Single-precision
// orders 5 and 6 run whole in registers; otherwise two engines:
//   - through the work buffer (from order 6, 7 in single precision, up to the
//     large path): a first stage that fuses the bit reversal with a radix-16 or
//     radix-8 pass and leaves split arrays in the buffer, radix-4 passes on
//     split data, and a last pass that writes the caller's layout;
//   - in place (small and large orders): tiled bit reversal into dst, a first
//     pass without twiddles, radix-4 passes on dst.
// Both run the passes first on blocks that stay in the first-level cache, then
// over column blocks of the whole array, and fold the normalisation into the
// last pass. Only the including translation units instantiate it.
#pragma once

#include <omp.h>
#include <pmmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/kplcore.h"
#include "fourier/fft_plan.hpp"

namespace kpl {
inline namespace q5 {
namespace fft {

// ---- data layouts -------------------------------------------------------------
template <class T>
struct Inter {
  T* p;
  Inter offset(size_t i) const { return {p + 2 * i}; }
};
template <class T>
struct Split {
  T* re;
  T* im;
  Split offset(size_t i) const { return {re + i, im + i}; }
};

// ---- complex vectors ----------------------------------------------------------
// Every type has: lanes, load/store at element i of a layout, tw(p) from an
// interleaved twiddle run at p, add, sub, mul (by a twiddle, conjugated for the
// inverse), rot (times -i forward, +i inverse), scale by a real.

template <class T>
struct Scalar {  // one complex, any layout: the tails and the first passes
  static constexpr size_t lanes = 1;
  T r, i;
  template <class U>
  static Scalar load(Inter<U> d, size_t k) {
    return {d.p[2 * k], d.p[2 * k + 1]};
  }
  template <class U>
  static Scalar load(Split<U> d, size_t k) {
    return {d.re[k], d.im[k]};
  }
  static void store(Inter<T> d, size_t k, Scalar v) { d.p[2 * k] = v.r, d.p[2 * k + 1] = v.i; }
  static void store(Split<T> d, size_t k, Scalar v) { d.re[k] = v.r, d.im[k] = v.i; }
  static Scalar tw(const T* p) { return {p[0], p[1]}; }
  friend Scalar operator+(Scalar a, Scalar b) { return {a.r + b.r, a.i + b.i}; }
  friend Scalar operator-(Scalar a, Scalar b) { return {a.r - b.r, a.i - b.i}; }
  template <bool Inv>
  static Scalar mul(Scalar x, Scalar w) {
    if constexpr (Inv) return {x.r * w.r + x.i * w.i, x.i * w.r - x.r * w.i};
    else return {x.r * w.r - x.i * w.i, x.i * w.r + x.r * w.i};
  }
  template <bool Inv>
  static Scalar rot(Scalar x) {
    if constexpr (Inv) return {-x.i, x.r};
    else return {x.i, -x.r};
  }
  static Scalar scale(Scalar x, T f) { return {x.r * f, x.i * f}; }
};

struct VecF2 {  // two interleaved single-precision complex values
  static constexpr size_t lanes = 2;
  __m128 v;
  static VecF2 load(Inter<float> d, size_t k) { return {_mm_loadu_ps(d.p + 2 * k)}; }
  static void store(Inter<float> d, size_t k, VecF2 x) { _mm_storeu_ps(d.p + 2 * k, x.v); }
  static VecF2 tw(const float* p) { return {_mm_loadu_ps(p)}; }
  friend VecF2 operator+(VecF2 a, VecF2 b) { return {_mm_add_ps(a.v, b.v)}; }
  friend VecF2 operator-(VecF2 a, VecF2 b) { return {_mm_sub_ps(a.v, b.v)}; }
  template <bool Inv>
  static VecF2 mul(VecF2 x, VecF2 w) {
    const __m128 t1 = _mm_mul_ps(x.v, _mm_moveldup_ps(w.v));
    __m128 t2 = _mm_mul_ps(_mm_shuffle_ps(x.v, x.v, 0xB1), _mm_movehdup_ps(w.v));
    if constexpr (Inv) t2 = _mm_xor_ps(t2, _mm_set1_ps(-0.0f));
    return {_mm_addsub_ps(t1, t2)};
  }
  template <bool Inv>
  static VecF2 rot(VecF2 x) {
    const __m128 s = _mm_shuffle_ps(x.v, x.v, 0xB1);
    if constexpr (Inv) return {_mm_xor_ps(s, _mm_setr_ps(-0.0f, 0.0f, -0.0f, 0.0f))};
    else return {_mm_xor_ps(s, _mm_setr_ps(0.0f, -0.0f, 0.0f, -0.0f))};
  }
  static VecF2 scale(VecF2 x, float f) { return {_mm_mul_ps(x.v, _mm_set1_ps(f))}; }
};

struct VecD1 {  // one interleaved double-precision complex value
  static constexpr size_t lanes = 1;
  __m128d v;
  static VecD1 load(Inter<double> d, size_t k) { return {_mm_loadu_pd(d.p + 2 * k)}; }
  static void store(Inter<double> d, size_t k, VecD1 x) { _mm_storeu_pd(d.p + 2 * k, x.v); }
  static VecD1 tw(const double* p) { return {_mm_loadu_pd(p)}; }
  friend VecD1 operator+(VecD1 a, VecD1 b) { return {_mm_add_pd(a.v, b.v)}; }
  friend VecD1 operator-(VecD1 a, VecD1 b) { return {_mm_sub_pd(a.v, b.v)}; }
  template <bool Inv>
  static VecD1 mul(VecD1 x, VecD1 w) {
    const __m128d t1 = _mm_mul_pd(x.v, _mm_unpacklo_pd(w.v, w.v));
    __m128d t2 = _mm_mul_pd(_mm_shuffle_pd(x.v, x.v, 1), _mm_unpackhi_pd(w.v, w.v));
    if constexpr (Inv) t2 = _mm_xor_pd(t2, _mm_set1_pd(-0.0));
    return {_mm_addsub_pd(t1, t2)};
  }
  template <bool Inv>
  static VecD1 rot(VecD1 x) {
    const __m128d s = _mm_shuffle_pd(x.v, x.v, 1);
    if constexpr (Inv) return {_mm_xor_pd(s, _mm_setr_pd(-0.0, 0.0))};
    else return {_mm_xor_pd(s, _mm_setr_pd(0.0, -0.0))};
  }
  static VecD1 scale(VecD1 x, double f) { return {_mm_mul_pd(x.v, _mm_set1_pd(f))}; }
};

struct VecSF4 {  // four split single-precision complex values
  static constexpr size_t lanes = 4;
  __m128 r, i;
  static VecSF4 load(Split<float> d, size_t k) { return {_mm_loadu_ps(d.re + k), _mm_loadu_ps(d.im + k)}; }
  static void store(Split<float> d, size_t k, VecSF4 x) {
    _mm_storeu_ps(d.re + k, x.r);
    _mm_storeu_ps(d.im + k, x.i);
  }
  static void store(Inter<float> d, size_t k, VecSF4 x) {  // back to interleaved on the way out
    _mm_storeu_ps(d.p + 2 * k, _mm_unpacklo_ps(x.r, x.i));
    _mm_storeu_ps(d.p + 2 * k + 4, _mm_unpackhi_ps(x.r, x.i));
  }
  static VecSF4 twb(const float* p) { return {_mm_loadu_ps(p), _mm_loadu_ps(p + 4)}; }
  static VecSF4 tw(const float* p) {
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    return {_mm_shuffle_ps(a, b, 0x88), _mm_shuffle_ps(a, b, 0xDD)};
  }
  friend VecSF4 operator+(VecSF4 a, VecSF4 b) { return {_mm_add_ps(a.r, b.r), _mm_add_ps(a.i, b.i)}; }
  friend VecSF4 operator-(VecSF4 a, VecSF4 b) { return {_mm_sub_ps(a.r, b.r), _mm_sub_ps(a.i, b.i)}; }
  template <bool Inv>
  static VecSF4 mul(VecSF4 x, VecSF4 w) {
    if constexpr (Inv)
      return {_mm_add_ps(_mm_mul_ps(x.r, w.r), _mm_mul_ps(x.i, w.i)),
              _mm_sub_ps(_mm_mul_ps(x.i, w.r), _mm_mul_ps(x.r, w.i))};
    else
      return {_mm_sub_ps(_mm_mul_ps(x.r, w.r), _mm_mul_ps(x.i, w.i)),
              _mm_add_ps(_mm_mul_ps(x.i, w.r), _mm_mul_ps(x.r, w.i))};
  }
  template <bool Inv>
  static VecSF4 rot(VecSF4 x) {
    const __m128 z = _mm_set1_ps(-0.0f);
    if constexpr (Inv) return {_mm_xor_ps(x.i, z), x.r};
    else return {x.i, _mm_xor_ps(x.r, z)};
  }
  static VecSF4 scale(VecSF4 x, float f) {
    const __m128 s = _mm_set1_ps(f);
    return {_mm_mul_ps(x.r, s), _mm_mul_ps(x.i, s)};
  }
};

struct VecSD2 {  // two split double-precision complex values
  static constexpr size_t lanes = 2;
  __m128d r, i;
  static VecSD2 load(Split<double> d, size_t k) { return {_mm_loadu_pd(d.re + k), _mm_loadu_pd(d.im + k)}; }
  static void store(Split<double> d, size_t k, VecSD2 x) {
    _mm_storeu_pd(d.re + k, x.r);
    _mm_storeu_pd(d.im + k, x.i);
  }
  static void store(Inter<double> d, size_t k, VecSD2 x) {
    _mm_storeu_pd(d.p + 2 * k, _mm_unpacklo_pd(x.r, x.i));
    _mm_storeu_pd(d.p + 2 * k + 2, _mm_unpackhi_pd(x.r, x.i));
  }
  static VecSD2 twb(const double* p) { return {_mm_loadu_pd(p), _mm_loadu_pd(p + 2)}; }
  static VecSD2 tw(const double* p) {
    const __m128d a = _mm_loadu_pd(p), b = _mm_loadu_pd(p + 2);
    return {_mm_unpacklo_pd(a, b), _mm_unpackhi_pd(a, b)};
  }
  friend VecSD2 operator+(VecSD2 a, VecSD2 b) { return {_mm_add_pd(a.r, b.r), _mm_add_pd(a.i, b.i)}; }
  friend VecSD2 operator-(VecSD2 a, VecSD2 b) { return {_mm_sub_pd(a.r, b.r), _mm_sub_pd(a.i, b.i)}; }
  template <bool Inv>
  static VecSD2 mul(VecSD2 x, VecSD2 w) {
    if constexpr (Inv)
      return {_mm_add_pd(_mm_mul_pd(x.r, w.r), _mm_mul_pd(x.i, w.i)),
              _mm_sub_pd(_mm_mul_pd(x.i, w.r), _mm_mul_pd(x.r, w.i))};
    else
      return {_mm_sub_pd(_mm_mul_pd(x.r, w.r), _mm_mul_pd(x.i, w.i)),
              _mm_add_pd(_mm_mul_pd(x.i, w.r), _mm_mul_pd(x.r, w.i))};
  }
  template <bool Inv>
  static VecSD2 rot(VecSD2 x) {
    const __m128d z = _mm_set1_pd(-0.0);
    if constexpr (Inv) return {_mm_xor_pd(x.i, z), x.r};
    else return {x.i, _mm_xor_pd(x.r, z)};
  }
  static VecSD2 scale(VecSD2 x, double f) {
    const __m128d s = _mm_set1_pd(f);
    return {_mm_mul_pd(x.r, s), _mm_mul_pd(x.i, s)};
  }
};

template <class D>
struct VecOf;
template <>
struct VecOf<Inter<float>> {
  using type = VecF2;
};
template <>
struct VecOf<Inter<double>> {
  using type = VecD1;
};
template <>
struct VecOf<Split<float>> {
  using type = VecSF4;
};
template <>
struct VecOf<Split<double>> {
  using type = VecSD2;
};

// ---- bit reversal -------------------------------------------------------------
struct RevTable {
  uint8_t b[256];
  constexpr RevTable() : b() {
    for (int i = 0; i < 256; ++i) {
      int r = 0;
      for (int k = 0; k < 8; ++k) r |= ((i >> k) & 1) << (7 - k);
      b[i] = static_cast<uint8_t>(r);
    }
  }
};
inline constexpr RevTable kRev8{};

__attribute__((always_inline)) inline size_t reverse_bits(size_t x, int bits) {
  if (bits == 0) return 0;
  const uint32_t v = static_cast<uint32_t>(x);
  const uint32_t r = (uint32_t{kRev8.b[v & 255]} << 24) | (uint32_t{kRev8.b[(v >> 8) & 255]} << 16) |
                     (uint32_t{kRev8.b[(v >> 16) & 255]} << 8) | uint32_t{kRev8.b[v >> 24]};
  return r >> (32 - bits);
}

template <size_t Bytes>
struct Elem {
  unsigned char b[Bytes];
};

// dst[rev(i)] = src[i] over `order` bits, elements of E. The array is walked in
// tiles of 2^tb x 2^tb (a tile row is one or two cache lines), each transposed
// through a small buffer so that every line is read once and written once, whole;
// in place, tile pairs exchange.
template <class E>
void bit_reverse(const E* src, E* dst, int order) {
  constexpr int tb = sizeof(E) >= 16 ? 3 : 4;
  const size_t n = size_t{1} << order;
  if (order < 2 * tb) {
    if (src != dst) {
      for (size_t i = 0; i < n; ++i) dst[reverse_bits(i, order)] = src[i];
    } else {
      for (size_t i = 0; i < n; ++i) {
        const size_t j = reverse_bits(i, order);
        if (i < j) {
          const E t = dst[i];
          dst[i] = dst[j];
          dst[j] = t;
        }
      }
    }
    return;
  }
  const int mb = order - 2 * tb;
  const size_t side = size_t{1} << tb, row = size_t{1} << (order - tb);
  size_t rv[16];
  for (size_t k = 0; k < side; ++k) rv[k] = reverse_bits(k, tb);
  const size_t mids = size_t{1} << mb;
  for (size_t mid = 0; mid < mids; ++mid) {
    const size_t rm = reverse_bits(mid, mb);
    const size_t a0 = mid << tb, b0 = rm << tb;
    if (src != dst) {
      // Through a tile in registers and the stack: each destination run is then
      // written whole, once, instead of one element per source row.
      E t[1 << tb][1 << tb];
      for (size_t hi = 0; hi < side; ++hi) {
        const E* s = src + hi * row + a0;
        for (size_t lo = 0; lo < side; ++lo) t[rv[lo]][rv[hi]] = s[lo];
      }
      for (size_t k = 0; k < side; ++k) std::memcpy(dst + b0 + k * row, t[k], side * sizeof(E));
    } else if (mid <= rm) {
      // The tile pair trades places: both are read whole before either is written.
      E ta[1 << tb][1 << tb], tb_[1 << tb][1 << tb];
      for (size_t hi = 0; hi < side; ++hi)
        for (size_t lo = 0; lo < side; ++lo) {
          ta[rv[lo]][rv[hi]] = dst[hi * row + a0 + lo];
          tb_[rv[lo]][rv[hi]] = dst[hi * row + b0 + lo];
        }
      for (size_t k = 0; k < side; ++k) {
        std::memcpy(dst + b0 + k * row, ta[k], side * sizeof(E));
        if (mid != rm) std::memcpy(dst + a0 + k * row, tb_[k], side * sizeof(E));
      }
    }
  }
}

template <class T>
void bit_reverse_layout(Inter<const T> s, Inter<T> d, int order) {
  using E = Elem<2 * sizeof(T)>;
  bit_reverse(reinterpret_cast<const E*>(s.p), reinterpret_cast<E*>(d.p), order);
}
template <class T>
void bit_reverse_layout(Split<const T> s, Split<T> d, int order) {
  using E = Elem<sizeof(T)>;
  bit_reverse(reinterpret_cast<const E*>(s.re), reinterpret_cast<E*>(d.re), order);
  bit_reverse(reinterpret_cast<const E*>(s.im), reinterpret_cast<E*>(d.im), order);
}

// ---- passes -------------------------------------------------------------------
// First pass over [begin, begin + count) of bit-reversed data: radix 4 (sub-DFTs
// of 4) or radix 2, no twiddles. `scale` is applied when it is the only pass.
template <bool Inv, class T, class D>
void first_pass(D d, size_t begin, size_t count, int radix, const T* scale) {
  using S = Scalar<T>;
  if (radix == 2) {
    for (size_t k = begin; k < begin + count; k += 2) {
      const S a = S::load(d, k), b = S::load(d, k + 1);
      S y0 = a + b, y1 = a - b;
      if (scale) y0 = S::scale(y0, *scale), y1 = S::scale(y1, *scale);
      S::store(d, k, y0), S::store(d, k + 1, y1);
    }
    return;
  }
  if constexpr (std::is_same_v<D, Inter<float>>) {
    if (!scale) {
      for (size_t k = begin; k < begin + count; k += 4) {
        const __m128 a = _mm_loadu_ps(d.p + 2 * k), b = _mm_loadu_ps(d.p + 2 * k + 4);
        const __m128 p = _mm_movelh_ps(a, b), q = _mm_movehl_ps(b, a);  // [x0 x2], [x1 x3]
        const __m128 s = _mm_add_ps(p, q), df = _mm_sub_ps(p, q);      // [s0 s1], [d0 d1]
        const __m128 r = VecF2::rot<Inv>(VecF2{df}).v;                    // [., rot d1]
        const __m128 t = _mm_movelh_ps(s, df), u = _mm_movehl_ps(r, s);   // [s0 d0], [s1 rot d1]
        _mm_storeu_ps(d.p + 2 * k, _mm_add_ps(t, u));
        _mm_storeu_ps(d.p + 2 * k + 4, _mm_sub_ps(t, u));
      }
      return;
    }
  }
  for (size_t k = begin; k < begin + count; k += 4) {
    const S x0 = S::load(d, k), x1 = S::load(d, k + 1), x2 = S::load(d, k + 2), x3 = S::load(d, k + 3);
    const S s0 = x0 + x1, d0 = x0 - x1, s1 = x2 + x3, d1 = S::template rot<Inv>(x2 - x3);
    S y0 = s0 + s1, y1 = d0 + d1, y2 = s0 - s1, y3 = d0 - d1;
    if (scale) {
      y0 = S::scale(y0, *scale), y1 = S::scale(y1, *scale);
      y2 = S::scale(y2, *scale), y3 = S::scale(y3, *scale);
    }
    S::store(d, k, y0), S::store(d, k + 1, y1), S::store(d, k + 2, y2), S::store(d, k + 3, y3);
  }
}

// One radix-4 butterfly set: groups g of span 4L starting at `base`, columns
// j in [j0, j1), read from `in` and written to `out` (the same array but for
// the last pass of the work-buffer engine). The twiddle run holds w^j (and,
// when full, w^2j, w^3j after it at distance L).
template <bool Inv, class V, bool Blocked = false, class T, class D, class O>
inline void radix4_cols(D in, O out, size_t base, size_t groups, size_t L, size_t j0, size_t j1, const T* tw,
                        bool full, const T* scale) {
  for (size_t g = 0; g < groups; ++g) {
    const D b = in.offset(base + g * 4 * L);
    const O o = out.offset(base + g * 4 * L);
    for (size_t j = j0; j < j1; j += V::lanes) {
      V w1, w2, w3;
      if constexpr (Blocked) {
        w1 = V::twb(tw + 2 * j), w2 = V::twb(tw + 2 * (L + j)), w3 = V::twb(tw + 2 * (2 * L + j));
      } else if (full) {
        w1 = V::tw(tw + 2 * j), w2 = V::tw(tw + 2 * (L + j)), w3 = V::tw(tw + 2 * (2 * L + j));
      } else {
        w1 = V::tw(tw + 2 * j);
        w2 = V::template mul<false>(w1, w1);
        w3 = V::template mul<false>(w2, w1);
      }
      const V x0 = V::load(b, j);
      const V t1 = V::template mul<Inv>(V::load(b, j + L), w2);
      const V t2 = V::template mul<Inv>(V::load(b, j + 2 * L), w1);
      const V t3 = V::template mul<Inv>(V::load(b, j + 3 * L), w3);
      const V a0 = x0 + t1, a1 = x0 - t1, a2 = t2 + t3, a3 = V::template rot<Inv>(t2 - t3);
      V y0 = a0 + a2, y1 = a1 + a3, y2 = a0 - a2, y3 = a1 - a3;
      if (scale) {
        y0 = V::scale(y0, *scale), y1 = V::scale(y1, *scale);
        y2 = V::scale(y2, *scale), y3 = V::scale(y3, *scale);
      }
      V::store(o, j, y0), V::store(o, j + L, y1), V::store(o, j + 2 * L, y2), V::store(o, j + 3 * L, y3);
    }
  }
}

template <bool Inv, bool Blocked = false, class T, class D, class O>
inline void radix4(D in, O out, size_t base, size_t groups, size_t L, size_t j0, size_t j1, const T* tw, bool full,
                   const T* scale) {
  using V = typename VecOf<D>::type;
  if constexpr (Blocked)  // split engine: every span is a multiple of the lanes; tables in blocks
    radix4_cols<Inv, V, true>(in, out, base, groups, L, j0, j1, tw, full, scale);
  else if (L % V::lanes == 0 && (j1 - j0) % V::lanes == 0)
    radix4_cols<Inv, V>(in, out, base, groups, L, j0, j1, tw, full, scale);
  else
    radix4_cols<Inv, Scalar<T>>(in, out, base, groups, L, j0, j1, tw, full, scale);
}

// `lanes` consecutive source values as one split vector, and the transposed
// store of `radix` vectors: lane t of y[m] goes to w[base[t] + m].
inline VecSF4 load_run(Inter<const float> s, size_t k) {
  const __m128 a = _mm_loadu_ps(s.p + 2 * k), b = _mm_loadu_ps(s.p + 2 * k + 4);
  return {_mm_shuffle_ps(a, b, 0x88), _mm_shuffle_ps(a, b, 0xDD)};
}
inline VecSF4 load_run(Split<const float> s, size_t k) { return {_mm_loadu_ps(s.re + k), _mm_loadu_ps(s.im + k)}; }
inline VecSD2 load_run(Inter<const double> s, size_t k) {
  const __m128d a = _mm_loadu_pd(s.p + 2 * k), b = _mm_loadu_pd(s.p + 2 * k + 2);
  return {_mm_unpacklo_pd(a, b), _mm_unpackhi_pd(a, b)};
}
inline VecSD2 load_run(Split<const double> s, size_t k) { return {_mm_loadu_pd(s.re + k), _mm_loadu_pd(s.im + k)}; }

inline void transpose_store4(float* p, const size_t* base, size_t h, __m128 a, __m128 b, __m128 c, __m128 d) {
  _MM_TRANSPOSE4_PS(a, b, c, d);
  _mm_storeu_ps(p + base[0] + h, a), _mm_storeu_ps(p + base[1] + h, b);
  _mm_storeu_ps(p + base[2] + h, c), _mm_storeu_ps(p + base[3] + h, d);
}
template <int Radix>
inline void scatter(Split<float> w, const size_t* base, const VecSF4* y) {
  for (int h = 0; h < Radix; h += 4) {
    transpose_store4(w.re, base, h, y[h].r, y[h + 1].r, y[h + 2].r, y[h + 3].r);
    transpose_store4(w.im, base, h, y[h].i, y[h + 1].i, y[h + 2].i, y[h + 3].i);
  }
}
template <int Radix>
inline void scatter(Split<double> w, const size_t* base, const VecSD2* y) {
  for (int h = 0; h < Radix; h += 2) {
    _mm_storeu_pd(w.re + base[0] + h, _mm_unpacklo_pd(y[h].r, y[h + 1].r));
    _mm_storeu_pd(w.re + base[1] + h, _mm_unpackhi_pd(y[h].r, y[h + 1].r));
    _mm_storeu_pd(w.im + base[0] + h, _mm_unpacklo_pd(y[h].i, y[h + 1].i));
    _mm_storeu_pd(w.im + base[1] + h, _mm_unpackhi_pd(y[h].i, y[h + 1].i));
  }
}

// rev(r + t) for the lanes t of an aligned run: the low bits of r + t become the
// top bits of the reversal.
template <size_t Lanes>
inline void lane_rows(size_t* g, size_t g0, int bits) {
  g[0] = g0;
  g[1] = g0 + (size_t{1} << (bits - 1));
  if constexpr (Lanes == 4) {
    g[2] = g0 + (size_t{1} << (bits - 2));
    g[3] = g[2] + (size_t{1} << (bits - 1));
  }
}

// The first stage of the work-buffer engine: bit reversal fused with a radix-16
// (even orders) or radix-8 (odd orders) pass, so that the stage that pays for the
// gather and the transposes also does two or three levels of butterflies. Group g
// of the bit-reversed array is src[rev(m) N/radix + rev(g)], m < radix, and lands
// in w at radix*g. Rows r = rev(g) are taken `lanes` at a time, in tiles: with
// r = (hi, mid, lo) of kTileBits, bits - 2 kTileBits and kTileBits bits, one mid
// is a tile whose reads are 2^kTileBits runs of each source stream and whose
// writes are 2^kTileBits runs of groups, so both stay in cache while the tile is
// done. The unit of work (and of the split between threads) is one mid; small
// orders have a single one.
constexpr int kTileBits = 3;

constexpr int first_stage_log2(int order) { return (order & 1) ? 3 : 4; }

template <class T>
inline size_t first_stage_units(int order) {
  const int bits = order - first_stage_log2(order);
  return bits >= 2 * kTileBits ? size_t{1} << (bits - 2 * kTileBits) : 1;
}

// A vector with the same complex constant in every lane.
template <class V, class T>
inline V splat(T re, T im) {
  if constexpr (V::lanes == 4) return {_mm_set1_ps(re), _mm_set1_ps(im)};
  else return {_mm_set1_pd(re), _mm_set1_pd(im)};
}

// DFT of four streams in natural order.
template <bool Inv, class V>
__attribute__((always_inline)) inline void dft4(V a, V b, V c, V d, V* y, size_t stride) {
  const V s0 = a + c, d0 = a - c, s1 = b + d, d1 = V::template rot<Inv>(b - d);
  y[0] = s0 + s1, y[stride] = d0 + d1, y[2 * stride] = s0 - s1, y[3 * stride] = d0 - d1;
}

// Lane-wise arithmetic of the split vectors' halves.
inline __m128 vadd(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
inline __m128d vadd(__m128d a, __m128d b) { return _mm_add_pd(a, b); }
inline __m128 vsub(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
inline __m128d vsub(__m128d a, __m128d b) { return _mm_sub_pd(a, b); }
inline __m128 vmul(__m128 a, __m128 b) { return _mm_mul_ps(a, b); }
inline __m128d vmul(__m128d a, __m128d b) { return _mm_mul_pd(a, b); }

// Products by the fixed roots of the first stage, from three real constants
// instead of five complex splats: the first stage runs out of registers, and
// w^2 = h (1 - i) needs half the multiplies of a general twiddle.
template <bool Inv, class V, class R>
__attribute__((always_inline)) inline V mul_w2(V x, R h) {  // exp(-2 pi i 2/16), conjugated for Inv
  if constexpr (Inv) return {vmul(vsub(x.r, x.i), h), vmul(vadd(x.i, x.r), h)};
  else return {vmul(vadd(x.r, x.i), h), vmul(vsub(x.i, x.r), h)};
}
template <bool Inv, class V, class R>
__attribute__((always_inline)) inline V mul_cs(V x, R c, R s) {  // times c - i s, conjugated for Inv
  if constexpr (Inv) return {vsub(vmul(x.r, c), vmul(x.i, s)), vadd(vmul(x.i, c), vmul(x.r, s))};
  else return {vadd(vmul(x.r, c), vmul(x.i, s)), vsub(vmul(x.i, c), vmul(x.r, s))};
}

// The radix-16 (even orders) or radix-8 (odd) DFTs of `lanes` rows from r: y[k]
// holds output k of every row, in natural order of k.
template <bool Inv, class V, class S>
__attribute__((always_inline)) inline void first_stage_rows(S src, size_t r, size_t q, size_t radix, V* y) {
  using T = std::conditional_t<V::lanes == 4, float, double>;
  using R = decltype(V{}.r);
  const T hs = static_cast<T>(0.70710678118654752440084436210485L);
  const R h = splat<V, T>(hs, hs).r;
  // exp(-2 pi i 6/16) = exp(-2 pi i 2/16) (-i): a w^2 product and a rotation.
  if (radix == 16) {
    const T c1s = static_cast<T>(0.92387953251128675612818318939678828682241662586364L);
    const T s1s = static_cast<T>(0.38268343236508977172845998403039886676134456248563L);
    const R c1 = splat<V, T>(c1s, c1s).r, s1 = splat<V, T>(s1s, s1s).r;
    // 16 = 4 x 4: DFTs of the streams m2 + 4 m1 over m1, the twiddles
    // exp(-2 pi i m2 k1 / 16), then DFTs over m2; output k1 + 4 k2.
    V a[16];
    for (size_t m2 = 0; m2 < 4; ++m2)
      dft4<Inv>(load_run(src, r + m2 * q), load_run(src, r + (m2 + 4) * q), load_run(src, r + (m2 + 8) * q),
                load_run(src, r + (m2 + 12) * q), a + 4 * m2, 1);
    // w^1 = c1 - i s1, w^3 = s1 - i c1, w^9 = -w^1.
    a[5] = mul_cs<Inv>(a[5], c1, s1), a[6] = mul_w2<Inv>(a[6], h);
    a[7] = mul_cs<Inv>(a[7], s1, c1), a[9] = mul_w2<Inv>(a[9], h);
    a[10] = V::template rot<Inv>(a[10]), a[11] = V::template rot<Inv>(mul_w2<Inv>(a[11], h));
    a[13] = mul_cs<Inv>(a[13], s1, c1), a[14] = V::template rot<Inv>(mul_w2<Inv>(a[14], h));
    a[15] = mul_cs<Inv>(a[15], c1, s1);
    for (size_t k1 = 0; k1 < 3; ++k1) dft4<Inv>(a[k1], a[4 + k1], a[8 + k1], a[12 + k1], y + k1, 4);
    // The last column with a[15] negated: its sums and differences trade places.
    const V s0 = a[3] + a[11], d0 = a[3] - a[11], s1v = a[7] - a[15], d1 = V::template rot<Inv>(a[7] + a[15]);
    y[3] = s0 + s1v, y[7] = d0 + d1, y[11] = s0 - s1v, y[15] = d0 - d1;
    return;
  }
  // Place m of a group holds stream rev3(m): 0, 4, 2, 6, 1, 5, 3, 7.
  const V x0 = load_run(src, r), x1 = load_run(src, r + 4 * q), x2 = load_run(src, r + 2 * q),
          x3 = load_run(src, r + 6 * q), x4 = load_run(src, r + q), x5 = load_run(src, r + 5 * q),
          x6 = load_run(src, r + 3 * q), x7 = load_run(src, r + 7 * q);
  const V a0 = x0 + x1, a1 = x0 - x1, a2 = x2 + x3, a3 = V::template rot<Inv>(x2 - x3);
  const V a4 = x4 + x5, a5 = x4 - x5, a6 = x6 + x7, a7 = V::template rot<Inv>(x6 - x7);
  const V b0 = a0 + a2, b2 = a0 - a2, b1 = a1 + a3, b3 = a1 - a3;
  const V b4 = a4 + a6, b6 = V::template rot<Inv>(a4 - a6), b5 = mul_w2<Inv>(a5 + a7, h),
          b7 = V::template rot<Inv>(mul_w2<Inv>(a5 - a7, h));
  y[0] = b0 + b4, y[1] = b1 + b5, y[2] = b2 + b6, y[3] = b3 + b7;
  y[4] = b0 - b4, y[5] = b1 - b5, y[6] = b2 - b6, y[7] = b3 - b7;
}

// The single-precision radix 16 with the transpose in the middle: after the
// first DFTs of four, a vector holds one row's outputs k1 = 0..3, so each second
// DFT of four yields a row's outputs k1 + 4 k2 as a contiguous run and is stored
// as it is made, instead of all sixteen outputs waiting for the final transposes.
template <bool Inv, class S>
__attribute__((always_inline)) inline void radix16_rows_transposed(S src, size_t r, size_t q, Split<float> w,
                                                                   const size_t* base) {
  using V = VecSF4;
  const __m128 h = _mm_set1_ps(0.70710678118654752440084436210485f);
  const __m128 c1 = _mm_set1_ps(0.92387953251128675612818318939678828682241662586364f);
  const __m128 s1 = _mm_set1_ps(0.38268343236508977172845998403039886676134456248563f);
  V a[16];
  for (size_t m2 = 0; m2 < 4; ++m2) {
    V* b = a + 4 * m2;
    dft4<Inv>(load_run(src, r + m2 * q), load_run(src, r + (m2 + 4) * q), load_run(src, r + (m2 + 8) * q),
              load_run(src, r + (m2 + 12) * q), b, 1);
    // exp(-2 pi i m2 k1 / 16) on output k1: w^1 = c1 - i s1, w^3 = s1 - i c1,
    // w^6 = w^2 (-i), w^9 = -w^1.
    if (m2 == 1) {
      b[1] = mul_cs<Inv>(b[1], c1, s1), b[2] = mul_w2<Inv>(b[2], h), b[3] = mul_cs<Inv>(b[3], s1, c1);
    } else if (m2 == 2) {
      b[1] = mul_w2<Inv>(b[1], h), b[2] = V::template rot<Inv>(b[2]);
      b[3] = V::template rot<Inv>(mul_w2<Inv>(b[3], h));
    } else if (m2 == 3) {
      const V p = mul_cs<Inv>(b[3], c1, s1);
      b[1] = mul_cs<Inv>(b[1], s1, c1), b[2] = V::template rot<Inv>(mul_w2<Inv>(b[2], h));
      b[3] = {_mm_xor_ps(p.r, _mm_set1_ps(-0.0f)), _mm_xor_ps(p.i, _mm_set1_ps(-0.0f))};
    }
    _MM_TRANSPOSE4_PS(b[0].r, b[1].r, b[2].r, b[3].r);
    _MM_TRANSPOSE4_PS(b[0].i, b[1].i, b[2].i, b[3].i);  // b[t]: row t, lanes k1
  }
  for (size_t t = 0; t < 4; ++t) {
    V y[4];
    dft4<Inv>(a[t], a[4 + t], a[8 + t], a[12 + t], y, 1);
    for (size_t k2 = 0; k2 < 4; ++k2) V::store(w, base[t] + 4 * k2, y[k2]);
  }
}

template <bool Inv, class T, class S>
void gather_first_stage(S src, Split<T> w, int order, size_t u0, size_t u1) {
  using V = typename VecOf<Split<T>>::type;
  constexpr size_t lanes = V::lanes;
  const size_t n = size_t{1} << order;
  const size_t radix = size_t{1} << first_stage_log2(order);
  const int bits = order - first_stage_log2(order);
  const size_t q = n / radix;
  const bool tiled = bits >= 2 * kTileBits;
  const size_t side = tiled ? size_t{1} << kTileBits : q;  // rows per run
  const size_t runs = tiled ? side : 1;
  const size_t hi_stride = tiled ? size_t{1} << (bits - kTileBits) : 0;
  size_t g[lanes], base[lanes];
  for (size_t u = u0; u < u1; ++u)
    for (size_t hi = 0; hi < runs; ++hi) {
      const size_t start = hi * hi_stride + (tiled ? u << kTileBits : 0);
      for (size_t r = start; r < start + side; r += lanes) {
        lane_rows<lanes>(g, reverse_bits(r, bits), bits);
        if constexpr (lanes == 4) {
          if (radix == 16) {
            for (size_t t = 0; t < lanes; ++t) base[t] = radix * g[t];
            radix16_rows_transposed<Inv>(src, r, q, w, base);
            continue;
          }
        }
        V y[16];
        first_stage_rows<Inv>(src, r, q, radix, y);
        for (size_t t = 0; t < lanes; ++t) base[t] = radix * g[t];
        if (radix == 8) scatter<8>(w, base, y);
        else scatter<16>(w, base, y);
      }
    }
}

// The pass list of a complex order.
struct Pass {
  size_t L;
  size_t tw;  // offset of its run in T units
  bool full;
};
struct PassList {
  Pass p[16];
  int count = 0;
};
inline PassList passes_of(int order, int full_order) {
  PassList pl;
  size_t off = 0;
  const size_t n = size_t{1} << order;
  for (size_t l = static_cast<size_t>(fft_first_span(order)); 4 * l <= n; l *= 4) {
    const bool full = 4 * l <= (size_t{1} << full_order);
    pl.p[pl.count++] = {l, off, full};
    off += 2 * (full ? 3 * l : l);
  }
  return pl;
}

// Rows of cache-sized blocks: 16 KiB of data in the first pass group.
template <class T>
constexpr size_t kBlockTarget = 16384 / (2 * sizeof(T));
// Column blocks of the later passes keep about 256 KiB in the second-level cache.
template <class T>
constexpr size_t kColumnTarget = 262144 / (2 * sizeof(T));

// The blocked driver. `w` holds the data between passes, `out` receives the
// last pass (the same array on the in-place engine). first(base, count) runs
// the first stage on elements [base, base + count), leaving sub-transforms of
// `span` points; the radix-4 passes from `first_pass_index` on follow. With
// `threads` > 1 the blocks and then the column blocks are shared by a team of
// two; every butterfly is the same either way, so are the bits.
template <bool Inv, bool Blocked, class T, class W, class O, class First, class Whole>
void drive(const FftEngine<T>& e, W w, O out, size_t span, int first_pass_index, First first, Whole whole,
           size_t whole_rows, const T* scale) {
  const size_t n = size_t{1} << e.order;
  const PassList pl = passes_of(e.order, e.full_order);
  size_t blk = span;
  while (blk * 4 <= n && blk * 4 <= kBlockTarget<T>) blk *= 4;
  if (blk > n) blk = n;
  int local = first_pass_index;
  while (local < pl.count && 4 * pl.p[local].L <= blk) ++local;
  const bool any_global = local < pl.count;
  const int last = pl.count - 1;  // the pass that writes `out` and scales
  const size_t nblocks = n / blk;
  size_t width = blk;
  if (any_global) {
    width = kColumnTarget<T> / (n / blk);
    if (width < 8) width = 8;
    if (width > blk) width = blk;
  }
  const size_t ncols = blk / width;

  auto level0 = [&](int t, int nt) {
    const size_t per = whole_rows / static_cast<size_t>(nt);
    whole(t * per, t == nt - 1 ? whole_rows : (t + 1) * per);
  };
  auto level1 = [&](size_t b0, size_t b1) {
    for (size_t b = b0; b < b1; ++b) {
      const size_t base = b * blk;
      first(base, blk, last < first_pass_index ? scale : nullptr);
      for (int p = first_pass_index; p < local; ++p) {
        const Pass& ps = pl.p[p];
        const size_t groups = blk / (4 * ps.L);
        if (p == last) radix4<Inv, Blocked, T>(w, out, base, groups, ps.L, 0, ps.L, e.tw + ps.tw, ps.full, scale);
        else radix4<Inv, Blocked, T>(w, w, base, groups, ps.L, 0, ps.L, e.tw + ps.tw, ps.full, nullptr);
      }
    }
  };
  auto level2 = [&](size_t c0, size_t c1) {
    for (size_t c = c0; c < c1; ++c) {
      const size_t j0 = c * width;
      for (int p = local; p < pl.count; ++p) {
        const Pass& ps = pl.p[p];
        const size_t groups = n / (4 * ps.L);
        for (size_t m = 0; m < ps.L; m += blk) {
          if (p == last) radix4<Inv, Blocked, T>(w, out, 0, groups, ps.L, m + j0, m + j0 + width, e.tw + ps.tw, ps.full, scale);
          else radix4<Inv, Blocked, T>(w, w, 0, groups, ps.L, m + j0, m + j0 + width, e.tw + ps.tw, ps.full, nullptr);
        }
      }
    }
  };

  if (e.threads > 1) {
    constexpr unsigned kControlBits = 0xE040u;  // rounding, flush-to-zero, denormals-are-zero
    const unsigned caller_control = _mm_getcsr() & kControlBits;
    int request = ownGetNumThreads();
    if (request > 2) request = 2;
#pragma omp parallel num_threads(request) default(shared)
    {
      const int team = omp_get_num_threads();
      const int nt = team < e.threads ? team : e.threads;
      const int t = omp_get_thread_num();
      const unsigned own = _mm_getcsr();
      _mm_setcsr((own & ~kControlBits) | caller_control);
      if (t < nt && whole_rows) level0(t, nt);
#pragma omp barrier
      if (t < nt) {
        const size_t per = nblocks / nt;
        level1(t * per, t == nt - 1 ? nblocks : (t + 1) * per);
      }
#pragma omp barrier
      if (t < nt && any_global) {
        const size_t per = ncols / nt;
        level2(t * per, t == nt - 1 ? ncols : (t + 1) * per);
      }
      _mm_setcsr((_mm_getcsr() & ~kControlBits) | (own & kControlBits));
    }
    return;
  }
  if (whole_rows) level0(0, 1);
  level1(0, nblocks);
  if (any_global) level2(0, ncols);
}

// In place on dst: bit reversal (tiled), a first pass without twiddles, the
// passes. Used where the plan's work buffer cannot hold the whole transform.
template <bool Inv, class T, class CD, class D>
void transform_in_place(const FftEngine<T>& e, CD src, D dst, const T* scale) {
  bit_reverse_layout<T>(src, dst, e.order);
  if (e.order == 0) {
    if (scale) Scalar<T>::store(dst, 0, Scalar<T>::scale(Scalar<T>::load(dst, 0), *scale));
    return;
  }
  const int r0 = (e.order & 1) ? 2 : 4;
  drive<Inv, false, T>(e, dst, dst, static_cast<size_t>(r0), 0,
                [&](size_t base, size_t count, const T* s) { first_pass<Inv, T>(dst, base, count, r0, s); },
                [](size_t, size_t) {}, 0, scale);
}

// Through the work buffer, which holds the N points as two split arrays: the
// first stage gathers from src in bit-reversed order, every pass runs on split
// data (twice the arithmetic density of interleaved complex), and the last pass
// writes dst in its own layout. src may be dst: it is read only by the first
// stage, which is over before the last pass starts.
template <bool Inv, class T, class CD, class D>
void transform_via_work(const FftEngine<T>& e, CD src, D dst, T* work, const T* scale) {
  const size_t n = size_t{1} << e.order;
  const Split<T> w{work, work + n};
  // The first stage covers the passes of quarter span 2 (odd) or 4 (even).
  const size_t span = size_t{1} << first_stage_log2(e.order);
  drive<Inv, true, T>(
      e, w, dst, span, 1, [](size_t, size_t, const T*) {},
      [&](size_t u0, size_t u1) { gather_first_stage<Inv, T>(src, w, e.order, u0, u1); },
      first_stage_units<T>(e.order), scale);
}

// Single-precision orders 5 and 6 whole in registers: the first stage on the
// four rows (lane t is group rev2(t)), a transpose that gives each group's run of
// four outputs, and the last radix-4 pass straight into dst. All of src is read
// before dst is written, so src may be dst.
constexpr bool fft_in_registers(bool dbl, int order) { return !dbl && (order == 5 || order == 6); }

template <bool Inv, class S, class D>
void transform_in_registers(const FftEngine<float>& e, S src, D dst, const float* scale) {
  using V = VecSF4;
  const size_t L = size_t{1} << first_stage_log2(e.order);  // the last pass's quarter span
  V y[16];
  first_stage_rows<Inv>(src, 0, 4, L, y);
  const PassList pl = passes_of(e.order, e.full_order);
  const float* tw = e.tw + pl.p[pl.count - 1].tw;
  const bool blocked = fft_split_lanes(false, e.order) == 4;  // else interleaved pairs
  for (size_t j = 0; j < L; j += 4) {
    V a = y[j], b = y[j + 1], c = y[j + 2], d = y[j + 3];
    _MM_TRANSPOSE4_PS(a.r, b.r, c.r, d.r);
    _MM_TRANSPOSE4_PS(a.i, b.i, c.i, d.i);  // a, b, c, d: groups 0, 2, 1, 3
    const V w1 = blocked ? V::twb(tw + 2 * j) : V::tw(tw + 2 * j);
    const V w2 = blocked ? V::twb(tw + 2 * (L + j)) : V::tw(tw + 2 * (L + j));
    const V w3 = blocked ? V::twb(tw + 2 * (2 * L + j)) : V::tw(tw + 2 * (2 * L + j));
    const V t1 = V::template mul<Inv>(c, w2), t2 = V::template mul<Inv>(b, w1), t3 = V::template mul<Inv>(d, w3);
    const V a0 = a + t1, a1 = a - t1, a2 = t2 + t3, a3 = V::template rot<Inv>(t2 - t3);
    V y0 = a0 + a2, y1 = a1 + a3, y2 = a0 - a2, y3 = a1 - a3;
    if (scale) {
      y0 = V::scale(y0, *scale), y1 = V::scale(y1, *scale);
      y2 = V::scale(y2, *scale), y3 = V::scale(y3, *scale);
    }
    V::store(dst, j, y0), V::store(dst, j + L, y1), V::store(dst, j + 2 * L, y2), V::store(dst, j + 3 * L, y3);
  }
}

// The work-buffer engine serves orders 6 and up while the buffer holds the
// whole transform (the cache-sized and medium orders).

template <bool Inv, class T, class CD, class D>
void transform(const FftEngine<T>& e, CD src, D dst, T* work, const T* scale) {
  if constexpr (sizeof(T) == 4) {
    if (fft_in_registers(false, e.order)) return transform_in_registers<Inv>(e, src, dst, scale);
  }
  if (work && fft_via_work(sizeof(T) == 8, e.order)) transform_via_work<Inv, T>(e, src, dst, work, scale);
  else transform_in_place<Inv, T>(e, src, dst, scale);
}

}  // namespace fft
}  // namespace q5
}  // namespace kpl
