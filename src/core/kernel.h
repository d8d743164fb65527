// One operation's arithmetic, run once over the bars into a strided view.
//
// A kernel writes FenXi column c of bar i at col[c][i * stride]: the rows of
// the class API (stride 53, one pointer per column into row 0) or separate
// contiguous arrays (stride 1) for the columnar API. It makes one pass over
// the bars carrying all its running state, writes every column the row form
// leaves (intermediates included) and reads back only what it wrote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "core/series.h"

namespace fenxi {

constexpr int kColumns = 43;

class LineOut {
public:
    // The view of rows[0 ..]: every column, the row stride.
    static LineOut Rows(FENXIDATA* rows) {
        LineOut v;
        v.stride_ = static_cast<std::ptrdiff_t>(sizeof(FENXIDATA) / sizeof(double));
        for (int c = 0; c < kColumns; ++c) v.col_[c] = rows->FenXi + c;
        v.rows_ = true;
        return v;
    }
    // Contiguous arrays, set per column with Bind.
    static LineOut Columns() { return LineOut{}; }
    void Bind(int c, double* values) { col_[c] = values; }

    double* Column(int c) const { return col_[c]; }
    std::ptrdiff_t Stride() const { return stride_; }
    double& operator()(int c, std::int64_t i) const { return col_[c][i * stride_]; }

    // Row passes ask for the row `kAhead` bars on to be brought in for
    // writing: with 424-byte rows the stores otherwise wait on each line's
    // read from memory. Columns stream well without it. `c` is a column the
    // pass writes. The address is formed as an integer: it may lie past the
    // block, which a prefetch never faults on.
    void Ahead(int c, std::int64_t i) const {
        if (!rows_) return;
        const auto at = reinterpret_cast<std::uintptr_t>(col_[c]) +
                        static_cast<std::uintptr_t>((i + kAhead) * stride_) * sizeof(double);
        __builtin_prefetch(reinterpret_cast<const void*>(at), 1, 3);
    }
    static constexpr int kAhead = 16;

private:
    double* col_[kColumns] = {};
    std::ptrdiff_t stride_ = 1;
    bool rows_ = false;
};

// sum(rows, n, i, period, col) and ma(...) over a view: the left-to-right
// sum of column col over bars i-period+1 .. i, 0.0 before a full window and
// for period < 1.
inline double sum(const LineOut& o, int i, int period, int col) {
    const std::int64_t start = std::int64_t{i} - period + 1;
    if (start < 0 || start > i) return 0.0;
    double total = 0.0;
    for (std::int64_t j = start; j <= i; ++j) total += o(col, j);
    return total;
}
inline double ma(const LineOut& o, int i, int period, int col) { return sum(o, i, period, col) / period; }

namespace detail {

// The per-bar form of a kernel: its running state as a trivially copyable
// value and one step per bar (see core/stepped.h). Where the pass is a
// recurrence it is these steps in a loop; where it takes whole-column routes
// the steps are those routes' plain arithmetic, with the same bits. Streams
// keep the state between appends.
struct LaneForm;  // core/lane_steps.h

struct Stepper {
    void (*start)(void* state, int unit, const std::int32_t* p);
    // Writes bar i from the state `before` it and leaves the state after it
    // in `after`; bars[i - history .. i - 1] are at hand. `first` on the
    // series' first bar, which is then bars[0].
    void (*step)(const void* before, void* after, const UNIKDATA* bars, int i, bool first, const LineOut& out);
    std::int64_t (*history)(const std::int32_t* p);  // bars before i a step reads
};
constexpr std::size_t kStateBytes = 256;  // the largest state

// A kernel and the FenXi columns it writes (bit c for column c).
struct Kernel {
    void (*run)(const UNIKDATA* bars, int unit, int n, const std::int32_t* p, const LineOut& out);
    std::uint64_t writes;
    // Columns it leaves unwritten on some bars that a line may show (a fresh
    // row buffer holds 0 there): the columnar route zeroes them first.
    std::uint64_t leaves = 0;
    const Stepper* stepper = nullptr;  // its per-bar form (every registry kernel has one)
    const LaneForm* lanes = nullptr;   // its steps across securities in vector lanes, where it has them
};

constexpr std::uint64_t Cols(std::initializer_list<int> cs) {
    std::uint64_t m = 0;
    for (int c : cs) m |= std::uint64_t{1} << c;
    return m;
}

}  // namespace detail

// Runs a kernel into rows[0 .. n-1].
inline void RunKernel(const detail::Kernel& k, const UNIKDATA* bars, int unit, FENXIDATA* rows, int n,
                      const std::int32_t* p) {
    if (n > 0) k.run(bars, unit, n, p, LineOut::Rows(rows));
}

}  // namespace fenxi
