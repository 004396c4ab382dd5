// Mul in every type and form, and the kernels MulC runs with its constant in
// place of the second vector. One operation per element type serves both: the
// second operand is a pointer or a Splat (a constant that reads like a vector).
#include <immintrin.h>

#include <bit>
#include <climits>
#include <cstring>
#include <limits>
#include <type_traits>

#include "arith/mul_kernels.hpp"
#include "arith/scaled.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/rounding.hpp"
#include "frame/saturate.hpp"
#include "frame/scale.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

namespace {

// ---- Limits: where each form's arithmetic stops (zero fill above, bound below) ----

constexpr ScaleLimits kLimits8u{.zero_above = 16, .bound_below = -7};      // products up to 65,025
constexpr ScaleLimits kLimits16s{.zero_above = 30, .bound_below = -15};    // up to 2^30
constexpr ScaleLimits kLimits16sc{.zero_above = 31, .bound_below = -15};   // sums of two products
constexpr ScaleLimits kLimits16u{.zero_above = 32, .bound_below = -15};    // up to 2^32 - 2^17 + 1
constexpr ScaleLimits kLimits16u16s{.zero_above = 31, .bound_below = -14}; // the bound one step early
constexpr ScaleLimits kLimits16s32s{.zero_above = 30, .bound_below = -30};
constexpr ScaleLimits kLimits32s{.zero_above = 62, .bound_below = -31};
constexpr ScaleLimits kLimits32sc{.zero_above = 63, .bound_below = -31};
constexpr ScaleLimits kLimits32s32sc{.zero_above = 62, .bound_below = -31};
constexpr ScaleLimits kLimitsLow32s{.zero_above = 62, .bound_below = -31};

// Destination sizes, in 32-byte blocks, above which the stores bypass the cache
// (when the destination aligns).
constexpr size_t kStreamBlocksMul64f = 10922;   // three streams: about 1 MiB of traffic
constexpr size_t kStreamBlocksMul64fc = 10922;
constexpr size_t kStreamBlocksMul64fcI = 16384;
constexpr size_t kStreamBlocksMul16s32f = 32768;

template <class D>
bool beyond(size_t n, size_t blocks) {
  return n * sizeof(D) / 32 > blocks;
}

}  // namespace

// ---- Operands: a vector, or a constant that reads like one ----

namespace {

template <class T>
struct Splat {
  explicit Splat(T x) : val(x) {
    uint8_t b[16];
    for (size_t k = 0; k < 16; k += sizeof(T)) std::memcpy(b + k, &x, sizeof(T));
    v = load_i(b);
  }
  Splat operator+(size_t) const { return *this; }
  T val;
  __m128i v;  // val repeated over 16 bytes
};

// Element access never assumes the element's own alignment: a caller may pass a
// float vector on an odd address.
template <class T>
inline T elem(const T* p) {
  return load_raw<T>(p);
}
template <class T>
inline T elem(const Splat<T>& s) {
  return s.val;
}
// 16 bytes of the operand.
template <class T>
inline __m128i vec(const T* p) {
  return load_i(p);
}
template <class T>
inline __m128i vec(const Splat<T>& s) {
  return s.v;
}
// The first 8 bytes of the operand (the rest is anything).
template <class T>
inline __m128i vec_lo(const T* p) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}
template <class T>
inline __m128i vec_lo(const Splat<T>& s) {
  return s.v;
}

// ---- Floating products ----

template <class T>
struct FloatLanes;
template <>
struct FloatLanes<float> {
  using V = __m128;
  static V in(__m128i x) { return _mm_castsi128_ps(x); }
  static __m128i out(V v) { return _mm_castps_si128(v); }
  static V mul(V a, V b) { return _mm_mul_ps(a, b); }
};
template <>
struct FloatLanes<double> {
  using V = __m128d;
  static V in(__m128i x) { return _mm_castsi128_pd(x); }
  static __m128i out(V v) { return _mm_castpd_si128(v); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
};

// The complex product in its documented order, on whole 16-byte lanes:
// re = a.re * b.re - a.im * b.im, im = a.im * b.re + a.re * b.im.
inline __m128 complex_product(__m128 a, __m128 b) {
  const __m128 swapped = _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1));  // a.im, a.re
  return _mm_addsub_ps(_mm_mul_ps(a, _mm_moveldup_ps(b)), _mm_mul_ps(swapped, _mm_movehdup_ps(b)));
}
inline __m128d complex_product(__m128d a, __m128d b) {
  const __m128d swapped = _mm_shuffle_pd(a, a, 1);
  return _mm_addsub_pd(_mm_mul_pd(a, _mm_movedup_pd(b)), _mm_mul_pd(swapped, _mm_unpackhi_pd(b, b)));
}

