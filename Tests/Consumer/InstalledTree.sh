#!/usr/bin/env bash
# Installs a build into a folder of its own, moves that, takes the installation back, and uses what was moved alone: the
# consumer in C, and the program of the README, over a release that the installed tool has packed.
#
#   InstalledTree.sh CMAKE BUILD C_COMPILER SOURCE
set -euo pipefail
cmake=$1 build=$2 compiler=$3 source=$4

fail() {
    echo "$*" >&2
    exit 1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" --install "$build" --prefix "$work/installed" >/dev/null
cp -a "$work/installed" "$work/moved"
"$cmake" "-DBUILD=$build" -P "$source/CMake/Uninstall.cmake" >/dev/null 2>&1
left=$(find "$work/installed" ! -type d; find "$work/installed" -type d -iname '*keldmorv*')
[ -z "$left" ] || fail "Left behind by the way back: $left"

# The tree may be moved: nothing in it names the place where it was installed.
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(find "$work/moved" -type d -name pkgconfig)
read -ra flags <<<"$(pkg-config --cflags --libs KeldMorvIO)"
read -ra staticFlags <<<"$(pkg-config --static --cflags --libs KeldMorvIO)"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir KeldMorvIO)
export LD_LIBRARY_PATH
strict=(-Wall -Wextra -Wpedantic -Werror)

"$compiler" -std=c11 "${strict[@]}" "$source/Tests/Consumer/ConsumerInC.c" -o "$work/consumer" "${flags[@]}"
status=0
output=$("$work/consumer" "$work" 2>/dev/null) || status=$?
[ "$status $output" = "1 not started: 80004005" ] || fail "A directory that is no release: $output"

# shellcheck disable=SC2016
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '/^```/d' >"$work/example.c"
"$compiler" -std=c99 "${strict[@]}" "$work/example.c" -o "$work/example" "${staticFlags[@]}"

# All of a file is there, whatever its storage; of one that is short, what there is, and a status that tells of it.
morv=$work/moved/bin/morv
[ -x "$morv" ] || exit 0
mkdir "$work/art"
printf 'read me\n' >"$work/art/readme.txt"
for _ in 1 2 3 4 5 6 7 8 9; do cat "$source"/Docs/*.md; done >"$work/art/large.txt"
for storage in naked managed archive:none archive:zlib; do
    tree=$work/${storage/:/-}/MORV
    "$morv" pack "$work/art" --root "$tree" --project client --release 1.0.0.0 --rule "**=$storage" >/dev/null
    cd "$tree/projects/client/releases/1.0.0.0"
    [ "$("$work/example")" = "read me" ] || fail "$storage: not the readme"
    "$work/example" large.txt | cmp - "$work/art/large.txt" || fail "$storage: not the file"
    ! "$work/example" absent.txt || fail "$storage: a file that is not there"
    data=$(find "$tree" -name large.txt -o -name '*.vka.dat')
    truncate -s 1000 "$data"
    status=0
    "$work/example" large.txt >"$work/short" 2>/dev/null || status=$?
    [ "$status" -eq 1 ] || fail "$storage: a short file ends with $status"
    cmp -n "$(stat -c %s "$work/short")" "$work/short" "$work/art/large.txt" || fail "$storage: bytes of nobody"
done
