// StdDev and MeanStdDev over their types, lengths 2..70 and longer and every
// start offset. Float forms: on values whose sums are exact in any order the
// results are fixed bit for bit by the formula (extended for 32f, double for
// 64f); on general values within a bound stated beside the test. 16-bit forms:
// exact sums in __int128, the root in long double, rounding by code written here.
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

#define AT " len=" << len << " offset=" << off

// Sample standard deviation of 32f as documented: extended S and Q, the variance
// stored as a double, 0 when its sign bit is set, else its root, as a float.
float std_dev_32f_reference(const float* x, size_t n, float* mean) {
  long double s = 0, q = 0;
  for (size_t i = 0; i < n; ++i) s += x[i], q += static_cast<long double>(x[i]) * x[i];
  const long double nn = static_cast<long double>(n);
  const double v = static_cast<double>((nn * q - s * s) / (nn * (nn - 1)));
  if (mean) *mean = static_cast<float>(s / nn);
  return std::signbit(v) ? 0.0f : static_cast<float>(std::sqrt(static_cast<long double>(v)));
}

double std_dev_64f_reference(const double* x, size_t n, double* mean) {
  long double s = 0, q = 0;
  for (size_t i = 0; i < n; ++i) s += x[i], q += static_cast<long double>(x[i]) * x[i];
  const double ds = static_cast<double>(s), dq = static_cast<double>(q), nn = static_cast<double>(n);
  double w = nn * dq - ds * ds;
  if (w < 0) w = 0;
  if (mean) *mean = ds / nn;
  return std::sqrt(w / (nn * (nn - 1)));
}

// k / 256 with |k| < 128: every sum of x and of x^2 over these lengths is exact
// in single precision, so any order of addition (the fast kernel's blocks
// included) gives the same S and Q.
template <class T>
void fill_exact(T* x, size_t n, uint64_t seed) {
  Rng r(seed);
  for (size_t i = 0; i < n; ++i) x[i] = static_cast<T>(static_cast<int>(r.next() % 255) - 127) / 256;
}

template <class T>
void fill_general(T* x, size_t n, uint64_t seed) {
  Rng r(seed);
  for (size_t i = 0; i < n; ++i) x[i] = static_cast<T>(r.uniform(-4, 4));
}

// |got - want| within `rel` of want (both finite, want > 0 on these data).
template <class T>
::testing::AssertionResult near(T got, T want, double rel) {
  if (std::fabs(static_cast<double>(got) - static_cast<double>(want)) <= rel * std::fabs(static_cast<double>(want)))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << got << " vs " << want;
}

}  // namespace

TEST(StdDevFloat, ExactSumsGiveDocumentedBits) {
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure() || len < 2) return;
    const int n = static_cast<int>(len);
    Guarded<Kpl32f> x(len, off), sd(1), mean(1), sd2(1);
    Guarded<Kpl64f> y(len, off), dsd(1), dmean(1), dsd2(1);
    fill_exact(x.data(), len, len * 16 + off);
    fill_exact(y.data(), len, len * 16 + off + 1);
    float want_mean;
    const float want = std_dev_32f_reference(x.data(), len, &want_mean);
    for (int hint : {int{kplAlgHintNone}, int{kplAlgHintFast}, int{kplAlgHintAccurate}, 7}) {
      ASSERT_EQ(kplsStdDev_32f(x.data(), n, sd.data(), hint), kplStsOk);
      ASSERT_EQ(kplsMeanStdDev_32f(x.data(), n, mean.data(), sd2.data(), hint), kplStsOk);
      ASSERT_EQ(std::bit_cast<uint32_t>(sd[0]), std::bit_cast<uint32_t>(want)) << sd[0] << " vs " << want << " hint " << hint << AT;
      ASSERT_EQ(std::bit_cast<uint32_t>(sd2[0]), std::bit_cast<uint32_t>(want)) << "hint " << hint << AT;
      ASSERT_EQ(std::bit_cast<uint32_t>(mean[0]), std::bit_cast<uint32_t>(want_mean)) << "hint " << hint << AT;
    }
    double want_dmean;
    const double dwant = std_dev_64f_reference(y.data(), len, &want_dmean);
    ASSERT_EQ(kplsStdDev_64f(y.data(), n, dsd.data()), kplStsOk);
    ASSERT_EQ(kplsMeanStdDev_64f(y.data(), n, dmean.data(), dsd2.data()), kplStsOk);
    ASSERT_EQ(dsd[0], dwant) << AT;
    ASSERT_EQ(dsd2[0], dwant) << AT;
    ASSERT_EQ(dmean[0], want_dmean) << AT;
    ASSERT_TRUE(sd.guards_intact() && mean.guards_intact() && sd2.guards_intact() && dsd.guards_intact() &&
                dmean.guards_intact() && dsd2.guards_intact());
  });
}

