// What the linker puts before the system's own functions.
#include "tests/mxcommon/SystemFaults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

using namespace faults;

#define WRAPPED(result, name, ...)                                                                           \
    result __real_##name(__VA_ARGS__);                                                                       \
    result __wrap_##name(__VA_ARGS__);                                                                       \
    result __wrap_##name(__VA_ARGS__)

#define FAIL_OR(call, object, real)                                                                          \
    const int error = entered(call, object);                                                                 \
    return error != 0 ? error : (real);

extern "C" {

WRAPPED(int, pthread_create, pthread_t* id, const pthread_attr_t* attributes, void* (*body)(void*),
        void* self) {
    note("pthread_create", attributes ? "with attributes" : "without attributes");
    FAIL_OR(kPthreadCreate, self, __real_pthread_create(id, attributes, body, self))
}

pthread_t __real_pthread_self(void);

WRAPPED(int, pthread_join, pthread_t id, void** result) {
    note("pthread_join");
    const int wanted = entered(kPthreadJoin);
#ifdef __SANITIZE_THREAD__
    // The sanitizer loses sight of a thread that could not be joined; this is the system's answer.
    if (pthread_equal(id, __real_pthread_self())) {
        return EDEADLK;
    }
#endif
    // Joins all the same: no thread is left behind.
    const int error = __real_pthread_join(id, result);
    return wanted != 0 ? wanted : error;
}

WRAPPED(pthread_t, pthread_self, void) {
    note("pthread_self");
    return state().self ? *state().self : __real_pthread_self();
}

WRAPPED(int, pthread_key_create, pthread_key_t* key, void (*destroy)(void*)) {
    note("pthread_key_create");
    FAIL_OR(kPthreadKeyCreate, reinterpret_cast<void*>(destroy), __real_pthread_key_create(key, destroy))
}

WRAPPED(int, pthread_key_delete, pthread_key_t key) {
    note("pthread_key_delete");
    // Deletes all the same: no thread calls back.
    const int error = __real_pthread_key_delete(key);
    const int wanted = entered(kPthreadKeyDelete);
    return wanted != 0 ? wanted : error;
}

WRAPPED(int, pthread_setspecific, pthread_key_t key, const void* value) {
    note("pthread_setspecific");
    FAIL_OR(kPthreadSetspecific, value, __real_pthread_setspecific(key, value))
}

WRAPPED(int, pthread_mutexattr_init, pthread_mutexattr_t* attributes) {
    note("pthread_mutexattr_init");
    FAIL_OR(kPthreadMutexattrInit, attributes, __real_pthread_mutexattr_init(attributes))
}

WRAPPED(int, pthread_mutexattr_settype, pthread_mutexattr_t* attributes, int type) {
    note("pthread_mutexattr_settype", type == PTHREAD_MUTEX_RECURSIVE ? "recursive" : "another");
    FAIL_OR(kPthreadMutexattrSettype, attributes, __real_pthread_mutexattr_settype(attributes, type))
}

WRAPPED(int, pthread_mutex_init, pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    noteObject("pthread_mutex_init", "m", mutex);
    FAIL_OR(kPthreadMutexInit, mutex, __real_pthread_mutex_init(mutex, attributes))
}

WRAPPED(int, pthread_mutex_destroy, pthread_mutex_t* mutex) {
    noteObject("pthread_mutex_destroy", "m", mutex);
    FAIL_OR(kPthreadMutexDestroy, mutex, __real_pthread_mutex_destroy(mutex))
}

WRAPPED(int, pthread_mutex_lock, pthread_mutex_t* mutex) {
    noteObject("pthread_mutex_lock", "m", mutex);
    FAIL_OR(kPthreadMutexLock, mutex, __real_pthread_mutex_lock(mutex))
}

WRAPPED(int, pthread_mutex_unlock, pthread_mutex_t* mutex) {
    noteObject("pthread_mutex_unlock", "m", mutex);
    FAIL_OR(kPthreadMutexUnlock, mutex, __real_pthread_mutex_unlock(mutex))
}

WRAPPED(int, pthread_condattr_init, pthread_condattr_t* attributes) {
    note("pthread_condattr_init");
    FAIL_OR(kPthreadCondattrInit, attributes, __real_pthread_condattr_init(attributes))
}

WRAPPED(int, pthread_condattr_setclock, pthread_condattr_t* attributes, clockid_t clock) {
    note("pthread_condattr_setclock", clock == CLOCK_MONOTONIC ? "monotonic" : "another");
    FAIL_OR(kPthreadCondattrSetclock, attributes, __real_pthread_condattr_setclock(attributes, clock))
}

WRAPPED(int, pthread_condattr_destroy, pthread_condattr_t* attributes) {
    note("pthread_condattr_destroy");
    FAIL_OR(kPthreadCondattrDestroy, attributes, __real_pthread_condattr_destroy(attributes))
}

WRAPPED(int, pthread_cond_init, pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    note("pthread_cond_init", attributes ? "with attributes" : "without attributes");
    FAIL_OR(kPthreadCondInit, condition, __real_pthread_cond_init(condition, attributes))
}

WRAPPED(int, pthread_cond_destroy, pthread_cond_t* condition) {
    note("pthread_cond_destroy");
    FAIL_OR(kPthreadCondDestroy, condition, __real_pthread_cond_destroy(condition))
}

WRAPPED(int, pthread_cond_signal, pthread_cond_t* condition) {
    note("pthread_cond_signal");
    FAIL_OR(kPthreadCondSignal, condition, __real_pthread_cond_signal(condition))
}

WRAPPED(int, pthread_cond_wait, pthread_cond_t* condition, pthread_mutex_t* mutex) {
    noteObject("pthread_cond_wait", "m", mutex);
    FAIL_OR(kPthreadCondWait, mutex, state().wakesSpuriously ? 0 : __real_pthread_cond_wait(condition, mutex))
}

WRAPPED(int, pthread_cond_timedwait, pthread_cond_t* condition, pthread_mutex_t* mutex,
        const timespec* until) {
    noteObject("pthread_cond_timedwait", "m", mutex);
    state().deadline = *until;
    FAIL_OR(kPthreadCondTimedwait, mutex,
            state().wakesSpuriously ? 0 : __real_pthread_cond_timedwait(condition, mutex, until))
}

WRAPPED(int, clock_gettime, clockid_t clock, timespec* time) {
    note("clock_gettime", clock == CLOCK_MONOTONIC ? "monotonic" : "another");
    if (failed(kClockGettime)) {
        return -1;
    }
    if (state().hasTime) {
        *time = state().time;
        return 0;
    }
    return __real_clock_gettime(clock, time);
}

WRAPPED(int, gettimeofday, timeval* time, void* zone) {
    note("gettimeofday");
    entered(kGettimeofday);
    if (state().hasTime) {
        time->tv_sec = state().time.tv_sec;
        time->tv_usec = static_cast<suseconds_t>(state().time.tv_nsec / 1000);
        return 0;
    }
    return __real_gettimeofday(time, zone);
}

int __real_prctl(int option, ...);
int __wrap_prctl(int option, ...);
int __wrap_prctl(int option, ...) {
    std::va_list arguments;
    va_start(arguments, option);
    const char* const pName = va_arg(arguments, const char*);
    va_end(arguments);
    note("prctl", option == PR_SET_NAME ? pName : "another");
    if (prctlError != 0) {
        errno = prctlError;
        return -1;
    }
    return __real_prctl(option, pName);
}

WRAPPED(int, pipe, int* ends) {
    note("pipe");
    if (failed(kPipe)) {
        return -1;
    }
    const int result = __real_pipe(ends);
    state().ends[0] = ends[0];
    state().ends[1] = ends[1];
    return result;
}

int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    const long argument = command == F_SETFL ? va_arg(arguments, int) : 0;
    va_end(arguments);
    note(command == F_SETFL ? "fcntl F_SETFL" : "fcntl F_GETFL", endOf(fd));
    if (failed(command == F_SETFL ? kFcntlSet : kFcntlGet)) {
        return -1;
    }
    if (command == F_SETFL) {
        state().flagsSet = static_cast<int>(argument);
    }
    const int result = __real_fcntl(fd, command, argument);
    return command == F_GETFL ? result | state().flagsToo : result;
}

