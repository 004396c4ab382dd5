// Convert: the 16-bit float forms (every half pattern, every tie and boundary of
// float to half, against references written here), the documented edge values
// as small tables, the caller's control word (rounding, flush-to-zero and
// denormals-are-zero) unchanged by every entry and not changing its results,
// cache-bypassing stores on long vectors, and 24-bit vectors flush against
// inaccessible pages.
#include <gtest/gtest.h>
#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "kpls.h"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

using LD = long double;

float f32(uint32_t b) { return std::bit_cast<float>(b); }
uint32_t bits(float f) { return std::bit_cast<uint32_t>(f); }

// ---------------------------------------------------------------------------
// Half references.

// The exact value of a half pattern as a float's bits: sign, exponent and
// mantissa decoded by hand; NaN keeps its payload, shifted into place.
uint32_t half_to_float_reference(uint16_t h) {
  const uint32_t sign = static_cast<uint32_t>(h >> 15) << 31, e = (h >> 10) & 31, m = h & 1023;
  if (e == 31) return sign | 0x7F800000u | (m << 13);
  const LD v = e == 0 ? std::ldexp(static_cast<LD>(m), -24) : std::ldexp(static_cast<LD>(1024 + m), static_cast<int>(e) - 25);
  return sign | bits(static_cast<float>(v));
}

// Float to half: |x| on the half grid (the grid of binade e, continued past the
// largest finite value), rounded to nearest-even or toward zero; the pattern is
// (e + 14) * 1024 + q, which runs on through the infinity and NaN patterns and
// saturates at 0x7FFF. Infinity and NaN give 0x7FFF.
uint16_t float_to_half_reference(float x, bool nearest) {
  const uint16_t sign = std::signbit(x) ? 0x8000 : 0;
  const LD a = std::fabs(static_cast<LD>(x));
  if (std::isnan(x) || std::isinf(x)) return sign | 0x7FFF;
  if (a == 0) return sign;
  int ex;
  (void)std::frexp(a, &ex);  // a = m * 2^ex with m in [0.5, 1)
  const int e = std::max(ex - 1, -14);
  const LD units = std::ldexp(a, 10 - e);  // |x| in units of the binade's last place
  LD q = std::floor(units);
  const LD frac = units - q;
  if (nearest && (frac > 0.5L || (frac == 0.5L && std::fmod(q, 2.0L) != 0))) q += 1;
  const LD pattern = static_cast<LD>(e + 14) * 1024 + q;
  return sign | static_cast<uint16_t>(pattern > 0x7FFF ? 0x7FFF : pattern);
}

// Half to 16-bit integer: exact value times 2^-s, nearest-even or truncated,
// saturated; infinity and NaN saturate by their sign.
int16_t half_to_16s_reference(uint16_t h, bool nearest, int s) {
  const bool negative = h >> 15;
  if (((h >> 10) & 31) == 31) return negative ? -32768 : 32767;
  const LD v = std::ldexp(static_cast<LD>(f32(half_to_float_reference(h))), -std::clamp(s, -200, 200));
  const LD r = nearest ? std::nearbyint(v) : std::trunc(v);
  return static_cast<int16_t>(std::clamp(r, -32768.0L, 32767.0L));
}

// ---------------------------------------------------------------------------
// The control word.

constexpr unsigned kFlags = 0x3F, kFtz = 0x8000, kDaz = 0x40;
constexpr unsigned kRoundings[] = {0x0000, 0x2000, 0x4000, 0x6000};

// Runs f with the control word set to `csr` (flags cleared) and returns the
// control bits found after it.
template <class F>
unsigned control_after(unsigned csr, F&& f) {
  const unsigned saved = _mm_getcsr();
  _mm_setcsr(csr & ~kFlags);
  f();
  const unsigned after = _mm_getcsr();
  _mm_setcsr(saved);
  return after & ~kFlags;
}

// ---------------------------------------------------------------------------
// 16f forms.

TEST(ConvertHalf, EveryHalfPatternToFloatExactlyWhateverTheControlWord) {
  std::vector<uint16_t> in(65536);
  for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint16_t>(i);
  for (unsigned csr : {0x1F80u, 0x1F80u | kFtz | kDaz | 0x6000u, 0x1F80u | kDaz | 0x2000u}) {
    std::vector<float> out(65536);
    unsigned after = control_after(csr, [&] {
      ASSERT_EQ(kplsConvert_16f32f(reinterpret_cast<const Kpl16f*>(in.data()), out.data(), 65536), kplStsOk);
    });
    EXPECT_EQ(after, csr);
    for (size_t i = 0; i < in.size(); ++i)
      ASSERT_EQ(bits(out[i]), half_to_float_reference(in[i])) << "half 0x" << std::hex << i << " csr 0x" << csr;
  }
}

