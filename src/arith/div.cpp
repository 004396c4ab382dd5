// src/arith/div.cpp: Div and Div_Round in every type and form, and DivCRev_32f,
// which is the Div_32f kernel with the constant in the dividend's place.
//
// A zero divisor element is no error: the element gets its documented value, the
// loop goes on, and the kernel reports it so that the entry returns
// kplStsWarnDivByZero. No kernel divides integers: the integer forms divide in
// floating point and convert, and the fast floating kernels replace the division
// by reciprocals wherever a block of data permits.
#include <immintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/parallel.hpp"
#include "frame/rounding.hpp"
#include "frame/saturate.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// ---------------------------------------------------------------------------
// The family's numbers, in one place.

// Scale factors that run a kernel; outside, the result follows from the signs.
struct KernelRange {
  int lo, hi;
};
constexpr KernelRange kDiv8uRange{-15, 8};         // Div_8u_Sfs, Div_Round_8u_Sfs
constexpr KernelRange kDiv16uRange{-31, 16};       // Div_16u_Sfs, Div_Round_16u_Sfs
constexpr KernelRange kDiv16sRange{-30, 15};       // Div_16s_Sfs
constexpr KernelRange kDivRound16sRange{-30, 16};  // -32768 / 1 at 16 is -0.5, which rounds away to -1
constexpr KernelRange kDiv32sRange{-62, 32};
constexpr KernelRange kDiv32s16sRange{-29, 31};
constexpr KernelRange kDiv16scRange{-32, 32};

// Div_16s runs the reciprocal kernel in single precision from this scale factor
// up, and binary64 below it.
constexpr int kDiv16sSingleFrom = -5;
// A true single-precision division of 16-bit operands rounds like the exact
// quotient as long as |n| * 2^-s stays below 2^23: from this scale factor up.
// Below it the 16-bit kernels divide in binary64.
constexpr int kDiv16bitSingleFrom = -7;

// Lengths from which a call is split over a team (Div_Round takes every thread).
struct Team {
  size_t from;
  TeamCap cap;
};
constexpr Team kDiv32fTeam{4096, TeamCap::kTwo};
constexpr Team kDiv64fTeam{1024, TeamCap::kTwo};
constexpr Team kDiv32fcTeam{1024, TeamCap::kTwo};
constexpr Team kDiv64fcTeam{1024, TeamCap::kTwo};
constexpr Team kDivIntTeam{1024, TeamCap::kTwo};  // 8u, 16s, 32s, 32s16s
constexpr Team kDiv16scTeam{256, TeamCap::kTwo};
constexpr Team kDivCRev32fTeam{4096, TeamCap::kTwo};
constexpr Team kDivRound16Team{1024, TeamCap::kAll};  // 16s, 16u
constexpr Team kDivRound8uTeam{512, TeamCap::kAll};
constexpr Team kNoTeam{std::numeric_limits<size_t>::max(), TeamCap::kTwo};  // Div_16u has no threaded form

// The division kernels' own NaN: the sign bit clear, unlike the library constant.
constexpr uint32_t kDivNaN32 = 0x7FC00000u;
constexpr uint64_t kDivNaN64 = 0x7FF8000000000000ull;

// ---------------------------------------------------------------------------
// Status and threads.

KplStatus div_status(bool flagged) { return flagged ? kplStsWarnDivByZero : kplStsOk; }

// kernel(begin, count) runs the plain kernel on a slice and returns its flag.
template <class Kernel>
bool run(Team team, size_t len, Kernel&& kernel) {
  if (len < team.from) return kernel(size_t{0}, len);
  return parallel_slices(len, team.cap, kernel) != 0;
}

bool aligned_to(const void* p, uintptr_t a) { return (reinterpret_cast<uintptr_t>(p) & (a - 1)) == 0; }

// ---------------------------------------------------------------------------
// Div_32f and DivCRev_32f: groups of 8 by the approximate reciprocal, or, in a
// group that holds a zero divisor, one true division per element.

// The dividend: a vector (Div_32f), or DivCRev_32f's constant in every lane.
struct VectorDividend {
  const float* p;
  VectorDividend at(size_t i) const { return {p + i}; }
  __m128 load(size_t i) const { return load_f(p + i); }
  float operator[](size_t i) const { return load_raw<float>(p + i); }  // off the 4-byte grid too
  bool aligned() const { return aligned_to(p, 4); }
};
struct ConstDividend {
  float v;
  ConstDividend at(size_t) const { return *this; }
  __m128 load(size_t) const { return _mm_set1_ps(v); }
  float operator[](size_t) const { return v; }
  bool aligned() const { return true; }
};

// y * (1 + t + t * t) with r the approximate reciprocal, t = 1 - d * r, y = n * r,
// evaluated as y + t * (y + t * y). Not correctly rounded.
inline __m128 quotient_by_reciprocal(__m128 n, __m128 d) {
  const __m128 r = _mm_rcp_ps(d);
  const __m128 t = _mm_sub_ps(_mm_set1_ps(1.0f), _mm_mul_ps(d, r));
  const __m128 y = _mm_mul_ps(n, r);
  return _mm_add_ps(y, _mm_mul_ps(t, _mm_add_ps(y, _mm_mul_ps(t, y))));
}

// One element of a group that holds a zero divisor. A zero (of either sign) or
// NaN divisor flags; it gives the kernel's NaN for a NaN divisor or a zero or NaN
// dividend, else an infinity with the dividend's sign.
inline float quotient_alone(float n, float d, bool& flag) {
  if (d == 0.0f || d != d) {
    flag = true;
    if (d != d || n == 0.0f || n != n) return std::bit_cast<float>(kDivNaN32);
    return std::bit_cast<float>((std::bit_cast<uint32_t>(n) & 0x80000000u) | 0x7F800000u);
  }
  return n / d;
}

