// FindNearestOne, FindNearest, CountInRange and ZeroCrossing: swept over lengths
// 1..70 and longer and every start offset against scalar references written here
// (a brute-force nearest entry, exact counts, long double products), with the
// guards checked; the pinned rules (the tie to the lower entry, excluded bounds,
// the three zero-crossing modes) as small tables; the order of the checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <tuple>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

// ---- FindNearest ----

// A strictly ascending table of n entries, dense or spread over the whole range.
std::vector<Kpl16u> ascending_table(size_t n, uint64_t seed) {
  Rng r(seed);
  int x = r.next() % 2 ? 0 : static_cast<int>(r.next() % 64);
  const int gap = r.next() % 2 ? (65535 - x) / static_cast<int>(n) : 3;
  std::vector<Kpl16u> t;
  for (size_t k = 0; k < n; ++k, x += 1 + static_cast<int>(r.next() % static_cast<uint64_t>(gap)))
    t.push_back(static_cast<Kpl16u>(x));
  return t;
}

// The entry nearest to v by brute force; of two at the same distance, the lower.
int nearest(const std::vector<Kpl16u>& t, Kpl16u v) {
  int best = 0;
  for (size_t i = 1; i < t.size(); ++i)
    if (std::abs(int{t[i]} - int{v}) < std::abs(int{t[best]} - int{v})) best = static_cast<int>(i);
  return best;
}

TEST(FindNearest16u, MatchesBruteForceAtEveryLengthAndOffset) {
  sweep2([](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure() || (len > 70 && oa != 0)) return;
    const size_t tlen = 1 + (len * 7 + oa) % 70;
    const std::vector<Kpl16u> table = ascending_table(tlen, len * 131 + oa * 17 + ob);
    Guarded<Kpl16u> tbl(tlen, ob), vals(len, oa), out(len, (oa + 5) % 16);
    Guarded<int> idx(len, ob % 4);
    tbl.assign(table.data());
    Rng r(len + oa * 1000 + ob);
    for (size_t i = 0; i < len; ++i) {
      // Table entries, their neighbours and midpoints, and anything at all.
      const size_t k = r.next() % tlen;
      const int picks[] = {table[k], table[k] + 1, table[k] - 1, (table[k] + table[(k + 1) % tlen]) / 2,
                           static_cast<int>(r.next() % 65536)};
      vals[i] = static_cast<Kpl16u>(std::clamp(picks[r.next() % 5], 0, 65535));
    }
    const auto t0 = tbl.snapshot(), v0 = vals.snapshot();
    ASSERT_EQ(kplsFindNearest_16u(vals.data(), out.data(), idx.data(), static_cast<int>(len), tbl.data(),
                                  static_cast<int>(tlen)),
              kplStsOk);
    for (size_t i = 0; i < len; ++i) {
      const int want = nearest(table, vals[i]);
      ASSERT_EQ(idx[i], want) << "value " << vals[i] << " table length " << tlen << " len=" << len;
      ASSERT_EQ(out[i], table[static_cast<size_t>(want)]) << "value " << vals[i];
      if (i < 8) {  // the one-value form agrees
        Kpl16u one = 0;
        int at = -1;
        ASSERT_EQ(kplsFindNearestOne_16u(vals[i], &one, &at, tbl.data(), static_cast<int>(tlen)), kplStsOk);
        ASSERT_EQ(at, want) << "value " << vals[i] << " table length " << tlen;
        ASSERT_EQ(one, out[i]);
      }
    }
    EXPECT_TRUE(out.guards_intact() && idx.guards_intact() && tbl.unchanged_since(t0) && vals.unchanged_since(v0));
  });
}

