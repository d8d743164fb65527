// The lane routes against the plain per-window loops, bit for bit, on real
// closes and on values that stress rounding and special cases.
#include "core/lanes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "bars.h"
#include "core/pool.h"
#include "core/window.h"
#include "core/series.h"

using namespace fenxi;

namespace {

using Plain = std::function<double(const std::vector<double>& x, const std::vector<double>& c, int k, int p)>;
using Lanes = std::function<void(const double* x, const double* c, int count, int p, double* out)>;

struct Kernel {
    const char* name;
    Lanes lanes;
    Plain plain;
};

const Kernel kKernels[] = {
    {"oldest first", [](auto* x, auto*, int n, int p, double* o) { lanes::WindowSums(x, n, p, o); },
     [](auto& x, auto&, int k, int p) {
         double t = 0.0;
         for (int j = 0; j < p; ++j) t += x[k + j];
         return t;
     }},
    {"newest first", [](auto* x, auto*, int n, int p, double* o) { lanes::WindowSumsNewestFirst(x, n, p, o); },
     [](auto& x, auto&, int k, int p) {
         double t = 0.0;
         for (int j = p - 1; j >= 0; --j) t += x[k + j];
         return t;
     }},
    {"squares", [](auto* x, auto* c, int n, int p, double* o) { lanes::SquaredDeviations(x, c, n, p, o); },
     [](auto& x, auto& c, int k, int p) {
         double t = 0.0;
         for (int j = p - 1; j >= 0; --j) t += (x[k + j] - c[k]) * (x[k + j] - c[k]);
         return t;
     }},
    {"spreads", [](auto* x, auto* c, int n, int p, double* o) { lanes::AbsoluteDeviations(x, c, n, p, o); },
     [](auto& x, auto& c, int k, int p) {
         double t = 0.0;
         for (int j = 0; j < p; ++j) t += std::fabs(c[k] - x[k + j]);
         return t;
     }},
};

// Equal bits; two NaNs count as equal, because which operand's NaN an addition
// of two NaNs returns depends on the operand order the compiler picks, in
// the plain loop as much as in the lanes.
bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

void ExpectLanesEqualPlain(const std::vector<double>& x, const char* what) {
    const int n = static_cast<int>(x.size());
    std::vector<double> centre(x.size());
    for (int k = 0; k < n; ++k) centre[k] = x[(k * 7) % n] * 0.75;
    for (bool baseline : {false, true}) {
        lanes::ForceBaseline(baseline);
        for (const Kernel& kernel : kKernels)
            for (int p : {1, 2, 3, 5, 12, 20, 33, 64}) {
                const int count = n - p + 1;
                if (count < 1) continue;
                std::vector<double> out(static_cast<std::size_t>(count));
                kernel.lanes(x.data(), centre.data(), count, p, out.data());
                for (int k = 0; k < count; ++k)
                    ASSERT_TRUE(SameBits(out[k], kernel.plain(x, centre, k, p)))
                        << what << " " << kernel.name << " route " << lanes::Route() << " p " << p << " k " << k;
            }
    }
    lanes::ForceBaseline(false);
}

}  // namespace

TEST(Lanes, EveryRouteEqualsThePlainLoops) {
    const auto bars = testbars::Sample();
    for (int unit : {1, 3, 7, 100, 10000}) {
        std::vector<double> close;
        for (std::size_t i = 0; i < 700; ++i) close.push_back(bars[i].Close * PriceFactor(unit));
        ExpectLanesEqualPlain(close, "close");
    }
    // Values whose sums round differently in another order, and the special values.
    std::vector<double> hard;
    for (int i = 0; i < 301; ++i) hard.push_back((i % 3 ? 1e16 : -1e16) + i * 0.1 + (i % 5 == 0 ? 1e-3 : 0.0));
    ExpectLanesEqualPlain(hard, "cancelling");
    std::vector<double> special(157, 1.5);
    special[40] = std::nan("");
    special[80] = std::numeric_limits<double>::infinity();
    special[81] = -std::numeric_limits<double>::infinity();
    special[120] = -0.0;
    special[121] = std::numeric_limits<double>::denorm_min();
    ExpectLanesEqualPlain(special, "special");
}

