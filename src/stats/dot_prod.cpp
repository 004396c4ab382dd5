// DotProd on floating data: products in the ordinary sense (no conjugate), summed
// in the fixed order of reduce_kernels.hpp. A complex product is kept as its four
// real products: re = sum(ar*br) - sum(ai*bi), im = sum(ar*bi) + sum(ai*br), each
// sum a stream of its own. The 64f results of single-precision data widen the
// inputs first, so their products are exact.
#include "stats/reduce_kernels.hpp"

namespace kpl {
inline namespace q5 {
namespace {

Kpl32f dot_32f(const Kpl32f* a, const Kpl32f* b, size_t n) {
  return sum8_32f(
      n,
      [&](size_t i, __m128& t0, __m128& t1) {
        t0 = _mm_mul_ps(load_f(a + i), load_f(b + i));
        t1 = _mm_mul_ps(load_f(a + i + 4), load_f(b + i + 4));
      },
      [&](size_t i) { return a[i] * b[i]; });
}

Kpl64f dot_64f(const Kpl64f* a, const Kpl64f* b, size_t n) {
  return sum8_64f(
      n,
      [&](size_t i, __m128d* t) {
        for (int j = 0; j < 4; ++j) t[j] = _mm_mul_pd(load_d(a + i + 2 * j), load_d(b + i + 2 * j));
      },
      [&](size_t i) { return a[i] * b[i]; });
}

__m128d widen2(const Kpl32f* p) { return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)))); }

Kpl64f dot_32f64f(const Kpl32f* a, const Kpl32f* b, size_t n) {
  return sum8_64f(
      n,
      [&](size_t i, __m128d* t) {
        for (int j = 0; j < 4; ++j) t[j] = _mm_mul_pd(widen2(a + i + 2 * j), widen2(b + i + 2 * j));
      },
      [&](size_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
}

// [ar*br, ai*bi] and [ar*bi, ai*br] of two complex elements a lane pair each.
Kpl32fc dot_32fc(const Kpl32fc* a, const Kpl32fc* b, size_t n) {
  float s[2][2];
  sum8_pairs_32f<2>(
      n,
      [&](size_t i, __m128 (*t)[4]) {
        for (int j = 0; j < 4; ++j) {
          const __m128 x = load_f(a + i + 2 * j), y = load_f(b + i + 2 * j);
          t[0][j] = _mm_mul_ps(x, y);
          t[1][j] = _mm_mul_ps(x, _mm_shuffle_ps(y, y, _MM_SHUFFLE(2, 3, 0, 1)));
        }
      },
      [&](size_t i, float (*t)[2]) {
        t[0][0] = a[i].re * b[i].re, t[0][1] = a[i].im * b[i].im;
        t[1][0] = a[i].re * b[i].im, t[1][1] = a[i].im * b[i].re;
      },
      s);
  return {s[0][0] - s[0][1], s[1][0] + s[1][1]};
}

Kpl32fc dot_32f32fc(const Kpl32f* a, const Kpl32fc* b, size_t n) {
  float s[1][2];
  sum8_pairs_32f<1>(
      n,
      [&](size_t i, __m128 (*t)[4]) {
        for (int j = 0; j < 4; ++j) {
          const __m128 x = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + i + 2 * j)));
          t[0][j] = _mm_mul_ps(_mm_unpacklo_ps(x, x), load_f(b + i + 2 * j));
        }
      },
      [&](size_t i, float (*t)[2]) { t[0][0] = a[i] * b[i].re, t[0][1] = a[i] * b[i].im; },
      s);
  return {s[0][0], s[0][1]};
}

// Kpl64fc results: one element a vector, four partial sums per stream.
inline __m128d swap_parts(__m128d v) { return _mm_shuffle_pd(v, v, 1); }

template <class A>
Kpl64fc dot_complex_64fc(const A* a, const A* b, size_t n) {
  __m128d acc[2][4];
  sum4_pairs_64f<2>(n, [&](size_t i, __m128d* t) {
    const __m128d x = complex_at(Elements<A>{a}, i), y = complex_at(Elements<A>{b}, i);
    t[0] = _mm_mul_pd(x, y);
    t[1] = _mm_mul_pd(x, swap_parts(y));
  }, acc);
  const __m128d p = fold4(acc[0]), q = fold4(acc[1]);
  return {_mm_cvtsd_f64(_mm_sub_sd(p, _mm_unpackhi_pd(p, p))), _mm_cvtsd_f64(_mm_add_sd(q, _mm_unpackhi_pd(q, q)))};
}

template <class R, class C>
Kpl64fc dot_real_complex_64fc(const R* a, const C* b, size_t n) {
  __m128d acc[1][4];
  sum4_pairs_64f<1>(n, [&](size_t i, __m128d* t) {
    t[0] = _mm_mul_pd(_mm_set1_pd(static_cast<double>(a[i])), complex_at(Elements<C>{b}, i));
  }, acc);
  const __m128d p = fold4(acc[0]);
  return {_mm_cvtsd_f64(p), _mm_cvtsd_f64(_mm_unpackhi_pd(p, p))};
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsDotProd_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, int len, Kpl32f* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_32f(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, int len, Kpl32fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_32fc(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32f32fc)(const Kpl32f* pSrc1, const Kpl32fc* pSrc2, int len, Kpl32fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_32f32fc(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, int len, Kpl64f* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_64f(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_64fc)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, int len, Kpl64fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_complex_64fc(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_64f64fc)(const Kpl64f* pSrc1, const Kpl64fc* pSrc2, int len, Kpl64fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_real_complex_64fc(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32f64f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, int len, Kpl64f* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_32f64f(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32fc64fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, int len, Kpl64fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_complex_64fc(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32f32fc64fc)(const Kpl32f* pSrc1, const Kpl32fc* pSrc2, int len, Kpl64fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_real_complex_64fc(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
