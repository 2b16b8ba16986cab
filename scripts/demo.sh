#!/usr/bin/env bash
# The demo: gwadmin behind a real web server, on a sandbox device.
# Installs what is missing (scripts/deps.sh demo: the build tools, lighttpd,
# openssl), builds build/gwadmin, makes (or restarts) the sandbox device
# build/demo/root, and starts lighttpd on the loopback address with www/ as
# its document root and gwadmin as /cgi-bin/gwadmin. Prints the URL once the
# server answers.
#
#   bash scripts/demo.sh [--port N] [--model NAME] [--reset] [--foreground]
#                        [--dir DIR] [--build DIR]
#   bash scripts/demo.sh [--dir DIR] --stop
#
#   --port N       listen on 127.0.0.1:N (default 8080, or $GWADMIN_DEMO_PORT)
#   --model NAME   the device model in /etc/deviceID: MX-RT-210B-KORU (no
#                  internal modem; the first run's default), MX-RT-210B-AN-KORU,
#                  MX-RT-210B-ISDN-KORU or MX-RT-210B-GSM-KORU
#   --reset        start the device from the factory state, dropping what was
#                  saved (the model stays unless --model names another)
#   --dir DIR      keep the demo's state in DIR instead of build/demo (also
#                  $GWADMIN_DEMO_DIR): the sandbox device DIR/root, the server's
#                  settings, logs and pid file. Each folder has a server of its
#                  own; --stop stops the one of its folder.
#   --build DIR    the build folder of gwadmin (default build, or
#                  $GWADMIN_DEMO_BUILD)
#   --foreground   stay in the foreground; Ctrl-C stops the server
#   --stop         stop the demo server and exit
#
# A running demo server is stopped and started again. Like the router after a
# restart, the sandbox then starts from the sets that were saved (the save
# page, item 19); settings applied but not saved are gone.
set -euo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)

usage() {
    sed -n '/^#   bash scripts\/demo.sh \[/,/^#   --stop/p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit "${1:-2}"
}

port=${GWADMIN_DEMO_PORT:-8080}
demo=${GWADMIN_DEMO_DIR:-build/demo}
build=${GWADMIN_DEMO_BUILD:-build}
model=
reset=no
mode=background
while [ $# -gt 0 ]; do
    case $1 in
        --port) [ $# -ge 2 ] || usage; port=$2; shift 2 ;;
        --port=*) port=${1#*=}; shift ;;
        --model) [ $# -ge 2 ] || usage; model=$2; shift 2 ;;
        --model=*) model=${1#*=}; shift ;;
        --dir) [ $# -ge 2 ] || usage; demo=$2; shift 2 ;;
        --dir=*) demo=${1#*=}; shift ;;
        --build) [ $# -ge 2 ] || usage; build=$2; shift 2 ;;
        --build=*) build=${1#*=}; shift ;;
        --reset) reset=yes; shift ;;
        --foreground) mode=foreground; shift ;;
        --stop) mode=stop; shift ;;
        -h|--help) usage 0 ;;
        *) usage ;;
    esac
done
if ! [[ $port =~ ^[0-9]+$ ]] || [ "$port" -lt 1 ] || [ "$port" -gt 65535 ]; then
    echo "demo: --port takes a number from 1 to 65535, not '$port'" >&2
    exit 2
fi

