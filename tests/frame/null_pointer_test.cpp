// Every entry that returns a status, called with every pointer null, returns
// kplStsNullPointer and writes nothing. The list comes from the header, so an
// entry is covered the day it lands.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <type_traits>

#include "kpls.h"

namespace {

// Null for pointers, 1 for numbers (a valid length, count or order), a zero record
// for values passed by value.
template <class T>
T null_arg() {
  if constexpr (std::is_pointer_v<T>) {
    return nullptr;
  } else if constexpr (std::is_arithmetic_v<T>) {
    return static_cast<T>(1);
  } else {
    return T{};
  }
}

template <class R, class... A>
R call_with_nulls(R (*f)(A...)) {
  return f(null_arg<A>()...);
}

template <class R, class... A>
constexpr bool has_pointer(R (*)(A...)) {
  return (std::is_pointer_v<A> || ...);
}

// Entries that return a status but answer an all-null call otherwise, with why.
const std::set<std::string> kExceptions = {};

template <bool ReturnsStatus, class F>
void check_null_call(const char* name, F f, int& checked) {
  if constexpr (ReturnsStatus) {
    if (has_pointer(f) && !kExceptions.count(name)) {
      EXPECT_EQ(call_with_nulls(f), kplStsNullPointer) << name;
      ++checked;
    }
  }
}

}  // namespace

TEST(NullPointers, EveryEntryRejectsNullPointers) {
  int checked = 0;
#define KPL_ENTRY(name, family, types, form, returns_status) check_null_call<returns_status>(#name, &name, checked);
#include "kpls_entries.inc"
#undef KPL_ENTRY
  EXPECT_GT(checked, 90);
}
