// Library entry. Nothing to register on any platform: the engine keeps no
// process-wide state that needs set-up, so load and unload only succeed.
#if defined(_WIN32) && !defined(FENXI_STATIC)
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
#endif
