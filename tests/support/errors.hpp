// The argument checks every vector function shares: required pointers first, then
// the length; a rejected call writes nothing, not even to its sources.
#pragma once

#include <gtest/gtest.h>

#include "kpltypes.h"
#include "support/guarded.hpp"
#include "support/values.hpp"

namespace kpltest {

// Pointers are tested before the length, and a rejected call writes nothing.
template <class S, class D>
void expect_rejected(KplStatus (*f)(const S*, D*, int), const char* name) {
  Guarded<S> src(4);
  Guarded<D> dst(4);
  fill_random_bits(src.data(), 4, 7);
  const auto s0 = src.snapshot(), d0 = dst.snapshot();
  const struct { const S* s; D* d; int len; KplStatus want; } cases[] = {
      {nullptr, dst.data(), 4, kplStsNullPointer}, {src.data(), nullptr, 4, kplStsNullPointer},
      {nullptr, dst.data(), 0, kplStsNullPointer}, {src.data(), dst.data(), 0, kplStsBadSize},
      {src.data(), dst.data(), -1, kplStsBadSize}};
  for (const auto& c : cases) {
    EXPECT_EQ(f(c.s, c.d, c.len), c.want) << name << " len=" << c.len;
    EXPECT_TRUE(src.unchanged_since(s0) && dst.unchanged_since(d0)) << name << " len=" << c.len;
  }
}

template <class T>
void expect_rejected(KplStatus (*f)(T*, int), const char* name) {
  Guarded<T> v(4);
  fill_random_bits(v.data(), 4, 7);
  const auto v0 = v.snapshot();
  EXPECT_EQ(f(nullptr, 4), kplStsNullPointer) << name;
  EXPECT_EQ(f(nullptr, 0), kplStsNullPointer) << name;
  EXPECT_EQ(f(v.data(), 0), kplStsBadSize) << name;
  EXPECT_EQ(f(v.data(), -1), kplStsBadSize) << name;
  EXPECT_TRUE(v.unchanged_since(v0)) << name;
}
}  // namespace kpltest
