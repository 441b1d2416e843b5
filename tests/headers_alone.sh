#!/bin/bash
# Every public header compiles alone, in the oldest and the newest language it promises, without a warning,
# and may be included twice.
#
#   headers_alone.sh CC CXX ROOT     ROOT is the source tree
set -euo pipefail
cc=$1 cxx=$2 root=$3
warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wundef -Werror)

failed=0
compile() {
    local header=$1
    shift
    printf '#include <%s>\n#include <%s>\nextern int declared;\n' "$header" "$header" |
        "$@" "${warnings[@]}" -I"$root/include" -I"$root/platform" -fsyntax-only - || {
        echo "FAILED: <$header> alone with: $*"
        failed=1
    }
}

# The headers for C++ promise C++17; that for OpenCV needs its headers.
opencv=(-isystem /usr/include/opencv4)
for path in "$root"/include/qip/*.hpp; do
    if [[ $path != */opencv.hpp || -d ${opencv[1]} ]]; then
        compile "${path#"$root"/include/}" "$cxx" -x c++ -std=c++17 -Wshadow "${opencv[@]}"
        compile "${path#"$root"/include/}" "$cxx" -x c++ -std=c++20 -Wshadow "${opencv[@]}"
    fi
done

count=0
for path in "$root"/include/qip/*.h "$root"/platform/qbase/*.h; do
    header=${path#"$root"/include/}
    header=${header#"$root"/platform/}
    compile "$header" "$cc" -x c -std=c99 -Wstrict-prototypes
    compile "$header" "$cxx" -x c++ -std=c++11
    compile "$header" "$cxx" -x c++ -std=c++20
    count=$((count + 1))
done

# The headers that gather a library's interface leave nothing out.
for pair in include:qip/qip_gauss.h platform:qbase/qbase.h; do
    folder=$root/${pair%%:*} all=${pair#*:}
    for path in "$folder/${all%/*}"/*.h; do
        header=${path#"$folder"/}
        [[ $header == "$all" || $header == */export.h ]] && continue
        grep -q "#include <$header>" "$folder/$all" || {
            echo "FAILED: <$all> does not include <$header>"
            failed=1
        }
    done
done

echo "$count headers"
exit $failed
