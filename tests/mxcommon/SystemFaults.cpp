#include "tests/mxcommon/SystemFaults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <sys/time.h>

namespace faults {

State& state() {
    static thread_local State state;
    return state;
}

namespace {

/** Count a call; its error number when it is to fail, else 0. */
int entered(Call call) {
    ++state().count[call];
    if (state().fails[call] == 0) {
        return 0;
    }
    --state().fails[call];
    return state().error[call];
}

/** The same for calls that return -1 and set errno. */
bool failed(Call call) {
    const int error = entered(call);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

} // namespace
} // namespace faults

using namespace faults;

#define WRAPPED(result, name, ...)                                                                           \
    result __real_##name(__VA_ARGS__);                                                                       \
    result __wrap_##name(__VA_ARGS__);                                                                       \
    result __wrap_##name(__VA_ARGS__)

#define FAIL_OR(call, real)                                                                                  \
    {                                                                                                        \
        const int error = entered(call);                                                                     \
        return error != 0 ? error : (real);                                                                  \
    }

extern "C" {

WRAPPED(int, pthread_create, pthread_t* id, const pthread_attr_t* attributes, void* (*body)(void*),
        void* self)
FAIL_OR(kPthreadCreate, __real_pthread_create(id, attributes, body, self))

WRAPPED(int, pthread_join, pthread_t id, void** result) {
    // Joins all the same: no thread is left behind.
    const int error = __real_pthread_join(id, result);
    const int wanted = entered(kPthreadJoin);
    return wanted != 0 ? wanted : error;
}

WRAPPED(pthread_t, pthread_self, void) { return state().self ? *state().self : __real_pthread_self(); }

WRAPPED(int, pthread_key_create, pthread_key_t* key, void (*destroy)(void*))
FAIL_OR(kPthreadKeyCreate, __real_pthread_key_create(key, destroy))

WRAPPED(int, pthread_setspecific, pthread_key_t key, const void* value)
FAIL_OR(kPthreadSetspecific, __real_pthread_setspecific(key, value))

WRAPPED(int, pthread_mutex_init, pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes)
FAIL_OR(kPthreadMutexInit, __real_pthread_mutex_init(mutex, attributes))

WRAPPED(int, pthread_mutex_destroy, pthread_mutex_t* mutex)
FAIL_OR(kPthreadMutexDestroy, __real_pthread_mutex_destroy(mutex))

WRAPPED(int, pthread_mutex_lock, pthread_mutex_t* mutex)
FAIL_OR(kPthreadMutexLock, __real_pthread_mutex_lock(mutex))

WRAPPED(int, pthread_mutex_unlock, pthread_mutex_t* mutex)
FAIL_OR(kPthreadMutexUnlock, __real_pthread_mutex_unlock(mutex))

WRAPPED(int, pthread_condattr_init, pthread_condattr_t* attributes)
FAIL_OR(kPthreadCondattrInit, __real_pthread_condattr_init(attributes))

WRAPPED(int, pthread_condattr_setclock, pthread_condattr_t* attributes, clockid_t clock)
FAIL_OR(kPthreadCondattrSetclock, __real_pthread_condattr_setclock(attributes, clock))

WRAPPED(int, pthread_condattr_destroy, pthread_condattr_t* attributes)
FAIL_OR(kPthreadCondattrDestroy, __real_pthread_condattr_destroy(attributes))

WRAPPED(int, pthread_cond_init, pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    state().hadAttributes = attributes != nullptr;
    FAIL_OR(kPthreadCondInit, __real_pthread_cond_init(condition, attributes))
}

WRAPPED(int, pthread_cond_signal, pthread_cond_t* condition)
FAIL_OR(kPthreadCondSignal, __real_pthread_cond_signal(condition))

WRAPPED(int, pthread_cond_wait, pthread_cond_t* condition, pthread_mutex_t* mutex)
FAIL_OR(kPthreadCondWait, state().wakesSpuriously ? 0 : __real_pthread_cond_wait(condition, mutex))

WRAPPED(int, pthread_cond_timedwait, pthread_cond_t* condition, pthread_mutex_t* mutex,
        const timespec* until) {
    state().deadline = *until;
    FAIL_OR(kPthreadCondTimedwait,
            state().wakesSpuriously ? 0 : __real_pthread_cond_timedwait(condition, mutex, until))
}

WRAPPED(int, clock_gettime, clockid_t clock, timespec* time) {
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
    entered(kGettimeofday);
    if (state().hasTime) {
        time->tv_sec = state().time.tv_sec;
        time->tv_usec = static_cast<suseconds_t>(state().time.tv_nsec / 1000);
        return 0;
    }
    return __real_gettimeofday(time, zone);
}

WRAPPED(int, pipe, int* ends) { return failed(kPipe) ? -1 : __real_pipe(ends); }

int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    const long argument = command == F_SETFL ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return failed(command == F_SETFL ? kFcntlSet : kFcntlGet) ? -1 : __real_fcntl(fd, command, argument);
}

WRAPPED(int, vsnprintf, char* buffer, size_t size, const char* format, std::va_list arguments) {
    return failed(kVsnprintf) ? -1 : __real_vsnprintf(buffer, size, format, arguments);
}

// What a fortified build calls instead.
WRAPPED(int, __vsnprintf_chk, char* buffer, size_t size, int flag, size_t room, const char* format,
        std::va_list arguments) {
    return failed(kVsnprintf) ? -1 : __real___vsnprintf_chk(buffer, size, flag, room, format, arguments);
}

WRAPPED(ssize_t, write, int fd, const void* bytes, size_t length) {
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
