// The loop driver of the element-wise kernels: a scalar peel up to the
// destination's 16-byte boundary, a body of whole blocks, a scalar tail. It is the
// only place that knows about the peel; kernels give it one scalar step and one
// block step, written with the same operation so that a result never depends on
// length or alignment.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {

// Elements to run one at a time before `d` reaches a 16-byte boundary. A
// destination that no whole number of elements can align (a 4-byte float on an
// odd address), or whose elements do not tile 16 bytes (3-byte samples), gets
// no peel: its stores are all unaligned.
template <class T>
inline size_t peel_count(const T* d, size_t n) {
  if constexpr (16 % sizeof(T) != 0) return 0;
  const size_t misalign = reinterpret_cast<uintptr_t>(d) & 15;
  if (misalign == 0 || misalign % sizeof(T) != 0) return 0;
  const size_t peel = (16 - misalign) / sizeof(T);
  return peel < n ? peel : n;
}

// Calls scalar(i) for the peel and the tail and block(i) for every run of
// `Lanes` elements in between, with d + i on a 16-byte boundary when d allows it.
template <size_t Lanes, class T, class Scalar, class Block>
inline void for_blocks(const T* d, size_t n, Scalar&& scalar, Block&& block) {
  size_t i = 0;
  const size_t peel = peel_count(d, n);
  for (; i < peel; ++i) scalar(i);
  for (; i + Lanes <= n; i += Lanes) block(i);
  for (; i < n; ++i) scalar(i);
}

// Whether the blocks that for_blocks hands out for `d` start on 16-byte boundaries.
template <class T>
inline bool blocks_aligned(const T* d, size_t n) {
  return (reinterpret_cast<uintptr_t>(d + peel_count(d, n)) & 15) == 0;
}

// Calls body(mode) with mode a Store constant: kStream when the caller wants the
// stores to bypass the cache and the blocks for `d` are aligned (then a fence
// follows), kCached otherwise.
template <class T, class Body>
inline void with_store_mode(bool stream, const T* d, size_t n, Body&& body) {
  if (stream && blocks_aligned(d, n)) {
    body(std::integral_constant<Store, Store::kStream>{});
    _mm_sfence();
  } else {
    body(std::integral_constant<Store, Store::kCached>{});
  }
}

// Element-wise maps through an operation object: op.scalar(...) for one element
// and op.block(...) for Op::kLanes elements, given the element pointers. A
// constant or a per-call setting lives in the object. In place when a source is d.
template <class Op, class S, class D>
inline void map_elements(const Op& op, const S* s, D* d, size_t n) {
  for_blocks<Op::kLanes>(
      d, n, [&](size_t i) { op.scalar(s + i, d + i); }, [&](size_t i) { op.block(s + i, d + i); });
}

template <class Op, class A, class B, class D>
inline void map_elements(const Op& op, const A* a, const B* b, D* d, size_t n) {
  for_blocks<Op::kLanes>(
      d, n, [&](size_t i) { op.scalar(a + i, b + i, d + i); }, [&](size_t i) { op.block(a + i, b + i, d + i); });
}

}  // namespace q5
}  // namespace kpl
