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
#include "arith/arith_cases.hpp"

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

template <class E, Arith Op, class Out, class In>
void float_family(const char* name, Out out, In in) {
  using T = typename PartOf<E>::type;
  sweep_binary<E, E, E>(
      name, out, in,
      [](E* a, E* b, size_t len, uint64_t seed) { fill_floats(reinterpret_cast<T*>(a), reinterpret_cast<T*>(b), len * PartOf<E>::kParts, seed); },
      partwise<E>([](T x, T y) { return float_reference<Op>(x, y); }));
}

// The complex forms are their parts with the length doubled: swept through the
// parts' reference as well.
TEST(FloatAddSub, MatchesSingleIeeeOperation) {
  float_family<Kpl32f, Arith::kAdd>("Add_32f", kplsAdd_32f, kplsAdd_32f_I);
  float_family<Kpl32f, Arith::kSub>("Sub_32f", kplsSub_32f, kplsSub_32f_I);
  float_family<Kpl64f, Arith::kAdd>("Add_64f", kplsAdd_64f, kplsAdd_64f_I);
  float_family<Kpl64f, Arith::kSub>("Sub_64f", kplsSub_64f, kplsSub_64f_I);
  float_family<Kpl32fc, Arith::kAdd>("Add_32fc", kplsAdd_32fc, kplsAdd_32fc_I);
  float_family<Kpl32fc, Arith::kSub>("Sub_32fc", kplsSub_32fc, kplsSub_32fc_I);
  float_family<Kpl64fc, Arith::kAdd>("Add_64fc", kplsAdd_64fc, kplsAdd_64fc_I);
  float_family<Kpl64fc, Arith::kSub>("Sub_64fc", kplsSub_64fc, kplsSub_64fc_I);
}

constexpr auto kComplexFirst = LenCheck::kFirst;  // the complex forms test their length first

TEST(FloatAddSub, ArgumentErrorsWriteNothing) {
  expect_entry_checks("Add_32f", kplsAdd_32f, kplsAdd_32f_I);
  expect_entry_checks("Sub_32f", kplsSub_32f, kplsSub_32f_I);
  expect_entry_checks("Add_64f", kplsAdd_64f, kplsAdd_64f_I);
  expect_entry_checks("Sub_64f", kplsSub_64f, kplsSub_64f_I);
  expect_entry_checks<kComplexFirst>("Add_32fc", kplsAdd_32fc, kplsAdd_32fc_I);
  expect_entry_checks<kComplexFirst>("Sub_32fc", kplsSub_32fc, kplsSub_32fc_I);
  expect_entry_checks<kComplexFirst>("Add_64fc", kplsAdd_64fc, kplsAdd_64fc_I);
  expect_entry_checks<kComplexFirst>("Sub_64fc", kplsSub_64fc, kplsSub_64fc_I);
}

