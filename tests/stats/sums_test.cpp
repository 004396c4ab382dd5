// Sum, Mean and SumWindow over their types, lengths 1..70 and longer and every
// start offset, against models written here: the float sums bit for bit against
// scalar models of their documented accumulation orders, the integer forms
// against exact sums in __int128 with their own rounding code at every scale
// factor -40..40; then the documented edges as tables and the order of checks.
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
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

// ---- Models of the float sums ----

// Accurate 32f: float i of a whole group of eight goes to accumulator i mod 8, the
// rest to the first accumulator of its part; the tree is
// ((a0+a1)+(a2+a3))+((a4+a5)+(a6+a7)), or per part (a0+a2)+(a4+a6), (a1+a3)+(a5+a7).
void model_accurate(const float* x, size_t floats, int parts, long double* out) {
  long double a[8] = {};
  const size_t grouped = floats / 8 * 8;
  for (size_t i = 0; i < floats; ++i) a[i < grouped ? i % 8 : i % static_cast<size_t>(parts)] += x[i];
  if (parts == 1) {
    out[0] = ((a[0] + a[1]) + (a[2] + a[3])) + ((a[4] + a[5]) + (a[6] + a[7]));
  } else {
    out[0] = (a[0] + a[2]) + (a[4] + a[6]);
    out[1] = (a[1] + a[3]) + (a[5] + a[7]);
  }
}

// Fast 32f: elements (whole complex ones) into extended until the address is on 16
// bytes, unless no element step can reach it; blocks of 32768 elements: sixteen
// float lanes L[k] (float j of a round of 16 on lane j), then
// s[l] = (L[l] + L[8+l]) + (L[4+l] + L[12+l]); the rest by 4 onto s, by 2 onto s0
// and s1, by 1 onto s0; t0 = s0 + s2, t1 = s1 + s3 added to the extended sums.
void model_fast(const float* src, size_t floats, int parts, long double* out) {
  std::vector<float> copy(floats);  // the source may sit off a 4-byte boundary
  std::memcpy(copy.data(), static_cast<const void*>(src), floats * sizeof(float));
  const float* x = copy.data();
  const size_t step = static_cast<size_t>(parts);
  long double acc[2] = {0, 0};
  const uintptr_t addr = reinterpret_cast<uintptr_t>(src);
  size_t i = 0;
  if (addr % (4 * step) == 0)
    for (; i < floats && (addr + 4 * i) % 16 != 0; i += step)
      for (size_t p = 0; p < step; ++p) acc[p] += x[i + p];
  while (i < floats) {
    const size_t m = std::min(floats - i, 32768 * step);
    const float* b = x + i;
    float L[16] = {};
    size_t j = 0;
    for (; j + 16 <= m; j += 16)
      for (int k = 0; k < 16; ++k) L[k] += b[j + k];
    float s[4];
    for (int l = 0; l < 4; ++l) s[l] = (L[l] + L[8 + l]) + (L[4 + l] + L[12 + l]);
    for (; j + 4 <= m; j += 4)
      for (int l = 0; l < 4; ++l) s[l] += b[j + l];
    if (j + 2 <= m) s[0] += b[j], s[1] += b[j + 1], j += 2;
    if (j < m) s[0] += b[j];
    const float t0 = s[0] + s[2], t1 = s[1] + s[3];
    acc[0] += t0;
    acc[parts - 1] += t1;
    i += m;
  }
  out[0] = acc[0], out[1] = acc[1];
}

// 64f: a_j takes double 8k + j (after a head element on a0 for a real vector 8
// bytes off 16); f0 = (a0+a2)+(a4+a6), f1 = (a1+a3)+(a5+a7); the rest of 4 as two
// pairs, of 2 as a pair onto (f0, f1), of 1 onto f0; a real sum is f1 + f0.
void model_64f(const double* x, size_t total, int parts, double* out) {
  double a[8] = {};
  size_t i = 0;
  if (parts == 1 && reinterpret_cast<uintptr_t>(x) % 16 == 8) a[0] += x[i++];
  for (; i + 8 <= total; i += 8)
    for (int j = 0; j < 8; ++j) a[j] += x[i + j];
  double f[2] = {(a[0] + a[2]) + (a[4] + a[6]), (a[1] + a[3]) + (a[5] + a[7])};
  for (; i + 2 <= total; i += 2) f[0] += x[i], f[1] += x[i + 1];
  if (i < total) f[0] += x[i];
  if (parts == 1) {
    out[0] = f[1] + f[0];
  } else {
    out[0] = f[0], out[1] = f[1];
  }
}

