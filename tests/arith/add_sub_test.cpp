// Add and Sub: each family over its types, lengths 1..70 and longer and every
// start offset, out of place and in place, against references written here
// (exact integers in __int128 with their own rounding; for floats the single IEEE
// operation, with the NaN that comes through spelled out); then the documented
// edges as tables, and the order of the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstddef>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

enum class Arith { kAdd, kSub };

// ---- References ----

// The quiet form of a NaN: its payload kept, the quiet bit set.
template <class T>
T quiet(T x) {
  using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  constexpr U kQuiet = sizeof(T) == 4 ? U{1} << 22 : U{1} << 51;
  return std::bit_cast<T>(static_cast<U>(std::bit_cast<U>(x) | kQuiet));
}

// pDst = pSrc1 + pSrc2 or pSrc2 - pSrc1: one IEEE operation; of two NaNs the
// operand named first in the formula comes through (pSrc1 in a sum, pSrc2 in a
// difference), quieted.
template <Arith Op, class T>
T float_reference(T a, T b) {
  const T first = Op == Arith::kAdd ? a : b, second = Op == Arith::kAdd ? b : a;
  if (std::isnan(first)) return quiet(first);
  if (std::isnan(second)) return quiet(second);
  return Op == Arith::kAdd ? a + b : b - a;
}

template <Arith Op>
__int128 exact(__int128 a, __int128 b) {
  return Op == Arith::kAdd ? a + b : b - a;
}

// ---- Data ----

// Values that make a float sum interesting: specials of both operands (NaN pairs
// included), random bits, and ordinary numbers that cancel.
template <class T>
void fill_floats(T* a, T* b, size_t n, uint64_t seed) {
  Rng r(seed);
  std::vector<T> sp;
  if constexpr (sizeof(T) == 4) sp = special_floats(); else sp = special_doubles();
  fill_random_bits(a, n, seed), fill_random_bits(b, n, seed + 1);
  for (size_t i = 0; i < n; ++i) {
    switch (r.next() % 4) {
      case 0: a[i] = sp[r.next() % sp.size()], b[i] = sp[r.next() % sp.size()]; break;
      case 1: a[i] = static_cast<T>(r.uniform(-4, 4)), b[i] = (r.next() & 1) ? a[i] : static_cast<T>(r.uniform(-4, 4)); break;
      case 2: a[i] = sp[r.next() % sp.size()]; break;
      default: break;  // random bits
    }
  }
}

// Integer operands that hit every rounding tie of scale factor s (x = k * 2^s +
// 2^(s-1)), both saturation bounds, the special values and random bits.
template <Arith Op, class T>
void fill_integers(T* a, T* b, size_t n, int s, uint64_t seed) {
  using L = std::numeric_limits<T>;
  Rng r(seed);
  const auto sp = special_integers<T>();
  fill_random_bits(a, n, seed), fill_random_bits(b, n, seed + 1);
  constexpr int kBits = 8 * sizeof(T) - (std::is_signed_v<T> ? 1 : 0);
  for (size_t i = 0; i < n; ++i) {
    const uint64_t pick = r.next() % 5;
    if (pick == 0) {
      a[i] = sp[r.next() % sp.size()], b[i] = sp[r.next() % sp.size()];
    } else if (pick == 1 && s >= 1 && s <= kBits + 1) {
      // A tie: choose x, then a, and solve for b; keep it only if b fits.
      const __int128 k = static_cast<__int128>(static_cast<int64_t>(r.next()) >> (64 - (kBits + 2 - s)));
      const __int128 x = k * (__int128{1} << s) + (__int128{1} << (s - 1));
      const __int128 av = a[i];
      const __int128 bv = Op == Arith::kAdd ? x - av : x + av;
      if (bv >= L::lowest() && bv <= L::max()) b[i] = static_cast<T>(bv);
    } else if (pick == 2) {
      a[i] = static_cast<T>(L::max() - static_cast<T>(r.next() % 3)), b[i] = static_cast<T>(L::lowest() + static_cast<T>(r.next() % 3));
      if (r.next() & 1) std::swap(a[i], b[i]);
    }
  }
}

#define AT " len=" << len << " offsets " << oa << "," << ob

// ---- Floats ----

template <class T, Arith O, auto Out, auto In>
struct FloatForm {
  using Type = T;
  static constexpr Arith kOp = O;
  static constexpr auto out = Out, in = In;
};
// The complex forms are their parts with the length doubled: swept through the
// parts' reference as well.
template <class C, Arith O, auto Out, auto In>
struct ComplexFloatForm : FloatForm<decltype(C::re), O, Out, In> {
  using Complex = C;
};

