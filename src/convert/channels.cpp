// Channel forms: Join interleaves channel vectors of floats into one integer
// vector (frame by frame, channel by channel), SplitScaled does the reverse, and
// the scaled forms map the float range [-1, 1] exactly onto the whole integer range.
//
// Frames move in chunks through a small float buffer on the stack: Join gathers
// the channels into interleaved order there and converts the run into the
// destination; Split converts a run of the source there and scatters it to the
// channels. So a conversion always runs on contiguous samples, 16 to a block, and
// a short tail goes through the same block padded: a result never depends on the
// length, the channel count or the position.
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/entry.hpp"
#include "frame/rounding.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

constexpr size_t kConvertBlock = 16;   // samples per conversion block
constexpr size_t kChunkSamples = 512;  // floats in the stack buffer (2 KiB)

// ---- Conversions, 16 samples a block ------------------------------------------

// Float to Kpl16s, nearest with ties to even whatever the caller's rounding mode.
// The minimum comes first with the bound as its second operand, so a NaN of
// either sign becomes 32767, as in the other float to 16-bit conversions.
struct Join16s {
  using In = Kpl32f;
  using Out = Kpl16s;
  static __m128i four(__m128 x) {
    x = _mm_min_ps(x, _mm_set1_ps(32767.0f));
    x = _mm_max_ps(x, _mm_set1_ps(-32768.0f));
    return _mm_cvttps_epi32(_mm_round_ps(x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
  }
  static void block(const In* in, Out* out) {
    for (size_t k = 0; k < kConvertBlock; k += 8)
      store_i(out + k, _mm_packs_epi32(four(load_f(in + k)), four(load_f(in + k + 4))));
  }
};

// The scaled inverse of Split: the integer nearest to (f * (2^B - 1) - 1) / 2,
// ties to even, saturated. With y = f * (2^B - 1) / 2, exact in double, that is
// y - 1/2 rounded: floor(y), except that an integral y is a tie between y - 1 and
// y. For a float f in [-1, 1] y is integral only at 0 (any other would make
// 2y / (2^B - 1) a binary fraction), and there the even neighbour is floor(y)
// itself, so floor(y) is the answer everywhere. Clamping f to [-1, 1] first is the
// saturation, since y = +-(2^B - 1) / 2 gives the bounds themselves; whichever
// clamp runs first decides where a NaN goes. Every step is exact, so the rounding
// mode plays no part, and a denormal f (which the caller's denormals-are-zero mode
// would read as zero) is settled from its bits: 0 when positive, -1 when negative.
template <int Bits, bool NanToLower>
__m128i join_scaled_four(__m128 f) {
  const __m128 one = _mm_set1_ps(1.0f), minus_one = _mm_set1_ps(-1.0f);
  const __m128 c = NanToLower ? _mm_min_ps(_mm_max_ps(f, minus_one), one) : _mm_max_ps(_mm_min_ps(f, one), minus_one);
  const __m128d half_range = _mm_set1_pd(static_cast<double>((1 << Bits) - 1) * 0.5);
  const __m128i lo = _mm_cvttpd_epi32(_mm_floor_pd(_mm_mul_pd(_mm_cvtps_pd(c), half_range)));
  const __m128i hi = _mm_cvttpd_epi32(_mm_floor_pd(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(c, c)), half_range)));
  const __m128i r = _mm_unpacklo_epi64(lo, hi);

  const __m128i bits = _mm_castps_si128(f);
  const __m128i mag = _mm_and_si128(bits, _mm_set1_epi32(0x7FFFFFFF));
  const __m128i denormal =
      _mm_and_si128(_mm_cmpgt_epi32(mag, _mm_setzero_si128()), _mm_cmplt_epi32(mag, _mm_set1_epi32(0x00800000)));
  return _mm_blendv_epi8(r, _mm_srai_epi32(bits, 31), denormal);
}

struct JoinScaled16s {
  using In = Kpl32f;
  using Out = Kpl16s;
  static void block(const In* in, Out* out) {
    for (size_t k = 0; k < kConvertBlock; k += 8)
      store_i(out + k, _mm_packs_epi32(join_scaled_four<16, false>(load_f(in + k)),
                                       join_scaled_four<16, false>(load_f(in + k + 4))));
  }
};

// Kpl24s is three bytes, least significant first: four int32 lanes pack into
// 12 bytes, and four such groups into three full vectors.
struct JoinScaled24s {
  using In = Kpl32f;
  using Out = Kpl24s;
  static void block(const In* in, Out* out) {
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    __m128i p[4];
    for (size_t k = 0; k < 4; ++k) p[k] = _mm_shuffle_epi8(join_scaled_four<24, true>(load_f(in + 4 * k)), pack);
    uint8_t* o = bytes_of(out);
    store_i(o, _mm_or_si128(p[0], _mm_slli_si128(p[1], 12)));
    store_i(o + 16, _mm_or_si128(_mm_srli_si128(p[1], 4), _mm_slli_si128(p[2], 8)));
    store_i(o + 32, _mm_or_si128(_mm_srli_si128(p[2], 8), _mm_slli_si128(p[3], 4)));
  }
};

