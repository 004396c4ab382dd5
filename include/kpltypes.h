/* kpls: element types, status codes, enumerations, flags and the version record. */
#ifndef KPLTYPES_H
#define KPLTYPES_H

#ifdef __cplusplus
#define KPL_EXTERN_C extern "C"
#else
#define KPL_EXTERN_C extern
#endif

#if defined(__GNUC__)
#define KPL_EXPORT __attribute__((visibility("default")))
#else
#define KPL_EXPORT
#endif

/* Every exported function is declared with KPLAPI(return type). */
#define KPLAPI(type) KPL_EXTERN_C KPL_EXPORT type

/* ---- Element types ---------------------------------------------------- */
typedef unsigned char Kpl8u;
typedef signed char Kpl8s;
typedef unsigned short Kpl16u;
typedef short Kpl16s;
typedef unsigned int Kpl32u;
typedef int Kpl32s;
typedef unsigned long long Kpl64u;
typedef long long Kpl64s;
typedef float Kpl32f;
typedef double Kpl64f;

/* Complex types: real part first. */
typedef struct { Kpl8s re; Kpl8s im; } Kpl8sc;
typedef struct { Kpl16s re; Kpl16s im; } Kpl16sc;
typedef struct { Kpl32s re; Kpl32s im; } Kpl32sc;
typedef struct { Kpl64s re; Kpl64s im; } Kpl64sc;
typedef struct { Kpl32f re; Kpl32f im; } Kpl32fc;
typedef struct { Kpl64f re; Kpl64f im; } Kpl64fc;

/* Storage-only forms. A 16f element is the bit pattern of an IEEE binary16 in a
   16-bit word. A 24-bit element is three bytes, least significant first, with no
   padding: a vector of n samples takes 3n bytes. A 1u vector is a string of bits
   addressed by a byte pointer and a bit offset, most significant bit first. */
typedef Kpl16s Kpl16f;
typedef struct { Kpl8u b[3]; } Kpl24u;
typedef struct { Kpl8u b[3]; } Kpl24s;
typedef Kpl8u Kpl1u;

/* ---- Status ----------------------------------------------------------- */
/* 0 is success, a negative value an error (nothing written), a positive value a
   warning (all results stored). */
typedef Kpl32s KplStatus;

enum {
  kplStsOk = 0,
  kplStsWarnSqrtNegative = 3,
  kplStsWarnInvZero = 4,
  kplStsWarnEvenMask = 5,
  kplStsWarnDivByZero = 6,
  kplStsWarnLogZero = 7,
  kplStsWarnLogNegative = 8,
  kplStsWarnNanInf = 9,
  kplStsBadArgument = -5,
  kplStsBadSize = -6,
  kplStsBadMode = -7,
  kplStsNullPointer = -8,
  kplStsNoMemory = -9,
  kplStsDivByZero = -10,
  kplStsBadParam = -11,
  kplStsBadScale = -13,
  kplStsBadFftOrder = -15,
  kplStsBadFftFlag = -16,
  kplStsBadContext = -17,
  kplStsBadThresholdPair = -18,
  kplStsBadThreshold = -19,
  kplStsBadDlyLineIndex = -24,
  kplStsBadFilterOrder = -25,
  kplStsBadFilterLength = -26,
  kplStsBadRelFreq = -27,
  kplStsBadPhase = -28,
  kplStsBadFactor = -29,
  kplStsBadSamplePhase = -30,
  kplStsBadSampleFactor = -31,
  kplStsBadShift = -32,
  kplStsBadWindow = -33,
  kplStsBadWavelet = -35,
  kplStsBadJaehne = -38,
  kplStsBadKaiserAlpha = -39,
  kplStsBadTriangleAsym = -40,
  kplStsBadTrianglePhase = -41,
  kplStsBadTriangleFreq = -42,
  kplStsBadTriangleMagn = -43,
  kplStsBadTonePhase = -44,
  kplStsBadToneFreq = -45,
  kplStsBadToneMagn = -46,
  kplStsBadChannelCount = -53,
  kplStsBadMatrix = -182,
  kplStsBadSparseSpec = -194,
  kplStsSingularMatrix = -195,
  kplStsBadIIRGenOrder = -206,
  kplStsBadIIRGenFreq = -208,
  kplStsBadChebyRipple = -209,
  kplStsBadRoundMode = -213
};