template <class F>
class FloatAddSub : public ::testing::Test {};
using FloatForms = ::testing::Types<FloatForm<Kpl32f, Arith::kAdd, kplsAdd_32f, kplsAdd_32f_I>,
                                    FloatForm<Kpl32f, Arith::kSub, kplsSub_32f, kplsSub_32f_I>,
                                    FloatForm<Kpl64f, Arith::kAdd, kplsAdd_64f, kplsAdd_64f_I>,
                                    FloatForm<Kpl64f, Arith::kSub, kplsSub_64f, kplsSub_64f_I>,
                                    ComplexFloatForm<Kpl32fc, Arith::kAdd, kplsAdd_32fc, kplsAdd_32fc_I>,
                                    ComplexFloatForm<Kpl32fc, Arith::kSub, kplsSub_32fc, kplsSub_32fc_I>,
                                    ComplexFloatForm<Kpl64fc, Arith::kAdd, kplsAdd_64fc, kplsAdd_64fc_I>,
                                    ComplexFloatForm<Kpl64fc, Arith::kSub, kplsSub_64fc, kplsSub_64fc_I>>;
TYPED_TEST_SUITE(FloatAddSub, FloatForms);

template <class F>
struct ElementOf {
  using type = typename F::Type;
  static constexpr size_t kParts = 1;
};
template <class F>
  requires requires { typename F::Complex; }
struct ElementOf<F> {
  using type = typename F::Complex;
  static constexpr size_t kParts = 2;
};

TYPED_TEST(FloatAddSub, MatchesSingleIeeeOperation) {
  using T = typename TypeParam::Type;
  using E = typename ElementOf<TypeParam>::type;
  constexpr size_t kParts = ElementOf<TypeParam>::kParts;
  sweep2([](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure()) return;
    Guarded<E> a(len, oa), b(len, ob), d(len, (oa + 3 * ob + 1) % 16);
    const size_t parts = len * kParts;
    T* pa = reinterpret_cast<T*>(a.data());
    T* pb = reinterpret_cast<T*>(b.data());
    fill_floats(pa, pb, parts, len * 256 + oa * 16 + ob);
    std::vector<T> want(parts);
    for (size_t i = 0; i < parts; ++i) want[i] = float_reference<TypeParam::kOp>(pa[i], pb[i]);
    const auto a0 = a.snapshot(), b0 = b.snapshot();
    ASSERT_EQ(TypeParam::out(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk);
    EXPECT_TRUE(same_bits(reinterpret_cast<T*>(d.data()), want.data(), parts)) << AT;
    EXPECT_TRUE(d.guards_intact() && a.unchanged_since(a0) && b.unchanged_since(b0)) << AT;
    ASSERT_EQ(TypeParam::in(a.data(), b.data(), static_cast<int>(len)), kplStsOk);  // b = b op a
    EXPECT_TRUE(same_bits(pb, want.data(), parts)) << "in place" AT;
    EXPECT_TRUE(b.guards_intact() && a.unchanged_since(a0)) << "in place" AT;
  });
}

TYPED_TEST(FloatAddSub, ArgumentErrorsWriteNothing) {
  using E = typename ElementOf<TypeParam>::type;
  constexpr auto order = ElementOf<TypeParam>::kParts == 2 ? LenCheck::kFirst : LenCheck::kAfterPointers;
  Guarded<E> a(4), b(4), d(4);
  fill_random_bits(a.data(), 4, 1), fill_random_bits(b.data(), 4, 2), fill_random_bits(d.data(), 4, 3);
  const auto a0 = a.snapshot(), b0 = b.snapshot(), d0 = d.snapshot();
  expect_checks<3, order>(TypeParam::out, std::make_tuple(static_cast<const E*>(a.data()), static_cast<const E*>(b.data()), d.data(), 4), "out of place");
  expect_checks<2, order>(TypeParam::in, std::make_tuple(static_cast<const E*>(a.data()), b.data(), 4), "in place");
  EXPECT_TRUE(a.unchanged_since(a0) && b.unchanged_since(b0) && d.unchanged_since(d0));
}

TEST(FloatAddSubEdges, DocumentedValues) {
  const Kpl32f one = 1, three = 3;
  Kpl32f out = 0, in_place = 3;
  EXPECT_EQ(kplsSub_32f(&one, &three, &out, 1), kplStsOk);
  EXPECT_EQ(kplsSub_32f_I(&one, &in_place, 1), kplStsOk);
  EXPECT_EQ(out, 2.0f);
  EXPECT_EQ(in_place, 2.0f);

  const float inf = std::numeric_limits<float>::infinity();
  const struct { Kpl32f a, b; uint32_t add, sub; } cases[] = {
      {-0.0f, -0.0f, 0x80000000u, 0x00000000u},  // -0 + -0 = -0; -0 - -0 = +0
      {0.0f, -0.0f, 0x00000000u, 0x80000000u},
      {1.0f, 1.0f, 0x40000000u, 0x00000000u},
      {inf, -inf, 0xFFC00000u, 0xFF800000u},  // inf + -inf is the processor's default NaN
      {std::bit_cast<float>(0x7F800001u), std::bit_cast<float>(0xFFC00002u), 0x7FC00001u, 0xFFC00002u},
      {std::bit_cast<float>(0x7FC00003u), 1.0f, 0x7FC00003u, 0x7FC00003u},
  };
  for (const auto& c : cases) {
    Kpl32f s = 0, dd = 0;
    EXPECT_EQ(kplsAdd_32f(&c.a, &c.b, &s, 1), kplStsOk);
    EXPECT_EQ(kplsSub_32f(&c.a, &c.b, &dd, 1), kplStsOk);
    EXPECT_EQ(std::bit_cast<uint32_t>(s), c.add) << c.a << " + " << c.b;
    EXPECT_EQ(std::bit_cast<uint32_t>(dd), c.sub) << c.b << " - " << c.a;
  }
}

