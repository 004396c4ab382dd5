// What the Norm, NormDiff and DotProd tests share: the values they draw (plain,
// spread over many binades, or the special values and type extremes), one checked
// call of a reduction described by a case C (types A, B and R, call, ref, good,
// len_index), and its order of checks with nothing written.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <type_traits>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/reference.hpp"
#include "support/values.hpp"

namespace kpltest {

// mode 0: uniform in [-2, 2); 1: the same spread over 2^-20..2^20 (integers:
// small ones too); 2: special values and extremes mixed in.
template <class T>
T pick(Rng& r, int mode) {
  if constexpr (std::is_floating_point_v<T>) {
    if (mode == 2 && r.next() % 8 == 0) {
      static const std::vector<T> sp = [] {
        if constexpr (sizeof(T) == 4) return special_floats(); else return special_doubles();
      }();
      return sp[r.next() % sp.size()];
    }
    const T x = static_cast<T>(r.uniform(-2.0, 2.0));
    return mode == 1 ? std::ldexp(x, static_cast<int>(r.next() % 41) - 20) : x;
  } else if constexpr (std::is_integral_v<T>) {
    const auto pool = special_integers<T>();
    if (mode == 2 || r.next() % 4 == 0) return pool[r.next() % pool.size()];
    if (mode == 1) return static_cast<T>(static_cast<T>(r.next()) >> (r.next() % (8 * sizeof(T))));  // small too
    return static_cast<T>(r.next());
  } else {
    using P = decltype(T::re);
    return T{pick<P>(r, mode), pick<P>(r, mode)};
  }
}

// One call at one length, pair of offsets and scale factor: the result against the
// reference, the guards after it, and the sources untouched.
template <class C>
bool run_once(size_t len, size_t oa, size_t ob, int s, uint64_t seed) {
  using A = typename C::A;
  using B = typename C::B;
  using R = typename C::R;
  Guarded<A> a(len, oa);
  Guarded<B> b(len, ob);
  Guarded<R> r(1, (oa + ob) % 4);
  Rng rng(seed);
  const int mode = static_cast<int>(rng.next() % 3);
  for (size_t i = 0; i < len; ++i) a[i] = pick<A>(rng, mode), b[i] = pick<B>(rng, mode);
  const R want = C::ref(a.data(), b.data(), len, s);
  const auto a0 = a.snapshot(), b0 = b.snapshot();
  const KplStatus st = C::call(a.data(), b.data(), static_cast<int>(len), r.data(), s);
  const std::string at = " len=" + std::to_string(len) + " offsets " + std::to_string(oa) + "," + std::to_string(ob) +
                         " s=" + std::to_string(s) + " mode " + std::to_string(mode);
  if (st != kplStsOk) return ADD_FAILURE() << "status " << st << at, false;
  if (!same(r[0], want)) return ADD_FAILURE() << "gave " << show(r[0]) << ", want " << show(want) << at, false;
  if (!r.guards_intact()) return ADD_FAILURE() << "result guards" << at, false;
  if (!a.unchanged_since(a0) || !b.unchanged_since(b0)) return ADD_FAILURE() << "a source changed" << at, false;
  return true;
}

// Each pointer null, each bad length, and a null with a bad length; nothing written.
template <class C>
void checks_write_nothing() {
  using A = typename C::A;
  using B = typename C::B;
  using R = typename C::R;
  Guarded<A> a(4);
  Guarded<B> b(4);
  Guarded<R> r(1);
  fill_random_bits(a.data(), 4, 1), fill_random_bits(b.data(), 4, 2), fill_random_bits(r.data(), 1, 3);
  const auto a0 = a.snapshot(), b0 = b.snapshot(), r0 = r.snapshot();
  expect_checks<C::len_index>(C::entry, C::good(a.data(), b.data(), r.data()),
                              ::testing::UnitTest::GetInstance()->current_test_info()->type_param());
  EXPECT_TRUE(a.unchanged_since(a0) && b.unchanged_since(b0) && r.unchanged_since(r0));
}

}  // namespace kpltest
