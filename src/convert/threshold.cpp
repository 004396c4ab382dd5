// Threshold in every rule, type and form but _LTInv (threshold_inv.cpp).
//
// Real rules are one comparison each, written with the level as the second
// operand of the minimum or maximum, so that a NaN element gives what the
// processor's min/max give it (the level), and the scalar steps use the same
// ternaries so that a result never depends on length or alignment.
//
// Complex rules compare re * re + im * im with level * level:
//   16sc  exactly, in integers (the sum reaches 2^31, kept unsigned);
//   32fc  exactly: the squares are exact in binary64 and the rounding error of
//         their sum is recovered, so a magnitude equal to the level is equal;
//   64fc  in binary64 as written, and in extended precision for the elements
//         (or levels) whose squares would leave [2^-960, 2^960].
// An element past the level in the relOp forms keeps its phase and gets the
// magnitude `level` (16sc rounds to nearest, ties to even, and saturates). A
// zero element takes the phase atan2 gives it (level on the real axis, signs of
// its zeros kept), an infinite part counts as 1 and a finite one beside it as 0.
// Complex kernels run under round-to-nearest whatever the caller's mode.
#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/rounding.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// ---------------------------------------------------------------------------
// 128-bit lanes of each real type: the vector forms of the comparisons.

template <class T>
struct Lane;

