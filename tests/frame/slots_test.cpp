// The entry table: a slot redirected to another function changes what its exported
// name does and nothing else; internal callers reach the implementation directly.
#include <gtest/gtest.h>

#include <vector>

#include "kpls.h"

extern "C" void* kplsCopy_8u_arraddr;
extern "C" void* kplsZero_8u_arraddr;

namespace {

int g_fake_calls = 0;
KplStatus fake_copy(const Kpl8u*, Kpl8u* dst, int len) {
  ++g_fake_calls;
  for (int i = 0; i < len; ++i) dst[i] = 0xEE;
  return 12345;
}

// Puts a slot back however the test ends.
class SlotRedirect {
 public:
  SlotRedirect(void*& slot, void* fn) : slot_(slot), saved_(slot) { slot_ = fn; }
  ~SlotRedirect() { slot_ = saved_; }

 private:
  void*& slot_;
  void* saved_;
};

}  // namespace

TEST(EntryTable, SlotsAreFilledAtBuildTime) {
  EXPECT_NE(kplsCopy_8u_arraddr, nullptr);
  EXPECT_NE(kplsZero_8u_arraddr, nullptr);
  EXPECT_NE(kplsCopy_8u_arraddr, kplsZero_8u_arraddr);
}

TEST(EntryTable, RedirectedSlotChangesOnlyItsEntry) {
  std::vector<Kpl8u> src(100), dst(100, 0), bits_src(64), bits_dst(64, 0);
  for (int i = 0; i < 100; ++i) src[i] = static_cast<Kpl8u>(i + 1);
  for (int i = 0; i < 64; ++i) bits_src[i] = static_cast<Kpl8u>(3 * i + 7);
  g_fake_calls = 0;
  {
    SlotRedirect redirect(kplsCopy_8u_arraddr, reinterpret_cast<void*>(&fake_copy));
    // The exported name now reaches the fake.
    EXPECT_EQ(kplsCopy_8u(src.data(), dst.data(), 100), 12345);
    EXPECT_EQ(dst[0], 0xEE);
    EXPECT_EQ(g_fake_calls, 1);

    // Other entries are untouched, and so is Copy_1u, which copies whole bytes
    // through the Copy_8u implementation when both bit offsets agree.
    std::vector<Kpl16s> s16 = {1, 2, 3}, d16(3, 0);
    EXPECT_EQ(kplsCopy_16s(s16.data(), d16.data(), 3), kplStsOk);
    EXPECT_EQ(d16, s16);
    EXPECT_EQ(kplsCopy_1u(bits_src.data(), 3, bits_dst.data(), 3, 64 * 8 - 3), kplStsOk);
    EXPECT_EQ(bits_dst[1], bits_src[1]);
    EXPECT_EQ(bits_dst[63], bits_src[63]);
    EXPECT_EQ(g_fake_calls, 1);
  }
  // Restored: the real copy again.
  EXPECT_EQ(kplsCopy_8u(src.data(), dst.data(), 100), kplStsOk);
  EXPECT_EQ(dst, src);
}