// A group of k = 8, 4, 2 or 1 elements; groups below 4 fill the unused lanes with 1.0.
template <class N>
bool div32f_group(const N& num, const float* d, float* q, size_t k) {
  const __m128 zero = _mm_setzero_ps();
  if (k >= 4) {
    const __m128 d0 = load_f(d), d1 = k == 8 ? load_f(d + 4) : d0;
    if (_mm_movemask_ps(_mm_or_ps(_mm_cmpeq_ps(d0, zero), _mm_cmpeq_ps(d1, zero))) == 0) {
      const __m128 n0 = num.load(0), n1 = k == 8 ? num.load(4) : n0;
      store_f(q, quotient_by_reciprocal(n0, d0));
      if (k == 8) store_f(q + 4, quotient_by_reciprocal(n1, d1));
      return false;
    }
  } else {
    alignas(16) float nb[4] = {1.0f, 1.0f, 1.0f, 1.0f}, db[4] = {1.0f, 1.0f, 1.0f, 1.0f}, qb[4];
    for (size_t j = 0; j < k; ++j) nb[j] = num[j], db[j] = load_raw<float>(d + j);
    const __m128 dv = load_f(db);
    if (_mm_movemask_ps(_mm_cmpeq_ps(dv, zero)) == 0) {
      store_f(qb, quotient_by_reciprocal(load_f(nb), dv));
      for (size_t j = 0; j < k; ++j) store_raw(q + j, qb[j]);
      return false;
    }
  }
  bool flag = false;
  for (size_t j = 0; j < k; ++j) store_raw(q + j, quotient_alone(num[j], load_raw<float>(d + j), flag));
  return flag;
}

// Single elements and pairs up to the destination's 16-byte boundary, groups of
// 8, then 4, 2 and 1. When a pointer is off the 4-byte grid there is no peel and
// the groups are of 4.
template <class N>
bool div32f(const N& num, const float* d, float* q, size_t n) {
  bool flag = false;
  size_t i = 0;
  auto group = [&](size_t k) {
    flag |= div32f_group(num.at(i), d + i, q + i, k);
    i += k;
  };
  if (num.aligned() && aligned_to(d, 4) && aligned_to(q, 4)) {
    if (!aligned_to(q, 8) && n - i >= 1) group(1);
    if (!aligned_to(q + i, 16) && n - i >= 2) group(2);
    while (n - i >= 8) group(8);
  } else {
    while (n - i >= 4) group(4);
  }
  if (n - i >= 4) group(4);
  if (n - i >= 2) group(2);
  if (n - i >= 1) group(1);
  return flag;
}

// ---------------------------------------------------------------------------
// Div_64f: one packed division inverts a block of 8 divisors.

inline __m128d bits_d(uint64_t b) { return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(b))); }

// A zero divisor in the peel gives NaN for every dividend: the dividend times the
// NaN pattern, whatever the signs. A NaN divisor takes the true division.
inline double peel_quotient_64f(double n, double d, bool& flag) {
  if (d == 0.0) {
    flag = true;
    return _mm_cvtsd_f64(_mm_mul_sd(_mm_set_sd(n), bits_d(kDivNaN64)));
  }
  return n / d;
}

// Elements after the last block: a zero divisor gives the dividend times
// infinity, or NaN for a zero dividend.
inline double tail_quotient_64f(double n, double d, bool& flag) {
  if (d == 0.0) {
    flag = true;
    if (n == 0.0) return std::bit_cast<double>(kDivNaN64);
    return _mm_cvtsd_f64(_mm_mul_sd(_mm_set_sd(n), bits_d(0x7FF0000000000000ull)));
  }
  return n / d;
}

// Adds 2 to the result's bit pattern and clears the two low bits.
inline __m128d round_low_bits(__m128d x) {
  const __m128i b = _mm_add_epi64(_mm_castpd_si128(x), _mm_set1_epi64x(2));
  return _mm_castsi128_pd(_mm_andnot_si128(_mm_set1_epi64x(3), b));
}

// Block of 8 with a chain product of exponent 0: pairs, a zero divisor raised to
// 1.0 for the division and its lane replaced by an infinity with the dividend's
// sign, or the kernel's NaN if the dividend is zero too.
inline bool div64f_pairs(const double* a, const double* b, double* q) {
  const __m128d zero = _mm_setzero_pd(), one = _mm_set1_pd(1.0);
  const __m128d sign = bits_d(0x8000000000000000ull), inf = bits_d(0x7FF0000000000000ull), nan = bits_d(kDivNaN64);
  int zeros = 0;
  for (size_t j = 0; j < 8; j += 2) {
    const __m128d d = load_d(a + j), n = load_d(b + j);
    const __m128d z = _mm_cmpeq_pd(d, zero);
    zeros |= _mm_movemask_pd(z);
    const __m128d x = _mm_div_pd(n, _mm_blendv_pd(d, one, z));
    const __m128d special = _mm_blendv_pd(_mm_or_pd(_mm_and_pd(n, sign), inf), nan, _mm_cmpeq_pd(n, zero));
    store_d(q + j, _mm_blendv_pd(x, special, z));
  }
  return zeros != 0;
}

