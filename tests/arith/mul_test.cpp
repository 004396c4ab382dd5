// Mul and MulC: every entry against a reference written here from the documented
// rules (exact integers in 128 bits with their own rounding, the same single IEEE
// operations for the float forms), over lengths 1..70 and longer, every start
// offset and scale factors -40..40; then the documented edges, the shortcuts, the
// rounding controls and the order of the checks.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
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


// ---- References ----

template <class F>
F nearest_even(F x) {
  F f = std::floor(x);
  const F diff = x - f;
  if (diff > F(0.5) || (diff == F(0.5) && std::fmod(f, F(2)) != 0)) f += 1;
  return f;
}

template <class D, class A, class B>
D ref_product(A a, B b, int s) {
  return scaled<D>(i128{a} * i128{b}, s);
}
template <class C>
C ref_complex(C a, C b, int s) {
  using P = decltype(C::re);
  return {scaled<P>(i128{a.re} * b.re - i128{a.im} * b.im, s), scaled<P>(i128{a.im} * b.re + i128{a.re} * b.im, s)};
}
Kpl32sc ref_32s32sc(Kpl32s a, Kpl32sc b, int s) { return {scaled<Kpl32s>(i128{a} * b.re, s), scaled<Kpl32s>(i128{a} * b.im, s)}; }

// Mul_32s: (a * 2^-s) * b in binary64, clamped, to nearest even.
Kpl32s ref_32s_binary64(Kpl32s a, Kpl32s b, int s) {
  if (s > 62) return 0;  // no product reaches 2^62 * 0.5
  if (s < -31) return a == 0 || b == 0 ? 0 : ((a < 0) != (b < 0) ? INT32_MIN : INT32_MAX);
  double x = static_cast<double>(a) * std::ldexp(1.0, -s);
  x = x * static_cast<double>(b);
  x = std::clamp(x, -2147483648.0, 2147483647.0);
  return static_cast<Kpl32s>(nearest_even(x));
}

// Mul_Low_32s: bits of the two's-complement product, no rounding.
Kpl32s ref_low_32s(Kpl32s a, Kpl32s b, int s) {
  const int64_t p = int64_t{a} * b;
  const uint64_t u = static_cast<uint64_t>(p);
  if (s > 62) return 0;
  if (s < -31) return p > 0 ? INT32_MAX : (p < 0 ? INT32_MIN : 0);
  if (s <= 0) return static_cast<Kpl32s>(static_cast<uint32_t>(u << -s));
  if (s < 32) return static_cast<Kpl32s>(static_cast<uint32_t>(u >> s));
  const i128 floor_q = (i128{p} - ((i128{p} % (i128{1} << s) + (i128{1} << s)) % (i128{1} << s))) / (i128{1} << s);
  return static_cast<Kpl32s>(floor_q);
}

// Floats: the single IEEE operations in the documented order.
template <class T>
T ref_mul(T a, T b, int) {
  return a * b;
}
template <class C>
C ref_cmul(C a, C b, int) {
  C r;
  r.re = a.re * b.re - a.im * b.im;
  r.im = a.im * b.re + a.re * b.im;
  return r;
}
Kpl32fc ref_32f32fc(Kpl32f a, Kpl32fc b, int) { return {a * b.re, a * b.im}; }
Kpl32f ref_16s32f(Kpl16s a, Kpl16s b, int) { return static_cast<Kpl32f>(int32_t{a} * b); }
// MulC on real floats: 1.0 copies the bits, 0.0 (either sign) gives +0.0.
template <class T>
T ref_mulc_real(T a, T v, int) {
  if (v == T{1}) return a;
  if (v == T{0}) return T{0};
  return a * v;
}
Kpl16s ref_32f16s(Kpl32f a, Kpl32f v, int s) {
  if (s != 0) v = v * std::ldexp(1.0f, -std::clamp(s, -127, 126));
  const Kpl32f x = a * v;
  if (std::isnan(x) || x >= 32767.0f) return 32767;
  if (x <= -32768.0f) return -32768;
  return static_cast<Kpl16s>(nearest_even(x));
}

// ---- Values ----

// Integers: the extremes, and k * 2^j and its neighbours for k = 1, 3, 5 (so that
// products land on exact ties at every scale factor).
template <class T>
const std::vector<T>& int_pool() {
  static const std::vector<T> pool = [] {
    using L = std::numeric_limits<T>;
    std::vector<T> v = special_integers<T>();
    for (int j = 0; j < L::digits; ++j)
      for (i128 k : {1, 3, 5})
        for (i128 d : {-1, 0, 1})
          for (i128 sign : {1, -1}) {
            const i128 x = sign * ((k << j) + d);
            if (x >= L::lowest() && x <= L::max()) v.push_back(static_cast<T>(x));
          }
    return v;
  }();
  return pool;
}

template <class T>
const std::vector<T>& float_pool() {
  static const std::vector<T> pool = [] {
    std::vector<T> v;
    if constexpr (sizeof(T) == 4) {
      v = special_floats();
    } else {
      v = special_doubles();
    }
    for (T x : {0.5, 1.5, 2.5, -2.5, 3.0, 32767.0, 32767.5, -32768.5, 65536.0, 1e30, -7.0}) v.push_back(x);
    return v;
  }();
  return pool;
}

template <class T>
T pick(Rng& r) {
  if constexpr (std::is_floating_point_v<T>) {
    const auto& p = float_pool<T>();
    switch (r.next() % 4) {
      case 0: return p[r.next() % p.size()];
      case 1: {
        T x;
        fill_random_bits(&x, 1, r.next());
        return x;
      }
      default: return static_cast<T>(r.uniform(-70000.0, 70000.0));
    }
  } else if constexpr (std::is_integral_v<T>) {
    const auto& p = int_pool<T>();
    return r.next() % 3 != 0 ? p[r.next() % p.size()] : static_cast<T>(r.next());
  } else {
    using P = decltype(T::re);
    return T{pick<P>(r), pick<P>(r)};
  }
}

// ---- Comparison and printing ----

// ---- Entries described for the sweep ----

enum class Shape { kVec, kVecI, kConst, kConstI };

template <class R, class... P>
constexpr size_t arity(R (*)(P...)) {
  return sizeof...(P);
}

