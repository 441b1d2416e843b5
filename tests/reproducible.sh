#!/bin/bash
# Built from another folder, both libraries and the program come out the same, byte for byte.
#
#   reproducible.sh SOURCE BUILD SCRATCH LIBDIR CMAKE-ARGUMENT...
#
# BUILD is the tree to compare with; its libraries are in LIBDIR there.
#
# The largest kernels would take two thirds of the time; their objects come from BUILD. Like all that is compared
# they must not hold the name of a folder.
set -euo pipefail
source=$1 build=$2 scratch="$3/a folder whose name is longer"
libraries=$4
shift 4

rm -rf "$scratch"
mkdir -p "$scratch/build"
for folder in "$source"/*; do
    [[ $folder -ef $source/build || $folder -ef $build ]] || cp -r "$folder" "$scratch/"
done

# A compiler launcher: the compiler and its arguments follow.
cat > "$scratch/launcher" << END
#!/bin/bash
while [[ \$1 == */ccache ]]; do shift; done
for argument in "\$@"; do
    if [[ \$argument == CMakeFiles/*/kernels/kernels_*.o && -e "$build/\$argument" ]]; then
        cp "$build/\$argument" "\$argument"
        exit
    fi
done
exec "\$@"
END
chmod +x "$scratch/launcher"

{
    cmake -S "$scratch" -B "$scratch/build" -G Ninja "$@" -DCMAKE_CXX_COMPILER_LAUNCHER="$scratch/launcher" \
        -DQIP_BUILD_TESTS=OFF -DQIP_BUILD_BENCH=OFF -DQIP_BUILD_EXAMPLES=OFF
    cmake --build "$scratch/build" --target qbase qip_gauss qip-smooth
} > "$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }

failed=0
for name in "$libraries/libqbase.so" "$libraries/libqip_gauss.so" tools/qip-smooth; do
    if cmp "$build/$name" "$scratch/build/$name"; then
        sha256sum "$build/$name"
    else
        failed=1
    fi
    if grep -a -o -F -m 1 -e "$source" -e "$build" "$build/$name"; then
        echo "FAILED: $name holds this name of a folder"
        failed=1
    fi
done
((failed)) || rm -rf "$scratch"
exit $failed
