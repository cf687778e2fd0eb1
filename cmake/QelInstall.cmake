# What `cmake --install` puts where, and how other builds find it: a CMake package with the targets
# QelAudioAnalysis::QelAudioAnalysis, ::Cpp, ::QelPlatform and, where they are built, ::Media and
# ::Readings, and a pkg-config file for the analysis and for each of these two. Everything refers to its
# neighbours by relative paths, so that an installed tree can be moved.

option(QEL_INSTALL "Make install rules" ${PROJECT_IS_TOP_LEVEL})
if(NOT QEL_INSTALL)
    return()
endif()

include(CMakePackageConfigHelpers)

# The object library of the inside has no place in the export: the shared library has its objects in
# it, and links it privately.
#
# The paths for the loader are those of the installed tree from the start: CMake would replace others
# when it installs, and fill them up with colons until then, which tell the loader to look for
# libraries in the current directory.
set(installedLibraries QelAudioAnalysis QelPlatform)
foreach(library QelMedia QelReadings)
    if(TARGET ${library})
        list(APPEND installedLibraries ${library})
    endif()
endforeach()
set_target_properties(${installedLibraries} PROPERTIES
    BUILD_WITH_INSTALL_RPATH ON
    INSTALL_RPATH "$ORIGIN")
install(TARGETS ${installedLibraries} QelAudioAnalysisCpp
    EXPORT QelAudioAnalysisTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

if(TARGET qel)
    file(RELATIVE_PATH libDirFromBinDir ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    string(REGEX REPLACE "/$" "" libDirFromBinDir "${libDirFromBinDir}")
    # The second is that of the build tree, where it is another one.
    set(qelLibraryPaths "$ORIGIN/${libDirFromBinDir}" "$ORIGIN/../lib")
    list(REMOVE_DUPLICATES qelLibraryPaths)
    set_target_properties(qel PROPERTIES
        BUILD_WITH_INSTALL_RPATH ON
        INSTALL_RPATH "${qelLibraryPaths}")
    install(TARGETS qel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# Headers. The platform's have a folder of their own, as their names are those of an operating
# system's headers.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "QelAudioAnalysis*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QelPlatform
    FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/bindings/cpp/QelAudioAnalysis.hpp
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/bindings/cpp/QelAudioAnalysis
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.hpp")
if(TARGET QelMedia)
    install(FILES ${PROJECT_SOURCE_DIR}/media/include/QelMedia.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
if(TARGET QelReadings)
    install(FILES ${PROJECT_SOURCE_DIR}/readings/include/QelReadings.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()

# The CMake package. Before version 1 a new minor version may change interfaces.
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/QelAudioAnalysis)
install(EXPORT QelAudioAnalysisTargets
    NAMESPACE QelAudioAnalysis::
    DESTINATION ${packageDir})
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/QelAudioAnalysisConfig.cmake.in
    ${PROJECT_BINARY_DIR}/package/QelAudioAnalysisConfig.cmake
    INSTALL_DESTINATION ${packageDir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/package/QelAudioAnalysisConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/package/QelAudioAnalysisConfig.cmake
    ${PROJECT_BINARY_DIR}/package/QelAudioAnalysisConfigVersion.cmake
    DESTINATION ${packageDir})

# The pkg-config files find everything from their own place.
set(pkgConfigDir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH libDirFromPkgConfigDir ${pkgConfigDir} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includeDirFromPkgConfigDir ${pkgConfigDir} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" libDirFromPkgConfigDir "${libDirFromPkgConfigDir}")
set(pkgConfigFiles QelAudioAnalysis.pc)
foreach(library QelMedia QelReadings)
    if(TARGET ${library})
        list(APPEND pkgConfigFiles ${library}.pc)
    endif()
endforeach()
foreach(file IN LISTS pkgConfigFiles)
    configure_file(
        ${CMAKE_CURRENT_LIST_DIR}/${file}.in ${PROJECT_BINARY_DIR}/package/${file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${file}
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# Documents, licences, and the sources of the example clients.
if(EXISTS ${PROJECT_SOURCE_DIR}/docs)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/
        DESTINATION ${CMAKE_INSTALL_DOCDIR}
        FILES_MATCHING PATTERN "*.md")
endif()
file(GLOB notices CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/README.md
    ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    ${PROJECT_SOURCE_DIR}/SECURITY.md
    ${PROJECT_SOURCE_DIR}/LICENSE*)
install(FILES ${notices} DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(EXISTS ${PROJECT_SOURCE_DIR}/examples)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
        FILES_MATCHING PATTERN "*.c" PATTERN "*.cpp" PATTERN "audio" EXCLUDE)
endif()
