// Real, Imag, CplxToReal, RealToCplx, Conj and ConjFlip: each family over its
// three types, lengths 1..70 and longer and every start offset, against a plain
// reference with the guards checked after each call; then the documented edge
// cases and the argument errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <vector>

#include "kpls.h"
#include "support/errors.hpp"
#include "support/guarded.hpp"
#include "support/sweep.hpp"
#include "support/values.hpp"

using namespace kpltest;

namespace {

template <class R, class C, auto Re, auto Im, auto ToReal, auto ToCplx, auto Cj, auto CjI, auto CjFlip>
struct Parts {
  using Real = R;
  using Cplx = C;
  static constexpr auto real = Re, imag = Im, cplx_to_real = ToReal, real_to_cplx = ToCplx;
  static constexpr auto conj = Cj, conj_in_place = CjI, conj_flip = CjFlip;
};
using AllParts = ::testing::Types<
    Parts<Kpl16s, Kpl16sc, kplsReal_16sc, kplsImag_16sc, kplsCplxToReal_16sc, kplsRealToCplx_16s, kplsConj_16sc,
          kplsConj_16sc_I, kplsConjFlip_16sc>,
    Parts<Kpl32f, Kpl32fc, kplsReal_32fc, kplsImag_32fc, kplsCplxToReal_32fc, kplsRealToCplx_32f, kplsConj_32fc,
          kplsConj_32fc_I, kplsConjFlip_32fc>,
    Parts<Kpl64f, Kpl64fc, kplsReal_64fc, kplsImag_64fc, kplsCplxToReal_64fc, kplsRealToCplx_64f, kplsConj_64fc,
          kplsConj_64fc_I, kplsConjFlip_64fc>>;

template <class P>
class ComplexParts : public ::testing::Test {};
TYPED_TEST_SUITE(ComplexParts, AllParts);

std::vector<Kpl16s> specials(Kpl16s) { return special_integers<Kpl16s>(); }
std::vector<Kpl32f> specials(Kpl32f) { return special_floats(); }
std::vector<Kpl64f> specials(Kpl64f) { return special_doubles(); }

// Random bits, with every third element's parts taken from the type's special values.
template <class C>
void fill_parts(C* p, size_t n, uint64_t seed) {
  fill_random_bits(p, n, seed);
  const auto sp = specials(p->re);
  for (size_t i = 0; i < n; i += 3) p[i].re = sp[(i + 1) % sp.size()], p[i].im = sp[i % sp.size()];
}

// Negation that saturates like the 16-bit forms, in exact integers; for floats the
// IEEE negate, which changes the sign bit only, NaNs included.
Kpl16sc conj_of(Kpl16sc c) { return {c.re, static_cast<Kpl16s>(std::min(-static_cast<int>(c.im), 32767))}; }
Kpl32fc conj_of(Kpl32fc c) { return {c.re, -c.im}; }
Kpl64fc conj_of(Kpl64fc c) { return {c.re, -c.im}; }

#define AT " len=" << len << " offsets " << a << "," << b

TYPED_TEST(ComplexParts, SplitMatchesReference) {
  using R = typename TypeParam::Real;
  using C = typename TypeParam::Cplx;
  sweep2([](size_t len, size_t a, size_t b) {
    if (::testing::Test::HasFailure()) return;  // one report, not thousands
    Guarded<C> src(len, a);
    Guarded<R> re(len, b), im(len, (a + 2 * b + 5) % 16);
    fill_parts(src.data(), len, len * 256 + a * 16 + b);
    std::vector<R> want_re(len), want_im(len);
    for (size_t i = 0; i < len; ++i) want_re[i] = src[i].re, want_im[i] = src[i].im;
    const int n = static_cast<int>(len);
    ASSERT_EQ(TypeParam::real(src.data(), re.data(), n), kplStsOk);
    ASSERT_EQ(TypeParam::imag(src.data(), im.data(), n), kplStsOk);
    EXPECT_TRUE(same_bits(re.data(), want_re.data(), len) && same_bits(im.data(), want_im.data(), len)) << AT;
    fill_random_bits(re.data(), len, 1), fill_random_bits(im.data(), len, 2);
    ASSERT_EQ(TypeParam::cplx_to_real(src.data(), re.data(), im.data(), n), kplStsOk);
    EXPECT_TRUE(same_bits(re.data(), want_re.data(), len) && same_bits(im.data(), want_im.data(), len)) << "both" AT;
    EXPECT_TRUE(re.guards_intact() && im.guards_intact()) << AT;
  });
}

TYPED_TEST(ComplexParts, RealToCplxMatchesReferenceWithEitherSourceMissing) {
  using R = typename TypeParam::Real;
  using C = typename TypeParam::Cplx;
  sweep2([](size_t len, size_t a, size_t b) {
    if (::testing::Test::HasFailure()) return;
    Guarded<R> re(len, a), im(len, (3 * a + b) % 16);
    Guarded<C> dst(len, b);
    fill_random_bits(re.data(), len, len * 256 + a * 16 + b), fill_random_bits(im.data(), len, len + 1);
    for (int missing = 0; missing < 3; ++missing) {  // none, the real source, the imaginary source
      const R* r = missing == 1 ? nullptr : re.data();
      const R* m = missing == 2 ? nullptr : im.data();
      std::vector<C> want(len);  // zero bits where a source is missing
      for (size_t i = 0; i < len; ++i) want[i] = {r ? r[i] : R{}, m ? m[i] : R{}};
      fill_random_bits(dst.data(), len, 3);
      ASSERT_EQ(TypeParam::real_to_cplx(r, m, dst.data(), static_cast<int>(len)), kplStsOk);
      EXPECT_TRUE(same_bits(dst.data(), want.data(), len)) << "missing=" << missing << AT;
      EXPECT_TRUE(dst.guards_intact()) << "missing=" << missing << AT;
    }
  });
}

TYPED_TEST(ComplexParts, ConjAndConjFlipMatchReference) {
  using C = typename TypeParam::Cplx;
  sweep2([](size_t len, size_t a, size_t b) {
    if (::testing::Test::HasFailure()) return;
    Guarded<C> src(len, a), dst(len, b), flipped(len, (a + b + 3) % 16);
    fill_parts(src.data(), len, len * 256 + a * 16 + b);
    const auto src_before = src.snapshot();
    std::vector<C> want(len), want_flipped(len);
    for (size_t i = 0; i < len; ++i) want[i] = conj_of(src[i]), want_flipped[len - 1 - i] = want[i];
    const int n = static_cast<int>(len);
    ASSERT_EQ(TypeParam::conj(src.data(), dst.data(), n), kplStsOk);
    ASSERT_EQ(TypeParam::conj_flip(src.data(), flipped.data(), n), kplStsOk);
    EXPECT_TRUE(same_bits(dst.data(), want.data(), len)) << AT;
    EXPECT_TRUE(same_bits(flipped.data(), want_flipped.data(), len)) << "flip" AT;
    EXPECT_TRUE(dst.guards_intact() && flipped.guards_intact() && src.unchanged_since(src_before)) << AT;
    if (b == 0) {  // in place, once per source offset
      ASSERT_EQ(TypeParam::conj_in_place(src.data(), n), kplStsOk);
      EXPECT_TRUE(same_bits(src.data(), want.data(), len) && src.guards_intact()) << "in place" AT;
    }
  });
}

#undef AT

TEST(ComplexPartsEdges, Conj16scSaturates) {
  const struct { Kpl16sc in, want; } cases[] = {
      {{1, -32768}, {1, 32767}}, {{-32768, 32767}, {-32768, -32767}}, {{5, 0}, {5, 0}}, {{0, -1}, {0, 1}}};
  for (const auto& c : cases) {
    Kpl16sc out{}, in_place = c.in;
    EXPECT_EQ(kplsConj_16sc(&c.in, &out, 1), kplStsOk);
    EXPECT_EQ(kplsConj_16sc_I(&in_place, 1), kplStsOk);
    EXPECT_TRUE(out.re == c.want.re && out.im == c.want.im && in_place.im == c.want.im) << c.in.re << "," << c.in.im;
  }
}

TEST(ComplexPartsEdges, Conj32fcFlipsOnlyTheSignBit) {
  const Kpl32fc in[] = {{std::bit_cast<float>(0x7F800001u), std::bit_cast<float>(0x7FC01234u)},  // NaN payloads
                        {1.0f, -0.0f}};
  Kpl32fc out[2];
  EXPECT_EQ(kplsConj_32fc(in, out, 2), kplStsOk);
  EXPECT_EQ(std::bit_cast<uint32_t>(out[0].re), 0x7F800001u);
  EXPECT_EQ(std::bit_cast<uint32_t>(out[0].im), 0xFFC01234u);
  EXPECT_EQ(std::bit_cast<uint32_t>(out[1].im), 0x00000000u);
}

TEST(ComplexPartsEdges, RealToCplxWithoutRealPartsGivesZeros) {
  const Kpl32f im[] = {1.5f, -2.0f, 3.25f};
  Kpl32fc out[3];
  EXPECT_EQ(kplsRealToCplx_32f(nullptr, im, out, 3), kplStsOk);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::bit_cast<uint32_t>(out[i].re) == 0 && out[i].im == im[i]) << i;
}

