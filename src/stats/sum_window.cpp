// SumWindow: the moving sum pDst[i] = pSrc[i] + ... + pSrc[i + window - 1] of
// 8u or 16s samples, in single precision.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/entry.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// Up to this window every sum, the first window's lanes included, is an integer
// below 2^24 and so exact in single precision: the float recurrence then gives
// the bits of the integer one, which runs without the float add's latency.
template <class T>
constexpr size_t kExactWindow = (size_t{1} << 24) / (sizeof(T) == 1 ? 255 : 32768);

inline __m128 to_floats(const uint8_t* x) {
  int32_t four;
  std::memcpy(&four, x, sizeof four);
  return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)));
}
inline __m128 to_floats(const int16_t* x) {
  return _mm_cvtepi32_ps(_mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(x))));
}

// The first window: eight single-precision lanes take eight elements a round and
// fold as lanes j + (j + 4), then (l0 + l2) + (l1 + l3); the rest goes in singly.
template <class T>
float first_window(const T* x, size_t w) {
  __m128 a = _mm_setzero_ps(), b = a;
  size_t j = 0;
  for (; j + 8 <= w; j += 8) {
    a = _mm_add_ps(a, to_floats(x + j));
    b = _mm_add_ps(b, to_floats(x + j + 4));
  }
  const __m128 h = _mm_add_ps(a, b), pairs = _mm_add_ps(h, _mm_movehl_ps(h, h));
  float s = _mm_cvtss_f32(_mm_add_ss(pairs, _mm_shuffle_ps(pairs, pairs, 1)));
  for (; j < w; ++j) s += static_cast<float>(x[j]);
  return s;
}

// pDst[i] = S, then S += float(pSrc[i + w] - pSrc[i]) with the difference in
// integers. The update after the last output would change nothing that is
// stored, so it is not made: nothing past pSrc[len + w - 2] is read.
template <class T>
void sum_window(const T* x, float* d, size_t len, size_t w) {
  if (w <= kExactWindow<T>) {
    int32_t s = 0;
    for (size_t j = 0; j < w; ++j) s += x[j];
    for (size_t i = 0;; ++i) {
      d[i] = static_cast<float>(s);
      if (i + 1 == len) break;
      s += int32_t{x[i + w]} - int32_t{x[i]};
    }
    return;
  }
  float s = first_window(x, w);
  for (size_t i = 0;; ++i) {
    d[i] = s;
    if (i + 1 == len) break;
    s += static_cast<float>(int32_t{x[i + w]} - int32_t{x[i]});
  }
}

template <class T>
KplStatus sum_window_entry(const T* pSrc, Kpl32f* pDst, int len, int window) {
  if (any_null(pSrc, pDst)) return kplStsNullPointer;
  if (window < 1) return kplStsBadWindow;
  if (len < 1) return kplStsOk;  // a negative length counts as none
  sum_window(pSrc, pDst, static_cast<size_t>(len), static_cast<size_t>(window));
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsSumWindow_8u32f)(const Kpl8u* pSrc, Kpl32f* pDst, int len, int window) { return sum_window_entry(pSrc, pDst, len, window); }
KplStatus KPL_IMPL(kplsSumWindow_16s32f)(const Kpl16s* pSrc, Kpl32f* pDst, int len, int window) { return sum_window_entry(pSrc, pDst, len, window); }
