// Sqr on floats: x * x. A complex element a squares as re = a.re * a.re - a.im *
// a.im, then t = a.re * a.im and im = t + t, in that order, at the element's own
// precision. The in-place forms are the same kernel with the source as the
// destination.
#include <cstdint>

#include "frame/cache.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// Out-of-place vectors longer than this many 32-byte blocks of destination store
// around the cache (two streams: about 1 MiB of traffic), when the cache is
// small beside them.
constexpr size_t kStreamSqrBlocks = 16384;

// One element, and two 128-bit vectors of elements, squared.
template <class T>
struct SquareOf;

template <>
struct SquareOf<Kpl32f> {
  static Kpl32f scalar(Kpl32f x) { return x * x; }
  static void pair(__m128i* v) {
    for (int k = 0; k < 2; ++k) {
      const __m128 x = _mm_castsi128_ps(v[k]);
      v[k] = _mm_castps_si128(_mm_mul_ps(x, x));
    }
  }
};
template <>
struct SquareOf<Kpl64f> {
  static Kpl64f scalar(Kpl64f x) { return x * x; }
  static void pair(__m128i* v) {
    for (int k = 0; k < 2; ++k) {
      const __m128d x = _mm_castsi128_pd(v[k]);
      v[k] = _mm_castpd_si128(_mm_mul_pd(x, x));
    }
  }
};

// Complex: the real and imaginary parts of two vectors are split apart, squared
// with the same operations as one element, and joined again.
template <class C, class R = decltype(C::re)>
inline C complex_square(C a) {
  const R re = a.re * a.re - a.im * a.im;
  const R t = a.re * a.im;
  return {re, t + t};
}
template <>
struct SquareOf<Kpl32fc> {
  static Kpl32fc scalar(Kpl32fc a) { return complex_square(a); }
  static void pair(__m128i* v) {
    const __m128 a = _mm_castsi128_ps(v[0]), b = _mm_castsi128_ps(v[1]);
    const __m128 re = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), im = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
    const __m128 r = _mm_sub_ps(_mm_mul_ps(re, re), _mm_mul_ps(im, im));
    const __m128 t = _mm_mul_ps(re, im);
    const __m128 i = _mm_add_ps(t, t);
    v[0] = _mm_castps_si128(_mm_unpacklo_ps(r, i)), v[1] = _mm_castps_si128(_mm_unpackhi_ps(r, i));
  }
};
template <>
struct SquareOf<Kpl64fc> {
  static Kpl64fc scalar(Kpl64fc a) { return complex_square(a); }
  static void pair(__m128i* v) {
    const __m128d a = _mm_castsi128_pd(v[0]), b = _mm_castsi128_pd(v[1]);
    const __m128d re = _mm_unpacklo_pd(a, b), im = _mm_unpackhi_pd(a, b);
    const __m128d r = _mm_sub_pd(_mm_mul_pd(re, re), _mm_mul_pd(im, im));
    const __m128d t = _mm_mul_pd(re, im);
    const __m128d i = _mm_add_pd(t, t);
    v[0] = _mm_castpd_si128(_mm_unpacklo_pd(r, i)), v[1] = _mm_castpd_si128(_mm_unpackhi_pd(r, i));
  }
};

// Four vectors (64 bytes) per block, all loaded before any is stored, so s may be d.
template <class T, Store S>
struct SqrOp {
  static constexpr size_t kPerVector = 16 / sizeof(T);
  static constexpr size_t kLanes = 4 * kPerVector;
  void scalar(const T* s, T* d) const { *d = SquareOf<T>::scalar(*s); }
  void block(const T* s, T* d) const {
    __m128i v[4];
    for (size_t k = 0; k < 4; ++k) v[k] = load_i(s + k * kPerVector);
    SquareOf<T>::pair(v), SquareOf<T>::pair(v + 2);
    for (size_t k = 0; k < 4; ++k) store_i<S>(d + k * kPerVector, v[k]);
  }
};

template <class T>
KplStatus sqr_entry(const T* src, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  const auto n = static_cast<size_t>(len);
  const size_t bytes = n * sizeof(T);
  const bool stream = src != dst && bytes / 32 > kStreamSqrBlocks && worth_streaming(bytes);
  with_store_mode(stream, dst, n, [&](auto mode) { map_elements(SqrOp<T, mode()>{}, src, dst, n); });
  return kplStsOk;
}

template <class T>
KplStatus sqr_in_place(T* src_dst, int len) {
  return sqr_entry(static_cast<const T*>(src_dst), src_dst, len);
}

}  // namespace

KplStatus KPL_IMPL(kplsSqr_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return sqr_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSqr_32f_I)(Kpl32f* pSrcDst, int len) { return sqr_in_place(pSrcDst, len); }
KplStatus KPL_IMPL(kplsSqr_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return sqr_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSqr_64f_I)(Kpl64f* pSrcDst, int len) { return sqr_in_place(pSrcDst, len); }
KplStatus KPL_IMPL(kplsSqr_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return sqr_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSqr_32fc_I)(Kpl32fc* pSrcDst, int len) { return sqr_in_place(pSrcDst, len); }
KplStatus KPL_IMPL(kplsSqr_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return sqr_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSqr_64fc_I)(Kpl64fc* pSrcDst, int len) { return sqr_in_place(pSrcDst, len); }