// The complex forms test their length first and hand 2 * len to the real form,
// doubled in 32 bits as it is: from 2^30 on it turns negative there.
TEST(FloatAddSubEdges, ComplexLengthIsTestedFirstAndDoubledAsIs) {
  Kpl32fc a[2] = {}, b[2] = {}, d[2] = {{7, 7}, {7, 7}};
  EXPECT_EQ(kplsAdd_32fc(nullptr, nullptr, nullptr, 0), kplStsBadSize);
  EXPECT_EQ(kplsSub_64fc_I(nullptr, nullptr, -5), kplStsBadSize);
  EXPECT_EQ(kplsAdd_16sc_Sfs(nullptr, nullptr, nullptr, 0, 0), kplStsBadSize);
  EXPECT_EQ(kplsSub_32sc_ISfs(nullptr, nullptr, 0, 3), kplStsBadSize);
  EXPECT_EQ(kplsAdd_32fc(a, b, d, 1 << 30), kplStsBadSize);
  EXPECT_EQ(kplsAdd_32fc(a, nullptr, d, 1 << 30), kplStsNullPointer);
  EXPECT_EQ(kplsSub_32fc(a, b, d, INT_MAX), kplStsBadSize);
  EXPECT_EQ(kplsAdd_16sc_Sfs(reinterpret_cast<Kpl16sc*>(a), reinterpret_cast<Kpl16sc*>(b), reinterpret_cast<Kpl16sc*>(d), (1 << 30) + 1, 0), kplStsBadSize);
  EXPECT_EQ(d[0].re, 7.0f);
  EXPECT_EQ(d[1].im, 7.0f);
}

// ---- 16s sources, 32f results ----

