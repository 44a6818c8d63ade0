# Install rules of the shared library: the library, the headers a host needs
# (the exported functions, the typed calls and the library object's class, the
# login and company records, KRpcResponse, the generated records and the
# notification argument types), a CMake package
# (find_package(LumoIpc) -> LumoIpc::lumoipc) and a pkg-config file.
# The Qt 6 flavour's package and pkg-config module are "LumoIpc-qt6" and
# "lumoipc-qt6"; the headers do not depend on the flavour, so both flavours
# install the same files into one include folder.
include(CMakePackageConfigHelpers)

set(LUMOIPC_PACKAGE LumoIpc${LUMO_FLAVOUR_SUFFIX})
set(LUMOIPC_PKGCONFIG lumoipc${LUMO_FLAVOUR_SUFFIX})
set(LUMOIPC_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/lumoipc)
set(LUMOIPC_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/${LUMOIPC_PACKAGE})

target_include_directories(lumoipc INTERFACE $<INSTALL_INTERFACE:${LUMOIPC_INSTALL_INCLUDEDIR}>)

install(TARGETS lumoipc EXPORT LumoIpcTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lumoipc NAMELINK_COMPONENT lumoipc)

# Installed like a distribution ships it: the library stripped, its debug
# information in a file of its own that the library names (.gnu_debuglink).
# GDB and addr2line look for that file in ".debug" beside the library, so
# crash reports symbolise without any setting; a packager moves it to the
# debug package. The build tree's library keeps everything.
set(LUMOIPC_INSTALL_DEBUGDIR ${CMAKE_INSTALL_LIBDIR}/.debug)
install(CODE "
  set(lib \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:lumoipc>\")
  set(dbg \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${LUMOIPC_INSTALL_DEBUGDIR}/$<TARGET_FILE_NAME:lumoipc>.debug\")
  get_filename_component(dir \${dbg} DIRECTORY)
  file(MAKE_DIRECTORY \${dir})
  message(STATUS \"Splitting debug information: \${dbg}\")
  execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --only-keep-debug \${lib} \${dbg} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --strip-unneeded --add-gnu-debuglink=\${dbg} \${lib}
                  COMMAND_ERROR_IS_FATAL ANY)" COMPONENT lumoipc)

# The public headers, one entry each: the file, the folder below the include
# root it is installed in (as the sources include it; "." for the root), and
# its CamelCase name. From this list come the install rules, a forwarding
# header per entry (<LumoIpc/LumoIpcCalls>, as KDE Frameworks spell theirs)
# and the export check's view of what a host may call. The one header after
# it holds what the typed calls' templates need of the library's internals:
# installed because lumoipccalls.h includes it, as Qt installs
# qobjectdefs_impl.h, with no CamelCase name, for no host to include.
set(_lumo_src ${PROJECT_SOURCE_DIR}/src)
set(_lumo_gen ${CMAKE_CURRENT_BINARY_DIR})
set(LUMOIPC_PUBLIC_HEADERS
  ${_lumo_src}/ipc/lumoipc.h . LumoIpc
  ${_lumo_gen}/ipc/lumoipccalls.h . LumoIpcCalls
  ${_lumo_gen}/ipc/klumoipc.h . KLumoIpc
  ${_lumo_src}/ipc/lumopendingcall.h . PendingCall
  ${_lumo_src}/ipc/lumostatus.h . Status
  ${_lumo_gen}/lumoipc_export.h . LumoIpcExport
  ${PROJECT_BINARY_DIR}/idl/gen-cpp/lumo_types.h . LumoTypes
  ${_lumo_src}/connection/klumoipclogincache.h connection KLumoIpcLoginCache
  ${_lumo_src}/connection/kcompanyinfocache.h connection KCompanyInfoCache
  ${_lumo_src}/dispatch/krpcresponse.h dispatch KRpcResponse
  ${_lumo_src}/dispatch/klumovoidresult.h dispatch KLumoVoidResult
  ${_lumo_src}/notify/klumonotifytypes.h notify KLumoNotifyTypes
  ${_lumo_src}/transport/klumocapture.h transport KLumoCapture)
set(LUMOIPC_IMPL_HEADER ${_lumo_src}/ipc/lumoipccalls_impl.h)

# The build tree's view of the installed headers, for the programs of this
# project that use the library as a host does (the tools): links to the
# headers where they are installed relative to each other, and the forwarding
# headers. Nothing else of the sources is reachable from it.
# Written only where they change: a header written anew at each configure
# would rebuild everything that includes it. What is no longer staged goes at
# the end.
set(LUMOIPC_STAGED_INCLUDEDIR ${_lumo_gen}/staged-include)
set(_lumo_staged "")
target_include_directories(lumoipc INTERFACE $<BUILD_INTERFACE:${LUMOIPC_STAGED_INCLUDEDIR}>)
# Programs that link the core archive instead (tests, benchmarks) see it too.
target_include_directories(lumoipc_core INTERFACE $<BUILD_INTERFACE:${LUMOIPC_STAGED_INCLUDEDIR}>)
function(_lumo_stage file path)
  get_filename_component(dir ${LUMOIPC_STAGED_INCLUDEDIR}/${path} DIRECTORY)
  file(MAKE_DIRECTORY ${dir})
  file(CREATE_LINK ${file} ${LUMOIPC_STAGED_INCLUDEDIR}/${path} SYMBOLIC)
  set(_lumo_staged ${_lumo_staged} ${LUMOIPC_STAGED_INCLUDEDIR}/${path} PARENT_SCOPE)
endfunction()

set(_lumo_public_files "")
while(LUMOIPC_PUBLIC_HEADERS)
  list(POP_FRONT LUMOIPC_PUBLIC_HEADERS file folder camel)
  get_filename_component(name ${file} NAME)
  install(FILES ${file} DESTINATION ${LUMOIPC_INSTALL_INCLUDEDIR}/${folder} COMPONENT lumoipc)
  if(folder STREQUAL ".")
    set(path ${name})
  else()
    set(path ${folder}/${name})
  endif()
  _lumo_stage(${file} ${path})
  file(CONFIGURE OUTPUT ${LUMOIPC_STAGED_INCLUDEDIR}/LumoIpc/${camel}
       CONTENT "#include \"${path}\"\n" @ONLY)
  list(APPEND _lumo_staged ${LUMOIPC_STAGED_INCLUDEDIR}/LumoIpc/${camel})
  list(APPEND _lumo_public_files ${file})
endwhile()
install(FILES ${LUMOIPC_IMPL_HEADER} DESTINATION ${LUMOIPC_INSTALL_INCLUDEDIR} COMPONENT lumoipc)
get_filename_component(_lumo_impl_name ${LUMOIPC_IMPL_HEADER} NAME)
_lumo_stage(${LUMOIPC_IMPL_HEADER} ${_lumo_impl_name})
file(GLOB_RECURSE _lumo_present LIST_DIRECTORIES false ${LUMOIPC_STAGED_INCLUDEDIR}/*)
list(REMOVE_ITEM _lumo_present ${_lumo_staged})
if(_lumo_present)
  file(REMOVE ${_lumo_present})
endif()
install(DIRECTORY ${LUMOIPC_STAGED_INCLUDEDIR}/LumoIpc DESTINATION ${LUMOIPC_INSTALL_INCLUDEDIR}
        COMPONENT lumoipc)
set_property(GLOBAL PROPERTY LUMOIPC_PUBLIC_FILES ${_lumo_public_files} ${LUMOIPC_IMPL_HEADER})

install(EXPORT LumoIpcTargets NAMESPACE LumoIpc:: DESTINATION ${LUMOIPC_INSTALL_CMAKEDIR}
        FILE ${LUMOIPC_PACKAGE}Targets.cmake COMPONENT lumoipc)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/LumoIpcConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/${LUMOIPC_PACKAGE}Config.cmake INSTALL_DESTINATION ${LUMOIPC_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${LUMOIPC_PACKAGE}ConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${LUMOIPC_PACKAGE}Config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/${LUMOIPC_PACKAGE}ConfigVersion.cmake
        DESTINATION ${LUMOIPC_INSTALL_CMAKEDIR} COMPONENT lumoipc)

configure_file(${PROJECT_SOURCE_DIR}/cmake/lumoipc.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${LUMOIPC_PKGCONFIG}.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${LUMOIPC_PKGCONFIG}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT lumoipc)
