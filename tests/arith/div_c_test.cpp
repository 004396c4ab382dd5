// DivC: the integer forms swept over lengths 1..70 and longer, every start offset
// and every scale factor from -40 to 40 against references written here (the
// documented float reciprocal for 8u, 16s and 16u, exact numerators in binary64
// for 16sc, extended precision for 64s), each checked against the exact quotient;
// the floating forms against the product by the reciprocal; the short circuits,
// the zero constant and the order of checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/threads.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

using Threads = ThreadCount;

// x * 2^-s / v rounded to nearest, ties to even, exactly (|s| <= 64, 16-bit operands).
i128 exact_nearest(int64_t x, int64_t v, int s) {
  return round_div(s < 0 ? i128{x} << -s : i128{x}, s > 0 ? i128{v} << s : i128{v});
}

// ---------------------------------------------------------------------------
// DivC_8u, DivC_16s, DivC_16u: the element times the float 2^-s / val, converted
// to nearest; outside the kernel range the known results.

template <class T, auto Out, auto In, int Lo, int Hi>
struct IntDivC {
  using Type = T;
  static constexpr auto out = Out;
  static constexpr auto in = In;
  static T want(T x, T val, int s) {
    if constexpr (std::is_same_v<T, Kpl16u>) {
      if (s > Hi) return 0;
      if (s < Lo) return 65535;  // zeros included
      if (val == 1) return clamp_to<T>(exact_nearest(x, 1, s));  // the MulC kernel
    } else {
      if (s > Hi) return 0;
      if (s < Lo) {
        if (x == 0) return 0;
        if constexpr (std::is_signed_v<T>) return (x < 0) != (val < 0) ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
        return std::numeric_limits<T>::max();
      }
    }
    const float c = std::ldexp(1.0f, -s) / static_cast<float>(val);
    return clamp_to<T>(std::nearbyint(static_cast<float>(x) * c));
  }
};
using IntDivCs = ::testing::Types<IntDivC<Kpl8u, kplsDivC_8u_Sfs, kplsDivC_8u_ISfs, -15, 8>,
                                  IntDivC<Kpl16s, kplsDivC_16s_Sfs, kplsDivC_16s_ISfs, -30, 15>,
                                  IntDivC<Kpl16u, kplsDivC_16u_Sfs, kplsDivC_16u_ISfs, -31, 16>>;

template <class F>
class IntegerDivC : public ::testing::Test {};
TYPED_TEST_SUITE(IntegerDivC, IntDivCs);

template <class T>
T pick(Rng& r) {
  static const std::vector<T> sp = special_integers<T>();
  const uint64_t k = r.next();
  if (k % 4 == 0) return sp[(k >> 8) % sp.size()];
  if (k % 4 == 1) return static_cast<T>(static_cast<int64_t>((k >> 16) % 41) - (std::is_signed_v<T> ? 20 : 0));
  return static_cast<T>(k >> 20);
}

template <class F>
void check_divc(size_t len, size_t oa, size_t ob, int s, typename F::Type val) {
  using T = typename F::Type;
  Guarded<T> src(len, oa), dst(len, ob);
  Rng r(len * 977 + oa * 16 + ob + static_cast<uint64_t>(s + 64) * 31 + static_cast<uint64_t>(val));
  for (size_t i = 0; i < len; ++i) src[i] = pick<T>(r);
  std::vector<T> want(len);
  for (size_t i = 0; i < len; ++i) want[i] = F::want(src[i], val, s);
  ASSERT_EQ(F::out(src.data(), val, dst.data(), static_cast<int>(len), s), kplStsOk) << "s=" << s << " val=" << +val;
  for (size_t i = 0; i < len; ++i)
    ASSERT_EQ(dst[i], want[i]) << +src[i] << " / " << +val << " s=" << s << " len=" << len << " i=" << i;
  ASSERT_TRUE(dst.guards_intact());
  ASSERT_EQ(F::in(val, src.data(), static_cast<int>(len), s), kplStsOk);
  ASSERT_TRUE(same_bits(src.data(), dst.data(), len)) << "in place, s=" << s << " val=" << +val;
}

TYPED_TEST(IntegerDivC, EveryLengthAndOffset) {
  const Threads one(1);  // the teams are tested on their own below
  using T = typename TypeParam::Type;
  sweep2([](size_t len, size_t oa, size_t ob) { check_divc<TypeParam>(len, oa, ob, 1, static_cast<T>(3 + len % 5)); });
}

