// Each fast route against the plain arithmetic, bit for bit, on real bars.
#include "core/window.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "bars.h"

using namespace fenxi;
using PROPERTY = CAnalysisTechniques::FENXIDATA_PROPERTY;

namespace {

const int kPeriods[] = {1, 2, 3, 5, 10, 20, 60, 65, 130, 250, 1200, 1207};
// Averages also take empty, negative and longer-than-the-series windows.
const int kAveragePeriods[] = {-4, 0, 1, 2, 3, 5, 10, 20, 60, 65, 130, 250, 1200, 1207, 2600};

// Runs both averaging routes over a column filled by `fill`; true when equal.
template <class Fill>
void ExpectSameAverages(int n, Fill fill, const char* what) {
    std::vector<FENXIDATA> fast(n), plain(n);
    for (int i = 0; i < n; ++i) fast[i].FenXi[0] = plain[i].FenXi[0] = fill(i);
    for (int p : kAveragePeriods) {
        const int dst[] = {1};
        ColumnAverages(LineOut::Rows(fast.data()), n, 0, dst, &p, 1, [&](int i) { return plain[i].FenXi[0]; });
        ColumnAveragePlain(plain.data(), n, 0, 1, p);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(std::memcmp(&fast[i].FenXi[1], &plain[i].FenXi[1], sizeof(double)), 0)
                << what << " period " << p << " row " << i;
    }
}

}  // namespace

TEST(Window, RunningSumsEqualTheLeftToRightSums) {
    auto bars = testbars::Sample();
    const int n = 2500;  // beyond one chunk of the averaging helper
    for (int unit : {1, 3, 7, 100, 1000, 10000, 100000}) {
        const double f = PriceFactor(unit);
        ExpectSameAverages(n, [&](int i) { return bars[i].Close * f; }, "close");
        ExpectSameAverages(n, [&](int i) { return (bars[i].High + bars[i].Close) * f * 0.5; }, "mid");
    }
    ExpectSameAverages(n, [&](int i) { return static_cast<double>(bars[i].Volume); }, "volume");
    ExpectSameAverages(n, [&](int i) { return i == 700 ? std::nan("") : bars[i].Close * 1.0; }, "nan");
    ExpectSameAverages(n, [&](int i) { return (i % 2 ? -1.0 : 1.0) * 4503599627370496.0 + i; }, "2^52");
    EXPECT_EQ(ExactScale(nullptr, 0, 5), 1);
}

TEST(Window, SlidingExtremesEqualTheWalks) {
    auto bars = testbars::Sample();
    const int n = 900;
    for (int field = 0; field < 4; ++field) {
        for (int p : kPeriods) {
            for (bool highest : {true, false}) {
                CAnalysisTechniques e;
                CAnalysisTechniques::FENXIDATA* r = nullptr;
                PROPERTY prop{};
                const auto k = static_cast<CAnalysisTechniques::KLINE_INDEX>(field);
                if (highest)
                    e.GenerateHHV(bars.data(), 1000, r, n, k, p, &prop);
                else
                    e.GenerateLLV(bars.data(), 1000, r, n, k, p, &prop);
                const std::int32_t UNIKDATA::*m[] = {&UNIKDATA::Open, &UNIKDATA::High, &UNIKDATA::Low, &UNIKDATA::Close};
                for (int i = 0; i < n; ++i) {
                    std::int32_t v = bars[i].*m[field];
                    for (int j = i - 1; j >= std::max(0, i - p + 1); --j)
                        v = highest ? std::max(v, bars[j].*m[field]) : std::min(v, bars[j].*m[field]);
                    const double want = (!highest && field == 2) ? v : v * (10000.0 / 1000);
                    ASSERT_EQ(r[i].FenXi[0], want) << field << " " << p << " " << i;
                }
            }
        }
    }
}

TEST(Window, BiasAndRsvColumnsEqualThePrimitives) {
    auto bars = testbars::Sample();
    const int n = 1300;
    for (int p : kPeriods) {
        CAnalysisTechniques e;
        CAnalysisTechniques::FENXIDATA* r = nullptr;
        PROPERTY prop{};
        e.GenerateBIAS(bars.data(), 100, r, n, p, 1, p + 1, &prop);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(r[i].FenXi[0], bias(bars.data(), 100, n, i, p) * 100.0) << p << " " << i;
            ASSERT_EQ(r[i].FenXi[2], bias(bars.data(), 100, n, i, p + 1) * 100.0) << p << " " << i;
        }
        e.GenerateKDJ(bars.data(), 100, r, n, p, 3, 3, &prop);
        for (int i = 0; i < n; ++i) ASSERT_EQ(r[i].FenXi[2], rsv(bars.data(), 100, n, i, p)) << p << " " << i;
    }
}
