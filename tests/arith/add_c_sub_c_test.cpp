// AddC, SubC and SubCRev in every type and form. Each family is swept over
// lengths, start offsets and constants against a reference written here (single
// IEEE operations for floats, exact integers with their own rounding for the
// scaled forms), out of place and in place; the limits, shortcuts and the order
// of checks sit beside the sweeps as small tables.
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"
#include "arith/arith_cases.hpp"

using namespace kpltest;

namespace {

enum class Kind { kAdd, kSub, kSubRev };

const char* kind_name(Kind k) { return k == Kind::kAdd ? "AddC" : (k == Kind::kSub ? "SubC" : "SubCRev"); }

template <class E>
struct Parts {
  using P = typename PartOf<E>::type;
  static constexpr size_t kCount = PartOf<E>::kParts;
};

// An entry and its in-place twin, with the family they belong to.
template <class E, Kind K, auto Out, auto In>
struct Form {
  using Elem = E;
  using P = typename Parts<E>::P;
  static constexpr size_t kParts = Parts<E>::kCount;
  static constexpr Kind kind = K;
  static constexpr auto out = Out;
  static constexpr auto in = In;
};

template <class E>
E from_parts(const typename Parts<E>::P* p) {
  E e;
  std::memcpy(&e, p, sizeof e);
  return e;
}

// ---------------------------------------------------------------------------
// Floating reference: one IEEE operation per part, the source first in an
// addition; of two NaN operands the first one's payload comes out, quieted.

template <class P>
P quiet(P x) {
  if constexpr (sizeof(P) == 4) return std::bit_cast<P>(std::bit_cast<uint32_t>(x) | 0x00400000u);
  else return std::bit_cast<P>(std::bit_cast<uint64_t>(x) | 0x0008000000000000ull);
}

template <class P>
P float_ref(Kind k, P x, P c) {
  const P a = k == Kind::kSubRev ? c : x, b = k == Kind::kSubRev ? x : c;
  if (std::isnan(a)) return quiet(a);
  if (std::isnan(b)) return quiet(b);
  const volatile P va = a, vb = b;  // one operation at the part's own precision
  return k == Kind::kAdd ? static_cast<P>(va + vb) : static_cast<P>(va - vb);
}

// What a call must leave in one element: the constant zero of the real AddC and
// SubC forms is a copy, bits and all.
template <class F>
void float_expect(const typename F::Elem* src, typename F::Elem val, typename F::Elem* want, size_t n) {
  using P = typename F::P;
  const bool copy = F::kParts == 1 && F::kind != Kind::kSubRev && reinterpret_cast<const P*>(&val)[0] == 0;
  for (size_t i = 0; i < n; ++i) {
    for (size_t k = 0; k < F::kParts; ++k) {
      const P x = reinterpret_cast<const P*>(src + i)[k], c = reinterpret_cast<const P*>(&val)[k];
      reinterpret_cast<P*>(want + i)[k] = copy ? x : float_ref(F::kind, x, c);
    }
  }
}

template <class P>
std::vector<P> float_specials() {
  if constexpr (sizeof(P) == 4) return special_floats();
  else return special_doubles();
}

// Random parts, a third of them special values.
template <class P>
void fill_float_parts(P* p, size_t count, uint64_t seed) {
  const std::vector<P> sp = float_specials<P>();
  Rng r(seed);
  for (size_t i = 0; i < count; ++i) {
    const uint64_t pick = r.next();
    if (pick % 3 == 0) p[i] = sp[(pick >> 8) % sp.size()];
    else if (pick % 3 == 1) fill_random_bits(&p[i], 1, pick);
    else p[i] = static_cast<P>(r.uniform(-1000, 1000));
  }
}

// The constants every floating sweep cycles through: zeros of both signs, a
// quiet NaN and a signalling one with payloads, infinities, a denormal.
template <class E>
std::vector<E> float_constants() {
  using P = typename Parts<E>::P;
  const std::vector<P> sp = float_specials<P>();
  std::vector<P> pick = {P(1.5), sp[0], sp[1], sp[4], sp[6], sp[2], sp[3], sp[8], P(-0.1), P(3e7)};
  std::vector<E> out;
  for (size_t i = 0; i < pick.size(); ++i) {
    P parts[2] = {pick[i], pick[(i * 3 + 1) % pick.size()]};
    out.push_back(from_parts<E>(parts));
  }
  return out;
}

template <class F>
class FloatConst : public ::testing::Test {};
using FloatForms = ::testing::Types<
    Form<Kpl32f, Kind::kAdd, kplsAddC_32f, kplsAddC_32f_I>, Form<Kpl64f, Kind::kAdd, kplsAddC_64f, kplsAddC_64f_I>,
    Form<Kpl32fc, Kind::kAdd, kplsAddC_32fc, kplsAddC_32fc_I>, Form<Kpl64fc, Kind::kAdd, kplsAddC_64fc, kplsAddC_64fc_I>,
    Form<Kpl32f, Kind::kSub, kplsSubC_32f, kplsSubC_32f_I>, Form<Kpl64f, Kind::kSub, kplsSubC_64f, kplsSubC_64f_I>,
    Form<Kpl32fc, Kind::kSub, kplsSubC_32fc, kplsSubC_32fc_I>, Form<Kpl64fc, Kind::kSub, kplsSubC_64fc, kplsSubC_64fc_I>,
    Form<Kpl32f, Kind::kSubRev, kplsSubCRev_32f, kplsSubCRev_32f_I>,
    Form<Kpl64f, Kind::kSubRev, kplsSubCRev_64f, kplsSubCRev_64f_I>,
    Form<Kpl32fc, Kind::kSubRev, kplsSubCRev_32fc, kplsSubCRev_32fc_I>,
    Form<Kpl64fc, Kind::kSubRev, kplsSubCRev_64fc, kplsSubCRev_64fc_I>>;
TYPED_TEST_SUITE(FloatConst, FloatForms);

// One call at (len, offsets) out of place and in place, through the shared harness.
template <class F>
void check_float_call(size_t len, size_t so, size_t dof, typename F::Elem val, uint64_t salt) {
  using E = typename F::Elem;
  check_unary<E, E>(
      kind_name(F::kind), len, so, dof, [&](const E* s, E* d, int n) { return F::out(s, val, d, n); },
      [&](E* v, int n) { return F::in(val, v, n); },
      [](E* p, size_t n, uint64_t seed) { fill_float_parts(reinterpret_cast<typename F::P*>(p), n * F::kParts, seed); },
      [&](E x) {
        E w;
        float_expect<F>(&x, val, &w, 1);
        return w;
      },
      salt);
}

TYPED_TEST(FloatConst, MatchesSingleOperationsBitForBit) {
  const auto constants = float_constants<typename TypeParam::Elem>();
  size_t call = 0;
  sweep2([&](size_t len, size_t so, size_t dof) {
    ++call;
    if (!::testing::Test::HasFailure()) check_float_call<TypeParam>(len, so, dof, constants[call % constants.size()], call);
  });
}

// Past the streaming limits (out of place) and the prefetch limits (in place)
// the values are the same; 17 MiB vectors are past half of common caches.
TYPED_TEST(FloatConst, LongVectorsTakeTheSameValues) {
  using E = typename TypeParam::Elem;
  check_float_call<TypeParam>((size_t{17} << 20) / sizeof(E) + 3, 2, 0, float_constants<E>()[0], 0);
}

TYPED_TEST(FloatConst, BadArgumentsWriteNothing) {
  using F = TypeParam;
  using E = typename F::Elem;
  Guarded<E> src(8), dst(8);
  fill_random_bits(src.data(), 8, 1);
  const auto s0 = src.snapshot(), d0 = dst.snapshot();
  const E val = float_constants<E>()[0];
  expect_checks<3>(F::out, std::make_tuple(static_cast<const E*>(src.data()), val, dst.data(), 8), kind_name(F::kind));
  expect_checks<2>(F::in, std::make_tuple(val, dst.data(), 8), kind_name(F::kind));
  // The zero shortcut of the real forms comes after the checks as well.
  const E zero{};
  expect_checks<3>(F::out, std::make_tuple(static_cast<const E*>(src.data()), zero, dst.data(), 8), kind_name(F::kind));
  expect_checks<2>(F::in, std::make_tuple(zero, dst.data(), 8), kind_name(F::kind));
  EXPECT_TRUE(src.unchanged_since(s0) && dst.unchanged_since(d0));
}

// No read past the source's last byte, at any length.
TYPED_TEST(FloatConst, ReadsNothingPastTheSource) {
  using F = TypeParam;
  using E = typename F::Elem;
  FencedPage page;
  ASSERT_TRUE(page.ok());
  const E val = float_constants<E>()[0];
  for (size_t len = 1; len <= 40; ++len) {
    E* src = reinterpret_cast<E*>(page.ending_at_end(len * sizeof(E)));
    fill_float_parts(reinterpret_cast<typename F::P*>(src), len * F::kParts, len);
    std::vector<E> dst(len), want(len);
    float_expect<F>(src, val, want.data(), len);
    ASSERT_EQ(F::out(src, val, dst.data(), static_cast<int>(len)), kplStsOk);
    ASSERT_TRUE(same_bits(dst.data(), want.data(), len)) << "len=" << len;
  }
}

// The zero constant: a copy for the real AddC and SubC, so signed zeros and
// signalling NaNs keep their bits; complex constants and SubCRev run the kernel.
TEST(FloatConstEdges, ZeroConstantCopiesOnlyWhereDocumented) {
  const float neg0 = -0.0f, snan = std::bit_cast<float>(0x7F800001u);
  const float src[3] = {neg0, snan, 2.5f};
  float out[3];
  auto bits = [](float f) { return std::bit_cast<uint32_t>(f); };
  for (float val : {0.0f, -0.0f}) {
    for (auto fn : {kplsAddC_32f, kplsSubC_32f}) {
      ASSERT_EQ(fn(src, val, out, 3), kplStsOk);
      EXPECT_EQ(bits(out[0]), 0x80000000u) << "val=" << val;  // a kernel would give +0.0 for one of the two
      EXPECT_EQ(bits(out[1]), 0x7F800001u) << "val=" << val;  // not quieted
      EXPECT_EQ(out[2], 2.5f);
    }
  }
  // A NaN constant is not zero: the kernel runs and the NaN comes out.
  ASSERT_EQ(kplsAddC_32f(src, std::bit_cast<float>(0x7FC00042u), out, 3), kplStsOk);
  EXPECT_EQ(bits(out[2]), 0x7FC00042u);
  EXPECT_EQ(bits(out[1]), 0x7FC00001u);  // the source's NaN first, quieted
  // SubCRev has no shortcut: 0 - (-0.0) = +0.0 and the signalling NaN is quieted.
  ASSERT_EQ(kplsSubCRev_32f(src, 0.0f, out, 3), kplStsOk);
  EXPECT_EQ(bits(out[0]), 0x00000000u);
  EXPECT_EQ(bits(out[1]), 0x7FC00001u);
  EXPECT_EQ(out[2], -2.5f);
  // A zero complex constant runs the kernel: -0.0 + 0.0 = +0.0.
  const Kpl32fc csrc[1] = {{neg0, snan}};
  Kpl32fc cout[1];
  ASSERT_EQ(kplsAddC_32fc(csrc, Kpl32fc{0.0f, 0.0f}, cout, 1), kplStsOk);
  EXPECT_EQ(bits(cout[0].re), 0x00000000u);
  EXPECT_EQ(bits(cout[0].im), 0x7FC00001u);
  // In place with a zero constant: nothing changes, not even a signalling NaN.
  double v[2] = {-0.0, std::bit_cast<double>(0x7FF0000000000001ull)};
  ASSERT_EQ(kplsSubC_64f_I(-0.0, v, 2), kplStsOk);
  EXPECT_EQ(std::bit_cast<uint64_t>(v[0]), 0x8000000000000000ull);
  EXPECT_EQ(std::bit_cast<uint64_t>(v[1]), 0x7FF0000000000001ull);
  // SubC is source minus constant, SubCRev constant minus source.
  const double d[2] = {1.0, 3.0};
  double r[2];
  ASSERT_EQ(kplsSubC_64f(d, 0.5, r, 2), kplStsOk);
  EXPECT_EQ(r[0], 0.5);
  EXPECT_EQ(r[1], 2.5);
  ASSERT_EQ(kplsSubCRev_64f(d, 0.5, r, 2), kplStsOk);
  EXPECT_EQ(r[0], -0.5);
  EXPECT_EQ(r[1], -2.5);
}

// ---------------------------------------------------------------------------
// Integer reference: the exact result in 128 bits, scaled by a division that
// rounds by comparing twice the remainder with the divisor.

__int128 exact_ref(Kind k, __int128 x, __int128 c, bool clamp_negative) {
  const __int128 r = k == Kind::kAdd ? x + c : (k == Kind::kSub ? x - c : c - x);
  return clamp_negative && r < 0 ? 0 : r;
}

template <class F>
void int_expect(const typename F::Elem* src, typename F::Elem val, typename F::Elem* want, size_t n, int s) {
  using P = typename F::P;
  for (size_t i = 0; i < n; ++i) {
    for (size_t k = 0; k < F::kParts; ++k) {
      const P x = reinterpret_cast<const P*>(src + i)[k], c = reinterpret_cast<const P*>(&val)[k];
      reinterpret_cast<P*>(want + i)[k] = scaled<P>(exact_ref(F::kind, x, c, std::is_unsigned_v<P>), s);
    }
  }
}

// Parts that hit the cases: the type's extremes, random bits, and sources whose
// exact result with this constant is a tie k * 2^s + 2^(s-1), or its neighbours.
template <class F>
void fill_int_parts(typename F::Elem* e, size_t n, typename F::Elem val, int s, uint64_t seed) {
  using P = typename F::P;
  P* p = reinterpret_cast<P*>(e);
  const std::vector<P> sp = special_integers<P>();
  Rng r(seed);
  for (size_t i = 0; i < n * F::kParts; ++i) {
    const uint64_t pick = r.next();
    if (pick % 3 == 0) {
      p[i] = sp[(pick >> 8) % sp.size()];
    } else if (pick % 3 == 1 || s <= 0 || s > 40) {
      fill_random_bits(&p[i], 1, pick);
    } else {
      constexpr __int128 lo = std::numeric_limits<P>::lowest(), hi = std::numeric_limits<P>::max();
      const __int128 c = reinterpret_cast<const P*>(&val)[i % F::kParts];
      const __int128 span = (2 * (hi - lo) >> s) + 1;  // multiples of 2^s that an exact result reaches
      const __int128 k = static_cast<__int128>(r.next() % static_cast<uint64_t>(2 * span + 1)) - span;
      const __int128 tie = k * (__int128{1} << s) + (__int128{1} << (s - 1)) + static_cast<int>(pick >> 62) - 1;  // or a neighbour
      const __int128 x = F::kind == Kind::kAdd ? tie - c : (F::kind == Kind::kSub ? tie + c : c - tie);
      p[i] = x >= lo && x <= hi ? static_cast<P>(x) : sp[(pick >> 8) % sp.size()];
    }
  }
}

template <class E>
std::vector<E> int_constants() {
  using P = typename Parts<E>::P;
  const std::vector<P> sp = special_integers<P>();
  std::vector<P> pick(sp.begin(), sp.end());
  pick.push_back(static_cast<P>(3));
  pick.push_back(static_cast<P>(std::numeric_limits<P>::max() / 3));
  std::vector<E> out;
  for (size_t i = 0; i < pick.size(); ++i) {
    P parts[2] = {pick[i], pick[(i * 3 + 2) % pick.size()]};
    out.push_back(from_parts<E>(parts));
  }
  return out;
}

template <class F>
class ScaledConst : public ::testing::Test {};
using ScaledForms = ::testing::Types<
    Form<Kpl8u, Kind::kAdd, kplsAddC_8u_Sfs, kplsAddC_8u_ISfs>, Form<Kpl16s, Kind::kAdd, kplsAddC_16s_Sfs, kplsAddC_16s_ISfs>,
    Form<Kpl16sc, Kind::kAdd, kplsAddC_16sc_Sfs, kplsAddC_16sc_ISfs>, Form<Kpl16u, Kind::kAdd, kplsAddC_16u_Sfs, kplsAddC_16u_ISfs>,
    Form<Kpl32s, Kind::kAdd, kplsAddC_32s_Sfs, kplsAddC_32s_ISfs>, Form<Kpl32sc, Kind::kAdd, kplsAddC_32sc_Sfs, kplsAddC_32sc_ISfs>,
    Form<Kpl8u, Kind::kSub, kplsSubC_8u_Sfs, kplsSubC_8u_ISfs>, Form<Kpl16s, Kind::kSub, kplsSubC_16s_Sfs, kplsSubC_16s_ISfs>,
    Form<Kpl16sc, Kind::kSub, kplsSubC_16sc_Sfs, kplsSubC_16sc_ISfs>, Form<Kpl16u, Kind::kSub, kplsSubC_16u_Sfs, kplsSubC_16u_ISfs>,
    Form<Kpl32s, Kind::kSub, kplsSubC_32s_Sfs, kplsSubC_32s_ISfs>, Form<Kpl32sc, Kind::kSub, kplsSubC_32sc_Sfs, kplsSubC_32sc_ISfs>,
    Form<Kpl8u, Kind::kSubRev, kplsSubCRev_8u_Sfs, kplsSubCRev_8u_ISfs>,
    Form<Kpl16s, Kind::kSubRev, kplsSubCRev_16s_Sfs, kplsSubCRev_16s_ISfs>,
    Form<Kpl16sc, Kind::kSubRev, kplsSubCRev_16sc_Sfs, kplsSubCRev_16sc_ISfs>,
    Form<Kpl16u, Kind::kSubRev, kplsSubCRev_16u_Sfs, kplsSubCRev_16u_ISfs>,
    Form<Kpl32s, Kind::kSubRev, kplsSubCRev_32s_Sfs, kplsSubCRev_32s_ISfs>,
    Form<Kpl32sc, Kind::kSubRev, kplsSubCRev_32sc_Sfs, kplsSubCRev_32sc_ISfs>>;
TYPED_TEST_SUITE(ScaledConst, ScaledForms);

template <class F>
void check_scaled_call(size_t len, size_t so, size_t dof, typename F::Elem val, int s, uint64_t seed) {
  using E = typename F::Elem;
  const std::string name = std::string(kind_name(F::kind)) + " s=" + std::to_string(s);
  check_unary<E, E>(
      name.c_str(), len, so, dof, [&](const E* x, E* d, int n) { return F::out(x, val, d, n, s); },
      [&](E* v, int n) { return F::in(val, v, n, s); }, [&](E* p, size_t n, uint64_t sd) { fill_int_parts<F>(p, n, val, s, sd); },
      [&](E x) {
        E w;
        int_expect<F>(&x, val, &w, 1, s);
        return w;
      },
      seed);
}

// Every length and pair of offsets at the small scale factors (each class but
// the fills), then every scale factor from -40 to 40 on fewer shapes.
TYPED_TEST(ScaledConst, MatchesExactReference) {
  using F = TypeParam;
  const auto constants = int_constants<typename F::Elem>();
  size_t call = 0;
  const int small[] = {1, 0, -1, 3};
  sweep2([&](size_t len, size_t so, size_t dof) {
    if (::testing::Test::HasFatalFailure()) return;
    const int s = small[(so + dof + len) % 4];
    ++call;
    check_scaled_call<F>(len, so, dof, constants[call % constants.size()], s, call);
  });
  for (int s = -40; s <= 40 && !::testing::Test::HasFatalFailure(); ++s)
    for (size_t len : {1u, 7u, 16u, 37u, 70u, 133u})
      for (auto val : constants) check_scaled_call<F>(len, (len + s + 40) % 16, len % 5, val, s, ++call);
  for (int s : {INT_MIN, -1000, 1000, INT_MAX}) check_scaled_call<F>(33, 1, 2, constants[s & 3], s, ++call);
}

TYPED_TEST(ScaledConst, BadArgumentsWriteNothing) {
  using F = TypeParam;
  using E = typename F::Elem;
  Guarded<E> src(8), dst(8);
  fill_random_bits(src.data(), 8, 1);
  const auto s0 = src.snapshot(), d0 = dst.snapshot();
  const E val = int_constants<E>()[4];  // not zero in any part
  for (int s : {0, 1, -3}) {
    expect_checks<3>(F::out, std::make_tuple(static_cast<const E*>(src.data()), val, dst.data(), 8, s), kind_name(F::kind));
    expect_checks<2>(F::in, std::make_tuple(val, dst.data(), 8, s), kind_name(F::kind));
  }
  EXPECT_TRUE(src.unchanged_since(s0) && dst.unchanged_since(d0));
}

// No read past the source's last byte, at any length: the source ends flush
// against an inaccessible page.
TYPED_TEST(ScaledConst, ReadsNothingPastTheSource) {
  using F = TypeParam;
  using E = typename F::Elem;
  FencedPage page;
  ASSERT_TRUE(page.ok());
  for (size_t len = 1; len <= 40; ++len) {
    E* src = reinterpret_cast<E*>(page.ending_at_end(len * sizeof(E)));
    fill_random_bits(src, len, len);
    std::vector<E> dst(len), want(len);
    for (int s : {0, 1, 5, -2, -40}) {
      const E val = int_constants<E>()[static_cast<size_t>(len + 40 + s) % 8];
      int_expect<F>(src, val, want.data(), len, s);
      ASSERT_EQ(F::out(src, val, dst.data(), static_cast<int>(len), s), kplStsOk);
      ASSERT_TRUE(same_bits(dst.data(), want.data(), len)) << "len=" << len << " s=" << s;
    }
  }
}

// 8u runs in 16-bit lanes: every source, constant and scale factor that reaches
// a kernel, through the vector path (aligned) and the peel and tail (offset 1).
TEST(ScaledConst8u, EveryValueConstantAndScale) {
  using AddF = Form<Kpl8u, Kind::kAdd, kplsAddC_8u_Sfs, kplsAddC_8u_ISfs>;
  using SubF = Form<Kpl8u, Kind::kSub, kplsSubC_8u_Sfs, kplsSubC_8u_ISfs>;
  using RevF = Form<Kpl8u, Kind::kSubRev, kplsSubCRev_8u_Sfs, kplsSubCRev_8u_ISfs>;
  Kpl8u src[256];
  for (int i = 0; i < 256; ++i) src[i] = static_cast<Kpl8u>(i);
  auto run = [&](auto form, auto entry) {
    using F = decltype(form);
    Kpl8u want[256];
    for (int s = -10; s <= 12; ++s) {
      for (int v = 0; v < 256; ++v) {
        int_expect<F>(src, static_cast<Kpl8u>(v), want, 256, s);
        for (size_t off : {0u, 1u}) {
          Guarded<Kpl8u> dst(256, off);
          ASSERT_EQ(entry(src, static_cast<Kpl8u>(v), dst.data(), 256, s), kplStsOk);
          for (int i = 0; i < 256; ++i)
            ASSERT_EQ(dst[i], want[i]) << kind_name(F::kind) << " " << i << " with " << v << " s=" << s << " off=" << off;
          ASSERT_TRUE(dst.guards_intact());
        }
      }
    }
  };
  run(AddF{}, kplsAddC_8u_Sfs);
  run(SubF{}, kplsSubC_8u_Sfs);
  run(RevF{}, kplsSubCRev_8u_Sfs);
}

// Long 32-bit vectors store around the cache out of place; the values stay.
TEST(ScaledConstLong, ThirtyTwoBitFormsPastHalfTheCache) {
  using F = Form<Kpl32s, Kind::kSubRev, kplsSubCRev_32s_Sfs, kplsSubCRev_32s_ISfs>;
  for (int s : {0, 7, -3, -31}) check_scaled_call<F>((size_t{17} << 20) / 4 + 5, 1, 0, 12345, s, 0);
}

// ---------------------------------------------------------------------------
// Limits, shortcuts and edges, one table per type.

template <class T, class Fn>
std::vector<T> call1(Fn fn, std::vector<T> src, T val, int s) {
  std::vector<T> dst(src.size());
  EXPECT_EQ(fn(src.data(), val, dst.data(), static_cast<int>(src.size()), s), kplStsOk);
  return dst;
}

// Every 8u value, constant and scale factor from -10 to 12 is swept exhaustively
// above; here the saturation far below it and the shortcuts of a zero constant.
TEST(ScaledConstEdges, EightBit) {
  using V = std::vector<Kpl8u>;
  EXPECT_EQ(call1<Kpl8u>(kplsSubC_8u_Sfs, {5, 6, 4}, 5, -40), (V{0, 255, 0}));
  EXPECT_EQ(call1<Kpl8u>(kplsAddC_8u_Sfs, {9, 0, 255}, 0, 0), (V{9, 0, 255}));  // s = 0, zero constant: a copy
  Kpl8u v[2] = {7, 200};
  EXPECT_EQ(kplsSubC_8u_ISfs(0, v, 2, 0), kplStsOk);  // in place it returns
  EXPECT_EQ(v[1], 200);
}

TEST(ScaledConstEdges, SixteenBitSigned) {
  using V = std::vector<Kpl16s>;
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {32767, 32766}, 32767, 1), (V{32767, 32766}));  // 65534/2, 32766.5 to even
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {32767, 16384, -32768}, 32767, 16), (V{1, 1, 0}));
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {16384}, 16384, 16), (V{0}));      // 0.5 rounds to even
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {-32768}, -32768, 16), (V{-1}));   // -65536 / 65536
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {32767, -32768}, -32768, 17), (V{0, 0}));
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {-1, 1, 0}, 0, -15), (V{-32768, 32767, 0}));
  EXPECT_EQ(call1<Kpl16s>(kplsAddC_16s_Sfs, {0, -1, 2}, 0, -16), (V{0, -32768, 32767}));
  EXPECT_EQ(call1<Kpl16s>(kplsSubC_16s_Sfs, {-32768, 32767}, 32767, 0), (V{-32768, 0}));
  EXPECT_EQ(call1<Kpl16s>(kplsSubCRev_16s_Sfs, {-32768, 32767}, 0, 0), (V{32767, -32767}));  // -(-32768) saturates
  EXPECT_EQ(call1<Kpl16s>(kplsSubCRev_16s_Sfs, {-32768}, 32767, 16), (V{1}));              // 65535 / 65536
  // Complex constants act part by part, (re, im).
  const Kpl16sc cs[2] = {{1, 2}, {-32768, 32767}};
  Kpl16sc cd[2];
  ASSERT_EQ(kplsSubCRev_16sc_Sfs(cs, Kpl16sc{10, -10}, cd, 2, 0), kplStsOk);
  EXPECT_EQ(cd[0].re, 9);
  EXPECT_EQ(cd[0].im, -12);
  EXPECT_EQ(cd[1].re, 32767);
  EXPECT_EQ(cd[1].im, -32768);
  // The unscaled in-place forms saturate and a zero constant leaves the vector.
  Kpl16s u[3] = {32000, -32000, 5};
  EXPECT_EQ(kplsAddC_16s_I(1000, u, 3), kplStsOk);
  EXPECT_EQ(V(u, u + 3), (V{32767, -31000, 1005}));
  EXPECT_EQ(kplsSubC_16s_I(2000, u, 3), kplStsOk);
  EXPECT_EQ(V(u, u + 3), (V{30767, -32768, -995}));
  EXPECT_EQ(kplsSubC_16s_I(0, u, 3), kplStsOk);
  EXPECT_EQ(V(u, u + 3), (V{30767, -32768, -995}));
  EXPECT_EQ(kplsAddC_16s_I(1, nullptr, 3), kplStsNullPointer);
  EXPECT_EQ(kplsSubC_16s_I(0, u, 0), kplStsBadSize);
}

