// DotProd: every entry against a reference written here. Float forms bit for bit
// against a plain model of their order (each stream of products into partial sum
// i mod 8, or mod 4 for Kpl64fc results, the upper half folded onto the lower;
// complex re = sum(ar*br) - sum(ai*bi), im = sum(ar*bi) + sum(ai*br)); integer
// forms against exact 128-bit sums and the scale-factor rule, DotProd_32s_Sfs
// against its double model. Then the edges and the order of the checks.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"
#include "stats/reduction_cases.hpp"

using namespace kpltest;

namespace {


// ---- References ----

// Parts as doubles (widened where the source is single precision).
struct CD {
  double re, im;
};
template <class T>
CD parts(T z) {
  if constexpr (std::is_arithmetic_v<T>) return {static_cast<double>(z), 0.0};
  else return {static_cast<double>(z.re), static_cast<double>(z.im)};
}

template <class T>
T ref_real(const T* a, const T* b, size_t n, int) {
  std::vector<T> t;
  for (size_t i = 0; i < n; ++i) t.push_back(a[i] * b[i]);
  return ordered<8>(t);
}
Kpl64f ref_32f64f(const Kpl32f* a, const Kpl32f* b, size_t n, int) {
  std::vector<double> t;
  for (size_t i = 0; i < n; ++i) t.push_back(double{a[i]} * double{b[i]});
  return ordered<8>(t);
}
Kpl32fc ref_32fc(const Kpl32fc* a, const Kpl32fc* b, size_t n, int) {
  std::vector<float> rr, ii, ri, ir;
  for (size_t i = 0; i < n; ++i) {
    rr.push_back(a[i].re * b[i].re), ii.push_back(a[i].im * b[i].im);
    ri.push_back(a[i].re * b[i].im), ir.push_back(a[i].im * b[i].re);
  }
  return {ordered<8>(rr) - ordered<8>(ii), ordered<8>(ri) + ordered<8>(ir)};
}
Kpl32fc ref_32f32fc(const Kpl32f* a, const Kpl32fc* b, size_t n, int) {
  std::vector<float> re, im;
  for (size_t i = 0; i < n; ++i) re.push_back(a[i] * b[i].re), im.push_back(a[i] * b[i].im);
  return {ordered<8>(re), ordered<8>(im)};
}
// Kpl64fc results, from any complex or real first source: four partials a stream.
template <class A, class B>
Kpl64fc ref_64fc(const A* a, const B* b, size_t n, int) {
  std::vector<double> rr, ii, ri, ir;
  for (size_t i = 0; i < n; ++i) {
    const CD x = parts(a[i]), y = parts(b[i]);
    rr.push_back(x.re * y.re), ii.push_back(x.im * y.im), ri.push_back(x.re * y.im), ir.push_back(x.im * y.re);
  }
  if constexpr (std::is_arithmetic_v<A>) return {ordered<4>(rr), ordered<4>(ri)};  // no imaginary part to subtract
  else return {ordered<4>(rr) - ordered<4>(ii), ordered<4>(ri) + ordered<4>(ir)};
}

// Exact sums.
struct XI {
  i128 re, im;
};
template <class T>
XI iparts(T z) {
  if constexpr (std::is_arithmetic_v<T>) return {z, 0};
  else return {z.re, z.im};
}
template <class A, class B>
XI exact(const A* a, const B* b, size_t n) {
  XI s{0, 0};
  for (size_t i = 0; i < n; ++i) {
    const XI x = iparts(a[i]), y = iparts(b[i]);
    s.re += x.re * y.re - x.im * y.im;
    s.im += x.re * y.im + x.im * y.re;
  }
  return s;
}

template <class R, class A, class B>
R ref_int(const A* a, const B* b, size_t n, int s) {
  const XI x = exact(a, b, n);
  if constexpr (std::is_same_v<R, Kpl64s>) return static_cast<Kpl64s>(x.re);
  else if constexpr (std::is_same_v<R, Kpl64sc>) return {static_cast<Kpl64s>(x.re), static_cast<Kpl64s>(x.im)};
  else if constexpr (std::is_same_v<R, Kpl32f>) return static_cast<Kpl32f>(static_cast<int64_t>(x.re));
  else if constexpr (std::is_same_v<R, Kpl32fc>) return {static_cast<Kpl32f>(static_cast<int64_t>(x.re)), static_cast<Kpl32f>(static_cast<int64_t>(x.im))};
  else if constexpr (std::is_arithmetic_v<R>) return scaled<R>(x.re, s);
  else return {scaled<decltype(R::re)>(x.re, s), scaled<decltype(R::re)>(x.im, s)};
}

double nearest_even(double x) {
  double f = std::floor(x);
  const double d = x - f;
  if (d > 0.5 || (d == 0.5 && std::fmod(f, 2.0) != 0)) f += 1;
  return f;
}
// Products and sum in double, times 2^-s with s clamped to [-31, 93], clamped,
// to nearest even.
Kpl32s ref_32s(const Kpl32s* a, const Kpl32s* b, size_t n, int s) {
  std::vector<double> t;
  for (size_t i = 0; i < n; ++i) t.push_back(double(a[i]) * double(b[i]));
  const double v = ordered<8>(t) * std::ldexp(1.0, -std::clamp(s, -31, 93));
  return static_cast<Kpl32s>(nearest_even(std::clamp(v, -2147483648.0, 2147483647.0)));
}

// ---- Values ----


// ---- Entries described for the sweep ----

template <auto E, class A_, class B_, class R_, auto Ref, bool Scaled>
struct Case {
  using A = A_;
  using B = B_;
  using R = R_;
  static constexpr bool scaled = Scaled;
  static constexpr size_t len_index = 2;
  static constexpr auto entry = E;
  static R ref(const A* a, const B* b, size_t n, int s) { return Ref(a, b, n, s); }
  static KplStatus call(const A* a, const B* b, int n, R* r, int s) {
    if constexpr (Scaled) return E(a, b, n, r, s); else return E(a, b, n, r);
  }
  static auto good(const A* a, const B* b, R* r) {
    if constexpr (Scaled) return std::make_tuple(a, b, 4, r, 3); else return std::make_tuple(a, b, 4, r);
  }
};


// Every length and pair of offsets, the scale factor moving through -40..40 and
// the extremes from call to call.
template <class C>
void sweep_case() {
  const std::vector<int>& scales = scale_factors();
  size_t k = 0;
  bool ok = true;
  sweep2([&](size_t len, size_t oa, size_t ob) {
    const int s = C::scaled ? scales[k % scales.size()] : 0;
    ++k;
    if (ok) ok = run_once<C>(len, oa, ob, s, len * 1000003u + oa * 1009u + ob * 31u + k);
  });
}



using FloatCases = ::testing::Types<
    Case<kplsDotProd_32f, Kpl32f, Kpl32f, Kpl32f, ref_real<Kpl32f>, false>,
    Case<kplsDotProd_32fc, Kpl32fc, Kpl32fc, Kpl32fc, ref_32fc, false>,
    Case<kplsDotProd_32f32fc, Kpl32f, Kpl32fc, Kpl32fc, ref_32f32fc, false>,
    Case<kplsDotProd_64f, Kpl64f, Kpl64f, Kpl64f, ref_real<Kpl64f>, false>,
    Case<kplsDotProd_64fc, Kpl64fc, Kpl64fc, Kpl64fc, ref_64fc<Kpl64fc, Kpl64fc>, false>,
    Case<kplsDotProd_64f64fc, Kpl64f, Kpl64fc, Kpl64fc, ref_64fc<Kpl64f, Kpl64fc>, false>,
    Case<kplsDotProd_32f64f, Kpl32f, Kpl32f, Kpl64f, ref_32f64f, false>,
    Case<kplsDotProd_32fc64fc, Kpl32fc, Kpl32fc, Kpl64fc, ref_64fc<Kpl32fc, Kpl32fc>, false>,
    Case<kplsDotProd_32f32fc64fc, Kpl32f, Kpl32fc, Kpl64fc, ref_64fc<Kpl32f, Kpl32fc>, false>>;

using IntegerCases = ::testing::Types<
    Case<kplsDotProd_16s64s, Kpl16s, Kpl16s, Kpl64s, ref_int<Kpl64s, Kpl16s, Kpl16s>, false>,
    Case<kplsDotProd_16sc64sc, Kpl16sc, Kpl16sc, Kpl64sc, ref_int<Kpl64sc, Kpl16sc, Kpl16sc>, false>,
    Case<kplsDotProd_16s16sc64sc, Kpl16s, Kpl16sc, Kpl64sc, ref_int<Kpl64sc, Kpl16s, Kpl16sc>, false>,
    Case<kplsDotProd_16s32f, Kpl16s, Kpl16s, Kpl32f, ref_int<Kpl32f, Kpl16s, Kpl16s>, false>,
    Case<kplsDotProd_16sc32fc, Kpl16sc, Kpl16sc, Kpl32fc, ref_int<Kpl32fc, Kpl16sc, Kpl16sc>, false>,
    Case<kplsDotProd_16s16sc32fc, Kpl16s, Kpl16sc, Kpl32fc, ref_int<Kpl32fc, Kpl16s, Kpl16sc>, false>,
    Case<kplsDotProd_16s_Sfs, Kpl16s, Kpl16s, Kpl16s, ref_int<Kpl16s, Kpl16s, Kpl16s>, true>,
    Case<kplsDotProd_16sc_Sfs, Kpl16sc, Kpl16sc, Kpl16sc, ref_int<Kpl16sc, Kpl16sc, Kpl16sc>, true>,
    Case<kplsDotProd_16s16sc_Sfs, Kpl16s, Kpl16sc, Kpl16sc, ref_int<Kpl16sc, Kpl16s, Kpl16sc>, true>,
    Case<kplsDotProd_16s32s_Sfs, Kpl16s, Kpl16s, Kpl32s, ref_int<Kpl32s, Kpl16s, Kpl16s>, true>,
    Case<kplsDotProd_16sc32sc_Sfs, Kpl16sc, Kpl16sc, Kpl32sc, ref_int<Kpl32sc, Kpl16sc, Kpl16sc>, true>,
    Case<kplsDotProd_16s16sc32sc_Sfs, Kpl16s, Kpl16sc, Kpl32sc, ref_int<Kpl32sc, Kpl16s, Kpl16sc>, true>,
    Case<kplsDotProd_16s16sc32sc, Kpl16s, Kpl16sc, Kpl32sc, ref_int<Kpl32sc, Kpl16s, Kpl16sc>, false>,
    Case<kplsDotProd_16s32s32s_Sfs, Kpl16s, Kpl32s, Kpl32s, ref_int<Kpl32s, Kpl16s, Kpl32s>, true>,
    Case<kplsDotProd_32s_Sfs, Kpl32s, Kpl32s, Kpl32s, ref_32s, true>,
    Case<kplsDotProd_32sc_Sfs, Kpl32sc, Kpl32sc, Kpl32sc, ref_int<Kpl32sc, Kpl32sc, Kpl32sc>, true>,
    Case<kplsDotProd_32s32sc_Sfs, Kpl32s, Kpl32sc, Kpl32sc, ref_int<Kpl32sc, Kpl32s, Kpl32sc>, true>>;

template <class C>
class DotProdFloat : public ::testing::Test {};
TYPED_TEST_SUITE(DotProdFloat, FloatCases);
template <class C>
class DotProdInteger : public ::testing::Test {};
TYPED_TEST_SUITE(DotProdInteger, IntegerCases);

TYPED_TEST(DotProdFloat, MatchesOrderedModelAtEveryLengthAndOffset) { sweep_case<TypeParam>(); }
TYPED_TEST(DotProdFloat, ArgumentErrorsWriteNothing) { checks_write_nothing<TypeParam>(); }
TYPED_TEST(DotProdInteger, MatchesExactRuleAtEveryLengthOffsetAndScale) { sweep_case<TypeParam>(); }
TYPED_TEST(DotProdInteger, ArgumentErrorsWriteNothing) { checks_write_nothing<TypeParam>(); }

// ---- Edges ----

Kpl16s dot16(std::vector<Kpl16s> a, std::vector<Kpl16s> b, int s) {
  Kpl16s r = 0;
  EXPECT_EQ(kplsDotProd_16s_Sfs(a.data(), b.data(), static_cast<int>(a.size()), &r, s), kplStsOk);
  return r;
}

TEST(DotProd16sSfs, SaturationIsDecidedBeforeShifting) {
  struct { std::vector<Kpl16s> a, b; int s; Kpl16s want; } cases[] = {
      {{32767}, {32767}, 0, 32767},     {{32767}, {32767}, 15, 32766},   // 32766.00003
      {{-32768}, {32767}, 15, -32767},  {{-32768}, {-32768}, 30, 1},     {{-32768}, {-32768}, 31, 0},  // 0.5 to even
      {{-1}, {1}, -15, -32768},         {{1}, {1}, -15, 32767},          {{1}, {1}, -14, 16384},
      {{-1}, {1}, -40, -32768},         {{0}, {5}, -40, 0},              {{5}, {1}, 1, 2},
      {{7}, {1}, 1, 4},                 {{-5}, {1}, 1, -2},              {{3, -3}, {5, 5}, -15, 0},
      {{2}, {8191}, -1, 32764},         {{2}, {8192}, -1, 32767},        {{-2}, {8192}, -1, -32768},
  };
  for (const auto& c : cases) EXPECT_EQ(dot16(c.a, c.b, c.s), c.want) << "len " << c.a.size() << " s=" << c.s;
}

// pmaddwd pairs of -32768 * -32768 sum to 2^31, one past the signed range.
TEST(DotProd16s, PairsOfMostNegativeProductsStayExact) {
  for (int len : {8, 16, 23, 64}) {
    const std::vector<Kpl16s> v(static_cast<size_t>(len), -32768);
    Kpl64s r = 0;
    ASSERT_EQ(kplsDotProd_16s64s(v.data(), v.data(), len, &r), kplStsOk);
    EXPECT_EQ(r, int64_t{len} << 30);
    Kpl32s r32 = 0;
    ASSERT_EQ(kplsDotProd_16s32s_Sfs(v.data(), v.data(), len, &r32, 0), kplStsOk);
    EXPECT_EQ(r32, len >= 2 ? INT32_MAX : (1 << 30));
    ASSERT_EQ(kplsDotProd_16s32s_Sfs(v.data(), v.data(), len, &r32, 3), kplStsOk);
    EXPECT_EQ(r32, std::min<int64_t>(int64_t{len} << 27, INT32_MAX));
  }
}

TEST(DotProd32scSfs, TheSumPast64BitsStaysExact) {
  // Every part -2^31: re = 2^62 - 2^62 = 0 and im = 2^63 per element, 2^65 in all.
  const std::vector<Kpl32sc> v(4, Kpl32sc{INT32_MIN, INT32_MIN});
  struct { int s; Kpl32s im; } cases[] = {{0, INT32_MAX}, {34, INT32_MAX}, {35, 1 << 30},
                                          {65, 1}, {66, 0} /* 0.5 ties to even */, {-5, INT32_MAX}};
  for (const auto& c : cases) {
    Kpl32sc r{1, 1};
    ASSERT_EQ(kplsDotProd_32sc_Sfs(v.data(), v.data(), 4, &r, c.s), kplStsOk);
    EXPECT_EQ(r.re, 0) << c.s;
    EXPECT_EQ(r.im, c.im) << c.s;
  }
}

TEST(DotProd32sSfs, RoundsToNearestEvenWhateverTheCallerMode) {
  struct { Kpl32s a, b; int s; Kpl32s want; } cases[] = {
      {5, 1, 1, 2},    {7, 1, 1, 4},   {-5, 1, 1, -2},  {3, 1, 2, 1},  // 0.75
      {INT32_MIN, INT32_MIN, 0, INT32_MAX},  {INT32_MIN, INT32_MIN, 62, 1},  {INT32_MIN, INT32_MAX, 0, INT32_MIN},
      {1, 1, -31, INT32_MAX},  {-1, 1, -31, INT32_MIN},  {-1, 1, -200, INT32_MIN},  {1, 1, 200, 0},
  };
  const unsigned saved = _mm_getcsr();
  for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
    _mm_setcsr((saved & ~0x6000u) | mode);
    for (const auto& c : cases) {
      Kpl32s r = 0;
      const KplStatus st = kplsDotProd_32s_Sfs(&c.a, &c.b, 1, &r, c.s);
      const unsigned after = _mm_getcsr() & 0x6000u;
      _mm_setcsr(saved);
      EXPECT_EQ(st, kplStsOk);
      EXPECT_EQ(r, c.want) << c.a << "*" << c.b << " s=" << c.s << " mode " << mode;
      EXPECT_EQ(after, mode) << "the caller's rounding mode is restored";
      _mm_setcsr((saved & ~0x6000u) | mode);
    }
  }
  _mm_setcsr(saved);
}

