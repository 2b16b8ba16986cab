#!/usr/bin/env bash
# Installs the packages that are missing (Debian, as root); does nothing when
# all are there. The arguments name package sets (none: build):
#   build   cmake, make, g++, clang, GoogleTest, valgrind: building and the
#           unit tests, and the valgrind pass over every page
#   server  lighttpd (with its CGI module, and its TLS module for the demo's
#           --https) and openssl: the web server that serves gwadmin, and the
#           tools the sandbox's stand-ins use. Installing lighttpd leaves no
#           web server running or enabled on the machine (see below).
#   demo    build + server
#   browser Chromium for the browser tests (tests/browser), and Node.js with
#           npm where the machine has no node or npm command yet (a Node.js
#           installed outside Debian's packages is used as it is)
#   cross   the cross compilers for the router's processors (32-bit ARM with
#           hard float, 64-bit ARM) with their C libraries, and qemu-user to
#           run the ARM programs on this machine (scripts/cross.sh)
# Example: bash scripts/deps.sh build server
set -euo pipefail

sets=("$@")
[ ${#sets[@]} -gt 0 ] || sets=(build)

packages=()
for s in "${sets[@]}"; do
    case $s in
        build) packages+=(cmake make g++ clang libclang-rt-14-dev libgtest-dev valgrind) ;;
        server) packages+=(lighttpd lighttpd-mod-openssl openssl) ;;
        demo) packages+=(cmake make g++ clang libclang-rt-14-dev libgtest-dev valgrind lighttpd lighttpd-mod-openssl openssl) ;;
        browser)
            packages+=(chromium)
            command -v node >/dev/null 2>&1 || packages+=(nodejs)
            command -v npm >/dev/null 2>&1 || packages+=(npm)
            ;;
        cross)
            packages+=(cmake make g++-arm-linux-gnueabihf libc6-dev-armhf-cross
                       g++-aarch64-linux-gnu libc6-dev-arm64-cross qemu-user)
            ;;
        *)
            echo "deps: unknown package set '$s' (build, server, demo, browser, cross)" >&2
            exit 2
            ;;
    esac
done

missing=()
for p in "${packages[@]}"; do
    case " ${missing[*]} " in *" $p "*) continue ;; esac
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "deps: installing ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        as_root=(sudo env DEBIAN_FRONTEND=noninteractive)
    else
        echo "deps: missing ${missing[*]}, and not root to install them" >&2
        exit 1
    fi
fi
export DEBIAN_FRONTEND=noninteractive

# Installing lighttpd would start Debian's own lighttpd service on port 80 and
# enable it for every boot. The project starts its own server on the loopback
# address, so this installation leaves no service behind: services are kept
# from starting while it runs (unless the machine already has a policy for
# that), a Debian lighttpd that started all the same is stopped (only one that
# this installation started: one that ran before is left alone), and the boot
# links that the package made (systemd's and the init scripts') are turned off
# again. A lighttpd that was installed before is left as it is.
policy=/usr/sbin/policy-rc.d
made_policy=no
new_lighttpd=no
# Debian's lighttpd service: the processes that run its settings file.
service_pids() { ps -eo pid=,args= | awk '$2 ~ /lighttpd$/ && /\/etc\/lighttpd\/lighttpd\.conf/ { print $1 }'; }
case " ${missing[*]} " in
    *" lighttpd "*)
        new_lighttpd=yes
        service_before=$(service_pids | tr '\n' ' ')
        if [ ! -e "$policy" ]; then
            trap '"${as_root[@]}" rm -f "$policy"' EXIT
            printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
            "${as_root[@]}" chmod 755 "$policy"
            made_policy=yes
        fi
        ;;
esac

"${as_root[@]}" apt-get update -q </dev/null
"${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null

if [ "$made_policy" = yes ]; then
    "${as_root[@]}" rm -f "$policy"
    trap - EXIT
fi
if [ "$new_lighttpd" = yes ]; then
    for pid in $(service_pids); do
        case " $service_before " in *" $pid "*) ;; *) "${as_root[@]}" kill "$pid" 2>/dev/null || true ;; esac
    done
    # Off at boot: update-rc.d removes systemd's link (the package's record of
    # it then says "not enabled", so an upgrade does not enable it again) and
    # turns the init script's start links into stop links (so that an upgrade
    # adds no start links either).
    "${as_root[@]}" update-rc.d lighttpd disable >/dev/null 2>&1 || true
    echo "deps: lighttpd installed; Debian's lighttpd service is not running and not enabled"
fi
