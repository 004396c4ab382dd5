// kplsMalloc_* and kplsFree over the core allocator, and what the functions that
// allocate do when the core has no memory. This executable interposes kplMalloc
// and kplFree to see exactly what the library asks of the core.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "kpls.h"

namespace {
int g_malloc_calls = 0;
int g_last_size = -1;
int g_free_calls = 0;
bool g_fail = false;  // every allocation fails
int g_fail_at = 0;    // allocation number g_fail_at (counted by g_malloc_calls) fails

template <class F>
F next_symbol(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
}  // namespace

extern "C" void* kplMalloc(int size) {
  static auto real = next_symbol<void* (*)(int)>("kplMalloc");
  ++g_malloc_calls;
  g_last_size = size;
  if (g_fail || g_malloc_calls == g_fail_at) return nullptr;
  return real(size);
}

extern "C" void kplFree(void* p) {
  static auto real = next_symbol<void (*)(void*)>("kplFree");
  ++g_free_calls;
  real(p);
}

namespace {

struct Case {
  const char* name;
  void* (*alloc)(int);
  int width;
};

template <class T, T* (*F)(int)>
void* erase(int len) {
  return F(len);
}

const Case kCases[] = {
    {"8u", erase<Kpl8u, kplsMalloc_8u>, 1},       {"16u", erase<Kpl16u, kplsMalloc_16u>, 2},
    {"32u", erase<Kpl32u, kplsMalloc_32u>, 4},    {"8s", erase<Kpl8s, kplsMalloc_8s>, 1},
    {"16s", erase<Kpl16s, kplsMalloc_16s>, 2},    {"32s", erase<Kpl32s, kplsMalloc_32s>, 4},
    {"64s", erase<Kpl64s, kplsMalloc_64s>, 8},    {"32f", erase<Kpl32f, kplsMalloc_32f>, 4},
    {"64f", erase<Kpl64f, kplsMalloc_64f>, 8},    {"8sc", erase<Kpl8sc, kplsMalloc_8sc>, 2},
    {"16sc", erase<Kpl16sc, kplsMalloc_16sc>, 4}, {"32sc", erase<Kpl32sc, kplsMalloc_32sc>, 8},
    {"64sc", erase<Kpl64sc, kplsMalloc_64sc>, 16}, {"32fc", erase<Kpl32fc, kplsMalloc_32fc>, 8},
    {"64fc", erase<Kpl64fc, kplsMalloc_64fc>, 16},
};

}  // namespace

TEST(Malloc, EveryTypeAsksTheCoreForLenTimesWidth) {
  for (const Case& c : kCases) {
    for (int len : {1, 3, 1000}) {
      g_malloc_calls = 0;
      void* p = c.alloc(len);
      ASSERT_NE(p, nullptr) << c.name;
      EXPECT_EQ(g_malloc_calls, 1) << c.name;
      EXPECT_EQ(g_last_size, len * c.width) << c.name << " len=" << len;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) & 31, 0u) << c.name;
      static_cast<volatile char*>(p)[len * c.width - 1] = 1;  // all of it is ours
      g_free_calls = 0;
      kplsFree(p);
      EXPECT_EQ(g_free_calls, 1);
    }
  }
}

TEST(Malloc, NonPositiveLengthGivesNullWithoutCallingTheCore) {
  for (const Case& c : kCases) {
    for (int len : {0, -1, INT32_MIN}) {
      g_malloc_calls = 0;
      EXPECT_EQ(c.alloc(len), nullptr) << c.name << " len=" << len;
      EXPECT_EQ(g_malloc_calls, 0) << c.name;
    }
  }
}

TEST(Malloc, ByteSizeWrapsAt32Bits) {
  // 0x10000000 * 16 wraps to 0; the core gets 0 and answers for itself.
  g_malloc_calls = 0;
  void* p = kplsMalloc_64fc(0x10000000);
  EXPECT_EQ(g_malloc_calls, 1);
  EXPECT_EQ(g_last_size, 0);
  kplsFree(p);
  // 0x10000001 * 16 wraps to 16.
  p = kplsMalloc_64fc(0x10000001);
  EXPECT_EQ(g_last_size, 16);
  ASSERT_NE(p, nullptr);
  kplsFree(p);
  // 0x40000000 * 4 wraps to 0, 0x40000001 * 2 wraps to -2147483646 as a signed size.
  kplsMalloc_32f(0x40000000);
  EXPECT_EQ(g_last_size, 0);
  p = kplsMalloc_16s(0x40000001);
  EXPECT_EQ(g_last_size, static_cast<int>(0x80000002u));
  EXPECT_EQ(p, nullptr);
}

TEST(Malloc, FreeForwardsNullToTheCore) {
  g_free_calls = 0;
  kplsFree(nullptr);
  EXPECT_EQ(g_free_calls, 1);
}

