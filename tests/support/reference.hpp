// Plain scalar references every family shares: saturation, the scale-factor rule
// in exact integers (with its rounding modes), distances in units in the last
// place, the ordered fold of partial sums, a long double DFT, value pickers that
// land on ties and bounds, and a table of expected statuses.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <climits>
#include <functional>
#include <sstream>
#include <string>
#include <limits>
#include <type_traits>
#include <vector>

#include "kpltypes.h"
#include "support/values.hpp"

namespace kpltest {

using i128 = __int128;

// x limited to the range of D (NaN of a long double gives 0).
template <class D, class I>
  requires(std::is_integral_v<I> || std::is_same_v<I, i128>)
D clamp_to(I v) {
  const i128 x = v;
  using L = std::numeric_limits<D>;
  return x < static_cast<i128>(L::lowest()) ? L::lowest() : x > static_cast<i128>(L::max()) ? L::max() : static_cast<D>(x);
}
template <class D, class F>
  requires std::is_floating_point_v<F>
D clamp_to(F v) {
  const long double x = v;
  using L = std::numeric_limits<D>;
  if (x != x) return D{0};
  return x <= static_cast<long double>(L::lowest()) ? L::lowest() : x >= static_cast<long double>(L::max()) ? L::max() : static_cast<D>(x);
}

// How a quotient that is not exact becomes an integer.
enum class Rnd { kNearEven, kNearAway, kZero, kFloor };

// The rounding argument of the library's calls: 0 toward zero, 1 to nearest even,
// 2 to nearest with ties away from zero.
inline Rnd rnd_of(int arg) { return arg == 0 ? Rnd::kZero : arg == 1 ? Rnd::kNearEven : Rnd::kNearAway; }
inline int rnd_arg(Rnd m) { return m == Rnd::kZero ? 0 : m == Rnd::kNearEven ? 1 : 2; }

// num / den rounded by the mode, exactly (den != 0, either sign).
inline i128 round_div(i128 num, i128 den, Rnd mode = Rnd::kNearEven) {
  if (den < 0) num = -num, den = -den;
  i128 q = num / den, r = num % den;
  if (r < 0) q -= 1, r += den;  // floor, 0 <= r < den
  if (r == 0 || mode == Rnd::kFloor) return q;
  if (mode == Rnd::kZero) return num < 0 ? q + 1 : q;
  if (2 * r > den) return q + 1;
  if (2 * r < den) return q;
  if (mode == Rnd::kNearEven) return (q & 1) != 0 ? q + 1 : q;
  return num < 0 ? q : q + 1;  // ties away from zero
}

// The scale-factor rule: x * 2^-s rounded by the mode, saturated to D.
template <class D>
D scaled(i128 x, int s, Rnd mode = Rnd::kNearEven) {
  using L = std::numeric_limits<D>;
  if (s > 0) return clamp_to<D>(round_div(x, i128{1} << std::min(s, 120), mode));
  if (s == 0 || x == 0) return clamp_to<D>(x);
  if (-s >= 64 || x >= (i128{1} << 63) || x <= -(i128{1} << 63)) return x > 0 ? L::max() : L::lowest();
  return clamp_to<D>(x * (i128{1} << -s));
}

// The distance between two floats of one type in units in the last place, across
// zero (both zeros are one point).
template <class F>
long double ulp_distance(F a, F b) {
  using U = std::conditional_t<sizeof(F) == 4, int32_t, int64_t>;
  auto key = [](F v) {
    const U k = std::bit_cast<U>(v);
    return k < 0 ? static_cast<long double>(std::numeric_limits<U>::min()) - k : static_cast<long double>(k);
  };
  return std::fabs(key(a) - key(b));
}

// The error of got in ulps of F at the true value want: NaN must meet NaN, and a
// value beyond the range must give the infinity of its sign.
template <class F>
long double ulps(F got, long double want) {
  using L = std::numeric_limits<F>;
  if (std::isnan(want) || std::isnan(got)) return std::isnan(want) && std::isnan(got) ? 0 : INFINITY;
  if (std::fabs(want) > L::max()) return std::isinf(got) && std::signbit(got) == std::signbit(want) ? 0 : INFINITY;
  if (std::isinf(got)) return INFINITY;
  int e = 0;
  std::frexp(want, &e);
  const int ulp_exp = want == 0 ? L::min_exponent - L::digits : std::max(e - L::digits, L::min_exponent - L::digits);
  return std::fabs(got - want) / std::ldexp(1.0L, ulp_exp);
}

// The documented order of a float sum: term i into partial sum i mod K (from
// zero), then the upper half folded onto the lower until one is left.
template <size_t K, class T>
T ordered(const std::vector<T>& t) {
  T p[K] = {};
  for (size_t i = 0; i < t.size(); ++i) p[i % K] += t[i];
  for (size_t h = K / 2; h >= 1; h /= 2)
    for (size_t j = 0; j < h; ++j) p[j] = p[j] + p[j + h];
  return p[0];
}

// The DFT in long double, for the bins asked (the others stay zero):
// X[k] = sum x[j] exp(-+2 pi i jk / n), the plus sign for the inverse, unscaled.
inline std::vector<std::complex<long double>> dft(const std::vector<std::complex<long double>>& x, bool inverse,
                                                  const std::vector<int>& bins) {
  using cld = std::complex<long double>;
  const size_t n = x.size();
  const long double two_pi = 6.283185307179586476925286766559L;
  std::vector<cld> w(n), out(n);
  for (size_t m = 0; m < n; ++m) {  // each angle once
    const long double ang = (inverse ? two_pi : -two_pi) * static_cast<long double>(m) / static_cast<long double>(n);
    w[m] = cld(std::cos(ang), std::sin(ang));
  }
  for (int k : bins) {
    cld acc = 0;
    for (size_t j = 0; j < n; ++j) acc += x[j] * w[(j * static_cast<size_t>(k)) % n];
    out[k] = acc;
  }
  return out;
}

// Equal values: integers equal, floats bit for bit save that two NaNs meet with
// either payload; complex values part by part.
template <class T>
bool same(T x, T y) {
  if constexpr (std::is_floating_point_v<T>) return same_bits(&x, &y, 1) || (std::isnan(x) && std::isnan(y));
  else if constexpr (std::is_integral_v<T>) return x == y;
  else return same(x.re, y.re) && same(x.im, y.im);
}
template <class T>
std::string show(T x) {
  std::ostringstream o;
  if constexpr (std::is_floating_point_v<T>) o.precision(std::numeric_limits<T>::max_digits10), o << x;
  else if constexpr (std::is_integral_v<T>) o << +x;
  else o << "(" << show(x.re) << "," << show(x.im) << ")";
  return o.str();
}

// Scale factors: every one from -40 to 40, then the class boundaries of the wide
// integer forms and the extremes of int.
inline const std::vector<int>& scale_factors() {
  static const std::vector<int> s = [] {
    std::vector<int> v;
    for (int k = -40; k <= 40; ++k) v.push_back(k);
    for (int k : {-64, -63, -62, -33, -32, -31, 46, 47, 61, 62, 63, 64, 93, 94, 100, INT_MIN, INT_MAX}) v.push_back(k);
    return v;
  }();
  return s;
}

// Integers that catch rounding and saturation faults: random bits, the type's
// bounds and their neighbours, and small values whose scaled results tie (odd
// multiples of a half at every scale factor up to 6).
template <class T>
T pick_int(Rng& r, size_t i) {
  static const std::vector<T> sp = special_integers<T>();
  switch (i % 4) {
    case 0: return sp[r.next() % sp.size()];
    case 1: return static_cast<T>(static_cast<int64_t>(r.next() % 129) - (std::is_signed_v<T> ? 64 : 0));
    default: return static_cast<T>(r.next());
  }
}
template <class T>
std::vector<T> pick_ints(size_t n, uint64_t seed) {
  Rng r(seed);
  std::vector<T> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = pick_int<T>(r, i);
  return v;
}

// Calls that must each give one status, in one table: for orders of checks that
// expect_checks cannot express (several lengths, a scale or a mode checked
// between them).
struct StatusCase {
  const char* what;
  std::function<KplStatus()> call;
  KplStatus want;
};
inline void expect_statuses(const std::vector<StatusCase>& cases, const char* name = "") {
  for (const auto& c : cases) EXPECT_EQ(c.call(), c.want) << name << ": " << c.what;
}

}  // namespace kpltest
