// The lines the signal systems mount, computed into the few columns the
// systems read instead of full rows: the same arithmetic as the generators,
// a few megabytes instead of a fresh 424-byte row per bar and line.
#include <optional>

#include "core/window.h"
#include "indicators/columns.h"
#include "systems/signal_records.h"

namespace fenxi {
namespace {

// The columns each known code can keep.
std::uint32_t Keepable(int code) {
    switch (code) {
        case 134: return 1u << 5 | 1u << 6;  // averages of the highs and the lows
        case 0: return 1u << 0 | 1u << 1;    // close and its average
        case 101: return 0;                   // read by no system
        case 119: return 1u << 0 | 1u << 1;  // OBV and its average
        case 106: return 1u << 0 | 1u << 1 | 1u << 2;
        default: return kAllColumns;
    }
}

bool Wants(std::uint32_t kept, int k) { return (kept >> k & 1u) != 0; }

PooledColumn& Column(LineSet& set, int k, int count) {
    set.Kept[k].assign(static_cast<std::size_t>(count), 0.0);  // 0.0 where a fresh buffer would hold it
    return set.Kept[k];
}

}  // namespace

BarFields::BarFields(const UNIKDATA* bars, int count)
    : high(static_cast<std::size_t>(count)), low(static_cast<std::size_t>(count)), close(static_cast<std::size_t>(count)),
      volume(static_cast<std::size_t>(count)) {
    for (int i = 0; i < count; ++i) {
        high[i] = bars[i].High;
        low[i] = bars[i].Low;
        close[i] = bars[i].Close;
        volume[i] = static_cast<double>(bars[i].Volume);
    }
}

bool EvaluateKept(const UNIKDATA* bars, int count, int unit, int code, const std::int32_t* params, std::uint32_t kept,
                  LineSet& set, const BarFields* fields) {
    const std::uint32_t keepable = Keepable(code);
    if (bars == nullptr || count < 1 || keepable == kAllColumns || (kept & ~keepable) != 0) return false;
    std::optional<BarFields> own;
    if (fields == nullptr) fields = &own.emplace(bars, count);
    const BarFields& b = *fields;
    const int p = params[0];
    const double f = PriceFactor(unit);
    switch (code) {
        case 134: {  // MA channel: averages of the converted highs and lows
            if (p < 1) return false;
            PooledColumn prices(static_cast<std::size_t>(count));
            for (int k : {5, 6}) {
                if (!Wants(kept, k)) continue;
                const std::int32_t* raw = (k == 5 ? b.high : b.low).data();
                for (int i = 0; i < count; ++i) prices[i] = raw[i] * f;
                AverageInto(prices.data(), count, p, Column(set, k, count).data());
            }
            break;
        }
        case 0: {  // MA1: converted close and its average
            if (p < 1) return false;
            PooledColumn close(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i) close[i] = b.close[i] * f;
            if (Wants(kept, 1)) AverageInto(close.data(), count, p, Column(set, 1, count).data());
            if (Wants(kept, 0)) set.Kept[0] = std::move(close);
            break;
        }
        case 101:
            break;
        case 119: {  // OBV and its average from one bar after the first full window
            if (p < 1) return false;
            PooledColumn obv(static_cast<std::size_t>(count));
            DirectionalVolume(b.close.data(), b.volume.data(), count, [&](int i, double v) { obv[i] = v; });
            if (Wants(kept, 1)) TrailingAverage(obv.data(), count, p, Column(set, 1, count).data());
            if (Wants(kept, 0)) set.Kept[0] = std::move(obv);
            break;
        }
        case 106:  // BIAS: three periods, one line each
            for (int k = 0; k < 3; ++k)
                if (params[k] < 1) return false;
            for (int k = 0; k < 3; ++k)
                if (Wants(kept, k)) {
                    double* out = Column(set, k, count).data();
                    BiasValues(bars, unit, count, params[k], [&](int i, double v) { out[i] = v; }, b.close.data());
                }
            break;
    }
    set.KeptCount = count;
    return true;
}

}  // namespace fenxi
