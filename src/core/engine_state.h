// State shared by an engine and its copies.
#pragma once

#include <atomic>

#include "core/data_buffer.h"
#include "fenxi/fenxi.h"

namespace fenxi {

struct MountedSystem;
// Releases a mounted system (null allowed).
void ReleaseMountedSystem(MountedSystem* system);

namespace detail {

struct EngineState {
    CDataBuffer<CAnalysisTechniques::FENXIDATA, 0, 1> Buffer;
    MountedSystem* Mounted = nullptr;
    std::atomic<int> Owners{1};
};

}  // namespace detail
}  // namespace fenxi
