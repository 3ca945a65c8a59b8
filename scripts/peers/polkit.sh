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
peer=polkit
# shellcheck source=peer_support.sh
source "$(dirname "$0")/peer_support.sh"
polkitd=/usr/lib/polkit-1/polkitd

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

    start_system_bus
    # Asking starts polkitd through D-Bus activation where the bus can, and a polkitd already
    # running serves as well; one of ours is started only where neither answers.
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
    stop_system_bus
    rm -f "$dir/state"
}

case "$action" in
    start) start ;;
    stop) stop ;;
    *) echo "usage: polkit.sh start|stop DIR" >&2; exit 2 ;;
esac
