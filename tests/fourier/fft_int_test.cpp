// Integer FFT plans and transforms: sizes of every plan at every order against the
// formulas (built here from the floating plans' sizes), the order of the checks,
// the plan lifecycle, and every transform against a long double DFT for orders
// 0..12 at several scale factors, out of place and in place, with and without a
// caller's buffer. The native 16-bit orders 1..3 are compared with the same
// reference under both hints.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <complex>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "kpls.h"
#include "support/guarded.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

using ld = long double;
using cld = std::complex<ld>;

constexpr int kFlags[] = {KPL_FFT_DIV_FWD_BY_N, KPL_FFT_DIV_INV_BY_N, KPL_FFT_DIV_BY_SQRTN, KPL_FFT_NODIV_BY_ANY};
constexpr KplHintAlgorithm kNone = kplAlgHintNone, kFast = kplAlgHintFast, kAccurate = kplAlgHintAccurate;

int a32(long long x) { return static_cast<int>(x & ~31LL); }

// ---- Sizes ----

struct Sz {
  KplStatus st;
  int spec, init, work;
};
using GetSizeFn = KplStatus (*)(int, int, KplHintAlgorithm, int*, int*, int*);
Sz sizes(GetSizeFn f, int order, int flag, KplHintAlgorithm hint) {
  Sz s{};
  s.st = f(order, flag, hint, &s.spec, &s.init, &s.work);
  return s;
}

struct SizePlan {
  const char* name;
  GetSizeFn own, inner;
  int kind;  // 0: 16-bit complex/split, 1: 16-bit real, 2: wrapper
  long long (*extra_work)(long long n);
};

// The integer plan's sizes from the inner floating plan's (hint none), or the
// native 16-bit rows.
Sz expected_sizes(const SizePlan& p, int order, int flag, KplHintAlgorithm hint) {
  const long long n = 1LL << order;
  if (p.kind != 2) {
    if (order == 0) return {kplStsOk, 84, 0, 0};
    if (order <= 3 && (hint == kNone || hint == kFast)) {
      if (p.kind == 1)
        return {kplStsOk, a32(4 * n + 31) + a32(n / 2 + 35) + a32(8 * n + 31) + 96, a32(n / 2 + 33) + 32,
                static_cast<int>(p.extra_work(n)) + 32};
      return {kplStsOk, a32(8 * n + 31) + a32(n + 35) + 96, a32(n / 2 + 33) + 32, static_cast<int>(p.extra_work(n)) + 32};
    }
  }
  Sz f = sizes(p.inner, order, flag, kNone);
  if (f.st != kplStsOk) return f;
  const long long work = f.work + p.extra_work(n) + 32;
  if (work > INT32_MAX) return {kplStsNoMemory, 0, 0, 0};  // not expressible in an int
  if (p.kind != 2) return {kplStsOk, f.spec + 96, f.init + 32, static_cast<int>(work)};
  return {kplStsOk, f.spec + 64, f.init ? f.init + 32 : 0, static_cast<int>(work)};
}

const std::vector<SizePlan>& size_plans() {
  static const std::vector<SizePlan> p = {
      {"C_16sc", kplsFFTGetSize_C_16sc, kplsFFTGetSize_C_32fc, 0, [](long long n) { return 8 * n; }},
      {"C_16s", kplsFFTGetSize_C_16s, kplsFFTGetSize_C_32f, 0, [](long long n) { return 8 * n; }},
      {"R_16s", kplsFFTGetSize_R_16s, kplsFFTGetSize_R_32f, 1, [](long long n) { return 4 * n + 8; }},
      {"C_32sc", kplsFFTGetSize_C_32sc, kplsFFTGetSize_C_64fc, 2, [](long long n) { return 16 * n; }},
      {"C_32s", kplsFFTGetSize_C_32s, kplsFFTGetSize_C_64f, 2, [](long long n) { return 16 * n; }},
      {"R_32s", kplsFFTGetSize_R_32s, kplsFFTGetSize_R_64f, 2, [](long long n) { return 8 * n + 16; }},
      {"R_16s32s", kplsFFTGetSize_R_16s32s, kplsFFTGetSize_R_32f, 2, [](long long n) { return 4 * n + 8; }},
  };
  return p;
}

TEST(FftIntSizes, EveryPlanEveryOrderMatchesFormulas) {
  for (const auto& p : size_plans())
    for (int order = 0; order <= 30; ++order)
      for (KplHintAlgorithm hint : {kNone, kFast, kAccurate, KplHintAlgorithm(99)})
        for (int flag : {KPL_FFT_DIV_INV_BY_N, KPL_FFT_DIV_BY_SQRTN}) {
          Sz want = expected_sizes(p, order, flag, hint);
          // the native C_16s work holds both halves and their merged form
          if (std::string(p.name) == "C_16s" && order >= 1 && order <= 3 && (hint == kNone || hint == kFast))
            want.work = 12 * (1 << order) + 32;
          const Sz got = sizes(p.own, order, flag, hint);
          ASSERT_EQ(got.st, want.st) << p.name << " order " << order << " hint " << hint;
          if (got.st == kplStsOk) {
            EXPECT_TRUE(got.spec == want.spec && got.init == want.init && got.work == want.work)
                << p.name << " order " << order << " hint " << hint << ": " << got.spec << "/" << got.init << "/"
                << got.work << " want " << want.spec << "/" << want.init << "/" << want.work;
          }
        }
}

