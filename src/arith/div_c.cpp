// src/arith/div_c.cpp: DivC in every type and form: a vector divided by a constant.
//
// A zero constant is an error (kplStsDivByZero, nothing written), except in
// DivC_64s_ISfs where it saturates by sign and warns. The floating forms multiply
// by the reciprocal through MulC; the integer forms multiply by a scaled
// reciprocal and convert with the current rounding.
#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
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

// Scale factors that run a kernel; outside, the result is known.
struct KernelRange {
  int lo, hi;
};
constexpr KernelRange kDivC8uRange{-15, 8};
constexpr KernelRange kDivC16sRange{-30, 15};
constexpr KernelRange kDivC16uRange{-31, 16};
constexpr KernelRange kDivC16scRange{-16, 15};  // below -16: a separate loop that rounds on its own

// From this scale factor down every non-zero exact part of a DivC_16sc quotient
// saturates (|numerator| >= 1 and |val|^2 < 2^31), so 2^-s needs no larger power.
constexpr int kDivC16scSaturatedFrom = -64;

// Lengths from which a call is split over two threads.
constexpr size_t kDivC8uThreadsFrom = 4096;
constexpr size_t kDivC16sThreadsFrom = 4096;
constexpr size_t kDivC16scThreadsFrom = 1024;

// ---------------------------------------------------------------------------

// Runs kernel(begin, count) over [0, len), on two threads from `from` on.
template <class Kernel>
void run(size_t from, size_t len, Kernel&& kernel) {
  if (len < from) return kernel(size_t{0}, len);
  parallel_slices(len, TeamCap::kTwo, [&](size_t begin, size_t count) {
    kernel(begin, count);
    return false;
  });
}

inline float pow2f(int e) { return std::bit_cast<float>(static_cast<uint32_t>(127 + e) << 23); }
inline double pow2d(int e) { return std::bit_cast<double>(static_cast<uint64_t>(1023 + e) << 52); }

// ---------------------------------------------------------------------------
// DivC_8u, DivC_16s, DivC_16u: x * c with the float c = 2^-s / val, clamped to the
// destination's range (so a product beyond the float-to-integer range still
// saturates by its sign), converted with the current rounding.

template <class T>
struct ScaledReciprocal {
  ScaledReciprocal(T val, int s)
      : c(_mm_set1_ps(pow2f(-s) / static_cast<float>(val))),
        lo(_mm_set1_ps(static_cast<float>(std::numeric_limits<T>::lowest()))),
        hi(_mm_set1_ps(static_cast<float>(std::numeric_limits<T>::max()))) {}
  // Four elements in 32-bit lanes to four results in 32-bit lanes.
  __m128i lanes(__m128i x) const {
    const __m128 q = _mm_mul_ps(_mm_cvtepi32_ps(x), c);
    return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(q, lo), hi));
  }
  __m128 c, lo, hi;
};

template <class T>
void divc_int(const ScaledReciprocal<T>& op, const T* s, T* d, size_t n) {
  for_blocks<16 / sizeof(T)>(
      d, n, [&](size_t i) { d[i] = static_cast<T>(_mm_cvtsi128_si32(op.lanes(_mm_cvtsi32_si128(s[i])))); },
      [&](size_t i) {
        const __m128i v = load_i(s + i);
        if constexpr (std::is_same_v<T, Kpl8u>) {
          const __m128i a = _mm_packs_epi32(op.lanes(_mm_cvtepu8_epi32(v)), op.lanes(_mm_cvtepu8_epi32(_mm_srli_si128(v, 4))));
          const __m128i b = _mm_packs_epi32(op.lanes(_mm_cvtepu8_epi32(_mm_srli_si128(v, 8))),
                                            op.lanes(_mm_cvtepu8_epi32(_mm_srli_si128(v, 12))));
          store_i(d + i, _mm_packus_epi16(a, b));
        } else if constexpr (std::is_same_v<T, Kpl16u>) {
          store_i(d + i, _mm_packus_epi32(op.lanes(_mm_cvtepu16_epi32(v)), op.lanes(_mm_cvtepu16_epi32(_mm_srli_si128(v, 8)))));
        } else {
          store_i(d + i, _mm_packs_epi32(op.lanes(_mm_cvtepi16_epi32(v)), op.lanes(_mm_cvtepi16_epi32(_mm_srli_si128(v, 8)))));
        }
      });
}

template <class T>
constexpr bool negative(T x) {
  if constexpr (std::is_signed_v<T>) {
    return x < 0;
  } else {
    return false;
  }
}

