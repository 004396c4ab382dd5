// Threshold's comparison rules: each rule swept over its real types, lengths
// 1..70 and longer, every start offset, out of place and in place, against the
// documented formula, bit for bit, on data full of NaNs, signed zeros, type
// extremes and elements equal to the level; the complex rules against an exact
// magnitude comparison (integers, long double); then the documented edges and
// the order of checks.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

template <class T>
std::vector<T> specials() {
  if constexpr (std::is_same_v<T, Kpl32f>) return special_floats();
  if constexpr (std::is_same_v<T, Kpl64f>) return special_doubles();
  if constexpr (std::is_integral_v<T>) return special_integers<T>();
}

// A third specials, a third the levels of the call and their neighbours, a third
// random bits (floats: ordinary values of both signs).
template <class T>
void fill_near(T* p, size_t n, uint64_t seed, std::initializer_list<T> levels) {
  Rng r(seed);
  const auto sp = specials<T>();
  fill_random_bits(p, n, seed);
  for (size_t i = 0; i < n; ++i) {
    const uint64_t pick = r.next() % 3;
    if (pick == 0) p[i] = sp[r.next() % sp.size()];
    if (pick == 1) {
      const T l = levels.begin()[r.next() % levels.size()];
      const int k = static_cast<int>(r.next() % 3) - 1;
      p[i] = std::is_integral_v<T> ? static_cast<T>(l + k) : (k == 0 ? l : static_cast<T>(-l));
    }
    if (pick == 2 && std::is_floating_point_v<T>) p[i] = static_cast<T>(r.uniform(-100.0, 100.0));
  }
}

template <class T>
using Out = std::function<KplStatus(const T*, T*, int)>;
template <class T>
using In = std::function<KplStatus(T*, int)>;

// Out of place (both offsets) and in place against ref, bit for bit, guards kept.
template <class T>
void sweep_rule(const char* name, Out<T> out, In<T> in, std::function<T(T)> ref, std::initializer_list<T> levels) {
  sweep2([&](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure()) return;
    Guarded<T> s(len, oa), d(len, ob);
    fill_near(s.data(), len, len * 977 + oa * 16 + ob, levels);
    const auto s0 = s.snapshot();
    ASSERT_EQ(out(s.data(), d.data(), static_cast<int>(len)), kplStsOk) << name;
    for (size_t i = 0; i < len; ++i) {
      const T want = ref(s[i]);
      ASSERT_TRUE(same_bits(&d[i], &want, 1))
          << name << " len=" << len << " i=" << i << " x=" << +s[i] << " got " << +d[i] << " want " << +want;
    }
    ASSERT_TRUE(d.guards_intact() && s.unchanged_since(s0)) << name << " len=" << len;
    if (ob == 0) {  // in place at offset oa
      const std::vector<T> x = s.values();
      ASSERT_EQ(in(s.data(), static_cast<int>(len)), kplStsOk) << name;
      for (size_t i = 0; i < len; ++i) {
        const T want = ref(x[i]);
        ASSERT_TRUE(same_bits(&s[i], &want, 1)) << name << "_I len=" << len << " i=" << i;
      }
      ASSERT_TRUE(s.guards_intact()) << name << "_I";
    }
  });
}

// The documented formulas, one per rule, as a reader of the documentation would
// write them.
template <class T>
T fmax2(T x, T l) {
  return x > l ? x : l;
}  // level second: it wins ties and NaNs
template <class T>
T fmin2(T x, T l) {
  return x < l ? x : l;
}
template <class T>
T lt_abs_ref(T x, T l) {
  if constexpr (std::is_floating_point_v<T>) {
    const T m = fmax2(std::fabs(x), l);
    return std::signbit(x) ? std::copysign(m, T(-1)) : m;  // the sign bit set, NaN level too
  } else {
    const int64_t a = x < 0 ? -int64_t{x} : int64_t{x};
    return a < l ? static_cast<T>(x < 0 ? -l : l) : x;
  }
}