// One entry: its shape, its element types and the reference of one element.
// A constant form sees its constant as a vector with every element equal to it.
template <Shape Sh, auto E, class A_, class B_, class D_, auto Ref>
struct Case {
  using A = A_;
  using B = B_;
  using D = D_;
  static constexpr Shape shape = Sh;
  static constexpr bool in_place = Sh == Shape::kVecI || Sh == Shape::kConstI;
  static constexpr bool constant = Sh == Shape::kConst || Sh == Shape::kConstI;
  static constexpr bool scaled = arity(E) == (in_place ? 4 : 5);
  static constexpr size_t len_index = in_place ? 2 : 3;
  static D ref(A a, B b, int s) { return Ref(a, b, s); }
  // For in-place forms d already holds the vector it overwrites.
  static KplStatus call(const A* a, const B* b, D* d, int n, int s) {
    if constexpr (Sh == Shape::kVec) {
      if constexpr (scaled) return E(a, b, d, n, s); else return E(a, b, d, n);
    } else if constexpr (Sh == Shape::kVecI) {
      if constexpr (scaled) return E(a, d, n, s); else return E(a, d, n);
    } else if constexpr (Sh == Shape::kConst) {
      if constexpr (scaled) return E(a, b[0], d, n, s); else return E(a, b[0], d, n);
    } else {
      if constexpr (scaled) return E(b[0], d, n, s); else return E(b[0], d, n);
    }
  }
  static constexpr auto entry = E;
};

// One call on fresh vectors: the results against the reference, the guards,
// and sources left alone. Reports the first mismatch only.
template <class C>
bool run_once(size_t len, size_t oa, size_t od, int s) {
  using A = typename C::A;
  using B = typename C::B;
  using D = typename C::D;
  const size_t ob = (oa * 5 + od * 3 + 1) % 16;
  Guarded<A> a(len, oa);
  Guarded<B> b(len, ob);
  Guarded<D> d(len, od);
  Rng rng(len * 1000003u + oa * 1009u + od * 31u + static_cast<unsigned>(s) + 64u);
  for (size_t i = 0; i < len; ++i) a[i] = pick<A>(rng);
  const B v = pick<B>(rng);
  for (size_t i = 0; i < len; ++i) b[i] = C::constant ? v : pick<B>(rng);
  if constexpr (C::shape == Shape::kVecI) {
    d.assign(b.data());
  } else if constexpr (C::shape == Shape::kConstI) {
    d.assign(a.data());
  } else {
    fill_random_bits(d.data(), len, rng.next());
  }
  std::vector<D> want(len);
  for (size_t i = 0; i < len; ++i) want[i] = C::ref(a[i], b[i], s);
  const auto a0 = a.snapshot(), b0 = b.snapshot();
  const KplStatus st = C::call(a.data(), b.data(), d.data(), static_cast<int>(len), s);
  const std::string at = " len=" + std::to_string(len) + " offsets " + std::to_string(oa) + "," + std::to_string(od) +
                         " s=" + std::to_string(s);
  if (st != kplStsOk) return ADD_FAILURE() << "status " << st << at, false;
  for (size_t i = 0; i < len; ++i)
    if (!same(d[i], want[i]))
      return ADD_FAILURE() << "element " << i << ": " << show(a[i]) << " * " << show(b[i]) << " gave " << show(d[i])
                           << ", want " << show(want[i]) << at,
             false;
  if (!d.guards_intact()) return ADD_FAILURE() << "destination guards" << at, false;
  if (!C::in_place && !(a.unchanged_since(a0) && b.unchanged_since(b0))) return ADD_FAILURE() << "a source changed" << at, false;
  return true;
}

// Every length 1..70 (and the long ones) at every pair of offsets for two scale
// factors; every scale factor from -40 to 40 on fewer lengths and offsets.
template <class C>
void sweep_case() {
  const std::vector<int> full = C::scaled ? std::vector<int>{3, 0} : std::vector<int>{0};
  for (int s : full) {
    bool ok = true;
    sweep2([&](size_t len, size_t oa, size_t od) {
      if (ok && (s == full[0] || oa == od)) ok = run_once<C>(len, oa, od, s);
    });
    if (!ok) return;
  }
  if constexpr (C::scaled) {
    std::vector<int> scales;
    for (int s = -40; s <= 40; ++s) scales.push_back(s);
    for (int s : {-200, -128, -127, 62, 63, 64, 126, 127, 200, INT32_MIN, INT32_MAX}) scales.push_back(s);
    for (int s : scales)
      for (size_t len : {1u, 7u, 8u, 9u, 16u, 17u, 33u, 70u, 129u})
        for (auto [oa, od] : {std::pair<size_t, size_t>{0, 0}, {1, 3}, {7, 12}})
          if (!run_once<C>(len, oa, od, s)) return;
  }
}

// A good argument for position I of an entry whose length sits at LenIndex.
template <class T, size_t I, size_t LenIndex>
T good_arg(uint8_t* const* bufs) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(bufs[I]);
  } else if constexpr (I == LenIndex) {
    return 4;
  } else if constexpr (std::is_arithmetic_v<T>) {
    return 3;  // no shortcut: not 0, not 1, inside every scale range
  } else {
    return T{3, 1};
  }
}

template <size_t LenIndex, class... P, size_t... I>
std::tuple<P...> good_args(KplStatus (*)(P...), uint8_t* const* bufs, std::index_sequence<I...>) {
  return std::tuple<P...>{good_arg<P, I, LenIndex>(bufs)...};
}

// Each pointer null, each bad length, and a null with a bad length; nothing written.
template <size_t LenIndex, class... P>
void checks_write_nothing(KplStatus (*f)(P...)) {
  Guarded<uint8_t> b0(64), b1(64), b2(64);
  uint8_t* const bufs[] = {b0.data(), b1.data(), b2.data(), b2.data()};
  fill_random_bits(b0.data(), 64, 1), fill_random_bits(b1.data(), 64, 2), fill_random_bits(b2.data(), 64, 3);
  const auto s0 = b0.snapshot(), s1 = b1.snapshot(), s2 = b2.snapshot();
  const auto good = good_args<LenIndex>(f, bufs, std::index_sequence_for<P...>{});
  expect_checks<LenIndex>(f, good, ::testing::UnitTest::GetInstance()->current_test_info()->type_param());
  EXPECT_TRUE(b0.unchanged_since(s0) && b1.unchanged_since(s1) && b2.unchanged_since(s2));
}

// Unscaled forms seen through the scaled shape (s is 0 for them).
KplStatus mul_16s(const Kpl16s* a, const Kpl16s* b, Kpl16s* d, int n) { return kplsMul_16s(a, b, d, n); }

