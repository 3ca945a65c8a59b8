#!/usr/bin/env bash
# Runs a command on a private X display (Xvfb) with an XEmbed system tray (trayer), on a session bus
# of its own, with a private home and runtime folder; ends everything it started when the command ends.
#
#   with_x_tray.sh TRAY_PROBE DISPLAY_NUMBER COMMAND [ARGUMENT...]
#
# The command finds the display in DISPLAY and a folder for its logs in NUVEXA_TRAY_WORK; anything
# ending in .log there is printed when it fails. Exits 77 (skipped) when the X tools are missing,
# except on CI (CI=true), where that fails.
set -euo pipefail
script_name=tray
# shellcheck source=../../support/script_support.sh
source "$(dirname "$0")/../../support/script_support.sh"

probe=$1
display=":$2"
shift 2

mapfile -t missing < <(missing_tools Xvfb trayer xdotool xdpyinfo import dbus-run-session)
skip_when_missing "${missing[@]}"

# Everything below runs on a session bus of its own, so nothing reaches the user's session.
if [ "${NUVEXA_TRAY_ON_PRIVATE_BUS:-}" != 1 ]; then
    NUVEXA_TRAY_ON_PRIVATE_BUS=1 exec dbus-run-session -- "$0" "$probe" "${display#:}" "$@"
fi

if [ -e "/tmp/.X${display#:}-lock" ]; then
    echo "tray: display $display is already in use; choose another in the test's CMake settings"
    exit 1
fi

start_private_session tray
export DISPLAY=$display
export QT_QPA_PLATFORM=xcb

Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp -noreset >"$work/xvfb.log" 2>&1 &
started+=($!)
wait_for "the X server" xdpyinfo

trayer --edge top --align right --widthtype request --height 28 --SetDockType true --transparent false \
    >"$work/trayer.log" 2>&1 &
started+=($!)
# The tray is usable once it owns the tray selection, which the probe checks as the companion will.
wait_for "the tray" "$probe"

"$@"
