// Normalize over its types, lengths 1..70 and longer and every pair of start
// offsets: the float forms bit for bit against (x - vSub) * (1 / vDiv) in the
// element type; the 16-bit forms against the single-precision product scaled
// exactly and rounded by code written here, at every scale factor -40..40, and
// against exact rationals where 1 / vDiv is exact; then the divisor tests.
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

#define AT " len=" << len << " offsets " << oa << "," << ob

template <class T>
bool same_or_both_nan(T a, T b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

template <class T>
T pick(Rng& r, bool special) {
  static const std::vector<T> sp = [] {
    if constexpr (sizeof(T) == 4) return special_floats(); else return special_doubles();
  }();
  return special ? sp[r.next() % sp.size()] : static_cast<T>(std::ldexp(r.uniform(-1, 1), static_cast<int>(r.next() % 40) - 20));
}

// Real (Parts 1) or complex (Parts 2) float forms through one signature.
template <class T, int Parts>
KplStatus normalize(const T* s, T* d, int len, const T* sub, T div) {
  if constexpr (Parts == 1) {
    if constexpr (sizeof(T) == 4) return kplsNormalize_32f(s, d, len, sub[0], div); else return kplsNormalize_64f(s, d, len, sub[0], div);
  } else if constexpr (sizeof(T) == 4) {
    return kplsNormalize_32fc(reinterpret_cast<const Kpl32fc*>(s), reinterpret_cast<Kpl32fc*>(d), len, Kpl32fc{sub[0], sub[1]}, div);
  } else {
    return kplsNormalize_64fc(reinterpret_cast<const Kpl64fc*>(s), reinterpret_cast<Kpl64fc*>(d), len, Kpl64fc{sub[0], sub[1]}, div);
  }
}

template <class T, int Parts>
void sweep_float() {
  sweep2([](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure()) return;
    const size_t parts = len * Parts;
    Guarded<T> src(parts, oa * Parts), dst(parts, ob * Parts);
    Rng r(len * 256 + oa * 16 + ob);
    for (size_t i = 0; i < parts; ++i) src[i] = pick<T>(r, r.next() % 16 == 0);
    const T sub[2] = {pick<T>(r, r.next() % 8 == 0), pick<T>(r, false)};
    T div = pick<T>(r, false);
    if (r.next() % 8 == 0) div = std::numeric_limits<T>::min() * (r.next() % 2 ? 1 : -1);
    const T rcp = T(1) / div;
    const auto s0 = src.snapshot();
    ASSERT_EQ((normalize<T, Parts>(src.data(), dst.data(), static_cast<int>(len), sub, div)), kplStsOk) << AT;
    for (size_t i = 0; i < parts; ++i) {
      const T want = (src[i] - sub[i % Parts]) * rcp;
      ASSERT_TRUE(same_or_both_nan(dst[i], want)) << sizeof(T) << "/" << Parts << " i=" << i << ": " << dst[i] << " want " << want << AT;
    }
    ASSERT_TRUE(dst.guards_intact() && src.unchanged_since(s0)) << AT;
  });
}

}  // namespace

TEST(NormalizeFloat, MatchesReciprocalProductBitForBit) {
  sweep_float<float, 1>();
  sweep_float<double, 1>();
  sweep_float<float, 2>();
  sweep_float<double, 2>();
}

