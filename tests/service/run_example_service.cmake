# Installs the build into a private prefix, builds examples/service and
# examples/host against the installed packages, proves the service with
# lumo-conform (every case passes; the notifications group has no push
# command and skips its first case) and runs the host against it
# (run_example_service.sh). Also: pkg-config finds the SDK, and the README's
# service snippet is the example's own code.
#   -DBUILD_DIR=<top build dir> -DSOURCE_DIR=<top source dir> -DWORK_DIR=<scratch dir>
#   -DCONFORM=<lumo-conform> [-DQT_MAJOR_VERSION=5|6]
if(NOT QT_MAJOR_VERSION)
  set(QT_MAJOR_VERSION 5)
endif()
set(suffix "")
if(QT_MAJOR_VERSION EQUAL 6)
  set(suffix -qt6)
endif()
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

# The README's service snippet is the example's own code.
include(${CMAKE_CURRENT_LIST_DIR}/../common/readmesnippets.cmake)
lumo_readme_snippets(${SOURCE_DIR} examples/service/main.cpp examples/host/main.cpp)

foreach(component lumoipc lumoservice)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component ${component})
endforeach()
find_program(CCACHE ccache)
if(CCACHE)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${CCACHE})
endif()
foreach(example service host)
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/${example} -B ${WORK_DIR}/${example} -G Ninja
      -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release
      -DQT_MAJOR_VERSION=${QT_MAJOR_VERSION} ${launcher})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/${example})
endforeach()
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig pkg-config --cflags --libs
    lumoservice${suffix})
if(NOT out MATCHES "-llumoservice${suffix}" OR NOT out MATCHES "/include/lumoservice")
  message(FATAL_ERROR "pkg-config lumoservice${suffix}: ${out}")
endif()

run(sh ${CMAKE_CURRENT_LIST_DIR}/run_example_service.sh ${WORK_DIR}
    ${WORK_DIR}/service/lumo_example_service ${CONFORM} ${WORK_DIR}/host/lumo_example_host)
message(STATUS "${out}")