using FloatCases = ::testing::Types<
    Case<Shape::kVec, kplsMul_32f, Kpl32f, Kpl32f, Kpl32f, ref_mul<Kpl32f>>,
    Case<Shape::kVecI, kplsMul_32f_I, Kpl32f, Kpl32f, Kpl32f, ref_mul<Kpl32f>>,
    Case<Shape::kVec, kplsMul_64f, Kpl64f, Kpl64f, Kpl64f, ref_mul<Kpl64f>>,
    Case<Shape::kVecI, kplsMul_64f_I, Kpl64f, Kpl64f, Kpl64f, ref_mul<Kpl64f>>,
    Case<Shape::kVec, kplsMul_32fc, Kpl32fc, Kpl32fc, Kpl32fc, ref_cmul<Kpl32fc>>,
    Case<Shape::kVecI, kplsMul_32fc_I, Kpl32fc, Kpl32fc, Kpl32fc, ref_cmul<Kpl32fc>>,
    Case<Shape::kVec, kplsMul_64fc, Kpl64fc, Kpl64fc, Kpl64fc, ref_cmul<Kpl64fc>>,
    Case<Shape::kVecI, kplsMul_64fc_I, Kpl64fc, Kpl64fc, Kpl64fc, ref_cmul<Kpl64fc>>,
    Case<Shape::kVec, kplsMul_16s32f, Kpl16s, Kpl16s, Kpl32f, ref_16s32f>,
    Case<Shape::kVec, kplsMul_32f32fc, Kpl32f, Kpl32fc, Kpl32fc, ref_32f32fc>,
    Case<Shape::kVecI, kplsMul_32f32fc_I, Kpl32f, Kpl32fc, Kpl32fc, ref_32f32fc>,
    Case<Shape::kConst, kplsMulC_32f, Kpl32f, Kpl32f, Kpl32f, ref_mulc_real<Kpl32f>>,
    Case<Shape::kConstI, kplsMulC_32f_I, Kpl32f, Kpl32f, Kpl32f, ref_mulc_real<Kpl32f>>,
    Case<Shape::kConst, kplsMulC_64f, Kpl64f, Kpl64f, Kpl64f, ref_mulc_real<Kpl64f>>,
    Case<Shape::kConstI, kplsMulC_64f_I, Kpl64f, Kpl64f, Kpl64f, ref_mulc_real<Kpl64f>>,
    Case<Shape::kConst, kplsMulC_32fc, Kpl32fc, Kpl32fc, Kpl32fc, ref_cmul<Kpl32fc>>,
    Case<Shape::kConstI, kplsMulC_32fc_I, Kpl32fc, Kpl32fc, Kpl32fc, ref_cmul<Kpl32fc>>,
    Case<Shape::kConst, kplsMulC_64fc, Kpl64fc, Kpl64fc, Kpl64fc, ref_cmul<Kpl64fc>>,
    Case<Shape::kConstI, kplsMulC_64fc_I, Kpl64fc, Kpl64fc, Kpl64fc, ref_cmul<Kpl64fc>>,
    Case<Shape::kConst, kplsMulC_32f16s_Sfs, Kpl32f, Kpl32f, Kpl16s, ref_32f16s>,
    Case<Shape::kConst, kplsMulC_Low_32f16s, Kpl32f, Kpl32f, Kpl16s, ref_32f16s>>;

using IntegerCases = ::testing::Types<
    Case<Shape::kVec, kplsMul_8u_Sfs, Kpl8u, Kpl8u, Kpl8u, ref_product<Kpl8u, Kpl8u, Kpl8u>>,
    Case<Shape::kVecI, kplsMul_8u_ISfs, Kpl8u, Kpl8u, Kpl8u, ref_product<Kpl8u, Kpl8u, Kpl8u>>,
    Case<Shape::kVec, kplsMul_16s_Sfs, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>,
    Case<Shape::kVecI, kplsMul_16s_ISfs, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>,
    Case<Shape::kVec, kplsMul_16sc_Sfs, Kpl16sc, Kpl16sc, Kpl16sc, ref_complex<Kpl16sc>>,
    Case<Shape::kVecI, kplsMul_16sc_ISfs, Kpl16sc, Kpl16sc, Kpl16sc, ref_complex<Kpl16sc>>,
    Case<Shape::kVec, kplsMul_16u_Sfs, Kpl16u, Kpl16u, Kpl16u, ref_product<Kpl16u, Kpl16u, Kpl16u>>,
    Case<Shape::kVecI, kplsMul_16u_ISfs, Kpl16u, Kpl16u, Kpl16u, ref_product<Kpl16u, Kpl16u, Kpl16u>>,
    Case<Shape::kVec, kplsMul_32s_Sfs, Kpl32s, Kpl32s, Kpl32s, ref_32s_binary64>,
    Case<Shape::kVecI, kplsMul_32s_ISfs, Kpl32s, Kpl32s, Kpl32s, ref_32s_binary64>,
    Case<Shape::kVec, kplsMul_32sc_Sfs, Kpl32sc, Kpl32sc, Kpl32sc, ref_complex<Kpl32sc>>,
    Case<Shape::kVecI, kplsMul_32sc_ISfs, Kpl32sc, Kpl32sc, Kpl32sc, ref_complex<Kpl32sc>>,
    Case<Shape::kVec, kplsMul_16u16s_Sfs, Kpl16u, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16u, Kpl16s>>,
    Case<Shape::kVecI, kplsMul_16u16s_ISfs, Kpl16u, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16u, Kpl16s>>,
    Case<Shape::kVec, kplsMul_32s32sc_Sfs, Kpl32s, Kpl32sc, Kpl32sc, ref_32s32sc>,
    Case<Shape::kVecI, kplsMul_32s32sc_ISfs, Kpl32s, Kpl32sc, Kpl32sc, ref_32s32sc>,
    Case<Shape::kVec, kplsMul_16s32s_Sfs, Kpl16s, Kpl16s, Kpl32s, ref_product<Kpl32s, Kpl16s, Kpl16s>>,
    Case<Shape::kVec, kplsMul_Low_32s_Sfs, Kpl32s, Kpl32s, Kpl32s, ref_low_32s>,
    Case<Shape::kVec, mul_16s, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>,
    Case<Shape::kVecI, kplsMul_16s_I, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>,
    Case<Shape::kVec, kplsMul_8u16u, Kpl8u, Kpl8u, Kpl16u, ref_product<Kpl16u, Kpl8u, Kpl8u>>,
    Case<Shape::kConst, kplsMulC_8u_Sfs, Kpl8u, Kpl8u, Kpl8u, ref_product<Kpl8u, Kpl8u, Kpl8u>>,
    Case<Shape::kConstI, kplsMulC_8u_ISfs, Kpl8u, Kpl8u, Kpl8u, ref_product<Kpl8u, Kpl8u, Kpl8u>>,
    Case<Shape::kConst, kplsMulC_16s_Sfs, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>,
    Case<Shape::kConstI, kplsMulC_16s_ISfs, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>,
    Case<Shape::kConst, kplsMulC_16sc_Sfs, Kpl16sc, Kpl16sc, Kpl16sc, ref_complex<Kpl16sc>>,
    Case<Shape::kConstI, kplsMulC_16sc_ISfs, Kpl16sc, Kpl16sc, Kpl16sc, ref_complex<Kpl16sc>>,
    Case<Shape::kConst, kplsMulC_16u_Sfs, Kpl16u, Kpl16u, Kpl16u, ref_product<Kpl16u, Kpl16u, Kpl16u>>,
    Case<Shape::kConstI, kplsMulC_16u_ISfs, Kpl16u, Kpl16u, Kpl16u, ref_product<Kpl16u, Kpl16u, Kpl16u>>,
    Case<Shape::kConst, kplsMulC_32s_Sfs, Kpl32s, Kpl32s, Kpl32s, ref_product<Kpl32s, Kpl32s, Kpl32s>>,
    Case<Shape::kConstI, kplsMulC_32s_ISfs, Kpl32s, Kpl32s, Kpl32s, ref_product<Kpl32s, Kpl32s, Kpl32s>>,
    Case<Shape::kConst, kplsMulC_32sc_Sfs, Kpl32sc, Kpl32sc, Kpl32sc, ref_complex<Kpl32sc>>,
    Case<Shape::kConstI, kplsMulC_32sc_ISfs, Kpl32sc, Kpl32sc, Kpl32sc, ref_complex<Kpl32sc>>,
    Case<Shape::kConstI, kplsMulC_16s_I, Kpl16s, Kpl16s, Kpl16s, ref_product<Kpl16s, Kpl16s, Kpl16s>>>;

