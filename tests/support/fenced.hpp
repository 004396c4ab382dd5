// A read-write page between two inaccessible ones: data placed flush against either
// end makes any read or write past it fault, in every build, not only under the
// sanitizers.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace kpltest {

// One read-write page between two inaccessible ones: a run placed flush against
// either end faults on the first byte read past it.
class FencedPage {
 public:
  FencedPage() : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    void* p = mmap(nullptr, 3 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base_ = p == MAP_FAILED ? nullptr : static_cast<uint8_t*>(p);
    if (base_) {
      mprotect(base_, page_, PROT_NONE);
      mprotect(base_ + 2 * page_, page_, PROT_NONE);
    }
  }
  ~FencedPage() {
    if (base_) munmap(base_, 3 * page_);
  }
  FencedPage(const FencedPage&) = delete;
  FencedPage& operator=(const FencedPage&) = delete;
  bool ok() const { return base_ != nullptr; }
  // Where n bytes start to sit against the page's start or its end.
  uint8_t* at_start() { return base_ + page_; }
  uint8_t* ending_at_end(size_t n) { return base_ + 2 * page_ - n; }

 private:
  size_t page_;
  uint8_t* base_ = nullptr;
};

}  // namespace kpltest
