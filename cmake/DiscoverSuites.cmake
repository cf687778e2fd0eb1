# Lists the suites of a GoogleTest program as tests of ctest, one process per suite: run by
# qel_add_tests after a program is linked.
#
#   cmake -D EXECUTABLE=... -D LISTING=... -D RESULTS=... -D TIMEOUT=... -D EXHAUSTIVE=SUITE,...
#       -P DiscoverSuites.cmake
#
# LISTING is the file that ctest reads. Each process leaves its tests by name and time in RESULTS, as
# NAME.xml, where script/test-times finds them.
#
# Suites in EXHAUSTIVE are split into three processes, each with every third of their tests. The second and third
# have the label "exhaustive", which script/test leaves out.

cmake_minimum_required(VERSION 3.25)

# add_process(NAME SUITE COST PROPERTIES): appends a test of ctest to `listing`.
macro(add_process name suite cost properties)
    string(REPLACE "/" "-" file ${name})
    string(APPEND listing
        "add_test([=[${name}]=] [=[${EXECUTABLE}]=] [=[--gtest_filter=${suite}.*]=] "
        "[=[--gtest_output=xml:${RESULTS}/${file}.xml]=])\n"
        "set_tests_properties([=[${name}]=] PROPERTIES TIMEOUT ${TIMEOUT} COST ${cost} ${properties})\n")
endmacro()

execute_process(
    COMMAND ${EXECUTABLE} --gtest_list_tests
    OUTPUT_VARIABLE output
    COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" "," output "${output}")
string(REPLACE "\n" ";" lines "${output}")
set(suites "")
foreach(line IN LISTS lines)
    if(line MATCHES "^([A-Za-z0-9_/]+)\\.( |$)")
        set(suite ${CMAKE_MATCH_1})
        list(APPEND suites ${suite})
        set(tests 0)
    elseif(line MATCHES "^  [^ ]")
        math(EXPR tests "${tests} + 1")
        set(tests_${suite} ${tests})
    endif()
endforeach()
if(NOT suites)
    message(FATAL_ERROR "${EXECUTABLE} lists no tests")
endif()

string(REPLACE "," ";" EXHAUSTIVE "${EXHAUSTIVE}")
foreach(suite IN LISTS EXHAUSTIVE)
    if(NOT suite IN_LIST suites)
        message(FATAL_ERROR "${EXECUTABLE} has no suite ${suite}")
    endif()
endforeach()

# The longest lists go first, so that no processor is left with one of them at the end.
set(listing "")
foreach(suite IN LISTS suites)
    if(NOT suite IN_LIST EXHAUSTIVE)
        add_process(${suite} ${suite} ${tests_${suite}} "")
        continue()
    endif()
    math(EXPR third "${tests_${suite}} / 3")
    set(shard "ENVIRONMENT [=[GTEST_TOTAL_SHARDS=3;GTEST_SHARD_INDEX")
    add_process(${suite} ${suite} ${third} "${shard}=0]=]")
    add_process(Second/${suite} ${suite} ${third} "${shard}=1]=] LABELS exhaustive")
    add_process(Third/${suite} ${suite} ${third} "${shard}=2]=] LABELS exhaustive")
endforeach()
file(WRITE ${LISTING} "${listing}")