// d = a * b on real floats. A block is 32 bytes of destination.
template <class T>
struct MulReal {
  using L = FloatLanes<T>;
  static constexpr size_t kHalf = 16 / sizeof(T), kLanes = 2 * kHalf;
  template <class B>
  static void scalar(const T* a, const B& b, T* d) {
    store_raw(d, elem(a) * elem(b));
  }
  template <Store S, class B>
  static void block(const T* a, const B& b, T* d) {
    const __m128i lo = L::out(L::mul(L::in(load_i(a)), L::in(vec(b))));
    const __m128i hi = L::out(L::mul(L::in(load_i(a + kHalf)), L::in(vec(b + kHalf))));
    store_i<S>(d, lo), store_i<S>(d + kHalf, hi);
  }
};

// d = a * b on complex floats; one element alone runs the same vector product.
template <class C>
struct MulComplex {
  using P = decltype(C::re);
  using L = FloatLanes<P>;
  static constexpr size_t kPerVector = 16 / sizeof(C), kLanes = 2 * kPerVector;
  template <class B>
  static void scalar(const C* a, const B& b, C* d) {
    if constexpr (kPerVector == 2) {
      const auto x = complex_product(L::in(vec_lo(a)), L::in(vec_lo(b)));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d), L::out(x));
    } else {
      store_i(d, L::out(complex_product(L::in(load_i(a)), L::in(vec(b)))));
    }
  }
  template <Store S, class B>
  static void block(const C* a, const B& b, C* d) {
    const __m128i lo = L::out(complex_product(L::in(load_i(a)), L::in(vec(b))));
    const __m128i hi = L::out(complex_product(L::in(load_i(a + kPerVector)), L::in(vec(b + kPerVector))));
    store_i<S>(d, lo), store_i<S>(d + kPerVector, hi);
  }
};

// d = a * b with a real and b complex: both parts times the real one.
struct MulRealComplex32f {
  static constexpr size_t kLanes = 4;
  static void scalar(const Kpl32f* a, const Kpl32fc* b, Kpl32fc* d) {
    const Kpl32f r = elem(a);
    const Kpl32fc c = elem(b);
    store_raw(d, Kpl32fc{r * c.re, r * c.im});
  }
  template <Store S>
  static void block(const Kpl32f* a, const Kpl32fc* b, Kpl32fc* d) {
    const __m128 r = load_f(a);
    const __m128 lo = _mm_mul_ps(_mm_unpacklo_ps(r, r), load_f(b));
    const __m128 hi = _mm_mul_ps(_mm_unpackhi_ps(r, r), load_f(b + 2));
    store_i<S>(d, _mm_castps_si128(lo)), store_i<S>(d + 2, _mm_castps_si128(hi));
  }
};

// The exact 32-bit product of two 16-bit integers, converted to float (by the
// current rounding mode, as the scalar conversion does).
struct Mul16s32f {
  static constexpr size_t kLanes = 8;
  static void scalar(const Kpl16s* a, const Kpl16s* b, Kpl32f* d) { store_raw(d, static_cast<Kpl32f>(int32_t{elem(a)} * elem(b))); }
  template <Store S>
  static void block(const Kpl16s* a, const Kpl16s* b, Kpl32f* d) {
    const __m128i u = load_i(a), v = load_i(b);
    const __m128i lo = _mm_mullo_epi16(u, v), hi = _mm_mulhi_epi16(u, v);
    store_i<S>(d, _mm_castps_si128(_mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, hi))));
    store_i<S>(d + 4, _mm_castps_si128(_mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, hi))));
  }
};

// Byte sources, exact 16-bit products.
struct Mul8u16u {
  static constexpr size_t kLanes = 16;
  static void scalar(const Kpl8u* a, const Kpl8u* b, Kpl16u* d) { store_raw(d, static_cast<Kpl16u>(*a * *b)); }
  template <Store S>
  static void block(const Kpl8u* a, const Kpl8u* b, Kpl16u* d) {
    const __m128i z = _mm_setzero_si128(), u = load_i(a), v = load_i(b);
    store_i<S>(d, _mm_mullo_epi16(_mm_unpacklo_epi8(u, z), _mm_unpacklo_epi8(v, z)));
    store_i<S>(d + 8, _mm_mullo_epi16(_mm_unpackhi_epi8(u, z), _mm_unpackhi_epi8(v, z)));
  }
};

template <class Op, Store S, class A, class B, class D>
void each(const A* a, const B& b, D* d, size_t n) {
  for_blocks<Op::kLanes>(
      d, n, [&](size_t i) { Op::scalar(a + i, b + i, d + i); }, [&](size_t i) { Op::template block<S>(a + i, b + i, d + i); });
}

template <class Op, class A, class B, class D>
void float_kernel(const A* a, const B& b, D* d, size_t n, bool stream) {
  with_store_mode(stream, d, n, [&](auto mode) { each<Op, decltype(mode)::value>(a, b, d, n); });
}

// ---- Scaled integer products: exact lanes, then a finish per scale class ----

