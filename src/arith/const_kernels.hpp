// The forms with a constant operand, AddC, SubC and SubCRev, in every type: one
// operation struct per operation, and the drivers that all three share. A family
// file holds its limits and its entry lines; everything that runs is here.
//
// Each driver takes the constant as the caller gave it; a complex constant is
// applied part by part, (re, im) against (re, im). The in-place forms are the
// out-of-place ones with the source as the destination: every element is read
// before it is written.
#pragma once

#include <immintrin.h>

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

// ---------------------------------------------------------------------------
// The operations. scalar() is the one operation on one part, in the part's own
// type (a single IEEE operation for floats, exact in 64 or 128 bits for
// integers); the vector forms compute the same for every lane. The source is
// always the first operand of an addition, so a NaN source keeps its payload
// whatever the constant holds, on every path.

struct AddCOp {
  static constexpr bool kCopiesAtZero = true;  // val = 0 (at s = 0) leaves the source as it is
  static constexpr bool kMayBeNegative = false;
  template <class W>
  static W scalar(W x, W c) {
    return x + c;
  }
  static __m128 vec(__m128 x, __m128 c) { return _mm_add_ps(x, c); }
  static __m128d vec(__m128d x, __m128d c) { return _mm_add_pd(x, c); }
  static __m128i exact16(__m128i x, __m128i c) { return _mm_add_epi16(x, c); }
  static __m128i exact32(__m128i x, __m128i c) { return _mm_add_epi32(x, c); }
  // The s = 0 result of P parts: the exact result saturated, in one instruction.
  template <class P>
  static __m128i saturated(__m128i x, __m128i c) {
    if constexpr (std::is_same_v<P, uint8_t>) return _mm_adds_epu8(x, c);
    else if constexpr (std::is_same_v<P, uint16_t>) return _mm_adds_epu16(x, c);
    else return _mm_adds_epi16(x, c);
  }
};

struct SubCOp {
  static constexpr bool kCopiesAtZero = true;
  static constexpr bool kMayBeNegative = true;
  template <class W>
  static W scalar(W x, W c) {
    return x - c;
  }
  static __m128 vec(__m128 x, __m128 c) { return _mm_sub_ps(x, c); }
  static __m128d vec(__m128d x, __m128d c) { return _mm_sub_pd(x, c); }
  static __m128i exact16(__m128i x, __m128i c) { return _mm_sub_epi16(x, c); }
  static __m128i exact32(__m128i x, __m128i c) { return _mm_sub_epi32(x, c); }
  template <class P>
  static __m128i saturated(__m128i x, __m128i c) {
    if constexpr (std::is_same_v<P, uint8_t>) return _mm_subs_epu8(x, c);
    else if constexpr (std::is_same_v<P, uint16_t>) return _mm_subs_epu16(x, c);
    else return _mm_subs_epi16(x, c);
  }
};

struct SubCRevOp {
  static constexpr bool kCopiesAtZero = false;  // val - x: no constant leaves the source as it is
  static constexpr bool kMayBeNegative = true;
  template <class W>
  static W scalar(W x, W c) {
    return c - x;
  }
  static __m128 vec(__m128 x, __m128 c) { return _mm_sub_ps(c, x); }
  static __m128d vec(__m128d x, __m128d c) { return _mm_sub_pd(c, x); }
  static __m128i exact16(__m128i x, __m128i c) { return _mm_sub_epi16(c, x); }
  static __m128i exact32(__m128i x, __m128i c) { return _mm_sub_epi32(c, x); }
  template <class P>
  static __m128i saturated(__m128i x, __m128i c) {
    if constexpr (std::is_same_v<P, uint8_t>) return _mm_subs_epu8(c, x);
    else if constexpr (std::is_same_v<P, uint16_t>) return _mm_subs_epu16(c, x);
    else return _mm_subs_epi16(c, x);
  }
};

// ---------------------------------------------------------------------------
// Parts of an element: a real element is one part, a complex one two.

