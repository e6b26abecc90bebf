# The phone: ARM11 (ARMv6), 32-bit, soft-float EABI (Debian armel).
# Programs are linked static, so the phone needs nothing beside them and
# qemu-arm runs them here without a library path.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_STRIP arm-linux-gnueabi-strip CACHE FILEPATH "")

# 64-bit file offsets and inode numbers: the 32-bit readdir and stat fail
# with EOVERFLOW on any entry whose directory offset or inode does not fit in
# 32 bits, as on ext4 (hashed offsets) under a 64-bit kernel, which is what
# qemu-arm runs on; a directory then reads as empty.
set(CMAKE_C_FLAGS_INIT "-march=armv6 -mfloat-abi=soft -D_FILE_OFFSET_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "-march=armv6 -mfloat-abi=soft -D_FILE_OFFSET_BITS=64")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
# ARMv6 has no 64-bit atomic instructions: libatomic provides them.
set(CMAKE_C_STANDARD_LIBRARIES "-latomic")
set(CMAKE_CXX_STANDARD_LIBRARIES "-latomic")

# No binfmt handler runs ARM programs on the build machine: ctest and every
# test that starts a program name the emulator (FTM_EMULATOR in the tests).
find_program(FTM_QEMU_ARM qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${FTM_QEMU_ARM})

# Libraries for ARM: the cross toolchain's libc, and the static libpng, zlib,
# libjpeg and json headers that scripts/setup.sh unpacks from Debian's armel
# packages (the mirror's armel and amd64 indexes disagree, so apt cannot
# install them as multiarch packages).
set(FTM_ARMEL_SYSROOT /opt/ftmd-armel CACHE PATH "Debian armel packages unpacked by scripts/setup.sh")
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabi ${FTM_ARMEL_SYSROOT})
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Static archives only: there is no ARM libpng.so to load on the phone.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
