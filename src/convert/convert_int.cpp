// Convert between integer types, packed 24-bit samples included: widening,
// saturating narrowing, and the scaled narrowing forms with their rounding modes.
#include <limits>

#include "convert/convert_kernels.hpp"
#include "frame/saturate.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Cache-bypassing stores above these counts (a third of about 4 MiB of traffic).
constexpr size_t kStream16s32s = 0xAAAAA;
constexpr size_t kStream32s16s = 0xAAAAA;

// Scale-factor ranges: past them the result no longer changes.
constexpr int kMin32s16s = -15, kMax32s16s = 31;
constexpr int kMin32s24 = -31, kMax32s24 = 31;
constexpr int kMin16s8s = -7, kMax16s8s = 17;  // below -6 any non-zero saturates; above 17 all is zero
constexpr int kMin64s32s = -31, kMax64s32s = 63;

constexpr int32_t kMax24s = 0x7FFFFF, kMin24s = -0x800000;
constexpr uint32_t kMax24u = 0xFFFFFF;

// x / 2^s rounded by R on 32-bit lanes (signed or not), s from 1 to 31: the floor
// plus a carry taken from the remainder, so nothing can overflow.
template <Round R, bool Signed>
class LaneRound {
 public:
  explicit LaneRound(int s)
      : count_(_mm_cvtsi32_si128(s)), mask_(_mm_set1_epi32(static_cast<int>((1u << s) - 1))),
        half_(_mm_set1_epi32(static_cast<int>(1u << (s - 1)))) {}
  __m128i operator()(__m128i x) const {
    const __m128i q = Signed ? _mm_sra_epi32(x, count_) : _mm_srl_epi32(x, count_);
    const __m128i r = _mm_and_si128(x, mask_);  // below 2^31: compares as signed
    const __m128i above = _mm_cmpgt_epi32(r, half_), tie = _mm_cmpeq_epi32(r, half_);
    const __m128i negative = Signed ? _mm_cmpgt_epi32(_mm_setzero_si128(), x) : _mm_setzero_si128();
    __m128i up;
    if constexpr (R == Round::kNear) {
      const __m128i odd = _mm_srai_epi32(_mm_slli_epi32(q, 31), 31);
      up = _mm_or_si128(above, _mm_and_si128(tie, odd));
    } else if constexpr (R == Round::kZero) {
      up = _mm_andnot_si128(_mm_cmpeq_epi32(r, _mm_setzero_si128()), negative);
    } else {
      up = _mm_or_si128(above, _mm_andnot_si128(negative, tie));  // a tie goes away from zero
    }
    return _mm_sub_epi32(q, up);
  }

 private:
  __m128i count_, mask_, half_;
};

// The scaled narrowing of 32-bit lanes to [lo, hi] for one scale class: none
// (s = 0), down (a rounding shift) or up (a left shift that saturates: a value
// past the largest that survives the shift goes to the bound).
enum class Shift { kNone, kDown, kUp };

template <Shift K, Round R, bool Signed>
class LaneScale {
 public:
  LaneScale(int s, int32_t lo, int32_t hi)
      : round_(K == Shift::kDown ? s : 1), up_(_mm_cvtsi32_si128(K == Shift::kUp ? -s : 0)),
        lo_(_mm_set1_epi32(lo)), hi_(_mm_set1_epi32(hi)),
        lo_up_(_mm_set1_epi32(K == Shift::kUp ? -static_cast<int32_t>(static_cast<uint32_t>(-lo) >> -s) : lo)),
        hi_up_(_mm_set1_epi32(static_cast<int32_t>(K == Shift::kUp ? static_cast<uint32_t>(hi) >> -s
                                                                   : static_cast<uint32_t>(hi)))) {}
  __m128i operator()(__m128i x) const {
    if constexpr (K == Shift::kDown) x = round_(x);
    if constexpr (K == Shift::kUp) {
      const __m128i past_hi = Signed ? _mm_cmpgt_epi32(x, hi_up_) : not_below_or_equal(x, hi_up_);
      __m128i y = _mm_sll_epi32(x, up_);
      y = _mm_blendv_epi8(y, hi_, past_hi);
      if constexpr (Signed) y = _mm_blendv_epi8(y, lo_, _mm_cmplt_epi32(x, lo_up_));
      return y;
    } else if constexpr (Signed) {
      return _mm_max_epi32(_mm_min_epi32(x, hi_), lo_);
    } else {
      return _mm_min_epu32(x, hi_);
    }
  }

