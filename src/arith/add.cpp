// Add in every type and form, and the kernels that Add and Sub share: the two
// operations, written once, and the drivers that run them on every type. Sub's
// entries (sub.cpp) use the templates below, instantiated at the end of this file.
//
// Floats: one IEEE operation per element. Of two NaN operands the one named
// first in the formula comes through, quieted: pSrc1 in a sum, pSrc2 (the
// minuend) in a difference. The sum's operand order is pinned in assembly, since
// a compiler may otherwise swap the operands of a commutative add.
//
// Scaled integers: the exact result, times 2^-s, rounded to nearest with ties to
// even, saturated. The class of s is a template parameter of every kernel. The
// 16s and 32s kernels never widen: they carry the exact result as 2h + l with
// h = floor(x / 2) and l = x & 1, which fit the element's own lanes.
#include <immintrin.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "arith/scaled.hpp"
#include "frame/cache.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/saturate.hpp"
#include "frame/scale.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// ---- Limits: the one table of this family ----

// Stores bypass the cache above this many blocks of 32 bytes of destination when
// two sources are read (about 1 MiB of traffic per call), or above the second
// limit for Add_16s32f and Sub_16s32f, whose destination is twice a source. In
// place the line has just been read, so those stores always go through the cache.
constexpr size_t kStreamBlocks = 10922;
constexpr size_t kStreamBlocksToFloat = 32768;

// A negative scale factor that no class reaches: a form without a bound class.
constexpr int kNoBound = INT_MIN;

struct AddOp;
struct SubOp;

// Where each scaled form stops computing: above zero_above no exact result can
// round to anything but 0 (a zero fill); below bound_below every non-zero result
// saturates by its sign. The 16u forms have no bound shortcut: their kernel
// saturates any left shift itself.
template <class Op, class T>
inline constexpr ScaleLimits kScaleLimits{0, 0};
template <> inline constexpr ScaleLimits kScaleLimits<AddOp, Kpl8u>{9, -7};   // sums up to 510
template <> inline constexpr ScaleLimits kScaleLimits<SubOp, Kpl8u>{8, -7};   // differences clamp to 0..255
template <> inline constexpr ScaleLimits kScaleLimits<AddOp, Kpl16s>{16, -15};
template <> inline constexpr ScaleLimits kScaleLimits<SubOp, Kpl16s>{16, -15};
template <> inline constexpr ScaleLimits kScaleLimits<AddOp, Kpl16u>{17, -15};
template <> inline constexpr ScaleLimits kScaleLimits<SubOp, Kpl16u>{16, kNoBound};
template <> inline constexpr ScaleLimits kScaleLimits<AddOp, Kpl32s>{32, -30};
template <> inline constexpr ScaleLimits kScaleLimits<SubOp, Kpl32s>{32, -30};
template <> inline constexpr ScaleLimits kScaleLimits<AddOp, Kpl64s>{64, -62};  // 65-bit sums: +-1 at s = 64

// ---- Signed lanes: what the 16s and 32s kernels need, by lane width ----

template <class T>
struct Lanes;

template <>
struct Lanes<Kpl16s> {
  static __m128i set1(int64_t v) { return _mm_set1_epi16(static_cast<short>(v)); }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
  static __m128i adds(__m128i a, __m128i b) { return _mm_adds_epi16(a, b); }
  static __m128i subs(__m128i a, __m128i b) { return _mm_subs_epi16(a, b); }
  static __m128i sra(__m128i a, __m128i n) { return _mm_sra_epi16(a, n); }
  static __m128i srl(__m128i a, __m128i n) { return _mm_srl_epi16(a, n); }
  static __m128i sll(__m128i a, __m128i n) { return _mm_sll_epi16(a, n); }
  static __m128i half(__m128i a) { return _mm_srai_epi16(a, 1); }
  static __m128i half_unsigned(__m128i a) { return _mm_srli_epi16(a, 1); }
  static __m128i sign(__m128i a) { return _mm_srai_epi16(a, 15); }
  static __m128i gt(__m128i a, __m128i b) { return _mm_cmpgt_epi16(a, b); }
  static __m128i eq(__m128i a, __m128i b) { return _mm_cmpeq_epi16(a, b); }
  // h + u for u >= 0, saturating at the maximum.
  static __m128i add_up(__m128i h, __m128i u) { return _mm_adds_epi16(h, u); }
};

