# zeb_options: what every target of this tree is compiled and linked with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_SKIP_RPATH ON)

set(ZEB_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize=")
option(ZEB_COVERAGE "Build with coverage counters" OFF)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
# A back trace names its lines; CMAKE_BUILD_TYPE=Debug has variables too. Sanitizers advise -O1: it builds in two thirds
# of the time and their traces keep the calls.
set(ZEB_OPTIMISATION -O2)
if(ZEB_SANITIZE)
    set(ZEB_OPTIMISATION -O1)
endif()
set(CMAKE_C_FLAGS_RELEASE "${ZEB_OPTIMISATION} -g1")
set(CMAKE_CXX_FLAGS_RELEASE "${ZEB_OPTIMISATION} -g1")

find_program(ZEB_CCACHE ccache)
if(ZEB_CCACHE)
    # What a cache must know of precompiled headers to keep what is compiled with them.
    set(ZEB_CCACHE env CCACHE_SLOPPINESS=pch_defines,time_macros ${ZEB_CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${ZEB_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${ZEB_CCACHE})
endif()

# A target with the property ZEB_TEST_CODE is built fast rather than to be fast: the code of a test
# program, which takes more than twice as long with optimisation and full debug information. What is
# tested is the release build all the same.
define_property(TARGET PROPERTY ZEB_TEST_CODE BRIEF_DOCS "Code that only tests")

add_library(zeb_options INTERFACE)
target_compile_options(zeb_options INTERFACE $<$<BOOL:$<TARGET_PROPERTY:ZEB_TEST_CODE>>:-O0 -g1 -pthread>)
# Assertion texts and debug information name files of the tree, never a build machine's folders, also
# where a compiler cache turns paths into relative ones.
file(RELATIVE_PATH ZEB_WAY_TO_SOURCE ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
target_compile_options(zeb_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wformat=2 -Wundef
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess> # for the compiler cache
    $<$<CXX_COMPILER_ID:GNU>:-Wno-psabi> # g++ 7 changed a convention on ARM; one compiler makes all of ours
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
    -ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
    -ffile-prefix-map=${ZEB_WAY_TO_SOURCE}=
    $<$<BOOL:${CMAKE_SYSROOT}>:-ffile-prefix-map=${CMAKE_SYSROOT}/=/>
    -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
    -fstack-protector-strong)
target_link_options(zeb_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)

if(ZEB_SANITIZE)
    # The check of virtual tables asks pipe() whether it may read an address, which tests and fuzzers let fail.
    target_compile_options(zeb_options INTERFACE -fsanitize=${ZEB_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
    target_link_options(zeb_options INTERFACE -fsanitize=${ZEB_SANITIZE})
elseif(ZEB_COVERAGE)
    target_compile_options(zeb_options INTERFACE --coverage -O0 -fprofile-update=atomic)
    target_link_options(zeb_options INTERFACE --coverage)
else()
    # Fortification needs optimisation and would hide calls from the sanitizers.
    target_compile_options(zeb_options INTERFACE -U_FORTIFY_SOURCE
        $<$<NOT:$<BOOL:$<TARGET_PROPERTY:ZEB_TEST_CODE>>>:-D_FORTIFY_SOURCE=2>)
    target_link_options(zeb_options INTERFACE -Wl,-z,text)
endif()

# What ships in the plug-in, so that its link (--gc-sections) can leave out each function that it never calls.
add_library(zeb_shipped INTERFACE)
target_compile_options(zeb_shipped INTERFACE -ffunction-sections -fdata-sections)
