# What every target is compiled with, and how targets are named: libraries QelLikeThis,
# programs qel_like_this, programs of tests like_this_tests and fuzz_like_this, examples like_this. What
# is installed for other builds has names in the namespace QelAudioAnalysis::.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(QEL_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")
if(QEL_SANITIZE)
    add_compile_options(-fsanitize=${QEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QEL_SANITIZE})
    # Reports name functions and lines, for which these debug data suffice.
    add_compile_options($<$<CONFIG:RelWithDebInfo>:-g1>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options(-fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitizers.txt)
        # C programs need what the checks in a C++ library call.
        add_link_options(-fsanitize-link-c++-runtime)
        link_libraries(stdc++)
    endif()
endif()

option(QEL_FUZZ "Build the fuzz targets for libFuzzer instead of the tests; wants Clang" OFF)
# The preset `asan` can have it too, so that the objects of the two builds are the same ones.
option(QEL_FUZZ_COVERAGE "Let libFuzzer see the ways through library and tool; wants Clang" ${QEL_FUZZ})

include(${CMAKE_CURRENT_LIST_DIR}/QelHardening.cmake)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC looks for memory to reclaim when it has 512 MB instead of some 100, which takes 5 % less time. No
    # source of the project takes as much.
    add_compile_options(--param=ggc-min-heapsize=524288)
endif()

# The one list of warnings, and the flags that keep single-precision results the same in
# every build: no contraction of a multiply and an add into one rounding.
function(qel_target_defaults target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        $<$<BOOL:${QEL_WARNINGS_AS_ERRORS}>:-Werror>
        -ffp-contract=off)
    set_target_properties(${target} PROPERTIES
        C_VISIBILITY_PRESET hidden
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# qel_shipped_defaults(target): the above, and what is asked of the libraries and the tool beside it.
function(qel_shipped_defaults target)
    qel_target_defaults(${target})
    qel_harden(${target})
    if(QEL_FUZZ_COVERAGE)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
endfunction()

# qel_fuzz_without_comparisons(target files...): sources whose comparisons tell the fuzzer nothing. Its look
# at every one would take three quarters of the time of loops over samples.
function(qel_fuzz_without_comparisons target)
    if(QEL_FUZZ_COVERAGE)
        set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target} PROPERTIES
            COMPILE_OPTIONS -fno-sanitize-coverage=trace-cmp)
    endif()
endfunction()
