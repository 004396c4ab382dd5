// Operations on packed spectra of real data: expansion of Pack, Perm and CCS to
// full complex form (ConjPack, ConjPerm, ConjCcs) and products in packed form
// (MulPack, MulPerm, MulPackConj), for both parities of the length.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <limits>

#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/saturate.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

enum class Layout { kPack, kPerm, kCcs };

// Lengths from which the 16-bit expansions copy the lower half first and mirror
// it afterwards; shorter vectors take the fused copy-and-mirror loop. Both routes
// give the same values.
constexpr int kCopyThenMirrorFrom16sc[] = {172, 68, 64};  // Pack, Perm, Ccs
constexpr int copy_then_mirror_from(Layout l) { return kCopyThenMirrorFrom16sc[static_cast<int>(l)]; }

template <class R> struct ComplexOf;
template <> struct ComplexOf<Kpl32f> { using type = Kpl32fc; };
template <> struct ComplexOf<Kpl64f> { using type = Kpl64fc; };
template <> struct ComplexOf<Kpl16s> { using type = Kpl16sc; };

// The negation of a conjugate: the sign flip for floats, saturating for 16 bits.
inline Kpl32f negate(Kpl32f x) { return -x; }
inline Kpl64f negate(Kpl64f x) { return -x; }
inline Kpl16s negate(Kpl16s x) { return x == std::numeric_limits<Kpl16s>::min() ? Kpl16s{32767} : static_cast<Kpl16s>(-x); }

// Where a layout keeps its values, for a spectrum of n reals (CCS: of n points).
template <Layout L>
struct Places {
  int n;
  // Real index of the real part of complex value 1; value k follows at 2(k-1).
  int first_pair() const {
    if constexpr (L == Layout::kPack) return 1;
    else if constexpr (L == Layout::kPerm) return (n & 1) ? 1 : 2;
    else return 2;
  }
  int nyquist_re() const {  // even n only
    if constexpr (L == Layout::kPack) return n - 1;
    else if constexpr (L == Layout::kPerm) return 1;
    else return n;
  }
};

// d[n-k] = conj d[k] for k = 1..count, reading the lower half of d that is
// already in place. The two halves never overlap.
template <class C>
void mirror_scalar(C* d, int n, int count) {
  for (int k = 1; k <= count; ++k) d[n - k] = C{d[k].re, negate(d[k].im)};
}

void mirror(Kpl16sc* d, int n, int count) {
  int k = 1;
  const __m128i zero = _mm_setzero_si128();
  for (; k + 4 <= count + 1; k += 4) {
    // d[k..k+3] reversed land at d[n-k-3..n-k]
    __m128i v = _mm_shuffle_epi32(load_i(d + k), _MM_SHUFFLE(0, 1, 2, 3));
    v = _mm_blend_epi16(v, _mm_subs_epi16(zero, v), 0xAA);
    store_i(d + n - k - 3, v);
  }
  for (; k <= count; ++k) d[n - k] = Kpl16sc{d[k].re, negate(d[k].im)};
}

void mirror(Kpl32fc* d, int n, int count) {
  int k = 1;
  const __m128 sign = _mm_castsi128_ps(_mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0));
  for (; k + 2 <= count + 1; k += 2) {
    __m128 v = load_f(d + k);
    v = _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 0, 3, 2));
    store_f(d + n - k - 1, _mm_xor_ps(v, sign));
  }
  for (; k <= count; ++k) d[n - k] = Kpl32fc{d[k].re, -d[k].im};
}

void mirror(Kpl64fc* d, int n, int count) {
  const __m128d sign = _mm_castsi128_pd(_mm_set_epi64x(INT64_MIN, 0));
  for (int k = 1; k <= count; ++k) store_d(d + n - k, _mm_xor_pd(load_d(d + k), sign));
}

