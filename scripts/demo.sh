#!/usr/bin/env bash
# A short tour of gwadmin off the device: builds it, makes a sandbox (a folder
# laid out like the router's file system, with stand-in tools), sends a few
# requests the way the web server would, and shows what the program printed,
# ran and logged. Nothing outside the sandbox folder is touched.
set -euo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)

echo "== Checking the build tools"
bash scripts/deps.sh

echo "== Building (build/)"
log=$(mktemp)
if ! { cmake -S . -B build && cmake --build build -j "$(nproc 2>/dev/null || echo 2)"; } >"$log" 2>&1; then
    cat "$log"
    echo "The build failed." >&2
    exit 1
fi
rm -f "$log"
exe="$repo/build/gwadmin"

work=$(mktemp -d /tmp/gwadmin-demo-XXXXXX)
root="$work/root"
bash sandbox/make-sandbox.sh "$root" >/dev/null
echo "== Sandbox (the device's \"/\"): $root"

# The document root: the project's www/ when it has the start page, else a
# small one made here.
if [ -f www/english/intro.tmpl ]; then
    docroot="$repo/www"
else
    docroot="$work/www"
    mkdir -p "$docroot/english" "$docroot/templates"
    printf 'Content-type: text/html\n\n<html><body><h1>gwadmin</h1><p>Start page of the router.</p></body></html>\n' \
        >"$docroot/english/intro.tmpl"
    printf 'Content-type: text/html\n\n<html><body><h1>{HEADLINE}</h1><pre>{MESSAGE}</pre></body></html>\n' \
        >"$docroot/english/ccstat.tmpl"
    printf 'Content-type: text/html\n\n<html><body><h1>{HEADLINE}</h1><p>{MESSAGE}</p></body></html>\n' \
        >"$docroot/templates/resultpage.tmpl"
    printf '%s\n' "netstat_head:Network status" "logstat_head:System log" "timstat_head:System time" \
        "speich_head:Save configuration" "speich_rslt:The configuration has been saved." \
        "rstart_head:Restart" "rstart_rslt:The router restarts now." >"$docroot/english/messages"
fi
echo "== Document root: $docroot"

# request METHOD QUERY [BODY]: one CGI request, as the web server starts it.
request() {
    local method=$1 query=$2 body=${3:-}
    echo
    echo "---- $method ?$query ${body:+(body: $body)}"
    env -i PATH=/usr/bin:/bin GWADMIN_ROOT="$root" DOCUMENT_ROOT="$docroot" \
        REQUEST_METHOD="$method" QUERY_STRING="$query" \
        CONTENT_TYPE=application/x-www-form-urlencoded CONTENT_LENGTH="${#body}" \
        "$exe" <<<"$body" || echo "(exit status $?)"
}

echo
echo "== Requests"
request GET "item=0"
request GET "item=22"
request POST "" "item=19&act=1"
request POST "" "item=20&act=1"

show() {
    echo
    echo "---- $1 ($2)"
    if [ -s "$root/$2" ]; then cat "$root/$2"; else echo "(empty)"; fi
}
echo
echo "== What the requests did in the sandbox"
show "commands gwadmin ran, as the device would run them" var/log/commands
show "what the stand-in tools were asked" var/log/tools
show "syslog records" var/log/messages
show "reboots the stand-in reboot recorded" var/log/reboots

cat <<EOF

== One request by hand
The sandbox and document root above stay in place ($work).
A request is one run of build/gwadmin with the CGI environment:

  GWADMIN_ROOT=$root \\
  DOCUMENT_ROOT=$docroot \\
  REQUEST_METHOD=GET QUERY_STRING=item=22 \\
  $exe

For a form post, put the body on standard input:

  echo -n 'item=19&act=1' | GWADMIN_ROOT=$root DOCUMENT_ROOT=$docroot \\
  REQUEST_METHOD=POST CONTENT_TYPE=application/x-www-form-urlencoded CONTENT_LENGTH=12 $exe

Then look at $root/var/log/commands and $root/var/log/messages.
A fresh sandbox: bash sandbox/make-sandbox.sh DIR
EOF
