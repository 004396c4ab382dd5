// What Magnitude, Phase, PowerSpectr and the polar conversions share: every
// element is taken to binary64 lanes (exact for every source type), an operation
// works on two lanes at a time, and the result is rounded once into the
// destination type. atan2 and sin/cos are polynomials here; an integer
// destination gets values that are already whole and inside its range.
//
// The scalar path of every loop runs the same vector operation on one element,
// so a result never depends on the length or the alignment of a call.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// How closely an operation follows the true function: kSingle for results stored
// as binary32 (relative error below 2^-33 before the final rounding), kDouble for
// binary64 and integer results (below 2^-56 from the polynomials).
enum class Accuracy { kSingle, kDouble };

namespace polar {

inline __m128d splat(double v) { return _mm_set1_pd(v); }
inline __m128d abs_of(__m128d x) { return _mm_andnot_pd(splat(-0.0), x); }
inline __m128d sign_of(__m128d x) { return _mm_and_pd(splat(-0.0), x); }
// mask ? a : b, lane by lane.
inline __m128d pick(__m128d mask, __m128d a, __m128d b) { return _mm_blendv_pd(b, a, mask); }
// All ones in the lanes whose sign bit is set (negative zero and NaN too).
inline __m128d sign_mask(__m128d x) {
  return _mm_castsi128_pd(_mm_cmpgt_epi64(_mm_setzero_si128(), _mm_castpd_si128(x)));
}

template <size_t N>
inline __m128d horner(__m128d w, const double (&c)[N]) {
  __m128d acc = splat(c[0]);
  for (size_t k = 1; k < N; ++k) acc = _mm_add_pd(_mm_mul_pd(acc, w), splat(c[k]));
  return acc;
}

// atan(z) = z + z w g(w), w = z^2, |z| <= tan(pi/8): g fitted at Chebyshev nodes,
// highest power first.
constexpr double kAtanSingle[] = {0.050481385120797445, -0.08624676145249494, 0.11071365021884794,
                                  -0.14284151193628614, 0.19999977258688387,  -0.333333332792548};
constexpr double kAtanDouble[] = {-0.01917688711906226, 0.03923165829558719,  -0.0508544973794026,
                                  0.0585814891280221,   -0.06664511447381948, 0.07692183190826087,
                                  -0.09090904578123903, 0.11111111015256361,  -0.14285714284666542,
                                  0.1999999999999552,   -0.3333333333333333};
// sin(r) = r + r w s(w) and cos(r) = 1 - w/2 + w^2 c(w), w = r^2, |r| <= pi/4.
constexpr double kSinSingle[] = {2.724992580305979e-06, -0.00019840086735384846, 0.008333331874710208,
                                 -0.1666666666385529};
constexpr double kSinDouble[] = {-7.586697117706918e-13, 1.6058531618986147e-10, -2.5052106232447578e-08,
                                 2.7557319219339167e-06, -0.00019841269841265065, 0.008333333333333331,
                                 -0.16666666666666666};
constexpr double kCosSingle[] = {-2.730095920390147e-07, 2.480060037715673e-05, -0.001388888767201679,
                                 0.0416666666643212};
constexpr double kCosDouble[] = {4.7458719020432915e-14, -1.1470460887609959e-11, 2.087675579108042e-09,
                                 -2.7557319221402824e-07, 2.4801587301584645e-05, -0.0013888888888888887,
                                 0.041666666666666664};

constexpr double kTanPi8 = 0.41421356237309503;
// pi/4 = kQuarterPiHi + kQuarterPiLo; the high part has its last three bits
// clear, so k * kQuarterPiHi is exact for k up to 4.
constexpr double kQuarterPiHi = 0x1.921fb54442d18p-1;
constexpr double kQuarterPiLo = 3.061616997868383e-17;
// pi/2 in three parts of which the first two have 33 bits: q * part is exact
// for q below 2^20.
constexpr double kHalfPi1 = 0x1.921fb54400000p+0;
constexpr double kHalfPi2 = 0x1.0b4611a600000p-34;
constexpr double kHalfPi3 = 0x1.3198a2e037073p-69;
constexpr double kTwoOverPi = 0.63661977236758138;
// Beyond this the reduction above loses its exactness: such lanes (and the
// infinite and NaN ones) take the standard library's sin and cos.
constexpr double kSinCosReduceLimit = 0x1p19;
// Below this sin(x) rounds to x and cos(x) to 1.
constexpr double kSinCosTiny = 0x1p-27;

}  // namespace polar

