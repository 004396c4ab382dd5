// Norm and NormDiff: every entry against a reference written here (the float
// forms bit for bit against a plain model of their summation order: element i
// into partial sum i mod 8, the upper half folded onto the lower; the integer
// forms against exact sums and each form's own scaling rule), over lengths 1..70
// and longer, every start offset and scale factors -40..40; then the documented
// edges, the two paths of the 32-bit L1 norm, and the order of the checks.
#include <gtest/gtest.h>

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


// ---- What a reference sees: the elements, or the differences, as exact values ----

struct CD {
  double re, im;
};
float view(Kpl32f x) { return x; }
double view(Kpl64f x) { return x; }
int32_t view(Kpl16s x) { return x; }
CD view(Kpl32fc x) { return {x.re, x.im}; }
CD view(Kpl64fc x) { return {x.re, x.im}; }
float difference(Kpl32f x, Kpl32f y) { return x - y; }
double difference(Kpl64f x, Kpl64f y) { return x - y; }
int32_t difference(Kpl16s x, Kpl16s y) { return int32_t{x} - y; }
CD difference(Kpl32fc x, Kpl32fc y) { return {double{x.re} - double{y.re}, double{x.im} - double{y.im}}; }
CD difference(Kpl64fc x, Kpl64fc y) { return {x.re - y.re, x.im - y.im}; }

// ---- References ----

template <class T>
T ref_inf(const std::vector<T>& v, int) {
  T m = 0;
  for (T x : v) {
    if (std::isnan(x)) return std::numeric_limits<T>::quiet_NaN();
    m = std::max(m, std::fabs(x));
  }
  return m;
}
template <class T>
T ref_l1(const std::vector<T>& v, int) {
  std::vector<T> t;
  for (T x : v) t.push_back(std::fabs(x));
  return ordered<8>(t);
}
template <class T>
T ref_l2(const std::vector<T>& v, int) {
  std::vector<T> t;
  for (T x : v) t.push_back(x * x);
  return std::sqrt(ordered<8>(t));
}

double ref_inf_c(const std::vector<CD>& v, int) {
  double m = 0;
  for (CD z : v) {
    const double q = z.re * z.re + z.im * z.im;
    if (std::isnan(q)) return NAN;
    m = std::max(m, q);
  }
  return std::sqrt(m);
}
Kpl32f ref_inf_c32(const std::vector<CD>& v, int s) { return static_cast<Kpl32f>(ref_inf_c(v, s)); }
double ref_l1_c(const std::vector<CD>& v, int) {
  std::vector<double> t;
  for (CD z : v) t.push_back(std::sqrt(z.re * z.re + z.im * z.im));
  return ordered<8>(t);
}
double ref_l2_c(const std::vector<CD>& v, int) {  // the parts as one real vector
  std::vector<double> t;
  for (CD z : v) t.push_back(z.re * z.re), t.push_back(z.im * z.im);
  return std::sqrt(ordered<8>(t));
}

i128 max_abs(const std::vector<int32_t>& v) {
  i128 m = 0;
  for (int32_t x : v) m = std::max<i128>(m, x < 0 ? -i128{x} : i128{x});
  return m;
}
i128 sum_abs(const std::vector<int32_t>& v) {
  i128 s = 0;
  for (int32_t x : v) s += x < 0 ? -i128{x} : i128{x};
  return s;
}
i128 sum_sq(const std::vector<int32_t>& v) {
  i128 s = 0;
  for (int32_t x : v) s += i128{x} * x;
  return s;
}

