// The real FFT of the floating plans: N reals through an N/2-point complex
// transform and a recombination into Perm, then the layout moves to Pack or CCS;
// the inverses mirror it.
#include <emmintrin.h>

#include <cmath>
#include <cstring>
#include <type_traits>

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
  // Lanes consecutive k from k0 as cosines and sines in SIMD registers; false
  // where this table form has no vector fetch (the small orders).
  template <class R>
  bool block(size_t k0, R& c, R& s) const {
    if (small_) return false;
    if (!two_level_) {
      R::deinterleave(table_ + 2 * (k0 - 1), c, s);
      return true;
    }
    const size_t fine = sizeof(T) == 8 ? 512 : 1024;
    if (k0 % fine + R::lanes > fine) {  // the block straddles two coarse steps
      T cc[R::lanes], ss[R::lanes];
      for (size_t t = 0; t < R::lanes; ++t) at(k0 + t, cc[t], ss[t]);
      c = R::load(cc), s = R::load(ss);
      return true;
    }
    R fc, fs;
    R::deinterleave(table_ + 2 * (k0 % fine), fc, fs);
    const T* g = table_ + 2 * (fine + k0 / fine);
    R::angle_sum(fc, fs, g[0], g[1], c, s);
    return true;
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

// Real vectors of the recombination: `lanes` values of k, cosines and sines,
// loads of interleaved pairs at an ascending run (k, k+1, ..) or a descending
// one (m-k, m-k-1, ..) and the matching stores.
struct RecF4 {
  static constexpr size_t lanes = 4;
  __m128 v;
  static RecF4 load(const float* p) { return {_mm_loadu_ps(p)}; }
  static RecF4 set(float x) { return {_mm_set1_ps(x)}; }
  static void deinterleave(const float* p, RecF4& re, RecF4& im) {
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    re.v = _mm_shuffle_ps(a, b, 0x88), im.v = _mm_shuffle_ps(a, b, 0xDD);
  }
  // p points at the lowest pair of the run; lane t holds pair lanes - 1 - t.
  static void deinterleave_rev(const float* p, RecF4& re, RecF4& im) {
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    re.v = _mm_shuffle_ps(b, a, 0x22), im.v = _mm_shuffle_ps(b, a, 0x77);
  }
  static void interleave(float* p, RecF4 re, RecF4 im) {
    _mm_storeu_ps(p, _mm_unpacklo_ps(re.v, im.v));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(re.v, im.v));
  }
  static void interleave_rev(float* p, RecF4 re, RecF4 im) {
    const __m128 r = _mm_shuffle_ps(re.v, re.v, 0x1B), i = _mm_shuffle_ps(im.v, im.v, 0x1B);
    interleave(p, {r}, {i});
  }
  // cos(a + b), sin(a + b) in double from the fine pair (fc, fs) and the coarse
  // one (gc, gs), one rounding to float at the end, as the scalar path does.
  static void angle_sum(RecF4 fc, RecF4 fs, float gc, float gs, RecF4& c, RecF4& s) {
    const __m128d gcv = _mm_set1_pd(gc), gsv = _mm_set1_pd(gs);
    const __m128d cl = _mm_cvtps_pd(fc.v), ch = _mm_cvtps_pd(_mm_movehl_ps(fc.v, fc.v));
    const __m128d sl = _mm_cvtps_pd(fs.v), sh = _mm_cvtps_pd(_mm_movehl_ps(fs.v, fs.v));
    const __m128d c0 = _mm_sub_pd(_mm_mul_pd(gcv, cl), _mm_mul_pd(gsv, sl));
    const __m128d c1 = _mm_sub_pd(_mm_mul_pd(gcv, ch), _mm_mul_pd(gsv, sh));
    const __m128d s0 = _mm_add_pd(_mm_mul_pd(gsv, cl), _mm_mul_pd(gcv, sl));
    const __m128d s1 = _mm_add_pd(_mm_mul_pd(gsv, ch), _mm_mul_pd(gcv, sh));
    c.v = _mm_movelh_ps(_mm_cvtpd_ps(c0), _mm_cvtpd_ps(c1));
    s.v = _mm_movelh_ps(_mm_cvtpd_ps(s0), _mm_cvtpd_ps(s1));
  }
  friend RecF4 operator+(RecF4 a, RecF4 b) { return {_mm_add_ps(a.v, b.v)}; }
  friend RecF4 operator-(RecF4 a, RecF4 b) { return {_mm_sub_ps(a.v, b.v)}; }
  friend RecF4 operator*(RecF4 a, RecF4 b) { return {_mm_mul_ps(a.v, b.v)}; }
};

