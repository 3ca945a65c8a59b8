#!/usr/bin/env bash
# Makes an installed app bundle stand on its own and signs it: macdeployqt copies the Qt frameworks
# and plug-ins and the other Homebrew libraries the programs in Contents/MacOS load into the bundle
# and points the programs at those copies; then the bundle is signed ad hoc (no identity; enough for
# Apple silicon to run it) and the signature verified. The install step runs this on the bundle it
# has just installed, so the disk image gets a finished bundle; scripts/audit-macos-bundle.sh checks
# the result.
#
#   scripts/deploy-macos-bundle.sh BUNDLE.app
#
# MACDEPLOYQT names macdeployqt when it is not the one on PATH.
set -euo pipefail

bundle=${1:?usage: deploy-macos-bundle.sh BUNDLE.app}
macdeployqt=${MACDEPLOYQT:-macdeployqt}
main=$(/usr/libexec/PlistBuddy -c "Print :CFBundleExecutable" "$bundle/Contents/Info.plist")

# The other programs in Contents/MacOS (the terminal front end) need the same frameworks.
arguments=(-verbose=1 -always-overwrite)
for program in "$bundle"/Contents/MacOS/*; do
    [ "$(basename "$program")" = "$main" ] || arguments+=("-executable=$program")
done
# Homebrew's Qt names its frameworks through @rpath: macdeployqt finds them, and the libraries they
# load, in Homebrew's folders.
if command -v brew >/dev/null; then
    arguments+=("-libpath=$(brew --prefix qt)/lib" "-libpath=$(brew --prefix)/lib")
fi
echo "deploy: $macdeployqt $bundle ${arguments[*]}"
"$macdeployqt" "$bundle" "${arguments[@]}"

# Nested code first, the bundle last: --deep alone does not reach helper programs beside the main one.
for program in "$bundle"/Contents/MacOS/*; do
    [ "$(basename "$program")" = "$main" ] || codesign --force --sign - "$program"
done
codesign --force --deep --sign - "$bundle"
codesign --verify --deep --strict --verbose=2 "$bundle"
echo "deploy: $bundle is deployed and signed ad hoc"