TEST(AddSub16s32f, ExactIntegerResultConverted) {
  for (Arith op : {Arith::kAdd, Arith::kSub}) {
    auto f = op == Arith::kAdd ? kplsAdd_16s32f : kplsSub_16s32f;
    sweep2([&](size_t len, size_t oa, size_t ob) {
      if (::testing::Test::HasFailure()) return;
      Guarded<Kpl16s> a(len, oa), b(len, ob);
      Guarded<Kpl32f> d(len, (oa + ob) % 16);
      fill_integers<Arith::kAdd>(a.data(), b.data(), len, 0, len * 256 + oa * 16 + ob);
      ASSERT_EQ(f(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk);
      for (size_t i = 0; i < len; ++i) {
        const int x = op == Arith::kAdd ? a[i] + b[i] : b[i] - a[i];
        ASSERT_EQ(d[i], static_cast<float>(x)) << a[i] << "," << b[i] << " i=" << i << AT;
      }
      EXPECT_TRUE(d.guards_intact()) << AT;
    });
    Guarded<Kpl16s> a(4), b(4);
    Guarded<Kpl32f> d(4);
    const auto d0 = d.snapshot();
    expect_checks<3>(f, std::make_tuple(static_cast<const Kpl16s*>(a.data()), static_cast<const Kpl16s*>(b.data()), d.data(), 4), "16s32f");
    EXPECT_TRUE(d.unchanged_since(d0));
  }
  const Kpl16s lo = -32768, hi = 32767;
  Kpl32f out = 0;
  EXPECT_EQ(kplsAdd_16s32f(&lo, &lo, &out, 1), kplStsOk);
  EXPECT_EQ(out, -65536.0f);
  EXPECT_EQ(kplsSub_16s32f(&lo, &hi, &out, 1), kplStsOk);
  EXPECT_EQ(out, 65535.0f);
}

// ---- Scaled integers ----

template <class T, Arith O, auto Out, auto In>
struct ScaledForm {
  using Type = T;
  static constexpr Arith kOp = O;
  static constexpr auto out = Out, in = In;
  static constexpr bool kInPlace = !std::is_same_v<decltype(In), std::nullptr_t>;
};
using ScaledForms = ::testing::Types<
    ScaledForm<Kpl8u, Arith::kAdd, kplsAdd_8u_Sfs, kplsAdd_8u_ISfs>, ScaledForm<Kpl8u, Arith::kSub, kplsSub_8u_Sfs, kplsSub_8u_ISfs>,
    ScaledForm<Kpl16s, Arith::kAdd, kplsAdd_16s_Sfs, kplsAdd_16s_ISfs>, ScaledForm<Kpl16s, Arith::kSub, kplsSub_16s_Sfs, kplsSub_16s_ISfs>,
    ScaledForm<Kpl16u, Arith::kAdd, kplsAdd_16u_Sfs, kplsAdd_16u_ISfs>, ScaledForm<Kpl16u, Arith::kSub, kplsSub_16u_Sfs, kplsSub_16u_ISfs>,
    ScaledForm<Kpl32s, Arith::kAdd, kplsAdd_32s_Sfs, kplsAdd_32s_ISfs>, ScaledForm<Kpl32s, Arith::kSub, kplsSub_32s_Sfs, kplsSub_32s_ISfs>,
    ScaledForm<Kpl64s, Arith::kAdd, kplsAdd_64s_Sfs, nullptr>,
    ScaledForm<Kpl16sc, Arith::kAdd, kplsAdd_16sc_Sfs, kplsAdd_16sc_ISfs>, ScaledForm<Kpl16sc, Arith::kSub, kplsSub_16sc_Sfs, kplsSub_16sc_ISfs>,
    ScaledForm<Kpl32sc, Arith::kAdd, kplsAdd_32sc_Sfs, kplsAdd_32sc_ISfs>, ScaledForm<Kpl32sc, Arith::kSub, kplsSub_32sc_Sfs, kplsSub_32sc_ISfs>>;

template <class F>
class ScaledAddSub : public ::testing::Test {};
TYPED_TEST_SUITE(ScaledAddSub, ScaledForms);

template <class E>
struct PartOf {
  using type = E;
  static constexpr size_t kParts = 1;
};
template <class E>
  requires requires { E::re; }
struct PartOf<E> {
  using type = decltype(E::re);
  static constexpr size_t kParts = 2;
};

// One call out of place and one in place at (len, offsets, s), checked against
// the reference element by element.
template <class F>
void check_scaled(size_t len, size_t oa, size_t ob, int s) {
  using E = typename F::Type;
  using T = typename PartOf<E>::type;
  const size_t parts = len * PartOf<E>::kParts;
  Guarded<E> a(len, oa), b(len, ob), d(len, (oa + 5 * ob + 3) % 16);
  T* pa = reinterpret_cast<T*>(a.data());
  T* pb = reinterpret_cast<T*>(b.data());
  fill_integers<F::kOp>(pa, pb, parts, s, len * 4096 + oa * 256 + ob * 16 + static_cast<unsigned>(s));
  std::vector<T> want(parts);
  for (size_t i = 0; i < parts; ++i)
    want[i] = scaled<T>(exact<F::kOp>(pa[i], pb[i]), s);
  const auto a0 = a.snapshot(), b0 = b.snapshot();
  ASSERT_EQ(F::out(a.data(), b.data(), d.data(), static_cast<int>(len), s), kplStsOk);
  const T* got = reinterpret_cast<const T*>(d.data());
  for (size_t i = 0; i < parts; ++i)
    ASSERT_EQ(got[i], want[i]) << +pa[i] << (F::kOp == Arith::kAdd ? " + " : " from ") << +pb[i] << " s=" << s << " i=" << i << AT;
  ASSERT_TRUE(d.guards_intact() && a.unchanged_since(a0) && b.unchanged_since(b0)) << "s=" << s << AT;
  if constexpr (F::kInPlace) {
    ASSERT_EQ(F::in(a.data(), b.data(), static_cast<int>(len), s), kplStsOk);
    for (size_t i = 0; i < parts; ++i) ASSERT_EQ(pb[i], want[i]) << "in place s=" << s << " i=" << i << AT;
    ASSERT_TRUE(b.guards_intact() && a.unchanged_since(a0)) << "in place s=" << s << AT;
  }
}

TYPED_TEST(ScaledAddSub, MatchesExactReferenceEveryLengthAndOffset) {
  for (int s : {0, 1, 3}) {
    sweep2([&](size_t len, size_t oa, size_t ob) {
      if (!::testing::Test::HasFailure()) check_scaled<TypeParam>(len, oa, ob, s);
    });
  }
}

TYPED_TEST(ScaledAddSub, MatchesExactReferenceEveryScaleFactor) {
  std::vector<int> scales = {INT_MIN, INT_MIN + 1, -1000, -70, -65, -64, -63, 63, 64, 65, 70, 1000, INT_MAX - 1, INT_MAX};
  for (int s = -40; s <= 40; ++s) scales.push_back(s);
  for (int s : scales)
    for (size_t len : {1u, 7u, 16u, 17u, 31u, 32u, 33u, 47u, 64u, 70u, 129u, 1000u})
      for (auto [oa, ob] : {std::pair<size_t, size_t>{0, 0}, {1, 3}, {15, 7}, {6, 6}})
        if (!::testing::Test::HasFailure()) check_scaled<TypeParam>(len, oa, ob, s);
}

TYPED_TEST(ScaledAddSub, ArgumentErrorsWriteNothing) {
  using E = typename TypeParam::Type;
  constexpr auto order = PartOf<E>::kParts == 2 ? LenCheck::kFirst : LenCheck::kAfterPointers;
  Guarded<E> a(4), b(4), d(4);
  fill_random_bits(a.data(), 4, 1), fill_random_bits(b.data(), 4, 2), fill_random_bits(d.data(), 4, 3);
  const auto a0 = a.snapshot(), b0 = b.snapshot(), d0 = d.snapshot();
  // At a scale factor that computes, one that zero-fills (after the checks, but
  // in 16u before the pointers: see below) and one that saturates.
  for (int s : {0, 5, -20, std::is_same_v<E, Kpl16u> ? 0 : 40}) {
    expect_checks<3, order>(TypeParam::out, std::make_tuple(static_cast<const E*>(a.data()), static_cast<const E*>(b.data()), d.data(), 4, s), "out of place");
    if constexpr (TypeParam::kInPlace)
      expect_checks<2, order>(TypeParam::in, std::make_tuple(static_cast<const E*>(a.data()), b.data(), 4, s), "in place");
  }
  EXPECT_TRUE(a.unchanged_since(a0) && b.unchanged_since(b0) && d.unchanged_since(d0));
}

// Every exact 16s sum and difference, each made from two different pairs of
// operands, at every scale factor that computes: the kernels never widen, so
// this covers every value they can meet.
TEST(ScaledAddSubExhaustive, Every16sResultAtEveryScale) {
  for (Arith op : {Arith::kAdd, Arith::kSub}) {
    const int lo = op == Arith::kAdd ? -65536 : -65535, hi = op == Arith::kAdd ? 65534 : 65535;
    const size_t n = static_cast<size_t>(hi - lo + 1);
    for (int split = 0; split < 2; ++split) {
      std::vector<Kpl16s> a(n), b(n), d(n);
      for (size_t i = 0; i < n; ++i) {
        const int x = lo + static_cast<int>(i);
        // Split near the middle, or with one operand at a bound.
        int av, bv;
        if (op == Arith::kAdd) {
          av = split == 0 ? x >> 1 : (x >= 0 ? 32767 : -32768);
          bv = x - av;
        } else {
          bv = split == 0 ? x >> 1 : (x >= 0 ? 32767 : -32768);
          av = bv - x;
        }
        a[i] = static_cast<Kpl16s>(av), b[i] = static_cast<Kpl16s>(bv);
        ASSERT_EQ(op == Arith::kAdd ? a[i] + b[i] : b[i] - a[i], x);
      }
      auto f = op == Arith::kAdd ? kplsAdd_16s_Sfs : kplsSub_16s_Sfs;
      for (int s = -17; s <= 18; ++s) {
        ASSERT_EQ(f(a.data(), b.data(), d.data(), static_cast<int>(n), s), kplStsOk);
        for (size_t i = 0; i < n; ++i)
          ASSERT_EQ(d[i], scaled<Kpl16s>(lo + static_cast<int>(i), s)) << "x=" << lo + static_cast<int>(i) << " s=" << s << " split " << split;
      }
    }
  }
}

template <class T, class F>
T one(F f, T a, T b, int s) {
  T d{};
  EXPECT_EQ(f(&a, &b, &d, 1, s), kplStsOk);
  return d;
}

TEST(ScaledAddSubEdges, DocumentedValues) {
  const struct { Kpl16s a, b; int s; Kpl16s want; } add16s[] = {
      {32767, 32767, 1, 32767},   // 65534 / 2 exactly
      {32767, 32766, 1, 32766},   // 32766.5 rounds to even
      {32767, 32767, 17, 0},      // a zero fill
      {32767, 32767, 16, 1},
      {16384, 16384, 16, 0},      // 0.5 rounds to even
      {-32768, -32768, 16, -1},
      {-32768, -32768, 17, 0},    // -0.5 rounds to even
      {0, -1, -15, -32768},
      {0, 1, -15, 32767},
      {0, 0, -16, 0},
      {0, -1, -16, -32768},
      {32767, 1, 0, 32767},
      {-32768, -1, 0, -32768},
  };
  for (auto c : add16s) EXPECT_EQ(one<Kpl16s>(kplsAdd_16s_Sfs, c.a, c.b, c.s), c.want) << c.a << "+" << c.b << " s=" << c.s;

  const struct { Kpl16s a, b; int s; Kpl16s want; } sub16s[] = {
      {-32768, 32767, 1, 32767},  // 32767.5 rounds to 32768 and saturates
      {32767, -32768, 1, -32768},
      {1, 3, 0, 2},
      {3, 1, 2, 0},               // -0.5 rounds to even
      {-32768, 0, 0, 32767},
  };
  for (auto c : sub16s) EXPECT_EQ(one<Kpl16s>(kplsSub_16s_Sfs, c.a, c.b, c.s), c.want) << c.b << "-" << c.a << " s=" << c.s;

  EXPECT_EQ(one<Kpl8u>(kplsAdd_8u_Sfs, 255, 255, 9), 1);
  EXPECT_EQ(one<Kpl8u>(kplsAdd_8u_Sfs, 255, 255, 10), 0);
  EXPECT_EQ(one<Kpl8u>(kplsAdd_8u_Sfs, 1, 0, -7), 128);
  EXPECT_EQ(one<Kpl8u>(kplsAdd_8u_Sfs, 1, 0, -8), 255);
  EXPECT_EQ(one<Kpl8u>(kplsSub_8u_Sfs, 5, 2, -3), 0);  // 2 - 5 clamps to 0 before scaling
  EXPECT_EQ(one<Kpl8u>(kplsSub_8u_Sfs, 2, 5, -20), 255);
  EXPECT_EQ(one<Kpl8u>(kplsSub_8u_Sfs, 0, 255, 8), 1);
  EXPECT_EQ(one<Kpl8u>(kplsSub_8u_Sfs, 0, 255, 9), 0);

  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 65535, 65535, 17), 1);
  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 65535, 1, 17), 0);  // 0.5 rounds to even
  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 65535, 2, 17), 1);
  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 65535, 65535, 18), 0);
  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 1, 0, -15), 32768);
  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 1, 0, -16), 65535);
  EXPECT_EQ(one<Kpl16u>(kplsAdd_16u_Sfs, 0, 0, INT_MIN), 0);
  EXPECT_EQ(one<Kpl16u>(kplsSub_16u_Sfs, 0, 1, INT_MIN), 65535);
  EXPECT_EQ(one<Kpl16u>(kplsSub_16u_Sfs, 2, 1, INT_MIN), 0);
  EXPECT_EQ(one<Kpl16u>(kplsSub_16u_Sfs, 0, 65535, 16), 1);
  EXPECT_EQ(one<Kpl16u>(kplsSub_16u_Sfs, 0, 65535, 17), 0);

  EXPECT_EQ(one<Kpl32s>(kplsAdd_32s_Sfs, INT_MIN, INT_MIN, 32), -1);
  EXPECT_EQ(one<Kpl32s>(kplsAdd_32s_Sfs, INT_MIN, INT_MIN, 33), 0);
  EXPECT_EQ(one<Kpl32s>(kplsAdd_32s_Sfs, INT_MAX, INT_MAX, 32), 1);
  EXPECT_EQ(one<Kpl32s>(kplsSub_32s_Sfs, INT_MIN, INT_MAX, 1), INT_MAX);
  EXPECT_EQ(one<Kpl32s>(kplsSub_32s_Sfs, INT_MAX, INT_MIN, 1), INT_MIN);
  EXPECT_EQ(one<Kpl32s>(kplsAdd_32s_Sfs, -1, 0, -31), INT_MIN);
  EXPECT_EQ(one<Kpl32s>(kplsAdd_32s_Sfs, 1, 0, -30), 1 << 30);

  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MIN, INT64_MIN, 63), -2);
  // 65-bit sums still round to +-1 at s = 64; the zero fill starts above it.
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MIN, INT64_MIN, 64), -1);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MAX, INT64_MAX, 64), 1);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MIN, INT64_MIN, 65), 0);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MAX, INT64_MAX, 0), INT64_MAX);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MAX, INT64_MAX, 1), INT64_MAX);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, INT64_MAX, 1, 1), int64_t{1} << 62);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, 1, 0, -62), int64_t{1} << 62);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, -1, 0, -63), INT64_MIN);
  EXPECT_EQ(one<Kpl64s>(kplsAdd_64s_Sfs, 1, 0, -63), INT64_MAX);
}