Kpl32f ref_inf_16s32f(const std::vector<int32_t>& v, int) { return static_cast<Kpl32f>(static_cast<int64_t>(max_abs(v))); }
Kpl32f ref_l1_16s32f(const std::vector<int32_t>& v, int) { return static_cast<Kpl32f>(static_cast<int64_t>(sum_abs(v))); }
Kpl32f ref_l2_16s32f(const std::vector<int32_t>& v, int) {
  return static_cast<Kpl32f>(std::sqrt(static_cast<double>(static_cast<int64_t>(sum_sq(v)))));
}
Kpl32s ref_inf_16s32s(const std::vector<int32_t>& v, int s) { return scaled<Kpl32s>(max_abs(v), s); }
Kpl64s ref_l1_16s64s(const std::vector<int32_t>& v, int s) { return scaled<Kpl64s>(sum_abs(v), s); }

// Up to 65536 elements: the sum in 32 unsigned bits, unsaturated at scale 0, a
// left shift of at most 31 saturating, a truncating right shift, zero from 32 on.
// Longer: the same on 64 bits, saturated at every scale, zero only past 63.
Kpl32s ref_l1_16s32s(const std::vector<int32_t>& v, int s) {
  const i128 sum = sum_abs(v), kMax = INT32_MAX;
  const int up = s < -31 ? 31 : -s;
  if (v.size() <= 65536) {
    const uint32_t u = static_cast<uint32_t>(sum);
    if (s == 0) return static_cast<Kpl32s>(u);
    if (s < 0) return static_cast<Kpl32s>(std::min(i128{u} << up, kMax));
    return s >= 32 ? 0 : static_cast<Kpl32s>(u >> s);
  }
  if (s == 0) return static_cast<Kpl32s>(std::min(sum, kMax));
  if (s < 0) return static_cast<Kpl32s>(std::min(sum << up, kMax));
  return s > 63 ? 0 : static_cast<Kpl32s>(std::min(sum >> s, kMax));
}

// The root in double, scaled by 2^(s mod 32) in the direction of s, truncated.
Kpl32s ref_l2_16s32s(const std::vector<int32_t>& v, int s) {
  double r = std::sqrt(static_cast<double>(static_cast<int64_t>(sum_sq(v))));
  const int count = static_cast<int>(s > 0 ? static_cast<unsigned>(s) % 32 : (0u - static_cast<unsigned>(s)) % 32);
  r = std::ldexp(r, s > 0 ? -count : count);
  return r > 2147483647.0 ? INT32_MAX : static_cast<Kpl32s>(std::trunc(r));
}

// Right shifts truncate; a left shift saturates exactly when the result would
// not fit, the count capped at 63.
Kpl64s ref_l2sqr_16s64s(const std::vector<int32_t>& v, int s) {
  const i128 q = sum_sq(v);
  if (s >= 0) return s > 63 ? 0 : static_cast<Kpl64s>(q >> s);
  const i128 y = q << (s < -63 ? 63 : -s);
  return y > INT64_MAX ? INT64_MAX : static_cast<Kpl64s>(y);
}

// ---- Values ----


// ---- Entries described for the sweep ----

template <auto E, class S_, class R_, auto Ref, bool Diff, bool Scaled>
struct Case {
  using S = S_;
  using A = S_;
  using B = S_;
  using R = R_;
  static constexpr bool diff = Diff, scaled = Scaled;
  static constexpr size_t len_index = Diff ? 2 : 1;
  static constexpr auto entry = E;
  static KplStatus call(const S* x, const S* y, int n, R* r, int s) {
    if constexpr (Diff) {
      if constexpr (Scaled) return E(x, y, n, r, s); else return E(x, y, n, r);
    } else {
      if constexpr (Scaled) return E(x, n, r, s); else return E(x, n, r);
    }
  }
  static R ref(const S* x, const S* y, size_t n, int s) {
    std::vector<decltype(view(S{}))> v;
    for (size_t i = 0; i < n; ++i) v.push_back(Diff ? difference(x[i], y[i]) : view(x[i]));
    return Ref(v, s);
  }
  static auto good(const S* x, const S* y, R* r) {
    if constexpr (Diff) {
      if constexpr (Scaled) return std::make_tuple(x, y, 4, r, 3); else return std::make_tuple(x, y, 4, r);
    } else {
      if constexpr (Scaled) return std::make_tuple(x, 4, r, 3); else return std::make_tuple(x, 4, r);
    }
  }
};


