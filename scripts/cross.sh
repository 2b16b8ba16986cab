#!/usr/bin/env bash
# Builds gwadmin for the router's processor with Debian's cross compilers,
# reports the program's size and lays out what goes into a firmware image in a
# staging folder, listed at the end.
#
#   bash scripts/cross.sh TARGET [--device] [--stage DIR] [--build DIR] [-- CMAKE_OPTION...]
#
#   TARGET       arm32: 32-bit ARM, hard float (arm-linux-gnueabihf)
#                arm64: 64-bit ARM (aarch64-linux-gnu)
#   --device     the device build (-DGWADMIN_DEVICE=ON); without it the sandbox
#                build. A device build is never run on this machine.
#   --stage DIR  the staging folder (default BUILD/stage), emptied first (only
#                when it is empty or an earlier staging):
#                device build  DIR/home/httpd/cgi-bin/gwadmin, DIR/home/httpd/...
#                sandbox build DIR/cgi-bin/gwadmin, DIR/...  (DIR is the document root)
#   --build DIR  the build folder (default build-cross-TARGET or build-cross-TARGET-device)
#   CMAKE_OPTION passed on to cmake, e.g. -DCMAKE_BUILD_TYPE=MinSizeRel
#
# Installs what is missing first (scripts/deps.sh cross). The program in the
# staging folder is stripped; the one in the build folder keeps its debug
# information. A sandbox build runs on this machine under qemu-user:
#   GWADMIN_ROOT=/abs/sandbox DOCUMENT_ROOT=$PWD/www QUERY_STRING=item=22 \
#       qemu-arm -L /usr/arm-linux-gnueabihf build-cross-arm32/gwadmin
# (scripts/cross-test.sh runs the end-to-end tests that way).
set -euo pipefail

cd "$(dirname "$0")/.."
repo=$(pwd)

usage() {
    sed -n '/^#   bash scripts\/cross.sh/,/^#   CMAKE_OPTION/p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit "${1:-2}"
}

[ $# -gt 0 ] || usage
target=$1
shift
case $target in
    arm32) triplet=arm-linux-gnueabihf; qemu="qemu-arm"; machine=ARM ;;
    arm64) triplet=aarch64-linux-gnu; qemu="qemu-aarch64"; machine=AArch64 ;;
    -h|--help) usage 0 ;;
    *) echo "cross: unknown target '$target' (arm32, arm64)" >&2; usage ;;
esac

device=no
stage=
build=
cmake_args=()
while [ $# -gt 0 ]; do
    case $1 in
        --device) device=yes; shift ;;
        --stage) [ $# -ge 2 ] || usage; stage=$2; shift 2 ;;
        --stage=*) stage=${1#*=}; shift ;;
        --build) [ $# -ge 2 ] || usage; build=$2; shift 2 ;;
        --build=*) build=${1#*=}; shift ;;
        --) shift; cmake_args=("$@"); break ;;
        -h|--help) usage 0 ;;
        *) usage ;;
    esac
done

if [ -z "$build" ]; then
    build=build-cross-$target
    [ "$device" = no ] || build+=-device
fi
case $build in /*) ;; *) build=$repo/$build ;; esac
[ -n "$stage" ] || stage=$build/stage
case $stage in /*) ;; *) stage=$repo/$stage ;; esac
# Only an empty folder or an earlier staging is emptied.
if [ -d "$stage" ] && [ -n "$(ls -A "$stage")" ] && [ ! -f "$stage/cgi-bin/gwadmin" ] &&
    [ ! -f "$stage/home/httpd/cgi-bin/gwadmin" ]; then
    echo "cross: $stage holds something other than a staging of gwadmin; not emptying it" >&2
    exit 2
fi
if [ "$device" = yes ]; then mode=device; dev_flag=ON; else mode=sandbox; dev_flag=OFF; fi

echo "== Installing what is missing"
bash scripts/deps.sh cross

echo "== Building gwadmin for $target ($triplet), $mode build, in $build"
mkdir -p "$build"
cmake -S "$repo" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$repo/cmake/$triplet.cmake" \
    -DGWADMIN_DEVICE=$dev_flag -DGWADMIN_TESTS=OFF "${cmake_args[@]}" >"$build/configure.log" 2>&1 || {
    cat "$build/configure.log" >&2
    echo "cross: configuring $build failed" >&2
    exit 1
}
cmake --build "$build" --target gwadmin -j "$(nproc 2>/dev/null || echo 2)"

exe=$build/gwadmin
found=$("$triplet-readelf" -h "$exe" | sed -n 's/^ *Machine: *//p')
case $found in
    *"$machine"*) ;;
    *) echo "cross: $exe is built for '$found', not $machine" >&2; exit 1 ;;
esac

echo "== Staging in $stage"
rm -rf "$stage"
mkdir -p "$stage"
if [ "$device" = yes ]; then
    install=(env DESTDIR="$stage" cmake --install "$build" --strip)
else
    install=(cmake --install "$build" --prefix "$stage" --strip)
fi
"${install[@]}" >"$build/install.log" 2>&1 || {
    cat "$build/install.log" >&2
    echo "cross: installing into $stage failed" >&2
    exit 1
}
staged=$(find "$stage" -path '*/cgi-bin/gwadmin' -type f)

# The report: the program, its size, what it needs on the router; then the
# staging folder, every entry with its mode and size.
bytes() { stat -c %s "$1"; }
needs=$("$triplet-readelf" -d "$exe" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | paste -sd ' ')
read -r text data bss _ < <("$triplet-size" "$exe" | sed -n 2p)
cat <<EOF

gwadmin for $target ($triplet, $found), $mode build
  built     ${exe#"$repo"/}: $(bytes "$exe") bytes (with debug information)
  stripped  ${staged#"$repo"/}: $(bytes "$staged") bytes (text $text, data $data, bss $bss)
  libraries ${needs:-none (static)}
  run here  $([ "$device" = yes ] && echo "never: the device build uses the real paths and tools" ||
              echo "$qemu -L /usr/$triplet ${exe#"$repo"/}")

Staging layout (${stage#"$repo"/}):
EOF
(cd "$stage" && find . -mindepth 1 \( -type l -printf '%M %8s  %P -> %l\n' \) -o -printf '%M %8s  %P\n' |
    LC_ALL=C sort -k3)
echo "  $(find "$stage" -type f | wc -l) files, $(find "$stage" -type f -printf '%s\n' | awk '{s += $1} END {print s + 0}') bytes"