// Expands n packed reals (CCS: n/2+1 complex) at s into n complex values at d.
// s may be the start of d itself: every value is read before its place is
// written, the mirrored half lying wholly above the packed source and the lower
// half being written from the top down.
template <Layout L, class R, class C>
void expand(const R* s, C* d, int n, bool fused) {
  const Places<L> at{n};
  const int pairs = (n - 1) / 2;  // complex values 1..pairs, then the mirror
  const int p0 = at.first_pair();
  const bool even = (n & 1) == 0;
  if (fused) {
    C nyq{};
    if (even) nyq = C{s[at.nyquist_re()], L == Layout::kCcs ? s[n + 1] : R{}};
    for (int k = pairs; k >= 1; --k) {
      const R re = s[p0 + 2 * (k - 1)], im = s[p0 + 2 * (k - 1) + 1];
      d[n - k] = C{re, negate(im)};
      d[k] = C{re, im};
    }
    if (even) d[n / 2] = nyq;
  } else {
    if (even) d[n / 2] = C{s[at.nyquist_re()], L == Layout::kCcs ? s[n + 1] : R{}};
    if constexpr (L == Layout::kPack) {
      // one real down: the top first, so that nothing is overwritten unread
      for (int k = pairs; k >= 1; --k) d[k] = C{s[2 * k - 1], s[2 * k]};
    } else {
      if (p0 == 1) {
        for (int k = pairs; k >= 1; --k) d[k] = C{s[2 * k - 1], s[2 * k]};
      } else if (static_cast<const void*>(s) != static_cast<const void*>(d)) {
        for (int k = 1; k <= pairs; ++k) d[k] = C{s[2 * k], s[2 * k + 1]};
      }
    }
  }
  d[0] = C{s[0], L == Layout::kCcs ? s[1] : R{}};
  if (!fused) mirror(d, n, pairs);
}

template <Layout L, class R, class C>
KplStatus conj_packed(const R* s, C* d, int len) {
  if (KplStatus st = check_vector_args(len, s, d)) return st;
  bool fused = false;
  if constexpr (sizeof(R) == 2) fused = len < copy_then_mirror_from(L);
  expand<L>(s, d, len, fused);
  return kplStsOk;
}

template <Layout L, class C>
KplStatus conj_packed_inplace(C* sd, int len) {
  using R = decltype(C::re);
  return conj_packed<L>(reinterpret_cast<const R*>(sd), sd, len);
}

// ---- Products ----

// The product of a pair, a + ib from x and c + id from y: x * y = (ac - bd) +
// i(ad + bc), or with kConj y times the conjugate of x, (ac + bd) + i(ad - bc).
// Both take the same four products and differ only in how they join them.
template <bool kConj>
struct PairProduct {
  static constexpr size_t kLanes = 2;
  template <class C>
  static void scalar(const C* x, const C* y, C* d) {
    const auto a = x->re, b = x->im, c = y->re, e = y->im;
    if constexpr (kConj) {
      *d = C{a * c + b * e, a * e - b * c};
    } else {
      *d = C{a * c - b * e, a * e + b * c};
    }
  }
  // p1 = (ac, ad), p2 = (bd, bc) in each pair of lanes.
  static __m128 join(__m128 p1, __m128 p2) {
    if constexpr (kConj) return _mm_blend_ps(_mm_add_ps(p1, p2), _mm_sub_ps(p1, p2), 0xA);
    else return _mm_addsub_ps(p1, p2);
  }
  static __m128d join(__m128d p1, __m128d p2) {
    if constexpr (kConj) return _mm_blend_pd(_mm_add_pd(p1, p2), _mm_sub_pd(p1, p2), 0x2);
    else return _mm_addsub_pd(p1, p2);
  }
  static void block(const Kpl32fc* x, const Kpl32fc* y, Kpl32fc* d) {
    const __m128 vx = load_f(x), vy = load_f(y);
    const __m128 p1 = _mm_mul_ps(_mm_moveldup_ps(vx), vy);
    const __m128 p2 = _mm_mul_ps(_mm_movehdup_ps(vx), _mm_shuffle_ps(vy, vy, _MM_SHUFFLE(2, 3, 0, 1)));
    store_f(d, join(p1, p2));
  }
  static void block(const Kpl64fc* x, const Kpl64fc* y, Kpl64fc* d) {
    for (int i = 0; i < 2; ++i) {
      const __m128d vx = load_d(x + i), vy = load_d(y + i);
      const __m128d p1 = _mm_mul_pd(_mm_movedup_pd(vx), vy);
      const __m128d p2 = _mm_mul_pd(_mm_unpackhi_pd(vx, vx), _mm_shuffle_pd(vy, vy, 1));
      store_d(d + i, join(p1, p2));
    }
  }
};
using PairMul = PairProduct<false>;
using PairMulConj = PairProduct<true>;

