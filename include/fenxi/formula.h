// fenxi formulas: the traders' indicator language, compiled once and run
// over bars in batch or as a stream.
//
//   fenxi::Formula f("DIF:EMA(CLOSE,12)-EMA(CLOSE,26); DEA:EMA(DIF,9); MACD:(DIF-DEA)*2;");
//   if (!f.ok()) std::cerr << f.error().Format("formula");
//   fenxi::FormulaResult r = f.Run(bars);                 // r.Find("DEA"), NaN where no value
//   fenxi::FormulaStream s = f.Stream(bars.unit);
//   s.Append(bar); s.ReplaceLast(forming);                // the last values, as Run gives them
//
// A compiled Formula is immutable and may be run from many threads at once.
// Values are doubles in true units (prices divided by the unit); NaN means
// "no value". Window statistics come from correctly rounded exact sums, so a
// stream, a batch run and every build give the same bits.
#ifndef FENXI_FORMULA_H
#define FENXI_FORMULA_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fenxi/series.h"

namespace fenxi {

namespace formula {
struct Compiled;
struct Access;
}  // namespace formula

// Where and why a text does not compile (or a parameter value is refused).
struct FENXI_API FormulaError {
    int line = 0;    // 1-based; 0 for errors that have no place in the text
    int column = 0;  // 1-based, in characters
    std::string message;
    std::string sourceLine;  // the text's line at `line`, without its line break
    explicit operator bool() const { return !message.empty(); }
    // "NAME:LINE:COLUMN: message", then the source line and a caret under
    // the column; "NAME: message" for an error without a place.
    std::string Format(std::string_view name) const;
};

struct FormulaParam {
    std::string name;
    double defaultValue = 0, min = 0, max = 0;
};

// Parameter values by name (any case); the others keep their defaults.
using FormulaArgs = std::vector<std::pair<std::string, double>>;

struct FormulaOutput {
    std::string name;
    std::vector<std::string> attributes;  // upper case, as written: COLORRED, LINETHICK2, COLORFF8000 ...
};

struct FormulaLine {
    std::string name;
    std::vector<std::string> attributes;
    std::vector<double> values;  // one per bar
};

struct FENXI_API FormulaResult {
    std::vector<FormulaLine> lines;
    int unit = 0;           // the unit the bars were computed at
    Error error;            // bad bars (as Compute reports them)
    FormulaError formulaError;  // a parameter refused, or a window length out of range with these values
    bool ok() const { return !error && !formulaError; }
    const std::vector<double>* Find(std::string_view name) const;
};

// A screen's view of one security: the last bar's value of every output
// line, and whether it passes: its last output line is true (a number other
// than 0) at its last bar. NaN does not pass; no bars do not pass.
struct FENXI_API FormulaLast {
    std::vector<double> values;  // one per output line, NaN where no value
    bool pass = false;
    int unit = 0;
    Error error;
    FormulaError formulaError;
    bool ok() const { return !error && !formulaError; }
};

class FormulaLibrary;
class FormulaStream;

class FENXI_API Formula {
public:
    Formula();
    // Compiles `text`. References NAME.LINE resolve to the library's entries
    // (the shipped ones when `library` is null) and to the operation registry.
    explicit Formula(std::string_view text, const FormulaLibrary* library = nullptr);
    ~Formula();
    Formula(const Formula&);
    Formula& operator=(const Formula&);
    Formula(Formula&&) noexcept;
    Formula& operator=(Formula&&) noexcept;

    bool ok() const;
    const FormulaError& error() const;
    // The entry's name and description for a library entry, else empty.
    const std::string& name() const;
    const std::string& description() const;
    bool overlay() const;
    std::span<const FormulaParam> parameters() const;
    std::span<const FormulaOutput> outputs() const;

    FormulaResult Run(const Bars& bars, const FormulaArgs& args = {}) const;
    FormulaResult Run(const PriceColumns& columns, const FormulaArgs& args = {}) const;
    // The last bar only, as Run gives it, without keeping the lines: a screen.
    FormulaLast Last(const Bars& bars, const FormulaArgs& args = {}) const;
    // Bars at `unit` appended one at a time; errors show in the stream's error().
    FormulaStream Stream(int unit, const FormulaArgs& args = {}) const;

private:
    friend class FormulaLibrary;
    friend struct formula::Access;
    std::shared_ptr<const formula::Compiled> compiled_;
};

// A formula over a growing series at a fixed unit. Append adds a bar,
// ReplaceLast replaces the newest one (the forming bar); each returns the
// last bar's values of every output line, equal bit for bit to Run over the
// same bars. Once the longest window is full no call allocates.
class FENXI_API FormulaStream {
public:
    FormulaStream();
    ~FormulaStream();
    FormulaStream(FormulaStream&&) noexcept;
    FormulaStream& operator=(FormulaStream&&) noexcept;
    FormulaStream(const FormulaStream&) = delete;
    FormulaStream& operator=(const FormulaStream&) = delete;

    bool ok() const;
    const FormulaError& error() const;  // parameters refused or a bad unit; values are then NaN
    std::int64_t size() const;
    std::span<const FormulaOutput> outputs() const;
    std::span<const double> Append(const UNIKDATA& bar);
    // On an empty stream this appends.
    std::span<const double> ReplaceLast(const UNIKDATA& bar);

private:
    friend class Formula;
    struct State;
    std::unique_ptr<State> state_;
};

struct FormulaEntry {
    std::string name, description;
    bool overlay = false;
    std::vector<FormulaParam> parameters;
    std::vector<FormulaOutput> outputs;
    std::string file;  // where it was loaded from ("formulas/NAME.fx" for a shipped entry)
    int line = 0;      // its FORMULA line
    bool shipped = false;
};

// Entries loaded from formula files. A library starts with the shipped
// entries (formulas/*.fx, built into fenxi: indicators, candle patterns and
// screens) unless it is made Empty; loaded files add entries and may not
// redefine a name already there. Entries may reference earlier and later
// entries of any loaded file; cycles are refused.
class FENXI_API FormulaLibrary {
public:
    enum class Start { Shipped, Empty };
    explicit FormulaLibrary(Start start = Start::Shipped);
    ~FormulaLibrary();
    FormulaLibrary(const FormulaLibrary&) = delete;
    FormulaLibrary& operator=(const FormulaLibrary&) = delete;
    FormulaLibrary(FormulaLibrary&&) noexcept;
    FormulaLibrary& operator=(FormulaLibrary&&) noexcept;

    // The shipped entries, compiled on first use; the library formulas
    // compiled without one resolve their references against.
    static const FormulaLibrary& Shipped();

    // Adds the entries of a formula file's text; `fileName` names it in
    // errors. On an error nothing is added.
    FormulaError Load(std::string_view text, std::string_view fileName);
    FormulaError LoadFile(const std::string& path);

    std::vector<FormulaEntry> Entries() const;
    // The compiled entry of that name (any case); null when there is none.
    const Formula* Find(std::string_view name) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The functions of the language with their signatures ("MA(X,N)") and one
// line each, in the order `fenxi formula --help` lists them.
struct FormulaFunctionInfo {
    const char* signature;
    const char* summary;
};
FENXI_API std::span<const FormulaFunctionInfo> FormulaFunctions();

}  // namespace fenxi

#endif  // FENXI_FORMULA_H
