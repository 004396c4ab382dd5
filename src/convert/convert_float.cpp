// Convert between floats and integers and between the two float widths: integer
// to float (optionally scaled), float to integer with a rounding mode, a scale
// factor and the documented results for NaN, infinities and values out of range.
#include <cmath>
#include <limits>
#include <type_traits>

#include "convert/convert_kernels.hpp"
#include "frame/rounding.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Cache-bypassing stores above these counts (a third of about 4 MiB of traffic).
constexpr size_t kStream32f64f = 0x55555;
constexpr size_t kStream64f32f = 0x55555;
constexpr size_t kStream16s64f = 0x66666;

// Scale-factor ranges of the integer-to-float forms: the factor is built in the
// exponent field, so it stays a normal number.
constexpr int kMin16s32f = -112, kMax16s32f = 126;
constexpr int kMin32s32f = -96, kMax32s32f = 126;
constexpr int kMin64f = -1008, kMax64f = 1022;
constexpr int kMin32f24 = -127, kMax32f24 = 127;  // 32f24s, 32f24u: past them 2^-s is 0 or infinite

// Above this bit pattern (taken as a signed integer) a float is 2^31 or more, or
// a positive NaN: its conversion gave 0x80000000 and must read 0x7FFFFFFF.
constexpr int32_t kLast32sBits = 0x4EFFFFFF;

// The control word a rounding mode needs for the call.
template <Round R>
struct ControlFor : ForcedNearest {};
template <>
struct ControlFor<Round::kZero> {};

// ---- float to integer ----

// The bound applied before the conversion, as the second operand of the minimum
// so that a NaN takes it: the destination's largest value, except for 16u (a
// maximum with 0, so a NaN gives 0) and for 32s from 32f (none; fixed afterwards).
enum class Bound { kNone, kMin, kMaxZero };

template <class S, class D>
constexpr Bound kBound = std::is_same_v<D, Kpl16u> ? Bound::kMaxZero
                         : (std::is_same_v<D, Kpl32s> && std::is_same_v<S, Kpl32f>) ? Bound::kNone
                                                                                     : Bound::kMin;

// Four source elements to four 32-bit lanes: scaled, bounded, rounded by R,
// converted. Lanes out of range hold 0x80000000, which the pack saturates.
template <class S, class D, Round R, bool Scaled>
class ToIntLanes {
 public:
  explicit ToIntLanes(S factor) : factor_(factor) {}

  __m128i operator()(const S* p) const {
    if constexpr (std::is_same_v<S, Kpl32f>) {
      return convert(load_f(p));
    } else {
      return _mm_unpacklo_epi64(convert(load_d(p)), convert(load_d(p + 2)));
    }
  }

 private:
  static constexpr double kUpper = static_cast<double>(std::numeric_limits<D>::max());

  __m128i convert(__m128 v) const {
    if constexpr (Scaled) v = _mm_mul_ps(v, _mm_set1_ps(factor_));
    if constexpr (kBound<S, D> == Bound::kMin) v = _mm_min_ps(v, _mm_set1_ps(static_cast<float>(kUpper)));
    if constexpr (kBound<S, D> == Bound::kMaxZero) v = _mm_max_ps(v, _mm_setzero_ps());
    if constexpr (R == Round::kFin) {  // half added to the magnitude, in float
      const __m128 sign = _mm_set1_ps(-0.0f);
      v = _mm_or_ps(_mm_add_ps(_mm_andnot_ps(sign, v), _mm_set1_ps(0.5f)), _mm_and_ps(sign, v));
    }
    __m128i x = R == Round::kNear ? _mm_cvtps_epi32(v) : _mm_cvttps_epi32(v);
    if constexpr (std::is_same_v<D, Kpl32s>)
      x = _mm_xor_si128(x, _mm_cmpgt_epi32(_mm_castps_si128(v), _mm_set1_epi32(kLast32sBits)));
    return x;
  }

  __m128i convert(__m128d v) const {
    if constexpr (Scaled) v = _mm_mul_pd(v, _mm_set1_pd(factor_));
    v = _mm_min_pd(v, _mm_set1_pd(kUpper));
    if constexpr (R == Round::kFin) {
      const __m128d sign = _mm_set1_pd(-0.0);
      v = _mm_or_pd(_mm_add_pd(_mm_andnot_pd(sign, v), _mm_set1_pd(0.5)), _mm_and_pd(sign, v));
    }
    return R == Round::kNear ? _mm_cvtpd_epi32(v) : _mm_cvttpd_epi32(v);
  }

