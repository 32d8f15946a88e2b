#!/usr/bin/env bash
# Compiles the public headers as every language that they promise, without a word of either compiler: alone, together in
# both orders, and where the program has names of its own for the results.
#
#   HeaderLanguages.sh INCLUDE_FOLDER C_COMPILER CXX_COMPILER
set -euo pipefail
include=$1 c=$2 cxx=$3

# The language, the standard, and what to write in front of a header that is C.
check() {
    local language=$1 standard=$2 compiler=$3
    shift 3
    "$compiler" -x "$language" "-std=$standard" -pedantic-errors -Wall -Wextra -Werror -I "$include" -fsyntax-only "$@" - ||
        { echo "as $standard, with $*" >&2; return 1; }
}

uses='static int Use(HRESULT result) { return result == S_OK || result == E_FAIL || result == E_HANDLE; }
int main(void) { return Use(MorvInitialize(0, 0, 0, "")); }'
own='#include <stdint.h>
typedef int32_t HRESULT;
enum Own { S_OK = 0, E_FAIL = -2147467259, E_HANDLE = -2147024890 };
#define MORV_NO_RESULTS
#include <KeldMorvIO.h>'

for language in c:c99 c:c11 c:c17 c++:c++11 c++:c++14 c++:c++17 c++:c++20 c++:c++2b; do
    standard=${language#*:} language=${language%%:*}
    compiler=$c
    [ "$language" = c ] || compiler=$cxx
    for headers in "KeldMorvIO.h" "KeldLogger.h KeldMorvIO.h" "KeldMorvIO.h KeldLogger.h" \
        "KeldFoundation/logger/IKeldLogger.h KeldFoundation/logger/IKeldLogTarget.h KeldMorvIO.h"; do
        read -ra names <<<"$headers"
        includes=$(printf '#include <%s>\n' "${names[@]}")
        printf '%s\n%s\n' "$includes" "$uses" | check "$language" "$standard" "$compiler"
    done
    macros=('-DS_OK=((HRESULT)0)' '-DE_FAIL=((HRESULT)-2147467259)' '-DE_HANDLE=((HRESULT)-2147024890)')
    for count in 1 2 3; do
        printf '#include <KeldMorvIO.h>\n%s\n' "$uses" | check "$language" "$standard" "$compiler" "${macros[@]:0:count}"
    done
    printf '%s\n%s\n' "$own" "$uses" | check "$language" "$standard" "$compiler"
done
for header in KeldLogger.h KeldFoundation/logger/IKeldLogger.h KeldFoundation/logger/IKeldLogTarget.h; do
    printf '#include <%s>\n' "$header" | check c c99 "$c"
done