TEST(Lanes, DivisionIsCorrectlyRoundedOnEveryRoute) {
    std::vector<double> v;
    for (int i = 0; i < 103; ++i) v.push_back(i * 1234.567 - 40000.0);
    for (bool baseline : {false, true}) {
        lanes::ForceBaseline(baseline);
        for (double d : {3.0, 7.0, 65.0, 0.0, -13.0}) {
            std::vector<double> w = v;
            lanes::Divide(w.data(), static_cast<int>(w.size()), d);
            for (std::size_t k = 0; k < v.size(); ++k) ASSERT_TRUE(SameBits(w[k], v[k] / d)) << d << " " << k;
        }
    }
    lanes::ForceBaseline(false);
}

// The running sum's scale from the lanes' exactness test against the plain
// per-value definition: integers (or halves) of magnitude times the window
// below 2^53. One odd value in a column of integers or of halves, at a
// position in a full vector block or in the tail.
TEST(Lanes, ExactnessAgreesWithThePlainDefinition) {
    auto plain = [](const std::vector<double>& x, int period) {
        for (int scale : {1, 2}) {
            bool ok = true;
            double most = 0.0;
            for (double v : x) {
                const double s = v * scale;
                ok = ok && s == std::trunc(s) && std::fabs(s) < 9007199254740992.0;
                most = std::max(most, std::fabs(s));
            }
            if (ok && most * std::max(period, 1) < 9007199254740992.0) return scale;
        }
        return 0;
    };
    const double odd[] = {0.5, 0.25, -3.5, 1e-300, std::numeric_limits<double>::denorm_min(), -0.0, 4503599627370496.0 - 0.5,
                          4503599627370497.0, 9007199254740991.0, 9007199254740992.0, 1e300, std::nan(""),
                          std::numeric_limits<double>::infinity(), 1073741824.0};
    for (bool baseline : {false, true}) {
        lanes::ForceBaseline(baseline);
        for (double step : {1.0, 0.5})
            for (double v : odd)
                for (int at : {0, 5, 16, 18}) {
                    std::vector<double> x;
                    for (int i = 0; i < 19; ++i) x.push_back((i * 37 % 11 - 5) * step);
                    x[at] = v;
                    for (int period : {1, 2, 65, 1 << 20})
                        ASSERT_EQ(ExactScale(x.data(), 19, period), plain(x, period))
                            << lanes::Route() << " step " << step << " value " << v << " at " << at << " period " << period;
                }
    }
    lanes::ForceBaseline(false);
}

TEST(Pool, ReleasedBlocksServeTheNextRequestWithinTheBound) {
    const std::size_t before = PooledBytes();
    const double* first = nullptr;
    {
        PooledColumn a(100000);
        first = a.data();
    }
    EXPECT_GT(PooledBytes(), before);
    {
        PooledColumn b(90000);  // fits the released block
        EXPECT_EQ(b.data(), first);
    }
    {
        std::vector<PooledColumn> many;
        for (std::size_t k = 0; k < 2 * kPoolBlocks; ++k) many.emplace_back(200000);
    }
    EXPECT_LE(PooledBytes(), kPoolBytes);
    // A full pool makes room for the newest release: the older blocks leave.
    const std::size_t large = kPoolBytes / sizeof(double) / 2;
    { PooledColumn a(large); }
    const std::size_t held = PooledBytes();
    EXPECT_LE(held, kPoolBytes);
    {
        PooledColumn b(large);  // served by the block just released
        EXPECT_LE(PooledBytes() + large * sizeof(double), held);
    }
}
