// src/arith/shift.cpp: LShiftC and RShiftC by a count given per call, on 8u,
// 16s, 16u and 32s. A left shift wraps: the bits that leave the element are lost,
// with no saturation, on signed types too (LShiftC_16s is the 16u function). A
// right shift is logical on unsigned types and arithmetic on signed ones, where a
// count at or above the width gives each element's sign fill (0 or -1).
// Counts at or above the width and a zero count are shortcuts, tested before the
// pointers where the form has them; a negative count is kplStsBadShift, tested
// after the pointers and the length.
#include <type_traits>

#include "frame/cache.hpp"
#include "convert/move_kernels.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

template <class T>
constexpr int kWidth = 8 * static_cast<int>(sizeof(T));

// Out-of-place vectors of at least this many destination bytes store around the
// cache when the cache is smaller than twice their size.
constexpr size_t kStreamShiftBytes = size_t{1} << 20;

// Left shift by a count of 1 to width - 1, set up once per call. There is no
// 8-bit shift instruction: bytes shift as 16-bit lanes, and a mask clears the
// bits that crossed into the next byte.
template <class T>
struct LShiftOp {
  using U = std::make_unsigned_t<T>;
  int count;
  __m128i vcount, byte_mask;
  explicit LShiftOp(int c)
      : count(c), vcount(_mm_cvtsi32_si128(c)), byte_mask(_mm_set1_epi8(static_cast<char>((0xFFu << (c & 7)) & 0xFFu))) {}
  T scalar(T x) const { return static_cast<T>(static_cast<U>(static_cast<U>(x) << count)); }
  __m128i vec(__m128i v) const {
    if constexpr (sizeof(T) == 1) return _mm_and_si128(_mm_sll_epi16(v, vcount), byte_mask);
    if constexpr (sizeof(T) == 2) return _mm_sll_epi16(v, vcount);
    if constexpr (sizeof(T) == 4) return _mm_sll_epi32(v, vcount);
  }
};

// Right shift: logical on unsigned types by 1 to width - 1; arithmetic on signed
// types by any positive count, held at width - 1, which already gives the sign
// fill of every count beyond.
template <class T>
struct RShiftOp {
  int count;
  __m128i vcount, byte_mask;
  explicit RShiftOp(int c)
      : count(std::is_signed_v<T> && c > kWidth<T> - 1 ? kWidth<T> - 1 : c), vcount(_mm_cvtsi32_si128(count)),
        byte_mask(_mm_set1_epi8(static_cast<char>(0xFFu >> (count & 7)))) {}
  T scalar(T x) const { return static_cast<T>(x >> count); }
  __m128i vec(__m128i v) const {
    if constexpr (sizeof(T) == 1) return _mm_and_si128(_mm_srl_epi16(v, vcount), byte_mask);
    if constexpr (std::is_signed_v<T> && sizeof(T) == 2) return _mm_sra_epi16(v, vcount);
    if constexpr (std::is_signed_v<T> && sizeof(T) == 4) return _mm_sra_epi32(v, vcount);
    if constexpr (std::is_unsigned_v<T> && sizeof(T) == 2) return _mm_srl_epi16(v, vcount);
  }
};

// One operation over a vector, two 16-byte vectors per block, d = op(s).
template <class Op, class T, Store S>
struct EachElement {
  static constexpr size_t kLanes = 32 / sizeof(T);
  const Op& op;
  void scalar(const T* s, T* d) const { store_raw(d, op.scalar(load_raw<T>(s))); }
  void block(const T* s, T* d) const {
    const __m128i x0 = op.vec(load_i(s)), x1 = op.vec(load_i(s + 16 / sizeof(T)));
    store_i<S>(d, x0), store_i<S>(d + 16 / sizeof(T), x1);
  }
};

// In place, the source brings every line into the cache anyway: no streaming.
template <class Op, class T>
void shift_kernel(const Op& op, const T* s, T* d, size_t n) {
  const bool stream = s != d && n * sizeof(T) >= kStreamShiftBytes && worth_streaming(n * sizeof(T));
  with_store_mode(stream, d, n, [&](auto mode) { map_elements(EachElement<Op, T, mode()>{op}, s, d, n); });
}

// ---- Entries: shortcuts, checks, then the kernel ----