TEST(DotProd16s16sc32sc, IsTheScaledFormAtScaleZero) {
  const Kpl16s a[] = {-32768, -32768, 7};
  const Kpl16sc b[] = {{-32768, 32767}, {-32768, -32768}, {3, -4}};
  Kpl32sc r{}, q{};
  ASSERT_EQ(kplsDotProd_16s16sc32sc(a, b, 3, &r), kplStsOk);
  ASSERT_EQ(kplsDotProd_16s16sc32sc_Sfs(a, b, 3, &q, 0), kplStsOk);
  EXPECT_EQ(r.re, INT32_MAX);  // 2^31 + 21 saturates
  EXPECT_EQ(r.im, 32740);      // -2^30 + 32768 + 2^30 - 28
  EXPECT_EQ(r.re, q.re);
  EXPECT_EQ(r.im, q.im);
}

// The widening forms equal the double forms on widened data, bit for bit.
TEST(DotProd32f64f, EqualsTheDoubleFormOnWidenedData) {
  Rng rng(5);
  for (int len : {1, 5, 8, 13, 64, 1001}) {
    std::vector<Kpl32f> a(static_cast<size_t>(len)), b(a.size());
    std::vector<Kpl64f> wa(a.size()), wb(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
      a[i] = static_cast<float>(rng.uniform(-1e3, 1e3)), b[i] = static_cast<float>(rng.uniform(-1e3, 1e3));
      wa[i] = a[i], wb[i] = b[i];
    }
    Kpl64f x = 0, y = 1;
    ASSERT_EQ(kplsDotProd_32f64f(a.data(), b.data(), len, &x), kplStsOk);
    ASSERT_EQ(kplsDotProd_64f(wa.data(), wb.data(), len, &y), kplStsOk);
    EXPECT_EQ(std::bit_cast<uint64_t>(x), std::bit_cast<uint64_t>(y)) << len;
  }
}

