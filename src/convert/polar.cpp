// CartToPolar and PolarToCart in every type.
//
// CartToPolar is Magnitude then Phase of its type, with the arguments passed
// straight on. The floating forms run both and return the magnitude's status if
// it is not 0, else the phase's (so a null phase vector gives -8 after the
// magnitudes are stored); the 16sc form returns at once when the magnitude fails.
//
// PolarToCart: re = m cos p, im = m sin p, in binary64 with sin and cos from the
// polynomials of convert/polar_math.hpp (the standard library's beyond 2^19
// radians). The integer forms take m 2^-magnScaleFactor and p 2^-phaseScaleFactor
// radians (the unscaled forms: m and p radians as they are), round half away
// from zero and saturate. The magnitude's scale factor is clamped to -31..31 and
// the phase's to -64..64: past 31 and 64 the results do not change, and a phase
// below -64 is taken as at -64.
#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

#include "convert/polar_math.hpp"
#include "frame/entry.hpp"
#include "frame/loop.hpp"
#include "frame/rounding.hpp"

namespace kpl {
inline namespace q5 {
namespace {

constexpr int kMagnScaleLimit = 31;
constexpr int kPhaseScaleLimit = 64;

int clamp_scale(int s, int limit) { return s < -limit ? -limit : (s > limit ? limit : s); }

// Floating results: m cos p and m sin p, rounded once into the destination.
template <Accuracy A>
struct CartesianOp {
  void operator()(__m128d m, __m128d p, __m128d& re, __m128d& im) const {
    __m128d s, c;
    sincos_lanes<A>(p, s, c);
    re = _mm_mul_pd(m, c), im = _mm_mul_pd(m, s);
  }
};

// Integer results: exact scaling of both inputs, then the rounded, saturated products.
struct ScaledCartesianOp {
  double magn_scale, phase_scale, lo, hi;
  void operator()(__m128d m, __m128d p, __m128d& re, __m128d& im) const {
    __m128d s, c;
    sincos_lanes<Accuracy::kDouble>(_mm_mul_pd(p, polar::splat(phase_scale)), s, c);
    const __m128d ms = _mm_mul_pd(m, polar::splat(magn_scale));
    re = clamp_lanes(round_away(_mm_mul_pd(ms, c)), lo, hi);
    im = clamp_lanes(round_away(_mm_mul_pd(ms, s)), lo, hi);
  }
};

// Destinations of a pair of results: two vectors, or one of complex elements.
template <class T>
struct SplitDest {
  T* re;
  T* im;
  T* lead() const { return re; }
  bool missing() const { return re == nullptr || im == nullptr; }
  void store4(size_t i, const __m128d* r, const __m128d* m) const { narrow4(re + i, r), narrow4(im + i, m); }
  void store1(size_t i, __m128d r, __m128d m) const { narrow1(re + i, r), narrow1(im + i, m); }
};

template <class C>
struct ComplexDest {
  using R = decltype(C::re);
  C* p;
  C* lead() const { return p; }
  bool missing() const { return p == nullptr; }
  void store4(size_t i, const __m128d* r, const __m128d* m) const {
    C* q = p + i;
    if constexpr (std::is_same_v<R, Kpl32f>) {
      const __m128 re = _mm_movelh_ps(_mm_cvtpd_ps(r[0]), _mm_cvtpd_ps(r[1]));
      const __m128 im = _mm_movelh_ps(_mm_cvtpd_ps(m[0]), _mm_cvtpd_ps(m[1]));
      store_f(q, _mm_unpacklo_ps(re, im)), store_f(q + 2, _mm_unpackhi_ps(re, im));
    } else if constexpr (std::is_same_v<R, Kpl64f>) {
      store_d(q, _mm_unpacklo_pd(r[0], m[0])), store_d(q + 1, _mm_unpackhi_pd(r[0], m[0]));
      store_d(q + 2, _mm_unpacklo_pd(r[1], m[1])), store_d(q + 3, _mm_unpackhi_pd(r[1], m[1]));
    } else {
      const __m128i re = whole4(r), im = whole4(m);
      const __m128i lo = _mm_unpacklo_epi32(re, im), hi = _mm_unpackhi_epi32(re, im);
      if constexpr (std::is_same_v<R, Kpl16s>) {
        store_i(q, _mm_packs_epi32(lo, hi));
      } else {
        store_i(q, lo), store_i(q + 2, hi);
      }
    }
  }
  void store1(size_t i, __m128d r, __m128d m) const {
    R parts[2];
    narrow1(parts, r), narrow1(parts + 1, m);
    store_raw(p + i, C{parts[0], parts[1]});
  }
};

template <class T, class Dest, class Op>
void polar_to_cart(const T* magn, const T* phase, const Dest& dst, size_t n, const Op& op) {
  const SplitSource<T> src{magn, phase};
  for_blocks<4>(
      dst.lead(), n,
      [&](size_t i) {
        __m128d m, p, re, im;
        src.load1(i, m, p);
        op(m, p, re, im);
        dst.store1(i, re, im);
      },
      [&](size_t i) {
        __m128d m[2], p[2], re[2], im[2];
        src.load4(i, m, p);
        op(m[0], p[0], re[0], im[0]);
        op(m[1], p[1], re[1], im[1]);
        dst.store4(i, re, im);
      });
}

template <class T, class Dest, class Op>
KplStatus polar_entry(const T* magn, const T* phase, const Dest& dst, int len, const Op& op) {
  if (any_null(magn, phase) || dst.missing()) return kplStsNullPointer;
  if (len < 1) return kplStsBadSize;
  polar_to_cart(magn, phase, dst, static_cast<size_t>(len), op);
  return kplStsOk;
}

template <class T, class C>
KplStatus polar_to_complex(const T* magn, const T* phase, C* dst, int len, int magn_sf, int phase_sf) {
  using R = decltype(C::re);
  if (KplStatus st = check_vector_args(len, magn, phase, dst)) return st;
  const ScaledCartesianOp op{std::ldexp(1.0, -clamp_scale(magn_sf, kMagnScaleLimit)),
                             std::ldexp(1.0, -clamp_scale(phase_sf, kPhaseScaleLimit)),
                             static_cast<double>(std::numeric_limits<R>::lowest()),
                             static_cast<double>(std::numeric_limits<R>::max())};
  const RoundingGuard nearest(Rounding::kNearest);  // integer results never follow the caller's rounding
  polar_to_cart(magn, phase, ComplexDest<C>{dst}, static_cast<size_t>(len), op);
  return kplStsOk;
}

inline KplStatus first_failure(KplStatus magnitude, KplStatus phase) { return magnitude != kplStsOk ? magnitude : phase; }

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsCartToPolar_32f)(const Kpl32f* pSrcRe, const Kpl32f* pSrcIm, Kpl32f* pDstMagn, Kpl32f* pDstPhase, int len) {
  const KplStatus magnitude = KPL_IMPL(kplsMagnitude_32f)(pSrcRe, pSrcIm, pDstMagn, len);
  return first_failure(magnitude, KPL_IMPL(kplsPhase_32f)(pSrcRe, pSrcIm, pDstPhase, len));
}
KplStatus KPL_IMPL(kplsCartToPolar_64f)(const Kpl64f* pSrcRe, const Kpl64f* pSrcIm, Kpl64f* pDstMagn, Kpl64f* pDstPhase, int len) {
  const KplStatus magnitude = KPL_IMPL(kplsMagnitude_64f)(pSrcRe, pSrcIm, pDstMagn, len);
  return first_failure(magnitude, KPL_IMPL(kplsPhase_64f)(pSrcRe, pSrcIm, pDstPhase, len));
}
KplStatus KPL_IMPL(kplsCartToPolar_32fc)(const Kpl32fc* pSrc, Kpl32f* pDstMagn, Kpl32f* pDstPhase, int len) {
  const KplStatus magnitude = KPL_IMPL(kplsMagnitude_32fc)(pSrc, pDstMagn, len);
  return first_failure(magnitude, KPL_IMPL(kplsPhase_32fc)(pSrc, pDstPhase, len));
}
KplStatus KPL_IMPL(kplsCartToPolar_64fc)(const Kpl64fc* pSrc, Kpl64f* pDstMagn, Kpl64f* pDstPhase, int len) {
  const KplStatus magnitude = KPL_IMPL(kplsMagnitude_64fc)(pSrc, pDstMagn, len);
  return first_failure(magnitude, KPL_IMPL(kplsPhase_64fc)(pSrc, pDstPhase, len));
}
KplStatus KPL_IMPL(kplsCartToPolar_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16s* pDstMagn, Kpl16s* pDstPhase, int len, int magnScaleFactor, int phaseScaleFactor) {
  if (KplStatus st = KPL_IMPL(kplsMagnitude_16sc_Sfs)(pSrc, pDstMagn, len, magnScaleFactor)) return st;
  return KPL_IMPL(kplsPhase_16sc_Sfs)(pSrc, pDstPhase, len, phaseScaleFactor);
}

KplStatus KPL_IMPL(kplsPolarToCart_32f)(const Kpl32f* pSrcMagn, const Kpl32f* pSrcPhase, Kpl32f* pDstRe, Kpl32f* pDstIm, int len) {
  return polar_entry(pSrcMagn, pSrcPhase, SplitDest<Kpl32f>{pDstRe, pDstIm}, len, CartesianOp<Accuracy::kSingle>{});
}
KplStatus KPL_IMPL(kplsPolarToCart_64f)(const Kpl64f* pSrcMagn, const Kpl64f* pSrcPhase, Kpl64f* pDstRe, Kpl64f* pDstIm, int len) {
  return polar_entry(pSrcMagn, pSrcPhase, SplitDest<Kpl64f>{pDstRe, pDstIm}, len, CartesianOp<Accuracy::kDouble>{});
}
KplStatus KPL_IMPL(kplsPolarToCart_32fc)(const Kpl32f* pSrcMagn, const Kpl32f* pSrcPhase, Kpl32fc* pDst, int len) {
  return polar_entry(pSrcMagn, pSrcPhase, ComplexDest<Kpl32fc>{pDst}, len, CartesianOp<Accuracy::kSingle>{});
}
KplStatus KPL_IMPL(kplsPolarToCart_64fc)(const Kpl64f* pSrcMagn, const Kpl64f* pSrcPhase, Kpl64fc* pDst, int len) {
  return polar_entry(pSrcMagn, pSrcPhase, ComplexDest<Kpl64fc>{pDst}, len, CartesianOp<Accuracy::kDouble>{});
}
KplStatus KPL_IMPL(kplsPolarToCart_16sc_Sfs)(const Kpl16s* pSrcMagn, const Kpl16s* pSrcPhase, Kpl16sc* pDst, int len, int magnScaleFactor, int phaseScaleFactor) {
  return polar_to_complex(pSrcMagn, pSrcPhase, pDst, len, magnScaleFactor, phaseScaleFactor);
}
KplStatus KPL_IMPL(kplsPolarToCart_16sc)(const Kpl16s* pSrcMagn, const Kpl16s* pSrcPhase, Kpl16sc* pDst, int len) {
  return polar_to_complex(pSrcMagn, pSrcPhase, pDst, len, 0, 0);
}
KplStatus KPL_IMPL(kplsPolarToCart_32sc)(const Kpl32s* pSrcMagn, const Kpl32s* pSrcPhase, Kpl32sc* pDst, int len) {
  return polar_to_complex(pSrcMagn, pSrcPhase, pDst, len, 0, 0);
}