template <class T>
void sweep_real_rules(T lo, T hi, KplStatus (*lt)(const T*, T*, int, T), KplStatus (*lt_i)(T*, int, T),
                      KplStatus (*gt)(const T*, T*, int, T), KplStatus (*gt_i)(T*, int, T),
                      KplStatus (*ltabs)(const T*, T*, int, T), KplStatus (*ltabs_i)(T*, int, T),
                      KplStatus (*gtabs)(const T*, T*, int, T), KplStatus (*gtabs_i)(T*, int, T),
                      KplStatus (*pair)(const T*, T*, int, T, T, T, T), KplStatus (*pair_i)(T*, int, T, T, T, T)) {
  using namespace std::placeholders;
  const T v1 = static_cast<T>(7), v2 = static_cast<T>(-9);
  sweep_rule<T>("LT", std::bind(lt, _1, _2, _3, lo), std::bind(lt_i, _1, _2, lo), [=](T x) { return fmax2(x, lo); },
                {lo});
  sweep_rule<T>("GT", std::bind(gt, _1, _2, _3, lo), std::bind(gt_i, _1, _2, lo), [=](T x) { return fmin2(x, lo); },
                {lo});
  sweep_rule<T>("LTAbs", std::bind(ltabs, _1, _2, _3, hi), std::bind(ltabs_i, _1, _2, hi),
                [=](T x) { return lt_abs_ref(x, hi); }, {hi});
  sweep_rule<T>("GTAbs", std::bind(gtabs, _1, _2, _3, hi), std::bind(gtabs_i, _1, _2, hi),
                [=](T x) { return fmax2(fmin2(x, hi), static_cast<T>(T(0) - hi)); }, {hi});
  sweep_rule<T>("LTValGTVal", std::bind(pair, _1, _2, _3, lo, v1, hi, v2), std::bind(pair_i, _1, _2, lo, v1, hi, v2),
                [=](T x) { return !(lo <= x) ? v1 : (hi < x ? v2 : x); }, {lo, hi});
}

template <class T>
void sweep_val_rules(T lo, KplStatus (*ltv)(const T*, T*, int, T, T), KplStatus (*ltv_i)(T*, int, T, T),
                     KplStatus (*gtv)(const T*, T*, int, T, T), KplStatus (*gtv_i)(T*, int, T, T),
                     KplStatus (*rel)(const T*, T*, int, T, KplCmpOp), KplStatus (*rel_i)(T*, int, T, KplCmpOp)) {
  using namespace std::placeholders;
  const T v = static_cast<T>(3);
  sweep_rule<T>("LTVal", std::bind(ltv, _1, _2, _3, lo, v), std::bind(ltv_i, _1, _2, lo, v),
                [=](T x) { return lo <= x ? x : v; }, {lo});
  sweep_rule<T>("GTVal", std::bind(gtv, _1, _2, _3, lo, v), std::bind(gtv_i, _1, _2, lo, v),
                [=](T x) { return lo < x ? v : x; }, {lo});
  sweep_rule<T>("relOp<", std::bind(rel, _1, _2, _3, lo, kplCmpLess), std::bind(rel_i, _1, _2, lo, kplCmpLess),
                [=](T x) { return fmax2(x, lo); }, {lo});
  sweep_rule<T>("relOp>", std::bind(rel, _1, _2, _3, lo, kplCmpGreater), std::bind(rel_i, _1, _2, lo, kplCmpGreater),
                [=](T x) { return fmin2(x, lo); }, {lo});
}

