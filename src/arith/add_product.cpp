// AddProduct and AddProductC: pSrcDst += pSrc1 * pSrc2, or pSrcDst += pSrc * val.
// There is no out-of-place form. Floats take one multiply, then one add, each
// rounded (no fused operation); the complex forms form the complex product first,
// re = a.re * b.re - a.im * b.im and im = a.im * b.re + a.re * b.im, and then add
// it. The integer forms scale the whole exact sum pSrcDst + pSrc1 * pSrc2, not
// the product alone.
#include <bit>
#include <cstdint>

#include "arith/scaled.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/rounding.hpp"
#include "frame/saturate.hpp"
#include "frame/scale.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// Where each scaled form stops computing: above zero_above the result is a zero
// fill, below bound_below every non-zero sum saturates by its sign. The 16-bit
// form already takes the bound path at -15.
constexpr ScaleLimits kAddProduct16sLimits{.zero_above = 31, .bound_below = -14};
constexpr ScaleLimits kAddProduct16s32sLimits{.zero_above = 32, .bound_below = -30};
constexpr ScaleLimits kAddProduct32sLimits{.zero_above = 62, .bound_below = -30};

// ---- Floats ----

// The 128-bit operations of one float type.
template <class T>
struct Lanes;
template <>
struct Lanes<Kpl32f> {
  using V = __m128;
  static V load(const void* p) { return load_f(p); }
  static void store(void* p, V v) { store_f(p, v); }
  static V add(V a, V b) { return _mm_add_ps(a, b); }
  static V mul(V a, V b) { return _mm_mul_ps(a, b); }
  static V set1(Kpl32f x) { return _mm_set1_ps(x); }
  // The complex product of the two elements in a and b, in the documented order:
  // (a.re * b.re, a.im * b.re) minus and plus (a.im * b.im, a.re * b.im).
  static V cmul(V a, V b) {
    const V swapped = _mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 3, 0, 1));
    return _mm_addsub_ps(_mm_mul_ps(a, _mm_moveldup_ps(b)), _mm_mul_ps(swapped, _mm_movehdup_ps(b)));
  }
};
template <>
struct Lanes<Kpl64f> {
  using V = __m128d;
  static V load(const void* p) { return load_d(p); }
  static void store(void* p, V v) { store_d(p, v); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V set1(Kpl64f x) { return _mm_set1_pd(x); }
  static V cmul(V a, V b) {
    const V swapped = _mm_shuffle_pd(a, a, 1);
    return _mm_addsub_pd(_mm_mul_pd(a, _mm_unpacklo_pd(b, b)), _mm_mul_pd(swapped, _mm_unpackhi_pd(b, b)));
  }
};

// The same product on one element: the order decides the rounding.
template <class C, class R = decltype(C::re)>
inline C complex_product(C a, C b) {
  const R re = a.re * b.re - a.im * b.im;
  const R im = a.im * b.re + a.re * b.im;
  return {re, im};
}

// d += a * b on real elements, two vectors per block. Each vector of d is loaded
// before it is stored, so a source may be the accumulator itself.
template <class T>
struct AddProductOp {
  using L = Lanes<T>;
  static constexpr size_t kPerVector = 16 / sizeof(T);
  static constexpr size_t kLanes = 2 * kPerVector;
  void scalar(const T* a, const T* b, T* d) const {
    const T p = *a * *b;
    *d = *d + p;
  }
  void block(const T* a, const T* b, T* d) const {
    for (size_t k = 0; k < kLanes; k += kPerVector)
      L::store(d + k, L::add(L::load(d + k), L::mul(L::load(a + k), L::load(b + k))));
  }
};

// d += a * b on complex elements of parts R.
template <class C, class R = decltype(C::re)>
struct AddProductComplexOp {
  using L = Lanes<R>;
  static constexpr size_t kPerVector = 16 / sizeof(C);
  static constexpr size_t kLanes = 2 * kPerVector;
  void scalar(const C* a, const C* b, C* d) const {
    const C p = complex_product(*a, *b);
    const C acc = *d;
    *d = {acc.re + p.re, acc.im + p.im};
  }
  void block(const C* a, const C* b, C* d) const {
    for (size_t k = 0; k < kLanes; k += kPerVector)
      L::store(d + k, L::add(L::load(d + k), L::cmul(L::load(a + k), L::load(b + k))));
  }
};

// d += s * val.
template <class T>
struct AddProductConstOp {
  using L = Lanes<T>;
  static constexpr size_t kPerVector = 16 / sizeof(T);
  static constexpr size_t kLanes = 2 * kPerVector;
  explicit AddProductConstOp(T v) : val(v), vals(L::set1(v)) {}
  void scalar(const T* s, T* d) const {
    const T p = *s * val;
    *d = *d + p;
  }
  void block(const T* s, T* d) const {
    for (size_t k = 0; k < kLanes; k += kPerVector)
      L::store(d + k, L::add(L::load(d + k), L::mul(L::load(s + k), vals)));
  }
  T val;
  typename L::V vals;
};

template <class Op, class T>
KplStatus add_product_float(const T* a, const T* b, T* sd, int len) {
  if (KplStatus st = check_vector_args(len, a, b, sd)) return st;
  map_elements(Op{}, a, b, sd, static_cast<size_t>(len));
  return kplStsOk;
}

// ---- Kpl16s: the exact sum in 32-bit lanes ----

// Rounding right shift of 32-bit lanes that may hold up to 2^30 + 32767, for s
// from 1 to 31, where adding 2^(s-1) directly could overflow: the rule on the
// halved value h = x >> 1 with k = s - 1,
//   (h + (((x & 1) + 2^k - 1 + ((h >> k) & 1)) >> 1)) >> k,
// which equals (x + 2^(s-1) - 1 + ((x >> s) & 1)) >> s.
class HalvedRoundShift {
 public:
  explicit HalvedRoundShift(int s)
      : k_(_mm_cvtsi32_si128(s - 1)), bias_(_mm_set1_epi32(static_cast<int32_t>((int64_t{1} << (s - 1)) - 1))),
        one_(_mm_set1_epi32(1)) {}
  __m128i operator()(__m128i x) const {
    const __m128i h = _mm_srai_epi32(x, 1);
    const __m128i odd = _mm_and_si128(_mm_sra_epi32(h, k_), one_);
    const __m128i carry = _mm_add_epi32(_mm_add_epi32(_mm_and_si128(x, one_), bias_), odd);
    return _mm_sra_epi32(_mm_add_epi32(h, _mm_srai_epi32(carry, 1)), k_);
  }

