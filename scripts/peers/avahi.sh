#!/usr/bin/env bash
# Starts or stops the Avahi daemon that the announcement tests talk to, kept inside a network
# namespace of its own that has only a loopback interface, so no mDNS packet reaches a real network.
# Programs in the root namespace reach it over the system D-Bus, which is started here unless one
# already runs (and then also stopped here).
#
#   avahi.sh start DIR          writes DIR/state: "status=ready", or "status=unavailable" and "reason=..."
#   avahi.sh stop DIR
#   avahi.sh daemon-stop DIR    stops only the daemon of a started peer, as when it goes away mid-session
#   avahi.sh daemon-start DIR [INTERFACES [SETTING...]]
#                               starts that daemon again, on INTERFACES (allow-interfaces, "lo" unless
#                               told) and with each [publish] SETTING (such as disable-publishing) set
#                               to yes; exits 1 when it does not reach the running state
#
# Where the daemon cannot be started (not root, a program missing) the start still succeeds with
# status=unavailable, so the tests skip and say why; with CI=true that is a failure instead.
set -euo pipefail

action=${1:?usage: avahi.sh start|stop|daemon-stop|daemon-start DIR}
dir=${2:?usage: avahi.sh start|stop|daemon-stop|daemon-start DIR}
peer=avahi
# shellcheck source=peer_support.sh
source "$(dirname "$0")/peer_support.sh"
namespace=nuvexa-mdns

avahi_state() {
    dbus-send --system --print-reply --dest=org.freedesktop.Avahi / org.freedesktop.Avahi.Server.GetState 2>/dev/null |
        awk '/int32/ { print $2 }'
}

# The daemon's configuration: on the interfaces named by $1, with each further argument a [publish]
# setting turned on.
write_config() {
    local interfaces=${1:-lo}
    shift || true
    [[ $interfaces =~ ^[A-Za-z0-9._,-]+$ ]] || { echo "avahi.sh: bad interface list: $interfaces" >&2; return 1; }
    {
        printf '[server]\nuse-ipv4=yes\nuse-ipv6=no\nallow-interfaces=%s\nenable-dbus=yes\n\n' "$interfaces"
        printf '[wide-area]\nenable-wide-area=no\n\n'
        printf '[publish]\npublish-hinfo=no\npublish-workstation=no\n'
        for setting in "$@"; do
            [[ $setting =~ ^[a-z-]+$ ]] || { echo "avahi.sh: bad setting: $setting" >&2; return 1; }
            printf '%s=yes\n' "$setting"
        done
    } > "$dir/avahi-daemon.conf"
}

# Starts the daemon in the peer's namespace with the peer's configuration and waits until it runs.
start_daemon() {
    mkdir -p /run/avahi-daemon
    rm -f /run/avahi-daemon/pid
    ip netns exec "$namespace" avahi-daemon -f "$dir/avahi-daemon.conf" --no-drop-root --no-chroot --no-rlimits \
        >> "$dir/avahi.log" 2>&1 &
    echo $! > "$dir/avahi.pid"
    for _ in $(seq 600); do
        [ "$(avahi_state)" = 2 ] && return 0
        sleep 0.1
    done
    [ "$(avahi_state)" = 2 ]
}

stop_daemon() {
    if [ -f "$dir/avahi.pid" ]; then
        pid=$(cat "$dir/avahi.pid")
        kill "$pid" 2>/dev/null || true
        for _ in $(seq 600); do
            kill -0 "$pid" 2>/dev/null || break
            sleep 0.1
        done
        kill -9 "$pid" 2>/dev/null || true
        rm -f "$dir/avahi.pid"
    fi
}

start() {
    mkdir -p "$dir"
    rm -f "$dir/state"
    [ "$(id -u)" = 0 ] || unavailable "not running as root (a network namespace and the system bus need root)"
    for program in avahi-daemon dbus-daemon dbus-send ip avahi-browse; do
        command -v "$program" >/dev/null || unavailable "$program is not installed (scripts/setup.sh installs it)"
    done
    if pgrep -x avahi-daemon >/dev/null; then
        unavailable "another avahi-daemon already runs on this machine"
    fi

    start_system_bus

    ip netns del "$namespace" 2>/dev/null || true
    ip netns add "$namespace"
    ip -n "$namespace" link set lo up

    write_config lo
    : > "$dir/avahi.log"
    start_daemon || unavailable "avahi-daemon did not reach the running state (see $dir/avahi.log)"
    printf 'status=ready\nnamespace=%s\n' "$namespace" > "$dir/state"
}

stop() {
    stop_daemon
    ip netns del "$namespace" 2>/dev/null || true
    stop_system_bus
    rm -f "$dir/state"
}

case "$action" in
    start) start ;;
    stop) stop ;;
    daemon-stop) stop_daemon ;;
    daemon-start) write_config "${@:3}" && start_daemon ;;
    *) echo "usage: avahi.sh start|stop|daemon-stop|daemon-start DIR" >&2; exit 2 ;;
esac
