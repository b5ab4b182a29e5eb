# Run by CPack between installation and packing: gives each package the documents that Debian expects,
# the changelogs made from CHANGELOG.md, and compresses the manual pages.

function(run)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE
                    COMMAND_ERROR_IS_FATAL ANY)
    set(output "${output}" PARENT_SCOPE)
endfunction()

file(STRINGS ${CPACK_CALIBMAP_SOURCE}/CHANGELOG.md release REGEX "^## " LIMIT_COUNT 1)
if(NOT release MATCHES "^## ([0-9.]+) - ([0-9-]+)$"
   OR NOT CMAKE_MATCH_1 STREQUAL CPACK_PACKAGE_VERSION)
    message(FATAL_ERROR "The version is ${CPACK_PACKAGE_VERSION}, CHANGELOG.md has '${release}'")
endif()
run(date --utc --rfc-email --date=${CMAKE_MATCH_2})
set(debianChangelog
    "calibmap (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Release ${CPACK_PACKAGE_VERSION}; changelog.gz says what is new.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${output}
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} name)
    set(tree ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
    set(documents ${tree}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME})
    file(MAKE_DIRECTORY ${documents})
    file(REMOVE ${documents}/CHANGELOG.md)
    file(COPY_FILE ${CPACK_CALIBMAP_SOURCE}/CHANGELOG.md ${documents}/changelog)
    file(COPY_FILE ${CPACK_CALIBMAP_SOURCE}/cmake/packaging/copyright ${documents}/copyright)
    file(WRITE ${documents}/changelog.Debian "${debianChangelog}")
    file(GLOB compressed ${documents}/changelog* ${tree}/man/man*/*)
    run(gzip -9 -n -f ${compressed})
    file(GLOB documented LIST_DIRECTORIES FALSE ${documents}/* ${tree}/man/man*/*)
    file(CHMOD ${documented} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()
