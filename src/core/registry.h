// The registry's internals: the kernels the families define, the history a
// stream keeps, the classic lines' first valid bars.
#pragma once

#include <cstdint>

#include "core/kernel.h"
#include "fenxi/series.h"

namespace fenxi::detail {

// Bars of history a stream keeps for the operation with these parameters:
// what its kernel's steps read back.
std::int64_t StreamMemory(const OperationSpec& op, const std::int32_t* p);

}  // namespace fenxi::detail

namespace fenxi::classic {
// The classic indicators' first valid bars.
enum class Classic { DMI, ADX, DMA, BRAR, CR, ASI, Mike, TRIX, EMV, Chg, Chaikin, TSF, MASS, CSI, MAW, MAE, PC };
std::int64_t ClassicFirstValid(Classic which, const std::int32_t* p, int line);
}  // namespace fenxi::classic

// The one-pass kernels the families define.
namespace fenxi::kernels {
extern const detail::Kernel MA1, MA2, MA3, MA4, MA5, MA6, MA7, MACHANEL, LIFELINE, SMA, EMA, VOL, OBV, MACD, RSI,
    ROC, MTM, CCI, HHV, LLV, WR, KDJ, SAR, BOLL, ADX, TRIX, EXPMA, VOL1, VR, BIAS, PSY, OSC, KD, DMI, MIKE, PC, CHG, MAE, DMA, BRAR, CR, ASI, EMV, TSF, MAW, CHAIKIN, MASS, CSI, WVAD, JGCMX,
    JGCMXDELTA, DHCMX, DHCMXDELTA, SHCMX, SHCMXDELTA, ZJLDXFX, SHLDXFX;
}  // namespace fenxi::kernels
