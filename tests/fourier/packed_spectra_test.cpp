// ConjPack, ConjPerm, ConjCcs, MulPack, MulPerm and MulPackConj: every entry
// against a model written here from the layouts of packed spectra (Pack, Perm,
// CCS for even and odd lengths), over lengths 1..70 and a few longer ones around
// the 16-bit route changes, every start offset, out of place and in place; then
// the documented edges and the order of the checks.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

enum class Fmt { kPack, kPerm, kCcs };
const char* fmt_name(Fmt f) { return f == Fmt::kPack ? "Pack" : f == Fmt::kPerm ? "Perm" : "Ccs"; }

// Lengths: the short sweep and the neighbours of every 16-bit route change.
std::vector<int> conj_lengths() {
  std::vector<int> l;
  for (int n = 1; n <= 70; ++n) l.push_back(n);
  for (int n : {71, 127, 128, 171, 172, 173, 174, 301}) l.push_back(n);
  return l;
}

// ---- Models ----

template <class R> R neg_model(R x);
template <> float neg_model(float x) { return std::bit_cast<float>(std::bit_cast<uint32_t>(x) ^ 0x80000000u); }
template <> double neg_model(double x) { return std::bit_cast<double>(std::bit_cast<uint64_t>(x) ^ (uint64_t{1} << 63)); }
template <> Kpl16s neg_model(Kpl16s x) { return static_cast<Kpl16s>(x == -32768 ? 32767 : -x); }

// The spectrum of n points as (re, im) pairs X[0..n-1] from its packed form:
// read the stored values where the table of layouts puts them, then complete the
// upper half by symmetry.
template <class R>
std::vector<std::pair<R, R>> expand_model(Fmt f, const R* s, int n) {
  std::vector<std::pair<R, R>> x(n);
  const int half = n / 2;
  for (int k = 0; k <= half; ++k) {
    R re{}, im{};
    if (f == Fmt::kCcs) {
      re = s[2 * k], im = s[2 * k + 1];
    } else if (k == 0) {
      re = s[0];
    } else if (2 * k == n) {  // Nyquist of an even length
      re = f == Fmt::kPack ? s[n - 1] : s[1];
    } else {
      const int at = (f == Fmt::kPerm && n % 2 == 0) ? 2 * k : 2 * k - 1;
      re = s[at], im = s[at + 1];
    }
    x[k] = {re, im};
  }
  for (int k = half + 1; k < n; ++k) x[k] = {x[n - k].first, neg_model(x[n - k].second)};
  return x;
}

template <class R>
int packed_reals(Fmt f, int n) {
  return f == Fmt::kCcs ? 2 * (n / 2 + 1) : n;
}

template <class R>
void fill_values(R* p, size_t n, uint64_t seed) {
  if constexpr (std::is_same_v<R, Kpl16s>) {
    Rng r(seed);
    const auto sp = special_integers<Kpl16s>();
    for (size_t i = 0; i < n; ++i) p[i] = (r.next() & 3) == 0 ? sp[r.next() % sp.size()] : static_cast<Kpl16s>(r.next());
  } else {
    fill_random_bits(p, n, seed);  // every pattern: the expansion must move bits
  }
}

template <class R, class C>
struct ConjEntry {
  Fmt fmt;
  KplStatus (*out)(const R*, C*, int);
  KplStatus (*in)(C*, int);
};