TYPED_TEST(IntegerDivC, EveryScaleFactorAndConstant) {
  const Threads one(1);
  using T = typename TypeParam::Type;
  const std::vector<T> vals = {1, 2, 3, 7, 255, std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest() == 0 ? T{100} : std::numeric_limits<T>::lowest(),
                               std::is_signed_v<T> ? static_cast<T>(-1) : T{128}, std::is_signed_v<T> ? static_cast<T>(-3) : T{6}};
  for (int s = -40; s <= 40; ++s)
    for (T val : vals)
      for (size_t len : {5u, 33u, 130u}) check_divc<TypeParam>(len, len % 16, (len * 3) % 16, s, val);
}

// The float reciprocal is within one of the exact quotient wherever it does not saturate.
TEST(IntegerDivCBounds, WithinOneOfTheExactQuotient) {
  Rng r(41);
  for (int k = 0; k < 100000; ++k) {
    const int s = static_cast<int>(r.next() % 46) - 30;
    const Kpl16s x = static_cast<Kpl16s>(r.next()), v = static_cast<Kpl16s>(r.next() >> (r.next() % 16));
    if (v == 0) continue;
    Kpl16s q;
    ASSERT_EQ(kplsDivC_16s_Sfs(&x, v, &q, 1, s), kplStsOk);
    const Kpl16s e = clamp_to<Kpl16s>(exact_nearest(x, v, s));
    ASSERT_LE(std::abs(q - e), 1) << x << " / " << v << " s=" << s;
  }
}

TEST(IntegerDivCEdges, ZeroConstantAndShortCircuits) {
  Guarded<Kpl16u> s(5), d(5);
  for (size_t i = 0; i < 5; ++i) s[i] = static_cast<Kpl16u>(i * 1000);
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  // A zero constant is -10 at every scale factor, the 16u short circuits included.
  for (int sf : {-99, -32, 0, 1, 17, 99}) {
    EXPECT_EQ(kplsDivC_16u_Sfs(s.data(), 0, d.data(), 5, sf), kplStsDivByZero) << sf;
    EXPECT_EQ(kplsDivC_16u_ISfs(0, d.data(), 5, sf), kplStsDivByZero) << sf;
    Kpl16s x[2] = {1, 2};
    EXPECT_EQ(kplsDivC_16s_Sfs(x, 0, x, 2, sf), kplStsDivByZero);
    EXPECT_EQ(kplsDivC_16s_ISfs(0, x, 2, sf), kplStsDivByZero);
    Kpl8u y[2] = {1, 2};
    EXPECT_EQ(kplsDivC_8u_Sfs(y, 0, y, 2, sf), kplStsDivByZero);
    EXPECT_EQ(kplsDivC_8u_ISfs(0, y, 2, sf), kplStsDivByZero);
    Kpl16sc z[1] = {{1, 2}};
    EXPECT_EQ(kplsDivC_16sc_Sfs(z, Kpl16sc{0, 0}, z, 1, sf), kplStsDivByZero);
    EXPECT_EQ(kplsDivC_16sc_ISfs(Kpl16sc{0, 0}, z, 1, sf), kplStsDivByZero);
    EXPECT_TRUE(x[0] == 1 && y[0] == 1 && z[0].re == 1);
  }
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0));
  // The 16u short circuits run before the pointers: only pSrc is tested, then the fill's own checks.
  EXPECT_EQ(kplsDivC_16u_Sfs(nullptr, 3, d.data(), 5, 17), kplStsNullPointer);
  EXPECT_EQ(kplsDivC_16u_Sfs(s.data(), 3, nullptr, 5, 17), kplStsNullPointer);
  EXPECT_EQ(kplsDivC_16u_Sfs(s.data(), 3, d.data(), 0, 17), kplStsBadSize);
  EXPECT_EQ(kplsDivC_16u_ISfs(1, nullptr, 5, 0), kplStsOk);  // the in-place copy is a plain return
  EXPECT_EQ(kplsDivC_16u_ISfs(1, nullptr, 0, 0), kplStsOk);
  EXPECT_EQ(kplsDivC_16u_Sfs(s.data(), 1, nullptr, 5, 0), kplStsNullPointer);  // the copy's own check
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0));
  EXPECT_EQ(kplsDivC_16u_Sfs(s.data(), 3, d.data(), 5, -32), kplStsOk);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(d[i], 65535) << i;  // 0 too
  EXPECT_EQ(kplsDivC_16u_Sfs(s.data(), 1, d.data(), 5, 0), kplStsOk);
  EXPECT_TRUE(same_bits(s.data(), d.data(), 5));
  // The documented values of the signed form: -32768 / -1 saturates; ties go to even.
  const Kpl16s x[4] = {-32768, 5, -5, 3};
  Kpl16s q[4];
  EXPECT_EQ(kplsDivC_16s_Sfs(x, -1, q, 4, 0), kplStsOk);
  EXPECT_EQ(q[0], 32767);
  EXPECT_EQ(kplsDivC_16s_Sfs(x, 2, q, 4, 0), kplStsOk);
  EXPECT_EQ(q[1], 2);
  EXPECT_EQ(q[2], -2);
  EXPECT_EQ(q[3], 2);
  EXPECT_EQ(kplsDivC_16s_Sfs(x, 3, q, 4, -31), kplStsOk);  // below the range, by the signs
  EXPECT_TRUE(q[0] == -32768 && q[1] == 32767 && q[2] == -32768 && q[3] == 32767);
}