TEST(ScaledConstEdges, SixteenBitUnsigned) {
  using V = std::vector<Kpl16u>;
  EXPECT_EQ(call1<Kpl16u>(kplsAddC_16u_Sfs, {65535, 1}, 65535, 17), (V{1, 0}));
  EXPECT_EQ(call1<Kpl16u>(kplsAddC_16u_Sfs, {65535}, 65535, 18), (V{0}));
  EXPECT_EQ(call1<Kpl16u>(kplsAddC_16u_Sfs, {65535, 3}, 65535, 1), (V{65535, 32769}));
  EXPECT_EQ(call1<Kpl16u>(kplsAddC_16u_Sfs, {0, 1}, 0, -15), (V{0, 32768}));
  EXPECT_EQ(call1<Kpl16u>(kplsAddC_16u_Sfs, {0, 1}, 0, -16), (V{0, 65535}));   // the kernel's bound class
  EXPECT_EQ(call1<Kpl16u>(kplsAddC_16u_Sfs, {0, 9}, 1, -16), (V{65535, 65535}));
  for (int s : {-16, -17, -40, INT_MIN})  // every non-zero difference saturates
    EXPECT_EQ(call1<Kpl16u>(kplsSubC_16u_Sfs, {5, 4, 6, 65535}, 5, s), (V{0, 0, 65535, 65535})) << s;
  EXPECT_EQ(call1<Kpl16u>(kplsSubC_16u_Sfs, {65535, 32768}, 0, 16), (V{1, 0}));
  EXPECT_EQ(call1<Kpl16u>(kplsSubC_16u_Sfs, {65535}, 0, 17), (V{0}));
  EXPECT_EQ(call1<Kpl16u>(kplsSubC_16u_Sfs, {3, 65535}, 4, -5), (V{0, 65535}));
  for (int s : {0, 1, -1, -16, 20, INT_MIN})
    EXPECT_EQ(call1<Kpl16u>(kplsSubCRev_16u_Sfs, {0, 1, 65535}, 0, s), (V{0, 0, 0})) << s;
  EXPECT_EQ(call1<Kpl16u>(kplsSubCRev_16u_Sfs, {0, 1, 32767, 65535}, 65535, 16), (V{1, 1, 0, 0}));  // 32768/65536 to even
}