// NaN payloads, signed zeros and the default NaN, for both entries at once.
TEST(FloatAddSubEdges, DocumentedValues) {
  const float inf = std::numeric_limits<float>::infinity();
  const struct { Kpl32f a, b; uint32_t add, sub; } cases[] = {
      {-0.0f, -0.0f, 0x80000000u, 0x00000000u},  // -0 + -0 = -0; -0 - -0 = +0
      {0.0f, -0.0f, 0x00000000u, 0x80000000u},
      {1.0f, 3.0f, 0x40800000u, 0x40000000u},    // Sub is pSrc2 - pSrc1
      {inf, -inf, 0xFFC00000u, 0xFF800000u},     // inf + -inf is the processor's default NaN
      {std::bit_cast<float>(0x7F800001u), std::bit_cast<float>(0xFFC00002u), 0x7FC00001u, 0xFFC00002u},
      {std::bit_cast<float>(0x7FC00003u), 1.0f, 0x7FC00003u, 0x7FC00003u},
  };
  for (const auto& c : cases) {
    Kpl32f s = 0, dd = 0, in_place = c.b;
    EXPECT_EQ(kplsAdd_32f(&c.a, &c.b, &s, 1), kplStsOk);
    EXPECT_EQ(kplsSub_32f(&c.a, &c.b, &dd, 1), kplStsOk);
    EXPECT_EQ(kplsSub_32f_I(&c.a, &in_place, 1), kplStsOk);
    EXPECT_EQ(std::bit_cast<uint32_t>(s), c.add) << c.a << " + " << c.b;
    EXPECT_EQ(std::bit_cast<uint32_t>(dd), c.sub) << c.b << " - " << c.a;
    EXPECT_EQ(std::bit_cast<uint32_t>(in_place), c.sub) << c.b << " - " << c.a << " in place";
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

// ---- Integer forms: unscaled (saturating, widening, or to 32f) ----

template <Arith Op>
struct IntFill {
  int s = 0;
  template <class A, class B>
  void operator()(A* a, B* b, size_t len, uint64_t seed) const {
    if constexpr (std::is_same_v<A, B>) {
      using T = typename PartOf<A>::type;
      fill_integers<Op>(reinterpret_cast<T*>(a), reinterpret_cast<T*>(b), len * PartOf<A>::kParts, s, seed);
    } else {  // 16s into a 32s accumulator: bounds and random bits on both sides
      fill_random_bits(a, len, seed), fill_random_bits(b, len, seed + 1);
      Rng r(seed);
      for (size_t i = 0; i < len; i += 1 + r.next() % 3)
        b[i] = r.next() & 1 ? std::numeric_limits<B>::max() - static_cast<B>(r.next() % 3) : std::numeric_limits<B>::lowest() + static_cast<B>(r.next() % 3);
    }
  }
};

template <class D, Arith Op>
auto sat_ref() {
  return [](auto a, auto b) { return clamp_to<D>(exact<Op>(a, b)); };
}

TEST(UnscaledAddSub, SaturateOrStayExact) {
  constexpr auto add = Arith::kAdd, sub = Arith::kSub;
  sweep_binary<Kpl16s, Kpl16s, Kpl16s>("Add_16s", kplsAdd_16s, kplsAdd_16s_I, IntFill<add>{}, sat_ref<Kpl16s, add>());
  sweep_binary<Kpl16s, Kpl16s, Kpl16s>("Sub_16s", kplsSub_16s, kplsSub_16s_I, IntFill<sub>{}, sat_ref<Kpl16s, sub>());
  sweep_binary<Kpl16u, Kpl16u, Kpl16u>("Add_16u", kplsAdd_16u, nullptr, IntFill<add>{}, sat_ref<Kpl16u, add>());
  sweep_binary<Kpl8u, Kpl8u, Kpl16u>("Add_8u16u", kplsAdd_8u16u, nullptr, IntFill<add>{}, sat_ref<Kpl16u, add>());
  sweep_binary<Kpl32u, Kpl32u, Kpl32u>("Add_32u", kplsAdd_32u, nullptr, IntFill<add>{}, sat_ref<Kpl32u, add>());
  sweep_binary<Kpl16s, Kpl32s, Kpl32s>(
      "Add_16s32s_I", [](const Kpl16s* a, const Kpl32s* b, Kpl32s* d, int n) { std::memcpy(d, b, 4 * n); return kplsAdd_16s32s_I(a, d, n); },
      kplsAdd_16s32s_I, IntFill<add>{}, sat_ref<Kpl32s, add>());
  sweep_binary<Kpl16s, Kpl16s, Kpl32f>("Add_16s32f", kplsAdd_16s32f, nullptr, IntFill<add>{}, [](Kpl16s a, Kpl16s b) { return static_cast<float>(a + b); });
  sweep_binary<Kpl16s, Kpl16s, Kpl32f>("Sub_16s32f", kplsSub_16s32f, nullptr, IntFill<sub>{}, [](Kpl16s a, Kpl16s b) { return static_cast<float>(b - a); });
}

TEST(UnscaledAddSub, ArgumentErrorsWriteNothing) {
  expect_entry_checks("Add_16s", kplsAdd_16s, kplsAdd_16s_I);
  expect_entry_checks("Sub_16s", kplsSub_16s, kplsSub_16s_I);
  expect_entry_checks("Add_16u", kplsAdd_16u, nullptr);
  expect_entry_checks("Add_32u", kplsAdd_32u, nullptr);
  expect_entry_checks("Add_8u16u", kplsAdd_8u16u, nullptr);
  expect_entry_checks("Add_16s32f", kplsAdd_16s32f, nullptr);
  expect_entry_checks("Sub_16s32f", kplsSub_16s32f, nullptr);
  Guarded<Kpl16s> a(4);
  Guarded<Kpl32s> w(4);
  const auto w0 = w.snapshot();
  expect_checks<2>(kplsAdd_16s32s_I, std::make_tuple(static_cast<const Kpl16s*>(a.data()), w.data(), 4), "Add_16s32s_I");
  EXPECT_TRUE(w.unchanged_since(w0));
}

// ---- Scaled integers ----

template <class E, Arith Op, class Out, class In>
void scaled_family(const char* name, Out out, In in) {
  using T = typename PartOf<E>::type;
  auto at = [&](int s, bool every) {
    auto o = [&](const E* a, const E* b, E* d, int n) { return out(a, b, d, n, s); };
    auto ref = partwise<E>([s](T x, T y) { return scaled<T>(exact<Op>(x, y), s); });
    if constexpr (std::is_same_v<In, std::nullptr_t>) {
      every ? sweep_binary<E, E, E>(name, o, nullptr, IntFill<Op>{s}, ref, s) : spot_binary<E, E, E>(name, o, nullptr, IntFill<Op>{s}, ref, s);
    } else {
      auto i = [&](const E* a, E* b, int n) { return in(a, b, n, s); };
      every ? sweep_binary<E, E, E>(name, o, i, IntFill<Op>{s}, ref, s) : spot_binary<E, E, E>(name, o, i, IntFill<Op>{s}, ref, s);
    }
  };
  for (int s : {0, 1, 3}) at(s, true);
  for (int s : scale_factors()) at(s, false);
  // At a scale factor that computes, one that zero-fills (after the checks, but
  // in 16u before the pointers: see below) and one that saturates.
  constexpr auto order = PartOf<E>::kParts == 2 ? kComplexFirst : LenCheck::kAfterPointers;
  for (int s : {0, 5, -20, std::is_same_v<E, Kpl16u> ? 0 : 40}) {
    if constexpr (std::is_same_v<In, std::nullptr_t>) expect_entry_checks<order>(name, out, nullptr, s);
    else expect_entry_checks<order>(name, out, in, s);
  }
}

TEST(ScaledAddSub, MatchesExactReference) {
  constexpr auto add = Arith::kAdd, sub = Arith::kSub;
  scaled_family<Kpl8u, add>("Add_8u_Sfs", kplsAdd_8u_Sfs, kplsAdd_8u_ISfs);
  scaled_family<Kpl8u, sub>("Sub_8u_Sfs", kplsSub_8u_Sfs, kplsSub_8u_ISfs);
  scaled_family<Kpl16s, add>("Add_16s_Sfs", kplsAdd_16s_Sfs, kplsAdd_16s_ISfs);
  scaled_family<Kpl16s, sub>("Sub_16s_Sfs", kplsSub_16s_Sfs, kplsSub_16s_ISfs);
  scaled_family<Kpl16u, add>("Add_16u_Sfs", kplsAdd_16u_Sfs, kplsAdd_16u_ISfs);
  scaled_family<Kpl16u, sub>("Sub_16u_Sfs", kplsSub_16u_Sfs, kplsSub_16u_ISfs);
  scaled_family<Kpl32s, add>("Add_32s_Sfs", kplsAdd_32s_Sfs, kplsAdd_32s_ISfs);
  scaled_family<Kpl32s, sub>("Sub_32s_Sfs", kplsSub_32s_Sfs, kplsSub_32s_ISfs);
  scaled_family<Kpl64s, add>("Add_64s_Sfs", kplsAdd_64s_Sfs, nullptr);
  scaled_family<Kpl16sc, add>("Add_16sc_Sfs", kplsAdd_16sc_Sfs, kplsAdd_16sc_ISfs);
  scaled_family<Kpl16sc, sub>("Sub_16sc_Sfs", kplsSub_16sc_Sfs, kplsSub_16sc_ISfs);
  scaled_family<Kpl32sc, add>("Add_32sc_Sfs", kplsAdd_32sc_Sfs, kplsAdd_32sc_ISfs);
  scaled_family<Kpl32sc, sub>("Sub_32sc_Sfs", kplsSub_32sc_Sfs, kplsSub_32sc_ISfs);
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
  const size_t n = (size_t{24} << 20) / sizeof(Kpl32f) + 3, m = (size_t{24} << 20) / sizeof(Kpl16s) + 5;
  const auto fill = [](Kpl32f* a, Kpl32f* b, size_t len, uint64_t seed) { fill_floats(a, b, len, seed); };
  for (size_t ob : {0u, 1u})  // the destination at a 16-byte boundary, then off it
    check_binary<Kpl32f, Kpl32f, Kpl32f>("Add_32f", n, 1, ob, kplsAdd_32f, kplsAdd_32f_I, fill, float_reference<Arith::kAdd, float>);
  check_binary<Kpl16s, Kpl16s, Kpl16s>(
      "Sub_16s_Sfs", m, 3, 0, [](const Kpl16s* a, const Kpl16s* b, Kpl16s* d, int len) { return kplsSub_16s_Sfs(a, b, d, len, 3); },
      [](const Kpl16s* a, Kpl16s* b, int len) { return kplsSub_16s_ISfs(a, b, len, 3); }, IntFill<Arith::kSub>{3},
      [](Kpl16s a, Kpl16s b) { return scaled<Kpl16s>(b - a, 3); });
  check_binary<Kpl16s, Kpl16s, Kpl32f>("Sub_16s32f", m, 0, 0, kplsSub_16s32f, nullptr, IntFill<Arith::kSub>{},
                                       [](Kpl16s a, Kpl16s b) { return static_cast<float>(b - a); });
}

}  // namespace
