// The complex FFT of the floating plans: forward and inverse, interleaved and
// split, in place and out of place.
#include "fourier/fft_kernels.hpp"
#include "fourier/fft_plan.hpp"

namespace kpl {
inline namespace q5 {

void fft_run_32fc(const FftEngine<float>& e, const float* src, float* dst, Kpl8u* work, bool inverse,
                  const float* scale) {
  const fft::Inter<const float> s{src};
  const fft::Inter<float> d{dst};
  float* w = reinterpret_cast<float*>(work);
  if (inverse) fft::transform<true, float>(e, s, d, w, scale);
  else fft::transform<false, float>(e, s, d, w, scale);
}
void fft_run_64fc(const FftEngine<double>& e, const double* src, double* dst, Kpl8u* work, bool inverse,
                  const double* scale) {
  const fft::Inter<const double> s{src};
  const fft::Inter<double> d{dst};
  double* w = reinterpret_cast<double*>(work);
  if (inverse) fft::transform<true, double>(e, s, d, w, scale);
  else fft::transform<false, double>(e, s, d, w, scale);
}
void fft_run_32f(const FftEngine<float>& e, const float* sre, const float* sim, float* dre, float* dim, Kpl8u* work,
                 bool inverse, const float* scale) {
  const fft::Split<const float> s{sre, sim};
  const fft::Split<float> d{dre, dim};
  float* w = reinterpret_cast<float*>(work);
  if (inverse) fft::transform<true, float>(e, s, d, w, scale);
  else fft::transform<false, float>(e, s, d, w, scale);
}
void fft_run_64f(const FftEngine<double>& e, const double* sre, const double* sim, double* dre, double* dim,
                 Kpl8u* work, bool inverse, const double* scale) {
  const fft::Split<const double> s{sre, sim};
  const fft::Split<double> d{dre, dim};
  double* w = reinterpret_cast<double*>(work);
  if (inverse) fft::transform<true, double>(e, s, d, w, scale);
  else fft::transform<false, double>(e, s, d, w, scale);
}

namespace {

// Checks in their order: the plan, its tag, then the data pointers; then the
// work buffer, allocated for the call when the caller gave none.
template <class T, Kpl32u Tag, class Spec, class C>
KplStatus interleaved(const C* src, C* dst, const Spec* spec, Kpl8u* buffer, bool inverse) {
  const auto* h = reinterpret_cast<const FftHead<T>*>(spec);
  if (!h) return kplStsNullPointer;
  if (h->idCtx != Tag) return kplStsBadContext;
  if (!src || !dst) return kplStsNullPointer;
  FftWork work(buffer, h->workSize);
  if (work.failed()) return kplStsNoMemory;
  const bool scaled = inverse ? h->doScaleInv : h->doScaleFwd;
  fft_run(fft_engine_of(h, h->order), reinterpret_cast<const T*>(src), reinterpret_cast<T*>(dst), work.get(), inverse,
          scaled ? &h->normFactor : nullptr);
  return kplStsOk;
}

template <class T, Kpl32u Tag, class Spec>
KplStatus split(const T* sre, const T* sim, T* dre, T* dim, const Spec* spec, Kpl8u* buffer, bool inverse) {
  const auto* h = reinterpret_cast<const FftHead<T>*>(spec);
  if (!h) return kplStsNullPointer;
  if (h->idCtx != Tag) return kplStsBadContext;
  if (!sre || !sim || !dre || !dim) return kplStsNullPointer;
  FftWork work(buffer, h->workSize);
  if (work.failed()) return kplStsNoMemory;
  const bool scaled = inverse ? h->doScaleInv : h->doScaleFwd;
  const T* scale = scaled ? &h->normFactor : nullptr;
  if constexpr (sizeof(T) == 4) fft_run_32f(fft_engine_of(h, h->order), sre, sim, dre, dim, work.get(), inverse, scale);
  else fft_run_64f(fft_engine_of(h, h->order), sre, sim, dre, dim, work.get(), inverse, scale);
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

// clang-format off
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, const KplsFFTSpec_C_32fc* pSpec, Kpl8u* pBuffer) { return interleaved<float, kFftTagC32fc>(pSrc, pDst, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32fc_I)(Kpl32fc* pSrcDst, const KplsFFTSpec_C_32fc* pSpec, Kpl8u* pBuffer) { return interleaved<float, kFftTagC32fc>(pSrcDst, pSrcDst, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, const KplsFFTSpec_C_64fc* pSpec, Kpl8u* pBuffer) { return interleaved<double, kFftTagC64fc>(pSrc, pDst, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_64fc_I)(Kpl64fc* pSrcDst, const KplsFFTSpec_C_64fc* pSpec, Kpl8u* pBuffer) { return interleaved<double, kFftTagC64fc>(pSrcDst, pSrcDst, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32f* pDstRe, Kpl32f* pDstIm, const KplsFFTSpec_C_32f* pSpec, Kpl8u* pBuffer) { return split<float, kFftTagC32f>(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32f_I)(Kpl32f* pSrcDstRe, Kpl32f* pSrcDstIm, const KplsFFTSpec_C_32f* pSpec, Kpl8u* pBuffer) { return split<float, kFftTagC32f>(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64f* pDstRe, Kpl64f* pDstIm, const KplsFFTSpec_C_64f* pSpec, Kpl8u* pBuffer) { return split<double, kFftTagC64f>(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_64f_I)(Kpl64f* pSrcDstRe, Kpl64f* pSrcDstIm, const KplsFFTSpec_C_64f* pSpec, Kpl8u* pBuffer) { return split<double, kFftTagC64f>(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, const KplsFFTSpec_C_32fc* pSpec, Kpl8u* pBuffer) { return interleaved<float, kFftTagC32fc>(pSrc, pDst, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_32fc_I)(Kpl32fc* pSrcDst, const KplsFFTSpec_C_32fc* pSpec, Kpl8u* pBuffer) { return interleaved<float, kFftTagC32fc>(pSrcDst, pSrcDst, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, const KplsFFTSpec_C_64fc* pSpec, Kpl8u* pBuffer) { return interleaved<double, kFftTagC64fc>(pSrc, pDst, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_64fc_I)(Kpl64fc* pSrcDst, const KplsFFTSpec_C_64fc* pSpec, Kpl8u* pBuffer) { return interleaved<double, kFftTagC64fc>(pSrcDst, pSrcDst, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32f* pDstRe, Kpl32f* pDstIm, const KplsFFTSpec_C_32f* pSpec, Kpl8u* pBuffer) { return split<float, kFftTagC32f>(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_32f_I)(Kpl32f* pSrcDstRe, Kpl32f* pSrcDstIm, const KplsFFTSpec_C_32f* pSpec, Kpl8u* pBuffer) { return split<float, kFftTagC32f>(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64f* pDstRe, Kpl64f* pDstIm, const KplsFFTSpec_C_64f* pSpec, Kpl8u* pBuffer) { return split<double, kFftTagC64f>(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_64f_I)(Kpl64f* pSrcDstRe, Kpl64f* pSrcDstIm, const KplsFFTSpec_C_64f* pSpec, Kpl8u* pBuffer) { return split<double, kFftTagC64f>(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, pBuffer, true); }
// clang-format on