TEST(FftIntSizes, GetSizeChecksInOrder) {
  int a, b, c;
  for (const auto& p : size_plans()) {
    EXPECT_EQ(p.own(-1, 77, kNone, nullptr, &b, &c), kplStsBadFftOrder) << p.name;  // range first
    EXPECT_EQ(p.own(31, 2, kNone, &a, &b, &c), kplStsBadFftOrder) << p.name;
    EXPECT_EQ(p.own(3, 77, kNone, &a, nullptr, &c), kplStsNullPointer) << p.name;  // pointers before the flag
    EXPECT_EQ(p.own(3, 77, kNone, &a, &b, nullptr), kplStsNullPointer) << p.name;
    for (KplHintAlgorithm h : {kNone, kAccurate}) {
      EXPECT_EQ(p.own(0, 3, h, &a, &b, &c), kplStsBadFftFlag) << p.name;
      EXPECT_EQ(p.own(2, 0, h, &a, &b, &c), kplStsBadFftFlag) << p.name;
      EXPECT_EQ(p.own(12, 16, h, &a, &b, &c), kplStsBadFftFlag) << p.name;
    }
  }
  // above the plan's maximum: the flag is tested first
  EXPECT_EQ(kplsFFTGetSize_C_16sc(29, 3, kNone, &a, &b, &c), kplStsBadFftFlag);
  EXPECT_EQ(kplsFFTGetSize_C_16sc(29, 2, kNone, &a, &b, &c), kplStsBadFftOrder);
  EXPECT_EQ(kplsFFTGetSize_C_32sc(28, 2, kNone, &a, &b, &c), kplStsBadFftOrder);
  EXPECT_EQ(kplsFFTGetSize_R_16s32s(28, 2, kNone, &a, &b, &c), kplStsOk);
  // the top orders need a work buffer of 2 GiB or more, which no int can state
  EXPECT_EQ(kplsFFTGetSize_C_32sc(27, 2, kNone, &a, &b, &c), kplStsNoMemory);
  EXPECT_EQ(kplsFFTGetSize_R_16s(29, 2, kAccurate, &a, &b, &c), kplStsNoMemory);
  EXPECT_EQ(kplsFFTGetSize_R_16s32s(29, 2, kNone, &a, &b, &c), kplStsNoMemory);
  std::vector<uint8_t> small(256);
  KplsFFTSpec_C_32s* p = nullptr;
  EXPECT_EQ(kplsFFTInit_C_32s(&p, 27, 2, kNone, small.data(), small.data()), kplStsNoMemory);  // before any table
  EXPECT_EQ(kplsFFTInitAlloc_C_32s(&p, 27, 2, kNone), kplStsNoMemory);
  EXPECT_EQ(p, nullptr);
}

// ---- Plans in caller memory ----

// Builds a plan in exactly the memory GetSize asks for, at an odd address, and
// checks that Init stays inside it.
template <class P>
struct Built {
  std::unique_ptr<Guarded<uint8_t>> spec, init;
  P* plan = nullptr;
  KplStatus st = kplStsOk;
};
template <class P>
Built<P> build(KplStatus (*get)(int, int, KplHintAlgorithm, int*, int*, int*),
               KplStatus (*init)(P**, int, int, KplHintAlgorithm, Kpl8u*, Kpl8u*), int order, int flag,
               KplHintAlgorithm hint, size_t offset) {
  Built<P> b;
  int s = 0, i = 0, w = 0;
  b.st = get(order, flag, hint, &s, &i, &w);
  if (b.st != kplStsOk) return b;
  b.spec = std::make_unique<Guarded<uint8_t>>(s, offset);
  b.init = std::make_unique<Guarded<uint8_t>>(i, (offset * 7) % 32);
  b.st = init(&b.plan, order, flag, hint, b.spec->data(), i ? b.init->data() : nullptr);
  return b;
}

TEST(FftIntPlans, InitStaysInsideTheSizesAndChecksInOrder) {
  for (int order = 0; order <= 12; ++order)
    for (size_t off : {0u, 1u, 13u, 31u}) {
      for (KplHintAlgorithm h : {kNone, kAccurate}) {
        auto a = build(kplsFFTGetSize_C_16sc, kplsFFTInit_C_16sc, order, 4, h, off);
        ASSERT_EQ(a.st, kplStsOk) << order;
        EXPECT_TRUE(a.spec->guards_intact() && a.init->guards_intact()) << "C_16sc " << order;
        auto r = build(kplsFFTGetSize_R_16s, kplsFFTInit_R_16s, order, 1, h, off);
        ASSERT_EQ(r.st, kplStsOk) << order;
        EXPECT_TRUE(r.spec->guards_intact() && r.init->guards_intact()) << "R_16s " << order;
      }
      auto c = build(kplsFFTGetSize_C_32sc, kplsFFTInit_C_32sc, order, 2, kNone, off);
      ASSERT_EQ(c.st, kplStsOk);
      EXPECT_TRUE(c.spec->guards_intact() && c.init->guards_intact()) << "C_32sc " << order;
      // the plan works from the caller's memory: an impulse gives a flat spectrum
      std::vector<Kpl32sc> x(1 << order, Kpl32sc{0, 0});
      x[0] = Kpl32sc{7, -3};
      ASSERT_EQ(kplsFFTFwd_CToC_32sc_ISfs(x.data(), c.plan, 0, nullptr), kplStsOk);
      for (const auto& v : x) EXPECT_TRUE(v.re == 7 && v.im == -3) << "C_32sc impulse " << order;
      auto s = build(kplsFFTGetSize_C_32s, kplsFFTInit_C_32s, order, 8, kNone, off);
      ASSERT_EQ(s.st, kplStsOk);
      EXPECT_TRUE(s.spec->guards_intact()) << "C_32s " << order;
      auto m = build(kplsFFTGetSize_R_16s32s, kplsFFTInit_R_16s32s, order, 2, kNone, off);
      ASSERT_EQ(m.st, kplStsOk);
      EXPECT_TRUE(m.spec->guards_intact()) << "R_16s32s " << order;
    }

  std::vector<uint8_t> mem(1 << 16), tmp(1 << 16);
  KplsFFTSpec_C_32sc* p = nullptr;
  EXPECT_EQ(kplsFFTInit_C_32sc(nullptr, 40, 77, kNone, nullptr, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTInit_C_32sc(&p, 31, 2, kNone, nullptr, nullptr), kplStsBadFftOrder);
  EXPECT_EQ(kplsFFTInit_C_32sc(&p, 3, 2, kNone, nullptr, tmp.data()), kplStsNullPointer);
  // the wrapper tests 0..30 itself, then the flag; the inner plan reports the rest
  EXPECT_EQ(kplsFFTInit_C_32sc(&p, 29, 3, kNone, mem.data(), tmp.data()), kplStsBadFftFlag);
  EXPECT_EQ(kplsFFTInit_C_32sc(&p, 29, 2, kNone, mem.data(), tmp.data()), kplStsBadFftOrder);
  EXPECT_EQ(kplsFFTInit_C_32sc(&p, 11, 2, kNone, mem.data(), nullptr), kplStsNullPointer);
  EXPECT_EQ(p, nullptr);  // no failed Init hands out a plan
  KplsFFTSpec_C_16sc* q = nullptr;
  EXPECT_EQ(kplsFFTInit_C_16sc(&q, 29, 16, kNone, mem.data(), tmp.data()), kplStsBadFftFlag);
  EXPECT_EQ(kplsFFTInit_C_16sc(&q, 29, 1, kNone, mem.data(), tmp.data()), kplStsBadFftOrder);
  EXPECT_EQ(kplsFFTInit_C_16sc(&q, 2, 5, kFast, mem.data(), tmp.data()), kplStsBadFftFlag);
  int buf = -1;
  // a failed Init leaves the tag 0: the record is no plan
  EXPECT_EQ(kplsFFTGetBufSize_C_16sc(reinterpret_cast<KplsFFTSpec_C_16sc*>(mem.data() + (-reinterpret_cast<uintptr_t>(mem.data()) & 31)), &buf),
            kplStsBadContext);
  // the native orders build their Q14 tables without temporary memory
  ASSERT_EQ(kplsFFTInit_C_16sc(&q, 3, 1, kNone, mem.data(), nullptr), kplStsOk);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(q) & 31, 0u);
}

