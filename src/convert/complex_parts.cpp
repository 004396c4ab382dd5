// Complex packing: Real, Imag, CplxToReal, RealToCplx, Conj and ConjFlip. The
// kernels work on the width P of one part (2, 4 or 8 bytes) and move bits, never
// values: a float's NaN payload and signed zero come through unchanged. The one
// piece of arithmetic is Conj of 16-bit parts, which saturates (-32768 becomes
// 32767); the float forms flip the sign bit of the imaginary part.
#include <cstring>

#include "frame/cache.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/saturate.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// ---- Real, Imag, CplxToReal ----

// The real (or, with Imag, the imaginary) parts of the complex elements in a,
// then in b.
template <size_t P, bool Imag>
inline __m128i pick(__m128i a, __m128i b) {
  if constexpr (P == 2) {
    // Each element is one 32-bit lane; its part moved to the low 16 bits with the
    // high 16 bits clear packs back without saturating.
    if constexpr (!Imag) {
      const __m128i low = _mm_set1_epi32(0xFFFF);
      return _mm_packus_epi32(_mm_and_si128(a, low), _mm_and_si128(b, low));
    } else {
      return _mm_packus_epi32(_mm_srli_epi32(a, 16), _mm_srli_epi32(b, 16));
    }
  } else if constexpr (P == 4) {
    constexpr int kLanes = !Imag ? _MM_SHUFFLE(2, 0, 2, 0) : _MM_SHUFFLE(3, 1, 3, 1);
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), kLanes));
  } else {
    return !Imag ? _mm_unpacklo_epi64(a, b) : _mm_unpackhi_epi64(a, b);
  }
}

// The real parts of s into re and the imaginary parts into im; a null output (a
// compile-time choice) is skipped. A block writes 32 bytes to each output.
template <size_t P, bool Re, bool Im, Store S = Store::kCached>
void split(const Bytes<2 * P>* s, Bytes<P>* re, Bytes<P>* im, size_t n) {
  constexpr size_t kPerVector = 16 / P;  // parts in one output vector
  Bytes<P>* lead = Re ? re : im;
  for_blocks<2 * kPerVector>(
      lead, n,
      [&](size_t i) {
        if constexpr (Re) std::memcpy(re + i, s[i].b, P);
        if constexpr (Im) std::memcpy(im + i, s[i].b + P, P);
      },
      [&](size_t i) {
        const uint8_t* in = s[i].b;
        const __m128i a = load_i(in), b = load_i(in + 16), c = load_i(in + 32), e = load_i(in + 48);
        if constexpr (Re) store_i<S>(re + i, pick<P, false>(a, b)), store_i<S>(re + i + kPerVector, pick<P, false>(c, e));
        if constexpr (Im) store_i<S>(im + i, pick<P, true>(a, b)), store_i<S>(im + i + kPerVector, pick<P, true>(c, e));
      });
}

// ---- RealToCplx ----

template <size_t P>
inline __m128i interleave_lo(__m128i re, __m128i im) {
  if constexpr (P == 2) return _mm_unpacklo_epi16(re, im);
  if constexpr (P == 4) return _mm_unpacklo_epi32(re, im);
  if constexpr (P == 8) return _mm_unpacklo_epi64(re, im);
}
template <size_t P>
inline __m128i interleave_hi(__m128i re, __m128i im) {
  if constexpr (P == 2) return _mm_unpackhi_epi16(re, im);
  if constexpr (P == 4) return _mm_unpackhi_epi32(re, im);
  if constexpr (P == 8) return _mm_unpackhi_epi64(re, im);
}

// Complex elements from a real and an imaginary vector; a missing source (a
// compile-time choice) gives zero parts. A block writes 32 bytes.
template <size_t P, bool Re, bool Im, Store S = Store::kCached>
void merge(const Bytes<P>* re, const Bytes<P>* im, Bytes<2 * P>* d, size_t n) {
  constexpr size_t kPerVector = 16 / P;  // parts in one input vector
  for_blocks<kPerVector>(
      d, n,
      [&](size_t i) {
        Bytes<2 * P> c{};
        if constexpr (Re) std::memcpy(c.b, re + i, P);
        if constexpr (Im) std::memcpy(c.b + P, im + i, P);
        std::memcpy(d + i, &c, 2 * P);
      },
      [&](size_t i) {
        __m128i r = _mm_setzero_si128(), m = _mm_setzero_si128();
        if constexpr (Re) r = load_i(re + i);
        if constexpr (Im) m = load_i(im + i);
        store_i<S>(d + i, interleave_lo<P>(r, m));
        store_i<S>(d + i + kPerVector / 2, interleave_hi<P>(r, m));
      });
}

