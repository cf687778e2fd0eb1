# What the build takes from elsewhere, found once, for every folder. script/bootstrap installs the
# packages. Not here: compilers and emulators that single tests try, and the peers of the bench, which
# may be missing (bench/Peers.cmake).

option(QEL_ONE_INSTRUCTION_SET
    "Compile vectors for the one set that all processors of the kind have: needs no libhwy"
    ${CMAKE_CROSSCOMPILING})

set(qelOwnTests OFF) # The fuzz targets need no test framework.
if(QEL_BUILD_TESTS AND NOT QEL_FUZZ)
    set(qelOwnTests ON)
endif()

# A build for another kind of processor has no use for pkg-config, which knows this one's libraries.
if(NOT QEL_ONE_INSTRUCTION_SET OR QEL_FFT_BACKEND STREQUAL "fftw"
        OR QEL_BUILD_TOOLS OR QEL_BUILD_MEDIA OR QEL_BUILD_READINGS OR qelOwnTests OR QEL_BUILD_BENCH)
    find_package(PkgConfig REQUIRED)
endif()

# Vectors: Highway, the library or its headers alone. The tests set its instruction set.
if(NOT QEL_ONE_INSTRUCTION_SET OR qelOwnTests)
    pkg_check_modules(Highway REQUIRED IMPORTED_TARGET libhwy)
endif()
if(QEL_ONE_INSTRUCTION_SET)
    find_path(QEL_HIGHWAY_INCLUDE_DIR hwy/highway.h REQUIRED)
    mark_as_advanced(QEL_HIGHWAY_INCLUDE_DIR)
endif()

# Transforms.
if(QEL_FFT_BACKEND STREQUAL "fftw")
    pkg_check_modules(FFTW REQUIRED fftw3f)
    # The archive, so that the library has FFTW for itself: with memory of its own, and a planner
    # that no client shares.
    find_library(QEL_FFTW_ARCHIVE NAMES libfftw3f.a HINTS ${FFTW_LIBRARY_DIRS} ${FFTW_LIBDIR} REQUIRED)
    mark_as_advanced(QEL_FFTW_ARCHIVE)
elseif(QEL_FFT_BACKEND STREQUAL "kissfft")
    # The header alone: a library of it may have been compiled with fused products.
    find_path(QEL_KISSFFT_INCLUDE_DIR kissfft/kissfft.hh REQUIRED)
    mark_as_advanced(QEL_KISSFFT_INCLUDE_DIR)
else()
    message(FATAL_ERROR "QEL_FFT_BACKEND must be fftw or kissfft, not \"${QEL_FFT_BACKEND}\"")
endif()

# Least squares: headers alone.
find_package(Eigen3 3.4 REQUIRED NO_MODULE)

if(QEL_BUILD_TOOLS OR QEL_BUILD_MEDIA)
    pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
        libavformat libavcodec>=59.37.100 libswresample libavutil)
    find_package(fmt REQUIRED)
endif()
# Loudness, and sample rates.
if(QEL_BUILD_TOOLS OR QEL_BUILD_READINGS)
    pkg_check_modules(EBUR128 REQUIRED IMPORTED_TARGET libebur128)
    pkg_check_modules(SPEEXDSP REQUIRED IMPORTED_TARGET speexdsp)
endif()
if(QEL_BUILD_TOOLS OR QEL_BUILD_PAGE)
    find_package(nlohmann_json REQUIRED)
    find_package(ZLIB REQUIRED)
endif()
if(QEL_BUILD_TOOLS)
    find_package(CLI11 REQUIRED)
    pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
endif()

if(qelOwnTests)
    find_package(GTest REQUIRED)
    find_package(Threads REQUIRED)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
endif()

# The floors of the bench are FFTW's own plans, whatever backend the library has.
if(QEL_BUILD_BENCH)
    find_package(benchmark REQUIRED)
    pkg_check_modules(FFTWFloor REQUIRED IMPORTED_TARGET fftw3f)
endif()
