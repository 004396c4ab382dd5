// The scale-factor rule of every integer family: the exact result x of an
// operation, times 2^-s, rounded to nearest with ties to even, saturated to the
// destination. A public function classifies s once; each class has its own
// kernel, so no kernel loop tests the scale factor.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <limits>
#include <type_traits>

namespace kpl {
inline namespace q5 {

// Where a family's arithmetic stops: above `zero_above` no input can round to a
// non-zero result, so the answer is a zero fill; below `bound_below` every
// non-zero result saturates by its sign.
struct ScaleLimits {
  int zero_above;
  int bound_below;
};

enum class ScaleClass {
  kExact,  // s = 0: saturate the exact result
  kDown,   // 0 < s <= zero_above: rounding right shift
  kUp,     // bound_below <= s < 0: left shift with saturation
  kBound,  // s < bound_below: a non-zero result saturates by its sign
  kZero,   // s > zero_above: all zeros
};

constexpr ScaleClass classify(int s, ScaleLimits limits) {
  if (s == 0) return ScaleClass::kExact;
  if (s > 0) return s > limits.zero_above ? ScaleClass::kZero : ScaleClass::kDown;
  return s < limits.bound_below ? ScaleClass::kBound : ScaleClass::kUp;
}

template <ScaleClass C>
using ScaleTag = std::integral_constant<ScaleClass, C>;

// Calls f(ScaleTag<c>{}) so that a kernel is instantiated once per class.
template <class F>
inline decltype(auto) with_scale_class(ScaleClass c, F&& f) {
  switch (c) {
    case ScaleClass::kExact: return f(ScaleTag<ScaleClass::kExact>{});
    case ScaleClass::kDown: return f(ScaleTag<ScaleClass::kDown>{});
    case ScaleClass::kUp: return f(ScaleTag<ScaleClass::kUp>{});
    case ScaleClass::kBound: return f(ScaleTag<ScaleClass::kBound>{});
    default: return f(ScaleTag<ScaleClass::kZero>{});
  }
}

// x / 2^s rounded to nearest, ties to even, for s >= 1:
// (x + 2^(s-1) - 1 + ((x >> s) & 1)) >> s, with an arithmetic shift. W must hold
// x + 2^(s-1) and s must be below its width.
template <class W>
constexpr W round_shift(W x, int s) {
  return (x + ((W{1} << (s - 1)) - 1) + ((x >> s) & 1)) >> s;
}

// The same for the three rounding modes of the functions that take one: 0 toward
// zero, 1 nearest with ties to even, anything else nearest with ties away from zero.
template <class W>
constexpr W round_shift_mode(W x, int s, int mode) {
  const W half = W{1} << (s - 1);
  if (mode == 0) return x >= 0 ? x >> s : -((-x) >> s);
  if (mode == 1) return round_shift(x, s);
  return x >= 0 ? (x + half) >> s : -((-x + half) >> s);
}

// The whole rule, for any exact result below 2^100 and any scale factor: what
// the scalar paths of the kernels and the references of the tests agree on.
// `mode` is a rounding mode as in round_shift_mode.
template <class T>
constexpr T scale_exact(__int128 x, int s, int mode = 1) {
  constexpr __int128 lo = std::numeric_limits<T>::lowest(), hi = std::numeric_limits<T>::max();
  __int128 y;
  if (s == 0) {
    y = x;
  } else if (s > 0) {
    if (s > 100) return 0;  // |x| < 2^66 rounds to 0 in every mode
    y = round_shift_mode(x, s, mode);
  } else {
    // Past 2^64 in magnitude any destination saturates; below it the shifted
    // value still fits in 128 bits.
    constexpr __int128 big = __int128{1} << 64;
    if (x == 0) return 0;
    if (s <= -64 || x >= big || x <= -big) return x > 0 ? static_cast<T>(hi) : static_cast<T>(lo);
    y = x * (__int128{1} << -s);
  }
  return static_cast<T>(y < lo ? lo : (y > hi ? hi : y));
}

// Rounding right shifts of four 32-bit lanes by a count fixed for the call: the
// shift count and the rounding constant are set up once.
class RoundShift32 {
 public:
  explicit RoundShift32(int s)
      : count_(_mm_cvtsi32_si128(s)),
        bias_(_mm_set1_epi32(static_cast<int>((1u << (s - 1)) - 1u))),  // s from 1 to 32
        one_(_mm_set1_epi32(1)) {}
  // Signed lanes; x + 2^(s-1) must not overflow.
  __m128i signed_lanes(__m128i x) const {
    const __m128i odd = _mm_and_si128(_mm_sra_epi32(x, count_), one_);
    return _mm_sra_epi32(_mm_add_epi32(_mm_add_epi32(x, bias_), odd), count_);
  }
  // Unsigned lanes; x + 2^(s-1) must stay below 2^32.
  __m128i unsigned_lanes(__m128i x) const {
    const __m128i odd = _mm_and_si128(_mm_srl_epi32(x, count_), one_);
    return _mm_srl_epi32(_mm_add_epi32(_mm_add_epi32(x, bias_), odd), count_);
  }

 private:
  __m128i count_, bias_, one_;
};

}  // namespace q5
}  // namespace kpl
