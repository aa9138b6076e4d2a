# Writes the linker version script of libspeechcommon.so (cmake -P, with OUTPUT,
# SOURCE_HEADERS and GENERATED_HEADERS): every name the public headers mark with SC_API goes into
# a version node, and nothing else is exported. A new exported function needs no change here.
#
# A name first released after 1.0 goes into the node of the release that added it, so that a
# program built against the newer library says so at load time. Add one line per release to
# later_nodes, oldest first: the node's name, then its names, e.g.
#   list(APPEND later_nodes "SPEECHCOMMON_1.1 edct_DctNewThing brk_OtherThing")
cmake_minimum_required(VERSION 3.25)
set(base_node SPEECHCOMMON_1.0)
set(later_nodes "")

include(${CMAKE_CURRENT_LIST_DIR}/exported_names.cmake)
sc_exported_names(names ${SOURCE_HEADERS} ${GENERATED_HEADERS})
if(NOT names)
  message(FATAL_ERROR "no SC_API declarations found in ${SOURCE_HEADERS}")
endif()

set(nodes "")
set(later_names "")
foreach(entry IN LISTS later_nodes)
  separate_arguments(words UNIX_COMMAND "${entry}")
  list(POP_FRONT words node)
  foreach(name IN LISTS words)
    if(NOT name IN_LIST names)
      message(FATAL_ERROR "${node} lists ${name}, which no header exports")
    endif()
  endforeach()
  list(APPEND later_names ${words})
  list(APPEND nodes ${node})
  set(node_names_${node} ${words})
endforeach()
set(base_names ${names})
if(later_names)
  list(REMOVE_ITEM base_names ${later_names})
endif()

set(text "/* Generated from the public headers by cmake/version_script.cmake. */\n")
string(APPEND text "${base_node} {\n  global:\n")
foreach(name IN LISTS base_names)
  string(APPEND text "    ${name};\n")
endforeach()
string(APPEND text "  local:\n    *;\n};\n")
set(previous ${base_node})
foreach(node IN LISTS nodes)
  string(APPEND text "\n${node} {\n  global:\n")
  foreach(name IN LISTS node_names_${node})
    string(APPEND text "    ${name};\n")
  endforeach()
  string(APPEND text "} ${previous};\n")
  set(previous ${node})
endforeach()

# Rewritten only when it changes, so that an unrelated header edit does not relink.
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
  if(old STREQUAL text)
    return()
  endif()
endif()
file(WRITE "${OUTPUT}" "${text}")