// General values: the accurate 32f forms within 1e-6 relative (extended sums of
// zero-mean data lose nothing a float can show; the bound only absorbs the
// double step), the fast one within 2e-5 (single-precision block sums of up to
// 1024 elements), 64f within 1e-12.
TEST(StdDevFloat, GeneralValuesWithinBounds) {
  for (size_t len : {2u, 3u, 9u, 10u, 31u, 1000u, 1024u, 1031u, 5000u, 100003u})
    for (size_t off : {0u, 1u, 2u, 3u}) {
      const int n = static_cast<int>(len);
      std::vector<Kpl32f> buf(len + 4);
      std::vector<Kpl64f> dbuf(len + 4);
      Kpl32f* x = buf.data() + off;
      Kpl64f* y = dbuf.data() + off;
      fill_general(x, len, len + off);
      fill_general(y, len, len + off + 9);
      const float want = std_dev_32f_reference(x, len, nullptr);
      Kpl32f acc = 0, fast = 0, m = 0, msd = 0, mfast = 0, msdfast = 0;
      ASSERT_EQ(kplsStdDev_32f(x, n, &acc, kplAlgHintAccurate), kplStsOk);
      ASSERT_EQ(kplsStdDev_32f(x, n, &fast, kplAlgHintFast), kplStsOk);
      EXPECT_TRUE(near(acc, want, 1e-6)) << AT;
      EXPECT_TRUE(near(fast, want, 2e-5)) << AT;
      ASSERT_EQ(kplsMeanStdDev_32f(x, n, &m, &msd, kplAlgHintAccurate), kplStsOk);
      ASSERT_EQ(kplsMeanStdDev_32f(x, n, &mfast, &msdfast, kplAlgHintFast), kplStsOk);
      EXPECT_EQ(std::bit_cast<uint32_t>(msd), std::bit_cast<uint32_t>(msdfast)) << AT;  // the hint is ignored
      EXPECT_EQ(std::bit_cast<uint32_t>(m), std::bit_cast<uint32_t>(mfast)) << AT;
      EXPECT_EQ(std::bit_cast<uint32_t>(msd), std::bit_cast<uint32_t>(acc)) << AT;
      double dm = 0;
      const double dwant = std_dev_64f_reference(y, len, &dm);
      Kpl64f dsd = 0, dmean = 0, dsd2 = 0;
      ASSERT_EQ(kplsStdDev_64f(y, n, &dsd), kplStsOk);
      ASSERT_EQ(kplsMeanStdDev_64f(y, n, &dmean, &dsd2), kplStsOk);
      EXPECT_TRUE(near(dsd, dwant, 1e-12)) << AT;
      EXPECT_EQ(dsd, dsd2) << AT;
      EXPECT_NEAR(dmean, dm, 1e-12) << AT;
    }
}

