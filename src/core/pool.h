// Large work columns kept warm per thread.
//
// The signal systems and the flat C calls build a few columns of one double
// per bar on every call and free them at its end. Through the system
// allocator, blocks that large are returned to the kernel and faulted in
// afresh (zeroed page by page) on the next call, which costs more than the
// arithmetic. Blocks released here stay with the thread, bounded, and serve
// the next call on it.
#pragma once

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace fenxi {

// At most this many blocks and bytes stay pooled per thread, the blocks
// released longest ago leaving first; smaller requests go straight to the
// system allocator.
constexpr std::size_t kPoolBlocks = 24;
constexpr std::size_t kPoolBytes = std::size_t{48} << 20;
constexpr std::size_t kPoolFrom = std::size_t{64} << 10;

void* PoolAllocate(std::size_t bytes);
void PoolRelease(void* block) noexcept;
// Bytes currently pooled by the calling thread (for tests).
std::size_t PooledBytes() noexcept;

template <class T>
struct PoolAllocator {
    using value_type = T;
    PoolAllocator() = default;
    template <class U>
    PoolAllocator(const PoolAllocator<U>&) noexcept {}
    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T) / 2) throw std::bad_array_new_length();
        return static_cast<T*>(PoolAllocate(n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t) noexcept { PoolRelease(p); }
    template <class U>
    bool operator==(const PoolAllocator<U>&) const noexcept {
        return true;
    }
};

// A column of doubles from the pool.
using PooledColumn = std::vector<double, PoolAllocator<double>>;

// Scratch of n trivial values from the pool, left uninitialised: for
// intermediates that are written before they are read, so a large call pays
// neither for zeroing nor, once warm, for faulting in pages.
template <class T>
class Scratch {
public:
    Scratch() = default;
    explicit Scratch(std::size_t n) : p_(static_cast<T*>(PoolAllocate(Bytes(n)))) {}
    Scratch(Scratch&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
    Scratch& operator=(Scratch&& o) noexcept {
        std::swap(p_, o.p_);
        return *this;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { PoolRelease(p_); }

    T* data() const { return p_; }
    T& operator[](std::size_t i) const { return p_[i]; }

private:
    static std::size_t Bytes(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T) / 2) throw std::bad_array_new_length();
        return (n > 0 ? n : 1) * sizeof(T);
    }
    T* p_ = nullptr;
};

}  // namespace fenxi
