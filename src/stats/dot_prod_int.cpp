// DotProd on integer data: every sum exact (64 bits for 16-bit data, 128 bits
// where the products are wider), then converted to float or scaled by the
// scale-factor rule per part. DotProd_32s_Sfs alone works in double.
#include <algorithm>
#include <bit>

#include "frame/rounding.hpp"
#include "frame/scale.hpp"
#include "stats/reduce_kernels.hpp"

namespace kpl {
inline namespace q5 {
namespace {

using i128 = __int128;

template <class W>
struct Exact {
  W re, im;
};

// A term of 16sc data is at most 2^31 in magnitude, so 64 bits hold any sum.
Exact<int64_t> dot_16sc(const Kpl16sc* a, const Kpl16sc* b, size_t n) {
  int64_t re = 0, im = 0;
  for (size_t i = 0; i < n; ++i) {
    re += int64_t{a[i].re} * b[i].re - int64_t{a[i].im} * b[i].im;
    im += int64_t{a[i].re} * b[i].im + int64_t{a[i].im} * b[i].re;
  }
  return {re, im};
}

Exact<int64_t> dot_16s16sc(const Kpl16s* a, const Kpl16sc* b, size_t n) {
  int64_t re = 0, im = 0;
  for (size_t i = 0; i < n; ++i) {
    re += int32_t{a[i]} * b[i].re;
    im += int32_t{a[i]} * b[i].im;
  }
  return {re, im};
}

// 16s by 32s: products up to 2^46, summed in 64 bits by blocks that cannot
// overflow, the blocks in 128 bits.
constexpr size_t kBlock16s32s = size_t{1} << 16;

i128 dot_16s32s(const Kpl16s* a, const Kpl32s* b, size_t n) {
  i128 s = 0;
  for (size_t k = 0; k < n; k += kBlock16s32s) {
    const size_t end = std::min(n, k + kBlock16s32s);
    int64_t block = 0;
    for (size_t i = k; i < end; ++i) block += int64_t{a[i]} * b[i];
    s += block;
  }
  return s;
}

Exact<i128> dot_32sc(const Kpl32sc* a, const Kpl32sc* b, size_t n) {
  i128 re = 0, im = 0;
  for (size_t i = 0; i < n; ++i) {
    re += int64_t{a[i].re} * b[i].re, re -= int64_t{a[i].im} * b[i].im;
    im += int64_t{a[i].re} * b[i].im, im += int64_t{a[i].im} * b[i].re;
  }
  return {re, im};
}

Exact<i128> dot_32s32sc(const Kpl32s* a, const Kpl32sc* b, size_t n) {
  i128 re = 0, im = 0;
  for (size_t i = 0; i < n; ++i) re += int64_t{a[i]} * b[i].re, im += int64_t{a[i]} * b[i].im;
  return {re, im};
}

template <class D, class W>
D scaled_parts(Exact<W> x, int sf) {
  return {scale_exact<decltype(D::re)>(x.re, sf), scale_exact<decltype(D::re)>(x.im, sf)};
}
template <class D, class W>
D float_parts(Exact<W> x) {
  return {static_cast<decltype(D::re)>(x.re), static_cast<decltype(D::re)>(x.im)};
}

// DotProd_32s_Sfs: products and sum in double (products past 2^53 lose their low
// bits, by design), times 2^-s built from exponent bits with s clamped to
// [-31, 93], clamped to the 32-bit range and rounded to nearest even whatever the
// caller's rounding mode.
constexpr int kDot32sLowestScale = -31, kDot32sHighestScale = 93;

Kpl32s dot_32s_sfs(const Kpl32s* a, const Kpl32s* b, size_t n, int sf) {
  auto pair = [](const Kpl32s* p) { return _mm_cvtepi32_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); };
  const double sum = sum8_64f(
      n,
      [&](size_t i, __m128d* t) {
        for (int j = 0; j < 4; ++j) t[j] = _mm_mul_pd(pair(a + i + 2 * j), pair(b + i + 2 * j));
      },
      [&](size_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
  const int c = std::clamp(sf, kDot32sLowestScale, kDot32sHighestScale);
  const double factor = std::bit_cast<double>(static_cast<uint64_t>(0x3ff - c) << 52);  // 1.0 at c = 0
  const double v = std::clamp(sum * factor, -2147483648.0, 2147483647.0);
  RoundingGuard nearest(Rounding::kNearest);
  return _mm_cvtsd_si32(_mm_set_sd(v));
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsDotProd_16s64s)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl64s* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_16s(pSrc1, pSrc2, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16sc64sc)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, int len, Kpl64sc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { const auto x = dot_16sc(pSrc1, pSrc2, n); return Kpl64sc{x.re, x.im}; }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s16sc64sc)(const Kpl16s* pSrc1, const Kpl16sc* pSrc2, int len, Kpl64sc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { const auto x = dot_16s16sc(pSrc1, pSrc2, n); return Kpl64sc{x.re, x.im}; }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32f* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return static_cast<Kpl32f>(dot_16s(pSrc1, pSrc2, n)); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16sc32fc)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, int len, Kpl32fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return float_parts<Kpl32fc>(dot_16sc(pSrc1, pSrc2, n)); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s16sc32fc)(const Kpl16s* pSrc1, const Kpl16sc* pSrc2, int len, Kpl32fc* pDp) {
  return reduce_into(pDp, len, [=](size_t n) { return float_parts<Kpl32fc>(dot_16s16sc(pSrc1, pSrc2, n)); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl16s* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scale_exact<Kpl16s>(dot_16s(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16sc_Sfs)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, int len, Kpl16sc* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scaled_parts<Kpl16sc>(dot_16sc(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s16sc_Sfs)(const Kpl16s* pSrc1, const Kpl16sc* pSrc2, int len, Kpl16sc* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scaled_parts<Kpl16sc>(dot_16s16sc(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s32s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32s* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scale_exact<Kpl32s>(dot_16s(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16sc32sc_Sfs)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, int len, Kpl32sc* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scaled_parts<Kpl32sc>(dot_16sc(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s16sc32sc_Sfs)(const Kpl16s* pSrc1, const Kpl16sc* pSrc2, int len, Kpl32sc* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scaled_parts<Kpl32sc>(dot_16s16sc(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_16s32s32s_Sfs)(const Kpl16s* pSrc1, const Kpl32s* pSrc2, int len, Kpl32s* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scale_exact<Kpl32s>(dot_16s32s(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, int len, Kpl32s* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return dot_32s_sfs(pSrc1, pSrc2, n, scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32sc_Sfs)(const Kpl32sc* pSrc1, const Kpl32sc* pSrc2, int len, Kpl32sc* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scaled_parts<Kpl32sc>(dot_32sc(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsDotProd_32s32sc_Sfs)(const Kpl32s* pSrc1, const Kpl32sc* pSrc2, int len, Kpl32sc* pDp, int scaleFactor) {
  return reduce_into(pDp, len, [=](size_t n) { return scaled_parts<Kpl32sc>(dot_32s32sc(pSrc1, pSrc2, n), scaleFactor); }, pSrc1, pSrc2);
}
// The unscaled twin of DotProd_16s16sc32sc_Sfs: scale factor 0, saturated.
KplStatus KPL_IMPL(kplsDotProd_16s16sc32sc)(const Kpl16s* pSrc1, const Kpl16sc* pSrc2, int len, Kpl32sc* pDp) {
  return KPL_IMPL(kplsDotProd_16s16sc32sc_Sfs)(pSrc1, pSrc2, len, pDp, 0);
}
