// Norm in every type: the largest magnitude, the sum of magnitudes and the root
// of the sum of squares. Float sums run in the fixed order of reduce_kernels.hpp;
// 16-bit data is summed exactly, then each scaled form applies its own rule.
#include "frame/scale.hpp"
#include "stats/reduce_kernels.hpp"

using namespace kpl;

namespace {
using E16 = Elements<Kpl16s>;
}  // namespace

KplStatus KPL_IMPL(kplsNorm_Inf_32f)(const Kpl32f* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_inf_32f(Elements<Kpl32f>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_Inf_64f)(const Kpl64f* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_inf_64f(Elements<Kpl64f>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_Inf_16s32f)(const Kpl16s* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(max_abs(E16{pSrc}, n)); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_Inf_32fc32f)(const Kpl32fc* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(norm_inf_complex(Elements<Kpl32fc>{pSrc}, n)); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_Inf_64fc64f)(const Kpl64fc* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_inf_complex(Elements<Kpl64fc>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_32f)(const Kpl32f* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_32f(Elements<Kpl32f>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_64f)(const Kpl64f* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_64f(Elements<Kpl64f>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_16s32f)(const Kpl16s* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(sum_abs(E16{pSrc}, n)); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_64fc64f)(const Kpl64fc* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_complex(Elements<Kpl64fc>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_32fc64f)(const Kpl32fc* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l1_complex(Elements<Kpl32fc>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2_32f)(const Kpl32f* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_32f(Elements<Kpl32f>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2_64f)(const Kpl64f* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_64f(Elements<Kpl64f>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2_16s32f)(const Kpl16s* pSrc, int len, Kpl32f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return static_cast<Kpl32f>(std::sqrt(static_cast<double>(sum_squares(E16{pSrc}, n)))); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2_64fc64f)(const Kpl64fc* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_complex(Elements<Kpl64fc>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2_32fc64f)(const Kpl32fc* pSrc, int len, Kpl64f* pNorm) {
  return reduce_into(pNorm, len, [=](size_t n) { return norm_l2_complex(Elements<Kpl32fc>{pSrc}, n); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_Inf_16s32s_Sfs)(const Kpl16s* pSrc, int len, Kpl32s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_exact<Kpl32s>(max_abs(E16{pSrc}, n), scaleFactor); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_16s32s_Sfs)(const Kpl16s* pSrc, int len, Kpl32s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_l1_32s(sum_abs(E16{pSrc}, n), n, scaleFactor); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2_16s32s_Sfs)(const Kpl16s* pSrc, int len, Kpl32s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_l2_32s(sum_squares(E16{pSrc}, n), scaleFactor); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L1_16s64s_Sfs)(const Kpl16s* pSrc, int len, Kpl64s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_exact<Kpl64s>(sum_abs(E16{pSrc}, n), scaleFactor); }, pSrc);
}
KplStatus KPL_IMPL(kplsNorm_L2Sqr_16s64s_Sfs)(const Kpl16s* pSrc, int len, Kpl64s* pNorm, int scaleFactor) {
  return reduce_into(pNorm, len, [=](size_t n) { return scale_l2sqr_64s(sum_squares(E16{pSrc}, n), scaleFactor); }, pSrc);
}