// The places of a packed product: real-only values at `real0` and, for even
// lengths, `real1`; `pairs` complex pairs from `first`.
struct PackedPlaces {
  int real1 = -1, first = 1, pairs = 0;
};
PackedPlaces places_of(Layout l, int n) {
  const bool even = (n & 1) == 0;
  if (l == Layout::kPack) return {even ? n - 1 : -1, 1, (n - 1) / 2};
  return {even ? 1 : -1, even ? 2 : 1, (n - 1) / 2};
}

template <class Op, Layout L, class R>
KplStatus mul_packed(const R* a, const R* b, R* d, int len) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  using C = typename ComplexOf<R>::type;
  const PackedPlaces p = places_of(L, len);
  const R a0 = a[0], b0 = b[0];
  if (p.real1 >= 0) d[p.real1] = a[p.real1] * b[p.real1];
  d[0] = a0 * b0;
  if (p.pairs > 0)
    map_elements(Op{}, reinterpret_cast<const C*>(a + p.first), reinterpret_cast<const C*>(b + p.first),
                 reinterpret_cast<C*>(d + p.first), static_cast<size_t>(p.pairs));
  return kplStsOk;
}

// The real-only values of the 16-bit product: the 32-bit product truncated by the
// scale factor (arithmetic shift, towards minus infinity), or saturated first and
// then shifted left for a negative one, saturated either way.
Kpl16s real_product_16s(Kpl16s a, Kpl16s b, int sf) {
  const int32_t p = int32_t{a} * int32_t{b};
  if (sf > 0) return saturate<Kpl16s>(p >> (sf < 31 ? sf : 31));
  const Kpl16s q = saturate<Kpl16s>(p);
  if (sf == 0 || q == 0) return q;
  const int up = -sf;
  if (up >= 16) return q > 0 ? Kpl16s{32767} : Kpl16s{-32768};
  return saturate<Kpl16s>(int32_t{q} * (int32_t{1} << up));
}

