# Dependencies for a cross build (Windows through MinGW-w64): the host's
# header-only libraries are staged into the build tree, so that nothing else
# of /usr/include is seen, and GoogleTest is built from Debian's sources.
# Programs and the DLL in one directory, where Windows looks for the DLL.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

set(staged ${CMAKE_BINARY_DIR}/staged/include)
foreach(dir CLI nlohmann)
  if(EXISTS /usr/include/${dir} AND NOT EXISTS ${staged}/${dir})
    file(COPY /usr/include/${dir} DESTINATION ${staged})
  endif()
endforeach()
add_library(CLI11::CLI11 INTERFACE IMPORTED)
set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${staged})
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
set_target_properties(nlohmann_json::nlohmann_json PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${staged})

if(FENXI_BUILD_TESTS)
  set(googletest /usr/src/googletest)
  if(NOT EXISTS ${googletest}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest sources not found in ${googletest} (Debian package googletest)")
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
  add_subdirectory(${googletest} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
