// MulC in every type and form: the checks, the shortcuts and the scale class live
// here, and the kernels are Mul's (mul.cpp) run with the constant as the second
// operand. The float-to-16s forms and the extended-precision 64-bit forms have
// their own loops below.
#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "arith/mul_kernels.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/rounding.hpp"
#include "frame/scale.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

namespace {

// ---- Limits ----

constexpr ScaleLimits kLimits8u{.zero_above = 16, .bound_below = -7};
constexpr ScaleLimits kLimits16s{.zero_above = 30, .bound_below = -15};
constexpr ScaleLimits kLimits16sc{.zero_above = 31, .bound_below = -15};
constexpr ScaleLimits kLimits16u{.zero_above = 32, .bound_below = -15};
constexpr ScaleLimits kLimits32s{.zero_above = 62, .bound_below = -31};  // a zero fill from 63 on
constexpr ScaleLimits kLimits32sc{.zero_above = 63, .bound_below = -31};

// Destination sizes, in 32-byte blocks, above which the stores bypass the cache
// (when the destination aligns).
constexpr size_t kStreamBlocksMulC32f = 16384;
constexpr size_t kStreamBlocksMulC32fc = 16384;
constexpr size_t kStreamBlocksMulC32fcI = 32768;  // 65,536 pairs of elements
constexpr size_t kStreamBlocksMulC64fc = 32768;
constexpr size_t kNoStreaming = SIZE_MAX;

// MulC_32f16s_Sfs clamps its scale factor so that 2^-s is a normal float.
constexpr int kScaleLow32f16s = -127, kScaleHigh32f16s = 126;
// The 64-bit forms clamp theirs to where 2^-s is already beyond the extended range.
constexpr int kScaleLimit64s = 1 << 15;

template <class D>
bool beyond(size_t n, size_t blocks) {
  return n * sizeof(D) / 32 > blocks;
}

// ---- Shortcut callees ----

KplStatus copy(const Kpl8u* s, Kpl8u* d, int len) { return KPL_IMPL(kplsCopy_8u)(s, d, len); }
KplStatus copy(const Kpl16s* s, Kpl16s* d, int len) { return KPL_IMPL(kplsCopy_16s)(s, d, len); }
KplStatus copy(const Kpl16u* s, Kpl16u* d, int len) {
  return KPL_IMPL(kplsCopy_16s)(reinterpret_cast<const Kpl16s*>(s), reinterpret_cast<Kpl16s*>(d), len);
}
KplStatus copy(const Kpl32s* s, Kpl32s* d, int len) { return KPL_IMPL(kplsCopy_32s)(s, d, len); }
KplStatus copy(const Kpl32f* s, Kpl32f* d, int len) { return KPL_IMPL(kplsCopy_32f)(s, d, len); }
KplStatus copy(const Kpl64f* s, Kpl64f* d, int len) { return KPL_IMPL(kplsCopy_64f)(s, d, len); }

KplStatus zero_fill(Kpl8u* d, int len) { return KPL_IMPL(kplsZero_8u)(d, len); }
KplStatus zero_fill(Kpl16s* d, int len) { return KPL_IMPL(kplsZero_16s)(d, len); }
KplStatus zero_fill(Kpl16u* d, int len) { return KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(d), len); }
KplStatus zero_fill(Kpl16sc* d, int len) { return KPL_IMPL(kplsZero_16sc)(d, len); }
KplStatus zero_fill(Kpl32s* d, int len) { return KPL_IMPL(kplsZero_32s)(d, len); }
KplStatus zero_fill(Kpl32sc* d, int len) { return KPL_IMPL(kplsZero_32sc)(d, len); }
KplStatus zero_fill(Kpl32f* d, int len) { return KPL_IMPL(kplsZero_32f)(d, len); }
KplStatus zero_fill(Kpl64f* d, int len) { return KPL_IMPL(kplsZero_64f)(d, len); }

enum class Form { kOutOfPlace, kInPlace };

// ---- Floating constants ----

