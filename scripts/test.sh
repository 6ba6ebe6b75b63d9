#!/bin/sh
# Builds and runs every test on both architectures under AddressSanitizer and
# UndefinedBehaviorSanitizer, then the concurrency tests under ThreadSanitizer (x86_64 only; the
# toolchain has no 32-bit ThreadSanitizer), then fuzzes every fuzz target for 15 s on each
# architecture (scripts/fuzz.sh). Installs what it needs first.
# Extra arguments go to ctest, e.g.: scripts/test.sh -R StringBase; they skip the fuzzing.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"

# Out-of-memory paths are tested, so allocators must return null instead of aborting.
export ASAN_OPTIONS="allocator_may_return_null=1:detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
jobs=$(nproc 2>/dev/null || echo 2)

for arch in i386 x86_64; do
    echo "== $arch: build (AddressSanitizer, UndefinedBehaviorSanitizer)"
    "$root/scripts/build.sh" "$arch-asan" "$arch" "address,undefined" -DKA_BUILD_BENCH=ON
    echo "== $arch: test"
    # One build runs the MQTT fault tests (broker and item host killed with -9) for 50 cycles
    # each, about a minute; the others run the tests' default few.
    cycles=$([ "$arch" = x86_64 ] && echo 50 || echo 3)
    KA_MQTT_FAULT_CYCLES=$cycles ctest --test-dir "$root/build/$arch-asan" --timeout 600 \
        --output-on-failure -j "$jobs" "$@"
done

echo "== x86_64: build (ThreadSanitizer)"
"$root/scripts/build.sh" x86_64-tsan x86_64 thread
echo "== x86_64: concurrency and MQTT tests (ThreadSanitizer)"
# ThreadSanitizer's fixed memory layout clashes with high address-space randomisation on some
# kernels; running without randomisation (where the system allows it) keeps it working there.
norandom=""
if setarch "$(uname -m)" -R true 2>/dev/null; then
    norandom="setarch $(uname -m) -R"
fi
$norandom ctest --test-dir "$root/build/x86_64-tsan" --timeout 600 --output-on-failure -j "$jobs" -L 'concurrency|mqtt' --no-tests=ignore "$@"

# Both architectures are fuzzed even when the first one finds something, so one run reports all.
# A finding fails the run; it is kept under build/fuzz*/run/ and, once fixed, belongs in
# fuzz/regressions/ where the ordinary tests above replay it.
if [ $# -eq 0 ]; then
    fuzzed=0
    "$root/scripts/fuzz.sh" 15 || fuzzed=1
    "$root/scripts/fuzz.sh" --arch i386 15 || fuzzed=1
    if [ $fuzzed -ne 0 ]; then
        echo "== fuzzing found faults (see above)"
        exit 1
    fi
fi
echo "== all tests passed"
