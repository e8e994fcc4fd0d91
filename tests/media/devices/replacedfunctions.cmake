# The client library's functions that PROGRAM replaces: libraries find its own only
# if they are among the dynamic symbols that it defines.
execute_process(COMMAND ${NM} -D --defined-only ${PROGRAM}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
foreach(function IN ITEMS pa_threaded_mainloop_free pa_threaded_mainloop_get_api
    pa_context_new pa_context_disconnect pa_stream_begin_write pa_stream_write)
  if(NOT symbols MATCHES " T ${function}\n")
    message(FATAL_ERROR "${PROGRAM} does not define the dynamic symbol ${function}")
  endif()
endforeach()
