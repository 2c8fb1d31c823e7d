# Our own targets compile with the full warning set; HTTPCLIENT_CORE_WERROR makes them errors.
function(httpclient_core_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion)
  if(HTTPCLIENT_CORE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
