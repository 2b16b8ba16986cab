#!/bin/sh
# Makes a sandbox for GWADMIN_ROOT: a folder laid out like the device's file
# system, with stand-in tools (sandbox/tools) and the factory-default
# configuration (sandbox/defaults), and "boots" it.
#
# Usage: sandbox/make-sandbox.sh [--model NAME] [--reset] DIR
#   --model NAME  the device model in etc/deviceID: MX-RT-210B-KORU (no
#                 internal modem, the default for a new sandbox),
#                 MX-RT-210B-AN-KORU, MX-RT-210B-ISDN-KORU, MX-RT-210B-GSM-KORU
#   --reset       start from the factory state: DIR is emptied first (the
#                 model stays unless --model names another)
#
# Like the device, the sandbox keeps the sets that "save" made permanent
# (config, openvpn, certs, ipsec) in var/persist/. Running this script on an
# existing sandbox is a restart of the device: the tools and factory files are
# renewed, and the volatile folders (tmp/, home/httpd/openvpn, var/run) start
# again from the saved sets, or from the factory state where nothing was
# saved. Logs under var/log are kept. The digital inputs' state, proc/qx_di,
# is made with "1" (input 1 on, input 2 off) when missing, so after --reset
# too; a state written by hand stays otherwise. Prints the sandbox's absolute
# path.
set -eu

usage() {
    echo "usage: $0 [--model NAME] [--reset] DIR" >&2
    exit 2
}
model=
reset=no
dir=
while [ $# -gt 0 ]; do
    case $1 in
        --model) [ $# -ge 2 ] || usage; model=$2; shift 2 ;;
        --reset) reset=yes; shift ;;
        -*) usage ;;
        *) [ -z "$dir" ] || usage; dir=$1; shift ;;
    esac
done
[ -n "$dir" ] || usage
case $model in
    ''|MX-RT-210B-KORU|MX-RT-210B-AN-KORU|MX-RT-210B-ISDN-KORU|MX-RT-210B-GSM-KORU) ;;
    *)
        echo "$0: unknown model '$model' (MX-RT-210B-KORU, MX-RT-210B-AN-KORU," \
            "MX-RT-210B-ISDN-KORU, MX-RT-210B-GSM-KORU)" >&2
        exit 2
        ;;
esac
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)

# A folder that is neither empty nor a sandbox is never emptied.
if [ "$reset" = yes ] && [ -n "$(ls -A "$dir")" ]; then
    if [ ! -f "$dir/etc/deviceID" ]; then
        echo "$0: $dir is not a sandbox; not emptied" >&2
        exit 1
    fi
    [ -n "$model" ] || model=$(head -n 1 "$dir/etc/deviceID")
    find "$dir" -mindepth 1 -maxdepth 1 -exec rm -rf {} +
fi

# The device's folders, the stand-in tools and the factory files.
for d in etc/init.d etc/defaults home/httpd var/log var/run var/persist proc \
         usr/bin usr/sbin bin sbin; do
    mkdir -p "$dir/$d"
done
cp -R "$here/tools/." "$dir/"
[ -e "$dir/proc/qx_di" ] || echo 1 > "$dir/proc/qx_di"
chmod 755 "$dir"/usr/bin/* "$dir"/usr/sbin/* "$dir"/bin/* "$dir"/sbin/* "$dir"/etc/init.d/*
if [ -n "$model" ] || [ ! -s "$dir/etc/deviceID" ]; then
    echo "${model:-MX-RT-210B-KORU}" > "$dir/etc/deviceID"
fi
rm -rf "$dir/etc/defaults"
mkdir -p "$dir/etc/defaults"
if [ -d "$here/defaults" ]; then cp -R "$here/defaults/." "$dir/etc/defaults/"; fi

# The request configuration files the certificate tool takes the subjects from
# (OpenSSL "req" syntax; the certificate page edits the *_default lines).
req_config() {
    cat <<EOF
# OpenSSL request settings: $1
[ req ]
default_bits                    = 2048
default_md                      = sha256
distinguished_name              = req_distinguished_name

[ req_distinguished_name ]
countryName                     = Country Name (2 letter code)
countryName_default             = DE
countryName_min                 = 2
countryName_max                 = 2
stateOrProvinceName             = State or Province Name
stateOrProvinceName_default     = 
localityName                    = Locality Name
localityName_default            = 
0.organizationName              = Organization Name
0.organizationName_default      = 
organizationalUnitName          = Organizational Unit Name
organizationalUnitName_default  = 
commonName                      = Common Name
commonName_default              = $2
commonName_max                  = 64
emailAddress                    = Email Address
emailAddress_default            = admin@gateway.localdomain
emailAddress_max                = 64
EOF
}

# The start: the volatile folders afresh, then the saved sets over them.
rm -rf "$dir/tmp" "$dir/home/httpd/openvpn" "$dir/var/run"
for d in tmp/ulsp tmp/upload tmp/certs/config tmp/keys/ipsec tmp/keys/openvpn \
         home/httpd/openvpn var/run; do
    mkdir -p "$dir/$d"
done
cp -R "$dir/etc/defaults/." "$dir/tmp/ulsp/"
req_config "the certificate authority" "Router CA" > "$dir/tmp/certs/config/RouterCA.config"
req_config "the gateway certificate" "gateway" > "$dir/tmp/certs/config/VPNServer.config"
req_config "peer certificates" "vpnpeer" > "$dir/tmp/certs/config/VPNClient.config"
: > "$dir/tmp/certs/index.txt"
for set in config openvpn certs ipsec; do
    if [ -d "$dir/var/persist/$set" ]; then
        for p in $("$dir/usr/sbin/save" --paths "$set"); do
            rm -rf "${dir:?}/$p"
            mkdir -p "$dir/$p"
            cp -R "$dir/var/persist/$set/$p/." "$dir/$p/"
        done
    fi
done
touch "$dir/var/log/messages"
if [ -n "$(ls -A "$dir/var/persist")" ]; then
    echo "6 sandbox: started from the saved sets: $(ls "$dir/var/persist" | tr '\n' ' ')" \
        >> "$dir/var/log/messages"
else
    echo "6 sandbox: started in the factory state" >> "$dir/var/log/messages"
fi
echo "$dir"
