// The per-thread block pool.
#include "core/pool.h"

#include <cstdint>
#include <cstdlib>

namespace fenxi {
namespace {

// Each block starts with a header holding its capacity; the caller's memory
// follows at a 64-byte boundary.
constexpr std::size_t kHeader = 64;

struct Pool {
    std::vector<void*> blocks;  // headers of free blocks, oldest release first
    std::size_t bytes = 0;
    Pool() { blocks.reserve(kPoolBlocks); }
    ~Pool();
};

// Trivially destructible, so still readable while other thread-local
// objects are destroyed after the pool (blocks released then are freed).
thread_local Pool* current = nullptr;
thread_local bool finished = false;

std::size_t& Capacity(void* header) { return *static_cast<std::size_t*>(header); }

// The malloc'd address the header was carved from, kept after the capacity
// (aligned_alloc is not in every C library).
void*& Raw(void* header) { return static_cast<void**>(header)[1]; }
void Free(void* header) { std::free(Raw(header)); }

Pool::~Pool() {
    for (void* header : blocks) Free(header);
    finished = true;
    current = nullptr;
}

Pool* ThisThread() {
    if (finished) return nullptr;
    if (current == nullptr) {
        static thread_local Pool pool;
        current = &pool;
    }
    return current;
}

}  // namespace

void* PoolAllocate(std::size_t bytes) {
    Pool* pool = bytes >= kPoolFrom ? ThisThread() : nullptr;
    if (pool != nullptr) {
        // The smallest free block that fits without wasting more than half.
        std::size_t best = pool->blocks.size();
        for (std::size_t k = 0; k < pool->blocks.size(); ++k) {
            const std::size_t c = Capacity(pool->blocks[k]);
            if (c >= bytes && c / 2 <= bytes && (best == pool->blocks.size() || c < Capacity(pool->blocks[best])))
                best = k;
        }
        if (best != pool->blocks.size()) {
            void* header = pool->blocks[best];
            pool->blocks.erase(pool->blocks.begin() + static_cast<std::ptrdiff_t>(best));
            pool->bytes -= Capacity(header);
            return static_cast<char*>(header) + kHeader;
        }
    }
    if (bytes > static_cast<std::size_t>(-1) - 2 * kHeader) throw std::bad_alloc();
    void* raw = std::malloc(bytes + 2 * kHeader);
    if (raw == nullptr) throw std::bad_alloc();
    // The block at the first 64-byte boundary at least a header past raw.
    const auto at = (reinterpret_cast<std::uintptr_t>(raw) + 2 * kHeader - 1) / kHeader * kHeader;
    void* header = reinterpret_cast<void*>(at - kHeader);
    Capacity(header) = bytes;
    Raw(header) = raw;
    return static_cast<char*>(header) + kHeader;
}

void PoolRelease(void* block) noexcept {
    if (block == nullptr) return;
    void* header = static_cast<char*>(block) - kHeader;
    const std::size_t c = Capacity(header);
    Pool* pool = c >= kPoolFrom && c <= kPoolBytes ? ThisThread() : nullptr;
    if (pool != nullptr) {
        // The blocks released longest ago make room: a thread that moves to
        // longer series keeps the blocks it now uses, not those of before.
        std::size_t evict = 0, bytes = pool->bytes;
        while (pool->blocks.size() - evict >= kPoolBlocks || bytes + c > kPoolBytes)
            bytes -= Capacity(pool->blocks[evict++]);
        for (std::size_t k = 0; k < evict; ++k) Free(pool->blocks[k]);
        pool->blocks.erase(pool->blocks.begin(), pool->blocks.begin() + static_cast<std::ptrdiff_t>(evict));
        pool->blocks.push_back(header);  // within the reserved capacity: no allocation
        pool->bytes = bytes + c;
        return;
    }
    Free(header);
}

std::size_t PooledBytes() noexcept {
    const Pool* pool = finished ? nullptr : current;
    return pool != nullptr ? pool->bytes : 0;
}

}  // namespace fenxi
