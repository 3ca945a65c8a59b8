#!/usr/bin/env bash
# Sets up what building needs, builds the release and packages it: a Debian package on Linux, a disk
# image with the app bundle on macOS. Prints the package's path on its last line.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release
cmake --build --preset release
rm -f build/release/packages/nuvexa-companion[-_]*
cmake --build --preset release --target package
for package in build/release/packages/nuvexa-companion[-_]*.deb build/release/packages/nuvexa-companion[-_]*.dmg; do
    if [ -e "$package" ]; then
        echo "$package"
        exit 0
    fi
done
echo "package: no package was made" >&2
exit 1
