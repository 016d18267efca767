// The emulated device nodes are seen through access() but not through euidaccess(),
// which the C library resolves inside itself. This one goes the way that is seen: link
// it into a test program, or preload it into one that is only run.
#define _GNU_SOURCE
#include <unistd.h>

__attribute__((visibility("default"))) int euidaccess(const char* path, int mode) {
    return access(path, mode);
}
