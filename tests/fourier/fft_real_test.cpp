// The real FFT of the floating plans: every layout (Perm, Pack, CCS), in place
// and out of place, against a naive long double DFT at orders 0..10 with the
// layouts written out from their definition; round trips and the complex
// transform of the same data at orders 11..20. Error bound: relative RMS error
// below 3e-7 * log2(N) single, 1e-15 * log2(N) double (log2(N) at least 1).
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include "kpls.h"
#include "support/guarded.hpp"
#include "support/values.hpp"

namespace {

using kpltest::Guarded;
using kpltest::Rng;

enum Layout { kPerm, kPack, kCcs };
const char* kNames[] = {"Perm", "Pack", "CCS"};

template <class T>
double bound(int order) {
  return (sizeof(T) == 4 ? 3e-7 : 1e-15) * (order < 1 ? 1 : order);
}

template <class T>
struct Real {
  using Spec = std::conditional_t<sizeof(T) == 4, KplsFFTSpec_R_32f, KplsFFTSpec_R_64f>;
  static KplStatus init_alloc(Spec** p, int order, int flag) {
    if constexpr (sizeof(T) == 4) return kplsFFTInitAlloc_R_32f(p, order, flag, kplAlgHintNone);
    else return kplsFFTInitAlloc_R_64f(p, order, flag, kplAlgHintNone);
  }
  static void free(Spec* p) {
    if constexpr (sizeof(T) == 4) kplsFFTFree_R_32f(p);
    else kplsFFTFree_R_64f(p);
  }
  using Out = KplStatus (*)(const T*, T*, const Spec*, Kpl8u*);
  using In = KplStatus (*)(T*, const Spec*, Kpl8u*);
  static Out fwd(Layout l) {
    if constexpr (sizeof(T) == 4) return l == kPerm ? kplsFFTFwd_RToPerm_32f : l == kPack ? kplsFFTFwd_RToPack_32f : kplsFFTFwd_RToCCS_32f;
    else return l == kPerm ? kplsFFTFwd_RToPerm_64f : l == kPack ? kplsFFTFwd_RToPack_64f : kplsFFTFwd_RToCCS_64f;
  }
  static Out inv(Layout l) {
    if constexpr (sizeof(T) == 4) return l == kPerm ? kplsFFTInv_PermToR_32f : l == kPack ? kplsFFTInv_PackToR_32f : kplsFFTInv_CCSToR_32f;
    else return l == kPerm ? kplsFFTInv_PermToR_64f : l == kPack ? kplsFFTInv_PackToR_64f : kplsFFTInv_CCSToR_64f;
  }
  static In fwd_i(Layout l) {
    if constexpr (sizeof(T) == 4) return l == kPerm ? kplsFFTFwd_RToPerm_32f_I : l == kPack ? kplsFFTFwd_RToPack_32f_I : kplsFFTFwd_RToCCS_32f_I;
    else return l == kPerm ? kplsFFTFwd_RToPerm_64f_I : l == kPack ? kplsFFTFwd_RToPack_64f_I : kplsFFTFwd_RToCCS_64f_I;
  }
  static In inv_i(Layout l) {
    if constexpr (sizeof(T) == 4) return l == kPerm ? kplsFFTInv_PermToR_32f_I : l == kPack ? kplsFFTInv_PackToR_32f_I : kplsFFTInv_CCSToR_32f_I;
    else return l == kPerm ? kplsFFTInv_PermToR_64f_I : l == kPack ? kplsFFTInv_PackToR_64f_I : kplsFFTInv_CCSToR_64f_I;
  }
};

template <class T>
struct Plan {
  typename Real<T>::Spec* p = nullptr;
  Plan(int order, int flag) { EXPECT_EQ(Real<T>::init_alloc(&p, order, flag), kplStsOk) << "order " << order; }
  ~Plan() { Real<T>::free(p); }
};

// The spectrum X[0..N/2] of real data, naive, in long double.
std::vector<std::complex<long double>> naive_half(const std::vector<long double>& x) {
  const size_t n = x.size();
  std::vector<std::complex<long double>> w(n), y(n / 2 + 1);
  const long double two_pi = 6.283185307179586476925286766559L;
  for (size_t m = 0; m < n; ++m) w[m] = {std::cos(two_pi * m / n), -std::sin(two_pi * m / n)};
  for (size_t k = 0; k <= n / 2; ++k)
    for (size_t j = 0; j < n; ++j) y[k] += x[j] * w[(j * k) % n];
  return y;
}

// The packed layout of a half spectrum, from its definition (even N, or N = 1).
std::vector<long double> packed(const std::vector<std::complex<long double>>& y, size_t n, Layout l) {
  std::vector<long double> p;
  if (l == kCcs) {
    for (size_t k = 0; k <= n / 2; ++k) p.push_back(y[k].real()), p.push_back(k == 0 || 2 * k == n ? 0 : y[k].imag());
    return p;
  }
  p.push_back(y[0].real());
  if (n == 1) return p;
  if (l == kPerm) p.push_back(y[n / 2].real());
  for (size_t k = 1; k < n / 2; ++k) p.push_back(y[k].real()), p.push_back(y[k].imag());
  if (l == kPack) p.push_back(y[n / 2].real());
  return p;
}

template <class T>
double rel_rms(const T* got, const std::vector<long double>& want) {
  long double e = 0, r = 0;
  for (size_t i = 0; i < want.size(); ++i) e += (got[i] - want[i]) * (got[i] - want[i]), r += want[i] * want[i];
  return static_cast<double>(r == 0 ? std::sqrt(e) : std::sqrt(e / r));
}

template <class T>
class FftReal : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(FftReal, Types);

// Orders 0..10, every layout, forward and inverse, out of place at start offsets
// 0, 1, 3 and in place, with guards after the outputs.
TYPED_TEST(FftReal, EveryLayoutMatchesNaiveDft) {
  using T = TypeParam;
  using R = Real<T>;
  for (int order = 0; order <= 10; ++order) {
    const size_t n = size_t{1} << order;
    Plan<T> plan(order, KPL_FFT_NODIV_BY_ANY);
    Rng rng(order + 1);
    std::vector<T> x(n);
    std::vector<long double> xl(n);
    for (size_t i = 0; i < n; ++i) xl[i] = x[i] = static_cast<T>(rng.uniform(-1, 1));
    const auto half = naive_half(xl);
    for (Layout l : {kPerm, kPack, kCcs}) {
      const std::vector<long double> want = packed(half, n, l);
      const size_t len = want.size();
      // The inverse input: the exact spectrum rounded; the want: N times x.
      std::vector<T> spec(len);
      for (size_t i = 0; i < len; ++i) spec[i] = static_cast<T>(want[i]);
      std::vector<long double> nx(n);
      for (size_t i = 0; i < n; ++i) nx[i] = xl[i] * n;
      for (size_t off : {0, 1, 3}) {
        Guarded<T> dst(len, off);
        ASSERT_EQ(R::fwd(l)(x.data(), dst.data(), plan.p, nullptr), kplStsOk);
        EXPECT_LT(rel_rms(dst.data(), want), bound<T>(order)) << kNames[l] << " order " << order;
        EXPECT_TRUE(dst.guards_intact()) << kNames[l] << " order " << order;
        Guarded<T> back(n, off);
        ASSERT_EQ(R::inv(l)(spec.data(), back.data(), plan.p, nullptr), kplStsOk);
        EXPECT_LT(rel_rms(back.data(), nx), bound<T>(order)) << kNames[l] << " inverse, order " << order;
        EXPECT_TRUE(back.guards_intact()) << kNames[l] << " inverse, order " << order;
      }
      // In place: the same bits as out of place; CCS takes N + 2 places of room.
      std::vector<T> ref(len), refi(n);
      ASSERT_EQ(R::fwd(l)(x.data(), ref.data(), plan.p, nullptr), kplStsOk);
      ASSERT_EQ(R::inv(l)(spec.data(), refi.data(), plan.p, nullptr), kplStsOk);
      Guarded<T> io(len, 2);
      std::memcpy(io.data(), x.data(), n * sizeof(T));
      ASSERT_EQ(R::fwd_i(l)(io.data(), plan.p, nullptr), kplStsOk);
      EXPECT_EQ(std::memcmp(io.data(), ref.data(), len * sizeof(T)), 0) << kNames[l] << " in place, order " << order;
      io.assign(spec.data());
      ASSERT_EQ(R::inv_i(l)(io.data(), plan.p, nullptr), kplStsOk);
      EXPECT_EQ(std::memcmp(io.data(), refi.data(), n * sizeof(T)), 0) << kNames[l] << " inverse in place, " << order;
      EXPECT_TRUE(io.guards_intact()) << kNames[l] << " order " << order;
    }
  }
}

// Orders 11..20: forward then inverse with 1/N gives the input back, and the CCS
// spectrum equals the complex transform of the same data.
TYPED_TEST(FftReal, RoundTripAndComplexAgreementAtLargeOrders) {
  using T = TypeParam;
  using R = Real<T>;
  using C = std::conditional_t<sizeof(T) == 4, Kpl32fc, Kpl64fc>;
  for (int order = 11; order <= 20; ++order) {
    const size_t n = size_t{1} << order;
    Plan<T> plan(order, KPL_FFT_DIV_INV_BY_N);
    Rng rng(order);
    std::vector<T> x(n), ccs(n + 2), back(n);
    std::vector<C> xc(n), yc(n);
    for (size_t i = 0; i < n; ++i) x[i] = static_cast<T>(rng.uniform(-1, 1)), xc[i] = C{x[i], 0};
    ASSERT_EQ(R::fwd(kCcs)(x.data(), ccs.data(), plan.p, nullptr), kplStsOk);
    if constexpr (sizeof(T) == 4) {
      KplsFFTSpec_C_32fc* cp = nullptr;
      ASSERT_EQ(kplsFFTInitAlloc_C_32fc(&cp, order, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone), kplStsOk);
      ASSERT_EQ(kplsFFTFwd_CToC_32fc(xc.data(), yc.data(), cp, nullptr), kplStsOk);
      kplsFFTFree_C_32fc(cp);
    } else {
      KplsFFTSpec_C_64fc* cp = nullptr;
      ASSERT_EQ(kplsFFTInitAlloc_C_64fc(&cp, order, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone), kplStsOk);
      ASSERT_EQ(kplsFFTFwd_CToC_64fc(xc.data(), yc.data(), cp, nullptr), kplStsOk);
      kplsFFTFree_C_64fc(cp);
    }
    std::vector<long double> want(n + 2);
    for (size_t k = 0; k <= n / 2; ++k) want[2 * k] = yc[k].re, want[2 * k + 1] = yc[k].im;
    EXPECT_LT(rel_rms(ccs.data(), want), 2 * bound<T>(order)) << "order " << order;
    EXPECT_EQ(ccs[1], T(0));
    EXPECT_EQ(ccs[n + 1], T(0));
    ASSERT_EQ(R::inv(kCcs)(ccs.data(), back.data(), plan.p, nullptr), kplStsOk);
    EXPECT_LT(rel_rms(back.data(), std::vector<long double>(x.begin(), x.end())), bound<T>(order)) << order;
  }
}

// The small cases written out, and the statuses in their order.
TYPED_TEST(FftReal, EdgesAndStatuses) {
  using T = TypeParam;
  using R = Real<T>;
  {  // order 0: CCS is x, 0 and nothing else is written
    Plan<T> plan(0, KPL_FFT_DIV_FWD_BY_N);
    const T x = T(-2.5);
    Guarded<T> dst(2);
    ASSERT_EQ(R::fwd(kCcs)(&x, dst.data(), plan.p, nullptr), kplStsOk);
    EXPECT_EQ(dst[0], x);
    EXPECT_EQ(dst[1], T(0));
    EXPECT_TRUE(dst.guards_intact());
    Guarded<T> one(1);
    ASSERT_EQ(R::fwd(kPerm)(&x, one.data(), plan.p, nullptr), kplStsOk);
    EXPECT_EQ(one[0], x);
    EXPECT_TRUE(one.guards_intact());
  }
  {  // order 1: R0 = x0 + x1, R1 = x0 - x1 in each layout; and back
    Plan<T> plan(1, KPL_FFT_NODIV_BY_ANY);
    const T x[2] = {T(3), T(-5)};
    const struct { Layout l; std::vector<T> want; } cases[] = {
        {kPerm, {T(-2), T(8)}}, {kPack, {T(-2), T(8)}}, {kCcs, {T(-2), T(0), T(8), T(0)}}};
    for (const auto& c : cases) {
      Guarded<T> d(c.want.size());
      ASSERT_EQ(R::fwd(c.l)(x, d.data(), plan.p, nullptr), kplStsOk);
      EXPECT_EQ(d.values(), c.want) << kNames[c.l];
      EXPECT_TRUE(d.guards_intact());
      T b[2];
      ASSERT_EQ(R::inv(c.l)(c.want.data(), b, plan.p, nullptr), kplStsOk);
      EXPECT_EQ(b[0], T(6)) << kNames[c.l];
      EXPECT_EQ(b[1], T(-10)) << kNames[c.l];
    }
  }
  {  // order 5 round trip with 1/N on the inverse returns the input to rounding
    Plan<T> plan(5, KPL_FFT_DIV_INV_BY_N);
    T x[32], y[32], z[32];
    for (int i = 0; i < 32; ++i) x[i] = static_cast<T>(i % 5) - T(1.5);
    ASSERT_EQ(R::fwd(kPerm)(x, y, plan.p, nullptr), kplStsOk);
    ASSERT_EQ(R::inv(kPerm)(y, z, plan.p, nullptr), kplStsOk);
    for (int i = 0; i < 32; ++i) EXPECT_NEAR(z[i], x[i], sizeof(T) == 4 ? 1e-5 : 1e-13) << i;
  }
  // Statuses: the plan, its tag, then the data; nothing written on error.
  Plan<T> plan(7, KPL_FFT_NODIV_BY_ANY);
  Guarded<T> src(130), dst(130);
  kpltest::fill_random_bits(src.data(), 130, 5);
  const auto s0 = src.snapshot(), d0 = dst.snapshot();
  std::vector<uint32_t> wrong(64, 0);
  wrong[0] = sizeof(T) == 4 ? 9 : 6;
  const auto* bad = reinterpret_cast<const typename R::Spec*>(wrong.data());
  for (Layout l : {kPerm, kPack, kCcs}) {
    for (auto f : {R::fwd(l), R::inv(l)}) {
      EXPECT_EQ(f(src.data(), dst.data(), nullptr, nullptr), kplStsNullPointer);
      EXPECT_EQ(f(nullptr, nullptr, bad, nullptr), kplStsBadContext);
      EXPECT_EQ(f(nullptr, dst.data(), plan.p, nullptr), kplStsNullPointer);
      EXPECT_EQ(f(src.data(), nullptr, plan.p, nullptr), kplStsNullPointer);
    }
    for (auto f : {R::fwd_i(l), R::inv_i(l)}) {
      EXPECT_EQ(f(nullptr, nullptr, nullptr), kplStsNullPointer);
      EXPECT_EQ(f(nullptr, bad, nullptr), kplStsBadContext);
      EXPECT_EQ(f(nullptr, plan.p, nullptr), kplStsNullPointer);
    }
  }
  EXPECT_TRUE(src.unchanged_since(s0) && dst.unchanged_since(d0));
}

}  // namespace