template <class R, class C>
std::vector<ConjEntry<R, C>> conj_entries();
template <> std::vector<ConjEntry<Kpl32f, Kpl32fc>> conj_entries() {
  return {{Fmt::kPack, kplsConjPack_32fc, kplsConjPack_32fc_I}, {Fmt::kPerm, kplsConjPerm_32fc, kplsConjPerm_32fc_I},
          {Fmt::kCcs, kplsConjCcs_32fc, kplsConjCcs_32fc_I}};
}
template <> std::vector<ConjEntry<Kpl64f, Kpl64fc>> conj_entries() {
  return {{Fmt::kPack, kplsConjPack_64fc, kplsConjPack_64fc_I}, {Fmt::kPerm, kplsConjPerm_64fc, kplsConjPerm_64fc_I},
          {Fmt::kCcs, kplsConjCcs_64fc, kplsConjCcs_64fc_I}};
}
template <> std::vector<ConjEntry<Kpl16s, Kpl16sc>> conj_entries() {
  return {{Fmt::kPack, kplsConjPack_16sc, kplsConjPack_16sc_I}, {Fmt::kPerm, kplsConjPerm_16sc, kplsConjPerm_16sc_I},
          {Fmt::kCcs, kplsConjCcs_16sc, kplsConjCcs_16sc_I}};
}

template <class R, class C>
void expect_expansion(const std::vector<std::pair<R, R>>& want, const C* got, int n, const std::string& what) {
  for (int k = 0; k < n; ++k) {
    const C w{want[k].first, want[k].second};
    if (!same_bits(&w, got + k, 1)) {
      ADD_FAILURE() << what << " differs at " << k;
      return;
    }
  }
}

template <class R, class C>
void sweep_conj() {
  for (const auto& e : conj_entries<R, C>()) {
    for (int n : conj_lengths()) {
      const int m = packed_reals<R>(e.fmt, n);
      for (int off = 0; off < 16; ++off) {
        if (n > 70 && off % 5 != 0) continue;
        const std::string what = std::string(fmt_name(e.fmt)) + " len=" + std::to_string(n) + " off=" + std::to_string(off);
        Guarded<R> src(m, off);
        Guarded<C> dst(n, (off * 7 + 3) % 16);
        fill_values(src.data(), m, 1000 + n * 16 + off);
        const auto want = expand_model(e.fmt, src.data(), n);
        const auto s0 = src.snapshot();
        ASSERT_EQ(e.out(src.data(), dst.data(), n), kplStsOk) << what;
        expect_expansion(want, dst.data(), n, what);
        EXPECT_TRUE(dst.guards_intact() && src.unchanged_since(s0)) << what;

        Guarded<C> io(n, off);
        fill_values(reinterpret_cast<R*>(io.data()), 2 * n, 77 + n);  // what lies above the packed part is ignored
        std::memcpy(io.data(), src.data(), m * sizeof(R));
        ASSERT_EQ(e.in(io.data(), n), kplStsOk) << what;
        expect_expansion(want, io.data(), n, what + " in place");
        EXPECT_TRUE(io.guards_intact()) << what << " in place";
      }
    }
  }
}

TEST(SpectraConj, ExpandsEveryLayoutLengthAndOffset) {
  sweep_conj<Kpl32f, Kpl32fc>();
  sweep_conj<Kpl64f, Kpl64fc>();
  sweep_conj<Kpl16s, Kpl16sc>();
}

