# shellcheck shell=bash
# What the test scripts share, sourced by them (bash): messages and failure under the script's own
# name, waiting without depending on speed, ending the processes a script started, printing its logs
# when it fails, and skipping (or failing on CI) when a tool is missing.
#
# The sourcing script sets `script_name` (the prefix of its messages) first; `started` lists the
# process ids that `stop_started` ends, and `log_folder` the folder whose *.log `print_logs` shows.

started=()
log_folder=""

fail() {
    echo "$script_name: $*"
    exit 1
}

# Waits until the command succeeds. The bound only catches a broken setup; nothing depends on how
# quickly things happen.
wait_for() {
    local what=$1
    shift
    for _ in $(seq 600); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    fail "gave up waiting for $what"
}

# Ends every process in `started`, last started first, and waits for each.
stop_started() {
    local index pid
    for ((index = ${#started[@]} - 1; index >= 0; index--)); do
        pid=${started[index]}
        if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
            kill "$pid" 2>/dev/null || true
            wait "$pid" 2>/dev/null || true
        fi
    done
}

# Prints every non-empty *.log of `log_folder` under its name.
print_logs() {
    local log
    [ -n "$log_folder" ] || return 0
    for log in "$log_folder"/*.log; do
        [ -s "$log" ] && { echo "--- $(basename "$log")"; cat "$log"; }
    done
    return 0
}

# Exits 77 (skipped) naming the missing pieces given as arguments, or 1 on CI (CI=true), where every
# piece must be there; returns when none is given.
skip_when_missing() {
    [ $# -gt 0 ] || return 0
    echo "$script_name: $* not installed (scripts/setup.sh --tests installs them)"
    if [ "${CI:-}" = true ]; then
        exit 1
    fi
    echo "$script_name: skipped"
    exit 77
}

# The tools among the arguments that are not on PATH, one a line.
missing_tools() {
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null 2>&1 || echo "$tool"
    done
}

# Makes the folder `work` for programs run on a display of the script's own (NAME names it): a
# private home and runtime folder, the Spanish keys whatever the machine's language, and no system
# bus (nothing there announces). On exit, whatever the script started is ended, its logs are printed
# when it failed, and the folder goes.
start_private_session() {
    work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-$1.XXXXXX")
    mkdir -m 700 "$work/runtime" "$work/home"
    log_folder=$work
    trap end_private_session EXIT
    export HOME=$work/home
    export XDG_RUNTIME_DIR=$work/runtime
    export XDG_STATE_HOME=$work/home/.local/state
    export XDG_CONFIG_HOME=$work/home/.config
    export NUVEXA_TRAY_WORK=$work
    export LC_ALL=C.UTF-8 LANGUAGE=
    export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/nuvexa-no-system-bus
}

end_private_session() {
    local status=$?
    stop_started
    if [ $status -ne 0 ] && [ $status -ne 77 ]; then
        print_logs
    fi
    rm -rf "$work"
}
