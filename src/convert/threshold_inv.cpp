// Threshold_LTInv: 1 / x, with |x| first raised to `level` (the sign, or for a
// complex element the phase, kept). Every quotient is a true IEEE division,
// under round-to-nearest and with every floating exception masked for the call,
// whatever the caller had set; the caller's control bits come back exactly and
// the flags raised meanwhile stay raised.
//
// level > 0: m = the maximum of |x| and level (a NaN element becomes the level,
// with the NaN's sign), 1 / m. level 0: 1 / x, and a zero element gives an
// infinity with the zero's sign and makes the call return a warning: 4 below
// the length at which the call is split over threads, 6 at or above it (even
// when only one thread is there). A NaN level passes the checks and gives NaN.
//
// Complex: 1 / x = conj(x) / |x|^2, or conj(x) / (|x| * level) when |x| is below
// the level, computed in binary64 (32fc) or in binary64 with extended precision
// for elements whose squares would leave [2^-960, 2^960] (64fc). A zero element
// counts as lying on the real axis: (1/level, 0) with its zeros' signs, and with
// level 0 (inf, 0) signed likewise, flagged. An infinite part gives zeros; a NaN
// part gives NaN in both parts.
#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/parallel.hpp"
#include "frame/rounding.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Lengths from which a call is split over two threads; the warning tells which
// side of it the call was on.
constexpr size_t kInv32fFrom = 8192;
constexpr size_t kInv32fcFrom = 2048;
constexpr size_t kInv64fFrom = 2048;
constexpr size_t kInv64fcFrom = 512;

// ---------------------------------------------------------------------------
// Real: four floats or two doubles per step.

