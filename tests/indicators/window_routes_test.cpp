// Generators whose window sums run in vector lanes against the plain
// per-bar formulas, bit for bit, on both lane routes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "bars.h"
#include "core/lanes.h"

using FENXIDATA = CAnalysisTechniques::FENXIDATA;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

// Generates into rows; plain(rows, bars, unit, i, k, p) gives the per-bar
// formula's value of column k at row i.
struct Case {
    const char* name;
    std::vector<int> columns;
    int first;  // the first row checked: first + period
    std::function<void(CAnalysisTechniques&, UNIKDATA*, int, FENXIDATA*&, int, int)> generate;
    std::function<double(const FENXIDATA*, const UNIKDATA*, int unit, int i, int k, int p)> plain;
};

double Sum(const FENXIDATA* r, int from, int to, int col) {  // oldest first
    double t = 0.0;
    for (int j = from; j <= to; ++j) t += r[j].FenXi[col];
    return t;
}

// MeanAndDeviation as the per-bar loop does it: both sums newest first.
void Plain(const UNIKDATA* b, double f, int i, int p, double& mean, double& dev) {
    double t = 0.0;
    for (int j = 0; j < p; ++j) t += b[i - j].Close * f;
    mean = t / p;
    double s = 0.0;
    for (int j = 0; j < p; ++j) s += (b[i - j].Close * f - mean) * (b[i - j].Close * f - mean);
    dev = std::sqrt(s / p);
}

const Case kCases[] = {
    {"BOLL", {6, 7, 8}, 0,
     [](auto& e, auto* b, int u, auto*& r, int n, int p) {
         PROPERTY q{};
         e.GenerateBOLLIN(b, u, r, n, p, 2, -2, 0, &q, 0);
     },
     [](auto*, auto* b, int u, int i, int k, int p) {
         double m0, d0, m1, d1;
         Plain(b, 10000.0 / u, i - 1, p, m0, d0);
         Plain(b, 10000.0 / u, i, p, m1, d1);
         return k == 6 ? m0 : k == 7 ? 2 * d1 + m0 : -2 * d1 + m0;
     }},
    {"CCI", {3, 4}, -1,
     [](auto& e, auto* b, int u, auto*& r, int n, int p) {
         PROPERTY q{};
         e.GenerateCCI(b, u, r, n, p, &q);
     },
     [](auto* r, auto*, int, int i, int k, int p) {
         const double mean = Sum(r, i - p + 1, i, 2) / p;
         if (k == 3) return mean;
         double s = 0.0;
         for (int j = i - p + 1; j <= i; ++j) s += std::fabs(mean - r[j].FenXi[2]);
         return s / p;
     }},
    {"WVAD", {3}, -1,
     [](auto& e, auto* b, int u, auto*& r, int n, int p) {
         PROPERTY q{};
         e.GenerateWVAD(b, u, r, n, p, &q);
     },
     [](auto* r, auto* b, int, int i, int, int p) {
         double t = 0.0;
         for (int j = i; j > i - p; --j)
             if (r[j].FenXi[2] != 0.0 && b[j].Amount > 0) t += r[j].FenXi[1] / r[j].FenXi[2] * b[j].Amount / 100000.0;
         return t;
     }},
    {"JGCMX", {3, 4, 5}, 0,
     [](auto& e, auto* b, int u, auto*& r, int n, int p) {
         PROPERTY q{};
         e.GenerateJGCMX(b, u, r, n, p, &q);
     },
     [](auto* r, auto*, int, int i, int k, int p) { return Sum(r, i - p + 1, i, k - 3); }},
};

}  // namespace

TEST(WindowRoutes, LaneGeneratorsEqualThePlainFormulas) {
    auto bars = testbars::Sample();
    bars[300].Amount = 0.0;  // a bar WVAD leaves out
    bars[301].High = bars[301].Low;
    const int n = 700;
    for (bool baseline : {false, true}) {
        fenxi::lanes::ForceBaseline(baseline);
        for (const Case& c : kCases)
            for (int unit : {3, 100})
                for (int p : {1, 2, 14, 20, 33}) {
                    CAnalysisTechniques e;
                    FENXIDATA* r = nullptr;
                    c.generate(e, bars.data(), unit, r, n, p);
                    ASSERT_NE(r, nullptr);
                    for (int i = p + c.first; i < n; ++i)
                        for (int k : c.columns) {
                            const double want = c.plain(r, bars.data(), unit, i, k, p);
                            ASSERT_EQ(std::memcmp(&r[i].FenXi[k], &want, sizeof want), 0)
                                << c.name << " route " << fenxi::lanes::Route() << " unit " << unit << " period " << p
                                << " row " << i << " column " << k;
                        }
                }
    }
    fenxi::lanes::ForceBaseline(false);
}
