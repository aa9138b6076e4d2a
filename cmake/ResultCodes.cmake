# The public names of the result codes, written from each family's code table at configure time.
#
# A family's table (<family>_codes.def, beside the family's sources) has one row per code, each
# on one line, in one of three forms:
#
#   SC_CODE(value, NAME, "text")           a reason of the family's own; text is what the
#                                          family's ErrorGetString gives for it
#   SC_CODE_GENERAL(value, NAME)           a general reason (bit 7 set); its text is the one of
#                                          foundation/general_codes.def, which vq_ErrorGetString
#                                          gives, and NAME ends in that reason's name
#   SC_CODE_UNLISTED(value, NAME, "doc")   a code the getter has no row for (informational
#                                          successes, a reason without text); doc describes it
#
# The C++ side includes the same file as an X-macro list to build the getter's text table (see
# foundation/error_text.h); here every row becomes
#
#   /** <text> */
#   #define NAME ((VQRESULT)value)
#
# in ${SC_GENERATED_INCLUDE_DIR}/sc_<family>_codes.h, which the family's public header includes;
# the header's own @file block lets the API reference show it (and check that every code has
# its comment).
# Names are <FAMILY>_E_<REASON> for failures and <FAMILY>_S_<REASON> for successes.

# SC_GENERATED_INCLUDE_DIR is set by the top level; the install rules take every header in it.
set(SC_GENERAL_CODES ${PROJECT_SOURCE_DIR}/foundation/general_codes.def)

# The lines of a table that begin with the given prefix, as a list. Semicolons and brackets in
# texts would cut or join list items, so they travel as control characters until
# _sc_code_comment puts them back.
string(ASCII 1 _sc_semicolon)
string(ASCII 2 _sc_open_bracket)
string(ASCII 3 _sc_close_bracket)
function(_sc_table_rows file prefix out_var)
  file(READ ${file} content)
  string(REPLACE ";" "${_sc_semicolon}" content "${content}")
  string(REPLACE "[" "${_sc_open_bracket}" content "${content}")
  string(REPLACE "]" "${_sc_close_bracket}" content "${content}")
  string(REPLACE "\n" ";" lines "${content}")
  set(rows "")
  foreach(line IN LISTS lines)
    if(line MATCHES "^${prefix}")
      list(APPEND rows "${line}")
    endif()
  endforeach()
  set(${out_var} "${rows}" PARENT_SCOPE)
endfunction()

# The text of a table row made fit for a one-line comment: blanks trimmed, first letter upper
# case, a final full stop.
function(_sc_code_comment text out_var)
  string(STRIP "${text}" text)
  string(REPLACE "${_sc_semicolon}" ";" text "${text}")
  string(REPLACE "${_sc_open_bracket}" "[" text "${text}")
  string(REPLACE "${_sc_close_bracket}" "]" text "${text}")
  string(REPLACE "\\\"" "\"" text "${text}")
  string(REPLACE "*/" "* /" text "${text}")
  string(SUBSTRING "${text}" 0 1 first)
  string(SUBSTRING "${text}" 1 -1 rest)
  string(TOUPPER "${first}" first)
  set(text "${first}${rest}")
  if(NOT text MATCHES "[.!?]$")
    string(APPEND text ".")
  endif()
  set(${out_var} "${text}" PARENT_SCOPE)
endfunction()

# Reads foundation/general_codes.def into variables _sc_general_<F|S>_<reason>_name and _text.
function(_sc_read_general_codes)
  _sc_table_rows(${SC_GENERAL_CODES} SC_GENERAL_ rows)
  foreach(row IN LISTS rows)
    if(NOT row MATCHES "^SC_GENERAL_(FAILURE|SUCCESS)\\(([0-9]+), ([A-Z0-9_]+), \"(.*)\"\\)$")
      message(FATAL_ERROR "${SC_GENERAL_CODES}: cannot read the row\n  ${row}")
    endif()
    string(SUBSTRING "${CMAKE_MATCH_1}" 0 1 kind)
    set(_sc_general_${kind}_${CMAKE_MATCH_2}_name "${CMAKE_MATCH_3}" PARENT_SCOPE)
    set(_sc_general_${kind}_${CMAKE_MATCH_2}_text "${CMAKE_MATCH_4}" PARENT_SCOPE)
  endforeach()
