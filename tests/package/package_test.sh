#!/usr/bin/env bash
# Checks the Debian package as a user's machine meets it: its contents, its desktop entries, its
# AppStream metadata, its manual pages and lintian; then installs it, runs both programs from PATH,
# and starts the tray app on a private X display from its installed desktop entry's Exec line.
# The package is removed again unless it was installed before the test.
#
#   tests/package/package_test.sh PACKAGE.deb
set -euo pipefail
script_name="package test"
# shellcheck source=../support/script_support.sh
source "$(dirname "$0")/../support/script_support.sh"

package=$(realpath "${1:?the .deb to check}")
work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-package.XXXXXX")
installed_before=false
dpkg-query -W -f='${Status}' nuvexa-companion 2>/dev/null | grep -q "install ok installed" && installed_before=true
log_folder=$work

finish() {
    local status=$?
    stop_started
    if ! $installed_before; then
        dpkg --purge nuvexa-companion >/dev/null 2>&1 || true
    fi
    if [ $status -ne 0 ]; then
        print_logs
    fi
    rm -rf "$work"
}
trap finish EXIT

echo "package test: $package"
dpkg-deb --contents "$package" | awk '{print $6}' | sed 's#^\./#/#' > "$work/contents"
expected=(
    /usr/bin/nuvexa-companion
    /usr/bin/nuvexa-companion-cli
    /usr/share/applications/nuvexa-companion.desktop
    /etc/xdg/autostart/nuvexa-companion.desktop
    /usr/share/metainfo/app.nuvexa.companion.metainfo.xml
    /usr/share/icons/hicolor/scalable/apps/nuvexa-companion.svg
    /usr/share/icons/hicolor/32x32/apps/nuvexa-companion.png
    /usr/share/icons/hicolor/64x64/apps/nuvexa-companion.png
    /usr/share/man/man1/nuvexa-companion.1.gz
    /usr/share/man/man1/nuvexa-companion-cli.1.gz
    /usr/share/man/man1/nuvexa-companion-cli-pair.1.gz
    /usr/share/man/man1/nuvexa-companion-cli-status.1.gz
    /usr/share/man/man1/nuvexa-companion-cli-devices.1.gz
    /usr/share/man/man1/nuvexa-companion-cli-doctor.1.gz
    /usr/share/bash-completion/completions/nuvexa-companion-cli
    /usr/share/zsh/vendor-completions/_nuvexa-companion-cli
    /usr/share/fish/vendor_completions.d/nuvexa-companion-cli.fish
    /usr/share/doc/nuvexa-companion/copyright
    /usr/share/doc/nuvexa-companion/changelog.gz
)
for file in "${expected[@]}"; do
    grep -qx "$file" "$work/contents" || fail "the package lacks $file"
done
echo "package test: all ${#expected[@]} files are in the package"

[ "$(dpkg-deb -f "$package" Package)" = nuvexa-companion ] || fail "the package is not named nuvexa-companion"
recommends=$(dpkg-deb -f "$package" Recommends)
for service in avahi-daemon openssh-server; do
    [[ ", $recommends," == *", $service,"* ]] || fail "$service is not recommended"
    [[ "$(dpkg-deb -f "$package" Depends)" != *"$service"* ]] || fail "$service must not be a hard dependency"
done

dpkg-deb -x "$package" "$work/root"
desktop-file-validate "$work/root/usr/share/applications/nuvexa-companion.desktop" \
    "$work/root/etc/xdg/autostart/nuvexa-companion.desktop"
