# Cross build for the controller board (ARM hard-float, Debian armhf):
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake \
#         -DOXGW_ARMHF_SYSROOT=$PWD/build-armhf/sysroot -DOXGW_BENCH=OFF
# Needs Debian's crossbuild-essential-armhf, the armhf libraries of
# GoogleTest from multiarch (/usr/lib/arm-linux-gnueabihf), and armhf ACE:
# libace-dev cannot stand beside the native one, so scripts/test --arm
# unpacks its armhf package into OXGW_ARMHF_SYSROOT. Test programs run
# under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC on ARM notes that the passing of some std::vector arguments changed in
# GCC 7.1; all of the program is built by one compiler, so it does not matter.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(OXGW_ARMHF_SYSROOT "" CACHE PATH
    "Folder with armhf packages unpacked (usr/include, usr/lib/arm-linux-gnueabihf)")
# Try-compiles are configured afresh; they need the folder too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OXGW_ARMHF_SYSROOT)

# Headers, libraries and CMake packages only from armhf places: the unpacked
# packages first (so ACE's headers are found there, not the native ones in
# /usr/include), then the cross toolchain's own root and Debian multiarch.
set(CMAKE_FIND_ROOT_PATH ${OXGW_ARMHF_SYSROOT} /usr/arm-linux-gnueabihf /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs (and the test discovery of the build) run under qemu-user,
# with the armhf C library of the cross toolchain.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)

# The package is for the board.
set(OXGW_DEB_ARCHITECTURE armhf)
