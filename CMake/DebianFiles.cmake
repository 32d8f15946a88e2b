# Run by CPack over the folder of each package, before it becomes one: manual pages are compressed, and each package
# gets its copyright and its changelogs.
find_program(gzip gzip REQUIRED)

set(copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: KeldMorvIO

Files: *
Copyright: 2026 The KeldMorvIO authors
License: reserved
 No licence has been granted. All rights are reserved.
")
set(changelog "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) stable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}. What changed stands in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  Sat, 21 Nov 2026 00:00:00 +0000
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" COMPONENT)
    set(root "${CPACK_TEMPORARY_DIRECTORY}/${component}/usr")
    set(documents "${root}/share/doc/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME}")
    file(WRITE "${documents}/copyright" "${copyright}")
    file(WRITE "${documents}/changelog.Debian" "${changelog}")
    file(COPY_FILE "${CPACK_KELD_CHANGELOG}" "${documents}/changelog")
    file(GLOB_RECURSE pages "${root}/share/man/*.[1-9]")
    execute_process(COMMAND "${gzip}" -9n "${documents}/changelog.Debian" "${documents}/changelog" ${pages}
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
