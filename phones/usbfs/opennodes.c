// A program can have 50 emulated device nodes open at once: that is all that the table of the preload library
// holds, which ends the program without a word of its own at one more. These functions come before the
// library's: the 51st open fails with EMFILE, and says why.
#define _GNU_SOURCE
#include <asm/fcntl.h>
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { kRoom = 50 };

// Which descriptors were nodes when they were opened, and of which terminal: one that is closed, or something
// else by now, has left the table.
static struct {
    int isUsed;
    int fd;
    dev_t terminal;
} gNodes[kRoom];
static pthread_mutex_t gMutex = PTHREAD_MUTEX_INITIALIZER;

static int isNode(const char* path) {
    static const char kFolder[] = "/dev/bus/usb/";
    return strncmp(path, kFolder, sizeof kFolder - 1) == 0;
}

static int isStillOpen(size_t place) {
    struct stat now;
    return gNodes[place].isUsed && fstat(gNodes[place].fd, &now) == 0 &&
           now.st_rdev == gNodes[place].terminal;
}

static int freePlace(void) {
    for (size_t place = 0; place < kRoom; ++place) {
        if (!isStillOpen(place))
            return (int)place;
    }
    return -1;
}

static int refuse(const char* path) {
    fprintf(
        stderr,
        "emulated USB: %s can't be opened: this program has %d nodes open, which is all that libumockdev has "
        "room for\n",
        path, kRoom);
    errno = EMFILE;
    return -1;
}

static void enter(int place, int fd) {
    struct stat now;
    if (fd < 0 || fstat(fd, &now) != 0)
        return;
    gNodes[place].isUsed = 1;
    gNodes[place].fd = fd;
    gNodes[place].terminal = now.st_rdev;
}

typedef int (*Open)(const char* path, int flags, ...);

static int openNode(Open next, const char* path, int flags) {
    // The library keeps a place for ever for each open that fails.
    if (access(path, (flags & O_ACCMODE) == O_RDONLY ? R_OK : R_OK | W_OK) != 0)
        return -1;
    pthread_mutex_lock(&gMutex);
    const int place = freePlace();
    const int fd = place < 0 ? refuse(path) : next(path, flags);
    const int error = errno;
    if (place >= 0)
        enter(place, fd);
    pthread_mutex_unlock(&gMutex);
    errno = error;
    return fd;
}

// Nodes are never created, so only other files have a mode.
#define ZEB_OPEN(name)                                                                                       \
    __attribute__((visibility("default"))) int name(const char* path, int flags, ...) {                      \
        static Open next;                                                                                    \
        if (!next)                                                                                           \
            *(void**)&next = dlsym(RTLD_NEXT, #name);                                                        \
        if (isNode(path))                                                                                    \
            return openNode(next, path, flags);                                                              \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const int mode = (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(rest, int) : 0;                     \
        va_end(rest);                                                                                        \
        return next(path, flags, mode);                                                                      \
    }

ZEB_OPEN(open)
ZEB_OPEN(open64)
ZEB_OPEN(__open_2)
ZEB_OPEN(__open64_2)
