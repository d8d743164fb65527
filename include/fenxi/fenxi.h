// fenxi: technical-analysis engine, C++ class interface.
//
// A CAnalysisTechniques object owns one reusable buffer of FENXIDATA rows.
// Every Generate<X> call fills rows 0..n-1 of that buffer, hands them back
// through its `out` reference and describes the lines in the caller's
// FENXIDATA_PROPERTY. Update<X> calls recompute the newest row in place.
//
// Ownership of copies
//   Copying an engine (copy constructor or assignment) shares its state: the
//   row block, the lock that guards it and the mounted signal system. A
//   generator run on a copy writes the rows the original's `out` points to.
//   The shared state is reference counted; the last engine that lets go of
//   it releases the mounted system, frees the rows and destroys the lock, so
//   destroying copies in any order never frees anything twice. The log sink
//   pointer is per object (copied by value, never owned).
//
// Lock
//   Each engine state has one re-entrant lock. A generator takes it when it
//   acquires rows and leaves it after the last row is written, so two threads
//   generating on one engine are serialised and never see half-written rows.
//   The owning thread may re-enter. GenerateMACD with n <= 0 returns with the
//   lock still held once more by the calling thread; that thread keeps
//   working normally, other threads block on that engine until the lock is
//   left as often as it was entered. An engine whose lock is held by the
//   destroying thread is destroyed safely. Updaters, primitives and the log
//   take no lock: one engine object is for one thread at a time.
//
// Bad input
//   Generators never read outside the bars [0, n) nor write outside the rows
//   they acquired. Counts below 1 and null bars return early as listed per
//   function. A row request that cannot be met (more than INT32_MAX rows, or
//   the allocation fails) sets `out` to null and returns with the lock left.
#ifndef FENXI_FENXI_H
#define FENXI_FENXI_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fenxi/fenxi_c.h"

// Abstract log sink. One Output call per message; the engine never owns or
// deletes the sink and adds nothing to the text.
class FENXI_API IAnaLog {
public:
    virtual void Output(const std::string& text) = 0;
    virtual ~IAnaLog();
};

// Concrete sink: hands each text to the process-wide debug-output hook
// (SetDebugOutputHook in fenxi_c.h); on Windows also to the debugger.
class FENXI_API CAnaLogForHVQ : public IAnaLog {
public:
    void Output(const std::string& text) override;
};

// The host's chart settings. The engine reads and writes only ChartType and
// ChartParam (the 25th and 26th 32-bit words); the words before them belong
// to the host and are never touched.
struct ATP_KLINE {
    std::int32_t HostReserved[24];
    std::int32_t ChartType;   // 0-2 ordinary, 3 N-line break, 4 brick, 5 reversal
    std::int32_t ChartParam;  // lines N, box size B or minimum reversal R; written back clamped
};
static_assert(sizeof(ATP_KLINE) == 104, "ATP_KLINE is 104 bytes");
static_assert(offsetof(ATP_KLINE, ChartType) == 96, "ATP_KLINE.ChartType offset");
static_assert(offsetof(ATP_KLINE, ChartParam) == 100, "ATP_KLINE.ChartParam offset");

// One long (D) or short (K) signal point, 80 bytes.
struct _SIG_TABLE {
    std::int32_t Sequence;      // 1-based position in the vector
    std::int32_t Kind;          // 0 = D point (buy), 2 = K point (sell)
    double Price;               // threshold crossed, display units (price x 10000 / unit)
    double Reserved16;          // 0
    std::int32_t Date;          // of the bar
    std::int32_t Time;          // of the bar
    std::int32_t Link;          // D point: -1; K point: the sequence of the D point it closes
    std::int32_t BarIndex;      // index into the caller's bars
    std::int32_t Reserved40[10];
};
static_assert(sizeof(_SIG_TABLE) == 80, "_SIG_TABLE is 80 bytes");
static_assert(offsetof(_SIG_TABLE, Sequence) == 0, "_SIG_TABLE.Sequence offset");
static_assert(offsetof(_SIG_TABLE, Kind) == 4, "_SIG_TABLE.Kind offset");
static_assert(offsetof(_SIG_TABLE, Price) == 8, "_SIG_TABLE.Price offset");
static_assert(offsetof(_SIG_TABLE, Reserved16) == 16, "_SIG_TABLE.Reserved16 offset");
static_assert(offsetof(_SIG_TABLE, Date) == 24, "_SIG_TABLE.Date offset");
static_assert(offsetof(_SIG_TABLE, Time) == 28, "_SIG_TABLE.Time offset");
static_assert(offsetof(_SIG_TABLE, Link) == 32, "_SIG_TABLE.Link offset");
static_assert(offsetof(_SIG_TABLE, BarIndex) == 36, "_SIG_TABLE.BarIndex offset");
static_assert(offsetof(_SIG_TABLE, Reserved40) == 40, "_SIG_TABLE.Reserved40 offset");

