// Flip and SwapBytes: every type, both forms, lengths 1..70 and longer, every
// start offset, against a plain reference with the guards checked after each
// call; then the small cases that document the contract, and the argument errors.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

template <class T, auto Entry, auto EntryInPlace>
struct Form {
  using Type = T;
  static constexpr auto entry = Entry;
  static constexpr auto entry_in_place = EntryInPlace;
};

// The references, on bytes: element i of a flip is source element n - 1 - i; byte
// k of a swapped element is byte W - 1 - k of the source element.
template <class T>
std::vector<T> flipped(const T* s, size_t n) {
  std::vector<T> r(n);
  for (size_t i = 0; i < n; ++i) std::memcpy(&r[i], &s[n - 1 - i], sizeof(T));
  return r;
}

template <class T>
std::vector<T> byte_swapped(const T* s, size_t n) {
  std::vector<T> r(n);
  auto* in = reinterpret_cast<const uint8_t*>(s);
  auto* out = reinterpret_cast<uint8_t*>(r.data());
  for (size_t i = 0; i < n * sizeof(T); ++i) out[i] = in[i / sizeof(T) * sizeof(T) + sizeof(T) - 1 - i % sizeof(T)];
  return r;
}

template <class F, class Ref>
void sweep_both_forms(Ref reference) {
  using T = typename F::Type;
  sweep2([&](size_t len, size_t a, size_t b) {
    if (::testing::Test::HasFailure()) return;  // one report, not thousands
    Guarded<T> src(len, a), dst(len, b);
    fill_random_bits(src.data(), len, len * 256 + a * 16 + b);
    const auto src_before = src.snapshot();
    const std::vector<T> want = reference(src.data(), len);
    ASSERT_EQ(F::entry(src.data(), dst.data(), static_cast<int>(len)), kplStsOk);
    EXPECT_TRUE(same_bits(dst.data(), want.data(), len)) << "len=" << len << " src+" << a << " dst+" << b;
    EXPECT_TRUE(dst.guards_intact() && src.unchanged_since(src_before)) << "len=" << len << " +" << a << " +" << b;
  });
  sweep1([&](size_t len, size_t a) {
    if (::testing::Test::HasFailure()) return;
    Guarded<T> v(len, a);
    fill_random_bits(v.data(), len, len * 16 + a);
    const std::vector<T> want = reference(v.data(), len);
    ASSERT_EQ(F::entry_in_place(v.data(), static_cast<int>(len)), kplStsOk);
    EXPECT_TRUE(same_bits(v.data(), want.data(), len)) << "in place len=" << len << " +" << a;
    EXPECT_TRUE(v.guards_intact()) << "in place len=" << len << " +" << a;
  });
}

template <class F>
class Flip : public ::testing::Test {};
using FlipForms = ::testing::Types<Form<Kpl8u, kplsFlip_8u, kplsFlip_8u_I>, Form<Kpl16u, kplsFlip_16u, kplsFlip_16u_I>,
                                   Form<Kpl32f, kplsFlip_32f, kplsFlip_32f_I>, Form<Kpl32fc, kplsFlip_32fc, kplsFlip_32fc_I>,
                                   Form<Kpl64f, kplsFlip_64f, kplsFlip_64f_I>, Form<Kpl64fc, kplsFlip_64fc, kplsFlip_64fc_I>>;
TYPED_TEST_SUITE(Flip, FlipForms);

TYPED_TEST(Flip, MatchesReferenceAtEveryLengthAndOffset) {
  sweep_both_forms<TypeParam>([](const auto* s, size_t n) { return flipped(s, n); });
}

template <class F>
class SwapBytes : public ::testing::Test {};
using SwapForms =
    ::testing::Types<Form<Kpl16u, kplsSwapBytes_16u, kplsSwapBytes_16u_I>, Form<Kpl24u, kplsSwapBytes_24u, kplsSwapBytes_24u_I>,
                     Form<Kpl32u, kplsSwapBytes_32u, kplsSwapBytes_32u_I>, Form<Kpl64u, kplsSwapBytes_64u, kplsSwapBytes_64u_I>>;