// ---- Conj, ConjFlip ----

template <size_t P>
struct ConjOp {
  static constexpr size_t kPerVector = 16 / (2 * P);  // complex elements in a vector
  static constexpr size_t kLanes = 2 * kPerVector;

  static void scalar(const Bytes<2 * P>* s, Bytes<2 * P>* d) {
    Bytes<2 * P> c;
    std::memcpy(&c, s, 2 * P);
    if constexpr (P == 2) {
      store_raw(c.b + 2, saturate<int16_t>(-static_cast<int32_t>(load_raw<int16_t>(c.b + 2))));
    } else {
      c.b[2 * P - 1] ^= 0x80;  // the sign bit of the imaginary part
    }
    std::memcpy(d, &c, 2 * P);
  }

  static __m128i vec(__m128i v) {
    if constexpr (P == 2) {
      return _mm_blend_epi16(v, _mm_subs_epi16(_mm_setzero_si128(), v), 0xAA);
    } else if constexpr (P == 4) {
      return _mm_xor_si128(v, _mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0));
    } else {
      return _mm_xor_si128(v, _mm_set_epi64x(INT64_MIN, 0));
    }
  }

  // Both vectors are loaded before either is stored, so s may be d.
  static void block(const Bytes<2 * P>* s, Bytes<2 * P>* d) {
    const __m128i a = load_i(s), b = load_i(s + kPerVector);
    store_i(d, vec(a));
    store_i(d + kPerVector, vec(b));
  }
};

// d[i] = conj(s[n - 1 - i]). A block writes 32 bytes of d from the 32 bytes that
// end n - i elements into s, so every load stays inside the source.
template <size_t P>
void conj_flip(const Bytes<2 * P>* s, Bytes<2 * P>* d, size_t n) {
  using Op = ConjOp<P>;
  constexpr size_t kPerVector = Op::kPerVector;
  for_blocks<Op::kLanes>(
      d, n, [&](size_t i) { Op::scalar(s + (n - 1 - i), d + i); },
      [&](size_t i) {
        const Bytes<2 * P>* end = s + (n - i);
        const __m128i lo = load_i(end - 2 * kPerVector), hi = load_i(end - kPerVector);
        store_i(d + i, Op::vec(reverse_elements<2 * P>(hi)));
        store_i(d + i + kPerVector, Op::vec(reverse_elements<2 * P>(lo)));
      });
}

// ---- Entries: checks, then the kernel for the part width ----

// Real and Imag of long 64-bit vectors store around the cache.
constexpr size_t kStreamRealElements = 0x2AAAA;

// One part of every element: the real one, or with Imag the imaginary one.
template <bool Imag, class C, class R>
KplStatus one_part(const C* src, R* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  constexpr size_t P = sizeof(R);
  const auto n = static_cast<size_t>(len);
  const bool stream = P == 8 && n > kStreamRealElements && worth_streaming(n * P);
  with_store_mode(stream, dst, n, [&](auto mode) {
    Bytes<P>* out = as_bytes<P>(dst);
    split<P, !Imag, Imag, mode()>(as_bytes<2 * P>(src), Imag ? nullptr : out, Imag ? out : nullptr, n);
  });
  return kplStsOk;
}

template <class C, class R>
KplStatus cplx_to_real(const C* src, R* dst_re, R* dst_im, int len) {
  if (KplStatus st = check_vector_args(len, src, dst_re, dst_im)) return st;
  constexpr size_t P = sizeof(R);
  split<P, true, true>(as_bytes<2 * P>(src), as_bytes<P>(dst_re), as_bytes<P>(dst_im), static_cast<size_t>(len));
  return kplStsOk;
}

// RealToCplx of long 64-bit vectors stores around the cache, counted in blocks
// of 32 bytes of destination.
constexpr size_t kStreamRealToCplxBlocks = 0x20000;

