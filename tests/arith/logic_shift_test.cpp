// And, Or, Xor, AndC, OrC, XorC, Not, LShiftC and RShiftC: every type and form
// over lengths 1..70 and longer at every start offset against references on
// exact integers, with the guards checked after each call; shift counts across
// and beyond the width; the small cases that document the contract; and the
// order of the argument tests with the shortcuts, where nothing may be written.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <initializer_list>
#include <tuple>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"
#include "arith/arith_cases.hpp"

using namespace kpltest;

namespace {

// ---- References ----

enum class Bit { kAnd, kOr, kXor };

template <class T>
T bitwise(Bit op, T a, T b) {
  const uint64_t x = a, y = b;
  return static_cast<T>(op == Bit::kAnd ? x & y : op == Bit::kOr ? x | y : x ^ y);
}

// Left: x times 2^val, reduced modulo 2^width. Right: floor(x / 2^val), which
// is 0 or -1 once val reaches the width of a signed element.
template <class T>
T shifted(T x, int val, bool left) {
  constexpr int w = 8 * sizeof(T);
  const int64_t v = x;
  if (left) {
    if (val >= w) return 0;
    const uint64_t product = static_cast<uint64_t>(v) * (uint64_t{1} << val);
    return static_cast<T>(product & ((uint64_t{1} << w) - 1));
  }
  const int64_t p = int64_t{1} << (val < 62 ? val : 62);
  int64_t q = v / p;
  if (v % p != 0 && v < 0) --q;
  return static_cast<T>(q);
}

// Random bits with the type's extremes, -1, 0 and 1 mixed in.
template <class T>
void fill_data(T* p, size_t n, uint64_t seed) {
  fill_random_bits(p, n, seed);
  const std::vector<T> sp = special_integers<T>();
  for (size_t i = seed % 3; i < n; i += 3) p[i] = sp[(i + seed) % sp.size()];
}

// ---- Two vectors, vector and constant, Not ----

template <class T>
struct DataFill {
  void operator()(T* a, size_t n, uint64_t seed) const { fill_data(a, n, seed); }
  void operator()(T* a, T* b, size_t n, uint64_t seed) const { fill_data(a, n, seed), fill_data(b, n, seed + 7); }
};

// In place: pSrcDst = pSrcDst op pSrc. Not is the exclusive or with all ones.
template <class T, Bit Op, class Two, class TwoI, class C, class CI>
void logic_family(const char* name, Two two, TwoI two_i, C with_c, CI with_c_i) {
  sweep_binary<T, T, T>(name, two, two_i, DataFill<T>{}, [](T a, T b) { return bitwise(Op, a, b); });
  // The constants include 0 (the shortcuts) and all ones.
  for (T val : {T{0}, static_cast<T>(~T{0}), T{1}, static_cast<T>(0xA5C3F00Fu), static_cast<T>(0x80000080u)})
    sweep_unary<T, T>(
        name, [&](const T* s, T* d, int n) { return with_c(s, val, d, n); }, [&](T* v, int n) { return with_c_i(val, v, n); }, DataFill<T>{},
        [&](T x) { return bitwise(Op, x, val); }, val);
}

TEST(Logic, MatchesReferenceAtEveryLengthAndOffset) {
  logic_family<Kpl8u, Bit::kAnd>("And_8u", kplsAnd_8u, kplsAnd_8u_I, kplsAndC_8u, kplsAndC_8u_I);
  logic_family<Kpl16u, Bit::kAnd>("And_16u", kplsAnd_16u, kplsAnd_16u_I, kplsAndC_16u, kplsAndC_16u_I);
  logic_family<Kpl32u, Bit::kAnd>("And_32u", kplsAnd_32u, kplsAnd_32u_I, kplsAndC_32u, kplsAndC_32u_I);
  logic_family<Kpl8u, Bit::kOr>("Or_8u", kplsOr_8u, kplsOr_8u_I, kplsOrC_8u, kplsOrC_8u_I);
  logic_family<Kpl16u, Bit::kOr>("Or_16u", kplsOr_16u, kplsOr_16u_I, kplsOrC_16u, kplsOrC_16u_I);
  logic_family<Kpl32u, Bit::kOr>("Or_32u", kplsOr_32u, kplsOr_32u_I, kplsOrC_32u, kplsOrC_32u_I);
  logic_family<Kpl8u, Bit::kXor>("Xor_8u", kplsXor_8u, kplsXor_8u_I, kplsXorC_8u, kplsXorC_8u_I);
  logic_family<Kpl16u, Bit::kXor>("Xor_16u", kplsXor_16u, kplsXor_16u_I, kplsXorC_16u, kplsXorC_16u_I);
  logic_family<Kpl32u, Bit::kXor>("Xor_32u", kplsXor_32u, kplsXor_32u_I, kplsXorC_32u, kplsXorC_32u_I);
  sweep_unary<Kpl8u, Kpl8u>("Not_8u", kplsNot_8u, kplsNot_8u_I, DataFill<Kpl8u>{}, [](Kpl8u x) { return static_cast<Kpl8u>(~x); });
  sweep_unary<Kpl16u, Kpl16u>("Not_16u", kplsNot_16u, kplsNot_16u_I, DataFill<Kpl16u>{}, [](Kpl16u x) { return static_cast<Kpl16u>(~x); });
  sweep_unary<Kpl32u, Kpl32u>("Not_32u", kplsNot_32u, kplsNot_32u_I, DataFill<Kpl32u>{}, [](Kpl32u x) { return static_cast<Kpl32u>(~x); });
}

// ---- Shifts ----

template <class T, auto Entry, auto EntryInPlace, bool Left>
struct ShiftForm {
  using Type = T;
  static constexpr auto entry = Entry;
  static constexpr auto entry_in_place = EntryInPlace;
  static constexpr bool left = Left;
  static constexpr int width = 8 * sizeof(T);
};

template <class F>
class Shift : public ::testing::Test {};
using ShiftForms = ::testing::Types<
    ShiftForm<Kpl8u, kplsLShiftC_8u, kplsLShiftC_8u_I, true>, ShiftForm<Kpl16s, kplsLShiftC_16s, kplsLShiftC_16s_I, true>,
    ShiftForm<Kpl16u, kplsLShiftC_16u, kplsLShiftC_16u_I, true>, ShiftForm<Kpl32s, kplsLShiftC_32s, kplsLShiftC_32s_I, true>,
    ShiftForm<Kpl8u, kplsRShiftC_8u, kplsRShiftC_8u_I, false>, ShiftForm<Kpl16s, kplsRShiftC_16s, kplsRShiftC_16s_I, false>,
    ShiftForm<Kpl16u, kplsRShiftC_16u, kplsRShiftC_16u_I, false>, ShiftForm<Kpl32s, kplsRShiftC_32s, kplsRShiftC_32s_I, false>>;
TYPED_TEST_SUITE(Shift, ShiftForms);

// One count, both forms, at one length and pair of offsets. A negative count is
// kplStsBadShift and writes nothing.
template <class F>
void check_shift(int val, size_t len, size_t a, size_t b) {
  using T = typename F::Type;
  Guarded<T> s(len, a), d(len, b), v(len, b);
  fill_data(s.data(), len, len * 256 + a * 16 + b + static_cast<unsigned>(val));
  fill_random_bits(d.data(), len, 3);
  v.assign(s.data());
  const auto s_before = s.snapshot(), d_before = d.snapshot(), v_before = v.snapshot();
  const KplStatus want = val < 0 ? kplStsBadShift : kplStsOk;
  ASSERT_EQ(F::entry(s.data(), val, d.data(), static_cast<int>(len)), want) << "val=" << val << " len=" << len;
  ASSERT_EQ(F::entry_in_place(val, v.data(), static_cast<int>(len)), want) << "in place val=" << val << " len=" << len;
  if (val < 0) {
    EXPECT_TRUE(d.unchanged_since(d_before) && v.unchanged_since(v_before)) << "val=" << val << " len=" << len;
  } else {
    for (size_t i = 0; i < len; ++i) {
      ASSERT_EQ(d[i], shifted(s[i], val, F::left)) << "val=" << val << " len=" << len << " +" << a << " +" << b << " x=" << +s[i];
      ASSERT_EQ(v[i], d[i]) << "in place val=" << val << " len=" << len << " +" << b << " x=" << +s[i];
    }
  }
  EXPECT_TRUE(d.guards_intact() && v.guards_intact() && s.unchanged_since(s_before)) << "val=" << val << " len=" << len;
}

TYPED_TEST(Shift, MatchesReferenceAtEveryLengthAndOffset) {
  for (int val : {3, TypeParam::width - 1})
    sweep2([&](size_t len, size_t a, size_t b) {
      if (!::testing::Test::HasFailure()) check_shift<TypeParam>(val, len, a, b);
    });
}

// Every count from below zero to past twice the width, and the extremes of int:
// the width zeroes, right shifts of signed elements fill with the sign, left
// shifts wrap, a negative count is kplStsBadShift.
TYPED_TEST(Shift, EveryCountMatchesReference) {
  std::vector<int> counts = {INT_MIN, -40, 64, 100, INT_MAX};
  for (int val = -3; val <= 2 * TypeParam::width + 2; ++val) counts.push_back(val);
  for (int val : counts)
    for (size_t len : {1u, 7u, 16u, 33u, 70u, 1000u})
      for (auto [a, b] : {std::pair<size_t, size_t>{0, 0}, {1, 3}, {5, 15}})
        if (!::testing::Test::HasFailure()) check_shift<TypeParam>(val, len, a, b);
}

// ---- The contract in small cases ----

// A zero constant or count hands over to a block move; its statuses are the
// move's, and a count at or beyond the width is a zero fill.
TEST(LogicShiftEdges, ShortcutStatuses) {
  Kpl8u s[4] = {1, 2, 3, 4}, d[4] = {9, 9, 9, 9};
  Kpl16u s16[4] = {1, 2, 3, 4};
  EXPECT_EQ(kplsAndC_8u(s, 0, nullptr, 4), kplStsNullPointer);
  EXPECT_EQ(kplsAndC_8u(nullptr, 0, d, 4), kplStsNullPointer);
  EXPECT_EQ(kplsOrC_8u(s, 0, d, 0), kplStsBadSize);
  EXPECT_EQ(kplsLShiftC_16u(nullptr, 16, reinterpret_cast<Kpl16u*>(d), 2), kplStsNullPointer);
  EXPECT_EQ(kplsLShiftC_16u(s16, 16, nullptr, 2), kplStsNullPointer);
  EXPECT_EQ(kplsLShiftC_16u_I(-1, nullptr, 2), kplStsNullPointer);  // pointer, then length, then count
  EXPECT_EQ(kplsLShiftC_16u_I(-1, s16, 0), kplStsBadSize);
  EXPECT_EQ(kplsRShiftC_32s(nullptr, -1, reinterpret_cast<Kpl32s*>(d), 1), kplStsNullPointer);
  EXPECT_EQ(std::vector<Kpl8u>(d, d + 4), (std::vector<Kpl8u>{9, 9, 9, 9}));  // nothing written so far
  EXPECT_EQ(kplsAndC_8u(s, 0, d, 4), kplStsOk);
  EXPECT_EQ(std::vector<Kpl8u>(d, d + 4), (std::vector<Kpl8u>{0, 0, 0, 0}));
  EXPECT_EQ(kplsXorC_8u(s, 0, d, 4), kplStsOk);
  EXPECT_EQ(std::vector<Kpl8u>(d, d + 4), (std::vector<Kpl8u>{1, 2, 3, 4}));
  EXPECT_EQ(kplsAndC_8u_I(0, d, 4), kplStsOk);
  EXPECT_EQ(std::vector<Kpl8u>(d, d + 4), (std::vector<Kpl8u>{0, 0, 0, 0}));
}

// The same pointer as a source and the destination of an out-of-place form is the
// in-place result.
TEST(LogicShiftEdges, DestinationMayBeASource) {
  std::vector<Kpl32u> a(37), b(37), want(37);
  fill_data(a.data(), 37, 1), fill_data(b.data(), 37, 2);
  for (size_t i = 0; i < 37; ++i) want[i] = a[i] ^ b[i];
  ASSERT_EQ(kplsXor_32u(a.data() + 0, b.data(), a.data(), 37), kplStsOk);
  EXPECT_EQ(a, want);
  std::vector<Kpl16s> x(37), y(37);
  fill_data(x.data(), 37, 3);
  for (size_t i = 0; i < 37; ++i) y[i] = shifted(x[i], 5, false);
  ASSERT_EQ(kplsRShiftC_16s(x.data(), 5, x.data(), 37), kplStsOk);
  EXPECT_EQ(x, y);
}

// Vectors past half the last-level cache store around it; the results must not change.
TEST(LogicShiftLong, StreamingPathGivesTheSameResults) {
  const size_t n = (size_t{24} << 20) / 4 + 3;
  Guarded<Kpl32u> a(n), b(n, 1);
  fill_random_bits(a.data(), n, 4), fill_random_bits(b.data(), n, 5);
  for (size_t off : {0u, 1u}) {
    Guarded<Kpl32u> d(n, off);
    ASSERT_EQ(kplsOr_32u(a.data(), b.data(), d.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(d[i], a[i] | b[i]) << i;
    ASSERT_EQ(kplsRShiftC_32s(reinterpret_cast<const Kpl32s*>(a.data()), 9, reinterpret_cast<Kpl32s*>(d.data()),
                              static_cast<int>(n)),
              kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(d[i], static_cast<Kpl32u>(static_cast<Kpl32s>(a[i]) >> 9)) << i;
    ASSERT_TRUE(d.guards_intact());
  }
}

// ---- Order of the argument tests ----

// Every entry with every kind of constant or count: pointers, then the length,
// whether or not a shortcut applies; nothing written.
template <class T, class V>
void checks_with_constant(KplStatus (*f)(const T*, V, T*, int), KplStatus (*fi)(V, T*, int),
                          std::initializer_list<V> vals, const char* name) {
  Guarded<T> s(8), d(8);
  fill_data(s.data(), 8, 1), fill_data(d.data(), 8, 2);
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  for (V v : vals) {
    expect_checks<3>(f, std::make_tuple(static_cast<const T*>(s.data()), v, d.data(), 8), name);
    expect_checks<2>(fi, std::make_tuple(v, d.data(), 8), name);
  }
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0)) << name;
}

template <class T>
void checks_two_vectors(KplStatus (*f)(const T*, const T*, T*, int), KplStatus (*fi)(const T*, T*, int), const char* name) {
  Guarded<T> s(8), d(8);
  fill_data(s.data(), 8, 1), fill_data(d.data(), 8, 2);
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  expect_checks<3>(f, std::make_tuple(static_cast<const T*>(s.data()), static_cast<const T*>(s.data()), d.data(), 8), name);
  expect_checks<2>(fi, std::make_tuple(static_cast<const T*>(s.data()), d.data(), 8), name);
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0)) << name;
}

