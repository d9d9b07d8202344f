# Headers, library, CMake package and pkg-config file.

include(CMakePackageConfigHelpers)

set(mirl_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mirl)

install(DIRECTORY include/mirl DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS mirl EXPORT mirlTargets)
install(EXPORT mirlTargets NAMESPACE mirl:: DESTINATION ${mirl_package_dir})

# A shared library carries its dependencies with it.
set(MIRL_PACKAGE_REQUIRES "")
set(MIRL_PC_PRIVATE "")
set(MIRL_PC_STATIC "")
if(NOT BUILD_SHARED_LIBS)
  set(MIRL_PACKAGE_REQUIRES "${MIRL_REQUIRES}")
  set(MIRL_PC_STATIC "${MIRL_PC_LIBS}")
endif()
configure_package_config_file(cmake/mirlConfig.cmake.in mirlConfig.cmake
                              INSTALL_DESTINATION ${mirl_package_dir})
write_basic_package_version_file(mirlConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/mirlConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/mirlConfigVersion.cmake DESTINATION ${mirl_package_dir})

# Paths relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH MIRL_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/mirl.pc.in mirl.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/mirl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
