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
