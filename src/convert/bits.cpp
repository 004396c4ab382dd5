// Bit strings: Copy_1u copies a run of bits, PackBits_32u8u packs values of given
// widths one after the other. Bits are numbered from the most significant bit of
// each byte: bit offset 0 is the top bit of byte 0, offset 9 the second-highest
// bit of byte 1. Bits of the destination outside the written run are kept, and no
// byte is read that holds none of the bits copied.
#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/simd.hpp"

namespace kpl {
inline namespace q5 {
namespace {

// The bits of a byte from position `from` (0 = top bit) up to, not including, `to`.
constexpr uint8_t bit_range(unsigned from, unsigned to) {
  return static_cast<uint8_t>((0xFFu >> from) & ~(0xFFu >> to));
}

// Writes the bits of `mask` from `bits` and keeps the others.
inline void merge_byte(uint8_t* d, unsigned bits, uint8_t mask) {
  *d = static_cast<uint8_t>((*d & ~mask) | (bits & mask));
}

inline uint64_t load_be64(const uint8_t* p) { return __builtin_bswap64(load_raw<uint64_t>(p)); }
inline void store_be64(uint8_t* p, uint64_t v) { store_raw(p, __builtin_bswap64(v)); }
inline void store_be32(uint8_t* p, uint32_t v) { store_raw(p, __builtin_bswap32(v)); }

// Source and destination share the bit position within their bytes: a partial
// byte at each end and whole bytes between, which the byte copy moves.
void copy_1u_aligned(const uint8_t* s, uint8_t* d, unsigned pos, size_t n) {
  if (pos != 0) {
    const unsigned end = n < 8 - pos ? pos + static_cast<unsigned>(n) : 8;
    merge_byte(d, *s, bit_range(pos, end));
    n -= end - pos;
    ++s;
    ++d;
  }
  const size_t whole = n / 8;
  if (whole != 0) KPL_IMPL(kplsCopy_8u)(s, d, static_cast<int>(whole));
  if (n % 8 != 0) merge_byte(d + whole, s[whole], bit_range(0, n % 8));
}

// Different bit positions. Destination byte j takes 8 source bits from bit
// 8j + (spos - dpos) of `s`, which straddle two source bytes. The inner
// destination bytes are whole and go 8 at a time through big-endian words; the
// first and last are merged under a mask, and their source bytes are read only
// when they hold copied bits.
void copy_1u_shifted(const uint8_t* s, unsigned spos, uint8_t* d, unsigned dpos, size_t n) {
  const size_t src_bytes = (spos + n + 7) / 8;
  const size_t dst_bytes = (dpos + n + 7) / 8;
  const int shift = static_cast<int>(spos) - static_cast<int>(dpos);  // -7..7, never 0
  const ptrdiff_t lead = shift > 0 ? 0 : -1;                          // first source byte of dst byte 0
  const unsigned r = static_cast<unsigned>(shift) & 7;                // bit position in it, 1..7

  auto src_at = [&](ptrdiff_t i) -> unsigned {
    return i >= 0 && static_cast<size_t>(i) < src_bytes ? s[i] : 0u;
  };
  auto window = [&](size_t j) -> unsigned {
    const ptrdiff_t q = static_cast<ptrdiff_t>(j) + lead;
    return (src_at(q) << r) | (src_at(q + 1) >> (8 - r));
  };

  if (dst_bytes == 1) {
    merge_byte(d, window(0), bit_range(dpos, dpos + static_cast<unsigned>(n)));
    return;
  }
  merge_byte(d, window(0), bit_range(dpos, 8));
  const size_t last = dst_bytes - 1;
  size_t j = 1;
  for (; j + 8 <= last; j += 8) {
    const uint8_t* q = s + j + lead;  // q[0..8] all hold copied bits
    store_be64(d + j, (load_be64(q) << r) | (q[8] >> (8 - r)));
  }
  for (; j < last; ++j) d[j] = static_cast<uint8_t>(window(j));
  const unsigned tail = static_cast<unsigned>((dpos + n) % 8);
  merge_byte(d + last, window(last), tail != 0 ? bit_range(0, tail) : 0xFF);
}

// Mask of the low w bits, for every width a value can be packed with.
constexpr std::array<uint32_t, 33> kWidthMasks = [] {
  std::array<uint32_t, 33> m{};
  for (unsigned w = 0; w < 32; ++w) m[w] = (1u << w) - 1;
  m[32] = 0xFFFFFFFFu;
  return m;
}();
constexpr int kMaxPackWidth = 32;

// Packs values[i] with width widths[i] from bit `pos` of `d` on and returns the
// number of bits packed. A width above 32 counts as 32, one at or below zero
// packs nothing. The accumulator holds the bits not yet stored (at most 31)
// below the new value, so it never needs more than 63 bits.
uint64_t pack_bits(const uint32_t* values, const int32_t* widths, size_t n, uint8_t* d, unsigned pos) {
  size_t i = 0;
  while (i < n && widths[i] <= 0) ++i;
  if (i == n) return 0;  // nothing to pack: the destination is not even read

  // The kept bits in front of the offset go through the accumulator and are
  // stored back as they were.
  uint64_t acc = pos != 0 ? *d >> (8 - pos) : 0;
  unsigned pending = pos;
  uint64_t total = 0;
  for (; i < n; ++i) {
    if (widths[i] <= 0) continue;
    const unsigned w = static_cast<unsigned>(widths[i] < kMaxPackWidth ? widths[i] : kMaxPackWidth);
    acc = (acc << w) | (values[i] & kWidthMasks[w]);
    pending += w;
    total += w;
    if (pending >= 32) {
      pending -= 32;
      store_be32(d, static_cast<uint32_t>(acc >> pending));
      d += 4;
    }
  }
  for (; pending >= 8; d += 1) {
    pending -= 8;
    *d = static_cast<uint8_t>(acc >> pending);
  }
  if (pending != 0) merge_byte(d, static_cast<unsigned>(acc << (8 - pending)), bit_range(0, pending));
  return total;
}

}  // namespace
}  // namespace q5
}  // namespace kpl

