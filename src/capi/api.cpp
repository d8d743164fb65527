// The fx_ C interface over the registry, the columnar API, streams and
// formulas. Every function checks its arguments before touching anything,
// runs its body under Guard so that no exception leaves it, and leaves its
// message in the calling thread's error buffer.
#include "fenxi/fenxi_api.h"
#include "fenxi/panel.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "fenxi/formula.h"
#include "fenxi/series.h"

#ifndef FENXI_VERSION
#define FENXI_VERSION "unknown"
#endif

struct fx_stream {
    fenxi::Stream stream;
};
struct fx_formula {
    fenxi::Formula formula;
};
struct fx_formula_stream {
    fenxi::FormulaStream stream;
};
struct fx_library {
    explicit fx_library(fenxi::FormulaLibrary::Start start) : library(start), entries(library.Entries()) {}
    fenxi::FormulaLibrary library;
    std::vector<fenxi::FormulaEntry> entries;  // what fx_library_entry's strings point into
};

namespace {

using fenxi::Errc;

// A fixed buffer: setting a message never allocates, and nothing needs a
// destructor when a thread ends.
thread_local char t_lastError[1024];

// Copies `text` into `out` (room for `size` bytes with the NUL), cut before
// a UTF-8 continuation byte so no character is split.
void CopyText(std::string_view text, char* out, std::size_t size) {
    std::size_t n = std::min(text.size(), size - 1);
    if (n < text.size())
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}

int Fail(int status, std::string_view message) noexcept {
    CopyText(message, t_lastError, sizeof t_lastError);
    return status;
}

int Ok() noexcept {
    t_lastError[0] = '\0';
    return FX_OK;
}

// Runs a function's body: exceptions become statuses.
template <class Body>
int Guard(Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return Fail(FX_ERR_MEMORY, "out of memory");
    } catch (const std::exception& e) {
        return Fail(FX_ERR_INTERNAL, e.what());
    } catch (...) {
        return Fail(FX_ERR_INTERNAL, "unknown failure");
    }
}

int StatusOf(Errc code) {
    switch (code) {
        case Errc::None: return FX_OK;
        case Errc::UnknownOperation: return FX_ERR_UNKNOWN;
        case Errc::ParameterCount:
        case Errc::ParameterRange: return FX_ERR_PARAM;
        case Errc::UnitInvalid: return FX_ERR_RANGE;
        case Errc::LengthMismatch:
        case Errc::PriceNotFinite:
        case Errc::PriceNegative:
        case Errc::PriceTooLarge:
        case Errc::HighBelowLow:
        case Errc::VolumeInvalid: return FX_ERR_BARS;
    }
    return FX_ERR_INTERNAL;
}

int Fail(const fenxi::Error& e) { return Fail(StatusOf(e.code), e.message); }

void ClearError(fx_error* error) {
    if (error == nullptr) return;
    error->line = error->column = 0;
    error->message[0] = '\0';
}

// Fills the caller's fx_error (if any) and the thread's message.
int FailWith(fx_error* error, int status, const fenxi::FormulaError& e) {
    if (error != nullptr) {
        error->line = e.line;
        error->column = e.column;
        CopyText(e.message, error->message, sizeof error->message);
    }
    std::string text = e.line > 0 ? std::to_string(e.line) + ":" + std::to_string(e.column) + ": " : "";
    return Fail(status, text + e.message);
}

int Null(const char* what) { return Fail(FX_ERR_NULL, std::string(what) + " is null"); }

int OperationAt(int32_t index, const fenxi::OperationSpec*& op) {
    const auto ops = fenxi::Operations();
    if (index < 0 || static_cast<std::size_t>(index) >= ops.size())
        return Fail(FX_ERR_RANGE, "operation " + std::to_string(index) + " is outside 0.." +
                                      std::to_string(ops.size() - 1));
    op = &ops[static_cast<std::size_t>(index)];
    return FX_OK;
}

int CheckIndex(int32_t k, std::size_t count, const char* what) {
    if (k < 0 || static_cast<std::size_t>(k) >= count)
        return Fail(FX_ERR_RANGE, std::string(what) + " " + std::to_string(k) + " is outside the " +
                                      std::to_string(count) + " there are");
    return FX_OK;
}

int CheckBarCount(int32_t count, const void* data, const char* what) {
    if (count < 0 || count > FX_MAX_BARS)
        return Fail(FX_ERR_RANGE, "bar count " + std::to_string(count) + " is outside 0.." + std::to_string(FX_MAX_BARS));
    if (count > 0 && data == nullptr) return Null(what);
    return FX_OK;
}

