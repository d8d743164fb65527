#include "catalog.h"

#include <algorithm>
#include <cctype>

namespace fenxi_cli {
namespace {

using E = CAnalysisTechniques;
using K = CAnalysisTechniques::KLINE_INDEX;

// Shorthands for the lambdas of the table.
#define GEN(body) [](E & e, UNIKDATA * b, int u, Rows & r, int n, [[maybe_unused]] const Params& p, Property* q) { body; }
#define UPD(body) [](E & e, UNIKDATA * b, int u, Rows & r, int n, [[maybe_unused]] const Params& p) { body; }

std::vector<Operation> Build() {
    std::vector<Operation> ops = {
        {"MA1", 0, {{"N", 5}}, {{1, "MA"}}, "moving average of the close",
         GEN(e.GenerateMA1(b, u, r, n, p[0], q)), UPD(e.UpdateMA1(b, u, r, n, p[0]))},
        {"MA2", 1, {{"N1", 5}, {"N2", 10}}, {{1, "MA1"}, {2, "MA2"}}, "two moving averages",
         GEN(e.GenerateMA2(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateMA2(b, u, r, n, p[0], p[1]))},
        {"MA3", 2, {{"N1", 5}, {"N2", 10}, {"N3", 20}}, {{1, "MA1"}, {2, "MA2"}, {3, "MA3"}}, "three moving averages",
         GEN(e.GenerateMA3(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateMA3(b, u, r, n, p[0], p[1], p[2]))},
        {"MA4", 3, {{"N1", 5}, {"N2", 10}, {"N3", 20}, {"N4", 60}}, {{1, "MA1"}, {2, "MA2"}, {3, "MA3"}, {4, "MA4"}},
         "four moving averages", GEN(e.GenerateMA4(b, u, r, n, p[0], p[1], p[2], p[3], q)), nullptr},
        {"MA5", 4, {{"N1", 5}, {"N2", 10}, {"N3", 20}, {"N4", 30}, {"N5", 60}},
         {{1, "MA1"}, {2, "MA2"}, {3, "MA3"}, {4, "MA4"}, {5, "MA5"}}, "five moving averages",
         GEN(e.GenerateMA5(b, u, r, n, p[0], p[1], p[2], p[3], p[4], q)),
         UPD(e.UpdateMA5(b, u, r, n, p[0], p[1], p[2], p[3], p[4]))},
        {"MA6", 5, {{"N1", 5}, {"N2", 10}, {"N3", 20}, {"N4", 30}, {"N5", 60}, {"N6", 120}},
         {{1, "MA1"}, {2, "MA2"}, {3, "MA3"}, {4, "MA4"}, {5, "MA5"}, {6, "MA6"}}, "six moving averages",
         GEN(e.GenerateMA6(b, u, r, n, p[0], p[1], p[2], p[3], p[4], p[5], q)), nullptr},
        {"MA7", 6, {{"N1", 5}, {"N2", 10}, {"N3", 20}, {"N4", 30}, {"N5", 60}, {"N6", 120}, {"N7", 250}},
         {{1, "MA1"}, {2, "MA2"}, {3, "MA3"}, {4, "MA4"}, {5, "MA5"}, {6, "MA6"}, {7, "MA7"}}, "seven moving averages",
         GEN(e.GenerateMA7(b, u, r, n, p[0], p[1], p[2], p[3], p[4], p[5], p[6], q)), nullptr},
        {"SMA", 7, {{"N1", 5}, {"N2", 10}, {"N3", 20}, {"N4", 30}, {"N5", 60}},
         {{1, "SMA1"}, {2, "SMA2"}, {3, "SMA3"}, {4, "SMA4"}, {5, "SMA5"}}, "weighted smoothings (weight 1 of N)",
         GEN(e.GenerateSMA(b, u, r, n, p[0], p[1], p[2], p[3], p[4], q)),
         UPD(e.UpdateSMA(b, u, r, n, p[0], p[1], p[2], p[3], p[4]))},
        {"EMA", 8, {{"N", 12}}, {{1, "EMA"}}, "exponential average, factor 2/(N+1)",
         GEN(e.GenerateEMA(b, u, r, n, p[0], q)), UPD(e.UpdateEMA(b, u, r, n, p[0]))},
        {"BOLL", 9, {{"N", 20}, {"UP", 2}, {"DOWN", -2}}, {{6, "MID"}, {7, "UPPER"}, {8, "LOWER"}},
         "Bollinger bands: previous average, current deviation",
         GEN(e.GenerateBOLLIN(b, u, r, n, p[0], p[1], p[2], 0, q)), UPD(e.UpdateBOLLIN(b, u, r, n, p[0], p[1], p[2]))},
        {"EXPMA", 10, {{"N", 12}, {"SHIFT", 0}}, {{0, "EXPMA"}}, "exponential average of the close SHIFT bars ahead",
         GEN(e.GenerateEXPMA(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateEXPMA(b, u, r, n, p[0], p[1]))},
        {"SAR", 11, {{"N", 10}}, {{4, "SAR"}, {5, "DIRECTION"}}, "stop and reverse (direction 1 rising, -1 falling)",
         GEN(e.GenerateSAR(b, u, r, n, p[0], q)), UPD(e.UpdateSAR(b, u, r, n, p[0]))},
        {"VOL1", -1, {}, {{0, "VOLUME"}}, "volume", GEN(e.GenerateVOL1(b, u, r, n, q)), UPD(e.UpdateVOL1(b, u, r, n))},
        {"VOL", 101, {{"N1", 5}, {"N2", 10}}, {{0, "VOLUME"}, {2, "MAVOL1"}, {3, "MAVOL2"}}, "volume and its averages",
         GEN(e.GenerateVOL(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateVOL(b, u, r, n, p[0], p[1]))},
        {"MACD", 102, {{"SHORT", 12}, {"LONG", 26}, {"M", 9}}, {{5, "DIF"}, {6, "DEA"}, {7, "MACD"}},
         "difference of two averages, its average, twice their difference",
         GEN(e.GenerateMACD(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateMACD(b, u, r, n, p[0], p[1], p[2]))},
        {"RSI", 103, {{"N1", 6}, {"N2", 12}}, {{6, "RSI1"}, {7, "RSI2"}}, "relative strength, percent",
         GEN(e.GenerateRSI(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateRSI(b, u, r, n, p[0], p[1]))},
        {"KDJ", 104, {{"N", 9}, {"M1", 3}, {"M2", 3}}, {{3, "K"}, {4, "D"}, {5, "J"}}, "stochastic K, D and J",
         GEN(e.GenerateKDJ(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateKDJ(b, u, r, n, p[0], p[1], p[2]))},
        {"WR", 105, {{"N1", 10}, {"N2", 6}, {"N3", 0}}, {{3, "WR1"}, {4, "WR2"}}, "Williams %R",
         GEN(e.GenerateWR(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateWR(b, u, r, n, p[0], p[1], p[2]))},
        {"BIAS", 106, {{"N1", 6}, {"N2", 12}, {"N3", 24}}, {{0, "BIAS1"}, {1, "BIAS2"}, {2, "BIAS3"}},
         "distance of the close from its average, percent",
         GEN(e.GenerateBIAS(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateBIAS(b, u, r, n, p[0], p[1], p[2]))},
        {"VR", 111, {{"N", 26}}, {{0, "VR"}}, "volume ratio of the previous N bars",
         GEN(e.GenerateVR(b, u, r, n, p[0], q)), UPD(e.UpdateVR(b, u, r, n, p[0]))},
        {"WVAD", -1, {{"N", 24}}, {{3, "WVAD"}}, "amount-weighted body over range",
         GEN(e.GenerateWVAD(b, u, r, n, p[0], q)), UPD(e.UpdateWVAD(b, u, r, n, p[0]))},
        {"PSY", 113, {{"N", 12}}, {{3, "PSY"}}, "share of rising bars, percent",
         GEN(e.GeneratePSY(b, u, r, n, p[0], q)), UPD(e.UpdatePSY(b, u, r, n, p[0]))},
        {"ROC", 114, {{"N", 12}}, {{1, "ROC"}}, "rate of change, percent",
         GEN(e.GenerateROC(b, u, r, n, p[0], q)), UPD(e.UpdateROC(b, u, r, n, p[0]))},
        {"CCI", 115, {{"N", 14}}, {{5, "CCI"}}, "commodity channel index",
         GEN(e.GenerateCCI(b, u, r, n, p[0], q)), UPD(e.UpdateCCI(b, u, r, n, p[0]))},
        {"MTM", 116, {{"N", 12}, {"M", 6}}, {{1, "MTM"}, {2, "MAMTM"}}, "momentum and its average",
         GEN(e.GenerateMTM(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateMTM(b, u, r, n, p[0], p[1]))},
        {"OSC", 117, {{"N", 10}, {"M", 6}}, {{0, "OSC"}, {1, "MAOSC"}}, "close over the close N back, percent",
         GEN(e.GenerateOSC(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateOSC(b, u, r, n, p[0], p[1]))},
        {"OBV", 119, {{"N", 30}}, {{0, "OBV"}, {1, "MAOBV"}}, "on-balance volume / 100 and its average",
         GEN(e.GenerateOBV(b, u, r, n, p[0], q)), UPD(e.UpdateOBV(b, u, r, n))},
        {"KD", 121, {{"N", 9}, {"M1", 3}, {"M2", 3}}, {{3, "K"}, {4, "D"}}, "stochastic K and D",
         GEN(e.GenerateKD(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateKD(b, u, r, n, p[0], p[1], p[2]))},
        {"DMI", 107, {{"N", 14}, {"M", 6}}, {{0, "PDI"}, {1, "MDI"}, {2, "ADX"}, {3, "ADXR"}},
         "directional movement, percent", GEN(e.GenerateDMI(b, u, r, n, p[0], p[1], q)),
         UPD(e.UpdateDMI(b, u, r, n, p[0], p[1]))},
        {"CR", 108, {{"N", 26}, {"M1", 10}, {"M2", 20}, {"M3", 40}, {"M4", 62}},
         {{0, "CR"}, {1, "MA1"}, {2, "MA2"}, {3, "MA3"}, {4, "MA4"}}, "energy of the mid price, percent",
         GEN(e.GenerateCR(b, u, r, n, p[0], p[1], p[2], p[3], p[4], q)),
         UPD(e.UpdateCR(b, u, r, n, p[0], p[1], p[2], p[3], p[4]))},
        {"BRAR", 109, {{"N", 26}}, {{0, "BR"}, {1, "AR"}}, "buying and selling pressure, percent",
         GEN(e.GenerateBRAR(b, u, r, n, p[0], q)), UPD(e.UpdateBRAR(b, u, r, n, p[0]))},
        {"DMA", 110, {{"N1", 10}, {"N2", 50}}, {{0, "DDD"}, {1, "AMA"}}, "difference of two averages and its average",
         GEN(e.GenerateDMA(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateDMA(b, u, r, n, p[0], p[1]))},
        {"TRIX", 112, {{"N", 12}, {"M", 9}}, {{0, "TRIX"}, {1, "MATRIX"}}, "rate of the triple EMA, percent",
         GEN(e.GenerateTRIX(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateTRIX(b, u, r, n, p[0], p[1]))},
        {"ADX", 118, {{"N", 14}}, {{0, "ADX"}, {1, "+DI"}, {2, "-DI"}}, "Wilder's average directional index",
         GEN(e.GenerateADX(b, u, r, n, p[0], q)), UPD(e.UpdateADX(b, u, r, n, p[0]))},
        {"ASI", 120, {}, {{0, "ASI"}, {1, "ASIT"}}, "accumulation swing index and its average",
         GEN(e.GenerateASI(b, u, r, n, q)), UPD(e.UpdateASI(b, u, r, n))},
        {"MIKE", 122, {{"N", 12}}, {{0, "WR"}, {1, "MR"}, {2, "SR"}, {3, "WS"}, {4, "MS"}, {5, "SS"}},
         "Mike support and resistance", GEN(e.GenerateMike(b, u, r, n, p[0], q)), UPD(e.UpdateMike(b, u, r, n, p[0]))},
        {"CHG", 123, {{"N", 1}}, {{0, "CHG"}, {1, "CHGP"}}, "change over N bars: percent and price",
         GEN(e.GenerateChg(b, u, r, n, p[0], q)), UPD(e.UpdateChg(b, u, r, n, p[0]))},
        {"CSI", 124, {{"N", 14}, {"V", 100}, {"M", 2500}}, {{0, "CSI"}}, "commodity selection index",
         GEN(e.GenerateCSI(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateCSI(b, u, r, n, p[0], p[1], p[2]))},
        {"MASS", 125, {{"N1", 9}, {"N2", 25}, {"M", 6}}, {{0, "MASS"}, {1, "MAMASS"}}, "mass index, ratio",
         GEN(e.GenerateMASS(b, u, r, n, p[0], p[1], p[2], 0, q)), UPD(e.UpdateMASS(b, u, r, n, p[0], p[1], p[2], 0))},
        {"CHAIKIN", 126, {{"M", 6}, {"FAST", 3}, {"SLOW", 10}}, {{0, "CO"}, {1, "MACO"}}, "Chaikin oscillator, volume",
         GEN(e.GenerateChaikin(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateChaikin(b, u, r, n, p[0], p[1], p[2]))},
        {"MAW", 127, {{"N", 10}}, {{0, "WMA"}}, "weighted moving average", GEN(e.GenerateMAW(b, u, r, n, p[0], q)),
         UPD(e.UpdateMAW(b, u, r, n, p[0]))},
        {"TSF", 128, {{"N", 14}, {"M", 6}}, {{0, "TSF"}, {1, "MATSF"}}, "time-series forecast",
         GEN(e.GenerateTSF(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateTSF(b, u, r, n, p[0], p[1]))},
        {"MAE", 129, {{"N", 25}, {"M1", 6}, {"M2", 6}}, {{0, "UPPER"}, {1, "MID"}, {2, "LOWER"}}, "average envelope",
         GEN(e.GenerateMAE(b, u, r, n, p[0], p[1], p[2], q)), UPD(e.UpdateMAE(b, u, r, n, p[0], p[1], p[2]))},
        {"PC", 130, {{"N", 20}}, {{0, "UPPER"}, {1, "MID"}, {2, "LOWER"}}, "price channel",
         GEN(e.GeneratePC(b, u, r, n, p[0], q)), UPD(e.UpdatePC(b, u, r, n, p[0]))},
        {"EMV", -1, {{"N", 14}, {"M", 9}}, {{0, "EMV"}, {1, "MAEMV"}}, "ease of movement",
         GEN(e.GenerateEMV(b, u, r, n, p[0], p[1], q)), UPD(e.UpdateEMV(b, u, r, n, p[0], p[1]))},
        {"MACHANEL", 134, {{"N", 10}}, {{4, "MAOPEN"}, {5, "MAHIGH"}, {6, "MALOW"}, {7, "MACLOSE"}},
         "average channel of open, high, low and close", GEN(e.GenerateMAChanel(b, u, r, n, p[0], q)), nullptr},
        {"LIFELINE", 135, {}, {{1, "LIFE65"}, {2, "LIFE130"}}, "65 and 130-bar averages of (high+close)/2",
         GEN(e.GenerateLifeLine(b, u, r, n, q)), nullptr},
        {"JGCMX", 136, {{"N", 14}}, {{6, "JGCMX"}, {7, "CHANGE"}}, "chip distribution line (JG)",
         GEN(e.GenerateJGCMX(b, u, r, n, p[0], q)), nullptr},
        {"SHCMX", 137, {{"N", 14}}, {{8, "SHCMX"}, {7, "CHANGE"}}, "chip distribution line (SH)",
         GEN(e.GenerateSHCMX(b, u, r, n, p[0], q)), nullptr},
        {"DHCMX", 138, {{"N", 14}}, {{6, "DHCMX"}, {7, "CHANGE"}}, "chip distribution line (DH)",
         GEN(e.GenerateDHCMX(b, u, r, n, p[0], q)), nullptr},
        {"JGCMXDELTA", -1, {{"N", 14}}, {{7, "CHANGE"}}, "rate of change of the JG line",
         GEN(e.GenerateJGCMXDelta(b, u, r, n, p[0], q)), nullptr},
        {"SHCMXDELTA", -1, {{"N", 14}}, {{7, "CHANGE"}}, "rate of change of the SH line",
         GEN(e.GenerateSHCMXDelta(b, u, r, n, p[0], q)), nullptr},
        {"DHCMXDELTA", -1, {{"N", 14}}, {{7, "CHANGE"}}, "rate of change of the DH line",
         GEN(e.GenerateDHCMXDelta(b, u, r, n, p[0], q)), nullptr},
        {"ZJLDXFX", 157, {}, {{3, "LDX_OBV_DIF"}}, "capital-flow direction (fast minus slow volume line)",
         GEN(e.GenerateZJLDXFX(b, u, r, n, q)), nullptr},
        {"SHLDXFX", 158, {}, {{8, "SHLDX"}}, "capital-flow direction (MACD-style, reshaped)",
         GEN(e.GenerateSHLDXFX(b, u, r, n, q)), nullptr},
        {"LLV", 161, {{"FIELD", 2}, {"N", 20}}, {{0, "LLV"}}, "lowest of a field (0 open, 1 high, 2 low, 3 close)",
         GEN(e.GenerateLLV(b, u, r, n, static_cast<K>(p[0]), p[1], q)), nullptr},
        {"HHV", 162, {{"FIELD", 1}, {"N", 20}}, {{0, "HHV"}}, "highest of a field (0 open, 1 high, 2 low, 3 close)",
         GEN(e.GenerateHHV(b, u, r, n, static_cast<K>(p[0]), p[1], q)), nullptr},
    };
    return ops;
}

#undef GEN
#undef UPD

std::string Upper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::toupper(c); });
    return s;
}

}  // namespace

const std::vector<Operation>& Catalog() {
    static const std::vector<Operation> ops = Build();
    return ops;
}

const Operation* FindOperation(const std::string& nameOrCode) {
    const std::string key = Upper(nameOrCode);
    for (const Operation& op : Catalog()) {
        if (op.name == key || (key == "BOLLIN" && op.name == "BOLL")) return &op;
        if (op.code >= 0 && std::to_string(op.code) == key) return &op;
    }
    return nullptr;
}

}  // namespace fenxi_cli