// The 16u forms test their shortcuts before their pointers; the callee tests
// only what it receives, and a rejected call writes nothing.
TEST(ScaledConstEdges, SixteenBitUnsignedShortcutsComeBeforeThePointers) {
  Guarded<Kpl16u> src(5), dst(5);
  fill_random_bits(src.data(), 5, 3);
  auto snap = dst.snapshot();
  // A fill needs no source.
  EXPECT_EQ(kplsAddC_16u_Sfs(nullptr, 1, dst.data(), 5, -16), kplStsOk);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(dst[i], 65535);
  EXPECT_EQ(kplsAddC_16u_Sfs(nullptr, 1, dst.data(), 5, 18), kplStsOk);
  EXPECT_EQ(kplsSubC_16u_Sfs(nullptr, 1, dst.data(), 5, 17), kplStsOk);
  EXPECT_EQ(kplsSubCRev_16u_Sfs(nullptr, 1, dst.data(), 5, 17), kplStsOk);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(dst[i], 0);
  EXPECT_TRUE(dst.guards_intact());
  snap = dst.snapshot();
  // The callee's own checks: the destination, then the length.
  EXPECT_EQ(kplsAddC_16u_ISfs(1, nullptr, 5, 18), kplStsNullPointer);
  EXPECT_EQ(kplsAddC_16u_Sfs(src.data(), 1, nullptr, 0, -16), kplStsNullPointer);
  EXPECT_EQ(kplsAddC_16u_Sfs(nullptr, 1, dst.data(), 0, 18), kplStsBadSize);
  EXPECT_EQ(kplsAddC_16u_Sfs(nullptr, 0, dst.data(), 5, 0), kplStsNullPointer);  // the copy tests its source
  EXPECT_EQ(kplsSubC_16u_Sfs(src.data(), 0, dst.data(), -1, 0), kplStsBadSize);
  EXPECT_EQ(kplsAddC_16u_ISfs(0, dst.data(), 0, 0), kplStsBadSize);
  // SubCRev with a zero constant tests its source, then hands over to the zero fill.
  EXPECT_EQ(kplsSubCRev_16u_Sfs(nullptr, 0, dst.data(), 5, 1), kplStsNullPointer);
  EXPECT_EQ(kplsSubCRev_16u_Sfs(nullptr, 0, nullptr, 0, 1), kplStsNullPointer);
  EXPECT_EQ(kplsSubCRev_16u_Sfs(nullptr, 0, dst.data(), 5, 17), kplStsNullPointer);  // before the zero fill of s > 16
  EXPECT_EQ(kplsSubCRev_16u_Sfs(src.data(), 0, nullptr, 5, 1), kplStsNullPointer);
  EXPECT_EQ(kplsSubCRev_16u_Sfs(src.data(), 0, dst.data(), 0, 1), kplStsBadSize);
  EXPECT_TRUE(dst.unchanged_since(snap));
  // Where no shortcut applies the order is the usual one.
  EXPECT_EQ(kplsAddC_16u_Sfs(nullptr, 1, dst.data(), 0, 1), kplStsNullPointer);
  EXPECT_EQ(kplsAddC_16u_Sfs(nullptr, 0, dst.data(), 5, -16), kplStsNullPointer);
  EXPECT_TRUE(dst.unchanged_since(snap));
}

