// Records of the signal systems: line definitions, named line sets, the
// mounted system, and the helpers that read security codes.
#pragma once

#include <cstdint>
#include <vector>

#include "core/pool.h"
#include "fenxi/fenxi.h"

namespace fenxi {

// A line the system mounts: name, indicator code, parameters (108 bytes).
struct LineDefinition {
    char Name[64];
    std::int32_t Code;
    std::int32_t Params[10];
};
static_assert(sizeof(LineDefinition) == 108, "LineDefinition is 108 bytes");

// Columns a line set can keep without rows.
constexpr int kKeptColumns = 8;
// A mask of kept columns that asks for full rows instead.
constexpr std::uint32_t kAllColumns = ~0u;

// One indicator computed over all bars on a private engine of its own.
struct LineSet {
    char Name[64] = {};
    std::int32_t Code = 0;
    char Security[16] = {};
    std::int32_t Market = 0;
    std::int32_t Params[10] = {};
    std::int32_t Reference[6] = {};  // the system's second to seventh integers
    std::int32_t Constant200000 = 200000;
    std::int32_t Ninth = 0;
    std::int32_t Constant195959 = 195959;
    std::int32_t Zero[2] = {};
    CAnalysisTechniques::FENXIDATA* Rows = nullptr;
    std::int32_t RowCount = 0;
    CAnalysisTechniques Engine;
    // A line set the systems mount keeps only the values they read, without
    // rows: Kept[k] holds FenXi[k] of bars 0..KeptCount-1, or is empty.
    PooledColumn Kept[kKeptColumns];
    std::int32_t KeptCount = 0;

    // Value k of bar j; callers check Covers first, and read kept columns only.
    double At(int j, int k) const { return Rows != nullptr ? Rows[j].FenXi[k] : Kept[k][j]; }
    // True when values for bars 0..n-1 exist.
    bool Covers(int n) const { return Rows != nullptr ? RowCount >= n : KeptCount > 0 && KeptCount >= n; }
};

// The system mounted on an engine by MountAdvSys.
struct MountedSystem {
    bool LongTerm = false;
    char Code[32] = {};
    std::int32_t Market = 0;
    std::int32_t Third = 0;
    std::int32_t NextBar = 0;
    std::int32_t Position = 0;      // 0 flat, 1 a D point is open
    std::int32_t LastSequence = 0;
    std::int32_t Reserved = 0;
    bool Mounted = true;
    std::vector<LineDefinition> Definitions;
    std::vector<LineSet*> LineSets;

    MountedSystem() = default;
    MountedSystem(const MountedSystem&) = delete;
    MountedSystem& operator=(const MountedSystem&) = delete;
    ~MountedSystem();
};

// The bar fields the kept lines read, copied out of the 48-byte records in
// one pass: each line then passes over contiguous columns, and a mount of
// several lines reads the records once.
struct BarFields {
    BarFields(const UNIKDATA* bars, int count);
    Scratch<std::int32_t> high, low, close;
    Scratch<double> volume;  // converted as unsigned
};

// Adds a line set named `name` unless one of that name exists (then false).
// With bars it is evaluated at once: through the dispatcher into full rows,
// or, when `kept` names columns and the code is one EvaluateKept knows, into
// those columns alone. `fields`, when given, holds the fields of these bars,
// and every set of the list that keeps columns was computed from them: a
// set with the same code and parameters that keeps the columns asked for
// is copied instead of computed again.
bool AddLineSet(std::vector<LineSet*>& list, const char* name, int code, const char* security, int market,
                const std::int32_t* params, const std::int32_t* reference, int ninth, int count, UNIKDATA* bars,
                int unit, std::uint32_t kept = kAllColumns, const BarFields* fields = nullptr);

// Computes the columns in mask `kept` (bit k: FenXi[k]) of the line with
// indicator `code` into set.Kept, with the generator's arithmetic bit for
// bit and no rows. Knows the MA channel (134: columns 5, 6), MA1 (0: 0, 1),
// VOL (101: none) and OBV (119: 0, 1) and BIAS (106: 0, 1, 2) with positive
// periods; false (nothing computed) for anything else. `fields`, when
// given, holds the fields of the same bars.
bool EvaluateKept(const UNIKDATA* bars, int count, int unit, int code, const std::int32_t* params, std::uint32_t kept,
                  LineSet& set, const BarFields* fields = nullptr);
// The first line set named `name`, or null.
LineSet* FindLineSet(const std::vector<LineSet*>& list, const char* name);

// Warrant codes: six characters, market 0 starting 038, 0310 or 0300,
// market 1 starting 580.
bool IsWarrantCode(int market, const char* code);
// Price decimals of a security: 2 or 3.
int PriceDecimals(int market, const char* code);

// Runs the generator of indicator `code` over the bars on `engine`; false
// for an unknown code. `rowCount` is the bar count, or the chart's block
// count for code 100.
bool EvaluateLine(UNIKDATA* bars, int count, int unit, int code, const std::int32_t* params, const char* security,
                  int market, CAnalysisTechniques& engine, CAnalysisTechniques::FENXIDATA*& rows, int& rowCount);

}  // namespace fenxi
