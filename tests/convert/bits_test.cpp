// Bit strings: Copy_1u and PackBits_32u8u against a bit-by-bit reference, with the
// destination bits around the written run kept and the vectors placed against
// inaccessible pages, so that touching a byte outside the run faults.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kpls.h"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/values.hpp"

using kpltest::FencedPage;
using kpltest::Guarded;
using kpltest::Rng;

namespace {

// Bit i of a string, counted from the top bit of byte 0.
int get_bit(const uint8_t* p, size_t i) { return (p[i / 8] >> (7 - i % 8)) & 1; }
void set_bit(uint8_t* p, size_t i, int v) {
  const uint8_t m = static_cast<uint8_t>(0x80 >> (i % 8));
  p[i / 8] = static_cast<uint8_t>(v ? (p[i / 8] | m) : (p[i / 8] & ~m));
}

std::vector<uint8_t> random_bytes(Rng& rng, size_t n) {
  std::vector<uint8_t> v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng.next() >> 56);
  return v;
}

// ---- Copy_1u -------------------------------------------------------------------

// The destination bytes after copying len bits from bit so of src to bit dof.
std::vector<uint8_t> copy_1u_reference(const uint8_t* src, size_t so, std::vector<uint8_t> dst, size_t dof, size_t len) {
  for (size_t i = 0; i < len; ++i) set_bit(dst.data(), dof + i, get_bit(src, so + i));
  return dst;
}

// Both vectors span exactly the bytes that hold the run and sit against an
// inaccessible page, first at its start, then at its end: a byte read or written
// outside the run faults, and the bits of the end bytes outside it must be kept.
TEST(Copy1u, MatchesBitReferenceTouchingOnlyTheRun) {
  FencedPage src_page, dst_page;
  ASSERT_TRUE(src_page.ok() && dst_page.ok());
  Rng rng(11);
  std::vector<size_t> lengths;
  for (size_t n = 1; n <= 200; ++n) lengths.push_back(n);
  for (size_t n : {255u, 256u, 257u, 1000u, 3000u * 8 + 5}) lengths.push_back(n);
  for (size_t len : lengths) {
    for (size_t so = 0; so < 16; ++so) {
      for (size_t dof = 0; dof < 16; ++dof) {
        if (len > 200 && (so + dof) % 5 != 0) continue;
        const size_t sn = (so % 8 + len + 7) / 8, dn = (dof % 8 + len + 7) / 8;
        const auto sv = random_bytes(rng, sn), dv = random_bytes(rng, dn);
        const auto want = copy_1u_reference(sv.data(), so % 8, dv, dof % 8, len);
        for (bool at_end : {false, true}) {
          uint8_t* s = at_end ? src_page.ending_at_end(sn) : src_page.at_start();
          uint8_t* d = at_end ? dst_page.ending_at_end(dn) : dst_page.at_start();
          std::memcpy(s, sv.data(), sn);
          std::memcpy(d, dv.data(), dn);
          // The byte holding the first bit is pointer + offset / 8.
          ASSERT_EQ(kplsCopy_1u(s - so / 8, int(so), d - dof / 8, int(dof), int(len)), kplStsOk);
          ASSERT_EQ(std::vector<uint8_t>(d, d + dn), want) << "len=" << len << " so=" << so << " do=" << dof;
          ASSERT_EQ(std::memcmp(s, sv.data(), sn), 0) << "source changed, len=" << len;
        }
      }
    }
  }
}

