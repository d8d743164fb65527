// The columnar API: checked bars and parameters in, one contiguous array
// per line out, in true units.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "core/lanes.h"
#include "core/registry.h"

namespace fenxi {
namespace {

constexpr double kInt32Max = 2147483647.0;

Error Fail(Errc code, int index, std::string message) { return Error{code, index, std::move(message)}; }

std::string Number(double v) {
    char b[64];
    std::snprintf(b, sizeof b, "%.17g", v);
    return b;
}

const char* kPriceNames[] = {"open", "high", "low", "close"};

// Round to nearest, ties to even, as nearbyint does in the default mode,
// without the library call: exact for |v| < 2^52, and v itself is whole
// beyond that.
double Nearest(double v) {
    constexpr double kTwo52 = 4503599627370496.0;
    const double a = std::fabs(v);
    if (!(a < kTwo52)) return v;
    return std::copysign((a + kTwo52) - kTwo52, v);
}

// Decimals (0..6) the prices need: the fewest at which every price is a
// whole number of units, up to the rounding of decimal text to binary. One
// pass: each price is tried at the most decimals found so far, and more
// only when that is not enough.
int DecimalsOf(const PriceColumns& c) {
    static constexpr double kScales[] = {1.0, 10.0, 100.0, 1000.0, 10000.0, 100000.0, 1000000.0};
    auto whole = [](double x, int d) {
        const double v = x * kScales[d];
        return std::fabs(v - Nearest(v)) <= 1e-6 + std::fabs(v) * 1e-12;
    };
    int most = 0;
    for (const auto& column : {c.open, c.high, c.low, c.close})
        for (double x : column)
            while (most < 6 && !whole(x, most)) ++most;
    return most;
}

// The lines of a kernel, in row units: each line column straight into its
// output array, the other columns it writes into scratch kept warm per
// thread (faulting in fresh pages costs more than the arithmetic).
void KernelLines(const detail::Kernel& kernel, const Bars& bars, int n, const std::int32_t* p, const OperationSpec& op,
                 std::span<const std::span<double>> lines) {
    thread_local std::vector<double> scratch;
    LineOut view = LineOut::Columns();
    std::uint64_t bound = 0;
    for (int k = 0; k < op.lineCount; ++k) {
        const int c = op.lines[k].column;
        if (!(kernel.writes >> c & 1) || (kernel.leaves >> c & 1))
            std::fill(lines[k].begin(), lines[k].end(), 0.0);  // as a zeroed row
        view.Bind(c, lines[k].data());
        bound |= std::uint64_t{1} << c;
    }
    const std::uint64_t others = kernel.writes & ~bound;
    const std::size_t need = static_cast<std::size_t>(std::popcount(others)) * static_cast<std::size_t>(n);
    if (scratch.size() < need) scratch.resize(need);
    std::size_t at = 0;
    for (int c = 0; c < kColumns; ++c) {
        if (!(others >> c & 1)) continue;
        double* column = scratch.data() + at;
        if (kernel.leaves >> c & 1) std::fill(column, column + n, 0.0);
        view.Bind(c, column);
        at += static_cast<std::size_t>(n);
    }
    kernel.run(bars.bars.data(), bars.unit, n, p, view);
}

}  // namespace

Error MakeBars(const PriceColumns& c, Bars& out) {
    const std::size_t n = c.close.size();
    const std::span<const double> prices[] = {c.open, c.high, c.low, c.close};
    for (int k = 0; k < 4; ++k)
        if (prices[k].size() != n)
            return Fail(Errc::LengthMismatch, -1,
                        std::string(kPriceNames[k]) + " has " + std::to_string(prices[k].size()) + " values, close " +
                            std::to_string(n));
    auto optional = [&](std::size_t size, const char* name) -> Error {
        if (size != 0 && size != n)
            return Fail(Errc::LengthMismatch, -1,
                        std::string(name) + " has " + std::to_string(size) + " values, close " + std::to_string(n));
        return {};
    };
    for (Error e : {optional(c.volume.size(), "volume"), optional(c.amount.size(), "amount"),
                    optional(c.date.size(), "date"), optional(c.time.size(), "time")})
        if (e) return e;
    if (n > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        return Fail(Errc::LengthMismatch, -1, "more bars than a 32-bit count holds");

    double highest = 0.0;
    std::size_t highestAt = 0;
    for (std::size_t i = 0; i < n; ++i) {
        for (int k = 0; k < 4; ++k) {
            const double x = prices[k][i];
            const int at = static_cast<int>(i);
            if (!std::isfinite(x))
                return Fail(Errc::PriceNotFinite, at, "bar " + std::to_string(i) + ": " + kPriceNames[k] + " is " + Number(x));
            if (x < 0)
                return Fail(Errc::PriceNegative, at, "bar " + std::to_string(i) + ": " + kPriceNames[k] + " " + Number(x) + " is negative");
            if (x > highest) highest = x, highestAt = i;
        }
        if (c.high[i] < c.low[i])
            return Fail(Errc::HighBelowLow, static_cast<int>(i),
                        "bar " + std::to_string(i) + ": high " + Number(c.high[i]) + " is below low " + Number(c.low[i]));
        if (!c.volume.empty() && !(c.volume[i] >= 0 && c.volume[i] < 1.8446744073709552e19))
            return Fail(Errc::VolumeInvalid, static_cast<int>(i),
                        "bar " + std::to_string(i) + ": volume " + Number(c.volume[i]) + " is not a count");
    }

    int unit = c.unit;
    if (unit != 0) {
        bool power = false;
        for (int u = 1; u <= 1000000; u *= 10) power = power || u == unit;
        if (!power) return Fail(Errc::UnitInvalid, -1, "unit " + std::to_string(unit) + " is not a power of ten 1..10^6");
        if (Nearest(highest * unit) > kInt32Max)
            return Fail(Errc::PriceTooLarge, static_cast<int>(highestAt),
                        "bar " + std::to_string(highestAt) + ": price " + Number(highest) + " does not fit 32 bits at unit " +
                            std::to_string(unit));
    } else {
        if (Nearest(highest) > kInt32Max)
            return Fail(Errc::PriceTooLarge, static_cast<int>(highestAt),
                        "bar " + std::to_string(highestAt) + ": price " + Number(highest) + " does not fit 32 bits at any unit");
        unit = 1;
        for (int d = DecimalsOf(c); d > 0 && Nearest(highest * unit * 10) <= kInt32Max; --d) unit *= 10;
    }

    out.unit = unit;
    out.bars.assign(n, UNIKDATA{});
    for (std::size_t i = 0; i < n; ++i) {
        UNIKDATA& b = out.bars[i];
        b.Open = static_cast<std::int32_t>(Nearest(c.open[i] * unit));
        b.High = static_cast<std::int32_t>(Nearest(c.high[i] * unit));
        b.Low = static_cast<std::int32_t>(Nearest(c.low[i] * unit));
        b.Close = static_cast<std::int32_t>(Nearest(c.close[i] * unit));
        if (!c.volume.empty()) b.Volume = static_cast<std::uint64_t>(Nearest(c.volume[i]));
        if (!c.amount.empty()) b.Amount = c.amount[i];
        if (!c.date.empty()) b.Date = c.date[i];
        if (!c.time.empty()) b.Time = c.time[i];
    }
    return {};
}

Error CheckBars(const Bars& bars) {
    if (bars.unit < 1) return Fail(Errc::UnitInvalid, -1, "unit " + std::to_string(bars.unit) + " is not positive");
    if (bars.bars.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        return Fail(Errc::LengthMismatch, -1, "more bars than a 32-bit count holds");
    // One branch-free pass to see whether any bar is bad (a sign bit among
    // its prices or, with both non-negative, in high - low), then the first
    // bad bar named.
    std::int32_t bad = 0;
    for (const UNIKDATA& b : bars.bars)
        bad |= b.Open | b.High | b.Low | b.Close |
               static_cast<std::int32_t>(static_cast<std::uint32_t>(b.High) - static_cast<std::uint32_t>(b.Low));
    if (bad >= 0) return {};
    for (std::size_t i = 0; i < bars.bars.size(); ++i) {
        const UNIKDATA& b = bars.bars[i];
        const std::int32_t prices[] = {b.Open, b.High, b.Low, b.Close};
        for (int k = 0; k < 4; ++k)
            if (prices[k] < 0)
                return Fail(Errc::PriceNegative, static_cast<int>(i),
                            "bar " + std::to_string(i) + ": " + kPriceNames[k] + " " + std::to_string(prices[k]) + " is negative");
        if (b.High < b.Low)
            return Fail(Errc::HighBelowLow, static_cast<int>(i),
                        "bar " + std::to_string(i) + ": high " + std::to_string(b.High) + " is below low " + std::to_string(b.Low));
    }
    return {};
}

Error ResolveParams(const OperationSpec& op, std::span<const int> given, std::int32_t (&out)[kMaxParams]) {
    std::fill(std::begin(out), std::end(out), 0);
    if (given.size() > static_cast<std::size_t>(op.paramCount))
        return Fail(Errc::ParameterCount, -1,
                    std::string(op.name) + " takes " + std::to_string(op.paramCount) + " parameters, " +
                        std::to_string(given.size()) + " given");
    for (int k = 0; k < op.paramCount; ++k) {
        const ParamSpec& s = op.params[k];
        const int v = k < static_cast<int>(given.size()) ? given[k] : s.defaultValue;
        if (v < s.min || v > s.max)
            return Fail(Errc::ParameterRange, k,
                        std::string(op.name) + ": " + s.name + "=" + std::to_string(v) + " is outside " +
                            std::to_string(s.min) + ".." + std::to_string(s.max));
        out[k] = v;
    }
    return {};
}

const std::vector<double>* Lines::Find(std::string_view name) const {
    for (std::size_t k = 0; k < names.size(); ++k)
        if (names[k] == name) return &values[k];
    return nullptr;
}

void ValidRange(const OperationSpec& op, const std::int32_t* p, int k, std::int64_t n, std::int64_t& first,
                std::int64_t& end) {
    first = std::clamp<std::int64_t>(op.firstValid(p, k), 0, n);
    end = op.tailParam >= 0 ? std::max<std::int64_t>(first, n - p[op.tailParam]) : n;
}

Error ComputeInto(std::string_view name, std::span<const int> given, const Bars& bars,
                  std::span<const std::span<double>> lines) {
    const OperationSpec* op = FindOperation(name);
    if (op == nullptr) return Fail(Errc::UnknownOperation, -1, "unknown operation '" + std::string(name) + "'");
    std::int32_t p[kMaxParams];
    if (Error e = ResolveParams(*op, given, p)) return e;
    if (Error e = CheckBars(bars)) return e;
    const std::size_t n = bars.bars.size();
    if (lines.size() != static_cast<std::size_t>(op->lineCount))
        return Fail(Errc::LengthMismatch, -1,
                    std::string(op->name) + " has " + std::to_string(op->lineCount) + " lines, " +
                        std::to_string(lines.size()) + " arrays given");
    for (std::size_t k = 0; k < lines.size(); ++k)
        if (lines[k].size() != n)
            return Fail(Errc::LengthMismatch, -1,
                        std::string("line ") + op->lines[k].name + " has room for " + std::to_string(lines[k].size()) +
                            " values, bars " + std::to_string(n));
    if (n == 0) return {};

    const int count = static_cast<int>(n);
    KernelLines(*op->kernel, bars, count, p, *op, lines);

    // Row units to true units; NaN outside each line's valid bars.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (int k = 0; k < op->lineCount; ++k) {
        const double scale = TrueScale(*op, k, p, bars.unit);
        std::int64_t first = 0, end = 0;
        ValidRange(*op, p, k, count, first, end);
        double* v = lines[k].data();
        for (std::int64_t i = 0; i < first; ++i) v[i] = nan;
        lanes::Divide(v + first, static_cast<int>(end - first), scale);
        for (std::int64_t i = end; i < count; ++i) v[i] = nan;
    }
    return {};
}

Lines Compute(std::string_view name, std::span<const int> given, const Bars& bars) {
    Lines out;
    out.unit = bars.unit;
    const OperationSpec* op = FindOperation(name);
    const std::size_t lineCount = op != nullptr ? static_cast<std::size_t>(op->lineCount) : 0;
    std::vector<std::vector<double>> values(lineCount);
    std::span<double> views[kMaxLines];
    for (std::size_t k = 0; k < lineCount; ++k) {
        values[k].resize(bars.bars.size());
        views[k] = values[k];
    }
    if ((out.error = ComputeInto(name, given, bars, std::span<const std::span<double>>(views, lineCount)))) return out;
    for (std::size_t k = 0; k < lineCount; ++k) out.names.emplace_back(op->lines[k].name);
    out.values = std::move(values);
    return out;
}

Lines Compute(std::string_view name, std::span<const int> params, const PriceColumns& columns) {
    Bars bars;
    Error e = MakeBars(columns, bars);
    if (e) {
        Lines out;
        out.error = std::move(e);
        return out;
    }
    return Compute(name, params, bars);
}

}  // namespace fenxi
