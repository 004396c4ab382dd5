// src/arith/logic.cpp: And, Or and Xor of two vectors or of a vector and a
// constant, and Not, on 8u, 16u and 32u. Bits only: nothing saturates or rounds.
// The forms with a constant take their shortcut on a zero constant before they
// test their own pointers; a shortcut returns the status of the block move it
// calls, which tests what it receives.
#include "frame/cache.hpp"
#include "convert/move_kernels.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// One operation each, for a scalar element of any width and for 128 bits.
struct AndOp {
  template <class T>
  static T scalar(T a, T b) { return static_cast<T>(a & b); }
  static __m128i vec(__m128i a, __m128i b) { return _mm_and_si128(a, b); }
};
struct OrOp {
  template <class T>
  static T scalar(T a, T b) { return static_cast<T>(a | b); }
  static __m128i vec(__m128i a, __m128i b) { return _mm_or_si128(a, b); }
};
struct XorOp {
  template <class T>
  static T scalar(T a, T b) { return static_cast<T>(a ^ b); }
  static __m128i vec(__m128i a, __m128i b) { return _mm_xor_si128(a, b); }
};

// Out-of-place vectors of at least this many destination bytes store around the
// cache when the cache is smaller than twice their size.
constexpr size_t kStreamLogicBytes = size_t{1} << 20;

// A block is two vectors: 32 bytes of destination per step.
template <class T>
constexpr size_t kLogicLanes = 32 / sizeof(T);

// The operation between two vectors, d = a op b.
template <class Op, class T, Store S>
struct TwoVectors {
  static constexpr size_t kLanes = kLogicLanes<T>;
  void scalar(const T* a, const T* b, T* d) const { store_raw(d, Op::scalar(load_raw<T>(a), load_raw<T>(b))); }
  void block(const T* a, const T* b, T* d) const {
    const __m128i x0 = Op::vec(load_i(a), load_i(b)), x1 = Op::vec(load_i(a + 16 / sizeof(T)), load_i(b + 16 / sizeof(T)));
    store_i<S>(d, x0), store_i<S>(d + 16 / sizeof(T), x1);
  }
};

template <class T>
inline __m128i broadcast(T c) {
  if constexpr (sizeof(T) == 1) return _mm_set1_epi8(static_cast<char>(c));
  if constexpr (sizeof(T) == 2) return _mm_set1_epi16(static_cast<short>(c));
  if constexpr (sizeof(T) == 4) return _mm_set1_epi32(static_cast<int>(c));
}

// The operation between a vector and a constant, d = s op c; the constant is
// broadcast once per call.
template <class Op, class T, Store S>
struct WithConstant {
  static constexpr size_t kLanes = kLogicLanes<T>;
  T c;
  __m128i vc;
  explicit WithConstant(T value) : c(value), vc(broadcast(value)) {}
  void scalar(const T* s, T* d) const { store_raw(d, Op::scalar(load_raw<T>(s), c)); }
  void block(const T* s, T* d) const {
    const __m128i x0 = Op::vec(load_i(s), vc), x1 = Op::vec(load_i(s + 16 / sizeof(T)), vc);
    store_i<S>(d, x0), store_i<S>(d + 16 / sizeof(T), x1);
  }
};

// In place, the source brings every line into the cache anyway: no streaming.
template <class T>
inline bool stream_logic(size_t n, bool in_place) {
  return !in_place && n * sizeof(T) >= kStreamLogicBytes && worth_streaming(n * sizeof(T));
}

// ---- Entries: checks, shortcuts, then the kernel ----

template <class Op, class T>
KplStatus two_vectors(const T* a, const T* b, T* d, int len) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const auto n = static_cast<size_t>(len);
  with_store_mode(stream_logic<T>(n, d == a || d == b), d, n,
                  [&](auto mode) { map_elements(TwoVectors<Op, T, mode()>{}, a, b, d, n); });
  return kplStsOk;
}

template <class Op, class T>
void with_constant_kernel(const T* s, T c, T* d, size_t n) {
  with_store_mode(stream_logic<T>(n, s == d), d, n,
                  [&](auto mode) { map_elements(WithConstant<Op, T, mode()>(c), s, d, n); });
}

