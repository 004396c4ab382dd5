// Copy, Move, Set and Zero in every type: swept over lengths and offsets against
// the bytes they must produce, with overlap in both directions for Move and sizes
// that take the streaming paths.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

template <class T>
struct Moves;
#define KPL_MOVES(T, code)                                \
  template <>                                             \
  struct Moves<T> {                                       \
    static constexpr auto copy = kplsCopy_##code;         \
    static constexpr auto move = kplsMove_##code;         \
    static constexpr auto set = kplsSet_##code;           \
    static constexpr auto zero = kplsZero_##code;         \
  };
KPL_MOVES(Kpl8u, 8u)
KPL_MOVES(Kpl16s, 16s)
KPL_MOVES(Kpl16sc, 16sc)
KPL_MOVES(Kpl32f, 32f)
KPL_MOVES(Kpl32fc, 32fc)
KPL_MOVES(Kpl32s, 32s)
KPL_MOVES(Kpl32sc, 32sc)
KPL_MOVES(Kpl64f, 64f)
KPL_MOVES(Kpl64fc, 64fc)
KPL_MOVES(Kpl64s, 64s)
KPL_MOVES(Kpl64sc, 64sc)
#undef KPL_MOVES

template <class T>
class BlockMoves : public ::testing::Test {};
using MoveTypes = ::testing::Types<Kpl8u, Kpl16s, Kpl16sc, Kpl32f, Kpl32fc, Kpl32s, Kpl32sc, Kpl64f, Kpl64fc,
                                   Kpl64s, Kpl64sc>;
TYPED_TEST_SUITE(BlockMoves, MoveTypes);

template <class T>
T random_value(uint64_t seed) {
  T v;
  fill_random_bits(&v, 1, seed);
  return v;
}

}  // namespace

TYPED_TEST(BlockMoves, CopyAndMoveOfSeparateVectorsCopyEveryBit) {
  using T = TypeParam;
  sweep2([](size_t len, size_t so, size_t dof) {
    Guarded<T> src(len, so);
    fill_random_bits(src.data(), len, len * 977 + so);
    const std::vector<T> before = src.values();
    for (auto fn : {Moves<T>::copy, Moves<T>::move}) {
      Guarded<T> dst(len, dof);
      fill_random_bits(dst.data(), len, 5);
      ASSERT_EQ(fn(src.data(), dst.data(), static_cast<int>(len)), kplStsOk);
      ASSERT_TRUE(same_bits(dst.data(), before.data(), len)) << "len=" << len << " offsets " << so << "," << dof;
      ASSERT_TRUE(dst.guards_intact()) << "len=" << len << " offsets " << so << "," << dof;
      ASSERT_TRUE(same_bits(src.data(), before.data(), len));
    }
  });
}

TYPED_TEST(BlockMoves, MoveOfOverlappingVectorsYieldsTheOldSource) {
  using T = TypeParam;
  for (size_t len = 1; len <= 140; len += (len < 70 ? 1 : 7)) {
    for (int shift = -static_cast<int>(len) - 1; shift <= static_cast<int>(len) + 1; ++shift) {
      for (size_t base : {0u, 1u, 5u}) {
        const size_t span = len + static_cast<size_t>(shift < 0 ? -shift : shift);
        Guarded<T> buf(span, base);
        fill_random_bits(buf.data(), span, len * 31 + static_cast<size_t>(shift + 200));
        T* src = buf.data() + (shift < 0 ? -shift : 0);
        T* dst = buf.data() + (shift > 0 ? shift : 0);
        const std::vector<T> old(src, src + len);
        ASSERT_EQ(Moves<T>::move(src, dst, static_cast<int>(len)), kplStsOk);
        ASSERT_TRUE(same_bits(dst, old.data(), len)) << "len=" << len << " shift=" << shift;
        ASSERT_TRUE(buf.guards_intact()) << "len=" << len << " shift=" << shift;
      }
    }
  }
}

TYPED_TEST(BlockMoves, SetAndZeroFillEveryElement) {
  using T = TypeParam;
  sweep1([](size_t len, size_t off) {
    const T val = random_value<T>(len + 17 * off);
    const T zero{};
    Guarded<T> dst(len, off);
    ASSERT_EQ(Moves<T>::set(val, dst.data(), static_cast<int>(len)), kplStsOk);
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(same_bits(&dst[i], &val, 1)) << "len=" << len << " i=" << i;
    ASSERT_TRUE(dst.guards_intact()) << "len=" << len << " off=" << off;
    ASSERT_EQ(Moves<T>::zero(dst.data(), static_cast<int>(len)), kplStsOk);
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(same_bits(&dst[i], &zero, 1)) << "len=" << len << " i=" << i;
    ASSERT_TRUE(dst.guards_intact()) << "len=" << len << " off=" << off;
  });
}

TYPED_TEST(BlockMoves, BadArgumentsWriteNothing) {
  using T = TypeParam;
  expect_rejected(Moves<T>::copy, "Copy");
  expect_rejected(Moves<T>::move, "Move");
  expect_rejected(Moves<T>::zero, "Zero");
  Guarded<T> dst(8);
  const auto snap = dst.snapshot();
  expect_checks<2>(Moves<T>::set, std::make_tuple(random_value<T>(3), dst.data(), 8), "Set");
  EXPECT_TRUE(dst.unchanged_since(snap));
}

