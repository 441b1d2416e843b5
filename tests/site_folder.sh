#!/bin/bash
# The site's builder deletes no folder that it did not make, and takes a relative one from where the caller is.
#
#   site_folder.sh SITE-SCRIPT SCRATCH-FOLDER
set -euo pipefail
script=$1
scratch=$2
rm -rf "$scratch"
mkdir -p "$scratch/docs"
cd "$scratch"
echo mine > docs/page
if said=$("$script" docs) || [[ $said != "REFUSED: "*"/docs is not empty"* || $(cat docs/page) != mine ]]; then
    echo "FAILED: a folder with a page of somebody: $said"
    exit 1
fi
