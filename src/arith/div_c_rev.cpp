// src/arith/div_c_rev.cpp: DivCRev_16u, the constant divided by each element.
// (DivCRev_32f runs the Div_32f kernel with the constant as the dividend and
// lives beside it in div.cpp.)
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/parallel.hpp"
#include "frame/rounding.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Length from which a call is split over two threads.
constexpr size_t kDivCRev16uThreadsFrom = 2048;

// val / x by the approximate reciprocal of the float element with one refinement,
// limited to 65,535 and converted with the current rounding. A zero element gives
// 65,535 and is reported.
struct ReciprocalQuotient16u {
  explicit ReciprocalQuotient16u(Kpl16u val) : v(_mm_set1_ps(static_cast<float>(val))) {}
  __m128i lanes(__m128i x, int& zeros) const {
    const __m128i z = _mm_cmpeq_epi32(x, _mm_setzero_si128());
    zeros |= _mm_movemask_epi8(z);
    const __m128 xf = _mm_cvtepi32_ps(x);
    const __m128 r = _mm_rcp_ps(xf);
    const __m128 r1 = _mm_mul_ps(r, _mm_sub_ps(_mm_set1_ps(2.0f), _mm_mul_ps(xf, r)));
    const __m128 q = _mm_min_ps(_mm_mul_ps(v, r1), _mm_set1_ps(65535.0f));
    return _mm_blendv_epi8(_mm_cvtps_epi32(q), _mm_set1_epi32(65535), z);
  }
  __m128 v;
};

// The element alone runs in lane 0 of the same sequence (the other lanes hold 1),
// so a result never depends on the length or the alignment.
bool div_crev_16u(const ReciprocalQuotient16u& op, const Kpl16u* s, Kpl16u* d, size_t n) {
  int zeros = 0;
  for_blocks<8>(
      d, n, [&](size_t i) { d[i] = static_cast<Kpl16u>(_mm_cvtsi128_si32(op.lanes(_mm_setr_epi32(s[i], 1, 1, 1), zeros))); },
      [&](size_t i) {
        const __m128i v = load_i(s + i);
        const __m128i lo = op.lanes(_mm_cvtepu16_epi32(v), zeros), hi = op.lanes(_mm_cvtepu16_epi32(_mm_srli_si128(v, 8)), zeros);
        store_i(d + i, _mm_packus_epi32(lo, hi));
      });
  return zeros != 0;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsDivCRev_16u)(const Kpl16u* pSrc, Kpl16u val, Kpl16u* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  const size_t n = static_cast<size_t>(len);
  if (val == 0) {
    // 0 / x is 0 everywhere; a zero element is still reported (scanned before the fill).
    bool zero = false;
    for (size_t i = 0; i < n && !zero; ++i) zero = pSrc[i] == 0;
    KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(pDst), len);
    return zero ? kplStsWarnDivByZero : kplStsOk;
  }
  const ReciprocalQuotient16u op(val);
  bool flagged;
  if (n < kDivCRev16uThreadsFrom) {
    flagged = div_crev_16u(op, pSrc, pDst, n);
  } else {
    flagged = parallel_slices(n, TeamCap::kTwo, [&](size_t i, size_t c) {
                return div_crev_16u(op, pSrc + i, pDst + i, c);
              }) != 0;
  }
  return flagged ? kplStsWarnDivByZero : kplStsOk;
}
KplStatus KPL_IMPL(kplsDivCRev_16u_I)(Kpl16u val, Kpl16u* pSrcDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrcDst)) return st;
  return KPL_IMPL(kplsDivCRev_16u)(pSrcDst, val, pSrcDst, len);
}
