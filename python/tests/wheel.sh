#!/bin/bash
# A wheel made without a network is complete: installed where nothing of this repository is in reach, it
# smooths. Run by run.sh.
#
#   wheel.sh PYTHON SOURCE BUILD SCRATCH
set -euo pipefail
python=$1 source=$2 build=$3 scratch=$4
unset PYTHONPATH

for module in build wheel setuptools numpy venv ensurepip; do
    if ! "$python" -c "import $module" 2> /dev/null; then
        echo "SKIPPED: Debian's package of the Python module $module is not there"
        exit 77
    fi
done
rm -rf "$scratch"
mkdir -p "$scratch"
export TMPDIR=$scratch

# From the packed sources, as a user of them would.
if ! QIP_BUILD_TREE=$build "$python" -m build --no-isolation --outdir "$scratch/dist" "$source" \
        > "$scratch/build.log" 2>&1; then
    cat "$scratch/build.log"
    exit 1
fi
wheel=("$scratch"/dist/*.whl)
if ((${#wheel[@]} != 1)) || [[ ${wheel[0]} != */qip-*-cp311-abi3-linux_"$(uname -m)".whl ]]; then
    echo "FAILED: the wheels are ${wheel[*]}"
    exit 1
fi

"$python" -m venv --system-site-packages "$scratch/venv"
"$scratch/venv/bin/pip" -q --disable-pip-version-check install --no-index --no-deps "${wheel[0]}"
cd "$scratch/venv"
packages=$(bin/python -c 'import os, qip; print(os.path.dirname(qip.__file__))')
bin/python - "$packages" << 'END'
import os, sys
import numpy, qip
libraries = list(qip.info()["libraries"].values())
assert qip.__file__.startswith(sys.prefix), qip.__file__
assert all(path.startswith(sys.argv[1] + os.sep) for path in libraries), libraries
loaded = {line.split()[-1] for line in open("/proc/self/maps") if "libqip" in line or "libqbase" in line}
assert loaded == set(libraries), loaded
picture = numpy.zeros((480, 640), numpy.uint8)
picture[240, 320] = 255
assert qip.gaussian(picture, 2)[240, 320] == 17
END
for library in "$packages"/*.so*; do
    rpath=$(readelf -d "$library" | sed -n 's/.*R\(UN\)\?PATH.*\[\(.*\)\]/\2/p')
    if [[ -n $rpath && $rpath != "\$ORIGIN" ]]; then
        echo "FAILED: $library looks for libraries in $rpath"
        exit 1
    fi
done

# Python's own test of its stable interface has the list of what it holds.
if ! "$python" -c 'import test.test_stable_abi_ctypes' 2> /dev/null; then
    echo "SKIPPED: the symbols, since libpython3-testsuite is not there; the rest has passed"
    exit 0
fi
nm -D --undefined-only "$packages"/_core.abi3.so | awk '$NF ~ /^_?Py/ { print $NF }' | "$python" -c '
import sys, test.test_stable_abi_ctypes as stable
used = set(sys.stdin.read().split())
beyond = used - set(stable.SYMBOL_NAMES)
assert len(used) > 20 and not beyond, beyond
'
