#!/usr/bin/env bash
# The checks of gwadmin on the router's processors, one step of
# scripts/test.sh that also runs alone:
#   - per target (arm32, arm64): the sandbox build (scripts/cross.sh TARGET),
#     and the end-to-end suite (tests/e2e) against it under qemu-user: the
#     test program is this machine's, the gwadmin it starts the ARM one
#     (GWADMIN_TEST_EXE, GWADMIN_TEST_RUNNER), so byte order, char signedness
#     and alignment of the target are what the suite sees;
#   - per target: the device build (scripts/cross.sh TARGET --device),
#     compiled and its size reported, never run here;
#   - every staging folder holds exactly the document root of www/ and the
#     program as cgi-bin/gwadmin (one check per build).
# Ends with the line "cross: N passed, M failed" (end-to-end tests and layout
# checks passed; tests, checks and build steps that failed) and exits
# non-zero on any failure.
#
#   bash scripts/cross-test.sh [--prefix NAME] [--host-build DIR] [TARGET...]
#
#   --prefix NAME     the builds go to NAME-cross-TARGET and
#                     NAME-cross-TARGET-device (default build)
#   --host-build DIR  the build of this machine whose tests/e2e_tests runs
#                     the suite (default NAME-cross-host; configured and
#                     brought up to date here)
#   TARGET            arm32 and/or arm64 (default: both)
set -uo pipefail

cd "$(dirname "$0")/.." || exit 2
repo=$(pwd)
started=$(date +%s)
prefix=build
host=
targets=()
while [ $# -gt 0 ]; do
    case $1 in
        --prefix) [ $# -ge 2 ] || { echo "cross-test: --prefix NAME" >&2; exit 2; }; prefix=$2; shift 2 ;;
        --host-build) [ $# -ge 2 ] || { echo "cross-test: --host-build DIR" >&2; exit 2; }; host=$2; shift 2 ;;
        arm32|arm64) targets+=("$1"); shift ;;
        *) echo "cross-test: unknown argument '$1' (--prefix NAME, --host-build DIR, arm32, arm64)" >&2; exit 2 ;;
    esac