// Real: 1.0 copies (in place: nothing to do), then 0.0 (and so -0.0) stores +0.0
// everywhere, whatever the source holds. Both are floating comparisons.
template <Form F, class T>
KplStatus mulc_real(const T* s, T val, T* d, int len, size_t stream_blocks) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (val == T{1}) return F == Form::kInPlace ? kplStsOk : copy(s, d, len);
  if (val == T{0}) return zero_fill(d, len);
  const size_t n = static_cast<size_t>(len);
  mul_const(s, val, d, n, beyond<T>(n, stream_blocks));
  return kplStsOk;
}

// Complex: no shortcut, so a (0, 0) constant still gives NaN over NaN.
template <class C>
KplStatus mulc_complex(const C* s, C val, C* d, int len, size_t stream_blocks) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  const size_t n = static_cast<size_t>(len);
  mul_const(s, val, d, n, beyond<C>(n, stream_blocks));
  return kplStsOk;
}

// ---- Float in, 16s out ----

// Single-precision product, clamped (a NaN takes the upper bound: min returns its
// second operand then), converted by the current rounding mode, narrowed.
struct MulC32f16s {
  static constexpr size_t kLanes = 8;
  explicit MulC32f16s(float v) : val(_mm_set1_ps(v)) {}
  static __m128 clamp(__m128 x) { return _mm_max_ps(_mm_min_ps(x, _mm_set1_ps(32767.0f)), _mm_set1_ps(-32768.0f)); }
  void scalar(const Kpl32f* a, Kpl16s* d) const {
    const __m128 x = clamp(_mm_mul_ss(_mm_set_ss(load_raw<Kpl32f>(a)), val));
    store_raw(d, static_cast<Kpl16s>(_mm_cvtss_si32(x)));
  }
  void block(const Kpl32f* a, Kpl16s* d) const {
    const __m128i lo = _mm_cvtps_epi32(clamp(_mm_mul_ps(load_f(a), val)));
    const __m128i hi = _mm_cvtps_epi32(clamp(_mm_mul_ps(load_f(a + 4), val)));
    store_i(d, _mm_packs_epi32(lo, hi));
  }
  __m128 val;
};

void mulc_32f16s(const Kpl32f* s, Kpl32f v, Kpl16s* d, size_t n) {
  const MulC32f16s op(v);
  for_blocks<MulC32f16s::kLanes>(d, n, [&](size_t i) { op.scalar(s + i, d + i); }, [&](size_t i) { op.block(s + i, d + i); });
}

// ---- Scaled integer constants ----

// 0 zero-fills at every scale factor; 1 at s = 0 copies (in place: nothing to do).
template <Form F, class T>
KplStatus mulc_scaled(const T* s, T val, T* d, int len, int sf, ScaleLimits limits) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  if (val == 0) return zero_fill(d, len);
  if (val == 1 && sf == 0) return F == Form::kInPlace ? kplStsOk : copy(s, d, len);
  const ScaleClass c = classify(sf, limits);
  if (c == ScaleClass::kZero) return zero_fill(d, len);
  mul_const(s, val, d, static_cast<size_t>(len), c, sf);
  return kplStsOk;
}

// 16u: the zero fill (a zero constant, or s above 32) is tested before the
// pointers; Zero's own checks apply to the destination.
template <Form F>
KplStatus mulc_16u(const Kpl16u* s, Kpl16u val, Kpl16u* d, int len, int sf) {
  if (val == 0 || classify(sf, kLimits16u) == ScaleClass::kZero) return zero_fill(d, len);
  return mulc_scaled<F>(s, val, d, len, sf, kLimits16u);
}

// Complex: no shortcut.
template <class C>
KplStatus mulc_complex_scaled(const C* s, C val, C* d, int len, int sf, ScaleLimits limits) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  const ScaleClass c = classify(sf, limits);
  if (c == ScaleClass::kZero) return zero_fill(d, len);
  mul_const(s, val, d, static_cast<size_t>(len), c, sf);
  return kplStsOk;
}

// ---- 64-bit integers in extended precision ----

// Sets the x87 control word to extended precision and nearest rounding for its
// scope and restores the caller's word (masks included) at the end.
class X87Extended {
 public:
  X87Extended() {
    asm volatile("fnstcw %0" : "=m"(saved_) : : "memory");
    const uint16_t want = static_cast<uint16_t>((saved_ & ~kControlBits) | kExtendedNearest);
    asm volatile("fldcw %0" : : "m"(want) : "memory");
  }
  ~X87Extended() { asm volatile("fldcw %0" : : "m"(saved_) : "memory"); }
  X87Extended(const X87Extended&) = delete;
  X87Extended& operator=(const X87Extended&) = delete;