// The caller's bars, copied: the engine's Bars own their vector.
int CopyBars(const UNIKDATA* bars, int32_t count, int32_t unit, fenxi::Bars& out) {
    if (int s = CheckBarCount(count, bars, "bars")) return s;
    if (unit < 1) return Fail(FX_ERR_RANGE, "unit " + std::to_string(unit) + " is not positive");
    out.bars.assign(bars, bars + count);
    out.unit = unit;
    return FX_OK;
}

int ColumnsOf(const fx_columns* c, fenxi::PriceColumns& out) {
    if (c == nullptr) return Null("columns");
    if (int s = CheckBarCount(c->count, c->close, "close")) return s;
    const std::size_t n = static_cast<std::size_t>(c->count);
    if (n > 0 && (c->open == nullptr || c->high == nullptr || c->low == nullptr))
        return Null(c->open == nullptr ? "open" : c->high == nullptr ? "high" : "low");
    // A null optional column is an empty span: 0 for every bar.
    auto optional = [n](const auto* p) { return p == nullptr ? decltype(std::span(p, n)){} : std::span(p, n); };
    out.open = {c->open, n};
    out.high = {c->high, n};
    out.low = {c->low, n};
    out.close = {c->close, n};
    out.volume = optional(c->volume);
    out.amount = optional(c->amount);
    out.date = optional(c->date);
    out.time = optional(c->time);
    out.unit = c->unit;
    return FX_OK;
}

int MakeBarsFrom(const fx_columns* columns, fenxi::Bars& bars) {
    fenxi::PriceColumns pc;
    if (int s = ColumnsOf(columns, pc)) return s;
    if (fenxi::Error e = fenxi::MakeBars(pc, bars)) return Fail(e);
    return FX_OK;
}

// Checks the caller's line arrays for `needed` lines of `bars` values;
// writes the needed count when there is too little room.
int CheckLines(int needed, double* const* lines, int32_t lineCapacity, int32_t valueCapacity, int32_t bars,
               int32_t* lineCount) {
    if (lineCapacity < 0 || valueCapacity < 0) return Fail(FX_ERR_RANGE, "a capacity is negative");
    if (lineCapacity < needed) {
        *lineCount = needed;
        return Fail(FX_ERR_BUFFER, "room for " + std::to_string(lineCapacity) + " lines, " + std::to_string(needed) +
                                       " needed");
    }
    if (valueCapacity < bars) {
        *lineCount = needed;
        return Fail(FX_ERR_BUFFER, "room for " + std::to_string(valueCapacity) + " values per line, " +
                                       std::to_string(bars) + " bars");
    }
    if (needed > 0 && lines == nullptr) return Null("lines");
    for (int k = 0; k < needed; ++k)
        if (lines[k] == nullptr && bars > 0) return Null(("lines[" + std::to_string(k) + "]").c_str());
    return FX_OK;
}

int CheckValues(int needed, const double* values, int32_t capacity, int32_t* lineCount) {
    if (capacity < 0) return Fail(FX_ERR_RANGE, "capacity " + std::to_string(capacity) + " is negative");
    if (capacity < needed) {
        *lineCount = needed;
        return Fail(FX_ERR_BUFFER, "room for " + std::to_string(capacity) + " values, " + std::to_string(needed) +
                                       " needed");
    }
    if (needed > 0 && values == nullptr) return Null("values");
    return FX_OK;
}

int ParamsOf(const int32_t* params, int32_t count, std::vector<int>& out) {
    if (count < 0 || count > fenxi::kMaxParams)
        return Fail(FX_ERR_PARAM, "parameter count " + std::to_string(count) + " is outside 0.." +
                                      std::to_string(fenxi::kMaxParams));
    if (count > 0 && params == nullptr) return Null("params");
    out.assign(params, params + count);
    return FX_OK;
}

// A bar a stream may take: what CheckBars requires of every bar.
int CheckBar(const UNIKDATA& b) {
    if (b.Open < 0 || b.High < 0 || b.Low < 0 || b.Close < 0) return Fail(FX_ERR_BARS, "the bar has a negative price");
    if (b.High < b.Low)
        return Fail(FX_ERR_BARS, "high " + std::to_string(b.High) + " is below low " + std::to_string(b.Low));
    return FX_OK;
}

bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t k = 0; k < a.size(); ++k) {
        const auto x = static_cast<unsigned char>(a[k]), y = static_cast<unsigned char>(b[k]);
        if ((x >= 'a' && x <= 'z' ? x - 32 : x) != (y >= 'a' && y <= 'z' ? y - 32 : y)) return false;
    }
    return true;
}

