#!/bin/bash
# Tests of the Python module; status 77 says "skipped", with the reason printed.
#
#   run.sh pytest PYTHON FOLDER          the tests beside this file; FOLDER holds the package qip
#   run.sh types PYTHON FOLDER           the stubs agree with the module, which is typed throughout
#   run.sh readme PYTHON FOLDER README   the README's Python programs run and print what their comments say
#   run.sh wheel PYTHON FOLDER SOURCE BUILD SCRATCH
#                                        a wheel of the libraries of the tree BUILD, installed in an environment
#                                        of its own, smooths; its core uses Python's stable interface alone
set -euo pipefail
what=$1 python=$2 folder=$3
here=$(cd "$(dirname "$0")" && pwd)
export PYTHONPATH=$folder PYTHONDONTWRITEBYTECODE=1

needs() {
    local module
    for module in "$@"; do
        if ! "$python" -c "import $module" 2> /dev/null; then
            echo "SKIPPED: Debian's package of the Python module $module is not there"
            exit 77
        fi
    done
}

case $what in
pytest)
    needs numpy pytest hypothesis
    exec "$python" -m pytest -q -r s -p no:cacheprovider "$here"
    ;;
types)
    needs numpy mypy dask.array
    cd "$folder"
    export MYPY_CACHE_DIR=$folder/.mypy_cache
    "$python" -m mypy --strict -p qip
    exec "$python" -m mypy.stubtest qip
    ;;
readme)
    needs numpy
    awk '/^```python$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$4" > "$folder/readme.py"
    promised=$(sed -n 's/^.*  # prints //p' "$folder/readme.py")
    printed=$(cd "$(dirname "$4")" && "$python" "$folder/readme.py")
    if [[ -z $promised || $printed != "$promised" ]]; then
        echo "FAILED: it prints '$printed', the README says '$promised'"
        exit 1
    fi
    ;;
wheel)
    exec "$here/wheel.sh" "$python" "${@:4}"
    ;;
esac
