# The macOS side of the seam. Its backend files are not written yet: configuring for macOS stops here, in plain words.

set(TILLVANE_PLATFORM_LIBRARIES "")
set(TILLVANE_PLATFORM_PUBLIC_HEADERS
  tillvane/platform/mac/native_types_mac.h
)
set(TILLVANE_PLATFORM_SOURCES "")
set(TILLVANE_PLATFORM_TEST_SOURCES "")

# A host loads the library from beside its own executable, whatever the library's folder is called.
function(tillvane_platform_link target)
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME tillvane SUFFIX ".dylib" NO_SONAME ON
    BUILD_WITH_INSTALL_NAME_DIR ON INSTALL_NAME_DIR "@loader_path" VERSION "" SOVERSION "")
endfunction()

function(tillvane_platform_programs)
endfunction()

message(FATAL_ERROR "tillvane: the macOS backend (tillvane/platform/mac) has no sources yet; build on Linux")