template <>
struct Lane<Kpl32f> {
  using V = __m128;
  static constexpr size_t kLanes = 4;
  static V load(const Kpl32f* p) { return _mm_loadu_ps(p); }
  static void store(Kpl32f* p, V v) { _mm_storeu_ps(p, v); }
  static V set1(Kpl32f x) { return _mm_set1_ps(x); }
  static V min(V a, V b) { return _mm_min_ps(a, b); }
  static V max(V a, V b) { return _mm_max_ps(a, b); }
  static V lt(V a, V b) { return _mm_cmplt_ps(a, b); }
  static V le(V a, V b) { return _mm_cmple_ps(a, b); }
  static V select(V m, V a, V b) { return _mm_blendv_ps(b, a, m); }  // m ? a : b
};
template <>
struct Lane<Kpl64f> {
  using V = __m128d;
  static constexpr size_t kLanes = 2;
  static V load(const Kpl64f* p) { return _mm_loadu_pd(p); }
  static void store(Kpl64f* p, V v) { _mm_storeu_pd(p, v); }
  static V set1(Kpl64f x) { return _mm_set1_pd(x); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V lt(V a, V b) { return _mm_cmplt_pd(a, b); }
  static V le(V a, V b) { return _mm_cmple_pd(a, b); }
  static V select(V m, V a, V b) { return _mm_blendv_pd(b, a, m); }
};
template <>
struct Lane<Kpl16s> {
  using V = __m128i;
  static constexpr size_t kLanes = 8;
  static V load(const Kpl16s* p) { return load_i(p); }
  static void store(Kpl16s* p, V v) { store_i(p, v); }
  static V set1(Kpl16s x) { return _mm_set1_epi16(x); }
  static V min(V a, V b) { return _mm_min_epi16(a, b); }
  static V max(V a, V b) { return _mm_max_epi16(a, b); }
  static V lt(V a, V b) { return _mm_cmpgt_epi16(b, a); }
  static V le(V a, V b) { return _mm_xor_si128(_mm_cmpgt_epi16(a, b), _mm_set1_epi32(-1)); }
  static V select(V m, V a, V b) { return _mm_blendv_epi8(b, a, m); }
  // |x| < level as unsigned magnitudes (|-32768| is 32768): a saturating
  // difference that is not zero.
  static V abs_below(V x, V level) {
    return _mm_xor_si128(_mm_cmpeq_epi16(_mm_subs_epu16(level, _mm_abs_epi16(x)), _mm_setzero_si128()),
                         _mm_set1_epi32(-1));
  }
  static V negative(V x) { return _mm_srai_epi16(x, 15); }
  static V neg(V x) { return _mm_sub_epi16(_mm_setzero_si128(), x); }
};
template <>
struct Lane<Kpl32s> {
  using V = __m128i;
  static constexpr size_t kLanes = 4;
  static V load(const Kpl32s* p) { return load_i(p); }
  static void store(Kpl32s* p, V v) { store_i(p, v); }
  static V set1(Kpl32s x) { return _mm_set1_epi32(x); }
  static V min(V a, V b) { return _mm_min_epi32(a, b); }
  static V max(V a, V b) { return _mm_max_epi32(a, b); }
  static V lt(V a, V b) { return _mm_cmpgt_epi32(b, a); }
  static V le(V a, V b) { return _mm_xor_si128(_mm_cmpgt_epi32(a, b), _mm_set1_epi32(-1)); }
  static V select(V m, V a, V b) { return _mm_blendv_epi8(b, a, m); }
  static V abs_below(V x, V level) {
    const V ax = _mm_abs_epi32(x);  // INT32_MIN stays 2^31 as an unsigned value
    return _mm_xor_si128(_mm_cmpeq_epi32(_mm_max_epu32(ax, level), ax), _mm_set1_epi32(-1));
  }
  static V negative(V x) { return _mm_srai_epi32(x, 31); }
  static V neg(V x) { return _mm_sub_epi32(_mm_setzero_si128(), x); }
};

template <class T>
using Vec = typename Lane<T>::V;

// ---------------------------------------------------------------------------
// The real rules: one struct each, scalar and 128-bit steps side by side.

// _LT and relOp kplCmpLess: the maximum, level second (a NaN gives the level).
template <class T>
struct LessOp {
  T l;
  Vec<T> lv = Lane<T>::set1(l);
  T scalar(T x) const { return x > l ? x : l; }
  Vec<T> block(Vec<T> x) const { return Lane<T>::max(x, lv); }
};

// _GT and relOp kplCmpGreater: the minimum, level second.
template <class T>
struct GreaterOp {
  T l;
  Vec<T> lv = Lane<T>::set1(l);
  T scalar(T x) const { return x < l ? x : l; }
  Vec<T> block(Vec<T> x) const { return Lane<T>::min(x, lv); }
};

// _LTVal: level <= x ? x : value. A false comparison (NaN) replaces.
template <class T>
struct LessValOp {
  T l, v;
  Vec<T> lv = Lane<T>::set1(l), vv = Lane<T>::set1(v);
  T scalar(T x) const { return l <= x ? x : v; }
  Vec<T> block(Vec<T> x) const { return Lane<T>::select(Lane<T>::le(lv, x), x, vv); }
};

// _GTVal: level < x ? value : x. A false comparison (NaN) keeps.
template <class T>
struct GreaterValOp {
  T l, v;
  Vec<T> lv = Lane<T>::set1(l), vv = Lane<T>::set1(v);
  T scalar(T x) const { return l < x ? v : x; }
  Vec<T> block(Vec<T> x) const { return Lane<T>::select(Lane<T>::lt(lv, x), vv, x); }
};

// _LTValGTVal: x is kept when levelLT <= x and not levelGT < x; otherwise the
// value of the test that failed first (a NaN gets valueLT).
template <class T>
struct LessGreaterValOp {
  T llt, vlt, lgt, vgt;
  Vec<T> llv = Lane<T>::set1(llt), vlv = Lane<T>::set1(vlt), lgv = Lane<T>::set1(lgt), vgv = Lane<T>::set1(vgt);
  T scalar(T x) const { return llt <= x ? (lgt < x ? vgt : x) : vlt; }
  Vec<T> block(Vec<T> x) const {
    using L = Lane<T>;
    return L::select(L::le(llv, x), L::select(L::lt(lgv, x), vgv, x), vlv);
  }
};

// _GTAbs: the minimum with level, then the maximum with -level (0 - level,
// formed once). Integers cannot overflow: the level is not negative.
template <class T>
struct GreaterAbsOp {
  T l, nl = static_cast<T>(T(0) - l);
  Vec<T> lv = Lane<T>::set1(l), nlv = Lane<T>::set1(nl);
  T scalar(T x) const {
    const T m = x < l ? x : l;
    return m > nl ? m : nl;
  }
  Vec<T> block(Vec<T> x) const { return Lane<T>::max(Lane<T>::min(x, lv), nlv); }
};

// _LTAbs: |x| < level gives level with the sign of x. Floats take the sign bit
// off, take the maximum with level and put the sign bit back, so a NaN becomes
// the level with the NaN's sign; integers compare unsigned magnitudes, so
// level 0 changes nothing and the most negative value is never below.
template <class T>
struct LessAbsOp {
  T l;
  Vec<T> lv = Lane<T>::set1(l);
  T scalar(T x) const {
    if constexpr (std::is_floating_point_v<T>) {
      using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
      constexpr U kSign = U{1} << (8 * sizeof(T) - 1);
      const U b = std::bit_cast<U>(x);
      const T a = std::bit_cast<T>(static_cast<U>(b & ~kSign));
      const T m = a > l ? a : l;
      return std::bit_cast<T>(static_cast<U>(std::bit_cast<U>(m) | (b & kSign)));
    } else {
      using U = std::make_unsigned_t<T>;
      const U ax = x < 0 ? static_cast<U>(U(0) - static_cast<U>(x)) : static_cast<U>(x);
      if (ax >= static_cast<U>(l)) return x;
      return x < 0 ? static_cast<T>(-l) : l;
    }
  }
  Vec<T> block(Vec<T> x) const {
    using L = Lane<T>;
    if constexpr (std::is_same_v<T, Kpl32f>) {
      const __m128 sign = _mm_set1_ps(-0.0f);
      return _mm_or_ps(_mm_max_ps(_mm_andnot_ps(sign, x), lv), _mm_and_ps(x, sign));
    } else if constexpr (std::is_same_v<T, Kpl64f>) {
      const __m128d sign = _mm_set1_pd(-0.0);
      return _mm_or_pd(_mm_max_pd(_mm_andnot_pd(sign, x), lv), _mm_and_pd(x, sign));
    } else {
      const Vec<T> signed_level = L::select(L::negative(x), L::neg(lv), lv);
      return L::select(L::abs_below(x, lv), signed_level, x);
    }
  }
};

// Two vectors per step, both loaded before either is stored: s may be d.
template <class T, class Op>
void map_real(const Op& op, const T* s, T* d, size_t n) {
  using L = Lane<T>;
  constexpr size_t k = L::kLanes;
  for_blocks<2 * k>(
      d, n, [&](size_t i) { d[i] = op.scalar(s[i]); },
      [&](size_t i) {
        const Vec<T> a = L::load(s + i), b = L::load(s + i + k);
        L::store(d + i, op.block(a));
        L::store(d + i + k, op.block(b));
      });
}

// ---------------------------------------------------------------------------
// Checks and drivers of the real forms.

template <class T>
constexpr bool negative_level(T level) {
  return T(0) > level;  // a NaN level passes
}
constexpr bool valid_rel_op(KplCmpOp op) { return op == kplCmpLess || op == kplCmpGreater; }

template <class T, class Op>
KplStatus real_rule(const T* s, T* d, int len, const Op& op) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  map_real(op, s, d, static_cast<size_t>(len));
  return kplStsOk;
}

