#!/usr/bin/env bash
# gwadmin under valgrind: one show and one apply request of every page that
# has handlers, each a run of its own on one sandbox device, in page order.
# A request passes when valgrind finds no invalid access, no use of
# uninitialised memory and no leak ("definitely" or "indirectly" lost), and
# gwadmin exits with status 0. Memory still reachable at exit (the C and C++
# runtimes' own buffers, the environment) is no leak and is not counted;
# "possibly lost" blocks are reported in the log but do not fail a request.
#
#   bash scripts/valgrind.sh [--build DIR]
#
# Builds gwadmin in build-valgrind/ (a debug build, linked dynamically, as
# valgrind wants it; --build names another folder, or $GWADMIN_VALGRIND_BUILD),
# makes a fresh sandbox device in DIR/valgrind/root with sandbox/make-sandbox.sh
# and serves the pages from www/. Each request leaves in DIR/valgrind/logs/ its
# valgrind report NAME.log, its page NAME.out and its standard error NAME.err.
# GWADMIN_VALGRIND_OPTIONS adds valgrind options (--track-origins=yes to find
# where an uninitialised value came from). Prints one line per request and
# ends with "valgrind: N passed, M failed"; exits non-zero when any failed.
#
# Not requested: the restart's apply (item 20, it reboots) and the factory
# defaults' apply (item 38); items without handlers print their template as it
# is. The apply of the OpenVPN page is a multipart form with an upload.
set -uo pipefail

cd "$(dirname "$0")/.." || exit 1
repo=$(pwd)
build=${GWADMIN_VALGRIND_BUILD:-build-valgrind}
while [ $# -gt 0 ]; do
    case $1 in
        --build) [ $# -ge 2 ] || { echo "usage: $0 [--build DIR]" >&2; exit 2; }; build=$2; shift 2 ;;
        *) echo "usage: $0 [--build DIR]" >&2; exit 2 ;;
    esac
done

read -r -a extra <<< "${GWADMIN_VALGRIND_OPTIONS:-}"
bash scripts/deps.sh build || { echo "valgrind: could not install the build tools" >&2; exit 1; }
if ! command -v valgrind > /dev/null; then
    echo "valgrind: not installed (apt-get install valgrind)" >&2
    echo "valgrind: 0 passed, 1 failed"
    exit 1
fi
if ! cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DGWADMIN_LINK=dynamic -DGWADMIN_TESTS=OFF -DGWADMIN_ARENA=OFF > /dev/null ||
    ! cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target gwadmin > /dev/null; then
    echo "valgrind: the build in $build failed" >&2
    echo "valgrind: 0 passed, 1 failed"
    exit 1
fi
exe=$repo/$build/gwadmin
work=$repo/$build/valgrind
rm -rf "$work"
mkdir -p "$work/logs"
root=$(sh sandbox/make-sandbox.sh "$work/root") || { echo "valgrind: no sandbox" >&2; exit 1; }

passed=0
failed=0

# run NAME METHOD ITEM QUERY [BODY [CONTENT_TYPE]]: one request under valgrind.
run() {
    local name=$1 method=$2 item=$3 query=$4 body=${5-} type=${6:-application/x-www-form-urlencoded}
    local log=$work/logs/$name.log input=$work/logs/$name.in
    printf '%s' "$body" > "$input"
    env -i PATH=/usr/bin:/bin GWADMIN_ROOT="$root" DOCUMENT_ROOT="$repo/www" REQUEST_METHOD="$method" \
        QUERY_STRING="$query" CONTENT_TYPE="$([ "$method" = POST ] && echo "$type")" \
        CONTENT_LENGTH="$([ "$method" = POST ] && printf '%s' "$body" | wc -c)" \
        valgrind -q --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect \
        --show-leak-kinds=definite,indirect,possible --child-silent-after-fork=yes "${extra[@]}" \
        --log-file="$log" "$exe" < "$input" > "$work/logs/$name.out" 2> "$work/logs/$name.err"
    local status=$?
    if [ "$status" -eq 0 ]; then
        passed=$((passed + 1))
        printf 'ok     %-6s item %-2s %s%s\n' "$method" "$item" "$name" \
            "$([ -s "$log" ] && echo " (notes in $log)")"
    else
        failed=$((failed + 1))
        local why="gwadmin exited with status $status"
        [ "$status" -eq 99 ] && why="valgrind found errors"
        printf 'FAILED %-6s item %-2s %s: %s, see %s\n' "$method" "$item" "$name" "$why" "$log"
    fi
}
show() { run "$2-show" GET "$1" "item=$1"; }
apply() { run "$2-apply" POST "$1" "" "item=$1&act=1&$3"; }

