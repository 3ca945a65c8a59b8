#!/usr/bin/env bash
# The companion on a real X display: starts a private X server (Xvfb) with an XEmbed tray (trayer),
# starts the companion there, and checks that its icon appears in the tray, that a click on it drops
# the panel just under the icon, that a second click closes it, and that "Salir" ends the program.
# Screenshots of the whole screen are kept in the artifact folder.
#
#   tray_click_test.sh COMPANION TRAY_PROBE DISPLAY_NUMBER ARTIFACT_FOLDER
#
# Exits 77 (skipped) when the X tools are missing, except on CI (CI=true), where that fails.
set -euo pipefail

companion=$1
probe=$2
display=":$3"
artifacts=$4

missing=()
for tool in Xvfb trayer xdotool xdpyinfo import dbus-run-session; do
    command -v "$tool" >/dev/null 2>&1 || missing+=("$tool")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "tray test: ${missing[*]} not installed (scripts/setup.sh installs them)"
    if [ "${CI:-}" = true ]; then
        exit 1
    fi
    echo "tray test: skipped"
    exit 77
fi

# Everything below runs on a session bus of its own, so nothing reaches the user's session.
if [ "${NUVEXA_TRAY_TEST_ON_PRIVATE_BUS:-}" != 1 ]; then
    NUVEXA_TRAY_TEST_ON_PRIVATE_BUS=1 exec dbus-run-session -- "$0" "$@"
fi

if [ -e "/tmp/.X${display#:}-lock" ]; then
    echo "tray test: display $display is already in use; choose another with -DNUVEXA_TRAY_TEST_DISPLAY=N"
    exit 1
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-tray-test.XXXXXX")
mkdir -m 700 "$work/runtime" "$work/home"
mkdir -p "$artifacts"
xvfb_pid=""
trayer_pid=""
companion_pid=""

finish() {
    local status=$?
    for pid in "$companion_pid" "$trayer_pid" "$xvfb_pid"; do
        if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
            kill "$pid" 2>/dev/null || true
            wait "$pid" 2>/dev/null || true
        fi
    done
    if [ $status -ne 0 ]; then
        for log in "$work"/*.log; do
            [ -s "$log" ] && { echo "--- $(basename "$log")"; cat "$log"; }
        done
    fi
    rm -rf "$work"
}
trap finish EXIT

fail() {
    echo "tray test: $*"
    exit 1
}

# Waits until the command succeeds. The bound only catches a broken setup; nothing here depends on
# how quickly things happen.
wait_for() {
    local what=$1
    shift
    for _ in $(seq 300); do
        if "$@" >/dev/null 2>&1; then
            return 0
        fi
        sleep 0.1
    done
    fail "gave up waiting for $what"
}

export DISPLAY=$display
export HOME=$work/home
export XDG_RUNTIME_DIR=$work/runtime
export XDG_STATE_HOME=$work/home/.local/state
export QT_QPA_PLATFORM=xcb
# The Spanish keys, whatever the machine's language.
export LC_ALL=C.UTF-8 LANGUAGE=
# Announcing needs the system bus; nothing in this test announces, so it is kept out of reach.
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/nuvexa-no-system-bus

Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
wait_for "the X server" xdpyinfo

trayer --edge top --align right --widthtype request --height 28 --SetDockType true --transparent false \
    >"$work/trayer.log" 2>&1 &
trayer_pid=$!
# The tray is usable once it owns the tray selection, which the probe checks as the companion will.
wait_for "the tray" "$probe"

"$companion" >"$work/companion.log" 2>&1 &
companion_pid=$!

icon_window() { xdotool search --onlyvisible --classname '^nuvexa-companion$' | head -n 1; }
panel_window() { xdotool search --onlyvisible --name '^nuvexa Companion$' | head -n 1; }
has_window() { [ -n "$("$1")" ]; }
has_no_window() { [ -z "$("$1")" ]; }
# Ended (a child that has ended stays a zombie until it is waited for).
has_ended() { ! kill -0 "$1" 2>/dev/null || [ "$(awk '{print $3}' "/proc/$1/stat" 2>/dev/null)" = Z ]; }
# A window that has been drawn is not a single flat colour.
is_drawn() {
    local deviation
    deviation=$(import -window "$1" -format '%[fx:standard_deviation]' info:)
    [ "$deviation" != 0 ]
}
geometry() {
    # Sets X, Y, WIDTH and HEIGHT of window $1.
    eval "$(xdotool getwindowgeometry --shell "$1")"
}

wait_for "the tray icon" has_window icon_window
icon=$(icon_window)
geometry "$icon"
icon_x=$X icon_y=$Y icon_width=$WIDTH icon_height=$HEIGHT
echo "tray test: icon window $icon at ${icon_x},${icon_y}, ${icon_width}x${icon_height}"
[ "$icon_y" -lt 28 ] || fail "the icon is not in the tray at the top of the screen"
has_no_window panel_window || fail "the panel is open before any click"
wait_for "the icon to be drawn" is_drawn "$icon"
import -window root "$artifacts/tray-icon.png"
echo "tray test: screenshot $artifacts/tray-icon.png"

xdotool mousemove --window "$icon" $((icon_width / 2)) $((icon_height / 2)) click 1
wait_for "the panel" has_window panel_window
panel=$(panel_window)
geometry "$panel"
echo "tray test: panel window $panel at ${X},${Y}, ${WIDTH}x${HEIGHT}"
[ "$WIDTH" -eq 348 ] || fail "the panel is $WIDTH wide, not 320 plus twice 14"
[ "$Y" -ge $((icon_y + icon_height)) ] || fail "the panel does not drop below the icon"
[ $((Y + HEIGHT)) -le 768 ] || fail "the panel runs off the screen"
wait_for "the panel to be drawn" is_drawn "$panel"
import -window root "$artifacts/tray-panel-open.png"
echo "tray test: screenshot $artifacts/tray-panel-open.png"

# A second click on the icon closes the panel, a third opens it again.
xdotool mousemove --window "$icon" $((icon_width / 2)) $((icon_height / 2)) click 1
wait_for "the panel to close" has_no_window panel_window
xdotool mousemove --window "$icon" $((icon_width / 2)) $((icon_height / 2)) click 1
wait_for "the panel to open again" has_window panel_window
panel=$(panel_window)
geometry "$panel"
wait_for "the panel to be drawn" is_drawn "$panel"

# "Salir" is the last button of the footer, on the trailing edge above the bottom padding.
xdotool mousemove --window "$panel" $((WIDTH - 14 - 20)) $((HEIGHT - 14 - 8)) click 1
wait_for "the companion to end" has_ended "$companion_pid"
status=0
wait "$companion_pid" || status=$?
companion_pid=""
[ "$status" -eq 0 ] || fail "the companion ended with status $status"
echo "tray test: passed"
