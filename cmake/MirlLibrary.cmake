# How the library is made of its objects and installed. Functions, because the tests make it twice,
# as a static and as a shared library.

include(CMakePackageConfigHelpers)

# mirl_add_library(<target> STATIC|SHARED)
function(mirl_add_library target kind)
  add_library(${target} ${kind} $<TARGET_OBJECTS:mirl_objects>)
  target_include_directories(
    ${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                     $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:mirl_dependencies>
                                          ${MIRL_PRIVATE_LIBRARIES})
  # Only what shares these two numbers is compatible, as for the package's version file.
  set(soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION}
                                             SOVERSION ${soversion}
                                             EXPORT_NAME mirl
                                             OUTPUT_NAME mirl
                                             LINKER_LANGUAGE CXX)
endfunction()

# mirl_install(<target> <component> [EXCLUDE_FROM_ALL]): headers, library, CMake package and
# pkg-config file.
function(mirl_install target component)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mirl)
  set(made_in ${CMAKE_CURRENT_BINARY_DIR}/${target}-package)
  set(options COMPONENT ${component} ${ARGN})

  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/mirl DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
          ${options})
  install(TARGETS ${target} EXPORT ${target}Targets ${options})
  install(EXPORT ${target}Targets FILE mirlTargets.cmake NAMESPACE mirl::
          DESTINATION ${package_dir} ${options})

  # A shared library carries its dependencies with it.
  set(MIRL_PACKAGE_REQUIRES "")
  set(MIRL_PC_STATIC_REQUIRES "")
  set(MIRL_PC_STATIC_LIBS "")
  get_target_property(type ${target} TYPE)
  if(type STREQUAL STATIC_LIBRARY)
    set(MIRL_PACKAGE_REQUIRES "${MIRL_REQUIRES}")
    string(STRIP "${MIRL_PC_REQUIRES}" MIRL_PC_STATIC_REQUIRES)
    string(STRIP "${MIRL_PC_LIBS}" MIRL_PC_STATIC_LIBS)
  endif()
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/mirlConfig.cmake.in
                                ${made_in}/mirlConfig.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${made_in}/mirlConfigVersion.cmake
                                   COMPATIBILITY SameMinorVersion)
  install(FILES ${made_in}/mirlConfig.cmake ${made_in}/mirlConfigVersion.cmake
          DESTINATION ${package_dir} ${options})

  # Paths relative to the file itself, so that an installed tree can be moved.
  file(RELATIVE_PATH MIRL_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/mirl.pc.in ${made_in}/mirl.pc @ONLY)
  install(FILES ${made_in}/mirl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig ${options})
endfunction()