// DivC_8u and DivC_16s after the checks: below the range a non-zero quotient
// saturates by its sign, above it the result is all zeros.
template <class T, class Zero>
KplStatus divc_sfs(const T* src, T val, T* dst, int len, int s, KernelRange range, size_t threads_from, Zero zero) {
  const size_t n = static_cast<size_t>(len);
  if (s < range.lo) {
    for (size_t i = 0; i < n; ++i)
      dst[i] = src[i] == 0 ? T{0} : (negative(src[i]) != negative(val) ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max());
    return kplStsOk;
  }
  if (s > range.hi) return zero(dst, len);
  const ScaledReciprocal<T> op(val, s);
  run(threads_from, n, [&](size_t i, size_t c) { divc_int(op, src + i, dst + i, c); });
  return kplStsOk;
}

// ---------------------------------------------------------------------------
// DivC_16sc: binary64. The numerator parts x * c + y * d and y * c - x * d are
// exact in 64 bits, f = 2^-s / (c^2 + d^2) is one division per call, and each part
// is numerator * f, so a part whose exact value is 0 stays 0 at every scale.

struct ComplexReciprocal {
  ComplexReciprocal(Kpl16sc val, int s)
      : c(_mm_set1_pd(val.re)), d(_mm_set1_pd(val.im)),
        f(_mm_set1_pd(pow2d(-std::max(s, kDivC16scSaturatedFrom)) /
                      (static_cast<double>(val.re) * val.re + static_cast<double>(val.im) * val.im))) {}
  // The scaled parts of one element, (re, im).
  __m128d parts(Kpl16sc z) const {
    const __m128d xy = _mm_setr_pd(z.re, z.im), yx = _mm_setr_pd(z.im, -static_cast<double>(z.re));
    return _mm_mul_pd(_mm_add_pd(_mm_mul_pd(c, xy), _mm_mul_pd(d, yx)), f);
  }
  // Converted with the current rounding, saturated: two 32-bit lanes.
  __m128i rounded(Kpl16sc z) const {
    return _mm_cvtpd_epi32(_mm_min_pd(_mm_max_pd(parts(z), _mm_set1_pd(-32768.0)), _mm_set1_pd(32767.0)));
  }
  __m128d c, d, f;
};

void divc_16sc(const ComplexReciprocal& op, const Kpl16sc* s, Kpl16sc* d, size_t n) {
  for_blocks<4>(
      d, n,
      [&](size_t i) {
        const __m128i r = op.rounded(s[i]);
        d[i] = {static_cast<Kpl16s>(_mm_cvtsi128_si32(r)), static_cast<Kpl16s>(_mm_extract_epi32(r, 1))};
      },
      [&](size_t i) {
        const __m128i r01 = _mm_unpacklo_epi64(op.rounded(s[i]), op.rounded(s[i + 1]));
        const __m128i r23 = _mm_unpacklo_epi64(op.rounded(s[i + 2]), op.rounded(s[i + 3]));
        store_i(d + i, _mm_packs_epi32(r01, r23));
      });
}

// Below the kernel range: each part offset by 32,768 and by 0.5, truncated, and
// taken one lower if that is odd and the offset value was an integer: nearest with
// ties to even whatever the rounding control says. Beyond the range it saturates.
Kpl16s round_offset(double v) {
  v = v + 32768.0;
  v = v + 0.5;
  if (!(v >= 0.0)) return -32768;
  if (v >= 65536.0) return 32767;
  int64_t t = static_cast<int64_t>(v);
  if ((t & 1) != 0 && static_cast<double>(t) == v) --t;
  return static_cast<Kpl16s>(t - 32768);
}

KplStatus divc_16sc_sfs(const Kpl16sc* src, Kpl16sc val, Kpl16sc* dst, int len, int s) {
  if (val.re == 0 && val.im == 0) return kplStsDivByZero;
  const size_t n = static_cast<size_t>(len);
  if (s > kDivC16scRange.hi) return KPL_IMPL(kplsZero_16sc)(dst, len);
  const ComplexReciprocal op(val, s);
  if (s < kDivC16scRange.lo) {
    for (size_t i = 0; i < n; ++i) {
      alignas(16) double p[2];
      _mm_store_pd(p, op.parts(src[i]));
      dst[i] = {round_offset(p[0]), round_offset(p[1])};
    }
    return kplStsOk;
  }
  run(kDivC16scThreadsFrom, n, [&](size_t i, size_t c) { divc_16sc(op, src + i, dst + i, c); });
  return kplStsOk;
}

