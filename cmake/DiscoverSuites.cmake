# Lists the suites of a GoogleTest program as tests of ctest, one process per suite: run by
# qel_add_tests after a program is linked.
#
#   cmake -D EXECUTABLE=... -D LISTING=... -D RESULTS=... -D TIMEOUT=... -P DiscoverSuites.cmake
#
# LISTING is the file that ctest reads. Each suite leaves its tests by name and time in RESULTS, as
# SUITE.xml, where script/test-times finds them.

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

# The longest lists go first, so that no processor is left with one of them at the end.
set(listing "")
foreach(suite IN LISTS suites)
    string(REPLACE "/" "-" file ${suite})
    string(APPEND listing
        "add_test([=[${suite}]=] [=[${EXECUTABLE}]=] [=[--gtest_filter=${suite}.*]=] "
        "[=[--gtest_output=xml:${RESULTS}/${file}.xml]=])\n"
        "set_tests_properties([=[${suite}]=] PROPERTIES "
        "TIMEOUT ${TIMEOUT} COST ${tests_${suite}})\n")
endforeach()
file(WRITE ${LISTING} "${listing}")
