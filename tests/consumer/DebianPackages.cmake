# Makes the Debian packages of BUILD_DIR with cpack in WORK_DIR/debs, checks
# their control fields and contents with dpkg-deb -I and -c, and unpacks them
# all into WORK_DIR/root without installing anything. Included by
# RunConsumer.cmake.
run(cpack -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK_DIR}/debs")

# Each DEPENDS pattern must match the package's Depends field, each CONTAINS
# path its file list; no LACKS pattern may match the file list.
function(expect_package package)
  cmake_parse_arguments(PARSE_ARGV 1 expect "" "" "DEPENDS;CONTAINS;LACKS")
  file(GLOB deb "${WORK_DIR}/debs/${package}_${VERSION}_*.deb")
  if(NOT deb)
    message(FATAL_ERROR "cpack made no package ${package}")
  endif()
  execute_process(COMMAND dpkg-deb -I "${deb}" OUTPUT_VARIABLE info COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND dpkg-deb -c "${deb}" OUTPUT_VARIABLE contents COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCH "\n Depends: [^\n]*" depends "${info}")
  foreach(pattern IN LISTS expect_DEPENDS)
    if(NOT depends MATCHES "${pattern}")
      message(FATAL_ERROR "${package}: Depends does not match '${pattern}':${depends}")
    endif()
  endforeach()
  foreach(path IN LISTS expect_CONTAINS)
    string(FIND "${contents}" " ./usr/${path}" found)
    if(found EQUAL -1)
      message(FATAL_ERROR "${package} lacks usr/${path}:\n${contents}")
    endif()
  endforeach()
  foreach(pattern IN LISTS expect_LACKS)
    if(contents MATCHES "${pattern}")
      message(FATAL_ERROR "${package} holds what matches '${pattern}':\n${contents}")
    endif()
  endforeach()
  run(dpkg-deb -x "${deb}" "${WORK_DIR}/root")
endfunction()

set(same "\\(= ${VERSION}\\)")
expect_package(libhttpclient-core0
  DEPENDS "libc6" "libstdc\\+\\+6"
  CONTAINS "${LIBDIR}/libhttpclient_core.so.0 "
  LACKS "/include/" "\\./usr/[^ \n]*\\.so ")
expect_package(libhttpclient-scripted0
  DEPENDS "libhttpclient-core0 ${same}"
  CONTAINS "${LIBDIR}/libhttpclient_scripted.so.0 "
  LACKS "/include/")
expect_package(libhttpclient-core-dev
  DEPENDS "libhttpclient-core0 ${same}" "libhttpclient-scripted0 ${same}"
  CONTAINS "include/httpclient_core/HttpClient.hpp" "include/httpclient_core/Export.hpp"
           "include/httpclient_scripted/ScriptedHttpClient.hpp" "${LIBDIR}/libhttpclient_core.so "
           "${LIBDIR}/cmake/httpclient_core/httpclient_coreConfig.cmake" "${LIBDIR}/pkgconfig/httpclient_core.pc"
  LACKS "\\./usr/[^ \n]*\\.so\\.[0-9]")
if(WITH_CURL)
  expect_package(libhttpclient-curl0
    DEPENDS "libcurl4 \\(>= 7\\.85\\)" "libhttpclient-core0 ${same}"
    CONTAINS "${LIBDIR}/libhttpclient_curl.so.0 "
    LACKS "/include/")
  expect_package(libhttpclient-core-dev
    DEPENDS "libhttpclient-curl0 ${same}" "libcurl4-openssl-dev"
    CONTAINS "include/httpclient_curl/CurlHttpClient.hpp" "${LIBDIR}/pkgconfig/httpclient_curl.pc")
  expect_package(libhttpclient-websocket0
    DEPENDS "libcurl4 \\(>= 7\\.85\\)" "libhttpclient-core0 ${same}"
    CONTAINS "${LIBDIR}/libhttpclient_websocket.so.0 "
    LACKS "/include/")
  expect_package(httpfetch
    DEPENDS "libhttpclient-curl0 ${same}"
    CONTAINS "bin/httpfetch"
    LACKS "/include/" "/lib")
  run("${WORK_DIR}/root/usr/bin/httpfetch" --version)
endif()
