#include "core/series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace fenxi;

namespace {

UNIKDATA Bar(std::int32_t open, std::int32_t high, std::int32_t low, std::int32_t close) {
    UNIKDATA b{};
    b.Open = open;
    b.High = high;
    b.Low = low;
    b.Close = close;
    return b;
}

std::vector<FENXIDATA> Rows(std::initializer_list<double> column0) {
    std::vector<FENXIDATA> rows(column0.size());
    int i = 0;
    for (double v : column0) rows[i++].FenXi[0] = v;
    return rows;
}

}  // namespace

TEST(Series, RowSumNeedsFullWindow) {
    auto rows = Rows({1, 2, 3, 4, 5, 6});
    struct Case { int i, period; double sum; };
    for (const Case c : {Case{3, 5, 0.0}, Case{4, 5, 15.0}, Case{5, 5, 20.0}, Case{0, 1, 1.0}, Case{5, 0, 0.0},
                         Case{5, -3, 0.0}, Case{2, 3, 6.0}}) {
        EXPECT_EQ(sum(rows.data(), 6, c.i, c.period, 0), c.sum) << c.i << "," << c.period;
    }
    EXPECT_EQ(ma(rows.data(), 6, 3, 5, 0), 0.0);
    EXPECT_EQ(ma(rows.data(), 6, 4, 5, 0), 3.0);
    EXPECT_TRUE(std::isnan(ma(rows.data(), 6, 4, 0, 0)));  // 0.0 / 0
}

TEST(Series, RowSumAddsLeftToRight) {
    auto rows = Rows({1e16, 1.0, 1.0, -1e16});
    EXPECT_EQ(sum(rows.data(), 4, 3, 4, 0), ((1e16 + 1.0) + 1.0) + -1e16);
}

TEST(Series, ArraySumAndAverage) {
    const std::int32_t v[] = {4, -2, 7};
    EXPECT_EQ(sum(v, 3), 9.0);
    EXPECT_EQ(sum(v, 0), 0.0);
    EXPECT_EQ(sum(v, -1), 0.0);
    EXPECT_EQ(ma(v, 3), 3.0);
    EXPECT_TRUE(std::isnan(ma(v, 0)));
}

TEST(Series, Smoothings) {
    EXPECT_EQ(sma(10.0, 3, 1, 4.0), (2 * 4.0 + 1 * 10.0) / 3);
    EXPECT_EQ(ema(10.0, 3, 4.0), (2 * 4.0 + 2 * 10.0) / 4);
    EXPECT_EQ(ema(10.0, 1, 4.0), 10.0);
    EXPECT_TRUE(std::isinf(ema(10.0, -1, 4.0)));  // n + 1 = 0
}

TEST(Series, PriceWindowsAllowPartialStart) {
    std::vector<UNIKDATA> bars = {Bar(1, 11, 21, 31), Bar(2, 12, 22, 32), Bar(3, 13, 23, 33)};
    std::int32_t out[4] = {};
    int count = -1;
    ASSERT_TRUE(close(bars.data(), 100, 3, 1, 4, out, count));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(out[0], 31);
    EXPECT_EQ(out[1], 32);
    ASSERT_TRUE(high(bars.data(), 100, 3, 2, 2, out, count));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(out[0], 12);
    EXPECT_EQ(out[1], 13);
    EXPECT_FALSE(open(bars.data(), 100, 3, 2, 0, out, count));
    EXPECT_FALSE(low(nullptr, 100, 3, 2, 2, out, count));
    EXPECT_FALSE(low(bars.data(), 100, 0, 2, 2, out, count));
}

TEST(Series, ExtremesOfEmptyArrayAreTheCount) {
    const std::int32_t v[] = {5, -3, 9};
    EXPECT_EQ(llv(v, 3), -3);
    EXPECT_EQ(hhv(v, 3), 9);
    EXPECT_EQ(llv(v, 0), 0);
    EXPECT_EQ(hhv(v, -2), -2);
}

