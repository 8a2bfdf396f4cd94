# Shared by the ARM toolchain files: Debian's cross compiler for BODYSEG_CROSS_TRIPLET, the ARM
# builds of the dependencies from the sysroot scripts/cross-setup.sh unpacks, and qemu user-mode
# emulation for every program the build or CTest runs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${BODYSEG_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${BODYSEG_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${BODYSEG_CROSS_TRIPLET})

get_filename_component(BODYSEG_CROSS_SYSROOT
    "${CMAKE_CURRENT_LIST_DIR}/../../.cache/cross/${BODYSEG_CROSS_TRIPLET}/sysroot" ABSOLUTE)
if(NOT EXISTS "${BODYSEG_CROSS_SYSROOT}/.packages")
    message(FATAL_ERROR "no ${BODYSEG_CROSS_TRIPLET} sysroot: run scripts/cross-setup.sh")
endif()

# Libraries, headers and package files only from the sysroot; programs (flatc) from this machine.
set(CMAKE_FIND_ROOT_PATH ${BODYSEG_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The architecture's own headers (jconfig.h) sit in the multiarch directory, which the compiler
# looks for on this machine only.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${BODYSEG_CROSS_SYSROOT}/usr/include/${BODYSEG_CROSS_TRIPLET})
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${BODYSEG_CROSS_SYSROOT}/usr/include/${BODYSEG_CROSS_TRIPLET})

# The C library comes with the compiler; the sysroot's libraries need each other at link time.
set(_bodyseg_rpath_link
    "-Wl,-rpath-link,${BODYSEG_CROSS_SYSROOT}/usr/lib/${BODYSEG_CROSS_TRIPLET}:${BODYSEG_CROSS_SYSROOT}/lib/${BODYSEG_CROSS_TRIPLET}")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${_bodyseg_rpath_link})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${_bodyseg_rpath_link})

# The prefix goes through the environment rather than qemu's -L so that the ARM programs a test
# starts (through the binfmt handlers) find the same libraries as the test itself.
set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/bin/env QEMU_LD_PREFIX=${BODYSEG_CROSS_SYSROOT} /usr/bin/${BODYSEG_CROSS_QEMU})
