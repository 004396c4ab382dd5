// The number of threads the library may use, set for a scope through the OpenMP
// runtime and restored after.
#pragma once

#include <omp.h>

namespace kpltest {

class ThreadCount {
 public:
  explicit ThreadCount(int n) : saved_(omp_get_max_threads()) { omp_set_num_threads(n); }
  ~ThreadCount() { omp_set_num_threads(saved_); }
  ThreadCount(const ThreadCount&) = delete;
  ThreadCount& operator=(const ThreadCount&) = delete;

 private:
  int saved_;
};

}  // namespace kpltest
