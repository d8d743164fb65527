#include "capi/capi_support.h"

#include <cstring>

namespace fenxi::capi {

bool CopyBars(int count, const UNIKDATA* bars, BarsCopy& out) {
    if (count > kMaxBars || count < 0 || (count > 0 && bars == nullptr)) return false;
    out.assign(bars, bars + count);
    return true;
}

Period ConvertPeriod(const char* code, int periodCode) {
    Period p;
    p.code = code != nullptr ? code : "";
    switch (periodCode) {
        case 2: p.barLength = 5; break;
        case 3: p.barLength = 15; break;
        case 4: p.barLength = 30; break;
        case 5: p.barLength = 60; break;
        case 6: p.barLength = 120; break;
        case 8: p.barLength = 2, p.longPeriod = true; break;
        case 9: p.barLength = 3, p.longPeriod = true; break;
        case 10: p.barLength = 4, p.longPeriod = true; break;
        case 12: p.barLength = 5, p.longPeriod = true; break;
        default: p.barLength = 1, p.longPeriod = periodCode >= 7; break;
    }
    return p;
}

Buffer NewBuffer(std::size_t bytes) { return Buffer(new unsigned char[bytes]()); }

Buffer CopyLines(int count, const CAnalysisTechniques::FENXIDATA* rows, const std::map<int, int>& columns) {
    const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
    Buffer buffer = NewBuffer(n * sizeof(LineStruct));
    auto* lines = static_cast<LineStruct*>(buffer.get());
    for (std::size_t i = 0; rows != nullptr && i < n; ++i) {
        for (const auto& [key, slot] : columns) {
            if (slot == 0) lines[i].Value0 = rows[i].FenXi[key];
            if (slot == 1) lines[i].Value1 = rows[i].FenXi[key];
        }
    }
    return buffer;
}

}  // namespace fenxi::capi
