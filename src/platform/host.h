// What the tool and the tests ask of the operating system, one function per
// question, so that the Windows and POSIX calls stay in one file.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>

namespace fenxi::platform {

// Whether standard error is a terminal (progress lines are drawn there).
bool StderrIsTerminal();
// Seconds since 1970 of a broken-down UTC time.
std::int64_t UtcSeconds(std::tm t);
// The running program's own path, empty when the system does not say.
std::filesystem::path ExecutablePath();
// The calling process's id.
long ProcessId();
// The exit status of a command from what std::system returned.
int ExitStatus(int systemResult);

}  // namespace fenxi::platform
