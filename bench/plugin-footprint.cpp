// What loading and setting up the plug-in costs in memory that is this process's alone: KiB of pages that
// were written to, the plug-in's own and those of the heap and of the loader. Its libraries are there before.
//
// Such pages are the anonymous ones. The kernel's own count of private dirty pages takes in every page of a
// file that lies in a memory file system, as all of the lab's do, whether it was written to or not.
#include "bench/support/BareHost.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/** Pages of this process that it has written to and shares with nobody, in KiB; reads it without touching the
 * heap. */
long writtenKib() {
    static char text[4096];
    const int file = open("/proc/self/smaps_rollup", O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(file, text, sizeof(text) - 1);
    close(file);
    text[length > 0 ? length : 0] = '\0';
    const char* const line = std::strstr(text, "Anonymous:");
    return line ? std::strtol(line + std::strlen("Anonymous:"), nullptr, 10) : -1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !dlopen("libusb-1.0.so.0", RTLD_NOW)) {
        std::fprintf(stderr, "usage: plugin-footprint PLUGIN\n");
        return 2;
    }
    writtenKib();
    const long before = writtenKib();
    zebbench::BareHost host(argv[1]);
    host.setUp();
    const long after = writtenKib();
    host.tearDown();
    std::printf("%ld\n", after - before);
    return before < 0 || after < 0;
}