template <class T>
struct RealLanes;
template <>
struct RealLanes<Kpl32f> {
  using V = __m128;
  static constexpr size_t kLanes = 4;
  static V load(const Kpl32f* p) { return _mm_loadu_ps(p); }
  static void store(Kpl32f* p, V v) { _mm_storeu_ps(p, v); }
  static V set1(Kpl32f x) { return _mm_set1_ps(x); }
  static V sign() { return _mm_set1_ps(-0.0f); }
  static V max(V a, V b) { return _mm_max_ps(a, b); }
  static V recip(V x) { return _mm_div_ps(_mm_set1_ps(1.0f), x); }
  static V andnot(V a, V b) { return _mm_andnot_ps(a, b); }
  static V and_(V a, V b) { return _mm_and_ps(a, b); }
  static V or_(V a, V b) { return _mm_or_ps(a, b); }
  static int zeros(V x) { return _mm_movemask_ps(_mm_cmpeq_ps(x, _mm_setzero_ps())); }
};
template <>
struct RealLanes<Kpl64f> {
  using V = __m128d;
  static constexpr size_t kLanes = 2;
  static V load(const Kpl64f* p) { return _mm_loadu_pd(p); }
  static void store(Kpl64f* p, V v) { _mm_storeu_pd(p, v); }
  static V set1(Kpl64f x) { return _mm_set1_pd(x); }
  static V sign() { return _mm_set1_pd(-0.0); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V recip(V x) { return _mm_div_pd(_mm_set1_pd(1.0), x); }
  static V andnot(V a, V b) { return _mm_andnot_pd(a, b); }
  static V and_(V a, V b) { return _mm_and_pd(a, b); }
  static V or_(V a, V b) { return _mm_or_pd(a, b); }
  static int zeros(V x) { return _mm_movemask_pd(_mm_cmpeq_pd(x, _mm_setzero_pd())); }
};

template <class T>
using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

// level 0: 1 / x, the zeros reported.
template <class T>
struct InvZeroLevel {
  using L = RealLanes<T>;
  static constexpr size_t kLanes = 2 * L::kLanes;
  mutable int zeros = 0;
  void scalar(const T* s, T* d) const {
    const T x = *s;
    zeros |= x == T(0);
    *d = T(1) / x;
  }
  void block(const T* s, T* d) const {
    const typename L::V a = L::load(s), b = L::load(s + L::kLanes);
    zeros |= L::zeros(a) | L::zeros(b);
    L::store(d, L::recip(a));
    L::store(d + L::kLanes, L::recip(b));
  }
};

// level > 0 (or NaN): 1 / (max(|x|, level) with the sign of x).
template <class T>
struct InvRaised {
  using L = RealLanes<T>;
  using V = typename L::V;
  static constexpr size_t kLanes = 2 * L::kLanes;
  T level;
  V lv = L::set1(level);
  void scalar(const T* s, T* d) const {
    constexpr Bits<T> kSign = Bits<T>{1} << (8 * sizeof(T) - 1);
    const Bits<T> b = std::bit_cast<Bits<T>>(*s);
    const T a = std::bit_cast<T>(static_cast<Bits<T>>(b & ~kSign));
    const T m = a > level ? a : level;
    *d = T(1) / std::bit_cast<T>(static_cast<Bits<T>>(std::bit_cast<Bits<T>>(m) | (b & kSign)));
  }
  V one(V x) const {
    const V sign = L::sign();
    return L::recip(L::or_(L::max(L::andnot(sign, x), lv), L::and_(x, sign)));
  }
  void block(const T* s, T* d) const {
    const V a = L::load(s), b = L::load(s + L::kLanes);
    L::store(d, one(a));
    L::store(d + L::kLanes, one(b));
  }
};

// The plain kernel on one slice; true when it met a zero element at level 0.
template <class T>
bool inv_real(const T* s, T* d, size_t n, T level) {
  ExceptionsMasked masked;
  RoundingGuard nearest(Rounding::kNearest);
  if (level == T(0)) {
    InvZeroLevel<T> op;
    map_elements(op, s, d, n);
    return op.zeros != 0;
  }
  map_elements(InvRaised<T>{level}, s, d, n);
  return false;
}

// ---------------------------------------------------------------------------
// Complex: one element in precision W, and two per step in binary64.

// The general case: finite, non-zero |x|^2 = m.
template <class W>
inline void invert_ordinary(W re, W im, W m, W level, W level2, W& ore, W& oim) {
  const W den = !(m >= level2) ? std::sqrt(m) * level : m;  // raised to the level (a NaN level too)
  const W q = W(1) / den;
  ore = re * q;
  oim = -(im * q);
}

// Zeros, infinities and NaNs, in any precision. Returns false for the ordinary case.
template <class W>
inline bool invert_special(W re, W im, W m, W level, W& ore, W& oim, bool& flag) {
  if (m != m) {  // a NaN part (or a NaN from inf + nan): NaN in both parts
    const W nan = std::isnan(re) ? re + re : im + im;
    ore = nan, oim = nan;
    return true;
  }
  if (std::isinf(re) || std::isinf(im)) {
    ore = std::copysign(W(0), re);
    oim = std::copysign(W(0), -im);
    return true;
  }
  if (m == W(0)) {  // on the real axis, raised to the level
    if (level == W(0)) flag = true;
    ore = W(1) / std::copysign(level, re);
    oim = std::copysign(W(0), -im);
    return true;
  }
  return false;
}

template <class W>
inline void invert_one(W re, W im, W level, W level2, W& ore, W& oim, bool& flag) {
  const W m = re * re + im * im;
  if (!invert_special(re, im, m, level, ore, oim, flag)) invert_ordinary(re, im, m, level, level2, ore, oim);
}

constexpr double kSafeLow = 0x1p-960, kSafeHigh = 0x1p960;
inline bool safe_square(double s) { return s >= kSafeLow && s <= kSafeHigh; }

template <class C>
struct InvComplex;

template <>
struct InvComplex<Kpl32fc> {
  double level, level2;
  mutable bool flag = false;
  explicit InvComplex(Kpl32f l) : level(l), level2(double{l} * l) {}
  static constexpr size_t kLanes = 2;
  void scalar(const Kpl32fc* s, Kpl32fc* d) const {
    double re, im;
    invert_one<double>(s->re, s->im, level, level2, re, im, flag);
    d->re = static_cast<Kpl32f>(re), d->im = static_cast<Kpl32f>(im);
  }
  void block(const Kpl32fc* s, Kpl32fc* d) const {
    const __m128 a = load_f(s);
    const __m128d x0 = _mm_cvtps_pd(a), x1 = _mm_cvtps_pd(_mm_movehl_ps(a, a));
    const __m128d re = _mm_unpacklo_pd(x0, x1), im = _mm_unpackhi_pd(x0, x1);
    const __m128d m = _mm_add_pd(_mm_mul_pd(re, re), _mm_mul_pd(im, im));
    // Zero, infinite or NaN |x|^2 takes the element path.
    const __m128d ordinary = _mm_and_pd(_mm_cmpgt_pd(m, _mm_setzero_pd()), _mm_cmplt_pd(m, _mm_set1_pd(INFINITY)));
    if (_mm_movemask_pd(ordinary) != 3) {
      scalar(s, d), scalar(s + 1, d + 1);
      return;
    }
    const __m128d lv = _mm_set1_pd(level);
    const __m128d raised = _mm_cmpnge_pd(m, _mm_set1_pd(level2));
    const __m128d den = _mm_blendv_pd(m, _mm_mul_pd(_mm_sqrt_pd(m), lv), raised);
    const __m128d q = _mm_div_pd(_mm_set1_pd(1.0), den);
    const __m128d ore = _mm_mul_pd(re, q), oim = _mm_xor_pd(_mm_mul_pd(im, q), _mm_set1_pd(-0.0));
    const __m128 lo = _mm_cvtpd_ps(_mm_unpacklo_pd(ore, oim)), hi = _mm_cvtpd_ps(_mm_unpackhi_pd(ore, oim));
    store_f(d, _mm_movelh_ps(lo, hi));
  }
};

template <>
struct InvComplex<Kpl64fc> {
  double level, level2;
  long double level_x, level2_x;
  bool level_safe;
  mutable bool flag = false;
  explicit InvComplex(Kpl64f l)
      : level(l),
        level2(l * l),
        level_x(l),
        level2_x(static_cast<long double>(l) * l),
        level_safe(l == 0.0 || safe_square(l * l)) {}
  static constexpr size_t kLanes = 2;
  void scalar(const Kpl64fc* s, Kpl64fc* d) const {
    const double re = s->re, im = s->im, m = re * re + im * im;
    if (level_safe && safe_square(m)) {
      double ore, oim;
      invert_ordinary(re, im, m, level, level2, ore, oim);
      d->re = ore, d->im = oim;
      return;
    }
    long double ore, oim;
    invert_one<long double>(re, im, level_x, level2_x, ore, oim, flag);
    d->re = static_cast<Kpl64f>(ore), d->im = static_cast<Kpl64f>(oim);
  }
  void block(const Kpl64fc* s, Kpl64fc* d) const {
    const __m128d a = load_d(s), b = load_d(s + 1);
    const __m128d re = _mm_unpacklo_pd(a, b), im = _mm_unpackhi_pd(a, b);
    const __m128d m = _mm_add_pd(_mm_mul_pd(re, re), _mm_mul_pd(im, im));
    const __m128d safe = _mm_and_pd(_mm_cmpge_pd(m, _mm_set1_pd(kSafeLow)), _mm_cmple_pd(m, _mm_set1_pd(kSafeHigh)));
    if (!level_safe || _mm_movemask_pd(safe) != 3) {
      scalar(s, d), scalar(s + 1, d + 1);
      return;
    }
    const __m128d raised = _mm_cmpnge_pd(m, _mm_set1_pd(level2));
    const __m128d den = _mm_blendv_pd(m, _mm_mul_pd(_mm_sqrt_pd(m), _mm_set1_pd(level)), raised);
    const __m128d q = _mm_div_pd(_mm_set1_pd(1.0), den);
    const __m128d ore = _mm_mul_pd(re, q), oim = _mm_xor_pd(_mm_mul_pd(im, q), _mm_set1_pd(-0.0));
    store_d(d, _mm_unpacklo_pd(ore, oim));
    store_d(d + 1, _mm_unpackhi_pd(ore, oim));
  }
};

template <class C, class R>
bool inv_complex(const C* s, C* d, size_t n, R level) {
  ExceptionsMasked masked;
  RoundingGuard nearest(Rounding::kNearest);
  const InvComplex<C> op(level);
  map_elements(op, s, d, n);
  return op.flag;
}

// ---------------------------------------------------------------------------
// The entry: checks, the size class, the warning.

template <class T, class R>
KplStatus lt_inv(const T* s, T* d, int len, R level, size_t threaded_from) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (R(0) > level) return kplStsBadThreshold;  // a NaN level passes
  const auto n = static_cast<size_t>(len);
  auto kernel = [&](size_t begin, size_t count) {
    if constexpr (std::is_floating_point_v<T>) {
      return inv_real(s + begin, d + begin, count, level);
    } else {
      return inv_complex(s + begin, d + begin, count, level);
    }
  };
  if (n < threaded_from) return kernel(0, n) ? kplStsWarnInvZero : kplStsOk;
  return parallel_slices(n, TeamCap::kTwo, kernel) != 0 ? kplStsWarnDivByZero : kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl
using namespace kpl;

KplStatus KPL_IMPL(kplsThreshold_LTInv_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f level) { return lt_inv(pSrc, pDst, len, level, kInv32fFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_32f_I)(Kpl32f* pSrcDst, int len, Kpl32f level) { return lt_inv<Kpl32f>(pSrcDst, pSrcDst, len, level, kInv32fFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32f level) { return lt_inv(pSrc, pDst, len, level, kInv32fcFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_32fc_I)(Kpl32fc* pSrcDst, int len, Kpl32f level) { return lt_inv<Kpl32fc>(pSrcDst, pSrcDst, len, level, kInv32fcFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f level) { return lt_inv(pSrc, pDst, len, level, kInv64fFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_64f_I)(Kpl64f* pSrcDst, int len, Kpl64f level) { return lt_inv<Kpl64f>(pSrcDst, pSrcDst, len, level, kInv64fFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64f level) { return lt_inv(pSrc, pDst, len, level, kInv64fcFrom); }
KplStatus KPL_IMPL(kplsThreshold_LTInv_64fc_I)(Kpl64fc* pSrcDst, int len, Kpl64f level) { return lt_inv<Kpl64fc>(pSrcDst, pSrcDst, len, level, kInv64fcFrom); }