TEST(ScaledConstEdges, ThirtyTwoBit) {
  using V = std::vector<Kpl32s>;
  const Kpl32s mx = INT32_MAX, mn = INT32_MIN;
  EXPECT_EQ(call1<Kpl32s>(kplsSubC_32s_Sfs, {mx, mn}, mn, 32), (V{1, 0}));  // (2^32 - 1) / 2^32; 0
  EXPECT_EQ(call1<Kpl32s>(kplsSubC_32s_Sfs, {mx}, mn, 33), (V{0}));
  EXPECT_EQ(call1<Kpl32s>(kplsAddC_32s_Sfs, {mn, mx}, mn, 32), (V{-1, 0}));   // -2^32 / 2^32; -1/2^32
  EXPECT_EQ(call1<Kpl32s>(kplsAddC_32s_Sfs, {mx, mn}, mx, 0), (V{mx, -1}));
  EXPECT_EQ(call1<Kpl32s>(kplsAddC_32s_Sfs, {mx, mx - 2}, mx, 1), (V{mx, mx - 1}));  // exact halves
  EXPECT_EQ(call1<Kpl32s>(kplsAddC_32s_Sfs, {1, -1, 2}, 0, -30), (V{1 << 30, -(1 << 30), mx}));
  EXPECT_EQ(call1<Kpl32s>(kplsAddC_32s_Sfs, {1, -1, 0}, 0, -31), (V{mx, mn, 0}));
  EXPECT_EQ(call1<Kpl32s>(kplsSubCRev_32s_Sfs, {mn, 5}, 0, 0), (V{mx, -5}));
  const Kpl32sc cs[1] = {{mx, mn}};
  Kpl32sc cd[1];
  ASSERT_EQ(kplsAddC_32sc_Sfs(cs, Kpl32sc{1, -1}, cd, 1, 1), kplStsOk);
  EXPECT_EQ(cd[0].re, 1 << 30);  // 2^31 / 2
  EXPECT_EQ(cd[0].im, -(1 << 30));  // -2^30 - 0.5 to even
}