// x * 2 / (2^B - 1) + 1 / (2^B - 1), as (2x + 1) / (2^B - 1): numerator and
// denominator are exact floats, so one division rounds it correctly (the caller
// runs it in nearest mode). -2^(B-1) gives -1.0 and 2^(B-1) - 1 gives 1.0.
template <int Bits>
__m128 split_scaled_four(__m128i x) {
  const __m128 num = _mm_cvtepi32_ps(_mm_add_epi32(_mm_add_epi32(x, x), _mm_set1_epi32(1)));
  return _mm_div_ps(num, _mm_set1_ps(static_cast<float>((1 << Bits) - 1)));
}

struct SplitScaled16s {
  using In = Kpl16s;
  using Out = Kpl32f;
  static void block(const In* in, Out* out) {
    for (size_t k = 0; k < kConvertBlock; k += 8) {
      const __m128i v = load_i(in + k);
      store_f(out + k, split_scaled_four<16>(_mm_cvtepi16_epi32(v)));
      store_f(out + k + 4, split_scaled_four<16>(_mm_cvtepi16_epi32(_mm_srli_si128(v, 8))));
    }
  }
};

// Three vectors hold 16 samples; each group of four goes to the top three bytes
// of its lanes and an arithmetic shift extends the sign.
struct SplitScaled24s {
  using In = Kpl24s;
  using Out = Kpl32f;
  static void block(const In* in, Out* out) {
    const __m128i unpack = _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
    const uint8_t* b = bytes_of(in);
    const __m128i v0 = load_i(b), v1 = load_i(b + 16), v2 = load_i(b + 32);
    const __m128i groups[4] = {v0, _mm_alignr_epi8(v1, v0, 12), _mm_alignr_epi8(v2, v1, 8), _mm_srli_si128(v2, 4)};
    for (size_t k = 0; k < 4; ++k)
      store_f(out + 4 * k, split_scaled_four<24>(_mm_srai_epi32(_mm_shuffle_epi8(groups[k], unpack), 8)));
  }
};

// n contiguous samples through Op's block; the tail is padded into a block of
// its own, so it gets exactly the same arithmetic and touches nothing past n.
template <class Op>
void convert_run(const typename Op::In* in, typename Op::Out* out, size_t n) {
  size_t i = 0;
  for (; i + kConvertBlock <= n; i += kConvertBlock) Op::block(in + i, out + i);
  if (i == n) return;
  typename Op::In tail_in[kConvertBlock] = {};
  typename Op::Out tail_out[kConvertBlock];
  std::memcpy(tail_in, in + i, (n - i) * sizeof(tail_in[0]));
  Op::block(tail_in, tail_out);
  std::memcpy(out + i, tail_out, (n - i) * sizeof(tail_out[0]));
}

// ---- Interleaving through the stack buffer -------------------------------------

// Calls f(frame, frames, channel, channels) for chunks of at most kChunkSamples
// samples that are contiguous in the interleaved vector: whole frames while a
// frame fits in the buffer, pieces of one frame otherwise.
template <class F>
void for_chunks(size_t channels, size_t frames, F&& f) {
  if (channels <= kChunkSamples) {
    const size_t per_chunk = kChunkSamples / channels;
    for (size_t f0 = 0; f0 < frames; f0 += per_chunk) f(f0, std::min(per_chunk, frames - f0), size_t{0}, channels);
  } else {
    for (size_t f0 = 0; f0 < frames; ++f0)
      for (size_t c0 = 0; c0 < channels; c0 += kChunkSamples) f(f0, size_t{1}, c0, std::min(kChunkSamples, channels - c0));
  }
}

// buf[f * nch + c] = src[c][f0 + f], for f < frames and c < nch.
void gather(const Kpl32f* const* src, size_t f0, size_t frames, size_t nch, float* buf) {
  if (nch == 2) {
    const float *a = src[0] + f0, *b = src[1] + f0;
    size_t f = 0;
    for (; f + 4 <= frames; f += 4) {
      const __m128 x = load_f(a + f), y = load_f(b + f);
      store_f(buf + 2 * f, _mm_unpacklo_ps(x, y));
      store_f(buf + 2 * f + 4, _mm_unpackhi_ps(x, y));
    }
    for (; f < frames; ++f) {
      buf[2 * f] = a[f];
      buf[2 * f + 1] = b[f];
    }
    return;
  }
  for (size_t c = 0; c < nch; ++c) {
    const float* p = src[c] + f0;
    for (size_t f = 0; f < frames; ++f) buf[f * nch + c] = p[f];
  }
}