// Rules with a level that must not be negative (_LTAbs, _GTAbs).
template <class T, class Op>
KplStatus real_abs_rule(const T* s, T* d, int len, T level) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (negative_level(level)) return kplStsBadThreshold;
  map_real(Op{level}, s, d, static_cast<size_t>(len));
  return kplStsOk;
}

template <class T>
KplStatus real_rel(const T* s, T* d, int len, T level, KplCmpOp op) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (!valid_rel_op(op)) return kplStsBadArgument;
  if (op == kplCmpLess) {
    map_real(LessOp<T>{level}, s, d, static_cast<size_t>(len));
  } else {
    map_real(GreaterOp<T>{level}, s, d, static_cast<size_t>(len));
  }
  return kplStsOk;
}

template <class T>
KplStatus real_lt_gt_val(const T* s, T* d, int len, T llt, T vlt, T lgt, T vgt) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (lgt < llt) return kplStsBadThresholdPair;  // equal levels are allowed
  map_real(LessGreaterValOp<T>{llt, vlt, lgt, vgt}, s, d, static_cast<size_t>(len));
  return kplStsOk;
}

// ---------------------------------------------------------------------------
// Complex elements: a classification of |x|^2 against level^2, one element
// (scalar) or one block (128-bit), as bit j set for element j of the block.

struct Classes {
  unsigned below, above, unordered;
};

template <class C>
struct Classify;

template <>
struct Classify<Kpl16sc> {
  static constexpr size_t kBlock = 4;
  int64_t l2;
  __m128i l2b;  // level^2 with the sign bit flipped, for unsigned comparison
  explicit Classify(Kpl16s level)
      : l2(int64_t{level} * level), l2b(_mm_set1_epi32(static_cast<int>(static_cast<uint32_t>(l2) ^ 0x80000000u))) {}
  Classes one(Kpl16sc x) const {
    const int64_t m = int64_t{x.re} * x.re + int64_t{x.im} * x.im;
    return {m < l2 ? 1u : 0u, m > l2 ? 1u : 0u, 0u};
  }
  Classes block(const Kpl16sc* p) const {
    const __m128i x = load_i(p);
    // re*re + im*im in 32 bits: at most 2^31, right when read unsigned.
    const __m128i m = _mm_xor_si128(_mm_madd_epi16(x, x), _mm_set1_epi32(INT32_MIN));
    return {static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(l2b, m)))),
            static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(m, l2b)))), 0u};
  }
};

