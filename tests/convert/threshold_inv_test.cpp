// Threshold_LTInv: every type and form swept against a reference (real: the
// correctly rounded 1 / m, bit for bit; complex: long double within a bound in
// ulps), the warning by size class at 1, 2 and 8 threads with identical results,
// the documented edges, and the caller's floating-point control left as it was
// even when the caller unmasked the divide-by-zero trap.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <bit>
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
#include "support/threads.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

template <class R>
std::vector<R> specials() {
  if constexpr (sizeof(R) == 4)
    return special_floats();
  else
    return special_doubles();
}
template <class R>
void fill_parts(R* p, size_t n, uint64_t seed) {
  Rng r(seed);
  const auto sp = specials<R>();
  for (size_t i = 0; i < n; ++i) {
    const uint64_t pick = r.next() % 8;
    p[i] = pick == 0 ? sp[r.next() % sp.size()] : pick == 1 ? R(0) : static_cast<R>(r.uniform(-4.0, 4.0));
  }
}

// The documented result of one real element.
template <class T>
T inv_ref(T x, T level) {
  if (level == T(0)) return T(1) / x;
  const T a = std::fabs(x);
  const T m = a > level ? a : level;  // a NaN element becomes the level
  return T(1) / (std::signbit(x) ? -m : m);
}

// One complex element in long double, from conj(x) / |x|^2 with |x| raised to level.
template <class C, class R>
C inv_ref(C x, R level) {
  const long double re = x.re, im = x.im, l = level;
  if (std::isnan(re) || std::isnan(im)) return {NAN, NAN};
  if (std::isinf(re) || std::isinf(im)) return {std::copysign(R(0), x.re), std::copysign(R(0), -x.im)};
  const long double m = re * re + im * im;
  if (m == 0) return {static_cast<R>(1 / std::copysign(l, re)), std::copysign(R(0), -x.im)};
  const long double den = m < l * l ? std::sqrt(m) * l : m;
  return {static_cast<R>(re / den), static_cast<R>(-im / den)};
}


// 32fc: binary64 inside, one rounding to float: 1 ulp. 64fc: |x|^2, its root
// and two quotients rounded in binary64: 4 ulps.
bool agrees(Kpl32f got, Kpl32f want) { return std::isnan(want) ? std::isnan(got) : same_bits(&got, &want, 1); }
bool agrees(Kpl64f got, Kpl64f want) { return std::isnan(want) ? std::isnan(got) : same_bits(&got, &want, 1); }
template <class C>
bool agrees(C got, C want) {
  const long double bound = sizeof(C) == 8 ? 1 : 4;
  auto part = [&](auto g, auto w) { return std::isnan(w) ? std::isnan(g) : ulp_distance(g, w) <= bound; };
  return part(got.re, want.re) && part(got.im, want.im);
}

template <class T>
bool has_zero(const T& x) {
  if constexpr (std::is_floating_point_v<T>)
    return x == T(0);
  else
    return x.re == 0 && x.im == 0;
}

template <class T, class R>
void sweep_inv(KplStatus (*out)(const T*, T*, int, R), KplStatus (*in)(T*, int, R), size_t threaded_from) {
  for (R level : {R(0), R(0.75)}) {
    sweep2([&](size_t len, size_t oa, size_t ob) {
      if (::testing::Test::HasFailure()) return;
      Guarded<T> s(len, oa), d(len, ob);
      fill_parts(reinterpret_cast<R*>(s.data()), len * sizeof(T) / sizeof(R), len * 131 + oa * 16 + ob);
      const auto s0 = s.snapshot();
      bool zero = false;
      for (size_t i = 0; i < len; ++i) zero |= has_zero(s[i]);
      const KplStatus want = level != R(0) || !zero ? kplStsOk
                             : len < threaded_from  ? kplStsWarnInvZero
                                                    : kplStsWarnDivByZero;
      ASSERT_EQ(out(s.data(), d.data(), static_cast<int>(len), level), want) << "len=" << len << " level " << level;
      for (size_t i = 0; i < len; ++i)
        ASSERT_TRUE(agrees(d[i], inv_ref(s[i], level))) << "len=" << len << " i=" << i << " level " << level;
      ASSERT_TRUE(d.guards_intact() && s.unchanged_since(s0)) << "len=" << len;
      if (ob == 0) {
        Guarded<T> t(len, oa);
        t.assign(s.data());
        ASSERT_EQ(in(t.data(), static_cast<int>(len), level), want);
        ASSERT_TRUE(same_bits(t.data(), d.data(), len) && t.guards_intact()) << "in place len=" << len;
      }
    });
  }
}

