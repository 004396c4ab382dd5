// FFT plans of the floating types: GetSize, Init, InitAlloc, Free, GetBufSize of
// C_32fc, C_32f, R_32f, C_64fc, C_64f, R_64f.
#include <omp.h>

#include <cmath>
#include <cstring>

#include "core/kplcore.h"
#include "fourier/fft_plan.hpp"
#include "frame/record.hpp"

namespace kpl {
inline namespace q5 {
namespace {

enum class Shape { kComplex, kReal };

struct PlanKind {
  Shape shape;
  bool dbl;
  int max_order;
};

constexpr bool good_flag(int flag) {
  return flag == KPL_FFT_DIV_FWD_BY_N || flag == KPL_FFT_DIV_INV_BY_N || flag == KPL_FFT_DIV_BY_SQRTN ||
         flag == KPL_FFT_NODIV_BY_ANY;
}

constexpr FftSizes sizes_of(PlanKind k, int order) {
  return k.shape == Shape::kComplex ? fft_complex_sizes(k.dbl, order) : fft_real_sizes(k.dbl, order);
}

// 1/sqrt(N) in single precision: an estimate of 12 significant bits, refined by
// one Newton step r (N r r - 3) (-0.5). The estimate is the exact value rounded,
// not the processor's table, so every machine builds the same plan; for even
// orders it is exact and the step leaves it unchanged.
inline float inv_sqrt_single(float n) {
  const double exact = 1.0 / std::sqrt(static_cast<double>(n));
  int e = 0;
  const double m = std::frexp(exact, &e);
  const float r = static_cast<float>(std::ldexp(std::nearbyint(std::ldexp(m, 12)), e - 12));
  return r * (n * r * r - 3.0f) * -0.5f;
}

template <class T>
T norm_factor(int flag, int order) {
  const T n = static_cast<T>(1LL << order);
  if (flag == KPL_FFT_NODIV_BY_ANY) return T(0);
  if (flag == KPL_FFT_DIV_BY_SQRTN) {
    if constexpr (sizeof(T) == 4) return inv_sqrt_single(n);
    else return 1.0 / std::sqrt(n);
  }
  return T(1) / n;
}

// Threads of the medium path, decided once: at most two, and one on a machine
// that reports more than two processors.
inline int medium_threads() {
  int t = ownGetNumThreads();
  if (t > 2) t = 2;
  if (t < 1) t = 1;
  if (omp_get_num_procs() > 2) t = 1;
  return t;
}

template <class T>
KplStatus get_size(PlanKind k, int order, int flag, int* spec, int* init, int* work) {
  if (order < 0 || order > kFftOrderLimit) return kplStsBadFftOrder;
  if (!spec || !init || !work) return kplStsNullPointer;
  if (!good_flag(flag)) return kplStsBadFftFlag;
  if (order > k.max_order) return kplStsBadFftOrder;
  const FftSizes s = sizes_of(k, order);
  *spec = static_cast<int>(s.spec);
  *init = static_cast<int>(s.init);
  *work = s.work > 0 ? static_cast<int>(s.work + 32) : 0;
  return kplStsOk;
}

// Recombination twiddles of a real plan: (cos, sin) of 2 pi k / N for k = 1..N/4,
// or, from the two-level orders on, `fine` values for k < F then the coarse
// values at every F-th k.
template <class T>
void build_rec_table(T* out, int order, const T* s, int b) {
  const size_t n = size_t{1} << order;
  const bool two = order >= (sizeof(T) == 8 ? 18 : 19);
  const size_t step = (size_t{1} << b) / n;
  auto put = [&](size_t k, T* at) {
    T c{}, sn{};
    fft_quadrant(s, b, k * step, c, sn);
    at[0] = c;
    at[1] = sn;
  };
  if (!two) {
    for (size_t k = 1; k <= n / 4; ++k) put(k, out + 2 * (k - 1));
    return;
  }
  const size_t fine = sizeof(T) == 8 ? 512 : 1024;
  for (size_t k = 0; k < fine; ++k) put(k, out + 2 * k);
  for (size_t i = 0; i <= n / 4 / fine; ++i) put(i * fine, out + 2 * (fine + i));
}

template <class T>
KplStatus init_plan(PlanKind k, Kpl32u tag, FftHead<T>** pp, int order, int flag, int hint, Kpl8u* mem,
                    Kpl8u* init_mem) {
  if (!pp) return kplStsNullPointer;
  if (order < 0 || order > k.max_order) return kplStsBadFftOrder;
  if (!mem) return kplStsNullPointer;
  FftHead<T>* h = place_record<FftHead<T>>(mem);
  std::memset(static_cast<void*>(h), 0, sizeof(FftHead<T>));
  if (!good_flag(flag)) return kplStsBadFftFlag;  // the tag stays 0
  if (order >= kFftFirstInitOrder && !init_mem) return kplStsNullPointer;

  const FftSizes sz = sizes_of(k, order);
  h->order = order;
  h->doScaleFwd = flag == KPL_FFT_DIV_FWD_BY_N || flag == KPL_FFT_DIV_BY_SQRTN;
  h->doScaleInv = flag == KPL_FFT_DIV_INV_BY_N || flag == KPL_FFT_DIV_BY_SQRTN;
  h->normFactor = norm_factor<T>(flag, order);
  h->hint = hint;
  h->workSize = static_cast<Kpl32s>(sz.work);
  h->isAllocated = 0;

  const int corder = k.shape == Shape::kComplex ? order : order - 1;
  const bool tables = corder >= 6 || (k.shape == Shape::kReal && order >= fft_real_first_rec_order(k.dbl));
  if (tables) {
    // The quarter-wave table: 2^10 points up to order 10 (on the stack), else of
    // the plan's own order in the caller's temporary memory.
    T small[257];
    const int b = order <= 10 ? 10 : order;
    T* s = order <= 10 ? small : place_record<T>(init_mem);
    fft_build_quarter_sine(s, b);
    uint8_t* base = reinterpret_cast<uint8_t*>(h);
    if (corder >= 6) {
      h->radix4Twiddles = kFftHeadRoom;
      fft_build_twiddles(reinterpret_cast<T*>(base + kFftHeadRoom), corder, fft_full_order(k.dbl, corder), s, b);
      if (fft_is_medium(k.dbl, corder)) h->threadCount = medium_threads();
    }
    if (k.shape == Shape::kReal) {
      const Kpl32u rec = kFftHeadRoom + static_cast<Kpl32u>(corder >= 6 ? fft_complex_parts(k.dbl, corder).spec : 0);
      h->realRecTable = rec;
      h->ccsRecTable = rec;
      build_rec_table(reinterpret_cast<T*>(base + rec), order, s, b);
    }
  }
  h->idCtx = tag;
  *pp = h;
  return kplStsOk;
}

template <class T>
KplStatus init_alloc(PlanKind k, Kpl32u tag, FftHead<T>** pp, int order, int flag, int hint) {
  if (!pp) return kplStsNullPointer;
  int spec = 0, init = 0, work = 0;
  if (KplStatus st = get_size<T>(k, order, flag, &spec, &init, &work)) return st;
  Kpl8u* mem = KPL_IMPL(kplsMalloc_8u)(spec);
  if (!mem) return kplStsNoMemory;
  Kpl8u* tmp = nullptr;
  if (init >= 1) {
    tmp = KPL_IMPL(kplsMalloc_8u)(init);
    if (!tmp) {
      KPL_IMPL(kplsFree)(mem);
      return kplStsNoMemory;
    }
  }
  FftHead<T>* h = nullptr;
  const KplStatus st = init_plan<T>(k, tag, &h, order, flag, hint, mem, tmp);
  KPL_IMPL(kplsFree)(tmp);
  if (st != kplStsOk) {
    KPL_IMPL(kplsFree)(mem);
    return st;
  }
  // The allocator's blocks are 32-byte aligned, so the record is the block itself.
  h->isAllocated = reinterpret_cast<Kpl8u*>(h) == mem ? 1 : 0;
  *pp = h;
  return kplStsOk;
}

template <class T>
KplStatus free_plan(Kpl32u tag, FftHead<T>* h) {
  if (!h) return kplStsNullPointer;
  if (h->idCtx != tag) return kplStsBadContext;
  h->idCtx = 0;
  if (h->isAllocated == 1) KPL_IMPL(kplsFree)(h);
  return kplStsOk;
}

template <class T>
KplStatus get_buf_size(Kpl32u tag, const FftHead<T>* h, int* size) {
  if (!h || !size) return kplStsNullPointer;
  if (h->idCtx != tag) return kplStsBadContext;
  *size = h->workSize >= 1 ? h->workSize + 32 : 0;
  return kplStsOk;
}

// The split plans are the interleaved ones retagged.
template <class T, class Spec>
KplStatus retag(KplStatus st, Spec** pp, Kpl32u tag) {
  if (st == kplStsOk) reinterpret_cast<FftHead<T>*>(*pp)->idCtx = tag;
  return st;
}

constexpr PlanKind kC32{Shape::kComplex, false, kFftMaxOrderC32};
constexpr PlanKind kR32{Shape::kReal, false, kFftMaxOrderR32};
constexpr PlanKind kC64{Shape::kComplex, true, kFftMaxOrderC64};
constexpr PlanKind kR64{Shape::kReal, true, kFftMaxOrderR64};

template <class T, class Spec>
FftHead<T>** head_pp(Spec** pp) {
  return reinterpret_cast<FftHead<T>**>(pp);
}
template <class T, class Spec>
FftHead<T>* head(Spec* p) {
  return reinterpret_cast<FftHead<T>*>(p);
}
template <class T, class Spec>
const FftHead<T>* head(const Spec* p) {
  return reinterpret_cast<const FftHead<T>*>(p);
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;
using H32 = FftHead<float>;
using H64 = FftHead<double>;

// clang-format off
KplStatus KPL_IMPL(kplsFFTGetSize_C_32fc)(int order, int flag, KplHintAlgorithm, int* pSpecSize, int* pSpecBufferSize, int* pBufferSize) { return get_size<float>(kC32, order, flag, pSpecSize, pSpecBufferSize, pBufferSize); }
KplStatus KPL_IMPL(kplsFFTInit_C_32fc)(KplsFFTSpec_C_32fc** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) { return init_plan<float>(kC32, kFftTagC32fc, head_pp<float>(ppSpec), order, flag, hint, pMemSpec, pMemInit); }
KplStatus KPL_IMPL(kplsFFTInitAlloc_C_32fc)(KplsFFTSpec_C_32fc** ppSpec, int order, int flag, KplHintAlgorithm hint) { return init_alloc<float>(kC32, kFftTagC32fc, head_pp<float>(ppSpec), order, flag, hint); }
KplStatus KPL_IMPL(kplsFFTFree_C_32fc)(KplsFFTSpec_C_32fc* pSpec) { return free_plan<float>(kFftTagC32fc, head<float>(pSpec)); }
KplStatus KPL_IMPL(kplsFFTGetBufSize_C_32fc)(const KplsFFTSpec_C_32fc* pSpec, int* pBufferSize) { return get_buf_size<float>(kFftTagC32fc, head<float>(pSpec), pBufferSize); }
KplStatus KPL_IMPL(kplsFFTGetSize_C_32f)(int order, int flag, KplHintAlgorithm hint, int* pSpecSize, int* pSpecBufferSize, int* pBufferSize) { return KPL_IMPL(kplsFFTGetSize_C_32fc)(order, flag, hint, pSpecSize, pSpecBufferSize, pBufferSize); }
KplStatus KPL_IMPL(kplsFFTInit_C_32f)(KplsFFTSpec_C_32f** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) { return retag<float>(KPL_IMPL(kplsFFTInit_C_32fc)(reinterpret_cast<KplsFFTSpec_C_32fc**>(ppSpec), order, flag, hint, pMemSpec, pMemInit), ppSpec, kFftTagC32f); }
KplStatus KPL_IMPL(kplsFFTInitAlloc_C_32f)(KplsFFTSpec_C_32f** ppSpec, int order, int flag, KplHintAlgorithm hint) { return retag<float>(KPL_IMPL(kplsFFTInitAlloc_C_32fc)(reinterpret_cast<KplsFFTSpec_C_32fc**>(ppSpec), order, flag, hint), ppSpec, kFftTagC32f); }
KplStatus KPL_IMPL(kplsFFTFree_C_32f)(KplsFFTSpec_C_32f* pSpec) { return free_plan<float>(kFftTagC32f, head<float>(pSpec)); }
KplStatus KPL_IMPL(kplsFFTGetBufSize_C_32f)(const KplsFFTSpec_C_32f* pSpec, int* pBufferSize) { return get_buf_size<float>(kFftTagC32f, head<float>(pSpec), pBufferSize); }
KplStatus KPL_IMPL(kplsFFTGetSize_R_32f)(int order, int flag, KplHintAlgorithm, int* pSpecSize, int* pSpecBufferSize, int* pBufferSize) { return get_size<float>(kR32, order, flag, pSpecSize, pSpecBufferSize, pBufferSize); }
KplStatus KPL_IMPL(kplsFFTInit_R_32f)(KplsFFTSpec_R_32f** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) { return init_plan<float>(kR32, kFftTagR32f, head_pp<float>(ppSpec), order, flag, hint, pMemSpec, pMemInit); }
KplStatus KPL_IMPL(kplsFFTInitAlloc_R_32f)(KplsFFTSpec_R_32f** ppSpec, int order, int flag, KplHintAlgorithm hint) { return init_alloc<float>(kR32, kFftTagR32f, head_pp<float>(ppSpec), order, flag, hint); }
KplStatus KPL_IMPL(kplsFFTFree_R_32f)(KplsFFTSpec_R_32f* pSpec) { return free_plan<float>(kFftTagR32f, head<float>(pSpec)); }
KplStatus KPL_IMPL(kplsFFTGetBufSize_R_32f)(const KplsFFTSpec_R_32f* pSpec, int* pBufferSize) { return get_buf_size<float>(kFftTagR32f, head<float>(pSpec), pBufferSize); }
KplStatus KPL_IMPL(kplsFFTGetSize_C_64fc)(int order, int flag, KplHintAlgorithm, int* pSpecSize, int* pSpecBufferSize, int* pBufferSize) { return get_size<double>(kC64, order, flag, pSpecSize, pSpecBufferSize, pBufferSize); }
KplStatus KPL_IMPL(kplsFFTInit_C_64fc)(KplsFFTSpec_C_64fc** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) { return init_plan<double>(kC64, kFftTagC64fc, head_pp<double>(ppSpec), order, flag, hint, pMemSpec, pMemInit); }
KplStatus KPL_IMPL(kplsFFTInitAlloc_C_64fc)(KplsFFTSpec_C_64fc** ppSpec, int order, int flag, KplHintAlgorithm hint) { return init_alloc<double>(kC64, kFftTagC64fc, head_pp<double>(ppSpec), order, flag, hint); }
KplStatus KPL_IMPL(kplsFFTFree_C_64fc)(KplsFFTSpec_C_64fc* pSpec) { return free_plan<double>(kFftTagC64fc, head<double>(pSpec)); }
KplStatus KPL_IMPL(kplsFFTGetBufSize_C_64fc)(const KplsFFTSpec_C_64fc* pSpec, int* pBufferSize) { return get_buf_size<double>(kFftTagC64fc, head<double>(pSpec), pBufferSize); }
KplStatus KPL_IMPL(kplsFFTGetSize_C_64f)(int order, int flag, KplHintAlgorithm hint, int* pSpecSize, int* pSpecBufferSize, int* pBufferSize) { return KPL_IMPL(kplsFFTGetSize_C_64fc)(order, flag, hint, pSpecSize, pSpecBufferSize, pBufferSize); }
KplStatus KPL_IMPL(kplsFFTInit_C_64f)(KplsFFTSpec_C_64f** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) { return retag<double>(KPL_IMPL(kplsFFTInit_C_64fc)(reinterpret_cast<KplsFFTSpec_C_64fc**>(ppSpec), order, flag, hint, pMemSpec, pMemInit), ppSpec, kFftTagC64f); }
KplStatus KPL_IMPL(kplsFFTInitAlloc_C_64f)(KplsFFTSpec_C_64f** ppSpec, int order, int flag, KplHintAlgorithm hint) { return retag<double>(KPL_IMPL(kplsFFTInitAlloc_C_64fc)(reinterpret_cast<KplsFFTSpec_C_64fc**>(ppSpec), order, flag, hint), ppSpec, kFftTagC64f); }
KplStatus KPL_IMPL(kplsFFTFree_C_64f)(KplsFFTSpec_C_64f* pSpec) { return free_plan<double>(kFftTagC64f, head<double>(pSpec)); }
KplStatus KPL_IMPL(kplsFFTGetBufSize_C_64f)(const KplsFFTSpec_C_64f* pSpec, int* pBufferSize) { return get_buf_size<double>(kFftTagC64f, head<double>(pSpec), pBufferSize); }
KplStatus KPL_IMPL(kplsFFTGetSize_R_64f)(int order, int flag, KplHintAlgorithm, int* pSpecSize, int* pSpecBufferSize, int* pBufferSize) { return get_size<double>(kR64, order, flag, pSpecSize, pSpecBufferSize, pBufferSize); }
KplStatus KPL_IMPL(kplsFFTInit_R_64f)(KplsFFTSpec_R_64f** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) { return init_plan<double>(kR64, kFftTagR64f, head_pp<double>(ppSpec), order, flag, hint, pMemSpec, pMemInit); }
KplStatus KPL_IMPL(kplsFFTInitAlloc_R_64f)(KplsFFTSpec_R_64f** ppSpec, int order, int flag, KplHintAlgorithm hint) { return init_alloc<double>(kR64, kFftTagR64f, head_pp<double>(ppSpec), order, flag, hint); }
KplStatus KPL_IMPL(kplsFFTFree_R_64f)(KplsFFTSpec_R_64f* pSpec) { return free_plan<double>(kFftTagR64f, head<double>(pSpec)); }
KplStatus KPL_IMPL(kplsFFTGetBufSize_R_64f)(const KplsFFTSpec_R_64f* pSpec, int* pBufferSize) { return get_buf_size<double>(kFftTagR64f, head<double>(pSpec), pBufferSize); }
// clang-format on
