#!/usr/bin/env bash
# Runs a command as a client of a real Wayland compositor (Weston, headless, drawing in memory so that
# it can take screenshots), with Qt on its Wayland platform, a private home and runtime folder; ends
# the compositor when the command ends. The command brings its own session bus.
#
#   with_wayland.sh COMMAND [ARGUMENT...]
#
# The command finds its logs' folder in NUVEXA_TRAY_WORK; anything ending in .log there is printed
# when it fails. Exits 77 (skipped) when Weston or Qt's Wayland platform is missing, except on CI
# (CI=true), where that fails.
set -euo pipefail

missing=()
for tool in weston weston-screenshooter weston-info; do
    command -v "$tool" >/dev/null 2>&1 || missing+=("$tool")
done
if ! compgen -G "/usr/lib/*/qt6/plugins/platforms/libqwayland-generic.so" >/dev/null; then
    missing+=(qt6-wayland)
fi
if [ ${#missing[@]} -gt 0 ]; then
    echo "wayland: ${missing[*]} not installed (scripts/setup.sh --tests installs them)"
    if [ "${CI:-}" = true ]; then
        exit 1
    fi
    echo "wayland: skipped"
    exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-wayland.XXXXXX")
mkdir -m 700 "$work/runtime" "$work/home"
weston_pid=""

finish() {
    local status=$?
    if [ -n "$weston_pid" ] && kill -0 "$weston_pid" 2>/dev/null; then
        kill "$weston_pid" 2>/dev/null || true
        wait "$weston_pid" 2>/dev/null || true
    fi
    if [ $status -ne 0 ] && [ $status -ne 77 ]; then
        for log in "$work"/*.log; do
            [ -s "$log" ] && { echo "--- $(basename "$log")"; cat "$log"; }
        done
    fi
    rm -rf "$work"
}
trap finish EXIT

export HOME=$work/home
export XDG_RUNTIME_DIR=$work/runtime
export XDG_STATE_HOME=$work/home/.local/state
export XDG_CONFIG_HOME=$work/home/.config
export NUVEXA_TRAY_WORK=$work
export QT_QPA_PLATFORM=wayland
export WAYLAND_DISPLAY=nuvexa-wayland
unset DISPLAY
# The Spanish keys, whatever the machine's language.
export LC_ALL=C.UTF-8 LANGUAGE=
# Announcing needs the system bus; nothing here announces, so it is kept out of reach.
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/nuvexa-no-system-bus

# A plain background and no shell panel, so that what changes on the screen is the companion's.
cat >"$work/weston.ini" <<'INI'
[core]
idle-time=0
[shell]
background-color=0xff203040
panel-position=none
locking=false
INI
weston --config="$work/weston.ini" --backend=headless-backend.so --use-pixman --debug \
    --width=1024 --height=768 --socket="$WAYLAND_DISPLAY" >"$work/weston.log" 2>&1 &
weston_pid=$!

for _ in $(seq 600); do
    [ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] && break
    kill -0 "$weston_pid" 2>/dev/null || { echo "wayland: weston ended"; exit 1; }
    sleep 0.1
done
[ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] || { echo "wayland: gave up waiting for weston"; exit 1; }

# A headless Weston has no seat (no keyboard, no pointer): then no window ever has the focus.
if WAYLAND_DISPLAY=$WAYLAND_DISPLAY weston-info 2>/dev/null | grep -q wl_seat; then
    export NUVEXA_WAYLAND_SEAT=1
else
    export NUVEXA_WAYLAND_SEAT=0
fi

"$@"
