// The size of the last-level data cache, read from the processor on each call
// (no cached global: nothing to initialise, no race). 0 when it cannot be told.
#pragma once

#include <cstddef>

namespace kpl {
inline namespace q5 {

size_t last_level_cache_bytes();

// Whether a store of `bytes` should bypass the cache: only when the cache size
// is known and the data is at least half of it.
// Below 1 MiB the answer is no without asking the processor, which is slow.
inline bool worth_streaming(size_t bytes) {
  constexpr size_t kSmallest = size_t{1} << 20;
  if (bytes < kSmallest) return false;
  const size_t llc = last_level_cache_bytes();
  return llc != 0 && bytes >= llc / 2;
}

}  // namespace q5
}  // namespace kpl
