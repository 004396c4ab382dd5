// Table builders of the floating FFT plans: the quarter-wave sine table, the
// twiddle runs of the passes, and the constant tables of the small orders.
#include <array>
#include <cmath>

#include "fourier/fft_kernels.hpp"
#include "fourier/fft_plan.hpp"

namespace kpl {
inline namespace q5 {

namespace {

// sin(2 pi k / 32), k = 0..8: the quarter wave of the small orders.
constexpr long double kSine32[9] = {0.0L,
                                    0.195090322016128267848284868477022240927691617751954807754502L,
                                    0.382683432365089771728459984030398866761344562485627041433800L,
                                    0.555570233019602224742830813948532874374937190754804045924153L,
                                    0.707106781186547524400844362104849039284835937688474036588340L,
                                    0.831469612302545237078788377617905756738560811987249963446124L,
                                    0.923879532511286756128183189396788933010558405208117225127706L,
                                    0.980785280403230449126182236134239036973933730893336095002916L,
                                    1.0L};

// cos and sin of 2 pi m / 2^b from the quarter table s (2^b / 4 + 1 entries),
// reading the quadrant that holds the angle.
template <class T>
constexpr void quadrant(const T* s, int b, size_t m, T& c, T& sn) {
  const size_t q = (size_t{1} << b) / 4;
  if (m <= q) {
    sn = s[m], c = s[q - m];
  } else if (m <= 2 * q) {
    sn = s[2 * q - m], c = -s[m - q];
  } else if (m <= 3 * q) {
    sn = -s[m - 2 * q], c = -s[3 * q - m];
  } else {
    sn = -s[4 * q - m], c = s[m - 3 * q];
  }
}

// The twiddle runs of every pass, w = exp(-2 pi i / 4L): w^j (then w^2j, w^3j
// on full passes) for j < L, interleaved (cos, -sin), or, for the split engine,
// in blocks of `lanes` cosines then `lanes` negated sines.
template <class T>
constexpr void fill_twiddles(T* out, int order, int full_order, const T* s, int b, int lanes) {
  const size_t n = size_t{1} << order;
  const size_t circle = size_t{1} << b;
  for (size_t l = static_cast<size_t>(fft_first_span(order)); 4 * l <= n; l *= 4) {
    const bool full = 4 * l <= (size_t{1} << full_order);
    const size_t step = circle / (4 * l);
    for (int p = 1; p <= (full ? 3 : 1); ++p) {
      for (size_t j = 0; j < l; ++j) {
        T c{}, sn{};
        quadrant(s, b, (static_cast<size_t>(p) * j * step) & (circle - 1), c, sn);
        const size_t v = l % static_cast<size_t>(lanes) == 0 ? static_cast<size_t>(lanes) : 1;
        out[2 * v * (j / v) + j % v] = c;
        out[2 * v * (j / v) + v + j % v] = -sn;
      }
      out += 2 * l;
    }
  }
}

template <class T, int Order>
constexpr std::array<T, 64> small_table() {
  std::array<T, 64> t{};
  T s[9]{};
  for (int k = 0; k < 9; ++k) s[k] = static_cast<T>(kSine32[k]);
  fill_twiddles<T>(t.data(), Order, Order, s, 5, 1);
  return t;
}

template <class T>
struct SmallTables {
  static constexpr std::array<T, 64> o3 = small_table<T, 3>();
  static constexpr std::array<T, 64> o4 = small_table<T, 4>();
  static constexpr std::array<T, 64> o5 = small_table<T, 5>();
  static constexpr std::array<T, 9> sine = [] {
    std::array<T, 9> s{};
    for (int k = 0; k < 9; ++k) s[k] = static_cast<T>(kSine32[k]);
    return s;
  }();
};

// Every plan's tables fit the sizes that GetSize promised.
constexpr bool layouts_fit() {
  for (int dbl = 0; dbl < 2; ++dbl) {
    const long long cb = dbl ? 16 : 8;
    for (int o = 6; o <= (dbl ? kFftMaxOrderC64 : kFftMaxOrderC32); ++o)
      if (fft_twiddle_count(dbl, o) * cb > fft_complex_parts(dbl, o).spec) return false;
    for (int o = fft_real_first_rec_order(dbl); o <= (dbl ? kFftMaxOrderR64 : kFftMaxOrderR32); ++o) {
      const long long n = 1LL << o;
      const bool two = o >= (dbl ? 18 : 19);
      const long long need = two ? cb * ((dbl ? 512 : 1024) + n / (dbl ? 2048 : 4096) + 1) : cb * (n / 4);
      if (need > fft_real_rec_bytes(dbl, o)) return false;
    }
  }
  return true;
}
static_assert(layouts_fit(), "the tables must fit the published plan sizes");

}  // namespace

template <class T>
void fft_build_quarter_sine(T* s, int b) {
  const size_t n = size_t{1} << b;
  const double step = 6.283185307179586 / static_cast<double>(n);
  for (size_t k = 0; k <= n / 4; ++k)
    s[k] = static_cast<T>(k <= n / 8 ? std::sin(static_cast<double>(k) * step)
                                     : std::cos(static_cast<double>(n / 4 - k) * step));
}

template <class T>
void fft_build_twiddles(T* out, int order, int full_order, const T* s, int b) {
  fill_twiddles<T>(out, order, full_order, s, b, fft_split_lanes(sizeof(T) == 8, order));
}

template <class T>
const T* fft_small_twiddles(int order) {
  switch (order) {
    case 3: return SmallTables<T>::o3.data();
    case 4: return SmallTables<T>::o4.data();
    case 5: return SmallTables<T>::o5.data();
    default: return nullptr;  // orders 0..2 have no twiddled pass
  }
}

template <class T>
const T* fft_small_sine() {
  return SmallTables<T>::sine.data();
}

template <class T>
void fft_quadrant(const T* s, int b, size_t m, T& c, T& sn) {
  quadrant(s, b, m, c, sn);
}

template void fft_build_quarter_sine<float>(float*, int);
template void fft_build_quarter_sine<double>(double*, int);
template void fft_build_twiddles<float>(float*, int, int, const float*, int);
template void fft_build_twiddles<double>(double*, int, int, const double*, int);
template const float* fft_small_twiddles<float>(int);
template const double* fft_small_twiddles<double>(int);
template const float* fft_small_sine<float>();
template const double* fft_small_sine<double>();
template void fft_quadrant<float>(const float*, int, size_t, float&, float&);
template void fft_quadrant<double>(const double*, int, size_t, double&, double&);

}  // namespace q5
}  // namespace kpl
