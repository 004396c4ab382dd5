// Flip in every type: the element order reversed. One kernel per element width
// (1, 2, 4, 8 or 16 bytes), whatever the type; the in-place form swaps from both
// ends towards the middle, and an odd middle element stays where it is.
#include <cstring>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

template <size_t W>
inline void copy_unit(Bytes<W>* d, const Bytes<W>* s) {
  std::memcpy(d, s, W);
}

// d[i] = s[n - 1 - i]. A block writes 32 bytes of d from the 32 bytes that end
// n - i elements into s, so every load stays inside the source.
template <size_t W>
void flip_units(const Bytes<W>* s, Bytes<W>* d, size_t n) {
  constexpr size_t kPerVector = 16 / W;
  for_blocks<2 * kPerVector>(
      d, n, [&](size_t i) { copy_unit(d + i, s + (n - 1 - i)); },
      [&](size_t i) {
        const Bytes<W>* end = s + (n - i);
        const __m128i lo = load_i(end - 2 * kPerVector), hi = load_i(end - kPerVector);
        store_i(d + i, reverse_elements<W>(hi));
        store_i(d + i + kPerVector, reverse_elements<W>(lo));
      });
}

// In place: the front half is walked by the driver, and each step swaps its
// elements with their mirrors in the back half. Both halves hold n / 2 elements,
// so a block never reaches the middle element of an odd length nor crosses the
// other half's block.
template <size_t W>
void flip_units_inplace(Bytes<W>* p, size_t n) {
  constexpr size_t kPerVector = 16 / W;
  for_blocks<kPerVector>(
      p, n / 2,
      [&](size_t i) {
        Bytes<W> front;
        copy_unit(&front, p + i);
        copy_unit(p + i, p + (n - 1 - i));
        copy_unit(p + (n - 1 - i), &front);
      },
      [&](size_t i) {
        Bytes<W>* back = p + (n - i - kPerVector);
        const __m128i f = load_i(p + i), b = load_i(back);
        store_i(p + i, reverse_elements<W>(b));
        store_i(back, reverse_elements<W>(f));
      });
}

template <class T>
KplStatus flip(const T* src, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  using U = Bytes<sizeof(T)>;
  flip_units(reinterpret_cast<const U*>(src), reinterpret_cast<U*>(dst), static_cast<size_t>(len));
  return kplStsOk;
}

template <class T>
KplStatus flip_inplace(T* src_dst, int len) {
  if (KplStatus st = check_vector_args(len, src_dst)) return st;
  flip_units_inplace(reinterpret_cast<Bytes<sizeof(T)>*>(src_dst), static_cast<size_t>(len));
  return kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsFlip_8u)(const Kpl8u* pSrc, Kpl8u* pDst, int len) { return flip(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsFlip_8u_I)(Kpl8u* pSrcDst, int len) { return flip_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsFlip_16u)(const Kpl16u* pSrc, Kpl16u* pDst, int len) { return flip(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsFlip_16u_I)(Kpl16u* pSrcDst, int len) { return flip_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsFlip_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return flip(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsFlip_32f_I)(Kpl32f* pSrcDst, int len) { return flip_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsFlip_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return flip(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsFlip_32fc_I)(Kpl32fc* pSrcDst, int len) { return flip_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsFlip_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return flip(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsFlip_64f_I)(Kpl64f* pSrcDst, int len) { return flip_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsFlip_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return flip(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsFlip_64fc_I)(Kpl64fc* pSrcDst, int len) { return flip_inplace(pSrcDst, len); }
