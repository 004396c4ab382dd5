// What the Convert family files share: the rounding-mode dispatch, the
// power-of-two factors of the scaled forms, packed 24-bit loads and stores, and
// the argument checks.
#pragma once

#include <immintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/cache.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/rounding.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// How a float becomes an integer.
enum class Round { kNear, kZero, kFin };

// Float-to-integer forms: 1 nearest, 0 truncation, anything else financial.
constexpr Round float_round(int mode) { return mode == 1 ? Round::kNear : (mode == 0 ? Round::kZero : Round::kFin); }

// Calls f(integral_constant<Round, r>) so that each mode has its own kernel.
template <class F>
inline decltype(auto) with_round(Round r, F&& f) {
  switch (r) {
    case Round::kNear: return f(std::integral_constant<Round, Round::kNear>{});
    case Round::kZero: return f(std::integral_constant<Round, Round::kZero>{});
    default: return f(std::integral_constant<Round, Round::kFin>{});
  }
}

// 2^-s as repeated halving or doubling from 1 would leave it under round to
// nearest: exact while representable (denormals included), then 0 or infinity.
// Built from the bits, so that a scale factor of a billion takes no time.
inline float steps_factor_32f(int s) {
  if (s > 149) return 0.0f;
  if (s < -127) return std::bit_cast<float>(0x7F800000u);
  if (s > 126) return std::bit_cast<float>(uint32_t{1} << (149 - s));
  return std::bit_cast<float>(static_cast<uint32_t>(127 - s) << 23);
}
inline double steps_factor_64f(int s) {
  if (s > 1074) return 0.0;
  if (s < -1023) return std::bit_cast<double>(0x7FF0000000000000ull);
  if (s > 1022) return std::bit_cast<double>(uint64_t{1} << (1074 - s));
  return std::bit_cast<double>(static_cast<uint64_t>(1023 - s) << 52);
}

constexpr int clamp_int(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// The checks of the unsigned-length forms: null pointers, then a zero length.
template <class... P>
constexpr KplStatus check_unsigned_args(Kpl32u len, const P*... p) {
  if (any_null(p...)) return kplStsNullPointer;
  if (len == 0) return kplStsBadSize;
  return kplStsOk;
}

// Calls body(mode) with cache-bypassing stores when a vector of n elements of
// D goes past `limit` elements, and the blocks of d can be aligned.
template <class D, class Body>
inline void stream_above(size_t limit, const D* d, size_t n, Body&& body) {
  with_store_mode(n > limit, d, n, static_cast<Body&&>(body));
}

// ---- packed 24-bit samples ----

// One sample as a 32-bit value, sign- or zero-extended.
inline int32_t load24s(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return static_cast<int32_t>((uint32_t{b[0]} << 8) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 24)) >> 8;
}
inline uint32_t load24u(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return uint32_t{b[0]} | (uint32_t{b[1]} << 8) | (uint32_t{b[2]} << 16);
}
inline void store24(void* p, uint32_t v) {
  auto* b = static_cast<uint8_t*>(p);
  b[0] = static_cast<uint8_t>(v), b[1] = static_cast<uint8_t>(v >> 8), b[2] = static_cast<uint8_t>(v >> 16);
}

// A 16-byte load at sample i reads samples i..i+5 (and one byte of the sixth);
// a 16-byte store writes four samples and the first four bytes of the fifth and
// sixth. Either stays inside a vector of n samples while i + 6 <= n.
constexpr size_t kPacked24Reach = 6;

// Four samples from the first 12 bytes at p into the top 24 bits of 32-bit lanes;
// the caller shifts right by 8, arithmetically or logically.
inline __m128i load24_high(const void* p) {
  const __m128i spread = _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
  return _mm_shuffle_epi8(load_i(p), spread);
}
// The low 24 bits of four lanes packed into the first 12 bytes of a store at p;
// the last four bytes stored are zero and belong to the samples that follow.
inline void store24_lanes(void* p, __m128i v) {
  const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  store_i(p, _mm_shuffle_epi8(v, pack));
}

// A loop over n samples where a block of four touches kPacked24Reach samples:
// scalar(i) one at a time up to the 16-byte boundary of the 32-bit side `aligned`
// (when there is one), block(i) while the reach stays inside, scalar(i) for the rest.
template <class A, class Scalar, class Block>
inline void for_packed24(const A* aligned, size_t n, Scalar&& scalar, Block&& block) {
  size_t i = 0;
  const size_t peel = peel_count(aligned, n);
  for (; i < peel; ++i) scalar(i);
  for (; i + kPacked24Reach <= n; i += 4) block(i);
  for (; i < n; ++i) scalar(i);
}

}  // namespace q5
}  // namespace kpl