// atan2(y, x) in radians, lane by lane, with the C library's conventions: signed
// zeros keep their sign in the result (atan2(-0, -1) is -pi), infinities give the
// multiples of pi/4, a NaN gives NaN. Wide inputs may be anywhere in the binary64
// range; narrow ones (converted from 32-bit types) stay far inside it.
template <Accuracy A, bool kWide>
inline __m128d atan2_lanes(__m128d y, __m128d x) {
  using namespace polar;
  const __m128d one = splat(1.0), inf = splat(INFINITY);
  const __m128d ax = abs_of(x), ay = abs_of(y);
  const __m128d swap = _mm_cmpgt_pd(ay, ax);  // the angle is taken from the y axis
  __m128d num = pick(swap, ax, ay), den = pick(swap, ay, ax);
  const __m128d both_inf = _mm_and_pd(_mm_cmpeq_pd(ax, inf), _mm_cmpeq_pd(ay, inf));
  num = pick(both_inf, one, num);
  den = pick(both_inf, one, den);
  den = pick(_mm_cmpeq_pd(den, _mm_setzero_pd()), one, den);  // both zero: 0 / 1
  if constexpr (kWide) {
    // num + den below must stay finite; halving is exact this high up.
    const __m128d f = pick(_mm_cmpge_pd(den, splat(0x1p1022)), splat(0.5), one);
    num = _mm_mul_pd(num, f);
    den = _mm_mul_pd(den, f);
  }
  // Above tan(pi/8) the ratio t is taken as pi/4 + atan((t - 1) / (t + 1)).
  const __m128d reduce = _mm_cmpgt_pd(num, _mm_mul_pd(den, splat(kTanPi8)));
  const __m128d z = _mm_div_pd(pick(reduce, _mm_sub_pd(num, den), num), pick(reduce, _mm_add_pd(num, den), den));
  // The angle is k pi/4 +- atan(z): k from the octant, the sign flipped when
  // exactly one of "from the y axis" and "x negative" holds.
  const __m128d xneg = sign_mask(x);
  const __m128d flip = _mm_and_pd(_mm_xor_pd(swap, xneg), splat(-0.0));
  const __m128d k = _mm_add_pd(_mm_add_pd(_mm_and_pd(swap, splat(2.0)), _mm_andnot_pd(swap, _mm_and_pd(xneg, splat(4.0)))),
                               _mm_xor_pd(_mm_and_pd(reduce, one), flip));
  const __m128d zs = _mm_xor_pd(z, flip);
  const __m128d w = _mm_mul_pd(zs, zs);
  const __m128d g = A == Accuracy::kSingle ? horner(w, kAtanSingle) : horner(w, kAtanDouble);
  const __m128d tail = _mm_add_pd(_mm_mul_pd(_mm_mul_pd(zs, w), g), _mm_mul_pd(k, splat(kQuarterPiLo)));
  const __m128d angle = _mm_add_pd(_mm_mul_pd(k, splat(kQuarterPiHi)), _mm_add_pd(zs, tail));
  return _mm_or_pd(angle, sign_of(y));  // angle >= 0 here: y gives the sign
}

