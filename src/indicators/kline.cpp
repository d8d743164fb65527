// Price-chart rows: plain bars, N-line break, brick and reversal charts.
#include <cstring>
#include <functional>

#include "indicators/columns.h"

using namespace fenxi;

namespace {

// A row value converted back to a raw price, truncated toward zero; values
// outside int32 (or NaN) give INT32_MIN, as the hardware conversion does.
std::int32_t ToRaw(double value, double f) {
    const double q = value / f;
    return (q >= -2147483648.0 && q < 2147483648.0) ? static_cast<std::int32_t>(q) : INT32_MIN;
}

// A stored row value truncated to an integer without converting it back
// (the brick chart's falling state). Kept within +-2^53 so brick arithmetic
// on it cannot overflow.
std::int64_t Truncate(double value) {
    constexpr double kLimit = 9007199254740992.0;
    if (!(value == value)) return 0;
    if (value > kLimit) return static_cast<std::int64_t>(kLimit);
    if (value < -kLimit) return -static_cast<std::int64_t>(kLimit);
    return static_cast<std::int64_t>(value);
}

void WriteBarRow(FENXIDATA& row, const UNIKDATA& bar, double f) {
    double* v = row.FenXi;
    CopyPrices(bar, f, v[0], v[1], v[2], v[3]);
    v[4] = bar.Date;
    v[5] = bar.Time;
    v[6] = static_cast<double>(bar.Volume);
}

void SetChartProperty(FENXIDATA_PROPERTY* p, bool reversal) {
    std::memset(p->StartPos, 0, 4 * sizeof(std::int32_t));
    static constexpr std::uint8_t kStyles[7] = {2, 1, 1, 1, 0, 0, 0};
    std::memcpy(p->LineStyle, kStyles, sizeof kStyles);
    if (reversal) p->LineStyle[0] = 10;
    p->ValueScale = 10000;
    SetFormat(p, "%.2f");
    p->Flag352 = 0;
}

// The blocks of a derived chart: rows in the engine's buffer and synthetic
// bars, growing together. Only the brick chart outgrows the bar count.
class ChartBlocks {
public:
    template <class Reacquire>
    ChartBlocks(FENXIDATA* rows, int capacity, double f, Reacquire reacquire)
        : rows_(rows), bars_(new UNIKDATA[capacity]()), capacity_(capacity), f_(f), reacquire_(reacquire) {}

    // Appends a block made by `bar`; false once the chart is full.
    bool Add(double open, double high, double low, double close, const UNIKDATA& bar, std::int64_t timeOffset,
             bool withVolume) {
        if (count_ == capacity_ && !Grow()) return false;
        double* v = rows_[count_].FenXi;
        v[0] = open;
        v[1] = high;
        v[2] = low;
        v[3] = close;
        if (withVolume) v[6] = static_cast<double>(bar.Volume);
        ++count_;
        Restamp(bar, timeOffset);
        return true;
    }

    // The newest block after a change of its prices: synthetic bar, date, time.
    void Restamp(const UNIKDATA& bar, std::int64_t timeOffset = 0) {
        const double* v = rows_[count_ - 1].FenXi;
        UNIKDATA& s = bars_[count_ - 1];
        s.Open = ToRaw(v[0], f_);
        s.High = ToRaw(v[1], f_);
        s.Low = ToRaw(v[2], f_);
        s.Close = ToRaw(v[3], f_);
        s.Date = bar.Date;
        s.Time = static_cast<std::int32_t>(bar.Time + timeOffset);
        rows_[count_ - 1].FenXi[4] = s.Date;
        rows_[count_ - 1].FenXi[5] = s.Time;
    }

