#!/usr/bin/env bash
# Runs a command as a client of a real Wayland compositor (Weston, drawing in memory so that it can
# take screenshots), with Qt on its Wayland platform, a private home and runtime folder; ends what it
# started when the command ends. The command brings its own session bus.
#
#   with_wayland.sh headless COMMAND [ARGUMENT...]
#   with_wayland.sh seat DISPLAY_NUMBER COMMAND [ARGUMENT...]
#
# A headless Weston has no seat, so no window ever has the focus there. With "seat", Weston runs in a
# window of a private X server (Xvfb) whose keyboard and pointer become its seat.
# NUVEXA_WAYLAND_SEAT tells the command which it got (1 with a seat), NUVEXA_TRAY_SCREEN names it.
#
# The command finds its logs' folder in NUVEXA_TRAY_WORK; anything ending in .log there is printed
# when it fails. Exits 77 (skipped) when Weston or Qt's Wayland platform is missing, except on CI
# (CI=true), where that fails.
set -euo pipefail

mode=$1
shift
display=""
if [ "$mode" = seat ]; then
    display=":$1"
    shift
fi

missing=()
tools=(weston weston-screenshooter)
[ "$mode" = seat ] && tools+=(Xvfb xdpyinfo)
for tool in "${tools[@]}"; do
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
xvfb_pid=""

finish() {
    local status=$?
    for pid in "$weston_pid" "$xvfb_pid"; do
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
case "$mode" in
    headless)
        export NUVEXA_WAYLAND_SEAT=0 NUVEXA_TRAY_SCREEN=wayland-headless
        weston --config="$work/weston.ini" --backend=headless-backend.so --use-pixman --debug \
            --width=1024 --height=768 --socket="$WAYLAND_DISPLAY" >"$work/weston.log" 2>&1 &
        weston_pid=$!
        ;;
    seat)
        if [ -e "/tmp/.X${display#:}-lock" ]; then
            echo "wayland: display $display is already in use; choose another in the test's CMake settings"
            exit 1
        fi
        export NUVEXA_WAYLAND_SEAT=1 NUVEXA_TRAY_SCREEN=wayland-seat
        Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
        xvfb_pid=$!
        for _ in $(seq 600); do
            DISPLAY=$display xdpyinfo >/dev/null 2>&1 && break
            sleep 0.1
        done
        DISPLAY=$display weston --config="$work/weston.ini" --backend=x11-backend.so --use-pixman --debug \
            --width=1024 --height=768 --socket="$WAYLAND_DISPLAY" >"$work/weston.log" 2>&1 &
        weston_pid=$!
        ;;
    *)
        echo "wayland: the first argument is headless or seat, not $mode"
        exit 2
        ;;
esac

for _ in $(seq 600); do
    [ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] && break
    kill -0 "$weston_pid" 2>/dev/null || { echo "wayland: weston ended"; exit 1; }
    sleep 0.1
done
[ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] || { echo "wayland: gave up waiting for weston"; exit 1; }

"$@"
