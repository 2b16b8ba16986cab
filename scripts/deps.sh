#!/usr/bin/env bash
# Installs the packages that are missing (Debian, as root); does nothing when
# all are there. The arguments name package sets (none: build):
#   build   cmake, make, g++, clang, GoogleTest, valgrind: building and the
#           unit tests, and the valgrind pass over every page
#   server  lighttpd (with its CGI module) and openssl: the web server that
#           serves gwadmin, and the tools the sandbox's stand-ins use
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
        build) packages+=(cmake make g++ clang libgtest-dev valgrind) ;;
        server) packages+=(lighttpd openssl) ;;
        demo) packages+=(cmake make g++ clang libgtest-dev valgrind lighttpd openssl) ;;
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

# Installing lighttpd would start Debian's own lighttpd service on port 80.
# The project starts its own server on the loopback address, so services are
# kept from starting during the installation (unless the machine already has
# a policy for that).
policy=/usr/sbin/policy-rc.d
made_policy=no
case " ${missing[*]} " in
    *" lighttpd "*)
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