TEST(FftIntPlans, FreeGetBufSizeAndTags) {
  KplsFFTSpec_R_32s* r = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_R_32s(&r, 6, 2, kNone), kplStsOk);
  int s, i, w, got = -1;
  ASSERT_EQ(kplsFFTGetSize_R_32s(6, 2, kNone, &s, &i, &w), kplStsOk);
  ASSERT_EQ(kplsFFTGetBufSize_R_32s(r, &got), kplStsOk);
  EXPECT_EQ(got, w);
  EXPECT_EQ(kplsFFTGetBufSize_R_32s(nullptr, &got), kplStsNullPointer);
  EXPECT_EQ(kplsFFTGetBufSize_R_32s(r, nullptr), kplStsNullPointer);
  // a plan of another type is refused by its tag
  EXPECT_EQ(kplsFFTGetBufSize_C_32s(reinterpret_cast<KplsFFTSpec_C_32s*>(r), &got), kplStsBadContext);
  EXPECT_EQ(kplsFFTFree_C_32s(reinterpret_cast<KplsFFTSpec_C_32s*>(r)), kplStsBadContext);
  EXPECT_EQ(kplsFFTFree_R_32s(nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTFree_R_32s(r), kplStsOk);

  // 16-bit order 0: no tables, no work
  KplsFFTSpec_C_16s* c = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_16s(&c, 0, 4, kAccurate), kplStsOk);
  ASSERT_EQ(kplsFFTGetBufSize_C_16s(c, &got), kplStsOk);
  EXPECT_EQ(got, 0);
  EXPECT_EQ(kplsFFTFree_C_16s(c), kplStsOk);

  // Free of a plan built with Init clears the tag and leaves the memory alone
  std::vector<uint8_t> mem(4096);
  KplsFFTSpec_C_16sc* q = nullptr;
  ASSERT_EQ(kplsFFTInit_C_16sc(&q, 2, 8, kFast, mem.data(), nullptr), kplStsOk);
  ASSERT_EQ(kplsFFTGetBufSize_C_16sc(q, &got), kplStsOk);
  EXPECT_EQ(got, 8 * 4 + 32);
  EXPECT_EQ(kplsFFTFree_C_16sc(q), kplStsOk);
  EXPECT_EQ(kplsFFTFree_C_16sc(q), kplStsBadContext);
  EXPECT_EQ(kplsFFTGetBufSize_C_16sc(q, &got), kplStsBadContext);
  Kpl16sc x[4] = {};
  EXPECT_EQ(kplsFFTFwd_CToC_16sc_Sfs(x, x, q, 0, nullptr), kplStsBadContext);
}

// ---- Reference ----

// Every bin for small orders, a spread of bins above, so the set stays fast.
std::vector<int> bins_of(int n) {
  std::vector<int> b;
  if (n <= 512) {
    for (int k = 0; k < n; ++k) b.push_back(k);
  } else {
    for (int k = 0; k < 16; ++k) b.push_back(k);
    for (int k = n / 2 - 8; k < n / 2 + 8; ++k) b.push_back(k);
    for (int k = n - 16; k < n; ++k) b.push_back(k);
    for (int k = 37; k < n; k += n / 16 + 1) b.push_back(k);
  }
  return b;
}

ld norm_of(int flag, int order, bool inverse) {
  const ld n = std::ldexp(1.0L, order);
  if (flag == KPL_FFT_DIV_BY_SQRTN) return 1 / std::sqrt(n);
  if ((flag == KPL_FFT_DIV_FWD_BY_N && !inverse) || (flag == KPL_FFT_DIV_INV_BY_N && inverse)) return 1 / n;
  return 1;
}

// `got` lies within `tol` of the true value v, both saturated to [lo, hi].
bool within(long long got, ld v, ld tol, long long lo, long long hi) {
  const ld a = std::max<ld>(lo, std::min<ld>(hi, v - tol));
  const ld b = std::max<ld>(lo, std::min<ld>(hi, v + tol));
  return got >= a && got <= b;
}

// Bound of the error of a floating FFT of N points, per output: half a unit for
// rounding to nearest, plus the normwise bound 2 eps log2(2N) sqrt(N) |x|_2 of
// the floating transform (in output units).
ld tolerance(ld eps, int order, ld l2, ld scale) {
  return 0.5L + 2 * eps * (order + 1) * std::sqrt(std::ldexp(1.0L, order)) * l2 * scale;
}

constexpr ld kEps32 = 0x1p-24L, kEps64 = 0x1p-53L;

