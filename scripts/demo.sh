#!/usr/bin/env bash
# The demo: gwadmin behind a real web server, on a sandbox device.
# Installs what is missing (scripts/deps.sh demo: the build tools, lighttpd
# with its TLS module, openssl), builds build/gwadmin, makes (or restarts) the
# sandbox device build/demo/root, and starts lighttpd on the loopback address
# with www/ as its document root and gwadmin as /cgi-bin/gwadmin. Like the
# router's web server it asks for a login before any page or file: user admin,
# checked against the administrator password that the basic settings page
# stores. Prints the URL and the login once the server answers.
#
#   bash scripts/demo.sh [--port N] [--model NAME] [--reset] [--foreground]
#                        [--dir DIR] [--build DIR] [--no-build] [--https]
#                        [--ca-pass PASS]
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
#   --no-build     serve the gwadmin that the build folder holds, unbuilt
#   --https        serve over HTTPS, with a server certificate that the
#                  device's own certificate authority issues (the one the
#                  certificate authority page made), or a self-signed one while
#                  the device has none
#   --ca-pass PASS the password of the device's certificate authority, which
#                  its key needs to issue the server certificate (also
#                  $GWADMIN_DEMO_CA_PASS); without it, or with a wrong one, the
#                  certificate is self-signed
#   --foreground   stay in the foreground; Ctrl-C stops the server
#   --stop         stop the demo server and exit
#
# A running demo server is stopped and started again. Like the router after a
# restart, the sandbox then starts from the sets that were saved (the save
# page, item 19); settings applied but not saved are gone.
#
# The login is checked against DIR/htpasswd, which DIR/login-sync writes from
# SYSTEM_USER_PASS of the sandbox's tmp/ulsp/system.config (the MD5-crypt hash
# the basic settings page stores): at the start, and after every run of
# gwadmin, so a changed password counts from the next request on. Only such a
# hash lets anybody in: an empty or broken one refuses every login. A sandbox
# changed by other means while the server runs (make-sandbox.sh --reset, an
# edited system.config) counts once DIR/login-sync has run.
set -euo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)

usage() {
    sed -n '/^#   bash scripts\/demo.sh \[/,/^#   --stop/p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit "${1:-2}"
}

# The administrator and the factory password (its hash is SYSTEM_USER_PASS in
# sandbox/defaults/system.config).
user=admin
factory_password=admin

port=${GWADMIN_DEMO_PORT:-8080}
demo=${GWADMIN_DEMO_DIR:-build/demo}
build=${GWADMIN_DEMO_BUILD:-build}
ca_pass=${GWADMIN_DEMO_CA_PASS-}
unset GWADMIN_DEMO_CA_PASS  # not for the server and its programs
model=
reset=no
https=no
mode=background
make=yes
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
        --ca-pass) [ $# -ge 2 ] || usage; ca_pass=$2; shift 2 ;;
        --ca-pass=*) ca_pass=${1#*=}; shift ;;
        --https) https=yes; shift ;;
        --no-build) make=no; shift ;;
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
htpasswd=$demo/htpasswd
tls=$demo/tls
if [ "$https" = yes ]; then scheme=https; else scheme=http; fi

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

