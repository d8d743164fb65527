// Line sets, the mounted system and the security-code helpers.
#include <cstring>

#include "core/engine_state.h"
#include "systems/signal_records.h"

namespace fenxi {

MountedSystem::~MountedSystem() {
    for (LineSet* set : LineSets) delete set;  // each frees its engine's rows
}

void ReleaseMountedSystem(MountedSystem* system) { delete system; }

namespace {

// Copies at most size-1 characters and terminates; the rest stays zero.
void CopyName(char* to, std::size_t size, const char* from) {
    if (from == nullptr) return;
    std::size_t k = 0;
    for (; k + 1 < size && from[k] != '\0'; ++k) to[k] = from[k];
    to[k] = '\0';
}

// A set of the list with the same code and parameters that keeps at least
// the columns in `kept` for `count` bars, or null.
const LineSet* SameKept(const std::vector<LineSet*>& list, int code, const std::int32_t* params,
                        std::uint32_t kept, int count) {
    for (const LineSet* set : list) {
        if (set->Code != code || set->Rows != nullptr || set->KeptCount != count ||
            std::memcmp(set->Params, params, sizeof set->Params) != 0)
            continue;
        bool covers = true;
        for (int k = 0; k < kKeptColumns; ++k) covers = covers && ((kept >> k & 1u) == 0 || !set->Kept[k].empty());
        if (covers) return set;
    }
    return nullptr;
}

}  // namespace

LineSet* FindLineSet(const std::vector<LineSet*>& list, const char* name) {
    for (LineSet* set : list)
        if (set != nullptr && std::strcmp(set->Name, name) == 0) return set;
    return nullptr;
}

bool AddLineSet(std::vector<LineSet*>& list, const char* name, int code, const char* security, int market,
                const std::int32_t* params, const std::int32_t* reference, int ninth, int count, UNIKDATA* bars,
                int unit, std::uint32_t kept, const BarFields* fields) {
    if (FindLineSet(list, name) != nullptr) return false;
    auto* set = new LineSet;
    CopyName(set->Name, sizeof set->Name, name);
    CopyName(set->Security, sizeof set->Security, security);
    set->Code = code;
    set->Market = market;
    std::memcpy(set->Params, params, sizeof set->Params);
    std::memcpy(set->Reference, reference, sizeof set->Reference);
    set->Ninth = ninth;
    // Sets computed from the same fields are over the same bars: a line two
    // of them ask for is computed once and copied.
    const LineSet* same = fields != nullptr && kept != kAllColumns && count > 0
                              ? SameKept(list, code, set->Params, kept, count)
                              : nullptr;
    if (same != nullptr) {
        for (int k = 0; k < kKeptColumns; ++k)
            if (kept >> k & 1u) set->Kept[k] = same->Kept[k];
        set->KeptCount = count;
    } else if (bars != nullptr &&
               (kept == kAllColumns || !EvaluateKept(bars, count, unit, code, set->Params, kept, *set, fields))) {
        int rows = 0;
        EvaluateLine(bars, count, unit, code, set->Params, set->Security, market, set->Engine, set->Rows, rows);
        set->RowCount = rows;
    }
    list.push_back(set);
    return true;
}

bool IsWarrantCode(int market, const char* code) {
    if (code == nullptr || std::strlen(code) != 6) return false;
    if (market == 0)
        return std::strncmp(code, "038", 3) == 0 || std::strncmp(code, "0310", 4) == 0 ||
               std::strncmp(code, "0300", 4) == 0;
    if (market == 1) return std::strncmp(code, "580", 3) == 0;
    return false;
}

int PriceDecimals(int market, const char* code) {
    if (code == nullptr || std::strlen(code) != 6) return 2;
    if (IsWarrantCode(market, code)) return 3;
    if (market == 0) return code[0] == '1' && std::strchr("5678", code[1]) != nullptr ? 3 : 2;
    if (market == 1) return code[0] == '5' || code[0] == '9' ? 3 : 2;
    return 2;
}

}  // namespace fenxi
