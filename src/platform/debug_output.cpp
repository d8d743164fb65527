#include "platform/debug_output.h"

#include <atomic>

#include "fenxi/fenxi_c.h"

#if defined(_WIN32)
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>
#endif

namespace {
std::atomic<FENXI_DEBUG_OUTPUT_HOOK> g_hook{nullptr};
}

namespace fenxi::platform {

void DebugOutput(const char* text) {
#if defined(_WIN32)
    OutputDebugStringA(text);
#endif
    if (FENXI_DEBUG_OUTPUT_HOOK hook = g_hook.load(std::memory_order_acquire)) hook(text);
}

bool DebugOutputListened() {
#if defined(_WIN32)
    return true;
#else
    return g_hook.load(std::memory_order_acquire) != nullptr;
#endif
}

}  // namespace fenxi::platform

extern "C" FENXI_API FENXI_DEBUG_OUTPUT_HOOK FENXI_CALL SetDebugOutputHook(FENXI_DEBUG_OUTPUT_HOOK hook) {
    return g_hook.exchange(hook, std::memory_order_acq_rel);
}