TEST(SpectraConj, DocumentedLayouts) {
  // ConjPerm, len 3: (R0, 0), (R1, I1), (R1, -I1)
  const float perm3[] = {5, 2, 7};
  Kpl32fc d[3];
  ASSERT_EQ(kplsConjPerm_32fc(perm3, d, 3), kplStsOk);
  EXPECT_TRUE(d[0].re == 5 && d[0].im == 0 && d[1].re == 2 && d[1].im == 7 && d[2].re == 2 && d[2].im == -7);
  // Perm, len 4: R0, R2, R1, I1 -> (R0,0) (R1,I1) (R2,0) (R1,-I1)
  const float perm4[] = {1, 3, 4, 5};
  Kpl32fc e[4];
  ASSERT_EQ(kplsConjPerm_32fc(perm4, e, 4), kplStsOk);
  const float want4[8] = {1, 0, 4, 5, 3, 0, 4, -5};
  EXPECT_EQ(std::memcmp(e, want4, sizeof want4), 0);
  // Pack, len 4: R0, R1, I1, R2
  const double pack4[] = {1, 4, 5, 3};
  Kpl64fc g[4];
  ASSERT_EQ(kplsConjPack_64fc(pack4, g, 4), kplStsOk);
  const double wantg[8] = {1, 0, 4, 5, 3, 0, 4, -5};
  EXPECT_EQ(std::memcmp(g, wantg, sizeof wantg), 0);
  // CCS copies its stored imaginary parts of DC and Nyquist as they stand
  const Kpl16s ccs2[] = {9, 1, -4, 2};
  Kpl16sc h[2];
  ASSERT_EQ(kplsConjCcs_16sc(ccs2, h, 2), kplStsOk);
  EXPECT_TRUE(h[0].re == 9 && h[0].im == 1 && h[1].re == -4 && h[1].im == 2);
  // the 16-bit mirror saturates: conj of -32768 is 32767, on both routes
  for (int n : {5, 64, 68, 172, 200}) {
    std::vector<Kpl16s> pack(n, 0);
    pack[1] = -32768, pack[2] = -32768;
    std::vector<Kpl16sc> out(n);
    ASSERT_EQ(kplsConjPack_16sc(pack.data(), out.data(), n), kplStsOk);
    EXPECT_EQ(out[n - 1].re, -32768) << n;
    EXPECT_EQ(out[n - 1].im, 32767) << n;
  }
}

TEST(SpectraConj, ChecksPointersThenLength) {
  Guarded<float> s(8);
  Guarded<Kpl32fc> d(8);
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  expect_checks<2>(&kplsConjPack_32fc, std::make_tuple(static_cast<const float*>(s.data()), d.data(), 8), "ConjPack_32fc");
  expect_checks<2>(&kplsConjCcs_32fc, std::make_tuple(static_cast<const float*>(s.data()), d.data(), 8), "ConjCcs_32fc");
  expect_checks<1>(&kplsConjPerm_32fc_I, std::make_tuple(d.data(), 8), "ConjPerm_32fc_I");
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0));
  Guarded<Kpl16s> s16(8);
  Guarded<Kpl16sc> d16(8);
  expect_checks<2>(&kplsConjPerm_16sc, std::make_tuple(static_cast<const Kpl16s*>(s16.data()), d16.data(), 8), "ConjPerm_16sc");
  expect_checks<1>(&kplsConjCcs_16sc_I, std::make_tuple(d16.data(), 8), "ConjCcs_16sc_I");
  Guarded<double> s64(8);
  Guarded<Kpl64fc> d64(8);
  expect_checks<2>(&kplsConjPerm_64fc, std::make_tuple(static_cast<const double*>(s64.data()), d64.data(), 8), "ConjPerm_64fc");
  expect_checks<1>(&kplsConjPack_64fc_I, std::make_tuple(d64.data(), 8), "ConjPack_64fc_I");
}

// ---- Products ----

// Places of a packed product: real-only values and the pairs, from the layout table.
struct Roles {
  std::vector<int> reals;
  int first, pairs;
};
Roles roles(Fmt f, int n) {
  const bool even = n % 2 == 0;
  if (f == Fmt::kPack) return {even && n > 1 ? std::vector<int>{0, n - 1} : std::vector<int>{0}, 1, (n - 1) / 2};
  return {even ? std::vector<int>{0, 1} : std::vector<int>{0}, even ? 2 : 1, (n - 1) / 2};
}

// Float products in the documented order: (ac - bd) + i(ad + bc); with `conj`
// the second operand times the conjugate of the first: (ac + bd) + i(ad - bc).
template <class R>
std::vector<R> mul_model(Fmt f, const R* x, const R* y, int n, bool conj) {
  std::vector<R> d(n);
  const Roles r = roles(f, n);
  for (int i : r.reals) d[i] = x[i] * y[i];
  for (int k = 0; k < r.pairs; ++k) {
    const int p = r.first + 2 * k;
    const R a = x[p], b = x[p + 1], c = y[p], e = y[p + 1];
    const R ac = a * c, bd = b * e, ad = a * e, bc = b * c;
    d[p] = conj ? ac + bd : ac - bd;
    d[p + 1] = conj ? ad - bc : ad + bc;
  }
  return d;
}