TEST(ThresholdReal, EveryRuleMatchesItsFormula) {
  sweep_real_rules<Kpl16s>(-5, 300, kplsThreshold_LT_16s, kplsThreshold_LT_16s_I, kplsThreshold_GT_16s,
                           kplsThreshold_GT_16s_I, kplsThreshold_LTAbs_16s, kplsThreshold_LTAbs_16s_I,
                           kplsThreshold_GTAbs_16s, kplsThreshold_GTAbs_16s_I, kplsThreshold_LTValGTVal_16s,
                           kplsThreshold_LTValGTVal_16s_I);
  sweep_real_rules<Kpl32s>(-5, 70000, kplsThreshold_LT_32s, kplsThreshold_LT_32s_I, kplsThreshold_GT_32s,
                           kplsThreshold_GT_32s_I, kplsThreshold_LTAbs_32s, kplsThreshold_LTAbs_32s_I,
                           kplsThreshold_GTAbs_32s, kplsThreshold_GTAbs_32s_I, kplsThreshold_LTValGTVal_32s,
                           kplsThreshold_LTValGTVal_32s_I);
  sweep_real_rules<Kpl32f>(-0.0f, 2.5f, kplsThreshold_LT_32f, kplsThreshold_LT_32f_I, kplsThreshold_GT_32f,
                           kplsThreshold_GT_32f_I, kplsThreshold_LTAbs_32f, kplsThreshold_LTAbs_32f_I,
                           kplsThreshold_GTAbs_32f, kplsThreshold_GTAbs_32f_I, kplsThreshold_LTValGTVal_32f,
                           kplsThreshold_LTValGTVal_32f_I);
  sweep_real_rules<Kpl64f>(-1.5, 0.0, kplsThreshold_LT_64f, kplsThreshold_LT_64f_I, kplsThreshold_GT_64f,
                           kplsThreshold_GT_64f_I, kplsThreshold_LTAbs_64f, kplsThreshold_LTAbs_64f_I,
                           kplsThreshold_GTAbs_64f, kplsThreshold_GTAbs_64f_I, kplsThreshold_LTValGTVal_64f,
                           kplsThreshold_LTValGTVal_64f_I);
  sweep_val_rules<Kpl16s>(-32768, kplsThreshold_LTVal_16s, kplsThreshold_LTVal_16s_I, kplsThreshold_GTVal_16s,
                          kplsThreshold_GTVal_16s_I, kplsThreshold_16s, kplsThreshold_16s_I);
  sweep_val_rules<Kpl32f>(0.0f, kplsThreshold_LTVal_32f, kplsThreshold_LTVal_32f_I, kplsThreshold_GTVal_32f,
                          kplsThreshold_GTVal_32f_I, kplsThreshold_32f, kplsThreshold_32f_I);
  sweep_val_rules<Kpl64f>(-2.0, kplsThreshold_LTVal_64f, kplsThreshold_LTVal_64f_I, kplsThreshold_GTVal_64f,
                          kplsThreshold_GTVal_64f_I, kplsThreshold_64f, kplsThreshold_64f_I);
}

Kpl32f f32(uint32_t b) { return std::bit_cast<Kpl32f>(b); }
uint32_t b32(Kpl32f x) { return std::bit_cast<uint32_t>(x); }

TEST(ThresholdReal, DocumentedEdges) {
  const Kpl32f nan = f32(0x7FC00001), nneg = f32(0xFFC00002);
  struct Case {
    const char* what;
    std::function<KplStatus(const Kpl32f*, Kpl32f*)> call;
    Kpl32f x;
    uint32_t want;
  } cases[] = {
      {"LTVal: a NaN gives value", [](auto s, auto d) { return kplsThreshold_LTVal_32f(s, d, 1, 1.0f, 5.0f); }, nan,
       b32(5.0f)},
      {"GTVal: a NaN stays", [](auto s, auto d) { return kplsThreshold_GTVal_32f(s, d, 1, 1.0f, 5.0f); }, nan,
       0x7FC00001},
      {"GT: a NaN gives level", [](auto s, auto d) { return kplsThreshold_GT_32f(s, d, 1, 2.0f); }, nan, b32(2.0f)},
      {"LT: a NaN gives level", [](auto s, auto d) { return kplsThreshold_LT_32f(s, d, 1, 2.0f); }, nneg, b32(2.0f)},
      {"LTAbs: the NaN's sign on the level", [](auto s, auto d) { return kplsThreshold_LTAbs_32f(s, d, 1, 2.0f); },
       nneg, b32(-2.0f)},
      {"LTAbs: -1 below 2", [](auto s, auto d) { return kplsThreshold_LTAbs_32f(s, d, 1, 2.0f); }, -1.0f, b32(-2.0f)},
      {"GTAbs: a NaN gives level", [](auto s, auto d) { return kplsThreshold_GTAbs_32f(s, d, 1, 2.0f); }, nneg,
       b32(2.0f)},
      {"GTAbs: -0 at level 0 is +0 (0 - 0)", [](auto s, auto d) { return kplsThreshold_GTAbs_32f(s, d, 1, 0.0f); },
       -0.0f, 0},
      {"LTValGTVal: a NaN gets valueLT",
       [](auto s, auto d) { return kplsThreshold_LTValGTVal_32f(s, d, 1, 0.0f, -1.0f, 1.0f, 9.0f); }, nan, b32(-1.0f)},
      {"relOp <: -0 against +0 gives the level",
       [](auto s, auto d) { return kplsThreshold_32f(s, d, 1, 0.0f, kplCmpLess); }, -0.0f, 0},
      {"a NaN level passes LTAbs", [](auto s, auto d) { return kplsThreshold_LTAbs_32f(s, d, 1, f32(0x7FC00003)); },
       1.0f, 0x7FC00003},
  };
  for (const auto& c : cases) {
    Kpl32f got = 0;
    ASSERT_EQ(c.call(&c.x, &got), kplStsOk) << c.what;
    EXPECT_EQ(b32(got), c.want) << c.what;
  }
  struct {
    Kpl16s x, level;
    bool lt;
    Kpl16s want;
  } ints[] = {
      {-32768, 32767, false, -32767},
      {32767, 32767, false, 32767},
      {-32768, 0, true, -32768},
      {0, 5, true, 5},
      {-3, 5, true, -5},
      {7, 0, true, 7},
      {-32768, 32767, true, -32768},
      {-4, 4, true, -4},
  };
  for (auto c : ints) {
    Kpl16s got = 0;
    ASSERT_EQ((c.lt ? kplsThreshold_LTAbs_16s : kplsThreshold_GTAbs_16s)(&c.x, &got, 1, c.level), kplStsOk);
    EXPECT_EQ(got, c.want) << (c.lt ? "LTAbs " : "GTAbs ") << c.x << " level " << c.level;
  }
  Kpl32s m = INT32_MIN, got = 0;
  ASSERT_EQ(kplsThreshold_GTAbs_32s(&m, &got, 1, INT32_MAX), kplStsOk);
  EXPECT_EQ(got, -INT32_MAX);
  ASSERT_EQ(kplsThreshold_LTAbs_32s(&m, &got, 1, INT32_MAX), kplStsOk);
  EXPECT_EQ(got, INT32_MIN);
}