// Out of place, every shift whose large counts zero the elements: a zero count
// is a copy and a count of the width or more a zero fill, both before the
// pointers; the fill is preceded by a test of the source, which it never reads.
template <template <class> class Op, class T>
KplStatus shift_fill(const T* s, int val, T* d, int len) {
  if (val == 0) return copy_entry(s, d, len);
  if (val >= kWidth<T>) return s ? zero_entry(d, len) : kplStsNullPointer;
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (val < 0) return kplStsBadShift;
  shift_kernel(Op<T>(val), s, d, static_cast<size_t>(len));
  return kplStsOk;
}

// In place: a count beyond the width is a zero fill before any test of its own;
// a zero count returns after the tests.
template <template <class> class Op, class T>
KplStatus shift_fill_in_place(int val, T* sd, int len) {
  if (val > kWidth<T> - 1) return zero_entry(sd, len);
  if (KplStatus st = check_vector_args(len, sd)) return st;
  if (val < 0) return kplStsBadShift;
  if (val == 0) return kplStsOk;
  shift_kernel(Op<T>(val), sd, sd, static_cast<size_t>(len));
  return kplStsOk;
}

// Signed right shift: a zero count is a copy before the pointers; every positive
// count runs the kernel, the large ones giving the sign fill.
template <class T>
KplStatus arithmetic_shift(const T* s, int val, T* d, int len) {
  if (val == 0) return copy_entry(s, d, len);
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (val < 0) return kplStsBadShift;
  shift_kernel(RShiftOp<T>(val), s, d, static_cast<size_t>(len));
  return kplStsOk;
}

// In place, the same sign fill as out of place: the tests, then a zero count returns.
template <class T>
KplStatus arithmetic_shift_in_place(int val, T* sd, int len) {
  if (KplStatus st = check_vector_args(len, sd)) return st;
  if (val < 0) return kplStsBadShift;
  if (val == 0) return kplStsOk;
  shift_kernel(RShiftOp<T>(val), sd, sd, static_cast<size_t>(len));
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsLShiftC_8u)(const Kpl8u* s, int val, Kpl8u* d, int len) { return shift_fill<LShiftOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsLShiftC_8u_I)(int val, Kpl8u* sd, int len) { return shift_fill_in_place<LShiftOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsLShiftC_16s)(const Kpl16s* s, int val, Kpl16s* d, int len) {
  return KPL_IMPL(kplsLShiftC_16u)(reinterpret_cast<const Kpl16u*>(s), val, reinterpret_cast<Kpl16u*>(d), len);
}
KplStatus KPL_IMPL(kplsLShiftC_16s_I)(int val, Kpl16s* sd, int len) {
  return KPL_IMPL(kplsLShiftC_16u_I)(val, reinterpret_cast<Kpl16u*>(sd), len);
}
KplStatus KPL_IMPL(kplsLShiftC_16u)(const Kpl16u* s, int val, Kpl16u* d, int len) { return shift_fill<LShiftOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsLShiftC_16u_I)(int val, Kpl16u* sd, int len) { return shift_fill_in_place<LShiftOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsLShiftC_32s)(const Kpl32s* s, int val, Kpl32s* d, int len) { return shift_fill<LShiftOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsLShiftC_32s_I)(int val, Kpl32s* sd, int len) { return shift_fill_in_place<LShiftOp>(val, sd, len); }

KplStatus KPL_IMPL(kplsRShiftC_8u)(const Kpl8u* s, int val, Kpl8u* d, int len) { return shift_fill<RShiftOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsRShiftC_8u_I)(int val, Kpl8u* sd, int len) { return shift_fill_in_place<RShiftOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsRShiftC_16s)(const Kpl16s* s, int val, Kpl16s* d, int len) { return arithmetic_shift(s, val, d, len); }
KplStatus KPL_IMPL(kplsRShiftC_16s_I)(int val, Kpl16s* sd, int len) { return arithmetic_shift_in_place(val, sd, len); }
KplStatus KPL_IMPL(kplsRShiftC_16u)(const Kpl16u* s, int val, Kpl16u* d, int len) { return shift_fill<RShiftOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsRShiftC_16u_I)(int val, Kpl16u* sd, int len) { return shift_fill_in_place<RShiftOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsRShiftC_32s)(const Kpl32s* s, int val, Kpl32s* d, int len) { return arithmetic_shift(s, val, d, len); }
KplStatus KPL_IMPL(kplsRShiftC_32s_I)(int val, Kpl32s* sd, int len) { return arithmetic_shift_in_place(val, sd, len); }