// The native Q14 engine (asked for by a negative eps): its only sizeable error
// is the quantisation of 1/sqrt(2) and sqrt(2) to 14 bits (relative 2.1e-5 and
// 1.1e-5) on values bounded by the L1 norm of the input, plus the final rounding
// and the low bits the split products drop.
constexpr ld kQ14 = -1;
ld tolerance_for(ld eps, int order, ld l2, ld l1, ld scale) {
  return eps < 0 ? 1.5L + 6e-5L * l1 * scale : tolerance(eps, order, l2, scale);
}

// ---- Complex transforms ----

// One complex plan family through a uniform interface: interleaved values in,
// interleaved values out (the split forms are joined and dealt by the test).
template <class E>
struct ComplexCase {
  const char* name;
  std::function<void*(int order, int flag, KplHintAlgorithm hint)> make;
  std::function<void(void*)> release;
  std::function<int(void*)> bufsize;
  // (src re/im interleaved, dst, plan, sf, buffer, inverse, in_place)
  std::function<KplStatus(const std::vector<E>&, std::vector<E>&, void*, int, Kpl8u*, bool, bool)> run;
  ld eps;
  long long lo, hi;
};

template <class Spec>
std::function<void*(int, int, KplHintAlgorithm)> maker(KplStatus (*alloc)(Spec**, int, int, KplHintAlgorithm)) {
  return [alloc](int o, int f, KplHintAlgorithm h) -> void* {
    Spec* p = nullptr;
    return alloc(&p, o, f, h) == kplStsOk ? p : nullptr;
  };
}
template <class Spec>
std::function<void(void*)> releaser(KplStatus (*fr)(Spec*)) {
  return [fr](void* p) { fr(static_cast<Spec*>(p)); };
}

// What every complex case shares: the plan's lifecycle and the element range.
template <class E, class Spec>
ComplexCase<E> plan_case(const char* name, KplStatus (*alloc)(Spec**, int, int, KplHintAlgorithm), KplStatus (*fr)(Spec*),
                         KplStatus (*bs)(const Spec*, int*), ld eps) {
  ComplexCase<E> c;
  c.name = name;
  c.make = maker(alloc);
  c.release = releaser(fr);
  c.bufsize = [bs](void* p) { int b = -1; bs(static_cast<Spec*>(p), &b); return b; };
  c.eps = eps;
  c.lo = std::numeric_limits<E>::min();
  c.hi = std::numeric_limits<E>::max();
  return c;
}

template <class E, class C, class Spec>
ComplexCase<E> interleaved_case(const char* name, KplStatus (*alloc)(Spec**, int, int, KplHintAlgorithm),
                                KplStatus (*fr)(Spec*), KplStatus (*bs)(const Spec*, int*),
                                KplStatus (*fwd)(const C*, C*, const Spec*, int, Kpl8u*),
                                KplStatus (*fwdi)(C*, const Spec*, int, Kpl8u*),
                                KplStatus (*inv)(const C*, C*, const Spec*, int, Kpl8u*),
                                KplStatus (*invi)(C*, const Spec*, int, Kpl8u*), ld eps) {
  ComplexCase<E> c = plan_case<E>(name, alloc, fr, bs, eps);
  c.run = [=](const std::vector<E>& src, std::vector<E>& dst, void* p, int sf, Kpl8u* buf, bool inverse, bool in_place) {
    const size_t n = src.size() / 2;
    Guarded<C> s(n, 3), d(n, 5);
    std::memcpy(static_cast<void*>(s.data()), src.data(), n * sizeof(C));
    const auto s0 = s.snapshot();
    const Spec* plan = static_cast<const Spec*>(p);
    KplStatus st;
    if (in_place) {
      st = inverse ? invi(s.data(), plan, sf, buf) : fwdi(s.data(), plan, sf, buf);
      EXPECT_TRUE(s.guards_intact()) << "guards";
      std::memcpy(dst.data(), static_cast<void*>(s.data()), n * sizeof(C));
    } else {
      st = inverse ? inv(s.data(), d.data(), plan, sf, buf) : fwd(s.data(), d.data(), plan, sf, buf);
      EXPECT_TRUE(d.guards_intact() && s.unchanged_since(s0)) << "guards or source";
      std::memcpy(dst.data(), static_cast<void*>(d.data()), n * sizeof(C));
    }
    return st;
  };
  return c;
}

template <class E, class Spec>
ComplexCase<E> split_case(const char* name, KplStatus (*alloc)(Spec**, int, int, KplHintAlgorithm), KplStatus (*fr)(Spec*),
                          KplStatus (*bs)(const Spec*, int*),
                          KplStatus (*fwd)(const E*, const E*, E*, E*, const Spec*, int, Kpl8u*),
                          KplStatus (*fwdi)(E*, E*, const Spec*, int, Kpl8u*),
                          KplStatus (*inv)(const E*, const E*, E*, E*, const Spec*, int, Kpl8u*),
                          KplStatus (*invi)(E*, E*, const Spec*, int, Kpl8u*), ld eps) {
  ComplexCase<E> c = plan_case<E>(name, alloc, fr, bs, eps);
  c.run = [=](const std::vector<E>& src, std::vector<E>& dst, void* p, int sf, Kpl8u* buf, bool inverse, bool in_place) {
    const size_t n = src.size() / 2;
    Guarded<E> re(n, 1), im(n, 6), ore(n, 2), oim(n, 9);
    for (size_t i = 0; i < n; ++i) re[i] = src[2 * i], im[i] = src[2 * i + 1];
    const Spec* plan = static_cast<const Spec*>(p);
    KplStatus st;
    E *r = re.data(), *m = im.data();
    if (in_place) {
      st = inverse ? invi(r, m, plan, sf, buf) : fwdi(r, m, plan, sf, buf);
    } else {
      st = inverse ? inv(r, m, ore.data(), oim.data(), plan, sf, buf) : fwd(r, m, ore.data(), oim.data(), plan, sf, buf);
      r = ore.data(), m = oim.data();
    }
    EXPECT_TRUE(re.guards_intact() && im.guards_intact() && ore.guards_intact() && oim.guards_intact());
    for (size_t i = 0; i < n; ++i) dst[2 * i] = r[i], dst[2 * i + 1] = m[i];
    return st;
  };
  return c;
}