// The 16u forms test their zero fill before their pointers: only the
// destination is then tested, by the fill. Below the fill the order is the usual one.
TEST(ScaledAddSubEdges, Unsigned16ZeroFillBeforePointers) {
  Guarded<Kpl16u> a(4), b(4), d(4);
  fill_random_bits(d.data(), 4, 9);
  EXPECT_EQ(kplsAdd_16u_Sfs(nullptr, nullptr, d.data(), 4, 18), kplStsOk);
  EXPECT_EQ(d.values(), std::vector<Kpl16u>(4, 0));
  fill_random_bits(d.data(), 4, 9);
  EXPECT_EQ(kplsSub_16u_ISfs(nullptr, d.data(), 4, 17), kplStsOk);
  EXPECT_EQ(d.values(), std::vector<Kpl16u>(4, 0));
  fill_random_bits(d.data(), 4, 9);
  const auto d0 = d.snapshot();
  EXPECT_EQ(kplsAdd_16u_Sfs(a.data(), b.data(), nullptr, 4, 18), kplStsNullPointer);
  EXPECT_EQ(kplsAdd_16u_Sfs(nullptr, b.data(), d.data(), 0, 18), kplStsBadSize);
  EXPECT_EQ(kplsAdd_16u_ISfs(nullptr, d.data(), -1, INT_MAX), kplStsBadSize);
  EXPECT_EQ(kplsAdd_16u_Sfs(nullptr, b.data(), d.data(), 4, 17), kplStsNullPointer);
  EXPECT_EQ(kplsSub_16u_Sfs(nullptr, b.data(), d.data(), 4, 16), kplStsNullPointer);
  EXPECT_EQ(kplsSub_16u_Sfs(nullptr, b.data(), d.data(), 0, 16), kplStsNullPointer);
  EXPECT_TRUE(d.unchanged_since(d0));
}

