// The one way to change the floating control words: guards that set what a
// kernel needs for their scope and always give the caller's control back, with
// the exception flags raised inside the scope kept.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

namespace kpl {
inline namespace q5 {

enum class Rounding : unsigned { kNearest = 0x0000, kDown = 0x2000, kUp = 0x4000, kTruncate = 0x6000 };

// Fields of the SIMD control and status word.
namespace csr {
constexpr unsigned kFlags = 0x003F;     // exception flags, sticky
constexpr unsigned kDaz = 0x0040;       // denormals are zero
constexpr unsigned kMasks = 0x1F80;     // exception masks
constexpr unsigned kRounding = 0x6000;  // rounding control

// Every control bit of `saved` back, the flags raised since kept.
inline void restore(unsigned saved) { _mm_setcsr((_mm_getcsr() & kFlags) | (saved & ~kFlags)); }
}  // namespace csr

// The SIMD rounding mode for the scope; only the rounding bits go back.
class RoundingGuard {
 public:
  explicit RoundingGuard(Rounding mode) : saved_(_mm_getcsr()) {
    const unsigned want = (saved_ & ~csr::kRounding) | static_cast<unsigned>(mode);
    if (want != saved_) _mm_setcsr(want);
  }
  ~RoundingGuard() { _mm_setcsr((_mm_getcsr() & ~csr::kRounding) | (saved_ & csr::kRounding)); }
  RoundingGuard(const RoundingGuard&) = delete;
  RoundingGuard& operator=(const RoundingGuard&) = delete;

 private:
  unsigned saved_;
};

// Round to nearest for kernels that convert with the current rounding: when the
// caller's rounding is not nearest, nearest with denormals-are-zero off for the
// scope, and every control bit back after.
class ForcedNearest {
 public:
  ForcedNearest() : saved_(_mm_getcsr()) {
    if (saved_ & csr::kRounding) _mm_setcsr(saved_ & ~(csr::kRounding | csr::kDaz));
  }
  ~ForcedNearest() {
    if (saved_ & csr::kRounding) csr::restore(saved_);
  }
  ForcedNearest(const ForcedNearest&) = delete;
  ForcedNearest& operator=(const ForcedNearest&) = delete;

 private:
  unsigned saved_;
};

// Every SIMD exception masked for the scope (a trap would kill the caller's
// program); every control bit back after.
class ExceptionsMasked {
 public:
  ExceptionsMasked() : saved_(_mm_getcsr()) {
    if ((saved_ & csr::kMasks) != csr::kMasks) _mm_setcsr(saved_ | csr::kMasks);
  }
  ~ExceptionsMasked() { csr::restore(saved_); }
  ExceptionsMasked(const ExceptionsMasked&) = delete;
  ExceptionsMasked& operator=(const ExceptionsMasked&) = delete;

 private:
  unsigned saved_;
};

// The x87 unit under extended precision and rounding to nearest for the scope,
// whatever the caller left in its control word; restored after.
class ExtendedPrecision {
 public:
  ExtendedPrecision() {
    __asm__ volatile("fnstcw %0" : "=m"(saved_));
    const uint16_t want = static_cast<uint16_t>((saved_ & ~kControlBits) | kExtendedNearest);
    if (want != saved_) __asm__ volatile("fldcw %0" : : "m"(want));
  }
  ~ExtendedPrecision() {
    uint16_t now;
    __asm__ volatile("fnstcw %0" : "=m"(now));
    if (now != saved_) __asm__ volatile("fldcw %0" : : "m"(saved_));
  }
  ExtendedPrecision(const ExtendedPrecision&) = delete;
  ExtendedPrecision& operator=(const ExtendedPrecision&) = delete;

 private:
  static constexpr uint16_t kControlBits = 0x0F00;      // precision (8-9) and rounding (10-11)
  static constexpr uint16_t kExtendedNearest = 0x0300;  // 64-bit significand, to nearest
  uint16_t saved_;
};

}  // namespace q5
}  // namespace kpl
