# Toolchain file: builds for macOS on another system. tools/mac/ has the compiler, tests/mac/sdk/ what Apple's frameworks
# declare, as far as we use it. Presets mac-x86_64 and mac-arm64 name it; nothing else of the build knows of it.

set(CMAKE_SYSTEM_NAME Darwin)
set(TILLVANE_MAC_ARCH x86_64 CACHE STRING "x86_64 or arm64")
set(CMAKE_SYSTEM_PROCESSOR ${TILLVANE_MAC_ARCH})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TILLVANE_MAC_ARCH)
# A program needs what the host has.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH TILLVANE_MAC_ROOT)
set(TILLVANE_MAC_SDK ${TILLVANE_MAC_ROOT}/tests/mac/sdk)
set(TILLVANE_MAC_MINIMUM 11.0)

set(CMAKE_CXX_COMPILER ${TILLVANE_MAC_ROOT}/tools/mac/clang++)
string(REPLACE arm64 aarch64 CMAKE_CXX_COMPILER_TARGET ${TILLVANE_MAC_ARCH}-macos.${TILLVANE_MAC_MINIMUM})
# The frameworks stand where a system's own do, so that the compiler treats both alike.
set(CMAKE_CXX_FLAGS_INIT
  "-iframework ${TILLVANE_MAC_SDK} -isystem ${TILLVANE_MAC_SDK}/usr/include -fno-sanitize=undefined")

find_program(TILLVANE_LLVM_NM NAMES llvm-nm HINTS /usr/lib/llvm-14/bin REQUIRED)
cmake_path(GET TILLVANE_LLVM_NM PARENT_PATH TILLVANE_LLVM)
foreach(tool AR NM RANLIB STRIP)
  string(TOLOWER llvm-${tool} name)
  set(CMAKE_${tool} ${TILLVANE_LLVM}/${name})
endforeach()
set(CMAKE_INSTALL_NAME_TOOL ${TILLVANE_LLVM}/llvm-install-name-tool)
