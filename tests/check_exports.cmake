# Fails when the library exports a symbol of the standard library: a program
# that instantiates the same template would bind to our copy instead of its own.
#   cmake -DQRIX_NM=<nm> -DQRIX_LIBRARY=<.so> -P check_exports.cmake
execute_process(COMMAND ${QRIX_NM} -D --defined-only ${QRIX_LIBRARY}
  RESULT_VARIABLE rc OUTPUT_VARIABLE listing ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${QRIX_NM} failed: ${err}")
endif()
string(REPLACE "\n" ";" lines "${listing}")
set(leaked)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^.* " "" symbol "${line}")
  # Names in std (mangled St, or the abbreviations Sa, Ss, Si, So, Sd, Sb) or
  # in libstdc++'s __gnu_cxx: functions, members, vtables and typeinfo.
  if(symbol MATCHES "^_Z(T[VIS]|GV)?(N[KVOR]*)?(S[tabsiod]|9__gnu_cxx)")
    list(APPEND leaked ${symbol})
  endif()
endforeach()
if(leaked)
  list(JOIN leaked "\n  " leaked)
  message(FATAL_ERROR "standard library symbols exported:\n  ${leaked}")
endif()
