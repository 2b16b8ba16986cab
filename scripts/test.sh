#!/usr/bin/env bash
# All of gwadmin's checks, in three builds:
#   build/        the default (sandbox) build with g++: the whole ctest suite
#   build-asan/   clang++ with -Werror (must compile warning-free) and
#                 AddressSanitizer + UndefinedBehaviorSanitizer: the whole
#                 suite again, the parser stress test (parser_stress) included
#   build-device/ the device build (-DGWADMIN_DEVICE=ON): compiled, never run
# Then the valgrind pass (scripts/valgrind.sh, build-valgrind/): one show and
# one apply request of every page, with no invalid access and no leak.
# Then every libFuzzer target of fuzz/ for 20 seconds from a fixed seed
# (scripts/fuzz.sh --ci, build-fuzz/).
# Then the builds for the router's processors (scripts/cross-test.sh): 32-bit
# and 64-bit ARM with Debian's cross compilers in build-cross-*/ (sandbox and
# device build each); the end-to-end suite of the default build run against the
# ARM sandbox builds under qemu-user; the device builds compiled, their sizes
# reported, never run; the staging layouts of the install checked.
# Then the browser tests (tests/browser/run.sh): the default build's gwadmin
# on a demo server of their own (port 8091 or the next free one, state in
# build/browser/), driven in headless Chromium.
# Ends with the line "N passed, M failed": ctest, valgrind, fuzz, emulated
# end-to-end and browser tests passed over all runs, and tests (plus build
# steps) that failed. Exits non-zero on any failure.
#
# GWADMIN_BUILD_PREFIX=name puts the builds in name/, name-asan/, ... instead.
set -uo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)
prefix=${GWADMIN_BUILD_PREFIX:-build}
jobs=$(nproc 2>/dev/null || echo 2)
started=$(date +%s)

passed=0
failed=0
problems=()

step() { printf '\n==== %s (at %ss)\n' "$*" "$(($(date +%s) - started))"; }
problem() {
    problems+=("$1")
    failed=$((failed + 1))
    echo "FAILED: $1" >&2
}

# tally NAME PASSED FAILED STATUS: adds one run's counts to the totals and
# notes what went wrong with it.
tally() {
    local name=$1 ok=$2 fail=$3 status=$4
    passed=$((passed + ok))
    failed=$((failed + fail))
    if [ "$fail" -gt 0 ]; then
        problems+=("$name: $fail tests failed")
    elif [ "$ok" -eq 0 ]; then
        problem "$name: no test ran"
    elif [ "$status" -ne 0 ]; then
        problem "$name: exited with status $status"
    fi
}

# The attribute of the JUnit report's <testsuite> element.
junit_count() {
    local value
    value=$(grep -o -m1 "[[:space:]]$1=\"[0-9]*\"" "$2" | grep -o '[0-9][0-9]*')
    echo "${value:-0}"
}

# configure NAME DIR [cmake options...]; then build it.
configure_and_build() {
    local name=$1 dir=$2
    shift 2
    step "$name: configure $dir"
    if ! cmake -S "$repo" -B "$dir" "$@"; then
        problem "$name: configure"
        return 1
    fi
    step "$name: build"
    if ! cmake --build "$dir" -j "$jobs"; then
        problem "$name: build"
        return 1
    fi
}

# run_suite NAME DIR: the whole ctest suite of a build, counted.
run_suite() {
    local name=$1 dir=$2
    local report="$repo/$dir/ctest-junit.xml"
    rm -f "$report"
    step "$name: ctest"
    (cd "$dir" && ctest --output-on-failure --no-tests=error --timeout 600 --output-junit "$report")
    local status=$?
    if [ ! -f "$report" ]; then
        problem "$name: ctest ran no test (status $status)"
        return 1
    fi
    local tests failures skipped disabled
    tests=$(junit_count tests "$report")
    failures=$(junit_count failures "$report")
    skipped=$(junit_count skipped "$report")
    disabled=$(junit_count disabled "$report")
    local ok=$((tests - failures - skipped - disabled))
    echo "$name: $ok of $tests tests passed, $failures failed, $((skipped + disabled)) skipped"
    tally "$name" "$ok" "$failures" "$status"
}

step "dependencies"
if ! bash scripts/deps.sh; then
    echo "FAILED: could not install the build tools" >&2
    echo "0 passed, 1 failed"
    exit 1
fi

# 1. The default build.
if configure_and_build "default" "$prefix"; then
    run_suite "default" "$prefix"
fi

# 2. clang++, warning-free, with the sanitizers: every memory or
# undefined-behaviour fault stops the test.
export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=0:detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
if CC=clang CXX=clang++ configure_and_build "asan" "$prefix-asan" -DGWADMIN_SANITIZE=ON \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-Werror -DCMAKE_C_FLAGS=-Werror; then
    if [ "$(cd "$prefix-asan" && ctest -N -R '^parser_stress$' | grep -c 'parser_stress')" -ne 1 ]; then
        problem "asan: the parser stress test is not registered"
    fi
    run_suite "asan" "$prefix-asan"
fi

# 3. The device build compiles; it is never run here (it would use the host's
# real paths and tools).
configure_and_build "device" "$prefix-device" -DGWADMIN_DEVICE=ON