// The value of a half pattern, the grid continued past the largest finite one.
LD grid_value(uint32_t h) {
  if (h < 0x7C00) return f32(half_to_float_reference(static_cast<uint16_t>(h)));
  return std::ldexp(static_cast<LD>(1024 + (h - 0x7C00)), 6);
}

// Floats on every half value, every midpoint between neighbours, one float ulp
// either side of each, past the largest finite half, and random bit patterns.
std::vector<float> half_boundary_floats() {
  std::vector<float> v;
  for (uint32_t h = 0; h < 0x7C00 + 64; ++h) {
    const LD lo = grid_value(h), hi = grid_value(h + 1);
    const float points[] = {static_cast<float>(lo), static_cast<float>((lo + hi) / 2)};
    for (float p : points)
      for (float q : {p, std::nextafter(p, 0.0f), std::nextafter(p, 1e30f)}) v.push_back(q), v.push_back(-q);
  }
  Rng r(77);
  for (int i = 0; i < 200000; ++i) v.push_back(f32(static_cast<uint32_t>(r.next())));
  for (float s : special_floats()) v.push_back(s);
  for (float s : {65504.0f, 65519.996f, 65520.0f, 65536.0f, 131008.0f, 131072.0f, 1e10f, 0x1p-24f, 0x1p-25f,
                  std::nextafter(0x1p-25f, 1.0f), 0x1p-14f, std::nextafter(0x1p-14f, 0.0f)})
    v.push_back(s), v.push_back(-s);
  return v;
}

TEST(ConvertHalf, FloatToHalfOnEveryTieAndBoundary) {
  const std::vector<float> in = half_boundary_floats();
  std::vector<Kpl16f> out(in.size());
  for (int mode : {1, 0, 7, -3}) {
    ASSERT_EQ(kplsConvert_32f16f(in.data(), out.data(), static_cast<int>(in.size()), mode), kplStsOk);
    for (size_t i = 0; i < in.size(); ++i)
      ASSERT_EQ(static_cast<uint16_t>(out[i]), float_to_half_reference(in[i], mode == 1))
          << in[i] << " (0x" << std::hex << bits(in[i]) << ") mode " << std::dec << mode;
  }
}

