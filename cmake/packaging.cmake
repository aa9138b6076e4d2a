# Debian packages from the install components (cpack -G DEB in the build tree):
#   libspeechcommon1     Runtime       the shared library and its documents
#   libspeechcommon-dev  Development   headers, CMake package, pkg-config file, unversioned link
#   speechcommon-tools   Tools         the speechcommon tool, its man page and bash completion
# The package version is the project version; the development and tools packages depend on
# the runtime package of exactly that version. Each description's first line is its summary.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME speechcommon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "speechcommon developers")
set(CPACK_PACKAGE_CONTACT "speechcommon developers <speechcommon@localhost>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL Runtime Development Tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_STRIP_FILES ON)

set(sc_runtime_package libspeechcommon${PROJECT_VERSION_MAJOR})
set(sc_runtime_dependency "${sc_runtime_package} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${sc_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "common services of a speech toolkit: shared library
One shared library with a plain C API that speech engines and tools load into their process:
result codes and their messages, heap and lock wrappers, memory probes, safe handles and
resources, guarded objects, arrays and memory blocks; a reader and writer for data header
files; a component broker over installed engines and add-ons; exception dictionaries in
memory or over archive images, with a text stream format; a trace facility.")
# A shlibs file, so that packages linking the library depend on this one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libspeechcommon-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${sc_runtime_dependency}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "common services of a speech toolkit: development files
The C headers (one umbrella header, speechcommon.h), the CMake package
(find_package(speechcommon), target speechcommon::speechcommon) and the pkg-config file
(speechcommon.pc) of libspeechcommon.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME speechcommon-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${sc_runtime_dependency}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the library the tool needs in the build tree (the dependency on its
# package is the one above).
if(CMAKE_LIBRARY_OUTPUT_DIRECTORY)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
endif()
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "common services of a speech toolkit: command-line tool
The speechcommon tool explains result codes, shows, extracts from and packs data header
files, compiles, checks, decompiles and looks words up in exception dictionaries, converts
them to and from W3C pronunciation lexicons, and lists and checks installed components, all
through the library's public API. With a bash completion script.")

include(CPack)