// Bits equal, or both NaN (payloads are not part of the sums' contract).
template <class T>
bool same_value(T a, T b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

// Values whose order of addition matters: numbers of one magnitude (every sum
// rounds), numbers of many magnitudes, and pairs +B, -B of large values that
// cancel in some orders of addition and swallow small ones in others (B up to
// 2^66, past what the extended significand spans); now and then a special value.
template <class T>
void fill_sum_floats(T* x, size_t n, uint64_t seed, bool specials) {
  Rng r(seed);
  std::vector<T> sp;
  if constexpr (sizeof(T) == 4) sp = special_floats(); else sp = special_doubles();
  const int kind = static_cast<int>(seed % 3);
  for (size_t i = 0; i < n; ++i) {
    const int e = kind == 1 ? static_cast<int>(r.next() % 60) - 30 : static_cast<int>(r.next() % 5) - 2;
    x[i] = static_cast<T>(std::ldexp(r.uniform(-1, 1), e));
  }
  if (kind == 2)
    for (size_t k = 0; k < n / 4; ++k) {
      const T big = static_cast<T>(std::ldexp(1.0, std::vector<int>{20, 26, 30, 53, 64, 66}[r.next() % 6]));
      x[r.next() % n] = big, x[r.next() % n] = -big;
    }
  if (specials)
    for (size_t i = 0; i < n; ++i)
      if (r.next() % 64 == 0) x[i] = sp[r.next() % sp.size()];
}

#define AT " len=" << len << " offset=" << off

struct Float32Case {
  const char* name;
  int parts;
  bool mean;
};

// One call of Sum_32f / Sum_32fc / Mean_32f / Mean_32fc checked against the model.
void check_32f(const Float32Case& c, size_t len, size_t off, int hint, uint64_t seed, bool specials) {
  const size_t floats = len * static_cast<size_t>(c.parts);
  Guarded<float> src(floats, off * static_cast<size_t>(c.parts));
  Guarded<float> out(static_cast<size_t>(c.parts));
  fill_sum_floats(src.data(), floats, seed, specials);
  long double m[2] = {0, 0};
  (hint == kplAlgHintFast ? model_fast : model_accurate)(src.data(), floats, c.parts, m);
  float want[2];
  for (int p = 0; p < c.parts; ++p) {
    const double s = static_cast<double>(m[p]);
    want[p] = static_cast<float>(c.mean ? s / static_cast<double>(len) : s);
  }
  const auto s0 = src.snapshot();
  const int n = static_cast<int>(len);
  KplStatus st;
  if (c.parts == 1) {
    st = c.mean ? kplsMean_32f(src.data(), n, out.data(), hint) : kplsSum_32f(src.data(), n, out.data(), hint);
  } else {
    auto* s = reinterpret_cast<const Kpl32fc*>(src.data());
    auto* d = reinterpret_cast<Kpl32fc*>(out.data());
    st = c.mean ? kplsMean_32fc(s, n, d, hint) : kplsSum_32fc(s, n, d, hint);
  }
  ASSERT_EQ(st, kplStsOk) << c.name << AT;
  for (int p = 0; p < c.parts; ++p)
    ASSERT_TRUE(same_value(out[p], want[p])) << c.name << " hint=" << hint << " part " << p << ": " << out[p] << " want " << want[p] << AT;
  ASSERT_TRUE(src.unchanged_since(s0) && out.guards_intact()) << c.name << AT;
}

const Float32Case kFloat32Cases[] = {
    {"Sum_32f", 1, false}, {"Sum_32fc", 2, false}, {"Mean_32f", 1, true}, {"Mean_32fc", 2, true}};

}  // namespace

TEST(SumFloat, MatchesDocumentedOrderBitForBit) {
  for (const auto& c : kFloat32Cases)
    for (int hint : {kplAlgHintAccurate, kplAlgHintFast})
      sweep1([&](size_t len, size_t off) {
        if (::testing::Test::HasFailure()) return;
        check_32f(c, len, off, hint, len * 97 + off, (len + off) % 3 == 0);
      });
  // Several blocks of the fast kernel, each start alignment.
  for (const auto& c : kFloat32Cases)
    for (size_t len : {32768u, 32771u, 70001u})
      for (size_t off : {0u, 1u, 2u, 3u})
        for (int hint : {kplAlgHintAccurate, kplAlgHintFast}) check_32f(c, len, off, hint, len + off, false);
}

TEST(SumFloat, Sum64fMatchesDocumentedOrderBitForBit) {
  for (int parts : {1, 2})
    for (bool mean : {false, true})
      sweep1([&](size_t len, size_t off) {
        if (::testing::Test::HasFailure()) return;
        const size_t total = len * static_cast<size_t>(parts);
        Guarded<double> src(total, off * static_cast<size_t>(parts)), out(static_cast<size_t>(parts));
        fill_sum_floats(src.data(), total, len * 31 + off, (len + off) % 3 == 0);
        double want[2];
        model_64f(src.data(), total, parts, want);
        const int n = static_cast<int>(len);
        if (mean && parts == 1) want[0] /= static_cast<double>(len);
        if (mean && parts == 2) want[0] *= 1.0 / static_cast<double>(len), want[1] *= 1.0 / static_cast<double>(len);
        KplStatus st;
        if (parts == 1) {
          st = mean ? kplsMean_64f(src.data(), n, out.data()) : kplsSum_64f(src.data(), n, out.data());
        } else {
          auto* s = reinterpret_cast<const Kpl64fc*>(src.data());
          auto* d = reinterpret_cast<Kpl64fc*>(out.data());
          st = mean ? kplsMean_64fc(s, n, d) : kplsSum_64fc(s, n, d);
        }
        ASSERT_EQ(st, kplStsOk);
        for (int p = 0; p < parts; ++p)
          ASSERT_TRUE(same_value(out[p], want[p])) << "parts=" << parts << " mean=" << mean << " part " << p << ": " << out[p] << " want " << want[p] << AT;
        ASSERT_TRUE(out.guards_intact());
      });
}

