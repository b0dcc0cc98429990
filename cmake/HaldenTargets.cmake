# Compiler settings shared by every target of the project.

set(HALDEN_WARNINGS -Wall -Wextra -Werror -Wshadow -Wnon-virtual-dtor -Wformat=2)

if(HALDEN_SANITIZE)
  set(HALDEN_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${HALDEN_SANITIZER_FLAGS})
  add_link_options(${HALDEN_SANITIZER_FLAGS})
endif()

# Project defaults for one target: warnings as errors, hidden symbols.
function(halden_defaults target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:${HALDEN_WARNINGS}>
    $<$<COMPILE_LANGUAGE:C>:-Wall -Wextra -Werror>)
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# A static library of the project, linked into the shared libraries.
function(halden_static_library target)
  add_library(${target} STATIC ${ARGN})
  halden_defaults(${target})
endfunction()

# A GoogleTest program registered with ctest, one ctest entry per test case.
function(halden_gtest target)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${target} ${T_SOURCES})
  halden_defaults(${target})
  target_link_libraries(${target} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main Threads::Threads)
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST
    PROPERTIES ENVIRONMENT "HALDEN_TEST_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
endfunction()