// Below the smallest normal in magnitude a divisor is refused, zero and
// denormals of both signs alike; a NaN or an infinity passes.
TEST(NormalizeFloat, DivisorTestsAndOrder) {
  const float fmin = std::numeric_limits<float>::min();
  const struct { float div; KplStatus want; } cases32[] = {
      {0.0f, kplStsDivByZero}, {-0.0f, kplStsDivByZero}, {1e-39f, kplStsDivByZero}, {-1e-39f, kplStsDivByZero},
      {std::nextafter(fmin, 0.0f), kplStsDivByZero}, {fmin, kplStsOk}, {-fmin, kplStsOk}, {-2.0f, kplStsOk},
      {std::numeric_limits<float>::quiet_NaN(), kplStsOk}, {-std::numeric_limits<float>::infinity(), kplStsOk},
  };
  const float src[3] = {1.0f, -3.0f, 5.0f};
  for (const auto& c : cases32) {
    Guarded<Kpl32f> d(3);
    Guarded<Kpl32fc> dc(1);
    const auto d0 = d.snapshot(), dc0 = dc.snapshot();
    EXPECT_EQ(kplsNormalize_32f(src, d.data(), 3, 1.0f, c.div), c.want) << c.div;
    EXPECT_EQ(kplsNormalize_32fc(reinterpret_cast<const Kpl32fc*>(src), dc.data(), 1, Kpl32fc{1, 1}, c.div), c.want) << c.div;
    if (c.want != kplStsOk) {
      EXPECT_TRUE(d.unchanged_since(d0) && dc.unchanged_since(dc0));
    }
  }
  Kpl32f out[3];
  ASSERT_EQ(kplsNormalize_32f(src, out, 3, 1.0f, -2.0f), kplStsOk);
  EXPECT_EQ(out[0], -0.0f);
  EXPECT_TRUE(std::signbit(out[0]));
  EXPECT_EQ(out[1], 2.0f);
  EXPECT_EQ(out[2], -2.0f);
  ASSERT_EQ(kplsNormalize_32f(src, out, 3, 1.0f, std::numeric_limits<float>::infinity()), kplStsOk);
  EXPECT_EQ(out[1], -0.0f);  // times 1/inf = 0

  const double dmin = std::numeric_limits<double>::min();
  const struct { double div; KplStatus want; } cases64[] = {
      {0.0, kplStsDivByZero}, {std::nextafter(dmin, 0.0), kplStsDivByZero}, {-std::nextafter(dmin, 0.0), kplStsDivByZero},
      {dmin, kplStsOk}, {1e-300, kplStsOk}, {1e-39, kplStsOk}, {std::numeric_limits<double>::quiet_NaN(), kplStsOk},
  };
  const double dsrc[2] = {1.0, 2.0};
  for (const auto& c : cases64) {
    Guarded<Kpl64f> d(2);
    Guarded<Kpl64fc> dc(1);
    const auto d0 = d.snapshot(), dc0 = dc.snapshot();
    EXPECT_EQ(kplsNormalize_64f(dsrc, d.data(), 2, 0.0, c.div), c.want) << c.div;
    EXPECT_EQ(kplsNormalize_64fc(reinterpret_cast<const Kpl64fc*>(dsrc), dc.data(), 1, Kpl64fc{0, 0}, c.div), c.want) << c.div;
    if (c.want != kplStsOk) {
      EXPECT_TRUE(d.unchanged_since(d0) && dc.unchanged_since(dc0));
    }
  }

  // Pointers, then the length, then the divisor.
  Guarded<Kpl32f> a(4), b(4);
  Guarded<Kpl64f> c(4), e(4);
  Guarded<Kpl32fc> ac(4), bc(4);
  Guarded<Kpl64fc> cc(4), ec(4);
  const auto b0 = b.snapshot(), e0 = e.snapshot(), bc0 = bc.snapshot(), ec0 = ec.snapshot();
  for (float div : {1.0f, 0.0f}) {
    expect_checks<2>(&kplsNormalize_32f, std::make_tuple(static_cast<const Kpl32f*>(a.data()), b.data(), 4, 0.0f, div), "Normalize_32f");
    expect_checks<2>(&kplsNormalize_64f, std::make_tuple(static_cast<const Kpl64f*>(c.data()), e.data(), 4, 0.0, static_cast<double>(div)), "Normalize_64f");
    expect_checks<2>(&kplsNormalize_32fc, std::make_tuple(static_cast<const Kpl32fc*>(ac.data()), bc.data(), 4, Kpl32fc{0, 0}, div), "Normalize_32fc");
    expect_checks<2>(&kplsNormalize_64fc, std::make_tuple(static_cast<const Kpl64fc*>(cc.data()), ec.data(), 4, Kpl64fc{0, 0}, static_cast<double>(div)), "Normalize_64fc");
  }
  EXPECT_TRUE(b.unchanged_since(b0) && e.unchanged_since(e0) && bc.unchanged_since(bc0) && ec.unchanged_since(ec0));
}

