#!/usr/bin/env bash
# The companion on a real X display with a tray (run inside with_x_tray.sh), seen through the
# accessibility bus (AT-SPI) as a screen reader sees it: with two paired phones in the key file, a
# click on the icon opens the panel, and accessibility_walk.py checks what the tree offers.
#
#   with_x_tray.sh PROBE DISPLAY accessibility_test.sh COMPANION
set -euo pipefail
script_name="accessibility test"
# shellcheck source=../../support/script_support.sh
source "$(dirname "$0")/../../support/script_support.sh"

companion=$1
work=$NUVEXA_TRAY_WORK
bus_launcher=/usr/libexec/at-spi-bus-launcher
# pyatspi is packaged for the system's own Python only.
python=/usr/bin/python3

missing=()
[ -x "$bus_launcher" ] || missing+=(at-spi2-core)
"$python" -c 'import pyatspi' 2>/dev/null || missing+=(python3-pyatspi)
command -v ssh-keygen >/dev/null || missing+=(openssh-client)
skip_when_missing "${missing[@]}"
trap stop_started EXIT

# Two paired phones, so there are two revoke buttons to tell apart.
mkdir -p "$HOME/.ssh"
for phone in "iPhone de Ana" "iPad"; do
    ssh-keygen -q -t ed25519 -N '' -C "nuvexa:$phone" -f "$work/key" >/dev/null
    cat "$work/key.pub" >>"$HOME/.ssh/authorized_keys"
    rm -f "$work/key" "$work/key.pub"
done

# The accessibility bus belongs to the session bus, not to the X display.
env -u DISPLAY "$bus_launcher" --launch-immediately >"$work/at-spi.log" 2>&1 &
started+=($!)
bus_ready() {
    dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress | grep -q unix
}
wait_for "the accessibility bus" bus_ready

QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 "$companion" >"$work/companion.log" 2>&1 &
started+=($!)
icon_window() { xdotool search --onlyvisible --classname '^nuvexa-companion$' | head -n 1; }
has_window() { [ -n "$("$1")" ]; }
wait_for "the tray icon" has_window icon_window

"$python" "$(dirname "$0")/accessibility_walk.py" "$(icon_window)" | tee "$work/walk.txt"