// Every length and offset (both offsets for differences), the scale factor moving
// through -40..40 and the extremes from call to call.
template <class C>
void sweep_case() {
  const std::vector<int>& scales = scale_factors();
  size_t k = 0;
  bool ok = true;
  auto one = [&](size_t len, size_t ox, size_t oy) {
    const int s = C::scaled ? scales[k % scales.size()] : 0;
    ++k;
    if (ok) ok = run_once<C>(len, ox, oy, s, len * 1000003u + ox * 1009u + oy * 31u + k);
  };
  if constexpr (C::diff) {
    sweep2(one);
  } else {
    sweep1([&](size_t len, size_t ox) { one(len, ox, 0); });
    // More data per offset for the one-source forms, so each scale factor meets many sums.
    sweep1([&](size_t len, size_t ox) { one(len, (ox + 5) % 16, 0); });
  }
}


#define NORM_CASES(Op, Diff)                                                                               \
  Case<kpls##Op##_Inf_32f, Kpl32f, Kpl32f, ref_inf<float>, Diff, false>,                                      \
      Case<kpls##Op##_Inf_64f, Kpl64f, Kpl64f, ref_inf<double>, Diff, false>,                                 \
      Case<kpls##Op##_Inf_16s32f, Kpl16s, Kpl32f, ref_inf_16s32f, Diff, false>,                               \
      Case<kpls##Op##_Inf_32fc32f, Kpl32fc, Kpl32f, ref_inf_c32, Diff, false>,                                \
      Case<kpls##Op##_Inf_64fc64f, Kpl64fc, Kpl64f, ref_inf_c, Diff, false>,                                  \
      Case<kpls##Op##_L1_32f, Kpl32f, Kpl32f, ref_l1<float>, Diff, false>,                                    \
      Case<kpls##Op##_L1_64f, Kpl64f, Kpl64f, ref_l1<double>, Diff, false>,                                   \
      Case<kpls##Op##_L1_16s32f, Kpl16s, Kpl32f, ref_l1_16s32f, Diff, false>,                                 \
      Case<kpls##Op##_L1_64fc64f, Kpl64fc, Kpl64f, ref_l1_c, Diff, false>,                                    \
      Case<kpls##Op##_L1_32fc64f, Kpl32fc, Kpl64f, ref_l1_c, Diff, false>,                                    \
      Case<kpls##Op##_L2_32f, Kpl32f, Kpl32f, ref_l2<float>, Diff, false>,                                    \
      Case<kpls##Op##_L2_64f, Kpl64f, Kpl64f, ref_l2<double>, Diff, false>,                                   \
      Case<kpls##Op##_L2_16s32f, Kpl16s, Kpl32f, ref_l2_16s32f, Diff, false>,                                 \
      Case<kpls##Op##_L2_64fc64f, Kpl64fc, Kpl64f, ref_l2_c, Diff, false>,                                    \
      Case<kpls##Op##_L2_32fc64f, Kpl32fc, Kpl64f, ref_l2_c, Diff, false>,                                    \
      Case<kpls##Op##_Inf_16s32s_Sfs, Kpl16s, Kpl32s, ref_inf_16s32s, Diff, true>,                            \
      Case<kpls##Op##_L1_16s32s_Sfs, Kpl16s, Kpl32s, ref_l1_16s32s, Diff, true>,                              \
      Case<kpls##Op##_L2_16s32s_Sfs, Kpl16s, Kpl32s, ref_l2_16s32s, Diff, true>,                              \
      Case<kpls##Op##_L1_16s64s_Sfs, Kpl16s, Kpl64s, ref_l1_16s64s, Diff, true>,                              \
      Case<kpls##Op##_L2Sqr_16s64s_Sfs, Kpl16s, Kpl64s, ref_l2sqr_16s64s, Diff, true>

