# Installs the build into a private prefix, builds examples/host against the
# installed package (find_package(LumoIpc)) and runs it; pkg-config finds it too.
#   -DBUILD_DIR=<top build dir> -DSOURCE_DIR=<top source dir> -DWORK_DIR=<scratch dir>
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

# Runs a command; fails unless it succeeds, its output holds every EXPECT text
# and no REJECT text.
function(run)
  cmake_parse_arguments(R "" "" "EXPECT;REJECT" ${ARGN})
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
  foreach(text ${R_REJECT})
    string(FIND "${out}" "${text}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "output of ${R_UNPARSED_ARGUMENTS} holds \"${text}\":\n${out}")
    endif()
  endforeach()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component lumoipc)
# Installed stripped, its debug information split off: through the debug link
# an address still resolves to its function and source line.
file(GLOB lib ${prefix}/lib/liblumoipc.so.*.*.*)
run(readelf -S -W ${lib} EXPECT ".gnu_debuglink" REJECT ".debug_info" ".symtab")
execute_process(COMMAND nm -D --defined-only ${lib} OUTPUT_VARIABLE symbols)
string(REGEX MATCH "([0-9a-f]+) T _Z11LumoIpcInitb" _ "${symbols}")
run(addr2line -f -C -e ${lib} 0x${CMAKE_MATCH_1} EXPECT "LumoIpcInit(bool)" "lumoipc.cpp:")
find_program(CCACHE ccache)
if(CCACHE)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${CCACHE})
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/host -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release ${launcher})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} -E env TMPDIR=${WORK_DIR} HOME=${WORK_DIR} XDG_CONFIG_HOME=${WORK_DIR}/config
    QT_LOGGING_RULES=lumoipc*=false ${WORK_DIR}/build/lumo_example_host
    EXPECT "logined=0 running=0" "record=example.txt" "freed object=(nil)")
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig pkg-config --cflags --libs lumoipc
    EXPECT "-llumoipc" "/include/lumoipc")
