# Removes what the last installation from a build has written, and the folders of ours that are empty then. The build
# keeps the list; DESTDIR is looked at as it is by an installation. Lists of single components stay out of it: those that
# packages were made of name places where nothing was installed.
#
#   cmake -DBUILD=<build> -P Uninstall.cmake
set(list "${BUILD}/install_manifest.txt")
if(NOT EXISTS "${list}")
    message(FATAL_ERROR "Nothing was installed from ${BUILD}.")
endif()
file(STRINGS "${list}" files)
foreach(file IN LISTS files)
    set(path "$ENV{DESTDIR}${file}")
    if(EXISTS "${path}" OR IS_SYMLINK "${path}")
        message(STATUS "Removing ${path}")
        file(REMOVE "${path}")
    endif()
    cmake_path(GET path PARENT_PATH folder)
    while(folder MATCHES "/(include|cmake|dist-packages|site-packages)/(KeldMorvIO|keldmorv)(/|$)")
        file(GLOB left LIST_DIRECTORIES TRUE "${folder}/*")
        if(left OR NOT IS_DIRECTORY "${folder}")
            break()
        endif()
        file(REMOVE_RECURSE "${folder}")
        cmake_path(GET folder PARENT_PATH folder)
    endwhile()
endforeach()
file(REMOVE "${list}")
