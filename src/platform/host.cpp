#include "platform/host.h"

#if defined(_WIN32)
#  define WIN32_LEAN_AND_MEAN
#  include <io.h>
#  include <process.h>
#  include <windows.h>
#else
#  include <sys/wait.h>
#  include <unistd.h>
#endif

#include <string>

namespace fenxi::platform {

bool StderrIsTerminal() {
#if defined(_WIN32)
    return _isatty(2) != 0;
#else
    return isatty(2) != 0;
#endif
}

std::int64_t UtcSeconds(std::tm t) {
#if defined(_WIN32)
    return static_cast<std::int64_t>(_mkgmtime(&t));
#else
    return static_cast<std::int64_t>(timegm(&t));
#endif
}

std::filesystem::path ExecutablePath() {
#if defined(_WIN32)
    std::wstring path(32768, L'\0');
    const DWORD n = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0 || n >= path.size()) return {};
    path.resize(n);
    return std::filesystem::path(path);
#else
    std::error_code ec;
    std::filesystem::path p = std::filesystem::canonical("/proc/self/exe", ec);
    return ec ? std::filesystem::path() : p;
#endif
}

long ProcessId() {
#if defined(_WIN32)
    return static_cast<long>(_getpid());
#else
    return static_cast<long>(getpid());
#endif
}

int ExitStatus(int systemResult) {
#if defined(_WIN32)
    return systemResult;
#else
    return WIFEXITED(systemResult) ? WEXITSTATUS(systemResult) : -1;
#endif
}

}  // namespace fenxi::platform
