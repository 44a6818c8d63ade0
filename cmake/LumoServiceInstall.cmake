# Install rules of the service SDK, as the client library's
# (LumoIpcInstall.cmake): the library, its headers with a CamelCase forwarding
# header per public class and the umbrella <LumoService/LumoService>, a CMake
# package (find_package(LumoService) -> LumoService::lumoservice) and a
# pkg-config file; "-qt6" names the Qt 6 flavour's package and module.
include(CMakePackageConfigHelpers)

set(LUMOSERVICE_PACKAGE LumoService${LUMO_FLAVOUR_SUFFIX})
set(LUMOSERVICE_PKGCONFIG lumoservice${LUMO_FLAVOUR_SUFFIX})
set(LUMOSERVICE_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/lumoservice)
set(LUMOSERVICE_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/${LUMOSERVICE_PACKAGE})

target_include_directories(lumoservice INTERFACE
  $<INSTALL_INTERFACE:${LUMOSERVICE_INSTALL_INCLUDEDIR}>)
install(TARGETS lumoservice EXPORT LumoServiceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lumoservice
  NAMELINK_COMPONENT lumoservice)

# The public headers: file, then its CamelCase name ("-" for none of its own).
set(_svc_src ${PROJECT_SOURCE_DIR}/service)
set(_svc_gen ${PROJECT_BINARY_DIR}/service)
set(LUMOSERVICE_PUBLIC_HEADERS
  ${_svc_src}/lumoserviceserver.h Server
  ${_svc_gen}/lumoservicehandler.h Handler
  ${_svc_gen}/lumoservicestricthandler.h StrictHandler
  ${_svc_src}/lumoservicereply.h Reply
  ${_svc_gen}/lumoservicenotifier.h Notifier
  ${_svc_src}/lumoserviceframesplitter.h FrameSplitter
  ${_svc_src}/lumoservicerawhandler.h RawHandler
  ${_svc_src}/lumoserviceinterceptor.h Interceptor
  ${_svc_src}/lumoservicediscovery.h Discovery
  ${PROJECT_SOURCE_DIR}/src/transport/klumoframe.h Frame
  ${_svc_src}/lumoserviceglobal.h -
  ${_svc_gen}/lumoservice_export.h -
  ${PROJECT_BINARY_DIR}/idl/gen-cpp/lumo_types.h -)
set(_svc_umbrella "// The whole service SDK.\n")
set(_svc_public_files "")
while(LUMOSERVICE_PUBLIC_HEADERS)
  list(POP_FRONT LUMOSERVICE_PUBLIC_HEADERS file camel)
  get_filename_component(name ${file} NAME)
  install(FILES ${file} DESTINATION ${LUMOSERVICE_INSTALL_INCLUDEDIR} COMPONENT lumoservice)
  if(NOT camel STREQUAL "-")
    # Written only where it changes, as a new header rebuilds what includes it.
    file(CONFIGURE OUTPUT ${_svc_gen}/forwarding/LumoService/${camel}
         CONTENT "#include \"${name}\"\n" @ONLY)
    string(APPEND _svc_umbrella "#include \"${name}\"\n")
  endif()
  list(APPEND _svc_public_files ${file})
endwhile()
file(CONFIGURE OUTPUT ${_svc_gen}/forwarding/LumoService/LumoService CONTENT "${_svc_umbrella}" @ONLY)
install(DIRECTORY ${_svc_gen}/forwarding/LumoService DESTINATION ${LUMOSERVICE_INSTALL_INCLUDEDIR}
        COMPONENT lumoservice)
set_property(GLOBAL PROPERTY LUMOSERVICE_PUBLIC_FILES ${_svc_public_files})

install(EXPORT LumoServiceTargets NAMESPACE LumoService:: DESTINATION ${LUMOSERVICE_INSTALL_CMAKEDIR}
        FILE ${LUMOSERVICE_PACKAGE}Targets.cmake COMPONENT lumoservice)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/LumoServiceConfig.cmake.in
  ${_svc_gen}/${LUMOSERVICE_PACKAGE}Config.cmake INSTALL_DESTINATION ${LUMOSERVICE_INSTALL_CMAKEDIR})
write_basic_package_version_file(${_svc_gen}/${LUMOSERVICE_PACKAGE}ConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${_svc_gen}/${LUMOSERVICE_PACKAGE}Config.cmake
              ${_svc_gen}/${LUMOSERVICE_PACKAGE}ConfigVersion.cmake
        DESTINATION ${LUMOSERVICE_INSTALL_CMAKEDIR} COMPONENT lumoservice)

configure_file(${PROJECT_SOURCE_DIR}/cmake/lumoservice.pc.in
  ${_svc_gen}/${LUMOSERVICE_PKGCONFIG}.pc @ONLY)
install(FILES ${_svc_gen}/${LUMOSERVICE_PKGCONFIG}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT lumoservice)
