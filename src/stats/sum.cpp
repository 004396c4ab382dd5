// Sum in every type, and the accumulation kernels that Mean and StdDev share.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/saturate.hpp"
#include "frame/scale.hpp"
#include "frame/simd.hpp"
#include "stats/accumulate.hpp"

namespace kpl {
inline namespace q5 {

// Accumulator j takes float 8k + j; what is left of the last group goes to the
// first accumulator of its part; the tree is ((a0+a1)+(a2+a3))+((a4+a5)+(a6+a7))
// for one part, and (a0+a2)+(a4+a6), (a1+a3)+(a5+a7) for the two of a complex.
// The eight fill the x87 stack; each add of a float from memory is one
// instruction, so the loop runs at the unit's add throughput.
void sum_32f_accurate(const float* x, size_t n, int parts, long double* out) {
  const size_t floats = n * static_cast<size_t>(parts), groups = floats / 8;
  long double a0 = 0, a1 = 0, a2 = 0, a3 = 0, a4 = 0, a5 = 0, a6 = 0, a7 = 0;
  const float* p = x;
  for (size_t g = 0; g < groups; ++g, p += 8) {
    a0 += p[0];
    a1 += p[1];
    a2 += p[2];
    a3 += p[3];
    a4 += p[4];
    a5 += p[5];
    a6 += p[6];
    a7 += p[7];
  }
  long double a[8] = {a0, a1, a2, a3, a4, a5, a6, a7};
  for (size_t i = groups * 8; i < floats; i += static_cast<size_t>(parts)) {
    a[0] += x[i];
    if (parts == 2) a[1] += x[i + 1];
  }
  if (parts == 1) {
    out[0] = ((a[0] + a[1]) + (a[2] + a[3])) + ((a[4] + a[5]) + (a[6] + a[7]));
  } else {
    out[0] = (a[0] + a[2]) + (a[4] + a[6]);
    out[1] = (a[1] + a[3]) + (a[5] + a[7]);
  }
}

namespace {

// One block of the fast sum: four vectors take 16 floats a round and meet as
// (v0 + v2) + (v1 + v3); the rest goes in by 4, by 2 (lanes 0 and 1) and by 1
// (lane 0); lanes fold to t0 = l0 + l2, t1 = l1 + l3, the two halves of a
// complex element.
void fast_block(const float* x, size_t m, float& t0, float& t1) {
  __m128 v0 = _mm_setzero_ps(), v1 = v0, v2 = v0, v3 = v0;
  size_t j = 0;
  for (; j + 16 <= m; j += 16) {
    v0 = _mm_add_ps(v0, _mm_loadu_ps(x + j));
    v1 = _mm_add_ps(v1, _mm_loadu_ps(x + j + 4));
    v2 = _mm_add_ps(v2, _mm_loadu_ps(x + j + 8));
    v3 = _mm_add_ps(v3, _mm_loadu_ps(x + j + 12));
  }
  __m128 s = _mm_add_ps(_mm_add_ps(v0, v2), _mm_add_ps(v1, v3));
  for (; j + 4 <= m; j += 4) s = _mm_add_ps(s, _mm_loadu_ps(x + j));
  // The loads below assume no alignment: a source that is not even on a 4-byte
  // boundary runs through here too.
  if (j + 2 <= m) {
    const __m128 pair = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(x + j)));
    s = _mm_blend_ps(s, _mm_add_ps(s, pair), 0x3);  // lanes 2 and 3 untouched
    j += 2;
  }
  if (j < m) s = _mm_add_ss(s, _mm_set_ss(load_raw<float>(x + j)));
  const __m128 folded = _mm_add_ps(s, _mm_movehl_ps(s, s));
  t0 = _mm_cvtss_f32(folded);
  t1 = _mm_cvtss_f32(_mm_shuffle_ps(folded, folded, 1));
}

}  // namespace