template <class E>
void check_complex(const ComplexCase<E>& c, int order, int flag, KplHintAlgorithm hint, int sf, ld eps, uint64_t seed,
                   bool fill_extremes = false) {
  const int n = 1 << order;
  void* plan = c.make(order, flag, hint);
  ASSERT_NE(plan, nullptr) << c.name << " order " << order;
  std::vector<E> src(2 * n), a(2 * n), b(2 * n);
  Rng rng(seed);
  // amplitude: 16-bit full scale, 32-bit kept so that the sums stay exact in double
  const ld amp = sizeof(E) == 2 ? 32767 : 1 << 26;
  for (auto& v : src) v = fill_extremes ? static_cast<E>(rng.next() & 1 ? c.hi : c.lo) : static_cast<E>(rng.uniform(-amp, amp));
  std::vector<cld> x(n);
  ld l2 = 0, l1 = 0;
  for (int i = 0; i < n; ++i) x[i] = cld(src[2 * i], src[2 * i + 1]), l2 += std::norm(x[i]), l1 += std::abs(ld(src[2 * i])) + std::abs(ld(src[2 * i + 1]));
  l2 = std::sqrt(l2);
  const int bs = c.bufsize(plan);
  std::vector<Kpl8u> buffer(bs + 8);  // used from an odd address
  const auto bins = bins_of(n);
  for (bool inverse : {false, true}) {
    const auto want = dft(x, inverse, bins);
    const ld scale = norm_of(flag, order, inverse) * std::ldexp(1.0L, -sf);
    const ld tol = tolerance_for(eps, order, l2, l1, scale);
    const std::string what = std::string(c.name) + " order " + std::to_string(order) + " flag " + std::to_string(flag) +
                             " hint " + std::to_string(hint) + " sf " + std::to_string(sf) + (inverse ? " inv" : " fwd");
    ASSERT_EQ(c.run(src, a, plan, sf, nullptr, inverse, false), kplStsOk) << what;
    ASSERT_EQ(c.run(src, b, plan, sf, buffer.data() + 7, inverse, true), kplStsOk) << what;
    EXPECT_EQ(a, b) << what << ": in place differs";
    int bad = 0;
    for (int k : bins) {
      const cld v = want[k] * scale;
      if (!within(a[2 * k], v.real(), tol, c.lo, c.hi) || !within(a[2 * k + 1], v.imag(), tol, c.lo, c.hi)) {
        if (++bad <= 3)
          ADD_FAILURE() << what << " bin " << k << ": got (" << a[2 * k] << ", " << a[2 * k + 1] << ") want ("
                        << static_cast<double>(v.real()) << ", " << static_cast<double>(v.imag()) << ") tol "
                        << static_cast<double>(tol);
      }
    }
  }
  c.release(plan);
}

std::vector<ComplexCase<Kpl16s>> cases16() {
  return {interleaved_case<Kpl16s>("C_16sc", kplsFFTInitAlloc_C_16sc, kplsFFTFree_C_16sc, kplsFFTGetBufSize_C_16sc,
                                   kplsFFTFwd_CToC_16sc_Sfs, kplsFFTFwd_CToC_16sc_ISfs, kplsFFTInv_CToC_16sc_Sfs,
                                   kplsFFTInv_CToC_16sc_ISfs, kEps32),
          split_case<Kpl16s>("C_16s", kplsFFTInitAlloc_C_16s, kplsFFTFree_C_16s, kplsFFTGetBufSize_C_16s,
                             kplsFFTFwd_CToC_16s_Sfs, kplsFFTFwd_CToC_16s_ISfs, kplsFFTInv_CToC_16s_Sfs,
                             kplsFFTInv_CToC_16s_ISfs, kEps32)};
}
std::vector<ComplexCase<Kpl32s>> cases32() {
  return {interleaved_case<Kpl32s>("C_32sc", kplsFFTInitAlloc_C_32sc, kplsFFTFree_C_32sc, kplsFFTGetBufSize_C_32sc,
                                   kplsFFTFwd_CToC_32sc_Sfs, kplsFFTFwd_CToC_32sc_ISfs, kplsFFTInv_CToC_32sc_Sfs,
                                   kplsFFTInv_CToC_32sc_ISfs, kEps64),
          split_case<Kpl32s>("C_32s", kplsFFTInitAlloc_C_32s, kplsFFTFree_C_32s, kplsFFTGetBufSize_C_32s,
                             kplsFFTFwd_CToC_32s_Sfs, kplsFFTFwd_CToC_32s_ISfs, kplsFFTInv_CToC_32s_Sfs,
                             kplsFFTInv_CToC_32s_ISfs, kEps64)};
}

TEST(FftIntComplex, ThroughFloatingMatchesLongDoubleDft) {
  for (int order = 0; order <= 12; ++order) {
    const int sfs[] = {-3, 0, order / 2, order + 2};
    for (int i = 0; i < 4; ++i) {
      const int flag = kFlags[(order + i) % 4];
      // above order 3 every hint goes through single precision
      const KplHintAlgorithm h = (order > 3 && i % 2) ? kNone : kAccurate;
      for (const auto& c : cases16()) check_complex(c, order, flag, h, sfs[i], kEps32, 11 * order + i);
      for (const auto& c : cases32()) check_complex(c, order, flag, kNone, sfs[i] + 10, kEps64, 13 * order + i);
    }
  }
  // full-scale extremes saturate rather than wrap
  for (const auto& c : cases32()) check_complex(c, 4, KPL_FFT_NODIV_BY_ANY, kNone, 0, kEps64, 5, true);
  for (const auto& c : cases16()) check_complex(c, 5, KPL_FFT_NODIV_BY_ANY, kAccurate, -2, kEps32, 6, true);
}

// The native Q14 engine against the reference within the bound of tolerance_for;
// the accurate hint goes through single precision at the same orders.
TEST(FftIntNative, Q14OrdersCloseToReferenceUnderEveryHint) {
  for (int order = 0; order <= 3; ++order)
    for (int flag : kFlags)
      for (KplHintAlgorithm h : {kNone, kFast, kAccurate})
        for (int sf : {-2, 0, 1, 3})
          for (const auto& c : cases16()) {
            const ld eps = (h == kAccurate || order == 0) ? kEps32 : kQ14;
            check_complex(c, order, flag, h, sf, eps, 100 * order + sf + 7);
            check_complex(c, order, flag, h, sf, eps, 100 * order + sf + 8, true);
          }
}