inline bool div64f_block(const double* a, const double* b, double* q) {
  const __m128d v01 = load_d(a), v23 = load_d(a + 2), v45 = load_d(a + 4), v67 = load_d(a + 6);
  // The two chains a0 * a4 * a2 * a6 and a1 * a5 * a3 * a7, side by side.
  const __m128d q04 = _mm_mul_pd(v01, v45);
  const __m128d p = _mm_mul_pd(_mm_mul_pd(q04, v23), v67);
  const __m128i exponent = _mm_and_si128(_mm_castpd_si128(p), _mm_set1_epi64x(0x7FF0000000000000ll));
  if (_mm_movemask_pd(_mm_castsi128_pd(_mm_cmpeq_epi64(exponent, _mm_setzero_si128()))) != 0)
    return div64f_pairs(a, b, q);
  if (_mm_movemask_pd(_mm_castsi128_pd(_mm_cmpeq_epi64(exponent, _mm_set1_epi64x(0x7FF0000000000000ll)))) != 0) {
    for (size_t j = 0; j < 8; j += 2) store_d(q + j, _mm_div_pd(load_d(b + j), load_d(a + j)));
    return false;
  }
  const __m128d inv = _mm_div_pd(_mm_set1_pd(1.0), p);
  const __m128d q26 = _mm_mul_pd(v23, v67);
  // 1/a0 = a4 * (a2 * a6) * inv, 1/a4 = a0 * (a2 * a6) * inv,
  // 1/a2 = (a0 * a4) * a6 * inv, 1/a6 = (a0 * a4) * a2 * inv; the odd lanes alike.
  const __m128d r01 = _mm_mul_pd(_mm_mul_pd(v45, q26), inv);
  const __m128d r45 = _mm_mul_pd(_mm_mul_pd(v01, q26), inv);
  const __m128d r23 = _mm_mul_pd(_mm_mul_pd(q04, v67), inv);
  const __m128d r67 = _mm_mul_pd(_mm_mul_pd(q04, v23), inv);
  const __m128d n01 = load_d(b), n23 = load_d(b + 2), n45 = load_d(b + 4), n67 = load_d(b + 6);
  store_d(q, round_low_bits(_mm_mul_pd(r01, n01)));
  store_d(q + 2, round_low_bits(_mm_mul_pd(r23, n23)));
  store_d(q + 4, round_low_bits(_mm_mul_pd(r45, n45)));
  store_d(q + 6, round_low_bits(_mm_mul_pd(r67, n67)));
  return false;
}

bool div64f(const double* a, const double* b, double* q, size_t n) {
  bool flag = false;
  size_t i = 0;
  if (!aligned_to(q, 16) && n > 0) q[0] = peel_quotient_64f(b[0], a[0], flag), i = 1;
  for (; n - i >= 8; i += 8) flag |= div64f_block(a + i, b + i, q + i);
  for (; i < n; ++i) q[i] = tail_quotient_64f(b[i], a[i], flag);
  return flag;
}

// ---------------------------------------------------------------------------
// Div_32fc: m = |a|^2 by the approximate reciprocal with one refinement. A zero
// m has 1.0 added and its lane's reciprocal made the kernel's NaN, so both parts
// of that quotient are NaN; the other lanes are unaffected.

// Four quotients from the parts of a (divisor) and b (dividend); zeros gets the
// lanes whose m is zero.
inline void quotient_32fc(__m128 are, __m128 aim, __m128 bre, __m128 bim, __m128& re, __m128& im, int& zeros) {
  __m128 m = _mm_add_ps(_mm_mul_ps(are, are), _mm_mul_ps(aim, aim));
  const __m128 nr = _mm_add_ps(_mm_mul_ps(are, bre), _mm_mul_ps(aim, bim));
  const __m128 ni = _mm_sub_ps(_mm_mul_ps(are, bim), _mm_mul_ps(aim, bre));
  const __m128 z = _mm_cmpeq_ps(m, _mm_setzero_ps());
  zeros |= _mm_movemask_ps(z);
  m = _mm_add_ps(m, _mm_and_ps(z, _mm_set1_ps(1.0f)));
  const __m128 r = _mm_rcp_ps(m);
  __m128 t = _mm_mul_ps(r, _mm_sub_ps(_mm_set1_ps(2.0f), _mm_mul_ps(m, r)));
  t = _mm_add_ps(t, _mm_and_ps(z, _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(kDivNaN32)))));
  re = _mm_mul_ps(nr, t);
  im = _mm_mul_ps(ni, t);
}

