# Installs the library to a scratch prefix, static and shared, and builds the README's program against
# either outside the tree, by find_package and by pkg-config.

set(program ${SOURCE}/examples/01_add.cpp)
set(consumer ${SOURCE}/tests/install/consumer)
set(expected "200 \\+ 100 = 300")

# run(<command> ...): its output in `output`; a failure ends the test.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " line)
    message(FATAL_ERROR "${line}\nended with ${result}:\n${text}")
  endif()
  set(output "${text}" PARENT_SCOPE)
endfunction()

function(expect_sum how)
  if(NOT output MATCHES "${expected}")
    message(FATAL_ERROR "the program built ${how} printed:\n${output}")
  endif()
endfunction()

# Builds and runs the program against an installed library.
function(consume kind prefix)
  set(work ${SCRATCH}/consumer-${kind})
  file(REMOVE_RECURSE ${work})
  file(COPY ${consumer}/CMakeLists.txt DESTINATION ${work})
  configure_file(${program} ${work}/main.cpp COPYONLY)
  run(${CMAKE_COMMAND} -S ${work} -B ${work}/build -G ${GENERATOR} -D CMAKE_PREFIX_PATH=${prefix}
      -D CMAKE_CXX_COMPILER=${CXX})
  run(${CMAKE_COMMAND} --build ${work}/build)
  run(${work}/build/first)
  expect_sum("by find_package, ${kind}")

  find_program(PKG_CONFIG pkg-config)
  if(NOT PKG_CONFIG)
    message(STATUS "there is no pkg-config, so mirl.pc wasn't tried")
    return()
  endif()
  file(GLOB_RECURSE package ${prefix}/mirl.pc)
  get_filename_component(folder ${package} DIRECTORY)
  run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${folder} ${PKG_CONFIG} --cflags --libs mirl)
  string(STRIP "${output}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${CXX} -std=c++17 ${work}/main.cpp ${flags} -o ${work}/by-pkg-config)
  run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${folder}/.. ${work}/by-pkg-config)
  expect_sum("by pkg-config, ${kind}")
endfunction()

# Each public header stands alone, in C++17, with no path but the library's own.
function(check_headers prefix)
  file(GLOB headers RELATIVE ${prefix}/include ${prefix}/include/mirl/*.h)
  set(sources "")
  foreach(header IN LISTS headers)
    string(REPLACE "/" "_" name ${header})
    file(WRITE ${SCRATCH}/headers/${name}.cpp "#include <${header}>\n#include <${header}>\n")
    list(APPEND sources ${SCRATCH}/headers/${name}.cpp)
  endforeach()
  list(LENGTH sources count)
  if(count LESS 10)
    message(FATAL_ERROR "only ${count} headers were installed: ${headers}")
  endif()
  run(${CXX} -std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Werror
      -I${prefix}/include ${sources})
endfunction()

# The README shows a file word for word.
function(check_readme language file)
  file(READ ${SOURCE}/README.md readme)
  file(READ ${file} text)
  string(FIND "${readme}" "```${language}\n${text}```" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "README.md doesn't show ${file} as it is: paste the file's text there")
  endif()
endfunction()

check_readme(cpp ${program})
check_readme(cmake ${consumer}/CMakeLists.txt)

file(REMOVE_RECURSE ${SCRATCH}/${BUILT} ${SCRATCH}/${OTHER})

run(${CMAKE_COMMAND} --install ${BUILD} --component mirl --prefix ${SCRATCH}/${BUILT})
check_headers(${SCRATCH}/${BUILT})
consume(${BUILT} ${SCRATCH}/${BUILT})
run(${CMAKE_COMMAND} --install ${BUILD} --component mirl_${OTHER} --prefix ${SCRATCH}/${OTHER})
consume(${OTHER} ${SCRATCH}/${OTHER})
