# Cross build for 32-bit ARM Linux (armhf) with Debian's cross compiler and a sysroot made by scripts/fetch-sysroot armhf.
# Programs run under qemu-user, so that tests can be discovered and run here.
set(AC500_TARGET_ARCH armhf)
set(AC500_TARGET_TRIPLET arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
