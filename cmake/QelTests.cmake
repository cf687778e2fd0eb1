# Test programs, and how they are compiled.

set(QEL_TEST_BATCH 0 CACHE STRING
    "Sources of tests that are compiled as one file; 0 compiles each by itself")

# qel_add_tests(name [APART] SOURCES files... [LIBRARIES targets...] [DEFINITIONS defs...]
#               [TIMEOUT seconds])
# A GoogleTest executable. ctest knows its suites, each of which is one process; with APART it knows
# every TEST, for tests that need a process of their own.
function(qel_add_tests name)
    cmake_parse_arguments(arg "APART" "TIMEOUT" "SOURCES;LIBRARIES;DEFINITIONS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    qel_target_defaults(${name})
    target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest GTest::gtest_main)
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

# qel_find_targets(result folder)
# All targets of a folder and of those below it.
function(qel_find_targets result folder)
    get_property(found DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(below IN LISTS folders)
        qel_find_targets(more ${below})
        list(APPEND found ${more})
    endforeach()
    set(${result} ${found} PARENT_SCOPE)
endfunction()

# qel_split_sources(target joinableResult aloneResult)
# The sources of a target that can be compiled together with others, and those that cannot: what is not
# C++, what is generated, and what has flags of its own.
function(qel_split_sources target joinableResult aloneResult)
    set(joinable "")
    set(alone "")
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder} NORMALIZE)
        cmake_path(IS_PREFIX PROJECT_SOURCE_DIR ${source} isOurs)
        cmake_path(IS_PREFIX PROJECT_BINARY_DIR ${source} isGenerated)
        get_source_file_property(options ${source} TARGET_DIRECTORY ${target} COMPILE_OPTIONS)
        get_source_file_property(definitions ${source} TARGET_DIRECTORY ${target} COMPILE_DEFINITIONS)
        if(source MATCHES "\\.cpp$" AND isOurs AND NOT isGenerated AND NOT options AND NOT definitions)
            list(APPEND joinable ${source})
        else()
            list(APPEND alone ${source})
        endif()
    endforeach()
    set(${joinableResult} ${joinable} PARENT_SCOPE)
    set(${aloneResult} ${alone} PARENT_SCOPE)
endfunction()

# qel_batch_tests()
# Joins the sources of the targets of this folder and those below it into batches, as
# cmake/test_batches.py says. Call it when all of them have their sources and flags.
function(qel_batch_tests)
    if(NOT QEL_TEST_BATCH)
        return()
    endif()
    set(script ${PROJECT_SOURCE_DIR}/cmake/test_batches.py)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${script})
    set(lists "")
    set(joined "")
    qel_find_targets(targets ${CMAKE_CURRENT_SOURCE_DIR})
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        if(NOT type MATCHES "EXECUTABLE|LIBRARY")
            continue()
        endif()
        qel_split_sources(${target} joinable alone)
        list(LENGTH joinable count)
        if(count GREATER 1)
            string(APPEND lists "${target};${joinable}\n")
            set(${target}_alone ${alone})
            list(APPEND joined ${target})
        endif()
    endforeach()
    set(folder ${PROJECT_BINARY_DIR}/tests/batches)
    file(WRITE ${folder}/sources.txt "${lists}")
    execute_process(
        COMMAND ${Python3_EXECUTABLE} -B ${script} ${PROJECT_SOURCE_DIR} ${folder} ${QEL_TEST_BATCH}
        INPUT_FILE ${folder}/sources.txt
        COMMAND_ERROR_IS_FATAL ANY)
    foreach(target IN LISTS joined)
        file(STRINGS ${folder}/${target}.txt compiled)
        set_target_properties(${target} PROPERTIES SOURCES "${${target}_alone};${compiled}")
        target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    endforeach()
endfunction()