appstreamcli validate --no-net "$work/root/usr/share/metainfo/app.nuvexa.companion.metainfo.xml"
for page in "$work"/root/usr/share/man/man1/*.1.gz; do
    # groff's warnings go to standard error: a page that renders cleanly prints none.
    MANWIDTH=80 man --warnings -l "$page" > "$work/page.txt" 2> "$work/man.log" || fail "man cannot render $page"
    [ ! -s "$work/man.log" ] || fail "man warns about $(basename "$page")"
    [ -s "$work/page.txt" ] || fail "$(basename "$page") renders empty"
done
echo "package test: desktop entries, metadata and manual pages are valid"

lintian --fail-on error --tag-display-limit 0 "$package" 2>&1 | grep -v 'running with root privileges' \
    | tee "$work/lintian.txt" || true
if grep -q '^E:' "$work/lintian.txt"; then
    fail "lintian reports errors"
fi
echo "package test: lintian reports no error"

dpkg -i "$package" > "$work/dpkg.log" 2>&1 || fail "dpkg -i failed"
export HOME=$work/home XDG_RUNTIME_DIR=$work/runtime XDG_STATE_HOME=$work/home/.local/state
mkdir -p "$HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"
status_exit=0
(cd / && PATH=/usr/bin:/bin nuvexa-companion-cli status --json) > "$work/status.json" || status_exit=$?
[ "$status_exit" -le 1 ] || fail "nuvexa-companion-cli status --json exited with $status_exit"
grep -Eq '^\{.*"ready":(true|false).*\}$' "$work/status.json" \
    || fail "status --json did not print a JSON object with \"ready\""
(cd / && LC_ALL=en_US.UTF-8 LANGUAGE= PATH=/usr/bin:/bin nuvexa-companion-cli pair --help) > "$work/help.txt" \
    || fail "pair --help failed"
head -n 1 "$work/help.txt" | grep -q '^Usage: nuvexa-companion-cli pair ' || fail "pair --help does not name the program"
echo "package test: both commands run from PATH"

# The installed bash completion completes the commands, as bash-completion would load it.
completions=$(bash -c 'source /usr/share/bash-completion/completions/nuvexa-companion-cli
    complete -p nuvexa-companion-cli
    COMP_WORDS=(nuvexa-companion-cli st); COMP_CWORD=1; _nuvexa_companion_cli; echo "${COMPREPLY[@]}"')
[[ "$completions" == *"complete -F _nuvexa_companion_cli nuvexa-companion-cli"* ]] \
    || fail "the bash completion does not complete nuvexa-companion-cli"
[[ "$completions" == *$'\n'status ]] || fail "the bash completion does not complete the commands"
if command -v zsh > /dev/null; then
    zsh -n /usr/share/zsh/vendor-completions/_nuvexa-companion-cli || fail "the zsh completion does not parse"
fi
if command -v fish > /dev/null; then
    fish --no-execute /usr/share/fish/vendor_completions.d/nuvexa-companion-cli.fish \
        || fail "the fish completion does not parse"
fi
echo "package test: the shell completions are installed"

exec_line=$(sed -n 's/^Exec=//p' /usr/share/applications/nuvexa-companion.desktop)
[ "$exec_line" = "$(sed -n 's/^Exec=//p' /etc/xdg/autostart/nuvexa-companion.desktop)" ] \
    || fail "the menu and autostart entries start different commands"
display=:${NUVEXA_PACKAGE_TEST_DISPLAY:-96}
[ ! -e "/tmp/.X${display#:}-lock" ] || fail "display $display is already in use"
Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp -noreset > "$work/xvfb.log" 2>&1 &
started+=($!)
export DISPLAY=$display QT_QPA_PLATFORM=xcb LC_ALL=C.UTF-8 LANGUAGE=
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/nuvexa-no-system-bus
wait_for "the X server" xdpyinfo
# As the desktop starts it: the Exec line's words, found on PATH, on a session bus of its own.
read -r -a command <<< "$exec_line"
(cd / && PATH=/usr/bin:/bin exec dbus-run-session -- "${command[@]}") > "$work/app.log" 2>&1 &
app_pid=$!
started+=("$app_pid")
# With no tray on this display the panel opens as a small window of its own.
wait_for "the companion's window" xdotool search --onlyvisible --name '^nuvexa Companion$'
kill -0 "$app_pid" || fail "the companion ended on its own"
echo "package test: the installed desktop entry starts the companion"
echo "package test: passed"
