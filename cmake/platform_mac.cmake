# The macOS side of the seam: its files, its frameworks, its way to link.

# A weak one may be missing where the library is loaded.
set(TILLVANE_PLATFORM_LIBRARIES
  "-framework AppKit"
  "-framework ApplicationServices"
  "-framework Carbon"
  "-framework CoreFoundation"
  "-framework CoreServices"
  "-framework Foundation"
  "-framework Security"
  "-weak_framework StoreKit"
  -liconv
  -lobjc
)

set(TILLVANE_PLATFORM_PUBLIC_HEADERS
  tillvane/platform/mac/native_types_foundation_mac.h
  tillvane/platform/mac/native_types_mac.h
)

set(TILLVANE_PLATFORM_SOURCES
  tillvane/platform/mac/authorization_mac.cpp
  tillvane/platform/mac/child_program_mac.cpp
  tillvane/platform/mac/code_page_mac.cpp
  tillvane/platform/mac/crash_backtrace_mac.cpp
  tillvane/platform/mac/descriptor_watch_mac.cpp
  tillvane/platform/mac/event_handlers_mac.cpp
  tillvane/platform/mac/event_mac.cpp
  tillvane/platform/mac/event_queue_mac.cpp
  tillvane/platform/mac/file_copy_mac.cpp
  tillvane/platform/mac/file_object_mac.cpp
  tillvane/platform/mac/file_reference_mac.cpp
  tillvane/platform/mac/file_spec_mac.cpp
  tillvane/platform/mac/foundation_text_mac.mm
  tillvane/platform/mac/known_folders_mac.mm
  tillvane/platform/mac/locale_name_mac.cpp
  tillvane/platform/mac/main_bundle_mac.mm
  tillvane/platform/mac/money_mac.mm
  tillvane/platform/mac/native_string_mac.cpp
  tillvane/platform/mac/native_url_mac.cpp
  tillvane/platform/mac/pipe_mac.cpp
  tillvane/platform/mac/preferences_mac.mm
  tillvane/platform/mac/process_table_mac.cpp
  tillvane/platform/mac/processor_mac.cpp
  tillvane/platform/mac/run_loop_mac.cpp
  tillvane/platform/mac/scoped_url_mac.mm
  tillvane/platform/mac/store_observer_mac.mm
  tillvane/platform/mac/store_request_delegate_mac.mm
  tillvane/platform/mac/store_service_mac.mm
  tillvane/platform/mac/stream_socket_mac.cpp
  tillvane/platform/mac/string_array_mac.mm
  tillvane/platform/mac/system_version_mac.cpp
  tillvane/platform/mac/thread_id_mac.cpp
  tillvane/platform/mac/tillvane_manager_mac.mm
  tillvane/platform/mac/volume_mac.cpp
  tillvane/platform/mac/workspace_mac.mm
  tillvane/platform/posix/account_posix.cpp
  tillvane/platform/posix/child_program_posix.cpp
  tillvane/platform/posix/file_bytes_posix.cpp
  tillvane/platform/posix/locked_file_posix.cpp
  tillvane/platform/posix/pipe_posix.cpp
)

set(TILLVANE_PLATFORM_TEST_SOURCES "")

set(TILLVANE_BUNDLE_IDENTIFIER tillvane CACHE STRING
  "Whose preferences are asked for the user's locale where the system names none")
set_source_files_properties(tillvane/platform/mac/locale_name_mac.cpp PROPERTIES
  COMPILE_DEFINITIONS "TILLVANE_BUNDLE_IDENTIFIER=\"${TILLVANE_BUNDLE_IDENTIFIER}\"")

# A function of a system newer than the oldest that is served is called only where @available or dlsym says that it is
# there.
set(TILLVANE_PLATFORM_OPTIONS -Werror=unguarded-availability)

find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_program(TILLVANE_CXXFILT NAMES llvm-cxxfilt c++filt HINTS ${TILLVANE_LLVM} REQUIRED)

# A host loads the library from beside its own executable, whatever the library's folder is called. Only the toolkit's
# and the bridge's own names leave it: those that cmake/tillvane.map names.
function(tillvane_platform_link target)
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME tillvane SUFFIX ".dylib" BUILD_WITH_INSTALL_NAME_DIR ON INSTALL_NAME_DIR "@loader_path")
  set(script ${PROJECT_SOURCE_DIR}/cmake/tillvane.map)
  set(exports ${PROJECT_BINARY_DIR}/tillvane.exports)
  add_custom_command(OUTPUT ${exports}
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/mac/exports.py --nm ${CMAKE_NM}
      --cxxfilt ${TILLVANE_CXXFILT} --output ${exports} ${script} $<TARGET_OBJECTS:tillvane_objects>
    DEPENDS ${PROJECT_SOURCE_DIR}/tools/mac/exports.py ${script} $<TARGET_OBJECTS:tillvane_objects>
    COMMAND_EXPAND_LISTS VERBATIM)
  add_custom_target(tillvane_exports DEPENDS ${exports})
  add_dependencies(${target} tillvane_exports)
  target_link_options(${target} PRIVATE -Wl,-exported_symbols_list,${exports})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${exports})
  tillvane_allow_missing(${target})
endfunction()

# What the macOS side lacks so far; tools/check_mac.py holds the list to what is really missing.
function(tillvane_allow_missing target)
  set(list ${PROJECT_SOURCE_DIR}/tests/mac/missing.txt)
  file(STRINGS ${list} missing REGEX "^platform::")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  if(missing)
    target_link_options(${target} PRIVATE -Wl,-undefined,dynamic_lookup)
  endif()
endfunction()

function(tillvane_platform_programs)
endfunction()

if(TILLVANE_MAC_ARCH STREQUAL "i386")
  include(${PROJECT_SOURCE_DIR}/cmake/mac_layout.cmake)
endif()