// Parameter values by name; a name the formula lacks is refused here so the
// caller can tell it from a value out of range.
int ArgsOf(const fenxi::Formula& f, const char* const* names, const double* values, int32_t count,
           fenxi::FormulaArgs& out) {
    if (count < 0 || count > FX_MAX_ARGS)
        return Fail(FX_ERR_RANGE, "argument count " + std::to_string(count) + " is outside 0.." +
                                      std::to_string(FX_MAX_ARGS));
    if (count > 0 && names == nullptr) return Null("arg_names");
    if (count > 0 && values == nullptr) return Null("arg_values");
    const auto params = f.parameters();
    for (int32_t i = 0; i < count; ++i) {
        if (names[i] == nullptr) return Null(("arg_names[" + std::to_string(i) + "]").c_str());
        const std::string_view name = names[i];
        if (std::none_of(params.begin(), params.end(), [&](const fenxi::FormulaParam& p) { return SameName(p.name, name); })) {
            std::string known = params.empty() ? ": the formula has none" : "; the parameters are";
            for (const fenxi::FormulaParam& p : params) known += " " + p.name;
            return Fail(FX_ERR_UNKNOWN, "unknown parameter '" + std::string(name) + "'" + known);
        }
        out.emplace_back(std::string(name), values[i]);
    }
    return FX_OK;
}

int FormulaStatus(const fenxi::Error& error, const fenxi::FormulaError& formulaError) {
    if (error) return Fail(error);
    if (formulaError) return Fail(FX_ERR_PARAM, formulaError.message);
    return FX_OK;
}

int RunInto(const fenxi::Formula& f, const fenxi::Bars& bars, const fenxi::FormulaArgs& args, double* const* lines,
            int32_t lineCapacity, int32_t valueCapacity, int32_t* lineCount) {
    const int needed = static_cast<int>(f.outputs().size());
    const auto n = static_cast<int32_t>(bars.bars.size());
    if (int s = CheckLines(needed, lines, lineCapacity, valueCapacity, n, lineCount)) return s;
    const fenxi::FormulaResult r = f.Run(bars, args);
    if (int s = FormulaStatus(r.error, r.formulaError)) return s;
    for (std::size_t k = 0; k < r.lines.size(); ++k) std::copy(r.lines[k].values.begin(), r.lines[k].values.end(), lines[k]);
    *lineCount = needed;
    return Ok();
}

int LastInto(const fenxi::Formula& f, const fenxi::Bars& bars, const fenxi::FormulaArgs& args, double* values,
             int32_t capacity, int32_t* lineCount, int32_t* pass) {
    const int needed = static_cast<int>(f.outputs().size());
    if (int s = CheckValues(needed, values, capacity, lineCount)) return s;
    const fenxi::FormulaLast r = f.Last(bars, args);
    if (int s = FormulaStatus(r.error, r.formulaError)) return s;
    std::copy(r.values.begin(), r.values.end(), values);
    *lineCount = needed;
    *pass = r.pass ? 1 : 0;
    return Ok();
}

// Append or replace on either kind of stream: checks, then one step.
template <class Step>
int StreamStep(int needed, const UNIKDATA* bar, double* values, int32_t capacity, int32_t* lineCount, Step step) {
    if (bar == nullptr) return Null("bar");
    if (lineCount == nullptr) return Null("line_count");
    if (int s = CheckValues(needed, values, capacity, lineCount)) return s;
    if (int s = CheckBar(*bar)) return s;
    const std::span<const double> last = step(*bar);
    std::copy(last.begin(), last.end(), values);
    *lineCount = needed;
    return Ok();
}

}  // namespace

// The definitions take C linkage from their declarations in fenxi_api.h.

FENXI_API const char* FENXI_CALL fx_last_error(void) { return t_lastError; }

FENXI_API const char* FENXI_CALL fx_version(void) { return FENXI_VERSION; }

// ---- registry ----