using i64 = long long;
// real-only places: floor for a positive scale factor, saturate-then-shift up otherwise
Kpl16s truncated_scaled(i64 p, int s) {
  return s > 0 ? scaled<Kpl16s>(p, s, Rnd::kFloor) : scaled<Kpl16s>(clamp_to<Kpl16s>(i128{p}), s);
}
std::vector<Kpl16s> mul16_model(Fmt f, const Kpl16s* x, const Kpl16s* y, int n, int s) {
  std::vector<Kpl16s> d(n);
  const Roles r = roles(f, n);
  for (int i : r.reals) d[i] = truncated_scaled(i64{x[i]} * y[i], s);
  for (int k = 0; k < r.pairs; ++k) {
    const int p = r.first + 2 * k;
    const i64 a = x[p], b = x[p + 1], c = y[p], e = y[p + 1];
    d[p] = scaled<Kpl16s>(a * c - b * e, s);
    d[p + 1] = scaled<Kpl16s>(a * e + b * c, s);
  }
  return d;
}

template <class R>
struct MulEntry {
  Fmt fmt;
  bool conj;
  KplStatus (*out)(const R*, const R*, R*, int);
  KplStatus (*in)(const R*, R*, int);
};

template <class R>
void sweep_mul(const std::vector<MulEntry<R>>& entries) {
  for (const auto& e : entries) {
    for (int n = 1; n <= 70; ++n) {
      for (int off = 0; off < 16; ++off) {
        const std::string what = std::string(fmt_name(e.fmt)) + (e.conj ? "Conj" : "") + " len=" + std::to_string(n) +
                                 " off=" + std::to_string(off);
        Guarded<R> x(n, off), y(n, (off + 5) % 16), d(n, (off * 3 + 1) % 16);
        Rng rng(n * 31 + off);
        for (int i = 0; i < n; ++i) x[i] = static_cast<R>(rng.uniform(-100, 100)), y[i] = static_cast<R>(rng.uniform(-100, 100));
        const auto want = mul_model(e.fmt, x.data(), y.data(), n, e.conj);
        if (e.out) {
          ASSERT_EQ(e.out(x.data(), y.data(), d.data(), n), kplStsOk) << what;
          EXPECT_TRUE(same_bits(want.data(), d.data(), n)) << what;
          EXPECT_TRUE(d.guards_intact()) << what;
        }
        ASSERT_EQ(e.in(x.data(), y.data(), n), kplStsOk) << what << " in place";
        EXPECT_TRUE(same_bits(want.data(), y.data(), n)) << what << " in place";
        EXPECT_TRUE(y.guards_intact() && x.guards_intact()) << what << " in place";
      }
    }
  }
}

TEST(SpectraMul, FloatProductsMatchModelBitForBit) {
  sweep_mul<Kpl32f>({{Fmt::kPack, false, kplsMulPack_32f, kplsMulPack_32f_I},
                     {Fmt::kPerm, false, kplsMulPerm_32f, kplsMulPerm_32f_I},
                     {Fmt::kPack, true, nullptr, kplsMulPackConj_32f_I}});
  sweep_mul<Kpl64f>({{Fmt::kPack, false, kplsMulPack_64f, kplsMulPack_64f_I},
                     {Fmt::kPerm, false, kplsMulPerm_64f, kplsMulPerm_64f_I},
                     {Fmt::kPack, true, nullptr, kplsMulPackConj_64f_I}});
}

