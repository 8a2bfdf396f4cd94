# 64-bit ARM Linux (Debian arm64), run under qemu-aarch64.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(BODYSEG_CROSS_TRIPLET aarch64-linux-gnu)
set(BODYSEG_CROSS_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/CrossDebian.cmake)
