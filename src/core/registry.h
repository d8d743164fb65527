// How each registry entry runs as a stream (see fenxi/series.h).
#pragma once

#include <cstdint>

#include "fenxi/series.h"

namespace fenxi::detail {

// Computes the line columns of row i from bars[0..i] and rows[0..i-1]
// exactly as the row generator does; running state that the row form does
// not keep goes into rows[i].Reserved. n is the number of bars held.
using StepFn = void (*)(const UNIKDATA* bars, int unit, Row* rows, int n, int i, const std::int32_t* p);

struct StreamForm {
    enum Kind {
        Stepped,   // one step per bar over a trailing history of bars and rows
        Windowed,  // the row generator rerun over the trailing window
        Whole,     // the row generator rerun over every bar held
    } kind;
    StepFn step;
    // Bars of history that one value reads; null for the default bound
    // (twice the sum of the parameters, plus a margin).
    std::int64_t (*memory)(const std::int32_t* p);
};

constexpr StreamForm kWindowed{StreamForm::Windowed, nullptr, nullptr};
constexpr StreamForm kWhole{StreamForm::Whole, nullptr, nullptr};

// Bars of history a stream keeps for the operation with these parameters.
std::int64_t StreamMemory(const OperationSpec& op, const std::int32_t* p);

}  // namespace fenxi::detail

// The stepped forms the indicator families define.
namespace fenxi::steps {
extern const detail::StreamForm MA1, MA2, MA3, MA4, MA5, MA6, MA7, MACHANEL, LIFELINE, SMA, EMA, EXPMA, SAR, VOL1, VOL,
    MACD, RSI, KDJ, KD, OBV, ZJLDXFX, SHLDXFX;
// The classic indicators: their row functions and first valid bars.
enum class Classic { DMI, ADX, DMA, BRAR, CR, ASI, Mike, TRIX, EMV, Chg, Chaikin, TSF, MASS, CSI, MAW, MAE, PC };
const detail::StreamForm* ClassicStream(Classic which);
std::int64_t ClassicFirstValid(Classic which, const std::int32_t* p, int line);
}  // namespace fenxi::steps