// ---------------------------------------------------------------------------
// DivC_16sc.

// Below the range: offset by 32,768 and by 0.5, truncated, one lower when odd and exact.
Kpl16s offset_rounded(double v) {
  const double w = (v + 32768.0) + 0.5;
  if (w < 0.0) return -32768;
  if (w >= 65536.0) return 32767;
  long long t = static_cast<long long>(std::trunc(w));
  if (t % 2 != 0 && static_cast<double>(t) == w) --t;
  return static_cast<Kpl16s>(t - 32768);
}

Kpl16sc want_16sc(Kpl16sc z, Kpl16sc val, int s) {
  if (s > 15) return {0, 0};
  const int64_t c = val.re, d = val.im, x = z.re, y = z.im;
  const double m = static_cast<double>(c * c + d * d);
  const double f = std::ldexp(1.0, -std::max(s, -64)) / m;
  const double re = static_cast<double>(x * c + y * d) * f, im = static_cast<double>(y * c - x * d) * f;
  if (s < -16) return {offset_rounded(re), offset_rounded(im)};
  return {clamp_to<Kpl16s>(std::nearbyint(re)), clamp_to<Kpl16s>(std::nearbyint(im))};
}

TEST(DivC16sc, EveryScaleFactor) {
  const Threads one(1);
  const Kpl16sc vals[] = {{1, 0}, {0, -1}, {3, 4}, {-32768, -32768}, {7, -2}, {1, -32768}, {32767, 1}};
  for (int s = -70; s <= 40; ++s)
    for (Kpl16sc val : vals)
      for (size_t len : {1u, 6u, 37u}) {
        Guarded<Kpl16sc> src(len, len % 16), dst(len, 3);
        Rng r(static_cast<uint64_t>(s + 100) * 7 + len + static_cast<uint64_t>(val.re & 0xFFFF));
        const auto sp = special_integers<Kpl16s>();
        for (size_t i = 0; i < len; ++i) {
          const uint64_t k = r.next();
          src[i] = {k % 3 ? static_cast<Kpl16s>(k >> 16) : sp[(k >> 8) % 7], k % 5 ? static_cast<Kpl16s>(k >> 40) : sp[(k >> 12) % 7]};
        }
        ASSERT_EQ(kplsDivC_16sc_Sfs(src.data(), val, dst.data(), static_cast<int>(len), s), kplStsOk);
        for (size_t i = 0; i < len; ++i) {
          const Kpl16sc w = want_16sc(src[i], val, s);
          ASSERT_TRUE(dst[i].re == w.re && dst[i].im == w.im) << "s=" << s << " val=" << val.re << "," << val.im << " i=" << i
                                                             << " got " << dst[i].re << "," << dst[i].im << " want " << w.re << "," << w.im;
          // The reference itself is within one of the exact parts.
          const int64_t m = int64_t{val.re} * val.re + int64_t{val.im} * val.im;
          const int64_t nr = int64_t{src[i].re} * val.re + int64_t{src[i].im} * val.im;
          const int64_t ni = int64_t{src[i].im} * val.re - int64_t{src[i].re} * val.im;
          if (s >= -64) {
            ASSERT_LE(std::abs(w.re - clamp_to<Kpl16s>(exact_nearest(nr, m, s))), 1) << "s=" << s;
            ASSERT_LE(std::abs(w.im - clamp_to<Kpl16s>(exact_nearest(ni, m, s))), 1) << "s=" << s;
          }
        }
        ASSERT_TRUE(dst.guards_intact());
        ASSERT_EQ(kplsDivC_16sc_ISfs(val, src.data(), static_cast<int>(len), s), kplStsOk);
        ASSERT_TRUE(same_bits(src.data(), dst.data(), len)) << "s=" << s;
      }
}

