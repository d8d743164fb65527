// Window means one bar at a time, with the whole-column pass's bits.
//
// The pass's mean at bar i is the left-to-right sum of values i-p+1 .. i
// divided by p, 0.0 before a full window. While every value in the window is
// a whole number or half whose double is at most 2^53 / p, every partial sum
// of that loop is exact, so a running int64 sum of the doubled values,
// halved, is the same double. The step keeps that sum and the number of
// values in the window that break the rule; a window holding such a value is
// summed in order instead.
#pragma once

#include <cmath>
#include <algorithm>
#include <cstdint>

namespace fenxi {

// Doubled value as an exact integer, or false when it breaks the rule for p.
inline bool ExactDouble(double v, int p, std::int64_t& twice) {
    const double t = v * 2.0;
    if (!(t == std::trunc(t) && std::fabs(t) * p < 9007199254740992.0)) return false;
    twice = static_cast<std::int64_t>(t);
    return true;
}

struct WindowMean {
    std::int64_t total = 0;
    int broken = 0;

    // The mean over p at bar i, x(j) giving value j for j = i-p .. i (the
    // value leaving the window and those in it); 0.0 / p for p < 1.
    template <class X>
    double Next(int i, int p, X x) {
        if (p < 1) return 0.0 / p;
        std::int64_t t = 0;
        if (ExactDouble(x(i), p, t))
            total += t;
        else
            ++broken;
        if (i >= p) {
            if (ExactDouble(x(i - p), p, t))
                total -= t;
            else
                --broken;
        }
        if (i < p - 1) return 0.0 / p;
        if (broken == 0) return static_cast<double>(total) * 0.5 / p;
        double sum = 0.0;
        for (int j = i - p + 1; j <= i; ++j) sum += x(j);
        return sum / p;
    }

    // The state after bar i - 1: values max(0, i-p) .. i-1 in the window.
    template <class X>
    void Resume(int i, int p, X x) {
        total = 0;
        broken = 0;
        std::int64_t t = 0;
        for (int j = p < 1 ? i : std::max(0, i - p); j < i; ++j) {
            if (ExactDouble(x(j), p, t))
                total += t;
            else
                ++broken;
        }
    }
};

}  // namespace fenxi
