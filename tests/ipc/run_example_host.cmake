# Installs the build into a private prefix, builds examples/host against the
# installed package, and runs its two hosts: the typed one, whose library
# starts the service emulator as the suite's "ofxcloudsvr" (the emulator
# pushes a notification once the host waits for one), then the named route's.
# Also: pkg-config finds the package, and the README's host snippets are the
# example's own code.
#   -DSERVICE=<lumo-service> and the arguments of common/installedexample.cmake
include(${CMAKE_CURRENT_LIST_DIR}/../common/installedexample.cmake)
lumo_readme_snippets(${SOURCE_DIR} examples/host/main.cpp examples/service/main.cpp)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component lumoipc)

# What is installed is the host guide's list of headers and one file more: each
# <LumoIpc/Name> the guide names forwards to a header installed beside it, the
# typed calls' lumoipccalls_impl.h is there too, included by lumoipccalls.h
# alone, and nothing else is.
file(READ ${SOURCE_DIR}/docs/host-guide.md guide)
string(REGEX MATCH "\nHeaders: [^\n]*(\n[^\n]+)*" headers "${guide}")
string(REGEX MATCHALL "<LumoIpc/[A-Za-z]+>" documented "${headers}")
list(TRANSFORM documented REPLACE "<LumoIpc/([A-Za-z]+)>" "\\1")
list(REMOVE_DUPLICATES documented)
set(include ${prefix}/include/lumoipc)
file(GLOB camel RELATIVE ${include}/LumoIpc ${include}/LumoIpc/*)
list(SORT documented)
list(SORT camel)
if(NOT camel STREQUAL documented)
  message(FATAL_ERROR "installed <LumoIpc/...> names: ${camel}\nthe host guide's: ${documented}")
endif()
set(expected lumoipccalls_impl.h)
foreach(name ${camel})
  file(READ ${include}/LumoIpc/${name} forward)
  string(REGEX REPLACE "^#include \"([^\"]+)\"\n$" "\\1" target "${forward}")
  list(APPEND expected ${target})
endforeach()
file(GLOB_RECURSE installed RELATIVE ${include} ${include}/*)
list(FILTER installed EXCLUDE REGEX "^LumoIpc/")
list(SORT expected)
list(SORT installed)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "installed headers: ${installed}\nexpected: ${expected}")
endif()
foreach(file ${installed})
  file(READ ${include}/${file} text)
  string(FIND "${text}" "lumoipccalls_impl.h" at)
  if(NOT at EQUAL -1 AND NOT file STREQUAL "lumoipccalls.h")
    message(FATAL_ERROR "${file} includes lumoipccalls_impl.h; only lumoipccalls.h may")
  endif()
endforeach()
# Installed stripped, its debug information split off: through the debug link
# an address still resolves to its function and source line.
file(GLOB lib ${prefix}/lib/liblumoipc${suffix}.so.*.*.*)
run(readelf -S -W ${lib} EXPECT ".gnu_debuglink" REJECT ".debug_info" ".symtab")
execute_process(COMMAND nm -D --defined-only ${lib} OUTPUT_VARIABLE symbols)
string(REGEX MATCH "([0-9a-f]+) T _Z11LumoIpcInitb" _ "${symbols}")
run(addr2line -f -C -e ${lib} 0x${CMAKE_MATCH_1} EXPECT "LumoIpcInit(bool)" "lumoipc.cpp:")
lumo_build_example(host ${WORK_DIR}/build lumoipc)

# From here on the host's private world: folders, the suite, the scenario.
foreach(dir t home suite)
  file(MAKE_DIRECTORY ${WORK_DIR}/${dir})
endforeach()
set(ENV{TMPDIR} ${WORK_DIR}/t)
set(ENV{HOME} ${WORK_DIR}/home)
set(ENV{XDG_CONFIG_HOME} ${WORK_DIR}/home/.config)
set(ENV{XDG_DATA_HOME} ${WORK_DIR}/home/.local/share)
set(ENV{LUMO_SUITE_DIR} ${WORK_DIR}/suite)
set(ENV{LUMOIPC_CALL_EXPIRY_MS} 1000)
set(ENV{QT_LOGGING_RULES} "lumoipc*=false")
file(WRITE ${WORK_DIR}/scenario.json [[
{ "methods": { "createFolder": { "reply": { "folderId": "f-1", "folderName": "Reports" } },
               "remove": { "fail": "disk full" },
               "createFile": { "delayMs": 300 } } }
]])
# Detached, it must not hold the host's output open.
file(WRITE ${WORK_DIR}/suite/ofxcloudsvr "#!/bin/sh\nexec '${SERVICE}' --scenario \
'${WORK_DIR}/scenario.json' \"$@\" </dev/null >'${WORK_DIR}/service.log' 2>&1\n")
file(CHMOD ${WORK_DIR}/suite/ofxcloudsvr PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)

# The host's output runs through a pusher that sends a notification when the
# host says it waits for one.
execute_process(
  COMMAND ${WORK_DIR}/build/lumo_example_host
  COMMAND sh -c "while IFS= read -r line; do printf '%s\\n' \"$line\"; \
    [ \"$line\" = 'waiting for notifications' ] && '${SERVICE}' ctl push notifyNewMsgList \
    '[\"m1\",\"m2\"]' >/dev/null; done; exit 0"
  RESULTS_VARIABLE rcs OUTPUT_VARIABLE out ERROR_VARIABLE err)
execute_process(COMMAND ${WORK_DIR}/build/lumo_example_named RESULT_VARIABLE named_rc
                OUTPUT_VARIABLE named_out ERROR_VARIABLE named_err)
# The service was started detached, for the user: stop it.
execute_process(COMMAND ${SERVICE} ctl stop OUTPUT_QUIET ERROR_QUIET)

if(NOT named_rc EQUAL 0)
  message(FATAL_ERROR "the named route's host failed (${named_rc}):\n${named_out}\n${named_err}")
endif()
expect("${named_out}" "named createFolder: ok=1 folderId=\"f-1\"" "named getLoginInfo: ok=1 isLogined=1")
if(NOT rcs STREQUAL "0;0" OR out MATCHES "although")
  message(FATAL_ERROR "the example host failed (${rcs}):\n${out}\n${err}")
endif()
expect("${out}" "starting the service" "login: logined=1" "createFile: cancelled=1"
       "waiting for notifications" "createFolder: ok=1 id=32 folderId=\"f-1\""
       "getLoginInfo: ok=1 isLogined=1" "remove: the service said \"disk full\" (state=0)"
       "notifyNewMsgList: m1,m2" "freed object=(nil)")
