#!/usr/bin/env bash
# gwadmin's pages in headless Chromium: installs what is missing (Chromium,
# Node.js and npm: scripts/deps.sh browser; the node modules: npm ci), starts
# a demo server of its own (scripts/demo.sh with its own state folder and
# port, so a demo that a user runs is never touched), runs the tests with
# node's test runner and stops the server again, whatever happens.
#
#   bash tests/browser/run.sh [TEST FILE...]   (default: every tests/*.test.mjs;
#                                              a file is named from where you
#                                              are, or from tests/browser/)
#
# The browser reaches the device as one reaches a router: by the sandbox
# device's own name (gateway.localdomain, its factory HOSTNAME.DOMAIN_NAME),
# which Chromium takes for 127.0.0.1, not by a loopback address; and it logs in
# with the factory password that the demo prints.
#
# Two passes: every test file over HTTP, then the login tests
# (tests/login.test.mjs: the login, a password change and one apply, the
# server certificate) once more over HTTPS (demo.sh --https). Naming files
# runs only the HTTP pass over them.
#
# Environment:
#   GWADMIN_BROWSER_HTTPS 1: one pass, over HTTPS, of the files named (default:
#                         all); 0: no HTTPS pass
#   GWADMIN_BROWSER_DIR   where the run keeps its state (default build/browser):
#                         demo/ (the server's settings and logs, the sandbox
#                         device demo/root), screenshots/ (one picture per
#                         page visited; https-*.png from the HTTPS pass),
#                         results.tap and results-https.tap (the runner's TAP
#                         reports)
#   GWADMIN_BROWSER_PORT  the server's port on 127.0.0.1 (default: the first
#                         free one from 8091 on)
#   GWADMIN_DEMO_BUILD    the build folder whose gwadmin is served (default build)
#   CHROMIUM              the browser (default /usr/bin/chromium)
# Ends with "browser: N passed, M failed" (both passes); exits non-zero when a
# test failed or the run could not start.
set -uo pipefail

