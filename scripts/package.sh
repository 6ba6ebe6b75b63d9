#!/bin/sh
# Builds the project without sanitizers for i386 and x86_64 and makes a Debian package of each
# (cpack -G DEB), in build/packages. Installs what it needs first.
# Then e.g.: dpkg -i build/packages/ka-tagger_*_i386.deb
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
mkdir -p "$root/build/packages"
for arch in i386 x86_64; do
    echo "== $arch: build"
    "$root/scripts/build.sh" "$arch-release" "$arch" "" -DCMAKE_BUILD_TYPE=Release -DKA_BUILD_TESTS=OFF
    echo "== $arch: package"
    (cd "$root/build/$arch-release" && cpack -G DEB -B "$root/build/packages" >/dev/null)
done
rm -rf "$root/build/packages/_CPack_Packages"
ls "$root/build/packages"/*.deb
