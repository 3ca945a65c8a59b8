#!/usr/bin/env bash
# Runs scripts/audit-macos-bundle.sh over a synthetic app bundle made in a temporary folder: an XML
# Info.plist, files that start like Mach-O files, and a stand-in otool (through OTOOL) that prints
# canned `otool -L` and `otool -l` answers for each of them. CASE names the one flaw the bundle gets
# ("clean" gets none); the audit must accept the clean bundle and reject each flaw with one line
# that names it.
#
#   tests/package/audit_macos_bundle_test.sh AUDIT_SCRIPT CASE
set -euo pipefail
script_name="bundle audit test"
# shellcheck source=../support/script_support.sh
source "$(dirname "$0")/../support/script_support.sh"

audit=$1
case_name=$2

work=$(mktemp -d "${TMPDIR:-/tmp}/nuvexa-bundle-audit.XXXXXX")
trap 'rm -rf "$work"' EXIT
bundle=$work/nuvexa-companion.app
canned=$work/canned
mkdir -p "$bundle/Contents/MacOS" "$bundle/Contents/Frameworks/QtCore.framework/Versions/A" \
    "$bundle/Contents/PlugIns/platforms" "$bundle/Contents/Resources" "$work/bin"

# The stand-in otool: the answer canned for the file's path inside the bundle, or a failure as for
# a file that is no Mach-O. Canned names avoid "L" beside "l", which a case-blind disk would merge.
cat > "$work/bin/otool" <<'OTOOL'
#!/usr/bin/env bash
case "$1" in
    -L) kind=libraries ;;
    -l) kind=commands ;;
    *) echo "otool: only -L and -l are played here" >&2; exit 2 ;;
esac
answer="$FAKE_OTOOL_CANNED/${2#"$FAKE_OTOOL_BUNDLE"/}.$kind"
[ -f "$answer" ] || { echo "$2: is not an object file" >&2; exit 1; }
cat "$answer"
OTOOL
chmod +x "$work/bin/otool"

# A 64-bit little-endian Mach-O header's magic number, and what else the file should hold.
write_macho() {
    local file=$1
    shift
    printf '\317\372\355\376' > "$file"
    [ $# -eq 0 ] || printf '%s' "$@" >> "$file"
}

# TEXT as Qt's resource compiler stores a file's name: UTF-16, big-endian.
utf16() {
    local text=$1 index
    for ((index = 0; index < ${#text}; index++)); do
        printf '\000%s' "${text:index:1}"
    done
}

# Cans otool's answers for FILE (a path inside the bundle): -L lists LIBRARIES; -l holds an
# LC_ID_DYLIB when ID is not empty, an LC_LOAD_DYLIB per library and an LC_RPATH per RPATH.
#   can FILE ID "LIBRARY..." "RPATH..."
can() {
    local file=$1 id=$2 library rpath number=0
    local -a libraries rpaths
    read -r -a libraries <<< "$3"
    read -r -a rpaths <<< "${4:-}"
    mkdir -p "$(dirname "$canned/$file")"
    {
        echo "$bundle/$file:"
        [ -z "$id" ] || printf '\t%s (compatibility version 6.0.0, current version 6.9.1)\n' "$id"
        for library in ${libraries[@]+"${libraries[@]}"}; do
            printf '\t%s (compatibility version 1.0.0, current version 1.0.0)\n' "$library"
        done
    } > "$canned/$file.libraries"
    {
        echo "$bundle/$file:"
        printf 'Load command %d\n      cmd LC_SEGMENT_64\n  cmdsize 72\n  segname __PAGEZERO\n' $((number++))
        if [ -n "$id" ]; then
            printf 'Load command %d\n          cmd LC_ID_DYLIB\n      cmdsize 72\n         name %s (offset 24)\n' \
                $((number++)) "$id"
        fi
        for library in ${libraries[@]+"${libraries[@]}"}; do
            printf 'Load command %d\n          cmd LC_LOAD_DYLIB\n      cmdsize 56\n         name %s (offset 24)\n' \
                $((number++)) "$library"
            printf '   time stamp 2 Thu Jan  1 00:00:02 1970\n      current version 1.0.0\ncompatibility version 1.0.0\n'
        done
        for rpath in ${rpaths[@]+"${rpaths[@]}"}; do
            printf 'Load command %d\n          cmd LC_RPATH\n      cmdsize 48\n         path %s (offset 12)\n' \
                $((number++)) "$rpath"
        done
    } > "$canned/$file.commands"
}

system_libraries="/usr/lib/libc++.1.dylib /usr/lib/libSystem.B.dylib"
program_libraries="@rpath/QtCore.framework/Versions/A/QtCore /System/Library/Frameworks/AppKit.framework/Versions/C/AppKit"
program_rpaths="@executable_path/../Frameworks"
qtcore_rpaths="@loader_path/../../.."
cocoa_rpaths="@loader_path/../../Frameworks"
lsuielement="<key>LSUIElement</key><true/>"
identifier=app.nuvexa.companion
minimum="<key>LSMinimumSystemVersion</key><string>11.0</string>"
spanish="Emparejar con el iPhone"
english=nuvexa-companion_en.qm
expected=""

case "$case_name" in
    clean) ;;
    homebrew-library)
        program_libraries="$program_libraries /opt/homebrew/opt/libssh/lib/libssh.4.dylib"
        expected="Contents/MacOS/nuvexa-companion links a library into /opt/homebrew: /opt/homebrew/opt/libssh/lib/libssh.4.dylib"
        ;;
    usr-local-rpath)
        cocoa_rpaths="$cocoa_rpaths /usr/local/lib"
        expected="Contents/PlugIns/platforms/libqcocoa.dylib has an rpath into /usr/local: /usr/local/lib"
        ;;
    home-rpath)
        program_rpaths="$program_rpaths /Users/runner/work/companion/build/release/lib"
        expected="Contents/MacOS/nuvexa-companion has an rpath into a home folder: /Users/runner/work/companion/build/release/lib"
        ;;
    no-lsuielement)
        lsuielement=""
        expected="Info.plist has no LSUIElement: the app would get a Dock icon and a menu"
        ;;
    lsuielement-false)
        lsuielement="<key>LSUIElement</key><false/>"
        expected="Info.plist's LSUIElement is false, not true: the app would get a Dock icon and a menu"
        ;;
    other-identifier)
        identifier=org.example.companion
        expected="Info.plist's CFBundleIdentifier is org.example.companion, not app.nuvexa.companion"
        ;;
    no-minimum-version)
        minimum=""
        expected="Info.plist has no LSMinimumSystemVersion"
        ;;
    no-english)
        english=nuvexa-companion_fr.qm
        expected="English missing: nuvexa-companion_en.qm is neither embedded in Contents/MacOS/nuvexa-companion nor in the bundle"
        ;;
    no-spanish)
        spanish="Pair with the iPhone"
        expected="Spanish missing: Contents/MacOS/nuvexa-companion holds no Spanish text (\"Emparejar con el iPhone\")"
        ;;
    *) fail "unknown case $case_name" ;;