// sin and cos of every lane.
template <Accuracy A>
inline void sincos_lanes(__m128d x, __m128d& sin_out, __m128d& cos_out) {
  using namespace polar;
  const __m128d q = _mm_round_pd(_mm_mul_pd(x, splat(kTwoOverPi)), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  // x - q pi/2 as r + lo: the first product and difference are exact, the
  // rounding error of the second difference is kept in lo (binary64 only).
  const __m128d r1 = _mm_sub_pd(x, _mm_mul_pd(q, splat(kHalfPi1)));
  const __m128d q2 = _mm_mul_pd(q, splat(kHalfPi2)), q3 = _mm_mul_pd(q, splat(kHalfPi3));
  const __m128d r2 = _mm_sub_pd(r1, q2);
  const __m128d r = _mm_sub_pd(r2, q3);
  const __m128d w = _mm_mul_pd(r, r);
  const __m128d sp = A == Accuracy::kSingle ? horner(w, kSinSingle) : horner(w, kSinDouble);
  const __m128d cp = A == Accuracy::kSingle ? horner(w, kCosSingle) : horner(w, kCosDouble);
  __m128d s_tail = _mm_mul_pd(_mm_mul_pd(r, w), sp);
  __m128d c_tail = _mm_mul_pd(_mm_mul_pd(w, w), cp);
  if constexpr (A == Accuracy::kDouble) {
    // sin(r + lo) = sin r + lo cos r, cos(r + lo) = cos r - lo sin r, to first order.
    const __m128d lo = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(r1, r2), q2), _mm_sub_pd(q3, _mm_sub_pd(r2, r)));
    s_tail = _mm_add_pd(s_tail, _mm_mul_pd(lo, _mm_sub_pd(splat(1.0), _mm_mul_pd(splat(0.5), w))));  // lo cos r
    c_tail = _mm_sub_pd(c_tail, _mm_mul_pd(lo, r));
  }
  const __m128d s = _mm_add_pd(r, s_tail);
  // 1 - w/2 rounds; its error joins the tail.
  const __m128d hw = _mm_mul_pd(splat(0.5), w), t = _mm_sub_pd(splat(1.0), hw);
  const __m128d c = _mm_add_pd(t, _mm_add_pd(_mm_sub_pd(_mm_sub_pd(splat(1.0), t), hw), c_tail));
  // Quadrant q mod 4: (sin, cos) = (s, c), (c, -s), (-s, -c), (-c, s). Lanes out
  // of the reduction's range are replaced below, whatever q holds there.
  const __m128d qc = pick(_mm_cmple_pd(abs_of(x), splat(kSinCosReduceLimit)), q, _mm_setzero_pd());
  const __m128i qi = _mm_cvtepi32_epi64(_mm_cvttpd_epi32(qc));
  const __m128d odd = _mm_castsi128_pd(_mm_cmpeq_epi64(_mm_and_si128(qi, _mm_set1_epi64x(1)), _mm_set1_epi64x(1)));
  const __m128i half = _mm_set1_epi64x(2);
  const __m128d sin_neg = _mm_castsi128_pd(_mm_slli_epi64(_mm_and_si128(qi, half), 62));
  const __m128d cos_neg = _mm_castsi128_pd(_mm_slli_epi64(_mm_and_si128(_mm_add_epi64(qi, _mm_set1_epi64x(1)), half), 62));
  __m128d sv = _mm_xor_pd(pick(odd, c, s), sin_neg);
  __m128d cv = _mm_xor_pd(pick(odd, s, c), cos_neg);
  const __m128d tiny = _mm_cmplt_pd(abs_of(x), splat(kSinCosTiny));  // keeps sin(-0) = -0
  sv = pick(tiny, x, sv);
  cv = pick(tiny, splat(1.0), cv);
  const int far = _mm_movemask_pd(_mm_cmpnle_pd(abs_of(x), splat(kSinCosReduceLimit)));  // NaN too
  if (far != 0) {
    alignas(16) double xs[2], ss[2], cs[2];
    _mm_store_pd(xs, x), _mm_store_pd(ss, sv), _mm_store_pd(cs, cv);
    for (int j = 0; j < 2; ++j)
      if (far & (1 << j)) ss[j] = std::sin(xs[j]), cs[j] = std::cos(xs[j]);
    sv = _mm_load_pd(ss), cv = _mm_load_pd(cs);
  }
  sin_out = sv;
  cos_out = cv;
}

// Nearest whole number, ties to even, whatever the caller's rounding control.
inline __m128d round_even(__m128d v) { return _mm_round_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }

// Nearest whole number, ties away from zero, exactly: the fraction left by
// truncation is exact, so no addition of 0.5 can round up a value just below a
// half.
inline __m128d round_away(__m128d v) {
  using namespace polar;
  const __m128d t = _mm_round_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m128d up = _mm_cmpge_pd(abs_of(_mm_sub_pd(v, t)), splat(0.5));
  return _mm_add_pd(t, _mm_and_pd(up, _mm_or_pd(splat(1.0), sign_of(v))));
}

inline __m128d clamp_lanes(__m128d v, double lo, double hi) {
  return _mm_min_pd(_mm_max_pd(v, polar::splat(lo)), polar::splat(hi));
}

// ---------------------------------------------------------------------------
// Sources: pairs of values as binary64 lanes, four elements (two vectors of two)
// at a time or one element (in every lane).

template <class T>
inline void widen4(const T* p, __m128d* out);
template <>
inline void widen4(const Kpl32f* p, __m128d* out) {
  const __m128 v = load_f(p);
  out[0] = _mm_cvtps_pd(v), out[1] = _mm_cvtps_pd(_mm_movehl_ps(v, v));
}
template <>
inline void widen4(const Kpl64f* p, __m128d* out) {
  out[0] = load_d(p), out[1] = load_d(p + 2);
}
template <>
inline void widen4(const Kpl16s* p, __m128d* out) {
  const __m128i v = _mm_cvtepi16_epi32(_mm_loadl_epi64(static_cast<const __m128i*>(static_cast<const void*>(p))));
  out[0] = _mm_cvtepi32_pd(v), out[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v));
}
template <>
inline void widen4(const Kpl32s* p, __m128d* out) {
  const __m128i v = load_i(p);
  out[0] = _mm_cvtepi32_pd(v), out[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v));
}

