// Floating FFT plans: the published sizes at every order, the two orders of
// checks (GetSize and Init differ), tags, Free, GetBufSize, the normalisation
// factors, and a plan that stays inside the memory it was given.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "kpls.h"
#include "support/guarded.hpp"
#include "support/threads.hpp"

namespace {

using kpltest::Guarded;

// ---- the size formulas, written out independently ------------------------------
long long A(long long x) { return x / 32 * 32; }
long long A64(long long x) { return x / 64 * 64; }
long long Q(long long n) { return A(n + 35); }
struct Sz {
  long long spec, init, work;
  bool operator==(const Sz&) const = default;
};

// Large-path parts: S and W of the recursion, single (d = false) or double.
void large_parts(bool d, int o, long long& s, long long& w) {
  const int blk = d ? (o <= 20 ? 6 : 8) : (o <= 19 ? 4 : o == 20 ? 6 : 8);
  const int buf = d ? (o <= 20 ? 10 : 13) : (o <= 19 ? 10 : o == 20 ? 12 : 14);
  const int inner = o - blk;
  if (inner < (d ? 17 : 18)) {
    s = d ? A(16 * (1LL << inner) + 47) : A(8 * (1LL << inner) + 39);
    w = d ? A(16 * (1LL << inner) + 31) : A(8 * (1LL << inner) + 31);
  } else {
    large_parts(d, inner, s, w);
  }
  s += (d ? 8 : 4) * (1LL << o);
  w = std::max(w, (d ? 16 : 8) * (1LL << buf));
}

// The complex rows: spec without 128, init, work without 32.
Sz complex_row(bool d, int o) {
  const long long n = 1LL << o;
  if (o <= 5) return {0, 0, 0};
  long long s = 0, w = 0;
  if (!d) {
    const long long init = o >= 11 ? Q(n) + 32 : 0;
    if (o <= 12) return {Q(n) + A(8 * n + 39), init, A(8 * n + 31)};
    if (o <= 17) return {Q(n) + A(6 * n + 31) + A(2 * n + 39), init, A(8 * n + 31)};
    large_parts(false, o, s, w);
    if (o == 18) return {s + Q(n), init, w};
    return {s + 4 * (1LL << (o - 12)) + 4128, init, std::max(w, 65536LL)};
  }
  const long long init = o >= 11 ? A(2 * n + 39) + 32 : 0;
  if (o <= 11) return {Q(n) + A(16 * n + 47), init, A(16 * n + 31)};
  if (o <= 16) return {Q(n) + A(12 * n + 31) + A(4 * n + 47), init, A(16 * n + 31)};
  large_parts(true, o, s, w);
  if (o == 17) return {s + Q(n), init, w};
  return {s + 4 * (1LL << (o - 10)) + 1056, init, std::max(w, 32768LL)};
}

// What GetSize must report (the work with its 32, or 0).
Sz expected(char shape, bool d, int o) {
  const long long n = 1LL << o;
  const long long head = d ? 120 : 116;
  auto done = [](long long spec, long long init, long long work) { return Sz{spec, init, work > 0 ? work + 32 : 0}; };
  if (shape == 'C') {
    if (o <= 5) return {head, 0, 0};
    const Sz c = complex_row(d, o);
    return done(c.spec + 128, c.init, c.work);
  }
  if (o < (d ? 6 : 5)) return {head, 0, 0};
  const Sz c = complex_row(d, o - 1);
  long long rec = 0;
  if (!d) rec = o >= 19 ? A64(16 * (1LL << (o - 12)) + 16446) : A64(4 * n + 62);
  else rec = o >= 18 ? A64(32 * (1LL << (o - 11)) + 16446) : A64(8 * n + 62);
  long long init = 0;
  if (o >= 11) init = d ? A(2 * n + 39) + 32 : Q(n) + 32;
  return done(c.spec + rec + 128, init, c.work);
}

// ---- one table of the six plan types ----------------------------------------------
struct PlanType {
  const char* name;
  char shape;
  bool dbl;
  int max_order;
  Kpl32u tag;
  KplStatus (*get_size)(int, int, KplHintAlgorithm, int*, int*, int*);
  KplStatus (*init)(void**, int, int, KplHintAlgorithm, Kpl8u*, Kpl8u*);
  KplStatus (*init_alloc)(void**, int, int, KplHintAlgorithm);
  KplStatus (*free)(void*);
  KplStatus (*buf_size)(const void*, int*);
};

#define KPL_PLAN_TYPE(T, shape, dbl, max, tag)                                                        \
  PlanType {                                                                                         \
    #T, shape, dbl, max, tag, kplsFFTGetSize_##T,                                                    \
        [](void** p, int o, int f, KplHintAlgorithm h, Kpl8u* m, Kpl8u* i) {                         \
          return kplsFFTInit_##T(reinterpret_cast<KplsFFTSpec_##T**>(p), o, f, h, m, i);             \
        },                                                                                           \
        [](void** p, int o, int f, KplHintAlgorithm h) {                                             \
          return kplsFFTInitAlloc_##T(reinterpret_cast<KplsFFTSpec_##T**>(p), o, f, h);              \
        },                                                                                           \
        [](void* p) { return kplsFFTFree_##T(static_cast<KplsFFTSpec_##T*>(p)); },                   \
        [](const void* p, int* n) { return kplsFFTGetBufSize_##T(static_cast<const KplsFFTSpec_##T*>(p), n); } \
  }

const PlanType kTypes[] = {
    KPL_PLAN_TYPE(C_32fc, 'C', false, 28, 4), KPL_PLAN_TYPE(C_32f, 'C', false, 28, 5),
    KPL_PLAN_TYPE(R_32f, 'R', false, 29, 6),  KPL_PLAN_TYPE(C_64fc, 'C', true, 27, 7),
    KPL_PLAN_TYPE(C_64f, 'C', true, 27, 8),   KPL_PLAN_TYPE(R_64f, 'R', true, 28, 9),
};
const int kFlags[] = {KPL_FFT_DIV_FWD_BY_N, KPL_FFT_DIV_INV_BY_N, KPL_FFT_DIV_BY_SQRTN, KPL_FFT_NODIV_BY_ANY};

Kpl32u tag_at(const Kpl8u* mem) {
  Kpl32u t;
  std::memcpy(&t, mem + (-reinterpret_cast<uintptr_t>(mem) & 31), 4);
  return t;
}

TEST(FftPlanSizes, EveryOrderOfEveryType) {
  for (const PlanType& t : kTypes)
    for (int o = 0; o <= 30; ++o) {
      int s = -1, i = -1, w = -1;
      const KplStatus st = t.get_size(o, KPL_FFT_DIV_BY_SQRTN, kplAlgHintNone, &s, &i, &w);
      if (o > t.max_order) {
        EXPECT_EQ(st, kplStsBadFftOrder) << t.name << " order " << o;
        EXPECT_EQ(s, -1) << t.name << " order " << o;
        continue;
      }
      ASSERT_EQ(st, kplStsOk) << t.name << " order " << o;
      EXPECT_EQ((Sz{s, i, w}), expected(t.shape, t.dbl, o)) << t.name << " order " << o;
    }
}

// Init at every start offset of the plan memory, within exactly the published
// bytes: the guards around the spec and init blocks hold, GetBufSize reports the
// third size, and Free clears only the tag of an Init-built plan.
TEST(FftPlanSizes, PlanStaysInsideItsMemory) {
  for (const PlanType& t : kTypes)
    for (int o : {0, 1, 3, 5, 6, 7, 10, 11, 12, 13, 17, 18, 19, 20}) {
      int s = 0, i = 0, w = 0;
      ASSERT_EQ(t.get_size(o, KPL_FFT_DIV_FWD_BY_N, kplAlgHintNone, &s, &i, &w), kplStsOk);
      for (size_t off : {size_t{0}, size_t{1}, size_t{17}, size_t{31}}) {
        if (o >= 18 && off != 17) continue;  // keep the large ones cheap
        Guarded<Kpl8u> spec(static_cast<size_t>(s), off), init(static_cast<size_t>(i), off);
        void* plan = nullptr;
        ASSERT_EQ(t.init(&plan, o, KPL_FFT_DIV_FWD_BY_N, kplAlgHintFast, spec.data(), i ? init.data() : nullptr),
                  kplStsOk)
            << t.name << " order " << o;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(plan) & 31, 0u);
        EXPECT_EQ(static_cast<Kpl8u*>(plan) - spec.data(), static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(spec.data()) & 31));
        EXPECT_TRUE(spec.guards_intact()) << t.name << " order " << o << " offset " << off;
        EXPECT_TRUE(init.guards_intact()) << t.name << " order " << o << " offset " << off;
        int b = -1;
        EXPECT_EQ(t.buf_size(plan, &b), kplStsOk);
        EXPECT_EQ(b, w) << t.name << " order " << o;
        EXPECT_EQ(tag_at(spec.data()), t.tag);
        std::vector<uint8_t> before = spec.snapshot();
        EXPECT_EQ(t.free(plan), kplStsOk);
        std::vector<uint8_t> after = spec.snapshot();
        const size_t at = 64 + off + (-reinterpret_cast<uintptr_t>(spec.data()) & 31);  // guard lead + offset + align
        for (size_t k = 0; k < 4; ++k) after[at + k] = before[at + k];
        EXPECT_EQ(before, after) << "Free of an Init plan touches only the tag, " << t.name;
        EXPECT_EQ(tag_at(spec.data()), 0u);
        EXPECT_EQ(t.free(plan), kplStsBadContext) << t.name;
        EXPECT_EQ(t.buf_size(plan, &b), kplStsBadContext) << t.name;
      }
    }
}

// GetSize: order range, pointers, flag, maximum order. Init: pointer, order,
// memory, flag (tag left 0), temporary memory from order 11.
TEST(FftPlanChecks, GetSizeAndInitOrders) {
  for (const PlanType& t : kTypes) {
    int s = 0, i = 0, w = 0;
    struct { int order, flag; bool null; KplStatus want; } get_cases[] = {
        {-1, 1, false, kplStsBadFftOrder}, {31, 1, false, kplStsBadFftOrder},
        {31, 1, true, kplStsBadFftOrder},  {5, 1, true, kplStsNullPointer},
        {5, 3, true, kplStsNullPointer},   {5, 3, false, kplStsBadFftFlag},
        {5, 0, false, kplStsBadFftFlag},   {30, 3, false, kplStsBadFftFlag},
        {t.max_order + 1, 3, false, kplStsBadFftFlag}, {t.max_order + 1, 2, false, kplStsBadFftOrder},
    };
    for (auto c : get_cases) {
      EXPECT_EQ(t.get_size(c.order, c.flag, kplAlgHintNone, c.null ? nullptr : &s, &i, &w), c.want)
          << t.name << " order " << c.order << " flag " << c.flag;
      EXPECT_EQ(t.get_size(c.order, c.flag, kplAlgHintNone, &s, &i, c.null ? nullptr : &w), c.want) << t.name;
    }
    std::vector<Kpl8u> mem(1 << 16, 0xEE), tmp(1 << 14);
    void* p = nullptr;
    EXPECT_EQ(t.init(nullptr, 40, 3, kplAlgHintNone, nullptr, nullptr), kplStsNullPointer) << t.name;
    EXPECT_EQ(t.init(&p, t.max_order + 1, 3, kplAlgHintNone, nullptr, nullptr), kplStsBadFftOrder) << t.name;
    EXPECT_EQ(t.init(&p, -1, 1, kplAlgHintNone, mem.data(), nullptr), kplStsBadFftOrder) << t.name;
    EXPECT_EQ(t.init(&p, 4, 3, kplAlgHintNone, nullptr, nullptr), kplStsNullPointer) << t.name;
    EXPECT_EQ(p, nullptr);
    std::memset(mem.data(), 0xEE, mem.size());
    EXPECT_EQ(t.init(&p, 4, 3, kplAlgHintNone, mem.data(), nullptr), kplStsBadFftFlag) << t.name;
    EXPECT_EQ(tag_at(mem.data()), 0u) << "a failed Init leaves the tag 0, " << t.name;
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(t.init(&p, 11, 1, kplAlgHintNone, mem.data(), nullptr), kplStsNullPointer) << t.name;
    EXPECT_EQ(tag_at(mem.data()), 0u) << t.name;
    EXPECT_EQ(t.init(&p, 10, 1, kplAlgHintNone, mem.data(), nullptr), kplStsOk) << t.name;
    EXPECT_EQ(tag_at(mem.data()), t.tag);
    // InitAlloc: GetSize's order of checks, then a plan that Free releases.
    EXPECT_EQ(t.init_alloc(nullptr, 5, 1, kplAlgHintNone), kplStsNullPointer) << t.name;
    EXPECT_EQ(t.init_alloc(&p, 31, 3, kplAlgHintNone), kplStsBadFftOrder) << t.name;
    EXPECT_EQ(t.init_alloc(&p, t.max_order + 1, 3, kplAlgHintNone), kplStsBadFftFlag) << t.name;
    void* a = nullptr;
    ASSERT_EQ(t.init_alloc(&a, 12, 4, kplAlgHintNone), kplStsOk) << t.name;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a) & 31, 0u);
    EXPECT_EQ(t.free(a), kplStsOk);
    EXPECT_EQ(t.free(nullptr), kplStsNullPointer);
    int b = 0;
    EXPECT_EQ(t.buf_size(nullptr, &b), kplStsNullPointer);
    p = nullptr;
    ASSERT_EQ(t.init(&p, 6, 1, kplAlgHintNone, mem.data(), nullptr), kplStsOk);
    EXPECT_EQ(t.buf_size(p, nullptr), kplStsNullPointer);
  }
  // A plan of one type is refused by the operations of every other type.
  std::vector<Kpl8u> mem(4096);
  for (const PlanType& t : kTypes) {
    void* p = nullptr;
    ASSERT_EQ(t.init(&p, 3, 8, kplAlgHintNone, mem.data(), nullptr), kplStsOk);
    for (const PlanType& u : kTypes) {
      if (u.tag == t.tag) continue;
      int b = 0;
      EXPECT_EQ(u.buf_size(p, &b), kplStsBadContext) << t.name << " given to " << u.name;
      EXPECT_EQ(u.free(p), kplStsBadContext) << t.name << " given to " << u.name;
    }
  }
  // GetBufSize edge: order 5 needs no buffer, order 6 a(8*64+31)+32.
  int b = -1;
  KplsFFTSpec_C_32fc* p5 = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_32fc(&p5, 5, 1, kplAlgHintNone), kplStsOk);
  EXPECT_EQ(kplsFFTGetBufSize_C_32fc(p5, &b), kplStsOk);
  EXPECT_EQ(b, 0);
  kplsFFTFree_C_32fc(p5);
  ASSERT_EQ(kplsFFTInitAlloc_C_32fc(&p5, 6, 1, kplAlgHintNone), kplStsOk);
  EXPECT_EQ(kplsFFTGetBufSize_C_32fc(p5, &b), kplStsOk);
  EXPECT_EQ(b, (8 * 64 + 31) / 32 * 32 + 32);
  kplsFFTFree_C_32fc(p5);
}