// One signal of a tactics pool, 96 bytes.
struct CE_LUE_SIGN {
    std::int32_t Sequence;  // 1-based position in the vector
    std::int32_t Tactic;    // 1, 2 entries; 11, 12, 13 exits
    std::int32_t Kind;      // 0 = entry (D point), 2 = exit (K point)
    std::int32_t BarIndex;  // index into the caller's bars
    std::int32_t Date;      // of the bar
    std::int32_t Time;      // of the bar
    double Price;           // the bar's close, display units (close x 10000 / unit)
    double Measure;         // the figure that fired the rule
    std::int32_t Link;      // entry: -1; exit: the Sequence of the entry it closes
    std::int32_t Pool;      // 1 short, 2 mid
    char Name[48];          // the tactic's name, UTF-8, NUL-terminated, zero-filled
};
static_assert(sizeof(CE_LUE_SIGN) == 96, "CE_LUE_SIGN is 96 bytes");
static_assert(offsetof(CE_LUE_SIGN, Sequence) == 0, "CE_LUE_SIGN.Sequence offset");
static_assert(offsetof(CE_LUE_SIGN, Tactic) == 4, "CE_LUE_SIGN.Tactic offset");
static_assert(offsetof(CE_LUE_SIGN, Kind) == 8, "CE_LUE_SIGN.Kind offset");
static_assert(offsetof(CE_LUE_SIGN, BarIndex) == 12, "CE_LUE_SIGN.BarIndex offset");
static_assert(offsetof(CE_LUE_SIGN, Date) == 16, "CE_LUE_SIGN.Date offset");
static_assert(offsetof(CE_LUE_SIGN, Time) == 20, "CE_LUE_SIGN.Time offset");
static_assert(offsetof(CE_LUE_SIGN, Price) == 24, "CE_LUE_SIGN.Price offset");
static_assert(offsetof(CE_LUE_SIGN, Measure) == 32, "CE_LUE_SIGN.Measure offset");
static_assert(offsetof(CE_LUE_SIGN, Link) == 40, "CE_LUE_SIGN.Link offset");
static_assert(offsetof(CE_LUE_SIGN, Pool) == 44, "CE_LUE_SIGN.Pool offset");
static_assert(offsetof(CE_LUE_SIGN, Name) == 48, "CE_LUE_SIGN.Name offset");

namespace fenxi {
struct MountedSystem;
struct ClassicForm;
namespace detail {
struct EngineState;
}
}  // namespace fenxi

class FENXI_API CAnalysisTechniques {
public:
    // One analysis row per bar, 424 bytes.
    struct FENXIDATA {
        double Reserved[10];  // zeroed with the buffer, not written by the lines
        double FenXi[43];     // line values of this bar
    };

    // The caller's description of the lines of one call, 364 bytes.
    struct FENXIDATA_PROPERTY {
        std::int32_t StartPos[21];     // first valid row of line k
        std::int32_t EndPos[21];       // one past the last valid row of line k
        std::uint32_t LineColor[21];   // 0x00BBGGRR, set only where forced
        std::uint8_t LineStyle[21];    // 0 hidden, 3 curve, 4 level, ...
        std::uint8_t LineOption1[21];
        std::uint8_t LineOption2[21];
        std::uint8_t Reserved315;
        std::int32_t ValueScale;       // divide values by this for display
        char Format[32];               // printf format of the divided value
        std::uint8_t Flag352;
        std::uint8_t Flag353;
        std::uint8_t Flag354;
        std::uint8_t Flag355;
        std::uint8_t Flag356;
        std::uint8_t Reserved357[3];
        std::int32_t Field360;
    };