    int Count() const { return count_; }
    double* Last() { return rows_[count_ - 1].FenXi; }
    FENXIDATA* Rows() const { return rows_; }
    UNIKDATA* Release() { return bars_; }

private:
    // Rows and bars for more blocks. The engine grows by 100 at a time; the
    // capacity doubles here instead, which leaves every row and bar the same
    // and keeps a long chart linear.
    bool Grow() {
        if (capacity_ >= CAnalysisTechniques::kMaxChartBlocks || rows_ == nullptr) return false;
        const int next = std::min(CAnalysisTechniques::kMaxChartBlocks, std::max(capacity_ + 100, capacity_ * 2));
        rows_ = reacquire_(next);
        if (rows_ == nullptr) return false;
        auto* grown = new UNIKDATA[next]();
        std::memcpy(grown, bars_, static_cast<std::size_t>(count_) * sizeof(UNIKDATA));
        delete[] bars_;
        bars_ = grown;
        capacity_ = next;
        return true;
    }

    FENXIDATA* rows_;
    UNIKDATA* bars_;
    int capacity_;
    int count_ = 0;
    double f_;
    std::function<FENXIDATA*(int)> reacquire_;
};

// Length of the run of blocks ending at the newest one that fall (or rise),
// at most n.
int RunLength(const FENXIDATA* rows, int count, bool falling, int n) {
    int k = 0;
    for (int j = count - 1; j >= 0 && k < n; --j, ++k) {
        const double* v = rows[j].FenXi;
        if (falling ? !(v[0] > v[3]) : !(v[3] > v[0])) break;
    }
    return k;
}

void LineBreak(const UNIKDATA* bars, int count, double f, int lines, ChartBlocks& out) {
    for (int i = 0; i < count; ++i) {
        const UNIKDATA& bar = bars[i];
        const double o = bar.Open * f, c = bar.Close * f;
        if (out.Count() == 0) {
            if (bar.Close != bar.Open) out.Add(o, std::max(o, c), std::min(o, c), c, bar, 0, true);
            continue;
        }
        const double po = out.Last()[0], pc = out.Last()[3];
        const FENXIDATA* rows = out.Rows();
        if (po > pc) {
            if (c < pc) {
                out.Add(pc, pc, c, c, bar, 0, true);
            } else {
                const int k = RunLength(rows, out.Count(), true, lines);
                if (c > rows[out.Count() - k].FenXi[0]) out.Add(po, c, po, c, bar, 0, true);
            }
        } else if (pc > po) {
            if (c > pc) {
                out.Add(pc, c, pc, c, bar, 0, true);
            } else {
                const int k = RunLength(rows, out.Count(), false, lines);
                if (rows[out.Count() - k].FenXi[0] > c) out.Add(po, po, c, c, bar, 0, true);
            }
        }
    }
}

void Bricks(const UNIKDATA* bars, int count, double f, std::int64_t box, ChartBlocks& out) {
    auto rising = [&](std::int64_t bottom, const UNIKDATA& bar, std::int64_t seq) {
        return out.Add(bottom * f, (bottom + box) * f, bottom * f, (bottom + box) * f, bar, seq, false);
    };
    auto falling = [&](std::int64_t top, const UNIKDATA& bar, std::int64_t seq) {
        return out.Add(top * f, top * f, (top - box) * f, (top - box) * f, bar, seq, false);
    };
    for (int i = 0; i < count; ++i) {
        const UNIKDATA& bar = bars[i];
        const std::int64_t rc = bar.Close;
        std::int64_t seq = 0;
        if (out.Count() == 0) {
            const std::int64_t base = bars[0].Open / 100 * 100;
            if (rc >= base + box) {
                for (std::int64_t b = base; rc >= b + box; b += box)
                    if (!rising(b, bar, out.Count())) return;
            } else if (rc <= base - box) {
                for (std::int64_t t = base; rc <= t - box; t -= box)
                    if (!falling(t, bar, out.Count())) return;
            }
            continue;
        }
        // Rising or flat: the last brick's prices converted back to raw.
        // Falling: its stored values truncated, not converted back (a unit
        // other than 10000 then builds bricks on the converted scale).
        const bool fell = out.Last()[0] > out.Last()[3];
        std::int64_t t = fell ? Truncate(out.Last()[0]) : ToRaw(out.Last()[3], f);
        for (; rc >= t + box; t += box)
            if (!rising(t, bar, seq++)) return;
        std::int64_t b = fell ? Truncate(out.Last()[3]) : ToRaw(out.Last()[0], f);
        for (; rc <= b - box; b -= box)
            if (!falling(b, bar, seq++)) return;
    }
}

void Reversal(const UNIKDATA* bars, int count, double f, std::int64_t swing, ChartBlocks& out) {
    const std::int64_t o = bars[0].Open;
    for (int i = 0; i < count; ++i) {
        const UNIKDATA& bar = bars[i];
        const std::int64_t rc = bar.Close;
        const double c = rc * f;
        if (out.Count() == 0) {
            if (rc >= o + swing)
                out.Add(o * f, c, o * f, c, bar, 0, false);
            else if (rc <= o - swing)
                out.Add(o * f, o * f, c, c, bar, 0, false);
            continue;
        }
        double* last = out.Last();
        const double po = last[0], pc = last[3];
        if (c > pc) {
            if (pc > po) {
                last[1] = last[3] = c;
                out.Restamp(bar);
            } else if (Int32Term(rc - swing) * f >= pc) {
                out.Add(pc, c, pc, c, bar, 0, false);
            }
        } else if (po > pc) {
            last[2] = last[3] = c;
            out.Restamp(bar);
        } else if (pc >= Int32Term(rc + swing) * f) {
            out.Add(pc, pc, c, c, bar, 0, false);
        }
    }
}

}  // namespace

