#!/usr/bin/env bash
# Installs the build and test tools that are missing (Debian, as root):
# cmake, make, g++, clang and GoogleTest. Does nothing when all are there.
set -euo pipefail

packages=(cmake make g++ clang libgtest-dev)
missing=()
for p in "${packages[@]}"; do
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
"${as_root[@]}" apt-get update -q </dev/null
"${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