  S factor_;
};

// Lanes narrowed with saturation; 16u through a biased signed pack, so that the
// out-of-range 0x80000000 of a large value comes out as 65535.
template <class D>
__m128i pack_lanes(const __m128i* x) {
  if constexpr (std::is_same_v<D, Kpl32s>) {
    return x[0];
  } else if constexpr (std::is_same_v<D, Kpl16s>) {
    return _mm_packs_epi32(x[0], x[1]);
  } else if constexpr (std::is_same_v<D, Kpl16u>) {
    const __m128i bias = _mm_set1_epi32(32768);
    return _mm_xor_si128(_mm_packs_epi32(_mm_sub_epi32(x[0], bias), _mm_sub_epi32(x[1], bias)),
                         _mm_set1_epi16(-32768));
  } else if constexpr (std::is_same_v<D, Kpl8s>) {
    return _mm_packs_epi16(_mm_packs_epi32(x[0], x[1]), _mm_packs_epi32(x[2], x[3]));
  } else {
    static_assert(std::is_same_v<D, Kpl8u>);
    return _mm_packus_epi16(_mm_packs_epi32(x[0], x[1]), _mm_packs_epi32(x[2], x[3]));
  }
}

// The driver: blocks of a whole output vector; a single element runs the same
// lanes on a copy padded with zeros.
template <class S, class D, class Lanes>
void float_to_int(const Lanes& lanes, const S* s, D* d, size_t n) {
  constexpr size_t kLanes = sizeof(D) == 4 ? 4 : 16 / sizeof(D), kVectors = kLanes / 4;
  for_blocks<kLanes>(
      d, n,
      [&](size_t i) {
        const S one[4] = {s[i], S{0}, S{0}, S{0}};
        __m128i x[kVectors];
        for (size_t k = 0; k < kVectors; ++k) x[k] = lanes(one);
        const __m128i v = pack_lanes<D>(x);
        std::memcpy(d + i, &v, sizeof(D));
      },
      [&](size_t i) {
        __m128i x[kVectors];
        for (size_t k = 0; k < kVectors; ++k) x[k] = lanes(s + i + 4 * k);
        store_i(d + i, pack_lanes<D>(x));
      });
}

template <class S>
S steps_factor(int s) {
  if constexpr (std::is_same_v<S, Kpl32f>) {
    return steps_factor_32f(s);
  } else {
    return steps_factor_64f(s);
  }
}

template <class S, class D>
KplStatus float_to_int_entry(const S* src, D* dst, int len, int mode, int sf) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  const auto n = static_cast<size_t>(len);
  const S factor = steps_factor<S>(sf);
  with_round(float_round(mode), [&](auto r) {
    [[maybe_unused]] const ControlFor<r()> control;
    if (sf == 0) {
      float_to_int(ToIntLanes<S, D, r(), false>(factor), src, dst, n);
    } else {
      float_to_int(ToIntLanes<S, D, r(), true>(factor), src, dst, n);
    }
  });
  return kplStsOk;
}

// ---- 64f64s: scalar, in the public function's branches ----

// An already scaled value to 64 bits: NaN and values at or below -2^63 give the
// minimum, values at or above 2^63 the maximum.
template <Round R>
Kpl64s round_64s(double x) {
  if (!(x > -0x1p63)) return std::numeric_limits<Kpl64s>::min();
  if (x >= 0x1p63) return std::numeric_limits<Kpl64s>::max();
  if constexpr (R == Round::kNear) {
    return _mm_cvtsd_si64(_mm_set_sd(x));
  } else if constexpr (R == Round::kZero) {
    return static_cast<Kpl64s>(x);
  } else {
    const double y = x >= 0 ? x + 0.5 : x - 0.5;  // in binary64, like the other forms
    return y >= 0x1p63 ? std::numeric_limits<Kpl64s>::max() : static_cast<Kpl64s>(y);
  }
}

