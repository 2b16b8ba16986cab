#!/usr/bin/env bash
# Fuzzes every parser of outside input with its libFuzzer target (fuzz/):
# urlencoded, multipart, conf, template, messages, certindex, vpnlist,
# sameorigin. Each target first runs the kept crash inputs of
# fuzz/regressions/TARGET/, then fuzzes for the time given, starting from its
# seed corpus fuzz/corpus/TARGET/.
#
#   bash scripts/fuzz.sh [--seconds N | --ci] [--jobs N] [TARGET...]
#     --seconds N  fuzz each target N seconds (default 1800)
#     --ci         20 seconds each from a fixed seed (the same mutations on
#                  every run, so that a run fails again where it failed),
#                  as the test command runs them
#     --jobs N     targets fuzzed at the same time (default 2)
#     TARGET...    only these targets (default: all)
#
# Installs what is missing first (scripts/deps.sh build; clang's libFuzzer
# runtime, Debian's libclang-rt-<version>-dev). Builds with clang, libFuzzer,
# AddressSanitizer and UndefinedBehaviorSanitizer in build-fuzz/
# (GWADMIN_FUZZ_BUILD=DIR for another folder) and keeps there what a run
# finds, never in the tree:
#   corpus/TARGET/   inputs that reached new code (the next run goes on from them)
#   crashes/TARGET/  a failing input (crash-..., leak-..., timeout-..., oom-...)
#   logs/TARGET.log  libFuzzer's output
# A failing input, once fixed, is kept as a regression test: copy it into
# fuzz/regressions/TARGET/, where this script and the ctest test
# fuzz_TARGET_inputs of every ordinary build run it.
#
# Prints one line per target (runs, executions per second, new inputs) and
# ends with "N passed, M failed" over the targets; exits non-zero when any
# target failed.
set -uo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)
all_targets=(urlencoded multipart conf template messages certindex vpnlist sameorigin)
seconds=1800
seed=
jobs=2
targets=()
while [ $# -gt 0 ]; do
    case $1 in
        --seconds) seconds=${2:?--seconds needs a number}; shift 2 ;;
        --ci) seconds=20; seed=1; shift ;;
        --jobs) jobs=${2:?--jobs needs a number}; shift 2 ;;
        -h|--help) sed -n '2,/^set -uo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
        -*) echo "fuzz: unknown option $1" >&2; exit 2 ;;
        *) targets+=("$1"); shift ;;
    esac
done
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")
for t in "${targets[@]}"; do
    case " ${all_targets[*]} " in *" $t "*) ;; *) echo "fuzz: no target $t (${all_targets[*]})" >&2; exit 2 ;; esac
done
case $seconds$jobs in *[!0-9]*) echo "fuzz: --seconds and --jobs take whole numbers" >&2; exit 2 ;; esac

# ---- tools ----------------------------------------------------------------
if ! bash scripts/deps.sh build; then
    echo "fuzz: could not install the build tools" >&2
    echo "0 passed, ${#targets[@]} failed"
    exit 1
fi
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
printf '#include <cstddef>\n#include <cstdint>\nextern "C" int LLVMFuzzerTestOneInput(const uint8_t*, size_t) { return 0; }\n' \
    >"$probe/probe.cpp"
has_libfuzzer() { clang++ -fsanitize=fuzzer,address,undefined "$probe/probe.cpp" -o "$probe/probe" 2>/dev/null; }
if ! has_libfuzzer; then
    version=$(clang++ --version | sed -n 's/.*clang version \([0-9]*\).*/\1/p' | head -n 1)
    echo "fuzz: installing libFuzzer (libclang-rt-$version-dev)"
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    export DEBIAN_FRONTEND=noninteractive
    "${as_root[@]}" apt-get update -q </dev/null
    "${as_root[@]}" apt-get install -y -q --no-install-recommends "libclang-rt-$version-dev" </dev/null
    if ! has_libfuzzer; then
        echo "fuzz: clang++ cannot link libFuzzer" >&2
        echo "0 passed, ${#targets[@]} failed"
        exit 1
    fi
fi