FENXI_API int FENXI_CALL fx_operation_count(int32_t* count) {
    return Guard([&] {
        if (count == nullptr) return Null("count");
        *count = static_cast<int32_t>(fenxi::Operations().size());
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_operation_find(const char* nameOrCode, int32_t* index) {
    return Guard([&] {
        if (nameOrCode == nullptr) return Null("name_or_code");
        if (index == nullptr) return Null("index");
        const fenxi::OperationSpec* op = fenxi::FindOperation(nameOrCode);
        if (op == nullptr) return Fail(FX_ERR_UNKNOWN, "unknown operation '" + std::string(nameOrCode) + "'");
        *index = static_cast<int32_t>(op - fenxi::Operations().data());
        return Ok();
    });
}

namespace {

// One field of operation `index` into *out, checked as every accessor is.
template <class T, class Field>
int OperationField(int32_t index, T* out, const char* what, Field field) {
    return Guard([&] {
        if (out == nullptr) return Null(what);
        const fenxi::OperationSpec* op = nullptr;
        if (int s = OperationAt(index, op)) return s;
        *out = field(*op);
        return Ok();
    });
}

}  // namespace

FENXI_API int FENXI_CALL fx_operation_name(int32_t index, const char** name) {
    return OperationField(index, name, "name", [](const fenxi::OperationSpec& op) { return op.name; });
}

FENXI_API int FENXI_CALL fx_operation_code(int32_t index, int32_t* code) {
    return OperationField(index, code, "code", [](const fenxi::OperationSpec& op) { return op.code; });
}

FENXI_API int FENXI_CALL fx_operation_param_count(int32_t index, int32_t* count) {
    return OperationField(index, count, "count", [](const fenxi::OperationSpec& op) { return op.paramCount; });
}

FENXI_API int FENXI_CALL fx_operation_param(int32_t index, int32_t k, const char** name, int32_t* defaultValue, int32_t* min,
                                  int32_t* max) {
    return Guard([&] {
        if (name == nullptr || defaultValue == nullptr || min == nullptr || max == nullptr)
            return Null("an out-parameter");
        const fenxi::OperationSpec* op = nullptr;
        if (int s = OperationAt(index, op)) return s;
        if (int s = CheckIndex(k, static_cast<std::size_t>(op->paramCount), "parameter")) return s;
        const fenxi::ParamSpec& p = op->params[k];
        *name = p.name;
        *defaultValue = p.defaultValue;
        *min = p.min;
        *max = p.max;
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_operation_line_count(int32_t index, int32_t* count) {
    return OperationField(index, count, "count", [](const fenxi::OperationSpec& op) { return op.lineCount; });
}

FENXI_API int FENXI_CALL fx_operation_line(int32_t index, int32_t k, const char** name, const char** measure) {
    return Guard([&] {
        if (name == nullptr || measure == nullptr) return Null("an out-parameter");
        const fenxi::OperationSpec* op = nullptr;
        if (int s = OperationAt(index, op)) return s;
        if (int s = CheckIndex(k, static_cast<std::size_t>(op->lineCount), "line")) return s;
        std::int32_t defaults[fenxi::kMaxParams] = {};
        for (int j = 0; j < op->paramCount; ++j) defaults[j] = op->params[j].defaultValue;
        *name = op->lines[k].name;
        *measure = fenxi::ScaleName(*op, k, defaults);
        return Ok();
    });
}

// ---- bars and computations ----

FENXI_API int FENXI_CALL fx_make_bars(const fx_columns* columns, UNIKDATA* bars, int32_t capacity, int32_t* unit) {
    return Guard([&] {
        if (unit == nullptr) return Null("unit");
        if (columns == nullptr) return Null("columns");
        if (capacity < 0) return Fail(FX_ERR_RANGE, "capacity " + std::to_string(capacity) + " is negative");
        if (capacity < columns->count)
            return Fail(FX_ERR_BUFFER, "room for " + std::to_string(capacity) + " bars, " +
                                           std::to_string(columns->count) + " needed");
        if (bars == nullptr && columns->count > 0) return Null("bars");
        fenxi::Bars made;
        if (int s = MakeBarsFrom(columns, made)) return s;
        std::copy(made.bars.begin(), made.bars.end(), bars);
        *unit = made.unit;
        return Ok();
    });
}

namespace {

// The operation into the caller's arrays (already checked for room).
int ComputeBars(const fenxi::OperationSpec& op, const std::vector<int>& given, const fenxi::Bars& bars,
                double* const* lines, int32_t* lineCount) {
    // The refusals first, so that nothing is written on one.
    std::int32_t p[fenxi::kMaxParams];
    if (fenxi::Error e = fenxi::ResolveParams(op, given, p)) return Fail(e);
    if (fenxi::Error e = fenxi::CheckBars(bars)) return Fail(e);
    std::vector<std::span<double>> out;
    for (int k = 0; k < op.lineCount; ++k) out.emplace_back(lines[k], bars.bars.size());
    if (fenxi::Error e = fenxi::ComputeInto(op.name, given, bars, out)) return Fail(e);
    *lineCount = op.lineCount;
    return Ok();
}

// What both compute functions check first: the name, the parameters and
// the count pointer.
int OperationCall(const char* name, const int32_t* params, int32_t paramCount, int32_t* lineCount,
                  const fenxi::OperationSpec*& op, std::vector<int>& given) {
    if (name == nullptr) return Null("name");
    if (lineCount == nullptr) return Null("line_count");
    op = fenxi::FindOperation(name);
    if (op == nullptr) return Fail(FX_ERR_UNKNOWN, "unknown operation '" + std::string(name) + "'");
    return ParamsOf(params, paramCount, given);
}

}  // namespace

FENXI_API int FENXI_CALL fx_compute_bars(const char* name, const int32_t* params, int32_t paramCount, const UNIKDATA* bars,
                               int32_t barCount, int32_t unit, double* const* lines, int32_t lineCapacity,
                               int32_t valueCapacity, int32_t* lineCount) {
    return Guard([&] {
        const fenxi::OperationSpec* op = nullptr;
        std::vector<int> given;
        if (int s = OperationCall(name, params, paramCount, lineCount, op, given)) return s;
        if (int s = CheckBarCount(barCount, bars, "bars")) return s;
        if (int s = CheckLines(op->lineCount, lines, lineCapacity, valueCapacity, barCount, lineCount)) return s;
        fenxi::Bars copy;
        if (int s = CopyBars(bars, barCount, unit, copy)) return s;
        return ComputeBars(*op, given, copy, lines, lineCount);
    });
}

FENXI_API int FENXI_CALL fx_compute_columns(const char* name, const int32_t* params, int32_t paramCount,
                                  const fx_columns* columns, double* const* lines, int32_t lineCapacity,
                                  int32_t valueCapacity, int32_t* lineCount) {
    return Guard([&] {
        const fenxi::OperationSpec* op = nullptr;
        std::vector<int> given;
        if (int s = OperationCall(name, params, paramCount, lineCount, op, given)) return s;
        if (columns == nullptr) return Null("columns");
        if (int s = CheckBarCount(columns->count, columns->close, "close")) return s;
        if (int s = CheckLines(op->lineCount, lines, lineCapacity, valueCapacity, columns->count, lineCount)) return s;
        fenxi::Bars bars;
        if (int s = MakeBarsFrom(columns, bars)) return s;
        return ComputeBars(*op, given, bars, lines, lineCount);
    });
}

FENXI_API int FENXI_CALL fx_compute_many(const char* name, const int32_t* params, int32_t paramCount,
                                         const UNIKDATA* const* bars, const int32_t* barCounts, const int32_t* units,
                                         int32_t securityCount, int32_t threads, double* const* lines,
                                         int32_t lineCapacity, int32_t* lineCount) {
    return Guard([&] {
        const fenxi::OperationSpec* op = nullptr;
        std::vector<int> given;
        if (int s = OperationCall(name, params, paramCount, lineCount, op, given)) return s;
        if (securityCount < 0 || securityCount > FX_MAX_SECURITIES)
            return Fail(FX_ERR_RANGE, "security count " + std::to_string(securityCount) + " is outside 0.." +
                                          std::to_string(FX_MAX_SECURITIES));
        if (threads < 0 || threads > 256)
            return Fail(FX_ERR_RANGE, "threads " + std::to_string(threads) + " is outside 0..256");
        if (lineCapacity < 0) return Fail(FX_ERR_RANGE, "line_capacity is negative");
        if (lineCapacity < op->lineCount) {
            *lineCount = op->lineCount;
            return Fail(FX_ERR_BUFFER, "room for " + std::to_string(lineCapacity) + " lines a security, " +
                                           std::to_string(op->lineCount) + " needed");
        }
        if (securityCount > 0 && (bars == nullptr || barCounts == nullptr || units == nullptr || lines == nullptr))
            return Null(bars == nullptr ? "bars" : barCounts == nullptr ? "bar_counts" : units == nullptr ? "units" : "lines");
        std::int64_t total = 0;
        for (int32_t s = 0; s < securityCount; ++s) {
            const std::string which = "security " + std::to_string(s) + ": ";
            if (barCounts[s] < 0 || barCounts[s] > FX_MAX_BARS)
                return Fail(FX_ERR_RANGE, which + "bar count " + std::to_string(barCounts[s]) + " is outside 0.." +
                                              std::to_string(FX_MAX_BARS));
            if (barCounts[s] > 0 && bars[s] == nullptr) return Null((which + "bars").c_str());
            if (units[s] < 1) return Fail(FX_ERR_RANGE, which + "unit " + std::to_string(units[s]) + " is not positive");
            total += barCounts[s];
            for (int k = 0; k < op->lineCount && barCounts[s] > 0; ++k)
                if (lines[static_cast<std::size_t>(s) * static_cast<std::size_t>(lineCapacity) + static_cast<std::size_t>(k)] == nullptr)
                    return Null((which + "lines[" + std::to_string(k) + "]").c_str());
        }
        if (total > FX_MAX_PANEL_BARS)
            return Fail(FX_ERR_RANGE, std::to_string(total) + " bars in all, more than " + std::to_string(FX_MAX_PANEL_BARS));
        std::vector<fenxi::Bars> copies(static_cast<std::size_t>(securityCount));
        std::vector<std::span<double>> out;
        out.reserve(static_cast<std::size_t>(securityCount) * static_cast<std::size_t>(op->lineCount));
        for (int32_t s = 0; s < securityCount; ++s) {
            const std::size_t n = static_cast<std::size_t>(barCounts[s]);
            if (n > 0) copies[static_cast<std::size_t>(s)].bars.assign(bars[s], bars[s] + n);
            copies[static_cast<std::size_t>(s)].unit = units[s];
            for (int k = 0; k < op->lineCount; ++k) {
                double* line = lines[static_cast<std::size_t>(s) * static_cast<std::size_t>(lineCapacity) + static_cast<std::size_t>(k)];
                out.emplace_back(n > 0 ? line : nullptr, n);
            }
        }
        if (fenxi::Error e = fenxi::ComputeManyInto(op->name, given, copies, out, {threads})) return Fail(e);
        *lineCount = op->lineCount;
        return Ok();
    });
}

// ---- operation streams ----

FENXI_API int FENXI_CALL fx_stream_create(const char* name, const int32_t* params, int32_t paramCount, int32_t unit,
                                fx_stream** stream) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        if (name == nullptr) return Null("name");
        std::vector<int> given;
        if (int s = ParamsOf(params, paramCount, given)) return s;
        auto made = std::make_unique<fx_stream>(fx_stream{fenxi::Stream(name, given, unit)});
        if (const fenxi::Error& e = made->stream.error()) return Fail(e);
        *stream = made.release();
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_stream_append(fx_stream* stream, const UNIKDATA* bar, double* values, int32_t capacity,
                                int32_t* lineCount) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        return StreamStep(stream->stream.operation()->lineCount, bar, values, capacity, lineCount,
                          [&](const UNIKDATA& b) { return stream->stream.Append(b); });
    });
}

FENXI_API int FENXI_CALL fx_stream_replace_last(fx_stream* stream, const UNIKDATA* bar, double* values, int32_t capacity,
                                      int32_t* lineCount) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        return StreamStep(stream->stream.operation()->lineCount, bar, values, capacity, lineCount,
                          [&](const UNIKDATA& b) { return stream->stream.ReplaceLast(b); });
    });
}