// ---- 16-bit forms ----

namespace {

long double round_half_even(long double x) {
  const long double f = std::floor(x), d = x - f;
  return (d > 0.5L || (d == 0.5L && std::fmod(f, 2.0L) != 0)) ? f + 1 : f;
}

// float(x - vSub) * (1 / float(vDiv)) in single precision, then times 2^-s
// exactly, to nearest even, saturated.
Kpl16s normalize16_reference(int x, int sub, int div, int s) {
  const float r = 1.0f / static_cast<float>(div);
  const float y = static_cast<float>(x - sub) * r;
  const int k = s > 300 ? 300 : (s < -300 ? -300 : s);
  const long double v = round_half_even(std::ldexp(static_cast<long double>(y), -k));
  return static_cast<Kpl16s>(v > 32767 ? 32767 : (v < -32768 ? -32768 : v));
}

const int kDivisors[] = {1, -1, 2, 3, -7, 10, 1000, 32768, -65536, 12345678, INT_MAX, INT_MIN};

template <int Parts>
void check_16(size_t len, size_t oa, size_t ob, int s, uint64_t seed) {
  const size_t parts = len * Parts;
  Guarded<Kpl16s> src(parts, oa * Parts), dst(parts, ob * Parts);
  Rng r(seed);
  for (size_t i = 0; i < parts; ++i) src[i] = static_cast<Kpl16s>(r.next() % 4 == 0 ? (r.next() % 2 ? 32767 : -32768) : r.next());
  const Kpl16s sub[2] = {static_cast<Kpl16s>(r.next()), static_cast<Kpl16s>(r.next() % 3 == 0 ? -32768 : r.next())};
  const int div = kDivisors[r.next() % std::size(kDivisors)];
  const auto s0 = src.snapshot();
  KplStatus st;
  if constexpr (Parts == 1) {
    st = kplsNormalize_16s_Sfs(src.data(), dst.data(), static_cast<int>(len), sub[0], div, s);
  } else {
    st = kplsNormalize_16sc_Sfs(reinterpret_cast<const Kpl16sc*>(src.data()), reinterpret_cast<Kpl16sc*>(dst.data()), static_cast<int>(len), Kpl16sc{sub[0], sub[1]}, div, s);
  }
  ASSERT_EQ(st, kplStsOk);
  for (size_t i = 0; i < parts; ++i)
    ASSERT_EQ(dst[i], normalize16_reference(src[i], sub[i % Parts], div, s)) << "parts " << Parts << " x=" << src[i] << " sub=" << sub[i % Parts] << " div=" << div << " s=" << s << " i=" << i << AT;
  ASSERT_TRUE(dst.guards_intact() && src.unchanged_since(s0)) << AT;
}

}  // namespace

TEST(NormalizeInteger, MatchesReferenceAtEveryFactor) {
  for (int s = -40; s <= 40; ++s)
    for (size_t len = 1; len <= 70; ++len)
      for (size_t oa = 0; oa < 16; oa += (len > 16 ? 5 : 1)) {
        if (::testing::Test::HasFailure()) return;
        const size_t ob = (oa * 5 + 3 + len) % 16;
        check_16<1>(len, oa, ob, s, len * 4096 + oa * 256 + static_cast<unsigned>(s + 64));
        check_16<2>(len, oa, ob, s, len * 4096 + oa * 256 + static_cast<unsigned>(s + 64) + 1);
      }
  for (size_t len : {127u, 128u, 1000u, 4099u})
    for (int s : {-17, -1, 0, 1, 3, 15, 16, 200, INT_MIN, INT_MAX}) {
      check_16<1>(len, len % 16, 5, s, len + static_cast<unsigned>(s));
      check_16<2>(len, 3, len % 16, s, len + static_cast<unsigned>(s));
    }
}