// Below, above and unordered from the exact sum p + q = s + e (|e| tiny beside s).
inline Classes classes_of_sum(double s, double e, double l2) {
  if (s != s || l2 != l2) return {0, 0, 1};
  const bool below = s < l2 || (s == l2 && e < 0.0);
  const bool above = s > l2 || (s == l2 && e > 0.0);
  return {below ? 1u : 0u, above ? 1u : 0u, 0u};
}

template <>
struct Classify<Kpl32fc> {
  static constexpr size_t kBlock = 2;
  double l2;
  __m128d l2v;
  explicit Classify(Kpl32f level) : l2(double{level} * level), l2v(_mm_set1_pd(l2)) {}
  Classes one(Kpl32fc x) const {
    const double re = x.re, im = x.im;
    const double p = re * re, q = im * im;  // exact
    const double s = p + q, bb = s - p;
    const double e = (p - (s - bb)) + (q - bb);  // s + e == p + q exactly
    return classes_of_sum(s, e, l2);
  }
  Classes block(const Kpl32fc* ptr) const {
    const __m128 a = load_f(ptr);
    const __m128d x0 = _mm_cvtps_pd(a), x1 = _mm_cvtps_pd(_mm_movehl_ps(a, a));
    const __m128d re = _mm_unpacklo_pd(x0, x1), im = _mm_unpackhi_pd(x0, x1);
    const __m128d p = _mm_mul_pd(re, re), q = _mm_mul_pd(im, im);
    const __m128d s = _mm_add_pd(p, q), bb = _mm_sub_pd(s, p);
    const __m128d e = _mm_add_pd(_mm_sub_pd(p, _mm_sub_pd(s, bb)), _mm_sub_pd(q, bb));
    const __m128d zero = _mm_setzero_pd(), eq = _mm_cmpeq_pd(s, l2v);
    const __m128d below = _mm_or_pd(_mm_cmplt_pd(s, l2v), _mm_and_pd(eq, _mm_cmplt_pd(e, zero)));
    const __m128d above = _mm_or_pd(_mm_cmpgt_pd(s, l2v), _mm_and_pd(eq, _mm_cmpgt_pd(e, zero)));
    return {static_cast<unsigned>(_mm_movemask_pd(below)), static_cast<unsigned>(_mm_movemask_pd(above)),
            static_cast<unsigned>(_mm_movemask_pd(_mm_cmpunord_pd(s, l2v)))};
  }
};

// Squares that stay within this range are compared in binary64 as written.
constexpr double kSafeLow = 0x1p-960, kSafeHigh = 0x1p960;
inline bool safe_square(double s) { return s >= kSafeLow && s <= kSafeHigh; }

template <>
struct Classify<Kpl64fc> {
  static constexpr size_t kBlock = 2;
  double l, l2;
  long double l2x;
  bool level_safe;
  __m128d l2v;
  explicit Classify(Kpl64f level)
      : l(level),
        l2(level * level),
        l2x(static_cast<long double>(level) * level),
        level_safe(level == 0.0 || safe_square(l2)),
        l2v(_mm_set1_pd(l2)) {}
  bool safe(double s) const { return level_safe && safe_square(s); }
  Classes one(Kpl64fc x) const {
    const double s = x.re * x.re + x.im * x.im;
    if (safe(s)) return {s < l2 ? 1u : 0u, s > l2 ? 1u : 0u, 0u};
    const long double re = x.re, im = x.im, sx = re * re + im * im;
    if (sx != sx || l2x != l2x) return {0, 0, 1};
    return {sx < l2x ? 1u : 0u, sx > l2x ? 1u : 0u, 0u};
  }
  Classes block(const Kpl64fc* p) const {
    const __m128d a = load_d(p), b = load_d(p + 1);
    const __m128d re = _mm_unpacklo_pd(a, b), im = _mm_unpackhi_pd(a, b);
    const __m128d s = _mm_add_pd(_mm_mul_pd(re, re), _mm_mul_pd(im, im));
    const __m128d in_range =
        _mm_and_pd(_mm_cmpge_pd(s, _mm_set1_pd(kSafeLow)), _mm_cmple_pd(s, _mm_set1_pd(kSafeHigh)));
    if (!level_safe || _mm_movemask_pd(in_range) != 3) {
      const Classes c0 = one(p[0]), c1 = one(p[1]);
      return {c0.below | c1.below << 1, c0.above | c1.above << 1, c0.unordered | c1.unordered << 1};
    }
    return {static_cast<unsigned>(_mm_movemask_pd(_mm_cmplt_pd(s, l2v))),
            static_cast<unsigned>(_mm_movemask_pd(_mm_cmpgt_pd(s, l2v))), 0u};
  }
};

