// Min, Max, MinMax, their Indx and Abs forms, MinEvery, MaxEvery and MaxOrder,
// swept over their types, lengths 1..70 and longer and every start offset against
// plain references written here (exact in long double); NaNs against a model of
// the documented lane scheme; the pinned edges and the order of checks as tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

template <class T>
constexpr bool kFloat = std::is_floating_point_v<T>;
template <class T>
bool same(T a, T b) {
  return same_bits(&a, &b, 1);
}
const float kNan = std::numeric_limits<float>::quiet_NaN();

// Many ties (a third from a handful of values), the type's extremes, the rest
// random bits (integers) or spread values; no NaN, which has its own test.
template <class T>
void fill_values(T* p, size_t n, uint64_t seed) {
  using L = std::numeric_limits<T>;
  Rng r(seed);
  for (size_t i = 0; i < n; ++i) {
    const uint64_t pick = r.next() % 6;
    if (pick < 2) {
      p[i] = static_cast<T>(r.next() % 9) - static_cast<T>(kFloat<T> ? 4 : 0);
    } else if (pick == 2) {
      const T sp[] = {L::lowest(), L::max(), T(0), T(1), kFloat<T> ? -T(0) : T(2), L::denorm_min(),
                      kFloat<T> ? L::infinity() : T(3)};
      p[i] = sp[r.next() % 7];
    } else if constexpr (kFloat<T>) {
      p[i] = static_cast<T>(r.uniform(-1e6, 1e6));
    } else {
      fill_random_bits(p + i, 1, r.next());
    }
  }
}

// ---- References ----

struct Ref {
  long double min, max;
  int min_at, max_at;  // first positions
};
template <class T>
Ref reference(const T* p, size_t n) {
  Ref r{static_cast<long double>(p[0]), static_cast<long double>(p[0]), 0, 0};
  for (size_t i = 1; i < n; ++i) {
    if (p[i] < r.min) r.min = p[i], r.min_at = static_cast<int>(i);
    if (p[i] > r.max) r.max = p[i], r.max_at = static_cast<int>(i);
  }
  return r;
}
// What MinAbs and MaxAbs compare: the most negative integer counts as the largest.
template <class T>
T clamped_abs(T x) {
  return static_cast<T>(std::min<int64_t>(std::abs(int64_t{x}), std::numeric_limits<T>::max()));
}
// The lane scheme of floats: element i in lane i % K, K = four vectors of P lanes,
// every lane starting from the first element, step acc > x ? acc : x (acc < x ?
// acc : x); the four vectors fold in order, then the lanes by halves,
// v[j] = step(v[j], v[j + h]) for h = P/2 .. 1.
template <class T>
T lane_model(const T* p, size_t n, bool max) {
  constexpr size_t P = 16 / sizeof(T), K = 4 * P;
  auto step = [max](T acc, T x) { return max ? (acc > x ? acc : x) : (acc < x ? acc : x); };
  std::vector<T> lanes(K, p[0]);
  for (size_t i = 0; i < n; ++i) lanes[i % K] = step(lanes[i % K], p[i]);
  for (size_t k = P; k < K; ++k) lanes[k % P] = step(lanes[k % P], lanes[k]);
  for (size_t h = P / 2; h >= 1; h /= 2)
    for (size_t j = 0; j < h; ++j) lanes[j] = step(lanes[j], lanes[j + h]);
  return lanes[0];
}
template <class T>
int first_equal(const T* p, size_t n, T v) {
  for (size_t i = 0; i < n; ++i)
    if (p[i] == v) return static_cast<int>(i);
  return 0;
}

// ---- Every value and position entry of a type, by overload ----

