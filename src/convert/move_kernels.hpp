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

}  // namespace q5
}  // namespace kpl
