// Runs a lowered formula over bars a block at a time: each node steps its
// running state over the block into a contiguous column. A batch run is many
// blocks; a stream's Append is a block of one, and ReplaceLast steps again
// from the states taken before the last bar. Both are one code path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "formula/program.h"

namespace fenxi::formula {

constexpr int kBlock = 32;

// Bound on the values the windows of one formula keep (8 bytes each: 256
// MiB), checked when it is lowered.
constexpr std::int64_t kMaxHistory = std::int64_t{1} << 25;

// The bars of history a node's step keeps (its window and the bar before),
// and the slots it allocates for them.
std::int64_t HistorySpan(const Node& n);
std::int64_t HistorySlots(const Node& n);

// Bound on the values per bar that the steps which read their whole window
// (the centred functions, and SUM, HHV, LLV and their BARS with a series N)
// read together, checked when a formula is lowered.
constexpr std::int64_t kMaxWindowReads = 1000000;
std::int64_t WindowReads(const Node& n);

struct Block {
    const UNIKDATA* bars = nullptr;  // the block's bars
    int count = 0;
    std::int64_t first = 0;  // index of its first bar in the series
    double unit = 1;
    bool replacing = false;  // a stream replaces its newest bar
};

// One node's running state and step. The head is the plain state a stream
// copies before each bar; Undo puts back what a step wrote elsewhere.
class Step {
public:
    virtual ~Step() = default;
    virtual void Run(const Block& b, const double* const* in, double* out) = 0;
    virtual std::span<std::byte> Head() { return {}; }
    virtual void Undo() {}
    // Several securities at once: `peers` are this step's counterparts in
    // the other securities' evaluators (this one first), in[j] and out[j]
    // lane j's inputs and output, `count` bars. False where the step has no
    // lane form; the caller then runs each security's step.
    virtual bool RunLanes(Step* const* /*peers*/, int /*lanes*/, int /*count*/, const double* const* const* /*in*/,
                          double* const* /*out*/) {
        return false;
    }
};

class Evaluator {
public:
    // `series` is the whole series for a batch run (operations are computed
    // over it once); null for a stream, whose operations run as streams.
    Evaluator(const Program& program, const Bars* series, int unit);
    ~Evaluator();

    void Run(const Block& b);
    const double* Column(int node) const { return columns_.data() + static_cast<std::size_t>(node) * kBlock; }
    const Program& program() const { return program_; }

    // Stream support: the heads of every step, copied out and back.
    void SaveHeads();
    void RestoreHeads();

    // A whole series; the lines of `program.outputs`.
    static std::vector<std::vector<double>> RunAll(const Program& program, const Bars& bars);
    // A whole series; the last bar's value of each output line.
    static std::vector<double> RunLast(const Program& program, const Bars& bars);
    // Several whole series (at most 8) at once, each security's lines as
    // RunAll gives them into lines[j * outputs + k] (security j, output k,
    // one value per bar): steps with a lane form (the EMA and SMA
    // recurrences) step every security's chain in one vector.
    static void RunAllMany(const Program& program, std::span<const Bars* const> group, std::span<double* const> lines);

private:
    const Program& program_;
    std::vector<std::unique_ptr<Step>> steps_;
    std::vector<double> columns_;
    std::vector<const double*> inputs_;  // three per node
    std::vector<std::byte> heads_;
};

}  // namespace fenxi::formula
