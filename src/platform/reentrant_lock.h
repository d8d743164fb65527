// Re-entrant lock with the semantics of a Win32 critical section, portable.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace fenxi::platform {

// The owning thread may enter any number of times and must leave as often.
// Other threads block until the depth returns to zero. Unlike the standard
// recursive mutex, destroying the lock while the destroying thread holds it is
// allowed (an engine may be destroyed after a generator kept its lock), and a
// leave by a thread that does not hold the lock is ignored.
class ReentrantLock {
public:
    ReentrantLock() = default;
    ReentrantLock(const ReentrantLock&) = delete;
    ReentrantLock& operator=(const ReentrantLock&) = delete;

    void Enter();
    void Leave();
    bool TryEnter();

    // Depth held by the calling thread (0 when another thread or nobody holds it).
    std::uint64_t DepthHeldByMe() const;

private:
    mutable std::mutex guard_;  // held only inside Enter/Leave, never across them
    std::condition_variable released_;
    std::thread::id owner_{};
    std::uint64_t depth_ = 0;
};

}  // namespace fenxi::platform
