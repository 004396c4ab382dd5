// The typed sweep the arithmetic families share: one entry, its element types, a
// fill and a plain reference; lengths 1..70 and longer at every pair of start
// offsets, out of place and (when given) in place into the second source, every
// element compared bit for bit, guards intact and sources untouched.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "kpltypes.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/reference.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

namespace kpltest {

// The real part type of an element and how many parts it holds.
template <class E>
struct PartOf {
  using type = E;
  static constexpr size_t kParts = 1;
};
template <class E>
  requires requires { E::re; }
struct PartOf<E> {
  using type = decltype(E::re);
  static constexpr size_t kParts = 2;
};

// Random bits in both sources: fills that want ties or specials pass their own.
struct RandomBits {
  template <class A, class B>
  void operator()(A* a, B* b, size_t len, uint64_t seed) const {
    fill_random_bits(a, len, seed), fill_random_bits(b, len, seed + 1);
  }
};

// Bit for bit equality, the default; a family whose NaN payloads are free passes
// its own agree(got, want, sources...).
struct BitSame {
  template <class T, class... S>
  bool operator()(const T& got, const T& want, const S&...) const {
    return same_bits(&got, &want, 1);
  }
};

// One binary case: out(a, b, d, len) and in(a, b, len) (b = b op a) against
// ref(a[i], b[i]). In may be nullptr for entries without an in-place form.
template <class A, class B, class D, class Out, class In, class Fill, class Ref, class Agree = BitSame>
void check_binary(const char* name, size_t len, size_t oa, size_t ob, Out out, In in, Fill fill, Ref ref, uint64_t salt = 0,
                  Agree agree = {}) {
  Guarded<A> a(len, oa);
  Guarded<B> b(len, ob);
  Guarded<D> d(len, (oa + 5 * ob + 3) % 16);
  fill(a.data(), b.data(), len, len * 4096 + oa * 256 + ob * 16 + salt);
  std::vector<D> want(len);
  for (size_t i = 0; i < len; ++i) want[i] = ref(a[i], b[i]);
  const auto a0 = a.snapshot(), b0 = b.snapshot();
  const auto where = [&](size_t i) {
    return ::testing::Message() << name << " len=" << len << " offsets " << oa << "," << ob << " i=" << i;
  };
  ASSERT_EQ(out(a.data(), b.data(), d.data(), static_cast<int>(len)), kplStsOk) << where(0);
  for (size_t i = 0; i < len; ++i)
    ASSERT_TRUE(agree(d[i], want[i], a[i], b[i])) << where(i) << ": " << show(a[i]) << ", " << show(b[i]) << " gave " << show(d[i])
                                               << ", want " << show(want[i]);
  ASSERT_TRUE(d.guards_intact() && a.unchanged_since(a0) && b.unchanged_since(b0)) << where(0);
  if constexpr (!std::is_same_v<In, std::nullptr_t>) {
    static_assert(std::is_same_v<B, D>);
    const std::vector<B> b1 = b.values();
    ASSERT_EQ(in(a.data(), b.data(), static_cast<int>(len)), kplStsOk) << "in place " << where(0);
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(agree(b[i], want[i], a[i], b1[i])) << "in place " << where(i) << ": gave " << show(b[i]);
    ASSERT_TRUE(b.guards_intact() && a.unchanged_since(a0)) << "in place " << where(0);
  }
}

// The whole sweep of one entry.
template <class A, class B, class D, class Out, class In, class Fill, class Ref>
void sweep_binary(const char* name, Out out, In in, Fill fill, Ref ref, uint64_t salt = 0) {
  sweep2([&](size_t len, size_t oa, size_t ob) {
    if (!::testing::Test::HasFailure()) check_binary<A, B, D>(name, len, oa, ob, out, in, fill, ref, salt);
  });
}

// A few lengths and offsets, for sweeps along another axis (every scale factor).
template <class A, class B, class D, class Out, class In, class Fill, class Ref>
void spot_binary(const char* name, Out out, In in, Fill fill, Ref ref, uint64_t salt = 0) {
  for (size_t len : {1u, 7u, 16u, 17u, 33u, 70u, 129u})
    for (auto [oa, ob] : {std::pair<size_t, size_t>{0, 0}, {1, 3}, {15, 7}})
      if (!::testing::Test::HasFailure()) check_binary<A, B, D>(name, len, oa, ob, out, in, fill, ref, salt);
}

// One unary case (a constant form binds its constant): out(s, d, len) and
// in(v, len) on a copy of s, against ref(s[i]). In may be nullptr.
template <class S, class D, class Out, class In, class Fill, class Ref, class Agree = BitSame>
void check_unary(const char* name, size_t len, size_t os, size_t od, Out out, In in, Fill fill, Ref ref, uint64_t salt = 0,
                 Agree agree = {}) {
  Guarded<S> s(len, os);
  Guarded<D> d(len, od);
  fill(s.data(), len, len * 4096 + os * 256 + od * 16 + salt);
  std::vector<D> want(len);
  for (size_t i = 0; i < len; ++i) want[i] = ref(s[i]);
  const auto s0 = s.snapshot();
  const auto where = [&](size_t i) { return ::testing::Message() << name << " len=" << len << " offsets " << os << "," << od << " i=" << i; };
  ASSERT_EQ(out(s.data(), d.data(), static_cast<int>(len)), kplStsOk) << where(0);
  for (size_t i = 0; i < len; ++i)
    ASSERT_TRUE(agree(d[i], want[i], s[i])) << where(i) << ": " << show(s[i]) << " gave " << show(d[i]) << ", want " << show(want[i]);
  ASSERT_TRUE(d.guards_intact() && s.unchanged_since(s0)) << where(0);
  if constexpr (!std::is_same_v<In, std::nullptr_t>) {
    static_assert(std::is_same_v<S, D>);
    Guarded<D> v(len, od);
    v.assign(s.data());
    ASSERT_EQ(in(v.data(), static_cast<int>(len)), kplStsOk) << "in place " << where(0);
    for (size_t i = 0; i < len; ++i) ASSERT_TRUE(agree(v[i], want[i], s[i])) << "in place " << where(i) << ": gave " << show(v[i]);
    ASSERT_TRUE(v.guards_intact()) << "in place " << where(0);
  }
}

template <class S, class D, class Out, class In, class Fill, class Ref, class Agree = BitSame>
void sweep_unary(const char* name, Out out, In in, Fill fill, Ref ref, uint64_t salt = 0, Agree agree = {}) {
  sweep2([&](size_t len, size_t os, size_t od) {
    if (!::testing::Test::HasFailure()) check_unary<S, D>(name, len, os, od, out, in, fill, ref, salt, agree);
  });
}

// The argument checks of a binary entry and of its in-place form (nullptr if
// none) at the trailing arguments rest: each pointer null, each bad length, in
// the given order, and nothing written by any of them.
template <LenCheck Order = LenCheck::kAfterPointers, class A, class B, class D, class... R>
void expect_entry_checks(const char* name, KplStatus (*out)(const A*, const B*, D*, int, R...),
                         std::type_identity_t<KplStatus (*)(const A*, D*, int, R...)> in, std::type_identity_t<R>... rest) {
  Guarded<A> a(4);
  Guarded<B> b(4);
  Guarded<D> d(4);
  fill_random_bits(a.data(), 4, 1), fill_random_bits(b.data(), 4, 2), fill_random_bits(d.data(), 4, 3);
  const auto a0 = a.snapshot(), b0 = b.snapshot(), d0 = d.snapshot();
  expect_checks<3, Order>(out, std::make_tuple(static_cast<const A*>(a.data()), static_cast<const B*>(b.data()), d.data(), 4, rest...), name);
  if (in != nullptr) expect_checks<2, Order>(in, std::make_tuple(static_cast<const A*>(a.data()), d.data(), 4, rest...), name);
  EXPECT_TRUE(a.unchanged_since(a0) && b.unchanged_since(b0) && d.unchanged_since(d0)) << name;
}

// Part-wise reference for complex elements whose parts combine independently.
template <class E, class PartRef>
auto partwise(PartRef ref) {
  return [ref](E a, E b) {
    if constexpr (PartOf<E>::kParts == 2) return E{ref(a.re, b.re), ref(a.im, b.im)};
    else return static_cast<E>(ref(a, b));
  };
}

}  // namespace kpltest
