// Last-level cache size from the processor's deterministic cache parameters.
#include "frame/cache.hpp"

#include <cpuid.h>

namespace kpl {
inline namespace q5 {
namespace {

// Walks the cache-parameter subleaves of `leaf` and returns the largest data or
// unified cache.
size_t largest_cache(unsigned leaf) {
  size_t best = 0;
  for (unsigned sub = 0; sub < 16; ++sub) {
    unsigned a, b, c, d;
    __cpuid_count(leaf, sub, a, b, c, d);
    const unsigned type = a & 31;  // 0: no more caches, 2: instruction cache
    if (type == 0) break;
    if (type == 2) continue;
    const size_t ways = ((b >> 22) & 1023) + 1, partitions = ((b >> 12) & 1023) + 1;
    const size_t line = (b & 4095) + 1, sets = size_t{c} + 1;
    const size_t size = ways * partitions * line * sets;
    if (size > best) best = size;
  }
  return best;
}

}  // namespace

size_t last_level_cache_bytes() {
  // The standard leaf 4 first; processors that leave it empty describe their
  // caches in the extended leaf 0x8000001D, present with topology extensions.
  unsigned max_leaf, a, b, c, d;
  if (!__get_cpuid(0, &max_leaf, &b, &c, &d)) return 0;
  if (max_leaf >= 4) {
    if (const size_t bytes = largest_cache(4)) return bytes;
  }
  unsigned max_ext;
  __cpuid(0x80000000u, max_ext, b, c, d);
  if (max_ext < 0x8000001Du) return 0;
  __cpuid(0x80000001u, a, b, c, d);
  if (!(c & (1u << 22))) return 0;  // no topology extensions: the leaf is not there
  return largest_cache(0x8000001Du);
}

}  // namespace q5
}  // namespace kpl
