// Window sums whose order of addition matters, run for several bars at once.
//
// Each window is still summed in its own fixed order from 0.0, exactly as
// the plain per-bar loop does; only independent windows share a vector
// register, one window per lane. Addition, subtraction, multiplication and
// fabs are correctly rounded in every lane width, so the results are
// bit-identical to the plain loop on any CPU. The widest route the CPU
// supports (AVX2 on x86-64, else the baseline) is chosen once at run time.
//
// Indices into x are absolute; out[i - from] (and centre[i - from]) belong
// to bar i, for every i in [from, to). The caller guarantees
// from >= p - 1 >= 0 so every window lies in x.
#pragma once

namespace fenxi::lanes {

// x[i-p+1] + ... + x[i], oldest first.
void WindowSums(const double* x, int from, int to, int p, double* out);
// x[i] + x[i-1] + ... + x[i-p+1], newest first.
void WindowSumsNewestFirst(const double* x, int from, int to, int p, double* out);
// (x[i] - c)^2 + ... + (x[i-p+1] - c)^2 with c = centre[i - from], newest first.
void SquaredDeviations(const double* x, const double* centre, int from, int to, int p, double* out);
// |c - x[i-p+1]| + ... + |c - x[i]| with c = centre[i - from], oldest first.
void AbsoluteDeviations(const double* x, const double* centre, int from, int to, int p, double* out);

// The route in use: "avx2" or "baseline".
const char* Route();
// Forces the baseline route (true) or restores the detected one (false), so
// tests can compare both routes on one machine.
void ForceBaseline(bool on);

}  // namespace fenxi::lanes
