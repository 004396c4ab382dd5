// 128-bit loads and stores by element type. Stores are unaligned instructions: the
// loop driver peels to the destination's boundary, so they land aligned where the
// destination allows it, and a destination that never aligns still works.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace kpl {
inline namespace q5 {

inline __m128i load_i(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store_i(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
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

}  // namespace q5
}  // namespace kpl
