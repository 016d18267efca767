# Test programs. include(Testing) gives:
#
#   zeb_add_test(NAME SOURCES file... [LIBS target...] [ARGS word...] [LABELS label...]
#                [TIMEOUT seconds] [USBFS] [NETNS] [NO_MAIN] [THREADS])
#
# A GoogleTest program, registered with ctest as one test. USBFS puts the emulated device
# nodes of libumockdev under it; NETNS starts it in a network name space of its own (as root
# of a user name space, so without privilege); NO_MAIN says that it brings its own main();
# THREADS that it has something to show to the thread sanitizer, whose preset builds and runs only those.
#
# The presets compile a dozen files at once (CMAKE_UNITY_BUILD): most of the time goes into headers that all read.
# A file that has names of its own in common with another opts out, by SKIP_UNITY_BUILD_INCLUSION.
#
#   ZEB_LAUNCHER   the words before any program of this build, empty when it runs as it is
#
# Programs of a foreign architecture run with the loader and the libraries of its sysroot, named
# on the command line (ZEB_LAUNCHER, which ctest uses through CMAKE_CROSSCOMPILING_EMULATOR): so
# nothing that is built carries a path of the build machine, and what is tested is what ships. A test
# that starts a program itself (the host, a helper) has to put ZEB_LAUNCHER before it.

set(ZEB_LAUNCHER ${CMAKE_CROSSCOMPILING_EMULATOR})

# GoogleTest comes as source, built here with the preset's compiler and sanitizers, as its authors
# advise: the same for every architecture, and no race or overflow hides in an uninstrumented copy.
set(ZEB_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's source tree")
set(ZEB_HAVE_GOOGLETEST NO)
if(EXISTS ${ZEB_GOOGLETEST_SOURCE}/CMakeLists.txt)
    set(ZEB_HAVE_GOOGLETEST YES)
    set(INSTALL_GTEST OFF CACHE INTERNAL "")
    add_subdirectory(${ZEB_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    if(ZEB_SANITIZE)
        foreach(library gtest gtest_main gmock gmock_main)
            target_compile_options(${library} PRIVATE -fsanitize=${ZEB_SANITIZE} -fno-omit-frame-pointer)
        endforeach()
    endif()
    foreach(library gtest gmock gmock_main)
        target_compile_options(${library} PRIVATE -O0)
    endforeach()
else()
    message(STATUS "Tests are not built: no GoogleTest source (Debian: googletest)")
endif()

# Most of the time a test file takes to compile goes into GoogleTest's headers: read once, for all programs.
# A program and not a library, because all must be compiled alike (-fPIE).
if(ZEB_HAVE_GOOGLETEST)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/test-headers.cpp CONTENT "int main() { return 0; }\n")
    add_executable(zeb-test-headers EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/test-headers.cpp)
    set_target_properties(zeb-test-headers PROPERTIES ZEB_TEST_CODE YES)
    target_precompile_headers(zeb-test-headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
    target_link_libraries(zeb-test-headers PRIVATE GTest::gmock zeb_options)
endif()

pkg_check_modules(UMOCKDEV IMPORTED_TARGET umockdev-1.0 gio-2.0)
if(ZEB_HAVE_GOOGLETEST AND NOT UMOCKDEV_FOUND)
    message(STATUS "Tests on emulated device nodes are not built: no libumockdev (Debian: libumockdev-dev umockdev)")
endif()

add_custom_target(tests-with-threads)
add_custom_target(tests-of-what-ships)

function(zeb_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "USBFS;NETNS;NO_MAIN;THREADS" "TIMEOUT" "SOURCES;LIBS;ARGS;LABELS")
    if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
        message(FATAL_ERROR "zeb_add_test(${name}): SOURCES missing, or unknown words: ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT ZEB_HAVE_GOOGLETEST OR (arg_USBFS AND NOT UMOCKDEV_FOUND))
        return()
    endif()

    if(ZEB_COVERAGE)
        list(APPEND arg_SOURCES ${PROJECT_SOURCE_DIR}/tests/support/CoverageOfDeaths.cpp)
    endif()
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES ZEB_TEST_CODE YES)
    target_precompile_headers(${name} REUSE_FROM zeb-test-headers)
    if(arg_USBFS)
        # The first library of all, so that its open, ioctl and the like win over the C library's
        # without LD_PRELOAD (which the address sanitizer does not tolerate before itself).
        target_link_libraries(${name} PRIVATE -Wl,--no-as-needed -l:libumockdev-preload.so.0 -Wl,--as-needed
                                              PkgConfig::UMOCKDEV)
    endif()
    if(arg_NO_MAIN)
        target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock zeb_options)
    else()
        target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main zeb_options)
    endif()

    set(apart "")
    if(arg_NETNS)
        # Entered before the program starts: qemu-user has threads and could not do it later.
        set(apart unshare --user --map-root-user --net)
    endif()
    if(arg_THREADS)
        list(APPEND arg_LABELS threads)
        add_dependencies(tests-with-threads ${name})
    endif()
    # What the coverage preset builds and runs.
    if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/tests/(mxcommon|common|usb|handshake|reliability)$")
        list(APPEND arg_LABELS ships)
        add_dependencies(tests-of-what-ships ${name})
    endif()
    add_test(NAME ${name} COMMAND ${apart} ${ZEB_LAUNCHER} $<TARGET_FILE:${name}> ${arg_ARGS})
    # For what hangs; no test waits for it on a busy machine.
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 600)
    endif()
    set(tsan suppressions=${PROJECT_SOURCE_DIR}/cmake/tsan.supp)
    if(arg_USBFS)
        # To name a source line the sanitizer opens files, which the emulated nodes' library catches and looks up
        # with dlsym: a dead-lock when another thread loads a plug-in. addr2line tells the line of a report.
        string(APPEND tsan " symbolize=0")
    endif()
    # scripts/test counts the single tests in the results. The emulated nodes live in TMPDIR, in a socket
    # whose name may have 107 characters.
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT
        "GTEST_OUTPUT=json:${CMAKE_BINARY_DIR}/results/${name}.json;TMPDIR=/tmp;ZEBPHONES_MODELS=${PROJECT_SOURCE_DIR}/phones/models;TSAN_OPTIONS=${tsan};UBSAN_OPTIONS=print_stacktrace=1")
endfunction()