done
[ ${#targets[@]} -gt 0 ] || targets=(arm32 arm64)
case $prefix in /*) ;; *) prefix=$repo/$prefix ;; esac
[ -n "$host" ] || host=$prefix-cross-host
case $host in /*) ;; *) host=$repo/$host ;; esac
jobs=$(nproc 2>/dev/null || echo 2)

passed=0
failed=0
problems=()
step() { printf '\n==== cross: %s (at %ss)\n' "$*" "$(($(date +%s) - started))"; }
problem() {
    problems+=("$1")
    failed=$((failed + 1))
    echo "FAILED: $1" >&2
}
finish() {
    echo
    if [ ${#problems[@]} -gt 0 ]; then
        echo "Problems:"
        printf '  %s\n' "${problems[@]}"
    fi
    echo "cross-test.sh took $(($(date +%s) - started))s"
    echo "cross: $passed passed, $failed failed"
    [ "$failed" -eq 0 ] && [ ${#problems[@]} -eq 0 ]
    exit
}

step "dependencies"
if ! bash scripts/deps.sh build cross; then
    problem "could not install the cross compilers and qemu-user"
    finish
fi

triplet_of() { case $1 in arm32) echo arm-linux-gnueabihf ;; arm64) echo aarch64-linux-gnu ;; esac; }
qemu_of() { case $1 in arm32) echo qemu-arm ;; arm64) echo qemu-aarch64 ;; esac; }

# layout NAME STAGE WEBROOT: the staging folder holds www/'s tree under
# WEBROOT and cgi-bin/gwadmin beside it, nothing else.
layout() {
    local name=$1 stage=$2 webroot=$3 expected actual
    expected=$( {
        local dir=
        for part in ${webroot//\// }; do
            dir=${dir:+$dir/}$part
            echo "d $dir"
        done
        echo "d ${webroot:+$webroot/}cgi-bin"
        echo "f ${webroot:+$webroot/}cgi-bin/gwadmin"
        (cd www && find . -mindepth 1 -printf "%y ${webroot:+$webroot/}%P\n")
    } | LC_ALL=C sort)
    actual=$(cd "$stage" && find . -mindepth 1 -printf '%y %P\n' | LC_ALL=C sort)
    if [ "$expected" != "$actual" ]; then
        problem "$name: the staging folder is not www/ plus cgi-bin/gwadmin"
        diff <(echo "$expected") <(echo "$actual") | sed 's/^/  /' >&2
        return
    fi
    if [ ! -x "$stage/${webroot:+$webroot/}cgi-bin/gwadmin" ]; then
        problem "$name: the staged cgi-bin/gwadmin is not executable"
        return
    fi
    echo "$name: staging layout as expected ($(echo "$actual" | wc -l) entries)"
    passed=$((passed + 1))
}

# The junit attribute of gtest's <testsuites> element.
xml_count() {
    local value
    value=$(grep -o -m1 "<testsuites [^>]*" "$2" | grep -o " $1=\"[0-9]*\"" | grep -o '[0-9][0-9]*')
    echo "${value:-0}"
}

# e2e NAME TARGET EXE: the end-to-end suite against EXE under qemu-user, in
# as many shards as there are processors.
e2e() {
    local name=$1 target=$2 exe=$3 triplet qemu
    triplet=$(triplet_of "$target")
    qemu=$(qemu_of "$target")
    local out=$prefix-cross-$target/e2e
    rm -rf "$out"
    mkdir -p "$out"
    step "$name: the end-to-end tests on $target under $qemu ($jobs shards)"
    local pids=() i
    for ((i = 0; i < jobs; i++)); do
        GTEST_TOTAL_SHARDS=$jobs GTEST_SHARD_INDEX=$i GWADMIN_TEST_EXE=$exe \
            GWADMIN_TEST_RUNNER="$qemu -L /usr/$triplet" \
            "$host/tests/e2e_tests" --gtest_output="xml:$out/shard-$i.xml" >"$out/shard-$i.log" 2>&1 &
        pids+=($!)
    done
    local tests=0 failures=0 skipped=0 status=0
    for ((i = 0; i < jobs; i++)); do
        wait "${pids[$i]}" || status=$?
        local xml=$out/shard-$i.xml
        if [ ! -s "$xml" ]; then
            problem "$name: shard $i of the end-to-end tests did not finish (see $out/shard-$i.log)"
            cat "$out/shard-$i.log" >&2
            continue
        fi
        local t f e s
        t=$(grep -c '<testcase ' "$xml")
        f=$(xml_count failures "$xml")
        e=$(xml_count errors "$xml")
        s=$(grep -c 'result="skipped"\|result="suppressed"\|status="notrun"' "$xml")
        tests=$((tests + t))
        failures=$((failures + f + e))
        skipped=$((skipped + s))
        # The output of each failed test.
        [ $((f + e)) -eq 0 ] || awk '/^\[ RUN      \]/ { text = "" } { text = text $0 "\n" }
            /^\[  FAILED  \] .*\(/ { printf "%s", text }' "$out/shard-$i.log"
    done
    local ok=$((tests - failures - skipped))
    echo "$name: $ok of $tests end-to-end tests passed, $failures failed, $skipped skipped (logs: ${out#"$repo"/}/)"
    passed=$((passed + ok))
    failed=$((failed + failures))
    if [ "$failures" -gt 0 ]; then
        problems+=("$name: $failures end-to-end tests failed")
    elif [ "$tests" -eq 0 ]; then
        problem "$name: no end-to-end test ran"
    elif [ "$status" -ne 0 ]; then
        problem "$name: the end-to-end tests exited with status $status"
    fi
}

# The test program of this machine.
step "host: tests/e2e_tests in ${host#"$repo"/}"
if [ ! -f "$host/CMakeCache.txt" ] && ! cmake -S "$repo" -B "$host"; then
    problem "host: configure ${host#"$repo"/}"
elif ! cmake --build "$host" --target e2e_tests -j "$jobs"; then
    problem "host: build the end-to-end tests"
fi

for target in "${targets[@]}"; do
    for mode in sandbox device; do
        name=$target-$mode
        build=$prefix-cross-$target
        args=("$target")
        if [ "$mode" = device ]; then
            build+=-device
            args+=(--device)
        fi
        step "$name: build and stage (scripts/cross.sh ${args[*]})"
        t0=$(date +%s)
        if ! bash scripts/cross.sh "${args[@]}" --build "$build"; then
            problem "$name: build"
            continue
        fi
        echo "$name: built and staged in $(($(date +%s) - t0))s"
        if [ "$mode" = device ]; then
            layout "$name" "$build/stage" home/httpd
        else
            layout "$name" "$build/stage" ""
            if [ -x "$host/tests/e2e_tests" ]; then
                t0=$(date +%s)
                e2e "$name" "$target" "$build/gwadmin"
                echo "$name: end-to-end tests took $(($(date +%s) - t0))s"
            else
                problem "$name: no ${host#"$repo"/}/tests/e2e_tests to run the suite"
            fi
        fi
    done
done

finish