template <class E>
struct PartsOf {
  using P = E;
  static constexpr size_t kCount = 1;
};
template <>
struct PartsOf<Kpl16sc> {
  using P = Kpl16s;
  static constexpr size_t kCount = 2;
};
template <>
struct PartsOf<Kpl32sc> {
  using P = Kpl32s;
  static constexpr size_t kCount = 2;
};
template <>
struct PartsOf<Kpl32fc> {
  using P = Kpl32f;
  static constexpr size_t kCount = 2;
};
template <>
struct PartsOf<Kpl64fc> {
  using P = Kpl64f;
  static constexpr size_t kCount = 2;
};

template <class E>
using PartOf = typename PartsOf<E>::P;

template <class E>
inline const PartOf<E>* parts(const E* p) {
  return reinterpret_cast<const PartOf<E>*>(p);
}
template <class E>
inline PartOf<E>* parts(E* p) {
  return reinterpret_cast<PartOf<E>*>(p);
}

// The constant's parts in order (re, im), one value for a real constant.
template <class E>
struct ConstParts {
  using P = PartOf<E>;
  explicit ConstParts(const E& v) {
    if constexpr (PartsOf<E>::kCount == 1) {
      c[0] = v;
    } else {
      c[0] = v.re, c[1] = v.im;
    }
  }
  P c[PartsOf<E>::kCount];
};

// ---------------------------------------------------------------------------
// Floating forms: 32f, 64f, 32fc, 64fc. One 32-byte block of destination per
// pass (two vectors); both vectors are loaded before either is stored.

// Per-family tuning: stream the stores of out-of-place calls above
// `stream_blocks` blocks of 32 bytes, and prefetch ahead in place above
// `prefetch_elements` elements. 0 means never.
struct FloatTuning {
  size_t stream_blocks;
  size_t prefetch_elements;
};

// How far ahead an in-place pass prefetches, in bytes.
constexpr size_t kPrefetchAheadBytes = 512;

template <class P>
struct FloatVec;
template <>
struct FloatVec<float> {
  using V = __m128;
  static V load(const float* p) { return load_f(p); }
  template <Store S>
  static void store(float* p, V v) {
    if constexpr (S == Store::kStream) _mm_stream_ps(p, v);
    else store_f(p, v);
  }
  static V pattern(const float* c, size_t count) { return count == 1 ? _mm_set1_ps(c[0]) : _mm_setr_ps(c[0], c[1], c[0], c[1]); }
};
template <>
struct FloatVec<double> {
  using V = __m128d;
  static V load(const double* p) { return load_d(p); }
  template <Store S>
  static void store(double* p, V v) {
    if constexpr (S == Store::kStream) _mm_stream_pd(p, v);
    else store_d(p, v);
  }
  static V pattern(const double* c, size_t count) { return count == 1 ? _mm_set1_pd(c[0]) : _mm_setr_pd(c[0], c[1]); }
};

template <class Op, class E, Store S, bool Prefetch>
struct FloatConstOp {
  using P = PartOf<E>;
  using FV = FloatVec<P>;
  static constexpr size_t kParts = PartsOf<E>::kCount;
  static constexpr size_t kPerVector = 16 / sizeof(E);
  static constexpr size_t kLanes = 2 * kPerVector;
  static constexpr size_t kAhead = kPrefetchAheadBytes / sizeof(E);

  FloatConstOp(const E& val, const E* src, size_t n) : c(val), cv(FV::pattern(c.c, kParts)), last(src + n - 1) {}

  static P apply(P x, P k) {
    if constexpr (std::is_same_v<Op, AddCOp>) return add_in_order(x, k);
    else return Op::scalar(x, k);
  }
  static typename FV::V apply(typename FV::V x, typename FV::V k) {
    if constexpr (std::is_same_v<Op, AddCOp>) return add_in_order(x, k);
    else return Op::vec(x, k);
  }

  void scalar(const E* s, E* d) const {
    for (size_t k = 0; k < kParts; ++k) parts(d)[k] = apply(parts(s)[k], c.c[k]);
  }
  void block(const E* s, E* d) const {
    if constexpr (Prefetch) {
      // A hint only, and kept inside the vector.
      const E* ahead = s + kAhead < last ? s + kAhead : last;
      _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_NTA);
    }
    const auto x0 = FV::load(parts(s)), x1 = FV::load(parts(s + kPerVector));
    FV::template store<S>(parts(d), apply(x0, cv));
    FV::template store<S>(parts(d + kPerVector), apply(x1, cv));
  }

  ConstParts<E> c;
  typename FV::V cv;
  const E* last;
};

