// Last-level cache size from the processor's deterministic cache parameters.
#include "frame/cache.hpp"

#include <cpuid.h>

#include <cstring>

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
  unsigned max_leaf, b, c, d;
  if (!__get_cpuid(0, &max_leaf, &b, &c, &d)) return 0;
  char vendor[13];
  std::memcpy(vendor, &b, 4);
  std::memcpy(vendor + 4, &d, 4);
  std::memcpy(vendor + 8, &c, 4);
  vendor[12] = '\0';
  if (std::strcmp(vendor, "GenuineIntel") == 0) return max_leaf >= 4 ? largest_cache(4) : 0;
  if (std::strcmp(vendor, "AuthenticAMD") == 0 || std::strcmp(vendor, "HygonGenuine") == 0) {
    unsigned max_ext, a;
    __cpuid(0x80000000u, max_ext, b, c, d);
    if (max_ext < 0x8000001Du) return 0;
    __cpuid(0x80000001u, a, b, c, d);
    if (!(c & (1u << 22))) return 0;  // no topology extensions: the leaf is not there
    return largest_cache(0x8000001Du);
  }
  return 0;
}

}  // namespace q5
}  // namespace kpl