 private:
  __m128i k_, bias_, one_;
};

// d = scaled(d + a * b) for one class. A block is eight elements: the sums come
// from one multiply-add of the pairs (a, d) and (b, 1), exact in 32 bits, and are
// narrowed with saturation.
template <ScaleClass C>
void add_product_16s(const Kpl16s* a, const Kpl16s* b, Kpl16s* d, size_t n, int s) {
  const Finish<Kpl16s, C> finish(s);
  const HalvedRoundShift down(C == ScaleClass::kDown ? s : 1);
  for_blocks<8>(
      d, n, [&](size_t i) { d[i] = finish(int64_t{d[i]} + int64_t{a[i]} * b[i]); },
      [&](size_t i) {
        const __m128i va = load_i(a + i), vb = load_i(b + i), vd = load_i(d + i), one = _mm_set1_epi16(1);
        __m128i x[2] = {_mm_madd_epi16(_mm_unpacklo_epi16(va, vd), _mm_unpacklo_epi16(vb, one)),
                        _mm_madd_epi16(_mm_unpackhi_epi16(va, vd), _mm_unpackhi_epi16(vb, one))};
        if constexpr (C == ScaleClass::kDown) {
          store_i(d + i, _mm_packs_epi32(down(x[0]), down(x[1])));
        } else {
          store_i(d + i, finish.pack(x));
        }
      });
}

// ---- Kpl32s accumulators ----

// An exact sum (below 2^63 in magnitude) to Kpl32s for one class.
template <ScaleClass C>
struct Finish32s {
  int s;
  Kpl32s operator()(int64_t x) const {
    if constexpr (C == ScaleClass::kExact) {
      return saturate<Kpl32s>(x);
    } else if constexpr (C == ScaleClass::kDown) {
      return saturate<Kpl32s>(round_shift(x, s));
    } else if constexpr (C == ScaleClass::kUp) {
      // Clamped first, the shifted value still fits in 64 bits (s >= -30).
      return saturate<Kpl32s>(int64_t{saturate<Kpl32s>(x)} * (int64_t{1} << -s));
    } else {
      return x > 0 ? INT32_MAX : (x < 0 ? INT32_MIN : 0);
    }
  }
};

// Kpl16s sources into a Kpl32s accumulator: the sum is exact in 64 bits.
template <ScaleClass C>
void add_product_16s32s(const Kpl16s* a, const Kpl16s* b, Kpl32s* d, size_t n, int s) {
  const Finish32s<C> finish{s};
  for (size_t i = 0; i < n; ++i) d[i] = finish(int64_t{d[i]} + int32_t{a[i]} * int32_t{b[i]});
}

// Kpl32s in binary64: (a * b + d) * 2^-s in that order, clamped to the range of
// Kpl32s and converted with the current rounding, which the caller sets to
// nearest. A product beyond 2^53 has already lost its low bits. One kernel serves
// every class that computes; a block is four elements.
class AddProduct32sOp {
 public:
  static constexpr size_t kLanes = 4;
  // 2^-s with the exponent placed directly; s lies in [-30, 62].
  explicit AddProduct32sOp(int s)
      : scale_(std::bit_cast<double>(static_cast<uint64_t>(1023 - s) << 52)), scales_(_mm_set1_pd(scale_)) {}