bool div32fc(const Kpl32fc* a, const Kpl32fc* b, Kpl32fc* q, size_t n) {
  int zeros = 0;
  for_blocks<4>(
      q, n,
      [&](size_t i) {
        __m128 re, im;
        int z = 0;
        quotient_32fc(_mm_set_ss(a[i].re), _mm_set_ss(a[i].im), _mm_set_ss(b[i].re), _mm_set_ss(b[i].im), re, im, z);
        zeros |= z & 1;  // the unused lanes hold m = 0
        q[i].re = _mm_cvtss_f32(re), q[i].im = _mm_cvtss_f32(im);
      },
      [&](size_t i) {
        const __m128 a0 = load_f(a + i), a1 = load_f(a + i + 2), b0 = load_f(b + i), b1 = load_f(b + i + 2);
        __m128 re, im;
        quotient_32fc(_mm_shuffle_ps(a0, a1, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(a0, a1, _MM_SHUFFLE(3, 1, 3, 1)),
                      _mm_shuffle_ps(b0, b1, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(b0, b1, _MM_SHUFFLE(3, 1, 3, 1)),
                      re, im, zeros);
        store_f(q + i, _mm_unpacklo_ps(re, im));
        store_f(q + i + 2, _mm_unpackhi_ps(re, im));
      });
  return zeros != 0;
}

// ---------------------------------------------------------------------------
// Div_64fc: two elements share one division, 1/m0 = m1 / (m0 * m1), unless the
// product is zero or NaN; then each m is inverted alone and a zero m gives the
// kernel's NaN. An odd last element runs alone.

// The quotients of one element or two, from their parts in the lanes.
inline void finish_64fc(__m128d are, __m128d aim, __m128d bre, __m128d bim, __m128d inv, __m128d& re, __m128d& im) {
  const __m128d nr = _mm_add_pd(_mm_mul_pd(are, bre), _mm_mul_pd(aim, bim));
  const __m128d ni = _mm_sub_pd(_mm_mul_pd(are, bim), _mm_mul_pd(aim, bre));
  re = _mm_mul_pd(nr, inv);
  im = _mm_mul_pd(ni, inv);
}

inline __m128d invert_alone(__m128d m, int& zeros) {
  const __m128d z = _mm_cmpeq_pd(m, _mm_setzero_pd());
  zeros |= _mm_movemask_pd(z);
  return _mm_blendv_pd(_mm_div_pd(_mm_set1_pd(1.0), m), bits_d(kDivNaN64), z);
}

bool div64fc(const Kpl64fc* a, const Kpl64fc* b, Kpl64fc* q, size_t n) {
  int zeros = 0;
  size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const __m128d a0 = load_d(a + i), a1 = load_d(a + i + 1), b0 = load_d(b + i), b1 = load_d(b + i + 1);
    const __m128d are = _mm_unpacklo_pd(a0, a1), aim = _mm_unpackhi_pd(a0, a1);
    const __m128d bre = _mm_unpacklo_pd(b0, b1), bim = _mm_unpackhi_pd(b0, b1);
    const __m128d m = _mm_add_pd(_mm_mul_pd(are, are), _mm_mul_pd(aim, aim));
    const __m128d swapped = _mm_shuffle_pd(m, m, 1);
    const __m128d p = _mm_mul_pd(m, swapped);  // m0 * m1 in both lanes
    const double p0 = _mm_cvtsd_f64(p);
    const __m128d inv = (p0 < 0.0 || p0 > 0.0) ? _mm_mul_pd(swapped, _mm_div_pd(_mm_set1_pd(1.0), p))
                                               : invert_alone(m, zeros);
    __m128d re, im;
    finish_64fc(are, aim, bre, bim, inv, re, im);
    store_d(q + i, _mm_unpacklo_pd(re, im));
    store_d(q + i + 1, _mm_unpackhi_pd(re, im));
  }
  if (i < n) {
    const __m128d are = _mm_set_sd(a[i].re), aim = _mm_set_sd(a[i].im);
    const __m128d m = _mm_add_pd(_mm_mul_pd(are, are), _mm_mul_pd(aim, aim));
    int z = 0;
    const __m128d inv = invert_alone(m, z);
    zeros |= z & 1;  // lane 1 is unused
    __m128d re, im;
    finish_64fc(are, aim, _mm_set_sd(b[i].re), _mm_set_sd(b[i].im), inv, re, im);
    q[i].re = _mm_cvtsd_f64(re), q[i].im = _mm_cvtsd_f64(im);
  }
  return zeros != 0;
}

// ---------------------------------------------------------------------------
// The integer kernels. A method turns four 32-bit lanes of dividends and divisors
// into four 32-bit results (the destination's bounds are applied by the
// narrowing), and ORs the lanes with a zero divisor into `zeros`.

// For a zero divisor: the destination's bound by the dividend's sign, 0 for a zero
// dividend (the narrowing saturates the 32-bit bound).
inline __m128i bound_by_sign(__m128i n) {
  const __m128i zero = _mm_setzero_si128();
  return _mm_or_si128(_mm_and_si128(_mm_cmpgt_epi32(n, zero), _mm_set1_epi32(INT32_MAX)),
                      _mm_and_si128(_mm_cmplt_epi32(n, zero), _mm_set1_epi32(INT32_MIN)));
}

inline __m128i zero_lanes(__m128i d, int& zeros) {
  const __m128i z = _mm_cmpeq_epi32(d, _mm_setzero_si128());
  zeros |= _mm_movemask_epi8(z);
  return z;
}

// 2^e as a float or a double, built from its exponent.
inline float pow2f(int e) { return std::bit_cast<float>(static_cast<uint32_t>(127 + e) << 23); }
inline double pow2d(int e) { return std::bit_cast<double>(static_cast<uint64_t>(1023 + e) << 52); }

// How a quotient becomes an integer: the current rounding of the SIMD control
// (which Div_Round sets for kplRndZero and kplRndNear), or half away from zero.
enum class Convert { kCurrent, kHalfAway };

// True division in single precision: n * 2^-s / d, correctly rounded, converted.
template <Convert C>
struct SingleQuotient {
  explicit SingleQuotient(int s) : scale(_mm_set1_ps(pow2f(-s))) {}
  template <class D>
  __m128i lanes(__m128i n, __m128i d, int& zeros) const {
    const __m128i z = zero_lanes(d, zeros);
    const __m128 den = _mm_cvtepi32_ps(_mm_or_si128(d, _mm_and_si128(z, _mm_set1_epi32(1))));
    const __m128 q = _mm_div_ps(_mm_mul_ps(_mm_cvtepi32_ps(n), scale), den);
    __m128i r;
    if constexpr (C == Convert::kCurrent) {
      r = _mm_cvtps_epi32(q);
    } else {
      const __m128 half = _mm_or_ps(_mm_and_ps(q, _mm_set1_ps(-0.0f)), _mm_set1_ps(0.5f));
      r = _mm_cvttps_epi32(_mm_add_ps(q, half));
    }
    return _mm_blendv_epi8(r, bound_by_sign(n), z);
  }
  __m128 scale;
};

// The same in binary64, clamped to the destination's bounds before converting.
template <Convert C>
struct DoubleQuotient {
  explicit DoubleQuotient(int s) : scale(_mm_set1_pd(pow2d(-s))) {}
  template <class D>
  __m128i lanes(__m128i n, __m128i d, int& zeros) const {
    const __m128i z = zero_lanes(d, zeros);
    const __m128i den = _mm_or_si128(d, _mm_and_si128(z, _mm_set1_epi32(1)));
    const __m128i lo = half(n, den, _mm_set1_pd(std::numeric_limits<D>::lowest()), _mm_set1_pd(std::numeric_limits<D>::max()));
    const __m128i hi = half(_mm_srli_si128(n, 8), _mm_srli_si128(den, 8), _mm_set1_pd(std::numeric_limits<D>::lowest()),
                            _mm_set1_pd(std::numeric_limits<D>::max()));
    return _mm_blendv_epi8(_mm_unpacklo_epi64(lo, hi), bound_by_sign(n), z);
  }
  __m128i half(__m128i n, __m128i d, __m128d lo, __m128d hi) const {
    __m128d q = _mm_div_pd(_mm_mul_pd(_mm_cvtepi32_pd(n), scale), _mm_cvtepi32_pd(d));
    q = _mm_min_pd(_mm_max_pd(q, lo), hi);
    if constexpr (C == Convert::kCurrent) {
      return _mm_cvtpd_epi32(q);
    } else {
      const __m128d h = _mm_or_pd(_mm_and_pd(q, _mm_set1_pd(-0.0)), _mm_set1_pd(0.5));
      return _mm_cvttpd_epi32(_mm_add_pd(q, h));
    }
  }
  __m128d scale;
};

// Div_16s in single precision: both operands moved to the high half of the lane,
// the approximate reciprocal with one refinement, then the exponent step -s and 1
// added to the quotient's bit pattern and its two low bits cleared. A zero divisor
// is replaced by 2^-s, which saturates a non-zero dividend. With a positive s, a
// quotient of exactly 0.0 is left out of the addition.
template <bool kPositiveScale>
struct ReciprocalQuotient16s {
  explicit ReciprocalQuotient16s(int s)
      : zero_divisor(_mm_set1_ps(pow2f(-s))), step(_mm_set1_epi32(static_cast<int>(static_cast<uint32_t>(-s) << 23) + 1)) {}
  template <class D>
  __m128i lanes(__m128i n, __m128i d, int& zeros) const {
    const __m128 nf = _mm_cvtepi32_ps(_mm_slli_epi32(n, 16));
    __m128 df = _mm_cvtepi32_ps(_mm_slli_epi32(d, 16));
    const __m128 z = _mm_castsi128_ps(zero_lanes(d, zeros));
    df = _mm_blendv_ps(df, zero_divisor, z);
    const __m128 r = _mm_rcp_ps(df);
    const __m128 r1 = _mm_mul_ps(r, _mm_sub_ps(_mm_set1_ps(2.0f), _mm_mul_ps(df, r)));
    const __m128 q = _mm_mul_ps(nf, r1);
    __m128i add = step;
    if constexpr (kPositiveScale) add = _mm_andnot_si128(_mm_castps_si128(_mm_cmpeq_ps(q, _mm_setzero_ps())), add);
    const __m128i bits = _mm_andnot_si128(_mm_set1_epi32(3), _mm_add_epi32(_mm_castps_si128(q), add));
    return _mm_cvtps_epi32(_mm_castsi128_ps(bits));
  }
  __m128 zero_divisor;
  __m128i step;
};

// Four elements of each source type as 32-bit lanes, and the narrowing of 32-bit
// results to the destination with saturation.
template <class T>
void widen(const T* p, __m128i* x) {
  if constexpr (std::is_same_v<T, Kpl8u>) {
    const __m128i v = load_i(p);
    x[0] = _mm_cvtepu8_epi32(v), x[1] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 4));
    x[2] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 8)), x[3] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 12));
  } else if constexpr (std::is_same_v<T, Kpl16u>) {
    const __m128i v = load_i(p);
    x[0] = _mm_cvtepu16_epi32(v), x[1] = _mm_cvtepu16_epi32(_mm_srli_si128(v, 8));
  } else if constexpr (std::is_same_v<T, Kpl16s>) {
    const __m128i v = load_i(p);
    x[0] = _mm_cvtepi16_epi32(v), x[1] = _mm_cvtepi16_epi32(_mm_srli_si128(v, 8));
  } else {
    static_assert(std::is_same_v<T, Kpl32s>);
    x[0] = load_i(p), x[1] = load_i(p + 4);
  }
}

