// Process-wide debug output: the destination of the concrete log sink.
#pragma once

namespace fenxi::platform {

// Hands `text` to the installed hook (and on Windows to the debugger).
void DebugOutput(const char* text);

// False when DebugOutput would drop every text (no hook, not Windows), so
// callers may skip composing them.
bool DebugOutputListened();

}  // namespace fenxi::platform
