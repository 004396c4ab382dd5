// Placement of records and tables in memory of any alignment: p + (-p & 31), so a
// buffer from any allocator needs at most 31 bytes of slack.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kpl {
inline namespace q5 {

constexpr size_t kRecordAlign = 32;
constexpr size_t kRecordSlack = kRecordAlign - 1;

template <class T = unsigned char>
inline T* place_record(void* p, size_t align = kRecordAlign) {
  const uintptr_t a = reinterpret_cast<uintptr_t>(p);
  return reinterpret_cast<T*>(a + (-a & (align - 1)));
}

// A size rounded up to a multiple of `align` (a power of two).
constexpr size_t round_up(size_t n, size_t align = kRecordAlign) { return (n + align - 1) & ~(align - 1); }

}  // namespace q5
}  // namespace kpl
