# Fails when a shared library shows a name that is not declared in its public header.
#
#   NM, LIBRARY, HEADER  the program nm, the library, the header

execute_process(
  COMMAND ${NM} --dynamic --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE listing
  COMMAND_ERROR_IS_FATAL ANY)
file(READ ${HEADER} header)
string(REGEX MATCHALL "[^\n]+" lines "${listing}")
set(exported 0)
foreach(line IN LISTS lines)
  string(REGEX MATCH "^[^ ]+" name "${line}")
  if(NOT header MATCHES "[ *]${name}\\(")
    message(SEND_ERROR "${LIBRARY} exports ${name}")
  endif()
  math(EXPR exported "${exported} + 1")
endforeach()
if(exported EQUAL 0)
  message(SEND_ERROR "${LIBRARY} exports nothing")
endif()
