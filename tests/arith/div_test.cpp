// Div, Div_Round and DivCRev: each family swept over lengths 1..70 and longer and
// every start offset against a reference written here (exact integers for the
// integer forms that round exactly, the documented instruction sequence in scalar
// form for the kernels that do not, each checked against the true quotient), the
// scale factor from -40 to 40, the threaded paths at 1, 2 and 8 threads, the
// documented edge cases as small tables, and the order of checks.
#include <gtest/gtest.h>
#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstring>
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
#include "arith/arith_cases.hpp"

using namespace kpltest;

namespace {

using Threads = ThreadCount;

// ---------------------------------------------------------------------------
// Floating references.

constexpr uint32_t kNaN32 = 0x7FC00000u;
constexpr uint64_t kNaN64 = 0x7FF8000000000000ull;

float rcp(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }

bool both_nan(float a, float b) { return a != a && b != b; }
bool both_nan(double a, double b) { return a != a && b != b; }
bool any_nan(float a, float b) { return a != a || b != b; }
bool any_nan(double a, double b) { return a != a || b != b; }

// Equal bits; where an input of an element is NaN only NaN-ness is compared, since
// which payload survives when it meets another NaN (its own or one an operation
// made) is not documented. The kernels' own NaNs are pinned by the edge tables.
template <class F>
bool same(F got, F want, bool loose) {
  if (std::bit_cast<std::conditional_t<sizeof(F) == 4, uint32_t, uint64_t>>(got) ==
      std::bit_cast<std::conditional_t<sizeof(F) == 4, uint32_t, uint64_t>>(want))
    return true;
  return loose && both_nan(got, want);
}

// Div_32f: the fast quotient, and an element of a group that holds a zero divisor.
float fast_32f(float n, float d) {
  const float r = rcp(d);
  const float t = 1.0f - d * r;
  const float y = n * r;
  return y + t * (y + t * y);
}
float alone_32f(float n, float d, bool& flag) {
  if (d == 0.0f || std::isnan(d)) {
    flag = true;
    if (std::isnan(d) || n == 0.0f || std::isnan(n)) return std::bit_cast<float>(kNaN32);
    return std::signbit(n) ? -INFINITY : INFINITY;
  }
  return n / d;
}

// The groups of the Div_32f kernel for a destination address: single and pair up
// to the 16-byte boundary (all pointers on the 4-byte grid), eights, then 4, 2, 1;
// off the grid, fours, then 2, 1.
std::vector<size_t> groups_32f(uintptr_t dst, bool on_grid, size_t n) {
  std::vector<size_t> g;
  size_t i = 0;
  auto take = [&](size_t k) { g.push_back(k), i += k; };
  if (on_grid) {
    if (dst % 8 != 0 && n >= 1) take(1);
    if ((dst + 4 * i) % 16 != 0 && n - i >= 2) take(2);
    while (n - i >= 8) take(8);
  } else {
    while (n - i >= 4) take(4);
  }
  for (size_t k : {4, 2, 1})
    if (n - i >= k) take(k);
  return g;
}

// The whole Div_32f result for dividends num(i) and divisors d[i].
template <class Num>
bool reference_32f(Num num, const float* d, float* q, size_t n, uintptr_t dst, bool on_grid) {
  bool flag = false;
  size_t i = 0;
  for (size_t k : groups_32f(dst, on_grid, n)) {
    bool zero = false;
    for (size_t j = i; j < i + k; ++j) zero |= d[j] == 0.0f;
    for (size_t j = i; j < i + k; ++j) q[j] = zero ? alone_32f(num(j), d[j], flag) : fast_32f(num(j), d[j]);
    i += k;
  }
  return flag;
}

// The reciprocal path is within 2^-20 of the true quotient where nothing is special.
void expect_close_32f(float n, float d, float q) {
  const long double t = static_cast<long double>(n) / d;
  if (!std::isnormal(n) || !std::isnormal(d) || !std::isnormal(static_cast<float>(t)) || std::fabs(t) > 1e30L) return;
  EXPECT_LE(std::fabs(q - t), std::fabs(t) * 0x1p-20L) << n << " / " << d;
}

double with_bits(double x, uint64_t add) { return std::bit_cast<double>((std::bit_cast<uint64_t>(x) + add) & ~uint64_t{3}); }

// Div_64f: the peel, the blocks of 8 inverted by one division, the tail.
bool reference_64f(const double* a, const double* b, double* q, size_t n, uintptr_t dst) {
  bool flag = false;
  size_t i = 0;
  if (dst % 16 != 0) {
    if (a[0] == 0.0) {
      flag = true;
      q[0] = _mm_cvtsd_f64(_mm_mul_sd(_mm_set_sd(b[0]), _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(kNaN64)))));
    } else {
      q[0] = b[0] / a[0];
    }
    i = 1;
  }
  for (; n - i >= 8; i += 8) {
    const double* x = a + i;
    const double p[2] = {((x[0] * x[4]) * x[2]) * x[6], ((x[1] * x[5]) * x[3]) * x[7]};
    const int e0 = static_cast<int>(std::bit_cast<uint64_t>(p[0]) >> 52 & 0x7FF);
    const int e1 = static_cast<int>(std::bit_cast<uint64_t>(p[1]) >> 52 & 0x7FF);
    if (e0 == 0 || e1 == 0) {
      for (size_t j = 0; j < 8; ++j) {
        if (x[j] == 0.0) {
          flag = true;
          q[i + j] = b[i + j] == 0.0 ? std::bit_cast<double>(kNaN64) : std::copysign(INFINITY, b[i + j]);
        } else {
          q[i + j] = b[i + j] / x[j];
        }
      }
    } else if (e0 == 0x7FF || e1 == 0x7FF) {
      for (size_t j = 0; j < 8; ++j) q[i + j] = b[i + j] / x[j];
    } else {
      for (size_t j = 0; j < 8; ++j) {
        const size_t c = j % 2;  // the chain of element j
        const double inv = 1.0 / p[c];
        double r;
        switch (j / 2) {
          case 0: r = (x[4 + c] * (x[2 + c] * x[6 + c])) * inv; break;  // 1/a0
          case 2: r = (x[0 + c] * (x[2 + c] * x[6 + c])) * inv; break;  // 1/a4
          case 1: r = ((x[0 + c] * x[4 + c]) * x[6 + c]) * inv; break;  // 1/a2
          default: r = ((x[0 + c] * x[4 + c]) * x[2 + c]) * inv; break; // 1/a6
        }
        q[i + j] = with_bits(r * b[i + j], 2);
      }
    }
  }
  for (; i < n; ++i) {
    if (a[i] == 0.0) {
      flag = true;
      q[i] = b[i] == 0.0 ? std::bit_cast<double>(kNaN64) : b[i] * INFINITY;
    } else {
      q[i] = b[i] / a[i];
    }
  }
  return flag;
}

// Div_32fc, one element: m = |a|^2 by the reciprocal with one refinement.
Kpl32fc quotient_32fc(Kpl32fc a, Kpl32fc b, bool& flag) {
  float m = a.re * a.re + a.im * a.im;
  const float nr = a.re * b.re + a.im * b.im, ni = a.re * b.im - a.im * b.re;
  const bool zero = m == 0.0f;
  if (zero) m = m + 1.0f;
  const float r = rcp(m);
  float t = r * (2.0f - m * r);
  if (zero) flag = true, t = t + std::bit_cast<float>(kNaN32);
  return {nr * t, ni * t};
}

// Div_64fc: pairs share 1 / (m0 * m1) unless it is zero or NaN.
bool reference_64fc(const Kpl64fc* a, const Kpl64fc* b, Kpl64fc* q, size_t n) {
  bool flag = false;
  auto mag = [](Kpl64fc z) { return z.re * z.re + z.im * z.im; };
  auto alone = [&](double m) {
    if (m == 0.0) return flag = true, std::bit_cast<double>(kNaN64);
    return 1.0 / m;
  };
  auto put = [&](size_t i, double inv) {
    const double nr = a[i].re * b[i].re + a[i].im * b[i].im, ni = a[i].re * b[i].im - a[i].im * b[i].re;
    q[i] = {nr * inv, ni * inv};
  };
  size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const double m0 = mag(a[i]), m1 = mag(a[i + 1]), p = m0 * m1;
    if (p < 0.0 || p > 0.0) {
      const double inv = 1.0 / p;
      put(i, m1 * inv), put(i + 1, m0 * inv);
    } else {
      put(i, alone(m0)), put(i + 1, alone(m1));
    }
  }
  if (i < n) put(i, alone(mag(a[i])));
  return flag;
}

