#!/usr/bin/env bash
# Checks a built app bundle before it ships: no Mach-O inside may load a library, or look for one
# through an rpath, from Homebrew (/opt/homebrew, /usr/local), a home folder or anywhere else
# outside the bundle and the system; its Info.plist keeps the app in the menu bar (LSUIElement), under
# the companion's bundle identifier, with a minimum macOS version; and both languages are there: the
# Spanish texts, which are the translation keys, and the English catalogue, embedded in the program
# as a Qt resource (or shipped beside it as a .qm file). One line per problem; exits 1 if there is
# any, 0 if none.
#
#   scripts/audit-macos-bundle.sh BUNDLE.app
#
# OTOOL names the otool to run (otool by default), so that the audit can be tested without macOS.
# Info.plist is read with PlistBuddy where macOS has it, otherwise with python3's plistlib.
set -euo pipefail

bundle=${1:?usage: audit-macos-bundle.sh BUNDLE.app}
otool=${OTOOL:-otool}
plist_buddy=/usr/libexec/PlistBuddy

# As CompanionApp/CMakeLists.txt names the bundle.
expected_identifier=app.nuvexa.companion
# The English catalogue's name (Companion/Translations.h) and a Spanish key the panel always shows.
english_catalogue=nuvexa-companion_en.qm
spanish_key="Emparejar con el iPhone"

problems=0
problem() {
    echo "audit: $*"
    problems=$((problems + 1))
}

if [ ! -d "$bundle/Contents" ]; then
    echo "audit: $bundle is not an app bundle (no Contents folder)"
    exit 1
fi
plist=$bundle/Contents/Info.plist

# Prints the value of KEY in the Info.plist (true/false for booleans, one line per array entry);
# fails when the key is missing.
plist_value() {
    if [ -x "$plist_buddy" ]; then
        "$plist_buddy" -c "Print :$1" "$plist" 2>/dev/null | sed -e '/^Array {$/d' -e '/^}$/d' -e 's/^ *//'
        return "${PIPESTATUS[0]}"
    fi
    python3 - "$plist" "$1" <<'PY'
import plistlib, sys
with open(sys.argv[1], "rb") as file:
    values = plistlib.load(file)
if sys.argv[2] not in values:
    sys.exit(1)
value = values[sys.argv[2]]
if isinstance(value, bool):
    print("true" if value else "false")
elif isinstance(value, list):
    print("\n".join(str(entry) for entry in value))
else:
    print(value)
PY
}

# Whether a Mach-O may load PATH, or search it through an rpath: only inside the bundle (@-relative
# paths) or from the system itself.
allowed_path() {
    case "$1" in
        @executable_path/* | @loader_path/* | @rpath/*) return 0 ;;
        /usr/lib/* | /System/*) return 0 ;;
        *) return 1 ;;
    esac
}

where_is() {
    case "$1" in
        /opt/homebrew/*) echo "into /opt/homebrew" ;;
        /usr/local/*) echo "into /usr/local" ;;
        /Users/* | /home/*) echo "into a home folder" ;;
        *) echo "outside the bundle and the system" ;;
    esac
}

# Whether FILE starts with a Mach-O (or universal binary) magic number.
is_macho() {
    case "$(od -An -tx1 -N4 "$1" 2>/dev/null | tr -d ' \n')" in
        feedface | cefaedfe | feedfacf | cffaedfe | cafebabe | bebafeca) return 0 ;;
        *) return 1 ;;
    esac
}

# Reads otool -l and prints each load command that names a path as "COMMAND PATH" (spaces kept).
load_command_paths() {
    awk '
        $1 == "cmd" { command = $2 }
        ($1 == "name" || $1 == "path") && command != "" {
            line = $0
            sub(/^[ \t]*(name|path) /, "", line)
            sub(/ \(offset [0-9]+\)$/, "", line)
            print command, line
        }'
}

# Reports what one Mach-O loads or searches outside the bundle and the system. Its own install name
# (LC_ID_DYLIB) is no dependency, so it is left out of otool -L's list.
audit_macho() {
    local file=$1 name=$2 commands libraries own_id kind path
    if ! commands=$("$otool" -l "$file" 2>&1); then
        problem "$name: otool -l failed: $(echo "$commands" | head -n 1)"
        return
    fi
    if ! libraries=$("$otool" -L "$file" 2>&1); then
        problem "$name: otool -L failed: $(echo "$libraries" | head -n 1)"
        return
    fi
    own_id=$(echo "$commands" | load_command_paths | awk '$1 == "LC_ID_DYLIB" { sub(/^[^ ]+ /, ""); print }')
    {
        # otool -L: the file's name (or one per architecture) ends in a colon, each library follows.
        echo "$libraries" | sed -n -e '/:$/d' -e 's/^[[:space:]]*//' -e 's/ (compatibility version .*)$//' \
            -e 's/ (current version .*)$//' -e 's/^/link /p'
        echo "$commands" | load_command_paths | sed -n -E -e 's/^LC_RPATH /rpath /p' \
            -e 's/^LC_(LOAD|LOAD_WEAK|REEXPORT|LAZY_LOAD|LOAD_UPWARD)_DYLIB /link /p'
    } | sort -u | while read -r kind path; do
        [ -n "$path" ] || continue
        [ "$kind" = link ] && [ -n "$own_id" ] && [ "$path" = "$own_id" ] && continue
        allowed_path "$path" && continue
        if [ "$kind" = rpath ]; then
            echo "$name has an rpath $(where_is "$path"): $path"
        else
            echo "$name links a library $(where_is "$path"): $path"
        fi
    done
}