    // Selects a price field of a bar. Any 32-bit value may be passed.
    enum KLINE_INDEX : std::int32_t { KI_OPEN = 0, KI_HIGH = 1, KI_LOW = 2, KI_CLOSE = 3 };

    CAnalysisTechniques();
    CAnalysisTechniques(const CAnalysisTechniques& other);             // shares state
    CAnalysisTechniques& operator=(const CAnalysisTechniques& other);  // shares state
    ~CAnalysisTechniques();

    // Releases the mounted signal system (shared with copies). Rows stay.
    void ClearTechData();

    // n > 0: acquires n rows, zeroes them and hands them back. n <= 0: does
    // nothing, `out` is not written. `bars` and `unit` are not read.
    void GenerateBuffer(UNIKDATA* bars, int unit, FENXIDATA*& out, int n);

    // ---- log sink ----
    void SetAnalog(IAnaLog* log);
    void ResetAnalog();
    void PutAnalog(const std::string& text);
    void DebugInfo();
    void GetFormulaVersion(std::string& out);
    void GetChineseString(std::string& out);

    // ---- series primitives ----
    // Number of rising (mode 1), falling (-1) or level (0) bars among bars
    // i-count+1..i; -1 when i < count-1, count < 1, n < 1 or any other mode.
    // Also -1 for null bars or i >= n, which would read past the array.
    int CountThreeStatus(UNIKDATA* bars, int unit, int n, int i, int count, int mode);

    // ---- indicators ----
    // Common guards (besides those listed per function): a null `property`
    // returns early like a null `bars`. Where a line's period would index
    // before the first row, the generator returns early with nothing touched
    // (documented per function). Rows requested as n + extra never fall below
    // n, so negative periods never shrink the rows a generator writes, and
    // the spare rows beyond n are capped at 65,536, so huge periods cannot
    // claim gigabytes (the spare rows are never written).
    //
    // Updaters recompute row n-1 of rows left by the matching generator on
    // this engine. They return at once for n < 1, null `bars` or `rows`, and
    // when `rows` is this engine's buffer but holds fewer than n rows.
    //
    // Equal to a recompute (the generator's newest row, bit for bit):
    // UpdateMA1/2/3/5, UpdateEMA, UpdateMACD, UpdateRSI, UpdateBIAS,
    // UpdateEXPMA, UpdateSAR, UpdatePSY, UpdateROC, UpdateMTM, UpdateOSC,
    // UpdateWVAD and the updaters of the classic indicators.
    // Not equal, as the engine has always done: UpdateSMA (raw price scale),
    // UpdateKDJ and UpdateKD (x100 and unscaled values mixed), UpdateWR (its
    // range starts from the close), UpdateBOLLIN (the first update),
    // UpdateCCI (averages the closes), UpdateVOL1, UpdateVOL, UpdateOBV and
    // UpdateVR (do nothing). fenxi::Stream (fenxi/series.h) gives the
    // indicator's value for a forming bar.