// A float source that no element step brings to 16 bytes (2 bytes off) gets no
// head in the fast kernel: its blocks start at the first element.
TEST(SumFloat, FastKernelOnAnUnalignedSource) {
  for (size_t len : {5u, 37u, 40000u}) {
    std::vector<uint8_t> raw(len * 4 + 32);
    float* x = reinterpret_cast<float*>(raw.data() + (-reinterpret_cast<uintptr_t>(raw.data()) & 15) + 2);
    std::vector<float> v(len);
    fill_sum_floats(v.data(), len, len, false);
    std::memcpy(static_cast<void*>(x), v.data(), len * 4);
    long double m[2];
    model_fast(x, len, 1, m);
    Kpl32f s = 0;
    ASSERT_EQ(kplsSum_32f(x, static_cast<int>(len), &s, kplAlgHintFast), kplStsOk);
    EXPECT_TRUE(same_value(s, static_cast<float>(static_cast<double>(m[0])))) << len;
  }
}

// Only hint 1 selects the fast kernel; its single-precision lanes lose what the
// extended accumulators keep.
TEST(SumFloat, OnlyHintOneIsFast) {
  std::vector<float> x(64, 0.0f);
  x[0] = 0x1p25f;  // lane 0 of the fast kernel also takes 1.0 three times, then -2^25
  x[16] = x[32] = x[48] = 1.0f;
  x[4] = -0x1p25f;  // on another lane
  x[20] = x[36] = 1.0f;
  for (int hint : {int{kplAlgHintNone}, int{kplAlgHintAccurate}, 99, -1, INT_MIN}) {
    Kpl32f s = 0, m = 0;
    Kpl32fc c = {0, 0};
    EXPECT_EQ(kplsSum_32f(x.data(), 64, &s, hint), kplStsOk);
    EXPECT_EQ(kplsMean_32f(x.data(), 64, &m, hint), kplStsOk);
    EXPECT_EQ(kplsSum_32fc(reinterpret_cast<const Kpl32fc*>(x.data()), 32, &c, hint), kplStsOk);
    EXPECT_EQ(s, 5.0f) << hint;
    EXPECT_EQ(m, 5.0f / 64) << hint;
    EXPECT_EQ(c.re, 5.0f) << hint;  // every value sits at an even index: real parts
    EXPECT_EQ(c.im, 0.0f) << hint;
  }
  Kpl32f fast = 0;
  EXPECT_EQ(kplsSum_32f(x.data(), 64, &fast, kplAlgHintFast), kplStsOk);
  EXPECT_EQ(fast, 0.0f);  // 2^25 + 1 is 2^25 in single precision
}

// The extended sums do not depend on the caller's x87 precision or rounding
// control, and the control word comes back as it was.
TEST(SumFloat, IndependentOfTheCallersX87Control) {
  std::vector<float> x(24, 0.0f);
  x[0] = 1.0f, x[8] = 0x1p-60f, x[16] = -1.0f;  // one accumulator: 1 + 2^-60 needs 61 bits
  uint16_t saved, after;
  __asm__ volatile("fnstcw %0" : "=m"(saved));
  const uint16_t coarse = static_cast<uint16_t>((saved & ~0x0F00) | 0x0200 | 0x0C00);  // 53 bits, toward zero
  Kpl32f s = 0, m = 0;
  Kpl32s sd = 0;
  const Kpl16s w[3] = {-5, 0, 5};
  __asm__ volatile("fldcw %0" : : "m"(coarse));
  const KplStatus st = kplsSum_32f(x.data(), 24, &s, kplAlgHintAccurate);
  const KplStatus st2 = kplsMean_32f(x.data(), 24, &m, kplAlgHintFast);
  const KplStatus st3 = kplsStdDev_16s32s_Sfs(w, 3, &sd, 1);
  __asm__ volatile("fnstcw %0" : "=m"(after));
  __asm__ volatile("fldcw %0" : : "m"(saved));
  EXPECT_EQ(st, kplStsOk);
  EXPECT_EQ(st2, kplStsOk);
  EXPECT_EQ(st3, kplStsOk);
  EXPECT_EQ(after, coarse);
  EXPECT_EQ(s, 0x1p-60f);
  EXPECT_EQ(m, 0.0f);  // the fast lanes are single precision: 1 + 2^-60 is 1 there
  EXPECT_EQ(sd, 2);             // 2.5 to even, not toward zero
}

TEST(SumFloat, SpecialValuesAndOneElement) {
  const float inf = std::numeric_limits<float>::infinity();
  const struct { std::vector<float> x; float want; } cases[] = {
      {{inf, 1.0f}, inf},
      {{inf, -inf}, std::numeric_limits<float>::quiet_NaN()},
      {{std::numeric_limits<float>::max(), std::numeric_limits<float>::max()}, inf},  // beyond float: inf at the store
      {{std::numeric_limits<float>::max(), std::numeric_limits<float>::max(), -std::numeric_limits<float>::max()},
       std::numeric_limits<float>::max()},  // extended keeps the range
      {{0x1p-149f, 0x1p-149f}, 0x1p-148f},
      {{-2.5f}, -2.5f},
  };
  for (const auto& c : cases)
    for (int hint : {kplAlgHintAccurate, kplAlgHintFast}) {
      Kpl32f s = 0, m = 0;
      EXPECT_EQ(kplsSum_32f(c.x.data(), static_cast<int>(c.x.size()), &s, hint), kplStsOk);
      EXPECT_TRUE(same_value(s, c.want)) << c.x[0] << " hint " << hint << " gave " << s;
      EXPECT_EQ(kplsMean_32f(c.x.data(), static_cast<int>(c.x.size()), &m, hint), kplStsOk);
      if (c.x.size() == 1) {
        EXPECT_EQ(m, c.x[0]);
      }
    }
  const double big = std::numeric_limits<double>::max();
  const double d[3] = {big, -big, big};  // (big, -big) as a pair, then big onto the first
  Kpl64f s = 0;
  EXPECT_EQ(kplsSum_64f(d, 3, &s), kplStsOk);
  EXPECT_TRUE(std::isinf(s));  // double accumulators overflow
}