// ---- Complex ----

long double mag2(Kpl16sc x) { return static_cast<long double>(int64_t{x.re} * x.re + int64_t{x.im} * x.im); }
long double mag2(Kpl32fc x) { return static_cast<long double>(x.re) * x.re + static_cast<long double>(x.im) * x.im; }
long double mag2(Kpl64fc x) { return static_cast<long double>(x.re) * x.re + static_cast<long double>(x.im) * x.im; }

// |x|^2 against level^2: -1, 0, 1, or 2 when unordered. 16sc exactly in
// integers; 32fc exactly (float squares are exact in long double, and the one
// subtraction needed is exact by Sterbenz's lemma); 64fc by the binary64 formula
// the library documents, in long double where binary64 squares would leave
// [2^-960, 2^960].
int cmp(Kpl16sc x, Kpl16s level) {
  const int64_t m = int64_t{x.re} * x.re + int64_t{x.im} * x.im, l2 = int64_t{level} * level;
  return m < l2 ? -1 : m > l2 ? 1 : 0;
}
int cmp(Kpl32fc x, Kpl32f level) {
  long double p = static_cast<long double>(x.re) * x.re, q = static_cast<long double>(x.im) * x.im;
  const long double l2 = static_cast<long double>(level) * level;
  if (std::isnan(p + q) || std::isnan(l2)) return 2;
  if (p < q) std::swap(p, q);
  if (std::isinf(p)) return std::isinf(l2) ? 0 : 1;
  if (p >= l2) return p > l2 || q > 0 ? 1 : 0;
  if (2 * p < l2) return -1;
  const long double rest = l2 - p;  // exact: l2 / 2 <= p < l2
  return q < rest ? -1 : q > rest ? 1 : 0;
}
int cmp(Kpl64fc x, Kpl64f level) {
  const double m = x.re * x.re + x.im * x.im, l2 = level * level;
  auto safe = [](double v) { return v >= 0x1p-960 && v <= 0x1p960; };
  if (safe(m) && (level == 0 || safe(l2))) return m < l2 ? -1 : m > l2 ? 1 : 0;
  const long double mx = mag2(x), l2x = static_cast<long double>(level) * level;
  if (std::isnan(mx) || std::isnan(l2x)) return 2;
  return mx < l2x ? -1 : mx > l2x ? 1 : 0;
}

template <class C>
bool same(C a, C b) {
  return same_bits(&a, &b, 1);
}

