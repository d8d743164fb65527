// Streams: an operation kept running over a growing series.
//
// A stream runs its operation's kernel one bar at a time: it keeps the
// kernel's state after the newest bar and the state before it (replacing the
// newest bar steps again from that one), and the columns the kernel writes
// over the bars its steps read back. When the buffers fill, the newest `keep`
// bars and their columns move to the front, so after construction nothing is
// allocated.
#include <algorithm>
#include <limits>

#include "core/kernel.h"
#include "core/registry.h"

namespace fenxi {

struct Stream::State {
    const OperationSpec* op = nullptr;
    const detail::Stepper* stepper = nullptr;
    std::int32_t p[kMaxParams] = {};
    Error error;
    std::int64_t count = 0;  // bars appended
    std::size_t held = 0;    // bars in the buffers
    std::size_t keep = 0;    // bars kept when the buffers slide
    std::vector<UNIKDATA> bars;
    std::vector<double> out;
    double scale[kMaxLines] = {};
    // Each line's first valid bar, formed once; a shifted line reads bars
    // ahead, so a stream never holds a value of it (ValidRange's end).
    std::int64_t firstBar[kMaxLines] = {};
    bool ahead = false;
    // The states before and after the newest bar: states[now ^ 1], states[now].
    struct alignas(std::max_align_t) StepState {
        unsigned char bytes[detail::kStateBytes];
    } states[2];
    int now = 0;
    // The columns the kernel writes, one run of bars.size() values each.
    std::vector<double> history;
    int written[kColumns] = {}, writtenCount = 0;
    LineOut view = LineOut::Columns();

    void Push(const UNIKDATA& bar) {
        if (held == bars.size()) {
            const auto from = static_cast<std::ptrdiff_t>(bars.size() - keep);
            std::copy(bars.begin() + from, bars.end(), bars.begin());
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
        const std::int64_t i = static_cast<std::int64_t>(held) - 1;
        for (int k = 0; k < writtenCount; ++k) view(written[k], i) = 0.0;  // as a fresh row
        stepper->step(states[now ^ 1].bytes, states[now].bytes, bars.data(), static_cast<int>(i), count == 1, view);
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (int k = 0; k < op->lineCount; ++k) {
            const bool valid = !ahead && count - 1 >= firstBar[k];
            out[k] = valid ? view(op->lines[k].column, i) / scale[k] : nan;
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
    for (int k = 0; k < s.op->lineCount; ++k) {
        s.scale[k] = TrueScale(*s.op, k, s.p, unit);
        s.firstBar[k] = s.op->firstValid(s.p, k);
    }
    s.ahead = s.op->tailParam >= 0 && s.p[s.op->tailParam] > 0;
    s.keep = static_cast<std::size_t>(std::max<std::int64_t>(detail::StreamMemory(*s.op, s.p), 1) + 1);
    s.bars.resize(2 * s.keep + 64);
    s.stepper = s.op->kernel->stepper;
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
