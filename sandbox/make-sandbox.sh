#!/bin/sh
# Makes a sandbox: a folder laid out like the device's file system, with
# stand-in tools and the factory-default configuration, for GWADMIN_ROOT.
# Usage: sandbox/make-sandbox.sh DIR
set -eu
if [ $# -ne 1 ] || [ -z "$1" ]; then
    echo "usage: $0 DIR" >&2
    exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1"
dir=$(cd "$1" && pwd)

for d in tmp/ulsp tmp/upload tmp/certs/config tmp/keys/ipsec tmp/keys/openvpn etc/init.d \
         home/httpd/openvpn var/log var/run proc usr/bin usr/sbin bin sbin; do
    mkdir -p "$dir/$d"
done
cp -R "$here/tools/." "$dir/"
chmod 755 "$dir"/usr/bin/* "$dir"/usr/sbin/* "$dir"/bin/* "$dir"/sbin/* "$dir"/etc/init.d/*
echo "MX-RT-210B-KORU" > "$dir/etc/deviceID"
: > "$dir/var/log/messages"

# Factory defaults: kept in etc/defaults for "load defaults", and the
# starting configuration.
if [ -d "$here/defaults" ]; then
    mkdir -p "$dir/etc/defaults"
    cp -R "$here/defaults/." "$dir/etc/defaults/"
    cp -R "$here/defaults/." "$dir/tmp/ulsp/"
fi
echo "$dir"