// ---- Integer sums ----

namespace {

// Integer sources: random bits, or runs at the extremes so that every scale
// factor saturates somewhere, or small values whose sums tie.
template <class T>
void fill_ints(T* x, size_t n, uint64_t seed) {
  Rng r(seed);
  const int kind = static_cast<int>(seed % 4);
  for (size_t i = 0; i < n; ++i) {
    const uint64_t b = r.next();
    switch (kind) {
      case 0: x[i] = static_cast<T>(b); break;
      case 1: x[i] = static_cast<T>(std::numeric_limits<T>::max() - static_cast<T>(b % 3)); break;
      case 2: x[i] = static_cast<T>(std::numeric_limits<T>::lowest() + static_cast<T>(b % 3)); break;
      default: x[i] = static_cast<T>(static_cast<int>(b % 9) - 4); break;
    }
  }
}

template <class T>
__int128 exact_sum(const T* x, size_t n, size_t stride = 1) {
  __int128 s = 0;
  for (size_t i = 0; i < n; i += stride) s += x[i];
  return s;
}

}  // namespace

TEST(SumInteger, ExactSumScaledAtEveryFactor) {
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    const int n = static_cast<int>(len);
    const uint64_t seed = len * 16 + off;
    Guarded<Kpl16s> a(len, off);
    Guarded<Kpl16sc> c(len, off);
    Guarded<Kpl32s> w(len, off);
    fill_ints(a.data(), len, seed), fill_ints(reinterpret_cast<Kpl16s*>(c.data()), 2 * len, seed + 1), fill_ints(w.data(), len, seed + 2);
    const __int128 sa = exact_sum(a.data(), len), sw = exact_sum(w.data(), len);
    const auto* cp = reinterpret_cast<const Kpl16s*>(c.data());
    const __int128 sre = exact_sum(cp, 2 * len, 2), sim = exact_sum(cp + 1, 2 * len, 2);
    Guarded<Kpl16s> o16(1);
    Guarded<Kpl32s> o32(1), ow(1);
    Guarded<Kpl16sc> oc16(1);
    Guarded<Kpl32sc> oc32(1);
    for (int s = -40; s <= 40; ++s) {
      ASSERT_EQ(kplsSum_16s_Sfs(a.data(), n, o16.data(), s), kplStsOk);
      ASSERT_EQ(kplsSum_16s32s_Sfs(a.data(), n, o32.data(), s), kplStsOk);
      ASSERT_EQ(kplsSum_16sc_Sfs(c.data(), n, oc16.data(), s), kplStsOk);
      ASSERT_EQ(kplsSum_16sc32sc_Sfs(c.data(), n, oc32.data(), s), kplStsOk);
      ASSERT_EQ(kplsSum_32s_Sfs(w.data(), n, ow.data(), s), kplStsOk);
      ASSERT_EQ(o16[0], scaled<Kpl16s>(sa, s)) << "16s s=" << s << AT;
      ASSERT_EQ(o32[0], scaled<Kpl32s>(sa, s)) << "16s32s s=" << s << AT;
      ASSERT_EQ(oc16[0].re, scaled<Kpl16s>(sre, s)) << "16sc s=" << s << AT;
      ASSERT_EQ(oc16[0].im, scaled<Kpl16s>(sim, s)) << "16sc s=" << s << AT;
      ASSERT_EQ(oc32[0].re, scaled<Kpl32s>(sre, s)) << "16sc32sc s=" << s << AT;
      ASSERT_EQ(oc32[0].im, scaled<Kpl32s>(sim, s)) << "16sc32sc s=" << s << AT;
      ASSERT_EQ(ow[0], scaled<Kpl32s>(sw, s)) << "32s s=" << s << AT;
      ASSERT_TRUE(o16.guards_intact() && o32.guards_intact() && oc16.guards_intact() && oc32.guards_intact() && ow.guards_intact());
    }
  });
}

