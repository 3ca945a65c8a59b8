#!/usr/bin/env bash
# Sets up the machine, builds the companion and starts it: the tray / menu bar app on a desktop
# session, the terminal pairing session on a machine without one. Extra arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release
cmake --build --preset release

app=build/release/CompanionApp/nuvexa-companion
cli=build/release/cli/nuvexa-companion-cli
case "$(uname -s)" in
    Darwin)
        exec "$app.app/Contents/MacOS/nuvexa-companion" "$@"
        ;;
    *)
        if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
            exec "$app" "$@"
        fi
        exec "$cli" "${@:-pair}"
        ;;
esac