TEST(ConvertHalf, EveryInt16ToHalfAndEveryHalfTo16sAtManyScales) {
  std::vector<Kpl16s> all(65536);
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<Kpl16s>(i);
  std::vector<Kpl16f> half(65536);
  std::vector<Kpl16s> back(65536);
  for (int mode : {1, 0, 5}) {
    ASSERT_EQ(kplsConvert_16s16f(all.data(), half.data(), 65536, mode), kplStsOk);
    for (size_t i = 0; i < all.size(); ++i)
      ASSERT_EQ(static_cast<uint16_t>(half[i]), float_to_half_reference(static_cast<float>(all[i]), mode == 1))
          << all[i] << " mode " << mode;
    for (int s : {0, 1, -1, 3, -3, 10, -10, 15, -15, 24, 25, 30, -30, 63, 64, 65, -64, -65, 1000, -1000}) {
      ASSERT_EQ(kplsConvert_16f16s_Sfs(reinterpret_cast<const Kpl16f*>(all.data()), back.data(), 65536, mode, s), kplStsOk);
      for (size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(back[i], half_to_16s_reference(static_cast<uint16_t>(i), mode == 1, s))
            << "half 0x" << std::hex << i << std::dec << " mode " << mode << " scale " << s;
    }
  }
}

// Lengths 1..70 and every pair of offsets: the peel and the tail give the
// block's bits.
TEST(ConvertHalf, LengthsAndOffsetsMatchTheReferences) {
  Rng r(9);
  std::vector<uint16_t> pool(8200);  // a start below 4000 plus the longest length
  for (auto& h : pool) h = static_cast<uint16_t>(r.next());
  const std::vector<float> floats = half_boundary_floats();
  size_t k = 0;
  sweep2([&](size_t len, size_t a, size_t b) {
    const size_t start = (k++ * 37) % 4000;
    const int mode = k % 2 ? 1 : 0, s = static_cast<int>(k % 7) - 3;
    Guarded<Kpl16f> hs(len, a), hd(len, b);
    Guarded<Kpl32f> fs(len, a), fd(len, b);
    Guarded<Kpl16s> is(len, b);
    hs.assign(reinterpret_cast<const Kpl16f*>(pool.data() + start));
    fs.assign(floats.data() + (start * 61) % (floats.size() - 5000));
    ASSERT_EQ(kplsConvert_16f32f(hs.data(), fd.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_EQ(kplsConvert_32f16f(fs.data(), hd.data(), static_cast<int>(len), mode), kplStsOk);
    ASSERT_EQ(kplsConvert_16f16s_Sfs(hs.data(), is.data(), static_cast<int>(len), mode, s), kplStsOk);
    for (size_t i = 0; i < len; ++i) {
      const auto h = static_cast<uint16_t>(hs[i]);
      ASSERT_EQ(bits(fd[i]), half_to_float_reference(h)) << "16f32f len=" << len << " offsets " << a << "," << b;
      ASSERT_EQ(static_cast<uint16_t>(hd[i]), float_to_half_reference(fs[i], mode == 1)) << "32f16f len=" << len;
      ASSERT_EQ(is[i], half_to_16s_reference(h, mode == 1, s)) << "16f16s len=" << len << " scale " << s;
    }
    ASSERT_TRUE(hd.guards_intact() && fd.guards_intact() && is.guards_intact()) << "len=" << len;
    Guarded<Kpl16s> ws(len, a);
    Guarded<Kpl16f> wd(len, b);
    for (size_t i = 0; i < len; ++i) ws[i] = static_cast<Kpl16s>(pool[start + i]);
    ASSERT_EQ(kplsConvert_16s16f(ws.data(), wd.data(), static_cast<int>(len), mode), kplStsOk);
    for (size_t i = 0; i < len; ++i)
      ASSERT_EQ(static_cast<uint16_t>(wd[i]), float_to_half_reference(static_cast<float>(ws[i]), mode == 1)) << "16s16f";
    ASSERT_TRUE(wd.guards_intact());
  });
}

// ---------------------------------------------------------------------------
// Edge tables.

template <class D>
D one_32f(KplStatus (*fn)(const Kpl32f*, D*, int, KplRoundMode, int), float x, int mode, int s = 0) {
  // In the middle of a vector and alone: the block and the single element agree.
  float in[19];
  D out[19];
  for (float& v : in) v = x;
  EXPECT_EQ(fn(in, out, 19, mode, s), kplStsOk);
  D single;
  EXPECT_EQ(fn(&x, &single, 1, mode, s), kplStsOk);
  EXPECT_EQ(std::memcmp(&single, &out[9], sizeof(D)), 0) << x;
  return out[9];
}

TEST(ConvertEdges, FloatTo16sRoundingModes) {
  struct { float x; int mode; Kpl16s want; } cases[] = {
      {2.5f, 1, 2},   {3.5f, 1, 4},   {-2.5f, 1, -2},  {2.5f, 2, 3},   {-2.5f, 2, -3}, {2.9f, 0, 2},
      {-2.9f, 0, -2}, {2.5f, 7, 3},   {-2.5f, 7, -3},  {2.5f, -1, 3},  {0.49999997f, 2, 1},  // half added in float
      {-0.49999997f, 2, -1}, {0.49999997f, 1, 0}, {32767.5f, 1, 32767}, {-32768.5f, 1, -32768},
      {f32(0x7FC00000), 1, 32767}, {f32(0xFFC00000), 1, 32767}, {f32(0xFFC00000), 0, 32767},
      {f32(0xFF800000), 2, -32768}, {f32(0x7F800000), 0, 32767}, {-1e10f, 1, -32768}, {1e10f, 2, 32767}};
  for (auto c : cases) EXPECT_EQ(one_32f(kplsConvert_32f16s_Sfs, c.x, c.mode), c.want) << c.x << " mode " << c.mode;
}

TEST(ConvertEdges, FloatToIntegerTableOfNaNInfinityAndRange) {
  const float nan = f32(0x7FC00000), nnan = f32(0xFFC00000), inf = f32(0x7F800000);
  for (int mode : {0, 1, 2}) {
    EXPECT_EQ(one_32f(kplsConvert_32f8u_Sfs, nan, mode), 255);
    EXPECT_EQ(one_32f(kplsConvert_32f8u_Sfs, -inf, mode), 0);
    EXPECT_EQ(one_32f(kplsConvert_32f8u_Sfs, -1.0f, mode), 0);
    EXPECT_EQ(one_32f(kplsConvert_32f8u_Sfs, 255.5f, mode), 255);
    EXPECT_EQ(one_32f(kplsConvert_32f8s_Sfs, nan, mode), 127);
    EXPECT_EQ(one_32f(kplsConvert_32f8s_Sfs, -1e20f, mode), -128);
    EXPECT_EQ(one_32f(kplsConvert_32f16u_Sfs, nan, mode), 0);
    EXPECT_EQ(one_32f(kplsConvert_32f16u_Sfs, nnan, mode), 0);
    EXPECT_EQ(one_32f(kplsConvert_32f16u_Sfs, inf, mode), 65535);
    EXPECT_EQ(one_32f(kplsConvert_32f16u_Sfs, 1e10f, mode), 65535);
    EXPECT_EQ(one_32f(kplsConvert_32f16u_Sfs, -inf, mode), 0);
    EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, nan, mode), INT32_MAX);
    EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, nnan, mode), INT32_MIN);
    EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, inf, mode), INT32_MAX);
    EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, -inf, mode), INT32_MIN);
    EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, 2147483648.0f, mode), INT32_MAX);
    EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, 2147483520.0f, mode), 2147483520);
  }
  // Financial in the source's precision: an odd float above 2^23 plus a half is a
  // tie, which the addition rounds to even.
  EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, 8388609.0f, 2), 8388610);
  EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, 8388609.0f, 1), 8388609);
  // The factor is built by halving or doubling: zero past 2^-149, infinity past
  // 2^127, and the product is what binary32 makes of it.
  EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, 3.0f, 1, -30), INT32_MAX);
  EXPECT_EQ(one_32f(kplsConvert_32f32s_Sfs, 3.0f, 1, -29), 1610612736);
  EXPECT_EQ(one_32f(kplsConvert_32f16s_Sfs, 1e30f, 1, 149), 0);
  EXPECT_EQ(one_32f(kplsConvert_32f16s_Sfs, 3e38f, 1, 127), 2);  // the factor is the denormal 2^-127
  EXPECT_EQ(one_32f(kplsConvert_32f16s_Sfs, -1e-30f, 1, -128), -32768);
  EXPECT_EQ(one_32f(kplsConvert_32f16s_Sfs, 1000.0f, 1, 3), 125);

  double d[3] = {f32(0xFFC00000), -1e300, 2147483647.6};
  Kpl32s o[3];
  ASSERT_EQ(kplsConvert_64f32s_Sfs(d, o, 3, 1, 0), kplStsOk);
  EXPECT_EQ(o[0], INT32_MAX);
  EXPECT_EQ(o[1], INT32_MIN);
  EXPECT_EQ(o[2], INT32_MAX);
  double h[2] = {0.49999999999999994, -2.5};
  ASSERT_EQ(kplsConvert_64f32s_Sfs(h, o, 2, 2, 0), kplStsOk);
  EXPECT_EQ(o[0], 1);
  EXPECT_EQ(o[1], -3);
}

