#!/usr/bin/env bash
# The pairing server's 404 and wrong-code round trips beside Debian's nginx answering the same fixed
# 404, on loopback. Client and both servers are pinned to one CPU, so each round trip costs what its
# server does rather than what the scheduler makes of two cores; runs of the three kinds alternate,
# so a busy moment of the machine falls on all of them; each run gives its median, and the figures
# are the medians of those.
#
#   bench/compare-with-nginx.sh [ROUNDS] [REQUESTS]     (defaults 15 and 2000)
#
# Needs nginx (scripts/setup.sh --bench) and builds the benchmark preset's two programs itself. With
# NUVEXA_BENCH_BASELINE_HOST naming a pairing-server-host built from an earlier commit, that one runs
# in the same rounds too, so a change is measured against what it replaces under the same load.
set -euo pipefail
cd "$(dirname "$0")/.."

rounds=${1:-15}
requests=${2:-2000}
cpu=${NUVEXA_BENCH_CPU:-0}
nginx=/usr/sbin/nginx
command -v nginx >/dev/null 2>&1 && nginx=$(command -v nginx)
[ -x "$nginx" ] || { echo "compare-with-nginx: nginx is missing (scripts/setup.sh --bench)" >&2; exit 1; }

cmake --preset bench >/dev/null
cmake --build --preset bench --target pairing-server-host round-trip-client >/dev/null
host=build/bench/bench/server/pairing-server-host
client=build/bench/bench/server/round-trip-client

work=$(mktemp -d /tmp/nuvexa-nginx-bench-XXXXXX)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

free_port() {
    local port=$1
    while [ -n "$(ss -Hltn "sport = :$port")" ]; do port=$((port + 1)); done
    echo "$port"
}

wait_for_port() {
    for _ in $(seq 600); do
        [ -n "$(ss -Hltn "sport = :$1")" ] && return 0
        sleep 0.1
    done
    echo "compare-with-nginx: nothing listens on $1" >&2
    exit 1
}

# The same bytes of body the pairing server sends with its 404, logged per request as ours is.
nginx_port=$(free_port 18080)
mkdir -p "$work/nginx"
cat > "$work/nginx/nginx.conf" <<CONF
daemon off;
master_process off;
worker_processes 1;
pid $work/nginx/nginx.pid;
error_log $work/nginx/error.log;
events { worker_connections 256; }
http {
    access_log $work/nginx/access.log;
    client_body_temp_path $work/nginx/body;
    proxy_temp_path $work/nginx/proxy;
    fastcgi_temp_path $work/nginx/fastcgi;
    uwsgi_temp_path $work/nginx/uwsgi;
    scgi_temp_path $work/nginx/scgi;
    server {
        listen 127.0.0.1:$nginx_port;
        location / {
            default_type "application/json; charset=utf-8";
            return 404 '{"error":"not found"}';
        }
    }
}
CONF
taskset -c "$cpu" "$nginx" -c "$work/nginx/nginx.conf" -p "$work/nginx" &
pids+=($!)
wait_for_port "$nginx_port"

ours_port=$(free_port $((nginx_port + 1)))
mkdir -p "$work/ours"
taskset -c "$cpu" "$host" "$ours_port" "$work/ours" >/dev/null &
pids+=($!)
wait_for_port "$ours_port"

baseline=${NUVEXA_BENCH_BASELINE_HOST:-}
if [ -n "$baseline" ]; then
    baseline_port=$(free_port $((ours_port + 1)))
    mkdir -p "$work/baseline"
    taskset -c "$cpu" "$baseline" "$baseline_port" "$work/baseline" >/dev/null &
    pids+=($!)
    wait_for_port "$baseline_port"
fi

run() { taskset -c "$cpu" "$client" "$1" "$2" "$requests"; }

# Warm both up, caches and allocators alike.
run "$nginx_port" not-found >/dev/null
run "$ours_port" not-found >/dev/null

declare -a nginx_runs ours_runs wrong_runs baseline_runs baseline_wrong_runs
retries=0
for round in $(seq "$rounds"); do
    read -r median _ < <(run "$nginx_port" not-found)
    nginx_runs+=("$median")
    read -r median _ < <(run "$ours_port" not-found)
    ours_runs+=("$median")
    read -r median refused < <(run "$ours_port" wrong-code)
    wrong_runs+=("$median")
    retries=$((retries + refused))
    if [ -n "$baseline" ]; then
        read -r median _ < <(run "$baseline_port" not-found)
        baseline_runs+=("$median")
        read -r median _ < <(run "$baseline_port" wrong-code)
        baseline_wrong_runs+=("$median")
    fi
    echo "round $round/$rounds: nginx 404 ${nginx_runs[-1]} us, ours 404 ${ours_runs[-1]} us, ours wrong code ${wrong_runs[-1]} us" >&2
done

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { print a / b }'; }
median_of() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
nginx_median=$(median_of "${nginx_runs[@]}")
ours_median=$(median_of "${ours_runs[@]}")
wrong_median=$(median_of "${wrong_runs[@]}")

echo "CPU $cpu, $rounds rounds of $requests round trips each, medians of the runs' medians:"
printf '  nginx 404            %8.1f us\n' "$nginx_median"
printf '  pairing server 404   %8.1f us   %.2f x nginx\n' "$ours_median" "$(ratio "$ours_median" "$nginx_median")"
printf '  pairing wrong code   %8.1f us   %.2f x nginx   (%d connections refused during restarts, not counted)\n' \
    "$wrong_median" "$(ratio "$wrong_median" "$nginx_median")" "$retries"
if [ -n "$baseline" ]; then
    baseline_median=$(median_of "${baseline_runs[@]}")
    baseline_wrong_median=$(median_of "${baseline_wrong_runs[@]}")
    printf '  baseline 404         %8.1f us   %.2f x nginx   (%s)\n' "$baseline_median" \
        "$(ratio "$baseline_median" "$nginx_median")" "$baseline"
    printf '  baseline wrong code  %8.1f us   %.2f x nginx\n' "$baseline_wrong_median" \
        "$(ratio "$baseline_wrong_median" "$nginx_median")"
fi
