// StdDev and MeanStdDev: the sample standard deviation, sqrt((n*Q - S^2) /
// (n*(n-1))) from the sums S of x and Q of x^2, and with it the mean.
#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/saturate.hpp"
#include "stats/accumulate.hpp"

namespace kpl {
inline namespace q5 {
namespace {

struct Moments {
  long double s, q;
};

// Extended sums, four accumulators of each, element i on accumulator i mod 4,
// the rest on the first; (a0 + a1) + (a2 + a3). Exact products: a float squared
// fits the extended significand. The two sums run as two passes so that their
// accumulators stay on the x87 stack.
Moments moments_32f_accurate(const float* x, size_t n) {
  const size_t whole = n & ~size_t{3};
  long double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  for (size_t i = 0; i < whole; i += 4) {
    s0 += x[i];
    s1 += x[i + 1];
    s2 += x[i + 2];
    s3 += x[i + 3];
  }
  long double q0 = 0, q1 = 0, q2 = 0, q3 = 0;
  for (size_t i = 0; i < whole; i += 4) {
    const long double a = x[i], b = x[i + 1], c = x[i + 2], d = x[i + 3];
    q0 += a * a;
    q1 += b * b;
    q2 += c * c;
    q3 += d * d;
  }
  for (size_t i = whole; i < n; ++i) {
    const long double a = x[i];
    s0 += a;
    q0 += a * a;
  }
  return {(s0 + s1) + (s2 + s3), (q0 + q1) + (q2 + q3)};
}

// One element at a time into one pair of extended sums.
Moments moments_32f_serial(const float* x, size_t n, Moments m = {0, 0}) {
  for (size_t i = 0; i < n; ++i) {
    const long double a = x[i];
    m.s += a;
    m.q += a * a;
  }
  return m;
}

float horizontal_sum(__m128 v) {
  const __m128 pairs = _mm_add_ps(v, _mm_movehl_ps(v, v));  // l0 + l2, l1 + l3
  return _mm_cvtss_f32(_mm_add_ss(pairs, _mm_shuffle_ps(pairs, pairs, 1)));
}

// The fast kernel: a head to the 16-byte boundary in extended, then blocks of
// kFastStdDevBlock elements summed in single precision (two vectors of x and two
// of x^2, eight elements a round, then four), each block folded and added to the
// extended sums; the last one to three elements of a block go in singly.
Moments moments_32f_fast(const float* x, size_t n) {
  if (n < 9) return moments_32f_serial(x, n);
  const uintptr_t addr = reinterpret_cast<uintptr_t>(x);
  const size_t head = (addr & 3) == 0 ? ((16 - (addr & 15)) & 15) / 4 : 0;  // n > 8 > head
  size_t i = head;
  Moments m = moments_32f_serial(x, i);
  while (i < n) {
    const size_t end = n - i < kFastStdDevBlock ? n : i + kFastStdDevBlock;
    __m128 s0 = _mm_setzero_ps(), s1 = s0, q0 = s0, q1 = s0;
    for (; i + 8 <= end; i += 8) {
      const __m128 a = _mm_loadu_ps(x + i), b = _mm_loadu_ps(x + i + 4);
      s0 = _mm_add_ps(s0, a), s1 = _mm_add_ps(s1, b);
      q0 = _mm_add_ps(q0, _mm_mul_ps(a, a)), q1 = _mm_add_ps(q1, _mm_mul_ps(b, b));
    }
    if (i + 4 <= end) {
      const __m128 a = _mm_loadu_ps(x + i);
      s0 = _mm_add_ps(s0, a), q0 = _mm_add_ps(q0, _mm_mul_ps(a, a));
      i += 4;
    }
    m.s += horizontal_sum(_mm_add_ps(s0, s1));
    m.q += horizontal_sum(_mm_add_ps(q0, q1));
    m = moments_32f_serial(x + i, end - i, m);
    i = end;
  }
  return m;
}

// The variance in extended, stored as a double: a set sign bit (a rounding below
// zero for equal values, or a NaN so marked) gives 0; else the root in extended.
float std_dev_32f(Moments m, size_t n) {
  const long double nn = static_cast<long double>(n);
  const double v = static_cast<double>((nn * m.q - m.s * m.s) / (nn * (nn - 1)));
  if (std::signbit(v)) return 0.0f;
  return static_cast<float>(sqrtl(static_cast<long double>(v)));
}

// Double sums in four lanes each (two vectors), an element 8 bytes off a 16-byte
// boundary first into lane 0; the rest by 2, then 1; lanes meet as
// (l0 + l2) + (l1 + l3).
struct Moments64 {
  double s, q;
};
Moments64 moments_64f(const double* x, size_t n) {
  __m128d s0 = _mm_setzero_pd(), s1 = s0, q0 = s0, q1 = s0;
  size_t i = 0;
  if ((reinterpret_cast<uintptr_t>(x) & 15) == 8) {
    const __m128d a = _mm_load_sd(x);
    s0 = _mm_add_sd(s0, a), q0 = _mm_add_sd(q0, _mm_mul_sd(a, a));
    i = 1;
  }
  for (; i + 4 <= n; i += 4) {
    const __m128d a = _mm_loadu_pd(x + i), b = _mm_loadu_pd(x + i + 2);
    s0 = _mm_add_pd(s0, a), s1 = _mm_add_pd(s1, b);
    q0 = _mm_add_pd(q0, _mm_mul_pd(a, a)), q1 = _mm_add_pd(q1, _mm_mul_pd(b, b));
  }
  if (i + 2 <= n) {
    const __m128d a = _mm_loadu_pd(x + i);
    s0 = _mm_add_pd(s0, a), q0 = _mm_add_pd(q0, _mm_mul_pd(a, a));
    i += 2;
  }
  if (i < n) {
    const __m128d a = _mm_load_sd(x + i);
    s0 = _mm_add_sd(s0, a), q0 = _mm_add_sd(q0, _mm_mul_sd(a, a));
  }
  const __m128d s = _mm_add_pd(s0, s1), q = _mm_add_pd(q0, q1);
  return {_mm_cvtsd_f64(s) + _mm_cvtsd_f64(_mm_unpackhi_pd(s, s)), _mm_cvtsd_f64(q) + _mm_cvtsd_f64(_mm_unpackhi_pd(q, q))};
}

double std_dev_64f(Moments64 m, size_t n) {
  const double nn = static_cast<double>(n);
  double w = nn * m.q - m.s * m.s;
  if (w < 0) w = 0;  // a rounding below zero; a NaN stays
  return std::sqrt(w / (nn * (nn - 1)));
}

// Exact sums of x and x^2 of 16-bit elements: pmaddwd against ones for S; against
// the vector itself for Q, whose 32-bit lanes (up to 2^31, unsigned) widen to 64
// bits at once.
struct Moments16 {
  int64_t s;
  uint64_t q;
};
Moments16 moments_16s(const int16_t* x, size_t n) {
  const __m128i ones = _mm_set1_epi16(1), zero = _mm_setzero_si128();
  Moments16 m{0, 0};
  size_t i = 0;
  while (n - i >= 8) {
    const size_t end = i + (n - i < kLaneFlush16s ? n - i : kLaneFlush16s);
    __m128i ps = _mm_setzero_si128(), pq = ps;
    for (; i + 8 <= end; i += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i));
      ps = _mm_add_epi32(ps, _mm_madd_epi16(v, ones));
      const __m128i sq = _mm_madd_epi16(v, v);
      pq = _mm_add_epi64(pq, _mm_add_epi64(_mm_unpacklo_epi32(sq, zero), _mm_unpackhi_epi32(sq, zero)));
    }
    alignas(16) int32_t sl[4];
    alignas(16) uint64_t ql[2];
    _mm_store_si128(reinterpret_cast<__m128i*>(sl), ps);
    _mm_store_si128(reinterpret_cast<__m128i*>(ql), pq);
    m.s += int64_t{sl[0]} + sl[1] + sl[2] + sl[3];
    m.q += ql[0] + ql[1];
  }
  for (; i < n; ++i) {
    m.s += x[i];
    m.q += static_cast<uint64_t>(int32_t{x[i]} * x[i]);
  }
  return m;
}

// sqrt((n*Q - S^2) / (n*(n-1))) * 2^-s, to nearest even, 2^31 and above giving
// 0x7fffffff. The numerator is exact (and never negative) in 128 bits; the
// division and the root are extended.
Kpl32s std_dev_16s32s(Moments16 m, size_t n, int s) {
  const __int128 num = static_cast<__int128>(n) * m.q - static_cast<__int128>(m.s) * m.s;
  const long double nn = static_cast<long double>(n);
  const long double root = sqrtl(static_cast<long double>(num) / (nn * (nn - 1)));
  const long double r = round_even(ldexpl(root, -clamp_scale(s)));
  return r >= 2147483648.0L ? 0x7fffffff : static_cast<Kpl32s>(r);
}

// (S/n) * 2^-s clamped to the 32-bit range, then to nearest even.
Kpl32s mean_16s32s(Moments16 m, size_t n, int s) {
  long double v = ldexpl(static_cast<long double>(m.s) / static_cast<long double>(n), -clamp_scale(s));
  v = v > 2147483647.0L ? 2147483647.0L : (v < -2147483648.0L ? -2147483648.0L : v);
  return static_cast<Kpl32s>(round_even(v));
}

// The checks of both families: pointers, then fewer than two elements.
template <class... P>
KplStatus check_moment_args(int len, const P*... p) {
  if (any_null(p...)) return kplStsNullPointer;
  return len < 2 ? kplStsBadSize : kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsStdDev_32f)(const Kpl32f* pSrc, int len, Kpl32f* pStdDev, KplHintAlgorithm hint) {
  if (KplStatus st = check_moment_args(len, pSrc, pStdDev)) return st;
  ExtendedPrecision x87;
  const size_t n = static_cast<size_t>(len);
  *pStdDev = std_dev_32f(hint == kplAlgHintFast ? moments_32f_fast(pSrc, n) : moments_32f_accurate(pSrc, n), n);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsStdDev_64f)(const Kpl64f* pSrc, int len, Kpl64f* pStdDev) {
  if (KplStatus st = check_moment_args(len, pSrc, pStdDev)) return st;
  const size_t n = static_cast<size_t>(len);
  *pStdDev = std_dev_64f(moments_64f(pSrc, n), n);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsStdDev_16s_Sfs)(const Kpl16s* pSrc, int len, Kpl16s* pStdDev, int scaleFactor) {
  if (KplStatus st = check_moment_args(len, pSrc, pStdDev)) return st;
  ExtendedPrecision x87;
  const size_t n = static_cast<size_t>(len);
  const Kpl32s sd = std_dev_16s32s(moments_16s(pSrc, n), n, scaleFactor);
  *pStdDev = static_cast<Kpl16s>(sd > 32767 ? 32767 : sd);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsStdDev_16s32s_Sfs)(const Kpl16s* pSrc, int len, Kpl32s* pStdDev, int scaleFactor) {
  if (KplStatus st = check_moment_args(len, pSrc, pStdDev)) return st;
  ExtendedPrecision x87;
  const size_t n = static_cast<size_t>(len);
  *pStdDev = std_dev_16s32s(moments_16s(pSrc, n), n, scaleFactor);
  return kplStsOk;
}
// The hint is accepted and ignored: one kernel, so both hints give the same bits.
KplStatus KPL_IMPL(kplsMeanStdDev_32f)(const Kpl32f* pSrc, int len, Kpl32f* pMean, Kpl32f* pStdDev, KplHintAlgorithm hint) {
  (void)hint;
  if (KplStatus st = check_moment_args(len, pSrc, pMean, pStdDev)) return st;
  ExtendedPrecision x87;
  const size_t n = static_cast<size_t>(len);
  const Moments m = moments_32f_accurate(pSrc, n);
  *pMean = static_cast<float>(m.s / static_cast<long double>(n));
  *pStdDev = std_dev_32f(m, n);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMeanStdDev_64f)(const Kpl64f* pSrc, int len, Kpl64f* pMean, Kpl64f* pStdDev) {
  if (KplStatus st = check_moment_args(len, pSrc, pMean, pStdDev)) return st;
  const size_t n = static_cast<size_t>(len);
  const Moments64 m = moments_64f(pSrc, n);
  *pMean = m.s / static_cast<double>(n);
  *pStdDev = std_dev_64f(m, n);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMeanStdDev_16s_Sfs)(const Kpl16s* pSrc, int len, Kpl16s* pMean, Kpl16s* pStdDev, int scaleFactor) {
  if (KplStatus st = check_moment_args(len, pSrc, pMean, pStdDev)) return st;
  ExtendedPrecision x87;
  const size_t n = static_cast<size_t>(len);
  const Moments16 m = moments_16s(pSrc, n);
  const Kpl32s sd = std_dev_16s32s(m, n, scaleFactor);
  *pMean = saturate<Kpl16s>(mean_16s32s(m, n, scaleFactor));
  *pStdDev = static_cast<Kpl16s>(sd > 32767 ? 32767 : sd);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMeanStdDev_16s32s_Sfs)(const Kpl16s* pSrc, int len, Kpl32s* pMean, Kpl32s* pStdDev, int scaleFactor) {
  if (KplStatus st = check_moment_args(len, pSrc, pMean, pStdDev)) return st;
  ExtendedPrecision x87;
  const size_t n = static_cast<size_t>(len);
  const Moments16 m = moments_16s(pSrc, n);
  *pMean = mean_16s32s(m, n, scaleFactor);
  *pStdDev = std_dev_16s32s(m, n, scaleFactor);
  return kplStsOk;
}