TEST(Copy1u, KeepsTheOtherDestinationBits) {
  struct {
    std::vector<uint8_t> src;
    int so, dof, len;
    std::vector<uint8_t> before, after;
  } cases[] = {
      {{0x01, 0x80}, 7, 0, 3, {0x1F}, {0xDF}},              // bits 1 1 0 over the top three, five kept
      {{0x01, 0x40}, 7, 0, 3, {0xFF}, {0xBF}},              // bits 1 0 1
      {{0xFE, 0x3F}, 7, 0, 3, {0xE0}, {0x00}},              // zeros copied, zeros kept
      {{0xA0}, 0, 7, 3, {0x00, 0xFF}, {0x01, 0x7F}},        // across a destination byte
      {{0x00, 0x00, 0x01}, 23, 12, 1, {0, 0}, {0, 0x08}},   // one bit, both offsets past byte 0
      {{0xFF, 0xFF}, 4, 4, 8, {0x00, 0x00}, {0x0F, 0xF0}},  // same position: partial bytes at both ends
  };
  for (auto& c : cases) {
    auto dst = c.before;
    EXPECT_EQ(kplsCopy_1u(c.src.data(), c.so, dst.data(), c.dof, c.len), kplStsOk);
    EXPECT_EQ(dst, c.after) << "so=" << c.so << " do=" << c.dof << " len=" << c.len;
  }
}

TEST(Copy1u, ErrorsWriteNothing) {
  Guarded<Kpl8u> src(8), dst(8);
  const auto before = dst.snapshot();
  struct {
    bool null_src, null_dst;
    int so, dof, len;
    KplStatus want;
  } cases[] = {
      {true, false, 0, 0, 8, kplStsNullPointer},  {false, true, 0, 0, 8, kplStsNullPointer},
      {true, true, -1, -1, 0, kplStsNullPointer},  // pointers are tested before sizes
      {false, false, 0, 0, 0, kplStsBadSize},      {false, false, 0, 0, -5, kplStsBadSize},
      {false, false, -1, 0, 8, kplStsBadSize},     {false, false, 0, -8, 8, kplStsBadSize},
  };
  for (auto& c : cases) {
    EXPECT_EQ(kplsCopy_1u(c.null_src ? nullptr : src.data(), c.so, c.null_dst ? nullptr : dst.data(), c.dof, c.len),
              c.want)
        << "so=" << c.so << " do=" << c.dof << " len=" << c.len;
    EXPECT_TRUE(dst.unchanged_since(before));
  }
}

// ---- PackBits_32u8u ------------------------------------------------------------

// Packs the low min(width, 32) bits of each value, top bit first; widths <= 0
// pack nothing. Returns the number of bits written.
size_t pack_reference(const std::vector<Kpl32u>& v, const std::vector<Kpl32s>& w, uint8_t* dst, size_t offset) {
  size_t pos = offset;
  for (size_t i = 0; i < v.size(); ++i) {
    const int width = w[i] > 32 ? 32 : w[i];
    for (int b = width - 1; b >= 0; --b) set_bit(dst, pos++, int((uint64_t{v[i]} >> b) & 1));
  }
  return pos - offset;
}

size_t packed_bits(const std::vector<Kpl32s>& w) {
  size_t n = 0;
  for (int x : w) n += x <= 0 ? 0 : (x > 32 ? 32 : size_t(x));
  return n;
}

TEST(PackBits32u8u, MatchesBitReferenceTouchingOnlyTheRun) {
  Rng rng(21);
  FencedPage page;
  ASSERT_TRUE(page.ok());
  for (size_t len = 1; len <= 70; ++len) {
    for (size_t off = 0; off < 24; ++off) {
      std::vector<Kpl32u> v(len);
      std::vector<Kpl32s> w(len);
      for (size_t i = 0; i < len; ++i) {
        v[i] = static_cast<Kpl32u>(rng.next());
        const uint64_t r = rng.next();
        w[i] = r % 9 == 0 ? -int(r >> 40 & 7) - 1 : int(r >> 32) % 41;  // mostly 0..40, some negative
      }
      if (len % 7 == 3) std::fill(w.begin(), w.end(), 0);  // nothing to pack at all
      const size_t total = packed_bits(w);
      const size_t span = total ? (off + total + 7) / 8 - off / 8 : 0;  // the bytes holding packed bits
      const auto d = random_bytes(rng, span);
      std::vector<uint8_t> want = d;
      pack_reference(v, w, want.data(), off % 8);
      for (bool at_end : {false, true}) {
        uint8_t* p = at_end ? page.ending_at_end(span) : page.at_start();
        if (span != 0) std::memcpy(p, d.data(), span);  // an empty vector has no data pointer
        int end = -1;
        ASSERT_EQ(kplsPackBits_32u8u(v.data(), w.data(), int(len), p - off / 8, int(off), &end), kplStsOk);
        ASSERT_EQ(std::vector<uint8_t>(p, p + span), want) << "len=" << len << " off=" << off;
        ASSERT_EQ(end, int(off + total)) << "len=" << len << " off=" << off;
      }
    }
  }
}

