// Byte kernels for Copy, Move, Set and Zero.
//
// Small counts take a fixed chain of overlapping stores with no loop. Larger ones
// load the first and the last 16 bytes up front, run an aligned body on the
// destination's 16-byte boundaries and store the two ends last: the ends cover the
// ragged edges, and because every load of an end happens before any store, the
// same code is a correct forward move.
#include "convert/move_kernels.hpp"

#include <cstring>

#include "frame/cache.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

constexpr size_t kStreamCopyBytes = 0x100000;  // Copy streams from 1 MiB on...
constexpr size_t kStreamBlockBytes = 0x40000;  // ...in blocks of 256 KiB, touched first

// n < 64 bytes. All loads come before the stores, so the vectors may overlap.
inline void copy_small(const uint8_t* s, uint8_t* d, size_t n) {
  if (n >= 32) {
    const __m128i a = load_i(s), b = load_i(s + 16), c = load_i(s + n - 32), e = load_i(s + n - 16);
    store_i(d, a), store_i(d + 16, b), store_i(d + n - 32, c), store_i(d + n - 16, e);
  } else if (n >= 16) {
    const __m128i a = load_i(s), b = load_i(s + n - 16);
    store_i(d, a), store_i(d + n - 16, b);
  } else if (n >= 8) {
    const auto a = load_raw<uint64_t>(s), b = load_raw<uint64_t>(s + n - 8);
    store_raw(d, a), store_raw(d + n - 8, b);
  } else if (n >= 4) {
    const auto a = load_raw<uint32_t>(s), b = load_raw<uint32_t>(s + n - 4);
    store_raw(d, a), store_raw(d + n - 4, b);
  } else if (n >= 2) {
    const auto a = load_raw<uint16_t>(s), b = load_raw<uint16_t>(s + n - 2);
    store_raw(d, a), store_raw(d + n - 2, b);
  } else if (n == 1) {
    *d = *s;
  }
}

// Whole 16-byte vectors from s to an aligned d, front to back. Each group of
// four is loaded before it is stored, so d below s may overlap.
template <bool Stream>
inline void copy_forward_body(const uint8_t* s, uint8_t* d, size_t n) {
  size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m128i a = load_i(s + i), b = load_i(s + i + 16), c = load_i(s + i + 32), e = load_i(s + i + 48);
    auto* q = reinterpret_cast<__m128i*>(d + i);
    if constexpr (Stream) {
      _mm_stream_si128(q, a), _mm_stream_si128(q + 1, b), _mm_stream_si128(q + 2, c), _mm_stream_si128(q + 3, e);
    } else {
      _mm_store_si128(q, a), _mm_store_si128(q + 1, b), _mm_store_si128(q + 2, c), _mm_store_si128(q + 3, e);
    }
  }
  for (; i + 16 <= n; i += 16) {
    auto* q = reinterpret_cast<__m128i*>(d + i);
    if constexpr (Stream) {
      _mm_stream_si128(q, load_i(s + i));
    } else {
      _mm_store_si128(q, load_i(s + i));
    }
  }
}

// The same, back to front: for d above s.
inline void copy_backward_body(const uint8_t* s, uint8_t* d, size_t n) {
  size_t i = n;
  for (; i >= 64; i -= 64) {
    const __m128i a = load_i(s + i - 16), b = load_i(s + i - 32), c = load_i(s + i - 48), e = load_i(s + i - 64);
    auto* q = reinterpret_cast<__m128i*>(d + i);
    _mm_store_si128(q - 1, a), _mm_store_si128(q - 2, b), _mm_store_si128(q - 3, c), _mm_store_si128(q - 4, e);
  }
  for (; i >= 16; i -= 16) _mm_store_si128(reinterpret_cast<__m128i*>(d + i) - 1, load_i(s + i - 16));
}

// The streaming body: each 256 KiB block of the source is touched first, so its
// lines are on their way while the previous stores drain, then moved with stores
// that bypass the cache. A fence ends it.
inline void copy_streaming_body(const uint8_t* s, uint8_t* d, size_t n) {
  for (size_t done = 0; done < n;) {
    const size_t block = n - done < kStreamBlockBytes ? n - done : kStreamBlockBytes;
    for (size_t k = 0; k < block; k += 64) _mm_prefetch(reinterpret_cast<const char*>(s + done + k), _MM_HINT_NTA);
    copy_forward_body<true>(s + done, d + done, block);
    done += block;
  }
  _mm_sfence();
}

enum class Direction { kForward, kBackward };

