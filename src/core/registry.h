// How each registry entry runs as a stream (see fenxi/series.h).
#pragma once

#include <cstdint>

#include "core/kernel.h"
#include "fenxi/series.h"

namespace fenxi::detail {

// Computes the line columns of row i from bars[0..i] and rows[0..i-1]
// exactly as the row generator does; running state that the row form does
// not keep goes into rows[i].Reserved. n is the number of bars held.
using StepFn = void (*)(const UNIKDATA* bars, int unit, Row* rows, int n, int i, const std::int32_t* p);

// How a stream computes each new row over its trailing history of bars and
// rows, for operations whose kernel has no per-bar form.
struct StreamForm {
    enum Kind {
        Stepped,  // `step`
        Updated,  // the class API's updater, which equals its generator
    } kind;
    StepFn step;
    // Bars of history that one value reads; null for the default bound
    // (twice the sum of the parameters, plus a margin).
    std::int64_t (*memory)(const std::int32_t* p);
};

constexpr StreamForm kUpdated{StreamForm::Updated, nullptr, nullptr};

// Bars of history a stream keeps for the operation with these parameters.
std::int64_t StreamMemory(const OperationSpec& op, const std::int32_t* p);

}  // namespace fenxi::detail

namespace fenxi::steps {
// The classic indicators: their row functions and first valid bars.
enum class Classic { DMI, ADX, DMA, BRAR, CR, ASI, Mike, TRIX, EMV, Chg, Chaikin, TSF, MASS, CSI, MAW, MAE, PC };
const detail::StreamForm* ClassicStream(Classic which);
std::int64_t ClassicFirstValid(Classic which, const std::int32_t* p, int line);
}  // namespace fenxi::steps

// The one-pass kernels the families define.
namespace fenxi::kernels {
extern const detail::Kernel MA1, MA2, MA3, MA4, MA5, MA6, MA7, MACHANEL, LIFELINE, SMA, EMA, VOL, OBV, MACD, RSI,
    ROC, MTM, CCI, HHV, LLV, WR, KDJ, SAR, BOLL, ADX, TRIX, EXPMA, VOL1, VR, BIAS, PSY, OSC, KD, DMI, MIKE, PC, CHG, MAE, DMA, BRAR, CR, ASI, EMV, TSF, MAW, CHAIKIN, MASS, CSI, WVAD, JGCMX,
    JGCMXDELTA, DHCMX, DHCMXDELTA, SHCMX, SHCMXDELTA, ZJLDXFX, SHLDXFX;
}  // namespace fenxi::kernels
