#!/bin/bash
# What a user does with the package: install it, move it, build against it by CMake and by pkg-config.
#
#   run.sh installed BUILD  SCRATCH CC CXX     the package of the build tree BUILD
#   run.sh embedded  SOURCE SCRATCH CC CXX     a project that embeds the sources, as static libraries, and
#                                              installs them along with itself
set -euo pipefail
mode=$1 tree=$2 scratch=$3
export CC=$4 CXX=$5
here=$(cd "$(dirname "$0")" && pwd)
jobs=$(nproc)
warnings=(-Wall -Wextra -Wpedantic -Werror)

rm -rf "$scratch/staged" "$scratch/moved" "$scratch/cmake" "$scratch/pkg-config"
mkdir -p "$scratch/pkg-config"

# Configures and builds the consumer in SCRATCH/$1 and runs both programs.
consume() {
    local folder=$scratch/$1
    shift
    cmake -S "$here" -B "$folder" -G Ninja "$@" > "$folder.log" || { cat "$folder.log"; return 1; }
    cmake --build "$folder" -j "$jobs" > "$folder.log" || { cat "$folder.log"; return 1; }
    "$folder/consumer_c"
    "$folder/consumer_cpp"
    "$folder/consumer_cpp17"
    if [[ -x $folder/consumer_opencv ]]; then
        "$folder/consumer_opencv" "$here/../../samples/part16.png" "$folder/smooth.png"
    fi
}

# The same against the moved tree by pkg-config alone, without CMake; $1 is --static or nothing.
consume_pkg_config() {
    local pc flags
    pc=$(find "$scratch/moved" -name qip_gauss.pc)
    read -ra flags <<< "$(PKG_CONFIG_PATH=${pc%/*} pkg-config "$@" --cflags --libs qip_gauss)"
    flags+=("-Wl,-rpath,$(dirname "${pc%/*}")")
    "$CC" -std=c99 "${warnings[@]}" "$here/consumer.c" -o "$scratch/pkg-config/c" "${flags[@]}"
    "$CXX" -std=c++11 "${warnings[@]}" -x c++ "$here/consumer.c" -x none -o "$scratch/pkg-config/cpp" "${flags[@]}"
    "$CXX" -std=c++17 "${warnings[@]}" "$here/../../examples/smooth.cpp" -o "$scratch/pkg-config/cpp17" "${flags[@]}"
    "$scratch/pkg-config/c"
    "$scratch/pkg-config/cpp"
    "$scratch/pkg-config/cpp17"
}

case $mode in
installed)
    cmake --install "$tree" --prefix "$scratch/staged" > "$scratch/install.log"
    mv "$scratch/staged" "$scratch/moved"
    if [[ -x $scratch/moved/bin/qip-smooth ]]; then
        "$scratch/moved/bin/qip-smooth" info
    fi
    consume cmake -DCMAKE_PREFIX_PATH="$scratch/moved"
    consume_pkg_config
    ;;
embedded)
    consume embedded -DQIP_SOURCE_DIR="$tree" -DQIP_INSTALL=ON
    if grep -q -e -Werror "$scratch/embedded/build.ninja"; then
        echo "FAILED: warnings are errors in a project that embeds the library"
        exit 1
    fi
    if ninja -C "$scratch/embedded" -t targets all | grep -E '(^|/)(test_|check_|qip-)'; then
        echo "FAILED: embedding builds the targets above, which nobody asked for"
        exit 1
    fi
    cmake --install "$scratch/embedded" --prefix "$scratch/staged" > "$scratch/install.log"
    mv "$scratch/staged" "$scratch/moved"
    consume cmake -DCMAKE_PREFIX_PATH="$scratch/moved"
    consume_pkg_config --static
    ;;
esac