// Long vectors take the cached 64-byte loop from 1 MiB and bypass the cache from
// half the last-level cache on; the bytes must not depend on the path.
TEST(BlockMovesLong, CopyAndMoveAtEverySizeClass) {
  for (size_t len : {size_t{1} << 20, (size_t{2} << 20) + 13, (size_t{40} << 20) + 3}) {
    for (auto [so, dof] : {std::pair<size_t, size_t>{0, 0}, {3, 11}, {16, 1}}) {
      Guarded<Kpl8u> src(len, so), dst(len, dof);
      fill_random_bits(src.data(), len, len + so);
      ASSERT_EQ(kplsCopy_8u(src.data(), dst.data(), static_cast<int>(len)), kplStsOk);
      ASSERT_EQ(std::memcmp(src.data(), dst.data(), len), 0) << "len=" << len;
      ASSERT_TRUE(dst.guards_intact());
    }
  }
  // A long overlapping move, both ways.
  const size_t len = (size_t{3} << 20) + 5;
  Guarded<Kpl8u> buf(len + 1000, 3);
  fill_random_bits(buf.data(), len + 1000, 9);
  std::vector<Kpl8u> old(buf.data(), buf.data() + len);
  ASSERT_EQ(kplsMove_8u(buf.data(), buf.data() + 1000, static_cast<int>(len)), kplStsOk);
  ASSERT_EQ(std::memcmp(buf.data() + 1000, old.data(), len), 0);
  old.assign(buf.data() + 997, buf.data() + 997 + len);
  ASSERT_EQ(kplsMove_8u(buf.data() + 997, buf.data() + 1, static_cast<int>(len)), kplStsOk);
  ASSERT_EQ(std::memcmp(buf.data() + 1, old.data(), len), 0);
  ASSERT_TRUE(buf.guards_intact());
}

TEST(BlockMovesLong, SetAtEveryWidthPastTheStreamingLimit) {
  const size_t bytes = (size_t{24} << 20) + 48;
  auto check = [&](auto val, auto setter) {
    using T = decltype(val);
    const size_t len = bytes / sizeof(T);
    Guarded<T> dst(len, 1);
    ASSERT_EQ(setter(val, dst.data(), static_cast<int>(len)), kplStsOk);
    for (size_t i = 0; i < len; i += 4093) ASSERT_TRUE(same_bits(&dst[i], &val, 1)) << i;
    ASSERT_TRUE(same_bits(&dst[len - 1], &val, 1));
    ASSERT_TRUE(dst.guards_intact());
  };
  check(Kpl8u{0x5A}, kplsSet_8u);
  check(Kpl16s{-12345}, kplsSet_16s);
  check(Kpl32f{-1.5f}, kplsSet_32f);
  check(Kpl64f{3.25}, kplsSet_64f);
  check(Kpl64sc{0x0102030405060708LL, -2}, kplsSet_64sc);
  Guarded<Kpl32f> z(bytes / 4, 3);
  std::memset(z.data(), 0x7F, bytes);
  ASSERT_EQ(kplsZero_32f(z.data(), static_cast<int>(bytes / 4)), kplStsOk);
  for (size_t i = 0; i < bytes / 4; ++i) ASSERT_EQ(z[i], 0.0f) << i;
  ASSERT_TRUE(z.guards_intact());
}

TEST(BlockMovesEdges, DocumentedCases) {
  Kpl16s s16[2] = {1, 2}, d16[2] = {7, 7};
  EXPECT_EQ(kplsCopy_16s(s16, d16, 0), kplStsBadSize);
  EXPECT_EQ(d16[0], 7);
  // Overlap by one element, both directions.
  Kpl32f v[5] = {1, 2, 3, 4, 5};
  EXPECT_EQ(kplsMove_32f(v, v + 1, 4), kplStsOk);
  EXPECT_EQ(std::vector<Kpl32f>(v, v + 5), (std::vector<Kpl32f>{1, 1, 2, 3, 4}));
  EXPECT_EQ(kplsMove_32f(v + 1, v, 4), kplStsOk);
  EXPECT_EQ(std::vector<Kpl32f>(v, v + 5), (std::vector<Kpl32f>{1, 2, 3, 4, 4}));
  // Identical pointers leave the vector as it is.
  EXPECT_EQ(kplsMove_32f(v, v, 5), kplStsOk);
  EXPECT_EQ(v[4], 4.0f);
  // Set keeps the bits of a NaN with a payload and of a negative zero.
  Kpl32f nan_payload, neg_zero = -0.0f, out[3];
  const Kpl32u bits = 0xFFA00001u;
  std::memcpy(&nan_payload, &bits, 4);
  EXPECT_EQ(kplsSet_32f(nan_payload, out, 3), kplStsOk);
  EXPECT_EQ(std::memcmp(&out[2], &bits, 4), 0);
  EXPECT_EQ(kplsSet_32f(neg_zero, out, 3), kplStsOk);
  EXPECT_TRUE(std::signbit(out[1]));
}