// The 64-bit sums: a 65-bit exact value, the rounding mode of the call, and
// the copy at s = 0 with a zero constant.
template <class T>
T add64(KplStatus (*fn)(const T*, T, T*, Kpl32u, int, KplRoundMode), T x, T val, int s, KplRoundMode mode) {
  T out = 0;
  EXPECT_EQ(fn(&x, val, &out, 1, s, mode), kplStsOk);
  return out;
}

TEST(ScaledConstEdges, SixtyFourBitRoundingModes) {
  const Kpl64s mx = INT64_MAX, mn = INT64_MIN;
  struct { Kpl64s x, val; int s; Kpl64s toward_zero, near_even, near_away; } cases[] = {
      {5, 0, 1, 2, 2, 3},
      {-5, 0, 1, -2, -2, -3},
      {7, 0, 1, 3, 4, 4},
      {-7, 0, 1, -3, -4, -4},
      {mx, 1, 1, Kpl64s{1} << 62, Kpl64s{1} << 62, Kpl64s{1} << 62},  // 2^63 / 2, past 64 bits before the shift
      {mn, -1, 1, -(Kpl64s{1} << 62), -(Kpl64s{1} << 62), -(Kpl64s{1} << 62) - 1},
      {mx, mx, 63, 1, 2, 2},  // (2^64 - 2) / 2^63
      {mn, mn, 63, -2, -2, -2},
      {mx, mx, 64, 0, 1, 1},  // 65-bit sums still round to +-1 at s = 64
      {mn, mn, 64, -1, -1, -1},
      {mx, mx, 65, 0, 0, 0},
      {mn, mn, 65, 0, 0, -1},  // -0.5: toward zero 0, to even 0, away from zero -1
      {mn, mn, 66, 0, 0, 0},  // the zero fill
      {mx, 1, 0, mx, mx, mx},
      {mn, -1, 0, mn, mn, mn},
      {1, 0, -62, Kpl64s{1} << 62, Kpl64s{1} << 62, Kpl64s{1} << 62},
      {1, 0, -63, mx, mx, mx},
      {-1, 0, -63, mn, mn, mn},
      {-1, 0, -62, -(Kpl64s{1} << 62), -(Kpl64s{1} << 62), -(Kpl64s{1} << 62)},
      {0, 0, INT_MIN, 0, 0, 0},
      {3, -3, -70, 0, 0, 0},
  };
  for (auto c : cases) {
    EXPECT_EQ(add64(kplsAddC_64s_Sfs, c.x, c.val, c.s, 0), c.toward_zero) << c.x << "+" << c.val << " s=" << c.s;
    EXPECT_EQ(add64(kplsAddC_64s_Sfs, c.x, c.val, c.s, 1), c.near_even) << c.x << "+" << c.val << " s=" << c.s;
    for (KplRoundMode m : {2, 3, 99, -1})  // any other value rounds ties away from zero
      EXPECT_EQ(add64(kplsAddC_64s_Sfs, c.x, c.val, c.s, m), c.near_away) << c.x << "+" << c.val << " s=" << c.s << " mode " << m;
  }
  const Kpl64u umx = UINT64_MAX;
  struct { Kpl64u x, val; int s; Kpl64u toward_zero, near_even, near_away; } ucases[] = {
      {umx, umx, 0, umx, umx, umx},
      {umx, umx, 1, umx, umx, umx},            // 2^64 - 1 exactly
      {umx, 2, 1, Kpl64u{1} << 63, Kpl64u{1} << 63, (Kpl64u{1} << 63) + 1},  // 2^63 + 0.5
      {umx, 0, 1, (umx >> 1), Kpl64u{1} << 63, Kpl64u{1} << 63},
      {umx, umx, 64, 1, 2, 2},                 // (2^65 - 2) / 2^64
      {umx, umx, 65, 0, 1, 1},
      {umx, umx, 66, 0, 0, 0},                 // zero fill above 65
      {Kpl64u{1} << 63, Kpl64u{1} << 63, 65, 0, 0, 1},  // 2^64 / 2^65 = 0.5
      {1, 0, -63, Kpl64u{1} << 63, Kpl64u{1} << 63, Kpl64u{1} << 63},
      {1, 0, -64, umx, umx, umx},
      {0, 0, -64, 0, 0, 0},
  };
  for (auto c : ucases) {
    EXPECT_EQ(add64(kplsAddC_64u_Sfs, c.x, c.val, c.s, 0), c.toward_zero) << c.x << "+" << c.val << " s=" << c.s;
    EXPECT_EQ(add64(kplsAddC_64u_Sfs, c.x, c.val, c.s, 1), c.near_even) << c.x << "+" << c.val << " s=" << c.s;
    EXPECT_EQ(add64(kplsAddC_64u_Sfs, c.x, c.val, c.s, 7), c.near_away) << c.x << "+" << c.val << " s=" << c.s;
  }
}