# 4. valgrind: one show and one apply request of every page, no invalid
# access and no leak (scripts/valgrind.sh, its build in $prefix-valgrind/,
# ends with "valgrind: N passed, M failed").
run_valgrind() {
    step "valgrind: every page's show and apply"
    mkdir -p "$prefix"
    local log="$repo/$prefix/valgrind.log"
    bash scripts/valgrind.sh --build "$prefix-valgrind" 2>&1 | tee "$log"
    local status=${PIPESTATUS[0]} line ok fail
    line=$(grep -E '^valgrind: [0-9]+ passed, [0-9]+ failed$' "$log" | tail -n 1)
    if [ -z "$line" ]; then
        problem "valgrind: scripts/valgrind.sh did not finish (status $status)"
        return 1
    fi
    ok=$(echo "$line" | sed -E 's/^valgrind: ([0-9]+) passed.*/\1/')
    fail=$(echo "$line" | sed -E 's/.* ([0-9]+) failed$/\1/')
    tally valgrind "$ok" "$fail" "$status"
}
run_valgrind

# 5. Fuzzing: every libFuzzer target of fuzz/ for 20 seconds, two at a
# time, in a clang build of its own ($prefix-fuzz/); each clean target counts
# as one passed test.
run_fuzz() {
    step "fuzz: every target for 20 seconds (scripts/fuzz.sh --ci)"
    local out status line
    out=$(GWADMIN_FUZZ_BUILD="$prefix-fuzz" bash scripts/fuzz.sh --ci 2>&1)
    status=$?
    printf '%s\n' "$out" | grep -vE '^[0-9]+ passed, [0-9]+ failed$'
    line=$(printf '%s\n' "$out" | grep -E '^[0-9]+ passed, [0-9]+ failed$' | tail -n 1)
    if [ -z "$line" ]; then
        problem "fuzz: no result (status $status)"
        return 1
    fi
    fuzz_failures=$(printf '%s\n' "$out" | grep -E '^fuzz_[a-z]+(: FAILED|\| )' | tail -n 60)
    set -- $line
    tally "fuzz$(printf '%s\n' "$out" | sed -n 's/^\(fuzz_[a-z]*\): FAILED.*/ \1/p' | tr -d '\n')" "$1" "$3" "$status"
}
run_fuzz

# 6. The router's processors: the ARM builds, and the end-to-end tests of the
# default build run against the ARM sandbox builds under qemu-user
# (scripts/cross-test.sh, which counts its own tests and ends with
# "cross: N passed, M failed").
run_cross() {
    step "cross: ARM builds, the end-to-end tests under qemu-user"
    mkdir -p "$prefix"
    local log="$repo/$prefix/cross-test.log"
    bash scripts/cross-test.sh --prefix "$prefix" --host-build "$prefix" 2>&1 | tee "$log"
    local status=${PIPESTATUS[0]}
    local line
    line=$(grep -E '^cross: [0-9]+ passed, [0-9]+ failed$' "$log" | tail -n 1)
    if [ -z "$line" ]; then
        problem "cross: scripts/cross-test.sh did not finish (status $status)"
        return 1
    fi
    local ok fail
    ok=$(echo "$line" | sed -E 's/^cross: ([0-9]+) passed.*/\1/')
    fail=$(echo "$line" | sed -E 's/.* ([0-9]+) failed$/\1/')
    tally cross "$ok" "$fail" "$status"
}
run_cross

# 7. The browser tests, on the default build's gwadmin. The runner installs
# Chromium and the node modules, starts and stops its own demo server, and
# leaves the runner's TAP reports (counted here) in $prefix/browser/.
run_browser() {
    local dir="$repo/$prefix/browser"
    step "browser: tests in headless Chromium"
    if [ ! -x "$prefix/gwadmin" ]; then
        problem "browser: no $prefix/gwadmin to test"
        return 1
    fi
    GWADMIN_BROWSER_DIR=$dir GWADMIN_DEMO_BUILD=$prefix bash tests/browser/run.sh
    local status=$?
    local tap="$dir/results.tap"
    if [ ! -s "$tap" ]; then
        problem "browser: the tests did not run (status $status)"
        return 1
    fi
    # Both passes: over HTTP (results.tap), then over HTTPS (results-https.tap).
    local ok=0 fail=0 t what n
    for t in "$tap" "$dir/results-https.tap"; do
        for what in pass fail cancelled; do
            n=$(grep -E "^# $what [0-9]+$" "$t" 2>/dev/null | tail -n 1 | grep -oE '[0-9]+')
            if [ "$what" = pass ]; then ok=$((ok + ${n:-0})); else fail=$((fail + ${n:-0})); fi
        done
    done
    echo "browser: $ok tests passed, $fail failed"
    tally browser "$ok" "$fail" "$status"
}
run_browser

elapsed=$(($(date +%s) - started))
echo
if [ ${#problems[@]} -gt 0 ]; then
    echo "Problems:"
    printf '  %s\n' "${problems[@]}"
fi
# A failing fuzz target's input and libFuzzer's report, here too, as the last lines are what a CI log shows.
[ -n "${fuzz_failures:-}" ] && printf '%s\n' "$fuzz_failures"
echo "test.sh took ${elapsed}s"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ ${#problems[@]} -eq 0 ]