template <Direction Dir>
void copy_large(const uint8_t* s, uint8_t* d, size_t n, bool stream) {
  const __m128i head = load_i(s), tail = load_i(s + n - 16);
  const size_t skip = -reinterpret_cast<uintptr_t>(d) & 15;
  const size_t body = (n - skip) & ~size_t{15};
  if constexpr (Dir == Direction::kForward) {
    if (stream) {
      copy_streaming_body(s + skip, d + skip, body);
    } else {
      copy_forward_body<false>(s + skip, d + skip, body);
    }
  } else {
    copy_backward_body(s + skip, d + skip, body);
  }
  store_i(d, head);
  store_i(d + n - 16, tail);
}

}  // namespace

void copy_bytes(const uint8_t* s, uint8_t* d, size_t n) {
  if (n < 64) return copy_small(s, d, n);
  copy_large<Direction::kForward>(s, d, n, n >= kStreamCopyBytes && worth_streaming(n));
}

void move_bytes(const uint8_t* s, uint8_t* d, size_t n) {
  if (s == d) return;
  if (n < 64) return copy_small(s, d, n);
  if (d < s) {
    copy_large<Direction::kForward>(s, d, n, false);
  } else {
    copy_large<Direction::kBackward>(s, d, n, false);
  }
}

// Fill. A 16-byte register holds the element repeated; since every width
// divides 16, a store at any offset that is a multiple of the width needs it
// as it is, and the aligned body needs it rotated by the body's offset.
namespace {

// Elements from which the fill streams, per width: 512 KiB to 1 MiB of data.
template <size_t Width>
constexpr size_t kStreamFillElements = Width <= 2 ? 0x80000 : Width == 4 ? 0x40000 : Width == 8 ? 0x20000 : 0x10000;

template <bool Stream>
inline void fill_body(uint8_t* d, __m128i v, size_t n) {
  size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    auto* q = reinterpret_cast<__m128i*>(d + i);
    if constexpr (Stream) {
      _mm_stream_si128(q, v), _mm_stream_si128(q + 1, v), _mm_stream_si128(q + 2, v), _mm_stream_si128(q + 3, v);
    } else {
      _mm_store_si128(q, v), _mm_store_si128(q + 1, v), _mm_store_si128(q + 2, v), _mm_store_si128(q + 3, v);
    }
  }
  for (; i + 16 <= n; i += 16) {
    if constexpr (Stream) {
      _mm_stream_si128(reinterpret_cast<__m128i*>(d + i), v);
    } else {
      _mm_store_si128(reinterpret_cast<__m128i*>(d + i), v);
    }
  }
  if constexpr (Stream) _mm_sfence();
}

}  // namespace

template <size_t Width>
void fill_elements(uint8_t* d, const void* value, size_t count) {
  static_assert(Width == 1 || Width == 2 || Width == 4 || Width == 8 || Width == 16);
  alignas(16) uint8_t pattern[32];
  for (size_t i = 0; i < 32; i += Width) std::memcpy(pattern + i, value, Width);
  const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i*>(pattern));
  const size_t n = count * Width;
  // Below 16 bytes the width is at most 8 and every store offset below is a
  // multiple of it.
  if (n < 16) {
    if (n >= 8) {
      std::memcpy(d, pattern, 8), std::memcpy(d + n - 8, pattern, 8);
    } else if (n >= 4) {
      std::memcpy(d, pattern, 4), std::memcpy(d + n - 4, pattern, 4);
    } else if (n >= 2) {
      std::memcpy(d, pattern, 2), std::memcpy(d + n - 2, pattern, 2);
    } else if (n == 1) {
      *d = pattern[0];
    }
    return;
  }
  if (n < 64) {
    store_i(d, v);
    if (n > 32) store_i(d + 16, v);
    if (n > 48) store_i(d + 32, v);
    store_i(d + n - 16, v);
    return;
  }
  const size_t skip = -reinterpret_cast<uintptr_t>(d) & 15;
  const __m128i rotated = load_i(pattern + skip % Width);
  const size_t body = (n - skip) & ~size_t{15};
  if (count >= kStreamFillElements<Width> && worth_streaming(n)) {
    fill_body<true>(d + skip, rotated, body);
  } else {
    fill_body<false>(d + skip, rotated, body);
  }
  store_i(d, v);
  store_i(d + n - 16, v);
}

template void fill_elements<1>(uint8_t*, const void*, size_t);
template void fill_elements<2>(uint8_t*, const void*, size_t);
template void fill_elements<4>(uint8_t*, const void*, size_t);
template void fill_elements<8>(uint8_t*, const void*, size_t);
template void fill_elements<16>(uint8_t*, const void*, size_t);

}  // namespace q5
}  // namespace kpl