// ---- Unscaled integer forms ----

template <class A, class B, class D>
void sweep_plain(KplStatus (*f)(const A*, const B*, D*, int), long long (*ref)(long long, long long), const char* name) {
  sweep2([&](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure()) return;
    Guarded<A> a(len, oa);
    Guarded<B> b(len, ob);
    Guarded<D> d(len, (oa + 7 * ob) % 16);
    fill_integers<Arith::kAdd>(a.data(), b.data(), len, 0, len * 256 + oa * 16 + ob);
    ASSERT_EQ(f(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk) << name;
    for (size_t i = 0; i < len; ++i) ASSERT_EQ(static_cast<long long>(d[i]), ref(a[i], b[i])) << name << " " << +a[i] << "," << +b[i] << AT;
    ASSERT_TRUE(d.guards_intact()) << name << AT;
  });
}

long long sat16s(long long x) { return x < -32768 ? -32768 : (x > 32767 ? 32767 : x); }

TEST(UnscaledAddSub, SaturateOrStayExact) {
  sweep_plain<Kpl16s, Kpl16s, Kpl16s>(kplsAdd_16s, [](long long a, long long b) { return sat16s(a + b); }, "Add_16s");
  sweep_plain<Kpl16s, Kpl16s, Kpl16s>(kplsSub_16s, [](long long a, long long b) { return sat16s(b - a); }, "Sub_16s");
  sweep_plain<Kpl16u, Kpl16u, Kpl16u>(kplsAdd_16u, [](long long a, long long b) { return std::min(a + b, 65535ll); }, "Add_16u");
  sweep_plain<Kpl8u, Kpl8u, Kpl16u>(kplsAdd_8u16u, [](long long a, long long b) { return a + b; }, "Add_8u16u");
  sweep_plain<Kpl32u, Kpl32u, Kpl32u>(kplsAdd_32u, [](long long a, long long b) { return std::min(a + b, 0xFFFFFFFFll); }, "Add_32u");

  // In place: 16s into 16s, and 16s into 32s.
  sweep2([](size_t len, size_t oa, size_t ob) {
    if (::testing::Test::HasFailure() || ob % 4 != 0) return;
    Guarded<Kpl16s> a(len, oa), b(len, ob), c(len, ob);
    Guarded<Kpl32s> w(len, ob);
    fill_integers<Arith::kAdd>(a.data(), b.data(), len, 0, len * 16 + oa);
    fill_integers<Arith::kAdd>(w.data(), w.data(), len, 0, len * 16 + oa + 1);
    c.assign(b.data());
    const auto b0 = b.values();
    const auto w0 = w.values();
    ASSERT_EQ(kplsAdd_16s_I(a.data(), b.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_EQ(kplsSub_16s_I(a.data(), c.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_EQ(kplsAdd_16s32s_I(a.data(), w.data(), static_cast<int>(len)), kplStsOk);
    for (size_t i = 0; i < len; ++i) {
      ASSERT_EQ(b[i], sat16s(a[i] + b0[i])) << i << AT;
      ASSERT_EQ(c[i], sat16s(b0[i] - a[i])) << i << AT;
      const long long x = static_cast<long long>(w0[i]) + a[i];
      ASSERT_EQ(w[i], x < INT_MIN ? INT_MIN : (x > INT_MAX ? INT_MAX : x)) << i << AT;
    }
    ASSERT_TRUE(b.guards_intact() && c.guards_intact() && w.guards_intact()) << AT;
  });

  const Kpl32u big = 0xFFFFFFFFu, small = 1;
  Kpl32u u = 0;
  EXPECT_EQ(kplsAdd_32u(&big, &small, &u, 1), kplStsOk);
  EXPECT_EQ(u, 0xFFFFFFFFu);
  const Kpl8u m = 255;
  Kpl16u wide = 0;
  EXPECT_EQ(kplsAdd_8u16u(&m, &m, &wide, 1), kplStsOk);
  EXPECT_EQ(wide, 510);
  const Kpl16s one16 = 1, min16 = -32768;
  Kpl32s acc[2] = {INT_MAX, INT_MIN};
  const Kpl16s add[2] = {one16, min16};
  EXPECT_EQ(kplsAdd_16s32s_I(add, acc, 2), kplStsOk);
  EXPECT_EQ(acc[0], INT_MAX);
  EXPECT_EQ(acc[1], INT_MIN);
}

TEST(UnscaledAddSub, ArgumentErrorsWriteNothing) {
  Guarded<Kpl16s> a(4), b(4);
  Guarded<Kpl32s> w(4);
  Guarded<Kpl16u> u(4), v(4);
  Guarded<Kpl8u> c(4);
  Guarded<Kpl32u> x(4);
  fill_random_bits(b.data(), 4, 1), fill_random_bits(w.data(), 4, 2), fill_random_bits(v.data(), 4, 3);
  const auto b0 = b.snapshot(), w0 = w.snapshot(), v0 = v.snapshot(), x0 = x.snapshot();
  const Kpl16s* ca = a.data();
  expect_checks<3>(kplsAdd_16s, std::make_tuple(ca, ca, b.data(), 4), "Add_16s");
  expect_checks<3>(kplsSub_16s, std::make_tuple(ca, ca, b.data(), 4), "Sub_16s");
  expect_checks<2>(kplsAdd_16s_I, std::make_tuple(ca, b.data(), 4), "Add_16s_I");
  expect_checks<2>(kplsSub_16s_I, std::make_tuple(ca, b.data(), 4), "Sub_16s_I");
  expect_checks<2>(kplsAdd_16s32s_I, std::make_tuple(ca, w.data(), 4), "Add_16s32s_I");
  expect_checks<3>(kplsAdd_16u, std::make_tuple(static_cast<const Kpl16u*>(u.data()), static_cast<const Kpl16u*>(u.data()), v.data(), 4), "Add_16u");
  expect_checks<3>(kplsAdd_8u16u, std::make_tuple(static_cast<const Kpl8u*>(c.data()), static_cast<const Kpl8u*>(c.data()), v.data(), 4), "Add_8u16u");
  expect_checks<3>(kplsAdd_32u, std::make_tuple(static_cast<const Kpl32u*>(x.data()), static_cast<const Kpl32u*>(x.data()), x.data(), 4), "Add_32u");
  EXPECT_TRUE(b.unchanged_since(b0) && w.unchanged_since(w0) && v.unchanged_since(v0) && x.unchanged_since(x0));
}

// ---- Odd addresses and long vectors ----

// A destination no whole element can align gets no peel: every store is
// unaligned and the values are the same.
TEST(AddSubAlignment, OddAddressesGiveTheSameValues) {
  for (size_t len : {7u, 40u}) {
    std::vector<uint8_t> buf(3 * len * 8 + 64);
    uint8_t *a = buf.data() + 1, *b = a + len * 8 + 2, *d = b + len * 8 + 3;
    fill_random_bits(a, len * 8, 5), fill_random_bits(b, len * 8, 6);
    ASSERT_EQ(kplsAdd_32f(reinterpret_cast<Kpl32f*>(a), reinterpret_cast<Kpl32f*>(b), reinterpret_cast<Kpl32f*>(d), static_cast<int>(len)), kplStsOk);
    for (size_t i = 0; i < len; ++i) {
      float x, y, z;
      std::memcpy(&x, a + 4 * i, 4), std::memcpy(&y, b + 4 * i, 4), std::memcpy(&z, d + 4 * i, 4);
      const float want = float_reference<Arith::kAdd>(x, y);
      ASSERT_TRUE(same_bits(&z, &want, 1)) << i;
    }
    ASSERT_EQ(kplsSub_16s_Sfs(reinterpret_cast<Kpl16s*>(a), reinterpret_cast<Kpl16s*>(b), reinterpret_cast<Kpl16s*>(d), static_cast<int>(len), 2), kplStsOk);
    for (size_t i = 0; i < len; ++i) {
      Kpl16s x, y, z;
      std::memcpy(&x, a + 2 * i, 2), std::memcpy(&y, b + 2 * i, 2), std::memcpy(&z, d + 2 * i, 2);
      ASSERT_EQ(z, scaled<Kpl16s>(y - x, 2)) << i;
    }
  }
}

// Long out-of-place calls store around the cache; the values must not depend on
// it, at an aligned or a misaligned destination, nor in place.
TEST(AddSubLong, StreamingPathsGiveTheSameValues) {
  const size_t n = (size_t{24} << 20) / sizeof(Kpl32f) + 3;
  Guarded<Kpl32f> a(n, 1), b(n, 0);
  fill_floats(a.data(), b.data(), n, 42);
  for (size_t off : {0u, 1u}) {
    Guarded<Kpl32f> d(n, off);
    ASSERT_EQ(kplsAdd_32f(a.data(), b.data(), d.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) {
      const float want = float_reference<Arith::kAdd>(a[i], b[i]);
      ASSERT_TRUE(same_bits(&d[i], &want, 1)) << i;
    }
    ASSERT_TRUE(d.guards_intact());
  }
  const size_t m = (size_t{24} << 20) / sizeof(Kpl16s) + 5;
  Guarded<Kpl16s> x(m, 3), y(m, 0), z(m, 0);
  fill_integers<Arith::kSub>(x.data(), y.data(), m, 3, 7);
  ASSERT_EQ(kplsSub_16s_Sfs(x.data(), y.data(), z.data(), static_cast<int>(m), 3), kplStsOk);
  ASSERT_EQ(kplsSub_16s_ISfs(x.data(), y.data(), static_cast<int>(m), 3), kplStsOk);
  for (size_t i = 0; i < m; ++i) ASSERT_EQ(z[i], y[i]) << i;
  ASSERT_TRUE(z.guards_intact() && y.guards_intact());
  Guarded<Kpl32f> f(m, 0);
  ASSERT_EQ(kplsSub_16s32f(x.data(), z.data(), f.data(), static_cast<int>(m)), kplStsOk);
  for (size_t i = 0; i < m; ++i) ASSERT_EQ(f[i], static_cast<float>(z[i] - x[i])) << i;
  ASSERT_TRUE(f.guards_intact());
}

#undef AT

}  // namespace