void CAnalysisTechniques::GenerateKLINE(UNIKDATA* bars, int unit, int count, UNIKDATA*& newBars, int& newCount,
                                        FENXIDATA*& out, FENXIDATA_PROPERTY* property, ATP_KLINE* settings,
                                        const char* symbol, int) {
    out = nullptr;
    if (count < 1 || bars == nullptr || property == nullptr || settings == nullptr) return;
    const std::int32_t type = settings->ChartType;
    SetChartProperty(property, type == 5);
    property->Flag353 = 1;
    FENXIDATA* rows = out = Acquire(count);
    if (rows == nullptr) return;
    const double f = PriceFactor(unit);

    if (type >= 0 && type <= 2) {
        for (int i = 0; i < count; ++i) WriteBarRow(rows[i], bars[i], f);
        newBars = new UNIKDATA[count];
        std::memcpy(newBars, bars, static_cast<std::size_t>(count) * sizeof(UNIKDATA));
        newCount = count;
        LeaveLock();
        return;
    }
    if (type < 3 || type > 5) {
        LeaveLock();
        return;
    }
    ChartBlocks blocks(rows, count, f, [this](int capacity) {
        LeaveLock();
        return Acquire(capacity);
    });
    std::int32_t& param = settings->ChartParam;
    if (type == 3) {
        param = std::clamp(param, 3, 100);
        LineBreak(bars, count, f, param, blocks);
    } else if (type == 4) {
        param = std::clamp(param, 2000, 10000);
        Bricks(bars, count, f, param, blocks);
    } else {
        param = std::clamp(param, 2, 100);
        const bool yen = symbol != nullptr && std::strstr(symbol, "JPY") != nullptr;
        Reversal(bars, count, f, yen ? param * std::int64_t{100} : param, blocks);
    }
    newBars = blocks.Release();
    newCount = blocks.Count();
    out = blocks.Rows();
    if (out != nullptr) LeaveLock();
}

void CAnalysisTechniques::GenerateCmpKLINE(UNIKDATA* bars, int unit, FENXIDATA*& out, int count,
                                           FENXIDATA_PROPERTY* property, const char*, int) {
    out = nullptr;
    if (count < 1 || bars == nullptr || property == nullptr) return;
    SetChartProperty(property, false);
    FENXIDATA* rows = out = Acquire(count);
    if (rows == nullptr) return;
    const double f = PriceFactor(unit);
    for (int i = 0; i < count; ++i) WriteBarRow(rows[i], bars[i], f);
    LeaveLock();
}

extern "C" FENXI_API void FENXI_CALL FreeKLineBars(UNIKDATA** ppBars) {
    if (ppBars == nullptr || *ppBars == nullptr) return;
    delete[] *ppBars;
    *ppBars = nullptr;
}
