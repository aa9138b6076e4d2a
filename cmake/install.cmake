# What `cmake --install` puts in place, in three components that become the Debian packages:
#   Runtime      the library (real file and SONAME link) and its documents
#   Development  the headers, the CMake package, the pkg-config file, the unversioned link and
#                the API reference (when built)
#   Tools        the speechcommon tool, its man page and its bash completion
# Every path is relative to the prefix, so an installed tree works wherever it is moved.
include(CMakePackageConfigHelpers)

set(SC_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/speechcommon)
set(SC_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/speechcommon)
set(SC_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS speechcommon EXPORT speechcommonTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT Runtime
    NAMELINK_COMPONENT Development)
# The headers of include/ and those generated into the build tree, side by side.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${SC_GENERATED_INCLUDE_DIR}/
  DESTINATION ${SC_INSTALL_INCLUDEDIR}
  COMPONENT Development
  FILES_MATCHING PATTERN "*.h")

# CMake package: find_package(speechcommon 1.0) gives the target speechcommon::speechcommon;
# any 1.x satisfies a request for 1.0, a request for 2 is refused.
install(EXPORT speechcommonTargets
  NAMESPACE speechcommon::
  DESTINATION ${SC_INSTALL_CMAKEDIR}
  COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/speechcommonConfig.cmake.in
  ${PROJECT_BINARY_DIR}/speechcommonConfig.cmake
  INSTALL_DESTINATION ${SC_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/speechcommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/speechcommonConfig.cmake
  ${PROJECT_BINARY_DIR}/speechcommonConfigVersion.cmake
  DESTINATION ${SC_INSTALL_CMAKEDIR}
  COMPONENT Development)

# pkg-config file. Its prefix is found from its own place (${pcfiledir}), so it stays right
# when the installed tree moves; a directory given as an absolute path stays as given.
function(sc_pc_path out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()
if(IS_ABSOLUTE "${SC_INSTALL_PKGCONFIGDIR}")
  set(SC_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up /root/${SC_INSTALL_PKGCONFIGDIR} /root)
  string(REGEX REPLACE "/$" "" up "${up}")
  set(SC_PC_PREFIX "\${pcfiledir}/${up}")
endif()
sc_pc_path(SC_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
sc_pc_path(SC_PC_INCLUDEDIR "${SC_INSTALL_INCLUDEDIR}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/speechcommon.pc.in ${PROJECT_BINARY_DIR}/speechcommon.pc
  @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/speechcommon.pc
  DESTINATION ${SC_INSTALL_PKGCONFIGDIR}
  COMPONENT Development)

install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE
  ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/speechcommon
  COMPONENT Runtime)
# The API reference, when it was built (SC_BUILD_DOCS), goes with the headers it describes.
if(SC_BUILD_DOCS)
  install(DIRECTORY ${SC_DOCS_HTML}/
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/speechcommon/html
    COMPONENT Development)
endif()

if(TARGET speechcommon_cli)
  # The tool finds the library beside it in the installed tree, whatever the prefix.
  if(IS_ABSOLUTE "${CMAKE_INSTALL_BINDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(sc_tool_rpath "${CMAKE_INSTALL_FULL_LIBDIR}")
  else()
    file(RELATIVE_PATH bin_to_lib /root/${CMAKE_INSTALL_BINDIR} /root/${CMAKE_INSTALL_LIBDIR})
    set(sc_tool_rpath "$ORIGIN/${bin_to_lib}")
  endif()
  set_target_properties(speechcommon_cli PROPERTIES INSTALL_RPATH "${sc_tool_rpath}")
  install(TARGETS speechcommon_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
  # The bash completion script (tools/CMakeLists.txt makes it with the tool), where
  # bash-completion looks for it on demand.
  install(FILES ${SC_COMPLETION_SCRIPT}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
    RENAME speechcommon
    COMPONENT Tools)

  # The man page is made from the tool's own --help and --version, with the sections of
  # speechcommon.h2m added. help2man runs its program through the shell, so it is given a path
  # without blanks: the tool from its own directory.
  find_program(SC_HELP2MAN help2man)
  if(SC_HELP2MAN)
    set(man_page ${PROJECT_BINARY_DIR}/speechcommon.1)
    add_custom_command(OUTPUT ${man_page}
      COMMAND ${SC_HELP2MAN} --no-info --no-discard-stderr
        "--name=the common services of a speech toolkit from the command line"
        --include=${PROJECT_SOURCE_DIR}/cmake/speechcommon.h2m
        --output=${man_page} ./$<TARGET_FILE_NAME:speechcommon_cli>
      WORKING_DIRECTORY $<TARGET_FILE_DIR:speechcommon_cli>
      DEPENDS speechcommon_cli ${PROJECT_SOURCE_DIR}/cmake/speechcommon.h2m
      COMMENT "Writing the man page speechcommon.1"
      VERBATIM)
    add_custom_target(speechcommon_man ALL DEPENDS ${man_page})
    install(FILES ${man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
  else()
    message(STATUS "help2man not found: the tool's man page is not built (Debian: help2man)")
  endif()
endif()