using NormCases = ::testing::Types<NORM_CASES(Norm, false)>;
using NormDiffCases = ::testing::Types<NORM_CASES(NormDiff, true)>;

template <class C>
class NormAll : public ::testing::Test {};
TYPED_TEST_SUITE(NormAll, NormCases);
template <class C>
class NormDiffAll : public ::testing::Test {};
TYPED_TEST_SUITE(NormDiffAll, NormDiffCases);

TYPED_TEST(NormAll, MatchesReferenceAtEveryLengthOffsetAndScale) { sweep_case<TypeParam>(); }
TYPED_TEST(NormAll, ArgumentErrorsWriteNothing) { checks_write_nothing<TypeParam>(); }
TYPED_TEST(NormDiffAll, MatchesReferenceAtEveryLengthOffsetAndScale) { sweep_case<TypeParam>(); }
TYPED_TEST(NormDiffAll, ArgumentErrorsWriteNothing) { checks_write_nothing<TypeParam>(); }

// ---- Edges ----

Kpl32s l2_16s32s(std::vector<Kpl16s> v, int s) {
  Kpl32s r = 0;
  EXPECT_EQ(kplsNorm_L2_16s32s_Sfs(v.data(), static_cast<int>(v.size()), &r, s), kplStsOk);
  return r;
}

TEST(NormL2_16s32sSfs, RootIsTruncatedAndShiftCountWrapsAt32) {
  const std::vector<Kpl16s> big(65536, -32768);  // sum of squares 2^46, root 2^23
  struct { std::vector<Kpl16s> v; int s; Kpl32s want; } cases[] = {
      {{-32768}, 0, 32768},                // the most negative value has a root
      {{3, 4}, 0, 5},   {{3, 4}, 1, 2},    // 2.5 truncates
      {{1, 1}, 0, 1},                      // sqrt(2) truncates
      {{3, 4}, 32, 5},  {{3, 4}, 33, 2},   // the count wraps at 32
      {{3, 4}, -32, 5}, {{3, 4}, -33, 10}, // in both directions
      {{3, 4}, -1, 10}, {{3, 4}, 31, 0},
      {big, -7, 1 << 30}, {big, -8, INT32_MAX},  // 2^31 is above the range
      {{3, 4}, INT_MIN, 5},
  };
  for (const auto& c : cases) EXPECT_EQ(l2_16s32s(c.v, c.s), c.want) << "len " << c.v.size() << " s=" << c.s;
}

Kpl32s l1_16s32s(size_t len, Kpl16s value, int s) {
  std::vector<Kpl16s> v(len, value);
  Kpl32s r = 0;
  EXPECT_EQ(kplsNorm_L1_16s32s_Sfs(v.data(), static_cast<int>(len), &r, s), kplStsOk);
  return r;
}

TEST(NormL1_16s32sSfs, ShortAndLongPathsDifferWhereDocumented) {
  struct { size_t len; Kpl16s value; int s; Kpl32s want; } cases[] = {
      {65536, -32768, 0, INT32_MIN},      // 2^31 in 32 unsigned bits, not saturated
      {65537, -32768, 0, INT32_MAX},      // the 64-bit path saturates
      {65536, -32768, -1, INT32_MAX},     // a left shift saturates on both paths
      {65537, 1, -20, INT32_MAX},
      {65536, -32768, 1, 1 << 30},        // right shifts truncate
      {65536, 3, 1, 98304},               // 196608 / 2
      {65535, 1, 1, 32767},               // 32767.5 truncates
      {65536, -32768, 31, 1},
      {65536, -32768, 32, 0},             // the short path is zero from 32
      {131073, -32768, 32, 1},            // the long one shifts up to 63: (2^32 + 2^15) >> 32
      {131073, -32768, 63, 0},
      {65537, 2, -14, INT32_MAX},         // 131074 << 14 is above the range
      {65537, 1, -14, 65537 << 14},
  };
  for (const auto& c : cases) EXPECT_EQ(l1_16s32s(c.len, c.value, c.s), c.want) << "len " << c.len << " of " << c.value << " s=" << c.s;
}

