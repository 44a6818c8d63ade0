# Installs the build into a private prefix, builds examples/host against the
# installed package (find_package(LumoIpc)) and runs it; pkg-config finds it too.
#   -DBUILD_DIR=<top build dir> -DSOURCE_DIR=<top source dir> -DWORK_DIR=<scratch dir>
#   -DQT_MAJOR_VERSION=<5 or 6> -DFLAVOUR_SUFFIX=<"" or -qt6>
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

# Runs a command; fails unless it succeeds and its output holds every EXPECT text.
function(run)
  cmake_parse_arguments(R "" "" "EXPECT" ${ARGN})
  execute_process(COMMAND ${R_UNPARSED_ARGUMENTS} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${R_UNPARSED_ARGUMENTS}\n${out}\n${err}")
  endif()
  foreach(text ${R_EXPECT})
    string(FIND "${out}" "${text}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "output of ${R_UNPARSED_ARGUMENTS} lacks \"${text}\":\n${out}")
    endif()
  endforeach()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component lumoipc)
find_program(CCACHE ccache)
if(CCACHE)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${CCACHE})
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/host -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release -DQT_MAJOR_VERSION=${QT_MAJOR_VERSION}
    ${launcher})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} -E env TMPDIR=${WORK_DIR} HOME=${WORK_DIR} XDG_CONFIG_HOME=${WORK_DIR}/config
    QT_LOGGING_RULES=lumoipc*=false ${WORK_DIR}/build/lumo_example_host
    EXPECT "logined=0 running=0" "record=example.txt" "freed object=(nil)")
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig pkg-config --cflags --libs lumoipc${FLAVOUR_SUFFIX}
    EXPECT "-llumoipc${FLAVOUR_SUFFIX} " "/include/lumoipc")
