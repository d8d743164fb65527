/*
 * fenxi flat C interface. Plain C (C99 or later); also included by fenxi.h.
 *
 * Holds the bar record shared by both interfaces and the process-wide
 * debug-output hook that receives the texts of the concrete log sink.
 */
#ifndef FENXI_FENXI_C_H
#define FENXI_FENXI_C_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "fenxi/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One price bar, 48 bytes, little-endian. Prices are integers in units of
 * 1/unit of a price unit, where unit is the second argument of every
 * generator; an analysis value is price * (10000.0 / unit). */
typedef struct UNIKDATA {
    int32_t Date;    /*  0 */
    int32_t Time;    /*  4 */
    int32_t Open;    /*  8 */
    int32_t High;    /* 12 */
    int32_t Low;     /* 16 */
    int32_t Close;   /* 20 */
    uint64_t Volume; /* 24, converted to double as unsigned */
    double Amount;   /* 32 */
    uint64_t Field40; /* 40, not read by the indicators */
} UNIKDATA;

#if defined(__cplusplus)
#  define FENXI_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#  define FENXI_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#else
#  define FENXI_STATIC_ASSERT(cond, msg) extern int fenxi_static_assert_unchecked
#endif

FENXI_STATIC_ASSERT(sizeof(UNIKDATA) == 48, "UNIKDATA is 48 bytes");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Date) == 0, "UNIKDATA.Date");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Time) == 4, "UNIKDATA.Time");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Open) == 8, "UNIKDATA.Open");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, High) == 12, "UNIKDATA.High");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Low) == 16, "UNIKDATA.Low");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Close) == 20, "UNIKDATA.Close");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Volume) == 24, "UNIKDATA.Volume");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Amount) == 32, "UNIKDATA.Amount");
FENXI_STATIC_ASSERT(offsetof(UNIKDATA, Field40) == 40, "UNIKDATA.Field40");

/* One bar of a returned line array, 24 bytes. */
typedef struct LineStruct {
    double Value0; /* the line mapped to slot 0 */
    double Value1; /* the line mapped to slot 1, 0.0 when none */
    double Mark;   /* ComputeDKDataForC: 0.0 none, 1.0 D point, 2.0 K point */
} LineStruct;

FENXI_STATIC_ASSERT(sizeof(LineStruct) == 24, "LineStruct is 24 bytes");
FENXI_STATIC_ASSERT(offsetof(LineStruct, Value0) == 0, "LineStruct.Value0");
FENXI_STATIC_ASSERT(offsetof(LineStruct, Value1) == 8, "LineStruct.Value1");
FENXI_STATIC_ASSERT(offsetof(LineStruct, Mark) == 16, "LineStruct.Mark");

/*
 * Flat functions. Each copies the caller's bars (at most 36500; the array is
 * only read and may be freed when the call returns), runs a fresh engine
 * with a fresh concrete log sink that traces every step to the debug-output
 * hook ("[<source path>] LINE <n>\n"), and hands back a new array that the
 * caller releases with FreeLineStruct (or FreeCharBuffer for text). They
 * return false, with no out-parameter written, for more than 36500 bars, a
 * negative count, null bars with a positive count, null out-parameters, or
 * any failure inside (no exception ever leaves them). A count of 0 returns
 * true with a zero-length array that must still be released.
 *
 * nPeriodCode gives the bar length and the long-period flag: 2-6 are 5, 15,
 * 30, 60 and 120-minute bars; 8, 9, 10 and 12 are 2-, 3-, 4- and 5-day bars
 * (long period); any other code is 1, long period when 7 or more.
 */

/* Life-line averages (Value0: 65 bars, Value1: 130 bars of (high+close)/2)
 * and the long/short mark of every bar. The long-term system runs for long
 * periods, the short-term one otherwise; nParam is the market, bFlagA the
 * drawdown exit, bFlagB the narrow price limit; code 7 enables the limit
 * rules. nScale is the price unit of the bars. */
FENXI_API bool FENXI_CALL ComputeDKDataForC(int32_t nCount, UNIKDATA *pBars, LineStruct **ppLines,
                                           int32_t *pLineCount, const char *szCode, int32_t nParam,
                                           int32_t nPeriodCode, bool bFlagA, bool bFlagB, int32_t nScale);
/* Demonstration stub: traces "ComputeDKDataForCDemo exit." and returns true. */
FENXI_API bool FENXI_CALL ComputeDKDataForCDemo(void);

/* The capital-flow line of every bar in Value0: LDX_OBV_DIF of the
 * cumulative directional volume (ZJ), or the reshaped MACD-style line (SH).
 * GenerateZJLDXFXForC reseeds the C random generator. */
FENXI_API bool FENXI_CALL GenerateZJLDXFXForC(int32_t nCount, UNIKDATA *pBars, LineStruct **ppLines,
                                             int32_t *pLineCount, const char *szCode, int32_t nReserved,
                                             int32_t nPeriodCode, int32_t nScale);
FENXI_API bool FENXI_CALL GenerateSHLDXFXForC(int32_t nCount, UNIKDATA *pBars, LineStruct **ppLines,
                                             int32_t *pLineCount, const char *szCode, int32_t nReserved,
                                             int32_t nPeriodCode, int32_t nScale);

/* The operating tip for the last bar as UTF-8 text in a new NUL-terminated
 * buffer (*pTextLength bytes before the NUL), released with FreeCharBuffer.
 * The system is mounted exactly as ComputeDKDataForC mounts it; the tip is
 * the short-term one for short periods and the long-term one otherwise
 * (bFlagA, bFlagB as there). When the system gives no tip for that bar the
 * text is empty. Traces: LINE 601, then 607 and false when the bars are
 * refused, else 612, 618, 624 and "ComputeDKMsgForC exit.". */
FENXI_API bool FENXI_CALL ComputeDKMsgForC(int32_t nCount, UNIKDATA *pBars, char **ppText, int32_t *pTextLength,
                                          const char *szCode, int32_t nParam, int32_t nPeriodCode, bool bFlagA,
                                          bool bFlagB, int32_t nScale);
/* Demonstration stub: traces "ComputeDKMsgForCDemo exit." and returns true. */
FENXI_API bool FENXI_CALL ComputeDKMsgForCDemo(void);

/* Release an array or text handed out above and set *ppBuffer to null; a
 * null *ppBuffer is left alone. One operation under two names. Pass the
 * address of your pointer, cast: FreeLineStruct((void **)&lines). */
FENXI_API void FENXI_CALL FreeLineStruct(void **ppBuffer);
FENXI_API void FENXI_CALL FreeCharBuffer(void **ppBuffer);

/* Receives every text written by the concrete log sink (CAnaLogForHVQ), as
 * one NUL-terminated string per message, unchanged. The hook may be called
 * from any thread that runs the engine; it must not call back into fenxi's
 * hook setter. */
typedef void (FENXI_CALL *FENXI_DEBUG_OUTPUT_HOOK)(const char *text);

/* Installs the process-wide debug-output hook (null removes it). With no hook
 * installed the texts are dropped (on Windows they still reach the debugger).
 * Returns the hook that was installed before. */
FENXI_API FENXI_DEBUG_OUTPUT_HOOK FENXI_CALL SetDebugOutputHook(FENXI_DEBUG_OUTPUT_HOOK hook);

/* Releases a synthetic bar array handed out by GenerateKLINE and sets
 * *ppBars to null; a null *ppBars is left alone. */
FENXI_API void FENXI_CALL FreeKLineBars(UNIKDATA **ppBars);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* FENXI_FENXI_C_H */