TYPED_TEST(ComplexParts, ArgumentErrorsWriteNothing) {
  using R = typename TypeParam::Real;
  using C = typename TypeParam::Cplx;
  expect_rejected(TypeParam::real, "Real"), expect_rejected(TypeParam::imag, "Imag");
  expect_rejected(TypeParam::conj, "Conj"), expect_rejected(TypeParam::conj_flip, "ConjFlip");
  expect_rejected(TypeParam::conj_in_place, "Conj_I");

  Guarded<C> cplx(4);
  Guarded<R> re(4), im(4);
  const auto c0 = cplx.snapshot(), re0 = re.snapshot(), im0 = im.snapshot();
  C* c = cplx.data();
  EXPECT_EQ(TypeParam::cplx_to_real(nullptr, re.data(), im.data(), 4), kplStsNullPointer);
  EXPECT_EQ(TypeParam::cplx_to_real(c, nullptr, im.data(), 4), kplStsNullPointer);
  EXPECT_EQ(TypeParam::cplx_to_real(c, re.data(), nullptr, 0), kplStsNullPointer);
  EXPECT_EQ(TypeParam::cplx_to_real(c, re.data(), im.data(), 0), kplStsBadSize);
  EXPECT_EQ(TypeParam::cplx_to_real(c, re.data(), im.data(), -1), kplStsBadSize);
  EXPECT_TRUE(re.unchanged_since(re0) && im.unchanged_since(im0));

  EXPECT_EQ(TypeParam::real_to_cplx(re.data(), im.data(), nullptr, 4), kplStsNullPointer);
  EXPECT_EQ(TypeParam::real_to_cplx(nullptr, nullptr, c, 4), kplStsNullPointer);
  EXPECT_EQ(TypeParam::real_to_cplx(nullptr, nullptr, c, 0), kplStsNullPointer);
  EXPECT_EQ(TypeParam::real_to_cplx(nullptr, im.data(), c, 0), kplStsBadSize);
  EXPECT_EQ(TypeParam::real_to_cplx(re.data(), nullptr, c, -1), kplStsBadSize);
  EXPECT_TRUE(cplx.unchanged_since(c0));
}

}  // namespace

