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

probe=$1
display=":$2"
shift 2

missing=()
for tool in Xvfb trayer xdotool xdpyinfo import dbus-run-session; do
    command -v "$tool" >/dev/null 2>&1 || missing+=("$tool")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "tray: ${missing[*]} not installed (scripts/setup.sh installs them)"
    if [ "${CI:-}" = true ]; then
        exit 1
    fi
    echo "tray: skipped"
    exit 77
fi

# Everything below runs on a session bus of its own, so nothing reaches the user's session.
if [ "${NUVEXA_TRAY_ON_PRIVATE_BUS:-}" != 1 ]; then
    NUVEXA_TRAY_ON_PRIVATE_BUS=1 exec dbus-run-session -- "$0" "$probe" "${display#:}" "$@"
fi

if [ -e "/tmp/.X${display#:}-lock" ]; then
    echo "tray: display $display is already in use; choose another in the test's CMake settings"
    exit 1
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-tray.XXXXXX")
mkdir -m 700 "$work/runtime" "$work/home"
xvfb_pid=""
trayer_pid=""

finish() {
    local status=$?
    for pid in "$trayer_pid" "$xvfb_pid"; do
        if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
            kill "$pid" 2>/dev/null || true
            wait "$pid" 2>/dev/null || true
        fi
    done
    if [ $status -ne 0 ] && [ $status -ne 77 ]; then
        for log in "$work"/*.log; do
            [ -s "$log" ] && { echo "--- $(basename "$log")"; cat "$log"; }
        done
    fi
    rm -rf "$work"
}
trap finish EXIT

# Waits until the command succeeds. The bound only catches a broken setup; nothing here depends on
# how quickly things happen.
wait_for() {
    local what=$1
    shift
    for _ in $(seq 600); do
        if "$@" >/dev/null 2>&1; then
            return 0
        fi
        sleep 0.1
    done
    echo "tray: gave up waiting for $what"
    exit 1
}

export DISPLAY=$display
export HOME=$work/home
export XDG_RUNTIME_DIR=$work/runtime
export XDG_STATE_HOME=$work/home/.local/state
export NUVEXA_TRAY_WORK=$work
export QT_QPA_PLATFORM=xcb
# The Spanish keys, whatever the machine's language.
export LC_ALL=C.UTF-8 LANGUAGE=
# Announcing needs the system bus; nothing here announces, so it is kept out of reach.
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/nuvexa-no-system-bus

Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
wait_for "the X server" xdpyinfo

trayer --edge top --align right --widthtype request --height 28 --SetDockType true --transparent false \
    >"$work/trayer.log" 2>&1 &
trayer_pid=$!
# The tray is usable once it owns the tray selection, which the probe checks as the companion will.
wait_for "the tray" "$probe"

"$@"