esac

cat > "$bundle/Contents/Info.plist" <<PLIST
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleExecutable</key>
	<string>nuvexa-companion</string>
	<key>CFBundleIdentifier</key>
	<string>$identifier</string>
	<key>CFBundleLocalizations</key>
	<array>
		<string>es</string>
		<string>en</string>
	</array>
	$minimum
	$lsuielement
</dict>
</plist>
PLIST

write_macho "$bundle/Contents/MacOS/nuvexa-companion" "text before " "$spanish" " and after"
utf16 "$english" >> "$bundle/Contents/MacOS/nuvexa-companion"
write_macho "$bundle/Contents/MacOS/nuvexa-companion-cli"
write_macho "$bundle/Contents/Frameworks/QtCore.framework/Versions/A/QtCore"
write_macho "$bundle/Contents/PlugIns/platforms/libqcocoa.dylib"
# Not Mach-O: the stand-in otool fails on these, so the audit must leave them alone.
printf '[Paths]\nPlugins = PlugIns\n' > "$bundle/Contents/Resources/qt.conf"
printf 'APPL????' > "$bundle/Contents/PkgInfo"

can Contents/MacOS/nuvexa-companion "" "$program_libraries $system_libraries" "$program_rpaths"
can Contents/MacOS/nuvexa-companion-cli "" "@rpath/QtCore.framework/Versions/A/QtCore $system_libraries" \
    "@executable_path/../Frameworks"
can Contents/Frameworks/QtCore.framework/Versions/A/QtCore "@rpath/QtCore.framework/Versions/A/QtCore" \
    "$system_libraries" "$qtcore_rpaths"
can Contents/PlugIns/platforms/libqcocoa.dylib "@rpath/libqcocoa.dylib" \
    "@rpath/QtCore.framework/Versions/A/QtCore $system_libraries" "$cocoa_rpaths"

status=0
output=$(FAKE_OTOOL_BUNDLE=$bundle FAKE_OTOOL_CANNED=$canned OTOOL=$work/bin/otool "$audit" "$bundle") || status=$?
echo "$output"

# Every line but the closing one names a problem.
problems=$(echo "$output" | grep '^audit: ' | grep -v -e ' problem(s) in ' -e ' passed (' || true)
if [ -z "$expected" ]; then
    [ "$status" -eq 0 ] || fail "the clean bundle was rejected (exit $status)"
    [ -z "$problems" ] || fail "the clean bundle got problems reported"
    echo "$output" | grep -q "passed (4 Mach-O files checked)" || fail "not every Mach-O file was checked"
else
    [ "$status" -eq 1 ] || fail "the bundle with the flaw '$case_name' was not rejected with exit 1 (exit $status)"
    [ "$problems" = "audit: $expected" ] || fail "expected exactly this problem: audit: $expected"
fi
echo "$script_name: $case_name passed"