 private:
  static __m128i not_below_or_equal(__m128i x, __m128i limit) {
    return _mm_xor_si128(_mm_cmpeq_epi32(_mm_min_epu32(x, limit), x), _mm_set1_epi32(-1));
  }
  LaneRound<R, Signed> round_;
  __m128i up_, lo_, hi_, lo_up_, hi_up_;
};

// Calls f(LaneScale<...>) for the class of s (already clamped).
template <Round R, bool Signed, class F>
void with_lane_scale(int s, int32_t lo, int32_t hi, F&& f) {
  if (s == 0) {
    f(LaneScale<Shift::kNone, R, Signed>(s, lo, hi));
  } else if (s > 0) {
    f(LaneScale<Shift::kDown, R, Signed>(s, lo, hi));
  } else {
    f(LaneScale<Shift::kUp, R, Signed>(s, lo, hi));
  }
}

// One element through a lane operation: the scalar steps give the block's values.
template <class Op>
int32_t one_lane(const Op& op, int32_t x) {
  return _mm_cvtsi128_si32(op(_mm_cvtsi32_si128(x)));
}

// ---- widening and plain narrowing ----

void convert_8s16s(const Kpl8s* s, Kpl16s* d, size_t n) {
  for_blocks<8>(
      d, n, [&](size_t i) { d[i] = s[i]; },
      [&](size_t i) { store_i(d + i, _mm_cvtepi8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + i)))); });
}

void convert_16s32s(const Kpl16s* s, Kpl32s* d, size_t n) {
  stream_above(kStream16s32s, d, n, [&](auto mode) {
    for_blocks<8>(
        d, n, [&](size_t i) { d[i] = s[i]; },
        [&](size_t i) {
          const __m128i v = load_i(s + i);
          store_i<mode()>(d + i, _mm_cvtepi16_epi32(v));
          store_i<mode()>(d + i + 4, _mm_cvtepi16_epi32(_mm_srli_si128(v, 8)));
        });
  });
}

// 32-bit lanes to 16 bits through op, which leaves them in range or lets the
// signed pack saturate them.
template <class Op>
void narrow_32s16s(const Op& op, const Kpl32s* s, Kpl16s* d, size_t n, bool stream) {
  with_store_mode(stream, d, n, [&](auto mode) {
    for_blocks<8>(
        d, n, [&](size_t i) { d[i] = saturate<Kpl16s>(one_lane(op, s[i])); },
        [&](size_t i) { store_i<mode()>(d + i, _mm_packs_epi32(op(load_i(s + i)), op(load_i(s + i + 4)))); });
  });
}

struct Unchanged {
  __m128i operator()(__m128i x) const { return x; }
};

// ---- 16s8s: sixteen elements a pass, as 32-bit lanes ----

template <class Op>
void narrow_16s8s(const Op& op, const Kpl16s* s, Kpl8s* d, size_t n) {
  for_blocks<16>(
      d, n, [&](size_t i) { d[i] = static_cast<Kpl8s>(one_lane(op, s[i])); },
      [&](size_t i) {
        const __m128i a = load_i(s + i), b = load_i(s + i + 8);
        const __m128i lo = _mm_packs_epi32(op(_mm_cvtepi16_epi32(a)), op(_mm_cvtepi16_epi32(_mm_srli_si128(a, 8))));
        const __m128i hi = _mm_packs_epi32(op(_mm_cvtepi16_epi32(b)), op(_mm_cvtepi16_epi32(_mm_srli_si128(b, 8))));
        store_i(d + i, _mm_packs_epi16(lo, hi));
      });
}

// ---- 64s32s: scalar, in 64 bits ----

// x / 2^s by mode for s from 1 to 63: the floor plus a carry from the remainder.
int64_t round_down_64(int64_t x, int s, Round r) {
  const int64_t q = x >> s;
  const uint64_t rem = static_cast<uint64_t>(x) & ((uint64_t{1} << s) - 1), half = uint64_t{1} << (s - 1);
  bool up;
  if (r == Round::kNear) {
    up = rem > half || (rem == half && (q & 1));
  } else if (r == Round::kZero) {
    up = x < 0 && rem != 0;
  } else {
    up = rem > half || (rem == half && x >= 0);
  }
  return q + (up ? 1 : 0);
}