// One of the two sources may be null and gives zero parts; both null is a null
// pointer, tested with the destination before the length.
template <class R, class C>
KplStatus real_to_cplx(const R* src_re, const R* src_im, C* dst, int len) {
  if (!src_re && !src_im) return kplStsNullPointer;
  if (KplStatus st = check_vector_args(len, dst)) return st;
  constexpr size_t P = sizeof(R);
  const auto n = static_cast<size_t>(len);
  const bool stream = P == 8 && n * 2 * P / 32 > kStreamRealToCplxBlocks && worth_streaming(n * 2 * P);
  with_store_mode(stream, dst, n, [&](auto mode) {
    constexpr Store S = mode();
    if (!src_im) {
      merge<P, true, false, S>(as_bytes<P>(src_re), nullptr, as_bytes<2 * P>(dst), n);
    } else if (!src_re) {
      merge<P, false, true, S>(nullptr, as_bytes<P>(src_im), as_bytes<2 * P>(dst), n);
    } else {
      merge<P, true, true, S>(as_bytes<P>(src_re), as_bytes<P>(src_im), as_bytes<2 * P>(dst), n);
    }
  });
  return kplStsOk;
}

template <class C>
KplStatus conj(const C* src, C* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  constexpr size_t W = sizeof(C);
  map_elements(ConjOp<W / 2>{}, as_bytes<W>(src), as_bytes<W>(dst), static_cast<size_t>(len));
  return kplStsOk;
}

template <class C>
KplStatus conj_inplace(C* src_dst, int len) {
  return conj(static_cast<const C*>(src_dst), src_dst, len);
}

template <class C>
KplStatus conj_flip_entry(const C* src, C* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  constexpr size_t W = sizeof(C);
  conj_flip<W / 2>(as_bytes<W>(src), as_bytes<W>(dst), static_cast<size_t>(len));
  return kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsReal_16sc)(const Kpl16sc* pSrc, Kpl16s* pDst, int len) { return one_part<false>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsReal_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) { return one_part<false>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsReal_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) { return one_part<false>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsImag_16sc)(const Kpl16sc* pSrc, Kpl16s* pDst, int len) { return one_part<true>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsImag_32fc)(const Kpl32fc* pSrc, Kpl32f* pDst, int len) { return one_part<true>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsImag_64fc)(const Kpl64fc* pSrc, Kpl64f* pDst, int len) { return one_part<true>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsCplxToReal_16sc)(const Kpl16sc* pSrc, Kpl16s* pDstRe, Kpl16s* pDstIm, int len) {
  return cplx_to_real(pSrc, pDstRe, pDstIm, len);
}
KplStatus KPL_IMPL(kplsCplxToReal_32fc)(const Kpl32fc* pSrc, Kpl32f* pDstRe, Kpl32f* pDstIm, int len) {
  return cplx_to_real(pSrc, pDstRe, pDstIm, len);
}
KplStatus KPL_IMPL(kplsCplxToReal_64fc)(const Kpl64fc* pSrc, Kpl64f* pDstRe, Kpl64f* pDstIm, int len) {
  return cplx_to_real(pSrc, pDstRe, pDstIm, len);
}
KplStatus KPL_IMPL(kplsRealToCplx_16s)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16sc* pDst, int len) {
  return real_to_cplx(pSrcRe, pSrcIm, pDst, len);
}
KplStatus KPL_IMPL(kplsRealToCplx_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32fc* pDst, int len) {
  return real_to_cplx(pSrcRe, pSrcIm, pDst, len);
}
KplStatus KPL_IMPL(kplsRealToCplx_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64fc* pDst, int len) {
  return real_to_cplx(pSrcRe, pSrcIm, pDst, len);
}
KplStatus KPL_IMPL(kplsConj_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return conj(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConj_16sc_I)(Kpl16sc* pSrcDst, int len) { return conj_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConj_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return conj(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConj_32fc_I)(Kpl32fc* pSrcDst, int len) { return conj_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConj_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return conj(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConj_64fc_I)(Kpl64fc* pSrcDst, int len) { return conj_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjFlip_16sc)(const Kpl16sc* pSrc, Kpl16sc* pDst, int len) { return conj_flip_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjFlip_32fc)(const Kpl32fc* pSrc, Kpl32fc* pDst, int len) { return conj_flip_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjFlip_64fc)(const Kpl64fc* pSrc, Kpl64fc* pDst, int len) { return conj_flip_entry(pSrc, pDst, len); }
