#!/bin/sh
# Builds katag (i386, the product's platform) if needed and runs it with the given arguments.
# Installs what it needs first. Example: scripts/katag.sh demo
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
log="$root/build/katag-build.log"
mkdir -p "$root/build"
if ! "$root/scripts/build.sh" i386-release i386 "" -DCMAKE_BUILD_TYPE=Release \
        -DKA_BUILD_TESTS=OFF >"$log" 2>&1; then
    cat "$log" >&2
    echo "katag.sh: build failed" >&2
    exit 1
fi
exec "$root/build/i386-release/tools/katag" "$@"