template <class D>
__m128i narrow(const __m128i* x) {
  if constexpr (std::is_same_v<D, Kpl8u>) {
    return _mm_packus_epi16(_mm_packs_epi32(x[0], x[1]), _mm_packs_epi32(x[2], x[3]));
  } else if constexpr (std::is_same_v<D, Kpl16u>) {
    return _mm_packus_epi32(x[0], x[1]);
  } else if constexpr (std::is_same_v<D, Kpl16s>) {
    return _mm_packs_epi32(x[0], x[1]);
  } else {
    static_assert(std::is_same_v<D, Kpl32s>);
    return x[0];
  }
}

// d[i] = b[i] / a[i] through a method. Blocks fill one destination vector; a
// single element runs in lane 0 of the same method (the other lanes divide 0 by 1).
template <class D, class Method, class A, class B>
bool divide(const Method& m, const A* a, const B* b, D* d, size_t n) {
  constexpr size_t kLanes = 16 / sizeof(D), kVectors = kLanes / 4;
  int zeros = 0;
  for_blocks<kLanes>(
      d, n,
      [&](size_t i) {
        const __m128i r = m.template lanes<D>(_mm_cvtsi32_si128(b[i]), _mm_setr_epi32(a[i], 1, 1, 1), zeros);
        d[i] = saturate<D>(_mm_cvtsi128_si32(r));
      },
      [&](size_t i) {
        __m128i x[4], y[4], r[4];
        if constexpr (kVectors == 1) {
          static_assert(sizeof(A) == 4 && sizeof(B) == 4);
          r[0] = m.template lanes<D>(load_i(b + i), load_i(a + i), zeros);
        } else {
          widen(a + i, x), widen(b + i, y);
          for (size_t k = 0; k < kVectors; ++k) r[k] = m.template lanes<D>(y[k], x[k], zeros);
        }
        store_i(d + i, narrow<D>(r));
      });
  return zeros != 0;
}

