#include "mxcommon/Mutex.h"

namespace mxcommon {
namespace {

void throwIfFailed(int result, const char* message) {
    if (result != 0) {
        throw MutexException(message);
    }
}

} // namespace

Mutex::Mutex(bool recursive) {
    // Never destroyed on purpose: the attributes own nothing.
    pthread_mutexattr_t attributes;
    throwIfFailed(pthread_mutexattr_init(&attributes), "pthread_mutexattr_init failed");
    if (recursive) {
        throwIfFailed(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE),
                      "pthread_mutexattr_settype failed");
    }
    throwIfFailed(pthread_mutex_init(&mHandle, &attributes), "pthread_mutex_init failed");
}

Mutex::~Mutex() { pthread_mutex_destroy(&mHandle); }

void Mutex::lock() { throwIfFailed(pthread_mutex_lock(&mHandle), "pthread_mutex_lock failed"); }

void Mutex::unlock() { throwIfFailed(pthread_mutex_unlock(&mHandle), "pthread_mutex_unlock failed"); }

MutexLock::MutexLock(Mutex& mutex) : mpMutex(&mutex) { mpMutex->lock(); }

MutexLock::~MutexLock() { mpMutex->unlock(); }

} // namespace mxcommon
