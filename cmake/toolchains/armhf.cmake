# 32-bit ARM, the target: the compiler's defaults are those of Debian armhf (ARMv7-A, Thumb-2,
# VFPv3-D16, hard-float calls), which every Cortex-A runs.
set(ZEB_ARCH armhf)
set(ZEB_TRIPLET arm-linux-gnueabihf)
set(ZEB_LOADER ld-linux-armhf.so.3)
set(ZEB_EMULATOR qemu-arm)

set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
include(${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake)
