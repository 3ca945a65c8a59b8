#!/usr/bin/env bash
# Fails when the translation catalogue misses a text the sources mark for translation, or keeps one
# they no longer use: lupdate, run over the same sources as the build's update_translations target
# but into a copy of the catalogue, must find nothing new, nothing gone and nothing untranslated.
#
#   catalogue_complete.sh LUPDATE PROJECT_GENERATOR PROJECT_DESCRIPTION CATALOGUE
set -euo pipefail

lupdate=$1
generator=$2
description=$3
catalogue=$4

work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-catalogue.XXXXXX")
trap 'rm -rf "$work"' EXIT

cmake -DIN_FILE="$description" -DOUT_FILE="$work/project.json" -P "$generator"
cp "$catalogue" "$work/catalogue.ts"
"$lupdate" -project "$work/project.json" -locations none -ts "$work/catalogue.ts" > "$work/lupdate.log" 2>&1 || {
    cat "$work/lupdate.log"
    exit 1
}
cat "$work/lupdate.log"

# An entry lupdate marks: "unfinished" is new or untranslated, "vanished"/"obsolete" no longer used.
marked=$(grep -B2 -E 'type="(unfinished|vanished|obsolete)"' "$work/catalogue.ts" | grep -o '<source>.*</source>' || true)
if [ -n "$marked" ]; then
    echo "catalogue: these texts are missing from $catalogue, untranslated, or no longer used:"
    echo "$marked"
    echo "catalogue: mark each text where it is used (a class's tr(), or a file's Texts::tr() with"
    echo "           Q_DECLARE_TR_FUNCTIONS), then run 'cmake --build --preset dev --target"
    echo "           update_translations' and translate the new entries"
    exit 1
fi
echo "catalogue: complete"