// Shifts: the same with every kind of count; a negative count, tested last, is
// kplStsBadShift; a zero count in place returns after the tests.
template <class T>
void checks_shift(KplStatus (*f)(const T*, int, T*, int), KplStatus (*fi)(int, T*, int), const char* name) {
  constexpr int w = 8 * sizeof(T);
  checks_with_constant(f, fi, {0, 1, w - 1, w, w + 1, INT_MAX, -1, INT_MIN}, name);
  Guarded<T> s(8), d(8);
  fill_data(s.data(), 8, 1), fill_data(d.data(), 8, 2);
  const auto d0 = d.snapshot();
  for (int v : {-1, INT_MIN}) {
    EXPECT_EQ(f(s.data(), v, d.data(), 8), kplStsBadShift) << name << " val=" << v;
    EXPECT_EQ(fi(v, d.data(), 8), kplStsBadShift) << name << "_I val=" << v;
  }
  EXPECT_EQ(fi(0, d.data(), 8), kplStsOk) << name;
  EXPECT_TRUE(d.unchanged_since(d0)) << name;
}

TEST(LogicShiftChecks, PointersThenLengthThenCountWriteNothing) {
#define KPL_TWO(op, t) checks_two_vectors(kpls##op##_##t, kpls##op##_##t##_I, #op "_" #t)
#define KPL_CONST(op, t, ...) checks_with_constant(kpls##op##_##t, kpls##op##_##t##_I, {__VA_ARGS__}, #op "_" #t)
#define KPL_SHIFT(op, t) checks_shift(kpls##op##_##t, kpls##op##_##t##_I, #op "_" #t)
  KPL_TWO(And, 8u), KPL_TWO(And, 16u), KPL_TWO(And, 32u), KPL_TWO(Or, 8u), KPL_TWO(Or, 16u), KPL_TWO(Or, 32u);
  KPL_TWO(Xor, 8u), KPL_TWO(Xor, 16u), KPL_TWO(Xor, 32u);
  KPL_CONST(AndC, 8u, Kpl8u{0}, Kpl8u{1}, Kpl8u{0xFF}), KPL_CONST(OrC, 8u, Kpl8u{0}, Kpl8u{1}, Kpl8u{0xFF});
  KPL_CONST(XorC, 8u, Kpl8u{0}, Kpl8u{1}, Kpl8u{0xFF}), KPL_CONST(AndC, 16u, Kpl16u{0}, Kpl16u{1}, Kpl16u{0xFFFF});
  KPL_CONST(OrC, 16u, Kpl16u{0}, Kpl16u{1}, Kpl16u{0xFFFF}), KPL_CONST(XorC, 16u, Kpl16u{0}, Kpl16u{1}, Kpl16u{0xFFFF});
  KPL_CONST(AndC, 32u, 0u, 1u, 0xFFFFFFFFu), KPL_CONST(OrC, 32u, 0u, 1u, 0xFFFFFFFFu), KPL_CONST(XorC, 32u, 0u, 1u, 0xFFFFFFFFu);
  KPL_SHIFT(LShiftC, 8u), KPL_SHIFT(LShiftC, 16s), KPL_SHIFT(LShiftC, 16u), KPL_SHIFT(LShiftC, 32s);
  KPL_SHIFT(RShiftC, 8u), KPL_SHIFT(RShiftC, 16s), KPL_SHIFT(RShiftC, 16u), KPL_SHIFT(RShiftC, 32s);
#undef KPL_TWO
#undef KPL_CONST
#undef KPL_SHIFT
  // Not has XorC's checks.
  expect_rejected(kplsNot_8u, "Not_8u"), expect_rejected(kplsNot_16u, "Not_16u"), expect_rejected(kplsNot_32u, "Not_32u");
  expect_rejected(kplsNot_8u_I, "Not_8u_I"), expect_rejected(kplsNot_16u_I, "Not_16u_I");
  expect_rejected(kplsNot_32u_I, "Not_32u_I");
}

}  // namespace