// Past the lane flush of the 16-bit kernels (every 65536 elements) and where
// 32-bit lanes would overflow.
TEST(SumInteger, LongVectorsAtTheExtremes) {
  for (Kpl16s v : {Kpl16s{-32768}, Kpl16s{32767}}) {
    const size_t len = 300007;  // 32-bit lanes of 2 elements a vector would overflow
    std::vector<Kpl16s> x(len, v);
    std::vector<Kpl16sc> c(len, Kpl16sc{v, static_cast<Kpl16s>(-1 - v)});
    Kpl32s s = 0;
    Kpl32sc cs = {0, 0};
    ASSERT_EQ(kplsSum_16s32s_Sfs(x.data(), static_cast<int>(len), &s, 0), kplStsOk);
    EXPECT_EQ(s, scaled<Kpl32s>(static_cast<__int128>(v) * len, 0));  // saturated
    ASSERT_EQ(kplsSum_16s32s_Sfs(x.data(), static_cast<int>(len), &s, 5), kplStsOk);
    EXPECT_EQ(s, scaled<Kpl32s>(static_cast<__int128>(v) * len, 5));
    ASSERT_EQ(kplsSum_16sc32sc_Sfs(c.data(), static_cast<int>(len), &cs, 0), kplStsOk);
    EXPECT_EQ(cs.re, scaled<Kpl32s>(static_cast<__int128>(v) * len, 0));
    EXPECT_EQ(cs.im, scaled<Kpl32s>(static_cast<__int128>(-1 - v) * len, 0));
    ASSERT_EQ(kplsSum_16sc32sc_Sfs(c.data(), static_cast<int>(len), &cs, 3), kplStsOk);
    EXPECT_EQ(cs.re, scaled<Kpl32s>(static_cast<__int128>(v) * len, 3));
    EXPECT_EQ(cs.im, scaled<Kpl32s>(static_cast<__int128>(-1 - v) * len, 3));
  }
  std::vector<Kpl32s> w(200000, INT_MIN);
  Kpl32s s = 0;
  ASSERT_EQ(kplsSum_32s_Sfs(w.data(), 200000, &s, 17), kplStsOk);
  EXPECT_EQ(s, scaled<Kpl32s>(static_cast<__int128>(INT_MIN) * 200000, 17));
  ASSERT_EQ(kplsSum_32s_Sfs(w.data(), 200000, &s, 64), kplStsOk);
  EXPECT_EQ(s, 0);
}

TEST(SumInteger, RoundingAndSaturationEdges) {
  const struct { std::vector<Kpl32s> x; int s; Kpl32s want; } cases32[] = {
      {{3}, 1, 2},                             // 1.5 to even
      {{5}, 1, 2},                             // 2.5 to even
      {{-3}, 1, -2},
      {{-5}, 1, -2},
      {{INT_MAX, INT_MAX}, 0, INT_MAX},        // the 64-bit sum saturates at the end
      {{INT_MAX, INT_MAX}, 1, INT_MAX},        // 2^31 - 1 exactly
      {{INT_MIN, INT_MIN}, 1, INT_MIN},
      {{INT_MIN, INT_MIN, -1}, 2, -1073741824}, // -2^30 - 0.25
      {{1}, -31, INT_MAX},
      {{-1}, -31, INT_MIN},
      {{0}, INT_MIN, 0},
      {{1}, INT_MIN, INT_MAX},
      {{INT_MIN}, INT_MAX, 0},
      {{INT_MIN, INT_MIN}, 63, 0},
      {{INT_MIN, INT_MIN}, 32, -1},            // -2^32 / 2^32
  };
  for (const auto& c : cases32) {
    Kpl32s out = 7;
    EXPECT_EQ(kplsSum_32s_Sfs(c.x.data(), static_cast<int>(c.x.size()), &out, c.s), kplStsOk);
    EXPECT_EQ(out, c.want) << c.x[0] << " s=" << c.s;
  }
  const struct { std::vector<Kpl16s> x; int s; Kpl16s want16; Kpl32s want32; } cases16[] = {
      {{32767, 1}, 0, 32767, 32768},
      {{-32768, -1}, 0, -32768, -32769},
      {{32767, 1}, 1, 16384, 16384},
      {{-32768, -32768}, 16, -1, -1},          // -65536 / 65536
      {{1, 2}, 2, 1, 1},                       // 0.75
      {{1, 1}, 2, 0, 0},                       // 0.5 to even
      {{3, 3}, 2, 2, 2},                       // 1.5 to even
      {{1}, -15, 32767, 32768},
      {{1}, -31, 32767, INT_MAX},
      {{-1}, -31, -32768, INT_MIN},
      {{5}, INT_MAX, 0, 0},
  };
  for (const auto& c : cases16) {
    Kpl16s o16 = 7;
    Kpl32s o32 = 7;
    EXPECT_EQ(kplsSum_16s_Sfs(c.x.data(), static_cast<int>(c.x.size()), &o16, c.s), kplStsOk);
    EXPECT_EQ(kplsSum_16s32s_Sfs(c.x.data(), static_cast<int>(c.x.size()), &o32, c.s), kplStsOk);
    EXPECT_EQ(o16, c.want16) << c.x[0] << " s=" << c.s;
    EXPECT_EQ(o32, c.want32) << c.x[0] << " s=" << c.s;
  }
}

// ---- Integer means ----

namespace {

// (sum * 2^-s) / len rounded to nearest even, clamped to 16 bits; exact
// rationals (the double steps of the entry cannot tie falsely at these sizes).
Kpl16s mean16_reference(__int128 sum, size_t len, int s) {
  if (s >= 60) return 0;
  if (s <= -60) return sum == 0 ? 0 : (sum > 0 ? 32767 : -32768);
  const __int128 num = s < 0 ? sum * (__int128{1} << -s) : sum;
  const __int128 den = s > 0 ? static_cast<__int128>(len) << s : static_cast<__int128>(len);
  return clamp_to<Kpl16s>(round_div(num, den));
}

// The 32-bit mean: the quotient to nearest even first (or the shifted sum's when
// the sum is within 32 bits), then the scale: a second rounding half up on the
// magnitude for s > 0, a saturating shift for s < 0.
Kpl32s mean32_reference(__int128 sum, size_t len, int s) {
  const __int128 n = static_cast<__int128>(len);
  if (s >= 0) {
    const __int128 q = round_div(sum, n);
    if (s == 0) return clamp_to<Kpl32s>(q);
    if (s >= 100) return 0;
    const __int128 mag = q < 0 ? -q : q, half = __int128{1} << (s - 1);
    const __int128 r = (mag + half) >> s;
    return clamp_to<Kpl32s>(q < 0 ? -r : r);
  }
  const int k = s < -100 ? 100 : -s;
  if (k >= 32) {
    const __int128 q = round_div(sum, n);
    return q == 0 ? 0 : (q > 0 ? INT_MAX : INT_MIN);
  }
  if (sum >= -(__int128{1} << 31) && sum < (__int128{1} << 31)) return clamp_to<Kpl32s>(round_div(sum << k, n));
  return clamp_to<Kpl32s>(round_div(sum, n) * (__int128{1} << k));
}

}  // namespace

