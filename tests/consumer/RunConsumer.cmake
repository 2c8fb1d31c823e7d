# Builds and runs the consumer project against the project's libraries taken
# one of three ways (MODE):
#   install     cmake --install of BUILD_DIR into WORK_DIR/prefix
#   deb         the Debian packages cpack makes from BUILD_DIR, inspected,
#               then unpacked into WORK_DIR/root (nothing is installed)
#   subproject  the source tree added with add_subdirectory
# With a prefix, the pkg-config files must serve a C++20 build of the consumer.
file(REMOVE_RECURSE "${WORK_DIR}")

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGV}")
  endif()
endfunction()

set(configure_arguments "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}" "-DCMAKE_SHARED_LINKER_FLAGS=${LINKER_FLAGS}"
    "-DCMAKE_BUILD_TYPE=${CONFIG}")
if(MODE STREQUAL "subproject")
  list(APPEND configure_arguments "-DHTTPCLIENT_CORE_SOURCE=${PROJECT_SOURCE}")
elseif(MODE STREQUAL "install")
  set(prefix "${WORK_DIR}/prefix")
  run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
elseif(MODE STREQUAL "deb")
  include("${CMAKE_CURRENT_LIST_DIR}/DebianPackages.cmake")
  set(prefix "${WORK_DIR}/root/usr")
else()
  message(FATAL_ERROR "unknown MODE '${MODE}'")
endif()
if(DEFINED prefix)
  list(APPEND configure_arguments "-DCMAKE_PREFIX_PATH=${prefix}")
endif()

run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${WORK_DIR}/build" ${configure_arguments})
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build" --parallel 2 --target consumer scripted_test)
run("${WORK_DIR}/build/consumer")
run("${WORK_DIR}/build/scripted_test")
if(NOT DEFINED prefix)
  return()
endif()

# The core holds no test code and starts no thread of its own.
execute_process(COMMAND nm -D --defined-only "${prefix}/${LIBDIR}/libhttpclient_core.so" OUTPUT_VARIABLE defined
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND nm -D --undefined-only "${prefix}/${LIBDIR}/libhttpclient_core.so" OUTPUT_VARIABLE undefined
                COMMAND_ERROR_IS_FATAL ANY)
if(defined MATCHES "Scripted" OR undefined MATCHES "pthread_create|_M_start_thread")
  message(FATAL_ERROR "libhttpclient_core.so carries the scripted client or starts a thread")
endif()

# pkg-config: no -std= forced on the consumer, which builds here as C++20.
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
set(modules httpclient_core httpclient_scripted)
if(EXISTS "${prefix}/${LIBDIR}/pkgconfig/httpclient_curl.pc")
  list(APPEND modules httpclient_curl)
  set(curl_definition -DCONSUMER_WITH_CURL)
endif()
execute_process(COMMAND pkg-config --cflags --libs ${modules} OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
if(flags MATCHES "-std=")
  message(FATAL_ERROR "the pkg-config files force a language standard: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(compile_flags UNIX_COMMAND "${CXX_FLAGS} ${LINKER_FLAGS}")
run("${CXX_COMPILER}" -std=c++20 ${compile_flags} ${curl_definition} "${CMAKE_CURRENT_LIST_DIR}/main.cpp" ${flags}
    "-Wl,-rpath,${prefix}/${LIBDIR}" -o "${WORK_DIR}/consumer20")
run("${WORK_DIR}/consumer20")