#define KPL_PAIR_ENTRIES(T, c)                                                                                     \
  KplStatus min_max(const T* p, int n, T* a, T* b) { return kplsMinMax_##c(p, n, a, b); }                         \
  KplStatus min_max_indx(const T* p, int n, T* a, int* i, T* b, int* j) { return kplsMinMaxIndx_##c(p, n, a, i, b, j); }
#define KPL_SINGLE_ENTRIES(T, c)                                                                                   \
  KplStatus min_indx(const T* p, int n, T* r, int* i) { return i ? kplsMinIndx_##c(p, n, r, i) : kplsMin_##c(p, n, r); } \
  KplStatus max_indx(const T* p, int n, T* r, int* i) { return i ? kplsMaxIndx_##c(p, n, r, i) : kplsMax_##c(p, n, r); }
KPL_PAIR_ENTRIES(Kpl8u, 8u)
KPL_PAIR_ENTRIES(Kpl16u, 16u)
KPL_PAIR_ENTRIES(Kpl16s, 16s)
KPL_PAIR_ENTRIES(Kpl32u, 32u)
KPL_PAIR_ENTRIES(Kpl32s, 32s)
KPL_PAIR_ENTRIES(Kpl32f, 32f)
KPL_PAIR_ENTRIES(Kpl64f, 64f)
KPL_SINGLE_ENTRIES(Kpl16s, 16s)
KPL_SINGLE_ENTRIES(Kpl32s, 32s)
KPL_SINGLE_ENTRIES(Kpl32f, 32f)
KPL_SINGLE_ENTRIES(Kpl64f, 64f)

// All of them on one vector: values as `eq` says, positions exactly.
template <class T, class Eq>
void check_all(const T* p, size_t len, T lo, T hi, int lo_at, int hi_at, Eq eq, const std::string& where) {
  const int n = static_cast<int>(len);
  T a{}, b{};
  int i = -1, j = -1;
  ASSERT_EQ(min_max(p, n, &a, &b), kplStsOk);
  EXPECT_TRUE(eq(a, lo) && eq(b, hi)) << where << " MinMax";
  ASSERT_EQ(min_max_indx(p, n, &a, &i, &b, &j), kplStsOk);
  EXPECT_TRUE(eq(a, lo) && eq(b, hi) && i == lo_at && j == hi_at) << where << " MinMaxIndx " << i << " " << j;
  if constexpr (requires { min_indx(p, n, &a, &i); }) {
    for (int* at : {static_cast<int*>(nullptr), &i}) {  // the value forms, then the Indx forms
      ASSERT_EQ(min_indx(p, n, &a, at), kplStsOk);
      ASSERT_EQ(max_indx(p, n, &b, at ? &j : nullptr), kplStsOk);
      EXPECT_TRUE(eq(a, lo) && eq(b, hi)) << where << (at ? " Min/MaxIndx" : " Min/Max");
    }
    EXPECT_TRUE(i == lo_at && j == hi_at) << where << " MinIndx/MaxIndx " << i << " " << j;
  }
}

template <class T>
class MinMaxValues : public ::testing::Test {};
using ValueTypes = ::testing::Types<Kpl8u, Kpl16u, Kpl16s, Kpl32u, Kpl32s, Kpl32f, Kpl64f>;
TYPED_TEST_SUITE(MinMaxValues, ValueTypes);

TYPED_TEST(MinMaxValues, MatchReferenceAtEveryLengthAndOffset) {
  using T = TypeParam;
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    Guarded<T> src(len, off);
    fill_values(src.data(), len, len * 16 + off);
    const auto s0 = src.snapshot();
    const Ref r = reference(src.data(), len);
    check_all(src.data(), len, static_cast<T>(r.min), static_cast<T>(r.max), r.min_at, r.max_at,
              [](T a, T b) { return a == b; }, "len=" + std::to_string(len) + " offset=" + std::to_string(off));
    EXPECT_TRUE(src.unchanged_since(s0));
  });
}

// With NaNs the values follow the lane scheme bit for bit; a position is the first
// element equal to the value, 0 when the value is a NaN.
TYPED_TEST(MinMaxValues, NanFollowsTheLaneScheme) {
  using T = TypeParam;
  if constexpr (kFloat<T>) {
    sweep1([](size_t len, size_t off) {
      if (::testing::Test::HasFailure() || off % 5 != 0) return;
      std::vector<T> v(len);
      fill_values(v.data(), len, len * 16 + off + 1);
      Rng r(len + off);
      for (uint64_t k = 1 + r.next() % 3; k > 0; --k) v[r.next() % len] = std::numeric_limits<T>::quiet_NaN();
      const T lo = lane_model(v.data(), len, false), hi = lane_model(v.data(), len, true);
      check_all(v.data(), len, lo, hi, first_equal(v.data(), len, lo), first_equal(v.data(), len, hi), same<T>,
                "len=" + std::to_string(len));
    });
  }
}

TEST(MaxIndx32f, NanPlacesPinned) {
  struct {
    std::vector<float> v;
    float max;  // NaN: the result is a NaN
    int at;
  } cases[] = {
      {{1, kNan, 0.5f}, 1, 0},  // lane 1 holds the NaN; lane 5 replaces it in the fold
      {{kNan}, kNan, 0},        // a NaN extreme equals nothing: position 0
      {{kNan, 2, 3}, kNan, 0},  // every lane starts from the NaN; lanes no element reaches keep it
      // Only a NaN in the last of the 16 lanes survives the fold, until the next
      // element of its own lane replaces it.
      {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, kNan}, kNan, 0},
      {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, kNan, 13, 14}, 14, 15},
      {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, kNan, 13}, 13, 13},
      {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, kNan, -1}, kNan, 0},
      {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, kNan, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -1}, 14, 14},
  };
  for (const auto& c : cases) {
    float v = 0;
    int at = -1;
    ASSERT_EQ(kplsMaxIndx_32f(c.v.data(), static_cast<int>(c.v.size()), &v, &at), kplStsOk);
    EXPECT_TRUE(std::isnan(c.max) ? std::isnan(v) : v == c.max) << "len " << c.v.size() << " got " << v;
    EXPECT_EQ(at, c.at) << "len " << c.v.size();
  }
  // MinMaxIndx: all equal gives 0 for both; the first of equal extremes.
  const float ties[][6] = {{2, 2, 2, 2, 2, 2}, {3, 1, 5, 1, 5, 0.5f}, {0.0f, -0.0f, -1, 1, -1, 1}};
  const int want[][2] = {{0, 0}, {5, 2}, {2, 3}};
  for (int k = 0; k < 3; ++k) {
    float lo, hi;
    int i = -1, j = -1;
    ASSERT_EQ(kplsMinMaxIndx_32f(ties[k], 6, &lo, &i, &hi, &j), kplStsOk);
    EXPECT_TRUE(i == want[k][0] && j == want[k][1]) << "case " << k << ": " << i << " " << j;
  }
}

