// Kernels written as a state and a step per bar.
//
// A step type S holds the running state of one operation and provides
//   S(int unit, const std::int32_t* p)        the state before the first bar
//   void First(const UNIKDATA* b, const LineOut& o)          bar 0
//   void Next(const UNIKDATA* b, int i, const LineOut& o)    bar i > 0
//   static std::int64_t History(const std::int32_t* p)      bars before i read
//   static constexpr int kAhead[]   columns to prefetch (a kernel whose pass
//                                   is these steps)
// Next may read back the columns it wrote for bars i - History .. i - 1.
// The kernel's pass runs First and then Next over the bars with the state in
// registers; a stream keeps the state and takes one Next per bar.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>

#include "core/kernel.h"

namespace fenxi::detail {

template <class S>
void RunSteps(const UNIKDATA* b, int unit, int n, const std::int32_t* p, const LineOut& o) {
    S s(unit, p);
    for (int c : S::kAhead) o.Ahead(c, 0);
    s.First(b, o);
    for (int i = 1; i < n; ++i) {
        for (int c : S::kAhead) o.Ahead(c, i);
        s.Next(b, i, o);
    }
}

template <class S>
struct StepperOf {
    static_assert(std::is_trivially_copyable_v<S> && std::is_trivially_destructible_v<S>);
    static_assert(sizeof(S) <= kStateBytes && alignof(S) <= alignof(std::max_align_t));
    static void Start(void* state, int unit, const std::int32_t* p) { ::new (state) S(unit, p); }
    // The state travels by value: a typed copy in registers, where a copy
    // of bytes would stall the loads that follow it.
    static void Step(const void* before, void* after, const UNIKDATA* b, int i, bool first, const LineOut& o) {
        S s = *std::launder(static_cast<const S*>(before));
        if (first)
            s.First(b, o);
        else
            s.Next(b, i, o);
        ::new (after) S(s);
    }
    static constexpr Stepper kValue{&Start, &Step, &S::History};
};

// The kernel of step type S, writing `writes`.
template <class S>
constexpr Kernel SteppedKernel(std::uint64_t writes, std::uint64_t leaves = 0) {
    return Kernel{&RunSteps<S>, writes, leaves, &StepperOf<S>::kValue};
}

// The newest row, bar n - 1 of rows[0 .. n-1], by one step of S, as the
// class API's updaters take it. A step type that carries state from bar to
// bar rebuilds it from the rows and bars before bar i with
// Resume(bars, i, o); the others start afresh.
template <class S>
void StepNewest(const UNIKDATA* bars, int unit, FENXIDATA* rows, int n, const std::int32_t* p) {
    S s(unit, p);
    const LineOut o = LineOut::Rows(rows);
    if (n == 1) return s.First(bars, o);
    if constexpr (requires { s.Resume(bars, n - 1, o); }) s.Resume(bars, n - 1, o);
    s.Next(bars, n - 1, o);
}

// A kernel whose pass takes whole-column routes of its own (exact running
// sums, sliding extremes, vector lanes) and whose per-bar form is S: the
// plain arithmetic, which the stream test holds to the pass's bits.
template <class S>
constexpr Kernel WithSteps(decltype(Kernel::run) run, std::uint64_t writes, std::uint64_t leaves = 0) {
    return Kernel{run, writes, leaves, &StepperOf<S>::kValue};
}

}  // namespace fenxi::detail