// ---------------------------------------------------------------------------
// DivC_64s_ISfs: extended precision, unsigned length, a zero constant warns.

TEST(DivC64s, ExtendedPrecisionAndTheZeroConstant) {
  const Kpl64s big = std::numeric_limits<Kpl64s>::max(), small = std::numeric_limits<Kpl64s>::lowest();
  struct {
    Kpl64s x, val;
    int s;
    Kpl64s want;
  } cases[] = {
      {7, 2, 0, 4},         {5, 2, 0, 2},           {-7, 2, 0, -4},       {small, -1, 0, big},  // 2^63 saturates
      {big, 1, 0, big},     {small, 1, 0, small},   {3, 1, 1, 2},         {1, 1, -62, Kpl64s{1} << 62},
      {1, 1, -63, big},     {-1, 1, -64, small},    {1, 3, -2, 1},        {big, 2, 1, Kpl64s{1} << 61},
      {0, 5, -100000, 0},   {9, 5, -100000, big},   {9, 5, 100000, 0},    {1000000007, 1000, 0, 1000000},
  };
  for (auto c : cases) {
    Kpl64s v = c.x;
    EXPECT_EQ(kplsDivC_64s_ISfs(c.val, &v, 1, c.s), kplStsOk) << c.x << " / " << c.val;
    EXPECT_EQ(v, c.want) << c.x << " / " << c.val << " s=" << c.s;
  }
  Kpl64s z[4] = {5, -5, 0, small};
  EXPECT_EQ(kplsDivC_64s_ISfs(0, z, 4, 3), kplStsWarnDivByZero);
  EXPECT_TRUE(z[0] == big && z[1] == small && z[2] == 0 && z[3] == small);
  EXPECT_EQ(kplsDivC_64s_ISfs(3, nullptr, 4, 0), kplStsNullPointer);
  EXPECT_EQ(kplsDivC_64s_ISfs(3, z, 0, 0), kplStsBadSize);
  EXPECT_EQ(kplsDivC_64s_ISfs(0, nullptr, 0, 0), kplStsNullPointer);
  // Random values against the same extended product, and within one of the exact quotient.
  Rng r(77);
  for (int k = 0; k < 20000; ++k) {
    const Kpl64s x = static_cast<Kpl64s>(r.next()) >> (r.next() % 64), val = static_cast<Kpl64s>(r.next()) >> (r.next() % 64);
    const int s = static_cast<int>(r.next() % 41) - 20;
    if (val == 0) continue;
    Kpl64s v = x;
    ASSERT_EQ(kplsDivC_64s_ISfs(val, &v, 1, s), kplStsOk);
    const long double p = static_cast<long double>(x) * (1.0L / std::ldexp(static_cast<long double>(val), s));
    const long double exact = std::ldexp(static_cast<long double>(x), -s) / static_cast<long double>(val);
    if (std::fabs(exact) < 0x1p62L) {
      ASSERT_EQ(v, static_cast<Kpl64s>(std::nearbyint(p))) << x << " / " << val << " s=" << s;
      ASSERT_LE(std::fabs(static_cast<long double>(v) - exact), 1.0L) << x << " / " << val << " s=" << s;
    } else {
      ASSERT_TRUE(std::fabs(static_cast<long double>(v) - exact) <= std::fabs(exact) * 0x1p-60L || v == big || v == small);
    }
  }
}

// ---------------------------------------------------------------------------
// Floating DivC: the product by the reciprocal formed once.