// ---- MinAbs, MaxAbs and their Indx forms ----

#define KPL_ABS_ENTRIES(T, c)                                                                                      \
  KplStatus min_abs(const T* p, int n, T* r, int* i) { return i ? kplsMinAbsIndx_##c(p, n, r, i) : kplsMinAbs_##c(p, n, r); } \
  KplStatus max_abs(const T* p, int n, T* r, int* i) { return i ? kplsMaxAbsIndx_##c(p, n, r, i) : kplsMaxAbs_##c(p, n, r); }
KPL_ABS_ENTRIES(Kpl16s, 16s)
KPL_ABS_ENTRIES(Kpl32s, 32s)

template <class T>
class MinMaxAbs : public ::testing::Test {};
using AbsTypes = ::testing::Types<Kpl16s, Kpl32s>;
TYPED_TEST_SUITE(MinMaxAbs, AbsTypes);

TYPED_TEST(MinMaxAbs, MatchReferenceAtEveryLengthAndOffset) {
  using T = TypeParam;
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    Guarded<T> src(len, off);
    fill_values(src.data(), len, len * 16 + off + 7);
    std::vector<T> mag(len);
    for (size_t i = 0; i < len; ++i) mag[i] = clamped_abs(src[i]);
    const Ref r = reference(mag.data(), len);
    const int n = static_cast<int>(len);
    T lo, hi, lo1, hi1;
    int i = -1, j = -1;
    ASSERT_EQ(min_abs(src.data(), n, &lo, &i), kplStsOk);
    ASSERT_EQ(max_abs(src.data(), n, &hi, &j), kplStsOk);
    ASSERT_EQ(min_abs(src.data(), n, &lo1, nullptr), kplStsOk);
    ASSERT_EQ(max_abs(src.data(), n, &hi1, nullptr), kplStsOk);
    EXPECT_TRUE(lo == r.min && hi == r.max && lo1 == lo && hi1 == hi) << "len=" << len << " offset=" << off;
    EXPECT_TRUE(i == r.min_at && j == r.max_at) << "len=" << len << " offset=" << off << ": " << i << " " << j;
  });
}