// The fixed order is an honest sum: against long double, within (len + 2) units
// of rounding of the sum of |a*b|.
TEST(DotProd32f, AgreesWithLongDoubleWithinTheSummationBound) {
  Rng rng(17);
  for (int len : {1, 9, 100, 4099}) {
    std::vector<Kpl32f> a(static_cast<size_t>(len)), b(a.size());
    long double exact = 0, mag = 0;
    for (size_t i = 0; i < a.size(); ++i) {
      a[i] = static_cast<float>(rng.uniform(-4, 4)), b[i] = static_cast<float>(rng.uniform(-4, 4));
      exact += static_cast<long double>(a[i]) * b[i], mag += std::fabs(static_cast<long double>(a[i]) * b[i]);
    }
    Kpl32f r = 0;
    ASSERT_EQ(kplsDotProd_32f(a.data(), b.data(), len, &r), kplStsOk);
    EXPECT_LE(std::fabs(r - exact), mag * (len + 2) * 0x1p-24L) << len;
  }
}

TEST(DotProd32fc, ReadsNothingPastEitherVector) {
  FencedPage pa, pb;
  ASSERT_TRUE(pa.ok() && pb.ok());
  for (size_t len : {1u, 2u, 7u, 8u, 9u, 17u}) {
    auto* a = reinterpret_cast<Kpl32fc*>(pa.ending_at_end(len * sizeof(Kpl32fc)));
    auto* b = reinterpret_cast<Kpl32fc*>(pb.ending_at_end(len * sizeof(Kpl32fc)));
    for (size_t i = 0; i < len; ++i) a[i] = {1, 2}, b[i] = {3, -1};  // (1+2i)(3-i) = 5+5i
    Kpl32fc r{};
    ASSERT_EQ(kplsDotProd_32fc(a, b, static_cast<int>(len), &r), kplStsOk);
    EXPECT_EQ(r.re, 5.0f * len);
    EXPECT_EQ(r.im, 5.0f * len);
    auto* h = reinterpret_cast<Kpl16s*>(pa.ending_at_end(len * sizeof(Kpl16s)));
    for (size_t i = 0; i < len; ++i) h[i] = -32768;
    Kpl64s q = 0;
    ASSERT_EQ(kplsDotProd_16s64s(h, h, static_cast<int>(len), &q), kplStsOk);
    EXPECT_EQ(q, static_cast<int64_t>(len) << 30);
  }
}

}  // namespace