template <>
struct Lanes<Kpl32s> {
  static __m128i set1(int64_t v) { return _mm_set1_epi32(static_cast<int>(v)); }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
  // a + b and a - b saturated: an overflow shows in the sign bit of `ovf`, and
  // its result is the bound on the side of a.
  static __m128i adds(__m128i a, __m128i b) {
    const __m128i s = _mm_add_epi32(a, b);
    return on_overflow(_mm_and_si128(_mm_xor_si128(s, a), _mm_xor_si128(s, b)), s, a);
  }
  static __m128i subs(__m128i a, __m128i b) {
    const __m128i s = _mm_sub_epi32(a, b);
    return on_overflow(_mm_and_si128(_mm_xor_si128(a, b), _mm_xor_si128(a, s)), s, a);
  }
  static __m128i sra(__m128i a, __m128i n) { return _mm_sra_epi32(a, n); }
  static __m128i srl(__m128i a, __m128i n) { return _mm_srl_epi32(a, n); }
  static __m128i sll(__m128i a, __m128i n) { return _mm_sll_epi32(a, n); }
  static __m128i half(__m128i a) { return _mm_srai_epi32(a, 1); }
  static __m128i half_unsigned(__m128i a) { return _mm_srli_epi32(a, 1); }
  static __m128i sign(__m128i a) { return _mm_srai_epi32(a, 31); }
  static __m128i gt(__m128i a, __m128i b) { return _mm_cmpgt_epi32(a, b); }
  static __m128i eq(__m128i a, __m128i b) { return _mm_cmpeq_epi32(a, b); }
  static __m128i add_up(__m128i h, __m128i u) {
    const __m128i s = _mm_add_epi32(h, u);
    return on_overflow(_mm_andnot_si128(h, s), s, h);
  }

 private:
  static __m128i on_overflow(__m128i ovf, __m128i s, __m128i a) {
    const __m128i bound = _mm_xor_si128(_mm_srai_epi32(a, 31), _mm_set1_epi32(INT32_MAX));
    return _mm_castps_si128(_mm_blendv_ps(_mm_castsi128_ps(s), _mm_castsi128_ps(bound), _mm_castsi128_ps(ovf)));
  }
};

// ---- The two operations ----

// a is the first source, b the second: a + b and b - a. Each gives the exact
// result of one element, and the same in every vector form the kernels use.
struct AddOp {
  static int64_t exact(int64_t a, int64_t b) { return a + b; }

  static float scalar(float a, float b) { return add_in_order(a, b); }
  static double scalar(double a, double b) { return add_in_order(a, b); }
  static __m128 vec(__m128 a, __m128 b) { return add_in_order(a, b); }
  static __m128d vec(__m128d a, __m128d b) { return add_in_order(a, b); }

