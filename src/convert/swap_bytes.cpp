// SwapBytes in every width: the byte order of each element reversed. One kernel
// over the element width W (2, 3, 4 or 8 bytes); for 3-byte elements that swaps
// the first and third byte and keeps the middle one. The in-place forms are the
// same kernel with the source as destination: a block loads all it needs before
// it stores.
#include <cstring>
#include <utility>

#include "frame/cache.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// A block is a whole number of elements in whole vectors: 32 bytes, or 48 for
// 3-byte elements, whose elements straddle the vector boundaries.
template <size_t W>
constexpr size_t kVectors = W == 3 ? 3 : 2;

// from[k][m][j]: where byte j of output vector k sits in input vector m, or 0x80
// (a zero byte for pshufb) when it comes from another vector.
template <size_t W>
struct SwapPattern {
  uint8_t from[kVectors<W>][kVectors<W>][16];

  constexpr bool uses(size_t k, size_t m) const {
    if (m >= kVectors<W>) return false;
    for (uint8_t x : from[k][m])
      if (x != 0x80) return true;
    return false;
  }
};

template <size_t W>
constexpr SwapPattern<W> make_swap_pattern() {
  SwapPattern<W> p{};
  for (size_t k = 0; k < kVectors<W>; ++k)
    for (size_t j = 0; j < 16; ++j) {
      const size_t out = 16 * k + j;
      const size_t in = out / W * W + (W - 1 - out % W);
      for (size_t m = 0; m < kVectors<W>; ++m) p.from[k][m][j] = in / 16 == m ? static_cast<uint8_t>(in % 16) : 0x80;
    }
  return p;
}

template <size_t W>
constexpr SwapPattern<W> kSwap = make_swap_pattern<W>();

// The bytes of output vector K that input vector M supplies (M may be K - 1,
// which wraps for K = 0 and then supplies nothing).
template <size_t W, size_t K, size_t M>
inline __m128i gather(const __m128i* v) {
  if constexpr (!kSwap<W>.uses(K, M)) {
    return _mm_setzero_si128();
  } else {
    return _mm_shuffle_epi8(v[M], load_i(kSwap<W>.from[K][M]));
  }
}

template <size_t W, size_t K>
inline __m128i swapped_vector(const __m128i* v) {
  return _mm_or_si128(_mm_or_si128(gather<W, K, K - 1>(v), gather<W, K, K>(v)), gather<W, K, K + 1>(v));
}

template <size_t W>
inline void swap_unit(const Bytes<W>* s, Bytes<W>* d) {
  if constexpr (W == 2) {
    store_raw(d, __builtin_bswap16(load_raw<uint16_t>(s)));
  } else if constexpr (W == 4) {
    store_raw(d, __builtin_bswap32(load_raw<uint32_t>(s)));
  } else if constexpr (W == 8) {
    store_raw(d, __builtin_bswap64(load_raw<uint64_t>(s)));
  } else {
    Bytes<W> t;
    std::memcpy(&t, s, W);
    for (size_t k = 0; k < W; ++k) d->b[k] = t.b[W - 1 - k];
  }
}

template <size_t W, Store S = Store::kCached>
void swap_units(const Bytes<W>* s, Bytes<W>* d, size_t n) {
  constexpr size_t kV = kVectors<W>;
  for_blocks<16 * kV / W>(
      d, n, [&](size_t i) { swap_unit(s + i, d + i); },
      [&](size_t i) {
        const uint8_t* in = s[i].b;
        uint8_t* out = d[i].b;
        __m128i v[kV];
        for (size_t m = 0; m < kV; ++m) v[m] = load_i(in + 16 * m);
        [&]<size_t... K>(std::index_sequence<K...>) {
          (store_i<S>(out + 16 * K, swapped_vector<W, K>(v)), ...);
        }(std::make_index_sequence<kV>{});
      });
}

// Long out-of-place 24-bit swaps store around the cache; in place the lines have
// just been read, so they stay cached.
constexpr size_t kStreamSwap24Elements = 0x80000;

template <class T>
KplStatus swap_bytes(const T* src, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  constexpr size_t W = sizeof(T);
  const auto n = static_cast<size_t>(len);
  const bool stream = W == 3 && src != dst && n > kStreamSwap24Elements && worth_streaming(n * W);
  with_store_mode(stream, dst, n, [&](auto mode) { swap_units<W, mode()>(as_bytes<W>(src), as_bytes<W>(dst), n); });
  return kplStsOk;
}

template <class T>
KplStatus swap_bytes_inplace(T* src_dst, int len) {
  return swap_bytes(static_cast<const T*>(src_dst), src_dst, len);
}

}  // namespace

KplStatus KPL_IMPL(kplsSwapBytes_16u)(const Kpl16u* pSrc, Kpl16u* pDst, int len) { return swap_bytes(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_16u_I)(Kpl16u* pSrcDst, int len) { return swap_bytes_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_24u)(const Kpl24u* pSrc, Kpl24u* pDst, int len) { return swap_bytes(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_24u_I)(Kpl24u* pSrcDst, int len) { return swap_bytes_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_32u)(const Kpl32u* pSrc, Kpl32u* pDst, int len) { return swap_bytes(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_32u_I)(Kpl32u* pSrcDst, int len) { return swap_bytes_inplace(pSrcDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_64u)(const Kpl64u* pSrc, Kpl64u* pDst, int len) { return swap_bytes(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsSwapBytes_64u_I)(Kpl64u* pSrcDst, int len) { return swap_bytes_inplace(pSrcDst, len); }