template <Round R>
void convert_64f64s(const Kpl64f* s, Kpl64s* d, size_t n, int sf) {
  constexpr double kMax = std::numeric_limits<double>::max(), kMinNormal = std::numeric_limits<double>::min();
  const double f = steps_factor_64f(sf);
  if (sf == 0) {
    for (size_t i = 0; i < n; ++i) d[i] = round_64s<R>(s[i]);
  } else if (sf < 0) {
    // Past the limit the product overflows: saturate by sign. A zero stays zero
    // even when the factor has overflowed to infinity.
    const double limit = kMax / f;
    for (size_t i = 0; i < n; ++i) {
      const double x = s[i];
      if (x != x) {
        d[i] = std::numeric_limits<Kpl64s>::min();
      } else if (std::fabs(x) > limit) {
        d[i] = x > 0 ? std::numeric_limits<Kpl64s>::max() : std::numeric_limits<Kpl64s>::min();
      } else {
        d[i] = x == 0 ? 0 : round_64s<R>(x * f);
      }
    }
  } else {
    // Up to the limit the product is below the smallest normal: zero, with no
    // denormal product formed.
    const double limit = kMinNormal / f;
    for (size_t i = 0; i < n; ++i) {
      const double x = s[i];
      d[i] = std::fabs(x) <= limit ? 0 : round_64s<R>(x * f);
    }
  }
}

// ---- integer to float ----

// Four elements at p widened to 32-bit lanes, straight from memory (the load
// and the extension are one instruction).
template <class S>
__m128i widen4(const S* p) {
  if constexpr (sizeof(S) == 4) {
    return load_i(p);
  } else if constexpr (sizeof(S) == 2) {
    const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return std::is_signed_v<S> ? _mm_cvtepi16_epi32(v) : _mm_cvtepu16_epi32(v);
  } else {
    const __m128i v = _mm_cvtsi32_si128(load_raw<int32_t>(p));
    return std::is_signed_v<S> ? _mm_cvtepi8_epi32(v) : _mm_cvtepu8_epi32(v);
  }
}

// d[i] = float(s[i]) * factor: exact for the 8- and 16-bit types; 32s rounds to
// the current mode, which the caller sets to nearest.
template <bool Scaled, class S>
void int_to_32f(const S* s, Kpl32f* d, size_t n, float factor) {
  const __m128 f = _mm_set1_ps(factor);
  auto four = [&](size_t i) {
    const __m128 v = _mm_cvtepi32_ps(widen4(s + i));
    store_f(d + i, Scaled ? _mm_mul_ps(v, f) : v);
  };
  for_blocks<16>(
      d, n, [&](size_t i) { d[i] = Scaled ? static_cast<float>(s[i]) * factor : static_cast<float>(s[i]); },
      [&](size_t i) { four(i), four(i + 4), four(i + 8), four(i + 12); });
}

// d[i] = double(s[i]) * factor for 16s and 32s: exact before the factor.
template <bool Scaled, class S>
void int_to_64f(const S* s, Kpl64f* d, size_t n, double factor, bool stream) {
  const __m128d f = _mm_set1_pd(factor);
  auto finish = [&](__m128i x) {
    const __m128d v = _mm_cvtepi32_pd(x);
    return Scaled ? _mm_mul_pd(v, f) : v;
  };
  with_store_mode(stream, d, n, [&](auto mode) {
    for_blocks<4>(
        d, n, [&](size_t i) { d[i] = Scaled ? static_cast<double>(s[i]) * factor : static_cast<double>(s[i]); },
        [&](size_t i) {
          __m128i x;
          if constexpr (sizeof(S) == 2) {
            x = _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + i)));
          } else {
            x = load_i(s + i);
          }
          store_i<mode()>(d + i, _mm_castpd_si128(finish(x)));
          store_i<mode()>(d + i + 2, _mm_castpd_si128(finish(_mm_srli_si128(x, 8))));
        });
  });
}

// The factor 2^-s placed in the exponent field of 1.0 (s already clamped).
float exponent_factor_32f(int s) { return std::bit_cast<float>(0x3F800000u - (static_cast<uint32_t>(s) << 23)); }
double exponent_factor_64f(int s) {
  return std::bit_cast<double>((uint64_t{0x3FF00000u} - (static_cast<uint64_t>(static_cast<uint32_t>(s)) << 20)) << 32);
}