TEST(MeanInteger, MatchesReferenceAtEveryFactor) {
  sweep1([](size_t len, size_t off) {
    if (::testing::Test::HasFailure()) return;
    const int n = static_cast<int>(len);
    const uint64_t seed = len * 16 + off + 5;
    Guarded<Kpl16s> a(len, off);
    Guarded<Kpl16sc> c(len, off);
    Guarded<Kpl32s> w(len, off);
    fill_ints(a.data(), len, seed), fill_ints(reinterpret_cast<Kpl16s*>(c.data()), 2 * len, seed + 1), fill_ints(w.data(), len, seed + 2);
    const auto* cp = reinterpret_cast<const Kpl16s*>(c.data());
    const __int128 sa = exact_sum(a.data(), len), sw = exact_sum(w.data(), len);
    const __int128 sre = exact_sum(cp, 2 * len, 2), sim = exact_sum(cp + 1, 2 * len, 2);
    Guarded<Kpl16s> o16(1);
    Guarded<Kpl16sc> oc(1);
    Guarded<Kpl32s> ow(1);
    for (int s = -40; s <= 40; ++s) {
      ASSERT_EQ(kplsMean_16s_Sfs(a.data(), n, o16.data(), s), kplStsOk);
      ASSERT_EQ(kplsMean_16sc_Sfs(c.data(), n, oc.data(), s), kplStsOk);
      ASSERT_EQ(kplsMean_32s_Sfs(w.data(), n, ow.data(), s), kplStsOk);
      ASSERT_EQ(o16[0], mean16_reference(sa, len, s)) << "16s s=" << s << AT;
      ASSERT_EQ(oc[0].re, mean16_reference(sre, len, s)) << "16sc s=" << s << AT;
      ASSERT_EQ(oc[0].im, mean16_reference(sim, len, s)) << "16sc s=" << s << AT;
      ASSERT_EQ(ow[0], mean32_reference(sw, len, s)) << "32s s=" << s << AT;
      ASSERT_TRUE(o16.guards_intact() && oc.guards_intact() && ow.guards_intact());
    }
  });
}

TEST(MeanInteger, TieRulesAndOrderOfScaling) {
  const struct { std::vector<Kpl32s> x; int s; Kpl32s want; } cases[] = {
      {{2, 3}, 0, 2},      // 5 / 2 to even
      {{3, 4}, 0, 4},      // 7 / 2 to even
      {{-2, -3}, 0, -2},
      {{-3, -4}, 0, -4},
      {{5}, 1, 3},         // 5 then 2.5, half up on the magnitude: a second rounding
      {{-5}, 1, -3},
      {{2, 3}, 1, 1},      // 2.5 -> 2, then 1
      {{6}, 2, 2},         // 1.5 half up
      {{10}, 2, 3},        // 2.5 half up
      {{1, 0}, -1, 1},     // within 32 bits: shifted first, 2 / 2
      {{1, 1, 1, 0}, -1, 2},  // 6 / 4 = 1.5 to even
      // Beyond 32 bits: divided first, (2^31 + 3) / 8 -> 268435456, then doubled.
      {{INT_MAX, 4, 0, 0, 0, 0, 0, 0}, -1, 536870912},
      {{INT_MAX, INT_MAX}, -1, INT_MAX},
      {{1, 0, 0}, -32, 0},   // 1/3 rounds to 0 before the shift
      {{1, 1, 0}, -32, INT_MAX},
      {{-1, -1, 0}, -40, INT_MIN},
      {{INT_MIN}, 0, INT_MIN},
      {{INT_MIN, INT_MIN}, 0, INT_MIN},
      {{INT_MAX}, 62, 0},
      {{INT_MAX}, INT_MAX, 0},
      {{7}, INT_MIN, INT_MAX},
  };
  for (const auto& c : cases) {
    Kpl32s out = 99;
    EXPECT_EQ(kplsMean_32s_Sfs(c.x.data(), static_cast<int>(c.x.size()), &out, c.s), kplStsOk);
    EXPECT_EQ(out, c.want) << c.x[0] << ", ... (" << c.x.size() << ") s=" << c.s;
  }
  const struct { std::vector<Kpl16s> x; int s; Kpl16s want; } cases16[] = {
      {{2, 3}, 0, 2}, {{3, 4}, 0, 4}, {{-3, -4}, 0, -4},
      {{5}, 1, 2},           // one rounding of the scaled quotient, ties to even
      {{32767, 32767}, -1, 32767},
      {{-32768}, -1, -32768},
      {{-32768, -32767}, 0, -32768},  // -32767.5 to even
      {{1}, INT_MIN, 32767},
      {{-1}, INT_MAX, 0},
  };
  for (const auto& c : cases16) {
    Kpl16s out = 99;
    EXPECT_EQ(kplsMean_16s_Sfs(c.x.data(), static_cast<int>(c.x.size()), &out, c.s), kplStsOk);
    EXPECT_EQ(out, c.want) << c.x[0] << " s=" << c.s;
  }
}