TEST(SpectraMul, Scaled16sMatchesExactModel) {
  struct E {
    Fmt fmt;
    KplStatus (*out)(const Kpl16s*, const Kpl16s*, Kpl16s*, int, int);
    KplStatus (*in)(const Kpl16s*, Kpl16s*, int, int);
  };
  const E entries[] = {{Fmt::kPack, kplsMulPack_16s_Sfs, kplsMulPack_16s_ISfs}, {Fmt::kPerm, kplsMulPerm_16s_Sfs, kplsMulPerm_16s_ISfs}};
  const int scales[] = {-17, -3, -1, 0, 1, 2, 7, 15, 16, 31, 32, 40};
  for (const auto& e : entries) {
    for (int n = 1; n <= 70; ++n) {
      for (int off = 0; off < 16; ++off) {
        const int s = scales[(n + off) % 12];
        const std::string what = std::string(fmt_name(e.fmt)) + " len=" + std::to_string(n) + " off=" + std::to_string(off) +
                                 " sf=" + std::to_string(s);
        Guarded<Kpl16s> x(n, off), y(n, (off + 9) % 16), d(n, (off * 5 + 2) % 16);
        fill_values(x.data(), n, 5 * n + off);
        fill_values(y.data(), n, 7 * n + off + 1);
        const auto want = mul16_model(e.fmt, x.data(), y.data(), n, s);
        ASSERT_EQ(e.out(x.data(), y.data(), d.data(), n, s), kplStsOk) << what;
        EXPECT_EQ(d.values(), want) << what;
        EXPECT_TRUE(d.guards_intact()) << what;
        ASSERT_EQ(e.in(x.data(), y.data(), n, s), kplStsOk) << what;
        EXPECT_EQ(y.values(), want) << what << " in place";
        EXPECT_TRUE(y.guards_intact()) << what;
      }
    }
  }
}

TEST(SpectraMul, RealOnlyPlacesTruncateWhilePairsRound) {
  struct { Kpl16s a, b; int sf; Kpl16s want; } reals[] = {
      {-32768, -32768, 0, 32767},  // 2^30 saturates
      {3, 1, 1, 1},                // 1.5 truncates down
      {-3, 1, 1, -2},              // -1.5 truncates towards minus infinity
      {5, 1, 2, 1},                // 1.25
      {-1, 1, 40, -1},             // a shift past the width keeps the sign: floor(-2^-40)
      {1, 1, 40, 0},
      {200, 200, -1, 32767},       // saturated first, then shifted
      {100, 100, -1, 20000},
      {-100, 100, -2, -32768},
      {1, 1, -20, 32767},
  };
  for (auto c : reals) {
    Kpl16s d = 99;
    ASSERT_EQ(kplsMulPack_16s_Sfs(&c.a, &c.b, &d, 1, c.sf), kplStsOk);
    EXPECT_EQ(d, c.want) << c.a << "*" << c.b << " sf=" << c.sf;
  }
  // pairs round to nearest even: (3 + 0i)(1 + 0i) / 2 = 1.5 -> 2; (5)(1)/2 = 2.5 -> 2
  const Kpl16s x[] = {3, 3, 0, 5, 0}, y[] = {1, 1, 0, 1, 0};
  Kpl16s d[5];
  ASSERT_EQ(kplsMulPack_16s_Sfs(x, y, d, 5, 1), kplStsOk);
  EXPECT_EQ(d[0], 1);  // real-only: 1.5 truncated
  EXPECT_EQ(d[1], 2);
  EXPECT_EQ(d[3], 2);
  // Perm, even length: places 0 and 1 are real-only, pairs from 2
  const Kpl16s px[] = {3, 3, 3, 0}, py[] = {1, 1, 1, 0};
  ASSERT_EQ(kplsMulPerm_16s_Sfs(px, py, d, 4, 1), kplStsOk);
  EXPECT_TRUE(d[0] == 1 && d[1] == 1 && d[2] == 2 && d[3] == 0);
}

