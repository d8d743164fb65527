# Installs headers, the library, a CMake package (fenxi::fenxi) and fenxi.pc.
include(CMakePackageConfigHelpers)

install(TARGETS fenxi EXPORT fenxiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/fenxi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(FENXI_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/fenxi)
install(EXPORT fenxiTargets NAMESPACE fenxi:: DESTINATION ${FENXI_CMAKE_DIR})
configure_package_config_file(cmake/fenxiConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/fenxiConfig.cmake INSTALL_DESTINATION ${FENXI_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/fenxiConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fenxiConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/fenxiConfigVersion.cmake DESTINATION ${FENXI_CMAKE_DIR})

# pkg-config: the prefix is found relative to the .pc file, so an installed
# tree can be moved.
file(RELATIVE_PATH FENXI_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
if(FENXI_BUILD_SHARED)
  set(FENXI_PC_CFLAGS "")
  set(FENXI_PC_LIBS_PRIVATE "")
else()
  set(FENXI_PC_CFLAGS "-DFENXI_STATIC")
  set(FENXI_PC_LIBS_PRIVATE "-lstdc++ -lm -lpthread")
endif()
configure_file(cmake/fenxi.pc.in ${CMAKE_CURRENT_BINARY_DIR}/fenxi.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fenxi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Windows: a zip of the installed tree (cpack -G ZIP), with the licences of
# the MinGW-w64 runtime linked statically into fenxi.dll and fenxi.exe.
if(WIN32)
  foreach(doc gcc-mingw-w64-base mingw-w64-common)
    if(EXISTS /usr/share/doc/${doc}/copyright)
      install(FILES /usr/share/doc/${doc}/copyright DESTINATION share/licences RENAME ${doc}.txt)
    endif()
  endforeach()
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_NAME fenxi)
  set(CPACK_PACKAGE_FILE_NAME fenxi-${PROJECT_VERSION}-windows-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
  include(CPack)
endif()

# The shipped formula files, for reading: the library has them built in.
install(DIRECTORY formulas/ DESTINATION ${CMAKE_INSTALL_DATADIR}/fenxi/formulas FILES_MATCHING PATTERN "*.fx")

# The licence and the notices of what is shipped with fenxi.
install(FILES LICENSE NOTICE DESTINATION ${CMAKE_INSTALL_DATADIR}/fenxi)
