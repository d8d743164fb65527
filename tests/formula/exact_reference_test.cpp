// The exact window sums against an independent exact reference, in the suite
// that also runs under the sanitizers: each window's weighted sum is formed
// as a floating-point expansion (error-free sums and products, as in
// Shewchuk's arithmetic) and every value a formula gives is checked to be
// that sum divided by its whole divisor, rounded to nearest with ties to
// even: |S - q*D| below half the gap to q's neighbour times D.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bars.h"
#include "fenxi/formula.h"

namespace {

using Expansion = std::vector<double>;  // nonoverlapping, smallest first

void TwoSum(double a, double b, double& s, double& e) {
    s = a + b;
    const double bb = s - a;
    e = (a - (s - bb)) + (b - bb);
}

// a = hi + lo with 26-bit halves (Veltkamp), so that products of halves are exact.
void Split(double a, double& hi, double& lo) {
    const double c = 134217729.0 * a, big = c - a;
    hi = c - big;
    lo = a - hi;
}

void TwoProduct(double a, double b, double& p, double& e) {
    p = a * b;
    double ah, al, bh, bl;
    Split(a, ah, al);
    Split(b, bh, bl);
    e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
}

void Grow(Expansion& e, double b) {
    Expansion h;
    double q = b;
    for (double x : e) {
        double s, err;
        TwoSum(q, x, s, err);
        if (err != 0.0) h.push_back(err);
        q = s;
    }
    if (q != 0.0 || h.empty()) h.push_back(q);
    e = std::move(h);
}

void AddProduct(Expansion& e, double a, double b) {
    double p, err;
    TwoProduct(a, b, p, err);
    Grow(e, p);
    Grow(e, err);
}

int Sign(const Expansion& e) {
    for (auto it = e.rbegin(); it != e.rend(); ++it)
        if (*it != 0.0) return *it > 0.0 ? 1 : -1;
    return 0;
}

// q is S / d rounded to nearest, ties to even, and +0.0 for an exact zero.
bool RoundedQuotient(Expansion s, double q, double d) {
    if (!std::isfinite(q)) return false;
    AddProduct(s, -q, d);  // s = S - q*d
    const int side = Sign(s);
    if (side == 0) return q != 0.0 || !std::signbit(q);
    const double gap = std::fabs(std::nextafter(q, side > 0 ? INFINITY : -INFINITY) - q);
    if (side < 0)
        for (double& x : s) x = -x;
    AddProduct(s, -0.5 * gap, d);  // |S - q*d| - gap*d/2
    const int c = Sign(s);
    if (c != 0) return c < 0;
    std::uint64_t bits;
    std::memcpy(&bits, &q, sizeof bits);
    return (bits & 1) == 0;
}

}  // namespace

TEST(FormulaExactSums, EqualAnExactReferenceOnAdversarialColumns) {
    const double pool[] = {1e100, -1e100, 1e-100, 3.0, 0.1, -0.1, 1e16, -(1e16 + 2), 123456.789, 0x1p-60, 7e-5, 1.0};
    std::mt19937_64 rng(17);
    fenxi::Bars bars;
    bars.unit = 1;
    std::vector<double> x;
    for (int i = 0; i < 400; ++i) {
        const bool calm = i / 100 % 2 == 1;  // stretches of price-like values between the wild ones
        const double v = (calm ? 10.0 + static_cast<double>(rng() % 1000) / 100.0 : pool[rng() % std::size(pool)]) *
                         static_cast<double>(1 + rng() % 9);
        UNIKDATA b = testbars::Bar(1, 1, 1, 1, 1, v);
        b.Date = 20240101;
        bars.bars.push_back(b);
        x.push_back(v);
    }
    for (const std::int64_t n : {2, 3, 7, 16}) {
        const std::string N = std::to_string(n);
        const fenxi::Formula f("MA(AMO," + N + ");SUM(AMO," + N + ");WMA(AMO," + N + ");SLOPE(AMO," + N +
                               ");FORCAST(AMO," + N + ");DEVSQ(AMO," + N + ");VARP(AMO," + N + ");AVEDEV(AMO," + N + ")");
        ASSERT_TRUE(f.ok()) << f.error().Format("f");
        const fenxi::FormulaResult r = f.Run(bars);
        ASSERT_TRUE(r.ok());
        const double nd = static_cast<double>(n);
        for (std::size_t i = static_cast<std::size_t>(n) - 1; i < x.size(); ++i) {
            const double* w = &x[i + 1 - static_cast<std::size_t>(n)];
            Expansion plain, wma, slope, forcast, devsq, avedev;
            for (std::int64_t k = 0; k < n; ++k) {
                const double v = w[k], kd = static_cast<double>(k);
                Grow(plain, v);
                AddProduct(wma, kd + 1, v);
                AddProduct(slope, 2 * kd - nd + 1, v);
                AddProduct(forcast, 3 * kd - nd + 2, v);
            }
            const double mean = r.lines[0].values[i];
            for (std::int64_t k = 0; k < n; ++k) {
                const double dev = w[k] - mean;
                Grow(devsq, dev * dev);
                Grow(avedev, std::fabs(dev));
            }
            const struct {
                const Expansion& sum;
                double divisor;
            } want[] = {{plain, nd},       {plain, 1},  {wma, nd * (nd + 1) / 2}, {slope, nd * (nd * nd - 1) / 6},
                        {forcast, nd * (nd + 1) / 2}, {devsq, 1}, {devsq, nd}, {avedev, nd}};
            for (std::size_t k = 0; k < std::size(want); ++k)
                ASSERT_TRUE(RoundedQuotient(want[k].sum, r.lines[k].values[i], want[k].divisor))
                    << "N " << n << " line " << k + 1 << " bar " << i << ": " << r.lines[k].values[i];
        }
    }
}
