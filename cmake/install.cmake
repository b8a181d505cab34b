# What `cmake --install` puts where: the library, its public headers, and what find_package and pkg-config read. GLib,
# ICU, SQLite, libplist and the rest stay inside the library, so a user of the package needs none of their headers.
#
# Components, for `cmake --install --component` and for packages: Runtime is what a program needs to run, Development
# what it needs to be built, PrivilegedTool what one machine has once, whatever versions of the library are there.

include(CMakePackageConfigHelpers)

set(TILLVANE_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/tillvane)

install(TARGETS tillvane EXPORT tillvane
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)

# The package needs no other one, so that the exported targets are the whole configuration.
install(EXPORT tillvane
  FILE tillvaneConfig.cmake NAMESPACE tillvane:: DESTINATION ${TILLVANE_INSTALL_CMAKEDIR}
  COMPONENT Development)
# Below 1.0 a minor version may break what was there.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tillvaneConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tillvaneConfigVersion.cmake DESTINATION ${TILLVANE_INSTALL_CMAKEDIR}
  COMPONENT Development)

# Seen from where the file lies, so that the installed tree can be moved.
set(TILLVANE_PC_DIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${TILLVANE_PC_DIR} OUTPUT_VARIABLE TILLVANE_PC_PREFIX)
cmake_path(APPEND TILLVANE_PC_LIBDIR "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND TILLVANE_PC_INCLUDEDIR "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/tillvane.pc.in ${PROJECT_BINARY_DIR}/tillvane.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tillvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# The program that polkit starts for a tool, and the action that names it by its path: that is known only when it is
# installed, since a prefix may be given then. polkit reads the actions of /usr/share, and newer ones of /usr/local/share.
if(TARGET tillvane-privileged-tool)
  install(TARGETS tillvane-privileged-tool RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}
    COMPONENT PrivilegedTool)
  install(CODE "set(TILLVANE_HELPER \"${CMAKE_INSTALL_LIBEXECDIR}/tillvane-privileged-tool\")
    cmake_path(ABSOLUTE_PATH TILLVANE_HELPER BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" NORMALIZE)
    string(REPLACE \"&\" \"&amp;\" TILLVANE_HELPER \"\${TILLVANE_HELPER}\")
    string(REPLACE \"<\" \"&lt;\" TILLVANE_HELPER \"\${TILLVANE_HELPER}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/packaging/linux/system.privilege.admin.policy.in\"
      \"${PROJECT_BINARY_DIR}/system.privilege.admin.policy\" @ONLY)"
    COMPONENT PrivilegedTool)
  install(FILES ${PROJECT_BINARY_DIR}/system.privilege.admin.policy
    DESTINATION ${CMAKE_INSTALL_DATADIR}/polkit-1/actions COMPONENT PrivilegedTool)
endif()