TEST(FindNearestOne16u, TiesEndsAndRepeatedEntries) {
  const Kpl16u t[] = {10, 20, 40, 40, 40, 65535};
  struct Case {
    Kpl16u v;
    int len, at;
  } cases[] = {
      {15, 6, 0},     // midway: the lower entry
      {16, 6, 1},     {30, 6, 1}, {31, 6, 2},
      {0, 6, 0},      {10, 6, 0},  // at or below the first entry
      {65535, 6, 5},  {60000, 6, 5},
      {40, 6, 4},     // a value equal to repeated entries gets the last of them
      {39, 6, 2},     // nearer to 40 than to 20: the first 40 the search reaches
      {65535, 1, 0},  {0, 1, 0},  // one entry is nearest to everything
      {20, 2, 1},     {14, 2, 0},
  };
  for (const auto& c : cases) {
    Kpl16u v = 0;
    int at = -1;
    ASSERT_EQ(kplsFindNearestOne_16u(c.v, &v, &at, t, c.len), kplStsOk);
    EXPECT_EQ(at, c.at) << "value " << c.v << " table length " << c.len;
    EXPECT_EQ(v, t[c.at]) << "value " << c.v << " table length " << c.len;
  }
}

TEST(FindNearestChecks, OneEntryFillsAndPointersThenLengths) {
  Guarded<Kpl16u> vals(37), out(37);
  Guarded<int> idx(37);
  fill_random_bits(vals.data(), 37, 5);
  const Kpl16u one = 777;
  ASSERT_EQ(kplsFindNearest_16u(vals.data(), out.data(), idx.data(), 37, &one, 1), kplStsOk);
  for (size_t i = 0; i < 37; ++i) EXPECT_TRUE(out[i] == 777 && idx[i] == 0) << i;
  EXPECT_TRUE(out.guards_intact() && idx.guards_intact());

  const Kpl16u t[] = {1, 5, 9};
  Kpl16u v = 9, vs[2] = {4, 6}, outs[2] = {9, 9};
  int at = 9, ats[2] = {9, 9};
  expect_checks<4>(&kplsFindNearestOne_16u, std::make_tuple(Kpl16u{3}, &v, &at, t, 3), "FindNearestOne_16u");
  const auto good = std::make_tuple(static_cast<const Kpl16u*>(vs), outs, ats, 2, t, 3);
  expect_checks<3>(&kplsFindNearest_16u, good, "FindNearest_16u (len)");
  expect_checks<5>(&kplsFindNearest_16u, good, "FindNearest_16u (tblLen)");
  EXPECT_TRUE(v == 9 && at == 9 && outs[0] == 9 && outs[1] == 9 && ats[0] == 9 && ats[1] == 9);
}

// ---- CountInRange ----

TEST(CountInRange32s, MatchesReferenceAtEveryLengthAndOffset) {
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    Guarded<Kpl32s> src(len, off);
    Rng r(len * 16 + off);
    fill_random_bits(src.data(), len, r.next());
    for (size_t i = 0; i < len; ++i)
      if (r.next() % 3) src[i] = static_cast<Kpl32s>(static_cast<int64_t>(r.next() % 21) - 10);
    const auto s0 = src.snapshot();
    // Bounds that equal elements, the type's ends, and crossed pairs.
    const std::pair<Kpl32s, Kpl32s> bounds[] = {{-3, 4}, {0, 0}, {5, -5}, {INT32_MIN, INT32_MAX}, {-10, 10},
                                                {src[0], src[len - 1]}, {INT32_MIN, 0}};
    for (auto [lo, hi] : bounds) {
      int64_t want = 0;
      for (size_t i = 0; i < len; ++i) want += int64_t{src[i]} > lo && int64_t{src[i]} < hi;
      int got = -1;
      ASSERT_EQ(kplsCountInRange_32s(src.data(), static_cast<int>(len), &got, lo, hi), kplStsOk);
      ASSERT_EQ(got, want) << "bounds " << lo << "," << hi << " len=" << len << " offset=" << off;
    }
    EXPECT_TRUE(src.unchanged_since(s0));
  });
}