// ---- Order of checks ----

TEST(SumChecks, PointersThenLengthAndNothingWritten) {
  Guarded<Kpl32f> f(4);
  Guarded<Kpl64f> d(4);
  Guarded<Kpl32fc> fc(4);
  Guarded<Kpl64fc> dc(4);
  Guarded<Kpl16s> s(4);
  Guarded<Kpl16sc> sc(4);
  Guarded<Kpl32s> w(4);
  Guarded<uint8_t> out(32);
  fill_random_bits(out.data(), 32, 3);
  const auto o0 = out.snapshot();
  auto* po = out.data();
  expect_checks<1>(&kplsSum_32f, std::make_tuple(static_cast<const Kpl32f*>(f.data()), 4, reinterpret_cast<Kpl32f*>(po), 0), "Sum_32f");
  expect_checks<1>(&kplsSum_32fc, std::make_tuple(static_cast<const Kpl32fc*>(fc.data()), 4, reinterpret_cast<Kpl32fc*>(po), 1), "Sum_32fc");
  expect_checks<1>(&kplsSum_64f, std::make_tuple(static_cast<const Kpl64f*>(d.data()), 4, reinterpret_cast<Kpl64f*>(po)), "Sum_64f");
  expect_checks<1>(&kplsSum_64fc, std::make_tuple(static_cast<const Kpl64fc*>(dc.data()), 4, reinterpret_cast<Kpl64fc*>(po)), "Sum_64fc");
  expect_checks<1>(&kplsSum_16s_Sfs, std::make_tuple(static_cast<const Kpl16s*>(s.data()), 4, reinterpret_cast<Kpl16s*>(po), 0), "Sum_16s_Sfs");
  expect_checks<1>(&kplsSum_16sc_Sfs, std::make_tuple(static_cast<const Kpl16sc*>(sc.data()), 4, reinterpret_cast<Kpl16sc*>(po), 0), "Sum_16sc_Sfs");
  expect_checks<1>(&kplsSum_16s32s_Sfs, std::make_tuple(static_cast<const Kpl16s*>(s.data()), 4, reinterpret_cast<Kpl32s*>(po), 0), "Sum_16s32s_Sfs");
  expect_checks<1>(&kplsSum_16sc32sc_Sfs, std::make_tuple(static_cast<const Kpl16sc*>(sc.data()), 4, reinterpret_cast<Kpl32sc*>(po), 0), "Sum_16sc32sc_Sfs");
  expect_checks<1>(&kplsSum_32s_Sfs, std::make_tuple(static_cast<const Kpl32s*>(w.data()), 4, reinterpret_cast<Kpl32s*>(po), 0), "Sum_32s_Sfs");
  expect_checks<1>(&kplsMean_32f, std::make_tuple(static_cast<const Kpl32f*>(f.data()), 4, reinterpret_cast<Kpl32f*>(po), 2), "Mean_32f");
  expect_checks<1>(&kplsMean_32fc, std::make_tuple(static_cast<const Kpl32fc*>(fc.data()), 4, reinterpret_cast<Kpl32fc*>(po), 2), "Mean_32fc");
  expect_checks<1>(&kplsMean_64f, std::make_tuple(static_cast<const Kpl64f*>(d.data()), 4, reinterpret_cast<Kpl64f*>(po)), "Mean_64f");
  expect_checks<1>(&kplsMean_64fc, std::make_tuple(static_cast<const Kpl64fc*>(dc.data()), 4, reinterpret_cast<Kpl64fc*>(po)), "Mean_64fc");
  expect_checks<1>(&kplsMean_16s_Sfs, std::make_tuple(static_cast<const Kpl16s*>(s.data()), 4, reinterpret_cast<Kpl16s*>(po), 0), "Mean_16s_Sfs");
  expect_checks<1>(&kplsMean_16sc_Sfs, std::make_tuple(static_cast<const Kpl16sc*>(sc.data()), 4, reinterpret_cast<Kpl16sc*>(po), 0), "Mean_16sc_Sfs");
  expect_checks<1>(&kplsMean_32s_Sfs, std::make_tuple(static_cast<const Kpl32s*>(w.data()), 4, reinterpret_cast<Kpl32s*>(po), 0), "Mean_32s_Sfs");
  EXPECT_TRUE(out.unchanged_since(o0));
}

// ---- SumWindow ----

