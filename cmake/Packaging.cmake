# Installation, the CMake package, pkg-config files and Debian packages.
#
# Every library of the project is one entry of HTTPCLIENT_CORE_PACKAGE_LIBRARIES
# with variables beside it: its pkg-config description, the pkg-config
# modules its users need (Requires) and those only its own link needs
# (Requires.private), and optionally Debian packages it needs beyond those
# that dpkg-shlibdeps finds (DEB_DEPENDS). Each library becomes a runtime component (Debian package
# lib<name>0) and adds its headers, Export.hpp, link name and pkg-config file
# to the development component; httpfetch is a component of its own.
include(CMakePackageConfigHelpers)

set(HTTPCLIENT_CORE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/httpclient_core")
set(HTTPCLIENT_CORE_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(HTTPCLIENT_CORE_PACKAGE_LIBRARIES httpclient_core httpclient_scripted)
set(httpclient_core_PC_DESCRIPTION "${PROJECT_DESCRIPTION}")
set(httpclient_core_PC_REQUIRES "")
set(httpclient_core_PC_REQUIRES_PRIVATE "")
set(httpclient_scripted_PC_DESCRIPTION "A scripted in-memory HTTP client for the tests of code that makes requests")
set(httpclient_scripted_PC_REQUIRES "httpclient_core")
set(httpclient_scripted_PC_REQUIRES_PRIVATE "")
if(HTTPCLIENT_CORE_BUILD_CURL)
  list(APPEND HTTPCLIENT_CORE_PACKAGE_LIBRARIES httpclient_curl)
  set(httpclient_curl_PC_DESCRIPTION "An HTTP client on libcurl, built on httpclient_core")
  set(httpclient_curl_PC_REQUIRES "httpclient_core")
  set(httpclient_curl_PC_REQUIRES_PRIVATE "libcurl >= 7.85")
  set(httpclient_curl_DEB_DEPENDS "libcurl4 (>= 7.85)")
endif()
if(HTTPCLIENT_CORE_BUILD_WEBSOCKET)
  list(APPEND HTTPCLIENT_CORE_PACKAGE_LIBRARIES httpclient_websocket)
  set(httpclient_websocket_PC_DESCRIPTION "A WebSocket client on libcurl's connections, built on httpclient_core")
  set(httpclient_websocket_PC_REQUIRES "httpclient_core")
  set(httpclient_websocket_PC_REQUIRES_PRIVATE "libcurl >= 7.85")
  set(httpclient_websocket_DEB_DEPENDS "libcurl4 (>= 7.85)")
endif()

# The pkg-config files find the prefix from their own place, so that they
# serve any installation prefix, a Debian package's included.
file(RELATIVE_PATH PC_RELATIVE_PREFIX "/prefix/${HTTPCLIENT_CORE_PKGCONFIG_DIR}" "/prefix")
string(REGEX REPLACE "/$" "" PC_RELATIVE_PREFIX "${PC_RELATIVE_PREFIX}")

set(HTTPCLIENT_CORE_RUNTIME_COMPONENTS "")
foreach(library IN LISTS HTTPCLIENT_CORE_PACKAGE_LIBRARIES)
  install(TARGETS ${library}
    EXPORT httpclient_coreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${library} NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${library}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/${library}"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  install(FILES "${PROJECT_BINARY_DIR}/include/${library}/Export.hpp"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${library}" COMPONENT development)

  set(PC_NAME ${library})
  set(PC_DESCRIPTION "${${library}_PC_DESCRIPTION}")
  set(PC_REQUIRES "${${library}_PC_REQUIRES}")
  set(PC_REQUIRES_PRIVATE "${${library}_PC_REQUIRES_PRIVATE}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/library.pc.in" "${PROJECT_BINARY_DIR}/${library}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${library}.pc"
    DESTINATION ${HTTPCLIENT_CORE_PKGCONFIG_DIR} COMPONENT development)
  list(APPEND HTTPCLIENT_CORE_RUNTIME_COMPONENTS ${library})
endforeach()

install(EXPORT httpclient_coreTargets
  NAMESPACE httpclient_core::
  DESTINATION ${HTTPCLIENT_CORE_CMAKE_DIR}
  COMPONENT development)

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/httpclient_coreConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/httpclient_coreConfig.cmake"
  INSTALL_DESTINATION ${HTTPCLIENT_CORE_CMAKE_DIR})
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/httpclient_coreConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/httpclient_coreConfig.cmake"
  "${PROJECT_BINARY_DIR}/httpclient_coreConfigVersion.cmake"
  DESTINATION ${HTTPCLIENT_CORE_CMAKE_DIR}
  COMPONENT development)

# Debian packages (cpack -G DEB): one per runtime library, the development
# package, and httpfetch. dpkg-shlibdeps adds the dependencies on Debian's
# own packages (libc6, libstdc++6, libcurl4); the packages of this project
# depend on each other at the same version.
set(CPACK_PACKAGE_NAME httpclient-core)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CONTACT "httpclient_core maintainers <httpclient-core@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# dpkg-shlibdeps must find the project's own libraries, which no installed
# package provides yet; the component dependencies name their packages.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "")
foreach(library IN LISTS HTTPCLIENT_CORE_PACKAGE_LIBRARIES)
  string(TOUPPER ${library} component)
  string(REPLACE "_" "-" name "lib${library}${PROJECT_VERSION_MAJOR}")
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${${library}_DEB_DEPENDS}")
  set(CPACK_COMPONENT_${component}_DESCRIPTION "${${library}_PC_DESCRIPTION} (shared library)")
  get_target_property(directory ${library} BINARY_DIR)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${directory}")
  if(NOT library STREQUAL "httpclient_core")
    set(CPACK_COMPONENT_${component}_DEPENDS httpclient_core)
  endif()
endforeach()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libhttpclient-core-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION} (headers, CMake package, pkg-config files)")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS ${HTTPCLIENT_CORE_RUNTIME_COMPONENTS})
if(HTTPCLIENT_CORE_BUILD_CURL)
  # find_dependency(CURL) in the CMake package needs libcurl's own development files.
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libcurl4-openssl-dev (>= 7.85) | libcurl-dev")
endif()
if(TARGET httpfetch)
  set(CPACK_DEBIAN_HTTPFETCH_PACKAGE_NAME httpfetch)
  set(CPACK_DEBIAN_HTTPFETCH_PACKAGE_SECTION web)
  set(CPACK_COMPONENT_HTTPFETCH_DESCRIPTION "A command-line HTTP client on httpclient_curl")
  set(CPACK_COMPONENT_HTTPFETCH_DEPENDS httpclient_curl)
endif()
include(CPack)