[ -n "$demo" ] && [ -n "$build" ] || usage
case $demo in /*) ;; *) demo=$repo/$demo ;; esac
case $build in /*) ;; *) build=$repo/$build ;; esac
root=$demo/root
conf=$demo/lighttpd.conf
pidfile=$demo/lighttpd.pid

case $model in
    ''|MX-RT-210B-KORU|MX-RT-210B-AN-KORU|MX-RT-210B-ISDN-KORU|MX-RT-210B-GSM-KORU) ;;
    *) echo "demo: unknown model '$model'" >&2; usage ;;
esac

# The pid of the demo's lighttpd, if it runs (a pid file left behind by a
# server that is gone, or whose number another program now has, is ignored).
server_pid() {
    local pid
    pid=$(cat "$pidfile" 2>/dev/null) || return 1
    [[ $pid =~ ^[0-9]+$ ]] || return 1
    tr '\0' ' ' <"/proc/$pid/cmdline" 2>/dev/null | grep -qF -- "$conf" || return 1
    echo "$pid"
}

# alive PID: the process runs (a zombie that nobody reaped yet does not).
alive() {
    local state
    state=$(sed 's/.*) //' "/proc/$1/stat" 2>/dev/null | cut -c1) || return 1
    [ -n "$state" ] && [ "$state" != Z ]
}

stop_server() {
    local pid
    pid=$(server_pid) || { rm -f "$pidfile"; return 1; }
    kill "$pid" 2>/dev/null || true
    for _ in $(seq 50); do
        alive "$pid" || break
        sleep 0.1
    done
    ! alive "$pid" || kill -KILL "$pid" 2>/dev/null || true
    rm -f "$pidfile"
}

# answers PORT: something accepts connections on 127.0.0.1:PORT.
answers() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# page PATH: the status line and headers of a GET on the demo server, on one
# line.
page() {
    local line head=
    exec 3<>"/dev/tcp/127.0.0.1/$port" || return 1
    printf 'GET %s HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n' "$1" >&3
    while read -r -t 10 line <&3; do
        line=${line%$'\r'}
        [ -n "$line" ] || break
        head+="$line|"
    done
    exec 3<&-
    echo "$head"
}

if [ "$mode" = stop ]; then
    if stop_server; then echo "demo: server stopped"; else echo "demo: no demo server was running in $demo"; fi
    exit 0
fi

echo "== Installing what is missing"
bash scripts/deps.sh demo

echo "== Building $build/gwadmin"
mkdir -p "$demo"
if ! { cmake -S . -B "$build" && cmake --build "$build" --target gwadmin -j "$(nproc 2>/dev/null || echo 2)"; } >"$demo/build.log" 2>&1; then
    cat "$demo/build.log"
    echo "demo: the build failed" >&2
    exit 1
fi

if stop_server; then echo "== Stopped the running demo server"; fi
if answers "$port"; then
    echo "demo: something else listens on 127.0.0.1:$port; choose another port with --port N" >&2
    exit 1
fi

echo "== Sandbox device: $root"
args=()
[ -z "$model" ] || args+=(--model "$model")
[ "$reset" = no ] || args+=(--reset)
sh sandbox/make-sandbox.sh "${args[@]}" "$root" >/dev/null
saved=$(cd "$root/var/persist" && echo *)
[ "$saved" != "*" ] || saved="none (factory state)"
echo "   model $(cat "$root/etc/deviceID"); saved sets: $saved"

# gwadmin as lighttpd starts it. For a program that an alias names, lighttpd
# passes the program's own path as DOCUMENT_ROOT (and a second DOCUMENT_ROOT
# from setenv would come after it, where getenv does not look), so this
# one-line starter puts the document root right.
mkdir -p "$demo/cgi-bin"
printf '#!/bin/sh\nexport DOCUMENT_ROOT=%s\nexec %s\n' "'$repo/www'" "'$build/gwadmin'" >"$demo/cgi-bin/gwadmin"
chmod 755 "$demo/cgi-bin/gwadmin"

# The server's settings: www/ as the document root, gwadmin as the one CGI
# program, the sandbox for it in GWADMIN_ROOT. The client certificate that the
# certificate page copies to /home/httpd/vpnpeer.p12 (on the router, in the web
# server's document tree) is served from the sandbox at /vpnpeer.p12.
cat >"$conf" <<EOF
# Generated by scripts/demo.sh: the demo's web server.
server.modules = ("mod_alias", "mod_setenv", "mod_cgi", "mod_accesslog")
server.bind = "127.0.0.1"
server.port = $port
server.document-root = "$repo/www"
server.pid-file = "$pidfile"
server.errorlog = "$demo/error.log"
accesslog.filename = "$demo/access.log"
index-file.names = ("index.html")
mimetype.assign = (
    ".html" => "text/html; charset=utf-8",
    ".css" => "text/css; charset=utf-8",
    ".js" => "text/javascript; charset=utf-8",
    ".png" => "image/png",
    ".svg" => "image/svg+xml",
    ".ico" => "image/x-icon",
    ".txt" => "text/plain; charset=utf-8",
    ".pem" => "application/x-pem-file",
    ".p12" => "application/x-pkcs12",
    "" => "application/octet-stream",
)
alias.url = (
    "/cgi-bin/gwadmin" => "$demo/cgi-bin/gwadmin",
    "/vpnpeer.p12" => "$root/home/httpd/vpnpeer.p12",
)
\$HTTP["url"] =~ "^/cgi-bin/" {
    cgi.assign = ("" => "")
}
setenv.set-environment = (
    "GWADMIN_ROOT" => "$root",
    "PATH" => "/usr/local/bin:/usr/bin:/bin",
)
EOF

lighttpd -tt -f "$conf" >"$demo/lighttpd.out" 2>&1 || {
    cat "$demo/lighttpd.out" >&2
    echo "demo: lighttpd refuses its settings ($conf)" >&2
    exit 1
}

: >"$demo/error.log"
if [ "$mode" = foreground ]; then
    lighttpd -D -f "$conf" >>"$demo/lighttpd.out" 2>&1 &
    pid=$!
    # The pid file goes with this server only (a later run may have started its own).
    forget() { [ "$(cat "$pidfile" 2>/dev/null)" != "$pid" ] || rm -f "$pidfile"; }
    trap 'kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null; forget; echo; echo "demo: server stopped"; exit 0' INT TERM
else
    lighttpd -f "$conf" >>"$demo/lighttpd.out" 2>&1 || true
    pid=
fi

# Ready when gwadmin answers with the start page (a page from a template has
# a Content-Type; gwadmin's error page has none).
ready=no
for _ in $(seq 100); do
    if [ "$mode" = foreground ]; then running=$pid; else running=$(server_pid || true); fi
    if [ -n "$running" ] && alive "$running" && answers "$port" &&
        [[ $(page '/cgi-bin/gwadmin?item=0&lang=english') == "HTTP/1."?" 200 "*"|Content-Type: text/html"* ]]; then
        ready=yes
        break
    fi
    sleep 0.1
done
if [ "$ready" = no ]; then
    cat "$demo/lighttpd.out" "$demo/error.log" >&2
    stop_server || true
    echo "demo: the server did not come up on 127.0.0.1:$port" >&2
    exit 1
fi

cat <<EOF

gwadmin runs on  http://127.0.0.1:$port/

  sandbox device  $root
                  (commands run: var/log/commands; log records: var/log/messages;
                   saved sets: var/persist/)
  server          $conf (log: $demo/error.log, $demo/access.log)
EOF
if [ "$mode" = foreground ]; then
    echo "  stop            Ctrl-C"
    wait "$pid" || true
    forget
else
    if [ "$demo" = "$repo/build/demo" ]; then stop=; else stop=" --dir $demo"; fi
    echo "  stop            bash scripts/demo.sh$stop --stop"
fi
