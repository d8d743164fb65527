// The long/short system, both tips and every chart type with any flags,
// codes, indexes and parameters.
#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fenxi_fuzz::Input in(data, size);
    const auto flags = in.Take<std::uint8_t>(), mode = in.Take<std::uint8_t>();
    const int unit = in.Take<std::int32_t>(), market = in.Take<std::int8_t>(), index = in.Take<std::int16_t>();
    const int chartType = in.Take<std::int8_t>(), chartParam = in.Take<std::int32_t>();
    const std::string code = in.Code();
    auto bars = in.Bars(400);
    const int n = in.Count(mode, bars.size());
    UNIKDATA* b = bars.empty() ? nullptr : bars.data();
    auto bit = [flags](int k) { return (flags >> k & 1) != 0; };

    CAnalysisTechniques e;
    std::vector<_SIG_TABLE> signals;
    e.MountAdvSys(signals, 0, bit(0), bit(1), code.c_str(), market, 0, 7, 0, 0, 0, 0, 0, 0, 0, n, b, unit, bit(2),
                  bit(3), bit(4), bit(5));
    std::string text;
    double price = 0;
    int near = 0;
    e.GetShortTermCPXTips(market, code.c_str(), bit(1), 7, b, unit, n, signals, index, text, price, 0, near, false,
                          bit(4));
    e.GetLongTermCPXTips(market, code.c_str(), bit(1), 7, b, unit, n, signals, index, text, price, 0.1, near, bit(3),
                         bit(4));

    ATP_KLINE settings{};
    settings.ChartType = chartType;
    settings.ChartParam = chartParam;
    UNIKDATA* blocks = nullptr;
    int blockCount = 0;
    CAnalysisTechniques::FENXIDATA* rows = nullptr;
    CAnalysisTechniques::FENXIDATA_PROPERTY prop{};
    // Arbitrary prices make every brick chart (type 4) run to its bound of a
    // million blocks, which the unit tests cover; two bars keep each run short.
    const int chartCount = (chartType == 4 && n > 2) ? 2 : n;
    e.GenerateKLINE(b, unit, chartCount, blocks, blockCount, rows, &prop, &settings, code.c_str());
    FreeKLineBars(&blocks);
    return 0;
}