# Counts the occurrences of TEXT in FILE, the NUL bytes of UTF-16 text taken out first.
occurrences() {
    LC_ALL=C tr -d '\000' < "$1" | LC_ALL=C grep -F -c -- "$2" || true
}

machos=0
while IFS= read -r -d '' file; do
    is_macho "$file" || continue
    machos=$((machos + 1))
    while IFS= read -r line; do
        problem "$line"
    done < <(audit_macho "$file" "${file#"$bundle"/}")
done < <(find "$bundle" -type f -print0)
[ "$machos" -gt 0 ] || problem "no Mach-O file in $bundle"

executable=""
if [ ! -f "$plist" ]; then
    problem "Contents/Info.plist is missing"
else
    if ! value=$(plist_value LSUIElement); then
        problem "Info.plist has no LSUIElement: the app would get a Dock icon and a menu"
    elif [ "$value" != true ]; then
        problem "Info.plist's LSUIElement is $value, not true: the app would get a Dock icon and a menu"
    fi
    if ! value=$(plist_value CFBundleIdentifier); then
        problem "Info.plist has no CFBundleIdentifier"
    elif [ "$value" != "$expected_identifier" ]; then
        problem "Info.plist's CFBundleIdentifier is $value, not $expected_identifier"
    fi
    if ! value=$(plist_value LSMinimumSystemVersion) || [ -z "$value" ]; then
        problem "Info.plist has no LSMinimumSystemVersion"
    fi
    if ! localizations=$(plist_value CFBundleLocalizations); then
        localizations=""
    fi
    for language in es en; do
        echo "$localizations" | grep -qx "$language" ||
            problem "Info.plist's CFBundleLocalizations does not list $language"
    done
    if ! executable=$(plist_value CFBundleExecutable) || [ -z "$executable" ]; then
        problem "Info.plist has no CFBundleExecutable"
        executable=""
    fi
fi

if [ -n "$executable" ]; then
    program=$bundle/Contents/MacOS/$executable
    if [ ! -f "$program" ]; then
        problem "the program Contents/MacOS/$executable is missing"
    else
        if [ "$(occurrences "$program" "$spanish_key")" = 0 ]; then
            problem "Spanish missing: Contents/MacOS/$executable holds no Spanish text (\"$spanish_key\")"
        fi
        if [ "$(occurrences "$program" "$english_catalogue")" = 0 ] &&
            [ -z "$(find "$bundle/Contents" -name "$english_catalogue" -print -quit)" ]; then
            problem "English missing: $english_catalogue is neither embedded in Contents/MacOS/$executable nor in the bundle"
        fi
    fi
fi

if [ "$problems" -gt 0 ]; then
    echo "audit: $problems problem(s) in $bundle"
    exit 1
fi
echo "audit: $bundle passed ($machos Mach-O files checked)"
