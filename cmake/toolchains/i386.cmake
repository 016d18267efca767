# clang, because Debian's 32-bit x86 libraries for g++ cannot be installed beside its ARM compilers.
# An x86-64 machine runs these programs as they are.
set(ZEB_ARCH i386)
set(ZEB_TRIPLET i386-linux-gnu)
set(ZEB_LOADER ld-linux.so.2)
set(ZEB_EMULATOR)
set(ZEB_LINKER_FLAGS -fuse-ld=lld)

set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET i686-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
