// Plans of the integer FFTs: GetSize, Init, InitAlloc, Free and GetBufSize of
// C_16sc, C_16s, R_16s (native Q14 tables for order 1..3 with hint none or fast,
// else an inner floating plan) and of the wrappers C_32sc, C_32s, R_32s and
// R_16s32s round an inner floating plan. The sizes are the inner plan's plus
// fixed additions, so that the caller's memory holds head, tables and inner plan.
#include <cmath>
#include <cstring>

#include "fourier/fft_int_plan.hpp"
#include "frame/entry.hpp"
#include "frame/record.hpp"

namespace kpl {
inline namespace q5 {
namespace {

constexpr int kMaxOrderAccepted = 30;  // the plans' own range test; the inner Init reports the rest

// The size of a 16-bit plan of order 0: the head alone.
constexpr int kOrder0Spec16 = 84;
constexpr int kSpecAdd16 = 96, kInitAdd16 = 32, kWorkAdd = 32;
constexpr int kSpecAddWrap = 64, kInitAddWrap = 32;

constexpr int a32(long long x) { return static_cast<int>(x & ~31LL); }

// A work size past INT_MAX cannot be reported through an int: such a plan (the
// top order of each type) is refused as memory that cannot be had.
constexpr long long kMaxBytes = 0x7FFFFFFF;

bool flag_valid(int flag) {
  return flag == KPL_FFT_DIV_FWD_BY_N || flag == KPL_FFT_DIV_INV_BY_N || flag == KPL_FFT_DIV_BY_SQRTN ||
         flag == KPL_FFT_NODIV_BY_ANY;
}

// The inner floating plans, by type.
template <class S> struct Inner;
#define KPL_INNER_OPS(T)                                                                                 \
  template <> struct Inner<KplsFFTSpec_##T> {                                                          \
    static KplStatus get_size(int o, int f, int* a, int* b, int* c) {                                    \
      return KPL_IMPL(kplsFFTGetSize_##T)(o, f, kplAlgHintNone, a, b, c);                               \
    }                                                                                                    \
    static KplStatus init(KplsFFTSpec_##T** pp, int o, int f, Kpl8u* spec, Kpl8u* init) {               \
      return KPL_IMPL(kplsFFTInit_##T)(pp, o, f, kplAlgHintNone, spec, init);                           \
    }                                                                                                    \
    static KplStatus free(KplsFFTSpec_##T* p) { return KPL_IMPL(kplsFFTFree_##T)(p); }                  \
  };
KPL_INNER_OPS(C_32fc)
KPL_INNER_OPS(C_32f)
KPL_INNER_OPS(R_32f)
KPL_INNER_OPS(C_64fc)
KPL_INNER_OPS(C_64f)
KPL_INNER_OPS(R_64f)
#undef KPL_INNER_OPS

// What distinguishes the integer plans: tag, inner plan type, and the bytes a
// transform needs beside the inner work buffer (the converted data).
enum class Kind { kComplex, kSplit, kReal };

template <class P> struct IntPlan;
template <> struct IntPlan<KplsFFTSpec_C_16sc> {
  using InnerSpec = KplsFFTSpec_C_32fc;
  static constexpr uint32_t kTag = kTagFFT_C_16sc;
  static constexpr Kind kKind = Kind::kComplex;
  static long long data_bytes(long long n) { return 8 * n; }
  static long long native_work(long long n) { return 8 * n; }
};
template <> struct IntPlan<KplsFFTSpec_C_16s> {
  using InnerSpec = KplsFFTSpec_C_32f;
  static constexpr uint32_t kTag = kTagFFT_C_16s;
  static constexpr Kind kKind = Kind::kSplit;
  static long long data_bytes(long long n) { return 8 * n; }
  static long long native_work(long long n) { return 12 * n; }
};
template <> struct IntPlan<KplsFFTSpec_R_16s> {
  using InnerSpec = KplsFFTSpec_R_32f;
  static constexpr uint32_t kTag = kTagFFT_R_16s;
  static constexpr Kind kKind = Kind::kReal;
  static long long data_bytes(long long n) { return 4 * n + 8; }
  static long long native_work(long long n) { return 4 * n + 8; }
};
template <> struct IntPlan<KplsFFTSpec_C_32sc> {
  using InnerSpec = KplsFFTSpec_C_64fc;
  static constexpr uint32_t kTag = kTagFFT_C_32sc;
  static long long data_bytes(long long n) { return 16 * n; }
};
template <> struct IntPlan<KplsFFTSpec_C_32s> {
  using InnerSpec = KplsFFTSpec_C_64f;
  static constexpr uint32_t kTag = kTagFFT_C_32s;
  static long long data_bytes(long long n) { return 16 * n; }
};
template <> struct IntPlan<KplsFFTSpec_R_32s> {
  using InnerSpec = KplsFFTSpec_R_64f;
  static constexpr uint32_t kTag = kTagFFT_R_32s;
  static long long data_bytes(long long n) { return 8 * n + 16; }
};
template <> struct IntPlan<KplsFFTSpec_R_16s32s> {
  using InnerSpec = KplsFFTSpec_R_32f;
  static constexpr uint32_t kTag = kTagFFT_R_16s32s;
  static long long data_bytes(long long n) { return 4 * n + 8; }
};

// Only value 0 and 1 ask for the native engine; 2 and undeclared values are
// treated as the accurate hint, which always goes through floating point.
bool native16(int order, KplHintAlgorithm hint) {
  return order >= kNative16MinOrder && order <= kNative16MaxOrder && (hint == kplAlgHintNone || hint == kplAlgHintFast);
}

struct Sizes {
  int spec, init, work;
};

// ---- Q14 tables ----

// round(16384 sin(2 pi t / 1024)) for t in 0..1023, from the quarter table
// (entry 256 being exactly 16384) by the quadrant rule.
int16_t q14_sin1024(int t) {
  auto quarter = [](int k) -> int {
    return k == 256 ? 16384 : static_cast<int>(std::floor(16384.0 * std::sin(6.283185307179586 * k / 1024.0) + 0.5));
  };
  t &= 1023;
  if (t <= 256) return static_cast<int16_t>(quarter(t));
  if (t <= 512) return static_cast<int16_t>(quarter(512 - t));
  if (t <= 768) return static_cast<int16_t>(-quarter(t - 512));
  return static_cast<int16_t>(-quarter(1024 - t));
}

// Rows (c, s, -s, c) of angle 2 pi j / n, j = 0..n-1.
void init_q14_rows(Q14Row* rows, int n) {
  const int step = 1024 / n;
  for (int j = 0; j < n; ++j) {
    const int16_t s = q14_sin1024(j * step), c = q14_sin1024(j * step + 256);
    rows[j] = Q14Row{c, s, static_cast<int16_t>(-s), c};
  }
}

// Exchange pairs of the bit reversal over order-2 bits: pairs from the front,
// fixed points from the back, a 0 ending the list and closing the table.
void init_tab_bitrev(int order, uint32_t* t) {
  const int bits = order - 2;
  const int n = order >= 2 ? 1 << bits : 0;
  auto rev = [bits](int i) {
    int r = 0;
    for (int b = 0; b < bits; ++b) r |= ((i >> b) & 1) << (bits - 1 - b);
    return r;
  };
  int front = 0, back = n - 1;
  for (int i = 1; i < n; ++i) {
    const int j = rev(i);
    if (i < j) t[front++] = 4u * i, t[front++] = 4u * j;
    else if (i == j) t[back--] = 4u * i;
  }
  t[front] = 0;
  t[n] = 0;
}

// ---- 16-bit plans ----

template <class P>
KplStatus get_size16(int order, int flag, KplHintAlgorithm hint, int* pSpec, int* pInit, int* pWork) {
  using T = IntPlan<P>;
  if (order < 0 || order > kMaxOrderAccepted) return kplStsBadFftOrder;
  if (any_null(pSpec, pInit, pWork)) return kplStsNullPointer;
  const long long n = 1LL << order;
  Sizes s{};
  if (order == 0 || native16(order, hint)) {
    if (!flag_valid(flag)) return kplStsBadFftFlag;
    if (order == 0) {
      s = {kOrder0Spec16, 0, 0};
    } else if (T::kKind == Kind::kReal) {
      s = {a32(4 * n + 31) + a32(n / 2 + 35) + a32(8 * n + 31) + kSpecAdd16, a32(n / 2 + 33) + 32,
           static_cast<int>(T::native_work(n)) + kWorkAdd};
    } else {
      s = {a32(8 * n + 31) + a32(n + 35) + kSpecAdd16, a32(n / 2 + 33) + 32, static_cast<int>(T::native_work(n)) + kWorkAdd};
    }
  } else {
    if (KplStatus st = Inner<typename T::InnerSpec>::get_size(order, flag, &s.spec, &s.init, &s.work)) return st;
    const long long work = s.work + T::data_bytes(n) + kWorkAdd;
    if (work > kMaxBytes || s.spec > kMaxBytes - kSpecAdd16) return kplStsNoMemory;
    s = {s.spec + kSpecAdd16, s.init + kInitAdd16, static_cast<int>(work)};
  }
  *pSpec = s.spec, *pInit = s.init, *pWork = s.work;
  return kplStsOk;
}

template <class P>
KplStatus init16(P** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) {
  using T = IntPlan<P>;
  if (!ppSpec) return kplStsNullPointer;
  if (order < 0 || order > kMaxOrderAccepted) return kplStsBadFftOrder;
  if (!pMemSpec) return kplStsNullPointer;
  auto* h = place_record<Fft16Head>(pMemSpec);
  std::memset(h, 0, sizeof *h);
  if (!flag_valid(flag)) return kplStsBadFftFlag;  // the tag stays 0
  Fft16Head v{};
  v.order = order;
  v.hint = hint;
  switch (flag) {
    case KPL_FFT_DIV_FWD_BY_N: v.shiftFwd = order; break;
    case KPL_FFT_DIV_INV_BY_N: v.shiftInv = order; break;
    case KPL_FFT_DIV_BY_SQRTN: v.shiftFwd = v.shiftInv = order >> 1, v.oddSqrt2 = order & 1; break;
    default: break;
  }
  const long long n = 1LL << order;
  uint8_t* tables = reinterpret_cast<uint8_t*>(h) + kFft16HeadBytes;
  if (order == 0) {
    // one value, converted with the scale factor alone: no tables, no work
  } else if (native16(order, hint)) {
    const int table_order = T::kKind == Kind::kReal ? order - 1 : order;
    const int rows = 1 << table_order;
    v.bitRevTable = kFft16HeadBytes;
    init_tab_bitrev(table_order, reinterpret_cast<uint32_t*>(tables));
    uint32_t off = kFft16HeadBytes + static_cast<uint32_t>(a32((rows / 4 + 1) * 4 + 31));
    v.twiddles = off;
    init_q14_rows(reinterpret_cast<Q14Row*>(reinterpret_cast<uint8_t*>(h) + off), rows);
    if (T::kKind == Kind::kReal) {
      off += static_cast<uint32_t>(a32(8LL * rows + 31));
      v.twiddlesFull = off;
      init_q14_rows(reinterpret_cast<Q14Row*>(reinterpret_cast<uint8_t*>(h) + off), static_cast<int>(n));
    }
    v.workSize = static_cast<int32_t>(T::native_work(n));
  } else {
    using I = typename T::InnerSpec;
    int sizes[3];
    if (KplStatus st = get_size16<P>(order, flag, hint, &sizes[0], &sizes[1], &sizes[2])) return st;
    I* inner = nullptr;
    if (KplStatus st = Inner<I>::init(&inner, order, flag, tables, pMemInit)) return st;
    int spec = 0, init = 0, work = 0;
    Inner<I>::get_size(order, flag, &spec, &init, &work);
    v.useFloatPlan = 1;
    v.innerPlan = static_cast<uint32_t>(reinterpret_cast<uint8_t*>(inner) - reinterpret_cast<uint8_t*>(h));
    v.workSize = static_cast<int32_t>(work + T::data_bytes(n));
  }
  v.idCtx = T::kTag;
  *h = v;
  *ppSpec = reinterpret_cast<P*>(h);
  return kplStsOk;
}

// ---- Wrapper plans ----

template <class P>
KplStatus get_size_wrap(int order, int flag, KplHintAlgorithm, int* pSpec, int* pInit, int* pWork) {
  using T = IntPlan<P>;
  if (order < 0 || order > kMaxOrderAccepted) return kplStsBadFftOrder;
  if (any_null(pSpec, pInit, pWork)) return kplStsNullPointer;
  Sizes s{};
  if (KplStatus st = Inner<typename T::InnerSpec>::get_size(order, flag, &s.spec, &s.init, &s.work)) return st;
  const long long work = s.work + T::data_bytes(1LL << order) + kWorkAdd;
  if (work > kMaxBytes || s.spec > kMaxBytes - kSpecAddWrap) return kplStsNoMemory;
  *pSpec = s.spec + kSpecAddWrap;
  *pInit = s.init > 0 ? s.init + kInitAddWrap : 0;
  *pWork = static_cast<int>(work);
  return kplStsOk;
}

template <class P>
KplStatus init_wrap(P** ppSpec, int order, int flag, KplHintAlgorithm hint, Kpl8u* pMemSpec, Kpl8u* pMemInit) {
  using T = IntPlan<P>;
  using I = typename T::InnerSpec;
  if (!ppSpec) return kplStsNullPointer;
  if (order < 0 || order > kMaxOrderAccepted) return kplStsBadFftOrder;
  if (!pMemSpec) return kplStsNullPointer;
  auto* h = place_record<FftWrapHead>(pMemSpec);
  std::memset(h, 0, sizeof *h);
  if (!flag_valid(flag)) return kplStsBadFftFlag;
  int sizes[3];
  if (KplStatus st = get_size_wrap<P>(order, flag, hint, &sizes[0], &sizes[1], &sizes[2])) return st;
  I* inner = nullptr;
  uint8_t* at = reinterpret_cast<uint8_t*>(h) + kFftWrapHeadBytes;
  if (KplStatus st = Inner<I>::init(&inner, order, flag, at, pMemInit)) return st;
  int spec = 0, init = 0, work = 0;
  Inner<I>::get_size(order, flag, &spec, &init, &work);
  FftWrapHead v{};
  v.order = order;
  v.hint = hint;
  v.workSize = static_cast<int32_t>(work + T::data_bytes(1LL << order));
  v.innerPlan = static_cast<uint32_t>(reinterpret_cast<uint8_t*>(inner) - reinterpret_cast<uint8_t*>(h));
  v.idCtx = T::kTag;
  *h = v;
  *ppSpec = reinterpret_cast<P*>(h);
  return kplStsOk;
}

// ---- Shared operations ----

template <class P> constexpr bool kIs16 = false;
template <> constexpr bool kIs16<KplsFFTSpec_C_16sc> = true;
template <> constexpr bool kIs16<KplsFFTSpec_C_16s> = true;
template <> constexpr bool kIs16<KplsFFTSpec_R_16s> = true;

template <class P>
KplStatus get_size(int order, int flag, KplHintAlgorithm hint, int* a, int* b, int* c) {
  if constexpr (kIs16<P>) return get_size16<P>(order, flag, hint, a, b, c);
  else return get_size_wrap<P>(order, flag, hint, a, b, c);
}

template <class P>
KplStatus init(P** pp, int order, int flag, KplHintAlgorithm hint, Kpl8u* spec, Kpl8u* mem) {
  if constexpr (kIs16<P>) return init16<P>(pp, order, flag, hint, spec, mem);
  else return init_wrap<P>(pp, order, flag, hint, spec, mem);
}

template <class P>
KplStatus init_alloc(P** ppSpec, int order, int flag, KplHintAlgorithm hint) {
  if (!ppSpec) return kplStsNullPointer;
  int spec = 0, init_size = 0, work = 0;
  if (KplStatus st = get_size<P>(order, flag, hint, &spec, &init_size, &work)) return st;
  Kpl8u* mem = KPL_IMPL(kplsMalloc_8u)(spec);
  if (!mem) return kplStsNoMemory;
  Kpl8u* scratch = nullptr;
  if (init_size >= 1 && !(scratch = KPL_IMPL(kplsMalloc_8u)(init_size))) {
    KPL_IMPL(kplsFree)(mem);
    return kplStsNoMemory;
  }
  P* plan = nullptr;
  const KplStatus st = init<P>(&plan, order, flag, hint, mem, scratch);
  KPL_IMPL(kplsFree)(scratch);
  if (st != kplStsOk) {
    KPL_IMPL(kplsFree)(mem);
    return st;
  }
  // kplsMalloc_8u gives 32-byte aligned memory, so the record starts at `mem`
  if constexpr (kIs16<P>) reinterpret_cast<Fft16Head*>(plan)->isAllocated = 1;
  else reinterpret_cast<FftWrapHead*>(plan)->isAllocated = 1;
  *ppSpec = plan;
  return kplStsOk;
}

template <class P>
KplStatus free_plan(P* pSpec) {
  using T = IntPlan<P>;
  using I = typename T::InnerSpec;
  if (!pSpec) return kplStsNullPointer;
  uint32_t* tag = reinterpret_cast<uint32_t*>(pSpec);
  if (*tag != T::kTag) return kplStsBadContext;
  uint32_t inner = 0;
  int32_t allocated = 0;
  if constexpr (kIs16<P>) {
    const auto* h = reinterpret_cast<const Fft16Head*>(pSpec);
    inner = h->useFloatPlan ? h->innerPlan : 0;
    allocated = h->isAllocated;
  } else {
    const auto* h = reinterpret_cast<const FftWrapHead*>(pSpec);
    inner = h->innerPlan;
    allocated = h->isAllocated;
  }
  if (inner) Inner<I>::free(const_cast<I*>(at_offset<I>(pSpec, inner)));  // clears its tag; it owns no memory
  *tag = 0;
  if (allocated == 1) KPL_IMPL(kplsFree)(pSpec);
  return kplStsOk;
}

template <class P>
KplStatus get_buf_size(const P* pSpec, int* pBufferSize) {
  if (!pSpec || !pBufferSize) return kplStsNullPointer;
  if (*reinterpret_cast<const uint32_t*>(pSpec) != IntPlan<P>::kTag) return kplStsBadContext;
  int32_t work = 0;
  if constexpr (kIs16<P>) work = reinterpret_cast<const Fft16Head*>(pSpec)->workSize;
  else work = reinterpret_cast<const FftWrapHead*>(pSpec)->workSize;
  *pBufferSize = work >= 1 ? work + 32 : 0;
  return kplStsOk;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

#define KPL_INT_PLAN_ENTRIES(T)                                                                                        \
  KplStatus KPL_IMPL(kplsFFTGetSize_##T)(int order, int flag, KplHintAlgorithm hint, int* pSpecSize,                \
                                         int* pSpecBufferSize, int* pBufferSize) {                                  \
    return get_size<KplsFFTSpec_##T>(order, flag, hint, pSpecSize, pSpecBufferSize, pBufferSize);                    \
  }                                                                                                                  \
  KplStatus KPL_IMPL(kplsFFTInit_##T)(KplsFFTSpec_##T** ppSpec, int order, int flag, KplHintAlgorithm hint,         \
                                      Kpl8u* pMemSpec, Kpl8u* pMemInit) {                                            \
    return init<KplsFFTSpec_##T>(ppSpec, order, flag, hint, pMemSpec, pMemInit);                                     \
  }                                                                                                                  \
  KplStatus KPL_IMPL(kplsFFTInitAlloc_##T)(KplsFFTSpec_##T** ppSpec, int order, int flag, KplHintAlgorithm hint) {  \
    return init_alloc<KplsFFTSpec_##T>(ppSpec, order, flag, hint);                                                   \
  }                                                                                                                  \
  KplStatus KPL_IMPL(kplsFFTFree_##T)(KplsFFTSpec_##T* pSpec) { return free_plan(pSpec); }                          \
  KplStatus KPL_IMPL(kplsFFTGetBufSize_##T)(const KplsFFTSpec_##T* pSpec, int* pBufferSize) {                       \
    return get_buf_size(pSpec, pBufferSize);                                                                         \
  }

KPL_INT_PLAN_ENTRIES(C_16sc)
KPL_INT_PLAN_ENTRIES(C_16s)
KPL_INT_PLAN_ENTRIES(R_16s)
KPL_INT_PLAN_ENTRIES(C_32sc)
KPL_INT_PLAN_ENTRIES(C_32s)
KPL_INT_PLAN_ENTRIES(R_32s)
KPL_INT_PLAN_ENTRIES(R_16s32s)
