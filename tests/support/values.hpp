// Test data: reproducible random vectors and the special values of each type.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace kpltest {

// SplitMix64: a small, good, reproducible generator.
class Rng {
 public:
  explicit Rng(uint64_t seed) : s_(seed) {}
  uint64_t next() {
    uint64_t z = (s_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // Uniform in [lo, hi).
  double uniform(double lo, double hi) { return lo + (hi - lo) * static_cast<double>(next() >> 11) * 0x1p-53; }

 private:
  uint64_t s_;
};

// Random bytes in every element: every bit pattern of every type, NaNs included.
template <class T>
void fill_random_bits(T* p, size_t n, uint64_t seed) {
  Rng r(seed);
  auto* b = reinterpret_cast<uint8_t*>(p);
  for (size_t i = 0; i < n * sizeof(T); ++i) b[i] = static_cast<uint8_t>(r.next() >> 24);
}

// The float values that catch faults: signed zeros, infinities, NaNs of both
// signs with payloads, denormals, the extremes and their neighbours.
inline std::vector<float> special_floats() {
  const uint32_t bits[] = {0x00000000, 0x80000000, 0x7F800000, 0xFF800000, 0x7FC00000, 0xFFC00000,
                           0x7F800001, 0xFFBFFFFF, 0x00000001, 0x807FFFFF, 0x00800000, 0x7F7FFFFF,
                           0xFF7FFFFF, 0x3F800000, 0xBF800000, 0x3F000000, 0xBF000000, 0x4EFFFFFF};
  std::vector<float> v;
  for (uint32_t b : bits) v.push_back(std::bit_cast<float>(b));
  return v;
}

inline std::vector<double> special_doubles() {
  const uint64_t bits[] = {0x0000000000000000, 0x8000000000000000, 0x7FF0000000000000, 0xFFF0000000000000,
                           0x7FF8000000000000, 0xFFF8000000000000, 0x7FF0000000000001, 0xFFF7FFFFFFFFFFFF,
                           0x0000000000000001, 0x800FFFFFFFFFFFFF, 0x0010000000000000, 0x7FEFFFFFFFFFFFFF,
                           0xFFEFFFFFFFFFFFFF, 0x3FF0000000000000, 0xBFF0000000000000, 0x3FE0000000000000};
  std::vector<double> v;
  for (uint64_t b : bits) v.push_back(std::bit_cast<double>(b));
  return v;
}

template <class T>
std::vector<T> special_integers() {
  using L = std::numeric_limits<T>;
  std::vector<T> v = {L::min(), static_cast<T>(L::min() + 1), static_cast<T>(-1), 0, 1,
                      static_cast<T>(L::max() - 1), L::max()};
  return v;
}

// Bitwise equality of two element ranges (NaN payloads and signed zeros count).
template <class T>
bool same_bits(const T* a, const T* b, size_t n) {
  return std::memcmp(a, b, n * sizeof(T)) == 0;
}

}  // namespace kpltest