// ---------------------------------------------------------------------------
// DivC_64s_ISfs: extended precision (64-bit mantissa). x * r with r = 1 / (val *
// 2^s), clamped to the bounds of Kpl64s, rounded to nearest with ties to even
// whatever the rounding mode.

Kpl64s round_clamped(long double p) {
  constexpr long double kTop = 9223372036854775808.0L;  // 2^63
  if (p != p) return 0;                                 // 0 * infinity: the element was 0
  if (p >= kTop) return std::numeric_limits<Kpl64s>::max();
  if (p <= -kTop) return std::numeric_limits<Kpl64s>::lowest();
  const long double t = std::trunc(p), frac = p - t;  // both exact
  Kpl64s r = static_cast<Kpl64s>(t);
  const long double half = frac < 0 ? -frac : frac;
  if (half > 0.5L || (half == 0.5L && (r & 1) != 0)) r += frac < 0 ? -1 : 1;
  return r;
}

KplStatus divc_64s_isfs(Kpl64s val, Kpl64s* sd, Kpl32u len, int s) {
  if (sd == nullptr) return kplStsNullPointer;
  if (len == 0) return kplStsBadSize;
  if (val == 0) {
    // Not an error here: a non-zero element saturates by its sign, 0 stays.
    for (Kpl32u i = 0; i < len; ++i)
      if (sd[i] != 0) sd[i] = sd[i] > 0 ? std::numeric_limits<Kpl64s>::max() : std::numeric_limits<Kpl64s>::lowest();
    return kplStsWarnDivByZero;
  }
  const long double r = 1.0L / std::ldexp(static_cast<long double>(val), s);
  for (Kpl32u i = 0; i < len; ++i) sd[i] = round_clamped(static_cast<long double>(sd[i]) * r);
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

namespace {

KplStatus divc_8u(const Kpl8u* src, Kpl8u val, Kpl8u* dst, int len, int s) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  if (val == 0) return kplStsDivByZero;  // tested before the scale factor
  return divc_sfs(src, val, dst, len, s, kDivC8uRange, kDivC8uThreadsFrom,
                  [](Kpl8u* d, int n) { return KPL_IMPL(kplsZero_8u)(d, n); });
}

KplStatus divc_16s(const Kpl16s* src, Kpl16s val, Kpl16s* dst, int len, int s) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  if (val == 0) return kplStsDivByZero;  // tested before the scale factor
  return divc_sfs(src, val, dst, len, s, kDivC16sRange, kDivC16sThreadsFrom,
                  [](Kpl16s* d, int n) { return KPL_IMPL(kplsZero_16s)(d, n); });
}

// DivC_16u after its short circuits and checks: val = 1 is the MulC kernel,
// which rounds the scaled value with ties to even.
KplStatus divc_16u(const Kpl16u* src, Kpl16u val, Kpl16u* dst, int len, int s) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  if (val == 0) return kplStsDivByZero;
  if (val == 1) {
    if (src == dst) return KPL_IMPL(kplsMulC_16u_ISfs)(1, dst, len, s);
    return KPL_IMPL(kplsMulC_16u_Sfs)(src, 1, dst, len, s);
  }
  divc_int(ScaledReciprocal<Kpl16u>(val, s), src, dst, static_cast<size_t>(len));
  return kplStsOk;
}

// The 16u short circuits run before the pointers are tested, and only for a
// non-zero constant: far above the range zeros, far below it 65,535 everywhere.
bool divc_16u_fills(int s) { return s > kDivC16uRange.hi || s < kDivC16uRange.lo; }
KplStatus divc_16u_fill(Kpl16u* dst, int len, int s) {
  if (s > kDivC16uRange.hi) return KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(dst), len);
  return KPL_IMPL(kplsSet_16s)(-1, reinterpret_cast<Kpl16s*>(dst), len);
}

}  // namespace