// x * 2^-s rounded to nearest, ties to even, for s from 1 to 32, on 32-bit lanes
// that use their whole width: working on h = x >> 1 keeps the bias from
// overflowing. y = (h + (((x & 1) + 2^(s-1) - 1 + ((h >> (s-1)) & 1)) >> 1)) >> (s-1).
template <bool Signed>
class HalvedShift {
 public:
  explicit HalvedShift(int s)
      : k_(_mm_cvtsi32_si128(s - 1)),
        bias_(_mm_set1_epi32(static_cast<int32_t>((uint32_t{1} << (s - 1)) - 1))),
        one_(_mm_set1_epi32(1)) {}
  __m128i operator()(__m128i x) const {
    const __m128i h = Signed ? _mm_srai_epi32(x, 1) : _mm_srli_epi32(x, 1);
    const __m128i odd = _mm_and_si128(_mm_srl_epi32(h, k_), one_);
    const __m128i t = _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(_mm_and_si128(x, one_), bias_), odd), 1);
    const __m128i y = _mm_add_epi32(h, t);
    return Signed ? _mm_sra_epi32(y, k_) : _mm_srl_epi32(y, k_);
  }

 private:
  __m128i k_, bias_, one_;
};

// 8u and 16s results from lanes that hold at most 2^30 in magnitude: the shared finish.
template <class D, ScaleClass C>
struct Packed {
  explicit Packed(int s) : f(s) {}
  D operator()(int64_t x) const { return f(x); }
  void put(void* d, const __m128i* x) const { store_i(d, f.pack(x)); }
  Finish<D, C> f;
};

// 16s results from signed lanes that use all 32 bits (complex sums, 16u x 16s).
template <ScaleClass C>
struct Wide16s {
  explicit Wide16s(int s) : f(s), down(C == ScaleClass::kDown ? s : 1) {}
  Kpl16s operator()(int64_t x) const { return f(x); }
  void put(void* d, const __m128i* x) const {
    if constexpr (C == ScaleClass::kDown) {
      store_i(d, _mm_packs_epi32(down(x[0]), down(x[1])));
    } else {
      store_i(d, f.pack(x));  // saturating packs and clamps before a left shift: exact for any lane
    }
  }
  Finish<Kpl16s, C> f;
  HalvedShift<true> down;
};

// 16u results from unsigned 32-bit lanes (products up to 2^32 - 2^17 + 1).
template <ScaleClass C>
struct Unsigned16u {
  explicit Unsigned16u(int s) : s_(s), down_(C == ScaleClass::kDown ? s : 1), up_(_mm_cvtsi32_si128(C == ScaleClass::kUp ? -s : 0)) {}
  Kpl16u operator()(int64_t x) const {
    constexpr int64_t kMax = 65535;
    if constexpr (C == ScaleClass::kExact) {
      return static_cast<Kpl16u>(x < kMax ? x : kMax);
    } else if constexpr (C == ScaleClass::kDown) {
      const int64_t y = round_shift(x, s_);
      return static_cast<Kpl16u>(y < kMax ? y : kMax);
    } else if constexpr (C == ScaleClass::kUp) {
      const int64_t y = (x < kMax ? x : kMax) << -s_;
      return static_cast<Kpl16u>(y < kMax ? y : kMax);
    } else {
      return x != 0 ? 65535 : 0;
    }
  }
  __m128i lanes(__m128i x) const {
    const __m128i max = _mm_set1_epi32(65535);
    if constexpr (C == ScaleClass::kExact) {
      return _mm_min_epu32(x, max);
    } else if constexpr (C == ScaleClass::kDown) {
      return _mm_min_epu32(down_(x), max);
    } else if constexpr (C == ScaleClass::kUp) {
      return _mm_min_epu32(_mm_sll_epi32(_mm_min_epu32(x, max), up_), max);
    } else {
      return _mm_andnot_si128(_mm_cmpeq_epi32(x, _mm_setzero_si128()), max);
    }
  }
  void put(void* d, const __m128i* x) const { store_i(d, _mm_packus_epi32(lanes(x[0]), lanes(x[1]))); }

 private:
  int s_;
  HalvedShift<false> down_;
  __m128i up_;
};

