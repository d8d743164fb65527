// Engine object: construction, copies sharing one state, the row buffer.
#include <cstring>

#include "core/engine_state.h"
#include "fenxi/fenxi.h"

using fenxi::detail::EngineState;

CAnalysisTechniques::CAnalysisTechniques() : Log(nullptr), State(new EngineState) {}

CAnalysisTechniques::CAnalysisTechniques(const CAnalysisTechniques& other) : Log(other.Log), State(nullptr) {
    Share(other.State);
}

CAnalysisTechniques& CAnalysisTechniques::operator=(const CAnalysisTechniques& other) {
    Log = other.Log;
    if (State != other.State) {
        EngineState* keep = other.State;
        Unshare();
        Share(keep);
    }
    return *this;
}

CAnalysisTechniques::~CAnalysisTechniques() { Unshare(); }

void CAnalysisTechniques::Share(EngineState* state) {
    state->Owners.fetch_add(1, std::memory_order_relaxed);
    State = state;
}

void CAnalysisTechniques::Unshare() {
    EngineState* state = State;
    State = nullptr;
    if (state == nullptr || state->Owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    fenxi::ReleaseMountedSystem(state->Mounted);
    state->Mounted = nullptr;
    delete state;  // frees the rows under the lock, then destroys the lock
}

void CAnalysisTechniques::ClearTechData() {
    fenxi::MountedSystem* mounted = State->Mounted;
    State->Mounted = nullptr;
    fenxi::ReleaseMountedSystem(mounted);
}

CAnalysisTechniques::FENXIDATA* CAnalysisTechniques::Acquire(std::int64_t count) {
    return State->Buffer.Acquire(count);
}

CAnalysisTechniques::FENXIDATA* CAnalysisTechniques::AcquireReset(FENXIDATA*& out, std::int64_t count,
                                                                  FENXIDATA_PROPERTY* property) {
    out = Acquire(count);
    if (out != nullptr) ResetProperty(property);
    return out;
}

void CAnalysisTechniques::LeaveLock() { State->Buffer.Leave(); }

bool CAnalysisTechniques::CanUpdate(const UNIKDATA* bars, const FENXIDATA* rows, int n) const {
    if (n < 1 || bars == nullptr || rows == nullptr) return false;
    return rows != State->Buffer.Data || n <= State->Buffer.Capacity;
}

void CAnalysisTechniques::ResetProperty(FENXIDATA_PROPERTY* property) {
    property->Flag355 = 0;
    std::memset(property->StartPos, 0, sizeof property->StartPos);
    std::memset(property->LineStyle, 0, sizeof property->LineStyle);
    property->Flag356 = 1;
}

void CAnalysisTechniques::GenerateBuffer(UNIKDATA*, int, FENXIDATA*& out, int n) {
    if (n <= 0) return;
    out = Acquire(n);
    if (out == nullptr) return;
    std::memset(out, 0, static_cast<std::size_t>(n) * sizeof(FENXIDATA));
    LeaveLock();
}