FENXI_API int FENXI_CALL fx_stream_line_count(const fx_stream* stream, int32_t* count) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        if (count == nullptr) return Null("count");
        *count = stream->stream.operation()->lineCount;
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_stream_size(const fx_stream* stream, int64_t* size) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        if (size == nullptr) return Null("size");
        *size = stream->stream.size();
        return Ok();
    });
}

FENXI_API void FENXI_CALL fx_stream_free(fx_stream* stream) { delete stream; }

// ---- formulas ----

FENXI_API int FENXI_CALL fx_formula_compile(const char* text, const fx_library* library, fx_formula** formula,
                                  fx_error* error) {
    ClearError(error);
    const int status = Guard([&] {
        if (text == nullptr) return Null("text");
        if (formula == nullptr) return Null("formula");
        auto made = std::make_unique<fx_formula>(
            fx_formula{fenxi::Formula(text, library == nullptr ? nullptr : &library->library)});
        if (!made->formula.ok()) return FailWith(error, FX_ERR_SYNTAX, made->formula.error());
        *formula = made.release();
        return Ok();
    });
    if (status != FX_OK && status != FX_ERR_SYNTAX && error != nullptr)
        CopyText(t_lastError, error->message, sizeof error->message);
    return status;
}

FENXI_API void FENXI_CALL fx_formula_free(fx_formula* formula) { delete formula; }