KplStatus KPL_IMPL(kplsDivC_32f)(const Kpl32f* pSrc, Kpl32f val, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (val == 0.0f) return kplStsDivByZero;
  return KPL_IMPL(kplsMulC_32f)(pSrc, 1.0f / val, pDst, len);
}
KplStatus KPL_IMPL(kplsDivC_32f_I)(Kpl32f val, Kpl32f* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrcDst)) return st;
  if (val == 0.0f) return kplStsDivByZero;
  return KPL_IMPL(kplsMulC_32f_I)(1.0f / val, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDivC_64f)(const Kpl64f* pSrc, Kpl64f val, Kpl64f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (val == 0.0) return kplStsDivByZero;
  return KPL_IMPL(kplsMulC_64f)(pSrc, 1.0 / val, pDst, len);
}
KplStatus KPL_IMPL(kplsDivC_64f_I)(Kpl64f val, Kpl64f* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrcDst)) return st;
  if (val == 0.0) return kplStsDivByZero;
  return KPL_IMPL(kplsMulC_64f_I)(1.0 / val, pSrcDst, len);
}
// (c, d) / |val|^2 with i = 1 / (c * c + d * d): the constant (c * i, 0 - i * d).
KplStatus KPL_IMPL(kplsDivC_32fc)(const Kpl32fc* pSrc, Kpl32fc val, Kpl32fc* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const Kpl32f m = val.re * val.re + val.im * val.im;
  if (m == 0.0f) return kplStsDivByZero;
  const Kpl32f i = 1.0f / m;
  return KPL_IMPL(kplsMulC_32fc)(pSrc, Kpl32fc{val.re * i, 0.0f - i * val.im}, pDst, len);
}
KplStatus KPL_IMPL(kplsDivC_32fc_I)(Kpl32fc val, Kpl32fc* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrcDst)) return st;
  const Kpl32f m = val.re * val.re + val.im * val.im;
  if (m == 0.0f) return kplStsDivByZero;
  const Kpl32f i = 1.0f / m;
  return KPL_IMPL(kplsMulC_32fc_I)(Kpl32fc{val.re * i, 0.0f - i * val.im}, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDivC_64fc)(const Kpl64fc* pSrc, Kpl64fc val, Kpl64fc* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const Kpl64f m = val.re * val.re + val.im * val.im;
  if (m == 0.0) return kplStsDivByZero;
  const Kpl64f i = 1.0 / m;
  return KPL_IMPL(kplsMulC_64fc)(pSrc, Kpl64fc{val.re * i, 0.0 - i * val.im}, pDst, len);
}
KplStatus KPL_IMPL(kplsDivC_64fc_I)(Kpl64fc val, Kpl64fc* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrcDst)) return st;
  const Kpl64f m = val.re * val.re + val.im * val.im;
  if (m == 0.0) return kplStsDivByZero;
  const Kpl64f i = 1.0 / m;
  return KPL_IMPL(kplsMulC_64fc_I)(Kpl64fc{val.re * i, 0.0 - i * val.im}, pSrcDst, len);
}
KplStatus KPL_IMPL(kplsDivC_8u_Sfs)(const Kpl8u* pSrc, Kpl8u val, Kpl8u* pDst, int len, int scaleFactor) { return divc_8u(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDivC_8u_ISfs)(Kpl8u val, Kpl8u* pSrcDst, int len, int scaleFactor) { return divc_8u(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDivC_16u_Sfs)(const Kpl16u* pSrc, Kpl16u val, Kpl16u* pDst, int len, int scaleFactor) {
  if (val != 0) {
    if (divc_16u_fills(scaleFactor)) return pSrc == nullptr ? kplStsNullPointer : divc_16u_fill(pDst, len, scaleFactor);
    if (scaleFactor == 0 && val == 1)
      return KPL_IMPL(kplsCopy_16s)(reinterpret_cast<const Kpl16s*>(pSrc), reinterpret_cast<Kpl16s*>(pDst), len);
  }
  return divc_16u(pSrc, val, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDivC_16u_ISfs)(Kpl16u val, Kpl16u* pSrcDst, int len, int scaleFactor) {
  if (val != 0) {
    if (divc_16u_fills(scaleFactor)) return divc_16u_fill(pSrcDst, len, scaleFactor);
    if (scaleFactor == 0 && val == 1) return kplStsOk;  // tested before the pointer
  }
  return divc_16u(pSrcDst, val, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDivC_16s_Sfs)(const Kpl16s* pSrc, Kpl16s val, Kpl16s* pDst, int len, int scaleFactor) { return divc_16s(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDivC_16s_ISfs)(Kpl16s val, Kpl16s* pSrcDst, int len, int scaleFactor) { return divc_16s(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsDivC_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc val, Kpl16sc* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  return divc_16sc_sfs(pSrc, val, pDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDivC_16sc_ISfs)(Kpl16sc val, Kpl16sc* pSrcDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrcDst)) return st;
  return divc_16sc_sfs(pSrcDst, val, pSrcDst, len, scaleFactor);
}
KplStatus KPL_IMPL(kplsDivC_64s_ISfs)(Kpl64s val, Kpl64s* pSrcDst, Kpl32u len, int scaleFactor) { return divc_64s_isfs(val, pSrcDst, len, scaleFactor); }
