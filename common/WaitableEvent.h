#pragma once

#include "mxcommon/ConditionVariable.h"
#include "mxcommon/Mutex.h"

namespace zebdiscovery {

/**
 * A flag to sleep on. Any thread may set, wait and reset; one set() wakes one waiter.
 * With manual reset the flag stays until reset(), otherwise a wait clears it.
 */
class WaitableEvent {
public:
    WaitableEvent(bool manualReset, bool initiallySignalled);

    void set();

    /** May return although nothing was set: callers check their own condition and wait again. */
    void wait();

    /** The same for so many milliseconds; false when they ran out. */
    bool timedWait(int milliseconds);

    void reset();

private:
    mxcommon::Mutex mMutex;
    mxcommon::ConditionVariable mCondition;
    const bool mManualReset;
    mxcommon::MutexVariable<bool> mSignalled;
};

} // namespace zebdiscovery
