// Abs in every type. Floats clear the sign bit and nothing else, so a NaN keeps
// its payload and -0.0 becomes +0.0; integers saturate, so the most negative value
// gives the largest one (-32768 gives 32767). The in-place forms are the same
// kernel with the source as the destination.
#include <bit>
#include <cstdint>
#include <limits>

#include "frame/cache.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// Out-of-place vectors longer than this many 32-byte blocks of destination store
// around the cache (two streams: about 1 MiB of traffic), when the cache is
// small beside them.
constexpr size_t kStreamAbsBlocks = 16384;

template <class T>
struct AbsOf;

template <>
struct AbsOf<Kpl32f> {
  static Kpl32f scalar(Kpl32f x) { return std::bit_cast<Kpl32f>(std::bit_cast<uint32_t>(x) & 0x7FFFFFFFu); }
  static __m128i vec(__m128i v) { return _mm_and_si128(v, _mm_set1_epi32(0x7FFFFFFF)); }
};
template <>
struct AbsOf<Kpl64f> {
  static Kpl64f scalar(Kpl64f x) {
    return std::bit_cast<Kpl64f>(std::bit_cast<uint64_t>(x) & 0x7FFFFFFFFFFFFFFFull);
  }
  static __m128i vec(__m128i v) { return _mm_and_si128(v, _mm_set1_epi64x(0x7FFFFFFFFFFFFFFFll)); }
};
// The integer magnitude as an unsigned value fits, and the minimum clamps it to
// the positive range: only the most negative value changes.
template <>
struct AbsOf<Kpl16s> {
  static Kpl16s scalar(Kpl16s x) {
    const int v = x < 0 ? -int{x} : int{x};
    return static_cast<Kpl16s>(v > 32767 ? 32767 : v);
  }
  static __m128i vec(__m128i v) { return _mm_min_epu16(_mm_abs_epi16(v), _mm_set1_epi16(0x7FFF)); }
};
template <>
struct AbsOf<Kpl32s> {
  static Kpl32s scalar(Kpl32s x) {
    const int64_t v = x < 0 ? -int64_t{x} : int64_t{x};
    return static_cast<Kpl32s>(v > INT32_MAX ? INT32_MAX : v);
  }
  static __m128i vec(__m128i v) { return _mm_min_epu32(_mm_abs_epi32(v), _mm_set1_epi32(0x7FFFFFFF)); }
};

// Four vectors (64 bytes) per block, all loaded before any is stored, so s may be d.
template <class T, Store S>
struct AbsOp {
  static constexpr size_t kPerVector = 16 / sizeof(T);
  static constexpr size_t kLanes = 4 * kPerVector;
  void scalar(const T* s, T* d) const { *d = AbsOf<T>::scalar(*s); }
  void block(const T* s, T* d) const {
    __m128i v[4];
    for (size_t k = 0; k < 4; ++k) v[k] = AbsOf<T>::vec(load_i(s + k * kPerVector));
    for (size_t k = 0; k < 4; ++k) store_i<S>(d + k * kPerVector, v[k]);
  }
};

template <class T>
KplStatus abs_entry(const T* src, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  const auto n = static_cast<size_t>(len);
  const size_t bytes = n * sizeof(T);
  const bool stream = src != dst && bytes / 32 > kStreamAbsBlocks && worth_streaming(bytes);
  with_store_mode(stream, dst, n, [&](auto mode) { map_elements(AbsOp<T, mode()>{}, src, dst, n); });
  return kplStsOk;
}

template <class T>
KplStatus abs_in_place(T* src_dst, int len) {
  return abs_entry(static_cast<const T*>(src_dst), src_dst, len);
}

}  // namespace

KplStatus KPL_IMPL(kplsAbs_32f)(const Kpl32f* pSrc, Kpl32f* pDst, int len) { return abs_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsAbs_32f_I)(Kpl32f* pSrcDst, int len) { return abs_in_place(pSrcDst, len); }
KplStatus KPL_IMPL(kplsAbs_64f)(const Kpl64f* pSrc, Kpl64f* pDst, int len) { return abs_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsAbs_64f_I)(Kpl64f* pSrcDst, int len) { return abs_in_place(pSrcDst, len); }
KplStatus KPL_IMPL(kplsAbs_16s)(const Kpl16s* pSrc, Kpl16s* pDst, int len) { return abs_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsAbs_16s_I)(Kpl16s* pSrcDst, int len) { return abs_in_place(pSrcDst, len); }
KplStatus KPL_IMPL(kplsAbs_32s)(const Kpl32s* pSrc, Kpl32s* pDst, int len) { return abs_entry(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsAbs_32s_I)(Kpl32s* pSrcDst, int len) { return abs_in_place(pSrcDst, len); }
