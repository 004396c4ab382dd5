// NormDiff in every type: the norms of Norm on the differences pSrc1[i] - pSrc2[i],
// taken in the source type for real floats, in double after widening for the
// single-precision complex forms, exactly for 16-bit data.
#include "frame/scale.hpp"
#include "stats/reduce_kernels.hpp"

using namespace kpl;

namespace {
using D16 = Differences<Kpl16s>;
}  // namespace

KplStatus KPL_IMPL(kplsNormDiff_Inf_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_inf_32f(Differences<Kpl32f>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_Inf_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_inf_64f(Differences<Kpl64f>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_Inf_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(max_abs(D16{pSrc1, pSrc2}, n)); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_Inf_32fc32f)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(norm_inf_complex(Differences<Kpl32fc>{pSrc1, pSrc2}, n)); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_Inf_64fc64f)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_inf_complex(Differences<Kpl64fc>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_32f(Differences<Kpl32f>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_64f(Differences<Kpl64f>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(sum_abs(D16{pSrc1, pSrc2}, n)); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_64fc64f)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_complex(Differences<Kpl64fc>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_32fc64f)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_complex(Differences<Kpl32fc>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_32f(Differences<Kpl32f>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_64f(Differences<Kpl64f>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(std::sqrt(static_cast<double>(sum_squares(D16{pSrc1, pSrc2}, n)))); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2_64fc64f)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_complex(Differences<Kpl64fc>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2_32fc64f)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_complex(Differences<Kpl32fc>{pSrc1, pSrc2}, n); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_Inf_16s32s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_exact<Kpl32s>(max_abs(D16{pSrc1, pSrc2}, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_16s32s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_l1_32s(sum_abs(D16{pSrc1, pSrc2}, n), n, scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2_16s32s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl32s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_l2_32s(sum_squares(D16{pSrc1, pSrc2}, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L1_16s64s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl64s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_exact<Kpl64s>(sum_abs(D16{pSrc1, pSrc2}, n), scaleFactor); }, pSrc1, pSrc2);
}
KplStatus KPL_IMPL(kplsNormDiff_L2Sqr_16s64s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, int len, Kpl64s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_l2sqr_64s(sum_squares(D16{pSrc1, pSrc2}, n), scaleFactor); }, pSrc1, pSrc2);
}