// The part scaled to the level in long double; a 16sc part rounds to nearest.
template <class C, class R>
C scaled_ref(C x, R level) {
  if constexpr (!std::is_integral_v<R>) {
    if (std::isinf(x.re) || std::isinf(x.im)) {  // the direction of the infinite parts
      x = {std::isinf(x.re) ? std::copysign(R(1), x.re) : std::copysign(R(0), x.re),
           std::isinf(x.im) ? std::copysign(R(1), x.im) : std::copysign(R(0), x.im)};
    }
    if (mag2(x) == 0) return {std::copysign(level, x.re), std::copysign(R(0), x.im)};
  } else {
    if (mag2(x) == 0) return {level, 0};
  }
  const long double f = static_cast<long double>(level) / std::sqrt(mag2(x));
  if constexpr (std::is_integral_v<R>) {
    return {static_cast<R>(std::nearbyint(x.re * f)), static_cast<R>(std::nearbyint(x.im * f))};
  } else {
    return {static_cast<R>(x.re * f), static_cast<R>(x.im * f)};
  }
}
// A scaled part within 3 ulps of the long double result (32fc: binary64, then
// one rounding; 64fc: |x|^2, its root, the quotient and the product rounded).
template <class R>
bool close(R got, R want) {
  if constexpr (std::is_integral_v<R>) {
    return got == want;
  } else {
    return ulp_distance(got, want) <= 3;
  }
}

template <class C, class R>
struct ComplexEntries {
  KplStatus (*ltv)(const C*, C*, int, R, C);
  KplStatus (*ltv_i)(C*, int, R, C);
  KplStatus (*gtv)(const C*, C*, int, R, C);
  KplStatus (*gtv_i)(C*, int, R, C);
  KplStatus (*rel)(const C*, C*, int, R, KplCmpOp);
  KplStatus (*rel_i)(C*, int, R, KplCmpOp);
  KplStatus (*lt)(const C*, C*, int, R);
  KplStatus (*lt_i)(C*, int, R);
  KplStatus (*gt)(const C*, C*, int, R);
  KplStatus (*gt_i)(C*, int, R);
};

// Every complex entry: out of place against the exact comparison; in place and
// the _LT/_GT forms against what the out-of-place relOp form gave.
template <class C, class R>
void sweep_complex(R level, C value, const ComplexEntries<C, R>& e) {
  sweep2([&](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure()) return;
    const int n = static_cast<int>(len);
    Guarded<C> s(len, oa), d(len, ob);
    fill_near(reinterpret_cast<R*>(s.data()), 2 * len, len * 31 + oa * 16 + ob, {level, R(0)});
    for (size_t i = 0; i < len; i += 3) s[i] = {R(0), R(0)};  // zeros: no phase
    const auto s0 = s.snapshot();
    // The same results from the in-place form (and from `other` when given).
    auto same_in_place = [&](const char* what, auto in_place, auto other) {
      Guarded<C> t(len, oa), u(len, ob);
      t.assign(s.data());
      ASSERT_EQ(in_place(t.data()), kplStsOk) << what;
      ASSERT_TRUE(same_bits(t.data(), d.data(), len) && t.guards_intact()) << what << "_I len=" << len;
      if constexpr (!std::is_same_v<decltype(other), std::nullptr_t>) {
        ASSERT_EQ(other(s.data(), u.data()), kplStsOk) << what;
        ASSERT_TRUE(same_bits(u.data(), d.data(), len) && u.guards_intact()) << what << " len=" << len;
      }
    };
    ASSERT_EQ(e.ltv(s.data(), d.data(), n, level, value), kplStsOk);
    for (size_t i = 0; i < len; ++i)
      ASSERT_TRUE(same(d[i], cmp(s[i], level) == -1 ? value : s[i])) << "LTVal len=" << len << " i=" << i;
    if (ob == 0)
      same_in_place(
          "LTVal", [&](C* t) { return e.ltv_i(t, n, level, value); }, nullptr);
    ASSERT_EQ(e.gtv(s.data(), d.data(), n, level, value), kplStsOk);
    for (size_t i = 0; i < len; ++i)
      ASSERT_TRUE(same(d[i], cmp(s[i], level) <= 0 ? s[i] : value)) << "GTVal len=" << len << " i=" << i;
    if (ob == 0)
      same_in_place(
          "GTVal", [&](C* t) { return e.gtv_i(t, n, level, value); }, nullptr);
    for (KplCmpOp op : {kplCmpLess, kplCmpGreater}) {
      ASSERT_EQ(e.rel(s.data(), d.data(), n, level, op), kplStsOk);
      const bool less = op == kplCmpLess;
      for (size_t i = 0; i < len; ++i) {
        const int c = cmp(s[i], level);
        const bool past = less ? c == -1 : c == 1;
        const C want = !past ? s[i] : scaled_ref(s[i], level);
        if (!past || std::is_integral_v<R>) {
          ASSERT_TRUE(same(d[i], want)) << "relOp " << op << " len=" << len << " i=" << i << " x=" << +s[i].re << ","
                                        << +s[i].im;
        } else {
          ASSERT_TRUE(close(d[i].re, want.re) && close(d[i].im, want.im))
              << "relOp " << op << " len=" << len << " i=" << i;
        }
      }
      if (ob == 0) {
        same_in_place(
            "relOp", [&](C* t) { return e.rel_i(t, n, level, op); }, nullptr);
        same_in_place(
            less ? "LT" : "GT", [&](C* t) { return (less ? e.lt_i : e.gt_i)(t, n, level); },
            [&](const C* a, C* b) { return (less ? e.lt : e.gt)(a, b, n, level); });
      }
    }
    ASSERT_TRUE(d.guards_intact() && s.unchanged_since(s0)) << "len=" << len;
  });
}