TEST(ThresholdLTInv, MatchesReferenceInEveryTypeAndForm) {
  sweep_inv<Kpl32f, Kpl32f>(kplsThreshold_LTInv_32f, kplsThreshold_LTInv_32f_I, 8192);
  sweep_inv<Kpl64f, Kpl64f>(kplsThreshold_LTInv_64f, kplsThreshold_LTInv_64f_I, 2048);
  sweep_inv<Kpl32fc, Kpl32f>(kplsThreshold_LTInv_32fc, kplsThreshold_LTInv_32fc_I, 2048);
  sweep_inv<Kpl64fc, Kpl64f>(kplsThreshold_LTInv_64fc, kplsThreshold_LTInv_64fc_I, 512);
}

// Just below and at the size limit, one zero in the last element: 4 then 6, at
// any thread count, with the same bits.
template <class T, class R>
void warning_by_size(KplStatus (*f)(const T*, T*, int, R), size_t limit) {
  for (size_t len : {limit - 1, limit, limit + 1, 4 * limit + 3}) {
    std::vector<T> s(len);
    fill_parts(reinterpret_cast<R*>(s.data()), len * sizeof(T) / sizeof(R), len);
    for (size_t i = 0; i + 1 < len; ++i)
      if (has_zero(s[i])) reinterpret_cast<R*>(&s[i])[0] = R(1);
    std::memset(static_cast<void*>(&s[len - 1]), 0, sizeof(T));
    std::vector<T> first;
    for (int threads : {1, 2, 8}) {
      ThreadCount tc(threads);
      std::vector<T> d(len);
      ASSERT_EQ(f(s.data(), d.data(), static_cast<int>(len), R(0)),
                len < limit ? kplStsWarnInvZero : kplStsWarnDivByZero)
          << "len=" << len << " threads " << threads;
      if (first.empty()) first = d;
      ASSERT_TRUE(same_bits(first.data(), d.data(), len)) << "len=" << len << " threads " << threads;
    }
  }
}

TEST(ThresholdLTInv, WarningBySizeClassAndSameBitsOnAnyTeam) {
  warning_by_size<Kpl32f, Kpl32f>(kplsThreshold_LTInv_32f, 8192);
  warning_by_size<Kpl64f, Kpl64f>(kplsThreshold_LTInv_64f, 2048);
  warning_by_size<Kpl32fc, Kpl32f>(kplsThreshold_LTInv_32fc, 2048);
  warning_by_size<Kpl64fc, Kpl64f>(kplsThreshold_LTInv_64fc, 512);
  std::vector<Kpl32f> s(10000, 3.0f), d(10000);  // no zero: no warning at any size
  EXPECT_EQ(kplsThreshold_LTInv_32f(s.data(), d.data(), 10000, 0.0f), kplStsOk);
  s[5000] = 0.0f;
  EXPECT_EQ(kplsThreshold_LTInv_32f(s.data(), d.data(), 100, 0.0f), kplStsOk);  // the zero lies beyond len
  EXPECT_EQ(kplsThreshold_LTInv_32f(s.data(), d.data(), 10000, 0.0f), kplStsWarnDivByZero);
  EXPECT_EQ(std::bit_cast<uint32_t>(d[5000]), 0x7F800000u);
}

