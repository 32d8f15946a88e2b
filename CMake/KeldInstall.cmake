# What is installed beside the targets: the manual pages that are written by hand, and the way back.

# keld_install_pages(<section> <component>)
function(keld_install_pages section component)
    file(GLOB pages CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/Docs/Manual/*.${section}")
    install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT ${component})
endfunction()

# keld_install_names(<page> <component> <names...>): the other names of a page.
function(keld_install_names page component)
    cmake_path(GET page EXTENSION LAST_ONLY extension)
    string(SUBSTRING "${extension}" 1 -1 section)
    foreach(name IN LISTS ARGN)
        file(WRITE "${PROJECT_BINARY_DIR}/manual-names/${name}" ".so man${section}/${page}\n")
        install(FILES "${PROJECT_BINARY_DIR}/manual-names/${name}"
            DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT ${component})
    endforeach()
endfunction()

keld_install_pages(3 Development)
keld_install_names(MorvInitialize.3 Development MorvShutdown.3 MorvSetLogger.3)
keld_install_names(MorvOpenFile.3 Development MorvFileExists.3 MorvCloseFile.3 MorvGetFileSize.3 MorvRead.3)
keld_install_names(MorvFindFirstFile.3 Development MorvFindNextFile.3 MorvFindClose.3)
keld_install_pages(7 Development)
if(KELD_BUILD_TOOLS)
    # The tool's own pages (section 1) are made and installed beside it.
    keld_install_pages(5 Tools)
    keld_install_names(morv-solutionmanifest.5 Tools morv-configurationmanifest.5)
endif()

if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall
        COMMAND "${CMAKE_COMMAND}" "-DBUILD=${PROJECT_BINARY_DIR}" -P "${PROJECT_SOURCE_DIR}/CMake/Uninstall.cmake"
        COMMENT "Removing what was installed from this build"
        VERBATIM)
endif()