TEST(ThresholdComplex, MagnitudeRulesMatchExactComparison) {
  sweep_complex<Kpl16sc, Kpl16s>(
      300, {-7, 8},
      {kplsThreshold_LTVal_16sc, kplsThreshold_LTVal_16sc_I, kplsThreshold_GTVal_16sc, kplsThreshold_GTVal_16sc_I,
       kplsThreshold_16sc, kplsThreshold_16sc_I, kplsThreshold_LT_16sc, kplsThreshold_LT_16sc_I, kplsThreshold_GT_16sc,
       kplsThreshold_GT_16sc_I});
  sweep_complex<Kpl32fc, Kpl32f>(
      2.5f, {-7.0f, 8.0f},
      {kplsThreshold_LTVal_32fc, kplsThreshold_LTVal_32fc_I, kplsThreshold_GTVal_32fc, kplsThreshold_GTVal_32fc_I,
       kplsThreshold_32fc, kplsThreshold_32fc_I, kplsThreshold_LT_32fc, kplsThreshold_LT_32fc_I, kplsThreshold_GT_32fc,
       kplsThreshold_GT_32fc_I});
  sweep_complex<Kpl64fc, Kpl64f>(
      40.0, {-7.0, 8.0},
      {kplsThreshold_LTVal_64fc, kplsThreshold_LTVal_64fc_I, kplsThreshold_GTVal_64fc, kplsThreshold_GTVal_64fc_I,
       kplsThreshold_64fc, kplsThreshold_64fc_I, kplsThreshold_LT_64fc, kplsThreshold_LT_64fc_I, kplsThreshold_GT_64fc,
       kplsThreshold_GT_64fc_I});
}