// A transform given no work buffer takes one from the core for the call; when
// the core has none, the call says so and leaves the destination alone. The
// same holds for the plans that InitAlloc builds.
namespace {
struct FailAllocations {
  FailAllocations() { g_fail = true; }
  ~FailAllocations() { g_fail = false; }
};

template <class T>
bool unchanged(const std::vector<T>& v, uint8_t fill) {
  const auto* b = reinterpret_cast<const uint8_t*>(v.data());
  for (size_t i = 0; i < v.size() * sizeof(T); ++i)
    if (b[i] != fill) return false;
  return true;
}
}  // namespace

TEST(MallocFailure, TransformsWithoutABufferReturnNoMemoryAndWriteNothing) {
  constexpr int kOrder = 8, kN = 1 << kOrder;
  KplsFFTSpec_C_32fc* c = nullptr;
  KplsFFTSpec_R_32f* r = nullptr;
  KplsFFTSpec_C_16sc* c16 = nullptr;
  KplsFFTSpec_C_32sc* c32 = nullptr;
  ASSERT_EQ(kplsFFTInitAlloc_C_32fc(&c, kOrder, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone), kplStsOk);
  ASSERT_EQ(kplsFFTInitAlloc_R_32f(&r, kOrder, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone), kplStsOk);
  ASSERT_EQ(kplsFFTInitAlloc_C_16sc(&c16, kOrder, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone), kplStsOk);
  ASSERT_EQ(kplsFFTInitAlloc_C_32sc(&c32, kOrder, KPL_FFT_NODIV_BY_ANY, kplAlgHintNone), kplStsOk);

  std::vector<Kpl32fc> src(kN, Kpl32fc{1.0f, 2.0f}), dst(kN);
  std::vector<Kpl32f> rsrc(kN, 1.0f), rdst(kN + 2);
  std::vector<Kpl16sc> s16(kN, Kpl16sc{1, 2}), d16(kN);
  std::vector<Kpl32sc> s32(kN, Kpl32sc{1, 2}), d32(kN);
  memset(dst.data(), 0xA5, dst.size() * sizeof(Kpl32fc));
  memset(rdst.data(), 0xA5, rdst.size() * sizeof(Kpl32f));
  memset(d16.data(), 0xA5, d16.size() * sizeof(Kpl16sc));
  memset(d32.data(), 0xA5, d32.size() * sizeof(Kpl32sc));
  {
    FailAllocations fail;
    EXPECT_EQ(kplsFFTFwd_CToC_32fc(src.data(), dst.data(), c, nullptr), kplStsNoMemory);
    EXPECT_EQ(kplsFFTInv_CToC_32fc(src.data(), dst.data(), c, nullptr), kplStsNoMemory);
    EXPECT_EQ(kplsFFTFwd_RToCCS_32f(rsrc.data(), rdst.data(), r, nullptr), kplStsNoMemory);
    EXPECT_EQ(kplsFFTFwd_CToC_16sc_Sfs(s16.data(), d16.data(), c16, 0, nullptr), kplStsNoMemory);
    EXPECT_EQ(kplsFFTFwd_CToC_32sc_Sfs(s32.data(), d32.data(), c32, 0, nullptr), kplStsNoMemory);
  }
  EXPECT_TRUE(unchanged(dst, 0xA5));
  EXPECT_TRUE(unchanged(rdst, 0xA5));
  EXPECT_TRUE(unchanged(d16, 0xA5));
  EXPECT_TRUE(unchanged(d32, 0xA5));

  // With memory back, the same calls succeed and free what they took.
  g_malloc_calls = 0;
  g_free_calls = 0;
  EXPECT_EQ(kplsFFTFwd_CToC_32fc(src.data(), dst.data(), c, nullptr), kplStsOk);
  EXPECT_EQ(g_malloc_calls, 1);
  EXPECT_EQ(g_free_calls, 1);
  EXPECT_FLOAT_EQ(dst[0].re, static_cast<float>(kN));

  EXPECT_EQ(kplsFFTFree_C_32fc(c), kplStsOk);
  EXPECT_EQ(kplsFFTFree_R_32f(r), kplStsOk);
  EXPECT_EQ(kplsFFTFree_C_16sc(c16), kplStsOk);
  EXPECT_EQ(kplsFFTFree_C_32sc(c32), kplStsOk);
}

TEST(MallocFailure, InitAllocReturnsNoMemoryAndReleasesWhatItTook) {
  // Order 12 needs the spec block and a temporary block for its tables.
  for (int fail_at : {1, 2}) {
    g_malloc_calls = 0;
    g_free_calls = 0;
    g_fail_at = fail_at;
    KplsFFTSpec_C_32fc* c = nullptr;
    EXPECT_EQ(kplsFFTInitAlloc_C_32fc(&c, 12, KPL_FFT_DIV_BY_SQRTN, kplAlgHintNone), kplStsNoMemory) << fail_at;
    EXPECT_GE(g_free_calls, fail_at - 1) << "blocks taken before the failure are released";
    g_fail_at = 0;
  }
}
