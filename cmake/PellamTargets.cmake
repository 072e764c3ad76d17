# Every target of the project is made by one of these functions, so that warnings, include paths, output folders and test
# registration are the same everywhere. Nothing here sets a variable that a guest's own targets would inherit.
find_package(Threads REQUIRED)

# What whoever uses a library of the project needs, too: the public headers, and nothing else of the tree.
add_library(PellamHeaders INTERFACE)
target_include_directories(PellamHeaders INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>")
target_compile_features(PellamHeaders INTERFACE cxx_std_20)
target_link_libraries(PellamHeaders INTERFACE Threads::Threads)

# How the project's own sources are compiled.
add_library(PellamOptions INTERFACE)
target_include_directories(PellamOptions INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(PellamOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wimplicit-fallthrough $<$<BOOL:${PELLAM_WARNINGS_AS_ERRORS}>:-Werror> -fstack-protector-strong)
# Nobody puts functions of their own in the place of ours, so that these are inlined where the code is fit for a shared
# library, too; Clang takes that for granted.
target_compile_options(PellamOptions INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
# GCC 12 sees overlapping copies in std::string at -O3 that are not there (its bug 105651).
target_compile_options(PellamOptions INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# Optimizing, it takes the alternatives that a moved std::variant does not hold for uninitialized ones; Clang and the
# sanitizers watch over real ones.
target_compile_options(PellamOptions INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)

set(PELLAM_PROGRAM_FOLDER "${PROJECT_BINARY_DIR}/bin")

function(pellam_target_settings name)
  set_target_properties(${name} PROPERTIES
    CXX_EXTENSIONS OFF OBJCXX_STANDARD 20 OBJCXX_STANDARD_REQUIRED ON OBJCXX_EXTENSIONS OFF
    # Libraries are fit for a shared one, in which only the public headers' names are seen.
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden OBJCXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    RUNTIME_OUTPUT_DIRECTORY "${PELLAM_PROGRAM_FOLDER}")
endfunction()

# pellam_library(NAME SOURCES a.cpp ... LINKS lib ... PRIVATE_LINKS lib ...)
# A component: always a static library. What only its own sources include is linked with PRIVATE_LINKS.
function(pellam_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  pellam_target_settings(${name})
  target_link_libraries(${name} PUBLIC PellamHeaders ${ARG_LINKS} PRIVATE PellamOptions ${ARG_PRIVATE_LINKS})
endfunction()

# pellam_program(NAME SOURCES main.cpp ... LINKS lib ...)
function(pellam_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  pellam_target_settings(${name})
  target_link_libraries(${name} PRIVATE PellamHeaders PellamOptions ${ARG_LINKS})
endfunction()

# The static libraries of the project that the target needs, itself included, and the libraries of others.
function(pellam_collect_components target components_name externals_name)
  set(found ${${components_name}})
  set(foreign ${${externals_name}})
  if(NOT target IN_LIST found)
    list(APPEND found ${target})
    get_target_property(links ${target} LINK_LIBRARIES)
    foreach(link IN LISTS links)
      if(TARGET "${link}" AND NOT link MATCHES "::")
        get_target_property(type ${link} TYPE)
        if(type STREQUAL "STATIC_LIBRARY")
          pellam_collect_components(${link} found foreign)
        endif()
      else()
        list(APPEND foreign "${link}")
      endif()
    endforeach()
  endif()
  set(${components_name} ${found} PARENT_SCOPE)
  set(${externals_name} ${foreign} PARENT_SCOPE)
endfunction()

# pellam_product(NAME ALIAS Pellam::X FROM component)
# What applications link: the components as they are or, with BUILD_SHARED_LIBS, one shared library of them with the project's
# version in its name. An application links one product.
function(pellam_product name)
  cmake_parse_arguments(ARG "" "ALIAS;FROM" "" ${ARGN})
  if(BUILD_SHARED_LIBS)
    pellam_shared_library(${name} FROM ${ARG_FROM})
    string(REPLACE "::" "" output "${ARG_ALIAS}")
    set_target_properties(${name} PROPERTIES OUTPUT_NAME ${output})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE PellamHeaders ${ARG_FROM})
  endif()
  add_library(${ARG_ALIAS} ALIAS ${name})
endfunction()

function(pellam_shared_library name)
  cmake_parse_arguments(ARG "" "FROM" "" ${ARGN})
  set(components "")
  set(externals "")
  pellam_collect_components(${ARG_FROM} components externals)
  list(REMOVE_DUPLICATES components)
  list(TRANSFORM components REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  list(REMOVE_DUPLICATES externals)
  add_library(${name} SHARED ${objects})
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
  target_link_libraries(${name} PUBLIC PellamHeaders PRIVATE ${externals})
  # Whatever is missing is found here and not at an application's start.
  target_link_options(${name} PRIVATE $<$<PLATFORM_ID:Linux>:LINKER:-z,defs>)
endfunction()

# A system without an installed GoogleTest builds it from a folder with its sources.
set(PELLAM_GOOGLETEST_SOURCE "" CACHE PATH "A folder with the sources of GoogleTest; empty: the installed one")
if(PELLAM_BUILD_TESTS AND PELLAM_GOOGLETEST_SOURCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory("${PELLAM_GOOGLETEST_SOURCE}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
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
  pellam_program(${name} SOURCES ${ARG_SOURCES} LINKS ${ARG_LINKS} GTest::gtest_main)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} SKIP_RETURN_CODE 77)
  if(ARG_ENVIRONMENT)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${ARG_ENVIRONMENT}")
  endif()
endfunction()
