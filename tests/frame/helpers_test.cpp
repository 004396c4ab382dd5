// The shared helpers of the frame, each on its own: the loop driver's peel and
// coverage, saturation, the rounding guard and record placement.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/loop.hpp"
#include "frame/record.hpp"
#include "frame/rounding.hpp"
#include "frame/saturate.hpp"

using namespace kpl;

TEST(LoopDriver, PeelReachesTheBoundaryOrIsSkipped) {
  alignas(64) static float buf[64];
  alignas(64) static double dbuf[32];
  for (size_t k = 0; k < 4; ++k) EXPECT_EQ(peel_count(buf + k, 100), (4 - k) % 4) << k;
  EXPECT_EQ(peel_count(buf + 1, 2), 2u);  // never more than the length
  EXPECT_EQ(peel_count(dbuf + 1, 100), 1u);
  // A float on an odd address can never align: no peel, all stores unaligned.
  auto* odd = reinterpret_cast<float*>(reinterpret_cast<char*>(buf) + 1);
  EXPECT_EQ(peel_count(odd, 100), 0u);
  // An 8-byte complex on a 4-byte boundary can never reach 16 either.
  struct C { float re, im; };
  EXPECT_EQ(peel_count(reinterpret_cast<C*>(buf + 1), 100), 0u);
  EXPECT_EQ(peel_count(reinterpret_cast<C*>(buf + 2), 100), 1u);
  // 3-byte samples do not tile a vector: no peel at any address.
  struct S24 { unsigned char b[3]; };
  for (size_t k = 0; k < 16; ++k) EXPECT_EQ(peel_count(reinterpret_cast<S24*>(reinterpret_cast<char*>(buf) + k), 100), 0u);
}

TEST(LoopDriver, EveryElementOnceBlocksAligned) {
  alignas(64) static int16_t buf[256];
  for (size_t off = 0; off < 8; ++off) {
    for (size_t n = 0; n < 100; ++n) {
      std::vector<int> seen(n, 0);
      bool aligned = true;
      for_blocks<8>(
          buf + off, n, [&](size_t i) { ++seen[i]; },
          [&](size_t i) {
            aligned &= (reinterpret_cast<uintptr_t>(buf + off + i) & 15) == 0;
            for (size_t k = 0; k < 8; ++k) ++seen[i + k];
          });
      EXPECT_TRUE(aligned) << "off=" << off << " n=" << n;
      for (size_t i = 0; i < n; ++i) ASSERT_EQ(seen[i], 1) << "off=" << off << " n=" << n << " i=" << i;
    }
  }
}

TEST(Saturate, IntegersClampToTheBounds) {
  EXPECT_EQ(saturate<int16_t>(40000), 32767);
  EXPECT_EQ(saturate<int16_t>(-40000), -32768);
  EXPECT_EQ(saturate<int16_t>(-32768), -32768);
  EXPECT_EQ(saturate<uint8_t>(-1), 0);
  EXPECT_EQ(saturate<uint8_t>(256), 255);
  EXPECT_EQ(saturate<uint16_t>(int64_t{-5}), 0);
  EXPECT_EQ(saturate<int32_t>(uint64_t{0xFFFFFFFFFFFFFFFFull}), INT32_MAX);
  EXPECT_EQ(saturate<uint32_t>(int64_t{0x100000000}), UINT32_MAX);
  EXPECT_EQ(saturate<int8_t>(uint32_t{200}), 127);
}

TEST(Saturate, FloatsClampAndNanGoesWhereTheCallerSays) {
  EXPECT_EQ(saturate<int16_t>(1e30), 32767);
  EXPECT_EQ(saturate<int16_t>(-1e30f), -32768);
  EXPECT_EQ(saturate<int16_t>(-INFINITY), -32768);
  EXPECT_EQ(saturate<int16_t>(NAN), 32767);
  EXPECT_EQ(saturate<int16_t>(NAN, int16_t{0}), 0);
  EXPECT_EQ(saturate<int32_t>(2147483648.0f), INT32_MAX);
  EXPECT_EQ(saturate<int32_t>(-2147483648.0f), INT32_MIN);
  EXPECT_EQ(saturate<int32_t>(12.0), 12);
}

TEST(RoundingGuard, SetsTheModeAndAlwaysRestores) {
  const unsigned before = _mm_getcsr();
  volatile float half = 2.5f;
  {
    RoundingGuard g(Rounding::kTruncate);
    EXPECT_EQ(_mm_getcsr() & 0x6000u, 0x6000u);
    EXPECT_EQ(_mm_cvtss_si32(_mm_set_ss(half)), 2);
    EXPECT_EQ(_mm_cvtss_si32(_mm_set_ss(-half)), -2);
  }
  // Everything but the sticky exception flags (bits 0..5) is as it was.
  EXPECT_EQ(_mm_getcsr() & ~0x3Fu, before & ~0x3Fu);
  {
    RoundingGuard g(Rounding::kNearest);
    EXPECT_EQ(_mm_cvtss_si32(_mm_set_ss(half)), 2);  // ties to even
    {
      RoundingGuard inner(Rounding::kUp);
      EXPECT_EQ(_mm_cvtss_si32(_mm_set_ss(half)), 3);
    }
    EXPECT_EQ(_mm_getcsr() & 0x6000u, 0u);
  }
  EXPECT_EQ(_mm_getcsr() & 0x6000u, before & 0x6000u);
  // A caller running toward minus infinity gets its mode back.
  _mm_setcsr((before & ~0x6000u) | 0x2000u);
  { RoundingGuard g(Rounding::kNearest); }
  EXPECT_EQ(_mm_getcsr() & 0x6000u, 0x2000u);
  _mm_setcsr(before);
}

TEST(Record, PlacedOnTheNext32ByteBoundary) {
  alignas(64) static unsigned char buf[128];
  for (size_t k = 0; k < 64; ++k) {
    unsigned char* p = place_record(buf + k);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) & 31, 0u);
    EXPECT_GE(p, buf + k);
    EXPECT_LT(p, buf + k + 32);  // at most 31 bytes of slack
  }
  EXPECT_EQ(place_record(buf + 32), buf + 32);  // unchanged when already aligned
  EXPECT_EQ(reinterpret_cast<uintptr_t>(place_record(buf + 3, 16)) & 15, 0u);
  EXPECT_EQ(round_up(0), 0u);
  EXPECT_EQ(round_up(1), 32u);
  EXPECT_EQ(round_up(64), 64u);
}
