// Mean in every type: the sum of Sum's kernels, then one division (or, for
// 64fc, one multiplication by 1/len) and the rounding of the integer forms.
#include <cstddef>
#include <cstdint>
#include <cmath>

#include "frame/entry.hpp"
#include "frame/saturate.hpp"
#include "stats/accumulate.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// 16-bit means: the exact sum in double, scaled by 2^-s, divided by len, clamped
// to the 16-bit range, then rounded to nearest even.
Kpl16s mean_16s(int64_t sum, int len, int s) {
  double m = std::ldexp(static_cast<double>(sum), -clamp_scale(s)) / static_cast<double>(len);
  m = m > 32767.0 ? 32767.0 : (m < -32768.0 ? -32768.0 : m);
  return static_cast<Kpl16s>(round_even(m));
}

// |sum| / len to nearest, ties to even, on the magnitude.
uint64_t divide_even(uint64_t mag, uint64_t len) {
  const uint64_t q = mag / len, r = mag % len;
  if (2 * r > len || (2 * r == len && (q & 1) != 0)) return q + 1;
  return q;
}

// The 32-bit mean: division and scaling in the order that keeps the exact
// 64-bit sum, with the tie rules of each step.
Kpl32s mean_32s(int64_t sum, int len, int s) {
  const bool negative = sum < 0;
  const uint64_t mag = negative ? 0 - static_cast<uint64_t>(sum) : static_cast<uint64_t>(sum);
  const uint64_t n = static_cast<uint64_t>(len);
  auto signed_result = [&](uint64_t m) {  // m < 2^63
    const int64_t v = negative ? -static_cast<int64_t>(m) : static_cast<int64_t>(m);
    return saturate<Kpl32s>(v);
  };
  if (s >= 0) {
    uint64_t q = divide_even(mag, n);
    // A second rounding, half up on the magnitude (q + 2^(s-1)) >> s, the same as
    // adding bit s-1 when s is 1; q < 2^62, so from 63 on it is 0.
    if (s > 0) q = s >= 63 ? 0 : (q + (uint64_t{1} << (s - 1))) >> s;
    return signed_result(q);
  }
  const int k = -static_cast<int64_t>(s) >= 32 ? 32 : -s;
  if (k >= 32) return signed_result(divide_even(mag, n) == 0 ? 0 : uint64_t{1} << 32);
  if (sum >= -(int64_t{1} << 31) && sum < (int64_t{1} << 31)) return signed_result(divide_even(mag << k, n));
  // Divided first: the quotient is below 2^62 / len, and any quotient of 2^31 or
  // more saturates whatever the shift.
  const uint64_t q = divide_even(mag, n);
  return signed_result(q >= (uint64_t{1} << 31) ? uint64_t{1} << 32 : q << k);
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsMean_32f)(const Kpl32f* pSrc, int len, Kpl32f* pMean, KplHintAlgorithm hint) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  double s;
  sum_32f_by_hint(pSrc, static_cast<size_t>(len), 1, hint, &s);
  *pMean = static_cast<float>(s / static_cast<double>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMean_32fc)(const Kpl32fc* pSrc, int len, Kpl32fc* pMean, KplHintAlgorithm hint) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  double s[2];
  sum_32f_by_hint(&pSrc->re, static_cast<size_t>(len), 2, hint, s);
  pMean->re = static_cast<float>(s[0] / static_cast<double>(len));
  pMean->im = static_cast<float>(s[1] / static_cast<double>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMean_64f)(const Kpl64f* pSrc, int len, Kpl64f* pMean) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  double s;
  sum_64f(pSrc, static_cast<size_t>(len), 1, &s);
  *pMean = s / static_cast<double>(len);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMean_64fc)(const Kpl64fc* pSrc, int len, Kpl64fc* pMean) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  double s[2];
  sum_64f(&pSrc->re, static_cast<size_t>(len), 2, s);
  const double r = 1.0 / static_cast<double>(len);  // a product, unlike Mean_64f
  pMean->re = s[0] * r, pMean->im = s[1] * r;
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMean_16s_Sfs)(const Kpl16s* pSrc, int len, Kpl16s* pMean, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  *pMean = mean_16s(sum_16s(pSrc, static_cast<size_t>(len)), len, scaleFactor);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMean_16sc_Sfs)(const Kpl16sc* pSrc, int len, Kpl16sc* pMean, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  int64_t s[2];
  sum_16sc(pSrc, static_cast<size_t>(len), s);
  pMean->re = mean_16s(s[0], len, scaleFactor), pMean->im = mean_16s(s[1], len, scaleFactor);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMean_32s_Sfs)(const Kpl32s* pSrc, int len, Kpl32s* pMean, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pMean)) return st;
  *pMean = mean_32s(sum_32s(pSrc, static_cast<size_t>(len)), len, scaleFactor);
  return kplStsOk;
}