template <class C>
class MulFloat : public ::testing::Test {};
TYPED_TEST_SUITE(MulFloat, FloatCases);
template <class C>
class MulInteger : public ::testing::Test {};
TYPED_TEST_SUITE(MulInteger, IntegerCases);

TYPED_TEST(MulFloat, MatchesReferenceAtEveryLengthAndOffset) { sweep_case<TypeParam>(); }
TYPED_TEST(MulFloat, ArgumentErrorsWriteNothing) { checks_write_nothing<TypeParam::len_index>(TypeParam::entry); }
TYPED_TEST(MulInteger, MatchesExactRuleAtEveryScaleFactor) { sweep_case<TypeParam>(); }
TYPED_TEST(MulInteger, ArgumentErrorsWriteNothing) { checks_write_nothing<TypeParam::len_index>(TypeParam::entry); }

// ---- Edges of the integer forms ----

// One product through both paths: 19 copies, so that blocks and the tail both see it.
template <class A, class B, class D>
D both_paths(KplStatus (*f)(const A*, const B*, D*, int, int), std::type_identity_t<A> a, std::type_identity_t<B> b, int s) {
  constexpr int n = 19;
  A av[n];
  B bv[n];
  D d[n];
  std::fill(av, av + n, a), std::fill(bv, bv + n, b), std::fill(d, d + n, D{});
  EXPECT_EQ(f(av, bv, d, n, s), kplStsOk);
  for (int i = 1; i < n; ++i) EXPECT_TRUE(same(d[i], d[0])) << "element " << i << " s=" << s;
  return d[0];
}

// The sweep covers these with the same references; the table keeps the
// documented edges readable: the most negative squares, ties to even, the
// bounds, the bit-exact low form and binary64 losing the low bits past 2^53.
TEST(MulIntegerEdges, DocumentedValues) {
  EXPECT_EQ(both_paths(kplsMul_16s_Sfs, -32768, -32768, 30), 1);
  EXPECT_EQ(both_paths(kplsMul_16s_Sfs, -32768, -32768, 31), 0);
  EXPECT_EQ(both_paths(kplsMul_16s_Sfs, -1, 1, -15), -32768);  // -1 * 2^15 is exact
  EXPECT_EQ(both_paths(kplsMul_16s_Sfs, 5, 1, 1), 2);          // 2.5 to even
  EXPECT_EQ(both_paths(kplsMul_16u_Sfs, 65535, 65535, 32), 1);  // 0.99997 rounds up
  EXPECT_EQ(both_paths(kplsMul_Low_32s_Sfs, -3, 1, 1), -2);      // bits, no rounding: floor
  EXPECT_EQ(both_paths(kplsMul_Low_32s_Sfs, 3, 1, -31), INT32_MIN);  // the low word shifted: wraps
  EXPECT_EQ(both_paths(kplsMul_Low_32s_Sfs, 3, 1, -32), INT32_MAX);  // the bound saturates
  EXPECT_EQ(both_paths(kplsMul_32s_Sfs, 2147483647, 2147483647, 62), 1);
  EXPECT_EQ(both_paths(kplsMul_32s_Sfs, 2147483647, 2147483647, 32), 1073741823);
  EXPECT_EQ(both_paths(kplsMul_32s_Sfs, -1, 1, -31), INT32_MIN);
}

TEST(MulIntegerEdges, Mul16s32sSaturatesWhatCannotSurviveTheShift) {
  auto mul = [](Kpl16s a, Kpl16s b, int s) { return both_paths(kplsMul_16s32s_Sfs, a, b, s); };
  EXPECT_EQ(mul(-32768, -32768, 0), 1 << 30);
  EXPECT_EQ(mul(1, 1, -30), 1 << 30);
  EXPECT_EQ(mul(2, 1, -30), INT32_MAX);   // above 0x7FFFFFFF >> 30
  EXPECT_EQ(mul(-2, 1, -30), INT32_MIN);  // -2^31 exactly
  EXPECT_EQ(mul(-3, 1, -30), INT32_MIN);
  EXPECT_EQ(mul(1, 1, -31), INT32_MAX);
  EXPECT_EQ(mul(0, 7, -31), 0);
  EXPECT_EQ(mul(-32768, -32768, 30), 1);
  EXPECT_EQ(mul(-32768, -32768, 31), 0);
}