// The copy of the zero-constant shortcut: 32f through the 32-bit copy, 64f
// through the 64-bit one (the same byte kernel, counting bytes in size_t).
inline KplStatus copy_shortcut(const Kpl32f* s, Kpl32f* d, int len) {
  return KPL_IMPL(kplsCopy_32s)(reinterpret_cast<const Kpl32s*>(s), reinterpret_cast<Kpl32s*>(d), len);
}
inline KplStatus copy_shortcut(const Kpl64f* s, Kpl64f* d, int len) { return KPL_IMPL(kplsCopy_64f)(s, d, len); }

// The whole of a floating entry. In place (src == dst) the stores stay in the
// cache, since the line has just been read; out of place they bypass it above
// the family's limit when the destination's blocks are aligned.
template <class Op, FloatTuning T, bool ZeroShortcut, class E>
KplStatus float_const(const E* src, E val, E* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  if constexpr (ZeroShortcut) {
    // A floating comparison: -0.0 takes it, a NaN does not.
    if (val == 0) return src == dst ? kplStsOk : copy_shortcut(src, dst, len);
  }
  const auto n = static_cast<size_t>(len);
  if (src == dst) {
    if (T.prefetch_elements != 0 && n > T.prefetch_elements)
      map_elements(FloatConstOp<Op, E, Store::kCached, true>(val, src, n), src, dst, n);
    else
      map_elements(FloatConstOp<Op, E, Store::kCached, false>(val, src, n), src, dst, n);
    return kplStsOk;
  }
  const size_t bytes = n * sizeof(E);
  const bool stream = T.stream_blocks != 0 && bytes / 32 > T.stream_blocks && worth_streaming(bytes);
  with_store_mode(stream, dst, n, [&](auto mode) { map_elements(FloatConstOp<Op, E, mode(), false>(val, src, n), src, dst, n); });
  return kplStsOk;
}

// ---------------------------------------------------------------------------
// Scaled 8- and 16-bit forms: 8u, 16s, 16u and 16sc (two 16s parts).

// The exact result of one part, in 64 bits. An unsigned difference is clamped
// to 0 before it is scaled, so a negative difference is 0 at every scale factor.
template <class Op, class P>
inline int64_t exact_part(P x, P c) {
  const int64_t r = Op::scalar(int64_t{x}, int64_t{c});
  if constexpr (std::is_unsigned_v<P>) return r < 0 ? 0 : r;
  return r;
}

// 8u in 16-bit lanes: every exact result of a constant form lies in 0..510, so
// 16 bits hold it, its rounding sum (at most 510 + 256) and its clamped left
// shift (255 << 7). Half the lanes of a 32-bit route, and one pack.
template <ScaleClass C>
class Finish8u {
 public:
  static constexpr size_t kLaneVectors = 2;
  explicit Finish8u(int s)
      : scalar_(s), count_(_mm_cvtsi32_si128(C == ScaleClass::kDown ? s : (C == ScaleClass::kUp ? -s : 0))),
        bias_(_mm_set1_epi16(static_cast<int16_t>(C == ScaleClass::kDown ? (1 << (s - 1)) - 1 : 0))) {}

  uint8_t operator()(int64_t x) const { return scalar_(x); }

  __m128i pack(const __m128i* x) const { return _mm_packus_epi16(lanes(x[0]), lanes(x[1])); }

 private:
  // Lanes in 0..510 to values that packus narrows to the result.
  __m128i lanes(__m128i x) const {
    if constexpr (C == ScaleClass::kExact) {
      return x;
    } else if constexpr (C == ScaleClass::kDown) {
      const __m128i odd = _mm_and_si128(_mm_srl_epi16(x, count_), _mm_set1_epi16(1));
      return _mm_srl_epi16(_mm_add_epi16(_mm_add_epi16(x, bias_), odd), count_);
    } else if constexpr (C == ScaleClass::kUp) {
      return _mm_sll_epi16(_mm_min_epi16(x, _mm_set1_epi16(255)), count_);
    } else {
      return _mm_slli_epi16(_mm_min_epi16(x, _mm_set1_epi16(1)), 8);  // 0 or 256
    }
  }

