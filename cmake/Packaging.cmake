include(CMakePackageConfigHelpers)

set(HTTPCLIENT_CORE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/httpclient_core")

install(TARGETS httpclient_core
  EXPORT httpclient_coreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/httpclient_core"
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES "${PROJECT_BINARY_DIR}/include/httpclient_core/Export.hpp"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/httpclient_core")

if(HTTPCLIENT_CORE_BUILD_CURL)
  install(TARGETS httpclient_curl
    EXPORT httpclient_coreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/httpclient_curl"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(FILES "${PROJECT_BINARY_DIR}/include/httpclient_curl/Export.hpp"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/httpclient_curl")
endif()

install(EXPORT httpclient_coreTargets
  NAMESPACE httpclient_core::
  DESTINATION ${HTTPCLIENT_CORE_CMAKE_DIR})

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
  DESTINATION ${HTTPCLIENT_CORE_CMAKE_DIR})

configure_file("${PROJECT_SOURCE_DIR}/cmake/httpclient_core.pc.in"
  "${PROJECT_BINARY_DIR}/httpclient_core.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/httpclient_core.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
