// fenxi: the operation registry, the columnar API and exact streams.
//
// Every indicator the engine computes is one entry of the registry: its name,
// indicator code, parameters with defaults and ranges, its lines (the FenXi
// column of the row form, the true scale, the first valid bar), a one-line
// formula, and the class API's row generator and updater. The tool, the
// dispatcher of the signal systems and the tests all read this one table.
//
// The columnar API takes bars as columns and returns each line as a
// contiguous array of doubles in true units: price lines in price units,
// percent lines in percent, volumes and counts as they are. Bars before a
// line's first valid bar hold NaN. Each value is the row form's value divided
// by the line's true scale, one IEEE division and nothing else, so both forms
// agree to the bit.
//
// A Stream keeps one operation running over a growing series: Append adds a
// bar, ReplaceLast replaces the forming bar, and each returns the new last
// values, equal bit for bit to a columnar recompute over the same bars.
#ifndef FENXI_SERIES_H
#define FENXI_SERIES_H

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fenxi/fenxi.h"

namespace fenxi {

using Row = CAnalysisTechniques::FENXIDATA;
using RowProperty = CAnalysisTechniques::FENXIDATA_PROPERTY;

// Parameters travel as ten 32-bit integers, unused ones 0, as the indicator
// codes of the signal systems carry them.
constexpr int kMaxParams = 10;
constexpr int kMaxLines = 7;
// Periods are bounded so that no request can claim unbounded memory or time:
// a stream keeps at most a few hundred thousand rows of history.
constexpr int kMaxPeriod = 10000;

struct ParamSpec {
    const char* name;
    int defaultValue;
    int min;
    int max;
};

// What a line's true values measure.
enum class Measure { FromScale, Price, Percent, Count };

struct LineSpec {
    const char* name;
    int column;    // FenXi column of the row form
    double scale;  // row value / scale = true value; 0 means the price unit
    Measure measure = Measure::FromScale;  // else: price for 10000 and 0, percent for 100, count
};

// The class API behind an entry. `p` holds kMaxParams values; `market` is the
// trailing argument that the moving-average family takes.
using RowGenerator = void (*)(CAnalysisTechniques& engine, UNIKDATA* bars, int unit, Row*& rows, int n,
                              const std::int32_t* p, RowProperty* property, int market);
using RowUpdater = void (*)(CAnalysisTechniques& engine, UNIKDATA* bars, int unit, Row*& rows, int n,
                            const std::int32_t* p);

namespace detail {
struct Kernel;
}

struct OperationSpec {
    const char* name;
    int code;  // indicator code of the signal systems' dispatcher, -1 for none
    int paramCount;
    ParamSpec params[kMaxParams];
    int lineCount;
    LineSpec lines[kMaxLines];
    const char* formula;
    RowGenerator generate;
    RowUpdater update;        // null when the class API has no updater
    bool updateRecomputes;    // the updater's newest row equals the generator's
    // First valid bar of a line (may exceed the bar count).
    std::int64_t (*firstValid)(const std::int32_t* p, int line);
    // Lines that stop this many bars before the end (the shifted average).
    int tailParam;  // index of that parameter, -1 for none
    // Overrides `scale` when a line's scale depends on the parameters.
    double (*scaleOf)(const std::int32_t* p, int line);
    const detail::Kernel* kernel;  // the one-pass arithmetic and its per-bar steps
};

// The registry, in the order `fenxi list` shows it.
FENXI_API std::span<const OperationSpec> Operations();
// By name (any case; BOLLIN names BOLL) or by indicator code; null if unknown.
FENXI_API const OperationSpec* FindOperation(std::string_view nameOrCode);
// The divisor that turns a row value of `line` into its true value.
FENXI_API double TrueScale(const OperationSpec& op, int line, const std::int32_t* p, int unit);
// The bars [first, end) of n where line `line` holds values.
FENXI_API void ValidRange(const OperationSpec& op, const std::int32_t* p, int line, std::int64_t n,
                          std::int64_t& first, std::int64_t& end);
// "price", "percent" or "count".
FENXI_API const char* ScaleName(const OperationSpec& op, int line, const std::int32_t* p);

// ---- errors ----
enum class Errc {
    None,
    UnknownOperation,
    ParameterCount,
    ParameterRange,
    LengthMismatch,
    PriceNotFinite,
    PriceNegative,
    PriceTooLarge,
    HighBelowLow,
    VolumeInvalid,
    UnitInvalid,
};

struct Error {
    Errc code = Errc::None;
    int index = -1;       // the offending parameter or bar; -1 where none applies
    std::string message;  // names the parameter or bar and what is wrong
    int security = -1;    // in a panel, the offending security; -1 where none applies
    explicit operator bool() const { return code != Errc::None; }
};

// ---- bars ----
// Prices as doubles; volume and amount optional (empty spans mean 0), date
// (yyyymmdd) and time (hhmmss) optional.
struct PriceColumns {
    std::span<const double> open{}, high{}, low{}, close{};
    std::span<const double> volume{}, amount{};
    std::span<const std::int32_t> date{}, time{};
    int unit = 0;  // 0 chooses one; otherwise a power of ten 1..10^6
};

// Bars in the engine's form: prices as integers in units of 1/unit.
struct Bars {
    std::vector<UNIKDATA> bars;
    int unit = 100;
};

// Converts double prices to the engine's integers. Without a unit, the unit
// is the largest power of ten up to 10^6 that the data's decimals need and
// that keeps every price within 32 bits; prices with more decimals than that
// unit holds are rounded to the nearest unit.
FENXI_API Error MakeBars(const PriceColumns& columns, Bars& out);
// Checks bars already in the engine's form (unit > 0, no high below low, no
// negative price); the first offending bar is named.
FENXI_API Error CheckBars(const Bars& bars);

// ---- columnar results ----
struct Lines {
    std::vector<std::string> names;           // from the registry
    std::vector<std::vector<double>> values;  // one contiguous array per line, true units
    int unit = 0;                             // the unit the bars were computed at
    Error error;
    bool ok() const { return !error; }
    // The line of that name; null when there is none.
    const std::vector<double>* Find(std::string_view name) const;
};

// Fills all kMaxParams values: the given ones, defaults for the rest (zero
// beyond the operation's count). Checks the count and every range.
FENXI_API Error ResolveParams(const OperationSpec& op, std::span<const int> given, std::int32_t (&out)[kMaxParams]);

FENXI_API Lines Compute(std::string_view name, std::span<const int> params, const Bars& bars);
FENXI_API Lines Compute(std::string_view name, std::span<const int> params, const PriceColumns& columns);
// The same values written into the caller's arrays, one per line in the
// registry's order, each holding exactly one value per bar: nothing is
// allocated per call once a thread has computed a series that long.
FENXI_API Error ComputeInto(std::string_view name, std::span<const int> params, const Bars& bars,
                            std::span<const std::span<double>> lines);
inline Lines Compute(std::string_view name, std::initializer_list<int> params, const Bars& bars) {
    return Compute(name, std::span<const int>(params.begin(), params.size()), bars);
}
inline Lines Compute(std::string_view name, std::initializer_list<int> params, const PriceColumns& columns) {
    return Compute(name, std::span<const int>(params.begin(), params.size()), columns);
}

// One named function per operation, its parameters in the registry's order
// with the registry's defaults for those left out:
//   fenxi::MACD(bars, 12, 26, 9) is fenxi::Compute("MACD", {12, 26, 9}, bars).
#define FENXI_OPERATIONS(X)                                                                                        \
    X(MA1) X(MA2) X(MA3) X(MA4) X(MA5) X(MA6) X(MA7) X(SMA) X(EMA) X(BOLL) X(EXPMA) X(SAR) X(VOL1) X(VOL) X(MACD) \
    X(RSI) X(KDJ) X(WR) X(BIAS) X(DMI) X(CR) X(BRAR) X(DMA) X(VR) X(TRIX) X(PSY) X(ROC) X(CCI) X(MTM) X(OSC)      \
    X(ADX) X(OBV) X(ASI) X(KD) X(MIKE) X(CHG) X(CSI) X(MASS) X(CHAIKIN) X(MAW) X(TSF) X(MAE) X(PC) X(EMV) X(WVAD) \
    X(MACHANEL) X(LIFELINE) X(JGCMX) X(SHCMX) X(DHCMX) X(JGCMXDELTA) X(SHCMXDELTA) X(DHCMXDELTA) X(ZJLDXFX)       \
    X(SHLDXFX) X(LLV) X(HHV)
#define FENXI_TYPED(name)                                                    \
    template <class BarsOrColumns, class... Params>                          \
    Lines name(const BarsOrColumns& bars, Params... params) {                \
        return Compute(#name, {static_cast<int>(params)...}, bars);          \
    }
FENXI_OPERATIONS(FENXI_TYPED)
#undef FENXI_TYPED

// ---- streams ----
// One operation over a growing series of bars at a fixed unit. Append and
// ReplaceLast return the last bar's values (true units, NaN before the first
// valid bar), equal to Compute over the same bars. Operations whose values
// depend on a bounded window cost O(window) per call; those carried by a
// running state cost O(1); after the first window no call allocates.
class FENXI_API Stream {
public:
    Stream(std::string_view name, std::span<const int> params, int unit);
    Stream(std::string_view name, std::initializer_list<int> params, int unit)
        : Stream(name, std::span<const int>(params.begin(), params.size()), unit) {}
    ~Stream();
    Stream(Stream&&) noexcept;
    Stream& operator=(Stream&&) noexcept;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Construction errors (unknown name, parameters, unit); a stream with an
    // error returns NaN values.
    const Error& error() const;
    const OperationSpec* operation() const;
    std::int64_t size() const;  // bars appended so far

    std::span<const double> Append(const UNIKDATA& bar);
    // Replaces the newest bar; on an empty stream it appends.
    std::span<const double> ReplaceLast(const UNIKDATA& bar);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace fenxi

#endif  // FENXI_SERIES_H
