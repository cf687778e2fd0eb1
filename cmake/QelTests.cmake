# Test programs, and how they are compiled.

option(QEL_CLANG_TESTS
    "Compile the tests with Clang, where it is installed, though GCC compiles what they test" OFF)
find_program(QEL_CLANG clang++-14)
mark_as_advanced(QEL_CLANG)

# qel_compile_with_clang()
# Has Clang compile the C++ sources of this folder and of those below it, which takes it much less time than
# GCC. The two share one standard library and one binary interface, so programs link objects of both. A
# macro, as CMake looks up its rules in the scope of the folder.
macro(qel_compile_with_clang)
    string(REPLACE "<CMAKE_CXX_COMPILER>" "${QEL_CLANG}"
        CMAKE_CXX_COMPILE_OBJECT "${CMAKE_CXX_COMPILE_OBJECT}")
    get_directory_property(options COMPILE_OPTIONS)
    list(FILTER options EXCLUDE REGEX "^--param=")
    set_directory_properties(PROPERTIES COMPILE_OPTIONS "${options}")
    # Precompiled headers are those of any copy of the sources: without the files' times.
    set(CMAKE_PCH_EXTENSION .pch)
    set(CMAKE_CXX_COMPILE_OPTIONS_INSTANTIATE_TEMPLATES_PCH -fpch-instantiate-templates)
    set(CMAKE_CXX_COMPILE_OPTIONS_CREATE_PCH -Xclang -fno-pch-timestamp
        -Xclang -emit-pch -Xclang -include -Xclang <PCH_HEADER> -x c++-header)
    set(CMAKE_CXX_COMPILE_OPTIONS_USE_PCH -Xclang -fno-pch-timestamp
        -Xclang -include-pch -Xclang <PCH_FILE> -Xclang -include -Xclang <PCH_HEADER>)
endmacro()

# qel_optimize_little(program)
# Without optimization, sources of tests take a third less time than with -O1, and half of it with Clang and under
# the checkers.
function(qel_optimize_little program)
    target_compile_options(${program} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O0>)
endfunction()

# qel_precompile_headers(program)
# Lets the sources of a test program begin with tests/harness/Precompiled.h, which is compiled once for all
# programs with the same flags. The first of them has it, and may have no definitions. Sources
# with flags of their own are compiled without it, and so are programs with sources in C, as it would be
# compiled for both languages.
function(qel_precompile_headers program)
    get_target_property(flags ${program} COMPILE_OPTIONS)
    string(MD5 flags "${flags}")
    get_property(first GLOBAL PROPERTY QEL_PRECOMPILED_${flags})
    if(first)
        target_precompile_headers(${program} REUSE_FROM ${first})
    else()
        # Without the absolute path, ccache finds the objects from another copy of the sources.
        target_precompile_headers(${program} PRIVATE <tests/harness/Precompiled.h>)
        set_property(GLOBAL PROPERTY QEL_PRECOMPILED_${flags} ${program})
    endif()
endfunction()

# qel_add_tests(name [APART] [COMPUTES] SOURCES files... [LIBRARIES targets...] [DEFINITIONS defs...]
#               [TIMEOUT seconds] [EXHAUSTIVE suites...])
# A GoogleTest executable. ctest knows its suites, each of which is one process; with APART it knows
# every TEST, for tests that need a process of their own. script/test runs every third test of the suites in
# EXHAUSTIVE.
#
# Programs whose tests would take longer without optimization than the compiler saves have COMPUTES.
function(qel_add_tests name)
    cmake_parse_arguments(arg "APART;COMPUTES" "TIMEOUT" "SOURCES;LIBRARIES;DEFINITIONS;EXHAUSTIVE" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    qel_target_defaults(${name})
    if(NOT arg_COMPUTES)
        qel_optimize_little(${name})
    endif()
    target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest GTest::gtest_main)
    if(QEL_TEST_BATCH AND NOT arg_SOURCES MATCHES "\\.c(;|$)")
        qel_precompile_headers(${name})
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 900) # minutes on a busy machine
    endif()
    if(arg_APART)
        # Long ones among them: they go first.
        gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
            PROPERTIES TIMEOUT ${arg_TIMEOUT} COST 1000)
        return()
    endif()
    set(listing ${CMAKE_CURRENT_BINARY_DIR}/${name}_suites.cmake)
    list(JOIN arg_EXHAUSTIVE "," exhaustive)
    set(discover ${PROJECT_SOURCE_DIR}/cmake/DiscoverSuites.cmake)
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${discover})
    add_custom_command(TARGET ${name} POST_BUILD
        BYPRODUCTS ${listing}
        COMMAND ${CMAKE_COMMAND} -D EXECUTABLE=$<TARGET_FILE:${name}> -D LISTING=${listing}
            -D RESULTS=${PROJECT_BINARY_DIR}/suites/${name} -D TIMEOUT=${arg_TIMEOUT}
            -D EXHAUSTIVE=${exhaustive} -P ${discover}
        VERBATIM)
    set(include ${CMAKE_CURRENT_BINARY_DIR}/${name}_include.cmake)
    file(WRITE ${include}
        "if(EXISTS \"${listing}\")\n    include(\"${listing}\")\nelse()\n"
        "    add_test(${name}_NOT_BUILT ${name}_NOT_BUILT)\nendif()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include})
endfunction()
