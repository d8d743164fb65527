// The systems, tips and pools over checked bars: a private engine per call.
#include <cmath>

#include "fenxi/signals.h"

namespace fenxi {
namespace {

// The class API takes writable bars but only reads them.
UNIKDATA* Data(const Bars& bars) { return const_cast<UNIKDATA*>(bars.bars.data()); }
int Count(const Bars& bars) { return static_cast<int>(bars.bars.size()); }

std::vector<_SIG_TABLE> Mount(CAnalysisTechniques& engine, const Bars& bars, System system, const Security& s,
                              const SystemFlags& flags) {
    std::vector<_SIG_TABLE> signals;
    const bool shortSystem = system == System::Short;
    engine.MountAdvSys(signals, 0, false, !shortSystem, s.code.c_str(), s.market, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                       Count(bars), Data(bars), bars.unit, shortSystem, flags.drawdownExit, flags.narrowLimit,
                       flags.limitRules);
    return signals;
}

}  // namespace

SystemRun RunSystem(const Bars& bars, System system, const Security& s, const SystemFlags& flags, int tipBar) {
    CAnalysisTechniques engine;
    SystemRun run{Mount(engine, bars, system, s, flags), {}};
    const int index = tipBar == -1 ? Count(bars) - 1 : tipBar;
    TipText& tip = run.tip;
    int near = 0;
    const int given = system == System::Short
                          ? engine.GetShortTermCPXTips(s.market, s.code.c_str(), false, 0, Data(bars), bars.unit,
                                                       Count(bars), run.points, index, tip.text, tip.threshold, 0,
                                                       near, false, flags.narrowLimit)
                          : engine.GetLongTermCPXTips(s.market, s.code.c_str(), true, 0, Data(bars), bars.unit,
                                                      Count(bars), run.points, index, tip.text, tip.threshold, 0,
                                                      near, flags.drawdownExit, flags.narrowLimit);
    tip.given = given != 0;
    if (!tip.given) tip.text.clear();
    return run;
}

std::vector<TacticRecord> Tactics(const Bars& bars, Pool pool) {
    CAnalysisTechniques engine;
    std::vector<TacticRecord> out;
    if (pool == Pool::Long) {
        std::vector<_SIG_TABLE> points;
        engine.TacticsPools(points, Count(bars), Data(bars), bars.unit);
        for (const _SIG_TABLE& p : points)
            out.push_back({p.Sequence, 0, p.Kind == 0, p.BarIndex, p.Date, p.Time, p.Price / 10000, NAN, p.Link, ""});
        return out;
    }
    std::vector<CE_LUE_SIGN> signs;
    if (pool == Pool::Short)
        engine.TacticsPoolsShort(signs, Count(bars), Data(bars), bars.unit);
    else
        engine.TacticsPoolsMid(signs, Count(bars), Data(bars), bars.unit);
    for (const CE_LUE_SIGN& s : signs)
        out.push_back({s.Sequence, s.Tactic, s.Kind == 0, s.BarIndex, s.Date, s.Time, s.Price / 10000, s.Measure,
                       s.Link, s.Name});
    return out;
}

}  // namespace fenxi