// 32s results from 16s x 16s products (|x| <= 2^30): a left shift saturates as
// soon as the product exceeds what survives it (0x7FFFFFFF >> -s, and the
// negative counterpart), instead of shifting.
template <ScaleClass C>
struct To32s {
  explicit To32s(int s) : s_(s), down_(C == ScaleClass::kDown ? s : 1), up_(_mm_cvtsi32_si128(C == ScaleClass::kUp ? -s : 0)) {}
  Kpl32s operator()(int64_t x) const {
    if constexpr (C == ScaleClass::kExact) {
      return static_cast<Kpl32s>(x);
    } else if constexpr (C == ScaleClass::kDown) {
      return static_cast<Kpl32s>(round_shift(x, s_));
    } else if constexpr (C == ScaleClass::kUp) {
      const int64_t lim = INT32_MAX >> -s_;
      return x > lim ? INT32_MAX : (x < -lim - 1 ? INT32_MIN : static_cast<Kpl32s>(x * (int64_t{1} << -s_)));
    } else {
      return x > 0 ? INT32_MAX : (x < 0 ? INT32_MIN : 0);
    }
  }
  __m128i lanes(__m128i x) const {
    if constexpr (C == ScaleClass::kExact) {
      return x;
    } else if constexpr (C == ScaleClass::kDown) {
      return down_.signed_lanes(x);
    } else {
      const __m128i sat = _mm_xor_si128(_mm_srai_epi32(x, 31), _mm_set1_epi32(INT32_MAX));  // by the sign
      if constexpr (C == ScaleClass::kUp) {
        const __m128i y = _mm_sll_epi32(x, up_);
        return _mm_blendv_epi8(sat, y, _mm_cmpeq_epi32(_mm_sra_epi32(y, up_), x));
      } else {
        return _mm_andnot_si128(_mm_cmpeq_epi32(x, _mm_setzero_si128()), sat);
      }
    }
  }
  void put(void* d, const __m128i* x) const {
    store_i(d, lanes(x[0]));
    store_i(static_cast<Kpl32s*>(d) + 4, lanes(x[1]));
  }

 private:
  int s_;
  RoundShift32 down_;
  __m128i up_;
};

// 32-bit and complex 32-bit results from exact 64-bit values, for any class; the
// rounding shift works in 128 bits, so a value near 2^63 cannot overflow.
template <class D, ScaleClass C>
struct Scale64 {
  explicit Scale64(int s) : s_(s) {}
  D operator()(int64_t x) const {
    if constexpr (C == ScaleClass::kExact) {
      return saturate<D>(x);
    } else if constexpr (C == ScaleClass::kDown) {
      return saturate<D>(static_cast<int64_t>(round_shift(static_cast<__int128>(x), s_)));
    } else if constexpr (C == ScaleClass::kUp) {
      return saturate<D>(int64_t{saturate<D>(x)} * (int64_t{1} << -s_));  // |x| <= 2^31 before a shift by <= 31
    } else {
      return x > 0 ? std::numeric_limits<D>::max() : (x < 0 ? std::numeric_limits<D>::lowest() : D{0});
    }
  }

 private:
  int s_;
};

// The exact result of one complex element.
struct ComplexExact {
  int64_t re, im;
};

template <class Fin, class D>
inline void put_one(const Fin& fin, D* d, int64_t x) {
  store_raw(d, fin(x));
}
template <class Fin, class D>
inline void put_one(const Fin& fin, D* d, ComplexExact x) {
  store_raw(d, D{fin(x.re), fin(x.im)});
}

// 8u x 8u: products up to 65,025 in four vectors of 32-bit lanes.
struct Mul8u {
  static constexpr size_t kLanes = 16, kVectors = 4;
  static int64_t exact(Kpl8u a, Kpl8u b) { return int64_t{a} * b; }
  template <class B>
  static void lanes(const Kpl8u* a, const B& b, __m128i* x) {
    const __m128i z = _mm_setzero_si128(), u = load_i(a), v = vec(b);
    const __m128i lo = _mm_mullo_epi16(_mm_unpacklo_epi8(u, z), _mm_unpacklo_epi8(v, z));
    const __m128i hi = _mm_mullo_epi16(_mm_unpackhi_epi8(u, z), _mm_unpackhi_epi8(v, z));
    x[0] = _mm_unpacklo_epi16(lo, z), x[1] = _mm_unpackhi_epi16(lo, z);
    x[2] = _mm_unpacklo_epi16(hi, z), x[3] = _mm_unpackhi_epi16(hi, z);
  }
};

// 16-bit x 16-bit: the low and high halves of each product, interleaved into
// 32-bit lanes. Hi gives the high halves for the operand types.
template <class TA, class TB>
struct Mul16 {
  static constexpr size_t kLanes = 8, kVectors = 2;
  static int64_t exact(TA a, TB b) { return int64_t{a} * b; }
  static __m128i high(__m128i u, __m128i v) {
    if constexpr (std::is_unsigned_v<TA> && std::is_unsigned_v<TB>) {
      return _mm_mulhi_epu16(u, v);
    } else if constexpr (std::is_unsigned_v<TA>) {
      // u read as signed is u - 2^16 where its top bit is set: add v back there.
      return _mm_add_epi16(_mm_mulhi_epi16(u, v), _mm_and_si128(_mm_srai_epi16(u, 15), v));
    } else {
      return _mm_mulhi_epi16(u, v);
    }
  }
  template <class B>
  static void lanes(const TA* a, const B& b, __m128i* x) {
    const __m128i u = load_i(a), v = vec(b);
    const __m128i lo = _mm_mullo_epi16(u, v), hi = high(u, v);
    x[0] = _mm_unpacklo_epi16(lo, hi), x[1] = _mm_unpackhi_epi16(lo, hi);
  }
};

