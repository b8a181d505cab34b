# The classes as a 32-bit build lays them out: every portable source is compiled, with its assertions, and a file that
# states places in numbers; the tables of virtual functions are compared with a list. Nothing is linked.

set(TILLVANE_PLATFORM_SOURCES tests/mac/layout_32.cpp)
# Assertions are what counts: the oldest system lacks functions that the sources call, and its headers are of their time.
set(TILLVANE_PLATFORM_OPTIONS -w)

separate_arguments(flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
add_custom_target(tillvane_layout
  COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/check_slots.py ${PROJECT_SOURCE_DIR}/tests/mac/slots.txt
    ${CMAKE_CXX_COMPILER} --target=${CMAKE_CXX_COMPILER_TARGET} ${flags} -std=c++20 -I${PROJECT_SOURCE_DIR}
    ${PROJECT_SOURCE_DIR}/tests/mac/slots.cpp
  VERBATIM)
add_dependencies(tillvane_layout tillvane_objects)