TEST(MulIntegerEdges, Complex16sHoldsTwoTo31) {
  const Kpl16sc m{-32768, -32768};
  struct { int s; Kpl16sc want; } cases[] = {{0, {0, 32767}}, {16, {0, 32767}}, {17, {0, 16384}}, {31, {0, 1}}, {-15, {0, 32767}}};
  for (auto c : cases) {
    EXPECT_TRUE(same(both_paths(kplsMul_16sc_Sfs, m, m, c.s), c.want)) << "s=" << c.s;
    std::vector<Kpl16sc> v(19, m);
    ASSERT_EQ(kplsMulC_16sc_ISfs(m, v.data(), 19, c.s), kplStsOk);
    for (const auto& x : v) EXPECT_TRUE(same(x, c.want)) << "MulC s=" << c.s << " gave " << show(x);
  }
  // A constant with an imaginary part of -32768 follows the plain rule.
  const Kpl16sc src[] = {{1, 0}, {0, 1}, {-32768, 32767}, {32767, -32768}, {-1, -1}};
  for (int s : {0, 1, 5, 15, -3}) {
    Kpl16sc d[5];
    ASSERT_EQ(kplsMulC_16sc_Sfs(src, Kpl16sc{1, -32768}, d, 5, s), kplStsOk);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(same(d[i], ref_complex(src[i], Kpl16sc{1, -32768}, s))) << i << " s=" << s;
  }
}

TEST(MulIntegerEdges, Complex32sHoldsTwoTo63) {
  const Kpl32sc m{INT32_MIN, INT32_MIN};
  for (auto [s, im] : {std::pair<int, Kpl32s>{0, INT32_MAX}, {32, INT32_MAX}, {33, 1 << 30}, {63, 1}, {-5, INT32_MAX}}) {
    const Kpl32sc d = both_paths(kplsMul_32sc_Sfs, m, m, s);
    EXPECT_TRUE(d.re == 0 && d.im == im) << "s=" << s << " gave " << show(d);
  }
}

// Shortcuts of the integer constants: 0 fills zeros at every scale factor, 1 at
// s = 0 copies, and MulC_8u below -7 saturates every non-zero element.
TEST(MulIntegerEdges, ConstantShortcuts) {
  const Kpl8u src8[] = {0, 1, 2, 255};
  for (int s : {-20, -8, -1, 0, 1, 16, 17, 40}) {
    Kpl8u d[4] = {9, 9, 9, 9};
    ASSERT_EQ(kplsMulC_8u_Sfs(src8, 0, d, 4, s), kplStsOk);
    for (Kpl8u x : d) EXPECT_EQ(x, 0) << "s=" << s;
  }
  Kpl8u d8[4];
  ASSERT_EQ(kplsMulC_8u_Sfs(src8, 1, d8, 4, -8), kplStsOk);
  EXPECT_TRUE(d8[0] == 0 && d8[1] == 255 && d8[2] == 255 && d8[3] == 255);
  const Kpl32s src32[] = {INT32_MIN, -1, 0, INT32_MAX};
  for (int s : {-40, 0, 62, 63, 100}) {
    Kpl32s d[4] = {5, 5, 5, 5};
    ASSERT_EQ(kplsMulC_32s_Sfs(src32, 0, d, 4, s), kplStsOk);
    for (Kpl32s x : d) EXPECT_EQ(x, 0) << "s=" << s;
  }
  Kpl32s d32[4];
  ASSERT_EQ(kplsMulC_32s_Sfs(src32, 1, d32, 4, 0), kplStsOk);
  EXPECT_EQ(std::memcmp(d32, src32, sizeof d32), 0);
  ASSERT_EQ(kplsMulC_32s_Sfs(src32, INT32_MIN, d32, 4, 62), kplStsOk);  // exact 64-bit rounding
  EXPECT_TRUE(d32[0] == 1 && d32[1] == 0 && d32[2] == 0 && d32[3] == -1) << show(d32[0]) << " " << show(d32[3]);
  Kpl16s in_place[] = {-32768, 3};
  ASSERT_EQ(kplsMulC_16s_I(-1, in_place, 2), kplStsOk);  // unscaled: saturates
  EXPECT_TRUE(in_place[0] == 32767 && in_place[1] == -3);
}

// MulC_16u and Mul_16u test their zero fill before their pointers: Zero's own
// checks are all that apply then.
TEST(MulIntegerEdges, Unsigned16ZeroFillBeforePointers) {
  Guarded<Kpl16u> d(5);
  fill_random_bits(d.data(), 5, 4);
  EXPECT_EQ(kplsMulC_16u_Sfs(nullptr, 0, d.data(), 5, 0), kplStsOk);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(d[i], 0);
  fill_random_bits(d.data(), 5, 5);
  EXPECT_EQ(kplsMulC_16u_Sfs(nullptr, 7, d.data(), 5, 33), kplStsOk);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(d[i], 0);
  fill_random_bits(d.data(), 5, 6);
  EXPECT_EQ(kplsMul_16u_Sfs(nullptr, nullptr, d.data(), 5, 33), kplStsOk);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(d[i], 0);
  EXPECT_TRUE(d.guards_intact());
  const auto d0 = d.snapshot();
  EXPECT_EQ(kplsMulC_16u_Sfs(nullptr, 0, nullptr, 5, 0), kplStsNullPointer);
  EXPECT_EQ(kplsMulC_16u_Sfs(nullptr, 0, d.data(), 0, 0), kplStsBadSize);
  EXPECT_EQ(kplsMulC_16u_ISfs(3, nullptr, 5, 40), kplStsNullPointer);
  EXPECT_EQ(kplsMulC_16u_ISfs(0, d.data(), -1, 1), kplStsBadSize);
  EXPECT_EQ(kplsMul_16u_ISfs(nullptr, d.data(), 0, 33), kplStsBadSize);
  EXPECT_EQ(kplsMulC_16u_Sfs(nullptr, 3, d.data(), 5, 32), kplStsNullPointer);  // 32 still computes
  EXPECT_EQ(kplsMulC_16u_ISfs(1, nullptr, 5, 0), kplStsNullPointer);  // the copy shortcut comes after the checks
  EXPECT_TRUE(d.unchanged_since(d0));
}

// ---- Edges of the float forms ----