    // Moving averages of the close (lines 1..k), MA channel of open, high, low
    // and close (lines 4..7), life line (65 and 130 bars of (high+close)/2),
    // weighted (SMA, lines 1..5) and exponential (EMA, line 1) smoothings.
    // `out` is set to null first. Periods < 1 give 0.0 / p in the MA lines.
    void GenerateMA1(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, FENXIDATA_PROPERTY* property,
                     int reserved = 0);
    void GenerateMA2(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2,
                     FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateMA3(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                     FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateMA4(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3, int p4,
                     FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateMA5(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3, int p4, int p5,
                     FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateMA6(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3, int p4, int p5,
                     int p6, FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateMA7(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3, int p4, int p5,
                     int p6, int p7, FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateMAChanel(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p, FENXIDATA_PROPERTY* property,
                          int reserved = 0);
    void GenerateLifeLine(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, FENXIDATA_PROPERTY* property,
                          int reserved = 0);
    void GenerateSMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3, int p4, int p5,
                     FENXIDATA_PROPERTY* property, int reserved = 0);
    void GenerateEMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p, FENXIDATA_PROPERTY* property,
                     int reserved = 0);
    void UpdateMA1(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1);
    void UpdateMA2(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2);
    void UpdateMA3(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3);
    void UpdateMA5(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3, int p4, int p5);
    // The newest row is left on the raw price scale (close not multiplied by
    // 10000/unit), as the engine has always done.
    void UpdateSMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3, int p4, int p5);
    void UpdateEMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p);

    // MACD: DIF (line 5), DEA (6), 2*(DIF-DEA) (7); rows n + 2*(p1+p2+p3).
    // n <= 0 sets `out` to the buffer and returns with the lock still held by
    // the calling thread. Null bars or property: returns after setting `out`,
    // with the lock left.
    void GenerateMACD(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                      FENXIDATA_PROPERTY* property);
    // RSI of p1 (line 6) and p2 (line 7), percent x100; rows n + 2*(p1+p2).
    void GenerateRSI(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2,
                     FENXIDATA_PROPERTY* property);
    // Rerun the generator over all n bars with a scratch property.
    void UpdateMACD(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3);
    void UpdateRSI(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2);

    // BIAS of three periods (lines 0..2), percent x100; a period < 1 leaves
    // its line as the buffer held it.
    void GenerateBIAS(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period1, int period2, int period3,
                      FENXIDATA_PROPERTY* property);
    void UpdateBIAS(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period1, int period2, int period3);
    // Highest / lowest of one price field over the trailing period (line 0).
    // period < 0 returns early; period 0 and fields outside 0..3 compute
    // nothing. LLV over the low stores the raw integer low.
    void GenerateHHV(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, KLINE_INDEX field, int period,
                     FENXIDATA_PROPERTY* property);
    void GenerateLLV(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, KLINE_INDEX field, int period,
                     FENXIDATA_PROPERTY* property);

    // Volume (line 0), with averages of period1 (2) and period2 (3).
    void GenerateVOL1(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, FENXIDATA_PROPERTY* property);
    void GenerateVOL(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period1, int period2,
                     FENXIDATA_PROPERTY* property);
    // On-balance volume / 100 (line 0) and its average (1). Null bars or a
    // negative period return early.
    void GenerateOBV(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                     FENXIDATA_PROPERTY* property);
    // Volume ratio over the `period` bars before each bar (line 0). Null bars
    // or a negative period return early.
    void GenerateVR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, FENXIDATA_PROPERTY* property);
    // Body over range (1, 2) and their amount-weighted sum (3). Null bars or a
    // period < 1 return early.
    void GenerateWVAD(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                      FENXIDATA_PROPERTY* property);
    // These four do nothing: rerun the generator after a bar changes.
    void UpdateVOL1(UNIKDATA* bars, int unit, FENXIDATA*& out, int count);
    void UpdateOBV(UNIKDATA* bars, int unit, FENXIDATA*& out, int count);
    void UpdateVOL(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period1, int period2);
    void UpdateVR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period);
    // The last row's lines 1-3; line 3 is 0 for a period < 1 (any int).
    void UpdateWVAD(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period);

    // Stochastics, x100 with ValueScale 100. KDJ: RSV (2), K (3), D (4),
    // J (5); returns early unless n, p1, p2 and p3 are all >= 1. KD: seeded
    // from the previous RSV, rows 0-1 scale what the buffer held. WR: %R of
    // p1 (3), p2 (4) and, when p3 > 0, p3 (5), levels 20/50/80 in row 0.
    void GenerateKDJ(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                     FENXIDATA_PROPERTY* property);
    void GenerateKD(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                    FENXIDATA_PROPERTY* property);
    void GenerateWR(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p1, int p2, int p3,
                    FENXIDATA_PROPERTY* property);
    // The updaters mix the previous row's x100 values with unscaled new ones
    // and seed like GenerateKD; UpdateWR needs n-1 >= p and starts its range
    // from the close. Both as the engine has always done.
    void UpdateKDJ(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3);
    void UpdateKD(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3);
    void UpdateWR(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p1, int p2, int p3);

    // Bollinger: middle (6) = previous bar's average, bands (7, 8) = that plus
    // kUpper / kLower times the current population deviation; withBars also
    // copies open, high, low and close into lines 0-3. p < 1 returns early.
    void GenerateBOLLIN(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p, int kUpper, int kLower,
                        int withBars, FENXIDATA_PROPERTY* property, int reserved = 0);
    void UpdateBOLLIN(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p, int kUpper, int kLower);