struct RecD2 {
  static constexpr size_t lanes = 2;
  __m128d v;
  static RecD2 load(const double* p) { return {_mm_loadu_pd(p)}; }
  static RecD2 set(double x) { return {_mm_set1_pd(x)}; }
  static void deinterleave(const double* p, RecD2& re, RecD2& im) {
    const __m128d a = _mm_loadu_pd(p), b = _mm_loadu_pd(p + 2);
    re.v = _mm_unpacklo_pd(a, b), im.v = _mm_unpackhi_pd(a, b);
  }
  static void deinterleave_rev(const double* p, RecD2& re, RecD2& im) {
    const __m128d a = _mm_loadu_pd(p), b = _mm_loadu_pd(p + 2);
    re.v = _mm_unpacklo_pd(b, a), im.v = _mm_unpackhi_pd(b, a);
  }
  static void interleave(double* p, RecD2 re, RecD2 im) {
    _mm_storeu_pd(p, _mm_unpacklo_pd(re.v, im.v));
    _mm_storeu_pd(p + 2, _mm_unpackhi_pd(re.v, im.v));
  }
  static void interleave_rev(double* p, RecD2 re, RecD2 im) {
    _mm_storeu_pd(p, _mm_unpackhi_pd(re.v, im.v));
    _mm_storeu_pd(p + 2, _mm_unpacklo_pd(re.v, im.v));
  }
  static void angle_sum(RecD2 fc, RecD2 fs, double gc, double gs, RecD2& c, RecD2& s) {
    const __m128d gcv = _mm_set1_pd(gc), gsv = _mm_set1_pd(gs);
    c.v = _mm_sub_pd(_mm_mul_pd(gcv, fc.v), _mm_mul_pd(gsv, fs.v));
    s.v = _mm_add_pd(_mm_mul_pd(gsv, fc.v), _mm_mul_pd(gcv, fs.v));
  }
  friend RecD2 operator+(RecD2 a, RecD2 b) { return {_mm_add_pd(a.v, b.v)}; }
  friend RecD2 operator-(RecD2 a, RecD2 b) { return {_mm_sub_pd(a.v, b.v)}; }
  friend RecD2 operator*(RecD2 a, RecD2 b) { return {_mm_mul_pd(a.v, b.v)}; }
};

template <class T>
using RecVec = std::conditional_t<sizeof(T) == 4, RecF4, RecD2>;

// The pair (k, m - k) of either recombination, on scalars or on vectors of
// `lanes` ascending k against as many descending m - k. Both forms run the same
// operations in the same order, so a value does not depend on which form
// computed it.
template <class R>
inline void rec_forward_pair(R c, R s, R ar, R ai, R br, R bi, R& pa_r, R& pa_i, R& pb_r, R& pb_i, R half) {
  const R a = half * c, b = half - half * s;
  const R t0 = ar - br, t1 = ai + bi;
  const R u = a * t1 + b * t0, w = b * t1 - a * t0;
  pb_r = ar - u, pb_i = w - ai, pa_r = br + u, pa_i = w - bi;
}
template <class R>
inline void rec_inverse_pair(R c, R s, R ar, R ai, R br, R bi, R& pa_r, R& pa_i, R& pb_r, R& pb_i) {
  const R t0 = ar - br, t1 = ai + bi;
  const R sr = ar + br, x = s * t0 + c * t1, y = c * t0 - s * t1;
  pa_r = sr - x, pa_i = (ai - bi) + y, pb_r = sr + x, pb_i = (bi - ai) + y;
}

// Both recombinations: vector blocks of k from 1 while the ascending block
// stays below the descending one, then the scalar pairs up to k = m/2 (which
// pairs with itself).
template <bool Fwd, class T>
void recombine(T* d, size_t m, const RecTwiddles<T>& tw) {
  using R = RecVec<T>;
  constexpr size_t lanes = R::lanes;
  size_t k = 1;
  R c, s;
  for (; 2 * (k + lanes - 1) < m && tw.block(k, c, s); k += lanes) {
    T* pa = d + 2 * k;
    T* pb = d + 2 * (m - k - (lanes - 1));
    R ar, ai, br, bi, oar, oai, obr, obi;
    R::deinterleave(pa, ar, ai);
    R::deinterleave_rev(pb, br, bi);
    if constexpr (Fwd) rec_forward_pair(c, s, ar, ai, br, bi, oar, oai, obr, obi, R::set(T(0.5)));
    else rec_inverse_pair(c, s, ar, ai, br, bi, oar, oai, obr, obi);
    R::interleave(pa, oar, oai);
    R::interleave_rev(pb, obr, obi);
  }
  for (; k <= m / 2; ++k) {
    T cs, sn;
    tw.at(k, cs, sn);
    T* pa = d + 2 * k;
    T* pb = d + 2 * (m - k);
    T oar, oai, obr, obi;
    if constexpr (Fwd) rec_forward_pair<T>(cs, sn, pa[0], pa[1], pb[0], pb[1], oar, oai, obr, obi, T(0.5));
    else rec_inverse_pair<T>(cs, sn, pa[0], pa[1], pb[0], pb[1], oar, oai, obr, obi);
    pb[0] = obr, pb[1] = obi, pa[0] = oar, pa[1] = oai;
  }
}

// Z (M complex, in place) -> Perm of the N = 2M reals.
template <class T>
void recombine_forward(T* d, size_t m, const RecTwiddles<T>& tw) {
  const T a0 = d[0], b0 = d[1];
  d[0] = a0 + b0;
  d[1] = a0 - b0;
  recombine<true>(d, m, tw);
}

// Perm of N reals (in place) -> Z, the M-point spectrum whose inverse gives the
// samples; unnormalised like the inverse transform itself.
template <class T>
void recombine_inverse(T* d, size_t m, const RecTwiddles<T>& tw) {
  const T r0 = d[0], rn = d[1];
  d[0] = r0 + rn;
  d[1] = r0 - rn;
  recombine<false>(d, m, tw);
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
