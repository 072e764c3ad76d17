# Every target of the project is made by one of these functions, so that warnings, include paths and test
# registration are the same everywhere.

# What whoever uses a library of the project needs, too.
add_library(PellamHeaders INTERFACE)
target_include_directories(PellamHeaders INTERFACE "${PROJECT_SOURCE_DIR}/include" "${PROJECT_SOURCE_DIR}")
target_compile_features(PellamHeaders INTERFACE cxx_std_20)
find_package(Threads REQUIRED)
target_link_libraries(PellamHeaders INTERFACE Threads::Threads)

# How the project's own sources are compiled.
add_library(PellamOptions INTERFACE)
# A Mac's own headers and compilers may warn of what has not been seen yet; that must not keep anybody from building.
# scripts/macos-check makes every warning an error by itself.
target_compile_options(PellamOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wimplicit-fallthrough $<$<NOT:$<PLATFORM_ID:Darwin>>:-Werror> -fstack-protector-strong)
# GCC 12 sees overlapping copies in std::string at -O3 that are not there (its bug 105651).
target_compile_options(PellamOptions INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# At -O3 it takes the alternatives that a moved std::variant does not hold for uninitialized ones; Clang and the
# sanitizers watch over real ones.
target_compile_options(PellamOptions INTERFACE
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-maybe-uninitialized>)

# pellam_library(NAME SOURCES a.cpp ... LINKS lib ...)
function(pellam_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC PellamHeaders ${ARG_LINKS} PRIVATE PellamOptions ${ARG_PRIVATE_LINKS})
endfunction()

# pellam_program(NAME SOURCES main.cpp ... LINKS lib ...)
function(pellam_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE PellamHeaders PellamOptions ${ARG_LINKS})
endfunction()

# A system without an installed GoogleTest builds it from a folder with its sources.
set(PELLAM_GOOGLETEST_SOURCE "" CACHE PATH "A folder with the sources of GoogleTest; empty: the installed one")
if(PELLAM_BUILD_TESTS AND PELLAM_GOOGLETEST_SOURCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory("${PELLAM_GOOGLETEST_SOURCE}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
endif()

# pellam_test(NAME [EVERYWHERE] SOURCES x_test.cpp ... LINKS lib ... [TIMEOUT seconds] [ENVIRONMENT A=B ...])
# One GoogleTest program per component, registered once with CTest. Exit status 77 means skipped. Where the system
# is Apple's, only what is marked EVERYWHERE is built: the other tests bring the tools of the other system along.
function(pellam_test name)
  cmake_parse_arguments(ARG "EVERYWHERE" "TIMEOUT" "SOURCES;LINKS;ENVIRONMENT" ${ARGN})
  if(NOT PELLAM_BUILD_TESTS OR (APPLE AND NOT ARG_EVERYWHERE))
    return()
  endif()
  if(NOT TARGET GTest::gtest_main)
    find_package(GTest REQUIRED)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE PellamHeaders PellamOptions ${ARG_LINKS} GTest::gtest_main)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} SKIP_RETURN_CODE 77)
  if(ARG_ENVIRONMENT)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${ARG_ENVIRONMENT}")
  endif()
endfunction()
