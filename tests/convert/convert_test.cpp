// Convert between integer, float and packed 24-bit types: every form swept over
// lengths 1..70 and longer and every start offset of source and destination
// against a reference written here from the documented rule (exact integers with
// their own rounding code; long double for floats, where every result is
// bit-exact), with rounding modes and scale factors rotating through the calls;
// then the order of checks with nothing written on error.
#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

using LD = long double;

// ---------------------------------------------------------------------------
// Integer references: the exact value x * 2^-s rounded by a mode, then saturated.

enum class Mode { kNear, kZero, kFin };
Mode float_mode(int m) { return m == 1 ? Mode::kNear : (m == 0 ? Mode::kZero : Mode::kFin); }

// x / 2^s for s >= 1, rounded by the mode.
i128 divide_round(i128 x, int s, Mode m) {
  return round_div(x, i128{1} << std::min(s, 120), m == Mode::kZero ? Rnd::kZero : m == Mode::kFin ? Rnd::kNearAway : Rnd::kNearEven);
}

i128 clamp128(i128 v, i128 lo, i128 hi) { return v < lo ? lo : (v > hi ? hi : v); }

// x * 2^-s rounded by m and saturated to [lo, hi], for any s.
i128 scale_round(i128 x, int s, Mode m, i128 lo, i128 hi) {
  if (s >= 0) return clamp128(s == 0 ? x : divide_round(x, s, m), lo, hi);
  if (x == 0) return 0;
  if (s < -80) return x > 0 ? hi : lo;
  return clamp128(x * (i128{1} << -s), lo, hi);
}

