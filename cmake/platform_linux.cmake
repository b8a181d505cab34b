# The Linux side of the seam: its files, its libraries, its way to link.

find_package(PkgConfig REQUIRED)
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(UDEV REQUIRED IMPORTED_TARGET libudev)
find_package(nlohmann_json REQUIRED)

set(TILLVANE_PLATFORM_OPTIONS "")
set(TILLVANE_PLATFORM_LIBRARIES
  PkgConfig::GIO PkgConfig::GLIB PkgConfig::ICU PkgConfig::PLIST PkgConfig::SQLITE PkgConfig::UDEV
  $<BUILD_INTERFACE:nlohmann_json::nlohmann_json>)

set(TILLVANE_PLATFORM_PUBLIC_HEADERS
  tillvane/platform/linux/native_types_linux.h
)

set(TILLVANE_PLATFORM_SOURCES
  tillvane/platform/linux/application_signature_linux.cpp
  tillvane/platform/linux/authorization_linux.cpp
  tillvane/platform/linux/block_device_linux.cpp
  tillvane/platform/linux/child_program_linux.cpp
  tillvane/platform/linux/code_page_linux.cpp
  tillvane/platform/linux/crash_backtrace_linux.cpp
  tillvane/platform/linux/descriptor_watch_linux.cpp
  tillvane/platform/linux/document_portal_linux.cpp
  tillvane/platform/linux/durable_folder_linux.cpp
  tillvane/platform/linux/event_handlers_linux.cpp
  tillvane/platform/linux/event_linux.cpp
  tillvane/platform/linux/event_loop_linux.cpp
  tillvane/platform/linux/event_pool_linux.cpp
  tillvane/platform/linux/event_queue_linux.cpp
  tillvane/platform/linux/file_bytes_linux.cpp
  tillvane/platform/linux/file_copy_linux.cpp
  tillvane/platform/linux/file_identity_linux.cpp
  tillvane/platform/linux/file_object_linux.cpp
  tillvane/platform/linux/file_spec_linux.cpp
  tillvane/platform/linux/info_plist_linux.cpp
  tillvane/platform/linux/json_reader_linux.cpp
  tillvane/platform/linux/known_folders_linux.cpp
  tillvane/platform/linux/launch_arguments_linux.cpp
  tillvane/platform/linux/locale_name_linux.cpp
  tillvane/platform/linux/main_bundle_linux.cpp
  tillvane/platform/linux/message_bus_linux.cpp
  tillvane/platform/linux/money_linux.cpp
  tillvane/platform/linux/mount_table_linux.cpp
  tillvane/platform/linux/mount_walk_linux.cpp
  tillvane/platform/linux/native_string_linux.cpp
  tillvane/platform/linux/native_url_linux.cpp
  tillvane/platform/linux/network_mount_linux.cpp
  tillvane/platform/linux/pipe_linux.cpp
  tillvane/platform/linux/plist_size_linux.cpp
  tillvane/platform/linux/preference_store_linux.cpp
  tillvane/platform/linux/preferences_file_linux.cpp
  tillvane/platform/linux/preferences_format_linux.cpp
  tillvane/platform/linux/preferences_linux.cpp
  tillvane/platform/linux/process_table_linux.cpp
  tillvane/platform/linux/process_walk_linux.cpp
  tillvane/platform/linux/processor_linux.cpp
  tillvane/platform/linux/realtime_kit_linux.cpp
  tillvane/platform/linux/run_loop_linux.cpp
  tillvane/platform/linux/scoped_bookmark_linux.cpp
  tillvane/platform/linux/scoped_url_linux.cpp
  tillvane/platform/linux/small_file_linux.cpp
  tillvane/platform/linux/store_catalogue_linux.cpp
  tillvane/platform/linux/store_ledger_database_linux.cpp
  tillvane/platform/linux/store_ledger_files_linux.cpp
  tillvane/platform/linux/store_ledger_linux.cpp
  tillvane/platform/linux/store_ledger_lock_linux.cpp
  tillvane/platform/linux/store_service_linux.cpp
  tillvane/platform/linux/store_settings_linux.cpp
  tillvane/platform/linux/store_worker_linux.cpp
  tillvane/platform/linux/stream_socket_linux.cpp
  tillvane/platform/linux/string_array_linux.cpp
  tillvane/platform/linux/system_version_linux.cpp
  tillvane/platform/linux/thread_id_linux.cpp
  tillvane/platform/linux/user_dirs_linux.cpp
  tillvane/platform/linux/volume_linux.cpp
  tillvane/platform/linux/workspace_linux.cpp
  tillvane/platform/posix/account_posix.cpp
  tillvane/platform/posix/child_program_posix.cpp
  tillvane/platform/posix/file_bytes_posix.cpp
  tillvane/platform/posix/locked_file_posix.cpp
  tillvane/platform/posix/pipe_posix.cpp
)

