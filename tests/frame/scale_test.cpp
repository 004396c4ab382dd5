// The scale-factor rule on its own: the class boundaries, the rounding shift
// against exact rational arithmetic, the rounding modes, and the SIMD lanes
// against the scalar rule.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "frame/scale.hpp"
#include "support/values.hpp"

using namespace kpl;

TEST(Scale, ClassesFollowTheLimits) {
  constexpr ScaleLimits add16s{16, -15};
  EXPECT_EQ(classify(0, add16s), ScaleClass::kExact);
  EXPECT_EQ(classify(1, add16s), ScaleClass::kDown);
  EXPECT_EQ(classify(16, add16s), ScaleClass::kDown);
  EXPECT_EQ(classify(17, add16s), ScaleClass::kZero);
  EXPECT_EQ(classify(-15, add16s), ScaleClass::kUp);
  EXPECT_EQ(classify(-16, add16s), ScaleClass::kBound);
  EXPECT_EQ(with_scale_class(ScaleClass::kBound, [](auto tag) { return decltype(tag)::value; }), ScaleClass::kBound);
}

// x / 2^s as an exact rational, rounded by comparing twice the remainder with the divisor.
int64_t reference_round(int64_t x, int s, int mode) {
  const int64_t d = int64_t{1} << s;
  int64_t q = x / d, r = x % d;  // truncated
  if (r < 0) q -= 1, r += d;     // now floor, 0 <= r < d
  if (mode == 0) return (x < 0 && r != 0) ? q + 1 : q;
  if (2 * r > d) return q + 1;
  if (2 * r < d) return q;
  if (mode == 1) return q % 2 == 0 ? q : q + 1;
  return x >= 0 ? q + 1 : q;
}

TEST(Scale, RoundShiftMatchesExactRounding) {
  for (int s = 1; s <= 20; ++s)
    for (int64_t x = -70000; x <= 70000; x += (s < 4 ? 1 : 7))
      for (int mode : {0, 1, 2})
        ASSERT_EQ(round_shift_mode(x, s, mode), reference_round(x, s, mode)) << x << " s=" << s << " mode=" << mode;
}

TEST(Scale, DocumentedValues) {
  struct { int64_t x; int s; int64_t want; } cases[] = {
      {5, 1, 2}, {7, 1, 4}, {-5, 1, -2}, {-7, 1, -4}, {65534, 1, 32767}, {65533, 1, 32766}, {65534, 16, 1},
      {32768, 16, 0}, {65534, 17, 0}, {510, 9, 1}, {510, 10, 0}, {-1, -15, -32768}, {1, -15, 32767}, {0, -16, 0},
      {1073741824, 30, 1}, {1073741824, 31, 0},
  };
  for (auto c : cases) EXPECT_EQ(scale_exact<int16_t>(c.x, c.s), c.want) << c.x << " s=" << c.s;
  EXPECT_EQ(scale_exact<uint8_t>(-3, -3), 0);
  EXPECT_EQ(scale_exact<uint8_t>(1, -8), 255);
  EXPECT_EQ(scale_exact<int64_t>(-(__int128{1} << 64), 1), INT64_MIN);
  EXPECT_EQ(scale_exact<int64_t>(1, -62), int64_t{1} << 62);
  EXPECT_EQ(scale_exact<int64_t>(-1, -63), INT64_MIN);
  EXPECT_EQ(scale_exact<int64_t>(3, -200), INT64_MAX);
  EXPECT_EQ(scale_exact<int32_t>(-5, 1, 2), -3);  // ties away from zero
  EXPECT_EQ(scale_exact<int32_t>(-5, 1, 0), -2);  // toward zero
}

TEST(Scale, SimdLanesMatchTheScalarRule) {
  kpltest::Rng rng(3);
  for (int s = 1; s <= 30; ++s) {
    const RoundShift32 shift(s);
    for (int k = 0; k < 2000; ++k) {
      alignas(16) int32_t x[4], y[4];
      alignas(16) uint32_t u[4], v[4];
      for (int j = 0; j < 4; ++j) {
        x[j] = static_cast<int32_t>(rng.next() >> 34) - (1 << 29);  // |x| + 2^(s-1) fits
        u[j] = static_cast<uint32_t>(rng.next() >> 33);
      }
      _mm_store_si128(reinterpret_cast<__m128i*>(y), shift.signed_lanes(_mm_load_si128(reinterpret_cast<__m128i*>(x))));
      _mm_store_si128(reinterpret_cast<__m128i*>(v), shift.unsigned_lanes(_mm_load_si128(reinterpret_cast<__m128i*>(u))));
      for (int j = 0; j < 4; ++j) {
        ASSERT_EQ(y[j], reference_round(x[j], s, 1)) << x[j] << " s=" << s;
        ASSERT_EQ(v[j], reference_round(u[j], s, 1)) << u[j] << " s=" << s;
      }
    }
  }
}