// The factor reaches the output: the transform of a unit impulse at 0 is the
// factor in every bin. 1/N is exact; 1/sqrt(N) is exact for even orders and
// within one ulp for odd ones; no factor for the direction a flag leaves alone.
TEST(FftPlanNorm, FactorsByFlagAndDirection) {
  for (int o = 0; o <= 12; ++o) {
    const int n = 1 << o;
    for (int flag : kFlags) {
      KplsFFTSpec_C_32fc* ps = nullptr;
      KplsFFTSpec_C_64fc* pd = nullptr;
      ASSERT_EQ(kplsFFTInitAlloc_C_32fc(&ps, o, flag, kplAlgHintNone), kplStsOk);
      ASSERT_EQ(kplsFFTInitAlloc_C_64fc(&pd, o, flag, kplAlgHintNone), kplStsOk);
      for (bool inv : {false, true}) {
        const bool on = flag == KPL_FFT_DIV_BY_SQRTN || flag == (inv ? KPL_FFT_DIV_INV_BY_N : KPL_FFT_DIV_FWD_BY_N);
        const long double want =
            !on ? 1.0L : flag == KPL_FFT_DIV_BY_SQRTN ? 1.0L / std::sqrt(static_cast<long double>(n)) : 1.0L / n;
        std::vector<Kpl32fc> xs(n, Kpl32fc{0, 0}), ys(n);
        std::vector<Kpl64fc> xd(n, Kpl64fc{0, 0}), yd(n);
        xs[0].re = 1;
        xd[0].re = 1;
        ASSERT_EQ((inv ? kplsFFTInv_CToC_32fc : kplsFFTFwd_CToC_32fc)(xs.data(), ys.data(), ps, nullptr), kplStsOk);
        ASSERT_EQ((inv ? kplsFFTInv_CToC_64fc : kplsFFTFwd_CToC_64fc)(xd.data(), yd.data(), pd, nullptr), kplStsOk);
        const float fs = ys[n - 1].re;
        if (flag == KPL_FFT_DIV_BY_SQRTN && on && (o & 1))
          EXPECT_LE(std::fabs(fs - static_cast<float>(want)), std::nextafter(static_cast<float>(want), 1.0f) - static_cast<float>(want))
              << "order " << o;
        else
          EXPECT_EQ(fs, static_cast<float>(want)) << "order " << o << " flag " << flag << " inv " << inv;
        EXPECT_EQ(yd[n - 1].re, flag == KPL_FFT_DIV_BY_SQRTN && on ? 1.0 / std::sqrt(static_cast<double>(n))
                                                                   : static_cast<double>(want))
            << "order " << o << " flag " << flag;
        for (int k = 0; k < n; ++k) {
          ASSERT_EQ(ys[k].re, fs) << k;
          ASSERT_EQ(ys[k].im, 0.0f) << k;
          ASSERT_EQ(yd[k].re, yd[n - 1].re) << k;
        }
      }
      kplsFFTFree_C_32fc(ps);
      kplsFFTFree_C_64fc(pd);
    }
  }
}

}  // namespace