TEST(MaxAbsIndx16s, MostNegativeClampsAndTies) {
  struct {
    std::vector<Kpl16s> v;
    Kpl16s want;
    int at;
  } cases[] = {
      {{-32768}, 32767, 0}, {{5, -32768, 7}, 32767, 1},
      {{32767, -32768}, 32767, 0},  // the first of the two is reported
      {{-32768, 32767}, 32767, 0},  {{-3, 3, -2}, 3, 0},
  };
  for (const auto& c : cases) {
    Kpl16s v = 0;
    int at = -1;
    ASSERT_EQ(kplsMaxAbsIndx_16s(c.v.data(), static_cast<int>(c.v.size()), &v, &at), kplStsOk);
    EXPECT_TRUE(v == c.want && at == c.at) << "first " << c.v[0] << ": " << v << " at " << at;
  }
  const Kpl16s m16[] = {-32768, -32767, 32767};
  const Kpl32s m32[] = {INT32_MAX - 1, INT32_MIN, INT32_MAX};
  Kpl16s r16 = 0;
  Kpl32s r32 = 0;
  int at = -1;
  EXPECT_TRUE(kplsMinAbsIndx_16s(m16, 3, &r16, &at) == kplStsOk && r16 == 32767 && at == 0);
  EXPECT_TRUE(kplsMaxAbsIndx_32s(m32, 3, &r32, &at) == kplStsOk && r32 == INT32_MAX && at == 1);
  EXPECT_TRUE(kplsMinAbs_32s(m32 + 1, 2, &r32) == kplStsOk && r32 == INT32_MAX);
}

// An Indx form with a null pIndx is its value form: pResult is tested before it,
// the length after it. Nothing is written on a refusal.
TEST(MinMaxChecks, PointersThenLengthAndNothingWritten) {
  const Kpl32f src[4] = {3, 1, 4, 1};
  Kpl32f v = 7;
  int at = -5;
  for (auto f : {kplsMinIndx_32f, kplsMaxIndx_32f}) {
    const struct { const Kpl32f* s; int len; Kpl32f* r; int* i; KplStatus want; } cases[] = {
        {nullptr, 4, &v, &at, kplStsNullPointer}, {src, 4, nullptr, &at, kplStsNullPointer},
        {src, 0, nullptr, nullptr, kplStsNullPointer}, {src, 0, &v, &at, kplStsBadSize},
        {src, -1, &v, nullptr, kplStsBadSize}, {src, INT_MIN, &v, &at, kplStsBadSize}};
    for (const auto& c : cases) EXPECT_EQ(f(c.s, c.len, c.r, c.i), c.want) << "len " << c.len;
    EXPECT_TRUE(v == 7 && at == -5);
  }
  EXPECT_TRUE(kplsMaxIndx_32f(src, 4, &v, nullptr) == kplStsOk && v == 4 && at == -5);
  Kpl16s s16[2] = {1, -2}, r16 = 9;
  EXPECT_TRUE(kplsMaxAbsIndx_16s(s16, 0, &r16, nullptr) == kplStsBadSize && r16 == 9);
  // The value forms and MinMaxIndx, which needs all its pointers.
  Kpl32f lo = 9, hi = 9;
  int i = 9, j = 9;
  expect_checks<1>(&kplsMin_32f, std::make_tuple(src, 4, &lo), "Min_32f");
  expect_checks<1>(&kplsMinMax_32f, std::make_tuple(src, 4, &lo, &hi), "MinMax_32f");
  expect_checks<1>(&kplsMaxAbs_16s, std::make_tuple(static_cast<const Kpl16s*>(s16), 2, &r16), "MaxAbs_16s");
  expect_checks<1>(&kplsMinMaxIndx_32f, std::make_tuple(src, 4, &lo, &i, &hi, &j), "MinMaxIndx_32f");
  EXPECT_TRUE(lo == 9 && hi == 9 && i == 9 && j == 9 && r16 == 9);
}

