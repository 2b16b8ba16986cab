#!/usr/bin/env bash
# gwadmin's benchmark: the cost of one request against the floor program.
#
#   bash bench/run.sh [--quick] [--build DIR] [--out FILE]
#
#   --quick      fewer rounds and shorter web-server runs (about a minute)
#   --build DIR  the CMake build folder to configure, build and measure
#                (default build-bench; its options are left as they are)
#   --out FILE   where the report goes (default bench/results.md)
#
# Installs what is missing (valgrind, wrk, lighttpd; as root, from Debian's
# packages), builds gwadmin and the benchmark's own programs (bench/floor.c,
# bench/drive.c), then runs bench/bench.py, which prints the report and
# writes it to FILE. The web server listens on 127.0.0.1 only, on a free port,
# and is stopped at the end.
set -euo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)
quick=
build=build-bench
out=bench/results.md
while [ $# -gt 0 ]; do
    case $1 in
        --quick) quick=--quick; shift ;;
        --build) [ $# -ge 2 ] || { echo "usage: bash bench/run.sh [--quick] [--build DIR] [--out FILE]" >&2; exit 2; }
                 build=$2; shift 2 ;;
        --out) [ $# -ge 2 ] || { echo "usage: bash bench/run.sh [--quick] [--build DIR] [--out FILE]" >&2; exit 2; }
               out=$2; shift 2 ;;
        -h|--help) sed -n '2,16p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "usage: bash bench/run.sh [--quick] [--build DIR] [--out FILE]" >&2; exit 2 ;;
    esac
done
case $build in /*) ;; *) build=$repo/$build ;; esac

missing=()
command -v cmake >/dev/null || missing+=(cmake)
command -v g++ >/dev/null || missing+=(g++)
command -v valgrind >/dev/null || missing+=(valgrind)
command -v wrk >/dev/null || missing+=(wrk)
command -v lighttpd >/dev/null || missing+=(lighttpd)
command -v python3 >/dev/null || missing+=(python3)
command -v readelf >/dev/null || missing+=(binutils)
if [ ${#missing[@]} -gt 0 ]; then
    echo "== Installing ${missing[*]}" >&2
    if [ "$(id -u)" = 0 ]; then
        apt-get update -qq >/dev/null && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
    else
        echo "bench: missing ${missing[*]}; install them (as root: apt-get install ${missing[*]})" >&2
        exit 1
    fi
fi

echo "== Building $build/gwadmin" >&2
mkdir -p "$build"
if ! { cmake -S . -B "$build" -DGWADMIN_TESTS=OFF && cmake --build "$build" --target gwadmin -j "$(nproc)"; } \
        >"$build/bench-build.log" 2>&1; then
    cat "$build/bench-build.log" >&2
    echo "bench: the build failed" >&2
    exit 1
fi
tools=$build/bench-tools
mkdir -p "$tools"
cc=$(command -v cc || command -v gcc)
"$cc" -O2 -Wall -Wextra -static -o "$tools/drive" bench/drive.c
"$cc" -O2 -Wall -Wextra -static -o "$tools/floor" bench/floor.c
"$cc" -O2 -Wall -Wextra -o "$tools/floor-dyn" bench/floor.c

exec python3 bench/bench.py --build "$build" --tools "$tools" --out "$out" $quick
