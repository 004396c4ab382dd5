// Sub in every type and form: pDst = pSrc2 - pSrc1, the first source subtracted,
// and in place pSrcDst = pSrcDst - pSrc. The operation and its kernels are shared
// with Add and live in add.cpp, which instantiates these templates for SubOp.
#include "frame/entry.hpp"

namespace kpl {
inline namespace q5 {

struct SubOp;
template <class Op, class T>
KplStatus float_vectors(const T* a, const T* b, T* d, int len);
template <class Op, class C>
KplStatus float_complex(const C* a, const C* b, C* d, int len);
template <class Op>
KplStatus sum_to_float(const Kpl16s* a, const Kpl16s* b, Kpl32f* d, int len);
template <class Op, class T>
KplStatus scaled_vectors(const T* a, const T* b, T* d, int len, int s);
template <class Op, class C>
KplStatus scaled_complex(const C* a, const C* b, C* d, int len, int s);

}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsSub_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, int len) { return float_vectors<SubOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsSub_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len) { return float_vectors<SubOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSub_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, int len) { return float_vectors<SubOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsSub_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len) { return float_vectors<SubOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSub_32fc)(const Kpl32fc* pSrc1, const Kpl32fc* pSrc2, Kpl32fc* pDst, int len) { return float_complex<SubOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsSub_32fc_I)(const Kpl32fc* pSrc, Kpl32fc* pSrcDst, int len) { return float_complex<SubOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSub_64fc)(const Kpl64fc* pSrc1, const Kpl64fc* pSrc2, Kpl64fc* pDst, int len) { return float_complex<SubOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsSub_64fc_I)(const Kpl64fc* pSrc, Kpl64fc* pSrcDst, int len) { return float_complex<SubOp>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsSub_16s32f)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl32f* pDst, int len) { return sum_to_float<SubOp>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsSub_8u_Sfs)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_8u_ISfs)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16sc_Sfs)(const Kpl16sc* pSrc1, const Kpl16sc* pSrc2, Kpl16sc* pDst, int len, int scaleFactor) { return scaled_complex<SubOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16sc_ISfs)(const Kpl16sc* pSrc, Kpl16sc* pSrcDst, int len, int scaleFactor) { return scaled_complex<SubOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16u_Sfs)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16u_ISfs)(const Kpl16u* pSrc, Kpl16u* pSrcDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_32s_Sfs)(const Kpl32s* pSrc1, const Kpl32s* pSrc2, Kpl32s* pDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_32s_ISfs)(const Kpl32s* pSrc, Kpl32s* pSrcDst, int len, int scaleFactor) { return scaled_vectors<SubOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_32sc_Sfs)(const Kpl32sc* pSrc1, const Kpl32sc* pSrc2, Kpl32sc* pDst, int len, int scaleFactor) { return scaled_complex<SubOp>(pSrc1, pSrc2, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_32sc_ISfs)(const Kpl32sc* pSrc, Kpl32sc* pSrcDst, int len, int scaleFactor) { return scaled_complex<SubOp>(pSrc, pSrcDst, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsSub_16s)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len) { return KPL_IMPL(kplsSub_16s_Sfs)(pSrc1, pSrc2, pDst, len, 0); }
KplStatus KPL_IMPL(kplsSub_16s_I)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len) { return KPL_IMPL(kplsSub_16s_ISfs)(pSrc, pSrcDst, len, 0); }