// Vectors flush against an unreadable page: any read past either end faults.
TEST(MinMaxFenced, NoReadOutsideTheVector) {
  FencedPage page;
  ASSERT_TRUE(page.ok());
  for (int n = 1; n <= 67; n += 3) {
    for (auto* p : {reinterpret_cast<Kpl32f*>(page.at_start()), reinterpret_cast<Kpl32f*>(page.ending_at_end(4 * n))}) {
      for (int k = 0; k < n; ++k) p[k] = static_cast<Kpl32f>(k % 7);
      Kpl32f lo, hi;
      int i, j;
      EXPECT_TRUE(kplsMinMaxIndx_32f(p, n, &lo, &i, &hi, &j) == kplStsOk && hi == std::min(n - 1, 6) && j == hi);
    }
    auto* e16 = reinterpret_cast<Kpl16s*>(page.ending_at_end(2 * n));
    for (int k = 0; k < n; ++k) e16[k] = static_cast<Kpl16s>(-k);
    Kpl16s v;
    int at, order;
    EXPECT_TRUE(kplsMaxAbsIndx_16s(e16, n, &v, &at) == kplStsOk && at == n - 1);
    EXPECT_EQ(kplsMaxOrder_16s(e16, n, &order), kplStsOk);
  }
}

// ---- MinEvery, MaxEvery: first < second ? first : second (> for the maximum),
// pSrc (pSrc1) first, so a tie or a NaN gives the second operand ----

template <class T>
T pick(T a, T b, bool max) {
  return max ? (a > b ? a : b) : (a < b ? a : b);
}
template <class T>
void fill_every(T* p, size_t n, uint64_t seed) {
  fill_values(p, n, seed);
  if constexpr (kFloat<T>)
    for (size_t i = seed % 7; i < n; i += 7) p[i] = std::numeric_limits<T>::quiet_NaN();
}

template <class T, auto Min, auto Max>
struct Every {
  using Type = T;
  static constexpr auto min = Min, max = Max;
};
template <class P>
class MinMaxEvery : public ::testing::Test {};
using EveryForms = ::testing::Types<
    Every<Kpl8u, kplsMinEvery_8u, kplsMaxEvery_8u>, Every<Kpl16u, kplsMinEvery_16u, kplsMaxEvery_16u>,
    Every<Kpl32f, kplsMinEvery_32f, kplsMaxEvery_32f>, Every<Kpl64f, kplsMinEvery_64f, kplsMaxEvery_64f>,
    Every<Kpl8u, kplsMinEvery_8u_I, kplsMaxEvery_8u_I>, Every<Kpl16u, kplsMinEvery_16u_I, kplsMaxEvery_16u_I>,
    Every<Kpl16s, kplsMinEvery_16s_I, kplsMaxEvery_16s_I>, Every<Kpl32s, kplsMinEvery_32s_I, kplsMaxEvery_32s_I>,
    Every<Kpl32f, kplsMinEvery_32f_I, kplsMaxEvery_32f_I>, Every<Kpl64f, kplsMinEvery_64f_I, kplsMaxEvery_64f_I>>;
TYPED_TEST_SUITE(MinMaxEvery, EveryForms);

