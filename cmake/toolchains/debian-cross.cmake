# What the two 32-bit ARM toolchains share.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE ${AC500_TARGET_TRIPLET})

get_filename_component(AC500_ROOT ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(CMAKE_SYSROOT ${AC500_ROOT}/build/sysroot/${AC500_TARGET_ARCH})

set(CMAKE_C_COMPILER ${AC500_TARGET_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${AC500_TARGET_TRIPLET}-g++)
# Leak detection stops the program with ptrace, which qemu-user does not offer. The sanitizer reads its options from the
# environment of the emulator, not from the emulated one.
set(CMAKE_CROSSCOMPILING_EMULATOR env ASAN_OPTIONS=detect_leaks=0 qemu-arm -L ${CMAKE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
