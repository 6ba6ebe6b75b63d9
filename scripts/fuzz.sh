#!/bin/sh
# fuzz.sh [--arch ARCH] [--only NAME] [SECONDS]
# Builds the fuzz targets with clang (-fsanitize=fuzzer,address,undefined) in build/fuzz
# (build/fuzz-i386 for --arch i386) and runs each for SECONDS (default 60), as many at a time as
# there are processors, starting from the seeds its replay program writes and the findings kept
# in fuzz/regressions.
# Prints one line per target: name, executions per second, runs, findings. A finding (crash,
# sanitizer report, failed check, hang of more than 3 s, leak, an allocation above 256 MB or more
# than 2 GB in use) is kept under build/fuzz*/run/<target>/findings/ and makes the script exit 1.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)

arch=x86_64
only=""
seconds=60
while [ $# -gt 0 ]; do
    case $1 in
        --arch) arch=$2; shift 2 ;;
        --only) only=$2; shift 2 ;;
        *) seconds=$1; shift ;;
    esac
done

"$root/scripts/deps.sh"

# Some toolchains lack clang's 32-bit libFuzzer runtime; fuzzing i386 is then skipped, not failed.
if [ "$arch" != x86_64 ]; then
    probe=$(mktemp -d)
    printf '%s\n' '#include <cstddef>' \
        'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, std::size_t) { return 0; }' \
        >"$probe/probe.cpp"
    if ! clang++ -m32 -fsanitize=fuzzer,address,undefined "$probe/probe.cpp" -o "$probe/probe" \
        >/dev/null 2>&1; then
        echo "== $arch: fuzzing skipped: clang cannot link a 32-bit libFuzzer program here"
        rm -rf "$probe"
        exit 0
    fi
    rm -rf "$probe"
fi

tree="$root/build/fuzz"
[ "$arch" = x86_64 ] || tree="$root/build/fuzz-$arch"
launcher=""
command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
jobs=$(nproc 2>/dev/null || echo 2)

echo "== $arch: build fuzz targets (clang)"
CC=clang CXX=clang++ cmake -S "$root" -B "$tree" -DKA_ARCH="$arch" -DKA_SANITIZE=address,undefined \
    -DKA_BUILD_FUZZ=ON -DKA_BUILD_TESTS=OFF -DKA_WERROR=ON -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" $launcher >/dev/null
cmake --build "$tree" -j "$jobs" --target ka_fuzz >/dev/null

# Impossible allocations fail as the library expects (std::bad_alloc); the fuzzer's own limits
# decide what is too much.
export ASAN_OPTIONS="allocator_may_return_null=1:detect_leaks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# One target's run: seeds, then libFuzzer for the given time; its summary line goes to
# $work/line and a finding to $work/failed, so that targets can run side by side.
fuzz_one() {
    target=$1
    work="$tree/run/$target"
    rm -rf "$work"
    mkdir -p "$work/corpus" "$work/findings"
    # Writing the seeds also runs them: a seed that fails is a finding of its own.
    if ! "$tree/fuzz/${target}Replay" --write-seeds "$work/seeds" </dev/null >"$work/seeds.log" 2>&1; then
        printf '%-24s %10s %12s %9s\n' "$target" - - seeds >"$work/line"
        echo "-- $target: a seed fails (log: $work/seeds.log)" >"$work/failed"
        return
    fi
    # New inputs go to the first folder only; the kept findings are read, never written.
    set -- "$work/corpus" "$work/seeds"
    [ -d "$root/fuzz/regressions/$target" ] && set -- "$@" "$root/fuzz/regressions/$target"
    # libFuzzer stops at the first finding and returns non-zero; the count is what it kept.
    "$tree/fuzz/$target" -max_total_time="$seconds" -timeout=3 -rss_limit_mb=2048 \
        -malloc_limit_mb=256 -max_len=4096 -print_final_stats=1 \
        -artifact_prefix="$work/findings/" "$@" \
        </dev/null >"$work/log" 2>&1 || true
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log")
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$work/log")
    findings=$(find "$work/findings" -type f | wc -l)
    printf '%-24s %10s %12s %9s\n' "$target" "${rate:-?}" "${runs:-?}" "$findings" >"$work/line"
    if [ "$findings" -ne 0 ] || [ -z "$runs" ]; then
        {
            echo "-- $target: $(find "$work/findings" -type f | head -1) (log: $work/log)"
            grep -E -A 12 '^==[0-9]+==ERROR|fuzz check failed|unexpected exception|runtime error|ERROR: libFuzzer' \
                "$work/log" | head -30
        } >"$work/failed"
    fi
}

# As many targets at a time as there are processors: each is one single-threaded process.
echo "== $arch: fuzz each target for $seconds s, $jobs at a time"
targets=""
while read -r target; do
    [ -z "$only" ] || [ "$only" = "$target" ] || continue
    targets="$targets $target"
done <"$tree/fuzz/targets.txt"
running=0
for target in $targets; do
    fuzz_one "$target" &
    running=$((running + 1))
    if [ $running -ge "$jobs" ]; then
        wait
        running=0
    fi
done
wait

printf '%-24s %10s %12s %9s\n' target exec/s runs findings
status=0
for target in $targets; do
    cat "$tree/run/$target/line"
done
for target in $targets; do
    if [ -f "$tree/run/$target/failed" ]; then
        cat "$tree/run/$target/failed"
        status=1
    fi
done
exit $status