TEST(ConvertEdges, Financial64f64sBranches) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = HUGE_VAL;
  struct { double x; int mode, s; Kpl64s want; } cases[] = {
      {2.5, 2, 0, 3}, {-2.5, 2, 0, -3}, {2.5, 1, 0, 2}, {2.5, 0, 0, 2}, {2.5, 3, 0, 2},  // 3 truncates here
      {0x1p63, 2, 0, INT64_MAX}, {-0x1p63, 2, 0, INT64_MIN}, {nan, 2, 0, INT64_MIN}, {-nan, 1, 0, INT64_MIN},
      {nan, 2, -5, INT64_MIN}, {nan, 2, 5, INT64_MIN}, {1e300, 2, -100, INT64_MAX}, {-1e300, 2, -100, INT64_MIN},
      {0.0, 2, -2000, 0}, {1.0, 2, -2000, INT64_MAX}, {3.0, 2, 1, 2}, {-3.0, 2, 1, -2}, {5.0, 1, 1, 2},
      {1e-300, 2, 100, 0}, {inf, 2, 2000, 0}, {inf, 2, 10, INT64_MAX}, {-inf, 1, 0, INT64_MIN},
      {4503599627370497.0, 2, 0, 4503599627370498}};  // 2^52 + 1: the half is added in binary64
  for (auto c : cases) {
    Kpl64s out = 12345;
    ASSERT_EQ(kplsConvert_64f64s_Sfs(&c.x, &out, 1, c.mode, c.s), kplStsOk);
    EXPECT_EQ(out, c.want) << c.x << " mode " << c.mode << " scale " << c.s;
  }
}

