include(CMakePackageConfigHelpers)

set(HTTPCLIENT_CORE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/httpclient_core")

# Every library of the package: its target, headers and generated Export.hpp.
set(HTTPCLIENT_CORE_PACKAGE_LIBRARIES httpclient_core httpclient_scripted)
if(HTTPCLIENT_CORE_BUILD_CURL)
  list(APPEND HTTPCLIENT_CORE_PACKAGE_LIBRARIES httpclient_curl)
endif()
if(HTTPCLIENT_CORE_BUILD_WEBSOCKET)
  list(APPEND HTTPCLIENT_CORE_PACKAGE_LIBRARIES httpclient_websocket)
endif()

foreach(library IN LISTS HTTPCLIENT_CORE_PACKAGE_LIBRARIES)
  install(TARGETS ${library}
    EXPORT httpclient_coreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/${library}"
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(FILES "${PROJECT_BINARY_DIR}/include/${library}/Export.hpp"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${library}")
endforeach()

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