TEST(ThresholdComplex, Edges) {
  // 16sc: magnitudes compared exactly; 2^31 = |(-32768, -32768)|^2 is not wrapped.
  const Kpl16sc big = {-32768, -32768}, v16 = {1, 2};
  Kpl16sc o16{};
  ASSERT_EQ(kplsThreshold_GTVal_16sc(&big, &o16, 1, 32767, v16), kplStsOk);
  EXPECT_TRUE(same(o16, v16));
  ASSERT_EQ(kplsThreshold_LTVal_16sc(&big, &o16, 1, 32767, v16), kplStsOk);
  EXPECT_TRUE(same(o16, big));
  struct {
    Kpl16sc x;
    Kpl16s level;
    KplCmpOp op;
    Kpl16sc want;
  } rel16[] = {
      {{3, 4}, 5, kplCmpGreater, {3, 4}},
      {{3, 4}, 5, kplCmpLess, {3, 4}},  // equal is kept
      {{-32768, 0}, 32767, kplCmpGreater, {-32767, 0}},
      {{3, 4}, 1, kplCmpGreater, {1, 1}},  // 0.6, 0.8 round
      {{0, 0}, 3, kplCmpLess, {3, 0}},
      {{1, -1}, 10, kplCmpLess, {7, -7}},
      {{-32768, -32768}, 32767, kplCmpGreater, {-23170, -23170}},
  };
  for (auto c : rel16) {
    ASSERT_EQ(kplsThreshold_16sc(&c.x, &o16, 1, c.level, c.op), kplStsOk);
    EXPECT_TRUE(same(o16, c.want)) << c.x.re << "," << c.x.im << " level " << c.level << " op " << c.op << " got "
                                   << o16.re << "," << o16.im;
  }
  // 32fc: (1, 1e-20) lies above level 1 although 1 + 1e-40 rounds to 1 in binary64.
  const Kpl32fc tiny = {1.0f, 1e-20f}, v = {5.0f, 6.0f};
  Kpl32fc o{};
  ASSERT_EQ(kplsThreshold_GTVal_32fc(&tiny, &o, 1, 1.0f, v), kplStsOk);
  EXPECT_TRUE(same(o, v));
  ASSERT_EQ(kplsThreshold_LTVal_32fc(&tiny, &o, 1, 1.0f, v), kplStsOk);
  EXPECT_TRUE(same(o, tiny));
  const Kpl32f inf = INFINITY, nan = NAN;
  struct {
    Kpl32fc x;
    Kpl32f level;
    KplCmpOp op;
    Kpl32fc want;
  } rel32[] = {
      {{inf, 1.0f}, 2.0f, kplCmpGreater, {2.0f, 0.0f}},
      {{-inf, -1.0f}, 2.0f, kplCmpGreater, {-2.0f, -0.0f}},
      {{-0.0f, 0.0f}, 2.0f, kplCmpLess, {-2.0f, 0.0f}},
      {{0.0f, -0.0f}, 2.0f, kplCmpLess, {2.0f, -0.0f}},
      {{3.0f, -4.0f}, 10.0f, kplCmpLess, {6.0f, -8.0f}},
      {{nan, 1.0f}, 2.0f, kplCmpGreater, {nan, 1.0f}},
      {{nan, 1.0f}, 0.0f, kplCmpGreater, {0.0f, 0.0f}},
      {{nan, 1.0f}, 0.0f, kplCmpLess, {nan, 1.0f}},      // level 0: zero-fill, copy
      {{5.0f, 5.0f}, nan, kplCmpGreater, {5.0f, 5.0f}},  // a NaN level passes, nothing is past it
  };
  for (auto c : rel32) {
    ASSERT_EQ(kplsThreshold_32fc(&c.x, &o, 1, c.level, c.op), kplStsOk);
    EXPECT_TRUE(same(o, c.want)) << c.x.re << "," << c.x.im << " level " << c.level << " got " << o.re << "," << o.im;
  }
  const Kpl32fc nanx = {nan, 0.0f};
  ASSERT_EQ(kplsThreshold_GTVal_32fc(&nanx, &o, 1, 1.0f, v), kplStsOk);  // not <= level: replaced
  EXPECT_TRUE(same(o, v));
  ASSERT_EQ(kplsThreshold_LTVal_32fc(&nanx, &o, 1, 1.0f, v), kplStsOk);  // not < level: kept
  EXPECT_TRUE(same(o, nanx));
  // 64fc: squares out of binary64's range are still compared right.
  const Kpl64fc huge = {1e200, 1e200}, small = {1e-300, 0.0};
  Kpl64fc o64{};
  ASSERT_EQ(kplsThreshold_64fc(&huge, &o64, 1, 1e200, kplCmpGreater), kplStsOk);
  EXPECT_NEAR(o64.re / 1e200, std::sqrt(0.5), 1e-15);
  ASSERT_EQ(kplsThreshold_64fc(&small, &o64, 1, 1e-200, kplCmpLess), kplStsOk);
  EXPECT_DOUBLE_EQ(o64.re, 1e-200);
  ASSERT_EQ(kplsThreshold_GTVal_64fc(&small, &o64, 1, 1e-301, {1.0, 1.0}), kplStsOk);
  EXPECT_EQ(o64.re, 1.0);
}