// AndC with 0 is a zero fill: the source is tested here, the destination and the
// length by the fill.
template <class T>
KplStatus and_c(const T* s, T val, T* d, int len) {
  if (val == 0) return s ? zero_entry(d, len) : kplStsNullPointer;
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  with_constant_kernel<AndOp>(s, val, d, static_cast<size_t>(len));
  return kplStsOk;
}

// In place, the zero fill comes before any test of its own.
template <class T>
KplStatus and_c_in_place(T val, T* sd, int len) {
  if (val == 0) return zero_entry(sd, len);
  if (KplStatus st = check_vector_args(len, sd)) return st;
  with_constant_kernel<AndOp>(sd, val, sd, static_cast<size_t>(len));
  return kplStsOk;
}

// OrC and XorC with 0 are a copy, which makes every test itself.
template <class Op, class T>
KplStatus or_xor_c(const T* s, T val, T* d, int len) {
  if (val == 0) return copy_entry(s, d, len);
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  with_constant_kernel<Op>(s, val, d, static_cast<size_t>(len));
  return kplStsOk;
}

// In place, a zero constant leaves the vector as it is, after the usual tests.
template <class Op, class T>
KplStatus or_xor_c_in_place(T val, T* sd, int len) {
  if (KplStatus st = check_vector_args(len, sd)) return st;
  if (val == 0) return kplStsOk;
  with_constant_kernel<Op>(sd, val, sd, static_cast<size_t>(len));
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsAnd_8u)(const Kpl8u* a, const Kpl8u* b, Kpl8u* d, int len) { return two_vectors<AndOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsAnd_8u_I)(const Kpl8u* s, Kpl8u* sd, int len) { return two_vectors<AndOp>(s, sd, sd, len); }
KplStatus KPL_IMPL(kplsAnd_16u)(const Kpl16u* a, const Kpl16u* b, Kpl16u* d, int len) { return two_vectors<AndOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsAnd_16u_I)(const Kpl16u* s, Kpl16u* sd, int len) { return two_vectors<AndOp>(s, sd, sd, len); }
KplStatus KPL_IMPL(kplsAnd_32u)(const Kpl32u* a, const Kpl32u* b, Kpl32u* d, int len) { return two_vectors<AndOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsAnd_32u_I)(const Kpl32u* s, Kpl32u* sd, int len) { return two_vectors<AndOp>(s, sd, sd, len); }

KplStatus KPL_IMPL(kplsOr_8u)(const Kpl8u* a, const Kpl8u* b, Kpl8u* d, int len) { return two_vectors<OrOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsOr_8u_I)(const Kpl8u* s, Kpl8u* sd, int len) { return two_vectors<OrOp>(s, sd, sd, len); }
KplStatus KPL_IMPL(kplsOr_16u)(const Kpl16u* a, const Kpl16u* b, Kpl16u* d, int len) { return two_vectors<OrOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsOr_16u_I)(const Kpl16u* s, Kpl16u* sd, int len) { return two_vectors<OrOp>(s, sd, sd, len); }
KplStatus KPL_IMPL(kplsOr_32u)(const Kpl32u* a, const Kpl32u* b, Kpl32u* d, int len) { return two_vectors<OrOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsOr_32u_I)(const Kpl32u* s, Kpl32u* sd, int len) { return two_vectors<OrOp>(s, sd, sd, len); }

KplStatus KPL_IMPL(kplsXor_8u)(const Kpl8u* a, const Kpl8u* b, Kpl8u* d, int len) { return two_vectors<XorOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsXor_8u_I)(const Kpl8u* s, Kpl8u* sd, int len) { return two_vectors<XorOp>(s, sd, sd, len); }
KplStatus KPL_IMPL(kplsXor_16u)(const Kpl16u* a, const Kpl16u* b, Kpl16u* d, int len) { return two_vectors<XorOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsXor_16u_I)(const Kpl16u* s, Kpl16u* sd, int len) { return two_vectors<XorOp>(s, sd, sd, len); }
KplStatus KPL_IMPL(kplsXor_32u)(const Kpl32u* a, const Kpl32u* b, Kpl32u* d, int len) { return two_vectors<XorOp>(a, b, d, len); }
KplStatus KPL_IMPL(kplsXor_32u_I)(const Kpl32u* s, Kpl32u* sd, int len) { return two_vectors<XorOp>(s, sd, sd, len); }