void convert_32f64f(const Kpl32f* s, Kpl64f* d, size_t n) {
  with_store_mode(n > kStream32f64f, d, n, [&](auto mode) {
    for_blocks<4>(
        d, n, [&](size_t i) { d[i] = s[i]; },
        [&](size_t i) {
          const __m128 v = load_f(s + i);
          store_i<mode()>(d + i, _mm_castpd_si128(_mm_cvtps_pd(v)));
          store_i<mode()>(d + i + 2, _mm_castpd_si128(_mm_cvtps_pd(_mm_movehl_ps(v, v))));
        });
  });
}

void convert_64f32f(const Kpl64f* s, Kpl32f* d, size_t n) {
  with_store_mode(n > kStream64f32f, d, n, [&](auto mode) {
    for_blocks<4>(
        d, n, [&](size_t i) { d[i] = static_cast<float>(s[i]); },
        [&](size_t i) {
          const __m128 lo = _mm_cvtpd_ps(load_d(s + i)), hi = _mm_cvtpd_ps(load_d(s + i + 2));
          store_i<mode()>(d + i, _mm_castps_si128(_mm_movelh_ps(lo, hi)));
        });
  });
}

// ---- packed 24-bit samples ----

template <bool Signed, class T24>
void convert_24_32f(const T24* s, Kpl32f* d, size_t n) {
  for_packed24(
      d, n, [&](size_t i) { d[i] = Signed ? static_cast<float>(load24s(s + i)) : static_cast<float>(load24u(s + i)); },
      [&](size_t i) {
        const __m128i v = load24_high(s + i);
        store_f(d + i, _mm_cvtepi32_ps(Signed ? _mm_srai_epi32(v, 8) : _mm_srli_epi32(v, 8)));
      });
}

// Always nearest. A NaN takes the lower bound, since the maximum goes first.
template <bool Scaled, class T24>
void convert_32f24(const Kpl32f* s, T24* d, size_t n, float factor, float lower, float upper) {
  const __m128 f = _mm_set1_ps(factor), lo = _mm_set1_ps(lower), hi = _mm_set1_ps(upper);
  auto lanes = [&](__m128 v) {
    if constexpr (Scaled) v = _mm_mul_ps(v, f);
    return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(v, lo), hi));
  };
  for_packed24(
      s, n, [&](size_t i) { store24(d + i, static_cast<uint32_t>(_mm_cvtsi128_si32(lanes(_mm_set_ss(s[i]))))); },
      [&](size_t i) { store24_lanes(d + i, lanes(load_f(s + i))); });
}

template <class T24>
KplStatus f32_to_24_entry(const Kpl32f* src, T24* dst, int len, int sf, float lower, float upper) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  const auto n = static_cast<size_t>(len);
  const ForcedNearest control;
  if (sf == 0) {
    convert_32f24<false>(src, dst, n, 1.0f, lower, upper);
  } else {
    convert_32f24<true>(src, dst, n, steps_factor_32f(clamp_int(sf, kMin32f24, kMax32f24)), lower, upper);
  }
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

