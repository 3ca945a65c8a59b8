#!/usr/bin/env bash
# The companion itself on a real X display with a tray (run inside with_x_tray.sh): its icon appears
# in the tray, a click drops the panel just under the icon, a second click closes it, a third opens it
# again, and "Salir" ends the program. Screenshots of the whole screen are kept in the artifact folder.
#
#   with_x_tray.sh PROBE DISPLAY tray_click_test.sh COMPANION ARTIFACT_FOLDER
set -euo pipefail
script_name="tray test"
# shellcheck source=../../support/script_support.sh
source "$(dirname "$0")/../../support/script_support.sh"

companion=$1
artifacts=$2
work=$NUVEXA_TRAY_WORK
mkdir -p "$artifacts"
trap stop_started EXIT

"$companion" >"$work/companion.log" 2>&1 &
companion_pid=$!
started+=("$companion_pid")

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
started=()
[ "$status" -eq 0 ] || fail "the companion ended with status $status"
echo "tray test: passed"
