# 32-bit ARM Linux, hard-float ABI (Debian armhf), run under qemu-arm.
set(CMAKE_SYSTEM_PROCESSOR armv7-a)
set(BODYSEG_CROSS_TRIPLET arm-linux-gnueabihf)
set(BODYSEG_CROSS_QEMU qemu-arm)
# 64-bit file offsets and inode numbers: without them readdir() and stat() fail with EOVERFLOW
# wherever a filesystem hands out values past 32 bits, as ext4 does with its directory cookies for
# a program under qemu-user. No record of the plug-in or its libraries carries such a type.
# -Wno-psabi: GCC notes wherever the passing of 64-bit members changed with GCC 7.1; every library
# here is built by GCC 12, so the note concerns nothing the build links.
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -Wno-psabi")
include(${CMAKE_CURRENT_LIST_DIR}/CrossDebian.cmake)
