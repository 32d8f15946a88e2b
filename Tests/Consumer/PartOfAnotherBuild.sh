#!/usr/bin/env bash
# Takes the source into somebody else's build, by add_subdirectory and by FetchContent, and looks that it brings the
# library and nothing else: no tests, no tools, no rules of installation. Of the library one source is compiled, and a
# consumer; the rest is what every other build compiles.
#
#   PartOfAnotherBuild.sh CMAKE C_COMPILER CXX_COMPILER SOURCE
set -euo pipefail
cmake=$1 c=$2 cxx=$3 source=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The name of the build, and the lines that take the source in.
check() {
    local folder=$work/$1
    mkdir "$folder"
    cat >"$folder/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(Outer VERSION 7.8.9 LANGUAGES C CXX)
$2
add_executable(consumer "$source/Tests/Consumer/ConsumerInC.c")
target_link_libraries(consumer PRIVATE KeldMorvIO::KeldMorvIO)
END
    "$cmake" -S "$folder" -B "$folder/build" -G Ninja "-DCMAKE_C_COMPILER=$c" "-DCMAKE_CXX_COMPILER=$cxx" >"$work/log" 2>&1 ||
        { cat "$work/log" >&2; exit 1; }
    local targets
    targets=$("$cmake" --build "$folder/build" --target help)
    for unwanted in morv install uninstall test KeldConsumerTests ConsoleLogger; do
        ! grep -q "^$unwanted:" <<<"$targets" || { echo "$1: brings the target $unwanted" >&2; exit 1; }
    done
    local objects
    mapfile -t objects < <(ninja -C "$folder/build" -t targets all |
        grep -oE '^[^:]*(ConsumerInC\.c|Public/FileCalls\.cpp)\.o')
    [ ${#objects[@]} -eq 2 ] || { echo "$1: ${#objects[@]} objects of 2" >&2; exit 1; }
    ninja -C "$folder/build" "${objects[@]}" >"$work/log" || { cat "$work/log" >&2; exit 1; }
}

check subdirectory "add_subdirectory(\"$source\" keld)"
check fetched "include(FetchContent)
FetchContent_Declare(KeldMorvIO SOURCE_DIR \"$source\")
FetchContent_MakeAvailable(KeldMorvIO)"
