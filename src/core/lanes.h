// Window sums whose order of addition matters, run for several bars at once.
//
// Each window is still summed in its own fixed order from 0.0, exactly as
// the plain per-bar loop does; only independent windows share a vector
// register, one window per lane. Addition, subtraction, multiplication and
// fabs are correctly rounded in every lane width, so the results are
// bit-identical to the plain loop on any CPU. The widest route the CPU
// supports (AVX2 on x86-64, else the baseline) is chosen once at run time.
//
// Window k (k in [0, count)) covers x[k] .. x[k+p-1], and out[k] and
// centre[k] belong to it; the caller guarantees p >= 1 and that x holds
// count + p - 1 values.
#pragma once

namespace fenxi::lanes {

// x[k] + x[k+1] + ... + x[k+p-1], oldest first.
void WindowSums(const double* x, int count, int p, double* out);
// x[k+p-1] + ... + x[k], newest first.
void WindowSumsNewestFirst(const double* x, int count, int p, double* out);
// (x[k+p-1] - c)^2 + ... + (x[k] - c)^2 with c = centre[k], newest first.
void SquaredDeviations(const double* x, const double* centre, int count, int p, double* out);
// |c - x[k]| + ... + |c - x[k+p-1]| with c = centre[k], oldest first.
void AbsoluteDeviations(const double* x, const double* centre, int count, int p, double* out);
// v[k] = v[k] / d for k in [0, n): correctly rounded in every lane width.
void Divide(double* v, int n, double d);

// out[k] = (close[k] - a) / a * 100 * 100 with a = total[k] / period: BIAS
// x 100 from each window's sum.
void Bias(const double* total, const double* close, int n, double period, double* out);

// Whether x[0 .. n-1] are all integers (whole) or all halves of integers
// (halves) below 2^53 in magnitude, counting 2|x| for halves, and the largest
// |x|. Comparisons and max are exact, so every route agrees.
struct Exactness {
    bool whole = true, halves = true;
    double most = 0.0;
};
Exactness Exact(const double* x, int n);
// a >= 0 is an integer below 2^53 (false for NaN and inf). Below 2^52,
// a + 2^52 rounds to an integer and the subtraction is exact, so a comes
// back only when it was one; from 2^52 on every double is an integer.
inline bool WholeBelow53(double a) {
    constexpr double limit = 9007199254740992.0, ulpOne = 4503599627370496.0;
    return (a < limit) & ((a >= ulpOne) | ((a + ulpOne) - ulpOne == a));
}

// The route in use: "avx2" or "baseline".
const char* Route();
// Forces the baseline route (true) or restores the detected one (false), so
// tests can compare both routes on one machine.
void ForceBaseline(bool on);

}  // namespace fenxi::lanes
