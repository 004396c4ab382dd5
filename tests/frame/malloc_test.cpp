// kplsMalloc_* and kplsFree over the core allocator. This executable interposes
// kplMalloc and kplFree to see exactly what the library asks of the core.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kpls.h"

namespace {
int g_malloc_calls = 0;
int g_last_size = -1;
int g_free_calls = 0;

template <class F>
F next_symbol(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
}  // namespace

extern "C" void* kplMalloc(int size) {
  static auto real = next_symbol<void* (*)(int)>("kplMalloc");
  ++g_malloc_calls;
  g_last_size = size;
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