// Equal values: the variance may round below zero, and the result is then 0,
// never NaN. A variance stored with its sign bit set is 0, a positive NaN stays.
TEST(StdDevFloat, EqualValuesAndSpecials) {
  for (float v : {0.1f, -3.7f, 1e30f, 123456.7f, 1e-30f})
    for (size_t len : {2u, 3u, 7u, 100u, 2049u}) {
      std::vector<float> x(len, v);
      std::vector<double> y(len, static_cast<double>(v) * 1.1);
      // Accurate: S and Q of equal floats are exact in extended, so exactly 0. Fast:
      // single-precision block sums leave a residue (and squares must stay in range).
      Kpl32f sd = -1, fast = -1;
      ASSERT_EQ(kplsStdDev_32f(x.data(), static_cast<int>(len), &sd, kplAlgHintAccurate), kplStsOk);
      EXPECT_EQ(std::bit_cast<uint32_t>(sd), 0u) << v << " len " << len;
      ASSERT_EQ(kplsStdDev_32f(x.data(), static_cast<int>(len), &fast, kplAlgHintFast), kplStsOk);
      if (std::fabs(v) < 1e18f) {
        EXPECT_TRUE(fast >= 0 && fast <= std::fabs(v) * 1e-2f) << v << " len " << len << " gave " << fast;
      }
      Kpl64f dsd = -1, dm = 0;
      ASSERT_EQ(kplsMeanStdDev_64f(y.data(), static_cast<int>(len), &dm, &dsd), kplStsOk);
      EXPECT_TRUE(dsd >= 0 && dsd <= std::fabs(y[0]) * 1e-7) << y[0] << " len " << len << " gave " << dsd;
    }
  const float inf = std::numeric_limits<float>::infinity();
  const struct { float a, b; uint32_t want; } cases[] = {
      {inf, 1.0f, 0},                                          // inf - inf: the processor's NaN, sign set
      {std::bit_cast<float>(0xFFC00000u), 1.0f, 0},            // a NaN with its sign bit set
      {std::bit_cast<float>(0x7FC00000u), 1.0f, 0x7FC00000u},  // a positive NaN comes through
      {1.0f, 3.0f, std::bit_cast<uint32_t>(static_cast<float>(std::sqrt(2.0L)))},
      {-2.0f, -2.0f, 0},
  };
  for (const auto& c : cases) {
    const float x[2] = {c.a, c.b};
    Kpl32f sd = 5, msd = 5, m = 0;
    EXPECT_EQ(kplsStdDev_32f(x, 2, &sd, kplAlgHintAccurate), kplStsOk);
    EXPECT_EQ(kplsMeanStdDev_32f(x, 2, &m, &msd, kplAlgHintAccurate), kplStsOk);
    EXPECT_EQ(std::bit_cast<uint32_t>(sd), c.want) << c.a;
    EXPECT_EQ(std::bit_cast<uint32_t>(msd), c.want) << c.a;
  }
  const double dx[2] = {std::numeric_limits<double>::infinity(), 1.0};
  Kpl64f dsd = 0;
  EXPECT_EQ(kplsStdDev_64f(dx, 2, &dsd), kplStsOk);
  EXPECT_TRUE(std::isnan(dsd));  // a NaN is not below zero
}

// ---- 16-bit forms ----

namespace {

long double round_half_even(long double x) {
  const long double f = std::floor(x);
  const long double d = x - f;
  return (d > 0.5L || (d == 0.5L && std::fmod(f, 2.0L) != 0)) ? f + 1 : f;
}

struct Moments16 {
  Kpl32s mean, sd;
};

// Exact S and Q; sd = sqrt((n*Q - S^2) / (n*(n-1))) * 2^-s to nearest even,
// 0x7fffffff from 2^31; mean = S/n * 2^-s clamped to 32 bits, to nearest even.
Moments16 moments16_reference(const Kpl16s* x, size_t n, int s) {
  __int128 S = 0, Q = 0;
  for (size_t i = 0; i < n; ++i) S += x[i], Q += static_cast<__int128>(x[i]) * x[i];
  const __int128 num = static_cast<__int128>(n) * Q - S * S;
  const long double nn = static_cast<long double>(n);
  const int k = s > 200 ? 200 : (s < -200 ? -200 : s);
  const long double scale = std::pow(2.0L, -k);
  const long double sd = round_half_even(std::sqrt(static_cast<long double>(num) / (nn * (nn - 1))) * scale);
  long double mean = static_cast<long double>(S) / nn * scale;
  mean = std::fmin(std::fmax(mean, -2147483648.0L), 2147483647.0L);
  return {static_cast<Kpl32s>(round_half_even(mean)), sd >= 2147483648.0L ? INT_MAX : static_cast<Kpl32s>(sd)};
}

Kpl16s to16(Kpl32s v) { return static_cast<Kpl16s>(v > 32767 ? 32767 : (v < -32768 ? -32768 : v)); }

}  // namespace