// Test values: moderate magnitudes of both signs, with zeros and the special values.
float pick_32f(Rng& r) {
  static const std::vector<float> sp = special_floats();
  const uint64_t k = r.next();
  if (k % 13 == 0) return sp[(k >> 8) % sp.size()];
  if (k % 17 == 1) return (k >> 20) % 2 ? 0.0f : -0.0f;
  const float v = static_cast<float>(r.uniform(1e-3, 1e3));
  return (k >> 40) % 2 ? -v : v;
}
double pick_64f(Rng& r) {
  static const std::vector<double> sp = special_doubles();
  const uint64_t k = r.next();
  if (k % 29 == 0) return sp[(k >> 8) % sp.size()];
  if (k % 31 == 1) return (k >> 20) % 2 ? 0.0 : -0.0;
  const double v = r.uniform(1e-3, 1e3);
  return (k >> 40) % 2 ? -v : v;
}

template <class T>
void fill(Guarded<T>& g, uint64_t seed) {
  Rng r(seed);
  for (size_t i = 0; i < g.size(); ++i) {
    if constexpr (std::is_same_v<T, Kpl32f>) g[i] = pick_32f(r);
    else if constexpr (std::is_same_v<T, Kpl64f>) g[i] = pick_64f(r);
    else if constexpr (std::is_same_v<T, Kpl32fc>) g[i] = {pick_32f(r), pick_32f(r)};
    else g[i] = {pick_64f(r), pick_64f(r)};
  }
}

uintptr_t addr(const void* p) { return reinterpret_cast<uintptr_t>(p); }

#define AT " len=" << len << " offsets " << oa << "," << ob

// ---------------------------------------------------------------------------
// Floating sweeps.

// One floating family over every length and pair of offsets: the result against
// the kernel's reference (loose where an input NaN meets another), the status, the
// guards, then in place against the result out of place.
template <class T>
bool agree(T got, T want, bool loose) {
  if constexpr (std::is_floating_point_v<T>) return same(got, want, loose);
  else return same(got.re, want.re, loose) && same(got.im, want.im, loose);
}
template <class T, class Ref, class Loose>
void sweep_div(KplStatus (*out)(const T*, const T*, T*, int), KplStatus (*in)(const T*, T*, int), Ref ref, Loose loose) {
  const Threads one(1);  // a slice regroups the blocks around its own start
  sweep2([&](size_t len, size_t oa, size_t ob) {
    Guarded<T> a(len, oa), b(len, ob), d(len, (oa + ob) % 16), sd(len, (oa + ob) % 16);
    fill(a, len * 131 + oa), fill(b, len * 7 + ob);
    std::vector<T> want(len);
    const KplStatus st = ref(a.data(), b.data(), want.data(), len, addr(d.data())) ? kplStsWarnDivByZero : kplStsOk;
    ASSERT_EQ(out(a.data(), b.data(), d.data(), static_cast<int>(len)), st) << AT;
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(agree(d[i], want[i], loose(a, b, i))) << AT << " i=" << i;
    ASSERT_TRUE(d.guards_intact()) << AT;
    sd.assign(b.data());
    ASSERT_EQ(in(a.data(), sd.data(), static_cast<int>(len)), st) << AT;
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(agree(sd[i], d[i], true)) << AT << " i=" << i;
    ASSERT_TRUE(sd.guards_intact()) << AT;
  });
}
template <class T>
int odd_parts(T z) {
  return !std::isfinite(z.re) + !std::isfinite(z.im);
}

TEST(Div32f, MatchesTheDocumentedKernel) {
  sweep_div<Kpl32f>(
      kplsDiv_32f, kplsDiv_32f_I,
      [](const float* a, const float* b, float* q, size_t n, uintptr_t dst) { return reference_32f([&](size_t j) { return b[j]; }, a, q, n, dst, true); },
      [](auto& a, auto& b, size_t i) { return any_nan(a[i], b[i]); });
}
TEST(Div64f, MatchesTheDocumentedKernel) {
  sweep_div<Kpl64f>(kplsDiv_64f, kplsDiv_64f_I, reference_64f, [](auto& a, auto& b, size_t i) { return any_nan(a[i], b[i]); });
}
// An infinity makes NaNs of its own in the numerator: NaN-ness only there.
TEST(Div32fc, MatchesTheDocumentedKernel) {
  sweep_div<Kpl32fc>(
      kplsDiv_32fc, kplsDiv_32fc_I,
      [](const Kpl32fc* a, const Kpl32fc* b, Kpl32fc* q, size_t n, uintptr_t) {
        bool flag = false;
        for (size_t i = 0; i < n; ++i) q[i] = quotient_32fc(a[i], b[i], flag);
        return flag;
      },
      [](auto& a, auto& b, size_t i) { return odd_parts(a[i]) + odd_parts(b[i]) > 0; });
}
// A pair shares one reciprocal: the partner's specials loosen it too.
TEST(Div64fc, MatchesTheDocumentedKernel) {
  sweep_div<Kpl64fc>(
      kplsDiv_64fc, kplsDiv_64fc_I, [](const Kpl64fc* a, const Kpl64fc* b, Kpl64fc* q, size_t n, uintptr_t) { return reference_64fc(a, b, q, n); },
      [](auto& a, auto& b, size_t i) {
        const size_t len = a.size();
        return odd_parts(a[i]) + odd_parts(b[i]) + (i % 2 == 0 && i + 1 < len ? odd_parts(a[i + 1]) : 0) + (i % 2 == 1 ? odd_parts(a[i - 1]) : 0) > 0;
      });
}