// Long 64-bit vectors store around the cache from half the last-level cache on;
// the values must not depend on it, at an aligned or a misaligned destination.
TEST(ComplexPartsLong, StreamingPathsGiveTheSameBits) {
  const size_t n = (size_t{20} << 20) / sizeof(Kpl64f) + 3;
  Guarded<Kpl64fc> cplx(n, 1);
  fill_random_bits(cplx.data(), n, 77);
  for (size_t off : {0u, 1u}) {
    Guarded<Kpl64f> re(n, off), im(n, off);
    ASSERT_EQ(kplsReal_64fc(cplx.data(), re.data(), static_cast<int>(n)), kplStsOk);
    ASSERT_EQ(kplsImag_64fc(cplx.data(), im.data(), static_cast<int>(n)), kplStsOk);
    for (size_t i = 0; i < n; ++i) {
      ASSERT_TRUE(same_bits(&re[i], &cplx[i].re, 1) && same_bits(&im[i], &cplx[i].im, 1)) << i;
    }
    ASSERT_TRUE(re.guards_intact() && im.guards_intact());
    Guarded<Kpl64fc> back(n, off);
    ASSERT_EQ(kplsRealToCplx_64f(re.data(), im.data(), back.data(), static_cast<int>(n)), kplStsOk);
    ASSERT_TRUE(same_bits(back.data(), cplx.data(), n));
    ASSERT_TRUE(back.guards_intact());
  }
}