TEST(StdDevInteger, MatchesReferenceAtEveryFactor) {
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure() || len < 2) return;
    const int n = static_cast<int>(len);
    Guarded<Kpl16s> x(len, off), sd16(1), m16(1), msd16(1);
    Guarded<Kpl32s> sd32(1), m32(1), msd32(1);
    Rng r(len * 16 + off);
    const int kind = static_cast<int>((len + off) % 3);
    for (size_t i = 0; i < len; ++i)
      x[i] = kind == 0 ? static_cast<Kpl16s>(r.next()) : (kind == 1 ? static_cast<Kpl16s>(r.next() % 2 ? 32767 : -32768) : static_cast<Kpl16s>(r.next() % 7));
    for (int s = -40; s <= 40; ++s) {
      const Moments16 want = moments16_reference(x.data(), len, s);
      ASSERT_EQ(kplsStdDev_16s32s_Sfs(x.data(), n, sd32.data(), s), kplStsOk);
      ASSERT_EQ(kplsStdDev_16s_Sfs(x.data(), n, sd16.data(), s), kplStsOk);
      ASSERT_EQ(kplsMeanStdDev_16s32s_Sfs(x.data(), n, m32.data(), msd32.data(), s), kplStsOk);
      ASSERT_EQ(kplsMeanStdDev_16s_Sfs(x.data(), n, m16.data(), msd16.data(), s), kplStsOk);
      ASSERT_EQ(sd32[0], want.sd) << "s=" << s << AT;
      ASSERT_EQ(msd32[0], want.sd) << "s=" << s << AT;
      ASSERT_EQ(m32[0], want.mean) << "s=" << s << AT;
      ASSERT_EQ(sd16[0], to16(want.sd)) << "s=" << s << AT;
      ASSERT_EQ(msd16[0], to16(want.sd)) << "s=" << s << AT;
      ASSERT_EQ(m16[0], to16(want.mean)) << "s=" << s << AT;
    }
    ASSERT_TRUE(sd16.guards_intact() && m16.guards_intact() && msd16.guards_intact() && sd32.guards_intact() &&
                m32.guards_intact() && msd32.guards_intact());
  });
}

TEST(StdDevInteger, EdgesAndLongVectors) {
  const struct { std::vector<Kpl16s> x; int s; Kpl32s sd, mean; } cases[] = {
      {{-3, 0, 3}, 1, 2, 0},                 // sd 3, halved: 1.5 to even
      {{-5, 0, 5}, 1, 2, 0},                 // 2.5 to even
      {{-7, 0, 7}, 1, 4, 0},                 // 3.5 to even
      {{4, 4, 4, 4}, 0, 0, 4},               // equal values: exactly 0
      {{-32768, 32767}, 0, 46340, 0},        // 46340.27..., mean -0.5 to even 0
      {{-32768, -32767}, 0, 1, -32768},      // mean -32767.5 to even
      {{-32768, 32767}, -16, INT_MAX, -32768},  // sd past 2^31; mean -0.5 * 2^16
      {{1, 2}, 40, 0, 0},
      {{-32768, 32767}, INT_MIN, INT_MAX, -2147483647 - 1},  // mean -0.5 * 2^2048 clamps
      {{-32768, 32767}, INT_MAX, 0, 0},
  };
  for (const auto& c : cases) {
    Kpl32s sd = 9, m = 9, msd = 9;
    const int n = static_cast<int>(c.x.size());
    EXPECT_EQ(kplsStdDev_16s32s_Sfs(c.x.data(), n, &sd, c.s), kplStsOk);
    EXPECT_EQ(kplsMeanStdDev_16s32s_Sfs(c.x.data(), n, &m, &msd, c.s), kplStsOk);
    EXPECT_EQ(sd, c.sd) << c.x[0] << " s=" << c.s;
    EXPECT_EQ(msd, c.sd) << c.x[0] << " s=" << c.s;
    EXPECT_EQ(m, c.mean) << c.x[0] << " s=" << c.s;
    Kpl16s sd16 = 9, m16 = 9, msd16 = 9;
    EXPECT_EQ(kplsStdDev_16s_Sfs(c.x.data(), n, &sd16, c.s), kplStsOk);
    EXPECT_EQ(kplsMeanStdDev_16s_Sfs(c.x.data(), n, &m16, &msd16, c.s), kplStsOk);
    EXPECT_EQ(sd16, to16(c.sd)) << c.x[0] << " s=" << c.s;
    EXPECT_EQ(msd16, to16(c.sd)) << c.x[0] << " s=" << c.s;
    EXPECT_EQ(m16, to16(c.mean)) << c.x[0] << " s=" << c.s;
  }
  // Q past 32 bits in every lane and past the lane flush.
  for (size_t len : {65536u, 300007u}) {
    std::vector<Kpl16s> x(len);
    for (size_t i = 0; i < len; ++i) x[i] = i % 1000 == 0 ? 32767 : -32768;
    Kpl32s sd = 0, m = 0, msd = 0;
    const Moments16 want = moments16_reference(x.data(), len, 0);
    ASSERT_EQ(kplsStdDev_16s32s_Sfs(x.data(), static_cast<int>(len), &sd, 0), kplStsOk);
    ASSERT_EQ(kplsMeanStdDev_16s32s_Sfs(x.data(), static_cast<int>(len), &m, &msd, 0), kplStsOk);
    EXPECT_EQ(sd, want.sd) << len;
    EXPECT_EQ(m, want.mean) << len;
  }
}

