#!/usr/bin/env bash
# Saves a picture of the whole screen the caller runs on, as PNG: the Wayland compositor's own
# screenshot (Weston started with --debug) where WAYLAND_DISPLAY is set, the X server's root window
# otherwise.
#
#   screenshot.sh OUTPUT.png
set -euo pipefail

output=$1
if [ -n "${WAYLAND_DISPLAY:-}" ]; then
    # weston-screenshooter writes a file named after the time into its working folder.
    folder=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-shot.XXXXXX")
    trap 'rm -rf "$folder"' EXIT
    (cd "$folder" && weston-screenshooter >/dev/null)
    shot=$(find "$folder" -name '*.png' -print -quit)
    [ -n "$shot" ] || { echo "screenshot: weston wrote no picture" >&2; exit 1; }
    mv "$shot" "$output"
else
    import -window root "$output"
fi
