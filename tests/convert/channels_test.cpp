// Channel forms: Join, JoinScaled and SplitScaled against exact scalar references
// over channel counts, frame counts and start offsets; every integer through
// SplitScaled and back; ties, saturation and NaN; the caller's rounding and
// denormal modes; and the errors.
#include <gtest/gtest.h>
#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "kpls.h"
#include "support/guarded.hpp"
#include "support/values.hpp"

using kpltest::Guarded;
using kpltest::Rng;

namespace {

constexpr int32_t kMax16 = 32767, kMin16 = -32768, kMax24 = 8388607, kMin24 = -8388608;

// Nearest integer to f, ties to even, saturated to 16 bits; NaN gives the maximum.
int32_t join16_reference(float f) {
  if (std::isnan(f)) return kMax16;
  const long double v = f;
  if (v >= kMax16) return kMax16;
  if (v <= kMin16) return kMin16;
  const long double fl = std::floor(v), frac = v - fl;
  const int32_t n = static_cast<int32_t>(fl);
  return frac > 0.5L || (frac == 0.5L && n % 2 != 0) ? n + 1 : n;
}

// Nearest integer to (f * (2^B - 1) - 1) / 2, ties to even, saturated. With
// t = f * (2^B - 1) = n + frac (exact in long double, n integral): for odd n the
// value is (n - 1) / 2 + frac / 2, which rounds to (n - 1) / 2; for even n it is
// (n - 2) / 2 + (1 + frac) / 2, a tie between (n - 2) / 2 and n / 2 when frac is
// zero and n / 2 otherwise. NaN goes where the 16- and 24-bit float conversions put it.
int32_t join_scaled_reference(float f, int bits) {
  const int32_t hi = bits == 16 ? kMax16 : kMax24, lo = bits == 16 ? kMin16 : kMin24;
  if (std::isnan(f)) return bits == 16 ? hi : lo;
  const long double range = std::ldexp(1.0L, bits) - 1, t = static_cast<long double>(f) * range;
  if (std::fabs(t) >= 2 * range) return t > 0 ? hi : lo;
  const long double fl = std::floor(t), frac = t - fl;
  const int64_t n = static_cast<int64_t>(fl);
  int64_t r = n % 2 != 0 ? (n - 1) / 2 : n / 2;
  if (n % 2 == 0 && frac == 0 && r % 2 != 0) r -= 1;  // the tie goes to the even (n - 2) / 2
  return static_cast<int32_t>(r > hi ? hi : (r < lo ? lo : r));
}

// x * 2 / (2^B - 1) + 1 / (2^B - 1), rounded once to float.
float split_scaled_reference(int32_t x, int bits) {
  return static_cast<float>((2.0L * x + 1.0L) / (std::ldexp(1.0L, bits) - 1));
}

// The interleaved sample types; Kpl24s is three bytes, least significant first.
template <class T>
T to_sample(int32_t v) {
  if constexpr (std::is_same_v<T, Kpl24s>) {
    const auto u = static_cast<uint32_t>(v);
    return Kpl24s{{static_cast<Kpl8u>(u), static_cast<Kpl8u>(u >> 8), static_cast<Kpl8u>(u >> 16)}};
  } else {
    return static_cast<T>(v);
  }
}
template <class T>
int32_t from_sample(T s) {
  if constexpr (std::is_same_v<T, Kpl24s>) {
    return static_cast<int32_t>((uint32_t{s.b[0]} | uint32_t{s.b[1]} << 8 | uint32_t{s.b[2]} << 16) << 8) >> 8;
  } else {
    return s;
  }
}

template <class T>
using JoinFn = KplStatus (*)(const Kpl32f* const*, int, int, T*);
template <class T>
using SplitFn = KplStatus (*)(const T*, Kpl32f**, int, int);

// Values that catch faults: specials, random bit patterns, points on and near
// the rounding grid (`grid` apart, offset by `tie`), and the range's ends.
float test_value(Rng& r, double range, double grid, double tie) {
  static const auto specials = kpltest::special_floats();
  switch (r.next() % 6) {
    case 0: return specials[r.next() % specials.size()];
    case 1: return std::bit_cast<float>(static_cast<uint32_t>(r.next()));
    case 2: return static_cast<float>((static_cast<double>(r.next() % 64) - 32 + tie) * grid);
    case 3: return static_cast<float>(r.uniform(-1e-6, 1e-6));
    default: return static_cast<float>(r.uniform(-range, range));
  }
}

// Every channel count 1..9 with 1..70 frames at every offset; long channels; and
// frames too wide for one pass of the kernels' buffer.
struct Shape {
  size_t channels, frames, offset_step;
};
std::vector<Shape> sweep_shapes() {
  std::vector<Shape> s;
  for (size_t c = 1; c <= 9; ++c) {
    for (size_t f = 1; f <= 70; ++f) s.push_back({c, f, 1});
    for (size_t f : {127u, 1000u, 4099u}) s.push_back({c, f, 7});
  }
  for (auto [c, f] : {std::pair<size_t, size_t>{16, 100}, {100, 37}, {511, 3}, {512, 2}, {513, 3}, {1100, 2}})
    s.push_back({c, f, 7});
  return s;
}

// Channel vectors, each guarded and at an offset of its own.
struct Channels {
  std::vector<std::unique_ptr<Guarded<Kpl32f>>> v;
  std::vector<Kpl32f*> ptrs;
  Channels(size_t channels, size_t frames, size_t offset) {
    for (size_t c = 0; c < channels; ++c) {
      v.push_back(std::make_unique<Guarded<Kpl32f>>(frames, (offset + 3 * c) % 16));
      ptrs.push_back(v.back()->data());
    }
  }
  bool guards_intact() const {
    for (auto& g : v)
      if (!g->guards_intact()) return false;
    return true;
  }
};

template <class T>
void sweep_join(const char* name, JoinFn<T> fn, std::function<int32_t(float)> reference,
                std::function<float(Rng&)> value) {
  Rng rng(31);
  for (const Shape& s : sweep_shapes()) {
    std::vector<std::vector<float>> in(s.channels, std::vector<float>(s.frames));
    for (auto& ch : in)
      for (auto& x : ch) x = value(rng);
    for (size_t off = 0; off < 16; off += s.offset_step) {
      Channels ch(s.channels, s.frames, off);
      for (size_t c = 0; c < s.channels; ++c) ch.v[c]->assign(in[c].data());
      Guarded<T> out(s.channels * s.frames, off);
      ASSERT_EQ(fn(ch.ptrs.data(), int(s.channels), int(s.frames), out.data()), kplStsOk) << name;
      for (size_t i = 0; i < out.size(); ++i) {
        const float x = in[i % s.channels][i / s.channels];
        ASSERT_EQ(from_sample(out[i]), reference(x))
            << name << " channels=" << s.channels << " frames=" << s.frames << " offset=" << off << " sample " << i
            << " of " << x << " (0x" << std::hex << std::bit_cast<uint32_t>(x) << ")";
      }
      ASSERT_TRUE(out.guards_intact()) << name << " channels=" << s.channels << " frames=" << s.frames;
      for (size_t c = 0; c < s.channels; ++c)
        ASSERT_TRUE(kpltest::same_bits(ch.v[c]->data(), in[c].data(), s.frames)) << name << " changed its source";
    }
  }
}

template <class T>
void sweep_split(const char* name, SplitFn<T> fn, int bits) {
  Rng rng(32);
  for (const Shape& s : sweep_shapes()) {
    std::vector<T> in(s.channels * s.frames);
    for (auto& x : in) x = to_sample<T>(static_cast<int32_t>(rng.next() >> 8) >> (32 - bits));
    for (size_t off = 0; off < 16; off += s.offset_step) {
      Guarded<T> src(in.size(), off);
      src.assign(in.data());
      Channels ch(s.channels, s.frames, off + 1);
      ASSERT_EQ(fn(src.data(), ch.ptrs.data(), int(s.channels), int(s.frames)), kplStsOk) << name;
      for (size_t i = 0; i < in.size(); ++i)
        ASSERT_EQ(std::bit_cast<uint32_t>((*ch.v[i % s.channels])[i / s.channels]),
                  std::bit_cast<uint32_t>(split_scaled_reference(from_sample(in[i]), bits)))
            << name << " channels=" << s.channels << " frames=" << s.frames << " offset=" << off << " of "
            << from_sample(in[i]);
      ASSERT_TRUE(ch.guards_intact()) << name << " channels=" << s.channels << " frames=" << s.frames;
      ASSERT_TRUE(src.guards_intact() && std::memcmp(src.data(), in.data(), in.size() * sizeof(T)) == 0) << name;
    }
  }
}

TEST(ChannelForms, JoinMatchesScalarReference) {
  sweep_join<Kpl16s>("Join_32f16s", kplsJoin_32f16s_D2L, join16_reference,
                     [](Rng& r) { return test_value(r, 33000, 1.0, 0.5); });
  sweep_join<Kpl16s>(
      "JoinScaled_32f16s", kplsJoinScaled_32f16s_D2L, [](float f) { return join_scaled_reference(f, 16); },
      [](Rng& r) { return test_value(r, 1.05, 1.0 / 65535, 0.0); });
  sweep_join<Kpl24s>(
      "JoinScaled_32f24s", kplsJoinScaled_32f24s_D2L, [](float f) { return join_scaled_reference(f, 24); },
      [](Rng& r) { return test_value(r, 1.05, 1.0 / 16777215, 0.0); });
}

TEST(ChannelForms, SplitMatchesScalarReference) {
  sweep_split<Kpl16s>("SplitScaled_16s32f", kplsSplitScaled_16s32f_D2L, 16);
  sweep_split<Kpl24s>("SplitScaled_24s32f", kplsSplitScaled_24s32f_D2L, 24);
}

// Every integer through SplitScaled, compared with the correctly rounded value,
// and back through JoinScaled to itself.
template <class T>
void every_integer(int bits, SplitFn<T> split, JoinFn<T> join) {
  const int32_t lo = -(1 << (bits - 1)), hi = (1 << (bits - 1)) - 1, block = 1 << 16;
  std::vector<T> in(block), back(block);
  std::vector<float> out(block);
  Kpl32f* dst[1] = {out.data()};
  for (int32_t start = lo; start <= hi; start += block) {
    for (int32_t i = 0; i < block; ++i) in[i] = to_sample<T>(start + i);
    ASSERT_EQ(split(in.data(), dst, 1, block), kplStsOk);
    ASSERT_EQ(join(dst, 1, block, back.data()), kplStsOk);
    for (int32_t i = 0; i < block; ++i) {
      ASSERT_EQ(std::bit_cast<uint32_t>(out[i]), std::bit_cast<uint32_t>(split_scaled_reference(start + i, bits)))
          << "SplitScaled " << bits << "-bit of " << start + i;
      ASSERT_EQ(from_sample(back[i]), start + i) << "JoinScaled " << bits << "-bit after Split of " << start + i;
    }
  }
}

TEST(ChannelForms, EveryIntegerExactAndBack16s) {
  every_integer<Kpl16s>(16, kplsSplitScaled_16s32f_D2L, kplsJoinScaled_32f16s_D2L);
}
TEST(ChannelForms, EveryIntegerExactAndBack24s) {
  every_integer<Kpl24s>(24, kplsSplitScaled_24s32f_D2L, kplsJoinScaled_32f24s_D2L);
}

// ---- Edges ---------------------------------------------------------------------

template <class T>
int32_t join_one(JoinFn<T> fn, float f) {
  T out{};
  const Kpl32f* src[1] = {&f};
  EXPECT_EQ(fn(src, 1, 1, &out), kplStsOk);
  return from_sample(out);
}

const float kNan = std::bit_cast<float>(0x7FC00000u), kNegNan = std::bit_cast<float>(0xFFC00000u);
const float kInf = std::numeric_limits<float>::infinity(), kDenorm = std::numeric_limits<float>::denorm_min();

TEST(ChannelForms, JoinTiesSaturationAndNan) {
  struct {
    float f;
    int32_t want;
  } cases[] = {
      {2.5f, 2},         {3.5f, 4},         {-2.5f, -2},       {-3.5f, -4},      {0.5f, 0},     {-0.5f, 0},
      {32766.5f, 32766}, {32767.4f, 32767}, {32767.5f, 32767}, {1e9f, 32767},    {kInf, 32767}, {-32768.5f, -32768},
      {-1e9f, -32768},   {-kInf, -32768},   {kNan, 32767},     {kNegNan, 32767}, {-kDenorm, 0}, {2.4999998f, 2},
  };
  for (auto c : cases) EXPECT_EQ(join_one(kplsJoin_32f16s_D2L, c.f), c.want) << c.f;
}

TEST(ChannelForms, JoinScaledTiesSaturationAndNan) {
  struct {
    float f;
    int32_t want16, want24;
  } cases[] = {
      {1.0f, 32767, 8388607},         {-1.0f, -32768, -8388608},       {1.0000001f, 32767, 8388607},
      {-1.0000001f, -32768, -8388608}, {kInf, 32767, 8388607},          {-kInf, -32768, -8388608},
      {1e30f, 32767, 8388607},         {kNan, 32767, -8388608},         {kNegNan, 32767, -8388608},
      {0.0f, 0, 0},                    {-0.0f, 0, 0},                   // -1/2 exactly: the even neighbour
      {kDenorm, 0, 0},                 {-kDenorm, -1, -1},              // just above and below -1/2
      {0.5f, 16383, 4194303},          {-0.5f, -16384, -4194304},       // (32767.5 - 1) / 2 = 16383.25
      {std::nextafter(1.0f, 0.0f), 32767, 8388607},                     // 8388606.50000003 rounds up
      {std::bit_cast<float>(0x3F7FFFFEu), 32767, 8388606},              // 8388606.0000001 rounds down
  };
  for (auto c : cases) {
    EXPECT_EQ(join_one<Kpl16s>(kplsJoinScaled_32f16s_D2L, c.f), c.want16) << c.f;
    EXPECT_EQ(join_one<Kpl24s>(kplsJoinScaled_32f24s_D2L, c.f), c.want24) << c.f;
  }
}

TEST(ChannelForms, TwentyFourBitLayout) {
  const float f[3] = {1.0f, -1.0f, 0.5f};
  const Kpl32f* src[3] = {f, f + 1, f + 2};
  Guarded<Kpl24s> out(3);
  ASSERT_EQ(kplsJoinScaled_32f24s_D2L(src, 3, 1, out.data()), kplStsOk);
  const std::vector<uint8_t> want = {0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x80, 0xFF, 0xFF, 0x3F};
  EXPECT_EQ(std::vector<uint8_t>(out.bytes(), out.bytes() + 9), want);
  EXPECT_TRUE(out.guards_intact());

  float x = 0, y = 0;
  Kpl32f* dst[2] = {&x, &y};
  ASSERT_EQ(kplsSplitScaled_24s32f_D2L(reinterpret_cast<const Kpl24s*>(want.data()), dst, 2, 1), kplStsOk);
  EXPECT_EQ(x, 1.0f);
  EXPECT_EQ(y, -1.0f);
}

// Round-down, round-up, truncation, and denormals-are-zero with flush-to-zero:
// the caller's control word changes no result and comes back as it was.
TEST(ChannelForms, CallerModesChangeNothing) {
  const std::vector<float> f = {2.5f,  3.5f,  -2.5f, -0.5f, 0.0f,      -0.0f,      kDenorm,  -kDenorm,
                                0.3f,  -0.7f, 1.0f,  -1.0f, 16383.5f,  -16384.5f, 7.0f / 65535, -7.0f / 65535};
  const int n = int(f.size());
  std::vector<Kpl16s> i16(n);
  std::vector<Kpl24s> i24(n);
  for (int i = 0; i < n; ++i) {
    i16[i] = static_cast<Kpl16s>(-32768 + 4369 * i);
    i24[i] = to_sample<Kpl24s>(-8388608 + 1118481 * i);
  }
  auto run = [&] {
    std::vector<Kpl16s> a(n), b(n);
    std::vector<Kpl24s> c(n);
    std::vector<float> d(n), e(n);
    const Kpl32f* src[1] = {f.data()};
    Kpl32f *dd[1] = {d.data()}, *de[1] = {e.data()};
    EXPECT_EQ(kplsJoin_32f16s_D2L(src, 1, n, a.data()) | kplsJoinScaled_32f16s_D2L(src, 1, n, b.data()) |
                  kplsJoinScaled_32f24s_D2L(src, 1, n, c.data()) | kplsSplitScaled_16s32f_D2L(i16.data(), dd, 1, n) |
                  kplsSplitScaled_24s32f_D2L(i24.data(), de, 1, n),
              kplStsOk);
    std::vector<int64_t> all;
    for (int i = 0; i < n; ++i)
      all.insert(all.end(), {a[i], b[i], from_sample(c[i]), std::bit_cast<int32_t>(d[i]), std::bit_cast<int32_t>(e[i])});
    return all;
  };
  const unsigned saved = _mm_getcsr();
  ASSERT_EQ(saved & 0xE040u, 0u) << "the test expects to start in nearest mode";
  const auto nearest = run();
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(nearest[5 * i], join16_reference(f[i])) << f[i];
    EXPECT_EQ(nearest[5 * i + 1], join_scaled_reference(f[i], 16)) << f[i];
    EXPECT_EQ(nearest[5 * i + 2], join_scaled_reference(f[i], 24)) << f[i];
  }
  for (unsigned mode : {0x2000u, 0x4000u, 0x6000u, 0xA040u}) {
    _mm_setcsr(saved | mode);
    const auto got = run();
    const unsigned after = _mm_getcsr();
    _mm_setcsr(saved);
    EXPECT_EQ(got, nearest) << "control word 0x" << std::hex << (saved | mode);
    EXPECT_EQ(after & ~0x3Fu, (saved | mode) & ~0x3Fu) << "control word not restored";  // flags may be raised
  }
}

