// The indicator-code dispatcher: runs the generator of a code with the
// parameters of a line definition on a line set's private engine.
#include "systems/signal_records.h"

namespace fenxi {

bool EvaluateLine(UNIKDATA* bars, int count, int unit, int code, const std::int32_t* p, const char* security,
                  int market, CAnalysisTechniques& e, CAnalysisTechniques::FENXIDATA*& rows, int& rowCount) {
    using K = CAnalysisTechniques::KLINE_INDEX;
    CAnalysisTechniques::FENXIDATA_PROPERTY prop{};  // filled and discarded
    rowCount = count;
    const int m = market;
    switch (code) {
        case 0: e.GenerateMA1(bars, unit, rows, count, p[0], &prop, m); return true;
        case 1: e.GenerateMA2(bars, unit, rows, count, p[0], p[1], &prop, m); return true;
        case 2: e.GenerateMA3(bars, unit, rows, count, p[0], p[1], p[2], &prop, m); return true;
        case 3: e.GenerateMA4(bars, unit, rows, count, p[0], p[1], p[2], p[3], &prop, m); return true;
        case 4: e.GenerateMA5(bars, unit, rows, count, p[0], p[1], p[2], p[3], p[4], &prop, m); return true;
        case 5: e.GenerateMA6(bars, unit, rows, count, p[0], p[1], p[2], p[3], p[4], p[5], &prop, m); return true;
        case 6:
            e.GenerateMA7(bars, unit, rows, count, p[0], p[1], p[2], p[3], p[4], p[5], p[6], &prop, m);
            return true;
        case 7: e.GenerateSMA(bars, unit, rows, count, p[0], p[1], p[2], p[3], p[4], &prop, m); return true;
        case 8: e.GenerateEMA(bars, unit, rows, count, p[0], &prop, m); return true;
        case 9: e.GenerateBOLLIN(bars, unit, rows, count, p[0], p[1], p[2], 0, &prop, m); return true;
        case 10: e.GenerateEXPMA(bars, unit, rows, count, p[0], p[1], &prop, m); return true;
        case 11: e.GenerateSAR(bars, unit, rows, count, p[0], &prop); return true;
        case 100: {
            ATP_KLINE request{};
            request.ChartType = p[0];
            request.ChartParam = p[1];
            UNIKDATA* blocks = nullptr;
            e.GenerateKLINE(bars, unit, count, blocks, rowCount, rows, &prop, &request, security, m);
            FreeKLineBars(&blocks);  // only the rows are kept
            return true;
        }
        case 101: e.GenerateVOL(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 102: e.GenerateMACD(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 103: e.GenerateRSI(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 104: e.GenerateKDJ(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 105: e.GenerateWR(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 106: e.GenerateBIAS(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 107: e.GenerateDMI(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 108: e.GenerateCR(bars, unit, rows, count, p[0], p[1], p[2], p[3], p[4], &prop); return true;
        case 109: e.GenerateBRAR(bars, unit, rows, count, p[0], &prop); return true;
        case 110: e.GenerateDMA(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 111: e.GenerateVR(bars, unit, rows, count, p[0], &prop); return true;
        case 112: e.GenerateTRIX(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 113: e.GeneratePSY(bars, unit, rows, count, p[0], &prop); return true;
        case 114: e.GenerateROC(bars, unit, rows, count, p[0], &prop); return true;
        case 115: e.GenerateCCI(bars, unit, rows, count, p[0], &prop); return true;
        case 116: e.GenerateMTM(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 117: e.GenerateOSC(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 118: e.GenerateADX(bars, unit, rows, count, p[0], &prop); return true;
        case 119: e.GenerateOBV(bars, unit, rows, count, p[0], &prop); return true;
        case 120: e.GenerateASI(bars, unit, rows, count, &prop); return true;
        case 121: e.GenerateKD(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 122: e.GenerateMike(bars, unit, rows, count, p[0], &prop); return true;
        case 123: e.GenerateChg(bars, unit, rows, count, p[0], &prop); return true;
        case 124: e.GenerateCSI(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 125: e.GenerateMASS(bars, unit, rows, count, p[0], p[1], p[2], p[3], &prop); return true;
        case 126: e.GenerateChaikin(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 127: e.GenerateMAW(bars, unit, rows, count, p[0], &prop); return true;
        case 128: e.GenerateTSF(bars, unit, rows, count, p[0], p[1], &prop); return true;
        case 129: e.GenerateMAE(bars, unit, rows, count, p[0], p[1], p[2], &prop); return true;
        case 130: e.GeneratePC(bars, unit, rows, count, p[0], &prop); return true;
        case 134: e.GenerateMAChanel(bars, unit, rows, count, p[0], &prop, m); return true;
        case 135: e.GenerateLifeLine(bars, unit, rows, count, &prop, m); return true;
        case 136: e.GenerateJGCMX(bars, unit, rows, count, p[0], &prop); return true;
        case 137: e.GenerateSHCMX(bars, unit, rows, count, p[0], &prop); return true;
        case 138: e.GenerateDHCMX(bars, unit, rows, count, p[0], &prop); return true;
        case 157: e.GenerateZJLDXFX(bars, unit, rows, count, &prop); return true;
        case 158: e.GenerateSHLDXFX(bars, unit, rows, count, &prop); return true;
        case 161: e.GenerateLLV(bars, unit, rows, count, static_cast<K>(p[0]), p[1], &prop); return true;
        case 162: e.GenerateHHV(bars, unit, rows, count, static_cast<K>(p[0]), p[1], &prop); return true;
        case 142: case 143: case 144: case 145: case 146: case 147:
            // A plain zeroed buffer of one row per bar.
            e.GenerateBuffer(bars, unit, rows, count);
            return true;
        default:
            return false;
    }
}

}  // namespace fenxi