endfunction()

# sc_result_codes(<family> <table>): writes sc_<family>_codes.h from the table (a path relative
# to the calling folder) and installs it beside the other public headers.
function(sc_result_codes family table)
  get_filename_component(table ${table} ABSOLUTE)
  string(TOUPPER "${family}" prefix)
  set(header_name sc_${family}_codes.h)
  set(family_header sc_${family}.h)
  set(guard "SC_${prefix}_CODES_H")
  file(RELATIVE_PATH source ${PROJECT_SOURCE_DIR} ${table})
  _sc_read_general_codes()

  set(body "")
  set(seen_names "")
  set(seen_values "")
  _sc_table_rows(${table} SC_CODE rows)
  foreach(row IN LISTS rows)
    if(row MATCHES "^SC_CODE(_UNLISTED)?\\((0x[0-9A-F]+u), ([A-Z0-9_]+), \"(.*)\"\\)$")
      set(value ${CMAKE_MATCH_2})
      set(name ${CMAKE_MATCH_3})
      set(text "${CMAKE_MATCH_4}")
    elseif(row MATCHES "^SC_CODE_GENERAL\\((0x[0-9A-F]+u), ([A-Z0-9_]+)\\)$")
      set(value ${CMAKE_MATCH_1})
      set(name ${CMAKE_MATCH_2})
      # The reason and the kind of general text come from the value's own bits.
      string(REGEX REPLACE "^0x([0-9A-F]+)u$" "\\1" hex ${value})
      math(EXPR bits "0x${hex}" OUTPUT_FORMAT DECIMAL)
      math(EXPR reason "${bits} & 0x7F")
      math(EXPR general "${bits} & 0x80")
      if(bits GREATER_EQUAL 2147483648)
        set(kind F)
      else()
        set(kind S)
      endif()
      if(NOT general OR NOT DEFINED _sc_general_${kind}_${reason}_name)
        message(FATAL_ERROR "${table}: ${name} (${value}) is no general reason")
      endif()
      if(NOT name MATCHES "_${_sc_general_${kind}_${reason}_name}$")
        message(FATAL_ERROR "${table}: ${name} (${value}) must end in "
                            "_${_sc_general_${kind}_${reason}_name}")
      endif()
      set(text "${_sc_general_${kind}_${reason}_text}")
    else()
      message(FATAL_ERROR "${table}: cannot read the row\n  ${row}")
    endif()
    if(NOT name MATCHES "^${prefix}_[ES]_[A-Z0-9_]+$")
      message(FATAL_ERROR "${table}: ${name} is not named ${prefix}_E_... or ${prefix}_S_...")
    endif()
    if(name IN_LIST seen_names OR value IN_LIST seen_values)
      message(FATAL_ERROR "${table}: ${name} (${value}) is in the table twice")
    endif()
    list(APPEND seen_names ${name})
    list(APPEND seen_values ${value})
    _sc_code_comment("${text}" comment)
    string(APPEND body "\n/** ${comment} */\n#define ${name} ((VQRESULT)${value})\n")
  endforeach()

  set(content "/**
 * @file ${header_name}
 * The result codes of `${family}_` by name; ${family_header} includes this header. The comment of
 * a code is the text that ${family}_ErrorGetString() gives for it, or, for a code without text,
 * what it means. Generated from ${source}; do not edit.
 */
#ifndef ${guard}
#define ${guard}

#include \"sc_common.h\"
${body}
#endif /* ${guard} */
")
  set(header ${SC_GENERATED_INCLUDE_DIR}/${header_name})
  # Written only when it changes, so that a configure run does not rebuild everything.
  if(EXISTS ${header})
    file(READ ${header} old)
  endif()
  if(NOT "${old}" STREQUAL "${content}")
    file(WRITE ${header} "${content}")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${table} ${SC_GENERAL_CODES} ${CMAKE_CURRENT_FUNCTION_LIST_FILE})
endfunction()
