// The floating FFT plans: record heads, tags, size formulas and the layout of the
// tables behind the head. A record holds offsets from its own aligned base, never
// pointers into itself, so the head is 84 bytes (88 in double precision) and the
// sizes below are what GetSize promises on every target.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"

namespace kpl {
inline namespace q5 {

constexpr Kpl32u kFftTagC32fc = 4;
constexpr Kpl32u kFftTagC32f = 5;
constexpr Kpl32u kFftTagR32f = 6;
constexpr Kpl32u kFftTagC64fc = 7;
constexpr Kpl32u kFftTagC64f = 8;
constexpr Kpl32u kFftTagR64f = 9;

constexpr int kFftMaxOrderC32 = 28;
constexpr int kFftMaxOrderR32 = 29;
constexpr int kFftMaxOrderC64 = 27;
constexpr int kFftMaxOrderR64 = 28;
constexpr int kFftOrderLimit = 30;  // the first test of GetSize, for every plan type

// Orders from which Init computes tables into the caller's temporary memory.
constexpr int kFftFirstInitOrder = 11;

template <class T>
struct FftHead {
  Kpl32u idCtx;
  Kpl32s order;
  Kpl32s doScaleFwd;
  Kpl32s doScaleInv;
  T normFactor;
  Kpl32s hint;
  Kpl32s workSize;
  Kpl32s isAllocated;
  Kpl32s threadCount;
  Kpl32u bitRevTable;  // offsets from the head; 0 = none
  Kpl32u radix4Twiddles;
  Kpl32u lastPassTwiddles;
  Kpl32u mergeTwiddles;  // never selected; stays 0
  Kpl32u realRecTable;
  Kpl32u ccsRecTable;
  Kpl32u zero[3];
  Kpl32u stepTwiddles[3];
};
static_assert(sizeof(FftHead<float>) == 84, "single-precision head");
static_assert(sizeof(FftHead<double>) == 88, "double-precision head");

constexpr int kFftHeadRoom = 96;  // the head rounded to 32; tables start here

// ---- size formulas (bytes) ----------------------------------------------------
constexpr long long fa(long long x) { return x & ~31LL; }
constexpr long long fa64(long long x) { return x & ~63LL; }
constexpr long long fq(long long n) { return fa(n + 35); }

struct FftSizes {
  long long spec, init, work;  // work without the 32 of GetBufSize
};

// Large-path split: rows of the merge stage (blk) and the block held in cache (buf).
constexpr int fft_blk(bool dbl, int o) {
  if (dbl) return o <= 20 ? 6 : 8;
  return o <= 19 ? 4 : (o == 20 ? 6 : 8);
}
constexpr int fft_buf(bool dbl, int o) {
  if (dbl) return o <= 20 ? 10 : 13;
  return o <= 19 ? 10 : (o == 20 ? 12 : 14);
}
constexpr int fft_large_from(bool dbl) { return dbl ? 17 : 18; }

constexpr void fft_large_sw(bool dbl, int o, long long& s, long long& w) {
  const int inner = o - fft_blk(dbl, o);
  const long long cb = dbl ? 16 : 8;
  if (inner < fft_large_from(dbl)) {
    s = fa(cb * (1LL << inner) + (dbl ? 47 : 39));
    w = fa(cb * (1LL << inner) + 31);
  } else {
    fft_large_sw(dbl, inner, s, w);
  }
  s += (dbl ? 8 : 4) * (1LL << o);
  const long long wb = cb * (1LL << fft_buf(dbl, o));
  w = w > wb ? w : wb;
}

// Complex plan sizes; spec and work without the constant 128 and 32.
constexpr FftSizes fft_complex_parts(bool dbl, int o) {
  const long long n = 1LL << o;
  if (o <= 5) return {0, 0, 0};
  if (!dbl) {
    const long long init = o >= 11 ? fq(n) + 32 : 0;
    if (o <= 12) return {fq(n) + fa(8 * n + 39), init, fa(8 * n + 31)};
    if (o <= 17) return {fq(n) + fa(6 * n + 31) + fa(2 * n + 39), init, fa(8 * n + 31)};
    long long s = 0, w = 0;
    fft_large_sw(false, o, s, w);
    if (o == 18) return {s + fq(n), init, w};
    return {s + 4 * (1LL << (o - 12)) + 4128, init, w > 65536 ? w : 65536};
  }
  const long long init = o >= 11 ? fa(2 * n + 39) + 32 : 0;
  if (o <= 11) return {fq(n) + fa(16 * n + 47), init, fa(16 * n + 31)};
  if (o <= 16) return {fq(n) + fa(12 * n + 31) + fa(4 * n + 47), init, fa(16 * n + 31)};
  long long s = 0, w = 0;
  fft_large_sw(true, o, s, w);
  if (o == 17) return {s + fq(n), init, w};
  return {s + 4 * (1LL << (o - 10)) + 1056, init, w > 32768 ? w : 32768};
}

constexpr FftSizes fft_complex_sizes(bool dbl, int o) {
  if (o <= 5) return {dbl ? 120 : 116, 0, 0};
  const FftSizes p = fft_complex_parts(dbl, o);
  return {p.spec + 128, p.init, p.work};
}

// Bytes of the recombination tables of a real plan of order o (0 below its first order).
constexpr long long fft_real_rec_bytes(bool dbl, int o) {
  const long long n = 1LL << o;
  if (!dbl) return o >= 19 ? fa64(16 * (1LL << (o - 12)) + 16446) : fa64(4 * n + 62);
  return o >= 18 ? fa64(32 * (1LL << (o - 11)) + 16446) : fa64(8 * n + 62);
}
constexpr int fft_real_first_rec_order(bool dbl) { return dbl ? 6 : 5; }

constexpr FftSizes fft_real_sizes(bool dbl, int o) {
  const long long n = 1LL << o;
  if (o < fft_real_first_rec_order(dbl)) return {dbl ? 120 : 116, 0, 0};
  const FftSizes c = fft_complex_parts(dbl, o - 1);
  long long init = 0;
  if (o >= 11) init = dbl ? fa(2 * n + 39) + 32 : fq(n) + 32;
  return {c.spec + fft_real_rec_bytes(dbl, o) + 128, init, c.work};
}

// ---- table layout -----------------------------------------------------------
// The engine works on bit-reversed data: a first pass without twiddles (radix 4
// for even orders, radix 2 for odd), then radix-4 passes of quarter span L =
// s0, 4 s0, .. < N. A pass keeps three planar runs of L twiddles (w^j, w^2j,
// w^3j) while its span fits the plan's "full" order; above it (the merge passes of
// the large path) only w^j is kept and the powers are formed on the fly, which
// is what lets the table fit the large-path budget.
constexpr int fft_first_span(int order) { return (order & 1) ? 2 : 4; }

constexpr int fft_full_order(bool dbl, int o) {
  while (o >= fft_large_from(dbl)) o -= fft_blk(dbl, o);
  return o;
}

// Complex values of twiddle table that a complex order needs.
constexpr long long fft_twiddle_count(bool dbl, int o) {
  if (o < 3) return 0;
  const int full = fft_full_order(dbl, o);
  long long total = 0;
  for (long long l = fft_first_span(o); 4 * l <= (1LL << o); l *= 4) total += (4 * l <= (1LL << full)) ? 3 * l : l;
  return total;
}

// What the engine needs of a plan: its complex order and its tables.
template <class T>
struct FftEngine {
  int order;        // complex order
  int full_order;   // passes with 4L <= 2^full_order have three runs of twiddles
  const T* tw;      // twiddle runs of the passes, one after the other
  int threads;      // 2 on the medium path when the plan decided so, else 1
};

// The orders that run through the work buffer on split data (it holds the whole
// transform there), and the lanes of their twiddle blocks; 1 = interleaved.
constexpr bool fft_via_work(bool dbl, int o) { return o >= 6 && o < fft_large_from(dbl); }
constexpr int fft_split_lanes(bool dbl, int o) { return fft_via_work(dbl, o) ? (dbl ? 2 : 4) : 1; }

// The medium path's orders (two threads when the plan allows).
constexpr bool fft_is_medium(bool dbl, int o) { return dbl ? (o >= 12 && o <= 16) : (o >= 13 && o <= 17); }

// ---- shared between the plan, complex and real files ------------------------
// Twiddle tables (planar runs per pass) of a complex order, from the quarter-wave
// sine table `s` of 2^b points.
template <class T>
void fft_build_twiddles(T* out, int order, int full_order, const T* s, int b);
// Quarter-wave sine table S[k] = sin(2 pi k / 2^b), k = 0..2^b/4.
template <class T>
void fft_build_quarter_sine(T* s, int b);
// Twiddle tables of the small orders 2..5, constant data of the library.
template <class T>
const T* fft_small_twiddles(int order);
// sin(2 pi k / 32), k = 0..8, in the element type.
template <class T>
const T* fft_small_sine();
// cos and sin of 2 pi m / 2^b read from a quarter-wave table of 2^b points.
template <class T>
void fft_quadrant(const T* s, int b, size_t m, T& c, T& sn);

// The complex engines. `scale` null means no scaling; src may equal dst; `work`
// is the plan's aligned work buffer (null when the plan needs none).
void fft_run_32fc(const FftEngine<float>& e, const float* src, float* dst, Kpl8u* work, bool inverse,
                  const float* scale);
void fft_run_64fc(const FftEngine<double>& e, const double* src, double* dst, Kpl8u* work, bool inverse,
                  const double* scale);
void fft_run_32f(const FftEngine<float>& e, const float* sre, const float* sim, float* dre, float* dim, Kpl8u* work,
                 bool inverse, const float* scale);
void fft_run_64f(const FftEngine<double>& e, const double* sre, const double* sim, double* dre, double* dim,
                 Kpl8u* work, bool inverse, const double* scale);

template <class T>
inline void fft_run(const FftEngine<T>& e, const T* src, T* dst, Kpl8u* work, bool inverse, const T* scale) {
  if constexpr (sizeof(T) == 4) fft_run_32fc(e, src, dst, work, inverse, scale);
  else fft_run_64fc(e, src, dst, work, inverse, scale);
}

// The engine view of a complex plan (or of the complex half of a real plan).
template <class T>
inline FftEngine<T> fft_engine_of(const FftHead<T>* h, int complex_order) {
  const bool dbl = sizeof(T) == 8;
  FftEngine<T> e{complex_order, fft_full_order(dbl, complex_order), nullptr, 1};
  if (complex_order <= 5) {
    e.tw = fft_small_twiddles<T>(complex_order);
  } else {
    e.tw = reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(h) + h->radix4Twiddles);
    if (fft_is_medium(dbl, complex_order) && h->threadCount > 1) e.threads = h->threadCount;
  }
  return e;
}

// Work-buffer protocol shared by every transform: a given buffer is aligned up to
// 32 inside; a missing one is allocated for the call when the plan needs work.
class FftWork {
 public:
  FftWork(Kpl8u* given, int work_size) {
    if (work_size < 1) return;
    if (given) {
      p_ = given + (-reinterpret_cast<uintptr_t>(given) & 31);
    } else {
      own_ = KPL_IMPL(kplsMalloc_8u)(work_size);
      p_ = own_;
      failed_ = own_ == nullptr;
    }
  }
  ~FftWork() {
    if (own_) KPL_IMPL(kplsFree)(own_);
  }
  FftWork(const FftWork&) = delete;
  FftWork& operator=(const FftWork&) = delete;
  bool failed() const { return failed_; }
  Kpl8u* get() const { return p_; }

 private:
  Kpl8u* p_ = nullptr;
  Kpl8u* own_ = nullptr;
  bool failed_ = false;
};

}  // namespace q5
}  // namespace kpl