// ---------------------------------------------------------------------------
// An element scaled to magnitude `level`, its phase kept.

// The direction of an element with an infinite part: 1 for an infinite part, 0
// for a finite one, signs kept.
template <class R>
inline void direction_of_infinite(R& re, R& im) {
  re = std::isinf(re) ? std::copysign(R(1), re) : std::copysign(R(0), re);
  im = std::isinf(im) ? std::copysign(R(1), im) : std::copysign(R(0), im);
}

// W is the precision of the computation; the parts are finite or infinite, never
// NaN (a NaN element is never past the level).
template <class W, class R>
inline void scale_parts(R re0, R im0, R level, W& re, W& im) {
  re = re0, im = im0;
  if (std::isinf(re) || std::isinf(im)) direction_of_infinite(re, im);
  const W m = re * re + im * im;
  if (m == W(0)) {  // no phase: along the real axis, the zeros' signs kept
    re = std::copysign(W(level), re);
    im = std::copysign(W(0), im);
    return;
  }
  const W f = W(level) / std::sqrt(m);
  re *= f, im *= f;
}

inline Kpl16s round_saturate_16s(double v) {
  const double r =
      _mm_cvtsd_f64(_mm_round_sd(_mm_setzero_pd(), _mm_set_sd(v), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
  return static_cast<Kpl16s>(r > 32767.0 ? 32767.0 : (r < -32768.0 ? -32768.0 : r));
}

inline Kpl16sc scale_to_level(Kpl16sc x, Kpl16s level, const Classify<Kpl16sc>&) {
  double re, im;
  scale_parts<double, double>(x.re, x.im, level, re, im);
  return {round_saturate_16s(re), round_saturate_16s(im)};
}
inline Kpl32fc scale_to_level(Kpl32fc x, Kpl32f level, const Classify<Kpl32fc>&) {
  double re, im;
  scale_parts<double>(double{x.re}, double{x.im}, double{level}, re, im);
  return {static_cast<Kpl32f>(re), static_cast<Kpl32f>(im)};
}
inline Kpl64fc scale_to_level(Kpl64fc x, Kpl64f level, const Classify<Kpl64fc>& c) {
  if (c.safe(x.re * x.re + x.im * x.im)) {
    double re, im;
    scale_parts<double>(x.re, x.im, level, re, im);
    return {re, im};
  }
  long double re, im;
  scale_parts<long double>(x.re, x.im, level, re, im);
  return {static_cast<Kpl64f>(re), static_cast<Kpl64f>(im)};
}

// ---------------------------------------------------------------------------
// The complex rules: which elements are past the level, and what replaces them.

template <class C, class R>
struct LessValC {  // |x|^2 < level^2 gives value
  C value;
  unsigned past(Classes c) const { return c.below; }
  C replace(C) const { return value; }
};
template <class C, class R>
struct GreaterValC {  // not |x|^2 <= level^2 gives value (a NaN element too)
  C value;
  unsigned past(Classes c) const { return c.above | c.unordered; }
  C replace(C) const { return value; }
};
template <class C, class R>
struct LessC {  // |x| < level: raised to level
  R level;
  const Classify<C>& cls;
  unsigned past(Classes c) const { return c.below; }
  C replace(C x) const { return scale_to_level(x, level, cls); }
};
template <class C, class R>
struct GreaterC {  // |x| > level: lowered to level
  R level;
  const Classify<C>& cls;
  unsigned past(Classes c) const { return c.above; }
  C replace(C x) const { return scale_to_level(x, level, cls); }
};

// One block: the elements moved as they are, then those past the level replaced.
template <class C, class Rule>
void map_complex(const Rule& rule, const Classify<C>& cls, const C* s, C* d, size_t n) {
  constexpr size_t k = Classify<C>::kBlock;
  for_blocks<k>(
      d, n,
      [&](size_t i) {
        const C x = s[i];
        d[i] = rule.past(cls.one(x)) ? rule.replace(x) : x;
      },
      [&](size_t i) {
        unsigned past = rule.past(cls.block(s + i));
        if (s != d) {
          if constexpr (sizeof(C) * k == 16) {
            store_i(d + i, load_i(s + i));
          } else {
            const __m128i a = load_i(s + i), b = load_i(s + i + 1);
            store_i(d + i, a), store_i(d + i + 1, b);
          }
        }
        for (; past != 0; past &= past - 1) {
          const size_t j = static_cast<size_t>(std::countr_zero(past));
          d[i + j] = rule.replace(s[i + j]);
        }
      });
}

template <class C>
using PartOf = decltype(C::re);

template <class C>
KplStatus complex_val(const C* s, C* d, int len, PartOf<C> level, C value, bool less) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (negative_level(level)) return kplStsBadThreshold;
  RoundingGuard nearest(Rounding::kNearest);
  const Classify<C> cls(level);
  if (less) {
    map_complex(LessValC<C, PartOf<C>>{value}, cls, s, d, static_cast<size_t>(len));
  } else {
    map_complex(GreaterValC<C, PartOf<C>>{value}, cls, s, d, static_cast<size_t>(len));
  }
  return kplStsOk;
}

template <class C>
KplStatus copy_complex(const C* s, C* d, int len) {
  if constexpr (std::is_same_v<C, Kpl16sc>) return KPL_IMPL(kplsCopy_16sc)(s, d, len);
  if constexpr (std::is_same_v<C, Kpl32fc>) return KPL_IMPL(kplsCopy_32fc)(s, d, len);
  if constexpr (std::is_same_v<C, Kpl64fc>) return KPL_IMPL(kplsCopy_64fc)(s, d, len);
}
template <class C>
KplStatus zero_complex(C* d, int len) {
  if constexpr (std::is_same_v<C, Kpl16sc>) return KPL_IMPL(kplsZero_16sc)(d, len);
  if constexpr (std::is_same_v<C, Kpl32fc>) return KPL_IMPL(kplsZero_32fc)(d, len);
  if constexpr (std::is_same_v<C, Kpl64fc>) return KPL_IMPL(kplsZero_64fc)(d, len);
}

template <class C>
KplStatus complex_rel(const C* s, C* d, int len, PartOf<C> level, KplCmpOp op) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (!valid_rel_op(op)) return kplStsBadArgument;
  if (negative_level(level)) return kplStsBadThreshold;
  if (level == 0) {  // nothing is below 0, everything not zero is above it
    if (op == kplCmpGreater) return zero_complex(d, len);
    return s == d ? kplStsOk : copy_complex(s, d, len);
  }
  RoundingGuard nearest(Rounding::kNearest);
  const Classify<C> cls(level);
  if (op == kplCmpLess) {
    map_complex(LessC<C, PartOf<C>>{level, cls}, cls, s, d, static_cast<size_t>(len));
  } else {
    map_complex(GreaterC<C, PartOf<C>>{level, cls}, cls, s, d, static_cast<size_t>(len));
  }
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl
using namespace kpl;

// relOp forms
KplStatus KPL_IMPL(kplsThreshold_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level, KplCmpOp relOp) { return real_rel(pSrc, pDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level, KplCmpOp relOp) { return real_rel<Kpl16s>(pSrcDst, pSrcDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len, Kpl16s level, KplCmpOp relOp) { return complex_rel(pSrc, pDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_16sc_I)(Kpl16sc* pSrcDst, int len, Kpl16s level, KplCmpOp relOp) { return complex_rel<Kpl16sc>(pSrcDst, pSrcDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level, KplCmpOp relOp) { return real_rel(pSrc, pDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level, KplCmpOp relOp) { return real_rel<Kpl32f>(pSrcDst, pSrcDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32f level, KplCmpOp relOp) { return complex_rel(pSrc, pDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_32fc_I)(Kpl32fc* pSrcDst, int len, Kpl32f level, KplCmpOp relOp) { return complex_rel<Kpl32fc>(pSrcDst, pSrcDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level, KplCmpOp relOp) { return real_rel(pSrc, pDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level, KplCmpOp relOp) { return real_rel<Kpl64f>(pSrcDst, pSrcDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64f level, KplCmpOp relOp) { return complex_rel(pSrc, pDst, len, level, relOp); }
KplStatus KPL_IMPL(kplsThreshold_64fc_I)(Kpl64fc* pSrcDst, int len, Kpl64f level, KplCmpOp relOp) { return complex_rel<Kpl64fc>(pSrcDst, pSrcDst, len, level, relOp); }

// _LT and _GT: the relOp form where there is one; 32s has its own kernels
KplStatus KPL_IMPL(kplsThreshold_LT_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16s)(pSrc, pDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16s_I)(pSrcDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16sc)(pSrc, pDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_16sc_I)(Kpl16sc* pSrcDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16sc_I)(pSrcDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len, Kpl32s level) { return real_rule(pSrc, pDst, len, LessOp<Kpl32s>{level}); }
KplStatus KPL_IMPL(kplsThreshold_LT_32s_I)(Kpl32s* pSrcDst, int len, Kpl32s level) { return real_rule<Kpl32s>(pSrcDst, pSrcDst, len, LessOp<Kpl32s>{level}); }
KplStatus KPL_IMPL(kplsThreshold_LT_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32f)(pSrc, pDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32f_I)(pSrcDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32fc)(pSrc, pDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_32fc_I)(Kpl32fc* pSrcDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32fc_I)(pSrcDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64f)(pSrc, pDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64f_I)(pSrcDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64fc)(pSrc, pDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_LT_64fc_I)(Kpl64fc* pSrcDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64fc_I)(pSrcDst, len, level, kplCmpLess); }
KplStatus KPL_IMPL(kplsThreshold_GT_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16s)(pSrc, pDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16s_I)(pSrcDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16sc)(pSrc, pDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_16sc_I)(Kpl16sc* pSrcDst, int len, Kpl16s level) { return KPL_IMPL(kplsThreshold_16sc_I)(pSrcDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len, Kpl32s level) { return real_rule(pSrc, pDst, len, GreaterOp<Kpl32s>{level}); }
KplStatus KPL_IMPL(kplsThreshold_GT_32s_I)(Kpl32s* pSrcDst, int len, Kpl32s level) { return real_rule<Kpl32s>(pSrcDst, pSrcDst, len, GreaterOp<Kpl32s>{level}); }
KplStatus KPL_IMPL(kplsThreshold_GT_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32f)(pSrc, pDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32f_I)(pSrcDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32fc)(pSrc, pDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_32fc_I)(Kpl32fc* pSrcDst, int len, Kpl32f level) { return KPL_IMPL(kplsThreshold_32fc_I)(pSrcDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64f)(pSrc, pDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64f_I)(pSrcDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64fc)(pSrc, pDst, len, level, kplCmpGreater); }
KplStatus KPL_IMPL(kplsThreshold_GT_64fc_I)(Kpl64fc* pSrcDst, int len, Kpl64f level) { return KPL_IMPL(kplsThreshold_64fc_I)(pSrcDst, len, level, kplCmpGreater); }

// _LTAbs and _GTAbs
KplStatus KPL_IMPL(kplsThreshold_LTAbs_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level) { return real_abs_rule<Kpl16s, LessAbsOp<Kpl16s>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level) { return real_abs_rule<Kpl16s, LessAbsOp<Kpl16s>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len, Kpl32s level) { return real_abs_rule<Kpl32s, LessAbsOp<Kpl32s>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_32s_I)(Kpl32s* pSrcDst, int len, Kpl32s level) { return real_abs_rule<Kpl32s, LessAbsOp<Kpl32s>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level) { return real_abs_rule<Kpl32f, LessAbsOp<Kpl32f>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level) { return real_abs_rule<Kpl32f, LessAbsOp<Kpl32f>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level) { return real_abs_rule<Kpl64f, LessAbsOp<Kpl64f>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_LTAbs_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level) { return real_abs_rule<Kpl64f, LessAbsOp<Kpl64f>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level) { return real_abs_rule<Kpl16s, GreaterAbsOp<Kpl16s>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level) { return real_abs_rule<Kpl16s, GreaterAbsOp<Kpl16s>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len, Kpl32s level) { return real_abs_rule<Kpl32s, GreaterAbsOp<Kpl32s>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_32s_I)(Kpl32s* pSrcDst, int len, Kpl32s level) { return real_abs_rule<Kpl32s, GreaterAbsOp<Kpl32s>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level) { return real_abs_rule<Kpl32f, GreaterAbsOp<Kpl32f>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level) { return real_abs_rule<Kpl32f, GreaterAbsOp<Kpl32f>>(pSrcDst, pSrcDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level) { return real_abs_rule<Kpl64f, GreaterAbsOp<Kpl64f>>(pSrc, pDst, len, level); }
KplStatus KPL_IMPL(kplsThreshold_GTAbs_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level) { return real_abs_rule<Kpl64f, GreaterAbsOp<Kpl64f>>(pSrcDst, pSrcDst, len, level); }

// _LTVal and _GTVal: a negative level is ordinary on real types, an error on complex ones
KplStatus KPL_IMPL(kplsThreshold_LTVal_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level, Kpl16s value) { return real_rule(pSrc, pDst, len, LessValOp<Kpl16s>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level, Kpl16s value) { return real_rule<Kpl16s>(pSrcDst, pSrcDst, len, LessValOp<Kpl16s>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len, Kpl16s level, Kpl16sc value) { return complex_val(pSrc, pDst, len, level, value, true); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_16sc_I)(Kpl16sc* pSrcDst, int len, Kpl16s level, Kpl16sc value) { return complex_val<Kpl16sc>(pSrcDst, pSrcDst, len, level, value, true); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level, Kpl32f value) { return real_rule(pSrc, pDst, len, LessValOp<Kpl32f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level, Kpl32f value) { return real_rule<Kpl32f>(pSrcDst, pSrcDst, len, LessValOp<Kpl32f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32f level, Kpl32fc value) { return complex_val(pSrc, pDst, len, level, value, true); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_32fc_I)(Kpl32fc* pSrcDst, int len, Kpl32f level, Kpl32fc value) { return complex_val<Kpl32fc>(pSrcDst, pSrcDst, len, level, value, true); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level, Kpl64f value) { return real_rule(pSrc, pDst, len, LessValOp<Kpl64f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level, Kpl64f value) { return real_rule<Kpl64f>(pSrcDst, pSrcDst, len, LessValOp<Kpl64f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64f level, Kpl64fc value) { return complex_val(pSrc, pDst, len, level, value, true); }
KplStatus KPL_IMPL(kplsThreshold_LTVal_64fc_I)(Kpl64fc* pSrcDst, int len, Kpl64f level, Kpl64fc value) { return complex_val<Kpl64fc>(pSrcDst, pSrcDst, len, level, value, true); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s level, Kpl16s value) { return real_rule(pSrc, pDst, len, GreaterValOp<Kpl16s>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s level, Kpl16s value) { return real_rule<Kpl16s>(pSrcDst, pSrcDst, len, GreaterValOp<Kpl16s>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len, Kpl16s level, Kpl16sc value) { return complex_val(pSrc, pDst, len, level, value, false); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_16sc_I)(Kpl16sc* pSrcDst, int len, Kpl16s level, Kpl16sc value) { return complex_val<Kpl16sc>(pSrcDst, pSrcDst, len, level, value, false); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level, Kpl32f value) { return real_rule(pSrc, pDst, len, GreaterValOp<Kpl32f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level, Kpl32f value) { return real_rule<Kpl32f>(pSrcDst, pSrcDst, len, GreaterValOp<Kpl32f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32f level, Kpl32fc value) { return complex_val(pSrc, pDst, len, level, value, false); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_32fc_I)(Kpl32fc* pSrcDst, int len, Kpl32f level, Kpl32fc value) { return complex_val<Kpl32fc>(pSrcDst, pSrcDst, len, level, value, false); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level, Kpl64f value) { return real_rule(pSrc, pDst, len, GreaterValOp<Kpl64f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level, Kpl64f value) { return real_rule<Kpl64f>(pSrcDst, pSrcDst, len, GreaterValOp<Kpl64f>{level, value}); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64f level, Kpl64fc value) { return complex_val(pSrc, pDst, len, level, value, false); }
KplStatus KPL_IMPL(kplsThreshold_GTVal_64fc_I)(Kpl64fc* pSrcDst, int len, Kpl64f level, Kpl64fc value) { return complex_val<Kpl64fc>(pSrcDst, pSrcDst, len, level, value, false); }

// _LTValGTVal
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s levelLT, Kpl16s valueLT, Kpl16s levelGT, Kpl16s valueGT) { return real_lt_gt_val(pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_16s_I)(Kpl16s* pSrcDst, int len, Kpl16s levelLT, Kpl16s valueLT, Kpl16s levelGT, Kpl16s valueGT) { return real_lt_gt_val<Kpl16s>(pSrcDst, pSrcDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len, Kpl32s levelLT, Kpl32s valueLT, Kpl32s levelGT, Kpl32s valueGT) { return real_lt_gt_val(pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_32s_I)(Kpl32s* pSrcDst, int len, Kpl32s levelLT, Kpl32s valueLT, Kpl32s levelGT, Kpl32s valueGT) { return real_lt_gt_val<Kpl32s>(pSrcDst, pSrcDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f levelLT, Kpl32f valueLT, Kpl32f levelGT, Kpl32f valueGT) { return real_lt_gt_val(pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f levelLT, Kpl32f valueLT, Kpl32f levelGT, Kpl32f valueGT) { return real_lt_gt_val<Kpl32f>(pSrcDst, pSrcDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f levelLT, Kpl64f valueLT, Kpl64f levelGT, Kpl64f valueGT) { return real_lt_gt_val(pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT); }
KplStatus KPL_IMPL(kplsThreshold_LTValGTVal_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f levelLT, Kpl64f valueLT, Kpl64f levelGT, Kpl64f valueGT) { return real_lt_gt_val<Kpl64f>(pSrcDst, pSrcDst, len, levelLT, valueLT, levelGT, valueGT); }
