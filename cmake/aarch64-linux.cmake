# Builds for Linux on 64-bit ARM, on a machine of another kind. Macs have these processors: what the
# program computes on them can be run here, under an emulator.
#
# The compiler is Clang, as on a Mac: unlike GCC it fuses a multiplication with an addition wherever
# the processor can, which x86-64 without flags of its own cannot. Libraries come from
# HALLKORB_ARM64_ROOT, which scripts/setup.sh arm64 makes; CTest runs what was built under qemu.
set(HALLKORB_ARM64_ROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm64-root CACHE PATH
    "Libraries and headers of Linux on 64-bit ARM")
get_filename_component(arm64_root ${HALLKORB_ARM64_ROOT} ABSOLUTE)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HALLKORB_ARM64_ROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_SYSROOT ${arm64_root})
foreach(lang C CXX)
  set(CMAKE_${lang}_COMPILER_TARGET aarch64-linux-gnu)
endforeach()
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
# Linked by lld alone, for which no other binutils are needed.
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -fuse-ld=lld)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -fuse-ld=lld)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${arm64_root})
set(ENV{PKG_CONFIG_LIBDIR}
    ${arm64_root}/usr/lib/aarch64-linux-gnu/pkgconfig:${arm64_root}/usr/share/pkgconfig)

# A ccache with a base folder would let the compiler print relative paths while it is asked for its
# include folders, and CMake would get them wrong. This is for the time of the configuration only.
set(ENV{CCACHE_DISABLE} 1)

find_program(HALLKORB_QEMU qemu-aarch64)
set(CMAKE_CROSSCOMPILING_EMULATOR ${HALLKORB_QEMU} -L ${arm64_root})
