# Clients printed in README.md, taken out of it, compiled and run as they stand there.
#
# qel_add_readme_client(language output libraries... [NAME name] [ARGUMENTS arguments...]): the first
# block of that language after the marker <!-- client:name -->; its program must print `output` (a
# regular expression) for these arguments. Without a name, the language is the name. A README without
# the block is a failing test, and a README that changes is read again.

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md)

function(qel_add_readme_client language output)
    cmake_parse_arguments(arg "" "NAME" "ARGUMENTS" ${ARGN})
    set(name ${language})
    if(arg_NAME)
        set(name ${arg_NAME})
    endif()
    set(text "")
    if(EXISTS ${PROJECT_SOURCE_DIR}/README.md)
        file(READ ${PROJECT_SOURCE_DIR}/README.md text)
    endif()
    string(REGEX MATCH "<!-- client:${name} -->[^`]*```${language}\n([^`]*)```" found "${text}")
    if(found STREQUAL "")
        add_test(NAME Readme.HasAClientIn_${name} COMMAND ${CMAKE_COMMAND} -E false)
        return()
    endif()
    set(source ${CMAKE_CURRENT_BINARY_DIR}/readme_client_${name}.${language})
    file(CONFIGURE OUTPUT ${source} CONTENT "${CMAKE_MATCH_1}" @ONLY)
    add_executable(readme_client_${name} ${source})
    qel_target_defaults(readme_client_${name})
    target_link_libraries(readme_client_${name} PRIVATE ${arg_UNPARSED_ARGUMENTS})
    add_test(NAME Readme.ClientIn_${name} COMMAND readme_client_${name} ${arg_ARGUMENTS})
    set_tests_properties(Readme.ClientIn_${name} PROPERTIES PASS_REGULAR_EXPRESSION "${output}")
endfunction()
