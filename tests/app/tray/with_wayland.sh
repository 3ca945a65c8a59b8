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
script_name=wayland
# shellcheck source=../../support/script_support.sh
source "$(dirname "$0")/../../support/script_support.sh"

mode=$1
shift
display=""
if [ "$mode" = seat ]; then
    display=":$1"
    shift
fi

tools=(weston weston-screenshooter)
[ "$mode" = seat ] && tools+=(Xvfb xdpyinfo)
mapfile -t missing < <(missing_tools "${tools[@]}")
if ! compgen -G "/usr/lib/*/qt6/plugins/platforms/libqwayland-generic.so" >/dev/null; then
    missing+=(qt6-wayland)
fi
skip_when_missing "${missing[@]}"

start_private_session wayland
weston_pid=""
export QT_QPA_PLATFORM=wayland
export WAYLAND_DISPLAY=nuvexa-wayland
unset DISPLAY

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
        started+=("$weston_pid")
        ;;
    seat)
        if [ -e "/tmp/.X${display#:}-lock" ]; then
            fail "display $display is already in use; choose another in the test's CMake settings"
        fi
        export NUVEXA_WAYLAND_SEAT=1 NUVEXA_TRAY_SCREEN=wayland-seat
        Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp -noreset >"$work/xvfb.log" 2>&1 &
        started+=($!)
        wait_for "the X server" env DISPLAY="$display" xdpyinfo
        DISPLAY=$display weston --config="$work/weston.ini" --backend=x11-backend.so --use-pixman --debug \
            --width=1024 --height=768 --socket="$WAYLAND_DISPLAY" >"$work/weston.log" 2>&1 &
        weston_pid=$!
        started+=("$weston_pid")
        ;;
    *)
        echo "$script_name: the first argument is headless or seat, not $mode"
        exit 2
        ;;
esac

# Ready once its socket is there; an ended Weston fails at once rather than at the bound.
weston_ready() {
    [ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] || ! kill -0 "$weston_pid" 2>/dev/null
}
wait_for "weston" weston_ready
[ -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" ] || fail "weston ended"

"$@"
