// Layouts are pinned by static_asserts in the public headers; these cases pin
// the conversions that the layouts imply.
#include <gtest/gtest.h>

#include <limits>

#include "core/series.h"

TEST(Records, VolumeWithTopBitConvertsUnsigned) {
    UNIKDATA bar{};
    bar.Volume = (std::uint64_t{1} << 63) + 2048;
    EXPECT_EQ(fenxi::refk(&bar, 100, 1, 0, 0, 4), 9223372036854777856.0);
}

TEST(Records, PriceConversionFormsQuotientOnce) {
    struct Case { int unit; std::int32_t price; double want; };
    for (const Case c : {Case{10000, 1234, 1234.0}, Case{100, 1234, 123400.0}, Case{1000, 1234, 12340.0},
                         Case{3, 7, 7 * (10000.0 / 3)}}) {
        UNIKDATA bar{};
        bar.Close = c.price;
        EXPECT_EQ(fenxi::refk(&bar, c.unit, 1, 0, 0, 3), c.want) << c.unit;
    }
    // 7 * (10000.0 / 3) differs from 7 * 10000.0 / 3 in the last bit.
    EXPECT_NE(7 * (10000.0 / 3), 7 * 10000.0 / 3);
}