uint32_t b32(Kpl32f x) { return std::bit_cast<uint32_t>(x); }

TEST(ThresholdLTInv, Edges) {
  const Kpl32f inf = INFINITY, nneg = std::bit_cast<Kpl32f>(0xFFC00000u), denorm = std::bit_cast<Kpl32f>(1u);
  struct {
    Kpl32f x, level;
    uint32_t want;
    KplStatus st;
  } real[] = {
      {0.0f, 0.0f, 0x7F800000, kplStsWarnInvZero}, {-0.0f, 0.0f, 0xFF800000, kplStsWarnInvZero},
      {denorm, 0.0f, 0x7F800000, kplStsOk},  // 1 / 2^-149 overflows: no zero met
      {0.0f, 2.0f, b32(0.5f), kplStsOk},           {-0.0f, 2.0f, b32(-0.5f), kplStsOk},
      {nneg, 2.0f, b32(-0.5f), kplStsOk},          {-1.0f, 2.0f, b32(-0.5f), kplStsOk},
      {4.0f, 2.0f, b32(0.25f), kplStsOk},          {-inf, 2.0f, 0x80000000, kplStsOk},
      {3.0f, 0.0f, b32(1.0f / 3.0f), kplStsOk},    {1e-30f, 0.0f, b32(1e30f), kplStsOk},
  };
  for (auto c : real) {
    Kpl32f got = 0;
    EXPECT_EQ(kplsThreshold_LTInv_32f(&c.x, &got, 1, c.level), c.st) << c.x << " level " << c.level;
    EXPECT_EQ(b32(got), c.want) << c.x << " level " << c.level;
  }
  struct {
    Kpl32fc x;
    Kpl32f level;
    Kpl32fc want;
    KplStatus st;
  } cplx[] = {
      {{0.0f, -0.0f}, 0.0f, {inf, 0.0f}, kplStsWarnInvZero}, {{-0.0f, 0.0f}, 0.0f, {-inf, -0.0f}, kplStsWarnInvZero},
      {{0.0f, 0.0f}, 2.0f, {0.5f, -0.0f}, kplStsOk},         {{1.0f, 0.0f}, 2.0f, {0.5f, -0.0f}, kplStsOk},
      {{3.0f, 4.0f}, 2.0f, {0.12f, -0.16f}, kplStsOk},       {{0.0f, 1.0f}, 4.0f, {0.0f, -0.25f}, kplStsOk},
      {{inf, 1.0f}, 0.0f, {0.0f, -0.0f}, kplStsOk},          {{-1.0f, -inf}, 1.0f, {-0.0f, 0.0f}, kplStsOk},
  };
  for (auto c : cplx) {
    Kpl32fc got{};
    EXPECT_EQ(kplsThreshold_LTInv_32fc(&c.x, &got, 1, c.level), c.st) << c.x.re << "," << c.x.im;
    EXPECT_TRUE(same_bits(&got, &c.want, 1)) << c.x.re << "," << c.x.im << " got " << got.re << "," << got.im;
  }
  const Kpl32fc nanx = {NAN, 1.0f};
  Kpl32fc got{};
  EXPECT_EQ(kplsThreshold_LTInv_32fc(&nanx, &got, 1, 1.0f), kplStsOk);
  EXPECT_TRUE(std::isnan(got.re) && std::isnan(got.im));
  // 64fc beyond binary64's squares: 1 / (1e300 + 1e300 i) and 1 / 1e-300.
  const Kpl64fc huge = {1e300, 1e300}, tiny = {1e-300, 0.0};
  Kpl64fc g64{};
  EXPECT_EQ(kplsThreshold_LTInv_64fc(&huge, &g64, 1, 1.0), kplStsOk);
  EXPECT_DOUBLE_EQ(g64.re, 5e-301);
  EXPECT_DOUBLE_EQ(g64.im, -5e-301);
  EXPECT_EQ(kplsThreshold_LTInv_64fc(&tiny, &g64, 1, 0.0), kplStsOk);
  EXPECT_DOUBLE_EQ(g64.re, 1e300);
  // A NaN level passes the check and gives NaN everywhere.
  const Kpl64f xs[3] = {0.0, -2.0, 5.0};
  Kpl64f ds[3];
  EXPECT_EQ(kplsThreshold_LTInv_64f(xs, ds, 3, NAN), kplStsOk);
  for (Kpl64f v : ds) EXPECT_TRUE(std::isnan(v));
}