// The 64-bit forms against the reference over lengths, offsets, every scale
// factor from -70 to 70 and every rounding mode: the zero fills agree with the rule.
TEST(ScaledConstSixtyFour, MatchesExactReference) {
  auto run = [](auto sample, auto fn) {
    using T = decltype(sample);
    const std::vector<T> sp = special_integers<T>();
    size_t call = 0;
    for (int s = -70; s <= 70; ++s) {
      for (size_t len : {1u, 2u, 5u, 16u, 33u}) {
        for (KplRoundMode mode : {0, 1, 2}) {
          ++call;
          Guarded<T> src(len, call % 3), dst(len, (call / 3) % 3);
          Rng r(call);
          for (size_t i = 0; i < len; ++i) src[i] = r.next() % 2 ? sp[r.next() % sp.size()] : static_cast<T>(r.next() >> (r.next() % 64));
          const T val = call % 4 == 0 ? T{0} : (call % 4 == 1 ? sp[call % sp.size()] : static_cast<T>(r.next()));
          ASSERT_EQ(fn(src.data(), val, dst.data(), static_cast<Kpl32u>(len), s, mode), kplStsOk);
          for (size_t i = 0; i < len; ++i) {
            const T want = scaled<T>(static_cast<__int128>(src[i]) + val, s, rnd_of(mode));
            ASSERT_EQ(dst[i], want) << +src[i] << "+" << +val << " s=" << s << " mode " << mode;
          }
          ASSERT_TRUE(dst.guards_intact());
        }
      }
    }
  };
  run(Kpl64s{}, kplsAddC_64s_Sfs);
  run(Kpl64u{}, kplsAddC_64u_Sfs);
}

