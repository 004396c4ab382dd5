// MinEvery and MaxEvery: the element-wise extreme of two vectors, 128 bits at a
// time. The first operand is pSrc (pSrc1) and the second pSrcDst (pSrc2); the
// result is first < second ? first : second (first > second for the maximum), the
// exact rule of the min and max instructions, so on a tie (-0.0 against +0.0) or a
// NaN in either operand the second operand is the result. The lengths are
// unsigned, but for the in-place 8-bit form: only 0 is refused there.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"
#include "stats/extreme_lanes.hpp"

using namespace kpl;

namespace {

// The instructions of each type, through its lanes: first < second ? first :
// second (>, for the maximum), in the scalar steps too.
struct MinOf {
  template <class T>
  static T scalar(T a, T b) {
    return ExtremeLanes<T>::min(a, b);
  }
  template <class L, class V>
  static V vec(V a, V b) {
    return L::vmin(a, b);
  }
};
struct MaxOf {
  template <class T>
  static T scalar(T a, T b) {
    return ExtremeLanes<T>::max(a, b);
  }
  template <class L, class V>
  static V vec(V a, V b) {
    return L::vmax(a, b);
  }
};

// Two vectors a block, both loaded before either is stored, so b may be d.
template <class Pick, class T>
struct EveryOp {
  static constexpr size_t kPerVector = 16 / sizeof(T);
  static constexpr size_t kLanes = 2 * kPerVector;
  void scalar(const T* a, const T* b, T* d) const { *d = Pick::scalar(*a, *b); }
  void block(const T* a, const T* b, T* d) const {
    using L = ExtremeLanes<T>;
    const auto r0 = Pick::template vec<L>(L::load(a), L::load(b));
    const auto r1 = Pick::template vec<L>(L::load(a + kPerVector), L::load(b + kPerVector));
    L::store(d, r0);
    L::store(d + kPerVector, r1);
  }
};

template <class Pick, class T>
KplStatus every(const T* src1, const T* src2, T* dst, Kpl32u len) {
  if (any_null(src1, src2, dst)) return kplStsNullPointer;
  if (len == 0) return kplStsBadSize;
  map_elements(EveryOp<Pick, T>{}, src1, src2, dst, size_t{len});
  return kplStsOk;
}
template <class Pick, class T>
KplStatus every_in_place(const T* src, T* src_dst, Kpl32u len) {
  return every<Pick>(src, static_cast<const T*>(src_dst), src_dst, len);
}
// The one signed length of the family.
template <class Pick>
KplStatus every_in_place_8u(const Kpl8u* src, Kpl8u* src_dst, int len) {
  if (KplStatus st = check_vector_args(len, src, src_dst)) return st;
  return every_in_place<Pick>(src, src_dst, static_cast<Kpl32u>(len));
}

}  // namespace

KplStatus KPL_IMPL(kplsMinEvery_8u_I)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len) { return every_in_place_8u<MinOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_16u_I)(const Kpl16u* pSrc, Kpl16u* pSrcDst, Kpl32u len) { return every_in_place<MinOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_16s_I)(const Kpl16s* pSrc, Kpl16s* pSrcDst, Kpl32u len) { return every_in_place<MinOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_32s_I)(const Kpl32s* pSrc, Kpl32s* pSrcDst, Kpl32u len) { return every_in_place<MinOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, Kpl32u len) { return every_in_place<MinOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, Kpl32u len) { return every_in_place<MinOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_8u)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, Kpl32u len) { return every<MinOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_16u)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, Kpl32u len) { return every<MinOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, Kpl32u len) { return every<MinOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMinEvery_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, Kpl32u len) { return every<MinOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_8u_I)(const Kpl8u* pSrc, Kpl8u* pSrcDst, int len) { return every_in_place_8u<MaxOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_16u_I)(const Kpl16u* pSrc, Kpl16u* pSrcDst, Kpl32u len) { return every_in_place<MaxOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_16s_I)(const Kpl16s* pSrc, Kpl16s* pSrcDst, Kpl32u len) { return every_in_place<MaxOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_32s_I)(const Kpl32s* pSrc, Kpl32s* pSrcDst, Kpl32u len) { return every_in_place<MaxOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, Kpl32u len) { return every_in_place<MaxOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, Kpl32u len) { return every_in_place<MaxOf>(pSrc, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_8u)(const Kpl8u* pSrc1, const Kpl8u* pSrc2, Kpl8u* pDst, Kpl32u len) { return every<MaxOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_16u)(const Kpl16u* pSrc1, const Kpl16u* pSrc2, Kpl16u* pDst, Kpl32u len) { return every<MaxOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, Kpl32u len) { return every<MaxOf>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMaxEvery_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, Kpl32u len) { return every<MaxOf>(pSrc1, pSrc2, pDst, len); }