 private:
  static constexpr uint16_t kControlBits = 0x0F00;      // precision and rounding fields
  static constexpr uint16_t kExtendedNearest = 0x0300;  // 64-bit mantissa, nearest
  uint16_t saved_;
};

// d = d * (val * 2^-s): the constant scaled once, each product rounded to the
// 64-bit mantissa, clamped to the 64-bit range (a NaN takes the upper bound, as
// in the float-to-16s forms) and rounded to nearest, ties to even.
template <class V>
KplStatus mulc_64s(V val, Kpl64s* d, Kpl32u len, int sf) {
  if (d == nullptr) return kplStsNullPointer;
  if (len == 0) return kplStsBadSize;
  static_assert(std::numeric_limits<long double>::digits == 64, "needs the 64-bit mantissa of the extended format");
  constexpr long double kLo = -9223372036854775808.0L, kHi = 9223372036854775807.0L;
  const X87Extended mode;
  long double c = static_cast<long double>(val);
  asm volatile("" : "+m"(c));  // computed under the mode just set
  c = std::ldexp(c, -std::clamp(sf, -kScaleLimit64s, kScaleLimit64s));
  for (size_t i = 0; i < len; ++i) {
    long double p = static_cast<long double>(load_raw<Kpl64s>(d + i)) * c;
    p = p < kHi ? p : kHi;
    p = p > kLo ? p : kLo;
    store_raw(d + i, static_cast<Kpl64s>(std::llrint(p)));
  }
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

// clang-format off
KplStatus KPL_IMPL(kplsMulC_32f)(const Kpl32f* pSrc, Kpl32f val, Kpl32f* pDst, int len) { return mulc_real<Form::kOutOfPlace>(pSrc, val, pDst, len, kStreamBlocksMulC32f); }
KplStatus KPL_IMPL(kplsMulC_32f_I)(Kpl32f val, Kpl32f* pSrcDst, int len) { return mulc_real<Form::kInPlace>(pSrcDst, val, pSrcDst, len, kNoStreaming); }
KplStatus KPL_IMPL(kplsMulC_64f)(const Kpl64f* pSrc, Kpl64f val, Kpl64f* pDst, int len) { return mulc_real<Form::kOutOfPlace>(pSrc, val, pDst, len, kNoStreaming); }
KplStatus KPL_IMPL(kplsMulC_64f_I)(Kpl64f val, Kpl64f* pSrcDst, int len) { return mulc_real<Form::kInPlace>(pSrcDst, val, pSrcDst, len, kNoStreaming); }
KplStatus KPL_IMPL(kplsMulC_32fc)(const Kpl32fc* pSrc, Kpl32fc val, Kpl32fc* pDst, int len) { return mulc_complex(pSrc, val, pDst, len, kStreamBlocksMulC32fc); }
KplStatus KPL_IMPL(kplsMulC_32fc_I)(Kpl32fc val, Kpl32fc* pSrcDst, int len) { return mulc_complex(pSrcDst, val, pSrcDst, len, kStreamBlocksMulC32fcI); }
KplStatus KPL_IMPL(kplsMulC_64fc)(const Kpl64fc* pSrc, Kpl64fc val, Kpl64fc* pDst, int len) { return mulc_complex(pSrc, val, pDst, len, kStreamBlocksMulC64fc); }
KplStatus KPL_IMPL(kplsMulC_64fc_I)(Kpl64fc val, Kpl64fc* pSrcDst, int len) { return mulc_complex(pSrcDst, val, pSrcDst, len, kNoStreaming); }
KplStatus KPL_IMPL(kplsMulC_32f16s_Sfs)(const Kpl32f* pSrc, Kpl32f val, Kpl16s* pDst, int len, int scaleFactor) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  if (scaleFactor != 0) {  // 2^-s placed as a float exponent, the constant scaled once
    const int s = std::clamp(scaleFactor, kScaleLow32f16s, kScaleHigh32f16s);
    val *= std::bit_cast<Kpl32f>(static_cast<uint32_t>(127 - s) << 23);
  }
  const RoundingGuard nearest(Rounding::kNearest);
  mulc_32f16s(pSrc, val, pDst, static_cast<size_t>(len));
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMulC_Low_32f16s)(const Kpl32f* pSrc, Kpl32f val, Kpl16s* pDst, int len) {
  if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
  mulc_32f16s(pSrc, val, pDst, static_cast<size_t>(len));  // rounds by the caller's mode
  return kplStsOk;
}
KplStatus KPL_IMPL(kplsMulC_8u_Sfs)(const Kpl8u* pSrc, Kpl8u val, Kpl8u* pDst, int len, int scaleFactor) { return mulc_scaled<Form::kOutOfPlace>(pSrc, val, pDst, len, scaleFactor, kLimits8u); }
KplStatus KPL_IMPL(kplsMulC_8u_ISfs)(Kpl8u val, Kpl8u* pSrcDst, int len, int scaleFactor) { return mulc_scaled<Form::kInPlace>(pSrcDst, val, pSrcDst, len, scaleFactor, kLimits8u); }
KplStatus KPL_IMPL(kplsMulC_16s_Sfs)(const Kpl16s* pSrc, Kpl16s val, Kpl16s* pDst, int len, int scaleFactor) { return mulc_scaled<Form::kOutOfPlace>(pSrc, val, pDst, len, scaleFactor, kLimits16s); }
KplStatus KPL_IMPL(kplsMulC_16s_ISfs)(Kpl16s val, Kpl16s* pSrcDst, int len, int scaleFactor) { return mulc_scaled<Form::kInPlace>(pSrcDst, val, pSrcDst, len, scaleFactor, kLimits16s); }
KplStatus KPL_IMPL(kplsMulC_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc val, Kpl16sc* pDst, int len, int scaleFactor) { return mulc_complex_scaled(pSrc, val, pDst, len, scaleFactor, kLimits16sc); }
KplStatus KPL_IMPL(kplsMulC_16sc_ISfs)(Kpl16sc val, Kpl16sc* pSrcDst, int len, int scaleFactor) { return mulc_complex_scaled(pSrcDst, val, pSrcDst, len, scaleFactor, kLimits16sc); }
KplStatus KPL_IMPL(kplsMulC_16u_Sfs)(const Kpl16u* pSrc, Kpl16u val, Kpl16u* pDst, int len, int scaleFactor) { return mulc_16u<Form::kOutOfPlace>(pSrc, val, pDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMulC_16u_ISfs)(Kpl16u val, Kpl16u* pSrcDst, int len, int scaleFactor) { return mulc_16u<Form::kInPlace>(pSrcDst, val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMulC_32s_Sfs)(const Kpl32s* pSrc, Kpl32s val, Kpl32s* pDst, int len, int scaleFactor) { return mulc_scaled<Form::kOutOfPlace>(pSrc, val, pDst, len, scaleFactor, kLimits32s); }
KplStatus KPL_IMPL(kplsMulC_32s_ISfs)(Kpl32s val, Kpl32s* pSrcDst, int len, int scaleFactor) { return mulc_scaled<Form::kInPlace>(pSrcDst, val, pSrcDst, len, scaleFactor, kLimits32s); }
KplStatus KPL_IMPL(kplsMulC_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32sc val, Kpl32sc* pDst, int len, int scaleFactor) { return mulc_complex_scaled(pSrc, val, pDst, len, scaleFactor, kLimits32sc); }
KplStatus KPL_IMPL(kplsMulC_32sc_ISfs)(Kpl32sc val, Kpl32sc* pSrcDst, int len, int scaleFactor) { return mulc_complex_scaled(pSrcDst, val, pSrcDst, len, scaleFactor, kLimits32sc); }
KplStatus KPL_IMPL(kplsMulC_64s_ISfs)(Kpl64s val, Kpl64s* pSrcDst, Kpl32u len, int scaleFactor) { return mulc_64s(val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMulC_64f64s_ISfs)(Kpl64f val, Kpl64s* pSrcDst, Kpl32u len, int scaleFactor) { return mulc_64s(val, pSrcDst, len, scaleFactor); }
KplStatus KPL_IMPL(kplsMulC_16s_I)(Kpl16s val, Kpl16s* pSrcDst, int len) { return KPL_IMPL(kplsMulC_16s_ISfs)(val, pSrcDst, len, 0); }
// clang-format on
