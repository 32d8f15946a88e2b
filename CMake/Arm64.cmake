# Builds for 64-bit Arm with Debian's cross compiler, against the libraries that Scripts/arm64-sysroot has put into
# build/arm64-sysroot. Headers that are the same for every processor (Boost, CLI11, nlohmann's JSON) are the system's own.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH keldSource)
set(keldRoot "${keldSource}/build/arm64-sysroot/root")
set(CMAKE_FIND_ROOT_PATH "${keldRoot}" /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(ENV{PKG_CONFIG_LIBDIR} "${keldRoot}/usr/lib/aarch64-linux-gnu/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${keldRoot}")

# Headers that differ between processors lie in a folder that no finder names.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES "${keldRoot}/usr/include/aarch64-linux-gnu")
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${keldRoot}/usr/include/aarch64-linux-gnu")

# What the libraries need themselves is found there when programs are linked, and when they run.
set(keldLibraries "${keldRoot}/usr/lib/aarch64-linux-gnu:${keldRoot}/lib/aarch64-linux-gnu")
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${keldLibraries}")
string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-rpath-link,${keldLibraries}")
# A program in the emulator cannot run itself once more, which the careful kind of death test does.
set(CMAKE_CROSSCOMPILING_EMULATOR
    "qemu-aarch64;-L;/usr/aarch64-linux-gnu;-E;LD_LIBRARY_PATH=${keldLibraries};-E;GTEST_DEATH_TEST_STYLE=fast")