template <Layout L>
KplStatus mul_packed_16s(const Kpl16s* a, const Kpl16s* b, Kpl16s* d, int len, int sf, bool in_place) {
  if (KplStatus st = check_vector_args(len, a, b, d)) return st;
  const PackedPlaces p = places_of(L, len);
  // pairs first: the real-only places sit outside them, so the order is free
  if (p.pairs > 0) {
    const auto* ca = reinterpret_cast<const Kpl16sc*>(a + p.first);
    auto* cd = reinterpret_cast<Kpl16sc*>(d + p.first);
    const KplStatus st = in_place ? KPL_IMPL(kplsMul_16sc_ISfs)(ca, cd, p.pairs, sf)
                                  : KPL_IMPL(kplsMul_16sc_Sfs)(ca, reinterpret_cast<const Kpl16sc*>(b + p.first), cd, p.pairs, sf);
    if (st < 0) return st;
  }
  if (p.real1 >= 0) d[p.real1] = real_product_16s(a[p.real1], b[p.real1], sf);
  d[0] = real_product_16s(a[0], b[0], sf);
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;
using L = Layout;

KplStatus KPL_IMPL(kplsConjPack_32fc)(const Kpl32f* pSrc, Kpl32fc* pDst, int len) { return conj_packed<L::kPack>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjPack_32fc_I)(Kpl32fc* pSrcDst, int len)               { return conj_packed_inplace<L::kPack>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjPack_64fc)(const Kpl64f* pSrc, Kpl64fc* pDst, int len) { return conj_packed<L::kPack>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjPack_64fc_I)(Kpl64fc* pSrcDst, int len)               { return conj_packed_inplace<L::kPack>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjPack_16sc)(const Kpl16s* pSrc, Kpl16sc* pDst, int len) { return conj_packed<L::kPack>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjPack_16sc_I)(Kpl16sc* pSrcDst, int len)               { return conj_packed_inplace<L::kPack>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjPerm_32fc)(const Kpl32f* pSrc, Kpl32fc* pDst, int len) { return conj_packed<L::kPerm>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjPerm_32fc_I)(Kpl32fc* pSrcDst, int len)               { return conj_packed_inplace<L::kPerm>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjPerm_64fc)(const Kpl64f* pSrc, Kpl64fc* pDst, int len) { return conj_packed<L::kPerm>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjPerm_64fc_I)(Kpl64fc* pSrcDst, int len)               { return conj_packed_inplace<L::kPerm>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjPerm_16sc)(const Kpl16s* pSrc, Kpl16sc* pDst, int len) { return conj_packed<L::kPerm>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjPerm_16sc_I)(Kpl16sc* pSrcDst, int len)               { return conj_packed_inplace<L::kPerm>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjCcs_32fc)(const Kpl32f* pSrc, Kpl32fc* pDst, int len)  { return conj_packed<L::kCcs>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjCcs_32fc_I)(Kpl32fc* pSrcDst, int len)                { return conj_packed_inplace<L::kCcs>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjCcs_64fc)(const Kpl64f* pSrc, Kpl64fc* pDst, int len)  { return conj_packed<L::kCcs>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjCcs_64fc_I)(Kpl64fc* pSrcDst, int len)                { return conj_packed_inplace<L::kCcs>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsConjCcs_16sc)(const Kpl16s* pSrc, Kpl16sc* pDst, int len)  { return conj_packed<L::kCcs>(pSrc, pDst, len); }
KplStatus KPL_IMPL(kplsConjCcs_16sc_I)(Kpl16sc* pSrcDst, int len)                { return conj_packed_inplace<L::kCcs>(pSrcDst, len); }
KplStatus KPL_IMPL(kplsMulPack_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, int len) { return mul_packed<PairMul, L::kPack>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMulPack_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len)                 { return mul_packed<PairMul, L::kPack>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMulPack_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, int len) { return mul_packed<PairMul, L::kPack>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMulPack_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len)                 { return mul_packed<PairMul, L::kPack>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMulPack_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) {
  return mul_packed_16s<L::kPack>(pSrc1, pSrc2, pDst, len, scaleFactor, false);
}
KplStatus KPL_IMPL(kplsMulPack_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) {
  return mul_packed_16s<L::kPack>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, true);
}
KplStatus KPL_IMPL(kplsMulPerm_32f)(const Kpl32f* pSrc1, const Kpl32f* pSrc2, Kpl32f* pDst, int len) { return mul_packed<PairMul, L::kPerm>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMulPerm_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len)                 { return mul_packed<PairMul, L::kPerm>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMulPerm_64f)(const Kpl64f* pSrc1, const Kpl64f* pSrc2, Kpl64f* pDst, int len) { return mul_packed<PairMul, L::kPerm>(pSrc1, pSrc2, pDst, len); }
KplStatus KPL_IMPL(kplsMulPerm_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len)                 { return mul_packed<PairMul, L::kPerm>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMulPerm_16s_Sfs)(const Kpl16s* pSrc1, const Kpl16s* pSrc2, Kpl16s* pDst, int len, int scaleFactor) {
  return mul_packed_16s<L::kPerm>(pSrc1, pSrc2, pDst, len, scaleFactor, false);
}
KplStatus KPL_IMPL(kplsMulPerm_16s_ISfs)(const Kpl16s* pSrc, Kpl16s* pSrcDst, int len, int scaleFactor) {
  return mul_packed_16s<L::kPerm>(pSrc, pSrcDst, pSrcDst, len, scaleFactor, true);
}
KplStatus KPL_IMPL(kplsMulPackConj_32f_I)(const Kpl32f* pSrc, Kpl32f* pSrcDst, int len) { return mul_packed<PairMulConj, L::kPack>(pSrc, pSrcDst, pSrcDst, len); }
KplStatus KPL_IMPL(kplsMulPackConj_64f_I)(const Kpl64f* pSrc, Kpl64f* pSrcDst, int len) { return mul_packed<PairMulConj, L::kPack>(pSrc, pSrcDst, pSrcDst, len); }
