// The argument checks every vector function shares: required pointers first, then
// the length; a rejected call writes nothing, not even to its sources.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

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
// The order of checks of any function, from one good call: each pointer argument
// set to null in turn gives kplStsNullPointer; the length argument (at LenIndex)
// set to 0, -1 and INT_MIN gives kplStsBadSize (only 0 when the length is
// unsigned); and a null pointer with a bad length gives kplStsNullPointer, or
// kplStsBadSize where the function tests its length first. The caller checks with
// snapshots that nothing was written.
enum class LenCheck { kAfterPointers, kFirst };

template <size_t LenIndex, LenCheck Order = LenCheck::kAfterPointers, class... A>
void expect_checks(KplStatus (*f)(A...), std::tuple<A...> good, const char* name) {
  using Args = std::tuple<A...>;
  using Len = std::tuple_element_t<LenIndex, Args>;
  auto call = [&](auto change) {
    Args t = good;
    change(t);
    return std::apply(f, t);
  };
  [&]<size_t... I>(std::index_sequence<I...>) {
    (
        [&] {
          if constexpr (std::is_pointer_v<std::tuple_element_t<I, Args>>) {
            EXPECT_EQ(call([](Args& t) { std::get<I>(t) = nullptr; }), kplStsNullPointer)
                << name << ": argument " << I << " null";
            EXPECT_EQ(call([](Args& t) { std::get<I>(t) = nullptr, std::get<LenIndex>(t) = Len{0}; }),
                      Order == LenCheck::kFirst ? kplStsBadSize : kplStsNullPointer)
                << name << ": argument " << I << " null with a zero length";
          }
        }(),
        ...);
  }(std::index_sequence_for<A...>{});
  std::vector<long long> bad = {0};
  if constexpr (std::is_signed_v<Len>) bad = {0, -1, INT_MIN};
  for (long long b : bad) {
    Args t = good;
    std::get<LenIndex>(t) = static_cast<Len>(b);
    EXPECT_EQ(std::apply(f, t), kplStsBadSize) << name << ": length " << b;
  }
}

}  // namespace kpltest