TEST(FftIntNative, DocumentedEdges) {
  KplsFFTSpec_C_16sc* p0 = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_16sc(&p0, 0, KPL_FFT_DIV_FWD_BY_N, kNone), kplStsOk);
  struct { Kpl16sc x; int sf; Kpl16sc want; } order0[] = {
      {{-32768, 1234}, 0, {-32768, 1234}},   // the one value, factor 1
      {{3, -3}, 1, {2, -1}},                 // 1.5 -> 2, -1.5 -> -1: (x + 2^(s-1)) >> s
      {{5, -5}, 2, {1, -1}},
      {{300, -300}, -7, {32767, -32768}},    // shifted up and saturated
      {{1, -1}, -31, {32767, -32768}},
      {{1, -1}, -32, {0, 0}},                // a left shift of 32 or more gives 0
  };
  for (auto c : order0) {
    Kpl16sc d{};
    ASSERT_EQ(kplsFFTFwd_CToC_16sc_Sfs(&c.x, &d, p0, c.sf, nullptr), kplStsOk);
    EXPECT_TRUE(d.re == c.want.re && d.im == c.want.im) << c.x.re << " sf " << c.sf << ": " << d.re << "," << d.im;
  }
  kplsFFTFree_C_16sc(p0);
  // order 1, no division: x0 + x1 rounds half up through the final shift
  KplsFFTSpec_C_16sc* p1 = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_16sc(&p1, 1, KPL_FFT_NODIV_BY_ANY, kFast), kplStsOk);
  const Kpl16sc x[2] = {{1, -1}, {0, 0}};
  Kpl16sc d[2];
  ASSERT_EQ(kplsFFTFwd_CToC_16sc_Sfs(x, d, p1, 1, nullptr), kplStsOk);
  EXPECT_TRUE(d[0].re == 1 && d[0].im == 0 && d[1].re == 1 && d[1].im == 0);  // 0.5 -> 1, -0.5 -> 0
  kplsFFTFree_C_16sc(p1);
}

// ---- Real transforms ----

enum class Fmt { kPerm, kPack, kCcs };

// Packed values of a real spectrum X[0..n/2].
template <class V>
std::vector<V> pack(Fmt f, const std::vector<V>& re, const std::vector<V>& im, int n) {
  std::vector<V> p;
  p.push_back(re[0]);
  if (f == Fmt::kCcs) p.push_back(0);
  if (f == Fmt::kPerm && n % 2 == 0 && n > 1) p.push_back(re[n / 2]);
  for (int k = 1; 2 * k < n; ++k) p.push_back(re[k]), p.push_back(im[k]);
  if (n % 2 == 0 && n > 1 && f != Fmt::kPerm) p.push_back(re[n / 2]);
  if (f == Fmt::kCcs && n % 2 == 0) p.push_back(0);
  return p;
}

struct RealCase {
  const char* name;
  Fmt fmt;
  int in_bytes, out_bytes;  // element sizes of time and spectrum
  std::function<void*(int, int, KplHintAlgorithm)> make;
  std::function<void(void*)> release;
  // run(src values as long long, order, plan, sf, buffer, inverse, in_place) -> values
  std::function<KplStatus(const std::vector<long long>&, std::vector<long long>&, void*, int, Kpl8u*, bool, bool)> run;
  ld eps;
};

// Runs one real transform: time type T, spectrum type S, the input given and the
// output returned as plain integers, guards around every vector. In place means
// the in-place form on a vector with room for the longer side.
template <class In, class Out, class Call>
KplStatus run_guarded(const std::vector<long long>& src, std::vector<long long>& dst, Call&& call) {
  Guarded<In> s(src.size(), 3);
  Guarded<Out> d(dst.size(), 11);
  for (size_t i = 0; i < src.size(); ++i) s[i] = static_cast<In>(src[i]);
  const auto s0 = s.snapshot();
  const KplStatus st = call(s.data(), d.data());
  EXPECT_TRUE(d.guards_intact() && s.unchanged_since(s0));
  for (size_t i = 0; i < dst.size(); ++i) dst[i] = d[i];
  return st;
}
template <class T, class Call>
KplStatus run_in_place(const std::vector<long long>& src, std::vector<long long>& dst, Call&& call) {
  Guarded<T> v(std::max(src.size(), dst.size()), 7);
  for (size_t i = 0; i < src.size(); ++i) v[i] = static_cast<T>(src[i]);
  const KplStatus st = call(v.data());
  EXPECT_TRUE(v.guards_intact());
  for (size_t i = 0; i < dst.size(); ++i) dst[i] = v[i];
  return st;
}

template <class T, class S, class Spec>
std::function<KplStatus(const std::vector<long long>&, std::vector<long long>&, void*, int, Kpl8u*, bool, bool)> real_runner(
    KplStatus (*fwd)(const T*, S*, const Spec*, int, Kpl8u*), KplStatus (*fwdi)(T*, const Spec*, int, Kpl8u*),
    KplStatus (*inv)(const S*, T*, const Spec*, int, Kpl8u*), KplStatus (*invi)(T*, const Spec*, int, Kpl8u*)) {
  return [=](const std::vector<long long>& src, std::vector<long long>& dst, void* p, int sf, Kpl8u* buf, bool inverse,
             bool in_place) {
    const Spec* plan = static_cast<const Spec*>(p);
    auto in = [&](auto f) { return [&, f](T* v) { return f(v, plan, sf, buf); }; };
    if (!inverse) {
      if (in_place && fwdi) return run_in_place<T>(src, dst, in(fwdi));
      return run_guarded<T, S>(src, dst, [&](const T* a, S* b) { return fwd(a, b, plan, sf, buf); });
    }
    if (in_place && invi) return run_in_place<T>(src, dst, in(invi));
    return run_guarded<S, T>(src, dst, [&](const S* a, T* b) { return inv(a, b, plan, sf, buf); });
  };
}