TEST(SpectraMul, DocumentedEdges) {
  // MulPerm for len 1 writes only pDst[0]
  Guarded<float> d(1);
  const float a = 3, b = -2;
  ASSERT_EQ(kplsMulPerm_32f(&a, &b, d.data(), 1), kplStsOk);
  EXPECT_EQ(d[0], -6.0f);
  EXPECT_TRUE(d.guards_intact());
  // MulPerm, odd length: pairs from place 1; even: 0 and 1 real-only
  const float x3[] = {2, 0, 1}, y3[] = {3, 0, 1};  // i * i = -1
  float r3[3];
  ASSERT_EQ(kplsMulPerm_32f(x3, y3, r3, 3), kplStsOk);
  EXPECT_TRUE(r3[0] == 6 && r3[1] == -1 && r3[2] == 0);
  const float x4[] = {2, 5, 0, 1}, y4[] = {3, 7, 0, 1};
  float r4[4];
  ASSERT_EQ(kplsMulPerm_32f(x4, y4, r4, 4), kplStsOk);
  EXPECT_TRUE(r4[0] == 6 && r4[1] == 35 && r4[2] == -1 && r4[3] == 0);
  // MulPackConj: pSrcDst times the conjugate of pSrc, as correlation needs:
  // pSrc = (0 + 1i), pSrcDst = (1 + 0i) gives 1 * conj(i) = -i
  const double src[] = {1, 0, 1}, ref[] = {1, 0, -1};
  double sd[] = {1, 1, 0};
  ASSERT_EQ(kplsMulPackConj_64f_I(src, sd, 3), kplStsOk);
  EXPECT_TRUE(std::memcmp(sd, ref, sizeof ref) == 0) << sd[1] << " " << sd[2];
  // infinities go through the pair products as IEEE says: (inf + 0i)(1 + 0i)
  const float inf = std::numeric_limits<float>::infinity();
  const float xi[] = {1, inf, 0}, yi[] = {1, 1, 0};
  float ri[3];
  ASSERT_EQ(kplsMulPack_32f(xi, yi, ri, 3), kplStsOk);
  EXPECT_EQ(ri[1], inf);
  EXPECT_TRUE(std::isnan(ri[2]));  // inf * 0 + 0 * 1
}

TEST(SpectraMul, ChecksPointersThenLength) {
  Guarded<float> x(8), y(8), d(8);
  const auto x0 = x.snapshot(), y0 = y.snapshot(), d0 = d.snapshot();
  using CF = const float*;
  expect_checks<3>(&kplsMulPack_32f, std::make_tuple(CF(x.data()), CF(y.data()), d.data(), 8), "MulPack_32f");
  expect_checks<3>(&kplsMulPerm_32f, std::make_tuple(CF(x.data()), CF(y.data()), d.data(), 8), "MulPerm_32f");
  expect_checks<2>(&kplsMulPack_32f_I, std::make_tuple(CF(x.data()), y.data(), 8), "MulPack_32f_I");
  expect_checks<2>(&kplsMulPackConj_32f_I, std::make_tuple(CF(x.data()), y.data(), 8), "MulPackConj_32f_I");
  EXPECT_TRUE(x.unchanged_since(x0) && y.unchanged_since(y0) && d.unchanged_since(d0));
  Guarded<double> xd(8), yd(8);
  expect_checks<2>(&kplsMulPerm_64f_I, std::make_tuple(static_cast<const double*>(xd.data()), yd.data(), 8), "MulPerm_64f_I");
  expect_checks<2>(&kplsMulPackConj_64f_I, std::make_tuple(static_cast<const double*>(xd.data()), yd.data(), 8), "MulPackConj_64f_I");
  Guarded<Kpl16s> a(8), b(8), c(8);
  const auto a0 = a.snapshot(), b0 = b.snapshot(), c0 = c.snapshot();
  using CS = const Kpl16s*;
  expect_checks<3>(&kplsMulPack_16s_Sfs, std::make_tuple(CS(a.data()), CS(b.data()), c.data(), 8, 0), "MulPack_16s_Sfs");
  expect_checks<2>(&kplsMulPerm_16s_ISfs, std::make_tuple(CS(a.data()), b.data(), 8, 3), "MulPerm_16s_ISfs");
  EXPECT_TRUE(a.unchanged_since(a0) && b.unchanged_since(b0) && c.unchanged_since(c0));
}

}  // namespace
