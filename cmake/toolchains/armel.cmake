# Cross build for 32-bit ARM Linux (armel) with Debian's cross compiler and a sysroot made by scripts/fetch-sysroot armel.
# Programs run under qemu-user, so that tests can be discovered and run here.
set(AC500_TARGET_ARCH armel)
set(AC500_TARGET_TRIPLET arm-linux-gnueabi)
# This CPU has no 64-bit atomic operations; the library is linked where they are used.
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "-Wl,--as-needed -latomic -Wl,--no-as-needed")
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