std::vector<RealCase> real_cases() {
  using K16 = KplsFFTSpec_R_16s;
  using K32 = KplsFFTSpec_R_32s;
  return {
      {"R_16s Perm", Fmt::kPerm, 2, 2, maker(kplsFFTInitAlloc_R_16s), releaser(kplsFFTFree_R_16s),
       real_runner<Kpl16s, Kpl16s, K16>(kplsFFTFwd_RToPerm_16s_Sfs, kplsFFTFwd_RToPerm_16s_ISfs, kplsFFTInv_PermToR_16s_Sfs, kplsFFTInv_PermToR_16s_ISfs), kEps32},
      {"R_16s Pack", Fmt::kPack, 2, 2, maker(kplsFFTInitAlloc_R_16s), releaser(kplsFFTFree_R_16s),
       real_runner<Kpl16s, Kpl16s, K16>(kplsFFTFwd_RToPack_16s_Sfs, kplsFFTFwd_RToPack_16s_ISfs, kplsFFTInv_PackToR_16s_Sfs, kplsFFTInv_PackToR_16s_ISfs), kEps32},
      {"R_16s CCS", Fmt::kCcs, 2, 2, maker(kplsFFTInitAlloc_R_16s), releaser(kplsFFTFree_R_16s),
       real_runner<Kpl16s, Kpl16s, K16>(kplsFFTFwd_RToCCS_16s_Sfs, kplsFFTFwd_RToCCS_16s_ISfs, kplsFFTInv_CCSToR_16s_Sfs, kplsFFTInv_CCSToR_16s_ISfs), kEps32},
      {"R_32s Perm", Fmt::kPerm, 4, 4, maker(kplsFFTInitAlloc_R_32s), releaser(kplsFFTFree_R_32s),
       real_runner<Kpl32s, Kpl32s, K32>(kplsFFTFwd_RToPerm_32s_Sfs, kplsFFTFwd_RToPerm_32s_ISfs, kplsFFTInv_PermToR_32s_Sfs, kplsFFTInv_PermToR_32s_ISfs), kEps64},
      {"R_32s Pack", Fmt::kPack, 4, 4, maker(kplsFFTInitAlloc_R_32s), releaser(kplsFFTFree_R_32s),
       real_runner<Kpl32s, Kpl32s, K32>(kplsFFTFwd_RToPack_32s_Sfs, kplsFFTFwd_RToPack_32s_ISfs, kplsFFTInv_PackToR_32s_Sfs, kplsFFTInv_PackToR_32s_ISfs), kEps64},
      {"R_32s CCS", Fmt::kCcs, 4, 4, maker(kplsFFTInitAlloc_R_32s), releaser(kplsFFTFree_R_32s),
       real_runner<Kpl32s, Kpl32s, K32>(kplsFFTFwd_RToCCS_32s_Sfs, kplsFFTFwd_RToCCS_32s_ISfs, kplsFFTInv_CCSToR_32s_Sfs, kplsFFTInv_CCSToR_32s_ISfs), kEps64},
      {"R_16s32s CCS", Fmt::kCcs, 2, 4, maker(kplsFFTInitAlloc_R_16s32s), releaser(kplsFFTFree_R_16s32s),
       real_runner<Kpl16s, Kpl32s, KplsFFTSpec_R_16s32s>(kplsFFTFwd_RToCCS_16s32s_Sfs, nullptr, kplsFFTInv_CCSToR_32s16s_Sfs, nullptr), kEps32},
  };
}

