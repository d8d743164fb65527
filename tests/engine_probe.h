// Test access to an engine's shared state.
#pragma once

#include "core/engine_state.h"

struct FenxiEngineProbe {
    static fenxi::detail::EngineState& State(CAnalysisTechniques& e) { return *e.State; }
    static fenxi::platform::ReentrantLock& Lock(CAnalysisTechniques& e) { return e.State->Buffer.Lock; }
    static void ResetProperty(CAnalysisTechniques::FENXIDATA_PROPERTY* p) { CAnalysisTechniques::ResetProperty(p); }
    static int Capacity(CAnalysisTechniques& e) { return e.State->Buffer.Capacity; }
};