TYPED_TEST(MinMaxEvery, MatchReferenceBitForBit) {
  using T = typename TypeParam::Type;
  sweep2([](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure()) return;
    for (bool max : {false, true}) {
      Guarded<T> a(len, oa), b(len, ob), d(len, (oa + ob + 3) % 16);
      fill_every(a.data(), len, len * 256 + oa * 16 + ob), fill_every(b.data(), len, len * 256 + oa * 16 + ob + 1);
      const std::vector<T> b0 = b.values();
      const auto a0 = a.snapshot();
      const auto f = max ? TypeParam::max : TypeParam::min;
      constexpr bool kInPlace = std::is_invocable_v<decltype(TypeParam::min), const T*, T*, int>;
      if constexpr (kInPlace) {
        ASSERT_EQ(f(a.data(), b.data(), static_cast<int>(len)), kplStsOk);
      } else {
        ASSERT_EQ(f(a.data(), b.data(), d.data(), static_cast<Kpl32u>(len)), kplStsOk);
      }
      const T* out = kInPlace ? b.data() : d.data();
      for (size_t i = 0; i < len; ++i)
        ASSERT_TRUE(same(out[i], pick(a[i], b0[i], max))) << (max ? "Max" : "Min") << " len=" << len << " i=" << i;
      EXPECT_TRUE(d.guards_intact() && b.guards_intact() && a.unchanged_since(a0)) << "len=" << len;
    }
  });
}

TEST(MinMaxEveryChecks, UnsignedLengthsRefuseOnlyZero) {
  const Kpl16u a[4] = {1, 2, 3, 4}, b[4] = {4, 3, 2, 1};
  Kpl16u d[4] = {9, 9, 9, 9};
  expect_checks<3>(&kplsMinEvery_16u, std::make_tuple(a, b, d, 4u), "MinEvery_16u");
  Kpl16s s16[4] = {1, 2, 3, 4}, sd16[4] = {4, 3, 2, 1};
  expect_checks<2>(&kplsMaxEvery_16s_I, std::make_tuple(static_cast<const Kpl16s*>(s16), sd16, 4u), "MaxEvery_16s_I");
  Kpl8u s8[4] = {1, 2, 3, 4}, sd8[4] = {4, 3, 2, 1};
  // The in-place 8-bit form alone takes a signed length.
  expect_checks<2>(&kplsMinEvery_8u_I, std::make_tuple(static_cast<const Kpl8u*>(s8), sd8, 4), "MinEvery_8u_I");
  EXPECT_TRUE(d[0] == 9 && sd16[0] == 4 && sd8[0] == 4 && sd8[3] == 1);
}

// ---- MaxOrder ----

// The bit length of the largest magnitude (|most negative| = 2^(w-1)) for
// integers; for floats frexp's exponent of the largest finite magnitude, a
// denormal giving the smallest normal exponent less one, all zeros 0, an Inf or a
// NaN left out and reported.
template <class T>
std::pair<int, KplStatus> order_ref(const T* p, size_t n) {
  long double m = 0;
  bool non_finite = false;
  for (size_t i = 0; i < n; ++i) {
    if constexpr (kFloat<T>) non_finite |= !std::isfinite(p[i]);
    if (!kFloat<T> || std::isfinite(p[i])) m = std::max(m, std::fabs(static_cast<long double>(p[i])));
  }
  int e = 0;
  if (kFloat<T> && m > 0 && m < std::numeric_limits<T>::min()) e = std::numeric_limits<T>::min_exponent - 1;
  else if (m > 0) std::frexp(m, &e);
  return {e, non_finite ? kplStsWarnNanInf : kplStsOk};
}

KplStatus max_order(const Kpl16s* p, int n, int* o) { return kplsMaxOrder_16s(p, n, o); }
KplStatus max_order(const Kpl32s* p, int n, int* o) { return kplsMaxOrder_32s(p, n, o); }
KplStatus max_order(const Kpl32f* p, int n, int* o) { return kplsMaxOrder_32f(p, n, o); }
KplStatus max_order(const Kpl64f* p, int n, int* o) { return kplsMaxOrder_64f(p, n, o); }

