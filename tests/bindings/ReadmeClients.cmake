# Clients printed in README.md, taken out of it, compiled and run as they stand there.
#
# qel_add_readme_client(language output libraries...): the first block of that language behind the
# marker <!-- client:language -->; its program must print `output` (a regular expression). A README
# without the block is a failing test, and a README that changes is read again.

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md)

function(qel_add_readme_client language output)
    set(text "")
    if(EXISTS ${PROJECT_SOURCE_DIR}/README.md)
        file(READ ${PROJECT_SOURCE_DIR}/README.md text)
    endif()
    string(REGEX MATCH "<!-- client:${language} -->[^`]*```${language}\n([^`]*)```" found "${text}")
    if(found STREQUAL "")
        add_test(NAME Readme.HasAClientIn_${language} COMMAND ${CMAKE_COMMAND} -E false)
        return()
    endif()
    set(source ${CMAKE_CURRENT_BINARY_DIR}/readme_client.${language})
    file(CONFIGURE OUTPUT ${source} CONTENT "${CMAKE_MATCH_1}" @ONLY)
    add_executable(readme_client_${language} ${source})
    qel_target_defaults(readme_client_${language})
    target_link_libraries(readme_client_${language} PRIVATE ${ARGN})
    add_test(NAME Readme.ClientIn_${language} COMMAND readme_client_${language})
    set_tests_properties(Readme.ClientIn_${language} PROPERTIES PASS_REGULAR_EXPRESSION "${output}")
endfunction()