  Finish<uint8_t, C> scalar_;
  __m128i count_, bias_;
};

template <class P, ScaleClass C>
using NarrowFinish = std::conditional_t<std::is_same_v<P, uint8_t>, Finish8u<C>, Finish<P, C>>;

// The constant as vectors: `narrow` in the parts' own width (for the s = 0
// saturating instructions), `wide` in the lanes of the exact results.
template <class E>
struct NarrowConst {
  using P = PartOf<E>;
  explicit NarrowConst(const E& v) : c(v) {
    if constexpr (std::is_same_v<P, uint8_t>) {
      narrow = _mm_set1_epi8(static_cast<char>(c.c[0]));
      wide = _mm_set1_epi16(c.c[0]);
    } else if constexpr (PartsOf<E>::kCount == 1) {
      narrow = _mm_set1_epi16(static_cast<int16_t>(c.c[0]));
      wide = _mm_set1_epi32(c.c[0]);
    } else {
      const uint32_t pair = static_cast<uint16_t>(c.c[0]) | uint32_t{static_cast<uint16_t>(c.c[1])} << 16;
      narrow = _mm_set1_epi32(static_cast<int>(pair));
      wide = _mm_setr_epi32(c.c[0], c.c[1], c.c[0], c.c[1]);
    }
  }
  ConstParts<E> c;
  __m128i narrow, wide;
};

// The exact results of the 16 bytes at p, in the lanes that the finish expects.
template <class Op, class P>
inline void exact_lanes(const void* p, __m128i c, __m128i* x) {
  const __m128i zero = _mm_setzero_si128();
  if constexpr (std::is_same_v<P, uint8_t>) {
    const __m128i v = load_i(p);
    x[0] = Op::exact16(_mm_unpacklo_epi8(v, zero), c);
    x[1] = Op::exact16(_mm_unpackhi_epi8(v, zero), c);
    if constexpr (Op::kMayBeNegative) x[0] = _mm_max_epi16(x[0], zero), x[1] = _mm_max_epi16(x[1], zero);
  } else {
    __m128i u[2];
    if constexpr (std::is_signed_v<P>) widen_16s(p, u);
    else widen_16u(p, u);
    x[0] = Op::exact32(u[0], c), x[1] = Op::exact32(u[1], c);
    if constexpr (std::is_unsigned_v<P> && Op::kMayBeNegative) x[0] = _mm_max_epi32(x[0], zero), x[1] = _mm_max_epi32(x[1], zero);
  }
}

// 8u at s = 1, in bytes. A sum: the byte average rounds a tie up, so a tie
// whose lower neighbour is even steps back, avg - ((a ^ c) & avg & 1). A
// difference fits in a byte once clamped: r >> 1, plus 1 for a tie r & (r >> 1) & 1.
template <class Op>
inline __m128i halve_8u(__m128i a, __m128i c) {
  const __m128i one = _mm_set1_epi8(1);
  if constexpr (std::is_same_v<Op, AddCOp>) {
    const __m128i avg = _mm_avg_epu8(a, c);
    return _mm_sub_epi8(avg, _mm_and_si128(_mm_and_si128(_mm_xor_si128(a, c), avg), one));
  } else {
    const __m128i r = Op::template saturated<uint8_t>(a, c);
    const __m128i h = _mm_and_si128(_mm_srli_epi16(r, 1), _mm_set1_epi8(0x7F));
    return _mm_add_epi8(h, _mm_and_si128(_mm_and_si128(r, h), one));
  }
}