TEST(CountInRange32s, BoundsAreExcluded) {
  const Kpl32s v[] = {1, 2, 3, 4, 5, INT32_MIN, INT32_MAX};
  struct Case {
    Kpl32s lo, hi;
    int want;
  } cases[] = {{1, 5, 3}, {2, 3, 0}, {0, 6, 5}, {5, 1, 0}, {INT32_MIN, INT32_MAX, 5}, {3, 3, 0}};
  for (const auto& c : cases) {
    int n = -1;
    ASSERT_EQ(kplsCountInRange_32s(v, 7, &n, c.lo, c.hi), kplStsOk);
    EXPECT_EQ(n, c.want) << c.lo << " < x < " << c.hi;
  }
  Kpl32s s[2] = {1, 2};
  int n = 9;
  expect_checks<1>(&kplsCountInRange_32s, std::make_tuple(static_cast<const Kpl32s*>(s), 2, &n, 0, 3), "CountInRange_32s");
  EXPECT_EQ(n, 9);
}

// ---- ZeroCrossing ----

// Mode 0: the product is negative as a float, i.e. the exact product (held by long
// double) is negative and does not round to zero (|p| > 2^-150 for floats).
// Mode 1: the two-valued sign (negative, or not) changes. Mode 2: the three-valued
// sign changes. The result is the count.
template <class T>
bool crossing_ref(T a, T b, int mode) {
  if (mode == 0) {
    const long double p = static_cast<long double>(a) * static_cast<long double>(b);
    if constexpr (std::is_floating_point_v<T>) return p < 0 && -p > 0x1p-150L;
    return p < 0;
  }
  if (mode == 1) return (a < 0) != (b < 0);
  auto sgn = [](T x) { return (x > 0) - (x < 0); };
  return sgn(a) != sgn(b);
}

KplStatus zero_crossing(const Kpl16s* p, int n, float* r, int mode) { return kplsZeroCrossing_16s32f(p, n, r, mode); }
KplStatus zero_crossing(const Kpl32f* p, int n, float* r, int mode) { return kplsZeroCrossing_32f(p, n, r, mode); }

template <class T>
class ZeroCrossing : public ::testing::Test {};
using CrossingTypes = ::testing::Types<Kpl16s, Kpl32f>;
TYPED_TEST_SUITE(ZeroCrossing, CrossingTypes);

TYPED_TEST(ZeroCrossing, MatchesReferenceInEveryMode) {
  using T = TypeParam;
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    Guarded<T> src(len, off);
    Rng r(len * 16 + off);
    for (size_t i = 0; i < len; ++i) {
      const uint64_t pick = r.next() % 8;
      if constexpr (std::is_floating_point_v<T>) {
        const float sp[] = {0.0f, -0.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::denorm_min(), 1e-30f, -1e-25f};
        src[i] = pick < 2 ? sp[r.next() % 7] : static_cast<float>(r.uniform(-1, 1));
      } else {
        src[i] = pick < 2 ? Kpl16s{0} : pick == 2 ? special_integers<Kpl16s>()[r.next() % 7]
                                                  : static_cast<Kpl16s>(static_cast<int>(r.next() % 9) - 4);
      }
    }
    const auto s0 = src.snapshot();
    for (int mode : {0, 1, 2}) {
      size_t want = 0;
      for (size_t i = 0; i + 1 < len; ++i) want += crossing_ref(src[i], src[i + 1], mode);
      float got = -1;
      ASSERT_EQ(zero_crossing(src.data(), static_cast<int>(len), &got, mode), kplStsOk);
      ASSERT_EQ(got, static_cast<float>(want)) << "mode " << mode << " len=" << len << " offset=" << off;
    }
    EXPECT_TRUE(src.unchanged_since(s0));
  });
}

