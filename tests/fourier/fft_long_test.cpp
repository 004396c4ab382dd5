// Orders 22 and 24 of the single-precision complex FFT (the large path with two
// and three levels of merge tables), too slow for the default run: an impulse
// gives the unit roots, forward then inverse with 1/N gives the input back, in
// place equals out of place. Error bound: relative RMS below 3e-7 * log2(N).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "kpls.h"
#include "support/values.hpp"

namespace {

TEST(FftLongComplex32fc, Orders22And24) {
  for (int order : {22, 24}) {
    const size_t n = size_t{1} << order;
    KplsFFTSpec_C_32fc* p = nullptr;
    ASSERT_EQ(kplsFFTInitAlloc_C_32fc(&p, order, KPL_FFT_DIV_INV_BY_N, kplAlgHintNone), kplStsOk);
    int bytes = 0;
    ASSERT_EQ(kplsFFTGetBufSize_C_32fc(p, &bytes), kplStsOk);
    std::vector<Kpl8u> buf(static_cast<size_t>(bytes));
    std::vector<Kpl32fc> x(n), y(n), z(n);
    // Impulse at p0: bin k is exp(-2 pi i p0 k / N); the angle is reduced exactly
    // in integers before the double-precision sine and cosine.
    const size_t p0 = (n / 5) | 1;
    std::memset(x.data(), 0, n * sizeof(Kpl32fc));
    x[p0].re = 1;
    ASSERT_EQ(kplsFFTFwd_CToC_32fc(x.data(), y.data(), p, buf.data()), kplStsOk);
    double e = 0;
    for (size_t k = 0; k < n; ++k) {
      const double a = 6.283185307179586476925286766559 * static_cast<double>((p0 * k) & (n - 1)) / static_cast<double>(n);
      e += std::pow(y[k].re - std::cos(a), 2) + std::pow(y[k].im + std::sin(a), 2);
    }
    EXPECT_LT(std::sqrt(e / static_cast<double>(n)), 3e-7 * order) << "impulse, order " << order;
    // Round trip on random data, and in place against out of place.
    kpltest::Rng rng(order);
    for (auto& v : x) v = {static_cast<float>(rng.uniform(-1, 1)), static_cast<float>(rng.uniform(-1, 1))};
    ASSERT_EQ(kplsFFTFwd_CToC_32fc(x.data(), y.data(), p, buf.data()), kplStsOk);
    z = x;
    ASSERT_EQ(kplsFFTFwd_CToC_32fc_I(z.data(), p, nullptr), kplStsOk);
    EXPECT_EQ(std::memcmp(z.data(), y.data(), n * sizeof(Kpl32fc)), 0) << "in place, order " << order;
    ASSERT_EQ(kplsFFTInv_CToC_32fc(y.data(), z.data(), p, buf.data()), kplStsOk);
    double d = 0, r = 0;
    for (size_t k = 0; k < n; ++k) {
      d += std::pow(z[k].re - x[k].re, 2) + std::pow(z[k].im - x[k].im, 2);
      r += std::pow(x[k].re, 2) + std::pow(x[k].im, 2);
    }
    EXPECT_LT(std::sqrt(d / r), 3e-7 * order) << "round trip, order " << order;
    kplsFFTFree_C_32fc(p);
  }
}

}  // namespace
