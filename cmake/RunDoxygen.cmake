# Writes the reference and fails on what Doxygen complains about.
#
#   cmake -DDOXYGEN=<program> -DDOXYFILE=<file> -DLOG=<file> -P RunDoxygen.cmake
execute_process(COMMAND "${DOXYGEN}" "${DOXYFILE}" ERROR_VARIABLE errors RESULT_VARIABLE result)
file(STRINGS "${LOG}" lines)
list(REMOVE_DUPLICATES lines)
# A class comment says how its objects are copied; data members and the copying operations
# themselves need no comment of their own.
set(faults)
foreach(line IN LISTS lines)
  if(line MATCHES "Member .* \\((variable|typedef|friend|macro definition)\\) of .* is not documented"
     OR line MATCHES "Member (operator=|~)[^ ]*\\(.* is not documented")
    continue()
  endif()
  if(line MATCHES "Member ([A-Za-z0-9]+)\\((const )?([A-Za-z0-9]+) &&?[a-z]*\\).* is not documented"
     AND CMAKE_MATCH_1 STREQUAL CMAKE_MATCH_3)
    continue()
  endif()
  list(APPEND faults "${line}")
endforeach()
if(faults OR result)
  list(JOIN faults "\n" text)
  message(FATAL_ERROR "${text}\n${errors}")
endif()
