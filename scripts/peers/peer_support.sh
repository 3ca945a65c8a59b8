# shellcheck shell=bash
# What the peer scripts share, sourced by them (bash). The sourcing script sets `peer` (its name, as
# in "avahi") and `dir` (the peer's folder) first.

# Records that the peer cannot start and why, in DIR/state. The start still succeeds, so the tests
# skip and say why; with CI=true, where every peer must be there, it fails instead.
unavailable() {
    printf 'status=unavailable\nreason=%s\n' "$1" > "$dir/state"
    echo "$peer.sh: cannot start the $peer peer: $1" >&2
    if [ "${CI:-}" = true ]; then
        exit 1
    fi
    exit 0
}

system_bus_answers() {
    dbus-send --system --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.GetId >/dev/null 2>&1
}

# Starts the system bus unless one runs, and then records it in DIR/dbus.pid for stop_system_bus.
start_system_bus() {
    system_bus_answers && return 0
    mkdir -p /run/dbus
    rm -f /run/dbus/pid
    dbus-daemon --system --fork --print-pid > "$dir/dbus.pid"
    for _ in $(seq 600); do
        system_bus_answers && return 0
        sleep 0.1
    done
    unavailable "the system D-Bus did not start"
}

# Stops the system bus if start_system_bus started it.
stop_system_bus() {
    if [ -f "$dir/dbus.pid" ]; then
        kill "$(cat "$dir/dbus.pid")" 2>/dev/null || true
        rm -f "$dir/dbus.pid" /run/dbus/pid
    fi
}
