// fenxi: the signal systems, tips and tactics pools over bars in the
// engine's form (fenxi/series.h), for callers that want their results
// rather than the class API's mounted state.
#ifndef FENXI_SIGNALS_H
#define FENXI_SIGNALS_H

#include <string>
#include <vector>

#include "fenxi/series.h"

namespace fenxi {

enum class System { Long, Short };

struct Security {
    std::string code;  // six-digit code; it sets the price decimals of the tips
    int market = 0;    // 0 Shenzhen, 1 Shanghai
};

struct SystemFlags {
    bool narrowLimit = false;   // narrow price-limit constants
    bool limitRules = false;    // the limit-price entry rule (long-term)
    bool drawdownExit = false;  // the 9 % drawdown exit (long-term, with limitRules)
};

struct TipText {
    bool given = false;   // false: the system gives no tip for that bar
    std::string text;     // the Chinese tip, UTF-8
    double threshold = 0; // the close that would make the next point
};

struct SystemRun {
    std::vector<_SIG_TABLE> points;  // the D and K points over all bars
    TipText tip;                     // for bar `tipBar`
};

// A system over all bars, and its tip for one bar (-1: the last; another bar
// outside the bars gives no tip).
FENXI_API SystemRun RunSystem(const Bars& bars, System system, const Security& security,
                              const SystemFlags& flags = {}, int tipBar = -1);

enum class Pool { Short, Mid, Long };

struct TacticRecord {
    int sequence = 0;
    int tactic = 0;        // 1, 2 entries; 11, 12, 13 exits; 0 in the long pool's points
    bool entry = false;
    int bar = 0;
    std::int32_t date = 0, time = 0;
    double price = 0;      // the bar's close, in price units
    double measure = 0;    // the figure that fired the rule; NaN in the long pool
    int link = -1;         // an exit's entry
    std::string name;      // the tactic's name, UTF-8; empty in the long pool
};

// The records of a tactics pool over all bars.
FENXI_API std::vector<TacticRecord> Tactics(const Bars& bars, Pool pool);

}  // namespace fenxi

#endif  // FENXI_SIGNALS_H
