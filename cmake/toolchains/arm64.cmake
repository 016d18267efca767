set(ZEB_ARCH arm64)
set(ZEB_TRIPLET aarch64-linux-gnu)
set(ZEB_LOADER ld-linux-aarch64.so.1)
set(ZEB_EMULATOR qemu-aarch64)

set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