TEST(MulFloatEdges, RealConstantShortcuts) {
  const auto sp = special_floats();
  const int n = static_cast<int>(sp.size());
  for (Kpl32f zero : {0.0f, -0.0f}) {
    std::vector<Kpl32f> d(sp.size(), 5.0f), in_place = sp;
    ASSERT_EQ(kplsMulC_32f(sp.data(), zero, d.data(), n), kplStsOk);
    ASSERT_EQ(kplsMulC_32f_I(zero, in_place.data(), n), kplStsOk);
    for (size_t i = 0; i < sp.size(); ++i)
      EXPECT_TRUE(std::bit_cast<uint32_t>(d[i]) == 0 && std::bit_cast<uint32_t>(in_place[i]) == 0) << show(sp[i]);
  }
  std::vector<Kpl32f> copy(sp.size());
  ASSERT_EQ(kplsMulC_32f(sp.data(), 1.0f, copy.data(), n), kplStsOk);
  EXPECT_TRUE(same_bits(copy.data(), sp.data(), sp.size()));  // signalling NaN payloads too
  const auto dsp = special_doubles();
  std::vector<Kpl64f> zeros(dsp.size(), 5.0), dcopy = dsp;
  ASSERT_EQ(kplsMulC_64f(dsp.data(), -0.0, zeros.data(), static_cast<int>(dsp.size())), kplStsOk);
  for (Kpl64f z : zeros) EXPECT_EQ(std::bit_cast<uint64_t>(z), 0u);
  ASSERT_EQ(kplsMulC_64f_I(1.0, dcopy.data(), static_cast<int>(dsp.size())), kplStsOk);
  EXPECT_TRUE(same_bits(dcopy.data(), dsp.data(), dsp.size()));
  // A complex zero runs the product: NaN over NaN, -0 where the signs say so.
  const Kpl32fc c[] = {{std::bit_cast<Kpl32f>(0x7FC00000u), 1.0f}, {-1.0f, 2.0f}};
  Kpl32fc out[2];
  ASSERT_EQ(kplsMulC_32fc(c, Kpl32fc{0.0f, 0.0f}, out, 2), kplStsOk);
  EXPECT_TRUE(std::isnan(out[0].re) && std::isnan(out[0].im));
  EXPECT_EQ(std::bit_cast<uint32_t>(out[1].re), 0x80000000u);  // (-1 * 0) - (2 * 0) = -0 - +0
  EXPECT_EQ(std::bit_cast<uint32_t>(out[1].im), 0x00000000u);  // (2 * 0) + (-1 * 0) = +0 + -0
}

TEST(MulFloatEdges, ComplexProductOrder) {
  // re = a.re*b.re - a.im*b.im rounds each product first: x * x is inexact in
  // single precision, so a fused multiply-add would leave its rounding error here.
  const float x = 1.0f + 0x1p-12f;
  const Kpl32fc a{x, x};
  Kpl32fc d;
  ASSERT_EQ(kplsMul_32fc(&a, &a, &d, 1), kplStsOk);
  EXPECT_EQ(std::bit_cast<uint32_t>(d.re), 0u);
  EXPECT_EQ(d.im, x * x + x * x);
  const Kpl32fc big{3e38f, 3e38f}, two{2.0f, 0.0f};
  ASSERT_EQ(kplsMul_32fc(&big, &two, &d, 1), kplStsOk);  // overflow is the IEEE result of each step
  EXPECT_TRUE(std::isinf(d.re) && std::isinf(d.im));
}

// Float to 16s: clamp, NaN to 32767, ties to even under a forced nearest mode that
// is restored; the Low form rounds by the caller's mode.
TEST(MulFloatEdges, FloatTo16sRoundingAndClamp) {
  const Kpl32f src[] = {0.5f, 1.5f, 2.5f, -2.5f, -0.5f, 1e9f, -1e9f, std::bit_cast<Kpl32f>(0x7FC00000u),
                        std::bit_cast<Kpl32f>(0xFFC00001u), INFINITY, -INFINITY, -2.7f, 32767.4f, -32768.6f};
  const Kpl16s nearest[] = {0, 2, 2, -2, 0, 32767, -32768, 32767, 32767, 32767, -32768, -3, 32767, -32768};
  const Kpl16s down[] = {0, 1, 2, -3, -1, 32767, -32768, 32767, 32767, 32767, -32768, -3, 32767, -32768};
  const Kpl16s trunc[] = {0, 1, 2, -2, 0, 32767, -32768, 32767, 32767, 32767, -32768, -2, 32767, -32768};
  constexpr int n = sizeof src / sizeof src[0];
  const unsigned saved = _mm_getcsr();
  for (unsigned mode : {0x0000u, 0x2000u, 0x6000u}) {
    _mm_setcsr((saved & ~0x6000u) | mode);
    Kpl16s d[n], low[n], scaled[n];
    ASSERT_EQ(kplsMulC_32f16s_Sfs(src, 1.0f, d, n, 0), kplStsOk);
    EXPECT_EQ(_mm_getcsr() & 0x6000u, mode) << "the caller's mode is restored";
    ASSERT_EQ(kplsMulC_32f16s_Sfs(src, 4.0f, scaled, n, 2), kplStsOk);  // 4 * 2^-2 = 1
    ASSERT_EQ(kplsMulC_Low_32f16s(src, 1.0f, low, n), kplStsOk);
    const Kpl16s* want_low = mode == 0 ? nearest : (mode == 0x2000u ? down : trunc);
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(d[i], nearest[i]) << show(src[i]) << " mode " << mode;
      EXPECT_EQ(scaled[i], nearest[i]) << show(src[i]) << " mode " << mode;
      EXPECT_EQ(low[i], want_low[i]) << show(src[i]) << " mode " << mode;
    }
  }
  _mm_setcsr(saved);
  // The scale factor is clamped to [-127, 126].
  const Kpl32f one = 1.0f, tiny = 0x1p-126f;
  Kpl16s a, b;
  ASSERT_EQ(kplsMulC_32f16s_Sfs(&one, 0x1p126f, &a, 1, 1000), kplStsOk);
  EXPECT_EQ(a, 1);
  ASSERT_EQ(kplsMulC_32f16s_Sfs(&tiny, 1.5f, &b, 1, INT32_MIN), kplStsOk);  // 2^-126 * (1.5 * 2^127)
  EXPECT_EQ(b, 3);
}

