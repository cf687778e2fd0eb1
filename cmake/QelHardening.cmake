# What makes a fault in the shipped binaries harder to exploit: the libraries and the tool.
# script/check-binaries looks at the built files.
#
#   -fstack-protector-strong   a guard behind arrays on the stack
#   _FORTIFY_SOURCE            bounds of known sizes in calls of the C library
#   _GLIBCXX_ASSERTIONS        bounds in the C++ library; the tool and what reads and writes its files:
#                              their time is the decoder's
#   relro, now, noexecstack    tables of addresses read-only from the start, no code on the stack

include(CheckCXXSourceCompiles)

# The highest level that compiler and C library take without a warning. It needs optimization, and
# the checkers look at the same calls in their own way.
set(qelFortifyLevel 0)
if(NOT QEL_SANITIZE)
    foreach(level 2 3)
        set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${level}")
        check_cxx_source_compiles("#include <cstring>\nint main() { return 0; }" QEL_HAS_FORTIFY_${level})
        unset(CMAKE_REQUIRED_FLAGS)
        if(QEL_HAS_FORTIFY_${level})
            set(qelFortifyLevel ${level})
        endif()
    endforeach()
endif()

# qel_harden(target)
function(qel_harden target)
    target_compile_options(${target} PRIVATE -fstack-protector-strong)
    if(qelFortifyLevel)
        target_compile_options(${target} PRIVATE
            $<$<NOT:$<CONFIG:Debug,>>:-U_FORTIFY_SOURCE>
            $<$<NOT:$<CONFIG:Debug,>>:-D_FORTIFY_SOURCE=${qelFortifyLevel}>)
    endif()
    get_target_property(type ${target} TYPE)
    if(type MATCHES "SHARED_LIBRARY|EXECUTABLE")
        target_link_options(${target} PRIVATE
            LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
    endif()
endfunction()