// Complex 16-bit: re = a.re * b.re - a.im * b.im, im = a.re * b.im + a.im * b.re,
// exact in 32 bits but for im = 2^31 (all four parts -32768), held as 2^31 - 1.
struct Mul16sc {
  static constexpr size_t kLanes = 4, kVectors = 2;
  static constexpr int64_t kTwo31 = int64_t{1} << 31;
  static ComplexExact exact(Kpl16sc a, Kpl16sc b) {
    const int64_t im = int64_t{a.re} * b.im + int64_t{a.im} * b.re;
    return {int64_t{a.re} * b.re - int64_t{a.im} * b.im, im == kTwo31 ? kTwo31 - 1 : im};
  }
  template <class B>
  static void lanes(const Kpl16sc* a, const B& b, __m128i* x) {
    const __m128i u = load_i(a), v = vec(b);
    const __m128i lo = _mm_mullo_epi16(u, v), hi = _mm_mulhi_epi16(u, v);
    const __m128i p = _mm_unpacklo_epi16(lo, hi), q = _mm_unpackhi_epi16(lo, hi);  // re*re, im*im pairs
    const __m128i re01 = _mm_sub_epi32(p, _mm_srli_epi64(p, 32)), re23 = _mm_sub_epi32(q, _mm_srli_epi64(q, 32));
    const __m128i swapped = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, _MM_SHUFFLE(2, 3, 0, 1)), _MM_SHUFFLE(2, 3, 0, 1));
    __m128i im = _mm_madd_epi16(u, swapped);
    im = _mm_add_epi32(im, _mm_cmpeq_epi32(im, _mm_set1_epi32(INT32_MIN)));  // the wrapped 2^31 becomes 2^31 - 1
    x[0] = _mm_blend_epi16(re01, _mm_unpacklo_epi32(im, im), 0xCC);
    x[1] = _mm_blend_epi16(re23, _mm_unpackhi_epi32(im, im), 0xCC);
  }
};

// Complex 32-bit: exact in 64 bits but for im = 2^63, held as 2^63 - 1.
struct Mul32sc {
  static ComplexExact exact(Kpl32sc a, Kpl32sc b) {
    const uint64_t im = static_cast<uint64_t>(int64_t{a.im} * b.re) + static_cast<uint64_t>(int64_t{a.re} * b.im);
    return {int64_t{a.re} * b.re - int64_t{a.im} * b.im, im == uint64_t{1} << 63 ? INT64_MAX : static_cast<int64_t>(im)};
  }
};
// A real 32-bit times a complex one: both parts, exact.
struct Mul32s32sc {
  static ComplexExact exact(Kpl32s a, Kpl32sc b) { return {int64_t{a} * b.re, int64_t{a} * b.im}; }
};
struct Mul32s {
  static int64_t exact(Kpl32s a, Kpl32s b) { return int64_t{a} * b; }
};

template <class Op, class Fin, class A, class B, class D>
void scaled_each(const Fin& fin, const A* a, const B& b, D* d, size_t n) {
  for_blocks<Op::kLanes>(
      d, n, [&](size_t i) { put_one(fin, d + i, Op::exact(elem(a + i), elem(b + i))); },
      [&](size_t i) {
        __m128i x[Op::kVectors];
        Op::lanes(a + i, b + i, x);
        fin.put(d + i, x);
      });
}

template <class Op, class Fin, class A, class B, class D>
void scalar_each(const Fin& fin, const A* a, const B& b, D* d, size_t n) {
  for (size_t i = 0; i < n; ++i) put_one(fin, d + i, Op::exact(elem(a + i), elem(b + i)));
}

// Runs Op for the class c of s, through Fin<C> (a template over the class).
template <class Op, template <ScaleClass> class Fin, bool Vector = true, class A, class B, class D>
void scaled_kernel(ScaleClass c, int s, const A* a, const B& b, D* d, size_t n) {
  with_scale_class(c, [&](auto tag) {
    constexpr ScaleClass C = decltype(tag)::value;
    if constexpr (C != ScaleClass::kZero) {
      if constexpr (Vector) {
        scaled_each<Op>(Fin<C>(s), a, b, d, n);
      } else {
        scalar_each<Op>(Fin<C>(s), a, b, d, n);
      }
    }
  });
}

template <ScaleClass C>
using Packed8u = Packed<Kpl8u, C>;
template <ScaleClass C>
using Packed16s = Packed<Kpl16s, C>;
template <ScaleClass C>
using Scale64To32s = Scale64<Kpl32s, C>;

// ---- Mul_32s_Sfs: binary64 ----

// (a * 2^-s) * b in binary64, clamped to the 32-bit range and converted with the
// current rounding (nearest, forced by the caller); at s = 0 the product alone,
// converted by truncation: it is an integer already, or beyond the range.
template <bool Scaled>
struct Mul32sDouble {
  static constexpr size_t kLanes = 4;
  explicit Mul32sDouble(int s) : scale(std::bit_cast<double>(static_cast<uint64_t>(1023 - s) << 52)) {}
  double scale;
  static constexpr double kLo = -2147483648.0, kHi = 2147483647.0;