// Vectors on addresses that no element size divides give the values of aligned
// ones (the test moves bytes only, never reads an element through such a pointer).
template <class A, class B, class D, class F>
void expect_same_at_odd_addresses(F call, const char* name) {
  for (size_t len : {7u, 37u}) {
    std::vector<A> a(len);
    std::vector<B> b(len);
    std::vector<D> want(len);
    Rng rng(len);
    for (auto& x : a) x = pick<A>(rng);
    for (auto& x : b) x = pick<B>(rng);
    ASSERT_EQ(call(a.data(), b.data(), want.data(), static_cast<int>(len)), kplStsOk);
    std::vector<uint8_t> raw_a(len * sizeof(A) + 8), raw_b(len * sizeof(B) + 8), raw_d(len * sizeof(D) + 8, 0xA5);
    std::memcpy(raw_a.data() + 1, a.data(), len * sizeof(A));
    std::memcpy(raw_b.data() + 3, b.data(), len * sizeof(B));
    ASSERT_EQ(call(reinterpret_cast<const A*>(raw_a.data() + 1), reinterpret_cast<const B*>(raw_b.data() + 3),
                   reinterpret_cast<D*>(raw_d.data() + 5), static_cast<int>(len)),
              kplStsOk);
    EXPECT_EQ(std::memcmp(raw_d.data() + 5, want.data(), len * sizeof(D)), 0) << name << " len=" << len;
    EXPECT_TRUE(std::all_of(raw_d.begin(), raw_d.begin() + 5, [](uint8_t x) { return x == 0xA5; }) &&
                std::all_of(raw_d.begin() + 5 + len * sizeof(D), raw_d.end(), [](uint8_t x) { return x == 0xA5; }))
        << name;
  }
}

TEST(MulEdges, OddAddressesGiveTheSameValues) {
  expect_same_at_odd_addresses<Kpl32f, Kpl32f, Kpl32f>(kplsMul_32f, "Mul_32f");
  expect_same_at_odd_addresses<Kpl32fc, Kpl32fc, Kpl32fc>(kplsMul_32fc, "Mul_32fc");
  expect_same_at_odd_addresses<Kpl32f, Kpl32f, Kpl32f>(
      [](const Kpl32f* a, const Kpl32f*, Kpl32f* d, int n) { return kplsMulC_32f(a, 0.75f, d, n); }, "MulC_32f");
  expect_same_at_odd_addresses<Kpl32f, Kpl32f, Kpl16s>(
      [](const Kpl32f* a, const Kpl32f*, Kpl16s* d, int n) { return kplsMulC_32f16s_Sfs(a, 3.0f, d, n, -2); }, "MulC_32f16s_Sfs");
  expect_same_at_odd_addresses<Kpl16s, Kpl16s, Kpl16s>(
      [](const Kpl16s* a, const Kpl16s* b, Kpl16s* d, int n) { return kplsMul_16s_Sfs(a, b, d, n, 3); }, "Mul_16s_Sfs");
  expect_same_at_odd_addresses<Kpl16sc, Kpl16sc, Kpl16sc>(
      [](const Kpl16sc* a, const Kpl16sc* b, Kpl16sc* d, int n) { return kplsMul_16sc_Sfs(a, b, d, n, 20); }, "Mul_16sc_Sfs");
  expect_same_at_odd_addresses<Kpl16s, Kpl16s, Kpl32s>(
      [](const Kpl16s* a, const Kpl16s* b, Kpl32s* d, int n) { return kplsMul_16s32s_Sfs(a, b, d, n, -7); }, "Mul_16s32s_Sfs");
  expect_same_at_odd_addresses<Kpl32s, Kpl32s, Kpl32s>(
      [](const Kpl32s* a, const Kpl32s* b, Kpl32s* d, int n) { return kplsMul_32s_Sfs(a, b, d, n, 5); }, "Mul_32s_Sfs");
  expect_same_at_odd_addresses<Kpl32sc, Kpl32sc, Kpl32sc>(
      [](const Kpl32sc* a, const Kpl32sc* b, Kpl32sc* d, int n) { return kplsMul_32sc_Sfs(a, b, d, n, 9); }, "Mul_32sc_Sfs");
  expect_same_at_odd_addresses<Kpl32s, Kpl32s, Kpl32s>(
      [](const Kpl32s* a, const Kpl32s*, Kpl32s* d, int n) { return kplsMulC_32s_Sfs(a, 7, d, n, 4); }, "MulC_32s_Sfs");
  expect_same_at_odd_addresses<Kpl64s, Kpl64s, Kpl64s>(
      [](const Kpl64s* a, const Kpl64s*, Kpl64s* d, int n) {
        std::memcpy(static_cast<void*>(d), a, static_cast<size_t>(n) * sizeof(Kpl64s));
        return kplsMulC_64s_ISfs(-3, d, static_cast<Kpl32u>(n), 1);
      },
      "MulC_64s_ISfs");
}