caller=$(pwd)
cd "$(dirname "$0")"
repo=$(cd ../.. && pwd)
out=${GWADMIN_BROWSER_DIR:-$repo/build/browser}
case $out in /*) ;; *) out=$repo/$out ;; esac
build=${GWADMIN_DEMO_BUILD:-build}
demo_dir=$out/demo

fail_setup() {
    echo "browser: $1" >&2
    echo "browser: 0 passed, 1 failed"
    exit 1
}

mkdir -p "$out" || fail_setup "cannot make $out"
rm -f "$out"/results*.tap
rm -rf "$out/screenshots"
mkdir -p "$out/screenshots"

bash "$repo/scripts/deps.sh" browser || fail_setup "could not install Chromium, Node.js or npm"
node_major=$(node -p 'process.versions.node.split(".")[0]' 2>/dev/null)
[ "${node_major:-0}" -ge 20 ] || fail_setup "the tests need Node.js 20 or later, not $(node --version 2>&1)"

# The node modules, installed again only when the lock file changed.
stamp=node_modules/.gwadmin-installed-lock
if ! cmp -s package-lock.json "$stamp"; then
    echo "browser: npm ci"
    PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund || fail_setup "npm ci failed"
    cp package-lock.json "$stamp"
fi

# answers PORT: something accepts connections on 127.0.0.1:PORT.
answers() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# A demo server left over by an interrupted run of this folder goes first, so
# that its port is free again.
bash "$repo/scripts/demo.sh" --dir "$demo_dir" --stop >/dev/null 2>&1

fixed_port=${GWADMIN_BROWSER_PORT:-}
port=$fixed_port
# free_port: the first port from 8091 on that nothing listens on.
free_port() {
    local p
    for p in $(seq 8091 8140); do
        answers "$p" || { echo "$p"; return 0; }
    done
    return 1
}

# The device's name: the factory host name and domain of the sandbox.
factory() { sed -n "s/^$1='\\(.*\\)'\$/\\1/p" "$repo/sandbox/defaults/network.config" | head -n 1; }
name=$(factory HOSTNAME).$(factory DOMAIN_NAME)
[[ $name =~ ^[A-Za-z0-9-]+\.[A-Za-z0-9.-]+$ ]] || fail_setup "the factory network.config names no host and domain"

# The server stops however the run ends; an interrupted run ends the test
# runner first (it closes its browsers).
node_pid=
stop_server() { bash "$repo/scripts/demo.sh" --dir "$demo_dir" --stop >/dev/null 2>&1; }
interrupted() {
    if [ -n "$node_pid" ]; then
        kill -TERM "$node_pid" 2>/dev/null
        wait "$node_pid" 2>/dev/null
    fi
    exit "$1"
}
trap stop_server EXIT
trap 'interrupted 130' INT
trap 'interrupted 143' TERM

# Test files named from where the runner was started, or from tests/browser/.
files=()
for f in "$@"; do
    case $f in
        /*) files+=("$f") ;;
        *) if [ -e "$caller/$f" ]; then files+=("$caller/$f"); else files+=("$f"); fi ;;
    esac
done
https_files=()
case ${GWADMIN_BROWSER_HTTPS:-} in
    1) [ ${#files[@]} -gt 0 ] || files=(tests/*.test.mjs); https_files=("${files[@]}"); files=() ;;
    0) [ ${#files[@]} -gt 0 ] || files=(tests/*.test.mjs) ;;
    '') [ ${#files[@]} -gt 0 ] || { files=(tests/*.test.mjs); https_files=(tests/login.test.mjs); } ;;
    *) fail_setup "GWADMIN_BROWSER_HTTPS is 1 or 0, not '$GWADMIN_BROWSER_HTTPS'" ;;
esac

export GWADMIN_DEMO_BUILD=$build
export GWADMIN_DEMO=$demo_dir
export GWADMIN_SANDBOX=$demo_dir/root
export GWADMIN_SCREENSHOTS=$out/screenshots
export GWADMIN_REPO=$repo

# count TAP WHAT: the runner's count of passed (pass) or failed tests.
count() {
    local n
    n=$(grep -E "^# $2 [0-9]+$" "$1" 2>/dev/null | tail -n 1 | grep -oE '[0-9]+')
    echo "${n:-0}"
}

# pass SCHEME TAP FILE...: starts the demo server afresh (over HTTPS for
# https), runs the files against it, adds the counts to $passed and $failed.
passed=0
failed=0
run_pass() {
    local scheme=$1 tap=$2 status pass fail https=()
    shift 2
    [ "$scheme" = http ] || https=(--https)
    local tries=0
    while :; do
        [ -n "$port" ] || port=$(free_port) || fail_setup "no free port from 8091 to 8140"
        echo "browser: starting the demo server on 127.0.0.1:$port ($demo_dir), reached as $scheme://$name:$port"
        if bash "$repo/scripts/demo.sh" --dir "$demo_dir" --build "$build" --port "$port" --reset "${https[@]}" \
            >"$out/demo.log" 2>&1; then
            break
        fi
        # Another run may have taken the port while this one built gwadmin: the next free one, then.
        if [ -z "$fixed_port" ] && [ $((tries += 1)) -lt 5 ] &&
            grep -q 'Address already in use\|something else listens' "$out/demo.log"; then
            port=
            continue
        fi
        cat "$out/demo.log" >&2
        fail_setup "the demo server did not start"
    done
    # The login the demo prints: the factory password.
    GWADMIN_PASSWORD=$(sed -n 's/^  login  *user admin, password \(.*\)$/\1/p' "$out/demo.log")
    [ -n "$GWADMIN_PASSWORD" ] || { cat "$out/demo.log" >&2; fail_setup "the demo printed no factory password"; }
    export GWADMIN_PASSWORD GWADMIN_URL=$scheme://$name:$port

    # One test file at a time: they share the server and its sandbox. A
    # readable report goes to the terminal, the TAP report (for the counts) to
    # the file.
    node --test --test-concurrency=1 \
        --test-reporter=spec --test-reporter-destination=stdout \
        --test-reporter=tap --test-reporter-destination="$tap" \
        "$@" &
    node_pid=$!
    wait "$node_pid"
    status=$?
    node_pid=

    pass=$(count "$tap" pass)
    fail=$(($(count "$tap" fail) + $(count "$tap" cancelled)))
    if [ ! -s "$tap" ] || { [ "$pass" -eq 0 ] && [ "$fail" -eq 0 ]; }; then
        fail_setup "the test runner ran no test over $scheme (status $status)"
    fi
    if [ "$status" -ne 0 ] && [ "$fail" -eq 0 ]; then
        fail=1
    fi
    passed=$((passed + pass))
    failed=$((failed + fail))
}

[ ${#files[@]} -eq 0 ] || run_pass http "$out/results.tap" "${files[@]}"
[ ${#https_files[@]} -eq 0 ] || run_pass https "$out/results-https.tap" "${https_files[@]}"

echo "browser: screenshots in $out/screenshots"
echo "browser: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
