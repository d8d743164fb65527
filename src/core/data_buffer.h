// The engine's reusable, locked row buffer.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/reentrant_lock.h"

namespace fenxi {

// Rows of T allocated zero-filled; the block only grows, keeps its rows across
// calls and is guarded by a re-entrant lock. InitialCapacity is the capacity
// of a new buffer (always 0 for the engine), LockByDefault the initial value
// of UseLock.
template <class T, int InitialCapacity, int LockByDefault>
class CDataBuffer {
public:
    CDataBuffer() = default;
    CDataBuffer(const CDataBuffer&) = delete;
    CDataBuffer& operator=(const CDataBuffer&) = delete;
    virtual ~CDataBuffer() { Free(); }

    // Rows for at least `count` entries with the lock held. A larger request
    // moves the rows to a new zeroed block of exactly `count` rows, old rows
    // copied in front. Returns null with the lock left when the block cannot
    // be had (more than INT32_MAX rows, or calloc fails).
    T* Acquire(std::int64_t count) {
        Enter();
        if (Capacity >= count) return Data;
        if (count > std::numeric_limits<std::int32_t>::max()) {
            Leave();
            return nullptr;
        }
        T* grown = static_cast<T*>(std::calloc(static_cast<std::size_t>(count), sizeof(T)));
        if (grown == nullptr) {
            Leave();
            return nullptr;
        }
        if (Data != nullptr) std::memcpy(grown, Data, static_cast<std::size_t>(Capacity) * sizeof(T));
        std::free(Data);
        Data = grown;
        Capacity = static_cast<std::int32_t>(count);
        return Data;
    }

    void Enter() {
        if (UseLock) Lock.Enter();
    }
    void Leave() {
        if (UseLock) Lock.Leave();
    }

    // Frees the rows under the lock.
    void Free() {
        Enter();
        std::free(Data);
        Data = nullptr;
        Capacity = 0;
        Leave();
    }

    std::int32_t Capacity = InitialCapacity;
    T* Data = nullptr;
    platform::ReentrantLock Lock;
    unsigned char UseLock = LockByDefault;
};

}  // namespace fenxi