FENXI_API int FENXI_CALL fx_formula_info(const fx_formula* formula, const char** name, const char** description,
                               int32_t* overlay) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (name == nullptr || description == nullptr || overlay == nullptr) return Null("an out-parameter");
        *name = formula->formula.name().c_str();
        *description = formula->formula.description().c_str();
        *overlay = formula->formula.overlay() ? 1 : 0;
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_output_count(const fx_formula* formula, int32_t* count) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (count == nullptr) return Null("count");
        *count = static_cast<int32_t>(formula->formula.outputs().size());
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_output_name(const fx_formula* formula, int32_t k, const char** name) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (name == nullptr) return Null("name");
        const auto outputs = formula->formula.outputs();
        if (int s = CheckIndex(k, outputs.size(), "output")) return s;
        *name = outputs[static_cast<std::size_t>(k)].name.c_str();
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_output_attribute_count(const fx_formula* formula, int32_t k, int32_t* count) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (count == nullptr) return Null("count");
        const auto outputs = formula->formula.outputs();
        if (int s = CheckIndex(k, outputs.size(), "output")) return s;
        *count = static_cast<int32_t>(outputs[static_cast<std::size_t>(k)].attributes.size());
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_output_attribute(const fx_formula* formula, int32_t k, int32_t j, const char** attribute) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (attribute == nullptr) return Null("attribute");
        const auto outputs = formula->formula.outputs();
        if (int s = CheckIndex(k, outputs.size(), "output")) return s;
        const auto& attributes = outputs[static_cast<std::size_t>(k)].attributes;
        if (int s = CheckIndex(j, attributes.size(), "attribute")) return s;
        *attribute = attributes[static_cast<std::size_t>(j)].c_str();
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_param_count(const fx_formula* formula, int32_t* count) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (count == nullptr) return Null("count");
        *count = static_cast<int32_t>(formula->formula.parameters().size());
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_param(const fx_formula* formula, int32_t k, const char** name, double* defaultValue,
                                double* min, double* max) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (name == nullptr || defaultValue == nullptr || min == nullptr || max == nullptr)
            return Null("an out-parameter");
        const auto params = formula->formula.parameters();
        if (int s = CheckIndex(k, params.size(), "parameter")) return s;
        const fenxi::FormulaParam& p = params[static_cast<std::size_t>(k)];
        *name = p.name.c_str();
        *defaultValue = p.defaultValue;
        *min = p.min;
        *max = p.max;
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_run_bars(const fx_formula* formula, const UNIKDATA* bars, int32_t barCount, int32_t unit,
                                   const char* const* argNames, const double* argValues, int32_t argCount,
                                   double* const* lines, int32_t lineCapacity, int32_t valueCapacity,
                                   int32_t* lineCount) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (lineCount == nullptr) return Null("line_count");
        fenxi::FormulaArgs args;
        if (int s = ArgsOf(formula->formula, argNames, argValues, argCount, args)) return s;
        fenxi::Bars copy;
        if (int s = CopyBars(bars, barCount, unit, copy)) return s;
        return RunInto(formula->formula, copy, args, lines, lineCapacity, valueCapacity, lineCount);
    });
}