using namespace kpl;

KplStatus KPL_IMPL(kplsCopy_1u)(const Kpl8u* pSrc, int srcBitOffset, Kpl8u* pDst, int dstBitOffset, int len) {
  if (any_null(pSrc, pDst)) return kplStsNullPointer;
  if (len < 1 || srcBitOffset < 0 || dstBitOffset < 0) return kplStsBadSize;
  const uint8_t* s = pSrc + srcBitOffset / 8;
  uint8_t* d = pDst + dstBitOffset / 8;
  const unsigned spos = static_cast<unsigned>(srcBitOffset % 8), dpos = static_cast<unsigned>(dstBitOffset % 8);
  if (spos == dpos)
    copy_1u_aligned(s, d, spos, static_cast<size_t>(len));
  else
    copy_1u_shifted(s, spos, d, dpos, static_cast<size_t>(len));
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsPackBits_32u8u)(const Kpl32u* pSrc, const Kpl32s* pSrcBits, int len, Kpl8u* pDst,
                                        int dstBitOffset, int* pDstBitOffset) {
  if (any_null(pSrc, pSrcBits, pDst, pDstBitOffset)) return kplStsNullPointer;
  if (len < 1 || dstBitOffset < 0) return kplStsBadSize;
  const uint64_t packed = pack_bits(pSrc, pSrcBits, static_cast<size_t>(len), pDst + dstBitOffset / 8,
                                    static_cast<unsigned>(dstBitOffset % 8));
  // Past INT_MAX bits the position wraps like any 32-bit count.
  *pDstBitOffset = static_cast<int>(static_cast<uint64_t>(dstBitOffset) + packed);
  return kplStsOk;
}