// Head one element at a time into the extended accumulators until the pointer is
// on a 16-byte boundary (a pointer that no element step can align gets no head),
// then blocks of kFastSumBlock elements, each block's two lanes added in.
void sum_32f_fast(const float* x, size_t n, int parts, long double* out) {
  const size_t step = static_cast<size_t>(parts), floats = n * step;
  long double a0 = 0, a1 = 0;
  size_t i = 0;
  const uintptr_t addr = reinterpret_cast<uintptr_t>(x);
  if (addr % (4 * step) == 0) {
    for (; i < floats && ((addr + 4 * i) & 15) != 0; i += step) {
      a0 += x[i];
      if (parts == 2) a1 += x[i + 1];
    }
  }
  const size_t block = kFastSumBlock * step;
  while (i < floats) {
    const size_t m = floats - i < block ? floats - i : block;
    float t0, t1;
    fast_block(x + i, m, t0, t1);
    a0 += t0;
    if (parts == 2) {
      a1 += t1;
    } else {
      a0 += t1;
    }
    i += m;
  }
  out[0] = a0;
  if (parts == 2) out[1] = a1;
}

// Eight double accumulators a0..a7 in four vectors, a_j taking element 8k + j.
// One part: an element 8 bytes off a 16-byte boundary goes to a0 first; the
// accumulators fold to (a0+a2)+(a4+a6) and (a1+a3)+(a5+a7); the rest goes in by
// 4, 2 and 1; the sum is the second plus the first. Two parts (64fc): the
// vectors hold (re, im) pairs, no head, and the two folds are the parts.
void sum_64f(const double* x, size_t n, int parts, double* out) {
  const size_t total = n * static_cast<size_t>(parts);
  __m128d v0 = _mm_setzero_pd(), v1 = v0, v2 = v0, v3 = v0;
  size_t i = 0;
  if (parts == 1 && (reinterpret_cast<uintptr_t>(x) & 15) == 8 && total > 0) {
    v0 = _mm_add_sd(v0, _mm_load_sd(x));
    i = 1;
  }
  for (; i + 8 <= total; i += 8) {
    v0 = _mm_add_pd(v0, _mm_loadu_pd(x + i));
    v1 = _mm_add_pd(v1, _mm_loadu_pd(x + i + 2));
    v2 = _mm_add_pd(v2, _mm_loadu_pd(x + i + 4));
    v3 = _mm_add_pd(v3, _mm_loadu_pd(x + i + 6));
  }
  __m128d f = _mm_add_pd(_mm_add_pd(v0, v1), _mm_add_pd(v2, v3));
  if (total - i >= 4) {
    f = _mm_add_pd(f, _mm_loadu_pd(x + i));
    f = _mm_add_pd(f, _mm_loadu_pd(x + i + 2));
    i += 4;
  }
  if (total - i >= 2) {
    f = _mm_add_pd(f, _mm_loadu_pd(x + i));
    i += 2;
  }
  if (i < total) f = _mm_add_sd(f, _mm_load_sd(x + i));
  const double lo = _mm_cvtsd_f64(f), hi = _mm_cvtsd_f64(_mm_unpackhi_pd(f, f));
  if (parts == 1) {
    out[0] = hi + lo;
  } else {
    out[0] = lo, out[1] = hi;
  }
}

namespace {

// Exact sums of 16-bit elements: pmaddwd against a weight vector adds pairs into
// 32-bit lanes (weights 1,1 sum a real vector; 1,0 and 0,1 pick the parts of a
// complex one); the lanes are emptied into 64 bits before they could overflow.
template <int Parts>
void sum_16_lanes(const int16_t* x, size_t count, int64_t* out) {
  const __m128i w0 = Parts == 1 ? _mm_set1_epi16(1) : _mm_set1_epi32(1);
  const __m128i w1 = _mm_set1_epi32(0x10000);
  int64_t s0 = 0, s1 = 0;
  size_t i = 0;
  auto lanes_sum = [](__m128i v) {
    alignas(16) int32_t l[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(l), v);
    return int64_t{l[0]} + l[1] + l[2] + l[3];
  };
  while (count - i >= 8) {
    const size_t end = i + (count - i < kLaneFlush16s ? count - i : kLaneFlush16s);
    __m128i p0 = _mm_setzero_si128(), p1 = p0;
    for (; i + 8 <= end; i += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i));
      p0 = _mm_add_epi32(p0, _mm_madd_epi16(v, w0));
      if constexpr (Parts == 2) p1 = _mm_add_epi32(p1, _mm_madd_epi16(v, w1));
    }
    s0 += lanes_sum(p0);
    if constexpr (Parts == 2) s1 += lanes_sum(p1);
  }
  for (; i < count; i += Parts) {
    s0 += x[i];
    if constexpr (Parts == 2) s1 += x[i + 1];
  }
  out[0] = s0;
  if constexpr (Parts == 2) out[1] = s1;
}

}  // namespace