  // Exact in 32-bit lanes (sources of at most 17 bits).
  static __m128i wide32(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
  // Saturated in the element's own signed lanes.
  template <class T>
  static __m128i saturated(__m128i a, __m128i b) {
    return Lanes<T>::adds(a, b);
  }
  // x = a + b as 2h + l: h = floor(x / 2) from the halves, l = x & 1.
  template <class T>
  static void halves(__m128i a, __m128i b, __m128i one, __m128i& h, __m128i& l) {
    using L = Lanes<T>;
    h = L::add(L::add(L::half(a), L::half(b)), _mm_and_si128(_mm_and_si128(a, b), one));
    l = _mm_and_si128(_mm_xor_si128(a, b), one);
  }
  // The same for 16s with h biased by 2^15, as an unsigned 16-bit lane: the
  // average of the biased sources rounds up, so the odd bit comes off.
  static void biased_halves(__m128i a, __m128i b, __m128i one, __m128i& hb, __m128i& l) {
    const __m128i bias = _mm_set1_epi16(INT16_MIN);
    l = _mm_and_si128(_mm_xor_si128(a, b), one);
    hb = _mm_sub_epi16(_mm_avg_epu16(_mm_xor_si128(a, bias), _mm_xor_si128(b, bias)), l);
  }
  // Unsigned elements: saturated in their lanes, and exact in lanes twice as wide
  // (a negative difference clamped to 0).
  static __m128i saturated_8u(__m128i a, __m128i b) { return _mm_adds_epu8(a, b); }
  static __m128i saturated_16u(__m128i a, __m128i b) { return _mm_adds_epu16(a, b); }
  static __m128i wide_8u(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
  static __m128i wide_16u(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
};

struct SubOp {
  static int64_t exact(int64_t a, int64_t b) { return b - a; }

  static float scalar(float a, float b) { return b - a; }
  static double scalar(double a, double b) { return b - a; }
  static __m128 vec(__m128 a, __m128 b) { return _mm_sub_ps(b, a); }
  static __m128d vec(__m128d a, __m128d b) { return _mm_sub_pd(b, a); }

  static __m128i wide32(__m128i a, __m128i b) { return _mm_sub_epi32(b, a); }
  template <class T>
  static __m128i saturated(__m128i a, __m128i b) {
    return Lanes<T>::subs(b, a);
  }
  // x = b - a as 2h + l: h = (b >> 1) - (a >> 1), one less when only a is odd.
  template <class T>
  static void halves(__m128i a, __m128i b, __m128i one, __m128i& h, __m128i& l) {
    using L = Lanes<T>;
    h = L::sub(L::sub(L::half(b), L::half(a)), _mm_and_si128(_mm_andnot_si128(b, a), one));
    l = _mm_and_si128(_mm_xor_si128(a, b), one);
  }
  // b + 2^15 plus 2^15 - 1 - a is x + 2^16 - 1: its rounded-up average is
  // floor(x / 2) + 2^15.
  static void biased_halves(__m128i a, __m128i b, __m128i one, __m128i& hb, __m128i& l) {
    l = _mm_and_si128(_mm_xor_si128(a, b), one);
    hb = _mm_avg_epu16(_mm_xor_si128(b, _mm_set1_epi16(INT16_MIN)), _mm_xor_si128(a, _mm_set1_epi16(INT16_MAX)));
  }
  static __m128i saturated_8u(__m128i a, __m128i b) { return _mm_subs_epu8(b, a); }
  static __m128i saturated_16u(__m128i a, __m128i b) { return _mm_subs_epu16(b, a); }
  static __m128i wide_8u(__m128i a, __m128i b) { return _mm_max_epi16(_mm_sub_epi16(b, a), _mm_setzero_si128()); }
  static __m128i wide_16u(__m128i a, __m128i b) { return _mm_max_epi32(_mm_sub_epi32(b, a), _mm_setzero_si128()); }
};

// ---- The scalar rule, for the peel and the tail of every scaled kernel ----

// One exact result x into D for class C and scale factor s (for kUp, s is at
// least -62, so the shifted clamp still fits).
template <class D, ScaleClass C>
inline D scale_one(int64_t x, int s) {
  using L = std::numeric_limits<D>;
  if constexpr (C == ScaleClass::kExact) {
    return saturate<D>(x);
  } else if constexpr (C == ScaleClass::kDown) {
    return saturate<D>(round_shift(x, s));
  } else if constexpr (C == ScaleClass::kUp) {
    return saturate<D>(static_cast<int64_t>(saturate<D>(x)) * (int64_t{1} << -s));
  } else {
    return x > 0 ? L::max() : (x < 0 ? L::lowest() : D{0});
  }
}

// ---- Drivers ----

// Runs a kernel object over n elements: scalar steps for the peel and the tail,
// blocks of K::kLanes elements in between, stored as S says. The kernel is a
// local copy: its constants then stay in registers, where the caller's object
// would be reloaded after every store that might alias it.
template <Store S, class K, class A, class B, class D>
void run_kernel(const K kernel, const A* a, const B* b, D* d, size_t n) {
  const K& k = kernel;
  for_blocks<K::kLanes>(
      d, n, [&](size_t i) { k.scalar(a + i, b + i, d + i); }, [&](size_t i) { k.template block<S>(a + i, b + i, d + i); });
}

// The same, with the stores around the cache for a long out-of-place call.
template <class K, class A, class B, class D>
void run(const K& k, const A* a, const B* b, D* d, size_t n, size_t stream_blocks) {
  const size_t bytes = n * sizeof(D);
  const bool in_place = static_cast<const void*>(a) == d || static_cast<const void*>(b) == d;
  const bool stream = !in_place && bytes / 32 > stream_blocks && worth_streaming(bytes);
  with_store_mode(stream, d, n, [&](auto mode) { run_kernel<mode()>(k, a, b, d, n); });
}

template <Store S>
inline void store_f(float* p, __m128 v) {
  store_i<S>(p, _mm_castps_si128(v));
}
template <Store S>
inline void store_f(double* p, __m128d v) {
  store_i<S>(p, _mm_castpd_si128(v));
}
inline __m128 load_vec(const float* p) { return load_f(p); }
inline __m128d load_vec(const double* p) { return load_d(p); }

// ---- Kernels ----

// 32f and 64f: two vectors, 32 bytes of destination, per block.
template <class Op, class T>
struct FloatKernel {
  static constexpr size_t kLanes = 32 / sizeof(T);
  static constexpr size_t kHalf = kLanes / 2;
  void scalar(const T* a, const T* b, T* d) const { store_raw(d, Op::scalar(load_raw<T>(a), load_raw<T>(b))); }
  template <Store S>
  void block(const T* a, const T* b, T* d) const {
    const auto x = Op::vec(load_vec(a), load_vec(b)), y = Op::vec(load_vec(a + kHalf), load_vec(b + kHalf));
    store_f<S>(d, x);
    store_f<S>(d + kHalf, y);
  }
};

// 16s sources, 32f results: the exact integer, converted (it always fits).
template <class Op>
struct ToFloatKernel {
  static constexpr size_t kLanes = 8;
  void scalar(const Kpl16s* a, const Kpl16s* b, Kpl32f* d) const {
    store_raw(d, static_cast<Kpl32f>(Op::exact(load_raw<Kpl16s>(a), load_raw<Kpl16s>(b))));
  }
  template <Store S>
  void block(const Kpl16s* a, const Kpl16s* b, Kpl32f* d) const {
    __m128i u[2], v[2];
    widen_16s(a, u), widen_16s(b, v);
    store_f<S>(d, _mm_cvtepi32_ps(Op::wide32(u[0], v[0])));
    store_f<S>(d + 4, _mm_cvtepi32_ps(Op::wide32(u[1], v[1])));
  }
};

// Scaled 16s and 32s, in the element's own lanes.
template <class Op, class T, ScaleClass C>
class SignedKernel {
  using L = Lanes<T>;
  static constexpr int kBits = 8 * sizeof(T);

 public:
  static constexpr size_t kLanes = 32 / sizeof(T);

  explicit SignedKernel(int s) : s_(s), one_(L::set1(1)) {
    if constexpr (C == ScaleClass::kDown) {
      const int k = s - 1;  // h is shifted by k = s - 1
      count_ = _mm_cvtsi32_si128(k);
      mask_ = L::set1((int64_t{1} << k) - 1);
    } else if constexpr (C == ScaleClass::kUp) {
      count_ = _mm_cvtsi32_si128(-s);
      hi_ = L::set1(std::numeric_limits<T>::max() >> -s);
      lo_ = L::set1(std::numeric_limits<T>::lowest() >> -s);
    }
  }

  void scalar(const T* a, const T* b, T* d) const { store_raw(d, scale_one<T, C>(Op::exact(load_raw<T>(a), load_raw<T>(b)), s_)); }

  template <Store S>
  void block(const T* a, const T* b, T* d) const {
    constexpr size_t h = kLanes / 2;
    const __m128i x = vec(load_i(a), load_i(b)), y = vec(load_i(a + h), load_i(b + h));
    store_i<S>(d, x);
    store_i<S>(d + h, y);
  }

 private:
  __m128i vec(__m128i a, __m128i b) const {
    const __m128i max = L::set1(std::numeric_limits<T>::max());
    if constexpr (C == ScaleClass::kExact) {
      return Op::template saturated<T>(a, b);
    } else if constexpr (C == ScaleClass::kDown) {
      // x = 2h + l and k = s - 1. The rule (x + 2^k - 1 + odd) >> s, odd being bit
      // s of x (bit k of h), is (h + t) >> k with t = (l + 2^k - 1 + odd) >> 1, at
      // most 2^(k-1). Split h as (h >> k) * 2^k + (h & (2^k - 1)): the low part
      // plus t stays below 2^(kBits) unsigned, so nothing overflows, and adding it
      // back to h >> k saturates only where the exact result does (a difference
      // of 2^kBits - 1 halved rounds up past the maximum).
      __m128i h, l;
      Op::template halves<T>(a, b, one_, h, l);
      const __m128i hk = L::sra(h, count_);
      const __m128i t = L::half_unsigned(L::add(L::add(l, mask_), _mm_and_si128(hk, one_)));
      const __m128i u = L::srl(L::add(_mm_and_si128(h, mask_), t), count_);
      return L::add_up(hk, u);
    } else if constexpr (C == ScaleClass::kUp) {
      // Saturated first (a left shift keeps it beyond the range), then shifted;
      // a value beyond max >> m or below min >> m saturates.
      const __m128i v = Op::template saturated<T>(a, b);
      const __m128i y = _mm_blendv_epi8(L::sll(v, count_), max, L::gt(v, hi_));
      return _mm_blendv_epi8(y, L::set1(std::numeric_limits<T>::lowest()), L::gt(lo_, v));
    } else {
      // The sign of the saturated result, which is 0 only for an exact 0.
      const __m128i v = Op::template saturated<T>(a, b);
      const __m128i nonzero = _mm_andnot_si128(L::eq(v, _mm_setzero_si128()), max);
      return _mm_xor_si128(L::sign(v), nonzero);
    }
  }

  int s_;
  __m128i one_, count_{}, mask_{}, hi_{}, lo_{};
};

// Scaled 16s for s from 3 to 16, the common right shifts, in fewer steps: with
// h' = h + 2^15 unsigned and k = s - 1, (h + t) >> k is
// ((h' + t) >> k) - 2^(16-s), and (h' + t) >> 1 is the rounded-up average of h'
// and t - 1 (t - 1 = 2^(k-1) - 2 + (l | odd) is not negative from k = 2 on), so
// no lane overflows and the result needs no saturation (it is within +-2^13).
template <class Op>
class Down16sKernel {
 public:
  static constexpr size_t kLanes = 16;
  static constexpr int kFirst = 3;

  explicit Down16sKernel(int s)
      : s_(s), one_(_mm_set1_epi16(1)), count_(_mm_cvtsi32_si128(s - 1)), half_count_(_mm_cvtsi32_si128(s - 2)),
        // bit k of h' is bit k of h but at k = 15, where the bias flips it
        flip_(_mm_set1_epi16(s == 16 ? 1 : 0)), t_(_mm_set1_epi16(static_cast<short>((1 << (s - 2)) - 2))),
        bias_(_mm_set1_epi16(static_cast<short>(1 << (16 - s)))) {}

  void scalar(const Kpl16s* a, const Kpl16s* b, Kpl16s* d) const {
    store_raw(d, scale_one<Kpl16s, ScaleClass::kDown>(Op::exact(load_raw<Kpl16s>(a), load_raw<Kpl16s>(b)), s_));
  }

  template <Store S>
  void block(const Kpl16s* a, const Kpl16s* b, Kpl16s* d) const {
    const __m128i x = vec(load_i(a), load_i(b)), y = vec(load_i(a + 8), load_i(b + 8));
    store_i<S>(d, x);
    store_i<S>(d + 8, y);
  }

 private:
  __m128i vec(__m128i a, __m128i b) const {
    __m128i hb, l;
    Op::biased_halves(a, b, one_, hb, l);
    const __m128i odd = _mm_and_si128(_mm_xor_si128(_mm_srl_epi16(hb, count_), flip_), one_);
    const __m128i t_less_one = _mm_add_epi16(_mm_or_si128(l, odd), t_);
    return _mm_sub_epi16(_mm_srl_epi16(_mm_avg_epu16(hb, t_less_one), half_count_), bias_);
  }

  int s_;
  __m128i one_, count_, half_count_, flip_, t_, bias_;
};

// Scaled 8u: saturated bytes where that is the answer, else 16-bit lanes.
template <class Op, ScaleClass C>
class Kernel8u {
 public:
  static constexpr size_t kLanes = 32;

  explicit Kernel8u(int s)
      : s_(s), count_(_mm_cvtsi32_si128(C == ScaleClass::kDown ? s : (C == ScaleClass::kUp ? -s : 0))),
        bias_(_mm_set1_epi16(static_cast<short>(C == ScaleClass::kDown ? (1 << (s - 1)) - 1 : 0))) {}

  void scalar(const Kpl8u* a, const Kpl8u* b, Kpl8u* d) const {
    const int64_t x = Op::exact(*a, *b);
    *d = scale_one<Kpl8u, C>(x < 0 ? 0 : x, s_);  // a negative difference is 0 before scaling
  }

  template <Store S>
  void block(const Kpl8u* a, const Kpl8u* b, Kpl8u* d) const {
    const __m128i x = vec(load_i(a), load_i(b)), y = vec(load_i(a + 16), load_i(b + 16));
    store_i<S>(d, x);
    store_i<S>(d + 16, y);
  }

 private:
  __m128i vec(__m128i a, __m128i b) const {
    const __m128i zero = _mm_setzero_si128();
    if constexpr (C == ScaleClass::kExact) {
      return Op::saturated_8u(a, b);
    } else if constexpr (C == ScaleClass::kDown) {
      // Exact results of at most 510 in 16-bit lanes; adding 2^(s-1) cannot overflow.
      const __m128i lo = Op::wide_8u(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
      const __m128i hi = Op::wide_8u(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
      return _mm_packus_epi16(round(lo), round(hi));
    } else if constexpr (C == ScaleClass::kUp) {
      // Saturated to 255 first, then shifted by at most 7: below 2^15, and the
      // pack saturates.
      const __m128i v = Op::saturated_8u(a, b);
      return _mm_packus_epi16(_mm_sll_epi16(_mm_unpacklo_epi8(v, zero), count_),
                              _mm_sll_epi16(_mm_unpackhi_epi8(v, zero), count_));
    } else {
      const __m128i v = Op::saturated_8u(a, b);
      return _mm_xor_si128(_mm_cmpeq_epi8(v, zero), _mm_set1_epi8(-1));
    }
  }
  __m128i round(__m128i x) const {
    const __m128i odd = _mm_and_si128(_mm_srl_epi16(x, count_), _mm_set1_epi16(1));
    return _mm_srl_epi16(_mm_add_epi16(_mm_add_epi16(x, bias_), odd), count_);
  }

  int s_;
  __m128i count_, bias_;
};

// Scaled 16u. A left shift of any size saturates in 16-bit lanes (a shift of 16
// or more leaves 0 or 65535); a right shift widens to 32-bit lanes, where the sum
// of two elements and the rounding bias both fit.
template <class Op, ScaleClass C>
class Kernel16u {
 public:
  static constexpr size_t kLanes = 16;

  explicit Kernel16u(int s) : s_(C == ScaleClass::kUp && s < -16 ? -16 : s) {
    if constexpr (C == ScaleClass::kDown) {
      count_ = _mm_cvtsi32_si128(s);
      bias_ = _mm_set1_epi32((1 << (s - 1)) - 1);
    } else if constexpr (C == ScaleClass::kUp) {
      count_ = _mm_cvtsi32_si128(-s_);
      limit_ = _mm_set1_epi16(static_cast<short>(-s_ >= 16 ? 0 : 65535 >> -s_));
    }
  }

  void scalar(const Kpl16u* a, const Kpl16u* b, Kpl16u* d) const {
    const int64_t x = Op::exact(load_raw<Kpl16u>(a), load_raw<Kpl16u>(b));
    store_raw(d, scale_one<Kpl16u, C>(x < 0 ? 0 : x, s_));  // a negative difference is 0 before scaling
  }

  template <Store S>
  void block(const Kpl16u* a, const Kpl16u* b, Kpl16u* d) const {
    const __m128i x = vec(load_i(a), load_i(b)), y = vec(load_i(a + 8), load_i(b + 8));
    store_i<S>(d, x);
    store_i<S>(d + 8, y);
  }

 private:
  __m128i vec(__m128i a, __m128i b) const {
    const __m128i zero = _mm_setzero_si128(), ones = _mm_set1_epi8(-1);
    if constexpr (C == ScaleClass::kExact) {
      return Op::saturated_16u(a, b);
    } else if constexpr (C == ScaleClass::kDown) {
      const __m128i lo = Op::wide_16u(_mm_unpacklo_epi16(a, zero), _mm_unpacklo_epi16(b, zero));
      const __m128i hi = Op::wide_16u(_mm_unpackhi_epi16(a, zero), _mm_unpackhi_epi16(b, zero));
      return _mm_packus_epi32(round(lo), round(hi));
    } else if constexpr (C == ScaleClass::kUp) {
      const __m128i v = Op::saturated_16u(a, b);
      const __m128i over = _mm_xor_si128(_mm_cmpeq_epi16(_mm_max_epu16(v, limit_), limit_), ones);
      return _mm_or_si128(_mm_sll_epi16(v, count_), over);
    } else {
      return _mm_xor_si128(_mm_cmpeq_epi16(Op::saturated_16u(a, b), zero), ones);
    }
  }
  __m128i round(__m128i x) const {
    const __m128i odd = _mm_and_si128(_mm_srl_epi32(x, count_), _mm_set1_epi32(1));
    return _mm_srl_epi32(_mm_add_epi32(_mm_add_epi32(x, bias_), odd), count_);
  }

  int s_;
  __m128i count_{}, bias_{}, limit_{};
};

template <class Op, class T, ScaleClass C>
struct ScaledKernelOf {
  using type = SignedKernel<Op, T, C>;
};
template <class Op, ScaleClass C>
struct ScaledKernelOf<Op, Kpl8u, C> {
  using type = Kernel8u<Op, C>;
};
template <class Op, ScaleClass C>
struct ScaledKernelOf<Op, Kpl16u, C> {
  using type = Kernel16u<Op, C>;
};

// 8u sources, exact 16u sums.
struct Add8u16uKernel {
  static constexpr size_t kLanes = 16;
  void scalar(const Kpl8u* a, const Kpl8u* b, Kpl16u* d) const { store_raw(d, static_cast<Kpl16u>(*a + *b)); }
  template <Store S>
  void block(const Kpl8u* a, const Kpl8u* b, Kpl16u* d) const {
    const __m128i u = load_i(a), v = load_i(b), zero = _mm_setzero_si128();
    store_i<S>(d, _mm_add_epi16(_mm_unpacklo_epi8(u, zero), _mm_unpacklo_epi8(v, zero)));
    store_i<S>(d + 8, _mm_add_epi16(_mm_unpackhi_epi8(u, zero), _mm_unpackhi_epi8(v, zero)));
  }
};

// A 16s vector added into a 32s one, saturating at the 32-bit bounds.
struct Add16s32sKernel {
  static constexpr size_t kLanes = 8;
  void scalar(const Kpl16s* a, const Kpl32s* b, Kpl32s* d) const {
    store_raw(d, saturate<Kpl32s>(int64_t{load_raw<Kpl16s>(a)} + load_raw<Kpl32s>(b)));
  }
  template <Store S>
  void block(const Kpl16s* a, const Kpl32s* b, Kpl32s* d) const {
    __m128i u[2];
    widen_16s(a, u);
    const __m128i x = Lanes<Kpl32s>::adds(load_i(b), u[0]), y = Lanes<Kpl32s>::adds(load_i(b + 4), u[1]);
    store_i<S>(d, x);
    store_i<S>(d + 4, y);
  }
};

// Unsigned 32-bit sums, saturating at 0xFFFFFFFF: a wrapped sum is below a source.
struct Add32uKernel {
  static constexpr size_t kLanes = 8;
  void scalar(const Kpl32u* a, const Kpl32u* b, Kpl32u* d) const {
    const uint64_t x = uint64_t{load_raw<Kpl32u>(a)} + load_raw<Kpl32u>(b);
    store_raw(d, x > UINT32_MAX ? Kpl32u{UINT32_MAX} : static_cast<Kpl32u>(x));
  }
  template <Store S>
  void block(const Kpl32u* a, const Kpl32u* b, Kpl32u* d) const {
    store_i<S>(d, vec(load_i(a), load_i(b)));
    store_i<S>(d + 4, vec(load_i(a + 4), load_i(b + 4)));
  }
  static __m128i vec(__m128i a, __m128i b) {
    const __m128i s = _mm_add_epi32(a, b);
    const __m128i kept = _mm_cmpeq_epi32(_mm_max_epu32(s, a), s);
    return _mm_or_si128(s, _mm_xor_si128(kept, _mm_set1_epi8(-1)));
  }
};

// 64-bit sums in a 65-bit intermediate, one element at a time.
template <ScaleClass C>
void add_64s(const Kpl64s* a, const Kpl64s* b, Kpl64s* d, size_t n, int s) {
  constexpr __int128 lo = INT64_MIN, hi = INT64_MAX;
  auto clamp = [&](__int128 y) { return static_cast<Kpl64s>(y < lo ? lo : (y > hi ? hi : y)); };
  for (size_t i = 0; i < n; ++i) {
    const __int128 x = static_cast<__int128>(load_raw<Kpl64s>(a + i)) + load_raw<Kpl64s>(b + i);
    if constexpr (C == ScaleClass::kExact) {
      store_raw(d + i, clamp(x));
    } else if constexpr (C == ScaleClass::kDown) {
      store_raw(d + i, clamp(round_shift(x, s)));
    } else if constexpr (C == ScaleClass::kUp) {
      store_raw(d + i, clamp(static_cast<__int128>(clamp(x)) * (__int128{1} << -s)));
    } else {
      store_raw(d + i, x > 0 ? Kpl64s{INT64_MAX} : (x < 0 ? Kpl64s{INT64_MIN} : Kpl64s{0}));
    }
  }
}

// ---- Public-function bodies: checks, shortcuts, then the kernel ----

inline KplStatus zero_fill(Kpl8u* d, int len) { return KPL_IMPL(kplsZero_8u)(d, len); }
inline KplStatus zero_fill(Kpl16s* d, int len) { return KPL_IMPL(kplsZero_16s)(d, len); }
inline KplStatus zero_fill(Kpl16u* d, int len) { return KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(d), len); }
inline KplStatus zero_fill(Kpl32s* d, int len) { return KPL_IMPL(kplsZero_32s)(d, len); }
inline KplStatus zero_fill(Kpl64s* d, int len) { return KPL_IMPL(kplsZero_64s)(d, len); }

// A complex vector as its parts, and its length doubled in 32 bits as it is (a
// length of 2^30 or more turns non-positive, which the real form rejects).
template <class C>
inline auto parts(const C* p) {
  return reinterpret_cast<const decltype(C::re)*>(p);
}
template <class C>
inline auto parts(C* p) {
  return reinterpret_cast<decltype(C::re)*>(p);
}
inline int doubled(int len) { return static_cast<int>(2u * static_cast<unsigned>(len)); }

// d = a op b on 32f or 64f; in place when b is d.
template <class Op, class T>
KplStatus float_vectors(const T* a, const T* b, T* d, int len) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  run(FloatKernel<Op, T>{}, a, b, d, static_cast<size_t>(len), kStreamBlocks);
  return kplStsOk;
}

// 32fc and 64fc are their parts: the length is tested first, then the real form
// runs on 2 * len parts and tests the pointers.
template <class Op, class C>
KplStatus float_complex(const C* a, const C* b, C* d, int len) {
  if (len < 1) return kplStsBadSize;  // tested before the pointers
  return float_vectors<Op>(parts(a), parts(b), parts(d), doubled(len));
}

template <class Op>
KplStatus sum_to_float(const Kpl16s* a, const Kpl16s* b, Kpl32f* d, int len) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  run(ToFloatKernel<Op>{}, a, b, d, static_cast<size_t>(len), kStreamBlocksToFloat);
  return kplStsOk;
}

// d = (a op b) * 2^-s on 8u, 16s, 16u, 32s and 64s; in place when b is d.
template <class Op, class T>
KplStatus scaled_vectors(const T* a, const T* b, T* d, int len, int s) {
  constexpr ScaleLimits limits = kScaleLimits<Op, T>;
  static_assert(limits.zero_above > 0, "every scaled form has its limits in the table");
  if constexpr (std::is_same_v<T, Kpl16u>) {
    // The 16u forms take their zero fill before they test their pointers: only the
    // destination is then tested, by the fill.
    if (s > limits.zero_above) return zero_fill(d, len);
  }
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const ScaleClass c = classify(s, limits);
  if (c == ScaleClass::kZero) return zero_fill(d, len);
  const auto n = static_cast<size_t>(len);
  with_scale_class(c, [&](auto tag) {
    constexpr ScaleClass C = decltype(tag)::value;
    if constexpr (C != ScaleClass::kZero) {
      if constexpr (std::is_same_v<T, Kpl64s>) {
        add_64s<C>(a, b, d, n, s);
      } else if constexpr (std::is_same_v<T, Kpl16s> && C == ScaleClass::kDown) {
        if (s >= Down16sKernel<Op>::kFirst) {
          run(Down16sKernel<Op>(s), a, b, d, n, kStreamBlocks);
        } else {
          run(SignedKernel<Op, T, C>(s), a, b, d, n, kStreamBlocks);
        }
      } else {
        run(typename ScaledKernelOf<Op, T, C>::type(s), a, b, d, n, kStreamBlocks);
      }
    }
  });
  return kplStsOk;
}

// 16sc and 32sc are their parts, the length tested first, as with the floats.
template <class Op, class C>
KplStatus scaled_complex(const C* a, const C* b, C* d, int len, int s) {
  if (len < 1) return kplStsBadSize;  // tested before the pointers
  return scaled_vectors<Op>(parts(a), parts(b), parts(d), doubled(len), s);
}

template <class K, class A, class B, class D>
KplStatus plain_vectors(const A* a, const B* b, D* d, int len) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  run(K{}, a, b, d, static_cast<size_t>(len), kStreamBlocks);
  return kplStsOk;
}

// Sub's instances, for sub.cpp.
template KplStatus float_vectors<SubOp, Kpl32f>(const Kpl32f*, const Kpl32f*, Kpl32f*, int);
template KplStatus float_vectors<SubOp, Kpl64f>(const Kpl64f*, const Kpl64f*, Kpl64f*, int);
template KplStatus float_complex<SubOp, Kpl32fc>(const Kpl32fc*, const Kpl32fc*, Kpl32fc*, int);
template KplStatus float_complex<SubOp, Kpl64fc>(const Kpl64fc*, const Kpl64fc*, Kpl64fc*, int);
template KplStatus sum_to_float<SubOp>(const Kpl16s*, const Kpl16s*, Kpl32f*, int);
template KplStatus scaled_vectors<SubOp, Kpl8u>(const Kpl8u*, const Kpl8u*, Kpl8u*, int, int);
template KplStatus scaled_vectors<SubOp, Kpl16s>(const Kpl16s*, const Kpl16s*, Kpl16s*, int, int);
template KplStatus scaled_vectors<SubOp, Kpl16u>(const Kpl16u*, const Kpl16u*, Kpl16u*, int, int);
template KplStatus scaled_vectors<SubOp, Kpl32s>(const Kpl32s*, const Kpl32s*, Kpl32s*, int, int);
template KplStatus scaled_complex<SubOp, Kpl16sc>(const Kpl16sc*, const Kpl16sc*, Kpl16sc*, int, int);
template KplStatus scaled_complex<SubOp, Kpl32sc>(const Kpl32sc*, const Kpl32sc*, Kpl32sc*, int, int);

}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsAdd_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, int len) { return float_vectors<AddOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsAdd_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len) { return float_vectors<AddOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAdd_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, int len) { return float_vectors<AddOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsAdd_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len) { return float_vectors<AddOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAdd_32fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, Kpl32fc* pDst, int len) { return float_complex<AddOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsAdd_32fc_I)(const Kpl32fc* pSrc, Kpl32fc* pSrcDst, int len) { return float_complex<AddOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAdd_64fc)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, Kpl64fc* pDst, int len) { return float_complex<AddOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsAdd_64fc_I)(const Kpl64fc* pSrc, Kpl64fc* pSrcDst, int len) { return float_complex<AddOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAdd_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl32f* pDst, int len) { return sum_to_float<AddOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsAdd_8u_Sfs)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_8u_ISfs)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16sc_Sfs)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, Kpl16sc* pDst, int len, int scaleFactor) { return scaled_complex<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16sc_ISfs)(const Kpl16sc* pSrc, Kpl16sc* pSrcDst, int len, int scaleFactor) { return scaled_complex<AddOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16u_Sfs)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16u_ISfs)(const Kpl16u* pSrc, Kpl16u* pSrcDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, Kpl32s* pDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_32s_ISfs)(const Kpl32s* pSrc, Kpl32s* pSrcDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_32sc_Sfs)(const Kpl32sc* pSrc1, const Kpl32sc* pSrc2, Kpl32sc* pDst, int len, int scaleFactor) { return scaled_complex<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_32sc_ISfs)(const Kpl32sc* pSrc, Kpl32sc* pSrcDst, int len, int scaleFactor) { return scaled_complex<AddOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_64s_Sfs)(const Kpl64s* pSrc1, const Kpl64s* pSrc2, Kpl64s* pDst, int len, int scaleFactor) { return scaled_vectors<AddOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsAdd_16s)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len) { return KPL_IMPL(kplsAdd_16s_Sfs)(pSrc1, pSrc2, pDst, len, 0); }
KplStatus KPL_IMPL(kplsAdd_16s_I)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len) { return KPL_IMPL(kplsAdd_16s_ISfs)(pSrc, pSrcDst, len, 0); }
KplStatus KPL_IMPL(kplsAdd_16u)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, int len) { return KPL_IMPL(kplsAdd_16u_Sfs)(pSrc1, pSrc2, pDst, len, 0); }
KplStatus KPL_IMPL(kplsAdd_8u16u)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl16u* pDst, int len) { return plain_vectors<Add8u16uKernel>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsAdd_16s32s_I)(const Kpl16s* pSrc, Kpl32s* pSrcDst, int len) { return plain_vectors<Add16s32sKernel>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsAdd_32u)(const Kpl32u* pSrc1, const Kpl32u* pSrc2, Kpl32u* pDst, int len) { return plain_vectors<Add32uKernel>(pSrc1, pSrc2, pDst, len); }
