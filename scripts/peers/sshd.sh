#!/usr/bin/env bash
# Starts or stops an OpenSSH server that judges the keys the pairing tests install: its own host key
# and configuration under DIR, listening on 127.0.0.1 only, on the first free port from 2222, and
# letting in one test user only (created here when missing, with a home of its own).
#
#   sshd.sh start DIR   writes DIR/state: status=ready, port, user, home, or status=unavailable, reason
#   sshd.sh stop DIR
#
# Where sshd cannot be started (not root, a program missing) the start still succeeds with
# status=unavailable, so the tests skip and say why; with CI=true that is a failure instead.
set -euo pipefail

action=${1:?usage: sshd.sh start|stop DIR}
dir=${2:?usage: sshd.sh start|stop DIR}
peer=sshd
# shellcheck source=peer_support.sh
source "$(dirname "$0")/peer_support.sh"
user=nuvexa-peer

port_is_free() {
    [ -z "$(ss -Hltn "sport = :$1")" ]
}

start() {
    mkdir -p "$dir"
    rm -f "$dir/state"
    [ "$(id -u)" = 0 ] || unavailable "not running as root (a test user and sshd need root)"
    for program in /usr/sbin/sshd ssh ssh-keygen useradd usermod runuser ss; do
        command -v "$program" >/dev/null || unavailable "$program is not installed (scripts/setup.sh installs it)"
    done

    if ! id -u "$user" >/dev/null 2>&1; then
        useradd -m -s /bin/sh "$user"
    fi
    # "!" locks the account, and without PAM sshd then refuses even a key; "*" only forbids passwords.
    usermod -p '*' "$user"
    home=$(getent passwd "$user" | cut -d: -f6)

    mkdir -p /run/sshd
    chmod 0755 /run/sshd
    rm -f "$dir/host_ed25519" "$dir/host_ed25519.pub"
    ssh-keygen -q -t ed25519 -N '' -f "$dir/host_ed25519"

    port=2222
    while ! port_is_free "$port"; do
        port=$((port + 1))
        [ "$port" -lt 2300 ] || unavailable "no free port between 2222 and 2299"
    done
    cat > "$dir/sshd_config" <<CONF
Port $port
ListenAddress 127.0.0.1
HostKey $dir/host_ed25519
PidFile $dir/sshd.pid
AuthorizedKeysFile .ssh/authorized_keys
PasswordAuthentication no
KbdInteractiveAuthentication no
UsePAM no
StrictModes yes
AllowUsers $user
CONF
    /usr/sbin/sshd -t -f "$dir/sshd_config" || unavailable "sshd refuses its test configuration"
    rm -f "$dir/sshd.pid"
    /usr/sbin/sshd -f "$dir/sshd_config" -E "$dir/sshd.log"
    for _ in $(seq 600); do
        port_is_free "$port" || break
        sleep 0.1
    done
    ! port_is_free "$port" || unavailable "sshd did not start listening on port $port (see $dir/sshd.log)"
    printf 'status=ready\nport=%s\nuser=%s\nhome=%s\nlog=%s\n' "$port" "$user" "$home" "$dir/sshd.log" > "$dir/state"
}

stop() {
    if [ -f "$dir/sshd.pid" ]; then
        kill "$(cat "$dir/sshd.pid")" 2>/dev/null || true
        rm -f "$dir/sshd.pid"
    fi
    rm -f "$dir/state"
}

case "$action" in
    start) start ;;
    stop) stop ;;
    *) echo "usage: sshd.sh start|stop DIR" >&2; exit 2 ;;
esac