// The caller unmasked the divide-by-zero trap and rounds toward zero with
// flush-to-zero: no trap, results as under round-to-nearest, the control bits
// back exactly, and the divide-by-zero flag raised.
TEST(ThresholdLTInv, CallerControlWordKept) {
  const unsigned saved = _mm_getcsr();
  const unsigned caller = (saved & ~0x7FFFu) | 0x1F80u | 0x6000u | 0x8000u;  // all masked, toward zero, FTZ
  const unsigned unmasked = caller & ~0x0200u;                               // divide-by-zero trap on
  for (size_t len : {100u, 10000u}) {
    ThreadCount tc(2);
    std::vector<Kpl32f> s(len, 3.0f), d(len), want(len);
    s[len / 2] = 0.0f;
    EXPECT_EQ(kplsThreshold_LTInv_32f(s.data(), want.data(), static_cast<int>(len), 0.0f),
              len < 8192 ? kplStsWarnInvZero : kplStsWarnDivByZero);
    _mm_setcsr(unmasked);
    const KplStatus st = kplsThreshold_LTInv_32f(s.data(), d.data(), static_cast<int>(len), 0.0f);
    const unsigned after = _mm_getcsr();
    _mm_setcsr(saved);
    EXPECT_EQ(st, len < 8192 ? kplStsWarnInvZero : kplStsWarnDivByZero);
    EXPECT_EQ(after & ~0x3Fu, unmasked & ~0x3Fu) << "control bits, len " << len;
    if (len < 8192) {
      EXPECT_NE(after & 0x04u, 0u) << "divide-by-zero flag";  // raised on the calling thread
    }
    EXPECT_TRUE(same_bits(d.data(), want.data(), len)) << "len " << len;
    EXPECT_EQ(b32(d[0]), b32(1.0f / 3.0f));
  }
}

TEST(ThresholdLTInv, OrderOfChecks) {
  Guarded<Kpl32fc> s(4), d(4);
  fill_random_bits(s.data(), 4, 3);
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  expect_checks<2>(kplsThreshold_LTInv_32fc, std::make_tuple(static_cast<const Kpl32fc*>(s.data()), d.data(), 4, 1.0f),
                   "LTInv_32fc");
  expect_checks<1>(kplsThreshold_LTInv_64f_I, std::make_tuple(reinterpret_cast<Kpl64f*>(d.data()), 4, 1.0),
                   "LTInv_64f_I");
  EXPECT_EQ(kplsThreshold_LTInv_32fc(s.data(), d.data(), 4, -1.0f), kplStsBadThreshold);
  EXPECT_EQ(kplsThreshold_LTInv_32f(reinterpret_cast<Kpl32f*>(s.data()), reinterpret_cast<Kpl32f*>(d.data()), 4, -1.0f),
            kplStsBadThreshold);
  EXPECT_EQ(kplsThreshold_LTInv_64fc_I(reinterpret_cast<Kpl64fc*>(d.data()), 2, -1e-300), kplStsBadThreshold);
  EXPECT_EQ(kplsThreshold_LTInv_32f(nullptr, reinterpret_cast<Kpl32f*>(d.data()), 0, -1.0f), kplStsNullPointer);
  EXPECT_EQ(kplsThreshold_LTInv_32f(reinterpret_cast<Kpl32f*>(s.data()), reinterpret_cast<Kpl32f*>(d.data()), 0, -1.0f),
            kplStsBadSize);
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0));
}

}  // namespace
