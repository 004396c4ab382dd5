// The six library constants, exported as data. The NaN has its sign bit set.
#include <bit>

#include "frame/entry.hpp"

extern "C" {
KPL_EXPORT extern const Kpl32f kplConstantOfNAN_32f = std::bit_cast<Kpl32f>(Kpl32u{0xFFC00000u});
KPL_EXPORT extern const Kpl32f kplConstantOfINF_32f = std::bit_cast<Kpl32f>(Kpl32u{0x7F800000u});
KPL_EXPORT extern const Kpl32f kplConstantOfINF_NEG_32f = std::bit_cast<Kpl32f>(Kpl32u{0xFF800000u});
KPL_EXPORT extern const Kpl64f kplConstantOfNAN_64f = std::bit_cast<Kpl64f>(Kpl64u{0xFFF8000000000000ull});
KPL_EXPORT extern const Kpl64f kplConstantOfINF_64f = std::bit_cast<Kpl64f>(Kpl64u{0x7FF0000000000000ull});
KPL_EXPORT extern const Kpl64f kplConstantOfINF_NEG_64f = std::bit_cast<Kpl64f>(Kpl64u{0xFFF0000000000000ull});
}
