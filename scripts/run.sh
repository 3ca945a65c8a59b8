#!/usr/bin/env bash
# Sets up the machine, builds the companion and starts it: the tray app on a desktop session, the
# terminal pairing session on a machine without one. Extra arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release
cmake --build --preset release

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ -x build/release/CompanionApp/nuvexa-companion ]; then
    exec build/release/CompanionApp/nuvexa-companion "$@"
fi
exec build/release/cli/nuvexa-companion-cli "${@:-pair}"