// ---- Errors --------------------------------------------------------------------

TEST(ChannelForms, ErrorsWriteNothing) {
  constexpr int kCh = 3, kLen = 5;
  Channels ch(kCh, kLen, 0);
  Guarded<Kpl16s> i16(kCh * kLen);
  Guarded<Kpl24s> i24(kCh * kLen);
  std::vector<Kpl32f*> last_null = ch.ptrs;
  last_null[kCh - 1] = nullptr;
  std::vector<std::vector<uint8_t>> before;
  for (auto& g : ch.v) before.push_back(g->snapshot());
  const auto before16 = i16.snapshot(), before24 = i24.snapshot();

  struct {
    bool null_interleaved;
    Kpl32f** array;
    int channels, frames;
    KplStatus want;
  } cases[] = {
      {true, ch.ptrs.data(), kCh, kLen, kplStsNullPointer},
      {true, nullptr, 0, 0, kplStsNullPointer},  // the interleaved pointer comes first
      {false, ch.ptrs.data(), 0, kLen, kplStsBadSize},
      {false, ch.ptrs.data(), kCh, 0, kplStsBadSize},
      {false, ch.ptrs.data(), -1, -1, kplStsBadSize},
      {false, nullptr, 0, kLen, kplStsBadSize},  // the counts before the channel array
      {false, nullptr, kCh, kLen, kplStsNullPointer},
      {false, last_null.data(), kCh, kLen, kplStsNullPointer},  // nothing written for the channels before it
  };
  for (auto& a : cases) {
    Kpl16s* p16 = a.null_interleaved ? nullptr : i16.data();
    Kpl24s* p24 = a.null_interleaved ? nullptr : i24.data();
    const auto msg = testing::Message() << "channels=" << a.channels << " frames=" << a.frames
                                        << " null interleaved=" << a.null_interleaved << " array=" << a.array;
    EXPECT_EQ(kplsJoin_32f16s_D2L(a.array, a.channels, a.frames, p16), a.want) << msg;
    EXPECT_EQ(kplsJoinScaled_32f16s_D2L(a.array, a.channels, a.frames, p16), a.want) << msg;
    EXPECT_EQ(kplsJoinScaled_32f24s_D2L(a.array, a.channels, a.frames, p24), a.want) << msg;
    EXPECT_EQ(kplsSplitScaled_16s32f_D2L(p16, a.array, a.channels, a.frames), a.want) << msg;
    EXPECT_EQ(kplsSplitScaled_24s32f_D2L(p24, a.array, a.channels, a.frames), a.want) << msg;
    EXPECT_TRUE(i16.unchanged_since(before16) && i24.unchanged_since(before24)) << msg;
    for (int c = 0; c < kCh; ++c) EXPECT_TRUE(ch.v[c]->unchanged_since(before[c])) << msg << " channel " << c;
  }
}

}  // namespace
