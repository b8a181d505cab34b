# What cpack makes for Debian, of the components of cmake/install.cmake: `./dev package`.
#
# libtillvane0.1 has the version in its name that the library has in its own, so that two of them can be installed at
# the same time. polkit has one action of a name and pkexec one program for it: they are a package by themselves.

set(runtime libtillvane${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtillvane-dev)
set(CPACK_DEBIAN_PRIVILEGEDTOOL_PACKAGE_NAME tillvane-privileged-tool)

# Debian's own version stands in the changelog.
set(changelog ${PROJECT_SOURCE_DIR}/packaging/debian/changelog)
file(STRINGS ${changelog} first_line LIMIT_COUNT 1)
if(NOT first_line MATCHES "^tillvane \\(${PROJECT_VERSION}-([0-9]+)\\) ")
  message(FATAL_ERROR "packaging/debian/changelog does not begin with an entry of ${PROJECT_VERSION}: ${first_line}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Development PrivilegedTool)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Each package has its own first line.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_PACKAGE_SOURCE tillvane)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "tillvane maintainers <maintainers@tillvane.example>" CACHE STRING
  "Who answers for the Debian packages")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What a package whose programs use the library depends on; only that with the library in it has such a list.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS tillvane-privileged-tool)
# Each is asked over the message bus, where it is there.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "rtkit, xdg-desktop-portal")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "runtime toolkit and store bridge for desktop hosts
With the store bridge a desktop application sells itself through five
functions that keep its interface alive. The toolkit brings waits, signal
objects, threads, locks, text, paths, files, sockets, processes and commands
that can each be asked to stop.

This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "runtime toolkit and store bridge - development files
With the store bridge a desktop application sells itself through five
functions that keep its interface alive; the toolkit brings what such a call
needs.

This package contains the headers, and what CMake's find_package(tillvane) and
pkg-config read.")

set(CPACK_DEBIAN_PRIVILEGEDTOOL_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PRIVILEGEDTOOL_PACKAGE_DEPENDS pkexec)
set(CPACK_DEBIAN_PRIVILEGEDTOOL_DESCRIPTION "runs a tool as the administrator for hosts of libtillvane
A program that uses libtillvane asks polkit for the right
\"system.privilege.admin\" and then runs one tool with it.

This package contains polkit's action of that name, and the program that
pkexec starts for it.")

# What Debian wants to find about each package.
configure_file(${changelog} ${PROJECT_BINARY_DIR}/changelog.Debian COPYONLY)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_BINARY_DIR}/changelog COPYONLY)
execute_process(COMMAND gzip -9nfk changelog changelog.Debian
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR} COMMAND_ERROR_IS_FATAL ANY)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} key)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
    ${PROJECT_BINARY_DIR}/changelog.gz ${PROJECT_BINARY_DIR}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME} COMPONENT ${component})
endforeach()

include(CPack)
