// MaxOrder: the order of magnitude of the largest element.
//
// Integers: the bit length of the largest magnitude, the most negative value
// counting as 2^(w-1) (so -32768 has order 16), 0 when every element is 0. Only
// the top bit matters, so the lanes OR the magnitudes together instead of taking
// their maximum. Floats: frexp's exponent of the largest finite magnitude (the
// biased exponent less 126, or 1022 for doubles), denormals giving -126 (-1022)
// and an all-zero vector 0; an infinity or a NaN counts as zero and turns the
// status into the warning. This family tests its length before its pointers.
#include <immintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/entry.hpp"
#include "frame/simd.hpp"

using namespace kpl;

namespace {

// The OR of |x| over the vector, in 16-bit or 32-bit unsigned magnitudes.
template <class T>
uint32_t magnitude_bits(const T* p, size_t n) {
  constexpr size_t kPer = 16 / sizeof(T);
  __m128i acc0 = _mm_setzero_si128(), acc1 = _mm_setzero_si128();
  auto abs = [](__m128i v) {
    if constexpr (sizeof(T) == 2) {
      return _mm_abs_epi16(v);
    } else {
      return _mm_abs_epi32(v);
    }
  };
  size_t i = 0;
  for (; i + 2 * kPer <= n; i += 2 * kPer) {
    acc0 = _mm_or_si128(acc0, abs(load_i(p + i)));
    acc1 = _mm_or_si128(acc1, abs(load_i(p + i + kPer)));
  }
  alignas(16) uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), _mm_or_si128(acc0, acc1));
  uint32_t bits = lanes[0] | lanes[1] | lanes[2] | lanes[3];
  if constexpr (sizeof(T) == 2) bits = (bits | (bits >> 16)) & 0xFFFFu;
  for (; i < n; ++i) {
    const int64_t x = p[i];
    bits |= static_cast<uint32_t>(x < 0 ? -x : x);
  }
  return bits;
}

template <class T>
KplStatus integer_order(const T* src, int len, int* order) {
  if (len < 1) return kplStsBadSize;
  if (any_null(src, order)) return kplStsNullPointer;
  *order = static_cast<int>(std::bit_width(magnitude_bits(src, static_cast<size_t>(len))));
  return kplStsOk;
}

// The float layout: magnitude mask, the largest finite magnitude, exponent field.
template <class F>
struct Layout;
template <>
struct Layout<Kpl32f> {
  using Bits = uint32_t;
  static constexpr Bits kMagnitude = 0x7FFFFFFFu;
  static constexpr Bits kLargestFinite = 0x7F7FFFFFu;
  static constexpr int kMantissaBits = 23;
  static constexpr int kFrexpBias = 126;
};
template <>
struct Layout<Kpl64f> {
  using Bits = uint64_t;
  static constexpr Bits kMagnitude = 0x7FFFFFFFFFFFFFFFull;
  static constexpr Bits kLargestFinite = 0x7FEFFFFFFFFFFFFFull;
  static constexpr int kMantissaBits = 52;
  static constexpr int kFrexpBias = 1022;
};

// Per lane: the magnitude bits, zeroed where not finite (and flagged). The
// magnitudes are non-negative as signed integers, so signed compares order them.
struct Finite32 {
  static __m128i non_finite(__m128i m) { return _mm_cmpgt_epi32(m, _mm_set1_epi32(0x7F7FFFFF)); }
  static __m128i max(__m128i a, __m128i b) { return _mm_max_epi32(a, b); }
  static __m128i mask() { return _mm_set1_epi32(0x7FFFFFFF); }
};
struct Finite64 {
  static __m128i non_finite(__m128i m) { return _mm_cmpgt_epi64(m, _mm_set1_epi64x(0x7FEFFFFFFFFFFFFFll)); }
  static __m128i max(__m128i a, __m128i b) { return _mm_blendv_epi8(a, b, _mm_cmpgt_epi64(b, a)); }
  static __m128i mask() { return _mm_set1_epi64x(0x7FFFFFFFFFFFFFFFll); }
};

template <class F>
KplStatus float_order(const F* src, int len, int* order) {
  using L = Layout<F>;
  using B = typename L::Bits;
  using Ops = std::conditional_t<sizeof(F) == 4, Finite32, Finite64>;
  if (len < 1) return kplStsBadSize;
  if (any_null(src, order)) return kplStsNullPointer;
  const auto n = static_cast<size_t>(len);
  constexpr size_t kPer = 16 / sizeof(F);
  __m128i top0 = _mm_setzero_si128(), top1 = _mm_setzero_si128(), bad = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 2 * kPer <= n; i += 2 * kPer) {
    const __m128i m0 = _mm_and_si128(load_i(src + i), Ops::mask());
    const __m128i m1 = _mm_and_si128(load_i(src + i + kPer), Ops::mask());
    const __m128i b0 = Ops::non_finite(m0), b1 = Ops::non_finite(m1);
    bad = _mm_or_si128(bad, _mm_or_si128(b0, b1));
    top0 = Ops::max(top0, _mm_andnot_si128(b0, m0));
    top1 = Ops::max(top1, _mm_andnot_si128(b1, m1));
  }
  alignas(16) B lanes[2 * kPer];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), top0);
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes + kPer), top1);
  B top = 0;
  for (B v : lanes) top = v > top ? v : top;
  bool non_finite = _mm_movemask_epi8(bad) != 0;
  for (; i < n; ++i) {
    const B m = load_raw<B>(src + i) & L::kMagnitude;
    if (m > L::kLargestFinite) {
      non_finite = true;
    } else if (m > top) {
      top = m;
    }
  }
  *order = top == 0 ? 0 : static_cast<int>(top >> L::kMantissaBits) - L::kFrexpBias;
  return non_finite ? kplStsWarnNanInf : kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsMaxOrder_16s)(const Kpl16s* pSrc, int len, int* pOrder) { return integer_order(pSrc, len, pOrder); }
KplStatus KPL_IMPL(kplsMaxOrder_32s)(const Kpl32s* pSrc, int len, int* pOrder) { return integer_order(pSrc, len, pOrder); }
KplStatus KPL_IMPL(kplsMaxOrder_32f)(const Kpl32f* pSrc, int len, int* pOrder) { return float_order(pSrc, len, pOrder); }
KplStatus KPL_IMPL(kplsMaxOrder_64f)(const Kpl64f* pSrc, int len, int* pOrder) { return float_order(pSrc, len, pOrder); }