  template <class B>
  void scalar(const Kpl32s* a, const B& b, Kpl32s* d) const {
    double x = static_cast<double>(elem(a));
    if constexpr (Scaled) x = x * scale;
    x = x * static_cast<double>(elem(b));
    x = x < kLo ? kLo : (x > kHi ? kHi : x);
    store_raw(d, Scaled ? _mm_cvtsd_si32(_mm_set_sd(x)) : _mm_cvttsd_si32(_mm_set_sd(x)));
  }
  __m128i two(__m128i a, __m128i b) const {
    __m128d x = _mm_cvtepi32_pd(a);
    if constexpr (Scaled) x = _mm_mul_pd(x, _mm_set1_pd(scale));
    x = _mm_mul_pd(x, _mm_cvtepi32_pd(b));
    x = _mm_max_pd(_mm_min_pd(x, _mm_set1_pd(kHi)), _mm_set1_pd(kLo));
    return Scaled ? _mm_cvtpd_epi32(x) : _mm_cvttpd_epi32(x);
  }
  template <class B>
  void block(const Kpl32s* a, const B& b, Kpl32s* d) const {
    const __m128i u = load_i(a), v = vec(b);
    store_i(d, _mm_unpacklo_epi64(two(u, v), two(_mm_srli_si128(u, 8), _mm_srli_si128(v, 8))));
  }
};

template <class B>
void mul_32s_double(const Kpl32s* a, const B& b, Kpl32s* d, size_t n, int s) {
  const ScaleClass c = classify(s, kLimits32s);
  if (c == ScaleClass::kExact) {
    const Mul32sDouble<false> op(0);
    for_blocks<4>(d, n, [&](size_t i) { op.scalar(a + i, b + i, d + i); }, [&](size_t i) { op.block(a + i, b + i, d + i); });
  } else if (c == ScaleClass::kBound) {
    scalar_each<Mul32s>(Scale64To32s<ScaleClass::kBound>(s), a, b, d, n);
  } else {
    const RoundingGuard nearest(Rounding::kNearest);
    const Mul32sDouble<true> op(s);
    for_blocks<4>(d, n, [&](size_t i) { op.scalar(a + i, b + i, d + i); }, [&](size_t i) { op.block(a + i, b + i, d + i); });
  }
}

// ---- Mul_Low_32s_Sfs: wrap-around, no rounding ----

template <ScaleClass C>
void mul_low_32s(const Kpl32s* a, const Kpl32s* b, Kpl32s* d, size_t n, int s) {
  for (size_t i = 0; i < n; ++i) {
    const int64_t p = int64_t{elem(a + i)} * elem(b + i);
    Kpl32s r;
    if constexpr (C == ScaleClass::kExact) {
      r = static_cast<Kpl32s>(p);  // the low 32 bits
    } else if constexpr (C == ScaleClass::kDown) {
      r = static_cast<Kpl32s>(p >> s);  // bits s and up; from 32 on, the high word shifted arithmetically
    } else if constexpr (C == ScaleClass::kUp) {
      r = static_cast<Kpl32s>(static_cast<uint32_t>(p) << -s);  // the low word shifted left
    } else {
      r = p > 0 ? INT32_MAX : (p < 0 ? INT32_MIN : 0);  // saturated, unlike the rest
    }
    store_raw(d + i, r);
  }
}

// ---- Public functions' bodies ----

KplStatus zero_fill(Kpl8u* d, int len) { return KPL_IMPL(kplsZero_8u)(d, len); }
KplStatus zero_fill(Kpl16s* d, int len) { return KPL_IMPL(kplsZero_16s)(d, len); }
KplStatus zero_fill(Kpl16u* d, int len) { return KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(d), len); }
KplStatus zero_fill(Kpl16sc* d, int len) { return KPL_IMPL(kplsZero_16sc)(d, len); }
KplStatus zero_fill(Kpl32s* d, int len) { return KPL_IMPL(kplsZero_32s)(d, len); }
KplStatus zero_fill(Kpl32sc* d, int len) { return KPL_IMPL(kplsZero_32sc)(d, len); }

template <class Op, class A, class B, class D>
KplStatus elementwise(const A* a, const B* b, D* d, int len, size_t stream_blocks = SIZE_MAX) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const size_t n = static_cast<size_t>(len);
  float_kernel<Op>(a, b, d, n, beyond<D>(n, stream_blocks));
  return kplStsOk;
}

// Checks, the zero fill of the class above the zero limit, then the class's kernel.
template <class Op, template <ScaleClass> class Fin, bool Vector = true, class A, class B, class D>
KplStatus scaled(const A* a, const B* b, D* d, int len, int s, ScaleLimits limits) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const ScaleClass c = classify(s, limits);
  if (c == ScaleClass::kZero) return zero_fill(d, len);
  scaled_kernel<Op, Fin, Vector>(c, s, a, b, d, static_cast<size_t>(len));
  return kplStsOk;
}

