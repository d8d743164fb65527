// The operation registry: one entry per indicator of the class API.
#include "core/registry.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace fenxi {
namespace {

using E = CAnalysisTechniques;
using K = CAnalysisTechniques::KLINE_INDEX;
using classic::Classic;

constexpr double kPrice = 10000.0;  // prices x10000
constexpr double kPct = 100.0;      // percent x100
constexpr double kOne = 1.0;        // volumes, counts, plain ratios
constexpr double kUnit = 0.0;       // raw integers in units of 1/unit

#define GEN(body)                                                                                         \
    [](E & e, UNIKDATA * b, int u, Row * &r, int n, [[maybe_unused]] const std::int32_t* p, RowProperty* q, \
       [[maybe_unused]] int m) { body; }
#define UPD(body) \
    [](E & e, UNIKDATA * b, int u, Row * &r, int n, [[maybe_unused]] const std::int32_t* p) { body; }
#define FIRST(expr) [](const std::int32_t* p, int k) -> std::int64_t { (void)p; (void)k; return expr; }
#define CLASSIC_FIRST(which) \
    [](const std::int32_t* p, int k) -> std::int64_t { return classic::ClassicFirstValid(Classic::which, p, k); }

constexpr ParamSpec Period(const char* name, int value) { return {name, value, 1, kMaxPeriod}; }

struct Entry {
    const char* name;
    int code;
    std::initializer_list<ParamSpec> params;
    std::initializer_list<LineSpec> lines;
    const char* formula;
    RowGenerator generate;
    RowUpdater update;
    bool updateRecomputes;
    std::int64_t (*firstValid)(const std::int32_t*, int);
    const detail::Kernel* kernel = nullptr;
    int tailParam = -1;
    double (*scaleOf)(const std::int32_t*, int) = nullptr;
};

OperationSpec Make(const Entry& e) {
    OperationSpec op{};
    op.name = e.name;
    op.code = e.code;
    op.paramCount = static_cast<int>(e.params.size());
    std::copy(e.params.begin(), e.params.end(), op.params);
    op.lineCount = static_cast<int>(e.lines.size());
    std::copy(e.lines.begin(), e.lines.end(), op.lines);
    op.formula = e.formula;
    op.generate = e.generate;
    op.update = e.update;
    op.updateRecomputes = e.updateRecomputes;
    op.firstValid = e.firstValid;
    op.tailParam = e.tailParam;
    op.scaleOf = e.scaleOf;
    op.kernel = e.kernel;
    return op;
}

const ParamSpec kMaPeriods[] = {Period("N1", 5),  Period("N2", 10),  Period("N3", 20), Period("N4", 30),
                                Period("N5", 60), Period("N6", 120), Period("N7", 250)};

std::vector<OperationSpec> Build() {
    const Entry entries[] = {
        {"MA1", 0, {Period("N", 5)}, {{"MA", 1, kPrice}}, "MA = SUM(C, N) / N",
         GEN(e.GenerateMA1(b, u, r, n, p[0], q, m)), UPD(e.UpdateMA1(b, u, r, n, p[0])), true,
         FIRST(p[0]), &kernels::MA1},
        {"MA2", 1, {kMaPeriods[0], kMaPeriods[1]}, {{"MA1", 1, kPrice}, {"MA2", 2, kPrice}},
         "MAk = SUM(C, Nk) / Nk", GEN(e.GenerateMA2(b, u, r, n, p[0], p[1], q, m)),
         UPD(e.UpdateMA2(b, u, r, n, p[0], p[1])), true, FIRST(p[k]), &kernels::MA2},
        {"MA3", 2, {kMaPeriods[0], kMaPeriods[1], kMaPeriods[2]},
         {{"MA1", 1, kPrice}, {"MA2", 2, kPrice}, {"MA3", 3, kPrice}}, "MAk = SUM(C, Nk) / Nk",
         GEN(e.GenerateMA3(b, u, r, n, p[0], p[1], p[2], q, m)), UPD(e.UpdateMA3(b, u, r, n, p[0], p[1], p[2])),
         true, FIRST(p[k]), &kernels::MA3},
        {"MA4", 3, {kMaPeriods[0], kMaPeriods[1], kMaPeriods[2], Period("N4", 60)},
         {{"MA1", 1, kPrice}, {"MA2", 2, kPrice}, {"MA3", 3, kPrice}, {"MA4", 4, kPrice}}, "MAk = SUM(C, Nk) / Nk",
         GEN(e.GenerateMA4(b, u, r, n, p[0], p[1], p[2], p[3], q, m)), nullptr, false, FIRST(p[k]),
         &kernels::MA4},
        {"MA5", 4, {kMaPeriods[0], kMaPeriods[1], kMaPeriods[2], kMaPeriods[3], kMaPeriods[4]},
         {{"MA1", 1, kPrice}, {"MA2", 2, kPrice}, {"MA3", 3, kPrice}, {"MA4", 4, kPrice}, {"MA5", 5, kPrice}},
         "MAk = SUM(C, Nk) / Nk", GEN(e.GenerateMA5(b, u, r, n, p[0], p[1], p[2], p[3], p[4], q, m)),
         UPD(e.UpdateMA5(b, u, r, n, p[0], p[1], p[2], p[3], p[4])), true, FIRST(p[k]), &kernels::MA5},
        {"MA6", 5, {kMaPeriods[0], kMaPeriods[1], kMaPeriods[2], kMaPeriods[3], kMaPeriods[4], kMaPeriods[5]},
         {{"MA1", 1, kPrice}, {"MA2", 2, kPrice}, {"MA3", 3, kPrice}, {"MA4", 4, kPrice}, {"MA5", 5, kPrice},
          {"MA6", 6, kPrice}},
         "MAk = SUM(C, Nk) / Nk", GEN(e.GenerateMA6(b, u, r, n, p[0], p[1], p[2], p[3], p[4], p[5], q, m)), nullptr,
         false, FIRST(p[k]), &kernels::MA6},
        {"MA7", 6,
         {kMaPeriods[0], kMaPeriods[1], kMaPeriods[2], kMaPeriods[3], kMaPeriods[4], kMaPeriods[5], kMaPeriods[6]},
         {{"MA1", 1, kPrice}, {"MA2", 2, kPrice}, {"MA3", 3, kPrice}, {"MA4", 4, kPrice}, {"MA5", 5, kPrice},
          {"MA6", 6, kPrice}, {"MA7", 7, kPrice}},
         "MAk = SUM(C, Nk) / Nk",
         GEN(e.GenerateMA7(b, u, r, n, p[0], p[1], p[2], p[3], p[4], p[5], p[6], q, m)), nullptr, false, FIRST(p[k]),
         &kernels::MA7},
        {"SMA", 7, {kMaPeriods[0], kMaPeriods[1], kMaPeriods[2], kMaPeriods[3], kMaPeriods[4]},
         {{"SMA1", 1, kPrice}, {"SMA2", 2, kPrice}, {"SMA3", 3, kPrice}, {"SMA4", 4, kPrice}, {"SMA5", 5, kPrice}},
         "SMAk = ((Nk-1)*SMAk' + C) / Nk, seeded with the first close",
         GEN(e.GenerateSMA(b, u, r, n, p[0], p[1], p[2], p[3], p[4], q, m)),
         UPD(e.UpdateSMA(b, u, r, n, p[0], p[1], p[2], p[3], p[4])), false, FIRST(p[k]), &kernels::SMA},
        {"EMA", 8, {Period("N", 12)}, {{"EMA", 1, kPrice}}, "EMA = ((N-1)*EMA' + 2*C) / (N+1), seeded with the first close",
         GEN(e.GenerateEMA(b, u, r, n, p[0], q, m)), UPD(e.UpdateEMA(b, u, r, n, p[0])), true, FIRST(p[0]),
         &kernels::EMA},
        {"BOLL", 9, {Period("N", 20), {"UP", 2, -100, 100}, {"DOWN", -2, -100, 100}},
         {{"MID", 6, kPrice}, {"UPPER", 7, kPrice}, {"LOWER", 8, kPrice}},
         "MID = MA(C, N) of the previous bar; UPPER/LOWER = MID + UP/DOWN * population STD(C, N)",
         GEN(e.GenerateBOLLIN(b, u, r, n, p[0], p[1], p[2], 0, q, m)),
         UPD(e.UpdateBOLLIN(b, u, r, n, p[0], p[1], p[2])), false, FIRST(k == 0 ? p[0] : 2 * std::int64_t{p[0]} - 1),
         &kernels::BOLL},
        {"EXPMA", 10, {Period("N", 12), {"SHIFT", 0, 0, kMaxPeriod}}, {{"EXPMA", 0, kPrice}},
         "EXPMA = EMA(C, N) of the close SHIFT bars ahead, seeded with the first close",
         GEN(e.GenerateEXPMA(b, u, r, n, p[0], p[1], q, m)), UPD(e.UpdateEXPMA(b, u, r, n, p[0], p[1])), true,
         FIRST(1), &kernels::EXPMA, 1},
        {"SAR", 11, {Period("N", 10)}, {{"SAR", 4, kPrice}, {"DIRECTION", 5, kOne, Measure::Count}},
         "SAR' + AF*(extreme of the N previous bars - SAR'), AF 0.02 up to 0.2; DIRECTION 1 rising, -1 falling",
         GEN(e.GenerateSAR(b, u, r, n, p[0], q)), UPD(e.UpdateSAR(b, u, r, n, p[0])), true, FIRST(p[0]),
         &kernels::SAR},
        {"VOL1", -1, {}, {{"VOLUME", 0, kOne}}, "VOLUME = V", GEN(e.GenerateVOL1(b, u, r, n, q)),
         UPD(e.UpdateVOL1(b, u, r, n)), false, FIRST(0), &kernels::VOL1},
        {"VOL", 101, {Period("N1", 5), Period("N2", 10)}, {{"VOLUME", 0, kOne}, {"MAVOL1", 2, kOne}, {"MAVOL2", 3, kOne}},
         "VOLUME = V; MAVOLk = MA(V, Nk)", GEN(e.GenerateVOL(b, u, r, n, p[0], p[1], q)),
         UPD(e.UpdateVOL(b, u, r, n, p[0], p[1])), false, FIRST(k == 0 ? 0 : std::int64_t{p[k - 1]} - 1),
         &kernels::VOL},
        {"MACD", 102, {Period("SHORT", 12), Period("LONG", 26), Period("M", 9)},
         {{"DIF", 5, kPrice}, {"DEA", 6, kPrice}, {"MACD", 7, kPrice}},
         "DIF = EMA(C, SHORT) - EMA(C, LONG); DEA = EMA(DIF, M); MACD = 2*(DIF - DEA)",
         GEN(e.GenerateMACD(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateMACD(b, u, r, n, p[0], p[1], p[2])), true,
         FIRST(0), &kernels::MACD},
        {"RSI", 103, {Period("N1", 6), Period("N2", 12)}, {{"RSI1", 6, kPct}, {"RSI2", 7, kPct}},
         "RSIk = SMA(MAX(C-C1, 0), Nk, 1) / SMA(|C-C1|, Nk, 1) * 100",
         GEN(e.GenerateRSI(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateRSI(b, u, r, n, p[0], p[1])), true, FIRST(1),
         &kernels::RSI},
        {"KDJ", 104, {Period("N", 9), Period("M1", 3), Period("M2", 3)},
         {{"K", 3, kPct}, {"D", 4, kPct}, {"J", 5, kPct}},
         "RSV = (C - LLV(L, N)) / (HHV(H, N) - LLV(L, N)) * 100; K = SMA(RSV, M1, 1); D = SMA(K, M2, 1); J = 3K - 2D",
         GEN(e.GenerateKDJ(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateKDJ(b, u, r, n, p[0], p[1], p[2])), false,
         FIRST(0), &kernels::KDJ},
        {"WR", 105, {Period("N1", 10), Period("N2", 6), {"N3", 0, 0, kMaxPeriod}}, {{"WR1", 3, kPct}, {"WR2", 4, kPct}},
         "WRk = (HHV(H, Nk) - C) / (HHV(H, Nk) - LLV(L, Nk)) * 100",
         GEN(e.GenerateWR(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateWR(b, u, r, n, p[0], p[1], p[2])), false,
         FIRST(0), &kernels::WR},
        {"BIAS", 106, {Period("N1", 6), Period("N2", 12), Period("N3", 24)},
         {{"BIAS1", 0, kPct}, {"BIAS2", 1, kPct}, {"BIAS3", 2, kPct}}, "BIASk = (C - MA(C, Nk)) / MA(C, Nk) * 100",
         GEN(e.GenerateBIAS(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateBIAS(b, u, r, n, p[0], p[1], p[2])), true,
         FIRST(std::int64_t{p[k]} - 1), &kernels::BIAS},
        {"DMI", 107, {Period("N", 14), Period("M", 6)},
         {{"PDI", 0, kPct}, {"MDI", 1, kPct}, {"ADX", 2, kPct}, {"ADXR", 3, kPct}},
         "PDI = SUM(+DM, N)*100/SUM(TR, N); MDI likewise; ADX = MA(|MDI-PDI|/(MDI+PDI)*100, M); ADXR = (ADX + REF(ADX, M))/2",
         GEN(e.GenerateDMI(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateDMI(b, u, r, n, p[0], p[1])), true,
         CLASSIC_FIRST(DMI), &kernels::DMI},
        {"CR", 108, {Period("N", 26), Period("M1", 10), Period("M2", 20), Period("M3", 40), Period("M4", 62)},
         {{"CR", 0, kPct}, {"MA1", 1, kPct}, {"MA2", 2, kPct}, {"MA3", 3, kPct}, {"MA4", 4, kPct}},
         "CR = SUM(MAX(0, H - MID), N) / SUM(MAX(0, MID - L), N) * 100, MID = (H1+L1)/2; MAk = REF(MA(CR, Mk), Mk/2.5+1)",
         GEN(e.GenerateCR(b, u, r, n, p[0], p[1], p[2], p[3], p[4], q)),
         UPD(e.UpdateCR(b, u, r, n, p[0], p[1], p[2], p[3], p[4])), true, CLASSIC_FIRST(CR),
         &kernels::CR},
        {"BRAR", 109, {Period("N", 26)}, {{"BR", 0, kPct}, {"AR", 1, kPct}},
         "BR = SUM(MAX(0, H-C1), N)/SUM(MAX(0, C1-L), N)*100; AR = SUM(H-O, N)/SUM(O-L, N)*100",
         GEN(e.GenerateBRAR(b, u, r, n, p[0], q)), UPD(e.UpdateBRAR(b, u, r, n, p[0])), true, CLASSIC_FIRST(BRAR),
         &kernels::BRAR},
        {"DMA", 110, {Period("N1", 10), Period("N2", 50)}, {{"DDD", 0, kPrice}, {"AMA", 1, kPrice}},
         "DDD = MA(C, N1) - MA(C, N2); AMA = MA(DDD, N1)", GEN(e.GenerateDMA(b, u, r, n, p[0], p[1], q)),
         UPD(e.UpdateDMA(b, u, r, n, p[0], p[1])), true, CLASSIC_FIRST(DMA), &kernels::DMA},
        {"VR", 111, {Period("N", 26)}, {{"VR", 0, kOne, Measure::Percent}},
         "VR = volume of rising bars (plus half the level ones) over that of falling ones, previous N bars, percent",
         GEN(e.GenerateVR(b, u, r, n, p[0], q)), UPD(e.UpdateVR(b, u, r, n, p[0])), false, FIRST(p[0]),
         &kernels::VR},
        {"TRIX", 112, {Period("N", 12), Period("M", 9)}, {{"TRIX", 0, kPct}, {"MATRIX", 1, kPct}},
         "TR = EMA(EMA(EMA(C, N), N), N); TRIX = (TR - TR1)/TR1*100; MATRIX = MA(TRIX, M)",
         GEN(e.GenerateTRIX(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateTRIX(b, u, r, n, p[0], p[1])), true,
         CLASSIC_FIRST(TRIX), &kernels::TRIX},
        {"PSY", 113, {Period("N", 12)}, {{"PSY", 3, kOne, Measure::Percent}}, "PSY = COUNT(C > C1, N) / N * 100",
         GEN(e.GeneratePSY(b, u, r, n, p[0], q)), UPD(e.UpdatePSY(b, u, r, n, p[0])), true,
         FIRST(std::int64_t{p[0]} - 1), &kernels::PSY},
        {"ROC", 114, {Period("N", 12)}, {{"ROC", 1, kPct}}, "ROC = (C - REF(C, N)) / REF(C, N) * 100",
         GEN(e.GenerateROC(b, u, r, n, p[0], q)), UPD(e.UpdateROC(b, u, r, n, p[0])), true, FIRST(p[0]),
         &kernels::ROC},
        {"CCI", 115, {Period("N", 14)}, {{"CCI", 5, kOne}},
         "TYP = (H+L+C)/3; CCI = (TYP - MA(TYP, N)) / (0.015 * AVEDEV(TYP, N))",
         GEN(e.GenerateCCI(b, u, r, n, p[0], q)), UPD(e.UpdateCCI(b, u, r, n, p[0])), false, FIRST(p[0]),
         &kernels::CCI},
        {"MTM", 116, {Period("N", 12), Period("M", 6)}, {{"MTM", 1, kPrice}, {"MAMTM", 2, kPrice}},
         "MTM = C - REF(C, N); MAMTM = MA(MTM, M)", GEN(e.GenerateMTM(b, u, r, n, p[0], p[1], q)),
         UPD(e.UpdateMTM(b, u, r, n, p[0], p[1])), true, FIRST(k == 0 ? p[0] : std::int64_t{p[0]} + p[1] - 1),
         &kernels::MTM},
        {"OSC", 117, {Period("N", 10), Period("M", 6)}, {{"OSC", 0, kPct}, {"MAOSC", 1, kPct}},
         "OSC = C / REF(C, N) * 100; MAOSC = MA(OSC, M)", GEN(e.GenerateOSC(b, u, r, n, p[0], p[1], q)),
         UPD(e.UpdateOSC(b, u, r, n, p[0], p[1])), true, FIRST(k == 0 ? p[0] : std::int64_t{p[0]} + p[1] - 1),
         &kernels::OSC},
        {"ADX", 118, {Period("N", 14)}, {{"ADX", 0, kPct}, {"+DI", 1, kPct}, {"-DI", 2, kPct}},
         "Wilder: TR, +DM, -DM smoothed by X' - X'/N + X; +DI, -DI = 100*DM/TR; ADX = Wilder average of DX",
         GEN(e.GenerateADX(b, u, r, n, p[0], q)), UPD(e.UpdateADX(b, u, r, n, p[0])), true, CLASSIC_FIRST(ADX),
         &kernels::ADX},
        {"OBV", 119, {Period("N", 30)}, {{"OBV", 0, kOne}, {"MAOBV", 1, kOne}},
         "OBV = SUM(C > C1 ? V : C < C1 ? -V : 0) / 100; MAOBV = MA(OBV, N)",
         GEN(e.GenerateOBV(b, u, r, n, p[0], q)), UPD(e.UpdateOBV(b, u, r, n)), false, FIRST(k == 0 ? 1 : p[0]),
         &kernels::OBV},
        {"ASI", 120, {}, {{"ASI", 0, kPrice}, {"ASIT", 1, kPrice}},
         "SI = 16*X/R*MAX(|H-C1|, |L-C1|); ASI = SUM(SI, 26); ASIT = MA(ASI, 10)",
         GEN(e.GenerateASI(b, u, r, n, q)), UPD(e.UpdateASI(b, u, r, n)), true, CLASSIC_FIRST(ASI),
         &kernels::ASI},
        {"KD", 121, {Period("N", 9), Period("M1", 3), Period("M2", 3)}, {{"K", 3, kPct}, {"D", 4, kPct}},
         "K = SMA(RSV, M1, 1) seeded with the previous RSV; D = SMA(K, M2, 1)",
         GEN(e.GenerateKD(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateKD(b, u, r, n, p[0], p[1], p[2])), false,
         FIRST(p[0]), &kernels::KD},
        {"MIKE", 122, {Period("N", 12)},
         {{"WR", 0, kPrice}, {"MR", 1, kPrice}, {"SR", 2, kPrice}, {"WS", 3, kPrice}, {"MS", 4, kPrice},
          {"SS", 5, kPrice}},
         "TYP = (H+L+C)/3, HV = HHV(H, N), LV = LLV(L, N): WR = TYP + (TYP - LV), MR = TYP + (HV - LV), SR = 2HV - LV, ...",
         GEN(e.GenerateMike(b, u, r, n, p[0], q)), UPD(e.UpdateMike(b, u, r, n, p[0])), true, CLASSIC_FIRST(Mike),
         &kernels::MIKE},
        {"CHG", 123, {Period("N", 1)}, {{"CHG", 0, kPct}, {"CHGP", 1, kPct, Measure::Price}},
         "CHG = (C - REF(C, N)) / REF(C, N) * 100; CHGP = C - REF(C, N)", GEN(e.GenerateChg(b, u, r, n, p[0], q)),
         UPD(e.UpdateChg(b, u, r, n, p[0])), true, CLASSIC_FIRST(Chg), &kernels::CHG},
        {"CSI", 124, {Period("N", 14), {"V", 100, 0, 1000000}, {"M", 2500, 1, 1000000000}}, {{"CSI", 0, kPrice, Measure::Count}},
         "CSI = ADXR * ATR * (V / SQRT(M)) / (150 + 25) * 100, Wilder's ADXR and ATR over N",
         GEN(e.GenerateCSI(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateCSI(b, u, r, n, p[0], p[1], p[2])), true,
         CLASSIC_FIRST(CSI), &kernels::CSI},
        {"MASS", 125, {Period("N1", 9), Period("N2", 25), Period("M", 6)}, {{"MASS", 0, kPct}, {"MAMASS", 1, kPct}},
         "MASS = SUM(MA(H-L, N1) / MA(MA(H-L, N1), N1), N2); MAMASS = MA(MASS, M)",
         GEN(e.GenerateMASS(b, u, r, n, p[0], p[1], p[2], p[3], q)),
         UPD(e.UpdateMASS(b, u, r, n, p[0], p[1], p[2], p[3])), true, CLASSIC_FIRST(MASS),
         &kernels::MASS},
        {"CHAIKIN", 126, {Period("M", 6), Period("FAST", 3), Period("SLOW", 10)}, {{"CO", 0, kOne}, {"MACO", 1, kOne}},
         "AD = SUM(V*((C-L)-(H-C))/(H-L)); CO = EMA(AD, FAST) - EMA(AD, SLOW); MACO = MA(CO, M)",
         GEN(e.GenerateChaikin(b, u, r, n, p[0], p[1], p[2], q)),
         UPD(e.UpdateChaikin(b, u, r, n, p[0], p[1], p[2])), true, CLASSIC_FIRST(Chaikin),
         &kernels::CHAIKIN},
        {"MAW", 127, {Period("N", 10)}, {{"WMA", 0, kPrice}}, "WMA = SUM(k * C_k, k = 1..N) / SUM(k), newest weight N",
         GEN(e.GenerateMAW(b, u, r, n, p[0], q)), UPD(e.UpdateMAW(b, u, r, n, p[0])), true, CLASSIC_FIRST(MAW),
         &kernels::MAW},
        {"TSF", 128, {Period("N", 14), Period("M", 6)}, {{"TSF", 0, kPrice}, {"MATSF", 1, kPrice}},
         "TSF = least-squares line through the last N closes, at N+1; MATSF = MA(TSF, M)",
         GEN(e.GenerateTSF(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateTSF(b, u, r, n, p[0], p[1])), true,
         CLASSIC_FIRST(TSF), &kernels::TSF},
        {"MAE", 129, {Period("N", 25), {"M1", 6, 0, 100}, {"M2", 6, 0, 100}},
         {{"UPPER", 0, kPrice}, {"MID", 1, kPrice}, {"LOWER", 2, kPrice}},
         "MID = MA(C, N); UPPER = MID*(1 + M1/100); LOWER = MID*(1 - M2/100)",
         GEN(e.GenerateMAE(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateMAE(b, u, r, n, p[0], p[1], p[2])), true,
         CLASSIC_FIRST(MAE), &kernels::MAE},
        {"PC", 130, {Period("N", 20)}, {{"UPPER", 0, kPrice}, {"MID", 1, kPrice}, {"LOWER", 2, kPrice}},
         "UPPER = HHV(H, N); LOWER = LLV(L, N); MID = (UPPER + LOWER)/2", GEN(e.GeneratePC(b, u, r, n, p[0], q)),
         UPD(e.UpdatePC(b, u, r, n, p[0])), true, CLASSIC_FIRST(PC), &kernels::PC},
        {"EMV", -1, {Period("N", 14), Period("M", 9)}, {{"EMV", 0, kPct}, {"MAEMV", 1, kPct}},
         "MID = 100*(H+L-H1-L1)/(H+L); EMV = MA(MID*MA(V, N)/V*(H-L)/MA(H-L, N), N); MAEMV = MA(EMV, M)",
         GEN(e.GenerateEMV(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateEMV(b, u, r, n, p[0], p[1])), true,
         CLASSIC_FIRST(EMV), &kernels::EMV},
        {"WVAD", -1, {Period("N", 24)}, {{"WVAD", 3, 1e-5}}, "WVAD = SUM((C - O) / (H - L) * AMOUNT, N); rows hold it / 100000",
         GEN(e.GenerateWVAD(b, u, r, n, p[0], q)), UPD(e.UpdateWVAD(b, u, r, n, p[0])), true,
         FIRST(std::int64_t{p[0]} - 1), &kernels::WVAD},
        {"MACHANEL", 134, {Period("N", 10)},
         {{"MAOPEN", 4, kPrice}, {"MAHIGH", 5, kPrice}, {"MALOW", 6, kPrice}, {"MACLOSE", 7, kPrice}},
         "MAX = MA(X, N) of the open, high, low and close", GEN(e.GenerateMAChanel(b, u, r, n, p[0], q, m)), nullptr,
         false, FIRST(p[0]), &kernels::MACHANEL},
        {"LIFELINE", 135, {}, {{"LIFE65", 1, kPrice}, {"LIFE130", 2, kPrice}},
         "LIFEk = MA((H + C)/2, k) for k = 65, 130", GEN(e.GenerateLifeLine(b, u, r, n, q, m)), nullptr, false,
         FIRST(k == 0 ? 65 : 130), &kernels::LIFELINE},
        {"JGCMX", 136, {Period("N", 14)}, {{"JGCMX", 6, kOne}, {"CHANGE", 7, kOne}}, "chip distribution line (JG)",
         GEN(e.GenerateJGCMX(b, u, r, n, p[0], q)), nullptr, false, FIRST(p[0]), &kernels::JGCMX},
        {"SHCMX", 137, {Period("N", 14)}, {{"SHCMX", 8, kOne}, {"CHANGE", 7, kOne}}, "chip distribution line (SH)",
         GEN(e.GenerateSHCMX(b, u, r, n, p[0], q)), nullptr, false, FIRST(p[0]), &kernels::SHCMX},
        {"DHCMX", 138, {Period("N", 14)}, {{"DHCMX", 6, kOne}, {"CHANGE", 7, kOne}}, "chip distribution line (DH)",
         GEN(e.GenerateDHCMX(b, u, r, n, p[0], q)), nullptr, false, FIRST(p[0]), &kernels::DHCMX},
        {"JGCMXDELTA", -1, {Period("N", 14)}, {{"CHANGE", 7, kOne}}, "rate of change of the JG line",
         GEN(e.GenerateJGCMXDelta(b, u, r, n, p[0], q)), nullptr, false, FIRST(p[0]), &kernels::JGCMXDELTA},
        {"SHCMXDELTA", -1, {Period("N", 14)}, {{"CHANGE", 7, kOne}}, "rate of change of the SH line",
         GEN(e.GenerateSHCMXDelta(b, u, r, n, p[0], q)), nullptr, false, FIRST(p[0]), &kernels::SHCMXDELTA},
        {"DHCMXDELTA", -1, {Period("N", 14)}, {{"CHANGE", 7, kOne}}, "rate of change of the DH line",
         GEN(e.GenerateDHCMXDelta(b, u, r, n, p[0], q)), nullptr, false, FIRST(p[0]), &kernels::DHCMXDELTA},
        {"ZJLDXFX", 157, {}, {{"LDX_OBV_DIF", 3, kOne}},
         "capital-flow direction: MA(OBV, 2) - MA(OBV, 65), reshaped on one-price limit bars",
         GEN(e.GenerateZJLDXFX(b, u, r, n, q)), nullptr, false, FIRST(65), &kernels::ZJLDXFX},
        {"SHLDXFX", 158, {}, {{"SHLDX", 8, kOne}}, "capital-flow direction, MACD-style, reshaped",
         GEN(e.GenerateSHLDXFX(b, u, r, n, q)), nullptr, false, FIRST(37), &kernels::SHLDXFX},
        {"LLV", 161, {{"FIELD", 2, 0, 3}, Period("N", 20)}, {{"LLV", 0, kPrice}},
         "LLV = lowest FIELD (0 open, 1 high, 2 low, 3 close) of the last N bars",
         GEN(e.GenerateLLV(b, u, r, n, static_cast<K>(p[0]), p[1], q)), nullptr, false,
         FIRST(std::int64_t{p[1]} - 1), &kernels::LLV, -1,
         // Over the low the engine keeps the raw integer.
         [](const std::int32_t* p, int) { return p[0] == 2 ? kUnit : kPrice; }},
        {"HHV", 162, {{"FIELD", 1, 0, 3}, Period("N", 20)}, {{"HHV", 0, kPrice}},
         "HHV = highest FIELD (0 open, 1 high, 2 low, 3 close) of the last N bars",
         GEN(e.GenerateHHV(b, u, r, n, static_cast<K>(p[0]), p[1], q)), nullptr, false,
         FIRST(std::int64_t{p[1]} - 1), &kernels::HHV},
    };
    std::vector<OperationSpec> ops;
    for (const Entry& e : entries) ops.push_back(Make(e));
    return ops;
}

#undef GEN
#undef UPD
#undef FIRST
#undef CLASSIC_FIRST

bool SameName(std::string_view a, const char* b) {
    std::size_t k = 0;
    for (; k < a.size() && b[k] != '\0'; ++k)
        if (std::toupper(static_cast<unsigned char>(a[k])) != b[k]) return false;
    return k == a.size() && b[k] == '\0';
}

}  // namespace

std::span<const OperationSpec> Operations() {
    static const std::vector<OperationSpec> ops = Build();
    return ops;
}

const OperationSpec* FindOperation(std::string_view key) {
    if (SameName(key, "BOLLIN")) key = "BOLL";
    int code = -1;
    const auto [end, ec] = std::from_chars(key.data(), key.data() + key.size(), code);
    const bool numeric = !key.empty() && ec == std::errc() && end == key.data() + key.size() && code >= 0;
    for (const OperationSpec& op : Operations())
        if (numeric ? op.code == code : SameName(key, op.name)) return &op;
    return nullptr;
}

double TrueScale(const OperationSpec& op, int line, const std::int32_t* p, int unit) {
    const double s = op.scaleOf != nullptr ? op.scaleOf(p, line) : op.lines[line].scale;
    return s == kUnit ? static_cast<double>(unit) : s;
}

const char* ScaleName(const OperationSpec& op, int line, const std::int32_t* p) {
    switch (op.lines[line].measure) {
        case Measure::Price: return "price";
        case Measure::Percent: return "percent";
        case Measure::Count: return "count";
        case Measure::FromScale: break;
    }
    const double s = op.scaleOf != nullptr ? op.scaleOf(p, line) : op.lines[line].scale;
    return s == kUnit || s == kPrice ? "price" : s == kPct ? "percent" : "count";
}

namespace detail {

std::int64_t StreamMemory(const OperationSpec& op, const std::int32_t* p) {
    return op.kernel->stepper->history(p);
}

}  // namespace detail
}  // namespace fenxi
