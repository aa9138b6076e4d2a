# Runs Doxygen for the API reference (cmake -P, with DOXYGEN, DOXYFILE, HTML, HEADERS, STRICT).
#
# Doxygen says nothing about the names in a header that has no @file block: it leaves the whole
# file out. So every header must carry one, or its undocumented names would pass unseen. A run
# that fails leaves no index.html behind, so the next build runs it again.
cmake_minimum_required(VERSION 3.25)
set(missing "")
foreach(header IN LISTS HEADERS)
  file(STRINGS "${header}" lines REGEX "^[ /*]*@file")
  if(NOT lines)
    list(APPEND missing "${header}")
  endif()
endforeach()
if(missing)
  list(JOIN missing "\n  " missing)
  set(text "these public headers have no @file block, so Doxygen skips them:\n  ${missing}")
  if(STRICT)
    message(FATAL_ERROR "${text}")
  endif()
  message(WARNING "${text}")
endif()

file(REMOVE_RECURSE "${HTML}")
execute_process(COMMAND "${DOXYGEN}" "${DOXYFILE}" RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  file(REMOVE "${HTML}/index.html")
  message(FATAL_ERROR "Doxygen reported warnings (or failed); see above")
endif()
