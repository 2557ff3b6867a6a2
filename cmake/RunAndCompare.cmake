# Runs a program and compares everything that it writes to standard output with a file, byte by byte.
#
#   cmake -DCOMMAND=<program and arguments, a list> -DEXPECTED=<file> -DACTUAL=<file to write>
#         [-DRESULT=<exit code, 0 by default>] -P RunAndCompare.cmake
if(NOT DEFINED RESULT)
  set(RESULT 0)
endif()

execute_process(
  COMMAND ${COMMAND}
  OUTPUT_FILE "${ACTUAL}"
  ERROR_VARIABLE errors
  RESULT_VARIABLE result)
if(NOT result STREQUAL RESULT)
  message(FATAL_ERROR "exit code ${result} where ${RESULT} was expected; standard error:\n${errors}")
endif()

execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${EXPECTED}" "${ACTUAL}" RESULT_VARIABLE different)
if(different)
  execute_process(COMMAND diff -u "${EXPECTED}" "${ACTUAL}")
  message(FATAL_ERROR "the output differs from ${EXPECTED}")
endif()
