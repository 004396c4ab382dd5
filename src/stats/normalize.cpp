// Normalize: pDst[i] = (pSrc[i] - vSub) / vDiv, computed as (x - vSub) * r with
// r = 1 / vDiv taken once; the 16-bit forms scale by 2^-scaleFactor, round to
// nearest even and saturate.
#include <immintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/loop.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Divisors below the smallest normal in magnitude are refused (a NaN passes).
constexpr uint32_t kSmallestNormal32f = 0x00800000u;
constexpr uint64_t kSmallestNormal64f = 0x0010000000000000ull;

inline __m128 vload(const float* p) { return _mm_loadu_ps(p); }
inline __m128d vload(const double* p) { return _mm_loadu_pd(p); }
inline void vstore(float* p, __m128 v) { _mm_storeu_ps(p, v); }
inline void vstore(double* p, __m128d v) { _mm_storeu_pd(p, v); }
inline __m128 vnormalize(__m128 x, __m128 sub, __m128 r) { return _mm_mul_ps(_mm_sub_ps(x, sub), r); }
inline __m128d vnormalize(__m128d x, __m128d sub, __m128d r) { return _mm_mul_pd(_mm_sub_pd(x, sub), r); }

template <class T>
struct VectorOf {
  using type = __m128d;
};
template <>
struct VectorOf<float> {
  using type = __m128;
};

// Float and double, real or complex (T is the part type, Parts 1 or 2): two
// vectors a step. The vector of vSub repeats the parts so that lanes line up.
template <class E, class T, size_t Parts>
struct NormalizeFloatOp {
  using V = typename VectorOf<T>::type;
  static constexpr size_t kPerVector = 16 / sizeof(E);
  static constexpr size_t kLanes = 2 * kPerVector;
  T sub[2], r;
  V vsub, vr;

  NormalizeFloatOp(const T* sub_parts, T divisor) : r(T{1} / divisor) {
    alignas(16) T lanes[16 / sizeof(T)];
    for (size_t k = 0; k < 16 / sizeof(T); ++k) lanes[k] = sub_parts[k % Parts];
    sub[0] = sub_parts[0], sub[1] = sub_parts[Parts - 1];
    vsub = vload(lanes);
    for (size_t k = 0; k < 16 / sizeof(T); ++k) lanes[k] = r;
    vr = vload(lanes);
  }
  void scalar(const E* s, E* d) const {
    const T* x = reinterpret_cast<const T*>(s);
    T* y = reinterpret_cast<T*>(d);
    for (size_t p = 0; p < Parts; ++p) y[p] = (x[p] - sub[p]) * r;
  }
  void block(const E* s, E* d) const {
    const T* x = reinterpret_cast<const T*>(s);
    T* y = reinterpret_cast<T*>(d);
    constexpr size_t step = 16 / sizeof(T);
    vstore(y, vnormalize(vload(x), vsub, vr));
    vstore(y + step, vnormalize(vload(x + step), vsub, vr));
  }
};

template <class E, class T, size_t Parts>
KplStatus normalize_float(const E* pSrc, E* pDst, int len, const T* sub, T vDiv) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  constexpr U kMagnitude = ~U{0} >> 1;
  constexpr U kSmallest = static_cast<U>(sizeof(T) == 4 ? kSmallestNormal32f : kSmallestNormal64f);
  if ((std::bit_cast<U>(vDiv) & kMagnitude) < kSmallest) return kplStsDivByZero;
  map_elements(NormalizeFloatOp<E, T, Parts>(sub, vDiv), pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

// 16-bit forms: the integer difference, exact in single precision, times
// r * 2^-s (one constant: with |vDiv| >= 1 the product by a power of two is exact
// for any count the clamp to +-64 keeps, and beyond it nothing changes), rounded
// to nearest even, clamped and packed.
constexpr int kNormalizeScaleLimit = 64;

template <class E, size_t Parts>
struct Normalize16Op {
  static constexpr size_t kLanes = 8 / Parts;
  int32_t sub[2];
  float rf;
  __m128i vsub;
  __m128 vrf;

  Normalize16Op(const int16_t* sub_parts, int divisor, int s) {
    s = s > kNormalizeScaleLimit ? kNormalizeScaleLimit : (s < -kNormalizeScaleLimit ? -kNormalizeScaleLimit : s);
    const float factor = std::bit_cast<float>(static_cast<uint32_t>(127 - s) << 23);
    rf = (1.0f / static_cast<float>(divisor)) * factor;
    sub[0] = sub_parts[0], sub[1] = sub_parts[Parts - 1];
    vsub = _mm_setr_epi32(sub[0], sub[1], sub[0], sub[1]);
    vrf = _mm_set1_ps(rf);
  }
  // Four 32-bit differences to four saturated 32-bit results.
  __m128i lanes(__m128i diff) const {
    const __m128 y = _mm_round_ps(_mm_mul_ps(_mm_cvtepi32_ps(diff), vrf), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    return _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(y, _mm_set1_ps(-32768.0f)), _mm_set1_ps(32767.0f)));
  }
  void scalar(const E* s, E* d) const {
    const int16_t* x = reinterpret_cast<const int16_t*>(s);
    int16_t* y = reinterpret_cast<int16_t*>(d);
    for (size_t p = 0; p < Parts; ++p)
      y[p] = static_cast<int16_t>(_mm_cvtsi128_si32(lanes(_mm_cvtsi32_si128(int32_t{x[p]} - sub[p]))));
  }
  void block(const E* s, E* d) const {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i lo = lanes(_mm_sub_epi32(_mm_cvtepi16_epi32(v), vsub));
    const __m128i hi = lanes(_mm_sub_epi32(_mm_cvtepi16_epi32(_mm_unpackhi_epi64(v, v)), vsub));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packs_epi32(lo, hi));
  }
};

template <class E, size_t Parts>
KplStatus normalize_16s(const E* pSrc, E* pDst, int len, const int16_t* sub, int vDiv, int s) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (vDiv == 0) return kplStsDivByZero;
  map_elements(Normalize16Op<E, Parts>(sub, vDiv, s), pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsNormalize_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len, Kpl32f vSub, Kpl32f vDiv) {
  return normalize_float<Kpl32f, float, 1>(pSrc, pDst, len, &vSub, vDiv);
}
KplStatus KPL_IMPL(kplsNormalize_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len, Kpl64f vSub, Kpl64f vDiv) {
  return normalize_float<Kpl64f, double, 1>(pSrc, pDst, len, &vSub, vDiv);
}
KplStatus KPL_IMPL(kplsNormalize_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len, Kpl32fc vSub, Kpl32f vDiv) {
  const Kpl32f sub[2] = {vSub.re, vSub.im};
  return normalize_float<Kpl32fc, float, 2>(pSrc, pDst, len, sub, vDiv);
}
KplStatus KPL_IMPL(kplsNormalize_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len, Kpl64fc vSub, Kpl64f vDiv) {
  const Kpl64f sub[2] = {vSub.re, vSub.im};
  return normalize_float<Kpl64fc, double, 2>(pSrc, pDst, len, sub, vDiv);
}
KplStatus KPL_IMPL(kplsNormalize_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, int len, Kpl16s vSub, int vDiv, int sf) {
  return normalize_16s<Kpl16s, 1>(pSrc, pDst, len, &vSub, vDiv, sf);
}
KplStatus KPL_IMPL(kplsNormalize_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len, Kpl16sc vSub, int vDiv, int sf) {
  const Kpl16s sub[2] = {vSub.re, vSub.im};
  return normalize_16s<Kpl16sc, 2>(pSrc, pDst, len, sub, vDiv, sf);
}
