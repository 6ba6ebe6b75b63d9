#!/bin/sh
# Runs the MQTT fault tests (broker killed and restarted, item hosts killed) for many cycles,
# longer than CI does (50): scripts/soak.sh [cycles] [build name], 500 cycles on x86_64-asan by
# default (about ten minutes).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cycles=${1:-500}
build=${2:-x86_64-asan}
export ASAN_OPTIONS="allocator_may_return_null=1:detect_leaks=1"
KA_MQTT_FAULT_CYCLES=$cycles "$root/build/$build/tests/MqttProviderTest" \
    --gtest_filter='MqttProcesses.*'
