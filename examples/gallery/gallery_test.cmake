# Runs the gallery on small photos, good ones alone and among bad ones, and looks at what it wrote.

file(REMOVE_RECURSE ${SCRATCH})
file(MAKE_DIRECTORY ${SCRATCH}/folder.jpg)

# Two photos of 24x18 and 30x14 pixels, one brighter to the right.
string(REPEAT "0 40 90  60 100 150  120 160 210  180 220 255  " 6 row)
string(REPEAT "${row}\n" 18 rows)
file(WRITE ${SCRATCH}/one.ppm "P3\n24 18\n255\n${rows}")
string(REPEAT "200 100 50  " 420 rows)
file(WRITE ${SCRATCH}/two.ppm "P3\n30 14\n255\n${rows}")
file(WRITE ${SCRATCH}/empty.png "")
file(WRITE ${SCRATCH}/text.jpg "no photo at all")

# show(<name> <exit code> <photo> ...): stdout and stderr in `out` and `err`.
function(show name expected)
  list(TRANSFORM ARGN PREPEND ${SCRATCH}/)
  execute_process(COMMAND ${GALLERY} --out ${SCRATCH}/${name} ${ARGN} RESULT_VARIABLE result
                  OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL ${expected})
    message(FATAL_ERROR "${name}: exit code ${result}, not ${expected}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
  set(err "${err}" PARENT_SCOPE)
endfunction()

# Every picture in the folder stands on the page, and nothing else does.
function(check_page name)
  file(READ ${SCRATCH}/${name}/index.html page)
  string(REGEX MATCHALL "src=\"[^\"]*" shown "${page}")
  list(TRANSFORM shown REPLACE "src=\"" "")
  list(LENGTH shown count)
  file(GLOB pictures RELATIVE ${SCRATCH}/${name} ${SCRATCH}/${name}/*_*.png)
  list(REMOVE_ITEM pictures contact_sheet.png)
  if(NOT shown STREQUAL pictures)
    message(FATAL_ERROR "${name}: the page shows ${shown}, the folder has ${pictures}")
  endif()
  if(NOT count GREATER 20)
    message(FATAL_ERROR "${name}: only ${count} pictures")
  endif()
  if(NOT EXISTS ${SCRATCH}/${name}/contact_sheet.png)
    message(FATAL_ERROR "${name}: there is no contact sheet")
  endif()
endfunction()

show(good 0 one.ppm two.ppm)
check_page(good)
if(NOT err STREQUAL "")
  message(FATAL_ERROR "good photos gave: ${err}")
endif()
# The pair is cut to the size that both have; each row ends with a time and a rate.
foreach(row "add +8U_C3, 8U_C3 -> 16U_C3 +24x14" "divide +32F_C3, 32F_C3 -> 32F_C3 +24x14"
            "loadImage +16U_C1 +(24x18|30x14)" "bitConversion +8U_C3 -> 16U_C3 +(24x18|30x14)")
  if(NOT out MATCHES "\n${row} +[0-9.]+ +[0-9]+\n")
    message(FATAL_ERROR "no row '${row}' in:\n${out}")
  endif()
endforeach()

show(bad 1 one.ppm missing.jpg folder.jpg empty.png text.jpg)
check_page(bad)
set(reasons "missing.jpg: No such file" "folder.jpg: it is a directory" "empty.png: the file is empty"
            "text.jpg: it is no image")
string(REGEX MATCHALL "[^\n]+" lines "${err}")
foreach(line reason IN ZIP_LISTS lines reasons)
  if(NOT line MATCHES "^can't read .*/${reason}")
    message(FATAL_ERROR "expected '${reason}' in:\n${err}")
  endif()
endforeach()

# What an earlier run left is gone: this one has a photo less.
show(good 0 one.ppm)
check_page(good)

show(none 1 missing.jpg)
if(NOT err MATCHES "no photo to work on")
  message(FATAL_ERROR "without photos: ${err}")
endif()
