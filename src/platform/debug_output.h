// Process-wide debug output: the destination of the concrete log sink.
#pragma once

namespace fenxi::platform {

// Hands `text` to the installed hook (and on Windows to the debugger).
void DebugOutput(const char* text);

}  // namespace fenxi::platform
