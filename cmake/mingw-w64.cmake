# Cross build for Windows with Debian's MinGW-w64 (posix threads).
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake [-DFENXI_WINDOWS_ARCH=i686] ...
# x86_64 by default; i686 computes in SSE2, never on the x87 stack, so every
# double is rounded as on x86-64. The runtime libraries are linked statically:
# fenxi.dll and fenxi.exe need nothing beside them.
set(CMAKE_SYSTEM_NAME Windows)
if(NOT FENXI_WINDOWS_ARCH)
  set(FENXI_WINDOWS_ARCH x86_64)
endif()
set(CMAKE_SYSTEM_PROCESSOR ${FENXI_WINDOWS_ARCH})
set(triple ${FENXI_WINDOWS_ARCH}-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
if(FENXI_WINDOWS_ARCH STREQUAL "i686")
  set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
  set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
else()
  # Tests run under Wine (Debian's wine64 puts it in /usr/lib/wine).
  find_program(FENXI_WINE NAMES wine64 wine PATHS /usr/lib/wine)
  if(FENXI_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${FENXI_WINE})
  endif()
endif()