TEST(NormDiffL1_16s32sSfs, ShortPathKeepsAllThirtyTwoBitsAtScaleZero) {
  const std::vector<Kpl16s> x(65536, 32767), y(65536, -32768);  // 65536 * 65535
  Kpl32s r = 0;
  ASSERT_EQ(kplsNormDiff_L1_16s32s_Sfs(x.data(), y.data(), 65536, &r, 0), kplStsOk);
  EXPECT_EQ(static_cast<uint32_t>(r), 65536u * 65535u);
  ASSERT_EQ(kplsNormDiff_L1_16s32s_Sfs(x.data(), y.data(), 65535, &r, 1), kplStsOk);
  EXPECT_EQ(r, static_cast<Kpl32s>(65535u * 65535u / 2u));
  const std::vector<Kpl16s> x2(65537, 32767), y2(65537, -32768);
  ASSERT_EQ(kplsNormDiff_L1_16s32s_Sfs(x2.data(), y2.data(), 65537, &r, 0), kplStsOk);
  EXPECT_EQ(r, INT32_MAX);
}

TEST(NormL2Sqr_16s64sSfs, LeftShiftSaturatesByBitLength) {
  struct { std::vector<Kpl16s> v; int s; Kpl64s want; } cases[] = {
      {{-32768}, 0, int64_t{1} << 30},  {{-32768}, -32, int64_t{1} << 62},  {{-32768}, -33, INT64_MAX},
      {{1}, -62, int64_t{1} << 62},     {{1}, -63, INT64_MAX},              {{0}, -200, 0},
      {{1, 1, 3}, 1, 5},  // 11 / 2 truncates
      {{-32768, -32768}, 31, 1},        {{-32768}, 64, 0},                  {{3}, -1, 18},
  };
  for (const auto& c : cases) {
    Kpl64s r = 0;
    ASSERT_EQ(kplsNorm_L2Sqr_16s64s_Sfs(c.v.data(), static_cast<int>(c.v.size()), &r, c.s), kplStsOk);
    EXPECT_EQ(r, c.want) << "s=" << c.s;
  }
}

// pmaddwd pairs of -32768 * -32768 sum to 2^31, one past the signed range.
TEST(NormL2_16s, PairsOfMostNegativeValuesStayExact) {
  for (int len : {8, 16, 24, 31}) {
    const std::vector<Kpl16s> v(static_cast<size_t>(len), -32768);
    Kpl64s q = 0;
    Kpl32f f = 0;
    ASSERT_EQ(kplsNorm_L2Sqr_16s64s_Sfs(v.data(), len, &q, 0), kplStsOk);
    EXPECT_EQ(q, int64_t{len} << 30);
    ASSERT_EQ(kplsNorm_L1_16s64s_Sfs(v.data(), len, &q, 0), kplStsOk);
    EXPECT_EQ(q, int64_t{len} << 15);
    ASSERT_EQ(kplsNorm_Inf_16s32f(v.data(), len, &f), kplStsOk);
    EXPECT_EQ(f, 32768.0f);
  }
}