// ---------------------------------------------------------------------------
// Scale factors outside the kernel range: no arithmetic, the signs decide.

template <class T>
constexpr bool negative(T x) {
  if constexpr (std::is_signed_v<T>) {
    return x < 0;
  } else {
    return false;
  }
}

template <class D>
constexpr D kMax = std::numeric_limits<D>::max();
template <class D>
constexpr D kMin = std::numeric_limits<D>::lowest();

// Below the range every non-zero quotient saturates by its sign; a zero divisor
// counts as positive and flags.
template <class D, class A, class B>
bool saturate_by_signs(const A* a, const B* b, D* d, size_t n) {
  bool flag = false;
  for (size_t i = 0; i < n; ++i) {
    flag |= a[i] == 0;
    d[i] = b[i] == 0 ? D{0} : (negative(b[i]) != negative(a[i]) ? kMin<D> : kMax<D>);
  }
  return flag;
}

// Div_16u below its range: every non-zero divisor gives 65,535, even for a zero
// dividend; a zero divisor gives 65,535 for a non-zero dividend, else 0, and flags.
template <class D, class A, class B>
bool saturate_div16u(const A* a, const B* b, D* d, size_t n) {
  bool flag = false;
  for (size_t i = 0; i < n; ++i) {
    flag |= a[i] == 0;
    d[i] = (a[i] != 0 || b[i] != 0) ? kMax<D> : D{0};
  }
  return flag;
}

// Above the range every quotient vanishes, but a zero divisor still gives the
// bound by the dividend's sign (0 for a zero dividend) and flags.
template <class D, class A, class B>
bool vanish(const A* a, const B* b, D* d, size_t n) {
  bool flag = false;
  for (size_t i = 0; i < n; ++i) {
    if (a[i] != 0) {
      d[i] = 0;
    } else {
      flag = true;
      d[i] = b[i] == 0 ? D{0} : (negative(b[i]) ? kMin<D> : kMax<D>);
    }
  }
  return flag;
}

// ---------------------------------------------------------------------------
// The integer entries' bodies.

enum class Below { kBySigns, kDiv16u };

// A real integer Div or Div_Round after its argument checks: the short circuits,
// then the kernel chosen by the scale factor, threaded from team.from on.
template <class D, class A, class B, class Kernel>
KplStatus div_int(const A* a, const B* b, D* d, size_t n, int s, KernelRange range, Below below, Team team,
                  Kernel&& kernel) {
  if (s < range.lo) return div_status(below == Below::kDiv16u ? saturate_div16u(a, b, d, n) : saturate_by_signs(a, b, d, n));
  if (s > range.hi) return div_status(vanish(a, b, d, n));
  return div_status(run(team, n, [&](size_t i, size_t c) { return kernel(a + i, b + i, d + i, c); }));
}

// Div_8u, Div_16u, Div_16s (s >= kDiv16sSingleFrom excluded), Div_32s, Div_32s16s
// and Div_Round with a conversion C: single precision where it is exact, binary64
// where it is not.
template <Convert C, class D, class A, class B>
bool true_quotients(const A* a, const B* b, D* d, size_t n, int s) {
  if constexpr (sizeof(D) == 1) {
    return divide<D>(SingleQuotient<C>(s), a, b, d, n);
  } else if constexpr (sizeof(D) == 2 && sizeof(B) == 2) {
    if (s >= kDiv16bitSingleFrom) return divide<D>(SingleQuotient<C>(s), a, b, d, n);
    return divide<D>(DoubleQuotient<C>(s), a, b, d, n);
  } else {
    return divide<D>(DoubleQuotient<C>(s), a, b, d, n);
  }
}

bool div16s_kernel(const Kpl16s* a, const Kpl16s* b, Kpl16s* d, size_t n, int s) {
  if (s > 0) return divide<Kpl16s>(ReciprocalQuotient16s<true>(s), a, b, d, n);
  if (s >= kDiv16sSingleFrom) return divide<Kpl16s>(ReciprocalQuotient16s<false>(s), a, b, d, n);
  return divide<Kpl16s>(DoubleQuotient<Convert::kCurrent>(s), a, b, d, n);
}

template <class T>
KplStatus div_sfs(const T* a, const T* b, T* d, int len, int s, KernelRange range, Below below, Team team) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  return div_int(a, b, d, static_cast<size_t>(len), s, range, below, team, [s](const T* x, const T* y, T* z, size_t c) {
    return true_quotients<Convert::kCurrent>(x, y, z, c, s);
  });
}

// Div_Round: kplRndZero and kplRndNear set the SIMD rounding control for the
// kernel (on each thread's slice), kplRndFinancial offsets by one half away from
// zero and truncates.
template <class T>
KplStatus div_round(const T* a, const T* b, T* d, int len, KplRoundMode mode, int s, KernelRange range, Team team) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  if (mode != kplRndZero && mode != kplRndNear && mode != kplRndFinancial) return kplStsBadRoundMode;
  return div_int(a, b, d, static_cast<size_t>(len), s, range, Below::kBySigns, team,
                 [s, mode](const T* x, const T* y, T* z, size_t c) {
                   if (mode == kplRndFinancial) return true_quotients<Convert::kHalfAway>(x, y, z, c, s);
                   const RoundingGuard guard(mode == kplRndZero ? Rounding::kTruncate : Rounding::kNearest);
                   return true_quotients<Convert::kCurrent>(x, y, z, c, s);
                 });
}

