// The real FFT of the floating plans: N reals through an N/2-point complex
// transform and a recombination into Perm, then the layout moves to Pack or CCS;
// the inverses mirror it.
#include <cmath>
#include <cstring>

#include "fourier/fft_plan.hpp"
#include "fourier/packed_layout.hpp"

namespace kpl {
inline namespace q5 {
namespace {

enum class Layout { kPerm, kPack, kCcs };

// (cos, sin) of 2 pi k / N for the recombination, k = 1..N/4, from the plan's
// table, its two-level form, or the constant table of the small orders.
template <class T>
class RecTwiddles {
 public:
  RecTwiddles(const FftHead<T>* h, int order) : order_(order) {
    const bool dbl = sizeof(T) == 8;
    if (order < fft_real_first_rec_order(dbl)) {
      small_ = fft_small_sine<T>();
    } else {
      table_ = reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(h) + h->realRecTable);
      two_level_ = order >= (dbl ? 18 : 19);
    }
  }
  void at(size_t k, T& c, T& s) const {
    if (small_) {
      fft_quadrant(small_, 5, k << (5 - order_), c, s);
    } else if (!two_level_) {
      c = table_[2 * (k - 1)], s = table_[2 * (k - 1) + 1];
    } else {
      const size_t fine = sizeof(T) == 8 ? 512 : 1024;
      const T* f = table_ + 2 * (k % fine);
      const T* g = table_ + 2 * (fine + k / fine);
      // cos(a + b) and sin(a + b), formed in double so that one rounding remains.
      const double fc = f[0], fs = f[1], gc = g[0], gs = g[1];
      c = static_cast<T>(gc * fc - gs * fs);
      s = static_cast<T>(gs * fc + gc * fs);
    }
  }

 private:
  int order_;
  const T* small_ = nullptr;
  const T* table_ = nullptr;
  bool two_level_ = false;
};

// Z (M complex, in place) -> Perm of the N = 2M reals.
template <class T>
void recombine_forward(T* d, size_t m, const RecTwiddles<T>& tw) {
  const T a0 = d[0], b0 = d[1];
  d[0] = a0 + b0;
  d[1] = a0 - b0;
  for (size_t k = 1; k <= m / 2; ++k) {
    T c, s;
    tw.at(k, c, s);
    const T a = T(0.5) * c, b = T(0.5) - T(0.5) * s;
    T* pa = d + 2 * k;
    T* pb = d + 2 * (m - k);
    const T ar = pa[0], ai = pa[1], br = pb[0], bi = pb[1];
    const T t0 = ar - br, t1 = ai + bi;
    const T u = a * t1 + b * t0, w = b * t1 - a * t0;
    pb[0] = ar - u;
    pb[1] = w - ai;
    pa[0] = br + u;
    pa[1] = w - bi;
  }
}

// Perm of N reals (in place) -> Z, the M-point spectrum whose inverse gives the
// samples; unnormalised like the inverse transform itself.
template <class T>
void recombine_inverse(T* d, size_t m, const RecTwiddles<T>& tw) {
  const T r0 = d[0], rn = d[1];
  d[0] = r0 + rn;
  d[1] = r0 - rn;
  for (size_t k = 1; k <= m / 2; ++k) {
    T c, s;
    tw.at(k, c, s);
    T* pa = d + 2 * k;
    T* pb = d + 2 * (m - k);
    const T ar = pa[0], ai = pa[1], br = pb[0], bi = pb[1];
    const T t0 = ar - br, t1 = ai + bi;
    const T sr = ar + br, x = s * t0 + c * t1, y = c * t0 - s * t1;
    pa[0] = sr - x;
    pa[1] = (ai - bi) + y;
    pb[0] = sr + x;
    pb[1] = (bi - ai) + y;
  }
}

template <class T, Kpl32u Tag, Layout L, class Spec>
KplStatus forward(const T* src, T* dst, const Spec* spec, Kpl8u* buffer) {
  const auto* h = reinterpret_cast<const FftHead<T>*>(spec);
  if (!h) return kplStsNullPointer;
  if (h->idCtx != Tag) return kplStsBadContext;
  if (!src || !dst) return kplStsNullPointer;
  FftWork work(buffer, h->workSize);
  if (work.failed()) return kplStsNoMemory;
  const int order = h->order;
  const T* scale = h->doScaleFwd ? &h->normFactor : nullptr;
  const size_t n = size_t{1} << order;
  if (order <= 1) {
    T r0 = src[0], r1 = T(0);
    if (order == 1) r1 = src[0] - src[1], r0 = src[0] + src[1];
    if (scale) r0 *= *scale, r1 *= *scale;
    dst[0] = r0;
    if (L == Layout::kCcs) {
      dst[1] = T(0);
      if (order == 1) dst[2] = r1, dst[3] = T(0);
    } else if (order == 1) {
      dst[1] = r1;
    }
    return kplStsOk;
  }
  fft_run(fft_engine_of(h, order - 1), src, dst, work.get(), false, scale);
  recombine_forward(dst, n / 2, RecTwiddles<T>(h, order));
  if (L == Layout::kPack) perm_to_pack(dst, dst, static_cast<int>(n));
  if (L == Layout::kCcs) perm_to_ccs(dst, dst, static_cast<int>(n));
  return kplStsOk;
}

template <class T, Kpl32u Tag, Layout L, class Spec>
KplStatus inverse(const T* src, T* dst, const Spec* spec, Kpl8u* buffer) {
  const auto* h = reinterpret_cast<const FftHead<T>*>(spec);
  if (!h) return kplStsNullPointer;
  if (h->idCtx != Tag) return kplStsBadContext;
  if (!src || !dst) return kplStsNullPointer;
  FftWork work(buffer, h->workSize);
  if (work.failed()) return kplStsNoMemory;
  const int order = h->order;
  const T* scale = h->doScaleInv ? &h->normFactor : nullptr;
  const size_t n = size_t{1} << order;
  if (order <= 1) {
    // The Nyquist value sits at place 1 of Perm and Pack, at place 2 of CCS.
    const T r0 = src[0], r1 = order == 1 ? src[L == Layout::kCcs ? 2 : 1] : T(0);
    T x0 = order == 1 ? r0 + r1 : r0, x1 = r0 - r1;
    if (scale) x0 *= *scale, x1 *= *scale;
    dst[0] = x0;
    if (order == 1) dst[1] = x1;
    return kplStsOk;
  }
  if (L == Layout::kPerm && src != dst) std::memmove(dst, src, n * sizeof(T));
  if (L == Layout::kPack) pack_to_perm(src, dst, static_cast<int>(n));
  if (L == Layout::kCcs) ccs_to_perm(src, dst, static_cast<int>(n));
  recombine_inverse(dst, n / 2, RecTwiddles<T>(h, order));
  fft_run(fft_engine_of(h, order - 1), dst, dst, work.get(), true, scale);
  return kplStsOk;
}

constexpr Layout kPerm = Layout::kPerm;
constexpr Layout kPack = Layout::kPack;
constexpr Layout kCcs = Layout::kCcs;

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

// clang-format off
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_32f)(const Kpl32f* pSrc, Kpl32f* pDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return forward<float, kFftTagR32f, kPerm>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_32f_I)(Kpl32f* pSrcDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return forward<float, kFftTagR32f, kPerm>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_32f)(const Kpl32f* pSrc, Kpl32f* pDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return forward<float, kFftTagR32f, kPack>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_32f_I)(Kpl32f* pSrcDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return forward<float, kFftTagR32f, kPack>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_32f)(const Kpl32f* pSrc, Kpl32f* pDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return forward<float, kFftTagR32f, kCcs>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_32f_I)(Kpl32f* pSrcDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return forward<float, kFftTagR32f, kCcs>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_64f)(const Kpl64f* pSrc, Kpl64f* pDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return forward<double, kFftTagR64f, kPerm>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_64f_I)(Kpl64f* pSrcDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return forward<double, kFftTagR64f, kPerm>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_64f)(const Kpl64f* pSrc, Kpl64f* pDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return forward<double, kFftTagR64f, kPack>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_64f_I)(Kpl64f* pSrcDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return forward<double, kFftTagR64f, kPack>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_64f)(const Kpl64f* pSrc, Kpl64f* pDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return forward<double, kFftTagR64f, kCcs>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_64f_I)(Kpl64f* pSrcDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return forward<double, kFftTagR64f, kCcs>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_32f)(const Kpl32f* pSrc, Kpl32f* pDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return inverse<float, kFftTagR32f, kPerm>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_32f_I)(Kpl32f* pSrcDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return inverse<float, kFftTagR32f, kPerm>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_32f)(const Kpl32f* pSrc, Kpl32f* pDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return inverse<float, kFftTagR32f, kPack>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_32f_I)(Kpl32f* pSrcDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return inverse<float, kFftTagR32f, kPack>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_32f)(const Kpl32f* pSrc, Kpl32f* pDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return inverse<float, kFftTagR32f, kCcs>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_32f_I)(Kpl32f* pSrcDst, const KplsFFTSpec_R_32f* pSpec, Kpl8u* pBuffer) { return inverse<float, kFftTagR32f, kCcs>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_64f)(const Kpl64f* pSrc, Kpl64f* pDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return inverse<double, kFftTagR64f, kPerm>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_64f_I)(Kpl64f* pSrcDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return inverse<double, kFftTagR64f, kPerm>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_64f)(const Kpl64f* pSrc, Kpl64f* pDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return inverse<double, kFftTagR64f, kPack>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_64f_I)(Kpl64f* pSrcDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return inverse<double, kFftTagR64f, kPack>(pSrcDst, pSrcDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_64f)(const Kpl64f* pSrc, Kpl64f* pDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return inverse<double, kFftTagR64f, kCcs>(pSrc, pDst, pSpec, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_64f_I)(Kpl64f* pSrcDst, const KplsFFTSpec_R_64f* pSpec, Kpl8u* pBuffer) { return inverse<double, kFftTagR64f, kCcs>(pSrcDst, pSrcDst, pSpec, pBuffer); }
// clang-format on