void check_real(const RealCase& c, int order, int flag, KplHintAlgorithm hint, int sf, ld eps, uint64_t seed) {
  const int n = 1 << order;
  void* plan = c.make(order, flag, hint);
  ASSERT_NE(plan, nullptr) << c.name << " order " << order;
  Rng rng(seed);
  auto range = [](int bytes) { return bytes == 2 ? std::pair<long long, long long>{-32768, 32767} : std::pair<long long, long long>{INT32_MIN, INT32_MAX}; };
  const auto time_range = range(c.in_bytes), spec_range = range(c.out_bytes);
  const ld amp = c.in_bytes == 2 ? 32767 : (1 << 26);
  const std::string base = std::string(c.name) + " order " + std::to_string(order) + " flag " + std::to_string(flag) +
                           " hint " + std::to_string(hint) + " sf " + std::to_string(sf);
  const auto bins = bins_of(n);
  std::vector<Kpl8u> buffer(1 << 20);
  // forward: real samples to the packed spectrum
  {
    std::vector<long long> x(n);
    std::vector<cld> xc(n);
    ld l2 = 0, l1 = 0;
    for (int i = 0; i < n; ++i)
      x[i] = static_cast<long long>(rng.uniform(-amp, amp)), xc[i] = x[i], l2 += ld(x[i]) * x[i], l1 += std::abs(ld(x[i]));
    const auto X = dft(xc, false, bins);
    const ld scale = norm_of(flag, order, false) * std::ldexp(1.0L, -sf);
    std::vector<ld> re(n / 2 + 1), im(n / 2 + 1);
    std::vector<bool> have(n / 2 + 1, false);
    for (int k : bins)
      if (k <= n / 2) re[k] = (X[k] * scale).real(), im[k] = (X[k] * scale).imag(), have[k] = true;
    std::vector<int> idx(n / 2 + 1);
    for (int k = 0; k <= n / 2; ++k) idx[k] = k;
    std::vector<ld> kr(idx.begin(), idx.end()), ki(idx.begin(), idx.end());  // bin numbers through the same packing
    const auto want = pack(c.fmt, re, im, n);
    const auto pos_r = pack(c.fmt, kr, ki, n);
    const int out_len = static_cast<int>(want.size());
    const ld tol = tolerance_for(eps, order, std::sqrt(l2), l1, scale);
    std::vector<long long> a(out_len), b(out_len);
    ASSERT_EQ(c.run(x, a, plan, sf, nullptr, false, false), kplStsOk) << base;
    ASSERT_EQ(c.run(x, b, plan, sf, buffer.data() + 5, false, true), kplStsOk) << base;
    EXPECT_EQ(a, b) << base << " fwd: in place differs";
    int bad = 0;
    for (int i = 0; i < out_len; ++i) {
      // zeros of CCS sit where the packing put 0 for both the value and the bin number
      const int k = static_cast<int>(pos_r[i]);
      if (!have[k]) continue;
      const bool is_zero_slot = (c.fmt == Fmt::kCcs && (i == 1 || (n % 2 == 0 && i == out_len - 1)));
      if (is_zero_slot ? a[i] != 0 : !within(a[i], want[i], tol, spec_range.first, spec_range.second))
        if (++bad <= 3)
          ADD_FAILURE() << base << " fwd place " << i << ": got " << a[i] << " want " << static_cast<double>(want[i])
                        << " tol " << static_cast<double>(tol);
    }
  }
  // inverse: a packed spectrum to real samples
  {
    const int half = n / 2;
    std::vector<ld> re(half + 1), im(half + 1);
    const ld samp = c.out_bytes == 2 ? std::min(32767.0L, 32767.0L * 4 / n) : (1 << 24);
    for (int k = 0; k <= half; ++k) {
      re[k] = std::round(rng.uniform(-samp, samp));
      im[k] = (k == 0 || 2 * k == n) ? 0 : std::round(rng.uniform(-samp, samp));
    }
    auto p = pack(c.fmt, re, im, n);
    std::vector<long long> src(p.size());
    for (size_t i = 0; i < p.size(); ++i) src[i] = static_cast<long long>(p[i]);
    std::vector<cld> full(n);
    ld l2 = 0, l1 = 0;
    for (int k = 0; k < n; ++k) {
      const int m = k <= half ? k : n - k;
      full[k] = cld(re[m], k <= half ? im[m] : -im[m]);
      l2 += std::norm(full[k]), l1 += std::abs(full[k].real()) + std::abs(full[k].imag());
    }
    std::vector<int> all(n);
    for (int i = 0; i < n; ++i) all[i] = i;
    const auto xs = dft(full, true, n <= 512 ? all : bins);
    const ld scale = norm_of(flag, order, true) * std::ldexp(1.0L, -sf);
    const ld tol = tolerance_for(eps, order, std::sqrt(l2 / n), l1, scale * (eps < 0 ? 1 : std::sqrt(ld(n))));
    std::vector<long long> a(n), b(n);
    ASSERT_EQ(c.run(src, a, plan, sf, nullptr, true, false), kplStsOk) << base;
    ASSERT_EQ(c.run(src, b, plan, sf, buffer.data() + 17, true, true), kplStsOk) << base;
    EXPECT_EQ(a, b) << base << " inv: in place differs";
    int bad = 0;
    for (int t : (n <= 512 ? all : bins))
      if (!within(a[t], xs[t].real() * scale, tol, time_range.first, time_range.second))
        if (++bad <= 3)
          ADD_FAILURE() << base << " inv sample " << t << ": got " << a[t] << " want "
                        << static_cast<double>(xs[t].real() * scale) << " tol " << static_cast<double>(tol);
  }
  c.release(plan);
}

TEST(FftIntReal, EveryLayoutMatchesLongDoubleDft) {
  for (int order = 0; order <= 12; ++order) {
    const int sfs[] = {-2, 0, order / 2, order + 1};
    for (int i = 0; i < 4; ++i) {
      const int flag = kFlags[(order + i) % 4];
      for (const auto& c : real_cases()) {
        const bool wide = c.in_bytes == 4;
        const KplHintAlgorithm h = (order > 3 && i % 2) ? kFast : kAccurate;
        check_real(c, order, flag, h, sfs[i] + (wide ? 8 : 0), c.eps, 31 * order + i);
      }
    }
  }
}

TEST(FftIntNative, RealQ14OrdersCloseToReference) {
  const auto cases = real_cases();
  for (int order = 0; order <= 3; ++order)
    for (int flag : kFlags)
      for (KplHintAlgorithm h : {kNone, kFast, kAccurate})
        for (int sf : {-1, 0, 2})
          for (int i = 0; i < 3; ++i)
            check_real(cases[i], order, flag, h, sf, (h == kAccurate || order == 0) ? kEps32 : kQ14, 7 * order + sf + 40);
}

// ---- Transform checks ----

TEST(FftIntTransforms, ChecksPlanThenTagThenDataAndWritesNothing) {
  KplsFFTSpec_C_32sc* p = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_32sc(&p, 3, 2, kNone), kplStsOk);
  Guarded<Kpl32sc> s(8), d(8);
  const auto s0 = s.snapshot(), d0 = d.snapshot();
  auto* wrong = reinterpret_cast<const KplsFFTSpec_C_32sc*>(s.data());  // no tag there
  EXPECT_EQ(kplsFFTFwd_CToC_32sc_Sfs(nullptr, nullptr, nullptr, 0, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTFwd_CToC_32sc_Sfs(nullptr, nullptr, wrong, 0, nullptr), kplStsBadContext);  // the tag before the data
  EXPECT_EQ(kplsFFTFwd_CToC_32sc_Sfs(s.data(), nullptr, p, 0, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTInv_CToC_32sc_ISfs(nullptr, p, 0, nullptr), kplStsNullPointer);
  EXPECT_TRUE(s.unchanged_since(s0) && d.unchanged_since(d0));
  kplsFFTFree_C_32sc(p);

  KplsFFTSpec_R_16s* r = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_R_16s(&r, 2, 2, kNone), kplStsOk);
  Kpl16s x[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(kplsFFTFwd_RToCCS_16s_Sfs(x, nullptr, r, 0, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTInv_PackToR_16s_ISfs(nullptr, r, 0, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTFwd_RToCCS_16s32s_Sfs(x, nullptr, reinterpret_cast<const KplsFFTSpec_R_16s32s*>(r), 0, nullptr),
            kplStsBadContext);
  kplsFFTFree_R_16s(r);
  KplsFFTSpec_C_16s* c = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_16s(&c, 5, 2, kAccurate), kplStsOk);
  EXPECT_EQ(kplsFFTFwd_CToC_16s_Sfs(x, x, x, nullptr, c, 0, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsFFTInv_CToC_16s_ISfs(x, nullptr, c, 0, nullptr), kplStsNullPointer);
  kplsFFTFree_C_16s(c);
}

}  // namespace