set(TILLVANE_PLATFORM_TEST_SOURCES
  tillvane/platform/linux/application_signature_linux_test.cpp
  tillvane/platform/linux/charsets_linux_test.cpp
  tillvane/platform/linux/child_program_linux_test.cpp
  tillvane/platform/linux/code_page_linux_test.cpp
  tillvane/platform/linux/descriptor_watch_linux_test.cpp
  tillvane/platform/linux/document_portal_linux_test.cpp
  tillvane/platform/linux/event_flush_linux_test.cpp
  tillvane/platform/linux/event_handlers_linux_test.cpp
  tillvane/platform/linux/event_linux_test.cpp
  tillvane/platform/linux/event_loop_linux_test.cpp
  tillvane/platform/linux/event_queue_linux_test.cpp
  tillvane/platform/linux/file_copy_linux_test.cpp
  tillvane/platform/linux/file_object_linux_test.cpp
  tillvane/platform/linux/foreign_loop_linux_test.cpp
  tillvane/platform/linux/info_plist_linux_test.cpp
  tillvane/platform/linux/json_reader_linux_test.cpp
  tillvane/platform/linux/known_folders_linux_test.cpp
  tillvane/platform/linux/launch_arguments_linux_test.cpp
  tillvane/platform/linux/main_bundle_linux_test.cpp
  tillvane/platform/linux/main_thread_dispatch_linux_test.cpp
  tillvane/platform/linux/money_linux_test.cpp
  tillvane/platform/linux/mount_table_linux_test.cpp
  tillvane/platform/linux/mount_walk_linux_test.cpp
  tillvane/platform/linux/nested_loops_linux_test.cpp
  tillvane/platform/linux/network_mount_linux_test.cpp
  tillvane/platform/linux/preference_store_linux_test.cpp
  tillvane/platform/linux/preferences_format_linux_test.cpp
  tillvane/platform/linux/preferences_linux_test.cpp
  tillvane/platform/linux/scoped_bookmark_linux_test.cpp
  tillvane/platform/linux/scoped_url_linux_test.cpp
  tillvane/platform/linux/signals_blocked_linux_test.cpp
  tillvane/platform/linux/store_catalogue_linux_test.cpp
  tillvane/platform/linux/store_ledger_files_linux_test.cpp
  tillvane/platform/linux/store_ledger_linux_test.cpp
  tillvane/platform/linux/store_service_linux_test.cpp
  tillvane/platform/linux/stream_socket_linux_test.cpp
  tillvane/platform/linux/string_array_linux_test.cpp
  tillvane/platform/linux/system_version_linux_test.cpp
  tillvane/platform/linux/thread_id_linux_test.cpp
  tillvane/platform/linux/user_dirs_linux_test.cpp
  tillvane/platform/linux/volume_linux_test.cpp
)

# Only the toolkit's and the bridge's own names leave the library.
function(tillvane_platform_link target)
  set(script ${PROJECT_SOURCE_DIR}/cmake/tillvane.map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
  # clang leaves the sanitizers' own functions to the executable.
  if(NOT TILLVANE_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  # Below 1.0 a minor version may break what was there: it is another library then, that can stand beside the old one.
  # The map's version says the same of each name.
  set(soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${soversion} LINK_DEPENDS ${script})
endfunction()

# What pkexec starts as the administrator. It lies beside the library, as it does where a host ships both.
function(tillvane_platform_programs)
  add_executable(tillvane-privileged-tool packaging/linux/privileged_tool.cpp)
  target_include_directories(tillvane-privileged-tool PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(tillvane-privileged-tool PRIVATE tillvane_build_flags)
  add_dependencies(tillvane tillvane-privileged-tool)

  # Where the library looks for it: where it was to be installed, and in the same place of a tree that was moved.
  set(to_libexec ${CMAKE_INSTALL_FULL_LIBEXECDIR})
  cmake_path(RELATIVE_PATH to_libexec BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR})
  set_property(SOURCE tillvane/platform/linux/authorization_linux.cpp APPEND PROPERTY COMPILE_DEFINITIONS
    TILLVANE_LIBEXEC_FOLDER="${CMAKE_INSTALL_FULL_LIBEXECDIR}" TILLVANE_LIBEXEC_FROM_LIBRARY="${to_libexec}")
endfunction()
