#include "platform/reentrant_lock.h"

namespace fenxi::platform {

void ReentrantLock::Enter() {
    const auto me = std::this_thread::get_id();
    std::unique_lock<std::mutex> g(guard_);
    if (depth_ != 0 && owner_ == me) {
        ++depth_;
        return;
    }
    released_.wait(g, [this] { return depth_ == 0; });
    owner_ = me;
    depth_ = 1;
}

bool ReentrantLock::TryEnter() {
    const auto me = std::this_thread::get_id();
    std::lock_guard<std::mutex> g(guard_);
    if (depth_ != 0 && owner_ != me) return false;
    owner_ = me;
    ++depth_;
    return true;
}

void ReentrantLock::Leave() {
    std::unique_lock<std::mutex> g(guard_);
    if (depth_ == 0 || owner_ != std::this_thread::get_id()) return;
    if (--depth_ != 0) return;
    owner_ = std::thread::id{};
    g.unlock();
    released_.notify_one();
}

std::uint64_t ReentrantLock::DepthHeldByMe() const {
    std::lock_guard<std::mutex> g(guard_);
    return owner_ == std::this_thread::get_id() ? depth_ : 0;
}

}  // namespace fenxi::platform