// Pointers, then a length below 2: one element has no sample deviation.
TEST(StdDevChecks, PointersThenLengthBelowTwo) {
  Guarded<Kpl32f> f(4);
  Guarded<Kpl64f> d(4);
  Guarded<Kpl16s> s(4);
  Guarded<uint8_t> out(32), out2(32);
  fill_random_bits(out.data(), 32, 5);
  const auto o0 = out.snapshot(), o20 = out2.snapshot();
  auto* p = out.data();
  auto* q = out2.data();
  const Kpl32f* cf = f.data();
  const Kpl64f* cd = d.data();
  const Kpl16s* cs = s.data();
  expect_checks<1>(&kplsStdDev_32f, std::make_tuple(cf, 4, reinterpret_cast<Kpl32f*>(p), 1), "StdDev_32f");
  expect_checks<1>(&kplsStdDev_64f, std::make_tuple(cd, 4, reinterpret_cast<Kpl64f*>(p)), "StdDev_64f");
  expect_checks<1>(&kplsStdDev_16s_Sfs, std::make_tuple(cs, 4, reinterpret_cast<Kpl16s*>(p), 0), "StdDev_16s_Sfs");
  expect_checks<1>(&kplsStdDev_16s32s_Sfs, std::make_tuple(cs, 4, reinterpret_cast<Kpl32s*>(p), 0), "StdDev_16s32s_Sfs");
  expect_checks<1>(&kplsMeanStdDev_32f, std::make_tuple(cf, 4, reinterpret_cast<Kpl32f*>(p), reinterpret_cast<Kpl32f*>(q), 0), "MeanStdDev_32f");
  expect_checks<1>(&kplsMeanStdDev_64f, std::make_tuple(cd, 4, reinterpret_cast<Kpl64f*>(p), reinterpret_cast<Kpl64f*>(q)), "MeanStdDev_64f");
  expect_checks<1>(&kplsMeanStdDev_16s_Sfs, std::make_tuple(cs, 4, reinterpret_cast<Kpl16s*>(p), reinterpret_cast<Kpl16s*>(q), 0), "MeanStdDev_16s_Sfs");
  expect_checks<1>(&kplsMeanStdDev_16s32s_Sfs, std::make_tuple(cs, 4, reinterpret_cast<Kpl32s*>(p), reinterpret_cast<Kpl32s*>(q), 0), "MeanStdDev_16s32s_Sfs");
  EXPECT_EQ(kplsStdDev_32f(cf, 1, reinterpret_cast<Kpl32f*>(p), kplAlgHintFast), kplStsBadSize);
  EXPECT_EQ(kplsStdDev_64f(cd, 1, reinterpret_cast<Kpl64f*>(p)), kplStsBadSize);
  EXPECT_EQ(kplsStdDev_16s_Sfs(cs, 1, reinterpret_cast<Kpl16s*>(p), 0), kplStsBadSize);
  EXPECT_EQ(kplsStdDev_16s32s_Sfs(cs, 1, reinterpret_cast<Kpl32s*>(p), 0), kplStsBadSize);
  EXPECT_EQ(kplsMeanStdDev_32f(cf, 1, reinterpret_cast<Kpl32f*>(p), reinterpret_cast<Kpl32f*>(q), 0), kplStsBadSize);
  EXPECT_EQ(kplsMeanStdDev_64f(cd, 1, reinterpret_cast<Kpl64f*>(p), reinterpret_cast<Kpl64f*>(q)), kplStsBadSize);
  EXPECT_EQ(kplsMeanStdDev_16s_Sfs(cs, 1, reinterpret_cast<Kpl16s*>(p), reinterpret_cast<Kpl16s*>(q), 0), kplStsBadSize);
  EXPECT_EQ(kplsMeanStdDev_16s32s_Sfs(cs, 1, reinterpret_cast<Kpl32s*>(p), reinterpret_cast<Kpl32s*>(q), 0), kplStsBadSize);
  EXPECT_EQ(kplsMeanStdDev_16s32s_Sfs(cs, 1, nullptr, reinterpret_cast<Kpl32s*>(q), 0), kplStsNullPointer);
  EXPECT_TRUE(out.unchanged_since(o0) && out2.unchanged_since(o20));
  // One element is a mean, though.
  const Kpl32f one = -7.25f;
  Kpl32f m = 0;
  EXPECT_EQ(kplsMean_32f(&one, 1, &m, kplAlgHintAccurate), kplStsOk);
  EXPECT_EQ(m, -7.25f);
}
