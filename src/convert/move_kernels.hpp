// Byte kernels under Copy, Move, Set and Zero: every typed form is a byte count
// (Copy, Move, Zero) or an element width (Set).
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"

namespace kpl {
inline namespace q5 {

// Copies n bytes; the vectors must not overlap, except that d below s is safe.
void copy_bytes(const uint8_t* s, uint8_t* d, size_t n);
// Copies n bytes of vectors that may overlap, in the direction that reads every
// source byte before it is overwritten.
void move_bytes(const uint8_t* s, uint8_t* d, size_t n);
// Fills `count` elements of `Width` bytes (1, 2, 4, 8 or 16) with the element at `value`.
template <size_t Width>
void fill_elements(uint8_t* d, const void* value, size_t count);

extern template void fill_elements<1>(uint8_t*, const void*, size_t);
extern template void fill_elements<2>(uint8_t*, const void*, size_t);
extern template void fill_elements<4>(uint8_t*, const void*, size_t);
extern template void fill_elements<8>(uint8_t*, const void*, size_t);
extern template void fill_elements<16>(uint8_t*, const void*, size_t);

// A typed Copy or Move: the checks, then the byte kernel on len * sizeof(T) bytes.
template <void (*Kernel)(const uint8_t*, uint8_t*, size_t), class T>
KplStatus bytewise(const T* src, T* dst, int len) {
  if (KplStatus st = check_vector_args(len, src, dst)) return st;
  Kernel(bytes_of(src), bytes_of(dst), static_cast<size_t>(len) * sizeof(T));
  return kplStsOk;
}

// The Zero and Copy entries that a shortcut hands over to, chosen by element
// width: a 16-bit vector of any type goes through the 16s form, and so on. Their
// own checks then decide the status.
template <class T>
KplStatus zero_entry(T* d, int len) {
  if constexpr (sizeof(T) == 1) return KPL_IMPL(kplsZero_8u)(reinterpret_cast<Kpl8u*>(d), len);
  if constexpr (sizeof(T) == 2) return KPL_IMPL(kplsZero_16s)(reinterpret_cast<Kpl16s*>(d), len);
  if constexpr (sizeof(T) == 4) return KPL_IMPL(kplsZero_32s)(reinterpret_cast<Kpl32s*>(d), len);
  if constexpr (sizeof(T) == 8) return KPL_IMPL(kplsZero_64s)(reinterpret_cast<Kpl64s*>(d), len);
}
template <class T>
KplStatus copy_entry(const T* s, T* d, int len) {
  if constexpr (sizeof(T) == 1) return KPL_IMPL(kplsCopy_8u)(reinterpret_cast<const Kpl8u*>(s), reinterpret_cast<Kpl8u*>(d), len);
  if constexpr (sizeof(T) == 2) return KPL_IMPL(kplsCopy_16s)(reinterpret_cast<const Kpl16s*>(s), reinterpret_cast<Kpl16s*>(d), len);
  if constexpr (sizeof(T) == 4) return KPL_IMPL(kplsCopy_32s)(reinterpret_cast<const Kpl32s*>(s), reinterpret_cast<Kpl32s*>(d), len);
  if constexpr (sizeof(T) == 8) return KPL_IMPL(kplsCopy_64s)(reinterpret_cast<const Kpl64s*>(s), reinterpret_cast<Kpl64s*>(d), len);
}

}  // namespace q5
}  // namespace kpl
