# The library: one object library that every internal folder adds its sources to, which the unit
# tests link, and the shared library made from it, whose only visible names are the exported ones.

add_library(QelAudioAnalysisObjects OBJECT)
qel_shipped_defaults(QelAudioAnalysisObjects)
if(QEL_FUZZ_COVERAGE)
    target_compile_options(QelAudioAnalysisObjects PRIVATE -fno-sanitize-coverage=trace-cmp)
endif()
target_include_directories(QelAudioAnalysisObjects PUBLIC
    ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(QelAudioAnalysisObjects
    PUBLIC QelPlatform QelElementary PRIVATE QelHighway Eigen3::Eigen)

foreach(room
    support/runtime
    support/containers
    support/audio
    spectral
    spectral/mel
    spectral/phase
    engine/base
    descriptors
    rhythm/math
    rhythm/tempomap
    rhythm/beats
    rhythm/onsets
    timbre
    pitch
    loudness/soundcheck
    loudness/range
    refinement
    engine/slots
    engine)
    add_subdirectory(${room})
endforeach()

add_library(QelAudioAnalysis SHARED engine/QelAudioAnalysis.cpp)
add_library(QelAudioAnalysis::QelAudioAnalysis ALIAS QelAudioAnalysis)
qel_shipped_defaults(QelAudioAnalysis)
target_link_libraries(QelAudioAnalysis PRIVATE QelAudioAnalysisObjects PUBLIC QelPlatform)
target_include_directories(QelAudioAnalysis INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set(exports ${PROJECT_SOURCE_DIR}/engine/QelAudioAnalysis.map)
target_link_options(QelAudioAnalysis PRIVATE
    LINKER:--version-script=${exports} LINKER:--no-undefined-version)
set_target_properties(QelAudioAnalysis PROPERTIES
    LINK_DEPENDS ${exports}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
