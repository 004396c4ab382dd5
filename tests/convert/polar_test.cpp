// Magnitude, MagSquared, PowerSpectr, Phase, CartToPolar and PolarToCart. Every
// float form is swept over lengths 1..70 and longer and every start offset
// against a long double reference, within a bound in ulps stated beside it; every
// integer form against exact integers (the angles from long double, an element
// skipped only where the reference itself cannot tell the rounding), with the
// scale factor going through -40..40 as the sweep goes. Then the documented edge
// cases, the threaded magnitudes, and the order of checks.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <bit>
#include <cstring>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <algorithm>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/threads.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

constexpr size_t kData = 4099;  // the longest sweep length
using U128 = unsigned __int128;

// ---------------------------------------------------------------------------
// Data: random values of every size, every fifth element a special value.

template <class T>
std::vector<T> make_values(uint64_t seed, bool angles = false) {
  Rng r(seed);
  std::vector<T> v(kData);
  for (size_t i = 0; i < kData; ++i) {
    const double u = r.uniform(-1, 1);
    if constexpr (std::is_floating_point_v<T>) {
      std::vector<T> sp;
      if constexpr (sizeof(T) == 4) sp = special_floats();
      else sp = special_doubles();
      const int range = sizeof(T) == 4 ? 126 : 1020;
      if (i % 5 == 0) {
        v[i] = sp[(i / 5 + seed) % sp.size()];
      } else if (angles) {  // mostly within a few turns, some far out
        v[i] = static_cast<T>(i % 7 == 1 ? std::ldexp(u, static_cast<int>(r.next() % 40)) : 8 * u);
      } else {
        v[i] = static_cast<T>(std::ldexp(u, i % 3 == 0 ? static_cast<int>(r.next() % (2 * range)) - range
                                                         : static_cast<int>(r.next() % 40) - 20));
      }
    } else {
      const auto sp = special_integers<T>();
      if (i % 5 == 0) v[i] = sp[(i / 5 + seed) % sp.size()];
      else if (i % 3 == 0) v[i] = static_cast<T>(u * 64);  // small: rounding at every scale
      else v[i] = static_cast<T>(r.next());
    }
  }
  return v;
}

#define AT " len=" << len << " offsets " << oa << "," << ob

// ---------------------------------------------------------------------------
// Float forms.

using Ref = long double (*)(long double re, long double im);
long double magnitude(long double re, long double im) { return std::sqrt(re * re + im * im); }
long double power(long double re, long double im) { return re * re + im * im; }
long double phase(long double re, long double im) { return std::atan2(im, re); }

template <class T>
auto to_complex(const std::vector<T>& re, const std::vector<T>& im) {
  using C = std::conditional_t<std::is_same_v<T, Kpl32f>, Kpl32fc,
                               std::conditional_t<std::is_same_v<T, Kpl64f>, Kpl64fc,
                                                  std::conditional_t<std::is_same_v<T, Kpl16s>, Kpl16sc, Kpl32sc>>>;
  std::vector<C> c(re.size());
  for (size_t i = 0; i < re.size(); ++i) c[i] = C{re[i], im[i]};
  return c;
}

