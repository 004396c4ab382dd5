// A vector with guard bytes on both sides, placed at a chosen element offset from
// a 64-byte boundary. A kernel that writes outside the vector changes a guard;
// a call that must write nothing leaves every byte as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace kpltest {

constexpr uint8_t kGuardByte = 0xA5;
constexpr size_t kGuardBytes = 64;

template <class T>
class Guarded {
 public:
  explicit Guarded(size_t len, size_t offset = 0)
      : len_(len), lead_(kGuardBytes + offset * sizeof(T)),
        total_(lead_ + len * sizeof(T) + kGuardBytes), storage_(new uint8_t[total_ + 64]) {
    base_ = storage_.get() + (-reinterpret_cast<uintptr_t>(storage_.get()) & 63);
    std::memset(base_, kGuardByte, total_);
  }

  T* data() { return reinterpret_cast<T*>(base_ + lead_); }
  const T* data() const { return reinterpret_cast<const T*>(base_ + lead_); }
  size_t size() const { return len_; }
  T& operator[](size_t i) { return data()[i]; }
  const T& operator[](size_t i) const { return data()[i]; }
  uint8_t* bytes() { return base_ + lead_; }
  const uint8_t* bytes() const { return base_ + lead_; }

  // Every byte outside the vector still holds the guard pattern.
  bool guards_intact() const {
    for (size_t i = 0; i < lead_; ++i)
      if (base_[i] != kGuardByte) return false;
    for (size_t i = lead_ + len_ * sizeof(T); i < total_; ++i)
      if (base_[i] != kGuardByte) return false;
    return true;
  }

  // All bytes, vector and guards, for a later "nothing was written" check.
  std::vector<uint8_t> snapshot() const { return std::vector<uint8_t>(base_, base_ + total_); }
  bool unchanged_since(const std::vector<uint8_t>& s) const {
    return s.size() == total_ && std::memcmp(s.data(), base_, total_) == 0;
  }

  std::vector<T> values() const { return std::vector<T>(data(), data() + len_); }
  void assign(const T* src) {
    if (len_ != 0) std::memcpy(static_cast<void*>(data()), src, len_ * sizeof(T));
  }

 private:
  size_t len_, lead_, total_;
  std::unique_ptr<uint8_t[]> storage_;
  uint8_t* base_;
};

}  // namespace kpltest
