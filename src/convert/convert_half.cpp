// Convert to and from 16-bit floats (IEEE binary16 patterns in 16-bit words).
// Half to float is exact; float to half rounds by the mode and saturates at the
// largest pattern 0x7FFF in magnitude, so a NaN keeps its all-ones exponent.
#include "convert/convert_kernels.hpp"
#include "frame/rounding.hpp"

namespace kpl {
inline namespace q5 {
namespace {

constexpr uint32_t kHalfMagnitude = 0x7FFF, kHalfInfinity = 0x7C00, kHalfFirstNormal = 0x0400;
constexpr uint32_t kRebias = 112u << 23;           // float exponent bias minus half's, in place
constexpr uint32_t kFirstNormalAsFloat = 0x38800000;  // 2^-14, the smallest normal half
constexpr int kMin16f16s = -64, kMax16f16s = 64;   // past them no result changes

// The 16f forms: 2 is refused, 1 is nearest, every other value truncates.
constexpr bool is_bad_half_mode(int mode) { return mode == 2; }
constexpr Rounding half_rounding(int mode) { return mode == 1 ? Rounding::kNearest : Rounding::kTruncate; }

// Four halves in the low 16 bits of 32-bit lanes to floats, exactly and with
// integer steps only, so that no control-word setting changes a bit: normal
// numbers rebias the exponent, infinity and NaN get the all-ones exponent, and
// denormals are their integer mantissa times 2^-24 (a normal float).
__m128 half_to_float(__m128i h) {
  const __m128i sign = _mm_slli_epi32(_mm_and_si128(h, _mm_set1_epi32(0x8000)), 16);
  const __m128i a = _mm_and_si128(h, _mm_set1_epi32(static_cast<int>(kHalfMagnitude)));
  __m128i bits = _mm_add_epi32(_mm_slli_epi32(a, 13), _mm_set1_epi32(kRebias));
  const __m128i special = _mm_cmpgt_epi32(a, _mm_set1_epi32(kHalfInfinity - 1));
  bits = _mm_add_epi32(bits, _mm_and_si128(special, _mm_set1_epi32(kRebias)));
  const __m128 tiny = _mm_mul_ps(_mm_cvtepi32_ps(a), _mm_set1_ps(0x1p-24f));
  const __m128i small = _mm_cmplt_epi32(a, _mm_set1_epi32(kHalfFirstNormal));
  bits = _mm_blendv_epi8(bits, _mm_castps_si128(tiny), small);
  return _mm_castsi128_ps(_mm_or_si128(bits, sign));
}

// Four floats to halves in the low 16 bits of 32-bit lanes. Normal halves are cut
// from the rebiased bits, rounding by adding 0xFFF and the lowest kept bit for
// nearest; below 2^-14 the magnitude is added to 0.5, whose last place is the
// half's last denormal place, so the addition rounds it once by the control
// word's mode (set by the caller to nearest or truncation).
template <Rounding R>
__m128i float_to_half(__m128 v) {
  const __m128i bits = _mm_castps_si128(v);
  const __m128i sign = _mm_and_si128(_mm_srli_epi32(bits, 16), _mm_set1_epi32(0x8000));
  const __m128i a = _mm_and_si128(bits, _mm_set1_epi32(0x7FFFFFFF));
  const __m128i y = _mm_sub_epi32(a, _mm_set1_epi32(kRebias));
  __m128i h;
  if constexpr (R == Rounding::kNearest) {
    const __m128i kept = _mm_and_si128(_mm_srli_epi32(y, 13), _mm_set1_epi32(1));
    h = _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(y, _mm_set1_epi32(0xFFF)), kept), 13);
  } else {
    h = _mm_srli_epi32(y, 13);
  }
  h = _mm_min_epi32(h, _mm_set1_epi32(kHalfMagnitude));  // infinities and NaNs too
  const __m128 half = _mm_set1_ps(0.5f);
  const __m128i tiny = _mm_sub_epi32(_mm_castps_si128(_mm_add_ps(_mm_castsi128_ps(a), half)), _mm_castps_si128(half));
  h = _mm_blendv_epi8(h, tiny, _mm_cmplt_epi32(a, _mm_set1_epi32(kFirstNormalAsFloat)));
  return _mm_or_si128(h, sign);
}

// Eight 16-bit words as two vectors of 32-bit lanes (zero- or sign-extended).
inline void widen8(__m128i v, bool is_signed, __m128i* x) {
  const __m128i hi = _mm_srli_si128(v, 8);
  x[0] = is_signed ? _mm_cvtepi16_epi32(v) : _mm_cvtepu16_epi32(v);
  x[1] = is_signed ? _mm_cvtepi16_epi32(hi) : _mm_cvtepu16_epi32(hi);
}

void convert_16f32f(const Kpl16f* s, Kpl32f* d, size_t n) {
  for_blocks<8>(
      d, n,
      [&](size_t i) { d[i] = _mm_cvtss_f32(half_to_float(_mm_cvtsi32_si128(static_cast<uint16_t>(s[i])))); },
      [&](size_t i) {
        __m128i x[2];
        widen8(load_i(s + i), false, x);
        store_f(d + i, half_to_float(x[0]));
        store_f(d + i + 4, half_to_float(x[1]));
      });
}

// Floats made by `to_float` from four source elements, to halves.
template <Rounding R, class S, class ToFloat>
void to_half(const S* s, Kpl16f* d, size_t n, ToFloat&& to_float) {
  for_blocks<8>(
      d, n,
      [&](size_t i) {
        const S one[4] = {s[i], S{0}, S{0}, S{0}};
        d[i] = static_cast<Kpl16f>(_mm_cvtsi128_si32(float_to_half<R>(to_float(one))));
      },
      [&](size_t i) {
        const __m128i lo = float_to_half<R>(to_float(s + i)), hi = float_to_half<R>(to_float(s + i + 4));
        store_i(d + i, _mm_packus_epi32(lo, hi));
      });
}

// Halves to 16-bit integers: the exact float times 2^-s (exact too, s clamped),
// bounded, converted by R; infinity and NaN saturate by their sign.
template <Rounding R>
__m128i half_to_16s_lanes(__m128i h, __m128 factor) {
  __m128 v = _mm_mul_ps(half_to_float(h), factor);
  v = _mm_max_ps(_mm_min_ps(v, _mm_set1_ps(32767.0f)), _mm_set1_ps(-32768.0f));
  const __m128i x = R == Rounding::kNearest ? _mm_cvtps_epi32(v) : _mm_cvttps_epi32(v);
  const __m128i special = _mm_cmpgt_epi32(_mm_and_si128(h, _mm_set1_epi32(kHalfMagnitude)), _mm_set1_epi32(kHalfInfinity - 1));
  const __m128i negative = _mm_srai_epi32(_mm_slli_epi32(h, 16), 31);
  return _mm_blendv_epi8(x, _mm_xor_si128(_mm_set1_epi32(32767), negative), special);
}

template <Rounding R>
void convert_16f16s(const Kpl16f* s, Kpl16s* d, size_t n, float factor) {
  const __m128 f = _mm_set1_ps(factor);
  for_blocks<8>(
      d, n,
      [&](size_t i) {
        d[i] = static_cast<Kpl16s>(_mm_cvtsi128_si32(half_to_16s_lanes<R>(_mm_cvtsi32_si128(static_cast<uint16_t>(s[i])), f)));
      },
      [&](size_t i) {
        __m128i x[2];
        widen8(load_i(s + i), false, x);
        store_i(d + i, _mm_packs_epi32(half_to_16s_lanes<R>(x[0], f), half_to_16s_lanes<R>(x[1], f)));
      });
}

template <class F>
void with_half_rounding(Rounding r, F&& f) {
  if (r == Rounding::kNearest) {
    f(std::integral_constant<Rounding, Rounding::kNearest>{});
  } else {
    f(std::integral_constant<Rounding, Rounding::kTruncate>{});
  }
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsConvert_16f32f)(const Kpl16f* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_16f32f(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_32f16f)(const Kpl32f* pSrc, Kpl16f* pDst, int len, KplRoundMode rndMode) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (is_bad_half_mode(rndMode)) return kplStsBadRoundMode;
  const Rounding r = half_rounding(rndMode);
  const RoundingGuard control(r);
  with_half_rounding(r, [&](auto rc) {
    to_half<rc()>(pSrc, pDst, static_cast<size_t>(len), [](const Kpl32f* p) { return load_f(p); });
  });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_16s16f)(const Kpl16s* pSrc, Kpl16f* pDst, int len, KplRoundMode rndMode) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (is_bad_half_mode(rndMode)) return kplStsBadRoundMode;
  const Rounding r = half_rounding(rndMode);
  const RoundingGuard control(r);
  with_half_rounding(r, [&](auto rc) {
    to_half<rc()>(pSrc, pDst, static_cast<size_t>(len), [](const Kpl16s* p) {
      return _mm_cvtepi32_ps(_mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
    });
  });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_16f16s_Sfs)(const Kpl16f* pSrc, Kpl16s* pDst, int len, KplRoundMode rndMode,
                                           int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (is_bad_half_mode(rndMode)) return kplStsBadRoundMode;
  const Rounding r = half_rounding(rndMode);
  const RoundingGuard control(Rounding::kNearest);  // the products are exact; only the conversion rounds
  const float factor = steps_factor_32f(clamp_int(scaleFactor, kMin16f16s, kMax16f16s));
  with_half_rounding(r, [&](auto rc) { convert_16f16s<rc()>(pSrc, pDst, static_cast<size_t>(len), factor); });
  return kplStsOk;
}