# page PATH [PASSWORD]: the status line and headers of a GET on the demo
# server (over TLS with --https; with PASSWORD, logged in as the
# administrator), on one line.
page() {
    local request line head=
    request="GET $1 HTTP/1.0"$'\r\n'"Host: 127.0.0.1"$'\r\n'
    if [ $# -ge 2 ]; then
        request+="Authorization: Basic $(printf '%s:%s' "$user" "$2" | openssl base64 -A)"$'\r\n'
    fi
    request+=$'\r\n'
    if [ "$https" = yes ]; then
        printf '%s' "$request" | timeout 10 openssl s_client -quiet -connect "127.0.0.1:$port" 2>/dev/null
    else
        exec 3<>"/dev/tcp/127.0.0.1/$port" || return 1
        printf '%s' "$request" >&3
        timeout 10 cat <&3
        exec 3<&-
    fi | {
        while read -r line; do
            line=${line%$'\r'}
            [ -n "$line" ] || break
            head+="$line|"
        done
        echo "$head"
    }
}

# setting FILE KEY: a value of the sandbox's running configuration.
setting() {
    sed -n "s/^$2='\\(.*\\)'\$/\\1/p" "$root/tmp/ulsp/$1" 2>/dev/null | head -n 1
}

# factory_login: the stored password hash is the factory password's.
factory_login() {
    local hash
    hash=$(setting system.config SYSTEM_USER_PASS)
    [[ $hash =~ ^\$1\$([./0-9A-Za-z]{0,8})\$[./0-9A-Za-z]{22}$ ]] &&
        [ "$(openssl passwd -1 -salt "${BASH_REMATCH[1]}" -- "$factory_password")" = "$hash" ]
}

# device_name: the sandbox device's name, HOSTNAME.DOMAIN_NAME of its
# network.config (where they make a DNS name; "gateway" otherwise).
device_name() {
    local host domain
    host=$(setting network.config HOSTNAME)
    domain=$(setting network.config DOMAIN_NAME)
    [[ $host =~ ^[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?$ ]] || host=gateway
    if [[ $domain =~ ^[A-Za-z0-9]([A-Za-z0-9.-]{0,200}[A-Za-z0-9])?$ ]]; then
        echo "$host.$domain"
    else
        echo "$host"
    fi
}

# make_certificate: the server's key and certificate for the device's name in
# $tls (server.key; server.pem, the certificate followed by the authority's
# when the authority issued it). The server has a key of its own. The device's
# certificate authority (tmp/certs of the sandbox, as the certificate
# authority page makes it) signs it when there is one and its key opens; its
# index and serial stay untouched (the server's certificate is no certificate
# of the device's VPN). Otherwise the certificate is self-signed. Sets
# $certificate to what the start-up message says about it.
make_certificate() {
    local name ca=$root/tmp/certs/cacert.pem cakey=$root/tmp/certs/private/cakey.pem reason alt
    name=$(device_name)
    alt="DNS:$name"
    [ "${name%%.*}" = "$name" ] || alt+=", DNS:${name%%.*}"
    rm -rf "$tls"
    mkdir -m 700 "$tls"
    cat >"$tls/server.cnf" <<EOF
[ req ]
distinguished_name = dn
[ dn ]
[ server ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, keyEncipherment
extendedKeyUsage = serverAuth
subjectKeyIdentifier = hash
subjectAltName = $alt, DNS:localhost, IP:127.0.0.1
EOF
    # The authority's password reaches openssl through the environment, not
    # its command line.
    ca_openssl() { GWADMIN_DEMO_CA_PASS=$ca_pass openssl "$@" -passin env:GWADMIN_DEMO_CA_PASS; }
    local log=$tls/openssl.log
    if ! openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$tls/server.key" 2>"$log"; then
        reason=
    elif [ ! -f "$ca" ] || [ ! -f "$cakey" ]; then
        reason="the device has no certificate authority yet (the certificate authority page makes one)"
    elif ! ca_openssl pkey -in "$cakey" -noout 2>>"$log"; then
        if [ -z "$ca_pass" ]; then
            reason="the key of the device's certificate authority needs its password (--ca-pass PASS)"
        else
            reason="the key of the device's certificate authority does not open with the password given"
        fi
    elif openssl req -new -key "$tls/server.key" -subj "/CN=$name" -config "$tls/server.cnf" \
            -out "$tls/server.csr" 2>>"$log" &&
        ca_openssl x509 -req -in "$tls/server.csr" -CA "$ca" -CAkey "$cakey" \
            -set_serial "0x$(openssl rand -hex 16)" -days 825 -sha256 \
            -extfile "$tls/server.cnf" -extensions server -out "$tls/server.crt" 2>>"$log"; then
        cat "$tls/server.crt" "$ca" >"$tls/server.pem"
        certificate="for $name, issued by the device's certificate authority ($(openssl x509 -in "$ca" \
            -noout -subject -nameopt oneline,-esc_msb | sed 's/^subject= *//'))"
        return 0
    else
        reason="the device's certificate authority could not issue it (see $log)"
    fi
    if [ -z "$reason" ] || ! openssl req -x509 -new -key "$tls/server.key" -subj "/CN=$name" -days 825 \
            -sha256 -config "$tls/server.cnf" -extensions server -out "$tls/server.pem" 2>>"$log"; then
        cat "$log" >&2
        echo "demo: could not make the server certificate" >&2
        exit 1
    fi
    certificate="for $name, self-signed: $reason"
}

if [ "$mode" = stop ]; then
    if stop_server; then echo "demo: server stopped"; else echo "demo: no demo server was running in $demo"; fi
    exit 0
fi

echo "== Installing what is missing"
bash scripts/deps.sh demo

mkdir -p "$demo"
if [ "$make" = no ]; then
    [ -x "$build/gwadmin" ] || { echo "demo: no $build/gwadmin to serve (--no-build)" >&2; exit 1; }
else
    echo "== Building $build/gwadmin"
    if ! { cmake -S . -B "$build" && cmake --build "$build" --target gwadmin -j "$(nproc 2>/dev/null || echo 2)"; } >"$demo/build.log" 2>&1; then
        cat "$demo/build.log"
        echo "demo: the build failed" >&2
        exit 1
    fi
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

# The login's password file, in step with the stored hash: the administrator
# with the MD5-crypt hash SYSTEM_USER_PASS of system.config, or nobody when it
# is empty or no such hash. Written whole and renamed over the old one, so the
# server never reads half a file.
cat >"$demo/login-sync" <<EOF
#!/bin/sh
# Generated by scripts/demo.sh: the demo server's login ($htpasswd) from the
# administrator's password hash in $root/tmp/ulsp/system.config.
umask 077
hash=\$(sed -n "s/^SYSTEM_USER_PASS='\\(.*\\)'\\\$/\\1/p" '$root/tmp/ulsp/system.config' 2>/dev/null | head -n 1)
printf '%s\\n' "\$hash" | grep -Eqx '[\$]1[\$][./0-9A-Za-z]{0,8}[\$][./0-9A-Za-z]{22}' || hash=
{ [ -z "\$hash" ] || printf '%s:%s\\n' '$user' "\$hash"; } >'$htpasswd'.new\$\$ &&
    mv -f '$htpasswd'.new\$\$ '$htpasswd'
EOF
chmod 755 "$demo/login-sync"
"$demo/login-sync"

# gwadmin as lighttpd starts it. For a program that an alias names, lighttpd
# passes the program's own path as DOCUMENT_ROOT (and a second DOCUMENT_ROOT
# from setenv would come after it, where getenv does not look), so this
# starter puts the document root right. After each run it brings the login in
# step with the password that the run may have changed.
mkdir -p "$demo/cgi-bin"
cat >"$demo/cgi-bin/gwadmin" <<EOF
#!/bin/sh
export DOCUMENT_ROOT='$repo/www'
'$build/gwadmin'
status=\$?
'$demo/login-sync' </dev/null >/dev/null
exit \$status
EOF
chmod 755 "$demo/cgi-bin/gwadmin"

certificate=
[ "$https" = no ] || make_certificate

# The server's settings: www/ as the document root, gwadmin as the one CGI
# program, the sandbox for it in GWADMIN_ROOT. The client certificate that the
# certificate page copies to /home/httpd/vpnpeer.p12 (on the router, in the web
# server's document tree) is served from the sandbox at /vpnpeer.p12. Every
# path asks for the login (HTTP basic authentication).
modules='"mod_auth", "mod_authn_file", "mod_alias", "mod_setenv", "mod_cgi", "mod_accesslog"'
[ "$https" = no ] || modules="\"mod_openssl\", $modules"
cat >"$conf" <<EOF
# Generated by scripts/demo.sh: the demo's web server.
server.modules = ($modules)
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
auth.backend = "htpasswd"
auth.backend.htpasswd.userfile = "$htpasswd"
auth.require = ("/" => ("method" => "basic", "realm" => "gwadmin", "require" => "user=$user"))
EOF
if [ "$https" = yes ]; then
    cat >>"$conf" <<EOF
ssl.engine = "enable"
ssl.pemfile = "$tls/server.pem"
ssl.privkey = "$tls/server.key"
EOF
fi

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

# Ready when the server asks for the login and, while the factory password is
# the stored one, gwadmin answers it with the start page (a page from a
# template has a Content-Type; gwadmin's error page has none).
start='/cgi-bin/gwadmin?item=0&lang=english'
if factory_login; then login="password $factory_password"; else login=; fi
ready=no
for _ in $(seq 100); do
    if [ "$mode" = foreground ]; then running=$pid; else running=$(server_pid || true); fi
    if [ -n "$running" ] && alive "$running" && answers "$port" &&
        [[ $(page "$start") == "HTTP/1."?" 401 "*"|WWW-Authenticate: Basic realm=\"gwadmin\""* ]] &&
        { [ -z "$login" ] ||
            [[ $(page "$start" "$factory_password") == "HTTP/1."?" 200 "*"|Content-Type: text/html"* ]]; }; then
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
[ -n "$login" ] || login="the password set on the basic settings page (the factory password $factory_password was changed)"

cat <<EOF

gwadmin runs on  $scheme://127.0.0.1:$port/

  login           user $user, $login
EOF
[ "$https" = no ] || echo "  certificate     $certificate"
cat <<EOF
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
