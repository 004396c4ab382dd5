// The kernels MulC shares with Mul (defined in mul.cpp): the constant takes the
// place of the second vector. The checks, the shortcuts and the scale class are
// the caller's; `c` is never kZero.
#pragma once

#include <cstddef>

#include "frame/entry.hpp"
#include "frame/scale.hpp"

namespace kpl {
inline namespace q5 {

void mul_const(const Kpl32f* s, Kpl32f v, Kpl32f* d, size_t n, bool stream);
void mul_const(const Kpl64f* s, Kpl64f v, Kpl64f* d, size_t n, bool stream);
void mul_const(const Kpl32fc* s, Kpl32fc v, Kpl32fc* d, size_t n, bool stream);
void mul_const(const Kpl64fc* s, Kpl64fc v, Kpl64fc* d, size_t n, bool stream);
void mul_const(const Kpl8u* s, Kpl8u v, Kpl8u* d, size_t n, ScaleClass c, int sf);
void mul_const(const Kpl16s* s, Kpl16s v, Kpl16s* d, size_t n, ScaleClass c, int sf);
void mul_const(const Kpl16sc* s, Kpl16sc v, Kpl16sc* d, size_t n, ScaleClass c, int sf);
void mul_const(const Kpl16u* s, Kpl16u v, Kpl16u* d, size_t n, ScaleClass c, int sf);
void mul_const(const Kpl32s* s, Kpl32s v, Kpl32s* d, size_t n, ScaleClass c, int sf);
void mul_const(const Kpl32sc* s, Kpl32sc v, Kpl32sc* d, size_t n, ScaleClass c, int sf);

}  // namespace q5
}  // namespace kpl
