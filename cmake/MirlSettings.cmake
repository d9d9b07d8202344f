# How everything is compiled: language, numbers, warnings, instruction set.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# The highest x86-64 level that the processor has. Not `native`: its extras change nothing here, and
# Highway 1.0.3 doesn't compile with all of them.
function(mirl_pick_host_arch result)
  set(picked "")
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64" AND EXISTS /proc/cpuinfo)
    file(STRINGS /proc/cpuinfo flags REGEX "^flags" LIMIT_COUNT 1)
    set(picked x86-64)
    if(flags MATCHES " sse4_2")
      set(picked x86-64-v2)
    endif()
    if(flags MATCHES " avx2" AND flags MATCHES " fma" AND flags MATCHES " bmi2")
      set(picked x86-64-v3)
      if(flags MATCHES " avx512f" AND flags MATCHES " avx512bw" AND flags MATCHES " avx512cd"
         AND flags MATCHES " avx512dq" AND flags MATCHES " avx512vl")
        set(picked x86-64-v4)
      endif()
    endif()
  endif()
  set(${result} "${picked}" PARENT_SCOPE)
endfunction()

if(MIRL_HOST_ARCH)
  set(MIRL_HOST_ARCH_USED ${MIRL_HOST_ARCH})
else()
  mirl_pick_host_arch(MIRL_HOST_ARCH_USED)
endif()

set(mirl_host_options -ffp-contract=off -fno-math-errno)
if(MIRL_HOST_ARCH_USED)
  list(APPEND mirl_host_options -march=${MIRL_HOST_ARCH_USED})
  if(MIRL_HIGHWAY AND MIRL_HOST_ARCH_USED MATCHES "^x86-64-v[234]$")
    # Without these Highway falls back to vectors of four lanes.
    list(APPEND mirl_host_options -maes -mpclmul)
  endif()
endif()

set(mirl_warnings -Wall -Wextra)
if(MIRL_WERROR)
  list(APPEND mirl_warnings -Werror)
endif()
set(mirl_sanitizers "")
if(MIRL_SANITIZE)
  set(mirl_sanitizers -fsanitize=${MIRL_SANITIZE} -fno-omit-frame-pointer)
  if(MIRL_SANITIZE MATCHES "undefined|alignment")
    list(APPEND mirl_sanitizers -fno-sanitize-recover=all)
  endif()
endif()

add_library(mirl_settings INTERFACE)
target_link_options(mirl_settings INTERFACE ${mirl_sanitizers})
# Host code goes through the CUDA compiler too, which hands these on.
foreach(option IN LISTS mirl_host_options mirl_warnings mirl_sanitizers)
  target_compile_options(
    mirl_settings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:${option}>
                            $<$<COMPILE_LANGUAGE:CUDA>:-Xcompiler=${option}>)
endforeach()
target_compile_options(
  mirl_settings
  INTERFACE
    # The CUDA compiler writes host code that this would complain of.
    $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
    # A switch that a header forgets to bring would count as off.
    $<$<COMPILE_LANGUAGE:CXX>:-Wundef>
    # Clang counts signs among the conversions, and wants vectors wherever MIRL_IVDEP allows them.
    $<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wno-sign-conversion;-Wno-pass-failed>
    # A fused multiply-add is written where one is meant.
    $<$<COMPILE_LANGUAGE:CUDA>:-fmad=false>)
if(MIRL_WERROR)
  target_compile_options(mirl_settings INTERFACE $<$<COMPILE_LANGUAGE:CUDA>:-Werror=all-warnings>)
endif()
