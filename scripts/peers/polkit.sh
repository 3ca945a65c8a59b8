#!/usr/bin/env bash
# Starts or stops polkit's daemon on the system D-Bus, for the tests of pkexec in a session without a
# polkit agent. The system bus is started here unless one already runs (and then also stopped here).
#
#   polkit.sh start DIR    writes DIR/state: "status=ready", or "status=unavailable" and "reason=..."
#   polkit.sh stop DIR
#
# Where the daemon cannot be started (not root, a program missing) the start still succeeds with
# status=unavailable, so the tests skip and say why; with CI=true that is a failure instead.
set -euo pipefail

action=${1:?usage: polkit.sh start|stop DIR}
dir=${2:?usage: polkit.sh start|stop DIR}
polkitd=/usr/lib/polkit-1/polkitd

unavailable() {
    printf 'status=unavailable\nreason=%s\n' "$1" > "$dir/state"
    echo "polkit.sh: cannot start the polkit peer: $1" >&2
    if [ "${CI:-}" = true ]; then
        exit 1
    fi
    exit 0
}

system_bus_answers() {
    dbus-send --system --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.GetId >/dev/null 2>&1
}

polkit_answers() {
    dbus-send --system --print-reply --dest=org.freedesktop.PolicyKit1 /org/freedesktop/PolicyKit1/Authority \
        org.freedesktop.DBus.Properties.Get string:org.freedesktop.PolicyKit1.Authority string:BackendName \
        >/dev/null 2>&1
}

start() {
    mkdir -p "$dir"
    rm -f "$dir/state"
    [ "$(id -u)" = 0 ] || unavailable "not running as root (the system bus and a test user need root)"
    for program in dbus-daemon dbus-send pkexec runuser useradd; do
        command -v "$program" >/dev/null || unavailable "$program is not installed (scripts/setup.sh --tests installs it)"
    done
    [ -x "$polkitd" ] || unavailable "polkitd is not installed (scripts/setup.sh --tests installs it)"
    [ -u "$(command -v pkexec)" ] || unavailable "pkexec is not set-user-ID root"

    if ! system_bus_answers; then
        mkdir -p /run/dbus
        rm -f /run/dbus/pid
        dbus-daemon --system --fork --print-pid > "$dir/dbus.pid"
        for _ in $(seq 600); do
            system_bus_answers && break
            sleep 0.1
        done
        system_bus_answers || unavailable "the system D-Bus did not start"
    fi
    # A polkitd already on the bus serves as well as ours.
    if ! polkit_answers; then
        "$polkitd" --no-debug >> "$dir/polkitd.log" 2>&1 &
        echo $! > "$dir/polkitd.pid"
        for _ in $(seq 600); do
            polkit_answers && break
            sleep 0.1
        done
        polkit_answers || unavailable "polkitd did not answer on the system bus (see $dir/polkitd.log)"
    fi
    printf 'status=ready\n' > "$dir/state"
}

stop() {
    if [ -f "$dir/polkitd.pid" ]; then
        kill "$(cat "$dir/polkitd.pid")" 2>/dev/null || true
        rm -f "$dir/polkitd.pid"
    fi
    if [ -f "$dir/dbus.pid" ]; then
        kill "$(cat "$dir/dbus.pid")" 2>/dev/null || true
        rm -f "$dir/dbus.pid" /run/dbus/pid
    fi
    rm -f "$dir/state"
}

case "$action" in
    start) start ;;
    stop) stop ;;
    *) echo "usage: polkit.sh start|stop DIR" >&2; exit 2 ;;
esac