// ---------------------------------------------------------------------------
// Div_16sc: binary64, one division per element: f = 2^-s / |a|^2, then the
// exact numerator parts times f, clamped and converted with the current rounding.

inline __m128i quotient_16sc(const Kpl16sc* a, const Kpl16sc* b, __m128d scale, int& zeros) {
  const __m128d are = _mm_set1_pd(a->re), aim = _mm_set1_pd(a->im);
  const __m128d bv = _mm_setr_pd(b->re, b->im), bs = _mm_setr_pd(b->im, -static_cast<double>(b->re));
  // (a.re * b.re + a.im * b.im, a.re * b.im - a.im * b.re) and a.re^2 + a.im^2, all exact.
  const __m128d num = _mm_add_pd(_mm_mul_pd(are, bv), _mm_mul_pd(aim, bs));
  const double m = static_cast<double>(a->re) * a->re + static_cast<double>(a->im) * a->im;
  if (m == 0.0) {
    zeros |= 1;
    return _mm_setzero_si128();
  }
  __m128d q = _mm_mul_pd(num, _mm_div_pd(scale, _mm_set1_pd(m)));
  q = _mm_min_pd(_mm_max_pd(q, _mm_set1_pd(-32768.0)), _mm_set1_pd(32767.0));
  return _mm_cvtpd_epi32(q);
}

bool div16sc(const Kpl16sc* a, const Kpl16sc* b, Kpl16sc* d, size_t n, int s) {
  const __m128d scale = _mm_set1_pd(pow2d(-s));
  int zeros = 0;
  for_blocks<4>(
      d, n,
      [&](size_t i) {
        const __m128i r = quotient_16sc(a + i, b + i, scale, zeros);
        d[i].re = static_cast<Kpl16s>(_mm_cvtsi128_si32(r)), d[i].im = static_cast<Kpl16s>(_mm_extract_epi32(r, 1));
      },
      [&](size_t i) {
        const __m128i r01 = _mm_unpacklo_epi64(quotient_16sc(a + i, b + i, scale, zeros),
                                               quotient_16sc(a + i + 1, b + i + 1, scale, zeros));
        const __m128i r23 = _mm_unpacklo_epi64(quotient_16sc(a + i + 2, b + i + 2, scale, zeros),
                                               quotient_16sc(a + i + 3, b + i + 3, scale, zeros));
        store_i(d + i, _mm_packs_epi32(r01, r23));
      });
  return zeros != 0;
}

int sign_of(int64_t x) { return (x > 0) - (x < 0); }
Kpl16s bound_of(int sign) { return sign > 0 ? Kpl16s{32767} : (sign < 0 ? Kpl16s{-32768} : Kpl16s{0}); }

// Below the range: each part saturates by the sign of its exact numerator; a zero
// divisor gives (0, 0) and flags.
bool div16sc_saturate(const Kpl16sc* a, const Kpl16sc* b, Kpl16sc* d, size_t n) {
  bool flag = false;
  for (size_t i = 0; i < n; ++i) {
    const int64_t are = a[i].re, aim = a[i].im, bre = b[i].re, bim = b[i].im;
    if (are == 0 && aim == 0) {
      flag = true;
      d[i] = {0, 0};
    } else {
      d[i] = {bound_of(sign_of(are * bre + aim * bim)), bound_of(sign_of(are * bim - bre * aim))};
    }
  }
  return flag;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

namespace {

template <class T>
KplStatus div_float(const T* a, const T* b, T* d, int len, Team team, bool (*kernel)(const T*, const T*, T*, size_t)) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  return div_status(run(team, static_cast<size_t>(len), [&](size_t i, size_t c) { return kernel(a + i, b + i, d + i, c); }));
}

bool div32f_kernel(const Kpl32f* a, const Kpl32f* b, Kpl32f* d, size_t n) { return div32f(VectorDividend{b}, a, d, n); }

KplStatus div_16s(const Kpl16s* a, const Kpl16s* b, Kpl16s* d, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  return div_int(a, b, d, static_cast<size_t>(len), s, kDiv16sRange, Below::kBySigns, kDivIntTeam,
                 [s](const Kpl16s* x, const Kpl16s* y, Kpl16s* z, size_t c) { return div16s_kernel(x, y, z, c, s); });
}

KplStatus div_16sc(const Kpl16sc* a, const Kpl16sc* b, Kpl16sc* d, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const size_t n = static_cast<size_t>(len);
  if (s < kDiv16scRange.lo) return div_status(div16sc_saturate(a, b, d, n));
  if (s > kDiv16scRange.hi) {
    // All zeros; the warning then comes from the first element whose divisor's real
    // part and dividend's imaginary part are both zero.
    KPL_IMPL(kplsZero_16sc)(d, len);
    for (size_t i = 0; i < n; ++i)
      if (a[i].re == 0 && b[i].im == 0) return kplStsWarnDivByZero;
    return kplStsOk;
  }
  return div_status(run(kDiv16scTeam, n, [&](size_t i, size_t c) { return div16sc(a + i, b + i, d + i, c, s); }));
}

KplStatus div_32s16s(const Kpl16s* a, const Kpl32s* b, Kpl16s* d, int len, int s) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  return div_int(a, b, d, static_cast<size_t>(len), s, kDiv32s16sRange, Below::kBySigns, kDivIntTeam,
                 [s](const Kpl16s* x, const Kpl32s* y, Kpl16s* z, size_t c) {
                   return true_quotients<Convert::kCurrent>(x, y, z, c, s);
                 });
}

