# Cross toolchain: 32-bit ARM, hard float (Debian's armhf: ARMv7-A, VFPv3-D16,
# Thumb-2). Needs g++-arm-linux-gnueabihf (scripts/deps.sh cross).
#   cmake -S . -B build-cross-arm32 -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake
# A router with another core adds its flags, e.g. -DCMAKE_CXX_FLAGS=-mcpu=cortex-a9.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(GWADMIN_CROSS_TRIPLET arm-linux-gnueabihf)
set(GWADMIN_CROSS_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
