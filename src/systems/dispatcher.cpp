// The indicator-code dispatcher: runs the generator of a code with the
// parameters of a line definition on a line set's private engine. Plain
// generators come from the operation registry; the K-line code and the
// zeroed buffers of codes 142-147 are handled here.
#include "fenxi/series.h"
#include "systems/signal_records.h"

namespace fenxi {

bool EvaluateLine(UNIKDATA* bars, int count, int unit, int code, const std::int32_t* p, const char* security,
                  int market, CAnalysisTechniques& e, CAnalysisTechniques::FENXIDATA*& rows, int& rowCount) {
    CAnalysisTechniques::FENXIDATA_PROPERTY prop{};  // filled and discarded
    rowCount = count;
    if (code == 100) {
        ATP_KLINE request{};
        request.ChartType = p[0];
        request.ChartParam = p[1];
        UNIKDATA* blocks = nullptr;
        e.GenerateKLINE(bars, unit, count, blocks, rowCount, rows, &prop, &request, security, market);
        FreeKLineBars(&blocks);  // only the rows are kept
        return true;
    }
    if (code >= 142 && code <= 147) {
        e.GenerateBuffer(bars, unit, rows, count);  // a plain zeroed buffer of one row per bar
        return true;
    }
    for (const OperationSpec& op : Operations()) {
        if (code >= 0 && op.code == code) {
            op.generate(e, bars, unit, rows, count, p, &prop, market);
            return true;
        }
    }
    return false;
}

}  // namespace fenxi