FENXI_API int FENXI_CALL fx_formula_run_columns(const fx_formula* formula, const fx_columns* columns,
                                      const char* const* argNames, const double* argValues, int32_t argCount,
                                      double* const* lines, int32_t lineCapacity, int32_t valueCapacity,
                                      int32_t* lineCount) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (lineCount == nullptr) return Null("line_count");
        fenxi::FormulaArgs args;
        if (int s = ArgsOf(formula->formula, argNames, argValues, argCount, args)) return s;
        fenxi::Bars bars;
        if (int s = MakeBarsFrom(columns, bars)) return s;
        return RunInto(formula->formula, bars, args, lines, lineCapacity, valueCapacity, lineCount);
    });
}

FENXI_API int FENXI_CALL fx_formula_last_bars(const fx_formula* formula, const UNIKDATA* bars, int32_t barCount, int32_t unit,
                                    const char* const* argNames, const double* argValues, int32_t argCount,
                                    double* values, int32_t capacity, int32_t* lineCount, int32_t* pass) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (lineCount == nullptr) return Null("line_count");
        if (pass == nullptr) return Null("pass");
        fenxi::FormulaArgs args;
        if (int s = ArgsOf(formula->formula, argNames, argValues, argCount, args)) return s;
        fenxi::Bars copy;
        if (int s = CopyBars(bars, barCount, unit, copy)) return s;
        return LastInto(formula->formula, copy, args, values, capacity, lineCount, pass);
    });
}

FENXI_API int FENXI_CALL fx_formula_last_columns(const fx_formula* formula, const fx_columns* columns,
                                       const char* const* argNames, const double* argValues, int32_t argCount,
                                       double* values, int32_t capacity, int32_t* lineCount, int32_t* pass) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (lineCount == nullptr) return Null("line_count");
        if (pass == nullptr) return Null("pass");
        fenxi::FormulaArgs args;
        if (int s = ArgsOf(formula->formula, argNames, argValues, argCount, args)) return s;
        fenxi::Bars bars;
        if (int s = MakeBarsFrom(columns, bars)) return s;
        return LastInto(formula->formula, bars, args, values, capacity, lineCount, pass);
    });
}

// ---- formula streams ----

FENXI_API int FENXI_CALL fx_formula_stream_create(const fx_formula* formula, int32_t unit, const char* const* argNames,
                                        const double* argValues, int32_t argCount, fx_formula_stream** stream) {
    return Guard([&] {
        if (formula == nullptr) return Null("formula");
        if (stream == nullptr) return Null("stream");
        if (unit < 1) return Fail(FX_ERR_RANGE, "unit " + std::to_string(unit) + " is not positive");
        fenxi::FormulaArgs args;
        if (int s = ArgsOf(formula->formula, argNames, argValues, argCount, args)) return s;
        auto made = std::make_unique<fx_formula_stream>(fx_formula_stream{formula->formula.Stream(unit, args)});
        if (!made->stream.ok()) return Fail(FX_ERR_PARAM, made->stream.error().message);
        *stream = made.release();
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_formula_stream_append(fx_formula_stream* stream, const UNIKDATA* bar, double* values,
                                        int32_t capacity, int32_t* lineCount) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        return StreamStep(static_cast<int>(stream->stream.outputs().size()), bar, values, capacity, lineCount,
                          [&](const UNIKDATA& b) { return stream->stream.Append(b); });
    });
}

