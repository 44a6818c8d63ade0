# cmake -DBUILD_DIR=<build> -P check_moc_included.cmake
# Fails when AUTOMOC compiles moc output on its own, which loads a precompiled
# header for it: the source of the class should include moc_<name>.cpp.
file(GLOB_RECURSE files ${BUILD_DIR}/mocs_compilation.cpp)
# bench_footprint --build-time --keep-build leaves a build of its own inside.
list(FILTER files EXCLUDE REGEX "/footprint-clean-build/")
set(left)
foreach(file ${files})
  file(STRINGS ${file} includes REGEX "^#include")
  foreach(line ${includes})
    string(REGEX REPLACE ".*/moc_(.*)\\.cpp\"$" "\\1.h" header "${line}")
    list(APPEND left ${header})
  endforeach()
endforeach()
if(NOT files)
  message(FATAL_ERROR "no AUTOMOC output under ${BUILD_DIR}")
endif()
if(left)
  list(REMOVE_DUPLICATES left)
  message(FATAL_ERROR "moc output compiled on its own (include moc_<name>.cpp in the "
    "class's source): ${left}")
endif()
