# What `cmake --install` puts where, in three components (runtime, development, tool), and the two
# descriptions by which other builds find it. Nothing installed knows the prefix: the tree can be
# moved.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS calibmap EXPORT calibmapTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES calibmap.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# For CMake.
set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/calibmap)
install(EXPORT calibmapTargets NAMESPACE calibmap:: DESTINATION ${packageDirectory}
        COMPONENT development)
configure_package_config_file(cmake/calibmapConfig.cmake.in calibmapConfig.cmake
                              INSTALL_DESTINATION ${packageDirectory}
                              NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(calibmapConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/calibmapConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/calibmapConfigVersion.cmake
        DESTINATION ${packageDirectory} COMPONENT development)

# For everybody else. The file tells its place from its own.
file(RELATIVE_PATH pathToPrefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pathToPrefix "${pathToPrefix}")
file(RELATIVE_PATH libraryPath ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includePath ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/calibmap.pc.in calibmap.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/calibmap.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# In a parent project CMAKE_INSTALL_DOCDIR is the folder of the parent's own documents.
set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/calibmap)
if(PROJECT_IS_TOP_LEVEL)
    set(documents ${CMAKE_INSTALL_DOCDIR})
endif()
install(FILES CHANGELOG.md DESTINATION ${documents} COMPONENT development)
install(DIRECTORY docs/ DESTINATION ${documents} COMPONENT development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png")

# The program finds the library beside it, wherever the tree stands.
if(TARGET calibmap-tool)
    file(RELATIVE_PATH pathToLibrary ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(calibmap-tool PROPERTIES INSTALL_RPATH "$ORIGIN/${pathToLibrary}")
endif()
