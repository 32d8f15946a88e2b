# Debian packages, one for each component of the installation, written by `cpack -G DEB` in the build folder. They are
# made of a build that was configured with the prefix /usr, so that its folders are Debian's.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME keldmorvio)
set(CPACK_PACKAGE_VENDOR "KeldMorvIO")
set(CPACK_PACKAGE_CONTACT "KeldMorvIO maintainers <maintainers@keldmorvio.example>")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Manual pages, copyright and changelogs in the shape that Debian asks for.
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/CMake/DebianFiles.cmake")
set(CPACK_KELD_CHANGELOG "${PROJECT_SOURCE_DIR}/CHANGELOG.md")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL Library Development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(library "libkeldmorvio${PROJECT_VERSION_MAJOR}")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# Beside the calls of ldconfig that CPack writes by itself, Debian wants its trigger.
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/debian/triggers" CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/triggers")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_MULTIARCH same)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "read-only files of deployed releases (library)
A virtual file system over deployed, versioned content. A program asks for
files by virtual path; their bytes lie in archives, in folders shared by
releases, or plainly in the release.
This package has the library that programs load.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkeldmorvio-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library} (= ${version})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "read-only files of deployed releases (development)
A virtual file system over deployed, versioned content.
This package has the headers, what CMake and pkg-config need to find the
library, and manual pages.")

if(KELD_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL Tools)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME morv)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
    if(KELD_HAS_MOUNT)
        set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS fuse3)
    endif()
    set(CPACK_COMPONENT_TOOLS_DESCRIPTION "make, inspect and mount deployed releases
A virtual file system over deployed, versioned content.
This package has the tool that packs folders into releases, lists, compares,
verifies, extracts and mounts them, with its manual and completions for bash,
zsh and fish.")
endif()

# The component of the Python package is there when something is installed into it.
get_cmake_property(components COMPONENTS)
if("Python" IN_LIST components)
    list(APPEND CPACK_COMPONENTS_ALL Python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-keldmorv)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.11), ${library} (>= ${PROJECT_VERSION})")
    set(CPACK_COMPONENT_PYTHON_DESCRIPTION "read-only files of deployed releases (Python 3)
A virtual file system over deployed, versioned content.
This package opens its files as Python's own, lists and walks its directories,
and hands what the library logs to logging.")
endif()

include(CPack)