int64_t sum_16s(const int16_t* x, size_t n) {
  int64_t s;
  sum_16_lanes<1>(x, n, &s);
  return s;
}

void sum_16sc(const Kpl16sc* x, size_t n, int64_t out[2]) { sum_16_lanes<2>(reinterpret_cast<const int16_t*>(x), 2 * n, out); }

// Four 64-bit lanes, two elements each widened by sign.
int64_t sum_32s(const int32_t* x, size_t n) {
  __m128i a0 = _mm_setzero_si128(), a1 = a0;
  size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i));
    a0 = _mm_add_epi64(a0, _mm_cvtepi32_epi64(v));
    a1 = _mm_add_epi64(a1, _mm_cvtepi32_epi64(_mm_unpackhi_epi64(v, v)));
  }
  const __m128i a = _mm_add_epi64(a0, a1);
  int64_t s = _mm_cvtsi128_si64(a) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(a, a));
  for (; i < n; ++i) s += x[i];
  return s;
}

}  // namespace q5
}  // namespace kpl

namespace {

using namespace kpl;

template <class T>
KplStatus sum_scaled_16s(const Kpl16s* pSrc, int len, T* pSum, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  *pSum = scale_exact<T>(sum_16s(pSrc, static_cast<size_t>(len)), scaleFactor);
  return kplStsOk;
}

template <class C>
KplStatus sum_scaled_16sc(const Kpl16sc* pSrc, int len, C* pSum, int scaleFactor) {
  using T = decltype(C::re);
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  int64_t s[2];
  sum_16sc(pSrc, static_cast<size_t>(len), s);
  pSum->re = scale_exact<T>(s[0], scaleFactor);
  pSum->im = scale_exact<T>(s[1], scaleFactor);
  return kplStsOk;
}

}  // namespace

// The integer sums are exact, then scaled by the library's one rule in integers:
// for sums below 2^62 that is bit for bit what halving or doubling in double,
// clamping and rounding to even give, and it needs no rounding mode.
KplStatus KPL_IMPL(kplsSum_32f)(const Kpl32f* pSrc, int len, Kpl32f* pSum, KplHintAlgorithm hint) {
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  double s;
  sum_32f_by_hint(pSrc, static_cast<size_t>(len), 1, hint, &s);
  *pSum = static_cast<float>(s);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsSum_32fc)(const Kpl32fc* pSrc, int len, Kpl32fc* pSum, KplHintAlgorithm hint) {
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  double s[2];
  sum_32f_by_hint(&pSrc->re, static_cast<size_t>(len), 2, hint, s);
  pSum->re = static_cast<float>(s[0]), pSum->im = static_cast<float>(s[1]);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsSum_64f)(const Kpl64f* pSrc, int len, Kpl64f* pSum) {
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  sum_64f(pSrc, static_cast<size_t>(len), 1, pSum);
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsSum_64fc)(const Kpl64fc* pSrc, int len, Kpl64fc* pSum) {
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  double s[2];
  sum_64f(&pSrc->re, static_cast<size_t>(len), 2, s);
  pSum->re = s[0], pSum->im = s[1];
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsSum_16s_Sfs)(const Kpl16s* pSrc, int len, Kpl16s* pSum, int sf) { return sum_scaled_16s(pSrc, len, pSum, sf); }
KplStatus KPL_IMPL(kplsSum_16sc_Sfs)(const Kpl16sc* pSrc, int len, Kpl16sc* pSum, int sf) { return sum_scaled_16sc(pSrc, len, pSum, sf); }
KplStatus KPL_IMPL(kplsSum_16s32s_Sfs)(const Kpl16s* pSrc, int len, Kpl32s* pSum, int sf) { return sum_scaled_16s(pSrc, len, pSum, sf); }
KplStatus KPL_IMPL(kplsSum_16sc32sc_Sfs)(const Kpl16sc* pSrc, int len, Kpl32sc* pSum, int sf) { return sum_scaled_16sc(pSrc, len, pSum, sf); }
KplStatus KPL_IMPL(kplsSum_32s_Sfs)(const Kpl32s* pSrc, int len, Kpl32s* pSum, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pSum)) return st;
  *pSum = scale_exact<Kpl32s>(sum_32s(pSrc, static_cast<size_t>(len)), scaleFactor);
  return kplStsOk;
}