// The 16u forms test their zero fill before their pointers.
KplStatus mul_16u(const Kpl16u* a, const Kpl16u* b, Kpl16u* d, int len, int s) {
  if (classify(s, kLimits16u) == ScaleClass::kZero) return zero_fill(d, len);
  return scaled<Mul16<Kpl16u, Kpl16u>, Unsigned16u>(a, b, d, len, s, kLimits16u);
}

KplStatus mul_32s(const Kpl32s* a, const Kpl32s* b, Kpl32s* d, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  if (classify(s, kLimits32s) == ScaleClass::kZero) return zero_fill(d, len);
  mul_32s_double(a, b, d, static_cast<size_t>(len), s);
  return kplStsOk;
}

KplStatus mul_low_32s(const Kpl32s* a, const Kpl32s* b, Kpl32s* d, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const ScaleClass c = classify(s, kLimitsLow32s);
  if (c == ScaleClass::kZero) return zero_fill(d, len);
  with_scale_class(c, [&](auto tag) {
    if constexpr (decltype(tag)::value != ScaleClass::kZero) mul_low_32s<decltype(tag)::value>(a, b, d, static_cast<size_t>(len), s);
  });
  return kplStsOk;
}

}  // namespace

// ---- The kernels of MulC ----

void mul_const(const Kpl32f* s, Kpl32f v, Kpl32f* d, size_t n, bool stream) { float_kernel<MulReal<Kpl32f>>(s, Splat(v), d, n, stream); }
void mul_const(const Kpl64f* s, Kpl64f v, Kpl64f* d, size_t n, bool stream) { float_kernel<MulReal<Kpl64f>>(s, Splat(v), d, n, stream); }
void mul_const(const Kpl32fc* s, Kpl32fc v, Kpl32fc* d, size_t n, bool stream) { float_kernel<MulComplex<Kpl32fc>>(s, Splat(v), d, n, stream); }
void mul_const(const Kpl64fc* s, Kpl64fc v, Kpl64fc* d, size_t n, bool stream) { float_kernel<MulComplex<Kpl64fc>>(s, Splat(v), d, n, stream); }
void mul_const(const Kpl8u* s, Kpl8u v, Kpl8u* d, size_t n, ScaleClass c, int sf) { scaled_kernel<Mul8u, Packed8u>(c, sf, s, Splat(v), d, n); }
void mul_const(const Kpl16s* s, Kpl16s v, Kpl16s* d, size_t n, ScaleClass c, int sf) { scaled_kernel<Mul16<Kpl16s, Kpl16s>, Packed16s>(c, sf, s, Splat(v), d, n); }
void mul_const(const Kpl16sc* s, Kpl16sc v, Kpl16sc* d, size_t n, ScaleClass c, int sf) { scaled_kernel<Mul16sc, Wide16s>(c, sf, s, Splat(v), d, n); }
void mul_const(const Kpl16u* s, Kpl16u v, Kpl16u* d, size_t n, ScaleClass c, int sf) { scaled_kernel<Mul16<Kpl16u, Kpl16u>, Unsigned16u>(c, sf, s, Splat(v), d, n); }
void mul_const(const Kpl32s* s, Kpl32s v, Kpl32s* d, size_t n, ScaleClass c, int sf) { scaled_kernel<Mul32s, Scale64To32s, false>(c, sf, s, Splat(v), d, n); }
void mul_const(const Kpl32sc* s, Kpl32sc v, Kpl32sc* d, size_t n, ScaleClass c, int sf) { scaled_kernel<Mul32sc, Scale64To32s, false>(c, sf, s, Splat(v), d, n); }

}  // namespace q5
}  // namespace kpl

using namespace kpl;