TEST(ConvertEdges, IntegerScalesClampAndRound) {
  // 32s16s: the scale factor clamps to -15..31; nearest with ties to even.
  Kpl32s in[6] = {INT32_MAX, INT32_MIN, 5, -5, 7, 1};
  Kpl16s a[6], b[6];
  ASSERT_EQ(kplsConvert_32s16s_Sfs(in, a, 6, 40), kplStsOk);
  ASSERT_EQ(kplsConvert_32s16s_Sfs(in, b, 6, 31), kplStsOk);
  EXPECT_EQ(std::memcmp(a, b, sizeof a), 0);
  EXPECT_EQ(a[0], 1);   // 2^31 - 1 over 2^31
  EXPECT_EQ(a[1], -1);
  ASSERT_EQ(kplsConvert_32s16s_Sfs(in, a, 6, 1), kplStsOk);
  EXPECT_EQ(a[2], 2);
  EXPECT_EQ(a[3], -2);
  EXPECT_EQ(a[4], 4);
  EXPECT_EQ(a[5], 0);
  ASSERT_EQ(kplsConvert_32s16s_Sfs(in, a, 6, -100), kplStsOk);
  EXPECT_EQ(a[5], 32767);  // 1 * 2^15 saturates
  // 16s8s by mode; -128 only through saturation or at scale 0.
  Kpl16s s8[5] = {-32768, 5, -5, 255, -256};
  Kpl8s o8[5];
  ASSERT_EQ(kplsConvert_16s8s_Sfs(s8, o8, 5, 2, 1), kplStsOk);
  EXPECT_EQ(o8[0], -128);
  EXPECT_EQ(o8[1], 3);
  EXPECT_EQ(o8[2], -3);
  EXPECT_EQ(o8[3], 127);
  EXPECT_EQ(o8[4], -128);
  ASSERT_EQ(kplsConvert_16s8s_Sfs(s8, o8, 5, 0, 1), kplStsOk);
  EXPECT_EQ(o8[1], 2);
  EXPECT_EQ(o8[2], -2);
  ASSERT_EQ(kplsConvert_16s8s_Sfs(s8, o8, 5, 1, 16), kplStsOk);
  EXPECT_EQ(o8[0], 0);  // 32768 / 65536 = 0.5: the even 0
  ASSERT_EQ(kplsConvert_16s8s_Sfs(s8, o8, 5, 2, 16), kplStsOk);
  EXPECT_EQ(o8[0], -1);  // ties away from zero
  ASSERT_EQ(kplsConvert_16s8s_Sfs(s8, o8, 5, 1, 18), kplStsOk);
  for (Kpl8s v : o8) EXPECT_EQ(v, 0);
  // 16s32f_Sfs: -200 behaves as -112.
  Kpl16s one = 1;
  float f1, f2;
  ASSERT_EQ(kplsConvert_16s32f_Sfs(&one, &f1, 1, -200), kplStsOk);
  ASSERT_EQ(kplsConvert_16s32f_Sfs(&one, &f2, 1, -112), kplStsOk);
  EXPECT_EQ(f1, 0x1p112f);
  EXPECT_EQ(f2, 0x1p112f);
  // 24-bit: bounds and nearest with ties to even.
  float x24[4] = {f32(0x7FC00000), 1e30f, 2.5f, -8388608.5f};
  Kpl24s o24[4];
  ASSERT_EQ(kplsConvert_32f24s_Sfs(x24, o24, 4, 0), kplStsOk);
  const uint8_t want[12] = {0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F, 0x02, 0x00, 0x00, 0x00, 0x00, 0x80};
  EXPECT_EQ(std::memcmp(o24, want, 12), 0);
}

TEST(ConvertEdges, Convert32f24uWithLengthOneWritesThreeBytes) {
  Guarded<uint8_t> out(3, 1);
  const float x = 70000.4f;
  ASSERT_EQ(kplsConvert_32f24u_Sfs(&x, reinterpret_cast<Kpl24u*>(out.data()), 1, 0), kplStsOk);
  EXPECT_TRUE(out.guards_intact());
  EXPECT_EQ(out[0] | out[1] << 8 | out[2] << 16, 70000);
}

// ---------------------------------------------------------------------------
// The caller's control word: every entry leaves the control bits as it found
// them, from each rounding mode with flush-to-zero and denormals-are-zero set or
// clear, and gives the results it gives under the default word (inputs with no
// denormals, where those two bits could matter).

struct Entry {
  std::string name;
  std::function<void(std::vector<uint8_t>&)> run;  // fills the output
};