// dst[c][f0 + f] = buf[f * nch + c], the reverse of gather.
void scatter(const float* buf, size_t f0, size_t frames, size_t nch, Kpl32f* const* dst) {
  if (nch == 2) {
    float *a = dst[0] + f0, *b = dst[1] + f0;
    size_t f = 0;
    for (; f + 4 <= frames; f += 4) {
      const __m128 x = load_f(buf + 2 * f), y = load_f(buf + 2 * f + 4);
      store_f(a + f, _mm_shuffle_ps(x, y, _MM_SHUFFLE(2, 0, 2, 0)));
      store_f(b + f, _mm_shuffle_ps(x, y, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    for (; f < frames; ++f) {
      a[f] = buf[2 * f];
      b[f] = buf[2 * f + 1];
    }
    return;
  }
  for (size_t c = 0; c < nch; ++c) {
    float* p = dst[c] + f0;
    for (size_t f = 0; f < frames; ++f) p[f] = buf[f * nch + c];
  }
}

// ---- Entries -------------------------------------------------------------------

// The interleaved pointer first, then the counts, then the channel array and each
// channel in order.
template <class P>
KplStatus check_channel_args(const void* interleaved, P* const* channels, int nChannels, int chanLen) {
  if (interleaved == nullptr) return kplStsNullPointer;
  if (nChannels < 1 || chanLen < 1) return kplStsBadSize;
  if (channels == nullptr) return kplStsNullPointer;
  for (int c = 0; c < nChannels; ++c)
    if (channels[c] == nullptr) return kplStsNullPointer;
  return kplStsOk;
}

template <class Op>
KplStatus join(const Kpl32f* const* src, int nChannels, int chanLen, typename Op::Out* dst) {
  if (KplStatus st = check_channel_args(dst, src, nChannels, chanLen)) return st;
  const size_t channels = static_cast<size_t>(nChannels), frames = static_cast<size_t>(chanLen);
  if (channels == 1) {
    convert_run<Op>(src[0], dst, frames);
    return kplStsOk;
  }
  alignas(16) float buf[kChunkSamples];
  for_chunks(channels, frames, [&](size_t f0, size_t nf, size_t c0, size_t nc) {
    gather(src + c0, f0, nf, nc, buf);
    convert_run<Op>(buf, dst + f0 * channels + c0, nf * nc);
  });
  return kplStsOk;
}

template <class Op>
KplStatus split(const typename Op::In* src, Kpl32f* const* dst, int nChannels, int chanLen) {
  if (KplStatus st = check_channel_args(src, dst, nChannels, chanLen)) return st;
  const RoundingGuard nearest(Rounding::kNearest);
  const size_t channels = static_cast<size_t>(nChannels), frames = static_cast<size_t>(chanLen);
  if (channels == 1) {
    convert_run<Op>(src, dst[0], frames);
    return kplStsOk;
  }
  alignas(16) float buf[kChunkSamples];
  for_chunks(channels, frames, [&](size_t f0, size_t nf, size_t c0, size_t nc) {
    convert_run<Op>(src + f0 * channels + c0, buf, nf * nc);
    scatter(buf, f0, nf, nc, dst + c0);
  });
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsJoin_32f16s_D2L)(const Kpl32f* const* pSrc, int nChannels, int chanLen, Kpl16s* pDst) {
  return join<Join16s>(pSrc, nChannels, chanLen, pDst);
}
KplStatus KPL_IMPL(kplsJoinScaled_32f16s_D2L)(const Kpl32f* const* pSrc, int nChannels, int chanLen, Kpl16s* pDst) {
  return join<JoinScaled16s>(pSrc, nChannels, chanLen, pDst);
}
KplStatus KPL_IMPL(kplsJoinScaled_32f24s_D2L)(const Kpl32f* const* pSrc, int nChannels, int chanLen, Kpl24s* pDst) {
  return join<JoinScaled24s>(pSrc, nChannels, chanLen, pDst);
}
KplStatus KPL_IMPL(kplsSplitScaled_16s32f_D2L)(const Kpl16s* pSrc, Kpl32f** pDst, int nChannels, int chanLen) {
  return split<SplitScaled16s>(pSrc, pDst, nChannels, chanLen);
}
KplStatus KPL_IMPL(kplsSplitScaled_24s32f_D2L)(const Kpl24s* pSrc, Kpl32f** pDst, int nChannels, int chanLen) {
  return split<SplitScaled24s>(pSrc, pDst, nChannels, chanLen);
}