// clang-format off
KplStatus KPL_IMPL(kplsMul_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, int len) { return elementwise<MulReal<Kpl32f>>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMul_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len) { return elementwise<MulReal<Kpl32f>>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMul_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, int len) { return elementwise<MulReal<Kpl64f>>(pSrc1, pSrc2, pDst, len, kStreamBlocksMul64f); }
KplStatus KPL_IMPL(kplsMul_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len) { return elementwise<MulReal<Kpl64f>>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMul_32fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, Kpl32fc* pDst, int len) { return elementwise<MulComplex<Kpl32fc>>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMul_32fc_I)(const Kpl32fc* pSrc, Kpl32fc* pSrcDst, int len) { return elementwise<MulComplex<Kpl32fc>>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMul_64fc)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, Kpl64fc* pDst, int len) { return elementwise<MulComplex<Kpl64fc>>(pSrc1, pSrc2, pDst, len, kStreamBlocksMul64fc); }
KplStatus KPL_IMPL(kplsMul_64fc_I)(const Kpl64fc* pSrc, Kpl64fc* pSrcDst, int len) { return elementwise<MulComplex<Kpl64fc>>(pSrc, pSrcDst, pSrcDst, len, kStreamBlocksMul64fcI); }
KplStatus KPL_IMPL(kplsMul_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl32f* pDst, int len) { return elementwise<Mul16s32f>(pSrc1, pSrc2, pDst, len, kStreamBlocksMul16s32f); }
KplStatus KPL_IMPL(kplsMul_32f32fc)(const Kpl32f* pSrc1, const Kpl32fc* pSrc2, Kpl32fc* pDst, int len) { return elementwise<MulRealComplex32f>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMul_32f32fc_I)(const Kpl32f* pSrc, Kpl32fc* pSrcDst, int len) { return elementwise<MulRealComplex32f>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMul_8u_Sfs)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, int len, int scaleFactor) { return scaled<Mul8u, Packed8u>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits8u); }
KplStatus KPL_IMPL(kplsMul_8u_ISfs)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len, int scaleFactor) { return scaled<Mul8u, Packed8u>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, kLimits8u); }
KplStatus KPL_IMPL(kplsMul_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) { return scaled<Mul16<Kpl16s, Kpl16s>, Packed16s>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits16s); }
KplStatus KPL_IMPL(kplsMul_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) { return scaled<Mul16<Kpl16s, Kpl16s>, Packed16s>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, kLimits16s); }
KplStatus KPL_IMPL(kplsMul_16sc_Sfs)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, Kpl16sc* pDst, int len, int scaleFactor) { return scaled<Mul16sc, Wide16s>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits16sc); }
KplStatus KPL_IMPL(kplsMul_16sc_ISfs)(const Kpl16sc* pSrc, Kpl16sc* pSrcDst, int len, int scaleFactor) { return scaled<Mul16sc, Wide16s>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, kLimits16sc); }
KplStatus KPL_IMPL(kplsMul_16u_Sfs)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, int len, int scaleFactor) { return mul_16u(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMul_16u_ISfs)(const Kpl16u* pSrc, Kpl16u* pSrcDst, int len, int scaleFactor) { return mul_16u(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMul_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, Kpl32s* pDst, int len, int scaleFactor) { return mul_32s(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMul_32s_ISfs)(const Kpl32s* pSrc, Kpl32s* pSrcDst, int len, int scaleFactor) { return mul_32s(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMul_32sc_Sfs)(const Kpl32sc* pSrc1, const Kpl32sc* pSrc2, Kpl32sc* pDst, int len, int scaleFactor) { return scaled<Mul32sc, Scale64To32s, false>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits32sc); }
KplStatus KPL_IMPL(kplsMul_32sc_ISfs)(const Kpl32sc* pSrc, Kpl32sc* pSrcDst, int len, int scaleFactor) { return scaled<Mul32sc, Scale64To32s, false>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, kLimits32sc); }
KplStatus KPL_IMPL(kplsMul_16u16s_Sfs)(const Kpl16u* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) { return scaled<Mul16<Kpl16u, Kpl16s>, Wide16s>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits16u16s); }
KplStatus KPL_IMPL(kplsMul_16u16s_ISfs)(const Kpl16u* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) { return scaled<Mul16<Kpl16u, Kpl16s>, Wide16s>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, kLimits16u16s); }
KplStatus KPL_IMPL(kplsMul_32s32sc_Sfs)(const Kpl32s* pSrc1, const Kpl32sc* pSrc2, Kpl32sc* pDst, int len, int scaleFactor) { return scaled<Mul32s32sc, Scale64To32s, false>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits32s32sc); }
KplStatus KPL_IMPL(kplsMul_32s32sc_ISfs)(const Kpl32s* pSrc, Kpl32sc* pSrcDst, int len, int scaleFactor) { return scaled<Mul32s32sc, Scale64To32s, false>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, kLimits32s32sc); }
KplStatus KPL_IMPL(kplsMul_16s32s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl32s* pDst, int len, int scaleFactor) { return scaled<Mul16<Kpl16s, Kpl16s>, To32s>(pSrc1, pSrc2, pDst, len, scaleFactor, kLimits16s32s); }
KplStatus KPL_IMPL(kplsMul_Low_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, Kpl32s* pDst, int len, int scaleFactor) { return mul_low_32s(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMul_16s)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len) { return scaled<Mul16<Kpl16s, Kpl16s>, Packed16s>(pSrc1, pSrc2, pDst, len, 0, kLimits16s); }
KplStatus KPL_IMPL(kplsMul_16s_I)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len) { return scaled<Mul16<Kpl16s, Kpl16s>, Packed16s>(pSrc, pSrcDst, pSrcDst, len, 0, kLimits16s); }
KplStatus KPL_IMPL(kplsMul_8u16u)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl16u* pDst, int len) { return elementwise<Mul8u16u>(pSrc1, pSrc2, pDst, len); }
// clang-format on