KplStatus div_crev_32f(const Kpl32f* src, Kpl32f val, Kpl32f* d, int len) {
  if (KplStatus st = check_vector_args(len, src, d)) return st;
  return div_status(run(kDivCRev32fTeam, static_cast<size_t>(len),
                        [&](size_t i, size_t c) { return div32f(ConstDividend{val}, src + i, d + i, c); }));
}

}  // namespace

// In-place forms check their own pointers and length, then run the out-of-place
// form with the in-place vector as the dividend and the destination.
KplStatus KPL_IMPL(kplsDiv_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, int len) { return div_float(pSrc1, pSrc2, pDst, len, kDiv32fTeam, div32f_kernel); }
KplStatus KPL_IMPL(kplsDiv_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_32f)(pSrc, pSrcDst, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDiv_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, int len) { return div_float(pSrc1, pSrc2, pDst, len, kDiv64fTeam, div64f); }
KplStatus KPL_IMPL(kplsDiv_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_64f)(pSrc, pSrcDst, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDiv_32fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, Kpl32fc* pDst, int len) { return div_float(pSrc1, pSrc2, pDst, len, kDiv32fcTeam, div32fc); }
KplStatus KPL_IMPL(kplsDiv_32fc_I)(const Kpl32fc* pSrc, Kpl32fc* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_32fc)(pSrc, pSrcDst, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDiv_64fc)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, Kpl64fc* pDst, int len) { return div_float(pSrc1, pSrc2, pDst, len, kDiv64fcTeam, div64fc); }
KplStatus KPL_IMPL(kplsDiv_64fc_I)(const Kpl64fc* pSrc, Kpl64fc* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_64fc)(pSrc, pSrcDst, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDiv_8u_Sfs)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, int len, int scaleFactor) { return div_sfs(pSrc1, pSrc2, pDst, len, scaleFactor, kDiv8uRange, Below::kBySigns, kDivIntTeam); }
KplStatus KPL_IMPL(kplsDiv_8u_ISfs)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_8u_Sfs)(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_16u_Sfs)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, int len, int scaleFactor) { return div_sfs(pSrc1, pSrc2, pDst, len, scaleFactor, kDiv16uRange, Below::kDiv16u, kNoTeam); }
KplStatus KPL_IMPL(kplsDiv_16u_ISfs)(const Kpl16u* pSrc, Kpl16u* pSrcDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_16u_Sfs)(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) { return div_16s(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDiv_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_16s_Sfs)(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_16sc_Sfs)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, Kpl16sc* pDst, int len, int scaleFactor) { return div_16sc(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDiv_16sc_ISfs)(const Kpl16sc* pSrc, Kpl16sc* pSrcDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_16sc_Sfs)(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, Kpl32s* pDst, int len, int scaleFactor) { return div_sfs(pSrc1, pSrc2, pDst, len, scaleFactor, kDiv32sRange, Below::kBySigns, kDivIntTeam); }
KplStatus KPL_IMPL(kplsDiv_32s_ISfs)(const Kpl32s* pSrc, Kpl32s* pSrcDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  return KPL_IMPL(kplsDiv_32s_Sfs)(pSrc, pSrcDst, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_32s16s_Sfs)(const Kpl16s* pSrc1, const Kpl32s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) { return div_32s16s(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDiv_Round_8u_Sfs)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, int len, KplRoundMode rndMode, int scaleFactor) { return div_round(pSrc1, pSrc2, pDst, len, rndMode, scaleFactor, kDiv8uRange, kDivRound8uTeam); }
KplStatus KPL_IMPL(kplsDiv_Round_8u_ISfs)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len, KplRoundMode rndMode, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  if (rndMode != kplRndZero && rndMode != kplRndNear && rndMode != kplRndFinancial) return kplStsBadRoundMode;
  return KPL_IMPL(kplsDiv_Round_8u_Sfs)(pSrc, pSrcDst, pSrcDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_Round_16u_Sfs)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, int len, KplRoundMode rndMode, int scaleFactor) { return div_round(pSrc1, pSrc2, pDst, len, rndMode, scaleFactor, kDiv16uRange, kDivRound16Team); }
KplStatus KPL_IMPL(kplsDiv_Round_16u_ISfs)(const Kpl16u* pSrc, Kpl16u* pSrcDst, int len, KplRoundMode rndMode, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  if (rndMode != kplRndZero && rndMode != kplRndNear && rndMode != kplRndFinancial) return kplStsBadRoundMode;
  return KPL_IMPL(kplsDiv_Round_16u_Sfs)(pSrc, pSrcDst, pSrcDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsDiv_Round_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, KplRoundMode rndMode, int scaleFactor) { return div_round(pSrc1, pSrc2, pDst, len, rndMode, scaleFactor, kDivRound16sRange, kDivRound16Team); }
KplStatus KPL_IMPL(kplsDiv_Round_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, KplRoundMode rndMode, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSrcDst)) return st;
  if (rndMode != kplRndZero && rndMode != kplRndNear && rndMode != kplRndFinancial) return kplStsBadRoundMode;
  return KPL_IMPL(kplsDiv_Round_16s_Sfs)(pSrc, pSrcDst, pSrcDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsDivCRev_32f)(const Kpl32f* pSrc, Kpl32f val, Kpl32f* pDst, int len) { return div_crev_32f(pSrc, val, pDst, len); }
KplStatus KPL_IMPL(kplsDivCRev_32f_I)(Kpl32f val, Kpl32f* pSrcDst, int len) { return div_crev_32f(pSrcDst, val, pSrcDst, len); }
