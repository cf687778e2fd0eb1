# The interpreter that the Python package is built for, and what else that package needs to be built.

if(NOT QEL_PYTHON)
    return()
endif()

# pip says which interpreter. In a checkout it is that of the virtual environment of script/bootstrap.
if(NOT DEFINED Python_EXECUTABLE AND EXISTS ${PROJECT_SOURCE_DIR}/.venv/bin/python)
    set(Python_EXECUTABLE ${PROJECT_SOURCE_DIR}/.venv/bin/python)
endif()
find_package(Python 3.10 COMPONENTS Interpreter Development.Module)
if(Python_FOUND)
    execute_process(
        COMMAND ${Python_EXECUTABLE} -m nanobind --cmake_dir
        OUTPUT_VARIABLE nanobind_ROOT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    find_package(nanobind CONFIG QUIET)
endif()
if(NOT nanobind_FOUND)
    if(DEFINED SKBUILD)
        message(FATAL_ERROR "the Python package needs nanobind and the headers of Python")
    endif()
    message(NOTICE "without the Python package: script/bootstrap installs what it needs")
    set(QEL_PYTHON OFF)
    return()
endif()

# What the package is made of.
set(QEL_BUILD_READINGS ON)
if(DEFINED SKBUILD AND NOT QEL_PYTHON_MEDIA STREQUAL "OFF")
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(QelFilesDecoder QUIET libavformat libavcodec>=59.37.100 libswresample libavutil)
    find_package(fmt QUIET)
    if(QelFilesDecoder_FOUND AND fmt_FOUND)
        set(QEL_BUILD_MEDIA ON)
        find_package(nlohmann_json QUIET)
        find_package(ZLIB QUIET)
        if(nlohmann_json_FOUND AND ZLIB_FOUND)
            set(QEL_BUILD_PAGE ON)
        endif()
    elseif(QEL_PYTHON_MEDIA AND NOT QEL_PYTHON_MEDIA STREQUAL "AUTO")
        message(FATAL_ERROR "QEL_PYTHON_MEDIA=ON needs the development files of FFmpeg and fmt")
    endif()
endif()
