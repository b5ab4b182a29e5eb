# The Debian packages, one for each component of the installation. scripts/package.sh configures, makes
# and tries them.

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime development tool)
if(TARGET calibmap-python)
    list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
# The dependencies on our own library; those on others are read from the binaries.
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOL_DEPENDS runtime)
set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "calibmap maintainers <maintainers@calibmap.example>")

# package(<component> <name> <section> <summary> <last paragraph of the description>)
function(package component name section summary contents)
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SOURCE calibmap PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION
        "camera calibration data and distortion maps - ${summary}
calibmap reads the calibration file of a device with two cameras, verifies it,
and gives camera software the parameters of both cameras and the distortion and
undistortion maps of the main one.
.
${contents}"
        PARENT_SCOPE)
endfunction()

# Descriptions begin with their own summaries.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(libraryPackage libcalibmap${calibmap_VERSION_MAJOR})
package(runtime ${libraryPackage} libs "shared library" "This package contains the shared library.")
package(development libcalibmap-dev libdevel "development files"
        "This package contains the header, the CMake package, the pkg-config file and
the documentation.")
package(tool calibmap utils "program"
        "This package contains the command line program, which makes, checks, shows and
draws calibrations, and applies them to pictures.")
package(python python3-calibmap python "Python package"
        "This package contains the Python package calibmap, which gives the parameters
and the maps as NumPy arrays.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.11), python3-numpy")

# What Debian wants to know of a shared library.
set(control ${CMAKE_CURRENT_BINARY_DIR}/packaging)
file(WRITE ${control}/shlibs
     "libcalibmap ${calibmap_VERSION_MAJOR} ${libraryPackage} (>= ${calibmap_VERSION})\n")
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
configure_file(debian/${libraryPackage}.symbols ${control}/symbols COPYONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/symbols
                                               ${control}/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# The interpreter compiles what it imports as root; nobody else would know of these files at removal.
file(WRITE ${control}/postinst "#!/bin/sh\nset -e\npy3compile -p python3-calibmap\n")
file(WRITE ${control}/prerm "#!/bin/sh\nset -e\npy3clean -p python3-calibmap\n")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${control}/postinst ${control}/prerm)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# The script sees only the variables that begin with CPACK_.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/packaging/documents.cmake)
set(CPACK_CALIBMAP_SOURCE ${CMAKE_CURRENT_SOURCE_DIR})

include(CPack)