TEST(ScaledConstSixtyFour, ChecksAndCopy) {
  Guarded<Kpl64s> src(4), dst(4);
  fill_random_bits(src.data(), 4, 5);
  const auto d0 = dst.snapshot();
  // An unsigned length: only 0 is bad, and the rounding mode is never rejected.
  expect_checks<3>(kplsAddC_64s_Sfs, std::make_tuple(static_cast<const Kpl64s*>(src.data()), Kpl64s{3}, dst.data(), Kpl32u{4}, 1, 5), "AddC_64s");
  expect_checks<3>(kplsAddC_64u_Sfs, std::make_tuple(reinterpret_cast<const Kpl64u*>(src.data()), Kpl64u{0}, reinterpret_cast<Kpl64u*>(dst.data()), Kpl32u{4}, 0, 1), "AddC_64u");
  EXPECT_TRUE(dst.unchanged_since(d0));
  ASSERT_EQ(kplsAddC_64s_Sfs(src.data(), 0, dst.data(), 4, 0, 2), kplStsOk);
  EXPECT_TRUE(same_bits(src.data(), dst.data(), 4));
  ASSERT_EQ(kplsAddC_64u_Sfs(reinterpret_cast<const Kpl64u*>(src.data()), 0, reinterpret_cast<Kpl64u*>(dst.data()), 4, 0, 0), kplStsOk);
  EXPECT_TRUE(same_bits(src.data(), dst.data(), 4));
  EXPECT_TRUE(dst.guards_intact());
}

}  // namespace