TYPED_TEST_SUITE(SwapBytes, SwapForms);

TYPED_TEST(SwapBytes, MatchesReferenceAtEveryLengthAndOffset) {
  sweep_both_forms<TypeParam>([](const auto* s, size_t n) { return byte_swapped(s, n); });
}

TEST(FlipEdges, SmallVectorsAndTheMiddleElement) {
  Kpl8u one[] = {42};
  EXPECT_EQ(kplsFlip_8u_I(one, 1), kplStsOk);
  EXPECT_EQ(one[0], 42);
  Kpl8u odd[] = {1, 2, 3, 4, 5}, even[] = {1, 2, 3, 4};
  kplsFlip_8u_I(odd, 5), kplsFlip_8u_I(even, 4);
  EXPECT_EQ(std::vector<Kpl8u>(odd, odd + 5), (std::vector<Kpl8u>{5, 4, 3, 2, 1}));
  EXPECT_EQ(std::vector<Kpl8u>(even, even + 4), (std::vector<Kpl8u>{4, 3, 2, 1}));
}

TEST(SwapBytesEdges, ByteOrderOfEachElement) {
  Kpl24u three[2] = {{{1, 2, 3}}, {{4, 5, 6}}};
  EXPECT_EQ(kplsSwapBytes_24u_I(three, 2), kplStsOk);
  EXPECT_EQ(std::vector<Kpl8u>(three[0].b, three[0].b + 6), (std::vector<Kpl8u>{3, 2, 1, 6, 5, 4}));
  Kpl16u h = 0x1234;
  Kpl32u w = 0x11223344;
  Kpl64u q = 0x0102030405060708ull;
  kplsSwapBytes_16u_I(&h, 1), kplsSwapBytes_32u_I(&w, 1), kplsSwapBytes_64u_I(&q, 1);
  EXPECT_EQ(h, 0x3412);
  EXPECT_EQ(w, 0x44332211u);
  EXPECT_EQ(q, 0x0807060504030201ull);
}

TEST(FlipSwapBytes, ArgumentErrorsWriteNothing) {
#define KPL_REJECTS(f) expect_rejected(f, #f)
  KPL_REJECTS(kplsFlip_8u), KPL_REJECTS(kplsFlip_16u), KPL_REJECTS(kplsFlip_32f), KPL_REJECTS(kplsFlip_32fc);
  KPL_REJECTS(kplsFlip_64f), KPL_REJECTS(kplsFlip_64fc), KPL_REJECTS(kplsFlip_8u_I), KPL_REJECTS(kplsFlip_16u_I);
  KPL_REJECTS(kplsFlip_32f_I), KPL_REJECTS(kplsFlip_32fc_I), KPL_REJECTS(kplsFlip_64f_I), KPL_REJECTS(kplsFlip_64fc_I);
  KPL_REJECTS(kplsSwapBytes_16u), KPL_REJECTS(kplsSwapBytes_24u), KPL_REJECTS(kplsSwapBytes_32u);
  KPL_REJECTS(kplsSwapBytes_64u), KPL_REJECTS(kplsSwapBytes_16u_I), KPL_REJECTS(kplsSwapBytes_24u_I);
  KPL_REJECTS(kplsSwapBytes_32u_I), KPL_REJECTS(kplsSwapBytes_64u_I);
#undef KPL_REJECTS
}

}  // namespace

// A long out-of-place 24-bit swap stores around the cache when its destination is
// aligned; the bytes must be the same either way.
TEST(SwapBytesLong, StreamingPathGivesTheSameBytes) {
  const size_t n = (size_t{18} << 20) / 3 + 5;
  Guarded<Kpl24u> src(n, 0);
  fill_random_bits(src.data(), n, 5);
  for (size_t off : {0u, 16u, 1u}) {
    Guarded<Kpl24u> dst(n, off);
    ASSERT_EQ(kplsSwapBytes_24u(src.data(), dst.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i)
      ASSERT_TRUE(dst[i].b[0] == src[i].b[2] && dst[i].b[1] == src[i].b[1] && dst[i].b[2] == src[i].b[0]) << i;
    ASSERT_TRUE(dst.guards_intact());
  }
}