TEST(PackBits32u8u, WidthsAndKeptBits) {
  struct {
    std::vector<Kpl32u> v;
    std::vector<Kpl32s> w;
    int off;
    std::vector<uint8_t> before, after;
    int end;
  } cases[] = {
      {{5, 1}, {3, 2}, 0, {0x07}, {0xAF}, 5},                       // 101 01, the low three bits kept
      {{0xFFFFFFF5}, {4}, 2, {0x00}, {0x14}, 6},                    // bits above the width are dropped
      {{0xFF, 0xFF, 1}, {-5, 0, 1}, 0, {0x00}, {0x80}, 1},          // widths <= 0 pack nothing
      {{0xFF, 0xFF}, {0, -1}, 3, {0x5A}, {0x5A}, 3},                // nothing at all: position unchanged
      {{0x89ABCDEF}, {40}, 0, {0, 0, 0, 0}, {0x89, 0xAB, 0xCD, 0xEF}, 32},  // a width above 32 is 32
      {{0x89ABCDEF}, {32}, 4, {0xF0, 0, 0, 0, 0x0F}, {0xF8, 0x9A, 0xBC, 0xDE, 0xFF}, 36},
      {{1, 0, 1}, {1, 1, 1}, 13, {0xFF, 0x00, 0xFF}, {0xFF, 0x05, 0xFF}, 16},  // three bits at 13..15
      {{0xFFFFFFFF, 0}, {INT_MIN, INT_MAX}, 0, {0xAA, 0xAA, 0xAA, 0xAA}, {0, 0, 0, 0}, 32},  // extreme widths
  };
  for (auto& c : cases) {
    auto dst = c.before;
    int end = -1;
    EXPECT_EQ(kplsPackBits_32u8u(c.v.data(), c.w.data(), int(c.v.size()), dst.data(), c.off, &end), kplStsOk);
    EXPECT_EQ(dst, c.after) << "off=" << c.off << " first width=" << c.w[0];
    EXPECT_EQ(end, c.end) << "off=" << c.off << " first width=" << c.w[0];
  }
}

TEST(PackBits32u8u, ErrorsWriteNothing) {
  const Kpl32u v[2] = {1, 2};
  const Kpl32s w[2] = {3, 4};
  Guarded<Kpl8u> dst(4);
  const auto before = dst.snapshot();
  int end = 77;
  EXPECT_EQ(kplsPackBits_32u8u(nullptr, w, 2, dst.data(), 0, &end), kplStsNullPointer);
  EXPECT_EQ(kplsPackBits_32u8u(v, nullptr, 2, dst.data(), 0, &end), kplStsNullPointer);
  EXPECT_EQ(kplsPackBits_32u8u(v, w, 2, nullptr, 0, &end), kplStsNullPointer);
  EXPECT_EQ(kplsPackBits_32u8u(v, w, 2, dst.data(), 0, nullptr), kplStsNullPointer);
  EXPECT_EQ(kplsPackBits_32u8u(v, w, 0, nullptr, -1, &end), kplStsNullPointer);  // pointers before sizes
  EXPECT_EQ(kplsPackBits_32u8u(v, w, 0, dst.data(), 0, &end), kplStsBadSize);
  EXPECT_EQ(kplsPackBits_32u8u(v, w, -3, dst.data(), 0, &end), kplStsBadSize);
  EXPECT_EQ(kplsPackBits_32u8u(v, w, 2, dst.data(), -1, &end), kplStsBadSize);
  EXPECT_TRUE(dst.unchanged_since(before));
  EXPECT_EQ(end, 77);
}

}  // namespace