// Runs one entry, with separate or complex source, over the sweep; check(i, got) judges element i.
template <class T, class D, class Check>
void sweep_split(KplStatus (*f)(const T*, const T*, D*, int), const std::vector<T>& re, const std::vector<T>& im, Check check) {
  sweep2([&](size_t len, size_t oa, size_t ob) {
    Guarded<T> a(len, oa), b(len, (oa + 5) % 16);
    Guarded<D> d(len, ob);
    a.assign(re.data()), b.assign(im.data());
    ASSERT_EQ(f(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk) << AT;
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(check(i, d[i])) << AT << " i=" << i << " (" << +re[i] << ", " << +im[i] << ") gives " << +d[i];
    ASSERT_TRUE(d.guards_intact()) << AT;
  });
}
template <class C, class D, class Check>
void sweep_complex(KplStatus (*f)(const C*, D*, int), const std::vector<C>& src, Check check) {
  sweep2([&](size_t len, size_t oa, size_t ob) {
    Guarded<C> a(len, oa);
    Guarded<D> d(len, ob);
    a.assign(src.data());
    ASSERT_EQ(f(a.data(), d.data(), static_cast<int>(len)), kplStsOk) << AT;
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(check(i, d[i])) << AT << " i=" << i << " (" << +src[i].re << ", " << +src[i].im << ") gives " << +d[i];
    ASSERT_TRUE(d.guards_intact()) << AT;
  });
}

// Both layouts of one float family against the reference, within `bound` ulps.
template <class T, class D, class C>
void float_family(KplStatus (*split)(const T*, const T*, D*, int), KplStatus (*cplx)(const C*, D*, int), Ref ref,
                  double bound, uint64_t seed) {
  const auto re = make_values<T>(seed), im = make_values<T>(seed + 1);
  std::vector<long double> want(kData);
  for (size_t i = 0; i < kData; ++i) want[i] = ref(re[i], im[i]);
  auto check = [&](size_t i, D got) { return ulps(got, want[i]) <= bound; };
  if (split) sweep_split(split, re, im, check);
  if (cplx) sweep_complex(cplx, to_complex(re, im), check);
}

// Bounds in ulps. Results computed in binary64 and rounded once to binary32 are
// within half an ulp but for a hair (2^-20 ulp); from 16-bit parts exactly so.
constexpr double kRoundedOnce = 0.5 + 0x1p-20, kCorrectlyRounded = 0.5;
constexpr double kMagnitude64 = 1.5, kPower64 = 1.5, kPhase64 = 2.0, kPhase32 = 0.5 + 0x1p-8;

TEST(MagnitudeFloat, EveryFormWithinItsBound) {
  const ThreadCount one(1);
  float_family(kplsMagnitude_32f, kplsMagnitude_32fc, magnitude, kRoundedOnce, 1);
  float_family(kplsMagnitude_64f, kplsMagnitude_64fc, magnitude, kMagnitude64, 2);
  float_family(kplsMagnitude_16s32f, kplsMagnitude_16sc32f, magnitude, kCorrectlyRounded, 3);
}
TEST(PowerSpectrFloat, EveryFormWithinItsBound) {
  float_family(kplsPowerSpectr_32f, kplsPowerSpectr_32fc, power, kRoundedOnce, 4);
  float_family(kplsPowerSpectr_64f, kplsPowerSpectr_64fc, power, kPower64, 5);
  float_family(kplsPowerSpectr_16s32f, kplsPowerSpectr_16sc32f, power, kCorrectlyRounded, 6);
  float_family<Kpl32f, Kpl64f, Kpl32fc>(nullptr, kplsMagSquared_32fc64f, power, kCorrectlyRounded, 7);  // exact squares
}
TEST(PhaseFloat, EveryFormWithinItsBound) {
  float_family(kplsPhase_32f, kplsPhase_32fc, phase, kPhase32, 8);
  float_family(kplsPhase_64f, kplsPhase_64fc, phase, kPhase64, 9);
  float_family(kplsPhase_16s32f, kplsPhase_16sc32f, phase, kPhase32, 10);
}

// m cos p and m sin p; the complex forms must store the same numbers.
template <class T, class C>
void polar_family(KplStatus (*split)(const T*, const T*, T*, T*, int), KplStatus (*cplx)(const T*, const T*, C*, int),
                  double bound) {
  const auto m = make_values<T>(11), p = make_values<T>(12, true);
  std::vector<long double> cos_part(kData), sin_part(kData);
  for (size_t i = 0; i < kData; ++i) cos_part[i] = m[i] * std::cos(static_cast<long double>(p[i])), sin_part[i] = m[i] * std::sin(static_cast<long double>(p[i]));
  sweep2([&](size_t len, size_t oa, size_t ob) {
    Guarded<T> a(len, oa), b(len, (oa + 3) % 16), re(len, ob), im(len, (ob + 7) % 16);
    Guarded<C> z(len, ob);
    a.assign(m.data()), b.assign(p.data());
    ASSERT_EQ(split(a.data(), b.data(), re.data(), im.data(), static_cast<int>(len)), kplStsOk) << AT;
    ASSERT_EQ(cplx(a.data(), b.data(), z.data(), static_cast<int>(len)), kplStsOk) << AT;
    for (size_t i = 0; i < len; ++i) {
      ASSERT_LE(ulps(re[i], cos_part[i]), bound) << AT << " i=" << i << " m=" << m[i] << " p=" << p[i];
      ASSERT_LE(ulps(im[i], sin_part[i]), bound) << AT << " i=" << i << " m=" << m[i] << " p=" << p[i];
      // Which NaN survives when two meet is not documented: NaN-ness only there.
      auto same = [](T x, T y) { return same_bits(&x, &y, 1) || (std::isnan(x) && std::isnan(y)); };
      ASSERT_TRUE(same(z[i].re, re[i]) && same(z[i].im, im[i])) << AT << " i=" << i;
    }
    ASSERT_TRUE(re.guards_intact() && im.guards_intact() && z.guards_intact()) << AT;
  });
}
TEST(PolarToCartFloat, EveryFormWithinItsBound) {
  polar_family(kplsPolarToCart_32f, kplsPolarToCart_32fc, kRoundedOnce + 0x1p-8);
  polar_family(kplsPolarToCart_64f, kplsPolarToCart_64fc, 2.0);
}

// ---------------------------------------------------------------------------
// Integer forms: exact references.

U128 isqrt(U128 x) {  // bit by bit, independent of any float
  U128 r = 0;
  for (int b = 63; b >= 0; --b) {
    const U128 t = r | (U128{1} << b);
    if (t * t <= x) r = t;
  }
  return r;
}
// round(sqrt(n) 2^-s), ties to even, at most `top`: h = floor(2 sqrt(n) 2^-s).
long long sqrt_scaled(U128 n, int s, long long top) {
  if (n == 0) return 0;
  if (s <= -32 || (s <= 0 && n >= (U128{1} << 62))) return top;
  bool exact = true;
  U128 x;
  if (s <= 0) {
    x = n << (2 - 2 * s);
  } else {
    const int sh = 2 * s - 2;
    x = sh >= 128 ? 0 : n >> sh;
    exact = sh < 128 && (x << sh) == n;
  }
  const U128 h = isqrt(x);
  long long q = static_cast<long long>((h + 1) / 2);
  if (h % 2 == 1 && exact && h * h == x && q % 2 == 1) --q;  // exactly a half
  return std::min(q, top);
}
// round(n 2^-s), ties to even, at most `top`.
long long shift_scaled(U128 n, int s, long long top) {
  if (s <= 0) return n == 0 ? 0 : (-s >= 40 || (n << -s) > U128(top) ? top : static_cast<long long>(n << -s));
  if (s >= 100) return 0;
  U128 q = n >> s;
  const U128 rem = n - (q << s), half = U128{1} << (s - 1);
  if (rem > half || (rem == half && q % 2 == 1)) ++q;
  return static_cast<long long>(std::min<U128>(q, U128(top)));
}
// v rounded half away from zero and saturated; nothing where v lies so close to
// a half that the kernel's binary64 may see the other side.
std::optional<long long> away(long double v, long long lo, long long hi, long double margin = 0x1p-44L) {
  const long double f = std::fabs(v) - std::floor(std::fabs(v));
  if (std::fabs(f - 0.5L) <= std::fabs(v) * margin) return std::nullopt;
  const long double r = v < 0 ? -std::floor(-v + 0.5L) : std::floor(v + 0.5L);
  return r < lo ? lo : (r > hi ? hi : static_cast<long long>(r));
}

template <class T>
U128 square_sum(T re, T im) {
  return U128(static_cast<long long>(re) * re) + U128(static_cast<long long>(im) * im);
}
std::optional<long long> magnitude16(long long re, long long im, int s) { return sqrt_scaled(square_sum(re, im), s, 32767); }
std::optional<long long> magnitude32(long long re, long long im, int s) { return sqrt_scaled(square_sum(re, im), s, INT_MAX); }
std::optional<long long> power16(long long re, long long im, int s) { return shift_scaled(square_sum(re, im), s, 32767); }
std::optional<long long> power32(long long re, long long im, int s) { return shift_scaled(square_sum(re, im), s, INT_MAX); }
// The angle in binary64 rounded to single, scaled: zeros from 2 on.
std::optional<long long> phase16(long long re, long long im, int s) {
  const long double a = std::atan2(static_cast<long double>(im), static_cast<long double>(re));
  const float af = static_cast<float>(static_cast<double>(a));
  if (af != static_cast<float>(static_cast<double>(a * (1 + 0x1p-45L))) || af != static_cast<float>(static_cast<double>(a * (1 - 0x1p-45L))))
    return std::nullopt;  // a single-precision tie the reference cannot settle
  return s >= 2 ? 0 : away(std::ldexp(static_cast<long double>(af), -s), -32768, 32767);
}
std::optional<long long> phase32(long long re, long long im, int s) {
  const long double a = std::atan2(static_cast<long double>(im), static_cast<long double>(re));
  return s >= 3 ? 0 : away(std::ldexp(a, -s), INT_MIN, INT_MAX);
}

using ExactRef = std::optional<long long> (*)(long long, long long, int);

// The sweep with the scale factor running through -40..40 as lengths and offsets change.
template <class T, class D, class C>
void scaled_family(KplStatus (*split)(const T*, const T*, D*, int, int), KplStatus (*cplx)(const C*, D*, int, int),
                   ExactRef ref, uint64_t seed) {
  const auto re = make_values<T>(seed), im = make_values<T>(seed + 1);
  const auto z = to_complex(re, im);
  sweep2([&](size_t len, size_t oa, size_t ob) {
    const int sf = static_cast<int>((len * 5 + oa * 16 + ob) % 81) - 40;
    Guarded<T> a(len, oa), b(len, (oa + 5) % 16);
    Guarded<C> c(len, oa);
    Guarded<D> d(len, ob), e(len, ob);
    a.assign(re.data()), b.assign(im.data()), c.assign(z.data());
    if (split) {
      ASSERT_EQ(split(a.data(), b.data(), d.data(), static_cast<int>(len), sf), kplStsOk) << AT;
    }
    if (cplx) {
      ASSERT_EQ(cplx(c.data(), e.data(), static_cast<int>(len), sf), kplStsOk) << AT;
    }
    for (size_t i = 0; i < len; ++i) {
      const auto want = ref(re[i], im[i], sf);
      if (!want) continue;
      if (split) {
        ASSERT_EQ(d[i], *want) << AT << " sf=" << sf << " i=" << i << " (" << re[i] << ", " << im[i] << ")";
      }
      if (cplx) {
        ASSERT_EQ(e[i], *want) << AT << " sf=" << sf << " i=" << i << " (" << re[i] << ", " << im[i] << ")";
      }
    }
    ASSERT_TRUE(d.guards_intact() && e.guards_intact()) << AT;
  });
}

TEST(MagnitudeScaled, MatchesExactIntegersAtEveryScale) {
  const ThreadCount one(1);
  scaled_family(kplsMagnitude_16s_Sfs, kplsMagnitude_16sc_Sfs, magnitude16, 21);
  scaled_family<Kpl32s, Kpl32s, Kpl32sc>(nullptr, kplsMagnitude_32sc_Sfs, magnitude32, 22);
}
TEST(PowerSpectrScaled, MatchesExactIntegersAtEveryScale) {
  scaled_family(kplsPowerSpectr_16s_Sfs, kplsPowerSpectr_16sc_Sfs, power16, 23);
  scaled_family<Kpl32s, Kpl32s, Kpl32sc>(nullptr, kplsMagSquared_32sc32s_Sfs, power32, 24);
}
TEST(PhaseScaled, MatchesTheRoundedAngleAtEveryScale) {
  scaled_family(kplsPhase_16s_Sfs, kplsPhase_16sc_Sfs, phase16, 25);
  scaled_family<Kpl32s, Kpl32s, Kpl32sc>(nullptr, kplsPhase_32sc_Sfs, phase32, 26);
}

// m 2^-ms cos(p 2^-ps), the first scale clamped to -31..31 and the second to -64..64.
template <class T, class C>
void polar_scaled(KplStatus (*f)(const T*, const T*, C*, int, int, int), int ms, int ps, size_t len, uint64_t seed, size_t offset = 0) {
  using L = std::numeric_limits<T>;
  static std::map<uint64_t, std::vector<T>> memo;  // the same data serves many calls
  for (uint64_t k : {seed, seed + 1})
    if (memo[k].empty()) memo[k] = make_values<T>(k);
  const auto &m = memo[seed], &p = memo[seed + 1];
  Guarded<T> a(len, offset), b(len, (offset + 3) % 16);
  Guarded<C> d(len, (offset + 1) % 16);
  a.assign(m.data()), b.assign(p.data());
  ASSERT_EQ(f(a.data(), b.data(), d.data(), static_cast<int>(len), ms, ps), kplStsOk);
  const int msc = std::clamp(ms, -31, 31), psc = std::clamp(ps, -64, 64);
  for (size_t i = 0; i < len; ++i) {
    const long double x = std::ldexp(static_cast<long double>(m[i]), -msc), y = std::ldexp(static_cast<long double>(p[i]), -psc);
    const auto re = away(x * std::cos(y), L::lowest(), L::max(), 0x1p-40L), im = away(x * std::sin(y), L::lowest(), L::max(), 0x1p-40L);
    if (re) {
      ASSERT_EQ(d[i].re, *re) << "ms=" << ms << " ps=" << ps << " i=" << i << " m=" << m[i] << " p=" << p[i];
    }
    if (im) {
      ASSERT_EQ(d[i].im, *im) << "ms=" << ms << " ps=" << ps << " i=" << i << " m=" << m[i] << " p=" << p[i];
    }
  }
  ASSERT_TRUE(d.guards_intact());
}
KplStatus polar_32sc(const Kpl32s* m, const Kpl32s* p, Kpl32sc* d, int len, int, int) { return kplsPolarToCart_32sc(m, p, d, len); }
KplStatus polar_16sc(const Kpl16s* m, const Kpl16s* p, Kpl16sc* d, int len, int, int) { return kplsPolarToCart_16sc(m, p, d, len); }

TEST(PolarToCartScaled, MatchesTheRoundedProductsAtEveryScale) {
  for (int ms = -40; ms <= 40; ++ms) polar_scaled(kplsPolarToCart_16sc_Sfs, ms, (ms * 7) % 81, 67, 31 + ms);
  for (int ps = -80; ps <= 80; ps += 3) polar_scaled(kplsPolarToCart_16sc_Sfs, ps % 20, ps, 67, 32 + ps);
  polar_scaled(polar_16sc, 0, 0, kData, 33);
  polar_scaled(polar_32sc, 0, 0, kData, 34);
  sweep1([](size_t len, size_t o) { polar_scaled(kplsPolarToCart_16sc_Sfs, -3, 12, len, 35, o); });
}

// ---------------------------------------------------------------------------
// Edge cases.

template <class T>
T bits_of(uint64_t b) {
  if constexpr (sizeof(T) == 4) return std::bit_cast<T>(static_cast<uint32_t>(b));
  else return std::bit_cast<T>(b);
}

// Signed zeros, infinities, NaN, the extremes: the C library's atan2, bit for bit.
template <class T, class C>
void phase_conventions(KplStatus (*split)(const T*, const T*, T*, int), KplStatus (*cplx)(const C*, T*, int)) {
  const T inf = std::numeric_limits<T>::infinity(), big = std::numeric_limits<T>::max(), tiny = std::numeric_limits<T>::denorm_min();
  const T v[] = {0, -T(0), 1, -1, inf, -inf, big, -big, tiny, -tiny, std::numeric_limits<T>::quiet_NaN()};
  for (T y : v)
    for (T x : v) {
      const T want = std::atan2(y, x);
      const C z{x, y};
      T got[2];
      ASSERT_EQ(split(&x, &y, &got[0], 1), kplStsOk);
      ASSERT_EQ(cplx(&z, &got[1], 1), kplStsOk);
      auto convention = [](T v) { return v == 0 || std::isinf(v) || std::isnan(v); };
      for (T g : got) {
        if (convention(x) || convention(y)) {
          EXPECT_TRUE(same_bits(&g, &want, 1) || (std::isnan(g) && std::isnan(want))) << "atan2(" << y << ", " << x << ") = " << g << " for " << want;
        } else {
          EXPECT_LE(ulps(g, std::atan2(static_cast<long double>(y), static_cast<long double>(x))), sizeof(T) == 4 ? kPhase32 : kPhase64)
              << "atan2(" << y << ", " << x << ") = " << g;
        }
      }
    }
}
TEST(PhaseEdges, CLibraryConventionsForZerosInfinitiesAndNaN) {
  phase_conventions(kplsPhase_32f, kplsPhase_32fc);
  phase_conventions(kplsPhase_64f, kplsPhase_64fc);
}

TEST(MagnitudeEdges, NoOverflowWhereTheResultIsFinite) {
  const float f_inf = INFINITY, f_nan = NAN;
  const struct { Kpl32f re, im, want; } f[] = {
      {2e38f, 2e38f, 2.8284271e38f}, {3e38f, 3e38f, f_inf}, {0x1p-149f, 0x1p-149f, 0x1p-149f}, {0x3p-140f, 0x4p-140f, 0x5p-140f},
      {f_inf, f_nan, f_nan},  // a NaN part gives NaN, as re^2 + im^2 does
      {-f_inf, 1, f_inf}, {-0.0f, -0.0f, 0.0f}};
  for (auto c : f) {
    Kpl32f got;
    ASSERT_EQ(kplsMagnitude_32f(&c.re, &c.im, &got, 1), kplStsOk);
    EXPECT_TRUE(same_bits(&got, &c.want, 1) || (std::isnan(got) && std::isnan(c.want))) << c.re << "," << c.im << " -> " << got;
  }
  const double d_inf = INFINITY, d_nan = NAN, dmax = std::numeric_limits<double>::max();
  const struct { Kpl64f re, im, want; } d[] = {
      {1e300, 1e300, 1.4142135623730951e300}, {0x3p-1000, 0x4p-1000, 0x5p-1000}, {0x1p-1074, 0, 0x1p-1074}, {0x3p-1070, 0x4p-1070, 0x5p-1070},
      {dmax, 0, dmax}, {dmax, dmax, d_inf}, {dmax / 2, dmax / 2, 1.2711610061536462e308}, {d_nan, d_inf, d_nan}, {-d_inf, 0, d_inf}};
  for (auto c : d) {
    Kpl64f got[2];
    const Kpl64fc z{c.re, c.im};
    ASSERT_EQ(kplsMagnitude_64f(&c.re, &c.im, &got[0], 1), kplStsOk);
    ASSERT_EQ(kplsMagnitude_64fc(&z, &got[1], 1), kplStsOk);
    for (double g : got) EXPECT_TRUE(same_bits(&g, &c.want, 1) || (std::isnan(g) && std::isnan(c.want))) << c.re << "," << c.im << " -> " << g;
  }
}

// The documented shortcuts, ties and limits of the scaled forms; a 16-bit case
// runs both layouts.
enum Form { kMagnitude, kPower, kAngle };
KplStatus scaled16(Form f, const Kpl16s* re, const Kpl16s* im, const Kpl16sc* z, Kpl16s* d, int sf) {
  const KplStatus a = f == kMagnitude ? kplsMagnitude_16s_Sfs(re, im, d, 1, sf) : f == kPower ? kplsPowerSpectr_16s_Sfs(re, im, d, 1, sf) : kplsPhase_16s_Sfs(re, im, d, 1, sf);
  const KplStatus b = f == kMagnitude ? kplsMagnitude_16sc_Sfs(z, d + 1, 1, sf) : f == kPower ? kplsPowerSpectr_16sc_Sfs(z, d + 1, 1, sf) : kplsPhase_16sc_Sfs(z, d + 1, 1, sf);
  return a != kplStsOk ? a : b;
}
TEST(PolarEdges, ScaledShortcutsTiesAndLimits) {
  const struct { Form f; Kpl16s re, im; int sf; Kpl16s want; } c16[] = {
      {kMagnitude, -32768, 0, 16, 0},  // 2^30 exactly: 0.5 rounds to even
      {kMagnitude, -32768, 1, 16, 1}, {kMagnitude, -32768, -32768, 17, 0}, {kMagnitude, 0, 1, -15, 32767},
      {kMagnitude, 0, 0, -15, 0}, {kMagnitude, 0, 1, -14, 16384}, {kMagnitude, 3, 4, 1, 2}, {kMagnitude, 0, 7, 1, 4},  // 2.5, 3.5: even
      {kMagnitude, -32768, -32768, 0, 32767}, {kMagnitude, -32768, -32768, 1, 23170},
      {kPower, 0, 1, -15, 32767}, {kPower, 0, 0, -15, 0}, {kPower, 0, 1, -14, 16384}, {kPower, 1, 1, -14, 32767},
      {kPower, -32768, -32768, 31, 1}, {kPower, -32768, -32768, 32, 0}, {kPower, 1, 1, 2, 0}, {kPower, 1, 2, 1, 2},
      {kAngle, -1, 0, 0, 3}, {kAngle, 0, 1, 0, 2}, {kAngle, 0, -1, 0, -2}, {kAngle, 1, 1, 0, 1}, {kAngle, 0, 1, 1, 1},
      {kAngle, -1, 0, 1, 2}, {kAngle, -1, 0, 2, 0}, {kAngle, 0, 1, 2, 0}, {kAngle, -1, 0, 40, 0},  // zeros from 2 on
      {kAngle, -1, 0, -13, 25736}, {kAngle, -1, 0, -14, 32767}, {kAngle, -1, -1, -14, -32768}, {kAngle, 1, 0, -100, 0},
      {kAngle, 32767, 1, -100, 32767}};
  for (auto c : c16) {
    const Kpl16sc z{c.re, c.im};
    Kpl16s got[2];
    ASSERT_EQ(scaled16(c.f, &c.re, &c.im, &z, got, c.sf), kplStsOk);
    EXPECT_TRUE(got[0] == c.want && got[1] == c.want) << c.f << ": " << c.re << "," << c.im << " sf=" << c.sf << " gives " << got[0] << ", " << got[1];
  }
  const struct { Form f; Kpl32s re, im; int sf; Kpl32s want; } c32[] = {
      {kMagnitude, INT_MIN, INT_MIN, 0, INT_MAX}, {kMagnitude, INT_MIN, INT_MIN, 1, 1518500250}, {kMagnitude, INT_MIN, 0, 32, 0},
      {kMagnitude, INT_MIN, 1, 32, 1}, {kMagnitude, 5, 0, 33, 0}, {kMagnitude, 0, 1, -31, INT_MAX}, {kMagnitude, 0, 1, -30, 1 << 30},
      {kMagnitude, 0, 0, -31, 0}, {kMagnitude, 3, 4, 1, 2}, {kMagnitude, 0, 7, 1, 4}, {kMagnitude, 46341, 0, 0, 46341},
      {kPower, INT_MIN, INT_MIN, 63, 1}, {kPower, INT_MIN, INT_MIN, 64, 0}, {kPower, 1, 1, -30, INT_MAX}, {kPower, 1, 0, -30, 1 << 30},
      {kAngle, -1, 0, 2, 1}, {kAngle, -1, 0, 3, 0}, {kAngle, -1, 0, -29, 1686629713}, {kAngle, -1, 0, -30, INT_MAX},
      {kAngle, -1, -1, -30, INT_MIN}, {kAngle, 1, 0, -100, 0}};
  for (auto c : c32) {
    const Kpl32sc z{c.re, c.im};
    Kpl32s got = -7;
    ASSERT_EQ(c.f == kMagnitude ? kplsMagnitude_32sc_Sfs(&z, &got, 1, c.sf) : c.f == kPower ? kplsMagSquared_32sc32s_Sfs(&z, &got, 1, c.sf) : kplsPhase_32sc_Sfs(&z, &got, 1, c.sf), kplStsOk);
    EXPECT_EQ(got, c.want) << c.f << ": " << c.re << "," << c.im << " sf=" << c.sf;
  }
}

TEST(PolarToCartEdges, SignsAndUnscaledForms) {
  const Kpl32f m = 2, p = -0.0f;
  Kpl32f re, im;
  ASSERT_EQ(kplsPolarToCart_32f(&m, &p, &re, &im, 1), kplStsOk);
  EXPECT_EQ(re, 2.0f);
  EXPECT_TRUE(im == 0 && std::signbit(im));  // sin(-0) is -0
  const Kpl32s m32[] = {INT_MAX, INT_MIN, 7}, p32[] = {0, 0, 3};  // 3 radians, as it is
  Kpl32sc z[3];
  ASSERT_EQ(kplsPolarToCart_32sc(m32, p32, z, 3), kplStsOk);
  EXPECT_TRUE(z[0].re == INT_MAX && z[0].im == 0 && z[1].re == INT_MIN && z[1].im == 0);
  EXPECT_TRUE(z[2].re == -7 && z[2].im == 1) << z[2].re << "," << z[2].im;  // 7 cos 3 = -6.93, 7 sin 3 = 0.99
  const Kpl16s m16 = 1, p16 = 25736;  // pi in Q13
  Kpl16sc w;
  ASSERT_EQ(kplsPolarToCart_16sc_Sfs(&m16, &p16, &w, 1, -14, 13), kplStsOk);
  EXPECT_TRUE(w.re == -16384 && w.im == 0) << w.re << "," << w.im;  // 2^14 sin(25736 / 2^13) = -0.15
}

// CartToPolar is Magnitude, then Phase.
TEST(CartToPolarEdges, ResultsAndStatusesOfTheTwoCalls) {
  const auto re = make_values<Kpl32f>(41), im = make_values<Kpl32f>(42);
  const auto z = to_complex(re, im);
  std::vector<Kpl32f> mag(100), ph(100), m2(100), p2(100);
  ASSERT_EQ(kplsCartToPolar_32fc(z.data(), mag.data(), ph.data(), 100), kplStsOk);
  kplsMagnitude_32fc(z.data(), m2.data(), 100), kplsPhase_32fc(z.data(), p2.data(), 100);
  EXPECT_TRUE(same_bits(mag.data(), m2.data(), 100) && same_bits(ph.data(), p2.data(), 100));
  ASSERT_EQ(kplsCartToPolar_32f(re.data(), im.data(), mag.data(), ph.data(), 100), kplStsOk);
  EXPECT_TRUE(same_bits(mag.data(), m2.data(), 100) && same_bits(ph.data(), p2.data(), 100));

  Guarded<Kpl32f> gm(4), gp(4);
  EXPECT_EQ(kplsCartToPolar_32fc(z.data(), gm.data(), nullptr, 4), kplStsNullPointer);
  EXPECT_TRUE(same_bits(gm.data(), m2.data(), 4)) << "the magnitude is stored before the phase fails";
  EXPECT_EQ(kplsCartToPolar_32f(re.data(), im.data(), nullptr, gp.data(), 4), kplStsNullPointer);
  EXPECT_TRUE(same_bits(gp.data(), p2.data(), 4)) << "the floating forms run the phase all the same";

  const Kpl16sc s[2] = {{3, 4}, {-1, 0}};
  Kpl16s hm[2] = {9, 9}, hp[2] = {9, 9};
  EXPECT_EQ(kplsCartToPolar_16sc_Sfs(s, nullptr, hp, 2, 0, 0), kplStsNullPointer);
  EXPECT_TRUE(hp[0] == 9 && hp[1] == 9) << "the 16sc form stops at a failed magnitude";
  ASSERT_EQ(kplsCartToPolar_16sc_Sfs(s, hm, hp, 2, 1, -2), kplStsOk);  // each scale factor to its own call
  EXPECT_TRUE(hm[0] == 2 && hm[1] == 0 && hp[0] == 4 && hp[1] == 13) << hm[0] << " " << hm[1] << " " << hp[0] << " " << hp[1];
}

// Sources flush against an inaccessible page, at its end and at its start: a
// read past a vector faults.
TEST(PolarEdges, NoReadPastTheSources) {
  FencedPage p1, p2;
  ASSERT_TRUE(p1.ok() && p2.ok());
  std::vector<Kpl64f> out(2 * 40);
  for (size_t len = 1; len <= 40; ++len)
    for (int end = 0; end < 2; ++end) {
      auto place = [&](FencedPage& p, size_t bytes) { uint8_t* a = end ? p.ending_at_end(bytes) : p.at_start(); std::memset(a, 1, bytes); return a; };
      const int n = static_cast<int>(len);
      auto* o = out.data();
      EXPECT_EQ(kplsPhase_16sc_Sfs(reinterpret_cast<const Kpl16sc*>(place(p1, len * 4)), reinterpret_cast<Kpl16s*>(o), n, -3), kplStsOk);
      EXPECT_EQ(kplsPhase_32fc(reinterpret_cast<const Kpl32fc*>(place(p1, len * 8)), reinterpret_cast<Kpl32f*>(o), n), kplStsOk);
      EXPECT_EQ(kplsMagnitude_64fc(reinterpret_cast<const Kpl64fc*>(place(p1, len * 16)), o, n), kplStsOk);
      const auto* a16 = reinterpret_cast<const Kpl16s*>(place(p1, len * 2));
      const auto* b16 = reinterpret_cast<const Kpl16s*>(place(p2, len * 2));
      EXPECT_EQ(kplsMagnitude_16s_Sfs(a16, b16, reinterpret_cast<Kpl16s*>(o), n, 0), kplStsOk);
      EXPECT_EQ(kplsPolarToCart_16sc_Sfs(a16, b16, reinterpret_cast<Kpl16sc*>(o), n, 0, 0), kplStsOk);
    }
}

// The integer forms give the same results whatever rounding the caller has set,
// and leave the caller's control word as it was.
TEST(PolarEdges, IntegerResultsIgnoreTheCallersRounding) {
  const auto re = make_values<Kpl16s>(61), im = make_values<Kpl16s>(62);
  const auto z = to_complex(re, im);
  auto run = [&] {
    std::vector<Kpl16s> out(5 * kData);
    std::vector<Kpl16sc> cart(kData);
    const int n = static_cast<int>(kData);
    kplsMagnitude_16sc_Sfs(z.data(), out.data(), n, 3), kplsPhase_16sc_Sfs(z.data(), out.data() + kData, n, -12);
    kplsPowerSpectr_16sc_Sfs(z.data(), out.data() + 2 * kData, n, 17), kplsPhase_16s_Sfs(re.data(), im.data(), out.data() + 3 * kData, n, -2);
    kplsMagnitude_16s_Sfs(re.data(), im.data(), out.data() + 4 * kData, n, -1);
    kplsPolarToCart_16sc_Sfs(re.data(), im.data(), cart.data(), n, 2, 11);
    for (auto c : cart) out.push_back(c.re), out.push_back(c.im);
    return out;
  };
  const auto nearest = run();
  const unsigned saved = _mm_getcsr();
  for (unsigned mode : {0x2000u, 0x4000u, 0x6000u}) {
    _mm_setcsr((saved & ~0x6000u) | mode);
    const auto got = run();
    EXPECT_EQ((_mm_getcsr() & 0x6000u), mode);
    _mm_setcsr(saved);
    EXPECT_TRUE(got == nearest) << "rounding mode " << std::hex << mode;
  }
}

// ---------------------------------------------------------------------------
// Threads: every Magnitude form gives the same bits on 1, 2 and 8 threads.

template <class D, class Call>
void teams_agree(Call call, const char* name) {
  for (size_t len : {size_t{4097}, size_t{300}, kData}) {
    std::vector<D> first(len), d(len);
    for (int threads : {1, 2, 8}) {
      const ThreadCount t(threads);
      ASSERT_EQ(call(d.data(), static_cast<int>(len)), kplStsOk) << name;
      if (threads == 1) first = d;
      for (size_t i = 0; i < len; ++i)  // which NaN survives when two meet is not documented
        ASSERT_TRUE(same_bits(&d[i], &first[i], 1) || (d[i] != d[i] && first[i] != first[i])) << name << " len=" << len << " threads=" << threads << " i=" << i;
    }
  }
}
TEST(MagnitudeThreads, SameBitsOnEveryTeam) {
  const auto fr = make_values<Kpl32f>(51), fi = make_values<Kpl32f>(52);
  const auto dr = make_values<Kpl64f>(53), di = make_values<Kpl64f>(54);
  const auto sr = make_values<Kpl16s>(55), si = make_values<Kpl16s>(56);
  const auto ir = make_values<Kpl32s>(57), ii = make_values<Kpl32s>(58);
  const auto fc = to_complex(fr, fi);
  const auto dc = to_complex(dr, di);
  const auto sc = to_complex(sr, si);
  const auto ic = to_complex(ir, ii);
  teams_agree<Kpl32f>([&](Kpl32f* d, int n) { return kplsMagnitude_32f(fr.data(), fi.data(), d, n); }, "32f");
  teams_agree<Kpl64f>([&](Kpl64f* d, int n) { return kplsMagnitude_64f(dr.data(), di.data(), d, n); }, "64f");
  teams_agree<Kpl32f>([&](Kpl32f* d, int n) { return kplsMagnitude_16s32f(sr.data(), si.data(), d, n); }, "16s32f");
  teams_agree<Kpl16s>([&](Kpl16s* d, int n) { return kplsMagnitude_16s_Sfs(sr.data(), si.data(), d, n, 3); }, "16s_Sfs");
  teams_agree<Kpl32f>([&](Kpl32f* d, int n) { return kplsMagnitude_32fc(fc.data(), d, n); }, "32fc");
  teams_agree<Kpl64f>([&](Kpl64f* d, int n) { return kplsMagnitude_64fc(dc.data(), d, n); }, "64fc");
  teams_agree<Kpl32f>([&](Kpl32f* d, int n) { return kplsMagnitude_16sc32f(sc.data(), d, n); }, "16sc32f");
  teams_agree<Kpl16s>([&](Kpl16s* d, int n) { return kplsMagnitude_16sc_Sfs(sc.data(), d, n, -2); }, "16sc_Sfs");
  teams_agree<Kpl32s>([&](Kpl32s* d, int n) { return kplsMagnitude_32sc_Sfs(ic.data(), d, n, 5); }, "32sc_Sfs");
}

// ---------------------------------------------------------------------------
// Order of checks: pointers, then the length; a rejected call writes nothing.

// A call that would succeed but for the argument under test: every pointer to
// its own block of bytes (all checked unchanged after), the length 4, other
// numbers 0.
template <size_t LenIndex, class... A>
void checks(KplStatus (*f)(A...), const char* name) {
  alignas(64) static uint8_t pool[sizeof...(A)][256];
  std::memset(pool, 0x5A, sizeof pool);
  auto make = [&]<class T>(std::type_identity<T>, size_t i) -> T {
    if constexpr (std::is_pointer_v<T>) return reinterpret_cast<T>(pool[i]);
    else return static_cast<T>(i == LenIndex ? 4 : 0);
  };
  const auto good = [&]<size_t... I>(std::index_sequence<I...>) { return std::tuple<A...>{make(std::type_identity<A>{}, I)...}; }(std::index_sequence_for<A...>{});
  expect_checks<LenIndex>(f, good, name);
  for (const auto& block : pool)
    for (uint8_t byte : block) ASSERT_EQ(byte, 0x5A) << name << ": a rejected call wrote";
}
#define CHECKS(len_index, entry) checks<len_index>(kpls##entry, #entry)

TEST(PolarChecks, PointersThenLengthAndNothingWritten) {
  CHECKS(3, Magnitude_32f), CHECKS(3, Magnitude_64f), CHECKS(3, Magnitude_16s32f), CHECKS(3, Magnitude_16s_Sfs);
  CHECKS(2, Magnitude_32fc), CHECKS(2, Magnitude_64fc), CHECKS(2, Magnitude_16sc32f), CHECKS(2, Magnitude_16sc_Sfs);
  CHECKS(2, Magnitude_32sc_Sfs);
  CHECKS(3, Phase_32f), CHECKS(3, Phase_64f), CHECKS(3, Phase_16s32f), CHECKS(3, Phase_16s_Sfs);
  CHECKS(2, Phase_32fc), CHECKS(2, Phase_64fc), CHECKS(2, Phase_16sc32f), CHECKS(2, Phase_16sc_Sfs), CHECKS(2, Phase_32sc_Sfs);
  CHECKS(3, PowerSpectr_32f), CHECKS(3, PowerSpectr_64f), CHECKS(3, PowerSpectr_16s32f), CHECKS(3, PowerSpectr_16s_Sfs);
  CHECKS(2, PowerSpectr_32fc), CHECKS(2, PowerSpectr_64fc), CHECKS(2, PowerSpectr_16sc32f), CHECKS(2, PowerSpectr_16sc_Sfs);
  CHECKS(2, MagSquared_32fc64f), CHECKS(2, MagSquared_32sc32s_Sfs);
  CHECKS(4, PolarToCart_32f), CHECKS(4, PolarToCart_64f), CHECKS(3, PolarToCart_32fc), CHECKS(3, PolarToCart_64fc);
  CHECKS(3, PolarToCart_16sc_Sfs), CHECKS(3, PolarToCart_16sc), CHECKS(3, PolarToCart_32sc);
}

// CartToPolar has no checks of its own: the magnitude's status comes first, so a
// null phase vector with a bad length gives the magnitude's -6.
TEST(CartToPolarEdges, StatusesComeFromTheTwoCalls) {
  const Kpl32f a[1] = {1}, b[1] = {2};
  const Kpl64f a64[1] = {1}, b64[1] = {2};
  const Kpl32fc zf[1] = {{1, 2}};
  const Kpl64fc zd[1] = {{1, 2}};
  const Kpl16sc z[1] = {{1, 2}};
  Kpl32f m[1], p[1];
  Kpl64f m64[1], p64[1];
  Kpl16s n[1], q[1];
  const struct { bool src, magn, phase; int len; KplStatus want; } cases[] = {
      {false, true, true, 1, kplStsNullPointer}, {true, false, true, 1, kplStsNullPointer}, {true, true, false, 1, kplStsNullPointer},
      {false, true, true, 0, kplStsNullPointer}, {true, false, true, 0, kplStsNullPointer}, {true, true, false, 0, kplStsBadSize},
      {true, true, true, 0, kplStsBadSize},      {true, true, true, -5, kplStsBadSize},     {true, true, true, 1, kplStsOk}};
  for (auto c : cases) {
    const Kpl32f* re = c.src ? a : nullptr;
    EXPECT_EQ(kplsCartToPolar_32f(re, b, c.magn ? m : nullptr, c.phase ? p : nullptr, c.len), c.want) << c.src << c.magn << c.phase << c.len;
    EXPECT_EQ(kplsCartToPolar_64f(c.src ? a64 : nullptr, b64, c.magn ? m64 : nullptr, c.phase ? p64 : nullptr, c.len), c.want) << c.len;
    EXPECT_EQ(kplsCartToPolar_32fc(c.src ? zf : nullptr, c.magn ? m : nullptr, c.phase ? p : nullptr, c.len), c.want) << c.len;
    EXPECT_EQ(kplsCartToPolar_64fc(c.src ? zd : nullptr, c.magn ? m64 : nullptr, c.phase ? p64 : nullptr, c.len), c.want) << c.len;
    EXPECT_EQ(kplsCartToPolar_16sc_Sfs(c.src ? z : nullptr, c.magn ? n : nullptr, c.phase ? q : nullptr, c.len, 0, 0), c.want)
        << c.src << c.magn << c.phase << c.len;
  }
}

}  // namespace
