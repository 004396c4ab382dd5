// Moves between the three packed layouts of a real spectrum of n reals:
//   Perm: R0, R[n/2], R1, I1, .., R[n/2-1], I[n/2-1]      (n even; odd n as Pack)
//   Pack: R0, R1, I1, .., R[n/2-1], I[n/2-1], R[n/2]       (odd n: R0, R1, I1, ..)
//   CCS:  R0, 0, R1, I1, .., R[n/2], 0   (n+2 values; odd n: R0, 0, R1, I1, .. n+1)
// Any element type, either parity, and src == dst is allowed: every move walks in
// the direction that reads a place before it is overwritten, and the one value
// that jumps (the Nyquist term) is held in a register across the move. Reading
// CCS never looks at its two imaginary zeros. Nothing outside the n (Perm, Pack)
// or n+2 / n+1 (CCS) places is touched. n >= 1; no argument checks.
#pragma once

#include <cstring>

namespace kpl {
inline namespace q5 {

namespace packed_detail {
// Overlap-safe run of `count` elements; the callers' buffers may coincide.
template <class T>
inline void move_run(T* dst, const T* src, int count) {
  if (count > 0 && dst != src) std::memmove(dst, src, sizeof(T) * static_cast<size_t>(count));
}
}  // namespace packed_detail

// Pack -> CCS: places 1..n-1 move one up (so R[n/2] lands at n), then the zeros.
template <class T>
inline void pack_to_ccs(const T* src, T* dst, int n) {
  const T dc = src[0];
  packed_detail::move_run(dst + 2, src + 1, n - 1);
  dst[0] = dc;
  dst[1] = T(0);
  if ((n & 1) == 0) dst[n + 1] = T(0);
}

// CCS -> Pack: places 2..n move one down; the imaginary zeros are not read.
template <class T>
inline void ccs_to_pack(const T* src, T* dst, int n) {
  dst[0] = src[0];
  packed_detail::move_run(dst + 1, src + 2, n - 1);
}

// Perm -> Pack: R[n/2] leaves place 1 for the end, places 2..n-1 slide down.
template <class T>
inline void perm_to_pack(const T* src, T* dst, int n) {
  if ((n & 1) || n == 2) {
    packed_detail::move_run(dst, src, n);  // the two layouts coincide
    return;
  }
  const T nyquist = src[1];
  dst[0] = src[0];
  packed_detail::move_run(dst + 1, src + 2, n - 2);
  dst[n - 1] = nyquist;
}

// Pack -> Perm: the inverse walk, places 1..n-2 slide up and R[n/2] comes to 1.
template <class T>
inline void pack_to_perm(const T* src, T* dst, int n) {
  if ((n & 1) || n == 2) {
    packed_detail::move_run(dst, src, n);
    return;
  }
  const T nyquist = src[n - 1];
  dst[0] = src[0];
  packed_detail::move_run(dst + 2, src + 1, n - 2);
  dst[1] = nyquist;
}

// Perm -> CCS: even n keeps the pairs in place and moves R[n/2] to place n.
template <class T>
inline void perm_to_ccs(const T* src, T* dst, int n) {
  if (n & 1) {
    pack_to_ccs(src, dst, n);
    return;
  }
  const T nyquist = src[1];
  dst[0] = src[0];
  packed_detail::move_run(dst + 2, src + 2, n - 2);
  dst[n] = nyquist;
  dst[1] = T(0);
  dst[n + 1] = T(0);
}

// CCS -> Perm: R[n/2] comes from place n; the imaginary zeros are not read.
template <class T>
inline void ccs_to_perm(const T* src, T* dst, int n) {
  if (n & 1) {
    ccs_to_pack(src, dst, n);
    return;
  }
  const T nyquist = src[n];
  dst[0] = src[0];
  packed_detail::move_run(dst + 2, src + 2, n - 2);
  dst[1] = nyquist;
}

}  // namespace q5
}  // namespace kpl
