# The names a set of public headers export: every declaration marked with the export macro
# SC_API, a function ("SC_API VQRESULT edct_DctOpen(") or a constant
# ("SC_API extern const SafeHandle g_vqNullHandle;"). Headers are read from each directory
# given, in sorted order; the list comes back sorted, without duplicates.
function(sc_exported_names out)
  set(names "")
  foreach(dir IN LISTS ARGN)
    file(GLOB headers "${dir}/*.h")
    list(SORT headers)
    foreach(header IN LISTS headers)
      file(STRINGS "${header}" lines REGEX "SC_API ")
      foreach(line IN LISTS lines)
        if(line MATCHES "SC_API extern const [A-Za-z_]+ ([A-Za-z_][A-Za-z0-9_]*)")
          list(APPEND names "${CMAKE_MATCH_1}")
        elseif(line MATCHES "SC_API [^(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\\(")
          list(APPEND names "${CMAKE_MATCH_1}")
        endif()
      endforeach()
    endforeach()
  endforeach()
  list(SORT names)
  list(REMOVE_DUPLICATES names)
  set(${out} "${names}" PARENT_SCOPE)
endfunction()
