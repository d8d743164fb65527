// Every generator through the dispatcher and directly, then every updater,
// with any bars, units, counts and periods.
#include <iterator>

#include "fuzz_input.h"
#include "systems/signal_records.h"

namespace {

constexpr int kCodes[] = {0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  100, 101, 102, 103, 104, 105,
                          106, 107, 108, 109, 110, 111, 112, 113, 114, 115, 116, 117, 118, 119, 120, 121, 122, 123,
                          124, 125, 126, 127, 128, 129, 130, 134, 135, 136, 137, 138, 142, 147, 157, 158, 161, 162};

void Updaters(CAnalysisTechniques& e, UNIKDATA* b, int u, CAnalysisTechniques::FENXIDATA*& r, int n,
              const std::int32_t* p) {
    e.UpdateMA1(b, u, r, n, p[0]);
    e.UpdateMA2(b, u, r, n, p[0], p[1]);
    e.UpdateMA3(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateMA5(b, u, r, n, p[0], p[1], p[2], p[3], p[4]);
    e.UpdateSMA(b, u, r, n, p[0], p[1], p[2], p[3], p[4]);
    e.UpdateEMA(b, u, r, n, p[0]);
    e.UpdateBIAS(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateWVAD(b, u, r, n, p[0]);
    e.UpdateKDJ(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateKD(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateWR(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateBOLLIN(b, u, r, n, p[0], p[1], p[2]);
    e.UpdatePSY(b, u, r, n, p[0]);
    e.UpdateROC(b, u, r, n, p[0]);
    e.UpdateMTM(b, u, r, n, p[0], p[1]);
    e.UpdateOSC(b, u, r, n, p[0], p[1]);
    e.UpdateCCI(b, u, r, n, p[0]);
    e.UpdateDMI(b, u, r, n, p[0], p[1]);
    e.UpdateADX(b, u, r, n, p[0]);
    e.UpdateDMA(b, u, r, n, p[0], p[1]);
    e.UpdateBRAR(b, u, r, n, p[0]);
    e.UpdateCR(b, u, r, n, p[0], p[1], p[2], p[3], p[4]);
    e.UpdateASI(b, u, r, n);
    e.UpdateMike(b, u, r, n, p[0]);
    e.UpdateTRIX(b, u, r, n, p[0], p[1]);
    e.UpdateEMV(b, u, r, n, p[0], p[1]);
    e.UpdateChg(b, u, r, n, p[0]);
    e.UpdateChaikin(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateTSF(b, u, r, n, p[0], p[1]);
    e.UpdateMASS(b, u, r, n, p[0], p[1], p[2], p[3]);
    e.UpdateCSI(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateMAW(b, u, r, n, p[0]);
    e.UpdateMAE(b, u, r, n, p[0], p[1], p[2]);
    e.UpdatePC(b, u, r, n, p[0]);
    // These rerun their generator.
    e.UpdateMACD(b, u, r, n, p[0], p[1], p[2]);
    e.UpdateRSI(b, u, r, n, p[0], p[1]);
    e.UpdateSAR(b, u, r, n, p[0]);
    e.UpdateEXPMA(b, u, r, n, p[0], p[1]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fenxi_fuzz::Input in(data, size);
    const auto pick = in.Take<std::uint8_t>(), mode = in.Take<std::uint8_t>();
    const int unit = in.Take<std::int32_t>();
    std::int32_t p[10];
    for (auto& v : p) v = in.Take<std::int32_t>();
    auto bars = in.Bars(400);
    const int n = in.Count(mode, bars.size());
    UNIKDATA* b = bars.empty() ? nullptr : bars.data();

    CAnalysisTechniques e;
    CAnalysisTechniques::FENXIDATA* rows = nullptr;
    int rowCount = 0;
    fenxi::EvaluateLine(b, n, unit, kCodes[pick % std::size(kCodes)], p, "600000", p[9] & 1, e, rows, rowCount);
    Updaters(e, b, unit, rows, n, p);

    CAnalysisTechniques other;
    CAnalysisTechniques::FENXIDATA_PROPERTY prop{};
    other.GenerateVOL1(b, unit, rows, n, &prop);
    other.GenerateWVAD(b, unit, rows, n, p[0], &prop);
    other.GenerateJGCMXDelta(b, unit, rows, n, p[0], &prop);
    other.GenerateDHCMXDelta(b, unit, rows, n, p[1], &prop);
    other.GenerateSHCMXDelta(b, unit, rows, n, p[2], &prop);
    other.GenerateEMV(b, unit, rows, n, p[0], p[1], &prop);
    other.GenerateMASS(b, unit, rows, n, p[0], p[1] * 0.5, p[2] / 3.0, 0, &prop);
    other.GenerateChaikin(b, unit, rows, n, p[0], p[1] * 0.25, p[2] * 1e300, &prop);
    other.GenerateCmpKLINE(b, unit, rows, n, &prop, nullptr);
    other.GenerateBuffer(b, unit, rows, n);
    return 0;
}
