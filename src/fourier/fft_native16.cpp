// The native 16-bit FFT of orders 1..3: samples widened to 32-bit words with s =
// max(15 - order, 0) bits of headroom, a radix-4 decimation-in-frequency core
// whose Q14 products are built of 16-bit halves, the sqrt(2) of an odd order
// under 1/sqrt(N), and one rounding shift back to 16 bits at the end. Words are
// held in 64 bits so that no sum can overflow; where the 32-bit words of the
// engine would not overflow the results are the same.
#include <algorithm>
#include <cstdint>

#include "fourier/fft_int_plan.hpp"
#include "frame/saturate.hpp"

namespace kpl {
inline namespace q5 {
namespace {

using i64 = int64_t;

constexpr int kSqrt2Q14 = 23170;  // sqrt(2) as 23170/16384

struct W {
  i64 re, im;
};
inline W operator+(W a, W b) { return {a.re + b.re, a.im + b.im}; }
inline W operator-(W a, W b) { return {a.re - b.re, a.im - b.im}; }
inline W times_minus_i(W a) { return {a.im, -a.re}; }
inline W times_i(W a) { return {-a.im, a.re}; }

// v1 * f1 + v2 * f2 for Q14 factors, from the low 16 bits of each word (halved,
// unsigned) and its high 16 bits: exact to the lost low bit.
inline i64 q14_mul2(i64 v1, i64 v2, int f1, int f2) {
  const i64 l1 = (v1 & 0xFFFF) >> 1, l2 = (v2 & 0xFFFF) >> 1;
  const i64 h1 = v1 >> 16, h2 = v2 >> 16;
  return ((l1 * f1 + l2 * f2) >> 13) + 4 * (h1 * f1 + h2 * f2);
}
inline i64 q14_mul(i64 v, int f) { return q14_mul2(v, 0, f, 0); }

int headroom(int order) { return std::max(15 - order, 0); }

const Q14Row* rows_at(const Fft16Head* h, uint32_t off) { return at_offset<Q14Row>(h, off); }

// Forward transform of n = 1, 2, 4 or 8 points in place, natural order out.
// The twiddles of 8 points are the trivial ones and those of index n/8, which
// take the one factor 1/sqrt(2) (`r2` in Q14) on a sum and a difference.
void core_fwd(W* x, int n, int r2) {
  auto bfly4 = [](W x0, W x1, W x2, W x3, W* y) {
    const W t0 = x0 + x2, t1 = x0 - x2, t2 = x1 + x3, t3 = x1 - x3;
    y[0] = t0 + t2, y[2] = t0 - t2, y[1] = t1 + times_minus_i(t3), y[3] = t1 + times_i(t3);
  };
  if (n == 2) {
    const W a = x[0], b = x[1];
    x[0] = a + b, x[1] = a - b;
  } else if (n == 4) {
    W y[4];
    bfly4(x[0], x[1], x[2], x[3], y);
    std::copy(y, y + 4, x);
  } else if (n == 8) {
    W y0[4], y1[4];
    bfly4(x[0], x[2], x[4], x[6], y0);
    bfly4(x[1], x[3], x[5], x[7], y1);
    // twiddles of the odd column: exp(-i pi q / 4), q = 1, 2, 3
    const W a = y1[1], c = y1[3];
    y1[1] = W{q14_mul(a.re + a.im, r2), q14_mul(a.im - a.re, r2)};
    y1[2] = times_minus_i(y1[2]);
    y1[3] = W{q14_mul(c.im - c.re, r2), q14_mul(-(c.re + c.im), r2)};
    for (int q = 0; q < 4; ++q) x[q] = y0[q] + y1[q], x[q + 4] = y0[q] - y1[q];  // the radix-2 pass
  }
}

// The inverse by the forward core on the array with elements 1..n-1 reversed.
void core_inv(W* x, int n, int r2) {
  std::reverse(x + 1, x + n);
  core_fwd(x, n, r2);
}

int sqrt_half_q14(const Fft16Head* h, int n) {
  return n >= 8 ? rows_at(h, h->twiddles)[n / 8].c : 11585;
}

// Under 1/sqrt(N) with an odd order the head's shift holds order>>1 bits; the
// rest is 2^-(order+1)/2 * sqrt(2): one bit more of shift and the sqrt(2) here.
int sqrt2_bit(const Fft16Head* h) { return h->oddSqrt2 ? 1 : 0; }

void finish(W* x, int n, const Fft16Head* h) {
  if (h->oddSqrt2)
    for (int i = 0; i < n; ++i) x[i] = W{q14_mul(x[i].re, kSqrt2Q14), q14_mul(x[i].im, kSqrt2Q14)};
}

// x[k] of the real forward transform from A = Z[k], B = Z[M-k] and the row of
// angle 2 pi k / N: (A + conj B)/2 - (i/2) exp(-i theta) (A - conj B).
W recombine_fwd(W a, W b, const Q14Row& r) {
  const W e{a.re + b.re, a.im - b.im}, d{a.re - b.re, a.im + b.im};
  const W rot{q14_mul2(d.re, d.im, -r.s, r.c), q14_mul2(d.re, d.im, -r.c, -r.s)};
  return W{(e.re + rot.re) >> 1, (e.im + rot.im) >> 1};
}

// Z[k] of the real inverse: (A + conj B) + i exp(i theta) (A - conj B).
W recombine_inv(W a, W b, const Q14Row& r) {
  const W e{a.re + b.re, a.im - b.im}, d{a.re - b.re, a.im + b.im};
  return W{e.re + q14_mul2(d.re, d.im, -r.s, -r.c), e.im + q14_mul2(d.re, d.im, r.c, -r.s)};
}

}  // namespace

Kpl16s cnvrt_32s16s(int64_t x, int shift) {
  if (shift > 0) {
    if (shift > 40) return 0;  // |x| < 2^39: rounds to 0
    return saturate<Kpl16s>((x + (i64{1} << (shift - 1))) >> shift);
  }
  if (shift == 0) return saturate<Kpl16s>(x);
  const int up = -shift;
  if (up >= 32 || x == 0) return 0;
  if (up >= 16) return x > 0 ? Kpl16s{32767} : Kpl16s{-32768};
  return saturate<Kpl16s>(x * (i64{1} << up));
}

void native16_complex(const Fft16Head* h, const Kpl16sc* src, Kpl16sc* dst, int sf, bool inverse) {
  const int n = 1 << h->order, s = headroom(h->order);
  W x[8];
  for (int i = 0; i < n; ++i) x[i] = W{i64{src[i].re} << s, i64{src[i].im} << s};
  const int r2 = sqrt_half_q14(h, n);
  inverse ? core_inv(x, n, r2) : core_fwd(x, n, r2);
  finish(x, n, h);
  const int shift = (inverse ? h->shiftInv : h->shiftFwd) + sqrt2_bit(h) + sf + s;
  for (int i = 0; i < n; ++i) dst[i] = Kpl16sc{cnvrt_32s16s(x[i].re, shift), cnvrt_32s16s(x[i].im, shift)};
}

void native16_split(const Fft16Head* h, const Kpl16s* src_re, const Kpl16s* src_im, Kpl16s* dst_re, Kpl16s* dst_im,
                    int sf, bool inverse) {
  const int n = 1 << h->order;
  Kpl16sc merged[8] = {};
  for (int i = 0; i < n; ++i) merged[i] = Kpl16sc{src_re[i], src_im[i]};
  native16_complex(h, merged, merged, sf, inverse);
  for (int i = 0; i < n; ++i) dst_re[i] = merged[i].re, dst_im[i] = merged[i].im;
}

void native16_real_fwd(const Fft16Head* h, const Kpl16s* src, Kpl16s* perm, int sf) {
  const int n = 1 << h->order, m = n / 2, s = headroom(h->order);
  W z[4];
  for (int i = 0; i < m; ++i) z[i] = W{i64{src[2 * i]} << (s + 1), i64{src[2 * i + 1]} << (s + 1)};
  if (m > 1) core_fwd(z, m, sqrt_half_q14(h, m));
  W x[4];
  x[0] = W{z[0].re + z[0].im, z[0].re - z[0].im};  // R[0] and R[N/2], in Perm places
  const Q14Row* rows = rows_at(h, h->twiddlesFull);
  for (int k = 1; k < m; ++k) x[k] = recombine_fwd(z[k], z[m - k], rows[k]);
  finish(x, m, h);
  const int shift = h->shiftFwd + sqrt2_bit(h) + sf + s + 1;
  for (int k = 0; k < m; ++k) perm[2 * k] = cnvrt_32s16s(x[k].re, shift), perm[2 * k + 1] = cnvrt_32s16s(x[k].im, shift);
}

void native16_real_inv(const Fft16Head* h, const Kpl16s* perm, Kpl16s* dst, int sf) {
  const int n = 1 << h->order, m = n / 2, s = headroom(h->order);
  W x[4];
  for (int k = 0; k < m; ++k) x[k] = W{i64{perm[2 * k]} << s, i64{perm[2 * k + 1]} << s};
  W z[4];
  z[0] = W{x[0].re + x[0].im, x[0].re - x[0].im};
  const Q14Row* rows = rows_at(h, h->twiddlesFull);
  for (int k = 1; k < m; ++k) z[k] = recombine_inv(x[k], x[m - k], rows[k]);
  if (m > 1) core_inv(z, m, sqrt_half_q14(h, m));
  finish(z, m, h);
  const int shift = h->shiftInv + sqrt2_bit(h) + sf + s;
  for (int i = 0; i < m; ++i) dst[2 * i] = cnvrt_32s16s(z[i].re, shift), dst[2 * i + 1] = cnvrt_32s16s(z[i].im, shift);
}

}  // namespace q5
}  // namespace kpl