/* ---- Enumerations, passed as signed 32-bit integers -------------------- */
typedef Kpl32s KplRoundMode;
enum { kplRndZero = 0, kplRndNear = 1, kplRndFinancial = 2 };

/* Only kplAlgHintFast is ever tested for; every other value selects the
   accurate kernel and none is rejected. */
typedef Kpl32s KplHintAlgorithm;
enum { kplAlgHintNone = 0, kplAlgHintFast = 1, kplAlgHintAccurate = 2 };

typedef Kpl32s KplCmpOp;
enum { kplCmpLess = 0, kplCmpGreater = 4 };

/* ---- FFT plans and flags ------------------------------------------------ */
/* Plans are opaque records built by the FFTInit functions. */
typedef struct KplsFFTSpec_C_16sc KplsFFTSpec_C_16sc;
typedef struct KplsFFTSpec_C_16s KplsFFTSpec_C_16s;
typedef struct KplsFFTSpec_R_16s KplsFFTSpec_R_16s;
typedef struct KplsFFTSpec_C_32fc KplsFFTSpec_C_32fc;
typedef struct KplsFFTSpec_C_32f KplsFFTSpec_C_32f;
typedef struct KplsFFTSpec_R_32f KplsFFTSpec_R_32f;
typedef struct KplsFFTSpec_C_64fc KplsFFTSpec_C_64fc;
typedef struct KplsFFTSpec_C_64f KplsFFTSpec_C_64f;
typedef struct KplsFFTSpec_R_64f KplsFFTSpec_R_64f;
typedef struct KplsFFTSpec_C_32sc KplsFFTSpec_C_32sc;
typedef struct KplsFFTSpec_C_32s KplsFFTSpec_C_32s;
typedef struct KplsFFTSpec_R_32s KplsFFTSpec_R_32s;
typedef struct KplsFFTSpec_R_16s32s KplsFFTSpec_R_16s32s;

/* Forward transforms use exp(-2 pi i nk/N), inverse ones exp(+2 pi i nk/N). */
#define KPL_FFT_DIV_FWD_BY_N 1
#define KPL_FFT_DIV_INV_BY_N 2
#define KPL_FFT_DIV_BY_SQRTN 4
#define KPL_FFT_NODIV_BY_ANY 8

/* ---- Library constants -------------------------------------------------- */
/* Stored wherever a function writes an infinity or a NaN from a table. The NaN
   has its sign bit set: 0xFFC00000 and 0xFFF8000000000000. */
KPL_EXTERN_C KPL_EXPORT const Kpl32f kplConstantOfNAN_32f;
KPL_EXTERN_C KPL_EXPORT const Kpl32f kplConstantOfINF_32f;
KPL_EXTERN_C KPL_EXPORT const Kpl32f kplConstantOfINF_NEG_32f;
KPL_EXTERN_C KPL_EXPORT const Kpl64f kplConstantOfNAN_64f;
KPL_EXTERN_C KPL_EXPORT const Kpl64f kplConstantOfINF_64f;
KPL_EXTERN_C KPL_EXPORT const Kpl64f kplConstantOfINF_NEG_64f;

/* ---- Version record ----------------------------------------------------- */
typedef struct {
  Kpl32s major;
  Kpl32s minor;
  Kpl32s majorBuild;
  Kpl32s build;
  char targetCpu[4];
  const char* name;
  const char* version;
  const char* buildDate;
} KplLibraryVersion;

#endif /* KPLTYPES_H */
