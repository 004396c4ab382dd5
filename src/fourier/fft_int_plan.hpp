// The integer FFT plans: the 16-bit head (C_16sc, C_16s, R_16s), which either
// holds the Q14 tables of the native orders 1..3 or an inner floating plan, and
// the wrapper head (C_32sc, C_32s, R_32s, R_16s32s) round an inner floating plan.
// Tables and the inner plan live in the same memory behind the head and are found
// by 32-bit byte offsets from it, so a record holds no pointer into itself.
#pragma once

#include <cstdint>

#include "frame/entry.hpp"

namespace kpl {
inline namespace q5 {

constexpr uint32_t kTagFFT_C_16sc = 1;
constexpr uint32_t kTagFFT_C_16s = 2;
constexpr uint32_t kTagFFT_R_16s = 3;
constexpr uint32_t kTagFFT_C_32sc = 0x434d414c;
constexpr uint32_t kTagFFT_C_32s = 0x434d414d;
constexpr uint32_t kTagFFT_R_32s = 0x434d414e;
constexpr uint32_t kTagFFT_R_16s32s = 0x434d414f;

// Orders the native Q14 engine serves (hint none or fast).
constexpr int kNative16MinOrder = 1;
constexpr int kNative16MaxOrder = 3;

struct Fft16Head {
  uint32_t idCtx;
  int32_t order;
  int32_t shiftFwd;  // right shift of forward output (native path)
  int32_t shiftInv;
  int32_t oddSqrt2;  // 1/sqrt(N) with an odd order: a factor sqrt(2) remains after the shift
  int32_t hint;
  int32_t workSize;
  int32_t useFloatPlan;
  int32_t isAllocated;
  uint32_t bitRevTable;   // byte offsets from the head; 0 when absent
  uint32_t twiddles;      // Q14 rows (c, s, -s, c), N rows (real plans: N/2)
  uint32_t twiddlesFull;  // real plans: the rows for N points
  uint32_t innerPlan;
};
static_assert(sizeof(Fft16Head) == 52, "the 16-bit head fits the order-0 plan size");

struct FftWrapHead {
  uint32_t idCtx;
  int32_t order;
  int32_t hint;
  int32_t workSize;
  int32_t isAllocated;
  uint32_t innerPlan;  // byte offset from the head
};

// Where the tables or the inner plan start behind a head.
constexpr uint32_t kFft16HeadBytes = 64;
constexpr uint32_t kFftWrapHeadBytes = 32;

template <class T>
inline const T* at_offset(const void* head, uint32_t off) {
  return reinterpret_cast<const T*>(static_cast<const uint8_t*>(head) + off);
}

// One Q14 twiddle row: the factors of the forward twiddle exp(-i theta), as
// (cos, sin, -sin, cos), so that (a + ib) * row = (a c + b s) + i(-a s + b c).
struct Q14Row {
  int16_t c, s, ms, c2;
};

}  // namespace q5
}  // namespace kpl

namespace kpl {
inline namespace q5 {

// The native Q14 engine of the 16-bit plans (order 1..3, useFloatPlan 0). Each
// works on at most 8 points held on the stack and writes its destination last,
// so source and destination may be the same vector.
void native16_complex(const Fft16Head* h, const Kpl16sc* src, Kpl16sc* dst, int sf, bool inverse);
void native16_split(const Fft16Head* h, const Kpl16s* src_re, const Kpl16s* src_im, Kpl16s* dst_re, Kpl16s* dst_im,
                    int sf, bool inverse);
void native16_real_fwd(const Fft16Head* h, const Kpl16s* src, Kpl16s* perm, int sf);  // N reals to Perm
void native16_real_inv(const Fft16Head* h, const Kpl16s* perm, Kpl16s* dst, int sf);  // Perm to N reals

// The final conversion of the 16-bit engine: x * 2^-shift with the rounding of
// (x + 2^(shift-1)) >> shift, saturated; a left shift of 32 or more gives 0.
Kpl16s cnvrt_32s16s(int64_t x, int shift);

}  // namespace q5
}  // namespace kpl