// Two vectors, the first read as "re" and the second as "im" (or magnitude and phase).
template <class T>
struct SplitSource {
  const T* re;
  const T* im;
  SplitSource at(size_t i) const { return {re + i, im + i}; }
  void load4(size_t i, __m128d* r, __m128d* m) const { widen4(re + i, r), widen4(im + i, m); }
  void load1(size_t i, __m128d& r, __m128d& m) const {
    r = _mm_set1_pd(static_cast<double>(load_raw<T>(re + i)));
    m = _mm_set1_pd(static_cast<double>(load_raw<T>(im + i)));
  }
};

// One vector of complex elements.
template <class C>
struct ComplexSource {
  using R = decltype(C::re);
  const C* p;
  ComplexSource at(size_t i) const { return {p + i}; }
  void load4(size_t i, __m128d* r, __m128d* m) const {
    const C* q = p + i;
    if constexpr (sizeof(R) == 4) {
      // (r0 i0 r1 i1) (r2 i2 r3 i3) split into (r0 r1 r2 r3) and (i0 i1 i2 i3).
      const __m128 a = _mm_castsi128_ps(load_i(q)), b = _mm_castsi128_ps(load_i(q + 2));
      const __m128 re = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), im = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
      if constexpr (std::is_floating_point_v<R>) {
        r[0] = _mm_cvtps_pd(re), r[1] = _mm_cvtps_pd(_mm_movehl_ps(re, re));
        m[0] = _mm_cvtps_pd(im), m[1] = _mm_cvtps_pd(_mm_movehl_ps(im, im));
      } else {
        const __m128i ri = _mm_castps_si128(re), ii = _mm_castps_si128(im);
        r[0] = _mm_cvtepi32_pd(ri), r[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(ri, ri));
        m[0] = _mm_cvtepi32_pd(ii), m[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(ii, ii));
      }
    } else if constexpr (sizeof(R) == 8) {
      const __m128d z0 = load_d(q), z1 = load_d(q + 1), z2 = load_d(q + 2), z3 = load_d(q + 3);
      r[0] = _mm_unpacklo_pd(z0, z1), m[0] = _mm_unpackhi_pd(z0, z1);
      r[1] = _mm_unpacklo_pd(z2, z3), m[1] = _mm_unpackhi_pd(z2, z3);
    } else {
      static_assert(sizeof(R) == 2);
      const __m128i v = load_i(q);
      const __m128i re = _mm_srai_epi32(_mm_slli_epi32(v, 16), 16), im = _mm_srai_epi32(v, 16);
      r[0] = _mm_cvtepi32_pd(re), r[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(re, re));
      m[0] = _mm_cvtepi32_pd(im), m[1] = _mm_cvtepi32_pd(_mm_unpackhi_epi64(im, im));
    }
  }
  void load1(size_t i, __m128d& r, __m128d& m) const {
    const C z = load_raw<C>(p + i);
    r = _mm_set1_pd(static_cast<double>(z.re));
    m = _mm_set1_pd(static_cast<double>(z.im));
  }
};

// ---------------------------------------------------------------------------
// Destinations: four results from two vectors of binary64 lanes, or lane 0 of one.
// Integer destinations receive whole values already inside their range.

inline void narrow4(Kpl32f* d, const __m128d* v) {
  store_f(d, _mm_movelh_ps(_mm_cvtpd_ps(v[0]), _mm_cvtpd_ps(v[1])));
}
inline void narrow4(Kpl64f* d, const __m128d* v) { store_d(d, v[0]), store_d(d + 2, v[1]); }
inline __m128i whole4(const __m128d* v) { return _mm_unpacklo_epi64(_mm_cvttpd_epi32(v[0]), _mm_cvttpd_epi32(v[1])); }
inline void narrow4(Kpl16s* d, const __m128d* v) {
  const __m128i w = whole4(v);
  _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(d)), _mm_packs_epi32(w, w));
}
inline void narrow4(Kpl32s* d, const __m128d* v) { store_i(d, whole4(v)); }

template <class T>
inline void narrow1(T* d, __m128d v) {
  if constexpr (std::is_floating_point_v<T>) {
    store_raw(d, static_cast<T>(_mm_cvtsd_f64(v)));
  } else {
    store_raw(d, static_cast<T>(_mm_cvttsd_si32(v)));
  }
}

// d[i] = op(re_i, im_i) for the n elements of src.
template <class Src, class D, class Op>
inline void map_pairs(const Src& src, D* d, size_t n, const Op& op) {
  for_blocks<4>(
      d, n,
      [&](size_t i) {
        __m128d r, m;
        src.load1(i, r, m);
        narrow1(d + i, op(r, m));
      },
      [&](size_t i) {
        __m128d r[2], m[2];
        src.load4(i, r, m);
        const __m128d v[2] = {op(r[0], m[0]), op(r[1], m[1])};
        narrow4(d + i, v);
      });
}

}  // namespace q5
}  // namespace kpl
