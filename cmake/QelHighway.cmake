# Vectors of several instruction sets: the target QelHighway, which whoever has such loops links
# privately. Each loop is compiled once for every instruction set, and one is picked at run time. The
# loops keep vectors in arrays, which the scalable instruction sets do not allow.

option(QEL_ONE_INSTRUCTION_SET
    "Compile vectors for the one set that all processors of the kind have: needs no libhwy"
    ${CMAKE_CROSSCOMPILING})

add_library(QelHighway INTERFACE)
target_compile_definitions(QelHighway INTERFACE
    "HWY_DISABLED_TARGETS=(HWY_SVE|HWY_SVE2|HWY_SVE_256|HWY_SVE2_128|HWY_RVV)")
if(QEL_ONE_INSTRUCTION_SET)
    find_path(QEL_HIGHWAY_INCLUDE_DIR hwy/highway.h REQUIRED)
    mark_as_advanced(QEL_HIGHWAY_INCLUDE_DIR)
    target_include_directories(QelHighway SYSTEM INTERFACE ${QEL_HIGHWAY_INCLUDE_DIR})
    target_compile_definitions(QelHighway INTERFACE HWY_COMPILE_ONLY_STATIC)
else()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(Highway REQUIRED IMPORTED_TARGET libhwy)
    target_link_libraries(QelHighway INTERFACE PkgConfig::Highway)
endif()
