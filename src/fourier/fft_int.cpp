// The integer FFTs: complex (16sc, 16s, 32sc, 32s) and real (16s, 32s, and the
// mixed 16s32s pair), forward and inverse, out of place and in place. They run
// through the inner floating plan: convert into the aligned work buffer, the
// floating transform in place there with the rest of the buffer as its work,
// then convert out rounding to nearest with the scale factor. The 16-bit plans
// of order 1..3 without the accurate hint take the native Q14 engine instead,
// and order 0 of the 16-bit plans is the one value scaled.
#include <cstdint>

#include "fourier/fft_int_plan.hpp"
#include "fourier/packed_layout.hpp"
#include "frame/entry.hpp"
#include "frame/record.hpp"

namespace kpl {
inline namespace q5 {
namespace {

enum class Packed { kPerm, kPack, kCcs };
enum class Dir { kFwd, kInv };

// The work buffer of one call: the caller's, aligned up to 32 bytes, or one of
// `size` bytes allocated for the call and released at its end. Every route
// through floating point needs one (`size` holds at least the converted data).
template <class Body>
KplStatus with_work(Kpl8u* given, int32_t size, Body&& body) {
  Kpl8u* owned = nullptr;
  uint8_t* p = nullptr;
  if (given) {
    p = place_record(given);
  } else {
    owned = KPL_IMPL(kplsMalloc_8u)(size);
    if (!owned) return kplStsNoMemory;
    p = owned;
  }
  const KplStatus st = body(p);
  KPL_IMPL(kplsFree)(owned);
  return st;
}

// ---- Conversions at the edges ----

KplStatus convert_in(const Kpl16s* s, Kpl32f* d, int n) { return KPL_IMPL(kplsConvert_16s32f)(s, d, n); }
KplStatus convert_in(const Kpl32s* s, Kpl32f* d, int n) { return KPL_IMPL(kplsConvert_32s32f)(s, d, n); }
KplStatus convert_in(const Kpl32s* s, Kpl64f* d, int n) { return KPL_IMPL(kplsConvert_32s64f)(s, d, n); }
KplStatus convert_out(const Kpl32f* s, Kpl16s* d, int n, int sf) { return KPL_IMPL(kplsConvert_32f16s_Sfs)(s, d, n, kplRndNear, sf); }
KplStatus convert_out(const Kpl32f* s, Kpl32s* d, int n, int sf) { return KPL_IMPL(kplsConvert_32f32s_Sfs)(s, d, n, kplRndNear, sf); }
KplStatus convert_out(const Kpl64f* s, Kpl32s* d, int n, int sf) { return KPL_IMPL(kplsConvert_64f32s_Sfs)(s, d, n, kplRndNear, sf); }

// ---- The floating transforms, in place ----

KplStatus float_complex(Kpl32f* d, const KplsFFTSpec_C_32fc* p, Kpl8u* w, bool inv) {
  auto* c = reinterpret_cast<Kpl32fc*>(d);
  return inv ? KPL_IMPL(kplsFFTInv_CToC_32fc_I)(c, p, w) : KPL_IMPL(kplsFFTFwd_CToC_32fc_I)(c, p, w);
}
KplStatus float_complex(Kpl64f* d, const KplsFFTSpec_C_64fc* p, Kpl8u* w, bool inv) {
  auto* c = reinterpret_cast<Kpl64fc*>(d);
  return inv ? KPL_IMPL(kplsFFTInv_CToC_64fc_I)(c, p, w) : KPL_IMPL(kplsFFTFwd_CToC_64fc_I)(c, p, w);
}
KplStatus float_split(Kpl32f* re, Kpl32f* im, const KplsFFTSpec_C_32f* p, Kpl8u* w, bool inv) {
  return inv ? KPL_IMPL(kplsFFTInv_CToC_32f_I)(re, im, p, w) : KPL_IMPL(kplsFFTFwd_CToC_32f_I)(re, im, p, w);
}
KplStatus float_split(Kpl64f* re, Kpl64f* im, const KplsFFTSpec_C_64f* p, Kpl8u* w, bool inv) {
  return inv ? KPL_IMPL(kplsFFTInv_CToC_64f_I)(re, im, p, w) : KPL_IMPL(kplsFFTFwd_CToC_64f_I)(re, im, p, w);
}
KplStatus float_real(Kpl32f* d, const KplsFFTSpec_R_32f* p, Kpl8u* w, bool inv) {
  return inv ? KPL_IMPL(kplsFFTInv_PermToR_32f_I)(d, p, w) : KPL_IMPL(kplsFFTFwd_RToPerm_32f_I)(d, p, w);
}
KplStatus float_real(Kpl64f* d, const KplsFFTSpec_R_64f* p, Kpl8u* w, bool inv) {
  return inv ? KPL_IMPL(kplsFFTInv_PermToR_64f_I)(d, p, w) : KPL_IMPL(kplsFFTFwd_RToPerm_64f_I)(d, p, w);
}

template <class Spec> struct FloatOf;
template <> struct FloatOf<KplsFFTSpec_C_32fc> { using type = Kpl32f; };
template <> struct FloatOf<KplsFFTSpec_C_32f> { using type = Kpl32f; };
template <> struct FloatOf<KplsFFTSpec_R_32f> { using type = Kpl32f; };
template <> struct FloatOf<KplsFFTSpec_C_64fc> { using type = Kpl64f; };
template <> struct FloatOf<KplsFFTSpec_C_64f> { using type = Kpl64f; };
template <> struct FloatOf<KplsFFTSpec_R_64f> { using type = Kpl64f; };

// ---- Through floating ----

// Interleaved complex of n points; `I` is the integer part type.
template <class I, class Spec>
KplStatus complex_via_float(const I* src, I* dst, int n, const Spec* inner, int32_t work, Kpl8u* buf, int sf, bool inv) {
  using F = typename FloatOf<Spec>::type;
  return with_work(buf, work, [&](uint8_t* p) -> KplStatus {
    F* data = reinterpret_cast<F*>(p);
    convert_in(src, data, 2 * n);
    if (KplStatus st = float_complex(data, inner, p + 2 * sizeof(F) * n, inv); st < 0) return st;
    convert_out(data, dst, 2 * n, sf);
    return kplStsOk;
  });
}

template <class I, class Spec>
KplStatus split_via_float(const I* sre, const I* sim, I* dre, I* dim, int n, const Spec* inner, int32_t work, Kpl8u* buf,
                          int sf, bool inv) {
  using F = typename FloatOf<Spec>::type;
  return with_work(buf, work, [&](uint8_t* p) -> KplStatus {
    F* re = reinterpret_cast<F*>(p);
    F* im = re + n;
    convert_in(sre, re, n);
    convert_in(sim, im, n);
    if (KplStatus st = float_split(re, im, inner, p + 2 * sizeof(F) * n, inv); st < 0) return st;
    convert_out(re, dre, n, sf);
    convert_out(im, dim, n, sf);
    return kplStsOk;
  });
}

// Real forward: N reals to Perm in floating point, converted into dst, then the
// move to the wanted layout on the integers.
template <Packed L, class I, class O, class Spec>
KplStatus real_fwd_via_float(const I* src, O* dst, int n, const Spec* inner, int32_t work, Kpl8u* buf, int sf) {
  using F = typename FloatOf<Spec>::type;
  return with_work(buf, work, [&](uint8_t* p) -> KplStatus {
    F* data = reinterpret_cast<F*>(p);
    convert_in(src, data, n);
    if (KplStatus st = float_real(data, inner, p + sizeof(F) * (n + 2), false); st < 0) return st;
    convert_out(data, dst, n, sf);
    if constexpr (L == Packed::kPack) perm_to_pack(dst, dst, n);
    if constexpr (L == Packed::kCcs) perm_to_ccs(dst, dst, n);
    return kplStsOk;
  });
}

// Real inverse: the packed source converted (CCS: its N+1 leading values) and
// brought to Perm in the buffer, the floating inverse, then N reals out.
template <Packed L, class I, class O, class Spec>
KplStatus real_inv_via_float(const I* src, O* dst, int n, const Spec* inner, int32_t work, Kpl8u* buf, int sf) {
  using F = typename FloatOf<Spec>::type;
  return with_work(buf, work, [&](uint8_t* p) -> KplStatus {
    F* data = reinterpret_cast<F*>(p);
    convert_in(src, data, L == Packed::kCcs ? n + 1 : n);
    if constexpr (L == Packed::kPack) pack_to_perm(data, data, n);
    if constexpr (L == Packed::kCcs) ccs_to_perm(data, data, n);
    if (KplStatus st = float_real(data, inner, p + sizeof(F) * (n + 2), true); st < 0) return st;
    convert_out(data, dst, n, sf);
    return kplStsOk;
  });
}

// ---- Plans ----

template <class P> struct PlanOf;
template <> struct PlanOf<KplsFFTSpec_C_16sc> { using Head = Fft16Head; using Inner = KplsFFTSpec_C_32fc; static constexpr uint32_t kTag = kTagFFT_C_16sc; };
template <> struct PlanOf<KplsFFTSpec_C_16s> { using Head = Fft16Head; using Inner = KplsFFTSpec_C_32f; static constexpr uint32_t kTag = kTagFFT_C_16s; };
template <> struct PlanOf<KplsFFTSpec_R_16s> { using Head = Fft16Head; using Inner = KplsFFTSpec_R_32f; static constexpr uint32_t kTag = kTagFFT_R_16s; };
template <> struct PlanOf<KplsFFTSpec_C_32sc> { using Head = FftWrapHead; using Inner = KplsFFTSpec_C_64fc; static constexpr uint32_t kTag = kTagFFT_C_32sc; };
template <> struct PlanOf<KplsFFTSpec_C_32s> { using Head = FftWrapHead; using Inner = KplsFFTSpec_C_64f; static constexpr uint32_t kTag = kTagFFT_C_32s; };
template <> struct PlanOf<KplsFFTSpec_R_32s> { using Head = FftWrapHead; using Inner = KplsFFTSpec_R_64f; static constexpr uint32_t kTag = kTagFFT_R_32s; };
template <> struct PlanOf<KplsFFTSpec_R_16s32s> { using Head = FftWrapHead; using Inner = KplsFFTSpec_R_32f; static constexpr uint32_t kTag = kTagFFT_R_16s32s; };

// The checks of every transform: the plan pointer, its tag, then the data pointers.
template <class P, class... D>
KplStatus check_plan(const P* spec, const D*... data) {
  if (!spec) return kplStsNullPointer;
  if (reinterpret_cast<const typename PlanOf<P>::Head*>(spec)->idCtx != PlanOf<P>::kTag) return kplStsBadContext;
  if (any_null(data...)) return kplStsNullPointer;
  return kplStsOk;
}

template <class P>
const typename PlanOf<P>::Inner* inner_of(const typename PlanOf<P>::Head* h) {
  return at_offset<typename PlanOf<P>::Inner>(h, h->innerPlan);
}

// ---- Entries' bodies ----

KplStatus cfft_16sc(const Kpl16sc* src, Kpl16sc* dst, const KplsFFTSpec_C_16sc* spec, int sf, Kpl8u* buf, bool inv) {
  using P = KplsFFTSpec_C_16sc;
  if (KplStatus st = check_plan(spec, src, dst)) return st;
  const auto* h = reinterpret_cast<const Fft16Head*>(spec);
  const int n = 1 << h->order;
  if (h->useFloatPlan)
    return complex_via_float(&src->re, &dst->re, n, inner_of<P>(h), h->workSize, buf, sf, inv);
  if (h->order == 0) {
    *dst = Kpl16sc{cnvrt_32s16s(src->re, sf), cnvrt_32s16s(src->im, sf)};
    return kplStsOk;
  }
  native16_complex(h, src, dst, sf, inv);
  return kplStsOk;
}

KplStatus cfft_16s(const Kpl16s* sre, const Kpl16s* sim, Kpl16s* dre, Kpl16s* dim, const KplsFFTSpec_C_16s* spec, int sf,
                   Kpl8u* buf, bool inv) {
  using P = KplsFFTSpec_C_16s;
  if (KplStatus st = check_plan(spec, sre, sim, dre, dim)) return st;
  const auto* h = reinterpret_cast<const Fft16Head*>(spec);
  const int n = 1 << h->order;
  if (h->useFloatPlan) return split_via_float(sre, sim, dre, dim, n, inner_of<P>(h), h->workSize, buf, sf, inv);
  if (h->order == 0) {
    const Kpl16s re = cnvrt_32s16s(*sre, sf), im = cnvrt_32s16s(*sim, sf);
    *dre = re, *dim = im;
    return kplStsOk;
  }
  native16_split(h, sre, sim, dre, dim, sf, inv);
  return kplStsOk;
}

template <class I>
KplStatus cfft_32sc(const I* src, I* dst, const KplsFFTSpec_C_32sc* spec, int sf, Kpl8u* buf, bool inv) {
  using P = KplsFFTSpec_C_32sc;
  if (KplStatus st = check_plan(spec, src, dst)) return st;
  const auto* h = reinterpret_cast<const FftWrapHead*>(spec);
  return complex_via_float(&src->re, &dst->re, 1 << h->order, inner_of<P>(h), h->workSize, buf, sf, inv);
}

KplStatus cfft_32s(const Kpl32s* sre, const Kpl32s* sim, Kpl32s* dre, Kpl32s* dim, const KplsFFTSpec_C_32s* spec, int sf,
                   Kpl8u* buf, bool inv) {
  using P = KplsFFTSpec_C_32s;
  if (KplStatus st = check_plan(spec, sre, sim, dre, dim)) return st;
  const auto* h = reinterpret_cast<const FftWrapHead*>(spec);
  return split_via_float(sre, sim, dre, dim, 1 << h->order, inner_of<P>(h), h->workSize, buf, sf, inv);
}

template <Packed L>
KplStatus rfft_16s_fwd(const Kpl16s* src, Kpl16s* dst, const KplsFFTSpec_R_16s* spec, int sf, Kpl8u* buf) {
  using P = KplsFFTSpec_R_16s;
  if (KplStatus st = check_plan(spec, src, dst)) return st;
  const auto* h = reinterpret_cast<const Fft16Head*>(spec);
  const int n = 1 << h->order;
  if (h->useFloatPlan) return real_fwd_via_float<L>(src, dst, n, inner_of<P>(h), h->workSize, buf, sf);
  if (h->order == 0) dst[0] = cnvrt_32s16s(src[0], sf);
  else native16_real_fwd(h, src, dst, sf);
  if constexpr (L == Packed::kPack) perm_to_pack(dst, dst, n);
  if constexpr (L == Packed::kCcs) perm_to_ccs(dst, dst, n);
  return kplStsOk;
}

template <Packed L>
KplStatus rfft_16s_inv(const Kpl16s* src, Kpl16s* dst, const KplsFFTSpec_R_16s* spec, int sf, Kpl8u* buf) {
  using P = KplsFFTSpec_R_16s;
  if (KplStatus st = check_plan(spec, src, dst)) return st;
  const auto* h = reinterpret_cast<const Fft16Head*>(spec);
  const int n = 1 << h->order;
  if (h->useFloatPlan) return real_inv_via_float<L>(src, dst, n, inner_of<P>(h), h->workSize, buf, sf);
  if (h->order == 0) {
    dst[0] = cnvrt_32s16s(src[0], sf);
    return kplStsOk;
  }
  Kpl16s perm[1 << kNative16MaxOrder];
  if constexpr (L == Packed::kPerm) for (int i = 0; i < n; ++i) perm[i] = src[i];
  if constexpr (L == Packed::kPack) pack_to_perm(src, perm, n);
  if constexpr (L == Packed::kCcs) ccs_to_perm(src, perm, n);
  native16_real_inv(h, perm, dst, sf);
  return kplStsOk;
}

// The real plans that always go through floating point (32s, and 16s32s with
// its 32s16s inverse): the checks, then the route.
template <Dir D, Packed L, class P, class I, class O>
KplStatus rfft_wrapped(const I* src, O* dst, const P* spec, int sf, Kpl8u* buf) {
  if (KplStatus st = check_plan(spec, src, dst)) return st;
  const auto* h = reinterpret_cast<const FftWrapHead*>(spec);
  const int n = 1 << h->order;
  if constexpr (D == Dir::kInv) {
    return real_inv_via_float<L>(src, dst, n, inner_of<P>(h), h->workSize, buf, sf);
  } else {
    return real_fwd_via_float<L>(src, dst, n, inner_of<P>(h), h->workSize, buf, sf);
  }
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;
using PK = Packed;

// Complex
KplStatus KPL_IMPL(kplsFFTFwd_CToC_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc* pDst, const KplsFFTSpec_C_16sc* pSpec, int scaleFactor, Kpl8u* pBuffer) { return cfft_16sc(pSrc, pDst, pSpec, scaleFactor, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_16sc_ISfs)(Kpl16sc* pSrcDst, const KplsFFTSpec_C_16sc* pSpec, int scaleFactor, Kpl8u* pBuffer)                { return cfft_16sc(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32sc* pDst, const KplsFFTSpec_C_32sc* pSpec, int scaleFactor, Kpl8u* pBuffer) { return cfft_32sc(pSrc, pDst, pSpec, scaleFactor, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32sc_ISfs)(Kpl32sc* pSrcDst, const KplsFFTSpec_C_32sc* pSpec, int scaleFactor, Kpl8u* pBuffer)                { return cfft_32sc(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer, false); }
KplStatus KPL_IMPL(kplsFFTFwd_CToC_16s_Sfs)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16s* pDstRe, Kpl16s* pDstIm, const KplsFFTSpec_C_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_16s(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, scaleFactor, pBuffer, false);
}
KplStatus KPL_IMPL(kplsFFTFwd_CToC_16s_ISfs)(Kpl16s* pSrcDstRe, Kpl16s* pSrcDstIm, const KplsFFTSpec_C_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_16s(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, scaleFactor, pBuffer, false);
}
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32s_Sfs)(const Kpl32s* pSrcRe, const Kpl32s* pSrcIm, Kpl32s* pDstRe, Kpl32s* pDstIm, const KplsFFTSpec_C_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_32s(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, scaleFactor, pBuffer, false);
}
KplStatus KPL_IMPL(kplsFFTFwd_CToC_32s_ISfs)(Kpl32s* pSrcDstRe, Kpl32s* pSrcDstIm, const KplsFFTSpec_C_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_32s(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, scaleFactor, pBuffer, false);
}
KplStatus KPL_IMPL(kplsFFTInv_CToC_16sc_Sfs)(const Kpl16sc* pSrc, Kpl16sc* pDst, const KplsFFTSpec_C_16sc* pSpec, int scaleFactor, Kpl8u* pBuffer) { return cfft_16sc(pSrc, pDst, pSpec, scaleFactor, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_16sc_ISfs)(Kpl16sc* pSrcDst, const KplsFFTSpec_C_16sc* pSpec, int scaleFactor, Kpl8u* pBuffer)                { return cfft_16sc(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_32sc_Sfs)(const Kpl32sc* pSrc, Kpl32sc* pDst, const KplsFFTSpec_C_32sc* pSpec, int scaleFactor, Kpl8u* pBuffer) { return cfft_32sc(pSrc, pDst, pSpec, scaleFactor, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_32sc_ISfs)(Kpl32sc* pSrcDst, const KplsFFTSpec_C_32sc* pSpec, int scaleFactor, Kpl8u* pBuffer)                { return cfft_32sc(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer, true); }
KplStatus KPL_IMPL(kplsFFTInv_CToC_16s_Sfs)(const Kpl16s* pSrcRe, const Kpl16s* pSrcIm, Kpl16s* pDstRe, Kpl16s* pDstIm, const KplsFFTSpec_C_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_16s(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, scaleFactor, pBuffer, true);
}
KplStatus KPL_IMPL(kplsFFTInv_CToC_16s_ISfs)(Kpl16s* pSrcDstRe, Kpl16s* pSrcDstIm, const KplsFFTSpec_C_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_16s(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, scaleFactor, pBuffer, true);
}
KplStatus KPL_IMPL(kplsFFTInv_CToC_32s_Sfs)(const Kpl32s* pSrcRe, const Kpl32s* pSrcIm, Kpl32s* pDstRe, Kpl32s* pDstIm, const KplsFFTSpec_C_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_32s(pSrcRe, pSrcIm, pDstRe, pDstIm, pSpec, scaleFactor, pBuffer, true);
}
KplStatus KPL_IMPL(kplsFFTInv_CToC_32s_ISfs)(Kpl32s* pSrcDstRe, Kpl32s* pSrcDstIm, const KplsFFTSpec_C_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) {
  return cfft_32s(pSrcDstRe, pSrcDstIm, pSrcDstRe, pSrcDstIm, pSpec, scaleFactor, pBuffer, true);
}

// Real forward
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_16s_fwd<PK::kPerm>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_16s_ISfs)(Kpl16s* pSrcDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_16s_fwd<PK::kPerm>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_32s_Sfs)(const Kpl32s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_wrapped<Dir::kFwd, PK::kPerm>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPerm_32s_ISfs)(Kpl32s* pSrcDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_wrapped<Dir::kFwd, PK::kPerm>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_16s_fwd<PK::kPack>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_16s_ISfs)(Kpl16s* pSrcDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_16s_fwd<PK::kPack>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_32s_Sfs)(const Kpl32s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_wrapped<Dir::kFwd, PK::kPack>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToPack_32s_ISfs)(Kpl32s* pSrcDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_wrapped<Dir::kFwd, PK::kPack>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)  { return rfft_16s_fwd<PK::kCcs>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_16s_ISfs)(Kpl16s* pSrcDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)               { return rfft_16s_fwd<PK::kCcs>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_32s_Sfs)(const Kpl32s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)  { return rfft_wrapped<Dir::kFwd, PK::kCcs>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_32s_ISfs)(Kpl32s* pSrcDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)               { return rfft_wrapped<Dir::kFwd, PK::kCcs>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }

// Real inverse
KplStatus KPL_IMPL(kplsFFTInv_PermToR_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_16s_inv<PK::kPerm>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_16s_ISfs)(Kpl16s* pSrcDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_16s_inv<PK::kPerm>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_32s_Sfs)(const Kpl32s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_wrapped<Dir::kInv, PK::kPerm>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PermToR_32s_ISfs)(Kpl32s* pSrcDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_wrapped<Dir::kInv, PK::kPerm>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_16s_inv<PK::kPack>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_16s_ISfs)(Kpl16s* pSrcDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_16s_inv<PK::kPack>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_32s_Sfs)(const Kpl32s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_wrapped<Dir::kInv, PK::kPack>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_PackToR_32s_ISfs)(Kpl32s* pSrcDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)              { return rfft_wrapped<Dir::kInv, PK::kPack>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_16s_Sfs)(const Kpl16s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)  { return rfft_16s_inv<PK::kCcs>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_16s_ISfs)(Kpl16s* pSrcDst, const KplsFFTSpec_R_16s* pSpec, int scaleFactor, Kpl8u* pBuffer)               { return rfft_16s_inv<PK::kCcs>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_32s_Sfs)(const Kpl32s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)  { return rfft_wrapped<Dir::kInv, PK::kCcs>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_32s_ISfs)(Kpl32s* pSrcDst, const KplsFFTSpec_R_32s* pSpec, int scaleFactor, Kpl8u* pBuffer)               { return rfft_wrapped<Dir::kInv, PK::kCcs>(pSrcDst, pSrcDst, pSpec, scaleFactor, pBuffer); }

// Mixed: 16-bit time domain, 32-bit spectrum
KplStatus KPL_IMPL(kplsFFTFwd_RToCCS_16s32s_Sfs)(const Kpl16s* pSrc, Kpl32s* pDst, const KplsFFTSpec_R_16s32s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_wrapped<Dir::kFwd, PK::kCcs>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
KplStatus KPL_IMPL(kplsFFTInv_CCSToR_32s16s_Sfs)(const Kpl32s* pSrc, Kpl16s* pDst, const KplsFFTSpec_R_16s32s* pSpec, int scaleFactor, Kpl8u* pBuffer) { return rfft_wrapped<Dir::kInv, PK::kCcs>(pSrc, pDst, pSpec, scaleFactor, pBuffer); }
