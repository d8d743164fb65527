// What the flat C functions share: bar copy, period codes, line copy and
// the returned buffers.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/pool.h"
#include "fenxi/fenxi.h"

namespace fenxi::capi {

constexpr int kMaxBars = 36500;

// Replaces `out` with the caller's bars; false (out unchanged) for more than
// kMaxBars, a negative count or null bars with a positive count.
// The caller's bars, copied into memory kept warm per thread.
using BarsCopy = std::vector<UNIKDATA, PoolAllocator<UNIKDATA>>;
bool CopyBars(int count, const UNIKDATA* bars, BarsCopy& out);

struct Period {
    std::string code;
    int barLength = 1;
    bool longPeriod = false;
};
Period ConvertPeriod(const char* code, int periodCode);

// Returned buffers are unsigned char arrays from new[], so one release
// function serves line arrays and texts alike.
struct BufferDelete {
    void operator()(void* p) const { delete[] static_cast<unsigned char*>(p); }
};
using Buffer = std::unique_ptr<void, BufferDelete>;
Buffer NewBuffer(std::size_t bytes);  // zero-filled

// One LineStruct per row: FenXi[key] into Value0 (slot 0) or Value1 (slot 1),
// keys in ascending order. Null rows leave the values 0.0.
Buffer CopyLines(int count, const CAnalysisTechniques::FENXIDATA* rows, const std::map<int, int>& columns);

}  // namespace fenxi::capi