TEST(Series, Rsv) {
    std::vector<UNIKDATA> bars = {Bar(0, 120, 100, 110), Bar(0, 130, 90, 125), Bar(0, 140, 95, 100)};
    EXPECT_EQ(rsv(bars.data(), 100, 3, 2, 3), double(100 - 90) / double(140 - 90) * 100.0);
    EXPECT_EQ(rsv(bars.data(), 100, 3, 0, 5), double(110 - 100) / double(20) * 100.0);  // partial window
    std::vector<UNIKDATA> flat = {Bar(5, 7, 7, 7), Bar(5, 7, 7, 7)};
    EXPECT_EQ(rsv(flat.data(), 100, 2, 1, 2), 50.0);
    EXPECT_EQ(rsv(bars.data(), 100, 3, 2, 0), 50.0);  // no window
    // Differences are 32-bit: a range wider than int32 wraps.
    std::vector<UNIKDATA> wide = {Bar(0, INT32_MAX, INT32_MIN, 0)};
    EXPECT_EQ(rsv(wide.data(), 100, 1, 0, 1), double(INT32_MIN) / double(-1) * 100.0);
}

TEST(Series, BiasDividesShortWindowByFullPeriod) {
    std::vector<UNIKDATA> bars = {Bar(0, 0, 0, 1000), Bar(0, 0, 0, 1000), Bar(0, 0, 0, 1300)};
    EXPECT_EQ(bias(bars.data(), 100, 3, 0, 5), 400.0);
    EXPECT_EQ(bias(bars.data(), 100, 3, 1, 1), 0.0);
    const double avg = (1000.0 + 1300.0) / 2;
    EXPECT_EQ(bias(bars.data(), 100, 3, 2, 2), (1300 - avg) / avg * 100.0);
    EXPECT_EQ(bias(bars.data(), 100, 3, 2, 0), -10000.0);
    EXPECT_EQ(bias(bars.data(), 100, 3, 2, -4), -10000.0);
    EXPECT_EQ(bias(nullptr, 100, 3, 2, 2), -10000.0);
    EXPECT_EQ(bias(bars.data(), 100, 0, 2, 2), -10000.0);
}

TEST(Series, MomentumRatioAndReference) {
    std::vector<UNIKDATA> bars = {Bar(1, 2, 3, 400), Bar(5, 6, 7, 500)};
    bars[0].Volume = 77;
    bars[0].Amount = 12.5;
    const double f = 10000.0 / 100;
    EXPECT_EQ(mtm(bars.data(), 100, 2, 1, 1), 500 * f - 400 * f);
    EXPECT_EQ(mtm(bars.data(), 100, 2, 0, 1), 400 * f);
    EXPECT_EQ(osc(bars.data(), 100, 2, 1, 1), 500 * f * 100.0 / (400 * f));
    EXPECT_TRUE(std::isinf(osc(bars.data(), 100, 2, 0, 1)));
    bars[0].Close = 0;
    EXPECT_TRUE(std::isnan(osc(bars.data(), 100, 2, 0, 1)));

    struct Case { int field; double want; };
    for (const Case c : {Case{0, 1 * f}, Case{1, 2 * f}, Case{2, 3 * f}, Case{3, 0.0}, Case{4, 77.0}, Case{5, 12.5},
                         Case{6, 0.0}, Case{7, 0.0}, Case{-1, 0.0}}) {
        EXPECT_EQ(refk(bars.data(), 100, 2, 1, 1, c.field), c.want) << c.field;
    }
    EXPECT_EQ(refk(bars.data(), 100, 2, 0, 1, 1), 0.0);  // before the first bar
}

TEST(Series, CountThreeStatus) {
    std::vector<UNIKDATA> bars = {Bar(10, 0, 0, 12), Bar(10, 0, 0, 9), Bar(10, 0, 0, 10), Bar(10, 0, 0, 11)};
    CAnalysisTechniques e;
    struct Case { int i, count, mode, want; };
    for (const Case c : {Case{3, 4, 1, 2}, Case{3, 4, -1, 1}, Case{3, 4, 0, 1}, Case{3, 2, 1, 1}, Case{2, 4, 1, -1},
                         Case{3, 4, 2, -1}, Case{3, 0, 1, -1}, Case{4, 1, 1, -1}}) {
        EXPECT_EQ(e.CountThreeStatus(bars.data(), 100, 4, c.i, c.count, c.mode), c.want)
            << c.i << "," << c.count << "," << c.mode;
    }
    EXPECT_EQ(e.CountThreeStatus(nullptr, 100, 4, 3, 1, 1), -1);
    EXPECT_EQ(e.CountThreeStatus(bars.data(), 100, 0, 0, 1, 1), -1);
}