TEST(NormInf, MagnitudesNaNsAndSignedZeros) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = INFINITY;
  struct { std::vector<float> v; uint32_t want; } cases[] = {
      {{-0.0f, -0.0f}, 0x00000000},  // the magnitude of -0 is +0
      {{1.0f, -inf, 2.0f}, 0x7F800000},
      {{-3.0f, 2.0f, 1.0f, 0.5f, -2.5f}, 0x40400000},
      {{1.0f, nan, inf, 2.0f, 3.0f}, 0x7FC00000},  // a NaN wins over everything
      {{1.0f, 2.0f, 3.0f, 4.0f, -nan}, 0x7FC00000},
  };
  for (const auto& c : cases) {
    float r = 1;
    ASSERT_EQ(kplsNorm_Inf_32f(c.v.data(), static_cast<int>(c.v.size()), &r), kplStsOk);
    EXPECT_EQ(std::bit_cast<uint32_t>(r), c.want) << "len " << c.v.size();
    std::vector<double> d(c.v.begin(), c.v.end());
    double rd = 1;
    ASSERT_EQ(kplsNorm_Inf_64f(d.data(), static_cast<int>(d.size()), &rd), kplStsOk);
    EXPECT_EQ(std::bit_cast<uint64_t>(rd), std::bit_cast<uint64_t>(static_cast<double>(std::bit_cast<float>(c.want))));
  }
  const Kpl32fc z[] = {{3, 4}, {-6, 8}, {0, -9}};  // magnitudes 5, 10, 9
  float r = 0;
  ASSERT_EQ(kplsNorm_Inf_32fc32f(z, 3, &r), kplStsOk);
  EXPECT_EQ(r, 10.0f);
  // 1e30 squared overflows single precision, not the double magnitude.
  const Kpl32fc h[] = {{1e30f, 1e30f}};
  ASSERT_EQ(kplsNorm_Inf_32fc32f(h, 1, &r), kplStsOk);
  const double a = 1e30f;
  EXPECT_EQ(r, static_cast<float>(std::sqrt(a * a + a * a)));
}

// The fixed order is an honest sum: against long double, within (len + 2) units
// of rounding of the sum of the terms' magnitudes.
TEST(NormL2, AgreesWithLongDoubleWithinTheSummationBound) {
  Rng rng(99);
  for (int len : {1, 7, 64, 1000, 4099}) {
    std::vector<float> v(static_cast<size_t>(len));
    std::vector<double> w(v.size());
    long double q = 0;
    for (size_t i = 0; i < v.size(); ++i) {
      v[i] = static_cast<float>(rng.uniform(-3, 3)), w[i] = v[i];
      q += static_cast<long double>(v[i]) * v[i];
    }
    float r = 0;
    double rd = 0;
    ASSERT_EQ(kplsNorm_L2_32f(v.data(), len, &r), kplStsOk);
    ASSERT_EQ(kplsNorm_L2_64f(w.data(), len, &rd), kplStsOk);
    const long double exact = std::sqrt(q);
    EXPECT_LE(std::fabs(r - exact), exact * (len + 2) * 0x1p-24L) << len;
    EXPECT_LE(std::fabs(rd - exact), exact * (len + 2) * 0x1p-53L) << len;
  }
}

// A vector that ends flush with an inaccessible page is never read past its end.
TEST(NormL2_32f, ReadsNothingPastTheVector) {
  FencedPage page;
  ASSERT_TRUE(page.ok());
  for (size_t len : {1u, 3u, 7u, 8u, 9u, 15u, 33u}) {
    auto* x = reinterpret_cast<Kpl32f*>(page.ending_at_end(len * sizeof(Kpl32f)));
    for (size_t i = 0; i < len; ++i) x[i] = 1.0f;
    Kpl32f r = 0;
    ASSERT_EQ(kplsNorm_L2_32f(x, static_cast<int>(len), &r), kplStsOk);
    EXPECT_EQ(r, std::sqrt(static_cast<float>(len)));
    auto* h = reinterpret_cast<Kpl16s*>(page.ending_at_end(len * sizeof(Kpl16s)));
    for (size_t i = 0; i < len; ++i) h[i] = 2;
    Kpl64s q = 0;
    ASSERT_EQ(kplsNormDiff_L2Sqr_16s64s_Sfs(h, h, static_cast<int>(len), &q, 0), kplStsOk);
    EXPECT_EQ(q, 0);
  }
}

}  // namespace
