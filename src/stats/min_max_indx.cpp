// MinIndx, MaxIndx, MinMaxIndx, MinAbsIndx and MaxAbsIndx: the extreme comes from
// the value entry of the same type (so it is always the value Min, Max, MinMax,
// MinAbs or MaxAbs gives, NaNs included), then one forward scan of 128-bit
// compares finds the first element equal to it. The hot loop of the value pass
// carries no index bookkeeping. A NaN extreme equals nothing: its index is 0.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/simd.hpp"
#include "stats/extreme_lanes.hpp"

using namespace kpl;

namespace {

// The first i in [0, n) whose element (or clamped magnitude) equals v; 0 when none
// does. Four vectors a round, then the rest one element at a time, never reading
// past p[n - 1].
template <class T, bool kAbs>
int first_equal(const T* p, size_t n, T v) {
  constexpr size_t kPer = 16 / sizeof(T);
  constexpr size_t kRound = 4 * kPer;
  using L = ExtremeLanes<T>;
  // Lanes of all-ones where the element (or clamped magnitude) equals v; the
  // scalar test is the same comparison, so -0.0 equals +0.0 and a NaN nothing.
  auto eq = [v](const T* q) {
    if constexpr (kAbs) {
      return L::eq(ClampedAbs<T>::vec(L::load(q)), L::set1(v));
    } else {
      return L::eq(L::load(q), L::set1(v));
    }
  };
  size_t i = 0;
  for (; i + kRound <= n; i += kRound) {
    const __m128i e0 = eq(p + i), e1 = eq(p + i + kPer), e2 = eq(p + i + 2 * kPer), e3 = eq(p + i + 3 * kPer);
    if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(e0, e1), _mm_or_si128(e2, e3))) == 0) continue;
    const __m128i e[4] = {e0, e1, e2, e3};
    for (size_t k = 0; k < 4; ++k)
      if (const int bits = _mm_movemask_epi8(e[k]))
        return static_cast<int>(i + k * kPer + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(bits))) / sizeof(T));
  }
  for (; i < n; ++i) {
    if constexpr (kAbs) {
      if (ClampedAbs<T>::scalar(p[i]) == v) return static_cast<int>(i);
    } else {
      if (p[i] == v) return static_cast<int>(i);
    }
  }
  return 0;
}

template <class T>
using ValueFn = KplStatus (*)(const T*, int, T*);

// The pointers are tested first; a null pIndx then asks for the value alone, which
// the value entry gives with its own test of the length.
template <class T, bool kAbs = false>
KplStatus indx_entry(ValueFn<T> value, const T* src, int len, T* result, int* indx) {
  if (any_null(src, result)) return kplStsNullPointer;
  if (!indx) return value(src, len, result);
  if (len < 1) return kplStsBadSize;
  T v;
  value(src, len, &v);
  *result = v;
  *indx = first_equal<T, kAbs>(src, static_cast<size_t>(len), v);
  return kplStsOk;
}

template <class T>
using MinMaxFn = KplStatus (*)(const T*, int, T*, T*);

// Both values in one pass, then the scan for the minimum and the one for the
// maximum; every pointer is required.
template <class T>
KplStatus min_max_indx_entry(MinMaxFn<T> values, const T* src, int len, T* min, int* min_indx, T* max,
                             int* max_indx) {
  if (KplStatus st = check_vector_args(len, src, min, min_indx, max, max_indx)) return st;
  T lo, hi;
  values(src, len, &lo, &hi);
  const auto n = static_cast<size_t>(len);
  const int at_lo = first_equal<T, false>(src, n, lo);
  const int at_hi = first_equal<T, false>(src, n, hi);
  *min = lo, *min_indx = at_lo, *max = hi, *max_indx = at_hi;
  return kplStsOk;
}

}  // namespace

KplStatus KPL_IMPL(kplsMinIndx_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult, int* pIndx) { return indx_entry<Kpl16s>(KPL_IMPL(kplsMin_16s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMinIndx_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult, int* pIndx) { return indx_entry<Kpl32s>(KPL_IMPL(kplsMin_32s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMinIndx_32f)(const Kpl32f* pSrc, int len, Kpl32f* pResult, int* pIndx) { return indx_entry<Kpl32f>(KPL_IMPL(kplsMin_32f), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMinIndx_64f)(const Kpl64f* pSrc, int len, Kpl64f* pResult, int* pIndx) { return indx_entry<Kpl64f>(KPL_IMPL(kplsMin_64f), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMaxIndx_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult, int* pIndx) { return indx_entry<Kpl16s>(KPL_IMPL(kplsMax_16s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMaxIndx_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult, int* pIndx) { return indx_entry<Kpl32s>(KPL_IMPL(kplsMax_32s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMaxIndx_32f)(const Kpl32f* pSrc, int len, Kpl32f* pResult, int* pIndx) { return indx_entry<Kpl32f>(KPL_IMPL(kplsMax_32f), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMaxIndx_64f)(const Kpl64f* pSrc, int len, Kpl64f* pResult, int* pIndx) { return indx_entry<Kpl64f>(KPL_IMPL(kplsMax_64f), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_8u)(const Kpl8u* pSrc, int len, Kpl8u* pMin, int* pMinIndx, Kpl8u* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl8u>(KPL_IMPL(kplsMinMax_8u), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_16u)(const Kpl16u* pSrc, int len, Kpl16u* pMin, int* pMinIndx, Kpl16u* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl16u>(KPL_IMPL(kplsMinMax_16u), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_16s)(const Kpl16s* pSrc, int len, Kpl16s* pMin, int* pMinIndx, Kpl16s* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl16s>(KPL_IMPL(kplsMinMax_16s), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_32u)(const Kpl32u* pSrc, int len, Kpl32u* pMin, int* pMinIndx, Kpl32u* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl32u>(KPL_IMPL(kplsMinMax_32u), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_32s)(const Kpl32s* pSrc, int len, Kpl32s* pMin, int* pMinIndx, Kpl32s* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl32s>(KPL_IMPL(kplsMinMax_32s), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_32f)(const Kpl32f* pSrc, int len, Kpl32f* pMin, int* pMinIndx, Kpl32f* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl32f>(KPL_IMPL(kplsMinMax_32f), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinMaxIndx_64f)(const Kpl64f* pSrc, int len, Kpl64f* pMin, int* pMinIndx, Kpl64f* pMax, int* pMaxIndx) { return min_max_indx_entry<Kpl64f>(KPL_IMPL(kplsMinMax_64f), pSrc, len, pMin, pMinIndx, pMax, pMaxIndx); }
KplStatus KPL_IMPL(kplsMinAbsIndx_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult, int* pIndx) { return indx_entry<Kpl16s, true>(KPL_IMPL(kplsMinAbs_16s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMinAbsIndx_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult, int* pIndx) { return indx_entry<Kpl32s, true>(KPL_IMPL(kplsMinAbs_32s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMaxAbsIndx_16s)(const Kpl16s* pSrc, int len, Kpl16s* pResult, int* pIndx) { return indx_entry<Kpl16s, true>(KPL_IMPL(kplsMaxAbs_16s), pSrc, len, pResult, pIndx); }
KplStatus KPL_IMPL(kplsMaxAbsIndx_32s)(const Kpl32s* pSrc, int len, Kpl32s* pResult, int* pIndx) { return indx_entry<Kpl32s, true>(KPL_IMPL(kplsMaxAbs_32s), pSrc, len, pResult, pIndx); }