namespace {

// The first window in eight float lanes (element 8k + j on lane j), folded as
// l_j + l_(j+4), then (m0 + m2) + (m1 + m3), the rest singly; then the float
// recurrence with integer differences.
template <class T>
std::vector<float> window_model(const T* x, size_t len, size_t w) {
  float lane[8] = {};
  size_t j = 0;
  for (; j + 8 <= w; j += 8)
    for (int k = 0; k < 8; ++k) lane[k] += static_cast<float>(x[j + k]);
  float m[4];
  for (int k = 0; k < 4; ++k) m[k] = lane[k] + lane[k + 4];
  float s = (m[0] + m[2]) + (m[1] + m[3]);
  for (; j < w; ++j) s += static_cast<float>(x[j]);
  std::vector<float> d(len);
  for (size_t i = 0; i < len; ++i) {
    d[i] = s;
    if (i + 1 < len) s += static_cast<float>(static_cast<int>(x[i + w]) - static_cast<int>(x[i]));
  }
  return d;
}

template <class T>
KplStatus sum_window(const T* s, Kpl32f* d, int len, int w) {
  if constexpr (sizeof(T) == 1) return kplsSumWindow_8u32f(s, d, len, w); else return kplsSumWindow_16s32f(s, d, len, w);
}

template <class T>
void check_window(size_t len, size_t w, size_t os, size_t od, uint64_t seed) {
  Guarded<T> src(len + w - 1, os);
  Guarded<Kpl32f> dst(len, od);
  Rng r(seed);
  const bool high = seed % 3 == 0;  // sums past 2^24, where the float steps round
  for (size_t i = 0; i < len + w - 1; ++i)
    src[i] = high ? static_cast<T>(std::numeric_limits<T>::max() - static_cast<T>(r.next() % 200)) : static_cast<T>(r.next());
  const std::vector<float> want = window_model(src.data(), len, w);
  const auto s0 = src.snapshot();
  ASSERT_EQ(sum_window(src.data(), dst.data(), static_cast<int>(len), static_cast<int>(w)), kplStsOk);
  ASSERT_TRUE(same_bits(dst.data(), want.data(), len)) << sizeof(T) << " len=" << len << " window=" << w << " offsets " << os << "," << od;
  ASSERT_TRUE(dst.guards_intact() && src.unchanged_since(s0)) << " len=" << len << " window=" << w;
}

}  // namespace

TEST(SumWindow, MatchesFloatRecurrenceBitForBit) {
  for (size_t w : {1u, 2u, 7u, 8u, 9u, 17u, 33u})
    sweep2([&](size_t len, size_t os, size_t od) {
      if (::testing::Test::HasFailure() || (len > 70 && os != od) || (os + od) % 3 != 0) return;
      check_window<Kpl8u>(len, w, os, od, len * 7 + w + os);
      check_window<Kpl16s>(len, w, os, od, len * 5 + w + od);
    });
  // Around the largest windows whose sums are exact in single precision, and past them.
  for (size_t w : {511u, 512u, 513u, 1000u, 65793u, 65794u, 70001u})
    for (size_t len : {1u, 2u, 63u, 300u})
      for (uint64_t seed : {0u, 1u, 3u}) {
        check_window<Kpl8u>(len, w, seed, 2, seed + len);
        check_window<Kpl16s>(len, w, seed, 1, seed + len);
      }
}

// Nothing is read past pSrc[len + window - 2] nor before pSrc[0].
TEST(SumWindow, ReadsOnlyTheWindows) {
  FencedPage page;
  ASSERT_TRUE(page.ok());
  for (size_t w : {1u, 5u, 8u, 40u})
    for (size_t len : {1u, 3u, 9u, 64u}) {
      const size_t n = len + w - 1;
      auto* s8 = page.ending_at_end(n);
      std::memset(s8, 7, n);
      std::vector<Kpl32f> d(len);
      ASSERT_EQ(kplsSumWindow_8u32f(s8, d.data(), static_cast<int>(len), static_cast<int>(w)), kplStsOk);
      EXPECT_EQ(d[len - 1], static_cast<float>(7 * w));
      auto* s16 = reinterpret_cast<Kpl16s*>(page.ending_at_end(2 * n));
      for (size_t i = 0; i < n; ++i) s16[i] = -3;
      ASSERT_EQ(kplsSumWindow_16s32f(s16, d.data(), static_cast<int>(len), static_cast<int>(w)), kplStsOk);
      EXPECT_EQ(d[0], -3.0f * static_cast<float>(w));
      auto* first = reinterpret_cast<Kpl16s*>(page.at_start());
      for (size_t i = 0; i < n; ++i) first[i] = 1;
      ASSERT_EQ(kplsSumWindow_16s32f(first, d.data(), static_cast<int>(len), static_cast<int>(w)), kplStsOk);
    }
}

TEST(SumWindow, ChecksWindowBeforeLengthAndEmptyLengths) {
  Guarded<Kpl16s> s(8);
  Guarded<Kpl8u> b(8);
  Guarded<Kpl32f> d(8);
  fill_random_bits(d.data(), 8, 1);
  const auto d0 = d.snapshot();
  const struct { bool null_src, null_dst; int len, window; KplStatus want; } cases[] = {
      {true, false, 4, 2, kplStsNullPointer}, {false, true, 4, 2, kplStsNullPointer},
      {true, false, 4, 0, kplStsNullPointer}, {false, true, 0, 0, kplStsNullPointer},
      {false, false, 4, 0, kplStsBadWindow},  {false, false, 4, -1, kplStsBadWindow},
      {false, false, 0, 0, kplStsBadWindow},  {false, false, -3, INT_MIN, kplStsBadWindow},
      {false, false, 0, 3, kplStsOk},         {false, false, -1, 3, kplStsOk},
      {false, false, INT_MIN, 1, kplStsOk},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kplsSumWindow_16s32f(c.null_src ? nullptr : s.data(), c.null_dst ? nullptr : d.data(), c.len, c.window), c.want)
        << "len=" << c.len << " window=" << c.window;
    EXPECT_EQ(kplsSumWindow_8u32f(c.null_src ? nullptr : b.data(), c.null_dst ? nullptr : d.data(), c.len, c.window), c.want)
        << "len=" << c.len << " window=" << c.window;
    EXPECT_TRUE(d.unchanged_since(d0));
  }
}
