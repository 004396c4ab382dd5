// The size of the last-level data cache, read from the processor on each call
// (no cached global: nothing to initialise, no race). 0 when it cannot be told.
#pragma once

#include <cstddef>

namespace kpl {
inline namespace q5 {

size_t last_level_cache_bytes();

// Whether a store of `bytes` should bypass the cache: only when the cache size
// is known and the data is at least half of it.
inline bool worth_streaming(size_t bytes) {
  const size_t llc = last_level_cache_bytes();
  return llc != 0 && bytes >= llc / 2;
}

}  // namespace q5
}  // namespace kpl
