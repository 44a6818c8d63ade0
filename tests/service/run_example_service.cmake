# Installs the build into a private prefix, builds examples/service and
# examples/host against the installed packages, proves the service with
# lumo-conform (every case passes; the notifications group has no push
# command and skips its first case) and runs the host against it
# (run_example_service.sh). Also: pkg-config finds the SDK, and the README's
# service snippet is the example's own code.
#   -DCONFORM=<lumo-conform> and the arguments of common/installedexample.cmake
include(${CMAKE_CURRENT_LIST_DIR}/../common/installedexample.cmake)
lumo_readme_snippets(${SOURCE_DIR} examples/service/main.cpp examples/host/main.cpp)

foreach(component lumoipc lumoservice)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component ${component})
endforeach()
lumo_build_example(service ${WORK_DIR}/service lumoservice)
lumo_build_example(host ${WORK_DIR}/host lumoipc)

run(sh ${CMAKE_CURRENT_LIST_DIR}/run_example_service.sh ${WORK_DIR}
    ${WORK_DIR}/service/lumo_example_service ${CONFORM} ${WORK_DIR}/host/lumo_example_host)
message(STATUS "${out}")
