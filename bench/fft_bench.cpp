// The floating FFT against a plain radix-2 loop and, when installed, FFTW (one
// thread, FFTW_MEASURE, out of place) in the same run: complex 32fc, real 32f to
// CCS, complex 64fc, N = 2^6 .. 2^20. BM_FftRatioTable prints FFTW time / kpls
// time per size with the geometric mean per kind, and the RMS error of both
// against a long double reference at a few sizes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench_sizes.hpp"
#include "kpls.h"

#if KPLS_BENCH_FFTW
#include <fftw3.h>
#endif

namespace {

using kplbench::Scratch;

void fft_orders(benchmark::internal::Benchmark* b) {
  for (int o = 6; o <= 20; o += 2) b->Arg(o);
}

template <class T>
void fill(T* p, size_t count) {
  for (size_t i = 0; i < count; ++i) p[i] = static_cast<T>(std::sin(0.37 * static_cast<double>(i)) + 0.25);
}

// The obvious loop: bit reversal then radix-2 butterflies with a twiddle recurrence
// replaced by a precomputed table (so that its accuracy is fair).
template <class T>
struct PlainFft {
  explicit PlainFft(int order) : n(size_t{1} << order), w(n / 2) {
    for (size_t k = 0; k < n / 2; ++k) w[k] = std::polar(T(1), static_cast<T>(-6.283185307179586 * k / n));
  }
  void run(const std::complex<T>* x, std::complex<T>* y) const {
    for (size_t i = 0, j = 0; i < n; ++i) {
      y[j] = x[i];
      size_t bit = n >> 1;
      for (; j & bit; bit >>= 1) j ^= bit;
      j |= bit;
    }
    for (size_t len = 2; len <= n; len <<= 1)
      for (size_t i = 0; i < n; i += len)
        for (size_t k = 0; k < len / 2; ++k) {
          const std::complex<T> a = y[i + k], b = y[i + k + len / 2] * w[k * (n / len)];
          y[i + k] = a + b;
          y[i + k + len / 2] = a - b;
        }
  }
  size_t n;
  std::vector<std::complex<T>> w;
};

void set_points(benchmark::State& s, size_t n) {
  s.SetItemsProcessed(static_cast<int64_t>(s.iterations()) * static_cast<int64_t>(n));
}

// ---- kpls ---------------------------------------------------------------------
struct Kc32 {
  explicit Kc32(int o) : n(size_t{1} << o), src(8 * n), dst(8 * n) {
    kplsFFTInitAlloc_C_32fc(&p, o, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone);
    int b = 0;
    kplsFFTGetBufSize_C_32fc(p, &b);
    buf.reset(new Kpl8u[static_cast<size_t>(b) + 1]);
    fill(src.as<Kpl32f>(), 2 * n);
  }
  ~Kc32() { kplsFFTFree_C_32fc(p); }
  void run() { kplsFFTFwd_CToC_32fc(src.as<Kpl32fc>(), dst.as<Kpl32fc>(), p, buf.get()); }
  size_t n;
  Scratch src, dst;
  KplsFFTSpec_C_32fc* p = nullptr;
  std::unique_ptr<Kpl8u[]> buf;
};
struct Kr32 {
  explicit Kr32(int o) : n(size_t{1} << o), src(4 * n + 8), dst(4 * n + 8) {
    kplsFFTInitAlloc_R_32f(&p, o, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone);
    int b = 0;
    kplsFFTGetBufSize_R_32f(p, &b);
    buf.reset(new Kpl8u[static_cast<size_t>(b) + 1]);
    fill(src.as<Kpl32f>(), n);
  }
  ~Kr32() { kplsFFTFree_R_32f(p); }
  void run() { kplsFFTFwd_RToCCS_32f(src.as<Kpl32f>(), dst.as<Kpl32f>(), p, buf.get()); }
  size_t n;
  Scratch src, dst;
  KplsFFTSpec_R_32f* p = nullptr;
  std::unique_ptr<Kpl8u[]> buf;
};
struct Kc64 {
  explicit Kc64(int o) : n(size_t{1} << o), src(16 * n), dst(16 * n) {
    kplsFFTInitAlloc_C_64fc(&p, o, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone);
    int b = 0;
    kplsFFTGetBufSize_C_64fc(p, &b);
    buf.reset(new Kpl8u[static_cast<size_t>(b) + 1]);
    fill(src.as<Kpl64f>(), 2 * n);
  }
  ~Kc64() { kplsFFTFree_C_64fc(p); }
  void run() { kplsFFTFwd_CToC_64fc(src.as<Kpl64fc>(), dst.as<Kpl64fc>(), p, buf.get()); }
  size_t n;
  Scratch src, dst;
  KplsFFTSpec_C_64fc* p = nullptr;
  std::unique_ptr<Kpl8u[]> buf;
};

template <class K>
void bench_kpls(benchmark::State& s) {
  K k(static_cast<int>(s.range(0)));
  for (auto _ : s) {
    k.run();
    benchmark::ClobberMemory();
  }
  set_points(s, k.n);
}

template <class T>
void bench_plain(benchmark::State& s) {
  PlainFft<T> f(static_cast<int>(s.range(0)));
  std::vector<std::complex<T>> x(f.n), y(f.n);
  fill(reinterpret_cast<T*>(x.data()), 2 * f.n);
  for (auto _ : s) {
    f.run(x.data(), y.data());
    benchmark::ClobberMemory();
  }
  set_points(s, f.n);
}

void bench_plain_real(benchmark::State& s) {  // the plain way: a complex transform of the real data
  PlainFft<float> f(static_cast<int>(s.range(0)));
  std::vector<std::complex<float>> x(f.n), y(f.n);
  for (size_t i = 0; i < f.n; ++i) x[i] = {static_cast<float>(std::sin(0.37 * i) + 0.25), 0.0f};
  for (auto _ : s) {
    f.run(x.data(), y.data());
    benchmark::ClobberMemory();
  }
  set_points(s, f.n);
}

#if KPLS_BENCH_FFTW
struct Wc32 {
  explicit Wc32(int o) : n(size_t{1} << o) {
    in = fftwf_alloc_complex(n), out = fftwf_alloc_complex(n);
    p = fftwf_plan_dft_1d(static_cast<int>(n), in, out, FFTW_FORWARD, FFTW_MEASURE);
    fill(reinterpret_cast<float*>(in), 2 * n);
  }
  ~Wc32() { fftwf_destroy_plan(p), fftwf_free(in), fftwf_free(out); }
  void run() { fftwf_execute(p); }
  size_t n;
  fftwf_complex *in, *out;
  fftwf_plan p;
};
struct Wr32 {
  explicit Wr32(int o) : n(size_t{1} << o) {
    in = fftwf_alloc_real(n), out = fftwf_alloc_complex(n / 2 + 1);
    p = fftwf_plan_dft_r2c_1d(static_cast<int>(n), in, out, FFTW_MEASURE);
    fill(in, n);
  }
  ~Wr32() { fftwf_destroy_plan(p), fftwf_free(in), fftwf_free(out); }
  void run() { fftwf_execute(p); }
  size_t n;
  float* in;
  fftwf_complex* out;
  fftwf_plan p;
};
struct Wc64 {
  explicit Wc64(int o) : n(size_t{1} << o) {
    in = fftw_alloc_complex(n), out = fftw_alloc_complex(n);
    p = fftw_plan_dft_1d(static_cast<int>(n), in, out, FFTW_FORWARD, FFTW_MEASURE);
    fill(reinterpret_cast<double*>(in), 2 * n);
  }
  ~Wc64() { fftw_destroy_plan(p), fftw_free(in), fftw_free(out); }
  void run() { fftw_execute(p); }
  size_t n;
  fftw_complex *in, *out;
  fftw_plan p;
};
template <class W>
void bench_fftw(benchmark::State& s) {
  W w(static_cast<int>(s.range(0)));
  for (auto _ : s) {
    w.run();
    benchmark::ClobberMemory();
  }
  set_points(s, w.n);
}

// Best of several timed batches, in seconds per transform.
template <class F>
double seconds_per_run(F&& f, size_t n) {
  const int reps = static_cast<int>(std::max<size_t>(1, (size_t{1} << 22) / (n * 8)));
  double best = 1e30;
  for (int b = 0; b < 7; ++b) {
    const auto t0 = std::chrono::steady_clock::now();
    for (int r = 0; r < reps; ++r) f();
    const double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count() / reps;
    best = std::min(best, t);
  }
  return best;
}

// RMS error relative to the RMS of the exact spectrum, long double reference.
template <class T>
double rel_rms(const T* got, const std::vector<std::complex<long double>>& want) {
  long double e = 0, r = 0;
  for (size_t k = 0; k < want.size(); ++k) {
    const std::complex<long double> g(got[2 * k], got[2 * k + 1]);
    e += std::norm(g - want[k]), r += std::norm(want[k]);
  }
  return static_cast<double>(std::sqrt(e / r));
}
std::vector<std::complex<long double>> reference(const std::vector<std::complex<long double>>& x, size_t bins) {
  const size_t n = x.size();
  std::vector<std::complex<long double>> w(n), y(bins);
  for (size_t m = 0; m < n; ++m) w[m] = std::polar(1.0L, -6.283185307179586476925286766559L * m / n);
  for (size_t k = 0; k < bins; ++k)
    for (size_t j = 0; j < n; ++j) y[k] += x[j] * w[(j * k) % n];
  return y;
}

void BM_FftRatioTable(benchmark::State& s) {
  for (auto _ : s) {
    std::printf("\n%6s %12s %12s %12s\n", "N", "32fc", "R_32f CCS", "64fc");
    double g[3] = {0, 0, 0}, lo[3] = {1e9, 1e9, 1e9};
    int count = 0;
    for (int o = 6; o <= 20; ++o) {
      Kc32 a(o);
      Wc32 fa(o);
      Kr32 b(o);
      Wr32 fb(o);
      Kc64 c(o);
      Wc64 fc(o);
      const size_t n = size_t{1} << o;
      const double r[3] = {seconds_per_run([&] { fa.run(); }, n) / seconds_per_run([&] { a.run(); }, n),
                           seconds_per_run([&] { fb.run(); }, n) / seconds_per_run([&] { b.run(); }, n),
                           seconds_per_run([&] { fc.run(); }, n) / seconds_per_run([&] { c.run(); }, n)};
      std::printf("%6zu %12.2f %12.2f %12.2f\n", n, r[0], r[1], r[2]);
      for (int k = 0; k < 3; ++k) g[k] += std::log(r[k]), lo[k] = std::min(lo[k], r[k]);
      ++count;
    }
    std::printf("%6s %12.2f %12.2f %12.2f   (geometric mean of FFTW time / kpls time)\n", "geo", std::exp(g[0] / count),
                std::exp(g[1] / count), std::exp(g[2] / count));
    std::printf("%6s %12.2f %12.2f %12.2f   (lowest)\n", "min", lo[0], lo[1], lo[2]);
    std::printf("\nRMS error against long double, relative:\n%6s %12s %12s %12s %12s\n", "N", "kpls 32fc", "FFTW 32fc",
                "kpls 64fc", "FFTW 64fc");
    for (int o : {6, 10, 12}) {
      const size_t n = size_t{1} << o;
      Kc32 a(o);
      Wc32 fa(o);
      Kc64 c(o);
      Wc64 fc(o);
      std::vector<std::complex<long double>> x(n), xd(n);
      for (size_t i = 0; i < n; ++i) {
        x[i] = {a.src.as<Kpl32f>()[2 * i], a.src.as<Kpl32f>()[2 * i + 1]};
        xd[i] = {c.src.as<Kpl64f>()[2 * i], c.src.as<Kpl64f>()[2 * i + 1]};
      }
      a.run(), fa.run(), c.run(), fc.run();
      const auto y = reference(x, n), yd = reference(xd, n);
      std::printf("%6zu %12.3g %12.3g %12.3g %12.3g\n", n, rel_rms(a.dst.as<Kpl32f>(), y),
                  rel_rms(reinterpret_cast<float*>(fa.out), y), rel_rms(c.dst.as<Kpl64f>(), yd),
                  rel_rms(reinterpret_cast<double*>(fc.out), yd));
    }
  }
}
BENCHMARK(BM_FftRatioTable)->Iterations(1)->Unit(benchmark::kSecond);

BENCHMARK_TEMPLATE(bench_fftw, Wc32)->Name("BM_FFTFwd_CToC_32fc_fftw")->Apply(fft_orders);
BENCHMARK_TEMPLATE(bench_fftw, Wr32)->Name("BM_FFTFwd_RToCCS_32f_fftw")->Apply(fft_orders);
BENCHMARK_TEMPLATE(bench_fftw, Wc64)->Name("BM_FFTFwd_CToC_64fc_fftw")->Apply(fft_orders);
#endif

BENCHMARK_TEMPLATE(bench_kpls, Kc32)->Name("BM_FFTFwd_CToC_32fc")->Apply(fft_orders);
BENCHMARK_TEMPLATE(bench_plain, float)->Name("BM_FFTFwd_CToC_32fc_plain")->Apply(fft_orders);
BENCHMARK_TEMPLATE(bench_kpls, Kr32)->Name("BM_FFTFwd_RToCCS_32f")->Apply(fft_orders);
BENCHMARK(bench_plain_real)->Name("BM_FFTFwd_RToCCS_32f_plain")->Apply(fft_orders);
BENCHMARK_TEMPLATE(bench_kpls, Kc64)->Name("BM_FFTFwd_CToC_64fc")->Apply(fft_orders);
BENCHMARK_TEMPLATE(bench_plain, double)->Name("BM_FFTFwd_CToC_64fc_plain")->Apply(fft_orders);

}  // namespace
