#!/usr/bin/env bash
# Installs the library into a folder of its own and builds the consumer in C from what lies there alone.
#
#   InstalledTree.sh CMAKE BUILD COMPILER CONSUMER_SOURCE
set -euo pipefail
cmake=$1 build=$2 compiler=$3 source=$4

prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
"$cmake" --install "$build" --prefix "$prefix" >/dev/null

# The tree may be moved: nothing in it names the place where it was installed.
mkdir "$prefix/moved"
mv "$prefix"/[il]* "$prefix/moved"
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(find "$prefix/moved" -type d -name pkgconfig)
library=$(pkg-config --variable=libdir KeldMorvIO)

read -ra flags <<<"$(pkg-config --cflags --libs KeldMorvIO)"
"$compiler" -std=c11 -Wall -Wextra -Wpedantic -Werror "$source" -o "$prefix/consumer" "${flags[@]}"

# A directory that is no release is refused, and says so.
status=0
output=$(LD_LIBRARY_PATH="$library" "$prefix/consumer" "$prefix" 2>/dev/null) || status=$?
[ "$status" -eq 1 ] && [ "$output" = "not started: 80004005" ]