// Integer to float. 32s and 64s round to the float's precision to nearest,
// whatever the caller's rounding mode.
KplStatus KPL_IMPL(kplsConvert_8s32f)(const Kpl8s* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  int_to_32f<false>(pSrc, pDst, static_cast<size_t>(len), 1.0f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_8u32f)(const Kpl8u* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  int_to_32f<false>(pSrc, pDst, static_cast<size_t>(len), 1.0f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_16s32f)(const Kpl16s* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  int_to_32f<false>(pSrc, pDst, static_cast<size_t>(len), 1.0f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_16u32f)(const Kpl16u* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  int_to_32f<false>(pSrc, pDst, static_cast<size_t>(len), 1.0f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_32s32f)(const Kpl32s* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const RoundingGuard nearest(Rounding::kNearest);
  int_to_32f<false>(pSrc, pDst, static_cast<size_t>(len), 1.0f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_32s64f)(const Kpl32s* pSrc, Kpl64f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  int_to_64f<false>(pSrc, pDst, static_cast<size_t>(len), 1.0, false);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_32f64f)(const Kpl32f* pSrc, Kpl64f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_32f64f(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_64f32f)(const Kpl64f* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const RoundingGuard nearest(Rounding::kNearest);
  convert_64f32f(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_64s64f)(const Kpl64s* pSrc, Kpl64f* pDst, Kpl32u len) {
  if (KplStatus st = check_unsigned_args(len, pSrc, pDst)) return st;
  const RoundingGuard nearest(Rounding::kNearest);
  for (size_t i = 0; i < len; ++i) pDst[i] = static_cast<double>(pSrc[i]);
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_16s32f_Sfs)(const Kpl16s* pSrc, Kpl32f* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const float f = exponent_factor_32f(clamp_int(scaleFactor, kMin16s32f, kMax16s32f));
  int_to_32f<true>(pSrc, pDst, static_cast<size_t>(len), f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_16s64f_Sfs)(const Kpl16s* pSrc, Kpl64f* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const auto n = static_cast<size_t>(len);
  int_to_64f<true>(pSrc, pDst, n, exponent_factor_64f(clamp_int(scaleFactor, kMin64f, kMax64f)), n > kStream16s64f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_32s32f_Sfs)(const Kpl32s* pSrc, Kpl32f* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const RoundingGuard nearest(Rounding::kNearest);
  const float f = exponent_factor_32f(clamp_int(scaleFactor, kMin32s32f, kMax32s32f));
  int_to_32f<true>(pSrc, pDst, static_cast<size_t>(len), f);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_32s64f_Sfs)(const Kpl32s* pSrc, Kpl64f* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const RoundingGuard nearest(Rounding::kNearest);  // a product past the range overflows alike in every mode
  int_to_64f<true>(pSrc, pDst, static_cast<size_t>(len), exponent_factor_64f(clamp_int(scaleFactor, kMin64f, kMax64f)),
                   false);
  return kplStsOk;
}

// Float to integer.
KplStatus KPL_IMPL(kplsConvert_32f8s_Sfs)(const Kpl32f* pSrc, Kpl8s* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_32f8u_Sfs)(const Kpl32f* pSrc, Kpl8u* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_32f16s_Sfs)(const Kpl32f* pSrc, Kpl16s* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_32f16u_Sfs)(const Kpl32f* pSrc, Kpl16u* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_32f32s_Sfs)(const Kpl32f* pSrc, Kpl32s* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_64f32s_Sfs)(const Kpl64f* pSrc, Kpl32s* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_64f16s_Sfs)(const Kpl64f* pSrc, Kpl16s* pDst, int len, KplRoundMode rndMode, int scaleFactor) {
  return float_to_int_entry(pSrc, pDst, len, rndMode, scaleFactor);
}
KplStatus KPL_IMPL(kplsConvert_64f64s_Sfs)(const Kpl64f* pSrc, Kpl64s* pDst, Kpl32u len, KplRoundMode rndMode,
                                           int scaleFactor) {
  if (KplStatus st = check_unsigned_args(len, pSrc, pDst)) return st;
  // Only 2 is financial here: every value other than 0 and 1 truncates.
  const Round r = rndMode == 1 ? Round::kNear : (rndMode == 2 ? Round::kFin : Round::kZero);
  with_round(r, [&](auto rc) {
    [[maybe_unused]] const ControlFor<rc()> control;
    convert_64f64s<rc()>(pSrc, pDst, len, scaleFactor);
  });
  return kplStsOk;
}

// Packed 24-bit samples.
KplStatus KPL_IMPL(kplsConvert_24s32f)(const Kpl24s* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_24_32f<true>(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_24u32f)(const Kpl24u* pSrc, Kpl32f* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_24_32f<false>(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsConvert_32f24s_Sfs)(const Kpl32f* pSrc, Kpl24s* pDst, int len, int scaleFactor) {
  return f32_to_24_entry(pSrc, pDst, len, scaleFactor, -8388608.0f, 8388607.0f);
}
KplStatus KPL_IMPL(kplsConvert_32f24u_Sfs)(const Kpl32f* pSrc, Kpl24u* pDst, int len, int scaleFactor) {
  return f32_to_24_entry(pSrc, pDst, len, scaleFactor, 0.0f, 16777215.0f);
}