TEST(ZeroCrossing32f, ModesPinned) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    std::vector<float> v;
    float mode0, mode1, mode2;
  } cases[] = {
      {{1, -1}, 1, 1, 1},
      {{1, 0, -1}, 0, 1, 2},       // a zero stops a product and counts as positive in mode 1
      {{-1, 0, 1}, 0, 1, 2},
      {{-1, -0.0f, 1}, 0, 1, 2},   // -0.0 is not negative
      {{0, 0, 0}, 0, 0, 0},
      {{1e-30f, -1e-30f}, 0, 1, 1},  // the product underflows to -0.0: no crossing in mode 0
      {{1e-20f, -1e-20f}, 1, 1, 1},
      {{1, nan, -1}, 0, 1, 2},     // a NaN has sign 0 in mode 2 and is not negative in mode 1
      {{5}, 0, 0, 0},              // one element: no pair
  };
  for (const auto& c : cases) {
    const float want[] = {c.mode0, c.mode1, c.mode2};
    for (int mode = 0; mode < 3; ++mode) {
      float got = -1;
      ASSERT_EQ(kplsZeroCrossing_32f(c.v.data(), static_cast<int>(c.v.size()), &got, mode), kplStsOk);
      EXPECT_EQ(got, want[mode]) << "mode " << mode << " first " << c.v[0] << " len " << c.v.size();
    }
  }
  const Kpl16s s[] = {-32768, 32767, 0, -1, 0, 0, 2};
  const float want16[] = {1, 3, 5};
  for (int mode = 0; mode < 3; ++mode) {
    float got = -1;
    ASSERT_EQ(kplsZeroCrossing_16s32f(s, 7, &got, mode), kplStsOk);
    EXPECT_EQ(got, want16[mode]) << "mode " << mode;
  }
}

// Pointers, then only len = 0, then the mode; a negative length is no pair at
// all: 0, with nothing read (the vector sits on an unreadable page). Vectors
// flush against the page's end are not read past their last element.
TEST(ZeroCrossingChecks, OnlyZeroLengthRefusedThenModeAndNoStrayRead) {
  FencedPage page;
  ASSERT_TRUE(page.ok());
  const auto* unreadable = reinterpret_cast<const float*>(page.ending_at_end(0));
  const float v[] = {1, -1, 1};
  float r = 9;
  const struct { const float* s; int len; float* r; int mode; KplStatus want; } cases[] = {
      {nullptr, 3, &r, 0, kplStsNullPointer}, {v, 3, nullptr, 0, kplStsNullPointer},
      {nullptr, 0, &r, 7, kplStsNullPointer}, {v, 0, &r, 7, kplStsBadSize},
      {v, 3, &r, 3, kplStsBadMode},           {v, 3, &r, -1, kplStsBadMode},
      {v, -4, &r, 3, kplStsBadMode},          {unreadable, -1, &r, 0, kplStsOk},
      {unreadable, INT_MIN, &r, 1, kplStsOk}, {unreadable, -1000, &r, 2, kplStsOk}};
  for (const auto& c : cases) {
    EXPECT_EQ(kplsZeroCrossing_32f(c.s, c.len, c.r, c.mode), c.want) << "len " << c.len << " mode " << c.mode;
    EXPECT_EQ(kplsZeroCrossing_16s32f(reinterpret_cast<const Kpl16s*>(c.s), c.len, c.r, c.mode), c.want);
    EXPECT_EQ(r, c.want == kplStsOk ? 0.0f : 9.0f) << "len " << c.len << " mode " << c.mode;
  }
  for (int n = 1; n <= 40; ++n) {
    auto* e = reinterpret_cast<float*>(page.ending_at_end(n * sizeof(float)));
    auto* e16 = reinterpret_cast<Kpl16s*>(page.ending_at_end(n * sizeof(Kpl16s)));
    for (int mode = 0; mode < 3; ++mode) {
      for (int i = 0; i < n; ++i) e[i] = (i % 2) ? 1.0f : -1.0f;
      ASSERT_EQ(kplsZeroCrossing_32f(e, n, &r, mode), kplStsOk);
      EXPECT_EQ(r, static_cast<float>(n - 1));
      for (int i = 0; i < n; ++i) e16[i] = static_cast<Kpl16s>((i % 2) ? 3 : -3);
      ASSERT_EQ(kplsZeroCrossing_16s32f(e16, n, &r, mode), kplStsOk);
      EXPECT_EQ(r, static_cast<float>(n - 1));
    }
  }
}

}  // namespace