TEST(DivCFloat, ProductByTheReciprocal) {
  for (size_t len : {1u, 7u, 16u, 33u, 70u, 1000u}) {
    Guarded<Kpl32f> s(len, len % 5), d(len, 3);
    Guarded<Kpl64f> s64(len, len % 3), d64(len, 1);
    Guarded<Kpl32fc> sc(len, 1), dc(len, 2);
    Guarded<Kpl64fc> sc64(len, 0), dc64(len, 1);
    Rng r(len);
    for (size_t i = 0; i < len; ++i) {
      s[i] = static_cast<float>(r.uniform(-1e3, 1e3)), s64[i] = r.uniform(-1e3, 1e3);
      sc[i] = {static_cast<float>(r.uniform(-9, 9)), static_cast<float>(r.uniform(-9, 9))};
      sc64[i] = {r.uniform(-9, 9), r.uniform(-9, 9)};
    }
    for (float val : {3.0f, -0.7f, 1e-20f, 1e30f}) {
      ASSERT_EQ(kplsDivC_32f(s.data(), val, d.data(), static_cast<int>(len)), kplStsOk);
      const float inv = 1.0f / val;
      for (size_t i = 0; i < len; ++i) ASSERT_EQ(d[i], s[i] * inv) << val << " i=" << i;
      ASSERT_EQ(kplsDivC_64f(s64.data(), static_cast<double>(val), d64.data(), static_cast<int>(len)), kplStsOk);
      const double inv64 = 1.0 / static_cast<double>(val);
      for (size_t i = 0; i < len; ++i) ASSERT_EQ(d64[i], s64[i] * inv64) << val << " i=" << i;
    }
    const Kpl32fc v{3.0f, -4.0f};
    ASSERT_EQ(kplsDivC_32fc(sc.data(), v, dc.data(), static_cast<int>(len)), kplStsOk);
    const float m = v.re * v.re + v.im * v.im, i32 = 1.0f / m, cr = v.re * i32, ci = 0.0f - i32 * v.im;
    for (size_t i = 0; i < len; ++i) {
      ASSERT_EQ(dc[i].re, sc[i].re * cr - sc[i].im * ci) << i;
      ASSERT_EQ(dc[i].im, sc[i].im * cr + sc[i].re * ci) << i;
    }
    const Kpl64fc w{-0.5, 2.0};
    ASSERT_EQ(kplsDivC_64fc(sc64.data(), w, dc64.data(), static_cast<int>(len)), kplStsOk);
    const double m64 = w.re * w.re + w.im * w.im, i64 = 1.0 / m64, wr = w.re * i64, wi = 0.0 - i64 * w.im;
    for (size_t i = 0; i < len; ++i) {
      ASSERT_EQ(dc64[i].re, sc64[i].re * wr - sc64[i].im * wi) << i;
      ASSERT_EQ(dc64[i].im, sc64[i].im * wr + sc64[i].re * wi) << i;
    }
    // In place gives the same values.
    ASSERT_EQ(kplsDivC_32fc_I(v, sc.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_TRUE(same_bits(sc.data(), dc.data(), len));
    ASSERT_EQ(kplsDivC_64fc_I(w, sc64.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_TRUE(same_bits(sc64.data(), dc64.data(), len));
    ASSERT_EQ(kplsDivC_32f_I(3.0f, s.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_EQ(kplsDivC_64f_I(3.0, s64.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_TRUE(d.guards_intact() && d64.guards_intact() && dc.guards_intact() && dc64.guards_intact());
  }
}

TEST(DivCFloat, ZeroConstantAndTheMulCShortCuts) {
  Guarded<Kpl32f> s(4), d(4);
  s[0] = std::bit_cast<float>(0x7F800001u), s[1] = -2.0f, s[2] = INFINITY, s[3] = -0.0f;
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  EXPECT_EQ(kplsDivC_32f(s.data(), 0.0f, d.data(), 4), kplStsDivByZero);
  EXPECT_EQ(kplsDivC_32f(s.data(), -0.0f, d.data(), 4), kplStsDivByZero);
  EXPECT_EQ(kplsDivC_32f_I(0.0f, d.data(), 4), kplStsDivByZero);
  Kpl64f e[1] = {1.0};
  EXPECT_EQ(kplsDivC_64f(e, 0.0, e, 1), kplStsDivByZero);
  EXPECT_EQ(kplsDivC_64f_I(-0.0, e, 1), kplStsDivByZero);
  Kpl32fc c[1] = {{1, 1}};
  EXPECT_EQ(kplsDivC_32fc(c, Kpl32fc{0, 0}, c, 1), kplStsDivByZero);
  EXPECT_EQ(kplsDivC_32fc(c, Kpl32fc{1e-30f, 0}, c, 1), kplStsDivByZero);  // |val|^2 underflows to 0
  EXPECT_EQ(kplsDivC_32fc_I(Kpl32fc{0, -0.0f}, c, 1), kplStsDivByZero);
  Kpl64fc c64[1] = {{1, 1}};
  EXPECT_EQ(kplsDivC_64fc(c64, Kpl64fc{0, 0}, c64, 1), kplStsDivByZero);
  EXPECT_EQ(kplsDivC_64fc_I(Kpl64fc{0, 0}, c64, 1), kplStsDivByZero);
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0) && e[0] == 1.0 && c[0].re == 1.0f && c64[0].re == 1.0);
  // 1.0 copies (a signalling NaN keeps its bits); infinity makes 1/val zero, a +0.0 fill.
  EXPECT_EQ(kplsDivC_32f(s.data(), 1.0f, d.data(), 4), kplStsOk);
  EXPECT_TRUE(same_bits(s.data(), d.data(), 4));
  EXPECT_EQ(kplsDivC_32f(s.data(), -INFINITY, d.data(), 4), kplStsOk);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(std::bit_cast<uint32_t>(d[i]), 0u) << i;
}

// ---------------------------------------------------------------------------
// Threads and the order of checks.

TEST(DivCThreads, SameResultsOnEveryTeam) {
  auto run = [](const char* name, size_t threshold, auto call, auto make) {
    for (size_t len : {threshold - 1, threshold, threshold + 1}) {
      auto src = make(len);
      decltype(src) first(len), d(len);
      for (int threads : {1, 2, 8}) {
        const Threads t(threads);
        auto& out = threads == 1 ? first : d;
        EXPECT_EQ(call(src.data(), out.data(), static_cast<int>(len)), kplStsOk) << name;
        EXPECT_TRUE(out.guards_intact()) << name;
        if (threads > 1) {
          EXPECT_TRUE(same_bits(out.data(), first.data(), len)) << name << " len=" << len << " threads=" << threads;
        }
      }
    }
  };
  auto make8u = [](size_t len) { Guarded<Kpl8u> g(len); fill_random_bits(g.data(), len, len); return g; };
  auto make16s = [](size_t len) { Guarded<Kpl16s> g(len); fill_random_bits(g.data(), len, len); return g; };
  auto make16sc = [](size_t len) { Guarded<Kpl16sc> g(len); fill_random_bits(g.data(), len, len); return g; };
  for (int s : {-9, 0, 3}) {
    run("DivC_8u", 4096, [s](auto a, auto d, int n) { return kplsDivC_8u_Sfs(a, 7, d, n, s); }, make8u);
    run("DivC_16s", 4096, [s](auto a, auto d, int n) { return kplsDivC_16s_Sfs(a, -7, d, n, s); }, make16s);
    run("DivC_16sc", 1024, [s](auto a, auto d, int n) { return kplsDivC_16sc_Sfs(a, Kpl16sc{3, -5}, d, n, s); }, make16sc);
  }
}

TEST(DivCChecks, PointersThenLengthThenConstant) {
  Guarded<Kpl8u> s8(4), d8(4);
  Guarded<Kpl16s> s16(4), d16(4);
  Guarded<Kpl16u> su(4), du(4);
  Guarded<Kpl16sc> sc(4), dc(4);
  Guarded<Kpl32f> sf(4), df(4);
  Guarded<Kpl64f> sd(4), dd(4);
  Guarded<Kpl32fc> sfc(4), dfc(4);
  Guarded<Kpl64fc> sdc(4), ddc(4);
  fill_random_bits(s8.data(), 4, 1), fill_random_bits(s16.data(), 4, 2), fill_random_bits(su.data(), 4, 3);
  const auto snaps = std::make_tuple(s8.snapshot(), d8.snapshot(), s16.snapshot(), d16.snapshot(), su.snapshot(), du.snapshot(),
                                     sc.snapshot(), dc.snapshot(), sf.snapshot(), df.snapshot());
  for (int s : {0, 1, -99, 99}) {
    for (int v : {0, 3}) {  // a zero constant loses to the pointers and the length
      expect_checks<3>(kplsDivC_8u_Sfs, std::make_tuple(static_cast<const Kpl8u*>(s8.data()), Kpl8u(v), d8.data(), 4, s), "DivC_8u_Sfs");
      expect_checks<2>(kplsDivC_8u_ISfs, std::make_tuple(Kpl8u(v), d8.data(), 4, s), "DivC_8u_ISfs");
      expect_checks<3>(kplsDivC_16s_Sfs, std::make_tuple(static_cast<const Kpl16s*>(s16.data()), Kpl16s(v), d16.data(), 4, s), "DivC_16s_Sfs");
      expect_checks<2>(kplsDivC_16s_ISfs, std::make_tuple(Kpl16s(v), d16.data(), 4, s), "DivC_16s_ISfs");
      expect_checks<3>(kplsDivC_16sc_Sfs, std::make_tuple(static_cast<const Kpl16sc*>(sc.data()), Kpl16sc{Kpl16s(v), 0}, dc.data(), 4, s), "DivC_16sc_Sfs");
      expect_checks<2>(kplsDivC_16sc_ISfs, std::make_tuple(Kpl16sc{Kpl16s(v), 0}, dc.data(), 4, s), "DivC_16sc_ISfs");
      if (s == 0 || s == 1) {  // 16u: away from its short circuits
        expect_checks<3>(kplsDivC_16u_Sfs, std::make_tuple(static_cast<const Kpl16u*>(su.data()), Kpl16u(v), du.data(), 4, s), "DivC_16u_Sfs");
        expect_checks<2>(kplsDivC_16u_ISfs, std::make_tuple(Kpl16u(v), du.data(), 4, s), "DivC_16u_ISfs");
      }
      expect_checks<3>(kplsDivC_32f, std::make_tuple(static_cast<const Kpl32f*>(sf.data()), float(v), df.data(), 4), "DivC_32f");
      expect_checks<2>(kplsDivC_32f_I, std::make_tuple(float(v), df.data(), 4), "DivC_32f_I");
      expect_checks<3>(kplsDivC_64f, std::make_tuple(static_cast<const Kpl64f*>(sd.data()), double(v), dd.data(), 4), "DivC_64f");
      expect_checks<2>(kplsDivC_64f_I, std::make_tuple(double(v), dd.data(), 4), "DivC_64f_I");
      expect_checks<3>(kplsDivC_32fc, std::make_tuple(static_cast<const Kpl32fc*>(sfc.data()), Kpl32fc{float(v), 0}, dfc.data(), 4), "DivC_32fc");
      expect_checks<2>(kplsDivC_32fc_I, std::make_tuple(Kpl32fc{float(v), 0}, dfc.data(), 4), "DivC_32fc_I");
      expect_checks<3>(kplsDivC_64fc, std::make_tuple(static_cast<const Kpl64fc*>(sdc.data()), Kpl64fc{double(v), 0}, ddc.data(), 4), "DivC_64fc");
      expect_checks<2>(kplsDivC_64fc_I, std::make_tuple(Kpl64fc{double(v), 0}, ddc.data(), 4), "DivC_64fc_I");
      expect_checks<2>(kplsDivC_64s_ISfs, std::make_tuple(Kpl64s(v), reinterpret_cast<Kpl64s*>(dd.data()), Kpl32u{4}, s), "DivC_64s_ISfs");
    }
  }
  EXPECT_TRUE(s8.unchanged_since(std::get<0>(snaps)) && d8.unchanged_since(std::get<1>(snaps)));
  EXPECT_TRUE(s16.unchanged_since(std::get<2>(snaps)) && d16.unchanged_since(std::get<3>(snaps)));
  EXPECT_TRUE(su.unchanged_since(std::get<4>(snaps)) && du.unchanged_since(std::get<5>(snaps)));
  EXPECT_TRUE(sc.unchanged_since(std::get<6>(snaps)) && dc.unchanged_since(std::get<7>(snaps)));
  EXPECT_TRUE(sf.unchanged_since(std::get<8>(snaps)) && df.unchanged_since(std::get<9>(snaps)));
}

}  // namespace