show 1 update
apply 1 update "updt_protocol=http&updt_svr=update.example.com&updt_path=/fw&updt_file=fw.bin"
show 2 time
apply 2 time "time_clt=yes&timemode=man&jahr=2026&monat=01&tag=05&std=07&min=04&sek=09"
show 3 dns
apply 3 dns "Forwarder=1.1.1.1&hostlist=nas.lan+printer.lan&iplist=192.168.0.2+192.168.0.3"
show 6 debug
apply 6 debug "remoteLog=yes&syslog_remote_ip=192.168.0.9&syslog_remote_port=514"
show 7 modint
apply 7 modint "Modemtype=gsm&INT_pin=1234&INT_pinAT=AT%2BCGDCONT&INT_msn=&INT_country=49&EXT_pin=&EXT_country=49"
show 9 diaout
apply 9 diaout "dialout_dev=internal&Cmnd=ATZ&Timeout=300&doutnum=3&doutdelay=30&numberlist=0123+0456&userlist=u1+u2&passlist=p1+p2&namelist=isp1+isp2"
show 10 dyndns
apply 10 dyndns "DDNS_Provider=dyndns.org&DDNS_Host=gw.example.org&DDNS_User=user&DDNS_Pass=secret"
show 11 dialin
apply 11 dialin "dialin_dev=internal&masq=yes&initat=ATZ&localip=10.0.0.1&peerip=10.0.0.2&user=dial&pass=secret"
show 18 portfi
apply 18 portfi "denyportlist=23+135&denyrulelist=deny+deny"
show 19 speich
apply 19 speich ""
show 20 rstart
show 22 netstat
apply 22 netstat ""
show 24 basis
apply 24 basis "Hostname=gw&Domainname=lan&ETH0_mode=static&ETH0_ip=192.168.0.1&ETH0_prefix=24&ETH0_masq=no&ETH1_mode=dhcp&Kennwort=secret&KennwortRe=secret"
show 26 vpnca
apply 26 vpnca "cert_type=auth&common=Router+CA&org_unit=ou&orga=Example&locatio=Town&region=Region&email=admin%40example.org&country=DE&so_pass=capass"
show 27 mgcert
apply 27 mgcert "numblist=1&statelist=V&so_pwd=capass"
show 28 vmp
apply 28 vmp "ip2mlist=192.168.1.0&m2iplist=10.1.1.0"
show 29 ipsec
apply 29 ipsec "ipsmode=gateway&ipsec_interface=eth1&ipsec_natt=yes&peerlist=alpha+beta&keylist=k1+k2&ipsecgateway=yes&startaddress=10.1.0.1&endaddress=10.1.0.9&netmask=255.255.0.0&dns=10.1.0.1&wins=&l2tp_service=yes&rwpppaddr=10.2.0.1&rwpppfrom=10.2.0.10&rwpppto=10.2.0.20&rwpppmsdns=&rwpppmswins=&chap_user=l2tp&l2tp_pass=secret"
show 30 statrt
apply 30 statrt "default_GW_itf=eth1&routelist=10.1.0.0%2F16&gwaylist=192.168.0.254&masqlist=yes"
show 31 portfw
apply 31 portfw "portlist=8080&protlist=tcp&targetlist=192.168.0.10%3A80"
show 32 blwhit
apply 32 blwhit "hostlist=10.0.0.9&protlist=tcp&portlist=22"
show 35 dsl
apply 35 dsl "enabled=yes&user=dsluser&password=secret&proto=pppoe&nterface=eth1&idletime=0&demand=no&lcpfail=3&lcpint=20&connnumber=1&connpoll=5"
show 36 fwruls
apply 36 fwruls "actlist=ACCEPT&srchostlist=any&dsthostlist=192.168.0.10&protlist=tcp&srcportlist=any&dstportlist=80"
show 37 dhcps
apply 37 dhcps "dhcps_interface=eth0&dhcplease=86400&dhcpfromaddr=192.168.0.100&dhcptoaddr=192.168.0.199&dhcpmask=255.255.255.0&dhcpgateway=192.168.0.1&dhcpdns=192.168.0.1&dhcpdomain=lan"
show 38 facdef
show 39 snmp
apply 39 snmp "sysname=gw&contact=admin&location=lab&rocomm=public&rwcomm=private&trapcomm=trap&sinklist=192.168.0.5&v3name=snmpuser&authtype=MD5&privprot=DES"
show 43 logstat
apply 43 logstat ""
show 44 timstat
apply 44 timstat ""
show 45 ospf
apply 45 ospf "ospf_service=yes&rname=gw&if1=yes&hello1=10&dead1=40&nettyp1=broadcast&prio1=1&if2=no&authkey=key&Zebra_Pass=zebra&Zebra_PassRe=zebra"
show 46 ovpn
b=----gwadmin
ovpn=""
for f in item=46 act=1 vpnmode=client ovpn_interface=eth1 vpnprot=udp vport=1194 kompress=yes \
    remote_host=vpn.example.org remote_port=1194 x509pwd=secret; do
    ovpn+="--$b"$'\r\n'"Content-Disposition: form-data; name=\"${f%%=*}\""$'\r\n\r\n'"${f#*=}"$'\r\n'
done
ovpn+="--$b"$'\r\n'"Content-Disposition: form-data; name=\"certfile\"; filename=\"client.p12\""$'\r\n'
ovpn+="Content-Type: application/x-pkcs12"$'\r\n\r\n'"PKCS12 data"$'\r\n'"--$b--"$'\r\n'
run ovpn-apply POST 46 "" "$ovpn" "multipart/form-data; boundary=$b"
show 48 distat
apply 48 distat "dim=yes&di1hl=yes&di1lh=no&di2hl=no&di2lh=yes"
show 49 ovpnstatus
apply 49 ovpnstatus ""

echo "valgrind: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
