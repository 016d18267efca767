#pragma once

#include "mxcommon/Clock.h"

#include <memory>
#include <pthread.h>

namespace mxcommon {

class MutexLock;

/** How a condition variable is made: on the monotonic clock, where there is one to be used and read. */
class ConditionAttributes {
public:
    ConditionAttributes();
    ~ConditionAttributes();
    ConditionAttributes(const ConditionAttributes&) = delete;
    ConditionAttributes& operator=(const ConditionAttributes&) = delete;

    bool isMonotonic() const { return mMonotonic; }
    const pthread_condattr_t* nativeHandle() const { return &mHandle; }

private:
    pthread_condattr_t mHandle;
    bool mMonotonic = false;
};

/**
 * A place for threads to sleep until another one wakes them. Time-outs run on the
 * monotonic clock, else on the wall clock. Failing calls are
 * ConditionVariableExceptions, but failing attributes a std::runtime_error.
 */
class ConditionVariable {
public:
    ConditionVariable();
    ~ConditionVariable();
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    /** Any thread: wake one waiter. */
    void signal();

    /** Sleep without the lock until woken, perhaps by nobody: check what was waited for again. */
    void wait(MutexLock& lock);

    /** The same for at most timeout; false when that ran out, at once when it is less than 1 ms. */
    bool timedWait(MutexLock& lock, Clock::duration timeout);

private:
    pthread_cond_t mHandle;
    std::unique_ptr<ConditionAttributes> mpAttributes;
};

} // namespace mxcommon
