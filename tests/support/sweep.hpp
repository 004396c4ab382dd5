// The sweep every family test runs: lengths 1..70 and a few long ones, with each
// pointer at every start offset 0..15 (in elements) from a 64-byte boundary.
#pragma once

#include <cstddef>
#include <vector>

namespace kpltest {

inline const std::vector<size_t>& sweep_lengths() {
  static const std::vector<size_t> lengths = [] {
    std::vector<size_t> l;
    for (size_t n = 1; n <= 70; ++n) l.push_back(n);
    for (size_t n : {127u, 128u, 129u, 1000u, 4099u}) l.push_back(n);
    return l;
  }();
  return lengths;
}

// Calls f(len, offset_a, offset_b) over every short length with every pair of
// offsets, and over the long lengths with a few pairs.
template <class F>
void sweep2(F&& f) {
  for (size_t len : sweep_lengths()) {
    if (len <= 70) {
      for (size_t a = 0; a < 16; ++a)
        for (size_t b = 0; b < 16; ++b) f(len, a, b);
    } else {
      for (auto [a, b] : {std::pair<size_t, size_t>{0, 0}, {1, 3}, {15, 7}, {4, 0}}) f(len, a, b);
    }
  }
}

// The same for functions with one vector (in place, fills).
template <class F>
void sweep1(F&& f) {
  for (size_t len : sweep_lengths())
    for (size_t a = 0; a < 16; ++a)
      if (len <= 70 || a % 5 == 0) f(len, a);
}

}  // namespace kpltest