// Half: the 8u kernel of s = 1 (the class is kDown).
template <class Op, ScaleClass C, class E, bool Half = false>
void narrow_const_kernel(const E* a, const E& val, E* d, size_t n, int s) {
  using P = PartOf<E>;
  constexpr size_t kParts = PartsOf<E>::kCount;
  const NarrowConst<E> c(val);
  const NarrowFinish<P, C> finish(s);
  // One vector of results from the 16 bytes at p.
  auto vector = [&](const E* p) {
    if constexpr (C == ScaleClass::kExact) {
      return Op::template saturated<P>(load_i(p), c.narrow);
    } else if constexpr (Half) {
      return halve_8u<Op>(load_i(p), c.narrow);
    } else {
      __m128i x[2];
      exact_lanes<Op, P>(p, c.wide, x);
      return finish.pack(x);
    }
  };
  constexpr size_t kPerVector = 16 / sizeof(E);
  for_blocks<2 * kPerVector>(
      d, n,
      [&](size_t i) {
        for (size_t k = 0; k < kParts; ++k) parts(d + i)[k] = finish(exact_part<Op>(parts(a + i)[k], c.c.c[k]));
      },
      [&](size_t i) {
        const __m128i v0 = vector(a + i), v1 = vector(a + i + kPerVector);
        store_i(d + i, v0);
        store_i(d + i + kPerVector, v1);
      });
}

// Runs the kernel of the class of s; the zero class is the caller's fill.
template <class Op, ScaleLimits L, class E>
void run_narrow_const(const E* a, const E& val, E* d, size_t n, int s) {
  if constexpr (std::is_same_v<E, Kpl8u>) {
    if (s == 1) return narrow_const_kernel<Op, ScaleClass::kDown, E, true>(a, val, d, n, s);
  }
  with_scale_class(classify(s, L), [&](auto tag) {
    if constexpr (decltype(tag)::value != ScaleClass::kZero) narrow_const_kernel<Op, decltype(tag)::value>(a, val, d, n, s);
  });
}

// Block moves of the shortcuts, by element type.
inline KplStatus copy_of(const Kpl8u* s, Kpl8u* d, int len) { return KPL_IMPL(kplsCopy_8u)(s, d, len); }
inline KplStatus copy_of(const Kpl16s* s, Kpl16s* d, int len) { return KPL_IMPL(kplsCopy_16s)(s, d, len); }
inline KplStatus copy_of(const Kpl16u* s, Kpl16u* d, int len) {
  return KPL_IMPL(kplsCopy_16s)(reinterpret_cast<const Kpl16s*>(s), reinterpret_cast<Kpl16s*>(d), len);
}
inline KplStatus copy_of(const Kpl32s* s, Kpl32s* d, int len) { return KPL_IMPL(kplsCopy_32s)(s, d, len); }
inline KplStatus zero_of(Kpl8u* d, int len) { return KPL_IMPL(kplsZero_8u)(d, len); }
inline KplStatus zero_of(Kpl16s* d, int len) { return KPL_IMPL(kplsZero_16s)(d, len); }
inline KplStatus zero_of(Kpl16u* d, int len) { return KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(d), len); }
inline KplStatus zero_of(Kpl16sc* d, int len) { return KPL_IMPL(kplsZero_16sc)(d, len); }
inline KplStatus zero_of(Kpl32s* d, int len) { return KPL_IMPL(kplsZero_32s)(d, len); }
inline KplStatus zero_of(Kpl32sc* d, int len) { return KPL_IMPL(kplsZero_32sc)(d, len); }

// The copy shortcut: in place there is nothing to do but the checks.
template <class T>
KplStatus copy_or_return(const T* src, T* dst, int len) {
  if (src == dst) return check_vector_args(len, src);
  return copy_of(src, dst, len);
}

// 8u, 16s and 16sc: checks, then the shortcuts, then the class kernels.
template <class Op, ScaleLimits L, class E>
KplStatus narrow_const(const E* src, E val, E* dst, int len, int s) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  constexpr bool kReal = PartsOf<E>::kCount == 1;
  if constexpr (kReal && Op::kCopiesAtZero) {
    if (s == 0 && val == 0) return copy_or_return(src, dst, len);
  }
  if (s > L.zero_above) return zero_of(dst, len);
  const auto n = static_cast<size_t>(len);
  if constexpr (std::is_same_v<E, Kpl8u> && Op::kCopiesAtZero) {
    if (s < L.bound_below) {
      // Every sum with a non-zero constant saturates; with a zero constant the
      // source alone decides, for AddC and SubC alike.
      if (std::is_same_v<Op, AddCOp> && val != 0) return KPL_IMPL(kplsSet_8u)(255, dst, len);
      if (val == 0) {
        narrow_const_kernel<AddCOp, ScaleClass::kBound>(src, Kpl8u{0}, dst, n, s);
        return kplStsOk;
      }
    }
  }
  run_narrow_const<Op, L>(src, val, dst, n, s);
  return kplStsOk;
}

