# Adds the peers that are installed to qel_bench. They are measured and never shipped: nothing of
# the bench is installed or packaged.
pkg_check_modules(Aubio IMPORTED_TARGET aubio)
if(Aubio_FOUND)
    target_sources(qel_bench PRIVATE AubioBenches.cpp)
    target_compile_definitions(qel_bench PRIVATE QEL_BENCH_AUBIO)
    target_link_libraries(qel_bench PRIVATE PkgConfig::Aubio)
endif()

find_path(QEL_QM_DSP_HEADERS dsp/chromagram/ConstantQ.h PATH_SUFFIXES qm-dsp)
find_library(QEL_QM_DSP_LIBRARY qm-dsp)
mark_as_advanced(QEL_QM_DSP_HEADERS QEL_QM_DSP_LIBRARY)
if(QEL_QM_DSP_HEADERS AND QEL_QM_DSP_LIBRARY)
    target_sources(qel_bench PRIVATE QmDspBenches.cpp)
    target_compile_definitions(qel_bench PRIVATE QEL_BENCH_QM_DSP)
    target_include_directories(qel_bench SYSTEM PRIVATE ${QEL_QM_DSP_HEADERS})
    target_link_libraries(qel_bench PRIVATE ${QEL_QM_DSP_LIBRARY})
endif()