  void scalar(const Kpl32s* a, const Kpl32s* b, Kpl32s* d) const {
    double t = static_cast<double>(*a) * static_cast<double>(*b);
    t = t + static_cast<double>(*d);
    t = t * scale_;
    t = t < kLowest ? kLowest : (t > kHighest ? kHighest : t);
    *d = _mm_cvtsd_si32(_mm_set_sd(t));
  }
  void block(const Kpl32s* a, const Kpl32s* b, Kpl32s* d) const {
    const __m128i va = load_i(a), vb = load_i(b), vd = load_i(d);
    const __m128i lo = two(va, vb, vd), hi = two(_mm_srli_si128(va, 8), _mm_srli_si128(vb, 8), _mm_srli_si128(vd, 8));
    store_i(d, _mm_unpacklo_epi64(lo, hi));
  }

 private:
  static constexpr double kLowest = -2147483648.0, kHighest = 2147483647.0;
  // The low two lanes of the sources to the low two lanes of the result.
  __m128i two(__m128i a, __m128i b, __m128i d) const {
    __m128d t = _mm_mul_pd(_mm_cvtepi32_pd(a), _mm_cvtepi32_pd(b));
    t = _mm_add_pd(t, _mm_cvtepi32_pd(d));
    t = _mm_mul_pd(t, scales_);
    t = _mm_min_pd(_mm_max_pd(t, _mm_set1_pd(kLowest)), _mm_set1_pd(kHighest));
    return _mm_cvtpd_epi32(t);
  }
  double scale_;
  __m128d scales_;
};

// ---- Entries ----

KplStatus add_product_16s_sfs(const Kpl16s* a, const Kpl16s* b, Kpl16s* sd, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, sd)) return st;
  const ScaleClass c = classify(s, kAddProduct16sLimits);
  if (c == ScaleClass::kZero) return KPL_IMPL(kplsZero_16s)(sd, len);
  with_scale_class(c, [&](auto tag) {
    if constexpr (tag() != ScaleClass::kZero) add_product_16s<tag()>(a, b, sd, static_cast<size_t>(len), s);
  });
  return kplStsOk;
}

KplStatus add_product_16s32s_sfs(const Kpl16s* a, const Kpl16s* b, Kpl32s* sd, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, sd)) return st;
  const ScaleClass c = classify(s, kAddProduct16s32sLimits);
  if (c == ScaleClass::kZero) return KPL_IMPL(kplsZero_32s)(sd, len);
  with_scale_class(c, [&](auto tag) {
    if constexpr (tag() != ScaleClass::kZero) add_product_16s32s<tag()>(a, b, sd, static_cast<size_t>(len), s);
  });
  return kplStsOk;
}

KplStatus add_product_32s_sfs(const Kpl32s* a, const Kpl32s* b, Kpl32s* sd, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, sd)) return st;
  const ScaleClass c = classify(s, kAddProduct32sLimits);
  const auto n = static_cast<size_t>(len);
  if (c == ScaleClass::kZero) return KPL_IMPL(kplsZero_32s)(sd, len);
  if (c == ScaleClass::kBound) {  // the sign of the exact sum, in 64 bits
    const Finish32s<ScaleClass::kBound> bound{s};
    for (size_t i = 0; i < n; ++i) sd[i] = bound(int64_t{sd[i]} + int64_t{a[i]} * b[i]);
    return kplStsOk;
  }
  const RoundingGuard nearest(Rounding::kNearest);
  map_elements(AddProduct32sOp(s), a, b, sd, n);
  return kplStsOk;
}

KplStatus add_product_c_32f(const Kpl32f* src, Kpl32f val, Kpl32f* sd, int len) {
  if (KplStatus st = check_vector_args(len, src, sd)) return st;
  map_elements(AddProductConstOp<Kpl32f>(val), src, sd, static_cast<size_t>(len));
  return kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsAddProduct_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pSrcDst, int len) {
  return add_product_float<AddProductOp<Kpl32f>>(pSrc1, pSrc2, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsAddProduct_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pSrcDst, int len) {
  return add_product_float<AddProductOp<Kpl64f>>(pSrc1, pSrc2, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsAddProduct_32fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, Kpl32fc* pSrcDst, int len) {
  return add_product_float<AddProductComplexOp<Kpl32fc>>(pSrc1, pSrc2, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsAddProduct_64fc)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, Kpl64fc* pSrcDst, int len) {
  return add_product_float<AddProductComplexOp<Kpl64fc>>(pSrc1, pSrc2, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsAddProduct_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pSrcDst, int len,
                                           int scaleFactor) {
  return add_product_16s_sfs(pSrc1, pSrc2, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsAddProduct_16s32s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl32s* pSrcDst, int len,
                                              int scaleFactor) {
  return add_product_16s32s_sfs(pSrc1, pSrc2, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsAddProduct_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, Kpl32s* pSrcDst, int len,
                                           int scaleFactor) {
  return add_product_32s_sfs(pSrc1, pSrc2, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsAddProductC_32f)(const Kpl32f* pSrc, Kpl32f val, Kpl32f* pSrcDst, int len) {
  return add_product_c_32f(pSrc, val, pSrcDst, len);
}
