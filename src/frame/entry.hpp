// What every family file includes: the public types, the hidden q5_ declarations
// of every entry (KPL_IMPL), and the status shorthands.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kpls_impl.h"
#include "kpltypes.h"

namespace kpl {
inline namespace q5 {

// Whether any of the pointers a function requires is null.
template <class... P>
constexpr bool any_null(const P*... p) {
  return ((p == nullptr) || ...);
}

// The first two checks of nearly every function: the required pointers, then the
// length. Returns kplStsOk (0) when both pass, so it reads
//   if (KplStatus st = check_vector_args(len, pSrc, pDst)) return st;
template <class... P>
constexpr KplStatus check_vector_args(int len, const P*... p) {
  if (any_null(p...)) return kplStsNullPointer;
  if (len < 1) return kplStsBadSize;
  return kplStsOk;
}

template <class T>
inline const uint8_t* bytes_of(const T* p) {
  return reinterpret_cast<const uint8_t*>(p);
}
template <class T>
inline uint8_t* bytes_of(T* p) {
  return reinterpret_cast<uint8_t*>(p);
}

}  // namespace q5
}  // namespace kpl
