# What the toolchain files share: sets up a build against the sysroot of ZEB_ARCH, whose Debian
# triplet and loader the caller has set. scripts/build makes the sysroot and passes its place.

set(ZEB_CACHE $ENV{ZEB_CACHE})
if(NOT ZEB_CACHE)
    set(ZEB_CACHE $ENV{HOME}/.cache/zebdiscovery)
endif()
set(CMAKE_SYSROOT ${ZEB_CACHE}/sysroot-${ZEB_ARCH})
if(NOT EXISTS ${CMAKE_SYSROOT}/.packages)
    message(FATAL_ERROR "No sysroot in ${CMAKE_SYSROOT}: make it with scripts/sysroot ${ZEB_ARCH}, or build with "
                        "scripts/build ${ZEB_ARCH}")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_LIBRARY_ARCHITECTURE ${ZEB_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/${ZEB_TRIPLET}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

# Libraries needed only by libraries (libudev by libusb) are in two folders, one of them not searched
# by default: a sysroot that was unpacked has no links between them.
set(libraries ${CMAKE_SYSROOT}/lib/${ZEB_TRIPLET}:${CMAKE_SYSROOT}/usr/lib/${ZEB_TRIPLET})
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "${ZEB_LINKER_FLAGS} -Wl,-rpath-link,${libraries}")
endforeach()

# Programs run with the sysroot's own loader. qemu's -L would do so too, but it puts the sysroot in
# the place of "/", where the emulated device nodes are then not found.
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZEB_EMULATOR} ${CMAKE_SYSROOT}/lib/${ZEB_LOADER} --library-path ${libraries})
