# Vectors of several instruction sets: the target QelHighway, which whoever has such loops links
# privately. Each loop is compiled once for every instruction set, and one is picked at run time. The
# loops keep vectors in arrays, which the scalable instruction sets do not allow.

add_library(QelHighway INTERFACE)
target_compile_definitions(QelHighway INTERFACE
    "HWY_DISABLED_TARGETS=(HWY_SVE|HWY_SVE2|HWY_SVE_256|HWY_SVE2_128|HWY_RVV)")
if(QEL_ONE_INSTRUCTION_SET)
    target_include_directories(QelHighway SYSTEM INTERFACE ${QEL_HIGHWAY_INCLUDE_DIR})
    target_compile_definitions(QelHighway INTERFACE HWY_COMPILE_ONLY_STATIC)
else()
    target_link_libraries(QelHighway INTERFACE PkgConfig::Highway)
endif()
