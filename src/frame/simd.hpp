// 128-bit loads and stores by element type, and additions kept in operand order.
// Stores are unaligned instructions: the loop driver peels to the destination's
// boundary, so they land aligned where the destination allows it, and a
// destination that never aligns still works.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kpl {
inline namespace q5 {

inline __m128i load_i(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
// How a kernel's body stores: through the cache, or around it for vectors much
// larger than the cache (then the destination must be 16-byte aligned, and the
// kernel ends with a store fence).
enum class Store { kCached, kStream };

template <Store S = Store::kCached>
inline void store_i(void* p, __m128i v) {
  if constexpr (S == Store::kStream) {
    _mm_stream_si128(static_cast<__m128i*>(p), v);
  } else {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
  }
}
inline __m128 load_f(const void* p) { return _mm_loadu_ps(static_cast<const float*>(p)); }
inline void store_f(void* p, __m128 v) { _mm_storeu_ps(static_cast<float*>(p), v); }
inline __m128d load_d(const void* p) { return _mm_loadu_pd(static_cast<const double*>(p)); }
inline void store_d(void* p, __m128d v) { _mm_storeu_pd(static_cast<double*>(p), v); }

// Scalar loads and stores of any width that do not assume alignment.
template <class T>
inline T load_raw(const void* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class T>
inline void store_raw(void* p, T v) {
  std::memcpy(p, &v, sizeof v);
}

// An element seen as W bytes with no alignment assumed: kernels that only move
// bits work on the width, whatever the type.
template <size_t W>
struct Bytes {
  uint8_t b[W];
};

template <size_t W, class T>
inline const Bytes<W>* as_bytes(const T* p) {
  return reinterpret_cast<const Bytes<W>*>(p);
}
template <size_t W, class T>
inline Bytes<W>* as_bytes(T* p) {
  return reinterpret_cast<Bytes<W>*>(p);
}

// The W-byte elements of a vector in reverse order, the bytes of each kept.
template <size_t W>
inline __m128i reverse_elements(__m128i v) {
  static_assert(W == 1 || W == 2 || W == 4 || W == 8 || W == 16);
  if constexpr (W == 16) {
    return v;
  } else if constexpr (W == 8) {
    return _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2));
  } else if constexpr (W == 4) {
    return _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3));
  } else {
    constexpr auto pattern = [] {
      std::array<uint8_t, 16> p{};
      for (size_t j = 0; j < 16; ++j) p[j] = static_cast<uint8_t>((16 / W - 1 - j / W) * W + j % W);
      return p;
    }();
    return _mm_shuffle_epi8(v, load_i(pattern.data()));
  }
}

// An addition compiled as written, x first: the compiler may otherwise swap the
// operands of a commutative addition, and of two NaNs x86 returns the first.
inline __m128 add_in_order(__m128 x, __m128 c) {
  asm("addps %1, %0" : "+x"(x) : "x"(c));
  return x;
}
inline __m128d add_in_order(__m128d x, __m128d c) {
  asm("addpd %1, %0" : "+x"(x) : "x"(c));
  return x;
}
inline float add_in_order(float x, float c) {
  asm("addss %1, %0" : "+x"(x) : "x"(c));
  return x;
}
inline double add_in_order(double x, double c) {
  asm("addsd %1, %0" : "+x"(x) : "x"(c));
  return x;
}

}  // namespace q5
}  // namespace kpl
