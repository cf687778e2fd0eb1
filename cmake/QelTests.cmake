# Test programs, and how they are compiled.

# qel_optimize_little(program)
# GCC takes a third less time for sources of tests without optimization than with -O1. With other compilers
# and under a checker, which slows the tests down, they have -O1.
function(qel_optimize_little program)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT QEL_SANITIZE)
        target_compile_options(${program} PRIVATE -O0)
    else()
        target_compile_options(${program} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O1>)
    endif()
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
#               [TIMEOUT seconds])
# A GoogleTest executable. ctest knows its suites, each of which is one process; with APART it knows
# every TEST, for tests that need a process of their own.
#
# Programs whose tests would take longer without optimization than the compiler saves have COMPUTES.
function(qel_add_tests name)
    cmake_parse_arguments(arg "APART;COMPUTES" "TIMEOUT" "SOURCES;LIBRARIES;DEFINITIONS" ${ARGN})
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
    add_custom_command(TARGET ${name} POST_BUILD
        BYPRODUCTS ${listing}
        COMMAND ${CMAKE_COMMAND} -D EXECUTABLE=$<TARGET_FILE:${name}> -D LISTING=${listing}
            -D RESULTS=${PROJECT_BINARY_DIR}/suites/${name} -D TIMEOUT=${arg_TIMEOUT}
            -P ${PROJECT_SOURCE_DIR}/cmake/DiscoverSuites.cmake
        VERBATIM)
    set(include ${CMAKE_CURRENT_BINARY_DIR}/${name}_include.cmake)
    file(WRITE ${include}
        "if(EXISTS \"${listing}\")\n    include(\"${listing}\")\nelse()\n"
        "    add_test(${name}_NOT_BUILT ${name}_NOT_BUILT)\nendif()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include})
endfunction()
