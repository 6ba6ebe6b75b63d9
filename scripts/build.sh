#!/bin/sh
# build.sh NAME ARCH SANITIZERS [cmake options...]
# Configures (once) and builds the tree build/NAME for ARCH (i386 or x86_64) with the given
# sanitizers ("" for none). Warnings are errors.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
name=$1 arch=$2 sanitize=$3
shift 3

launcher=""
command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
jobs=$(nproc 2>/dev/null || echo 2)

cmake -S "$root" -B "$root/build/$name" -DKA_ARCH="$arch" -DKA_SANITIZE="$sanitize" \
    -DKA_WERROR=ON -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" $launcher "$@" >/dev/null
cmake --build "$root/build/$name" -j "$jobs"
