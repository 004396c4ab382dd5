// The one way to change the SIMD rounding control: a guard that sets the mode for
// its scope and always restores the caller's control word, flags included.
#pragma once

#include <xmmintrin.h>

namespace kpl {
inline namespace q5 {

enum class Rounding : unsigned { kNearest = 0x0000, kDown = 0x2000, kUp = 0x4000, kTruncate = 0x6000 };

class RoundingGuard {
 public:
  explicit RoundingGuard(Rounding mode) : saved_(_mm_getcsr()) {
    const unsigned want = (saved_ & ~kRoundingBits) | static_cast<unsigned>(mode);
    if (want != saved_) _mm_setcsr(want);
  }
  ~RoundingGuard() {
    // The caller's exception flags raised inside the scope are kept: only the
    // rounding bits go back.
    _mm_setcsr((_mm_getcsr() & ~kRoundingBits) | (saved_ & kRoundingBits));
  }
  RoundingGuard(const RoundingGuard&) = delete;
  RoundingGuard& operator=(const RoundingGuard&) = delete;

 private:
  static constexpr unsigned kRoundingBits = 0x6000;
  unsigned saved_;
};

}  // namespace q5
}  // namespace kpl