TEST(ThresholdChecks, OrderOfChecksAndNothingWritten) {
  Guarded<Kpl32f> s(4), d(4);
  Guarded<Kpl16sc> cs(4), cd(4);
  fill_random_bits(s.data(), 4, 1), fill_random_bits(cs.data(), 4, 2);
  const auto s0 = s.snapshot(), d0 = d.snapshot(), cs0 = cs.snapshot(), cd0 = cd.snapshot();
  expect_checks<2>(kplsThreshold_32f,
                   std::make_tuple(static_cast<const Kpl32f*>(s.data()), d.data(), 4, 1.0f, KplCmpOp{kplCmpLess}),
                   "Threshold_32f");
  expect_checks<1>(kplsThreshold_32f_I, std::make_tuple(d.data(), 4, 1.0f, KplCmpOp{kplCmpLess}), "Threshold_32f_I");
  expect_checks<2>(kplsThreshold_LTValGTVal_32f,
                   std::make_tuple(static_cast<const Kpl32f*>(s.data()), d.data(), 4, 1.0f, 0.0f, 2.0f, 0.0f),
                   "LTValGTVal");
  expect_checks<2>(kplsThreshold_GTVal_16sc,
                   std::make_tuple(static_cast<const Kpl16sc*>(cs.data()), cd.data(), 4, Kpl16s{1}, Kpl16sc{}),
                   "GTVal_16sc");
  Guarded<Kpl32s> is(4), id(4);
  expect_checks<2>(kplsThreshold_LTAbs_32s, std::make_tuple(static_cast<const Kpl32s*>(is.data()), id.data(), 4, 1),
                   "LTAbs_32s");
  const Kpl32f* sp = s.data();
  struct {
    KplStatus got, want;
    const char* what;
  } cases[] = {
      {kplsThreshold_32f(sp, d.data(), 4, 1.0f, 1), kplStsBadArgument, "relOp 1"},
      {kplsThreshold_32f(sp, d.data(), 4, 1.0f, 2), kplStsBadArgument, "relOp 2"},
      {kplsThreshold_32f(sp, d.data(), 4, 1.0f, 3), kplStsBadArgument, "relOp 3"},
      {kplsThreshold_32f(sp, d.data(), 0, 1.0f, 1), kplStsBadSize, "relOp 1, len 0"},
      {kplsThreshold_32f(nullptr, d.data(), 0, 1.0f, 1), kplStsNullPointer, "relOp 1, len 0, null"},
      {kplsThreshold_16sc(cs.data(), cd.data(), 4, -1, 7), kplStsBadArgument, "relOp before level"},
      {kplsThreshold_16sc(cs.data(), cd.data(), 4, -1, kplCmpLess), kplStsBadThreshold, "complex level -1"},
      {kplsThreshold_LT_16sc(cs.data(), cd.data(), 4, -1), kplStsBadThreshold, "LT_16sc level -1"},
      {kplsThreshold_LTVal_16sc(cs.data(), cd.data(), 4, -1, {}), kplStsBadThreshold, "LTVal_16sc level -1"},
      {kplsThreshold_GTAbs_32f(sp, d.data(), 4, -0.5f), kplStsBadThreshold, "GTAbs level -0.5"},
      {kplsThreshold_LTAbs_16s(reinterpret_cast<const Kpl16s*>(sp), reinterpret_cast<Kpl16s*>(d.data()), 4, -1),
       kplStsBadThreshold, "LTAbs_16s"},
      {kplsThreshold_GTAbs_32s(reinterpret_cast<const Kpl32s*>(sp), reinterpret_cast<Kpl32s*>(d.data()), 4, -1),
       kplStsBadThreshold, "GTAbs_32s"},
      {kplsThreshold_LTValGTVal_16s(reinterpret_cast<const Kpl16s*>(sp), reinterpret_cast<Kpl16s*>(d.data()), 4, 5, 0,
                                    4, 0),
       kplStsBadThresholdPair, "pair 5 > 4"},
      {kplsThreshold_LTValGTVal_32f(sp, d.data(), 0, 5, 0, 4, 0), kplStsBadSize, "pair, len 0"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.got, c.want) << c.what;
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0) && cs.unchanged_since(cs0) && cd.unchanged_since(cd0));
  // What must run: a negative level on real _GT/_LTVal, equal pair levels, -0.0.
  Kpl32s x32 = 5, o32 = 0;
  EXPECT_EQ(kplsThreshold_GT_32s(&x32, &o32, 1, -3), kplStsOk);
  EXPECT_EQ(o32, -3);
  Kpl16s x16 = 4, o16 = 0;
  EXPECT_EQ(kplsThreshold_LTValGTVal_16s(&x16, &o16, 1, 4, 1, 4, 2), kplStsOk);
  EXPECT_EQ(o16, 4);
  Kpl32f xf = 1.0f, of = 0;
  EXPECT_EQ(kplsThreshold_GTAbs_32f(&xf, &of, 1, -0.0f), kplStsOk);
}

}  // namespace
