// The shared machinery of the scaled integer forms: finishing an exact result
// into the destination for one scale class (scalar, and packed from 32-bit
// lanes for 8- and 16-bit destinations), and the element-wise drivers that run
// an operation's exact lanes through it.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <limits>

#include "frame/loop.hpp"
#include "frame/saturate.hpp"
#include "frame/scale.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// Turns exact results into D for the class C of a scale factor s. Everything that
// depends on s is computed here, once per call.
template <class D, ScaleClass C>
class Finish {
 public:
  static_assert(C != ScaleClass::kZero, "a zero fill needs no kernel");
  using L = std::numeric_limits<D>;

  explicit Finish(int s) : s_(s), shift_(C == ScaleClass::kDown ? s : 1), up_(_mm_cvtsi32_si128(C == ScaleClass::kUp ? -s : 0)) {}

  // One exact result, in 64 bits.
  D operator()(int64_t x) const {
    if constexpr (C == ScaleClass::kExact) {
      return saturate<D>(x);
    } else if constexpr (C == ScaleClass::kDown) {
      return saturate<D>(round_shift(x, s_));
    } else if constexpr (C == ScaleClass::kUp) {
      // Clamped to the destination first, the shifted value still fits in 64 bits.
      return saturate<D>(static_cast<int64_t>(saturate<D>(x)) * (int64_t{1} << -s_));
    } else {
      return x > 0 ? L::max() : (x < 0 ? L::lowest() : D{0});
    }
  }

  // Four exact results in signed 32-bit lanes, scaled but not yet narrowed.
  // A left shift clamps to the 16-bit range first, so it cannot overflow.
  __m128i lanes(__m128i x) const {
    if constexpr (C == ScaleClass::kExact) {
      return x;
    } else if constexpr (C == ScaleClass::kDown) {
      return shift_.signed_lanes(x);
    } else if constexpr (C == ScaleClass::kUp) {
      x = _mm_max_epi32(_mm_min_epi32(x, _mm_set1_epi32(65535)), _mm_set1_epi32(-65536));
      return _mm_sll_epi32(x, up_);
    } else {
      return _mm_sign_epi32(_mm_set1_epi32(1 << 20), x);  // saturates by sign when narrowed
    }
  }

  // Narrowing of scaled lanes with saturation: 8 lanes to 16-bit D, 16 to 8u.
  __m128i pack(const __m128i* x) const {
    if constexpr (sizeof(D) == 2) {
      const __m128i lo = lanes(x[0]), hi = lanes(x[1]);
      return std::is_signed_v<D> ? _mm_packs_epi32(lo, hi) : _mm_packus_epi32(lo, hi);
    } else {
      static_assert(std::is_same_v<D, uint8_t>);
      const __m128i a = _mm_packs_epi32(lanes(x[0]), lanes(x[1])), b = _mm_packs_epi32(lanes(x[2]), lanes(x[3]));
      return _mm_packus_epi16(a, b);
    }
  }

 private:
  int s_;
  RoundShift32 shift_;
  __m128i up_;
};

// Elements of D in one packed output vector, and the 32-bit lane vectors behind it.
template <class D>
constexpr size_t kPackLanes = 16 / sizeof(D);
template <class D>
constexpr size_t kLaneVectors = kPackLanes<D> / 4;

// d[i] = finish(op.exact(a[i], b[i])). Op gives exact(a, b) in 64 bits for one
// element and lanes(a, b, x) filling kLaneVectors<D> vectors of exact 32-bit
// results for kPackLanes<D> elements. In place when b or a is d.
template <ScaleClass C, class Op, class A, class B, class D>
void scaled_binary(const Op& op, const A* a, const B* b, D* d, size_t n, int s) {
  const Finish<D, C> finish(s);
  for_blocks<kPackLanes<D>>(
      d, n, [&](size_t i) { d[i] = finish(op.exact(a[i], b[i])); },
      [&](size_t i) {
        __m128i x[kLaneVectors<D>];
        op.lanes(a + i, b + i, x);
        store_i(d + i, finish.pack(x));
      });
}

// d[i] = finish(op.exact(a[i])) for operations of one vector (a constant lives in op).
template <ScaleClass C, class Op, class A, class D>
void scaled_unary(const Op& op, const A* a, D* d, size_t n, int s) {
  const Finish<D, C> finish(s);
  for_blocks<kPackLanes<D>>(
      d, n, [&](size_t i) { d[i] = finish(op.exact(a[i])); },
      [&](size_t i) {
        __m128i x[kLaneVectors<D>];
        op.lanes(a + i, x);
        store_i(d + i, finish.pack(x));
      });
}

// Widening loads: the elements of one vector as 32-bit lanes.
inline void widen_16s(const void* p, __m128i* x) {
  const __m128i v = load_i(p);
  x[0] = _mm_cvtepi16_epi32(v), x[1] = _mm_cvtepi16_epi32(_mm_srli_si128(v, 8));
}
inline void widen_16u(const void* p, __m128i* x) {
  const __m128i v = load_i(p);
  x[0] = _mm_cvtepu16_epi32(v), x[1] = _mm_cvtepu16_epi32(_mm_srli_si128(v, 8));
}
inline void widen_8u(const void* p, __m128i* x) {
  const __m128i v = load_i(p);
  x[0] = _mm_cvtepu8_epi32(v), x[1] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 4));
  x[2] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 8)), x[3] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 12));
}

}  // namespace q5
}  // namespace kpl
