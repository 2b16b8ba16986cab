# Shared part of the cross toolchain files: Debian's cross compilers for the
# target GWADMIN_CROSS_TRIPLET, its C library under /usr/<triplet> as the
# sysroot, and qemu-user (GWADMIN_CROSS_QEMU) to run what is built on this
# machine. Included by the per-target files beside this one.
set(CMAKE_SYSTEM_NAME Linux)

set(CMAKE_C_COMPILER ${GWADMIN_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${GWADMIN_CROSS_TRIPLET}-g++)

# Libraries, headers and packages come from the target's folder only; the
# build machine's programs stay usable.
set(CMAKE_FIND_ROOT_PATH /usr/${GWADMIN_CROSS_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# How CMake runs a target program on this machine (try_run, add_test).
set(CMAKE_CROSSCOMPILING_EMULATOR ${GWADMIN_CROSS_QEMU} -L /usr/${GWADMIN_CROSS_TRIPLET})

# Only gwadmin itself is built for the target: the tests are build-machine
# programs (they run an emulated gwadmin, see scripts/cross.sh). An explicit
# -DGWADMIN_TESTS=... still wins.
set(GWADMIN_TESTS OFF CACHE BOOL "Build the test programs")
