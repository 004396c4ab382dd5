// The parallel frame: slices by the team that formed, the rest on the last
// thread, the cap, the flag count, and the serial paths.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "frame/parallel.hpp"
#include "support/threads.hpp"

using kpltest::ThreadCount;

using namespace kpl;

namespace {

struct Slice {
  size_t begin, count;
  int thread;
};

// Runs the frame with a kernel that records its slices and flags the slice that
// holds element `flag_at` (if any).
std::vector<Slice> run(size_t len, TeamCap cap, size_t flag_at, int& flags) {
  std::vector<Slice> slices;
  std::mutex m;
  flags = parallel_slices(len, cap, [&](size_t begin, size_t count) {
    std::lock_guard<std::mutex> lock(m);
    slices.push_back({begin, count, omp_get_thread_num()});
    return flag_at >= begin && flag_at < begin + count;
  });
  std::sort(slices.begin(), slices.end(), [](const Slice& a, const Slice& b) { return a.begin < b.begin; });
  return slices;
}

}  // namespace

TEST(ParallelFrame, OneThreadRunsThePlainKernelOnTheWholeVector) {
  ThreadCount one(1);
  int flags = 0;
  auto s = run(4096, TeamCap::kAll, 4095, flags);
  ASSERT_EQ(s.size(), 1u);
  EXPECT_EQ(s[0].begin, 0u);
  EXPECT_EQ(s[0].count, 4096u);
  EXPECT_EQ(flags, 1);
}

TEST(ParallelFrame, TwoSlicesWithTheRestOnTheLastThread) {
  ThreadCount eight(8);
  int flags = 0;
  auto s = run(4097, TeamCap::kTwo, size_t(-1), flags);
  ASSERT_EQ(s.size(), 2u);
  EXPECT_EQ(s[0].begin, 0u);
  EXPECT_EQ(s[0].count, 2048u);
  EXPECT_EQ(s[1].begin, 2048u);
  EXPECT_EQ(s[1].count, 2049u);
  EXPECT_EQ(s[1].thread, 1);
  EXPECT_EQ(flags, 0);
}

TEST(ParallelFrame, AllThreadsWhenUncapped) {
  ThreadCount eight(8);
  int flags = 0;
  auto s = run(1024, TeamCap::kAll, 1023, flags);
  ASSERT_EQ(s.size(), 8u);
  for (size_t k = 0; k < 8; ++k) {
    EXPECT_EQ(s[k].begin, 128 * k);
    EXPECT_EQ(s[k].count, 128u);
  }
  EXPECT_EQ(flags, 1);  // one flag in the last slice counts
}

TEST(ParallelFrame, ShorterThanTheTeamRunsSerially) {
  ThreadCount eight(8);
  int flags = 0;
  auto s = run(7, TeamCap::kAll, 0, flags);
  ASSERT_EQ(s.size(), 1u);
  EXPECT_EQ(s[0].count, 7u);
  EXPECT_EQ(flags, 1);
}

TEST(ParallelFrame, InsideACallersRegionTheTeamOfOneTakesItAll) {
  ThreadCount two(2);
  omp_set_max_active_levels(1);
  std::vector<size_t> counts(2, 0);
#pragma omp parallel num_threads(2)
  {
    std::vector<Slice> mine;
    const int me = omp_get_thread_num();
    parallel_slices(5000, TeamCap::kTwo, [&](size_t begin, size_t count) {
      mine.push_back({begin, count, 0});
      return false;
    });
    if (mine.size() == 1 && mine[0].begin == 0) counts[static_cast<size_t>(me)] = mine[0].count;
  }
  EXPECT_EQ(counts[0], 5000u);
  EXPECT_EQ(counts[1], 5000u);
}

TEST(ParallelFrame, WorkersRunUnderTheCallersRoundingControl) {
  ThreadCount two(2);
  const unsigned saved = _mm_getcsr();
  _mm_setcsr((saved & ~0x6000u) | 0x2000u);  // toward minus infinity
  std::vector<int> seen(2, -1);
  parallel_slices(1000, TeamCap::kTwo, [&](size_t begin, size_t) {
    seen[begin == 0 ? 0 : 1] = _mm_cvtss_si32(_mm_set_ss(2.7f));  // 3 to nearest
    return false;
  });
  _mm_setcsr(saved);
  EXPECT_EQ(seen[0], 2);
  EXPECT_EQ(seen[1], 2);
}
