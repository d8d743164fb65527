// Streams: an operation kept running over a growing series.
//
// Each operation computes one row per bar from the bars and rows before it,
// with its running state in the rows, either by its own step or by its
// class-API updater where that equals the generator. The stream holds only
// the history the operation reads: when its buffers fill, the newest `keep`
// bars and rows move to the front, so after construction nothing is
// allocated.
#include <algorithm>
#include <cstring>
#include <limits>

#include "core/registry.h"

namespace fenxi {

struct Stream::State {
    const OperationSpec* op = nullptr;
    std::int32_t p[kMaxParams] = {};
    int unit = 0;
    Error error;
    std::int64_t count = 0;  // bars appended
    std::size_t held = 0;    // bars in the buffers
    std::size_t keep = 0;    // bars kept when the buffers slide
    std::vector<UNIKDATA> bars;
    std::vector<Row> rows;
    CAnalysisTechniques engine;
    std::vector<double> out;
    double scale[kMaxLines] = {};

    detail::StreamForm::Kind Kind() const { return op->stream->kind; }

    void Push(const UNIKDATA& bar) {
        if (held == bars.size()) {
            std::copy(bars.end() - static_cast<std::ptrdiff_t>(keep), bars.end(), bars.begin());
            std::copy(rows.end() - static_cast<std::ptrdiff_t>(keep), rows.end(), rows.begin());
            held = keep;
        }
        bars[held++] = bar;
        ++count;
    }

    std::span<const double> Last() {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        Row& row = rows[held - 1];
        std::memset(&row, 0, sizeof row);
        if (Kind() == detail::StreamForm::Stepped) {
            op->stream->step(bars.data(), unit, rows.data(), static_cast<int>(held), static_cast<int>(held - 1), p);
        } else {
            Row* base = rows.data();  // not this engine's buffer: the updater trusts it
            op->update(engine, bars.data(), unit, base, static_cast<int>(held), p);
        }
        for (int k = 0; k < op->lineCount; ++k) {
            std::int64_t firstBar = 0, end = 0;
            ValidRange(*op, p, k, count, firstBar, end);
            const bool valid = count - 1 >= firstBar && count - 1 < end;
            out[k] = valid ? row.FenXi[op->lines[k].column] / scale[k] : nan;
        }
        return out;
    }
};

Stream::Stream(std::string_view name, std::span<const int> params, int unit) : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.op = FindOperation(name);
    if (s.op == nullptr) {
        s.error = Error{Errc::UnknownOperation, -1, "unknown operation '" + std::string(name) + "'"};
        return;
    }
    s.out.assign(static_cast<std::size_t>(s.op->lineCount), std::numeric_limits<double>::quiet_NaN());
    if ((s.error = ResolveParams(*s.op, params, s.p))) return;
    if (unit < 1) {
        s.error = Error{Errc::UnitInvalid, -1, "unit " + std::to_string(unit) + " is not positive"};
        return;
    }
    s.unit = unit;
    for (int k = 0; k < s.op->lineCount; ++k) s.scale[k] = TrueScale(*s.op, k, s.p, unit);
    s.keep = static_cast<std::size_t>(std::max<std::int64_t>(detail::StreamMemory(*s.op, s.p), 1) + 1);
    s.bars.resize(2 * s.keep + 16);
    s.rows.resize(s.bars.size());
}

Stream::~Stream() = default;
Stream::Stream(Stream&&) noexcept = default;
Stream& Stream::operator=(Stream&&) noexcept = default;

const Error& Stream::error() const { return state_->error; }
const OperationSpec* Stream::operation() const { return state_->op; }
std::int64_t Stream::size() const { return state_->count; }

std::span<const double> Stream::Append(const UNIKDATA& bar) {
    State& s = *state_;
    if (s.error) return s.out;
    s.Push(bar);
    return s.Last();
}

std::span<const double> Stream::ReplaceLast(const UNIKDATA& bar) {
    State& s = *state_;
    if (s.error) return s.out;
    if (s.held == 0) return Append(bar);
    s.bars[s.held - 1] = bar;
    return s.Last();
}

}  // namespace fenxi