template <Round R>
void convert_64s32s(const Kpl64s* s, Kpl32s* d, size_t n, int sf) {
  constexpr int64_t hi = std::numeric_limits<Kpl32s>::max(), lo = std::numeric_limits<Kpl32s>::min();
  if (sf == 0) {
    for (size_t i = 0; i < n; ++i) d[i] = saturate<Kpl32s>(s[i]);
  } else if (sf > 0) {
    for (size_t i = 0; i < n; ++i) d[i] = saturate<Kpl32s>(round_down_64(s[i], sf, R));
  } else {
    const int k = -sf;
    for (size_t i = 0; i < n; ++i) {
      const int64_t x = s[i];  // compared with the largest value that survives the shift
      d[i] = x > (hi >> k) ? static_cast<Kpl32s>(hi) : (x < (lo >> k) ? static_cast<Kpl32s>(lo) : static_cast<Kpl32s>(x * (int64_t{1} << k)));
    }
  }
}

// ---- packed 24-bit samples ----

void convert_24s32s(const Kpl24s* s, Kpl32s* d, size_t n) {
  for_packed24(
      d, n, [&](size_t i) { d[i] = load24s(s + i); },
      [&](size_t i) { store_i(d + i, _mm_srai_epi32(load24_high(s + i), 8)); });
}

void convert_24u32u(const Kpl24u* s, Kpl32u* d, size_t n) {
  for_packed24(
      d, n, [&](size_t i) { d[i] = load24u(s + i); },
      [&](size_t i) { store_i(d + i, _mm_srli_epi32(load24_high(s + i), 8)); });
}

template <class S, class Op, class T24>
void narrow_to_24(const Op& op, const S* s, T24* d, size_t n) {
  for_packed24(
      s, n, [&](size_t i) { store24(d + i, static_cast<uint32_t>(one_lane(op, static_cast<int32_t>(s[i])))); },
      [&](size_t i) { store24_lanes(d + i, op(load_i(s + i))); });
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsConvert_8s16s)(const Kpl8s* pSrc, Kpl16s* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_8s16s(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_16s32s)(const Kpl16s* pSrc, Kpl32s* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_16s32s(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_32s16s)(const Kpl32s* pSrc, Kpl16s* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const auto n = static_cast<size_t>(len);
  narrow_32s16s(Unchanged{}, pSrc, pDst, n, n > kStream32s16s);
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_16s8s_Sfs)(const Kpl16s* pSrc, Kpl8s* pDst, Kpl32u len, KplRoundMode rndMode,
                                          int scaleFactor) {
  if (KplStatus st = check_unsigned_args(len, pSrc, pDst)) return st;
  const int s = clamp_int(scaleFactor, kMin16s8s, kMax16s8s);
  with_round(float_round(rndMode), [&](auto r) {
    with_lane_scale<r(), true>(s, -128, 127, [&](const auto& op) { narrow_16s8s(op, pSrc, pDst, len); });
  });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_32s16s_Sfs)(const Kpl32s* pSrc, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const int s = clamp_int(scaleFactor, kMin32s16s, kMax32s16s);
  with_lane_scale<Round::kNear, true>(s, -32768, 32767, [&](const auto& op) {
    narrow_32s16s(op, pSrc, pDst, static_cast<size_t>(len), false);
  });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_64s32s_Sfs)(const Kpl64s* pSrc, Kpl32s* pDst, int len, KplRoundMode rndMode,
                                           int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const int s = clamp_int(scaleFactor, kMin64s32s, kMax64s32s);
  with_round(float_round(rndMode), [&](auto r) { convert_64s32s<r()>(pSrc, pDst, static_cast<size_t>(len), s); });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_24s32s)(const Kpl24s* pSrc, Kpl32s* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_24s32s(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_24u32u)(const Kpl24u* pSrc, Kpl32u* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  convert_24u32u(pSrc, pDst, static_cast<size_t>(len));
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_32s24s_Sfs)(const Kpl32s* pSrc, Kpl24s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const int s = clamp_int(scaleFactor, kMin32s24, kMax32s24);
  with_lane_scale<Round::kNear, true>(s, kMin24s, kMax24s, [&](const auto& op) {
    narrow_to_24(op, pSrc, pDst, static_cast<size_t>(len));
  });
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsConvert_32u24u_Sfs)(const Kpl32u* pSrc, Kpl24u* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const int s = clamp_int(scaleFactor, kMin32s24, kMax32s24);
  with_lane_scale<Round::kNear, false>(s, 0, static_cast<int32_t>(kMax24u), [&](const auto& op) {
    narrow_to_24(op, pSrc, pDst, static_cast<size_t>(len));
  });
  return kplStsOk;
}