# ---- build ----------------------------------------------------------------
build=${GWADMIN_FUZZ_BUILD:-build-fuzz}
case $build in /*) ;; *) build=$repo/$build ;; esac
echo "fuzz: building in $build"
build_targets=()
for t in "${targets[@]}"; do build_targets+=(--target "fuzz_$t"); done
if ! cmake -S "$repo" -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGWADMIN_SANITIZE=ON -DGWADMIN_FUZZ=ON \
    -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link -DCMAKE_C_FLAGS=-fsanitize=fuzzer-no-link >"$probe/cmake.log" 2>&1 ||
    ! cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" "${build_targets[@]}" >>"$probe/cmake.log" 2>&1; then
    cat "$probe/cmake.log" >&2
    echo "fuzz: the build failed" >&2
    echo "0 passed, ${#targets[@]} failed"
    exit 1
fi

# ---- runs -----------------------------------------------------------------
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
mkdir -p "$build/logs"

# fuzz TARGET: the kept inputs, then fuzzing; writes a one-line result to
# logs/TARGET.result and returns libFuzzer's status.
fuzz() {
    local t=$1 bin="$build/fuzz/fuzz_$1" log="$build/logs/$1.log"
    local corpus="$build/corpus/$1" crashes="$build/crashes/$1/" tmp="$build/tmp/$1"
    rm -rf "$tmp" "$crashes"
    mkdir -p "$corpus" "$crashes" "$tmp"
    local flags=(-timeout=20 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$crashes")
    [ -n "$seed" ] && flags+=(-seed="$seed")
    [ -f "$repo/fuzz/dict/$t.dict" ] && flags+=(-dict="$repo/fuzz/dict/$t.dict")
    local status=0 kept=()
    [ -d "$repo/fuzz/regressions/$t" ] && mapfile -t kept < <(find "$repo/fuzz/regressions/$t" -type f | sort)
    {
        if [ ${#kept[@]} -gt 0 ]; then
            echo "== ${#kept[@]} kept inputs"
            GWADMIN_FUZZ_TMP=$tmp "$bin" "${flags[@]}" "${kept[@]}"
        fi
    } >"$log" 2>&1 || status=$?
    if [ $status -eq 0 ]; then
        echo "== fuzzing for ${seconds}s" >>"$log"
        GWADMIN_FUZZ_TMP=$tmp timeout -k 10 $((seconds + 300)) \
            "$bin" "${flags[@]}" -max_total_time="$seconds" "$corpus" "$repo/fuzz/corpus/$t" >>"$log" 2>&1 || status=$?
    fi
    rm -rf "$tmp"
    local runs speed added
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
    added=$(sed -n 's/^stat::new_units_added: *//p' "$log" | tail -n 1)
    if [ $status -eq 0 ]; then
        printf 'fuzz_%s: clean, %s runs in %ss, %s exec/s, %s new inputs (corpus %s)\n' "$t" "${runs:-?}" \
            "$seconds" "${speed:-?}" "${added:-?}" "$(find "$corpus" -type f | wc -l)" >"$build/logs/$t.result"
    else
        printf 'fuzz_%s: FAILED (status %s), input: %s, log: %s\n' "$t" "$status" \
            "$(find "$crashes" -type f | head -n 1)" "$log" >"$build/logs/$t.result"
    fi
    return $status
}

started=$(date +%s)
for t in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do
        wait -n
    done
    echo "fuzz: fuzz_$t for ${seconds}s"
    rm -f "$build/logs/$t.result"
    fuzz "$t" &
done
wait

passed=0
failed=0
for t in "${targets[@]}"; do
    if [ -f "$build/logs/$t.result" ]; then
        cat "$build/logs/$t.result"
        if grep -q ': clean,' "$build/logs/$t.result"; then
            passed=$((passed + 1))
        else
            failed=$((failed + 1))
            tail -n 40 "$build/logs/$t.log" | sed "s/^/fuzz_$t| /"  # what libFuzzer said of the failing input
        fi
    else
        echo "fuzz_$t: FAILED (no result)"
        failed=$((failed + 1))
    fi
done
echo "fuzz: took $(($(date +%s) - started))s"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
