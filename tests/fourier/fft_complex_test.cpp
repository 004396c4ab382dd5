// The complex FFT of the floating plans against a naive long double DFT at small
// orders and against linearity, impulse and round-trip properties at large ones.
// Error bound: relative RMS error below 3e-7 * log2(N) in single precision and
// 1e-15 * log2(N) in double (log2(N) taken as at least 1).
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <thread>
#include <vector>

#include "kpls.h"
#include "support/guarded.hpp"
#include "support/threads.hpp"
#include "support/values.hpp"

namespace {

using kpltest::Guarded;
using kpltest::Rng;
using kpltest::ThreadCount;
using LC = std::complex<long double>;

template <class T>
double bound(int order) {
  return (sizeof(T) == 4 ? 3e-7 : 1e-15) * (order < 1 ? 1 : order);
}

// exp(sign 2 pi i m / n), m = 0..n-1. The angle is reduced to the first octant
// so that double-precision sin and cos are good to 1e-16, far inside both bounds.
std::vector<LC> unit_roots(size_t n, int sign) {
  std::vector<LC> w(n);
  const double step = 6.283185307179586476925286766559 / static_cast<double>(n);
  for (size_t m = 0; m < n; ++m) {
    const size_t q = (4 * m) / n, r = m - q * n / 4;  // quadrant and rest
    const bool upper = 8 * r > n;                        // use the cosine of the complement
    const double a = static_cast<double>(upper ? n / 4 - r : r) * step;
    const double s0 = upper ? std::cos(a) : std::sin(a), c0 = upper ? std::sin(a) : std::cos(a);
    const double c[4] = {c0, -s0, -c0, s0}, s[4] = {s0, c0, -s0, -c0};
    w[m] = LC(c[q], sign * s[q]);
  }
  return w;
}

// Forward sign -1, inverse +1; no normalisation.
std::vector<LC> naive_dft(const std::vector<LC>& x, int sign) {
  const size_t n = x.size();
  const std::vector<LC> w = unit_roots(n, sign);
  std::vector<LC> y(n);
  for (size_t k = 0; k < n; ++k) {
    LC s = 0;
    for (size_t j = 0; j < n; ++j) s += x[j] * w[(j * k) % n];
    y[k] = s;
  }
  return y;
}

double rel_rms(const std::vector<LC>& got, const std::vector<LC>& want) {
  long double e = 0, r = 0;
  for (size_t i = 0; i < got.size(); ++i) e += std::norm(got[i] - want[i]), r += std::norm(want[i]);
  return r == 0 ? static_cast<double>(std::sqrt(e)) : static_cast<double>(std::sqrt(e / r));
}

// One interface over the four forms: interleaved or split, single or double.
template <class T, bool SplitForm>
struct Form {
  using C = std::conditional_t<sizeof(T) == 4, Kpl32fc, Kpl64fc>;
  using Spec = std::conditional_t<sizeof(T) == 4, std::conditional_t<SplitForm, KplsFFTSpec_C_32f, KplsFFTSpec_C_32fc>,
                                  std::conditional_t<SplitForm, KplsFFTSpec_C_64f, KplsFFTSpec_C_64fc>>;
  static constexpr bool split = SplitForm;
  static KplStatus init_alloc(Spec** p, int order, int flag) {
    if constexpr (sizeof(T) == 4 && SplitForm) return kplsFFTInitAlloc_C_32f(p, order, flag, kplAlgHintNone);
    else if constexpr (sizeof(T) == 4) return kplsFFTInitAlloc_C_32fc(p, order, flag, kplAlgHintNone);
    else if constexpr (SplitForm) return kplsFFTInitAlloc_C_64f(p, order, flag, kplAlgHintNone);
    else return kplsFFTInitAlloc_C_64fc(p, order, flag, kplAlgHintNone);
  }
  static void free(Spec* p) {
    if constexpr (sizeof(T) == 4 && SplitForm) kplsFFTFree_C_32f(p);
    else if constexpr (sizeof(T) == 4) kplsFFTFree_C_32fc(p);
    else if constexpr (SplitForm) kplsFFTFree_C_64f(p);
    else kplsFFTFree_C_64fc(p);
  }
  static int buf_size(const Spec* p) {
    int n = -1;
    if constexpr (sizeof(T) == 4 && SplitForm) kplsFFTGetBufSize_C_32f(p, &n);
    else if constexpr (sizeof(T) == 4) kplsFFTGetBufSize_C_32fc(p, &n);
    else if constexpr (SplitForm) kplsFFTGetBufSize_C_64f(p, &n);
    else kplsFFTGetBufSize_C_64fc(p, &n);
    return n;
  }
  // Interleaved data: 2N values; split: the N real parts, then the N imaginary parts.
  static KplStatus run(bool inv, const T* s, T* d, size_t n, const Spec* p, Kpl8u* buf) {
    if constexpr (SplitForm) {
      if constexpr (sizeof(T) == 4)
        return inv ? kplsFFTInv_CToC_32f(s, s + n, d, d + n, p, buf) : kplsFFTFwd_CToC_32f(s, s + n, d, d + n, p, buf);
      else
        return inv ? kplsFFTInv_CToC_64f(s, s + n, d, d + n, p, buf) : kplsFFTFwd_CToC_64f(s, s + n, d, d + n, p, buf);
    } else {
      const C* cs = reinterpret_cast<const C*>(s);
      C* cd = reinterpret_cast<C*>(d);
      if constexpr (sizeof(T) == 4)
        return inv ? kplsFFTInv_CToC_32fc(cs, cd, p, buf) : kplsFFTFwd_CToC_32fc(cs, cd, p, buf);
      else
        return inv ? kplsFFTInv_CToC_64fc(cs, cd, p, buf) : kplsFFTFwd_CToC_64fc(cs, cd, p, buf);
    }
  }
  static KplStatus run_inplace(bool inv, T* sd, size_t n, const Spec* p, Kpl8u* buf) {
    if constexpr (SplitForm) {
      if constexpr (sizeof(T) == 4)
        return inv ? kplsFFTInv_CToC_32f_I(sd, sd + n, p, buf) : kplsFFTFwd_CToC_32f_I(sd, sd + n, p, buf);
      else
        return inv ? kplsFFTInv_CToC_64f_I(sd, sd + n, p, buf) : kplsFFTFwd_CToC_64f_I(sd, sd + n, p, buf);
    } else {
      C* c = reinterpret_cast<C*>(sd);
      if constexpr (sizeof(T) == 4) return inv ? kplsFFTInv_CToC_32fc_I(c, p, buf) : kplsFFTFwd_CToC_32fc_I(c, p, buf);
      else return inv ? kplsFFTInv_CToC_64fc_I(c, p, buf) : kplsFFTFwd_CToC_64fc_I(c, p, buf);
    }
  }
  static LC get(const T* d, size_t n, size_t k) {
    return split ? LC(d[k], d[n + k]) : LC(d[2 * k], d[2 * k + 1]);
  }
  static std::vector<LC> values(const T* d, size_t n) {
    std::vector<LC> v(n);
    for (size_t k = 0; k < n; ++k) v[k] = get(d, n, k);
    return v;
  }
};

template <class F>
class FftComplex : public ::testing::Test {};
using Forms = ::testing::Types<Form<float, false>, Form<float, true>, Form<double, false>, Form<double, true>>;
TYPED_TEST_SUITE(FftComplex, Forms);

template <class T>
std::vector<T> random_data(size_t count, uint64_t seed) {
  Rng r(seed);
  std::vector<T> v(count);
  for (auto& x : v) x = static_cast<T>(r.uniform(-1, 1));
  return v;
}

// Plan owner for a test scope.
template <class F>
struct Plan {
  typename F::Spec* p = nullptr;
  Plan(int order, int flag) { EXPECT_EQ(F::init_alloc(&p, order, flag), kplStsOk) << "order " << order; }
  ~Plan() { F::free(p); }
};

// Orders 0..10, both directions, out of place into a guarded vector at every
// start offset 0..3, against the naive DFT.
TYPED_TEST(FftComplex, MatchesNaiveDftAtSmallOrders) {
  using F = TypeParam;
  using E = std::conditional_t<sizeof(typename F::C) == 8, float, double>;
  for (int order = 0; order <= 10; ++order) {
    const size_t n = size_t{1} << order;
    Plan<F> plan(order, KPL_FFT_NODIV_BY_ANY);
    const std::vector<E> src = random_data<E>(2 * n, 100 + order);
    std::vector<LC> x(n);
    for (size_t k = 0; k < n; ++k) x[k] = F::get(src.data(), n, k);
    for (bool inv : {false, true}) {
      const std::vector<LC> want = naive_dft(x, inv ? 1 : -1);
      for (size_t off : {0, 1, 3}) {
        Guarded<E> dst(2 * n, off);
        std::vector<Kpl8u> buf(static_cast<size_t>(F::buf_size(plan.p)) + 1);
        ASSERT_EQ(F::run(inv, src.data(), dst.data(), n, plan.p, buf.data()), kplStsOk);
        EXPECT_LT(rel_rms(F::values(dst.data(), n), want), bound<E>(order)) << "order " << order << " inv " << inv;
        EXPECT_TRUE(dst.guards_intact()) << "order " << order << " offset " << off;
      }
    }
  }
}

// In place gives the bits of out of place; a destination moved by one element
// (8 or 16 bytes) gives the same bits; a null buffer gives the same bits.
TYPED_TEST(FftComplex, InPlaceMisalignedAndOwnBufferAgree) {
  using F = TypeParam;
  using E = std::conditional_t<sizeof(typename F::C) == 8, float, double>;
  for (int order : {0, 1, 2, 3, 4, 5, 6, 7, 9, 12, 13, 15, 17, 18}) {
    const size_t n = size_t{1} << order;
    Plan<F> plan(order, KPL_FFT_DIV_BY_SQRTN);
    const std::vector<E> src = random_data<E>(2 * n, 7 + order);
    for (bool inv : {false, true}) {
      std::vector<E> ref(2 * n);
      ASSERT_EQ(F::run(inv, src.data(), ref.data(), n, plan.p, nullptr), kplStsOk);
      Guarded<E> in(2 * n, 0), moved(2 * n, 1);
      in.assign(src.data());
      ASSERT_EQ(F::run_inplace(inv, in.data(), n, plan.p, nullptr), kplStsOk);
      std::vector<Kpl8u> buf(static_cast<size_t>(F::buf_size(plan.p)) + 1);
      ASSERT_EQ(F::run(inv, src.data(), moved.data(), n, plan.p, buf.data()), kplStsOk);
      EXPECT_EQ(std::memcmp(in.data(), ref.data(), 2 * n * sizeof(E)), 0) << "in place, order " << order;
      EXPECT_EQ(std::memcmp(moved.data(), ref.data(), 2 * n * sizeof(E)), 0) << "moved dst, order " << order;
      EXPECT_TRUE(in.guards_intact() && moved.guards_intact()) << "order " << order;
    }
  }
}

// Large orders without a reference: an impulse at p gives exp(-+2 pi i p k / N)
// at every k; the transform is linear; forward then inverse (1/N on the inverse)
// gives the input back. Every order 11..20 for the interleaved forms; the split
// forms, which share the dispatch, take one order of each path and parity.
TYPED_TEST(FftComplex, PropertiesAtLargeOrders) {
  using F = TypeParam;
  using E = std::conditional_t<sizeof(typename F::C) == 8, float, double>;
  const std::vector<int> orders =
      F::split ? std::vector<int>{11, 12, 13, 14, 17, 18, 19} : std::vector<int>{11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
  for (int order : orders) {
    const size_t n = size_t{1} << order;
    Plan<F> plan(order, KPL_FFT_DIV_INV_BY_N);
    const size_t p = (n / 3) | 1;
    std::vector<E> imp(2 * n, E(0)), out(2 * n);
    if (F::split) imp[p] = 1; else imp[2 * p] = 1;
    for (bool inv : {false, true}) {
      ASSERT_EQ(F::run(inv, imp.data(), out.data(), n, plan.p, nullptr), kplStsOk);
      const std::vector<LC> w = unit_roots(n, inv ? 1 : -1);
      std::vector<LC> want(n);
      for (size_t k = 0; k < n; ++k) want[k] = w[(p * k) % n] * (inv ? 1.0L / n : 1.0L);
      EXPECT_LT(rel_rms(F::values(out.data(), n), want), bound<E>(order)) << "impulse, order " << order;
    }
    const std::vector<E> x = random_data<E>(2 * n, order), y = random_data<E>(2 * n, 50 + order);
    std::vector<E> mix(2 * n), fx(2 * n), fy(2 * n), fm(2 * n), back(2 * n);
    for (size_t i = 0; i < 2 * n; ++i) mix[i] = E(0.75) * x[i] - E(0.5) * y[i];
    ASSERT_EQ(F::run(false, x.data(), fx.data(), n, plan.p, nullptr), kplStsOk);
    ASSERT_EQ(F::run(false, y.data(), fy.data(), n, plan.p, nullptr), kplStsOk);
    ASSERT_EQ(F::run(false, mix.data(), fm.data(), n, plan.p, nullptr), kplStsOk);
    std::vector<LC> lin(n);
    for (size_t k = 0; k < n; ++k) lin[k] = 0.75L * F::get(fx.data(), n, k) - 0.5L * F::get(fy.data(), n, k);
    EXPECT_LT(rel_rms(F::values(fm.data(), n), lin), bound<E>(order)) << "linearity, order " << order;
    ASSERT_EQ(F::run(true, fx.data(), back.data(), n, plan.p, nullptr), kplStsOk);
    EXPECT_LT(rel_rms(F::values(back.data(), n), F::values(x.data(), n)), bound<E>(order)) << "round trip " << order;
  }
}

// The checks in their order: plan null, tag, data pointers; nothing written.
TYPED_TEST(FftComplex, StatusesAndNothingWrittenOnError) {
  using F = TypeParam;
  using E = std::conditional_t<sizeof(typename F::C) == 8, float, double>;
  const int order = 6;
  const size_t n = 64;
  Plan<F> plan(order, KPL_FFT_NODIV_BY_ANY);
  Guarded<E> src(2 * n), dst(2 * n);
  kpltest::fill_random_bits(src.data(), 2 * n, 3);
  const auto s0 = src.snapshot(), d0 = dst.snapshot();
  // A plan of another type: the same record with a wrong tag.
  std::vector<uint32_t> wrong(64, 0);
  wrong[0] = F::split ? (sizeof(E) == 4 ? 4 : 7) : (sizeof(E) == 4 ? 5 : 8);
  const auto* bad = reinterpret_cast<const typename F::Spec*>(wrong.data());
  for (bool inv : {false, true}) {
    EXPECT_EQ(F::run(inv, src.data(), dst.data(), n, nullptr, nullptr), kplStsNullPointer);
    EXPECT_EQ(F::run(inv, nullptr, nullptr, n, nullptr, nullptr), kplStsNullPointer);
    EXPECT_EQ(F::run(inv, nullptr, dst.data(), n, bad, nullptr), kplStsBadContext);  // tag before data
    EXPECT_EQ(F::run(inv, nullptr, dst.data(), n, plan.p, nullptr), kplStsNullPointer);
    EXPECT_EQ(F::run(inv, src.data(), nullptr, n, plan.p, nullptr), kplStsNullPointer);
    EXPECT_EQ(F::run_inplace(inv, nullptr, n, plan.p, nullptr), kplStsNullPointer);
    EXPECT_EQ(F::run_inplace(inv, dst.data(), n, bad, nullptr), kplStsBadContext);
  }
  if constexpr (F::split) {  // each of the four arrays is required
    E* s = src.data();
    E* d = dst.data();
    if constexpr (sizeof(E) == 4) {
      EXPECT_EQ(kplsFFTFwd_CToC_32f(s, nullptr, d, d + n, plan.p, nullptr), kplStsNullPointer);
      EXPECT_EQ(kplsFFTFwd_CToC_32f(s, s + n, d, nullptr, plan.p, nullptr), kplStsNullPointer);
      EXPECT_EQ(kplsFFTInv_CToC_32f_I(d, nullptr, plan.p, nullptr), kplStsNullPointer);
    } else {
      EXPECT_EQ(kplsFFTFwd_CToC_64f(s, nullptr, d, d + n, plan.p, nullptr), kplStsNullPointer);
      EXPECT_EQ(kplsFFTFwd_CToC_64f(s, s + n, d, nullptr, plan.p, nullptr), kplStsNullPointer);
      EXPECT_EQ(kplsFFTInv_CToC_64f_I(d, nullptr, plan.p, nullptr), kplStsNullPointer);
    }
  }
  EXPECT_TRUE(src.unchanged_since(s0) && dst.unchanged_since(d0));
}

// The work buffer the caller gives is used only within the GetBufSize bytes.
TYPED_TEST(FftComplex, WorkBufferStaysInsideItsSize) {
  using F = TypeParam;
  using E = std::conditional_t<sizeof(typename F::C) == 8, float, double>;
  for (int order : {6, 11, 14, 18}) {
    const size_t n = size_t{1} << order;
    Plan<F> plan(order, KPL_FFT_NODIV_BY_ANY);
    const size_t bytes = static_cast<size_t>(F::buf_size(plan.p));
    for (size_t off : {0, 5}) {
      Guarded<Kpl8u> buf(bytes, off);
      const std::vector<E> src = random_data<E>(2 * n, 9);
      std::vector<E> dst(2 * n);
      ASSERT_EQ(F::run(false, src.data(), dst.data(), n, plan.p, buf.data()), kplStsOk);
      ASSERT_EQ(F::run_inplace(true, dst.data(), n, plan.p, buf.data()), kplStsOk);
      EXPECT_TRUE(buf.guards_intact()) << "order " << order << " offset " << off;
    }
  }
}

// The medium path at one and at two threads, and one plan used by two threads at
// once with their own buffers: the same bits every time.
TYPED_TEST(FftComplex, ThreadsGiveTheSameBits) {
  using F = TypeParam;
  using E = std::conditional_t<sizeof(typename F::C) == 8, float, double>;
  for (int order : {12, 13, 15, 17}) {
    const size_t n = size_t{1} << order;
    const std::vector<E> src = random_data<E>(2 * n, 11);
    std::vector<E> one(2 * n), two(2 * n);
    {
      ThreadCount t(1);
      Plan<F> plan(order, KPL_FFT_DIV_FWD_BY_N);
      ASSERT_EQ(F::run(false, src.data(), one.data(), n, plan.p, nullptr), kplStsOk);
    }
    {
      ThreadCount t(2);
      Plan<F> plan(order, KPL_FFT_DIV_FWD_BY_N);
      ASSERT_EQ(F::run(false, src.data(), two.data(), n, plan.p, nullptr), kplStsOk);
      std::vector<E> a(2 * n), b(2 * n);
      std::thread ta([&] { F::run(false, src.data(), a.data(), n, plan.p, nullptr); });
      std::thread tb([&] { F::run(false, src.data(), b.data(), n, plan.p, nullptr); });
      ta.join();
      tb.join();
      EXPECT_EQ(std::memcmp(a.data(), one.data(), 2 * n * sizeof(E)), 0) << "concurrent, order " << order;
      EXPECT_EQ(std::memcmp(b.data(), one.data(), 2 * n * sizeof(E)), 0) << "concurrent, order " << order;
    }
    EXPECT_EQ(std::memcmp(one.data(), two.data(), 2 * n * sizeof(E)), 0) << "1 vs 2 threads, order " << order;
  }
}

}  // namespace