// 16u: the shortcuts stand before the pointer checks, and a shortcut's callee
// tests only what it receives.
template <class Op, ScaleLimits L>
KplStatus const_16u(const Kpl16u* src, Kpl16u val, Kpl16u* dst, int len, int s) {
  if constexpr (std::is_same_v<Op, SubCRevOp>) {
    // 0 - x clamps to 0 for every x, at every scale factor: the source is
    // tested, the fill tests the rest.
    if (val == 0) return src ? zero_of(dst, len) : kplStsNullPointer;
  }
  if constexpr (Op::kCopiesAtZero) {
    if (s == 0 && val == 0) return copy_or_return(src, dst, len);
  }
  if (s > L.zero_above) return zero_of(dst, len);
  if constexpr (std::is_same_v<Op, AddCOp>) {
    if (s < L.bound_below && val != 0) return KPL_IMPL(kplsSet_16s)(-1, reinterpret_cast<Kpl16s*>(dst), len);
  }
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  run_narrow_const<Op, L>(src, val, dst, static_cast<size_t>(len), s);
  return kplStsOk;
}

// ---------------------------------------------------------------------------
// 32s, 32sc, 64s and 64u: scalar code on exact results in 64 or 128 bits.

// Rounding of the right shifts: ties to even is the rule of every scale
// factor; the 64-bit forms with a rounding mode also truncate toward zero or
// round ties away from zero.
enum class Round { kTowardZero, kNearestEven, kNearestAway };

// |x| below 2^127, for the magnitudes of the clamps.
template <class D>
constexpr __int128 lowest_of() {
  return static_cast<__int128>(std::numeric_limits<D>::lowest());
}
template <class D>
constexpr __int128 max_of() {
  return static_cast<__int128>(std::numeric_limits<D>::max());
}

// Exact results (|x| < 2^66) to D for one class of scale factor s, which the
// class keeps within: 0 < s <= 65 for kDown, -63 <= s < 0 for kUp.
template <class D, ScaleClass C, Round R = Round::kNearestEven>
class FinishWide {
 public:
  static_assert(C != ScaleClass::kZero, "a zero fill needs no kernel");
  explicit FinishWide(int s) : s_(s) {}

  template <class W>
  D operator()(W x) const {
    if constexpr (C == ScaleClass::kExact) {
      return clamp(x);
    } else if constexpr (C == ScaleClass::kDown) {
      if constexpr (R == Round::kNearestEven) {
        return clamp(round_shift(x, s_));
      } else {
        const W half = R == Round::kNearestAway ? W{1} << (s_ - 1) : W{0};
        return clamp(x >= 0 ? (x + half) >> s_ : -((-x + half) >> s_));
      }
    } else if constexpr (C == ScaleClass::kUp) {
      // Clamped to the destination first, the shifted value still fits in 128 bits.
      return clamp(static_cast<__int128>(clamp(x)) * (__int128{1} << -s_));
    } else {
      return x > 0 ? std::numeric_limits<D>::max() : (x < 0 ? std::numeric_limits<D>::lowest() : D{0});
    }
  }

 private:
  template <class W>
  static D clamp(W x) {
    if (x < lowest_of<D>()) return std::numeric_limits<D>::lowest();
    if (x > max_of<D>()) return std::numeric_limits<D>::max();
    return static_cast<D>(x);
  }
  int s_;
};

// 32s and 32sc: exact in 64 bits. Out of place, long vectors whose destination
// is aligned store around the cache. Below this many bytes the cache is not
// even asked (reading its size costs more than a short call).
constexpr size_t kWide32StreamFloorBytes = size_t{1} << 20;

