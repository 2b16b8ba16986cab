#!/usr/bin/env bash
# gwadmin's pages in headless Chromium (see "The interface" in the README): installs what is missing, starts a demo
# server of its own, reached by the device's factory name, runs the tests with node's test runner, stops the server.
#   bash tests/browser/run.sh [TEST FILE...]   (default: every tests/*.test.mjs over HTTP, then login over HTTPS)
# Environment: GWADMIN_BROWSER_HTTPS (1: HTTPS only; 0: no HTTPS pass), GWADMIN_BROWSER_DIR (default build/browser),
# GWADMIN_BROWSER_PORT (default the first free one from 8091), GWADMIN_DEMO_BUILD (default build), CHROMIUM.
# Ends with "browser: N passed, M failed"; exits non-zero when a test failed or the run could not start.
set -uo pipefail

caller=$(pwd)
cd "$(dirname "$0")" || exit 1
repo=$(cd ../.. && pwd)
out=${GWADMIN_BROWSER_DIR:-$repo/build/browser}
[[ $out == /* ]] || out=$repo/$out
build=${GWADMIN_DEMO_BUILD:-build}
demo_dir=$out/demo

fail_setup() {
    echo "browser: $1" >&2
    echo "browser: 0 passed, 1 failed"
    exit 1
}

mkdir -p "$out/screenshots" || fail_setup "cannot make $out"
rm -rf "$out"/results*.tap "$out"/screenshots/*

bash "$repo/scripts/deps.sh" browser || fail_setup "could not install Chromium, Node.js or npm"
node_major=$(node -p 'process.versions.node.split(".")[0]' 2>/dev/null)
[ "${node_major:-0}" -ge 20 ] || fail_setup "the tests need Node.js 20 or later, not $(node --version 2>&1)"
# The node modules, installed again only when the lock file changed.
if ! cmp -s package-lock.json node_modules/.gwadmin-installed-lock; then
    echo "browser: npm ci"
    PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund || fail_setup "npm ci failed"
    cp package-lock.json node_modules/.gwadmin-installed-lock
fi

# The device's name: the factory host name and domain of the sandbox.
factory() { sed -n "s/^$1='\\(.*\\)'\$/\\1/p" "$repo/sandbox/defaults/network.config" | head -n 1; }
name=$(factory HOSTNAME).$(factory DOMAIN_NAME)
[[ $name =~ ^[A-Za-z0-9-]+\.[A-Za-z0-9.-]+$ ]] || fail_setup "the factory network.config names no host and domain"

# Test files named from where the runner was started, or from tests/browser/.
files=()
for f in "$@"; do
    if [[ $f != /* && -e $caller/$f ]]; then files+=("$caller/$f"); else files+=("$f"); fi
done
[ ${#files[@]} -gt 0 ] || { files=(tests/*.test.mjs); every=yes; }
https_files=()
case ${GWADMIN_BROWSER_HTTPS:-} in
    1) https_files=("${files[@]}"); files=() ;;
    0) ;;
    '') [ -z "${every:-}" ] || https_files=(tests/login.test.mjs) ;;
    *) fail_setup "GWADMIN_BROWSER_HTTPS is 1 or 0, not '$GWADMIN_BROWSER_HTTPS'" ;;
esac

# The server stops however the run ends; an interrupted run ends the test runner first.
stop_server() { bash "$repo/scripts/demo.sh" --dir "$demo_dir" --stop >/dev/null 2>&1; }
node_pid=
interrupted() {
    [ -z "$node_pid" ] || { kill -TERM "$node_pid" && wait "$node_pid"; } 2>/dev/null
    exit "$1"
}
trap stop_server EXIT
trap 'interrupted 130' INT
trap 'interrupted 143' TERM
export GWADMIN_DEMO_BUILD=$build GWADMIN_DEMO=$demo_dir GWADMIN_SCREENSHOTS=$out/screenshots GWADMIN_REPO=$repo

# free_port: the first port from 8091 on that nothing on 127.0.0.1 accepts connections on.
free_port() {
    local p
    for p in $(seq 8091 8140); do
        (exec 3<>"/dev/tcp/127.0.0.1/$p") 2>/dev/null || { echo "$p"; return 0; }
    done
    return 1
}
port=${GWADMIN_BROWSER_PORT:-}

# start_server SCHEME: the demo server afresh, over HTTPS for https.
start_server() {
    local tries https=()
    [ "$1" = http ] || https=(--https)
    for tries in 1 2 3 4 5; do
        [ -n "$port" ] || port=$(free_port) || fail_setup "no free port from 8091 to 8140"
        echo "browser: starting the demo server on 127.0.0.1:$port ($demo_dir), reached as $1://$name:$port"
        bash "$repo/scripts/demo.sh" --dir "$demo_dir" --build "$build" --port "$port" --reset "${https[@]}" \
            >"$out/demo.log" 2>&1 && return 0
        # Another run took the free port while this one built gwadmin: the next free one, then.
        [ -z "${GWADMIN_BROWSER_PORT:-}" ] && grep -q 'already in use\|something else listens' "$out/demo.log" || break
        port=
    done
    cat "$out/demo.log" >&2
    fail_setup "the demo server did not start"
}

# count TAP WHAT: the runner's count of passed (pass), failed or cancelled tests.
count() { grep -E "^# $2 [0-9]+$" "$1" 2>/dev/null | tail -n 1 | grep -oE '[0-9]+' || echo 0; }

# run_pass SCHEME TAP FILE...: runs the files against a fresh server, one file at a time (they share
# the server and its sandbox); a readable report to the terminal, the TAP report (for the counts) to
# the file. Adds the counts to $passed and $failed.
passed=0
failed=0
run_pass() {
    local scheme=$1 tap=$2 status pass fail
    shift 2
    start_server "$scheme"
    # The login the demo prints: the factory password.
    GWADMIN_PASSWORD=$(sed -n 's/^  login  *user admin, password \(.*\)$/\1/p' "$out/demo.log")
    [ -n "$GWADMIN_PASSWORD" ] || { cat "$out/demo.log" >&2; fail_setup "the demo printed no factory password"; }
    export GWADMIN_PASSWORD GWADMIN_URL=$scheme://$name:$port
    node --test --test-concurrency=1 --test-reporter=spec --test-reporter-destination=stdout \
        --test-reporter=tap --test-reporter-destination="$tap" "$@" &
    node_pid=$!
    wait "$node_pid"
    status=$?
    node_pid=
    pass=$(count "$tap" pass)
    fail=$(($(count "$tap" fail) + $(count "$tap" cancelled)))
    [ "$pass" -gt 0 ] || [ "$fail" -gt 0 ] || fail_setup "the test runner ran no test over $scheme (status $status)"
    [ "$status" -eq 0 ] || [ "$fail" -gt 0 ] || fail=1
    passed=$((passed + pass))
    failed=$((failed + fail))
}

[ ${#files[@]} -eq 0 ] || run_pass http "$out/results.tap" "${files[@]}"
[ ${#https_files[@]} -eq 0 ] || run_pass https "$out/results-https.tap" "${https_files[@]}"

echo "browser: screenshots in $out/screenshots"
echo "browser: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
