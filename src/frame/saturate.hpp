// Saturation to an integer type: a value beyond the range becomes the nearest bound.
#pragma once

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace kpl {
inline namespace q5 {

// Any integer (or integer-valued float) to T, clamped to T's range. A NaN
// becomes `nan_to`, which callers choose per family.
template <class T, class W>
constexpr T saturate(W v, T nan_to = std::numeric_limits<T>::max()) {
  using L = std::numeric_limits<T>;
  if constexpr (std::is_floating_point_v<W>) {
    if (v != v) return nan_to;
    if (v <= static_cast<W>(L::lowest())) return L::lowest();
    if (v >= static_cast<W>(L::max())) return L::max();
    return static_cast<T>(v);
  } else {
    if (std::cmp_less(v, L::lowest())) return L::lowest();
    if (std::cmp_greater(v, L::max())) return L::max();
    return static_cast<T>(v);
  }
}

}  // namespace q5
}  // namespace kpl