template <class T>
class MaxOrder : public ::testing::Test {};
using OrderTypes = ::testing::Types<Kpl16s, Kpl32s, Kpl32f, Kpl64f>;
TYPED_TEST_SUITE(MaxOrder, OrderTypes);

TYPED_TEST(MaxOrder, MatchReferenceAtEveryLengthAndOffset) {
  using T = TypeParam;
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    Guarded<T> src(len, off);
    Rng r(len * 16 + off);
    fill_random_bits(src.data(), len, r.next());
    for (size_t i = 0; i < len; ++i) {  // mostly small, so a few elements decide
      const uint64_t pick = r.next() % 16;
      if (pick < 12) src[i] = static_cast<T>(r.uniform(-1, 1) * std::ldexp(1.0, static_cast<int>(r.next() % 12)));
      if (kFloat<T> && pick == 12) src[i] = std::numeric_limits<T>::denorm_min() * static_cast<T>(r.next() % 1000);
    }
    int order = 12345;
    const KplStatus st = max_order(src.data(), static_cast<int>(len), &order);
    const auto [want, want_st] = order_ref(src.data(), len);
    EXPECT_TRUE(order == want && st == want_st) << "len=" << len << " offset=" << off << ": " << order << " " << want;
  });
}

TEST(MaxOrder, EdgesPinned) {
  const struct { std::vector<Kpl16s> v; int want; } ints[] = {
      {{-32768}, 16}, {{0, 0}, 0}, {{1}, 1}, {{1, 2}, 2}, {{-1}, 1}, {{5, -3}, 3}, {{-32767}, 15}, {{256, -255}, 9}};
  for (const auto& c : ints) {
    int order = -99;
    EXPECT_TRUE(kplsMaxOrder_16s(c.v.data(), static_cast<int>(c.v.size()), &order) == kplStsOk && order == c.want)
        << c.v[0] << ": " << order;
  }
  const float inf = std::numeric_limits<float>::infinity();
  const struct { std::vector<float> v; int want; KplStatus st; } floats[] = {
      {{inf}, 0, kplStsWarnNanInf}, {{inf, 1.0f}, 1, kplStsWarnNanInf}, {{-kNan, 3.0f}, 2, kplStsWarnNanInf},
      {{1e-45f}, -126, kplStsOk},   {{0.0f, -0.0f}, 0, kplStsOk},       {{-0.75f, 0.5f}, 0, kplStsOk},
      {{3.4e38f}, 128, kplStsOk},   {{1.17549435e-38f}, -125, kplStsOk}};
  for (const auto& c : floats) {
    int order = -99;
    EXPECT_EQ(kplsMaxOrder_32f(c.v.data(), static_cast<int>(c.v.size()), &order), c.st) << c.v[0];
    EXPECT_EQ(order, c.want) << c.v[0];
  }
  const Kpl32s m32[] = {INT32_MIN, 3};
  const double d[] = {4.9e-324, -0.0}, big[] = {-1.7e308, std::numeric_limits<double>::infinity()};
  int o1 = 0, o2 = 0, o3 = 0;
  EXPECT_TRUE(kplsMaxOrder_32s(m32, 2, &o1) == kplStsOk && o1 == 32);
  EXPECT_TRUE(kplsMaxOrder_64f(d, 2, &o2) == kplStsOk && o2 == -1022);
  EXPECT_TRUE(kplsMaxOrder_64f(big, 2, &o3) == kplStsWarnNanInf && o3 == 1024);
  // The length is tested before the pointers.
  int order = 9;
  const Kpl16s s16[] = {1, 2};
  const float f32[] = {1, 2};
  expect_checks<1, LenCheck::kFirst>(&kplsMaxOrder_16s, std::make_tuple(s16, 2, &order), "MaxOrder_16s");
  expect_checks<1, LenCheck::kFirst>(&kplsMaxOrder_32f, std::make_tuple(f32, 2, &order), "MaxOrder_32f");
  EXPECT_EQ(order, 9);
}

}  // namespace
