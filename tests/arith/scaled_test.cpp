// The scaled-integer machinery on its own: every class, through the drivers'
// vector and scalar paths, against the exact rule.
#include <gtest/gtest.h>

#include <vector>

#include "arith/scaled.hpp"
#include "support/values.hpp"

using namespace kpl;

namespace {

// The exact sum of two 16-bit or 8-bit elements, and a product for the wide case.
struct SumOp {
  int64_t exact(int64_t a, int64_t b) const { return a + b; }
  void lanes(const int16_t* a, const int16_t* b, __m128i* x) const {
    __m128i u[2], v[2];
    widen_16s(a, u), widen_16s(b, v);
    x[0] = _mm_add_epi32(u[0], v[0]), x[1] = _mm_add_epi32(u[1], v[1]);
  }
  void lanes(const uint8_t* a, const uint8_t* b, __m128i* x) const {
    __m128i u[4], v[4];
    widen_8u(a, u), widen_8u(b, v);
    for (int k = 0; k < 4; ++k) x[k] = _mm_add_epi32(u[k], v[k]);
  }
};
struct ProductOp {
  int64_t exact(int64_t a, int64_t b) const { return a * b; }
  void lanes(const int16_t* a, const int16_t* b, __m128i* x) const {
    __m128i u[2], v[2];
    widen_16s(a, u), widen_16s(b, v);
    x[0] = _mm_mullo_epi32(u[0], v[0]), x[1] = _mm_mullo_epi32(u[1], v[1]);
  }
};

template <class T, class Op>
void check(Op op, ScaleLimits limits, int s_lo, int s_hi) {
  const std::vector<T> sp = kpltest::special_integers<T>();
  const size_t n = 37;
  std::vector<T> a(n), b(n), d(n);
  kpltest::Rng rng(11);
  for (int s = s_lo; s <= s_hi; ++s) {
    for (int rep = 0; rep < 20; ++rep) {
      for (size_t i = 0; i < n; ++i) {
        a[i] = rep % 2 ? sp[rng.next() % sp.size()] : static_cast<T>(rng.next());
        b[i] = rep % 3 ? sp[rng.next() % sp.size()] : static_cast<T>(rng.next());
      }
      const ScaleClass c = classify(s, limits);
      if (c == ScaleClass::kZero) continue;
      with_scale_class(c, [&](auto tag) {
        if constexpr (decltype(tag)::value != ScaleClass::kZero)
          scaled_binary<decltype(tag)::value>(op, a.data(), b.data(), d.data() + 0, n, s);
      });
      for (size_t i = 0; i < n; ++i)
        ASSERT_EQ(d[i], scale_exact<T>(op.exact(a[i], b[i]), s)) << +a[i] << "," << +b[i] << " s=" << s << " i=" << i;
    }
  }
}

}  // namespace

TEST(ScaledDrivers, EveryClassMatchesTheExactRule) {
  check<int16_t>(SumOp{}, {16, -15}, -20, 16);
  check<uint8_t>(SumOp{}, {9, -7}, -10, 9);
  check<int16_t>(ProductOp{}, {30, -15}, -20, 30);
}