    // Momentum lines. Null bars return early in every generator.
    // PSY: rising / falling / level shares (3, 4, 5) in single precision.
    void GeneratePSY(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                     FENXIDATA_PROPERTY* property);
    // ROC (1), x100 percent; a negative period returns early.
    void GenerateROC(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                     FENXIDATA_PROPERTY* property);
    // MTM (1) and its average (2).
    void GenerateMTM(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, int average,
                     FENXIDATA_PROPERTY* property);
    // OSC (0), close over the close `period` back x10000, and its average (1).
    void GenerateOSC(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, int average,
                     FENXIDATA_PROPERTY* property);
    // CCI (5) with typical price (2), its mean (3) and mean deviation (4); a
    // negative period returns early.
    void GenerateCCI(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                     FENXIDATA_PROPERTY* property);
    void UpdatePSY(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period);
    void UpdateROC(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period);
    void UpdateMTM(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, int average);
    void UpdateOSC(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period, int average);
    // Averages the closes, not the typical prices, as the engine always did.
    void UpdateCCI(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period);

    // Stop-and-reverse (4) with its direction marker (5). Null bars or a
    // period < 1 return early.
    void GenerateSAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period,
                     FENXIDATA_PROPERTY* property);
    // Reruns the generator with a scratch property.
    void UpdateSAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, int period);

    // Exponential average whose row k holds the close of bar shift + k (0),
    // and the bar's open, close, high, low (2-5). Null bars or a negative
    // shift return early.
    void GenerateEXPMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int p, int shift,
                       FENXIDATA_PROPERTY* property, int reserved = 0);
    // Reruns the generator with a scratch property.
    void UpdateEXPMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int p, int shift);

    // ---- price charts ----
    // Rows of open, high, low, close (0-3, converted), date (4), time (5) and
    // volume (6) for the main chart. Types 0-2 copy every bar; 3 builds an
    // N-line break chart, 4 a brick chart, 5 a reversal chart from the
    // closes, each block also handed back as a synthetic bar in `newBars`.
    // `newBars` is allocated by the engine: release it with FreeKLineBars
    // (fenxi_c.h), never with the host's own allocator. A brick chart stops
    // cleanly at kMaxChartBlocks blocks. `out` is set to null first; null
    // bars, property or settings, or count < 1, return with nothing
    // allocated. An unknown chart type returns with `newBars` and `newCount`
    // untouched.
    static constexpr int kMaxChartBlocks = 1000000;
    void GenerateKLINE(UNIKDATA* bars, int unit, int count, UNIKDATA*& newBars, int& newCount, FENXIDATA*& out,
                       FENXIDATA_PROPERTY* property, ATP_KLINE* settings, const char* symbol, int reserved = 0);
    // The seven rows of every bar, for comparing two series.
    void GenerateCmpKLINE(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, FENXIDATA_PROPERTY* property,
                          const char* symbol, int reserved = 0);

    // ---- the classic indicators ----
    // Notation: C, O, H, L, V of a bar, X1 the previous bar's X (none on the
    // first bar, whose previous-bar terms are 0), MA/SUM over the last N rows
    // (0 before a full window), EMA seeded with the first value. Percent and
    // ratio lines are stored x100 (ValueScale 100), price lines x10000. Each
    // updater recomputes the last row exactly as its generator does. An
    // integer period below 1 returns early with nothing touched.

    // PDI = SUM(+DM,N)*100/SUM(TR,N), MDI likewise (0, 1); ADX = MA(|MDI-PDI|
    // /(MDI+PDI)*100, M) (2); ADXR = (ADX + ADX M bars ago)/2 (3).
    void GenerateDMI(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int M, FENXIDATA_PROPERTY* property);
    void UpdateDMI(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int M);
    // Wilder: TR, +DM, -DM smoothed from their N-bar sum by prev - prev/N + x;
    // ADX (0) the Wilder average of DX, +DI (1), -DI (2).
    void GenerateADX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void UpdateADX(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N);
    // DDD = MA(C,N1) - MA(C,N2) (0); AMA = MA(DDD,N1) (1).
    void GenerateDMA(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N1, int N2, FENXIDATA_PROPERTY* property);
    void UpdateDMA(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N1, int N2);
    // BR = SUM(max(0,H-C1),N)/SUM(max(0,C1-L),N)*100 (0); AR = SUM(H-O,N)/SUM(O-L,N)*100 (1).
    void GenerateBRAR(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void UpdateBRAR(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N);
    // CR = SUM(max(0,H-MID),N)/SUM(max(0,MID-L),N)*100, MID = (H1+L1)/2 (0);
    // MAk = MA(CR,Mk) taken int(Mk/2.5+1) bars back (1-4).
    void GenerateCR(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int M1, int M2, int M3, int M4,
                    FENXIDATA_PROPERTY* property);
    void UpdateCR(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int M1, int M2, int M3, int M4);
    // ASI = SUM(SI,26) (0), ASIT = MA(ASI,10) (1), SI the swing index 16*X/R*max(AA,BB).
    void GenerateASI(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, FENXIDATA_PROPERTY* property);
    void UpdateASI(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n);
    // From TYP = (H+L+C)/3, HV = HHV(H,N), LV = LLV(L,N): WR, MR, SR, WS, MS,
    // SS (0-5). Keeps the engine's lock on return, as the engine always did.
    void GenerateMike(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void UpdateMike(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N);
    // TRIX = (TR-TR1)/TR1*100, TR the triple EMA of C (0); MATRIX = MA(TRIX,M) (1).
    void GenerateTRIX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int M, FENXIDATA_PROPERTY* property);
    void UpdateTRIX(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int M);
    // EMV = MA(MID*MA(V,N)/V*(H-L)/MA(H-L,N), N), MID = 100*(H+L-H1-L1)/(H+L) (0);
    // MAEMV = MA(EMV,M) (1).
    void GenerateEMV(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int M, FENXIDATA_PROPERTY* property);
    void UpdateEMV(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int M);
    // CHG = (C - C N bars ago)/(C N bars ago)*100 (0); CHGP = C - C N bars ago
    // (1), stored x100 like CHG so one ValueScale (100) serves both.
    void GenerateChg(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void UpdateChg(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N);
    // AD = running sum of V*((C-L)-(H-C))/(H-L); CO = EMA(AD,fast) - EMA(AD,slow)
    // (0); MACO = MA(CO,M) (1). Volume units.
    void GenerateChaikin(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int M, double fast, double slow,
                         FENXIDATA_PROPERTY* property);
    void UpdateChaikin(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int M, double fast, double slow);
    // Least-squares line through the last N closes at x = 1..N, value at N+1 (0); MATSF (1).
    void GenerateTSF(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int M, FENXIDATA_PROPERTY* property);
    void UpdateTSF(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int M);
    // MASS = SUM(MA(H-L,N1)/MA(MA(H-L,N1),N1), N2) (0); MAMASS = MA(MASS,M) (1).
    // N2 and M are taken as whole numbers; outside 1..INT32_MAX returns early.
    void GenerateMASS(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N1, double N2, double M, double reserved,
                      FENXIDATA_PROPERTY* property);
    void UpdateMASS(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N1, double N2, double M, double reserved);
    // CSI = ADXR*ATR*(V/sqrt(M))/(150+25)*100 with Wilder's ADXR and ATR over N (0).
    void GenerateCSI(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int V, int M,
                     FENXIDATA_PROPERTY* property);
    void UpdateCSI(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int V, int M);
    // Weighted average sum(k*C_k)/sum(k), newest weight N (0).
    void GenerateMAW(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void UpdateMAW(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N);
    // UPPER = MID*(1+M1/100) (0), MID = MA(C,N) (1), LOWER = MID*(1-M2/100) (2).
    void GenerateMAE(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, int M1, int M2,
                     FENXIDATA_PROPERTY* property);
    void UpdateMAE(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N, int M1, int M2);
    // UPPER = HHV(H,N) (0), MID = (UPPER+LOWER)/2 (1), LOWER = LLV(L,N) (2).
    void GeneratePC(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void UpdatePC(UNIKDATA* bars, int unit, FENXIDATA*& rows, int n, int N);

    // ---- signal systems ----
    // Clears the engine's mounted system, mounts a new one for the security
    // (its lines computed over all bars on private engines) and runs the
    // short-term (`shortSystem`) or long-term system, appending D and K
    // points to `signals`. `longTerm` chooses the lines: the short-term system
    // needs them mounted with false, the long-term one with true; otherwise
    // nothing is appended. Always returns false: read the vector.
    bool MountAdvSys(std::vector<_SIG_TABLE>& signals, int unused1, bool unused2, bool longTerm, const char* code,
                     int market, int i2, int i3, int i4, int i5, int i6, int i7, int i8, int i9, int i10,
                     int count, UNIKDATA* bars, int unit, bool shortSystem, bool drawdownExit, bool narrowLimit,
                     bool limitRules);

    // Tip texts for bar `index` against the system mounted on this engine for
    // the same market, code, long-term flag and third integer: the close at
    // which the next bar would produce the next D or K point. Returns 1 with
    // `message` and `price` set, or 0 (a line in the log, `message` untouched).
    // Null bars are refused like an index outside the bars.
    int GetShortTermCPXTips(int market, const char* code, bool longTerm, int i3, UNIKDATA* bars, int unit, int count,
                            std::vector<_SIG_TABLE>& signals, int index, std::string& message, double& price,
                            double unused1, int& unused2, bool unused3, bool narrowLimit);
    // `tolerance` and `near` (set to 1 when |P - threshold| / P lies within
    // 1 +- tolerance) belong to the exit tip; `drawdownExit` and `narrowLimit`
    // match the system's flags.
    int GetLongTermCPXTips(int market, const char* code, bool longTerm, int i3, UNIKDATA* bars, int unit, int count,
                           std::vector<_SIG_TABLE>& signals, int index, std::string& message, double& price,
                           double tolerance, int& near, bool drawdownExit, bool narrowLimit);

    // ---- tactics pools ----
    // Two entry tactics ("超跌反弹" 1: oversold rebound, "放量突破" 2: breakout
    // on volume) open positions that three exit tactics close ("保护性止损"
    // 11, "逃逸性暴涨止盈" 12, "移动止盈" 13, tested in that order), with the
    // parameters of a horizon. Short and mid: one position per entry tactic,
    // records in bar order (position 1 first on a bar). Long: one position
    // entered by either tactic, as D and K points. Each appends to the
    // caller's vector; false with nothing appended for null bars, count < 1
    // or unit < 1. Lines come from private engines: the caller's rows, the
    // engine's buffer and its mounted system are not touched.
    bool TacticsPoolsShort(std::vector<CE_LUE_SIGN>& signs, int count, UNIKDATA* bars, int unit);
    bool TacticsPoolsMid(std::vector<CE_LUE_SIGN>& signs, int count, UNIKDATA* bars, int unit);
    bool TacticsPools(std::vector<_SIG_TABLE>& signals, int count, UNIKDATA* bars, int unit);

    // ---- chip distribution ----
    // Directional first stage over an N-bar window (true range 0, up and
    // down moves 1 and 2, their N-bar sums 3-5, percentages 6 and 8), then
    // each generator's smoothing into line 6 (JG, DH) or 8 (SH) with a change
    // line 7; the Delta forms draw only line 7 over a zero level (12). Bars
    // with no volume show 0 in the drawn lines. Null bars or a negative N
    // return early; N > n leaves only the first stage.
    void GenerateJGCMX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void GenerateJGCMXDelta(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N,
                            FENXIDATA_PROPERTY* property);
    void GenerateDHCMX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void GenerateDHCMXDelta(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N,
                            FENXIDATA_PROPERTY* property);
    void GenerateSHCMX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property);
    void GenerateSHCMXDelta(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N,
                            FENXIDATA_PROPERTY* property);

    // ---- capital flow ----
    // Fast-minus-slow cumulative directional volume (line 3, LDX_OBV_DIF)
    // with its one-price-bar adjustment; traces each step to the log sink.
    // Reseeds the process-wide C random generator (srand(time)) on every
    // call, so other users of rand() in the process are affected. Null bars
    // or property return early after the n <= 0 test.
    void GenerateZJLDXFX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, FENXIDATA_PROPERTY* property);
    // MACD-style line of the same volume (line 8), reshaped by the last two
    // digits of its integer part.
    void GenerateSHLDXFX(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, FENXIDATA_PROPERTY* property);

private:
    // Rows for at least `count` bars with the lock held; null (lock left)
    // when the request cannot be met.
    FENXIDATA* Acquire(std::int64_t count);
    // Acquire, then the property reset: the opening of most generators.
    FENXIDATA* AcquireReset(FENXIDATA*& out, std::int64_t count, FENXIDATA_PROPERTY* property);
    // Leaves the lock once, if the engine uses it.
    void LeaveLock();
    // Flag355 = 0, StartPos[] = 0, LineStyle[] = 0, Flag356 = 1.
    static void ResetProperty(FENXIDATA_PROPERTY* property);

    // Shared body of GenerateHHV and GenerateLLV.
    void GenerateExtreme(UNIKDATA* bars, int unit, FENXIDATA*& out, int count, KLINE_INDEX field, int period,
                         FENXIDATA_PROPERTY* property, bool highest);
    // Shared bodies of the classic indicators: one row function per
    // indicator, run for every row by the generator and for the last by the
    // updater.
    void GenerateClassic(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, FENXIDATA_PROPERTY* property,
                         const fenxi::ClassicForm& form, const double* params);
    void UpdateClassic(UNIKDATA* bars, int unit, FENXIDATA* rows, int n, const fenxi::ClassicForm& form,
                       const double* params);
    // The two systems of MountAdvSys over the mounted lines.
    void RunShortTermSystem(std::vector<_SIG_TABLE>& signals, int count, UNIKDATA* bars, int unit, bool narrowLimit);
    void RunLongTermSystem(std::vector<_SIG_TABLE>& signals, int count, UNIKDATA* bars, int unit, bool drawdownExit,
                           bool narrowLimit, bool limitRules);
    // The mounted system when it matches the caller's security, else null.
    const fenxi::MountedSystem* MatchingSystem(int market, const char* code, bool longTerm, int i3) const;
    // Shared body of the six chip-distribution generators.
    void GenerateChip(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, int N, FENXIDATA_PROPERTY* property,
                      int kind);
    // Shared body of UpdateKDJ and UpdateKD.
    void UpdateStochastic(UNIKDATA* bars, FENXIDATA* rows, int n, int p1, int p2, int p3, bool withJ);
    // Shared bodies of the MA family.
    void GenerateMALines(UNIKDATA* bars, int unit, FENXIDATA*& out, int n, const int* periods, int k,
                         FENXIDATA_PROPERTY* property, bool firstLineShort);
    void UpdateMALines(UNIKDATA* bars, int unit, FENXIDATA* rows, int n, const int* periods, int k);
    // True when an updater may touch rows 0..n-1 (see the updater guards).
    bool CanUpdate(const UNIKDATA* bars, const FENXIDATA* rows, int n) const;

    friend struct FenxiEngineProbe;  // test access to the shared state

    void Share(fenxi::detail::EngineState* state);
    void Unshare();

    IAnaLog* Log;
    fenxi::detail::EngineState* State;
};

// The records cross the library boundary: their layout is fixed.
#define FENXI_OFFSET(T, f, off) static_assert(offsetof(T, f) == (off), #T "." #f " offset")
static_assert(sizeof(CAnalysisTechniques::FENXIDATA) == 424, "FENXIDATA is 424 bytes");
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA, Reserved, 0);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA, FenXi, 80);
static_assert(sizeof(CAnalysisTechniques::FENXIDATA_PROPERTY) == 364, "FENXIDATA_PROPERTY is 364 bytes");
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, StartPos, 0);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, EndPos, 84);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, LineColor, 168);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, LineStyle, 252);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, LineOption1, 273);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, LineOption2, 294);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Reserved315, 315);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, ValueScale, 316);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Format, 320);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Flag352, 352);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Flag353, 353);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Flag354, 354);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Flag355, 355);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Flag356, 356);
FENXI_OFFSET(CAnalysisTechniques::FENXIDATA_PROPERTY, Field360, 360);
static_assert(sizeof(CAnalysisTechniques::KLINE_INDEX) == 4, "KLINE_INDEX is 32-bit");
#undef FENXI_OFFSET

#endif  // FENXI_FENXI_H