template <class Op, ScaleClass C, bool Stream, class E>
void wide32_const_kernel(const E* a, const E& val, E* d, size_t n, int s) {
  constexpr size_t kParts = PartsOf<E>::kCount;
  const ConstParts<E> c(val);
  const FinishWide<Kpl32s, C> finish(s);
  const Kpl32s* x = parts(a);
  Kpl32s* y = parts(d);
  for (size_t i = 0; i < n; ++i, x += kParts, y += kParts) {
    for (size_t k = 0; k < kParts; ++k) {
      const Kpl32s r = finish(Op::scalar(int64_t{x[k]}, int64_t{c.c[k]}));
      if constexpr (Stream) _mm_stream_si32(y + k, r);
      else y[k] = r;
    }
  }
  if constexpr (Stream) _mm_sfence();
}

template <class Op, ScaleLimits L, class E>
KplStatus wide32_const(const E* src, E val, E* dst, int len, int s) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  constexpr bool kReal = PartsOf<E>::kCount == 1;
  if constexpr (kReal && Op::kCopiesAtZero) {
    if (s == 0 && val == 0) return copy_or_return(src, dst, len);
  }
  if (s > L.zero_above) return zero_of(dst, len);
  const auto n = static_cast<size_t>(len);
  const size_t bytes = n * sizeof(E);
  const bool stream = src != dst && bytes >= kWide32StreamFloorBytes && (reinterpret_cast<uintptr_t>(dst) & 15) == 0 &&
                      worth_streaming(bytes);
  with_scale_class(classify(s, L), [&](auto tag) {
    constexpr ScaleClass kC = decltype(tag)::value;
    if constexpr (kC != ScaleClass::kZero) {
      if (stream) wide32_const_kernel<Op, kC, true>(src, val, dst, n, s);
      else wide32_const_kernel<Op, kC, false>(src, val, dst, n, s);
    }
  });
  return kplStsOk;
}

// 64s and 64u: AddC only, with an unsigned length, a 65-bit exact sum, and the
// rounding mode of the call.
constexpr size_t kMoveChunk = size_t{1} << 30;  // elements per call of a block move

template <ScaleClass C, Round R, class T>
void add_c_64_kernel(const T* a, T val, T* d, size_t n, int s) {
  const FinishWide<T, C, R> finish(s);
  for (size_t i = 0; i < n; ++i) d[i] = finish(static_cast<__int128>(a[i]) + val);
}

template <ScaleClass C, class T>
void add_c_64_mode(const T* a, T val, T* d, size_t n, int s, KplRoundMode mode) {
  if constexpr (C == ScaleClass::kDown) {
    if (mode == kplRndZero) return add_c_64_kernel<C, Round::kTowardZero>(a, val, d, n, s);
    if (mode == kplRndNear) return add_c_64_kernel<C, Round::kNearestEven>(a, val, d, n, s);
    return add_c_64_kernel<C, Round::kNearestAway>(a, val, d, n, s);  // any other value
  } else {
    (void)mode;
    add_c_64_kernel<C, Round::kNearestEven>(a, val, d, n, s);
  }
}

template <ScaleLimits L, class T>
KplStatus add_c_64(const T* src, T val, T* dst, Kpl32u len, int s, KplRoundMode mode) {
  if (any_null(src, dst)) return kplStsNullPointer;
  if (len == 0) return kplStsBadSize;  // the only bad length: a top bit set is a long vector
  using S = Kpl64s;  // the block moves see both types as 64-bit signed elements
  const auto* s64 = reinterpret_cast<const S*>(src);
  auto* d64 = reinterpret_cast<S*>(dst);
  const size_t n = len;
  const bool copy = s == 0 && val == 0;
  if ((copy && src != dst) || s > L.zero_above) {
    for (size_t i = 0; i < n; i += kMoveChunk) {
      const int part = static_cast<int>(n - i < kMoveChunk ? n - i : kMoveChunk);
      const KplStatus st = copy ? KPL_IMPL(kplsCopy_64s)(s64 + i, d64 + i, part) : KPL_IMPL(kplsZero_64s)(d64 + i, part);
      if (st != kplStsOk) return st;
    }
    return kplStsOk;
  }
  if (copy) return kplStsOk;
  with_scale_class(classify(s, L), [&](auto tag) {
    if constexpr (decltype(tag)::value != ScaleClass::kZero) add_c_64_mode<decltype(tag)::value>(src, val, dst, n, s, mode);
  });
  return kplStsOk;
}

}  // namespace q5
}  // namespace kpl
