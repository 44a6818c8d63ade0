# Installs the build into a private prefix, builds examples/host against the
# installed package (find_package(LumoIpc)) and runs it.
#   -DBUILD_DIR=<top build dir> -DSOURCE_DIR=<top source dir> -DWORK_DIR=<scratch dir>
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component lumoipc)
foreach(f include/lumoipc/lumoipc.h include/lumoipc/lumo_types.h lib/pkgconfig/lumoipc.pc
          lib/cmake/LumoIpc/LumoIpcConfig.cmake)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

set(launcher)
find_program(CCACHE ccache)
if(CCACHE)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${CCACHE})
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/host -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release ${launcher})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} -E env TMPDIR=${WORK_DIR} HOME=${WORK_DIR} XDG_CONFIG_HOME=${WORK_DIR}/config
    QT_LOGGING_RULES=lumoipc*=false ${WORK_DIR}/build/lumo_example_host)
message(STATUS "${run_output}")
foreach(expected "logined=0 running=0" "record=example.txt" "freed object=")
  string(FIND "${run_output}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "example host output lacks \"${expected}\"")
  endif()
endforeach()

# The pkg-config file resolves from the private prefix too.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig ${PKG_CONFIG} --cflags --libs lumoipc)
  string(FIND "${run_output}" "-llumoipc" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "pkg-config output lacks -llumoipc: ${run_output}")
  endif()
endif()
