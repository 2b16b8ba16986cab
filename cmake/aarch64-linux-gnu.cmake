# Cross toolchain: 64-bit ARM (AArch64, ARMv8-A). Needs g++-aarch64-linux-gnu
# (scripts/deps.sh cross).
#   cmake -S . -B build-cross-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(GWADMIN_CROSS_TRIPLET aarch64-linux-gnu)
set(GWADMIN_CROSS_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
