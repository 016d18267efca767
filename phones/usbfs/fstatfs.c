// The library that emulates the nodes answers fstatfs() with the help of one buffer for all threads and no
// lock. Two threads that are told of the same device (libusb's and the host's own) ask at once, and one of
// them was told that the device is outside of /sys ("failed to map fd to a path", "No such device"): it never
// saw the phone. So they ask one after the other.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>
#include <stddef.h>
#include <sys/statfs.h>

// Named on the command line of programs, so that the linker takes this file from its archive.
pthread_mutex_t zebphonesFstatfs = PTHREAD_MUTEX_INITIALIZER;

// As POSIX shows how a function's address comes out of dlsym.
static void findNext(const char* name, void* function) {
    if (*(void**)function == NULL)
        *(void**)function = dlsym(RTLD_NEXT, name);
}

__attribute__((visibility("default"))) int fstatfs(int descriptor, struct statfs* answer) {
    static int (*next)(int, struct statfs*);
    pthread_mutex_lock(&zebphonesFstatfs);
    findNext("fstatfs", &next);
    const int result = next(descriptor, answer);
    pthread_mutex_unlock(&zebphonesFstatfs);
    return result;
}

__attribute__((visibility("default"))) int fstatfs64(int descriptor, struct statfs64* answer) {
    static int (*next)(int, struct statfs64*);
    pthread_mutex_lock(&zebphonesFstatfs);
    findNext("fstatfs64", &next);
    const int result = next(descriptor, answer);
    pthread_mutex_unlock(&zebphonesFstatfs);
    return result;
}