WRAPPED(int, close, int fd) {
    note("close", endOf(fd));
    // Closes all the same: no descriptor is left behind.
    const int result = __real_close(fd);
    return failed(kClose) ? -1 : result;
}

int __real_vsnprintf(char* buffer, size_t size, const char* format, std::va_list arguments);

int __wrap_snprintf(char* buffer, size_t size, const char* format, ...);
int __wrap_snprintf(char* buffer, size_t size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = failed(kSnprintf) ? -1 : __real_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return result;
}

// What a fortified build calls instead.
int __wrap___snprintf_chk(char* buffer, size_t size, int flag, size_t room, const char* format, ...);
int __wrap___snprintf_chk(char* buffer, size_t size, int, size_t, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = failed(kSnprintf) ? -1 : __real_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return result;
}

WRAPPED(int, vsnprintf, char* buffer, size_t size, const char* format, std::va_list arguments) {
    note("vsnprintf");
    return failed(kVsnprintf) ? -1 : __real_vsnprintf(buffer, size, format, arguments);
}

// What a fortified build calls instead.
WRAPPED(int, __vsnprintf_chk, char* buffer, size_t size, int flag, size_t room, const char* format,
        std::va_list arguments) {
    note("vsnprintf");
    return failed(kVsnprintf) ? -1 : __real___vsnprintf_chk(buffer, size, flag, room, format, arguments);
}

WRAPPED(ssize_t, read, int fd, void* bytes, size_t length) {
    note("read", endOf(fd));
    return failed(kRead) ? -1 : __real_read(fd, bytes, length);
}

WRAPPED(ssize_t, write, int fd, const void* bytes, size_t length) {
    note("write", endOf(fd));
    const int error = entered(kWrite);
    if (error != 0) {
        errno = error;
        return error == EAGAIN ? 0 : -1;
    }
    const size_t limit = state().writeLimit;
    return __real_write(fd, bytes, limit > 0 && length > limit ? limit : length);
}
}

// The program's memory: the same everywhere, and absent on demand.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return entered(kMemory) != 0 ? nullptr : std::malloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void* operator new(std::size_t size) {
    if (void* pMemory = operator new(size, std::nothrow)) {
        return pMemory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
