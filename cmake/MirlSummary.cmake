# What was found, at the end of every configuration.

function(mirl_yes_no value yes no result)
  if(value)
    set(${result} "${yes}" PARENT_SCOPE)
  else()
    set(${result} "${no}" PARENT_SCOPE)
  endif()
endfunction()

list(JOIN CMAKE_CUDA_ARCHITECTURES " " mirl_archs)
mirl_yes_no("${MIRL_WITH_CUDA}" "${CMAKE_CUDA_COMPILER_VERSION} for ${mirl_archs}"
            "no, host device only (MIRL_CUDA=${MIRL_CUDA})" mirl_cuda)
if(MIRL_CUDA_SIMULATED)
  set(mirl_cuda "simulated, for tests")
endif()
mirl_yes_no("${MIRL_WITH_OPENCV}" "${OpenCV_VERSION}" "no, image files can't be read or written"
            mirl_opencv)
mirl_yes_no("${MIRL_WITH_HIGHWAY}" "${MIRL_HIGHWAY_INCLUDE}" "no, plain loops instead" mirl_highway)
mirl_yes_no("${BUILD_SHARED_LIBS}" "shared" "static" mirl_library)
mirl_yes_no("${MIRL_SANITIZE}" "${MIRL_SANITIZE}" "none" mirl_sanitize)

message(STATUS "mirl ${PROJECT_VERSION}, ${mirl_library} library, ${CMAKE_BUILD_TYPE}")
message(STATUS "  CUDA         ${mirl_cuda}")
message(STATUS "  OpenCV       ${mirl_opencv}")
message(STATUS "  Highway      ${mirl_highway}")
message(STATUS "  host code    ${MIRL_HOST_ARCH_USED}")
message(STATUS "  sanitizers   ${mirl_sanitize}")
message(STATUS "  tests ${MIRL_TESTS}, examples ${MIRL_EXAMPLES}, bench ${MIRL_BENCH}")