FENXI_API int FENXI_CALL fx_formula_stream_replace_last(fx_formula_stream* stream, const UNIKDATA* bar, double* values,
                                              int32_t capacity, int32_t* lineCount) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        return StreamStep(static_cast<int>(stream->stream.outputs().size()), bar, values, capacity, lineCount,
                          [&](const UNIKDATA& b) { return stream->stream.ReplaceLast(b); });
    });
}

FENXI_API int FENXI_CALL fx_formula_stream_size(const fx_formula_stream* stream, int64_t* size) {
    return Guard([&] {
        if (stream == nullptr) return Null("stream");
        if (size == nullptr) return Null("size");
        *size = stream->stream.size();
        return Ok();
    });
}

FENXI_API void FENXI_CALL fx_formula_stream_free(fx_formula_stream* stream) { delete stream; }

// ---- libraries ----

FENXI_API int FENXI_CALL fx_library_create(int32_t start, fx_library** library) {
    return Guard([&] {
        if (library == nullptr) return Null("library");
        if (start != FX_LIBRARY_EMPTY && start != FX_LIBRARY_SHIPPED)
            return Fail(FX_ERR_RANGE, "start " + std::to_string(start) + " is neither FX_LIBRARY_EMPTY nor FX_LIBRARY_SHIPPED");
        *library = new fx_library(start == FX_LIBRARY_SHIPPED ? fenxi::FormulaLibrary::Start::Shipped
                                                              : fenxi::FormulaLibrary::Start::Empty);
        return Ok();
    });
}

namespace {

// A load's outcome: the entries cached again after success, the place and
// message in the caller's fx_error after a failure.
template <class Load>
int LoadInto(fx_library* library, fx_error* error, Load load) {
    ClearError(error);
    const int status = Guard([&] {
        if (library == nullptr) return Null("library");
        int s = FX_OK;
        const fenxi::FormulaError e = load(s);
        if (s != FX_OK) return s;
        if (e) return FailWith(error, FX_ERR_SYNTAX, e);
        library->entries = library->library.Entries();
        return Ok();
    });
    if (status != FX_OK && status != FX_ERR_SYNTAX && error != nullptr)
        CopyText(t_lastError, error->message, sizeof error->message);
    return status;
}

}  // namespace

FENXI_API int FENXI_CALL fx_library_load_file(fx_library* library, const char* path, fx_error* error) {
    return LoadInto(library, error, [&](int& status) {
        if (path == nullptr) {
            status = Null("path");
            return fenxi::FormulaError{};
        }
        // Tells an unreadable file apart from one that does not compile.
        if (!std::ifstream(path, std::ios::binary)) {
            status = Fail(FX_ERR_IO, "cannot read " + std::string(path));
            return fenxi::FormulaError{};
        }
        return library->library.LoadFile(path);
    });
}

FENXI_API int FENXI_CALL fx_library_load_text(fx_library* library, const char* text, const char* fileName, fx_error* error) {
    return LoadInto(library, error, [&](int& status) {
        if (text == nullptr || fileName == nullptr) {
            status = Null(text == nullptr ? "text" : "file_name");
            return fenxi::FormulaError{};
        }
        return library->library.Load(text, fileName);
    });
}

FENXI_API int FENXI_CALL fx_library_entry_count(const fx_library* library, int32_t* count) {
    return Guard([&] {
        if (library == nullptr) return Null("library");
        if (count == nullptr) return Null("count");
        *count = static_cast<int32_t>(library->entries.size());
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_library_entry(const fx_library* library, int32_t k, const char** name, const char** description,
                                int32_t* overlay, const char** file) {
    return Guard([&] {
        if (library == nullptr) return Null("library");
        if (name == nullptr || description == nullptr || overlay == nullptr || file == nullptr)
            return Null("an out-parameter");
        if (int s = CheckIndex(k, library->entries.size(), "entry")) return s;
        const fenxi::FormulaEntry& e = library->entries[static_cast<std::size_t>(k)];
        *name = e.name.c_str();
        *description = e.description.c_str();
        *overlay = e.overlay ? 1 : 0;
        *file = e.file.c_str();
        return Ok();
    });
}

FENXI_API int FENXI_CALL fx_library_find(const fx_library* library, const char* name, fx_formula** formula) {
    return Guard([&] {
        if (library == nullptr) return Null("library");
        if (name == nullptr) return Null("name");
        if (formula == nullptr) return Null("formula");
        const fenxi::Formula* found = library->library.Find(name);
        if (found == nullptr) return Fail(FX_ERR_UNKNOWN, "no entry named '" + std::string(name) + "'");
        *formula = new fx_formula{*found};
        return Ok();
    });
}

FENXI_API void FENXI_CALL fx_library_free(fx_library* library) { delete library; }