// Where 1 / vDiv is exact the result is the exact rational, rounded to nearest
// even and saturated.
TEST(NormalizeInteger, TiesAndSaturation) {
  const struct { Kpl16s x, sub; int div, s; Kpl16s want; } cases[] = {
      {3, 0, 2, 0, 2},             // 1.5 to even
      {5, 0, 2, 0, 2},             // 2.5 to even
      {-3, 0, 2, 0, -2},
      {7, 1, 4, 0, 2},             // 6 / 4
      {5, 0, 1, 1, 2},             // 2.5 by the scale factor
      {3, 0, -2, 0, -2},
      {32767, -32768, 1, 0, 32767},  // 65535 saturates
      {-32768, 32767, 1, 0, -32768},
      {-32768, 32767, -1, 0, 32767},
      {-32768, 32767, 2, 0, -32768},  // -32767.5 to even
      {-32768, 32767, 4, 0, -16384},  // -16383.75
      {1, 0, 1, -15, 32767},
      {-1, 0, 1, -15, -32768},
      {1, 0, INT_MIN, -100, -32768},  // tiny but not zero: saturates
      {0, 0, 1, INT_MIN, 0},
      {1, 0, 1, INT_MIN, 32767},
      {32767, -32768, 1, INT_MAX, 0},
      {32767, -32768, 1, 17, 0},      // 65535 / 131072 below one half
      {32767, -32768, 1, 16, 1},      // 0.99998...
      {1, 0, 3, -2, 1},               // 4 * float(1/3)
  };
  for (const auto& c : cases) {
    Kpl16s out = 99;
    Kpl16sc cout = {99, 99};
    const Kpl16sc cx = {c.x, c.x};
    EXPECT_EQ(kplsNormalize_16s_Sfs(&c.x, &out, 1, c.sub, c.div, c.s), kplStsOk);
    EXPECT_EQ(out, c.want) << c.x << "-" << c.sub << " / " << c.div << " s=" << c.s;
    EXPECT_EQ(kplsNormalize_16sc_Sfs(&cx, &cout, 1, Kpl16sc{c.sub, c.sub}, c.div, c.s), kplStsOk);
    EXPECT_EQ(cout.re, c.want) << c.x << " s=" << c.s;
    EXPECT_EQ(cout.im, c.want) << c.x << " s=" << c.s;
  }
}

// Only a zero divisor is refused, after the pointers and the length.
TEST(NormalizeInteger, DivisorTestAndOrder) {
  Guarded<Kpl16s> a(4), b(4);
  Guarded<Kpl16sc> ac(4), bc(4);
  fill_random_bits(a.data(), 4, 1), fill_random_bits(ac.data(), 4, 2);
  const auto b0 = b.snapshot(), bc0 = bc.snapshot();
  EXPECT_EQ(kplsNormalize_16s_Sfs(a.data(), b.data(), 4, 0, 0, 0), kplStsDivByZero);
  EXPECT_EQ(kplsNormalize_16sc_Sfs(ac.data(), bc.data(), 4, Kpl16sc{0, 0}, 0, 5), kplStsDivByZero);
  for (int div : {1, 0}) {
    expect_checks<2>(&kplsNormalize_16s_Sfs, std::make_tuple(static_cast<const Kpl16s*>(a.data()), b.data(), 4, Kpl16s{0}, div, 0), "Normalize_16s_Sfs");
    expect_checks<2>(&kplsNormalize_16sc_Sfs, std::make_tuple(static_cast<const Kpl16sc*>(ac.data()), bc.data(), 4, Kpl16sc{0, 0}, div, 0), "Normalize_16sc_Sfs");
  }
  EXPECT_TRUE(b.unchanged_since(b0) && bc.unchanged_since(bc0));
  Kpl16s one = 0;
  const Kpl16s x = 100;
  EXPECT_EQ(kplsNormalize_16s_Sfs(&x, &one, 1, 0, -1, 0), kplStsOk);  // any non-zero divisor works
  EXPECT_EQ(one, -100);
}