KplStatus KPL_IMPL(kplsAndC_8u)(const Kpl8u* s, Kpl8u val, Kpl8u* d, int len) { return and_c(s, val, d, len); }
KplStatus KPL_IMPL(kplsAndC_8u_I)(Kpl8u val, Kpl8u* sd, int len) { return and_c_in_place(val, sd, len); }
KplStatus KPL_IMPL(kplsAndC_16u)(const Kpl16u* s, Kpl16u val, Kpl16u* d, int len) { return and_c(s, val, d, len); }
KplStatus KPL_IMPL(kplsAndC_16u_I)(Kpl16u val, Kpl16u* sd, int len) { return and_c_in_place(val, sd, len); }
KplStatus KPL_IMPL(kplsAndC_32u)(const Kpl32u* s, Kpl32u val, Kpl32u* d, int len) { return and_c(s, val, d, len); }
KplStatus KPL_IMPL(kplsAndC_32u_I)(Kpl32u val, Kpl32u* sd, int len) { return and_c_in_place(val, sd, len); }

KplStatus KPL_IMPL(kplsOrC_8u)(const Kpl8u* s, Kpl8u val, Kpl8u* d, int len) { return or_xor_c<OrOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsOrC_8u_I)(Kpl8u val, Kpl8u* sd, int len) { return or_xor_c_in_place<OrOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsOrC_16u)(const Kpl16u* s, Kpl16u val, Kpl16u* d, int len) { return or_xor_c<OrOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsOrC_16u_I)(Kpl16u val, Kpl16u* sd, int len) { return or_xor_c_in_place<OrOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsOrC_32u)(const Kpl32u* s, Kpl32u val, Kpl32u* d, int len) { return or_xor_c<OrOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsOrC_32u_I)(Kpl32u val, Kpl32u* sd, int len) { return or_xor_c_in_place<OrOp>(val, sd, len); }

KplStatus KPL_IMPL(kplsXorC_8u)(const Kpl8u* s, Kpl8u val, Kpl8u* d, int len) { return or_xor_c<XorOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsXorC_8u_I)(Kpl8u val, Kpl8u* sd, int len) { return or_xor_c_in_place<XorOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsXorC_16u)(const Kpl16u* s, Kpl16u val, Kpl16u* d, int len) { return or_xor_c<XorOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsXorC_16u_I)(Kpl16u val, Kpl16u* sd, int len) { return or_xor_c_in_place<XorOp>(val, sd, len); }
KplStatus KPL_IMPL(kplsXorC_32u)(const Kpl32u* s, Kpl32u val, Kpl32u* d, int len) { return or_xor_c<XorOp>(s, val, d, len); }
KplStatus KPL_IMPL(kplsXorC_32u_I)(Kpl32u val, Kpl32u* sd, int len) { return or_xor_c_in_place<XorOp>(val, sd, len); }

// Not is XorC with all ones, and so has XorC's checks (a nonzero constant takes
// no shortcut).
KplStatus KPL_IMPL(kplsNot_8u)(const Kpl8u* s, Kpl8u* d, int len) { return KPL_IMPL(kplsXorC_8u)(s, 0xFF, d, len); }
KplStatus KPL_IMPL(kplsNot_8u_I)(Kpl8u* sd, int len) { return KPL_IMPL(kplsXorC_8u_I)(0xFF, sd, len); }
KplStatus KPL_IMPL(kplsNot_16u)(const Kpl16u* s, Kpl16u* d, int len) { return KPL_IMPL(kplsXorC_16u)(s, 0xFFFF, d, len); }
KplStatus KPL_IMPL(kplsNot_16u_I)(Kpl16u* sd, int len) { return KPL_IMPL(kplsXorC_16u_I)(0xFFFF, sd, len); }
KplStatus KPL_IMPL(kplsNot_32u)(const Kpl32u* s, Kpl32u* d, int len) { return KPL_IMPL(kplsXorC_32u)(s, 0xFFFFFFFFu, d, len); }
KplStatus KPL_IMPL(kplsNot_32u_I)(Kpl32u* sd, int len) { return KPL_IMPL(kplsXorC_32u_I)(0xFFFFFFFFu, sd, len); }
