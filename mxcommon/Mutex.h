#pragma once

#include "mxcommon/Exceptions.h"
#include "mxcommon/ThreadAnnotations.h"

#include <pthread.h>
#include <utility>

namespace mxcommon {

/** A mutex: plain, unless made recursive. Failures of the system's calls are MutexExceptions. */
class ZEB_CAPABILITY("mutex") Mutex {
public:
    explicit Mutex(bool recursive = false);
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ZEB_ACQUIRE();
    void unlock() ZEB_RELEASE();

    /** For what waits on the mutex; stays the mutex's own. */
    pthread_mutex_t* nativeHandle() { return &mHandle; }

private:
    pthread_mutex_t mHandle;
};

/** Holds a mutex for as long as it lives. A failing unlock ends the process. */
class ZEB_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ZEB_ACQUIRE(mutex);
    ~MutexLock() ZEB_RELEASE();
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    /** The mutex that is held. */
    Mutex& mutex() const { return *mpMutex; }

private:
    Mutex* mpMutex;
};

/**
 * A value that may only be touched under its mutex. Every access takes the lock that
 * the caller holds and throws a MutexException when that is a lock of another mutex.
 * Never locks by itself. owner must outlive the variable.
 */
template <class T>
class MutexVariable {
public:
    MutexVariable(T initial, Mutex& owner) : mValue(std::move(initial)), mpOwner(&owner) {}

    T get(MutexLock& lock) const {
        check(lock);
        return mValue;
    }

    void set(MutexLock& lock, T value) {
        check(lock);
        mValue = std::move(value);
    }

private:
    void check(const MutexLock& lock) const {
        if (&lock.mutex() != mpOwner) {
            throw MutexException("Invalid mutex supplied to Mutex variable");
        }
    }

    T mValue;
    Mutex* mpOwner;
};

} // namespace mxcommon