std::vector<Entry> every_entry() {
  constexpr int n = 37;
  static std::vector<float> f(n);
  static std::vector<double> d(n);
  static std::vector<int32_t> i32(n);
  static std::vector<int16_t> i16(n);
  static std::vector<Kpl64s> i64(n);
  static std::vector<uint8_t> b(4 * n);
  Rng r(5);
  const float pick[] = {2.5f, -2.5f, 3.5f, 0.49999997f, 1e10f, -1e10f, 8388609.0f, 65520.0f, 1.0f / 3, -7.75f};
  for (int k = 0; k < n; ++k) {
    f[k] = k % 3 ? pick[k % 10] : static_cast<float>(r.uniform(-70000, 70000));
    if (k == 5) f[k] = f32(0x7FC00000);
    if (k == 6) f[k] = f32(0xFF800000);
    d[k] = k % 3 ? static_cast<double>(pick[k % 10]) : r.uniform(-3e9, 3e9);
    i32[k] = static_cast<int32_t>(r.next());
    i16[k] = static_cast<int16_t>(r.next());
    i64[k] = static_cast<Kpl64s>(r.next());
  }
  for (auto& x : b) x = static_cast<uint8_t>(r.next());
  auto p = [](std::vector<uint8_t>& o, size_t bytes) {  // a fresh zeroed output
    o.assign(bytes, 0);
    return o.data();
  };
  std::vector<Entry> e;
  auto add = [&](const std::string& name, std::function<void(std::vector<uint8_t>&)> fn) { e.push_back({name, std::move(fn)}); };
  for (int mode : {0, 1, 2, 7}) {
    for (int s : {0, 2, -3}) {
      const std::string tag = " mode " + std::to_string(mode) + " scale " + std::to_string(s);
      add((std::string("32f8s") + tag), [=](auto& o) { kplsConvert_32f8s_Sfs(f.data(), reinterpret_cast<Kpl8s*>(p(o, n)), n, mode, s); });
      add((std::string("32f8u") + tag), [=](auto& o) { kplsConvert_32f8u_Sfs(f.data(), p(o, n), n, mode, s); });
      add((std::string("32f16s") + tag), [=](auto& o) { kplsConvert_32f16s_Sfs(f.data(), reinterpret_cast<Kpl16s*>(p(o, 2 * n)), n, mode, s); });
      add((std::string("32f16u") + tag), [=](auto& o) { kplsConvert_32f16u_Sfs(f.data(), reinterpret_cast<Kpl16u*>(p(o, 2 * n)), n, mode, s); });
      add((std::string("32f32s") + tag), [=](auto& o) { kplsConvert_32f32s_Sfs(f.data(), reinterpret_cast<Kpl32s*>(p(o, 4 * n)), n, mode, s); });
      add((std::string("64f32s") + tag), [=](auto& o) { kplsConvert_64f32s_Sfs(d.data(), reinterpret_cast<Kpl32s*>(p(o, 4 * n)), n, mode, s); });
      add((std::string("64f16s") + tag), [=](auto& o) { kplsConvert_64f16s_Sfs(d.data(), reinterpret_cast<Kpl16s*>(p(o, 2 * n)), n, mode, s); });
      add((std::string("64f64s") + tag), [=](auto& o) { kplsConvert_64f64s_Sfs(d.data(), reinterpret_cast<Kpl64s*>(p(o, 8 * n)), n, mode, s); });
      add((std::string("16s8s") + tag), [=](auto& o) { kplsConvert_16s8s_Sfs(i16.data(), reinterpret_cast<Kpl8s*>(p(o, n)), n, mode, s); });
      add((std::string("64s32s") + tag), [=](auto& o) { kplsConvert_64s32s_Sfs(i64.data(), reinterpret_cast<Kpl32s*>(p(o, 4 * n)), n, mode, s); });
      if (mode != 2)
        add((std::string("16f16s") + tag), [=](auto& o) {
          kplsConvert_16f16s_Sfs(reinterpret_cast<const Kpl16f*>(b.data()), reinterpret_cast<Kpl16s*>(p(o, 2 * n)), n, mode, s);
        });
    }
    if (mode != 2) {
      add("32f16f mode " + std::to_string(mode), [=](auto& o) { kplsConvert_32f16f(f.data(), reinterpret_cast<Kpl16f*>(p(o, 2 * n)), n, mode); });
      add("16s16f mode " + std::to_string(mode), [=](auto& o) { kplsConvert_16s16f(i16.data(), reinterpret_cast<Kpl16f*>(p(o, 2 * n)), n, mode); });
    }
  }
  for (int s : {0, 3, -3, 40}) {
    const std::string tag = " scale " + std::to_string(s);
    add("16s32f" + tag, [=](auto& o) { kplsConvert_16s32f_Sfs(i16.data(), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n, s); });
    add("32s32f" + tag, [=](auto& o) { kplsConvert_32s32f_Sfs(i32.data(), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n, s); });
    add("16s64f" + tag, [=](auto& o) { kplsConvert_16s64f_Sfs(i16.data(), reinterpret_cast<Kpl64f*>(p(o, 8 * n)), n, s); });
    add("32s64f" + tag, [=](auto& o) { kplsConvert_32s64f_Sfs(i32.data(), reinterpret_cast<Kpl64f*>(p(o, 8 * n)), n, s); });
    add("32s16s" + tag, [=](auto& o) { kplsConvert_32s16s_Sfs(i32.data(), reinterpret_cast<Kpl16s*>(p(o, 2 * n)), n, s); });
    add("32s24s" + tag, [=](auto& o) { kplsConvert_32s24s_Sfs(i32.data(), reinterpret_cast<Kpl24s*>(p(o, 3 * n)), n, s); });
    add("32u24u" + tag, [=](auto& o) {
      kplsConvert_32u24u_Sfs(reinterpret_cast<const Kpl32u*>(i32.data()), reinterpret_cast<Kpl24u*>(p(o, 3 * n)), n, s);
    });
    add("32f24s" + tag, [=](auto& o) { kplsConvert_32f24s_Sfs(f.data(), reinterpret_cast<Kpl24s*>(p(o, 3 * n)), n, s); });
    add("32f24u" + tag, [=](auto& o) { kplsConvert_32f24u_Sfs(f.data(), reinterpret_cast<Kpl24u*>(p(o, 3 * n)), n, s); });
  }
  const auto* i8 = reinterpret_cast<const Kpl8s*>(b.data());
  add("8s16s", [=](auto& o) { kplsConvert_8s16s(i8, reinterpret_cast<Kpl16s*>(p(o, 2 * n)), n); });
  add("16s32s", [=](auto& o) { kplsConvert_16s32s(i16.data(), reinterpret_cast<Kpl32s*>(p(o, 4 * n)), n); });
  add("8s32f", [=](auto& o) { kplsConvert_8s32f(i8, reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("8u32f", [=](auto& o) { kplsConvert_8u32f(b.data(), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("16s32f", [=](auto& o) { kplsConvert_16s32f(i16.data(), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("16u32f", [=](auto& o) {
    kplsConvert_16u32f(reinterpret_cast<const Kpl16u*>(i16.data()), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n);
  });
  add("32s32f", [=](auto& o) { kplsConvert_32s32f(i32.data(), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("32s64f", [=](auto& o) { kplsConvert_32s64f(i32.data(), reinterpret_cast<Kpl64f*>(p(o, 8 * n)), n); });
  add("32f64f", [=](auto& o) { kplsConvert_32f64f(f.data(), reinterpret_cast<Kpl64f*>(p(o, 8 * n)), n); });
  add("64f32f", [=](auto& o) { kplsConvert_64f32f(d.data(), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("64s64f", [=](auto& o) { kplsConvert_64s64f(i64.data(), reinterpret_cast<Kpl64f*>(p(o, 8 * n)), n); });
  add("32s16s", [=](auto& o) { kplsConvert_32s16s(i32.data(), reinterpret_cast<Kpl16s*>(p(o, 2 * n)), n); });
  add("24s32s", [=](auto& o) { kplsConvert_24s32s(reinterpret_cast<const Kpl24s*>(b.data()), reinterpret_cast<Kpl32s*>(p(o, 4 * n)), n); });
  add("24u32u", [=](auto& o) { kplsConvert_24u32u(reinterpret_cast<const Kpl24u*>(b.data()), reinterpret_cast<Kpl32u*>(p(o, 4 * n)), n); });
  add("24s32f", [=](auto& o) { kplsConvert_24s32f(reinterpret_cast<const Kpl24s*>(b.data()), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("24u32f", [=](auto& o) { kplsConvert_24u32f(reinterpret_cast<const Kpl24u*>(b.data()), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  add("16f32f", [=](auto& o) { kplsConvert_16f32f(reinterpret_cast<const Kpl16f*>(b.data()), reinterpret_cast<Kpl32f*>(p(o, 4 * n)), n); });
  return e;
}

TEST(ConvertControlWord, RestoredAndWithoutEffectOnResults) {
  const unsigned base = _mm_getcsr() & ~(kFlags | 0x6000u | kFtz | kDaz);
  const std::vector<Entry> entries = every_entry();
  ASSERT_GT(entries.size(), 150u);
  for (const Entry& e : entries) {
    std::vector<uint8_t> want, got;
    control_after(base, [&] { e.run(want); });
    for (unsigned rounding : kRoundings) {
      for (unsigned extra : {0u, kFtz, kDaz, kFtz | kDaz}) {
        const unsigned csr = base | rounding | extra;
        EXPECT_EQ(control_after(csr, [&] { e.run(got); }), csr) << e.name << " from control word 0x" << std::hex << csr;
        EXPECT_EQ(got, want) << e.name << " from control word 0x" << std::hex << csr;
      }
    }
  }
}

// The nearest kernels clear denormals-are-zero only when they rewrite the word,
// that is when the caller's rounding is not nearest: a denormal scaled up to 1
// counts as 0 under the caller's nearest word with DAZ, and as itself otherwise.
TEST(ConvertControlWord, DenormalsAreZeroKeptUnderNearestClearedWhenRewritten) {
  const float tiny = 0x1p-127f;
  Kpl16s out = -1;
  const unsigned base = (_mm_getcsr() & ~(kFlags | 0x6000u | kFtz)) | kDaz;
  control_after(base, [&] { kplsConvert_32f16s_Sfs(&tiny, &out, 1, 1, -127); });
  EXPECT_EQ(out, 0);
  control_after(base | 0x2000u, [&] { kplsConvert_32f16s_Sfs(&tiny, &out, 1, 1, -127); });
  EXPECT_EQ(out, 1);
  control_after(base & ~kDaz, [&] { kplsConvert_32f16s_Sfs(&tiny, &out, 1, 1, -127); });
  EXPECT_EQ(out, 1);
}

// ---------------------------------------------------------------------------
// Long vectors take the cache-bypassing stores: the same values, aligned or not.

TEST(ConvertStreaming, LongWideningVectorsMatchTheShortPath) {
  const size_t n = 0xAAAAA + 1001;
  Rng r(12);
  std::vector<Kpl16s> a16(n);
  std::vector<Kpl32s> a32(n);
  std::vector<float> af(n);
  std::vector<double> ad(n);
  for (size_t i = 0; i < n; ++i) {
    a16[i] = static_cast<Kpl16s>(r.next());
    a32[i] = static_cast<Kpl32s>(r.next());
    af[i] = static_cast<float>(r.uniform(-1e6, 1e6));
    ad[i] = r.uniform(-1e6, 1e6) / 3;
  }
  for (size_t off : {0, 1}) {
    Guarded<Kpl32s> o32(n, off);
    ASSERT_EQ(kplsConvert_16s32s(a16.data(), o32.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(o32[i], a16[i]) << "16s32s " << i;
    EXPECT_TRUE(o32.guards_intact());
    Guarded<Kpl16s> o16(n, off);
    ASSERT_EQ(kplsConvert_32s16s(a32.data(), o16.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(o16[i], std::clamp(a32[i], -32768, 32767)) << "32s16s " << i;
    EXPECT_TRUE(o16.guards_intact());
    Guarded<Kpl64f> o64(n, off);
    ASSERT_EQ(kplsConvert_32f64f(af.data(), o64.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(o64[i], static_cast<double>(af[i])) << "32f64f " << i;
    ASSERT_EQ(kplsConvert_16s64f_Sfs(a16.data(), o64.data(), static_cast<int>(n), 3), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(o64[i], a16[i] / 8.0) << "16s64f_Sfs " << i;
    EXPECT_TRUE(o64.guards_intact());
    Guarded<Kpl32f> of(n, off);
    ASSERT_EQ(kplsConvert_64f32f(ad.data(), of.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(of[i], static_cast<float>(static_cast<long double>(ad[i]))) << "64f32f " << i;
    EXPECT_TRUE(of.guards_intact());
  }
}

// ---------------------------------------------------------------------------
// Packed 24-bit vectors flush against an inaccessible page on either side: any
// byte read or written outside them faults.

TEST(ConvertPacked24, NoByteOutsideTheVectorsIsTouched) {
  FencedPage in_page, out_page;
  ASSERT_TRUE(in_page.ok() && out_page.ok());
  Rng r(4);
  for (int len = 1; len <= 70; ++len) {
    const size_t n = static_cast<size_t>(len);
    for (bool at_end : {true, false}) {
      uint8_t* b24 = at_end ? in_page.ending_at_end(3 * n) : in_page.at_start();
      for (size_t i = 0; i < 3 * n; ++i) b24[i] = static_cast<uint8_t>(r.next());
      uint8_t* b32 = at_end ? out_page.ending_at_end(4 * n) : out_page.at_start();
      ASSERT_EQ(kplsConvert_24s32s(reinterpret_cast<const Kpl24s*>(b24), reinterpret_cast<Kpl32s*>(b32), len), kplStsOk);
      ASSERT_EQ(kplsConvert_24u32u(reinterpret_cast<const Kpl24u*>(b24), reinterpret_cast<Kpl32u*>(b32), len), kplStsOk);
      ASSERT_EQ(kplsConvert_24s32f(reinterpret_cast<const Kpl24s*>(b24), reinterpret_cast<Kpl32f*>(b32), len), kplStsOk);
      ASSERT_EQ(kplsConvert_24u32f(reinterpret_cast<const Kpl24u*>(b24), reinterpret_cast<Kpl32f*>(b32), len), kplStsOk);
      // The other way: 32-bit sources flush against the page, 24-bit outputs too.
      uint8_t* o24 = at_end ? in_page.ending_at_end(3 * n) : in_page.at_start();
      for (size_t i = 0; i < n; ++i) {
        const float v = static_cast<float>(r.uniform(-9e6, 9e6));
        std::memcpy(b32 + 4 * i, &v, 4);
      }
      ASSERT_EQ(kplsConvert_32f24s_Sfs(reinterpret_cast<const float*>(b32), reinterpret_cast<Kpl24s*>(o24), len, 0), kplStsOk);
      for (size_t i = 0; i < n; ++i) {
        float v;
        std::memcpy(&v, b32 + 4 * i, 4);
        const int32_t got = static_cast<int32_t>((uint32_t{o24[3 * i]} | uint32_t{o24[3 * i + 1]} << 8 | uint32_t{o24[3 * i + 2]} << 16) << 8) >> 8;
        ASSERT_EQ(got, static_cast<int32_t>(std::nearbyint(std::clamp(v, -8388608.0f, 8388607.0f)))) << len << " " << i;
      }
      ASSERT_EQ(kplsConvert_32f24u_Sfs(reinterpret_cast<const float*>(b32), reinterpret_cast<Kpl24u*>(o24), len, 1), kplStsOk);
      ASSERT_EQ(kplsConvert_32s24s_Sfs(reinterpret_cast<const Kpl32s*>(b32), reinterpret_cast<Kpl24s*>(o24), len, 3), kplStsOk);
      ASSERT_EQ(kplsConvert_32u24u_Sfs(reinterpret_cast<const Kpl32u*>(b32), reinterpret_cast<Kpl24u*>(o24), len, -2), kplStsOk);
    }
  }
}

}  // namespace
