// The parallel frame of the element-wise families. The public function decides by
// its size threshold; parallel_slices decides whether threads are there, splits
// the vector into one slice per thread of the team that actually formed (the
// last takes the rest), runs the plain kernel on each slice, and counts the
// slices whose kernel flagged something. Neither the kernel nor the caller knows
// about threads, and since every kernel adapts to its own start address the
// slicing never changes a result. Each worker runs under the caller's SIMD
// rounding and denormal control, so a kernel that converts "with the current
// rounding" gives on every slice what it gives on the calling thread.
#pragma once

#include <omp.h>
#include <xmmintrin.h>

#include <cstddef>

#include "core/kplcore.h"

namespace kpl {
inline namespace q5 {

// How many threads a family asks for: two for streaming element-wise work, or all
// that the core library reports.
enum class TeamCap { kTwo, kAll };

// kernel(begin, count) runs the plain kernel on elements [begin, begin + count)
// of every vector of the call and returns true when it flagged a special case.
// The result is the number of flagged slices: non-zero if any slice flagged.
template <class Kernel>
int parallel_slices(size_t len, TeamCap cap, Kernel&& kernel) {
  const int available = ownGetNumThreads();
  if (available < 2 || len < static_cast<size_t>(available)) return kernel(size_t{0}, len) ? 1 : 0;
  const int request = cap == TeamCap::kTwo ? 2 : available;

  // Rounding (bits 13-14), flush-to-zero (15) and denormals-are-zero (6).
  constexpr unsigned kControlBits = 0xE040u;
  const unsigned caller_control = _mm_getcsr() & kControlBits;

  int flagged = 0;
  int team = 1;
  size_t chunk = len, rest = 0;
#pragma omp parallel num_threads(request) default(shared)
  {
    // The team that formed is what counts: a nested call or a busy runtime may
    // give fewer threads than asked, down to a team of one.
#pragma omp master
    {
      team = omp_get_num_threads();
      chunk = len / static_cast<size_t>(team);
      rest = len % static_cast<size_t>(team);
    }
#pragma omp barrier
    const int i = omp_get_thread_num();
    const size_t begin = static_cast<size_t>(i) * chunk;
    const size_t count = chunk + (i == team - 1 ? rest : 0);
    const unsigned own = _mm_getcsr();
    _mm_setcsr((own & ~kControlBits) | caller_control);
    const bool slice_flagged = kernel(begin, count);
    _mm_setcsr((_mm_getcsr() & ~kControlBits) | (own & kControlBits));
    if (slice_flagged) {
#pragma omp atomic
      ++flagged;
    }
  }
  return flagged;
}

}  // namespace q5
}  // namespace kpl
