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
ls -1 build/release/packages/nuvexa-companion[-_]*.{deb,dmg} 2>/dev/null | head -n 1
