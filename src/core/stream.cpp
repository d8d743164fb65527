// Streams: an operation kept running over a growing series.
//
// An operation whose kernel has a per-bar form keeps that kernel's state and
// takes one step per bar into a single row of columns; the state before the
// newest bar is kept too, so replacing that bar steps again from it. The
// others compute one row per bar from the bars and rows before it, with
// their running state in the rows, by their own step or by the class-API
// updater where that equals the generator. The stream holds only the history
// the operation reads: when its buffers fill, the newest `keep` bars (and
// rows) move to the front, so after construction nothing is allocated.
#include <algorithm>
#include <cstring>
#include <limits>

#include "core/kernel.h"
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
    // The kernel's per-bar form: its states before and after the newest bar
    // (states[now ^ 1], states[now]), and the columns it writes over the
    // held bars, which its steps may read back.
    const detail::Stepper* stepper = nullptr;
    struct alignas(std::max_align_t) StepState {
        unsigned char bytes[detail::kStateBytes];
    } states[2];
    int now = 0;
    std::vector<double> history;  // one run of bars.size() values per column
    int written[kColumns] = {}, writtenCount = 0;
    LineOut view = LineOut::Columns();

    void Push(const UNIKDATA& bar) {
        if (held == bars.size()) {
            const auto from = static_cast<std::ptrdiff_t>(bars.size() - keep);
            std::copy(bars.begin() + from, bars.end(), bars.begin());
            if (stepper == nullptr) std::copy(rows.begin() + from, rows.end(), rows.begin());
            for (int k = 0; k < writtenCount; ++k) {
                double* c = view.Column(written[k]);
                std::copy(c + from, c + bars.size(), c);
            }
            held = keep;
        }
        bars[held++] = bar;
        ++count;
        now ^= 1;  // the state after the last bar is the one before this
    }

    std::span<const double> Last() {
        if (stepper == nullptr) return FromRows();
        const std::int64_t i = static_cast<std::int64_t>(held) - 1;
        for (int k = 0; k < writtenCount; ++k) view(written[k], i) = 0.0;  // as a fresh row
        stepper->step(states[now ^ 1].bytes, states[now].bytes, bars.data(), static_cast<int>(i), count == 1, view);
        double v[kColumns];
        for (int k = 0; k < op->lineCount; ++k) v[op->lines[k].column] = view(op->lines[k].column, i);
        return Values(v);
    }

    std::span<const double> FromRows() {
        Row& row = rows[held - 1];
        std::memset(&row, 0, sizeof row);
        if (op->stream->kind == detail::StreamForm::Stepped) {
            op->stream->step(bars.data(), unit, rows.data(), static_cast<int>(held), static_cast<int>(held - 1), p);
        } else {
            Row* base = rows.data();  // not this engine's buffer: the updater trusts it
            op->update(engine, bars.data(), unit, base, static_cast<int>(held), p);
        }
        return Values(row.FenXi);
    }

    std::span<const double> Values(const double* v) {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (int k = 0; k < op->lineCount; ++k) {
            std::int64_t firstBar = 0, end = 0;
            ValidRange(*op, p, k, count, firstBar, end);
            const bool valid = count - 1 >= firstBar && count - 1 < end;
            out[k] = valid ? v[op->lines[k].column] / scale[k] : nan;
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
    s.bars.resize(2 * s.keep + 64);
    s.stepper = s.op->kernel->stepper;
    if (s.stepper == nullptr) {
        s.rows.resize(s.bars.size());
        return;
    }
    s.stepper->start(s.states[0].bytes, unit, s.p);
    const std::uint64_t columns = s.op->kernel->writes | s.op->kernel->leaves;
    s.history.resize(static_cast<std::size_t>(__builtin_popcountll(columns)) * s.bars.size());
    for (int c = 0; c < kColumns; ++c) {
        if ((columns >> c & 1) == 0) continue;
        s.view.Bind(c, s.history.data() + s.writtenCount * s.bars.size());
        s.written[s.writtenCount++] = c;
    }
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