TEST(Div32f, ReciprocalPathIsCloseToTheQuotient) {
  const Threads one(1);  // the teams are tested on their own below
  const size_t len = 4099;
  Guarded<Kpl32f> a(len), b(len), d(len);
  Rng r(5);
  for (size_t i = 0; i < len; ++i) a[i] = static_cast<float>(r.uniform(1e-3, 1e3)), b[i] = static_cast<float>(r.uniform(-1e3, 1e3));
  ASSERT_EQ(kplsDiv_32f(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk);
  for (size_t i = 0; i < len; ++i) {
    expect_close_32f(b[i], a[i], d[i]);
    EXPECT_EQ(d[i], fast_32f(b[i], a[i])) << i;
  }
}

TEST(Div32f, PointersOffTheFourByteGridGoByFours) {
  for (size_t len : {1u, 3u, 4u, 7u, 9u, 17u, 40u}) {
    std::vector<uint8_t> ab(4 * len + 8), bb(4 * len + 8), db(4 * len + 8, 0xA5);
    auto* a = reinterpret_cast<float*>(ab.data() + 1);
    auto* b = reinterpret_cast<float*>(bb.data() + 2);
    auto* d = reinterpret_cast<float*>(db.data() + 3);
    Rng r(len);
    std::vector<float> av(len), bv(len), want(len), got(len);
    for (size_t i = 0; i < len; ++i) av[i] = pick_32f(r), bv[i] = pick_32f(r);
    if (len > 5) av[5] = 0.0f;  // one group by true divisions
    std::memcpy(ab.data() + 1, av.data(), 4 * len), std::memcpy(bb.data() + 2, bv.data(), 4 * len);
    const bool flag = reference_32f([&](size_t j) { return bv[j]; }, av.data(), want.data(), len, addr(d), false);
    EXPECT_EQ(kplsDiv_32f(a, b, d, static_cast<int>(len)), flag ? kplStsWarnDivByZero : kplStsOk);
    std::memcpy(got.data(), db.data() + 3, 4 * len);
    for (size_t i = 0; i < len; ++i) EXPECT_TRUE(same(got[i], want[i], any_nan(av[i], bv[i]))) << len << " " << i;
    for (size_t k = 0; k < 3; ++k) EXPECT_EQ(db[k], 0xA5);
    for (size_t k = 3 + 4 * len; k < db.size(); ++k) EXPECT_EQ(db[k], 0xA5);
  }
}

TEST(DivCRev32f, MatchesTheDocumentedKernel) {
  const Threads one(1);  // a slice regroups the blocks around its own start
  const float vals[] = {3.0f, -0.0f, std::bit_cast<float>(kNaN32), 1e-3f};
  sweep2([&](size_t len, size_t oa, size_t ob) {
    const float val = vals[(len + oa) % 4];
    Guarded<Kpl32f> s(len, oa), d(len, ob);
    fill(s, len * 3 + oa);
    std::vector<float> want(len);
    const bool flag = reference_32f([&](size_t) { return val; }, s.data(), want.data(), len, addr(d.data()), true);
    ASSERT_EQ(kplsDivCRev_32f(s.data(), val, d.data(), static_cast<int>(len)), flag ? kplStsWarnDivByZero : kplStsOk) << AT;
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(same(d[i], want[i], any_nan(s[i], val))) << AT << " i=" << i;
    ASSERT_TRUE(d.guards_intact()) << AT;
    if (ob == 0) {  // in place the groups follow the source's own address
      const std::vector<float> src = s.values();
      const bool f = reference_32f([&](size_t) { return val; }, src.data(), want.data(), len, addr(s.data()), true);
      ASSERT_EQ(kplsDivCRev_32f_I(val, s.data(), static_cast<int>(len)), f ? kplStsWarnDivByZero : kplStsOk) << AT;
      for (size_t i = 0; i < len; ++i) ASSERT_TRUE(same(s[i], want[i], any_nan(src[i], val))) << AT << " i=" << i;
    }
  });
}

TEST(Div64f, BatchInversionIsCloseToTheQuotientWithTwoClearBits) {
  const size_t len = 1000;
  Guarded<Kpl64f> a(len), b(len), d(len);
  Rng r(9);
  for (size_t i = 0; i < len; ++i) a[i] = r.uniform(1e-3, 1e3), b[i] = r.uniform(-1e3, 1e3);
  ASSERT_EQ(kplsDiv_64f(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk);
  for (size_t i = 0; i < len; ++i) {
    const long double t = static_cast<long double>(b[i]) / a[i];
    EXPECT_LE(std::fabs(d[i] - t), std::fabs(t) * 0x1p-46L) << i;
    EXPECT_EQ(std::bit_cast<uint64_t>(d[i]) & 3, 0u) << i;
  }
}

TEST(Div32fc, OneRefinementIsCloseToTheQuotient) {
  Rng r(3);
  for (int k = 0; k < 2000; ++k) {
    const Kpl32fc a{static_cast<float>(r.uniform(-1e3, 1e3)), static_cast<float>(r.uniform(-1e3, 1e3))};
    const Kpl32fc b{static_cast<float>(r.uniform(-1e3, 1e3)), static_cast<float>(r.uniform(-1e3, 1e3))};
    Kpl32fc q;
    ASSERT_EQ(kplsDiv_32fc(&a, &b, &q, 1), kplStsOk);
    const long double m = static_cast<long double>(a.re) * a.re + static_cast<long double>(a.im) * a.im;
    const long double re = (static_cast<long double>(a.re) * b.re + static_cast<long double>(a.im) * b.im) / m;
    const long double im = (static_cast<long double>(a.re) * b.im - static_cast<long double>(a.im) * b.re) / m;
    const long double size = std::sqrt(re * re + im * im);
    EXPECT_LE(std::fabs(q.re - re), size * 0x1p-19L) << k;
    EXPECT_LE(std::fabs(q.im - im), size * 0x1p-19L) << k;
  }
}

// Floating edge cases.

TEST(DivFloatEdges, ZeroDivisorsAndTheKernelsNaN) {
  const float inf = INFINITY;
  {
    const Kpl32f a[3] = {0.0f, 0.0f, 0.0f}, b[3] = {1.0f, -1.0f, 0.0f};
    Kpl32f d[3];
    EXPECT_EQ(kplsDiv_32f(a, b, d, 3), kplStsWarnDivByZero);
    EXPECT_EQ(d[0], inf);
    EXPECT_EQ(d[1], -inf);
    EXPECT_EQ(std::bit_cast<uint32_t>(d[2]), kNaN32);
    const Kpl32f na[3] = {-0.0f, -0.0f, -0.0f};  // the sign of a zero divisor is ignored
    EXPECT_EQ(kplsDiv_32f(na, b, d, 3), kplStsWarnDivByZero);
    EXPECT_EQ(d[0], inf);
    EXPECT_EQ(d[1], -inf);
    EXPECT_EQ(std::bit_cast<uint32_t>(d[2]), kNaN32);
  }
  {
    // In a group with a zero divisor a NaN divisor gives the kernel's NaN and flags.
    const Kpl32f a[2] = {0.0f, std::bit_cast<float>(0xFFC00001u)}, b[2] = {2.0f, 5.0f};
    Kpl32f d[2];
    EXPECT_EQ(kplsDiv_32f(a, b, d, 2), kplStsWarnDivByZero);
    EXPECT_EQ(std::bit_cast<uint32_t>(d[1]), kNaN32);
  }
  {
    // One zero divisor changes its seven neighbours to true divisions.
    alignas(16) Kpl32f a[8] = {3, 7, 11, 13, 0, 17, 19, 23}, b[8] = {1, 1, 1, 1, 1, 1, 1, 1}, d[8];
    EXPECT_EQ(kplsDiv_32f(a, b, d, 8), kplStsWarnDivByZero);
    for (int i : {0, 1, 2, 3, 5, 6, 7}) EXPECT_EQ(d[i], 1.0f / a[i]) << i;
    a[4] = 29;
    EXPECT_EQ(kplsDiv_32f(a, b, d, 8), kplStsOk);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(d[i], fast_32f(1.0f, a[i])) << i;
  }
  {
    // Div_64f: the peel multiplies by NaN; the same element in a block's place gives infinity.
    alignas(16) Kpl64f a[2] = {0.0, 0.0}, b[2] = {1.0, 1.0}, d[3];
    EXPECT_EQ(kplsDiv_64f(a, b, d + 1, 1), kplStsWarnDivByZero);
    EXPECT_EQ(std::bit_cast<uint64_t>(d[1]), kNaN64);
    EXPECT_EQ(kplsDiv_64f(a, b, d, 1), kplStsWarnDivByZero);
    EXPECT_EQ(d[0], static_cast<double>(INFINITY));
  }
  {
    // Div_64f, a block with a zero divisor: infinity by the dividend's sign, NaN for 0 / 0.
    alignas(16) Kpl64f a[8] = {0, 0, 0, 2, 4, 8, 16, 32}, b[8] = {-3, 0, 5, 1, 1, 1, 1, 1}, d[8];
    EXPECT_EQ(kplsDiv_64f(a, b, d, 8), kplStsWarnDivByZero);
    EXPECT_EQ(d[0], -static_cast<double>(INFINITY));
    EXPECT_EQ(std::bit_cast<uint64_t>(d[1]), kNaN64);
    EXPECT_EQ(d[2], static_cast<double>(INFINITY));
    for (int i = 3; i < 8; ++i) EXPECT_EQ(d[i], 1.0 / a[i]) << i;
    // An infinite divisor in the chain of a zero makes the product NaN: plain
    // divisions, no flag, when the other chain is ordinary.
    const Kpl64f c[8] = {0, 1, 3, 2, INFINITY, 8, 16, 32};
    EXPECT_EQ(kplsDiv_64f(c, b, d, 8), kplStsOk);
    EXPECT_EQ(d[0], -static_cast<double>(INFINITY));
    EXPECT_EQ(d[1], 0.0);
    EXPECT_EQ(d[4], 0.0);
  }
  {
    // Complex: a zero divisor makes both parts NaN and flags; the other lanes are unaffected.
    const Kpl32fc a[2] = {{0, 0}, {1, 1}}, b[2] = {{1, 2}, {2, 0}};
    Kpl32fc d[2];
    EXPECT_EQ(kplsDiv_32fc(a, b, d, 2), kplStsWarnDivByZero);
    EXPECT_EQ(std::bit_cast<uint32_t>(d[0].re), kNaN32);
    EXPECT_EQ(std::bit_cast<uint32_t>(d[0].im), kNaN32);
    EXPECT_NEAR(d[1].re, 1.0f, 1e-6f);
    EXPECT_NEAR(d[1].im, -1.0f, 1e-6f);
    const Kpl64fc c[3] = {{0, 0}, {1, 1}, {0, 0}}, e[3] = {{1, 2}, {2, 0}, {4, 4}};
    Kpl64fc f[3];
    EXPECT_EQ(kplsDiv_64fc(c, e, f, 3), kplStsWarnDivByZero);
    for (int i : {0, 2}) {
      EXPECT_EQ(std::bit_cast<uint64_t>(f[i].re), kNaN64) << i;
      EXPECT_EQ(std::bit_cast<uint64_t>(f[i].im), kNaN64) << i;
    }
    EXPECT_EQ(f[1].re, 1.0);
    EXPECT_EQ(f[1].im, -1.0);
  }
  {
    // DivCRev_32f: the constant over a zero element.
    const Kpl32f s[3] = {0.0f, -0.0f, 4.0f};
    Kpl32f d[3];
    EXPECT_EQ(kplsDivCRev_32f(s, -2.0f, d, 3), kplStsWarnDivByZero);
    EXPECT_EQ(d[0], -inf);
    EXPECT_EQ(d[1], -inf);
    EXPECT_EQ(d[2], -0.5f);
    EXPECT_EQ(kplsDivCRev_32f(s, 0.0f, d, 3), kplStsWarnDivByZero);
    EXPECT_EQ(std::bit_cast<uint32_t>(d[0]), kNaN32);
  }
}

// ---------------------------------------------------------------------------
// Integer references.

// n * 2^-s / d rounded exactly by the mode (d not 0, |s| <= 64 with 32-bit operands).
i128 exact_quotient(int64_t n, int64_t d, int s, Rnd mode) {
  return round_div(s < 0 ? i128{n} << -s : i128{n}, s > 0 ? i128{d} << s : i128{d}, mode);
}

// A zero divisor's value in every range: the bound by the dividend's sign, or 0.
template <class D>
D by_sign(int64_t n) {
  return n > 0 ? std::numeric_limits<D>::max() : (n < 0 ? std::numeric_limits<D>::lowest() : D{0});
}

// Div_16s in single precision from s = -5 up, as documented, for one element.
Kpl16s reciprocal_16s(Kpl16s n, Kpl16s d, int s) {
  const float nf = static_cast<float>(n) * 65536.0f;
  const float df = d == 0 ? std::ldexp(1.0f, -s) : static_cast<float>(d) * 65536.0f;
  const float r = rcp(df);
  const float r1 = r * (2.0f - df * r);
  const float q = nf * r1;
  uint32_t bits = std::bit_cast<uint32_t>(q);
  if (!(s > 0 && q == 0.0f)) bits += static_cast<uint32_t>(-s) * (1u << 23) + 1u;
  bits &= ~3u;
  return clamp_to<Kpl16s>(static_cast<__int128>(std::nearbyint(std::bit_cast<float>(bits))));
}

// Binary64: n * 2^-s / d, clamped, rounded to nearest (Div_16s below -5, Div_32s).
template <class D>
D binary64_quotient(int64_t n, int64_t d, int s) {
  double q = std::ldexp(static_cast<double>(n), -s) / static_cast<double>(d);
  q = std::fmin(std::fmax(q, static_cast<double>(std::numeric_limits<D>::lowest())), static_cast<double>(std::numeric_limits<D>::max()));
  return static_cast<D>(std::nearbyint(q));
}

// One integer Div family: the entries, the kernel range, and its reference.
template <class A, class B, class D, auto Out, auto In, int Lo, int Hi, int Kind>
struct IntDiv {
  using Divisor = A;
  using Dividend = B;
  using Dest = D;
  static constexpr auto out = Out;
  static constexpr auto in = In;
  static constexpr int lo = Lo, hi = Hi;
  static constexpr bool has_in = !std::is_same_v<decltype(In), std::nullptr_t>;
  // Kind 0: exactly rounded; 1: Div_16s; 2: Div_32s; 3: Div_16u (0 / x saturates below the range).
  static D want(A a, B b, int s) {
    if (a == 0) return by_sign<D>(b);
    if constexpr (Kind == 3)
      if (s < Lo) return std::numeric_limits<D>::max();
    if (s < Lo || s > Hi) return clamp_to<D>(exact_quotient(b, a, s, Rnd::kNearEven));  // only the signs matter here
    if constexpr (Kind == 1) return s >= -5 ? reciprocal_16s(b, a, s) : binary64_quotient<D>(b, a, s);
    if constexpr (Kind == 2) return binary64_quotient<D>(b, a, s);
    return clamp_to<D>(exact_quotient(b, a, s, Rnd::kNearEven));
  }
};

using IntDivs = ::testing::Types<
    IntDiv<Kpl8u, Kpl8u, Kpl8u, kplsDiv_8u_Sfs, kplsDiv_8u_ISfs, -15, 8, 0>,
    IntDiv<Kpl16u, Kpl16u, Kpl16u, kplsDiv_16u_Sfs, kplsDiv_16u_ISfs, -31, 16, 3>,
    IntDiv<Kpl16s, Kpl16s, Kpl16s, kplsDiv_16s_Sfs, kplsDiv_16s_ISfs, -30, 15, 1>,
    IntDiv<Kpl32s, Kpl32s, Kpl32s, kplsDiv_32s_Sfs, kplsDiv_32s_ISfs, -62, 32, 2>,
    IntDiv<Kpl16s, Kpl32s, Kpl16s, kplsDiv_32s16s_Sfs, nullptr, -29, 31, 0>>;

template <class F>
class IntegerDiv : public ::testing::Test {};
TYPED_TEST_SUITE(IntegerDiv, IntDivs);

// Values that reach every bound, both signs and small quotients.
template <class T>
T pick_int(Rng& r) {
  static const std::vector<T> sp = special_integers<T>();
  const uint64_t k = r.next();
  switch (k % 4) {
    case 0: return sp[(k >> 8) % sp.size()];
    case 1: return static_cast<T>(k >> 16);
    default: return static_cast<T>(static_cast<int64_t>((k >> 16) % 41) - (std::is_signed_v<T> ? 20 : 0));
  }
}

// An exact tie n * 2^-s / d = j + 1/2, when one fits the types.
template <class N, class Dv>
bool tie_pair(Rng& r, int s, N& n, Dv& d) {
  const uint64_t k = r.next();
  const int64_t odd = 2 * static_cast<int64_t>((k >> 16) % 7) + 1;
  int64_t nn, dd;
  if (s >= 1) {
    if (s - 1 >= 40) return false;
    dd = 1 + static_cast<int64_t>((k >> 24) % 5);
    nn = (odd * dd) << (s - 1);
  } else {
    if (1 - s >= 40) return false;
    dd = int64_t{1} << (1 - s);
    nn = odd;
  }
  if (std::is_signed_v<N> && (k >> 32) % 2) nn = -nn;
  if (nn < std::numeric_limits<N>::lowest() || nn > std::numeric_limits<N>::max() || dd > std::numeric_limits<Dv>::max())
    return false;
  n = static_cast<N>(nn), d = static_cast<Dv>(dd);
  return true;
}

template <class F>
void fill_pair(Guarded<typename F::Divisor>& a, Guarded<typename F::Dividend>& b, int s, uint64_t seed) {
  Rng r(seed);
  for (size_t i = 0; i < a.size(); ++i) {
    b[i] = pick_int<typename F::Dividend>(r);
    a[i] = pick_int<typename F::Divisor>(r);
    if (r.next() % 3 == 0) tie_pair(r, s, b[i], a[i]);
  }
}

template <class F>
void check_int_div(size_t len, size_t oa, size_t ob, int s, bool in_place) {
  using A = typename F::Divisor;
  using B = typename F::Dividend;
  using D = typename F::Dest;
  Guarded<A> a(len, oa);
  Guarded<B> b(len, ob);
  fill_pair<F>(a, b, s, len * 1000 + oa * 16 + ob + static_cast<uint64_t>(s + 100) * 7919);
  bool zero = false;
  std::vector<D> want(len);
  for (size_t i = 0; i < len; ++i) zero |= a[i] == 0, want[i] = F::want(a[i], b[i], s);
  const KplStatus st = zero ? kplStsWarnDivByZero : kplStsOk;
  if (!in_place) {
    Guarded<D> d(len, (oa + ob) % 16);
    ASSERT_EQ(F::out(a.data(), b.data(), d.data(), static_cast<int>(len), s), st) << " s=" << s << " len=" << len;
    for (size_t i = 0; i < len; ++i)
      ASSERT_EQ(d[i], want[i]) << +b[i] << " / " << +a[i] << " s=" << s << " len=" << len << " i=" << i;
    ASSERT_TRUE(d.guards_intact());
  } else if constexpr (std::is_same_v<B, D>) {
    ASSERT_EQ(F::in(a.data(), b.data(), static_cast<int>(len), s), st) << " s=" << s;
    for (size_t i = 0; i < len; ++i) ASSERT_EQ(b[i], want[i]) << " s=" << s << " len=" << len << " i=" << i;
    ASSERT_TRUE(b.guards_intact());
  }
}

TYPED_TEST(IntegerDiv, EveryLengthAndOffset) {
  const Threads one(1);  // the teams are tested on their own below
  for (int s : {1, -2})
    sweep2([&](size_t len, size_t oa, size_t ob) {
      if (s == -2 && (oa + ob) % 3 != 0) return;  // the second class on a third of the offsets
      check_int_div<TypeParam>(len, oa, ob, s, false);
    });
  if constexpr (TypeParam::has_in)
    sweep1([&](size_t len, size_t o) { check_int_div<TypeParam>(len, o, o, 1, true); });
}

TYPED_TEST(IntegerDiv, EveryScaleFactor) {
  const Threads one(1);  // the teams are tested on their own below
  for (int s = -40; s <= 40; ++s)
    for (size_t len : {1u, 7u, 16u, 33u, 70u, 300u})
      for (size_t o : {0u, 5u}) {
        check_int_div<TypeParam>(len, o, (o * 3) % 16, s, false);
        if constexpr (TypeParam::has_in) check_int_div<TypeParam>(len, o, o, s, true);
      }
}

// The kernels that do not round exactly are within one of the exact quotient.
TEST(IntegerDivBounds, ApproximateKernelsAreWithinOne) {
  Rng r(17);
  for (int k = 0; k < 200000; ++k) {
    const int s = static_cast<int>(r.next() % 46) - 30;
    const Kpl16s a = static_cast<Kpl16s>(r.next()), b = static_cast<Kpl16s>(r.next());
    if (a == 0) continue;
    Kpl16s q;
    ASSERT_EQ(kplsDiv_16s_Sfs(&a, &b, &q, 1, s), kplStsOk);
    const __int128 e = clamp_to<Kpl16s>(exact_quotient(b, a, s, Rnd::kNearEven));
    ASSERT_LE(std::abs(static_cast<int>(q - e)), 1) << b << " / " << a << " s=" << s;
    const Kpl32s c = static_cast<Kpl32s>(r.next() >> (r.next() % 32)), e32 = static_cast<Kpl32s>(r.next());
    const int t = static_cast<int>(r.next() % 95) - 62;
    Kpl32s q32;
    if (c == 0) continue;
    ASSERT_EQ(kplsDiv_32s_Sfs(&c, &e32, &q32, 1, t), kplStsOk);
    const __int128 x = clamp_to<Kpl32s>(exact_quotient(e32, c, t, Rnd::kNearEven));
    ASSERT_LE(static_cast<long double>(q32 > x ? q32 - x : x - q32), 1.0L) << e32 << " / " << c << " s=" << t;
  }
}

// ---------------------------------------------------------------------------
// Div_Round: exact rounding in each mode.

template <class T, auto Out, auto In, int Lo, int Hi>
struct RoundDiv {
  using Type = T;
  static constexpr auto out = Out;
  static constexpr auto in = In;
  static constexpr int lo = Lo, hi = Hi;
};
using RoundDivs = ::testing::Types<RoundDiv<Kpl8u, kplsDiv_Round_8u_Sfs, kplsDiv_Round_8u_ISfs, -15, 8>,
                                   RoundDiv<Kpl16u, kplsDiv_Round_16u_Sfs, kplsDiv_Round_16u_ISfs, -31, 16>,
                                   RoundDiv<Kpl16s, kplsDiv_Round_16s_Sfs, kplsDiv_Round_16s_ISfs, -30, 16>>;
template <class F>
class RoundedDiv : public ::testing::Test {};
TYPED_TEST_SUITE(RoundedDiv, RoundDivs);

template <class F>
void check_round_div(size_t len, size_t oa, size_t ob, int s, Rnd mode, bool in_place) {
  using T = typename F::Type;
  using P = IntDiv<T, T, T, nullptr, nullptr, 0, 0, 0>;
  Guarded<T> a(len, oa), b(len, ob);
  fill_pair<P>(a, b, s, len * 31 + oa * 16 + ob + static_cast<uint64_t>(s + 100) * 104729);
  bool zero = false;
  std::vector<T> want(len);
  for (size_t i = 0; i < len; ++i) {
    zero |= a[i] == 0;
    want[i] = a[i] == 0 ? by_sign<T>(b[i]) : clamp_to<T>(exact_quotient(b[i], a[i], s, mode));
  }
  const KplStatus st = zero ? kplStsWarnDivByZero : kplStsOk;
  const unsigned csr = _mm_getcsr();
  if (!in_place) {
    Guarded<T> d(len, (oa + ob) % 16);
    ASSERT_EQ(F::out(a.data(), b.data(), d.data(), static_cast<int>(len), rnd_arg(mode), s), st);
    for (size_t i = 0; i < len; ++i)
      ASSERT_EQ(d[i], want[i]) << +b[i] << " / " << +a[i] << " s=" << s << " mode " << rnd_arg(mode) << " len=" << len;
    ASSERT_TRUE(d.guards_intact());
  } else {
    ASSERT_EQ(F::in(a.data(), b.data(), static_cast<int>(len), rnd_arg(mode), s), st);
    for (size_t i = 0; i < len; ++i) ASSERT_EQ(b[i], want[i]) << " s=" << s << " mode " << rnd_arg(mode);
    ASSERT_TRUE(b.guards_intact());
  }
  ASSERT_EQ(_mm_getcsr() & 0x6000u, csr & 0x6000u) << "the rounding control is restored";
}

TYPED_TEST(RoundedDiv, EveryLengthAndOffset) {
  const Threads one(1);  // the teams are tested on their own below
  for (Rnd mode : {Rnd::kZero, Rnd::kNearEven, Rnd::kNearAway})
    sweep2([&](size_t len, size_t oa, size_t ob) {
      if ((oa + ob + static_cast<size_t>(mode)) % 3 != 0) return;  // each mode on a third of the offsets
      check_round_div<TypeParam>(len, oa, ob, 1, mode, false);
    });
  sweep1([&](size_t len, size_t o) { check_round_div<TypeParam>(len, o, o, 2, Rnd::kNearAway, true); });
}

TYPED_TEST(RoundedDiv, EveryScaleFactorAndMode) {
  const Threads one(1);  // the teams are tested on their own below
  for (int s = -40; s <= 40; ++s)
    for (Rnd mode : {Rnd::kZero, Rnd::kNearEven, Rnd::kNearAway})
      for (size_t len : {3u, 16u, 45u, 300u}) {
        check_round_div<TypeParam>(len, len % 16, 3, s, mode, false);
        check_round_div<TypeParam>(len, 1, 1, s, mode, true);
      }
}

TEST(RoundedDivEdges, DocumentedModes) {
  struct {
    Kpl16s a, b;
    int s;
    Kpl16s zero, near, away;
  } cases[] = {
      {1, 3, 1, 1, 2, 2},        {1, 5, 1, 2, 2, 3},           {1, -3, 1, -1, -2, -2},
      {1, -32768, 16, 0, 0, -1},  // -0.5 at the top of the range rounds away to -1
      {1, -32768, 17, 0, 0, 0},   {0, 5, 3, 32767, 32767, 32767}, {3, 10, 0, 3, 3, 3},
  };
  for (auto c : cases) {
    const Kpl16s want[3] = {c.zero, c.near, c.away};
    for (int mode = 0; mode < 3; ++mode) {
      Kpl16s d = 99;
      EXPECT_EQ(kplsDiv_Round_16s_Sfs(&c.a, &c.b, &d, 1, mode, c.s), c.a == 0 ? kplStsWarnDivByZero : kplStsOk);
      EXPECT_EQ(d, want[mode]) << c.b << " / " << c.a << " s=" << c.s << " mode " << mode;
    }
  }
  // The caller's rounding control does not leak into kplRndNear, and comes back.
  const Kpl16s a = 2, b = 5;
  Kpl16s d;
  const unsigned csr = _mm_getcsr();
  _mm_setcsr((csr & ~0x6000u) | 0x6000u);
  EXPECT_EQ(kplsDiv_Round_16s_Sfs(&a, &b, &d, 1, kplRndNear, 0), kplStsOk);
  EXPECT_EQ(d, 2);  // 2.5 to even
  EXPECT_EQ(_mm_getcsr() & 0x6000u, 0x6000u);
  _mm_setcsr(csr);
}

// ---------------------------------------------------------------------------
// Div_16sc: binary64 with one division per element, short circuits by sign.

Kpl16sc reference_16sc(Kpl16sc a, Kpl16sc b, int s, bool& flag) {
  const int64_t nr = int64_t{a.re} * b.re + int64_t{a.im} * b.im, ni = int64_t{a.re} * b.im - int64_t{a.im} * b.re;
  const int64_t m = int64_t{a.re} * a.re + int64_t{a.im} * a.im;
  if (s < -32) {
    if (m == 0) return flag = true, Kpl16sc{0, 0};
    return {by_sign<Kpl16s>(nr), by_sign<Kpl16s>(ni)};
  }
  if (m == 0) return flag = true, Kpl16sc{0, 0};
  const double f = std::ldexp(1.0, -s) / static_cast<double>(m);
  auto part = [&](int64_t x) {
    return static_cast<Kpl16s>(std::nearbyint(std::fmin(std::fmax(static_cast<double>(x) * f, -32768.0), 32767.0)));
  };
  return {part(nr), part(ni)};
}

TEST(Div16sc, MatchesTheReferenceAtEveryScale) {
  const Threads one(1);  // the teams are tested on their own below
  for (int s = -40; s <= 40; ++s)
    for (size_t len : {1u, 5u, 16u, 37u, 300u}) {
      Guarded<Kpl16sc> a(len, len % 7), b(len, 2), d(len, 3);
      Rng r(static_cast<uint64_t>(s + 50) * 97 + len);
      const auto sp = special_integers<Kpl16s>();
      for (size_t i = 0; i < len; ++i) {
        const uint64_t k = r.next();
        a[i] = {static_cast<Kpl16s>(k % 5 == 0 ? 0 : (k % 5 == 1 ? sp[(k >> 8) % 7] : static_cast<Kpl16s>(k >> 16) >> (k >> 60))),
                static_cast<Kpl16s>(k % 7 == 0 ? 0 : static_cast<Kpl16s>(k >> 32) >> ((k >> 56) % 16))};
        b[i] = {static_cast<Kpl16s>(r.next()), static_cast<Kpl16s>(k % 3 == 0 ? sp[(k >> 12) % 7] : static_cast<Kpl16s>(r.next()))};
      }
      bool flag = false;
      std::vector<Kpl16sc> want(len);
      for (size_t i = 0; i < len; ++i) want[i] = reference_16sc(a[i], b[i], s, flag);
      KplStatus st = flag ? kplStsWarnDivByZero : kplStsOk;
      if (s > 32) {
        // Above the range: zeros, and the warning from the pairing of a's real part with b's imaginary part.
        st = kplStsOk;
        for (size_t i = 0; i < len; ++i) {
          want[i] = {0, 0};
          if (a[i].re == 0 && b[i].im == 0) st = kplStsWarnDivByZero;
        }
      }
      ASSERT_EQ(kplsDiv_16sc_Sfs(a.data(), b.data(), d.data(), static_cast<int>(len), s), st) << "s=" << s;
      for (size_t i = 0; i < len; ++i)
        ASSERT_TRUE(d[i].re == want[i].re && d[i].im == want[i].im) << "s=" << s << " i=" << i << " got " << d[i].re << ","
                                                                     << d[i].im << " want " << want[i].re << "," << want[i].im;
      ASSERT_TRUE(d.guards_intact());
      if (s > 32) {
        // In place the scan follows the fill, so it reads the zeroed dividend: any zero real part of a warns.
        st = kplStsOk;
        for (size_t i = 0; i < len; ++i)
          if (a[i].re == 0) st = kplStsWarnDivByZero;
      }
      ASSERT_EQ(kplsDiv_16sc_ISfs(a.data(), b.data(), static_cast<int>(len), s), st) << "s=" << s;
      ASSERT_TRUE(same_bits(b.data(), d.data(), len)) << "s=" << s;
    }
}

TEST(Div16sc, KernelIsWithinOneOfTheExactParts) {
  Rng r(23);
  for (int k = 0; k < 100000; ++k) {
    const int s = static_cast<int>(r.next() % 20) - 10;
    const Kpl16sc a{static_cast<Kpl16s>(r.next()), static_cast<Kpl16s>(r.next())};
    const Kpl16sc b{static_cast<Kpl16s>(r.next()), static_cast<Kpl16s>(r.next())};
    if (a.re == 0 && a.im == 0) continue;
    Kpl16sc q;
    ASSERT_EQ(kplsDiv_16sc_Sfs(&a, &b, &q, 1, s), kplStsOk);
    const int64_t m = int64_t{a.re} * a.re + int64_t{a.im} * a.im;
    const int64_t nr = int64_t{a.re} * b.re + int64_t{a.im} * b.im, ni = int64_t{a.re} * b.im - int64_t{a.im} * b.re;
    EXPECT_LE(std::abs(q.re - clamp_to<Kpl16s>(exact_quotient(nr, m, s, Rnd::kNearEven))), 1);
    EXPECT_LE(std::abs(q.im - clamp_to<Kpl16s>(exact_quotient(ni, m, s, Rnd::kNearEven))), 1);
  }
}

// ---------------------------------------------------------------------------
// Integer edge cases.

TEST(IntegerDivEdges, DocumentedValues) {
  const Kpl16s zero = 0, five = 5, mfive = -5, z0 = 0;
  Kpl16s d;
  EXPECT_EQ(kplsDiv_16s_Sfs(&zero, &five, &d, 1, 0), kplStsWarnDivByZero);
  EXPECT_EQ(d, 32767);
  EXPECT_EQ(kplsDiv_16s_Sfs(&zero, &mfive, &d, 1, 0), kplStsWarnDivByZero);
  EXPECT_EQ(d, -32768);
  EXPECT_EQ(kplsDiv_16s_Sfs(&zero, &z0, &d, 1, 0), kplStsWarnDivByZero);
  EXPECT_EQ(d, 0);
  const Kpl16u u5 = 5, u0 = 0;
  Kpl16u du = 1;
  EXPECT_EQ(kplsDiv_16u_Sfs(&u5, &u0, &du, 1, -32), kplStsOk);
  EXPECT_EQ(du, 65535);  // 0 / 5 below the range saturates
  EXPECT_EQ(kplsDiv_16u_Sfs(&u5, &u0, &du, 1, -31), kplStsOk);
  EXPECT_EQ(du, 0);
  const Kpl8u b5 = 5, b0 = 0;
  Kpl8u db = 1;
  EXPECT_EQ(kplsDiv_8u_Sfs(&b5, &b0, &db, 1, -16), kplStsOk);
  EXPECT_EQ(db, 0);
  // Ties at the edges of the ranges and the saturation bounds.
  struct {
    Kpl16s a, b;
    int s;
    Kpl16s want;
  } cases[] = {{1, 3, 1, 2},          {1, 5, 1, 2},          {2, 1, 0, 0},        {2, 3, 0, 2},
               {1, -32768, 15, -1},   {1, 32767, 15, 1},     {1, -32768, 16, 0},  {-1, -32768, 0, 32767},
               {3, 1, -30, 32767},    {-3, 1, -31, -32768},  {0, -1, 20, -32768}, {0, 1, -40, 32767},
               {32767, 1, -5, 0},     {32767, 1, -15, 1},    {7, 100, -6, 914}};
  for (auto c : cases) {
    EXPECT_EQ(kplsDiv_16s_Sfs(&c.a, &c.b, &d, 1, c.s), c.a == 0 ? kplStsWarnDivByZero : kplStsOk);
    EXPECT_EQ(d, c.want) << c.b << " / " << c.a << " s=" << c.s;
  }
  // Div_32s16s: a 32-bit dividend by a 16-bit divisor.
  const Kpl16s a16[3] = {-32768, 0, 3};
  const Kpl32s b32[3] = {INT32_MIN, -7, 2147483647};
  Kpl16s q[3];
  EXPECT_EQ(kplsDiv_32s16s_Sfs(a16, b32, q, 3, 0), kplStsWarnDivByZero);
  EXPECT_EQ(q[0], 32767);
  EXPECT_EQ(q[1], -32768);
  EXPECT_EQ(q[2], 32767);
  // Div_32s: the bounds of the destination, the most negative integer.
  const Kpl32s c32[3] = {-1, 0, 2}, e32[3] = {INT32_MIN, INT32_MIN, 5};
  Kpl32s r32[3];
  EXPECT_EQ(kplsDiv_32s_Sfs(c32, e32, r32, 3, 0), kplStsWarnDivByZero);
  EXPECT_EQ(r32[0], INT32_MAX);
  EXPECT_EQ(r32[1], INT32_MIN);
  EXPECT_EQ(r32[2], 2);  // 2.5 to even
  // Div_16sc above the range: zeros, warned by a(re) = 0 with b(im) = 0 though the divisor is not zero.
  const Kpl16sc ca[2] = {{1, 1}, {0, 3}}, cb[2] = {{5, 5}, {7, 0}};
  Kpl16sc cq[2];
  EXPECT_EQ(kplsDiv_16sc_Sfs(ca, cb, cq, 2, 33), kplStsWarnDivByZero);
  EXPECT_TRUE(cq[0].re == 0 && cq[0].im == 0 && cq[1].re == 0 && cq[1].im == 0);
  EXPECT_EQ(kplsDiv_16sc_Sfs(ca, cb, cq, 1, 33), kplStsOk);
}

// ---------------------------------------------------------------------------
// DivCRev_16u.

Kpl16u crev_16u(Kpl16u val, Kpl16u x) {
  if (x == 0) return 65535;
  const float xf = x, r = rcp(xf), r1 = r * (2.0f - xf * r);
  return static_cast<Kpl16u>(std::nearbyint(std::fmin(static_cast<float>(val) * r1, 65535.0f)));
}

TEST(DivCRev16u, MatchesTheReciprocalSequence) {
  const Threads one(1);  // the teams are tested on their own below
  const Kpl16u vals[] = {1, 3, 1000, 65535, 32768};
  sweep2([&](size_t len, size_t oa, size_t ob) {
    const Kpl16u val = vals[(len + oa) % 5];
    Guarded<Kpl16u> s(len, oa), d(len, ob);
    Rng r(len * 17 + oa);
    for (size_t i = 0; i < len; ++i) s[i] = static_cast<Kpl16u>(r.next() % 4 == 0 ? r.next() % 9 : r.next());
    bool zero = false;
    std::vector<Kpl16u> want(len);
    for (size_t i = 0; i < len; ++i) zero |= s[i] == 0, want[i] = crev_16u(val, s[i]);
    ASSERT_EQ(kplsDivCRev_16u(s.data(), val, d.data(), static_cast<int>(len)), zero ? kplStsWarnDivByZero : kplStsOk);
    for (size_t i = 0; i < len; ++i) {
      ASSERT_EQ(d[i], want[i]) << val << " / " << s[i] << AT << " i=" << i;
      if (s[i] != 0) {
        ASSERT_LE(std::abs(d[i] - static_cast<int>(std::nearbyint(double(val) / s[i]))), 1) << AT << " i=" << i;
      }
    }
    ASSERT_TRUE(d.guards_intact());
    if (ob == 0) {
      ASSERT_EQ(kplsDivCRev_16u_I(val, s.data(), static_cast<int>(len)), zero ? kplStsWarnDivByZero : kplStsOk);
      ASSERT_TRUE(same_bits(s.data(), d.data(), len)) << AT;
    }
  });
}

TEST(DivCRev16u, ZeroConstant) {
  Kpl16u s[4] = {1, 2, 3, 4}, d[4] = {9, 9, 9, 9};
  EXPECT_EQ(kplsDivCRev_16u(s, 0, d, 4), kplStsOk);
  for (Kpl16u v : d) EXPECT_EQ(v, 0);
  s[2] = 0;
  EXPECT_EQ(kplsDivCRev_16u(s, 0, d, 4), kplStsWarnDivByZero);
  for (Kpl16u v : d) EXPECT_EQ(v, 0);
  EXPECT_EQ(kplsDivCRev_16u_I(0, s, 4), kplStsWarnDivByZero);  // scanned before the fill
  for (Kpl16u v : s) EXPECT_EQ(v, 0);
  const Kpl16u one = 0;
  Kpl16u out;
  EXPECT_EQ(kplsDivCRev_16u(&one, 7, &out, 1), kplStsWarnDivByZero);
  EXPECT_EQ(out, 65535);
}

// ---------------------------------------------------------------------------
// Threads: 1, 2 and 8 threads give the same output and status, below, at and
// above each threshold, with one zero divisor in the last slice.

template <class T>
void fill_any(Guarded<T>& g, uint64_t seed, bool divisor) {
  Rng r(seed);
  for (size_t i = 0; i < g.size(); ++i) {
    if constexpr (std::is_floating_point_v<T>) {
      g[i] = static_cast<T>(r.uniform(0.5, 100.0));
    } else if constexpr (std::is_same_v<T, Kpl32fc> || std::is_same_v<T, Kpl64fc>) {
      g[i] = {static_cast<decltype(g[i].re)>(r.uniform(-9, 9)), static_cast<decltype(g[i].re)>(r.uniform(0.5, 9))};
    } else if constexpr (std::is_same_v<T, Kpl16sc>) {
      g[i] = {static_cast<Kpl16s>(r.next() % 2000), static_cast<Kpl16s>(1 + r.next() % 2000)};
    } else {
      g[i] = static_cast<T>(divisor ? 1 + r.next() % 100 : r.next());
    }
  }
}

template <class T>
void zero_at(Guarded<T>& g, size_t i) {
  std::memset(static_cast<void*>(&g[i]), 0, sizeof(T));
}

// call(a, b, d, len) runs the entry; a holds the divisors.
template <class A, class B, class D, class Call>
void expect_same_on_threads(const char* name, size_t threshold, Call call) {
  for (size_t len : {threshold - 1, threshold, threshold + 1}) {
    Guarded<A> a(len);
    Guarded<B> b(len);
    fill_any(a, len, true), fill_any(b, len + 1, false);
    zero_at(a, len - 5);
    std::vector<D> first;
    KplStatus first_st = 0;
    for (int threads : {1, 2, 8}) {
      Threads t(threads);
      Guarded<D> d(len);
      const KplStatus st = call(a.data(), b.data(), d.data(), static_cast<int>(len));
      EXPECT_TRUE(d.guards_intact()) << name;
      if (threads == 1) {
        first = d.values(), first_st = st;
        continue;
      }
      EXPECT_EQ(st, first_st) << name << " len=" << len << " threads=" << threads;
      EXPECT_TRUE(same_bits(d.data(), first.data(), len)) << name << " len=" << len << " threads=" << threads;
    }
  }
}

TEST(DivThreads, SameResultsAndStatusOnEveryTeam) {
  expect_same_on_threads<Kpl32f, Kpl32f, Kpl32f>("Div_32f", 4096, kplsDiv_32f);
  expect_same_on_threads<Kpl64f, Kpl64f, Kpl64f>("Div_64f", 1024, kplsDiv_64f);
  expect_same_on_threads<Kpl32fc, Kpl32fc, Kpl32fc>("Div_32fc", 1024, kplsDiv_32fc);
  expect_same_on_threads<Kpl64fc, Kpl64fc, Kpl64fc>("Div_64fc", 1024, kplsDiv_64fc);
  for (int s : {-20, 2}) {
    expect_same_on_threads<Kpl8u, Kpl8u, Kpl8u>("Div_8u", 1024, [s](auto a, auto b, auto d, int n) { return kplsDiv_8u_Sfs(a, b, d, n, s); });
    expect_same_on_threads<Kpl16s, Kpl16s, Kpl16s>("Div_16s", 1024, [s](auto a, auto b, auto d, int n) { return kplsDiv_16s_Sfs(a, b, d, n, s); });
    expect_same_on_threads<Kpl32s, Kpl32s, Kpl32s>("Div_32s", 1024, [s](auto a, auto b, auto d, int n) { return kplsDiv_32s_Sfs(a, b, d, n, s); });
    expect_same_on_threads<Kpl16s, Kpl32s, Kpl16s>("Div_32s16s", 1024, [s](auto a, auto b, auto d, int n) { return kplsDiv_32s16s_Sfs(a, b, d, n, s); });
    expect_same_on_threads<Kpl16sc, Kpl16sc, Kpl16sc>("Div_16sc", 256, [s](auto a, auto b, auto d, int n) { return kplsDiv_16sc_Sfs(a, b, d, n, s); });
    for (int mode = s < 0 ? 2 : 0; mode < 3; ++mode) {
      expect_same_on_threads<Kpl8u, Kpl8u, Kpl8u>("Div_Round_8u", 512, [s, mode](auto a, auto b, auto d, int n) { return kplsDiv_Round_8u_Sfs(a, b, d, n, mode, s); });
      expect_same_on_threads<Kpl16u, Kpl16u, Kpl16u>("Div_Round_16u", 1024, [s, mode](auto a, auto b, auto d, int n) { return kplsDiv_Round_16u_Sfs(a, b, d, n, mode, s); });
      expect_same_on_threads<Kpl16s, Kpl16s, Kpl16s>("Div_Round_16s", 1024, [s, mode](auto a, auto b, auto d, int n) { return kplsDiv_Round_16s_Sfs(a, b, d, n, mode, s); });
    }
  }
  expect_same_on_threads<Kpl32f, Kpl32f, Kpl32f>("DivCRev_32f", 4096, [](auto a, auto, auto d, int n) { return kplsDivCRev_32f(a, 3.0f, d, n); });
  expect_same_on_threads<Kpl16u, Kpl16u, Kpl16u>("DivCRev_16u", 2048, [](auto a, auto, auto d, int n) { return kplsDivCRev_16u(a, 777, d, n); });
}

// Workers convert under the caller's rounding control, like the calling thread.
TEST(DivThreads, CallersRoundingReachesEveryThread) {
  const size_t len = 5000;
  Guarded<Kpl16s> a(len), b(len);
  for (size_t i = 0; i < len; ++i) a[i] = 2, b[i] = static_cast<Kpl16s>(2 * i + 1);  // every quotient a tie
  std::vector<Kpl16s> one;
  const unsigned csr = _mm_getcsr();
  for (int threads : {1, 2}) {
    Threads t(threads);
    Guarded<Kpl16s> d(len);
    _mm_setcsr((csr & ~0x6000u) | 0x6000u);  // truncation
    const KplStatus st = kplsDiv_16s_Sfs(a.data(), b.data(), d.data(), static_cast<int>(len), -6);
    _mm_setcsr(csr);
    EXPECT_EQ(st, kplStsOk);
    if (threads == 1) {
      one = d.values();
      EXPECT_EQ(one[len - 1], clamp_to<Kpl16s>(((2 * static_cast<int64_t>(len - 1) + 1) * 64) / 2));
    } else {
      EXPECT_TRUE(same_bits(d.data(), one.data(), len));
    }
  }
}

// ---------------------------------------------------------------------------
// Order of checks: pointers, length, then the mode; nothing written on error.

template <class... G>
bool all_unchanged(const std::vector<uint8_t>* snaps, const G&... g) {
  size_t k = 0;
  return (g.unchanged_since(snaps[k++]) && ...);
}

TEST(DivChecks, PointersThenLengthThenMode) {
  expect_entry_checks("Div_32f", kplsDiv_32f, kplsDiv_32f_I);
  expect_entry_checks("Div_64f", kplsDiv_64f, kplsDiv_64f_I);
  expect_entry_checks("Div_32fc", kplsDiv_32fc, kplsDiv_32fc_I);
  expect_entry_checks("Div_64fc", kplsDiv_64fc, kplsDiv_64fc_I);
  for (int s : {0, -99, 99}) {
    expect_entry_checks("Div_8u_Sfs", kplsDiv_8u_Sfs, kplsDiv_8u_ISfs, s);
    expect_entry_checks("Div_16u_Sfs", kplsDiv_16u_Sfs, kplsDiv_16u_ISfs, s);
    expect_entry_checks("Div_16s_Sfs", kplsDiv_16s_Sfs, kplsDiv_16s_ISfs, s);
    expect_entry_checks("Div_16sc_Sfs", kplsDiv_16sc_Sfs, kplsDiv_16sc_ISfs, s);
    expect_entry_checks("Div_32s_Sfs", kplsDiv_32s_Sfs, kplsDiv_32s_ISfs, s);
    expect_entry_checks("Div_32s16s_Sfs", kplsDiv_32s16s_Sfs, nullptr, s);
    for (int mode : {0, 2, 3, -1}) {  // a bad mode loses to the pointers and the length
      expect_entry_checks("Div_Round_8u_Sfs", kplsDiv_Round_8u_Sfs, kplsDiv_Round_8u_ISfs, mode, s);
      expect_entry_checks("Div_Round_16u_Sfs", kplsDiv_Round_16u_Sfs, kplsDiv_Round_16u_ISfs, mode, s);
      expect_entry_checks("Div_Round_16s_Sfs", kplsDiv_Round_16s_Sfs, kplsDiv_Round_16s_ISfs, mode, s);
    }
  }
  // DivCRev: the constant form's pointers and length, also with a zero constant.
  for (Kpl16u val : {0, 9}) {
    Guarded<Kpl16u> s(4), d(4);
    fill_random_bits(s.data(), 4, 3);
    const std::vector<uint8_t> snaps[] = {s.snapshot(), d.snapshot()};
    expect_checks<3>(kplsDivCRev_16u, std::make_tuple(static_cast<const Kpl16u*>(s.data()), val, d.data(), 4), "DivCRev_16u");
    expect_checks<2>(kplsDivCRev_16u_I, std::make_tuple(val, d.data(), 4), "DivCRev_16u_I");
    EXPECT_TRUE(all_unchanged(snaps, s, d));
  }
  {
    Guarded<Kpl32f> s(4), d(4);
    const std::vector<uint8_t> snaps[] = {s.snapshot(), d.snapshot()};
    expect_checks<3>(kplsDivCRev_32f, std::make_tuple(static_cast<const Kpl32f*>(s.data()), 2.0f, d.data(), 4), "DivCRev_32f");
    expect_checks<2>(kplsDivCRev_32f_I, std::make_tuple(0.0f, d.data(), 4), "DivCRev_32f_I");
    EXPECT_TRUE(all_unchanged(snaps, s, d));
  }
}

TEST(DivChecks, BadRoundModeWritesNothing) {
  Guarded<Kpl16s> a(4), b(4), d(4);
  fill_random_bits(a.data(), 4, 1), fill_random_bits(b.data(), 4, 2);
  const std::vector<uint8_t> snaps[] = {a.snapshot(), b.snapshot(), d.snapshot()};
  for (int mode : {3, -1, 99}) {
    EXPECT_EQ(kplsDiv_Round_16s_Sfs(a.data(), b.data(), d.data(), 4, mode, 0), kplStsBadRoundMode);
    EXPECT_EQ(kplsDiv_Round_16s_Sfs(a.data(), b.data(), d.data(), 0, mode, 0), kplStsBadSize);
    EXPECT_EQ(kplsDiv_Round_16s_ISfs(a.data(), b.data(), 4, mode, 0), kplStsBadRoundMode);
    Kpl8u x[2] = {1, 2};
    EXPECT_EQ(kplsDiv_Round_8u_ISfs(x, x, 2, mode, 40), kplStsBadRoundMode);  // before the short circuits
    Kpl16u y[2] = {1, 2};
    EXPECT_EQ(kplsDiv_Round_16u_Sfs(y, y, y, 2, mode, -40), kplStsBadRoundMode);
    EXPECT_EQ(y[0], 1);
  }
  EXPECT_TRUE(all_unchanged(snaps, a, b, d));
}

}  // namespace