// Above the streaming limits the stores bypass the cache; the values must not change.
TEST(MulFloatEdges, LongVectorsStreamWithTheSameValues) {
  auto check = [](auto entry, auto ref, size_t n, auto tag) {
    using T = decltype(tag);
    for (size_t off : {0u, 1u}) {
      Guarded<T> a(n, 3), b(n, 5), d(n, off);
      Rng rng(n + off);
      for (size_t i = 0; i < n; ++i) a[i] = pick<T>(rng), b[i] = pick<T>(rng);
      std::vector<T> want(n);
      for (size_t i = 0; i < n; ++i) want[i] = ref(a[i], b[0], b[i]);
      ASSERT_EQ(entry(a.data(), b.data(), d.data(), static_cast<int>(n)), kplStsOk);
      for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same(d[i], want[i])) << i << " offset " << off;
      ASSERT_TRUE(d.guards_intact());
    }
  };
  auto vec = [](auto f) { return [f](auto* a, auto* b, auto* d, int n) { return f(a, b, d, n); }; };
  auto cst = [](auto f) { return [f](auto* a, auto* b, auto* d, int n) { return f(a, *b, d, n); }; };
  auto cst_i = [](auto f) {
    return [f](auto* a, auto* b, auto* d, int n) { std::copy(a, a + n, d); return f(*b, d, n); };
  };
  auto mul = [](auto a, auto, auto b) { return ref_mul(a, b, 0); };
  auto cmul = [](auto a, auto, auto b) { return ref_cmul(a, b, 0); };
  auto cmulc = [](auto a, auto v, auto) { return ref_cmul(a, v, 0); };
  auto mulc = [](auto a, auto v, auto) { return ref_mulc_real(a, v, 0); };
  check(vec(kplsMul_64f), mul, 10922 * 4 + 9, Kpl64f{});
  check(vec(kplsMul_64fc), cmul, 10922 * 2 + 3, Kpl64fc{});
  check([](auto* a, auto* b, auto* d, int n) { std::copy(b, b + n, d); return kplsMul_64fc_I(a, d, n); }, cmul, 16384 * 2 + 3, Kpl64fc{});
  check(cst(kplsMulC_32f), mulc, 16384 * 8 + 13, Kpl32f{});
  check(cst(kplsMulC_32fc), cmulc, 16384 * 4 + 5, Kpl32fc{});
  check(cst_i(kplsMulC_32fc_I), cmulc, 65536 * 2 + 5, Kpl32fc{});
  check(cst(kplsMulC_64fc), cmulc, 32768 * 2 + 1, Kpl64fc{});
  const size_t n = 32768 * 8 + 11;  // Mul_16s32f
  for (size_t off : {0u, 2u}) {
    Guarded<Kpl16s> a(n, 1), b(n, 2);
    Guarded<Kpl32f> d(n, off);
    fill_random_bits(a.data(), n, 8), fill_random_bits(b.data(), n, 9);
    ASSERT_EQ(kplsMul_16s32f(a.data(), b.data(), d.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(d[i], ref_16s32f(a[i], b[i], 0)) << i;
    ASSERT_TRUE(d.guards_intact());
  }
}

// ---- 64-bit constants in extended precision ----

uint16_t x87_control() {
  uint16_t cw;
  asm volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
void set_x87_control(uint16_t cw) { asm volatile("fldcw %0" : : "m"(cw)); }

TEST(MulC64s, MatchesExactRuleWhereTheProductIsExact) {
  Rng rng(3);
  for (int s = -40; s <= 40; ++s) {
    for (size_t off : {0u, 1u}) {
      const size_t n = 37;
      Guarded<Kpl64s> d(n, off);
      std::vector<Kpl64s> src(n);
      // |val| < 2^20, |x| < 2^43: the product needs at most 63 bits, exact in the extended format.
      const Kpl64s val = static_cast<Kpl64s>(rng.next() % (1u << 20)) - (1 << 19);
      for (auto& x : src) x = static_cast<Kpl64s>(rng.next() >> 21) * (rng.next() % 2 ? 1 : -1);
      src[0] = 0, src[1] = 1, src[2] = -1, src[3] = int64_t{3} << 40;
      d.assign(src.data());
      ASSERT_EQ(kplsMulC_64s_ISfs(val, d.data(), n, s), kplStsOk);
      for (size_t i = 0; i < n; ++i) ASSERT_EQ(d[i], scaled<Kpl64s>(i128{src[i]} * val, s)) << src[i] << "*" << val << " s=" << s;
      Kpl64s fd[3] = {src[4], src[5], src[6]};
      ASSERT_EQ(kplsMulC_64f64s_ISfs(static_cast<Kpl64f>(val), fd, 3, s), kplStsOk);
      for (size_t i = 0; i < 3; ++i) ASSERT_EQ(fd[i], scaled<Kpl64s>(i128{src[4 + i]} * val, s)) << "64f s=" << s;
      ASSERT_TRUE(d.guards_intact());
    }
  }
}

TEST(MulC64s, ClampsRoundsAndRestoresTheControlWord) {
  const Kpl64s kMax = INT64_MAX, kMin = INT64_MIN;
  struct { Kpl64s val, x; int s; Kpl64s want; } cases[] = {
      {3, 5, 1, 8},     {3, 7, 1, 10},  {-3, 5, 1, -8},    {kMax, 1, 0, kMax},  {kMax, 2, 0, kMax},
      {kMin, 1, 0, kMin}, {kMin, -1, 0, kMax}, {1, (int64_t{1} << 60) + 1, 0, (int64_t{1} << 60) + 1},
      {5, 1, -63, kMax}, {5, 1, 1000000, 0}, {5, -1, INT32_MIN, kMin}, {0, kMin, INT32_MIN, 0}};
  const uint16_t saved = x87_control();
  const uint16_t caller = static_cast<uint16_t>((saved & ~0x0F00) | 0x0200 | 0x0400);  // double precision, round down
  for (const auto& c : cases) {
    Kpl64s x = c.x;
    set_x87_control(caller);
    const KplStatus st = kplsMulC_64s_ISfs(c.val, &x, 1, c.s);
    const uint16_t after = x87_control();
    set_x87_control(saved);
    EXPECT_EQ(st, kplStsOk);
    EXPECT_EQ(after, caller);
    EXPECT_EQ(x, c.want) << c.val << "*" << c.x << " s=" << c.s;
  }
  // A NaN takes the upper bound; infinities clamp.
  struct { Kpl64f val; Kpl64s want; } fcases[] = {{NAN, kMax}, {-NAN, kMax}, {INFINITY, kMax}, {-INFINITY, kMin}, {0.5, 2}, {1.5, 6}};
  for (const auto& c : fcases) {
    Kpl64s x = 4;
    ASSERT_EQ(kplsMulC_64f64s_ISfs(c.val, &x, 1, 0), kplStsOk);
    EXPECT_EQ(x, c.want) << c.val;
  }
  Kpl64s v[2] = {1, 2};
  EXPECT_EQ(kplsMulC_64s_ISfs(2, nullptr, 0, 0), kplStsNullPointer);
  EXPECT_EQ(kplsMulC_64s_ISfs(2, v, 0, 0), kplStsBadSize);
  EXPECT_EQ(kplsMulC_64f64s_ISfs(2.0, nullptr, 2, 0), kplStsNullPointer);
  EXPECT_EQ(kplsMulC_64f64s_ISfs(2.0, v, 0, 0), kplStsBadSize);
  EXPECT_TRUE(v[0] == 1 && v[1] == 2);
}

// Mul_32s changes the SIMD rounding mode for the call only.
TEST(MulIntegerEdges, Mul32sRoundsToNearestWhateverTheCallerSet) {
  const Kpl32s a[] = {5, -5, 7, 3}, b[] = {1, 1, 1, 1};
  Kpl32s d[4];
  const unsigned saved = _mm_getcsr();
  _mm_setcsr((saved & ~0x6000u) | 0x2000u);
  const KplStatus st = kplsMul_32s_Sfs(a, b, d, 4, 1);
  const unsigned after = _mm_getcsr();
  _mm_setcsr(saved);
  EXPECT_EQ(st, kplStsOk);
  EXPECT_EQ(after & 0x6000u, 0x2000u);
  EXPECT_TRUE(d[0] == 2 && d[1] == -2 && d[2] == 4 && d[3] == 2);
}

}  // namespace
