#!/bin/sh
# Installs the Debian packages that building and testing need, only when one is missing, so that
# repeated runs on a prepared machine neither need root nor touch the network.
set -eu

# libcli11-dev and nlohmann-json3-dev are header-only, so one copy serves the i386 build too.
# clang and its runtimes (libFuzzer and the sanitizers, both architectures) build the fuzz targets.
# The benchmarks are built for both architectures too (i386 is the product's).
# The MQTT provider links libmosquitto on both architectures; its tests run a private broker, and
# make throw-away certificates for its TLS listener with openssl.
# The installation tests build a host with pkg-config and look into the Debian package.
packages="cmake make g++ g++-multilib libgtest-dev googletest libbenchmark-dev libbenchmark-dev:i386 ccache libcli11-dev
    nlohmann-json3-dev clang libclang-rt-dev libmosquitto-dev libmosquitto-dev:i386 mosquitto
    openssl pkgconf dpkg-dev"

missing=""
for p in $packages; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $p"
    fi
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
    sudo=""
elif command -v sudo >/dev/null 2>&1; then
    sudo="sudo"
else
    echo "deps.sh: missing packages:$missing (run as root to install them)" >&2
    exit 1
fi
echo "Installing:$missing" >&2
# The :i386 packages need the architecture known to dpkg before the index is read.
if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $sudo dpkg --add-architecture i386
fi
# A mirror caught mid-sync fails one index now and then; the others still serve, so go on and let
# the install say whether anything is really missing.
$sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq ||
    echo "deps.sh: apt-get update reported errors; trying the install anyway" >&2
# shellcheck disable=SC2086
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
