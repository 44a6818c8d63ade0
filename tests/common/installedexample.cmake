# What the example tests share: the flavour's suffix, a fresh WORK_DIR with the
# install prefix in it, run(), expect() and lumo_build_example(), and the
# README's snippets checked against the examples.
#   -DBUILD_DIR=<top build dir> -DSOURCE_DIR=<top source dir> -DWORK_DIR=<scratch dir>
#   [-DQT_MAJOR_VERSION=5|6]
if(NOT QT_MAJOR_VERSION)
  set(QT_MAJOR_VERSION 5)
endif()
set(suffix "")
if(QT_MAJOR_VERSION EQUAL 6)
  set(suffix -qt6)
endif()
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
include(${CMAKE_CURRENT_LIST_DIR}/readmesnippets.cmake)

# Fails unless @p out holds every further argument.
function(expect out)
  foreach(text ${ARGN})
    string(FIND "${out}" "${text}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "the output lacks \"${text}\":\n${out}")
    endif()
  endforeach()
endfunction()

# Runs a command; fails unless it succeeds, its output holds every EXPECT text
# and no REJECT text. Leaves the output in out.
function(run)
  cmake_parse_arguments(R "" "" "EXPECT;REJECT" ${ARGN})
  execute_process(COMMAND ${R_UNPARSED_ARGUMENTS} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${R_UNPARSED_ARGUMENTS}\n${out}\n${err}")
  endif()
  expect("${out}" ${R_EXPECT})
  foreach(text ${R_REJECT})
    string(FIND "${out}" "${text}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "output of ${R_UNPARSED_ARGUMENTS} holds \"${text}\":\n${out}")
    endif()
  endforeach()
  set(out "${out}" PARENT_SCOPE)
endfunction()

# Builds examples/<example> in <dir> against what is installed in the prefix,
# and checks that pkg-config finds <package> there.
find_program(CCACHE ccache)
if(CCACHE)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${CCACHE})
endif()
function(lumo_build_example example dir package)
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/${example} -B ${dir} -G Ninja
      -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release
      -DQT_MAJOR_VERSION=${QT_MAJOR_VERSION} ${launcher})
  run(${CMAKE_COMMAND} --build ${dir})
  run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig pkg-config --cflags --libs
      ${package}${suffix} EXPECT "-l${package}${suffix}" "/include/${package}")
endfunction()
