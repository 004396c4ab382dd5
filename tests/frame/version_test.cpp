// The version record and the library constants, as they stand.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>

#include "kpls.h"

TEST(Version, RecordHoldsThisBuild) {
  const KplLibraryVersion* v = kplsGetLibVersion();
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->major, 7);
  EXPECT_EQ(v->minor, 0);
  EXPECT_EQ(v->majorBuild, 205);
  EXPECT_EQ(v->build, 1058);
  EXPECT_EQ(std::memcmp(v->targetCpu, "q5\0\0", 4), 0);
  EXPECT_STREQ(v->name, "libkplsq5-7.0.dylib");
  EXPECT_STREQ(v->version, "7.0 build 205.58");
  EXPECT_STREQ(v->buildDate, "Apr 19 2011");
}

TEST(Version, SameRecordEveryCall) { EXPECT_EQ(kplsGetLibVersion(), kplsGetLibVersion()); }

TEST(Constants, BitsAsDocumented) {
  EXPECT_EQ(std::bit_cast<Kpl32u>(kplConstantOfNAN_32f), 0xFFC00000u);
  EXPECT_EQ(std::bit_cast<Kpl32u>(kplConstantOfINF_32f), 0x7F800000u);
  EXPECT_EQ(std::bit_cast<Kpl32u>(kplConstantOfINF_NEG_32f), 0xFF800000u);
  EXPECT_EQ(std::bit_cast<Kpl64u>(kplConstantOfNAN_64f), 0xFFF8000000000000ull);
  EXPECT_EQ(std::bit_cast<Kpl64u>(kplConstantOfINF_64f), 0x7FF0000000000000ull);
  EXPECT_EQ(std::bit_cast<Kpl64u>(kplConstantOfINF_NEG_64f), 0xFFF0000000000000ull);
}

TEST(Statuses, ValuesAreTheInterface) {
  struct { int got, want; } codes[] = {
      {kplStsOk, 0}, {kplStsWarnSqrtNegative, 3}, {kplStsWarnInvZero, 4}, {kplStsWarnEvenMask, 5},
      {kplStsWarnDivByZero, 6}, {kplStsWarnLogZero, 7}, {kplStsWarnLogNegative, 8}, {kplStsWarnNanInf, 9},
      {kplStsBadArgument, -5}, {kplStsBadSize, -6}, {kplStsBadMode, -7}, {kplStsNullPointer, -8},
      {kplStsNoMemory, -9}, {kplStsDivByZero, -10}, {kplStsBadParam, -11}, {kplStsBadScale, -13},
      {kplStsBadFftOrder, -15}, {kplStsBadFftFlag, -16}, {kplStsBadContext, -17},
      {kplStsBadThresholdPair, -18}, {kplStsBadThreshold, -19}, {kplStsBadDlyLineIndex, -24},
      {kplStsBadFilterOrder, -25}, {kplStsBadFilterLength, -26}, {kplStsBadRelFreq, -27},
      {kplStsBadPhase, -28}, {kplStsBadFactor, -29}, {kplStsBadSamplePhase, -30},
      {kplStsBadSampleFactor, -31}, {kplStsBadShift, -32}, {kplStsBadWindow, -33}, {kplStsBadWavelet, -35},
      {kplStsBadJaehne, -38}, {kplStsBadKaiserAlpha, -39}, {kplStsBadTriangleAsym, -40},
      {kplStsBadTrianglePhase, -41}, {kplStsBadTriangleFreq, -42}, {kplStsBadTriangleMagn, -43},
      {kplStsBadTonePhase, -44}, {kplStsBadToneFreq, -45}, {kplStsBadToneMagn, -46},
      {kplStsBadChannelCount, -53}, {kplStsBadMatrix, -182}, {kplStsBadSparseSpec, -194},
      {kplStsSingularMatrix, -195}, {kplStsBadIIRGenOrder, -206}, {kplStsBadIIRGenFreq, -208},
      {kplStsBadChebyRipple, -209}, {kplStsBadRoundMode, -213},
      {kplRndZero, 0}, {kplRndNear, 1}, {kplRndFinancial, 2}, {kplAlgHintNone, 0}, {kplAlgHintFast, 1},
      {kplAlgHintAccurate, 2}, {kplCmpLess, 0}, {kplCmpGreater, 4}, {KPL_FFT_DIV_FWD_BY_N, 1},
      {KPL_FFT_DIV_INV_BY_N, 2}, {KPL_FFT_DIV_BY_SQRTN, 4}, {KPL_FFT_NODIV_BY_ANY, 8},
  };
  for (auto c : codes) EXPECT_EQ(c.got, c.want);
}

extern "C" int kpls_header_check_c(void);
int kpls_header_check_cxx();

TEST(Headers, CompileAsC99AndCxx) {
  EXPECT_EQ(kpls_header_check_c(), 0);
  EXPECT_EQ(kpls_header_check_cxx(), 0);
}