int clampi(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// ---------------------------------------------------------------------------
// Float-to-integer references, from the documented table.

// The element times the scale factor in the source's precision, the factor
// being 2^-s made by halving or doubling: 0 or infinity once out of range.
template <class S>
S scaled_source(S x, int s) {
  constexpr int kDown = std::is_same_v<S, float> ? 149 : 1074, kUp = std::is_same_v<S, float> ? 127 : 1023;
  if (s == 0) return x;
  if (s > kDown) return x * S(0);
  if (-s > kUp) return x * std::numeric_limits<S>::infinity();
  return static_cast<S>(std::ldexp(static_cast<LD>(x), -s));
}

// Financial rounding as documented: half added to the magnitude in the source's
// precision (one rounding to nearest), then truncation.
template <class S>
LD financial(S p) {
  const S t = static_cast<S>(std::fabs(static_cast<LD>(p)) + 0.5L);
  const LD r = std::trunc(static_cast<LD>(t));
  return std::signbit(p) ? -r : r;
}

template <class S>
LD round_by(S p, Mode m) {
  if (m == Mode::kNear) return std::nearbyint(static_cast<LD>(p));
  if (m == Mode::kZero) return std::trunc(static_cast<LD>(p));
  return financial(p);
}

template <class S, class D>
D float_to_int_reference(S x, int mode, int s) {
  using L = std::numeric_limits<D>;
  constexpr bool k32sFrom32f = std::is_same_v<D, int32_t> && std::is_same_v<S, float>;
  S p = scaled_source(x, s);
  if constexpr (std::is_same_v<D, uint16_t>) {
    if (!(p > 0)) p = 0;  // NaN and negatives: the maximum with 0 gives 0
  } else if constexpr (k32sFrom32f) {
    if (p != p) return std::signbit(p) ? L::min() : L::max();  // NaN by its sign
  } else {
    const S upper = static_cast<S>(L::max());
    if (p != p || p > upper) p = upper;  // NaN takes the upper bound
  }
  const LD r = round_by(p, float_mode(mode));
  if (r >= 0x1p31L || r < -0x1p31L) {  // the conversion itself is out of range
    if constexpr (k32sFrom32f) return r > 0 ? L::max() : L::min();
    if constexpr (std::is_same_v<D, uint16_t>) return L::max();
    return L::min();
  }
  return static_cast<D>(clamp128(static_cast<i128>(r), L::min(), L::max()));
}

// 64f64s: only 2 is financial, other values than 0 and 1 truncate; NaN gives the
// minimum; the scale branches of the documentation.
int64_t ref_64f64s(double x, int mode, int s) {
  constexpr int64_t kMax = INT64_MAX, kMin = INT64_MIN;
  const Mode m = mode == 1 ? Mode::kNear : (mode == 2 ? Mode::kFin : Mode::kZero);
  if (x != x) return kMin;
  double p = x;
  if (s < 0) {
    const double f = -s > 1023 ? HUGE_VAL : std::ldexp(1.0, -s);
    if (std::fabs(x) > DBL_MAX / f) return x > 0 ? kMax : kMin;
    p = x == 0 ? 0 : x * f;
  } else if (s > 0) {
    const double f = s > 1074 ? 0.0 : std::ldexp(1.0, -s);
    if (std::fabs(x) <= DBL_MIN / f) return 0;
    p = x * f;
  }
  if (p >= 0x1p63) return kMax;
  if (p <= -0x1p63) return kMin;
  const LD r = round_by(p, m);
  return r >= 0x1p63L ? kMax : static_cast<int64_t>(r);
}

// ---------------------------------------------------------------------------
// Packed 24-bit samples.

template <class T24>
T24 to24(uint32_t v) {
  return T24{{static_cast<Kpl8u>(v), static_cast<Kpl8u>(v >> 8), static_cast<Kpl8u>(v >> 16)}};
}
int32_t from24s(Kpl24s v) { return static_cast<int32_t>((uint32_t{v.b[0]} | uint32_t{v.b[1]} << 8 | uint32_t{v.b[2]} << 16) << 8) >> 8; }
uint32_t from24u(Kpl24u v) { return uint32_t{v.b[0]} | uint32_t{v.b[1]} << 8 | uint32_t{v.b[2]} << 16; }

// ---------------------------------------------------------------------------
// Test values.

// Integers: random bits (all of them, or a narrower field), the type's extremes,
// and points on and beside the rounding grid of the scale factor.
template <class S>
S int_value(Rng& r, int s) {
  using L = std::numeric_limits<S>;
  const auto specials = special_integers<S>();
  switch (r.next() % 5) {
    case 0: return specials[r.next() % specials.size()];
    case 1: {
      if (s <= 0 || s >= static_cast<int>(8 * sizeof(S)) - 1) return static_cast<S>(r.next());
      const i128 k = static_cast<i128>(r.next() % 64) - 32;  // k * 2^s + a half, +-1
      const i128 v = k * (i128{1} << s) + (i128{1} << (s - 1)) + static_cast<int>(r.next() % 3) - 1;
      return static_cast<S>(clamp128(v, L::min(), L::max()));
    }
    case 2: return static_cast<S>(static_cast<int64_t>(r.next()) >> (r.next() % (8 * sizeof(S))));
    default: return static_cast<S>(r.next());
  }
}

// Floats: specials, random bits, halves and near-halves at the scale, values
// across the destination's range and past it, tiny ones.
template <class S>
S float_value(Rng& r, int s, double range) {
  const int e = clampi(s, -900, 900);
  auto at_scale = [&](LD v) { return static_cast<S>(std::ldexp(v, e)); };
  switch (r.next() % 8) {
    case 0: {
      if constexpr (std::is_same_v<S, float>) {
        const auto v = special_floats();
        return v[r.next() % v.size()];
      } else {
        const auto v = special_doubles();
        return v[r.next() % v.size()];
      }
    }
    case 1:
      if constexpr (std::is_same_v<S, float>) return std::bit_cast<float>(static_cast<uint32_t>(r.next()));
      else return std::bit_cast<double>(r.next());
    case 2: return at_scale(static_cast<LD>(static_cast<int64_t>(r.next() % 200) - 100) + 0.5L);
    case 3: {  // one unit in the last place beside a half
      const S h = at_scale(static_cast<LD>(static_cast<int64_t>(r.next() % 200) - 100) + 0.5L);
      return std::nextafter(h, r.next() % 2 ? std::numeric_limits<S>::infinity() : -std::numeric_limits<S>::infinity());
    }
    case 4: return at_scale(static_cast<LD>(r.uniform(-1.5 * range, 1.5 * range)));
    case 5: return at_scale(static_cast<LD>(std::nextafter(S(0.5), S(0))) * (r.next() % 2 ? 1 : -1));
    case 6: return at_scale(static_cast<LD>(r.uniform(-range, range)) * 1024);
    default: return at_scale(static_cast<LD>(std::round(r.uniform(-range, range))));
  }
}

// ---------------------------------------------------------------------------
// The sweep.

template <class S, class D>
struct Form {
  const char* name;
  std::function<KplStatus(const S*, D*, int, int, int)> call;  // (src, dst, len, mode, scale)
  std::function<D(S, int, int)> reference;                    // (x, mode, scale)
  std::function<S(Rng&, int)> value;                           // (rng, scale)
  std::vector<int> modes = {0};
  std::vector<int> scales = {0};
};

template <class T>
std::string show(const T& v) {
  std::ostringstream o;
  if constexpr (std::is_floating_point_v<T>) o << v << " ";
  else if constexpr (std::is_integral_v<T>) o << static_cast<long long>(v) << " ";
  o << "[0x";
  const auto* b = reinterpret_cast<const uint8_t*>(&v);
  for (size_t i = sizeof(T); i-- > 0;) o << std::hex << (b[i] >> 4) << (b[i] & 15);
  return o.str() + "]";
}

// Every length and pair of start offsets; the mode and the scale factor rotate
// through the calls, so that every pair of them meets many lengths and offsets.
template <class S, class D>
void sweep_form(const Form<S, D>& f) {
  Rng rng(std::hash<std::string>{}(f.name));
  size_t k = 0;
  std::vector<S> in;
  sweep2([&](size_t len, size_t a, size_t b) {
    const int mode = f.modes[k % f.modes.size()], s = f.scales[(k / f.modes.size()) % f.scales.size()];
    ++k;
    in.resize(len);
    for (auto& x : in) x = f.value(rng, s);
    Guarded<S> src(len, a);
    Guarded<D> dst(len, b);
    src.assign(in.data());
    ASSERT_EQ(f.call(src.data(), dst.data(), static_cast<int>(len), mode, s), kplStsOk) << f.name;
    for (size_t i = 0; i < len; ++i) {
      const D want = f.reference(in[i], mode, s);
      ASSERT_EQ(std::memcmp(&dst[i], &want, sizeof(D)), 0)
          << f.name << " len=" << len << " offsets=" << a << "," << b << " mode=" << mode << " scale=" << s
          << " element " << i << " of " << show(in[i]) << ": got " << show(dst[i]) << ", want " << show(want);
    }
    ASSERT_TRUE(dst.guards_intact()) << f.name << " len=" << len << " offsets=" << a << "," << b;
    ASSERT_TRUE(same_bits(src.data(), in.data(), len)) << f.name << " changed its source";
  });
}

const std::vector<int> kFloatModes = {1, 0, 2, 3, 7, -1};
const std::vector<int> kIntModes = {1, 0, 2, 5};
const std::vector<int> kFloatScales = {0, 1, -1, 3, -4, 15, -15, 31, -31, 64, -64, 126, 127, 149, 150, -127, -128, 300, -300};

template <class D>
Form<float, D> from32f(const char* name, KplStatus (*fn)(const Kpl32f*, D*, int, KplRoundMode, int), double range) {
  return {name, [fn](const float* s, D* d, int n, int m, int sf) { return fn(s, d, n, m, sf); },
          float_to_int_reference<float, D>, [range](Rng& r, int s) { return float_value<float>(r, s, range); },
          kFloatModes, kFloatScales};
}
template <class D>
Form<double, D> from64f(const char* name, KplStatus (*fn)(const Kpl64f*, D*, int, KplRoundMode, int), double range) {
  std::vector<int> scales = kFloatScales;
  for (int s : {1023, 1024, 1074, 1075, -1023, -1024, -2000}) scales.push_back(s);
  return {name, [fn](const double* s, D* d, int n, int m, int sf) { return fn(s, d, n, m, sf); },
          float_to_int_reference<double, D>, [range](Rng& r, int s) { return float_value<double>(r, s, range); },
          kFloatModes, scales};
}

TEST(ConvertFloatToInt, MatchesReferenceOverLengthsOffsetsModesAndScales) {
  sweep_form(from32f<Kpl16s>("Convert_32f16s_Sfs", kplsConvert_32f16s_Sfs, 32768));
  sweep_form(from32f<Kpl32s>("Convert_32f32s_Sfs", kplsConvert_32f32s_Sfs, 2147483648.0));
  sweep_form(from64f<Kpl32s>("Convert_64f32s_Sfs", kplsConvert_64f32s_Sfs, 2147483648.0));
  sweep_form(from32f<Kpl8s>("Convert_32f8s_Sfs", kplsConvert_32f8s_Sfs, 128));
  sweep_form(from32f<Kpl8u>("Convert_32f8u_Sfs", kplsConvert_32f8u_Sfs, 256));
  sweep_form(from32f<Kpl16u>("Convert_32f16u_Sfs", kplsConvert_32f16u_Sfs, 65536));
  sweep_form(from64f<Kpl16s>("Convert_64f16s_Sfs", kplsConvert_64f16s_Sfs, 32768));
  Form<double, Kpl64s> f64 = {
      "Convert_64f64s_Sfs",
      [](const double* s, Kpl64s* d, int n, int m, int sf) { return kplsConvert_64f64s_Sfs(s, d, static_cast<Kpl32u>(n), m, sf); },
      ref_64f64s, [](Rng& r, int s) { return float_value<double>(r, s, 0x1p63); }, {1, 0, 2, 3, 7},
      {0, 1, -1, 10, -10, 63, -63, 1022, 1023, 1060, 1074, 1075, 2000, -1023, -1024, -2000}};
  sweep_form(f64);
}

// Integer to float: exact, or rounded once to nearest (32s to 32f, 64s to 64f).
template <class S, class D>
D int_to_float_reference(S x, int s, int lo, int hi) {
  return static_cast<D>(std::ldexp(static_cast<LD>(x), -clampi(s, lo, hi)));
}

template <class S, class D>
Form<S, D> plain(const char* name, KplStatus (*fn)(const S*, D*, int)) {
  return {name, [fn](const S* s, D* d, int n, int, int) { return fn(s, d, n); },
          [](S x, int, int) { return static_cast<D>(static_cast<LD>(x)); }, int_value<S>};
}
template <class S, class D>
Form<S, D> scaled(const char* name, KplStatus (*fn)(const S*, D*, int, int), int lo, int hi) {
  return {name, [fn](const S* s, D* d, int n, int, int sf) { return fn(s, d, n, sf); },
          [lo, hi](S x, int, int sf) { return int_to_float_reference<S, D>(x, sf, lo, hi); }, int_value<S>, {0},
          {0, 1, -1, 15, -15, 31, -31, lo, lo - 1, hi, hi + 1, -100000, 100000}};
}

TEST(ConvertIntToFloat, MatchesReferenceOverLengthsOffsetsAndScales) {
  sweep_form(plain<Kpl16s, Kpl32f>("Convert_16s32f", kplsConvert_16s32f));
  sweep_form(plain<Kpl32s, Kpl32f>("Convert_32s32f", kplsConvert_32s32f));
  sweep_form(plain<Kpl32s, Kpl64f>("Convert_32s64f", kplsConvert_32s64f));
  sweep_form(plain<Kpl8s, Kpl32f>("Convert_8s32f", kplsConvert_8s32f));
  sweep_form(plain<Kpl8u, Kpl32f>("Convert_8u32f", kplsConvert_8u32f));
  sweep_form(plain<Kpl16u, Kpl32f>("Convert_16u32f", kplsConvert_16u32f));
  Form<Kpl64s, Kpl64f> f64 = plain<Kpl64s, Kpl64f>("Convert_64s64f", nullptr);
  f64.call = [](const Kpl64s* s, Kpl64f* d, int n, int, int) { return kplsConvert_64s64f(s, d, static_cast<Kpl32u>(n)); };
  sweep_form(f64);
  sweep_form(scaled<Kpl16s, Kpl32f>("Convert_16s32f_Sfs", kplsConvert_16s32f_Sfs, -112, 126));
  sweep_form(scaled<Kpl32s, Kpl32f>("Convert_32s32f_Sfs", kplsConvert_32s32f_Sfs, -96, 126));
  sweep_form(scaled<Kpl16s, Kpl64f>("Convert_16s64f_Sfs", kplsConvert_16s64f_Sfs, -1008, 1022));
  sweep_form(scaled<Kpl32s, Kpl64f>("Convert_32s64f_Sfs", kplsConvert_32s64f_Sfs, -1008, 1022));
}

// Float to float: 32f to 64f exact, 64f to 32f rounded once to nearest; a NaN
// keeps its sign and payload (quieted), as the hardware conversion does.
double widen_reference(float x) {
  const uint32_t b = std::bit_cast<uint32_t>(x);
  if (x != x)
    return std::bit_cast<double>(uint64_t{b >> 31} << 63 | 0x7FF8000000000000ull | uint64_t{b & 0x3FFFFF} << 29);
  return static_cast<double>(static_cast<LD>(x));
}
float narrow_reference(double x) {
  const uint64_t b = std::bit_cast<uint64_t>(x);
  if (x != x) return std::bit_cast<float>(static_cast<uint32_t>(b >> 63 << 31 | 0x7FC00000u | ((b >> 29) & 0x3FFFFF)));
  return static_cast<float>(static_cast<LD>(x));
}

TEST(ConvertFloatToFloat, MatchesReferenceOverLengthsAndOffsets) {
  sweep_form(Form<float, double>{"Convert_32f64f", [](const float* s, double* d, int n, int, int) { return kplsConvert_32f64f(s, d, n); },
                                 [](float x, int, int) { return widen_reference(x); },
                                 [](Rng& r, int) { return float_value<float>(r, 0, 1e30); }});
  sweep_form(Form<double, float>{"Convert_64f32f", [](const double* s, float* d, int n, int, int) { return kplsConvert_64f32f(s, d, n); },
                                 [](double x, int, int) { return narrow_reference(x); },
                                 [](Rng& r, int) {
                                   // doubles near float ties and in the float's denormal range too
                                   const int e = static_cast<int>(r.next() % 300) - 160;
                                   return r.next() % 3 ? float_value<double>(r, e, 1e3) : std::ldexp(r.uniform(-1, 1), -140);
                                 }});
}

// Integer to integer.
TEST(ConvertIntToInt, MatchesReferenceOverLengthsOffsetsModesAndScales) {
  sweep_form(Form<Kpl8s, Kpl16s>{"Convert_8s16s", [](const Kpl8s* s, Kpl16s* d, int n, int, int) { return kplsConvert_8s16s(s, d, n); },
                                 [](Kpl8s x, int, int) { return Kpl16s{x}; }, int_value<Kpl8s>});
  sweep_form(Form<Kpl16s, Kpl32s>{"Convert_16s32s", [](const Kpl16s* s, Kpl32s* d, int n, int, int) { return kplsConvert_16s32s(s, d, n); },
                                  [](Kpl16s x, int, int) { return Kpl32s{x}; }, int_value<Kpl16s>});
  sweep_form(Form<Kpl32s, Kpl16s>{"Convert_32s16s", [](const Kpl32s* s, Kpl16s* d, int n, int, int) { return kplsConvert_32s16s(s, d, n); },
                                  [](Kpl32s x, int, int) { return static_cast<Kpl16s>(clamp128(x, -32768, 32767)); }, int_value<Kpl32s>});
  sweep_form(Form<Kpl32s, Kpl16s>{
      "Convert_32s16s_Sfs", [](const Kpl32s* s, Kpl16s* d, int n, int, int sf) { return kplsConvert_32s16s_Sfs(s, d, n, sf); },
      [](Kpl32s x, int, int sf) { return static_cast<Kpl16s>(scale_round(x, clampi(sf, -15, 31), Mode::kNear, -32768, 32767)); },
      int_value<Kpl32s>, {0}, {0, 1, 2, 7, 15, 16, 30, 31, 32, 40, -1, -2, -8, -15, -16, -40}});
  sweep_form(Form<Kpl16s, Kpl8s>{
      "Convert_16s8s_Sfs",
      [](const Kpl16s* s, Kpl8s* d, int n, int m, int sf) { return kplsConvert_16s8s_Sfs(s, d, static_cast<Kpl32u>(n), m, sf); },
      [](Kpl16s x, int m, int sf) { return static_cast<Kpl8s>(scale_round(x, sf, float_mode(m), -128, 127)); }, int_value<Kpl16s>,
      kIntModes, {0, 1, 2, 3, 8, 15, 16, 17, 18, 40, -1, -3, -6, -7, -8, -30}});
  sweep_form(Form<Kpl64s, Kpl32s>{
      "Convert_64s32s_Sfs", [](const Kpl64s* s, Kpl32s* d, int n, int m, int sf) { return kplsConvert_64s32s_Sfs(s, d, n, m, sf); },
      [](Kpl64s x, int m, int sf) { return static_cast<Kpl32s>(scale_round(x, clampi(sf, -31, 63), float_mode(m), INT32_MIN, INT32_MAX)); },
      int_value<Kpl64s>, kIntModes, {0, 1, 2, 16, 31, 32, 33, 62, 63, 64, 100, -1, -16, -31, -32, -100}});
}

TEST(ConvertPacked24, MatchesReferenceOverLengthsOffsetsAndScales) {
  auto s24 = [](Rng& r, int) { return to24<Kpl24s>(static_cast<uint32_t>(r.next())); };
  auto u24 = [](Rng& r, int) { return to24<Kpl24u>(static_cast<uint32_t>(r.next())); };
  sweep_form(Form<Kpl24s, Kpl32s>{"Convert_24s32s", [](const Kpl24s* s, Kpl32s* d, int n, int, int) { return kplsConvert_24s32s(s, d, n); },
                                  [](Kpl24s x, int, int) { return from24s(x); }, s24});
  sweep_form(Form<Kpl24u, Kpl32u>{"Convert_24u32u", [](const Kpl24u* s, Kpl32u* d, int n, int, int) { return kplsConvert_24u32u(s, d, n); },
                                  [](Kpl24u x, int, int) { return from24u(x); }, u24});
  sweep_form(Form<Kpl24s, Kpl32f>{"Convert_24s32f", [](const Kpl24s* s, Kpl32f* d, int n, int, int) { return kplsConvert_24s32f(s, d, n); },
                                  [](Kpl24s x, int, int) { return static_cast<float>(from24s(x)); }, s24});
  sweep_form(Form<Kpl24u, Kpl32f>{"Convert_24u32f", [](const Kpl24u* s, Kpl32f* d, int n, int, int) { return kplsConvert_24u32f(s, d, n); },
                                  [](Kpl24u x, int, int) { return static_cast<float>(from24u(x)); }, u24});
  const std::vector<int> int_scales = {0, 1, 2, 8, 9, 23, 31, 32, 40, -1, -8, -24, -31, -32, -50};
  sweep_form(Form<Kpl32s, Kpl24s>{
      "Convert_32s24s_Sfs", [](const Kpl32s* s, Kpl24s* d, int n, int, int sf) { return kplsConvert_32s24s_Sfs(s, d, n, sf); },
      [](Kpl32s x, int, int sf) {
        return to24<Kpl24s>(static_cast<uint32_t>(scale_round(x, clampi(sf, -31, 31), Mode::kNear, -0x800000, 0x7FFFFF)));
      },
      int_value<Kpl32s>, {0}, int_scales});
  sweep_form(Form<Kpl32u, Kpl24u>{
      "Convert_32u24u_Sfs", [](const Kpl32u* s, Kpl24u* d, int n, int, int sf) { return kplsConvert_32u24u_Sfs(s, d, n, sf); },
      [](Kpl32u x, int, int sf) { return to24<Kpl24u>(static_cast<uint32_t>(scale_round(x, clampi(sf, -31, 31), Mode::kNear, 0, 0xFFFFFF))); },
      int_value<Kpl32u>, {0}, int_scales});
  // Float to 24 bits: always nearest; NaN takes the lower bound; the factor 2^-s
  // with s clamped to -127..127.
  auto f24 = [](float x, int sf, LD lo, LD hi) -> int64_t {
    const float p = sf == 0 ? x : static_cast<float>(std::ldexp(static_cast<LD>(x), -clampi(sf, -127, 127)));
    if (p != p) return static_cast<int64_t>(lo);
    return static_cast<int64_t>(std::nearbyint(std::fmin(std::fmax(static_cast<LD>(p), lo), hi)));
  };
  const std::vector<int> float_scales = {0, 1, -1, 8, -8, 23, -23, 126, 127, 128, -127, -128, 1000, -1000};
  sweep_form(Form<float, Kpl24s>{
      "Convert_32f24s_Sfs", [](const float* s, Kpl24s* d, int n, int, int sf) { return kplsConvert_32f24s_Sfs(s, d, n, sf); },
      [f24](float x, int, int sf) { return to24<Kpl24s>(static_cast<uint32_t>(f24(x, sf, -8388608.0L, 8388607.0L))); },
      [](Rng& r, int s) { return float_value<float>(r, s, 8388608.0); }, {0}, float_scales});
  sweep_form(Form<float, Kpl24u>{
      "Convert_32f24u_Sfs", [](const float* s, Kpl24u* d, int n, int, int sf) { return kplsConvert_32f24u_Sfs(s, d, n, sf); },
      [f24](float x, int, int sf) { return to24<Kpl24u>(static_cast<uint32_t>(f24(x, sf, 0.0L, 16777215.0L))); },
      [](Rng& r, int s) { return float_value<float>(r, s, 16777216.0); }, {0}, float_scales});
}

// ---------------------------------------------------------------------------
// Order of checks: pointers, then the length, then (16f forms) the mode; a
// rejected call writes nothing.

template <size_t LenIndex, class S, class D, class... Rest>
void checks(KplStatus (*fn)(const S*, D*, Rest...), std::tuple<Rest...> rest, const char* name) {
  Guarded<S> src(8);
  Guarded<D> dst(8);
  fill_random_bits(src.data(), 8, 3);
  const auto s0 = src.snapshot(), d0 = dst.snapshot();
  expect_checks<LenIndex>(fn, std::tuple_cat(std::make_tuple(static_cast<const S*>(src.data()), dst.data()), rest), name);
  EXPECT_TRUE(src.unchanged_since(s0) && dst.unchanged_since(d0)) << name << " wrote on error";
}

TEST(ConvertChecks, PointersThenLengthAndNothingWritten) {
  checks<2>(kplsConvert_8s16s, std::make_tuple(8), "8s16s");
  checks<2>(kplsConvert_16s32s, std::make_tuple(8), "16s32s");
  checks<2>(kplsConvert_8s32f, std::make_tuple(8), "8s32f");
  checks<2>(kplsConvert_8u32f, std::make_tuple(8), "8u32f");
  checks<2>(kplsConvert_16s32f, std::make_tuple(8), "16s32f");
  checks<2>(kplsConvert_16u32f, std::make_tuple(8), "16u32f");
  checks<2>(kplsConvert_32s32f, std::make_tuple(8), "32s32f");
  checks<2>(kplsConvert_32s64f, std::make_tuple(8), "32s64f");
  checks<2>(kplsConvert_32f64f, std::make_tuple(8), "32f64f");
  checks<2>(kplsConvert_64f32f, std::make_tuple(8), "64f32f");
  checks<2>(kplsConvert_64s64f, std::make_tuple(Kpl32u{8}), "64s64f");
  checks<2>(kplsConvert_32s16s, std::make_tuple(8), "32s16s");
  checks<2>(kplsConvert_16s32f_Sfs, std::make_tuple(8, 3), "16s32f_Sfs");
  checks<2>(kplsConvert_16s64f_Sfs, std::make_tuple(8, 3), "16s64f_Sfs");
  checks<2>(kplsConvert_32s32f_Sfs, std::make_tuple(8, 3), "32s32f_Sfs");
  checks<2>(kplsConvert_32s64f_Sfs, std::make_tuple(8, 3), "32s64f_Sfs");
  checks<2>(kplsConvert_32f8s_Sfs, std::make_tuple(8, 1, 0), "32f8s_Sfs");
  checks<2>(kplsConvert_32f8u_Sfs, std::make_tuple(8, 1, 0), "32f8u_Sfs");
  checks<2>(kplsConvert_32f16s_Sfs, std::make_tuple(8, 1, 0), "32f16s_Sfs");
  checks<2>(kplsConvert_32f16u_Sfs, std::make_tuple(8, 1, 0), "32f16u_Sfs");
  checks<2>(kplsConvert_32f32s_Sfs, std::make_tuple(8, 1, 0), "32f32s_Sfs");
  checks<2>(kplsConvert_64f32s_Sfs, std::make_tuple(8, 1, 0), "64f32s_Sfs");
  checks<2>(kplsConvert_64f16s_Sfs, std::make_tuple(8, 1, 0), "64f16s_Sfs");
  checks<2>(kplsConvert_64f64s_Sfs, std::make_tuple(Kpl32u{8}, 1, 0), "64f64s_Sfs");
  checks<2>(kplsConvert_16s8s_Sfs, std::make_tuple(Kpl32u{8}, 1, 0), "16s8s_Sfs");
  checks<2>(kplsConvert_32s16s_Sfs, std::make_tuple(8, 0), "32s16s_Sfs");
  checks<2>(kplsConvert_64s32s_Sfs, std::make_tuple(8, 1, 0), "64s32s_Sfs");
  checks<2>(kplsConvert_24s32s, std::make_tuple(8), "24s32s");
  checks<2>(kplsConvert_24u32u, std::make_tuple(8), "24u32u");
  checks<2>(kplsConvert_24s32f, std::make_tuple(8), "24s32f");
  checks<2>(kplsConvert_24u32f, std::make_tuple(8), "24u32f");
  checks<2>(kplsConvert_32s24s_Sfs, std::make_tuple(8, 0), "32s24s_Sfs");
  checks<2>(kplsConvert_32u24u_Sfs, std::make_tuple(8, 0), "32u24u_Sfs");
  checks<2>(kplsConvert_32f24s_Sfs, std::make_tuple(8, 0), "32f24s_Sfs");
  checks<2>(kplsConvert_32f24u_Sfs, std::make_tuple(8, 0), "32f24u_Sfs");
  checks<2>(kplsConvert_16f32f, std::make_tuple(8), "16f32f");
  checks<2>(kplsConvert_32f16f, std::make_tuple(8, 1), "32f16f");
  checks<2>(kplsConvert_16s16f, std::make_tuple(8, 1), "16s16f");
  checks<2>(kplsConvert_16f16s_Sfs, std::make_tuple(8, 1, 0), "16f16s_Sfs");
}

// The 16f forms refuse the mode 2, after the pointers and the length; the
// float-to-integer forms take every mode.
TEST(ConvertChecks, HalfFormsRefuseModeTwoAfterPointersAndLength) {
  Guarded<Kpl32f> f(4);
  Guarded<Kpl16s> h(4);
  fill_random_bits(f.data(), 4, 5);
  fill_random_bits(h.data(), 4, 6);
  const auto f0 = f.snapshot(), h0 = h.snapshot();
  EXPECT_EQ(kplsConvert_32f16f(f.data(), h.data(), 4, 2), kplStsBadRoundMode);
  EXPECT_EQ(kplsConvert_16s16f(h.data(), h.data(), 4, 2), kplStsBadRoundMode);
  EXPECT_EQ(kplsConvert_16f16s_Sfs(h.data(), h.data(), 4, 2, 0), kplStsBadRoundMode);
  EXPECT_EQ(kplsConvert_32f16f(f.data(), h.data(), 0, 2), kplStsBadSize);
  EXPECT_EQ(kplsConvert_16f16s_Sfs(h.data(), h.data(), -1, 2, 0), kplStsBadSize);
  EXPECT_EQ(kplsConvert_32f16f(nullptr, h.data(), 0, 2), kplStsNullPointer);
  EXPECT_EQ(kplsConvert_16s16f(h.data(), nullptr, 4, 2), kplStsNullPointer);
  EXPECT_TRUE(f.unchanged_since(f0) && h.unchanged_since(h0));
  for (int mode : {-1, 3, 7, 1000}) {
    EXPECT_EQ(kplsConvert_32f16f(f.data(), h.data(), 4, mode), kplStsOk) << mode;
    EXPECT_EQ(kplsConvert_16f16s_Sfs(h.data(), h.data(), 4, mode, 0), kplStsOk) << mode;
  }
}

// An unsigned length takes a "negative" int as a huge count: only 0 is refused.
// (A huge count itself is not run here: it needs gigabytes.)
TEST(ConvertChecks, UnsignedLengthsRefuseOnlyZero) {
  Kpl64s a[1] = {5};
  Kpl64f b[1] = {0};
  Kpl16s c[1] = {5};
  Kpl8s d[1] = {0};
  EXPECT_EQ(kplsConvert_64s64f(a, b, 0), kplStsBadSize);
  EXPECT_EQ(kplsConvert_64f64s_Sfs(b, a, 0, 1, 0), kplStsBadSize);
  EXPECT_EQ(kplsConvert_16s8s_Sfs(c, d, 0, 1, 0), kplStsBadSize);
  EXPECT_EQ(kplsConvert_16s8s_Sfs(nullptr, d, 0, 1, 0), kplStsNullPointer);
  EXPECT_EQ(kplsConvert_16s8s_Sfs(c, d, 1, 1, 0), kplStsOk);
  EXPECT_EQ(d[0], 5);
}

}  // namespace
