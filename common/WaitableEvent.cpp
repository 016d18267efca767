#include "common/WaitableEvent.h"

namespace zebdiscovery {

using mxcommon::MutexLock;

WaitableEvent::WaitableEvent(bool manualReset, bool initiallySignalled) :
    mManualReset(manualReset), mSignalled(initiallySignalled, mMutex) {}

void WaitableEvent::set() {
    MutexLock lock(mMutex);
    mSignalled.set(lock, true);
    mCondition.signal();
}

void WaitableEvent::wait() {
    MutexLock lock(mMutex);
    if (!mSignalled.get(lock)) {
        // No loop around this wait on purpose.
        mCondition.wait(lock);
    }
    if (!mManualReset) {
        mSignalled.set(lock, false);
    }
}

bool WaitableEvent::timedWait(int milliseconds) {
    MutexLock lock(mMutex);
    const bool woken =
        mSignalled.get(lock) || mCondition.timedWait(lock, mxcommon::Clock::duration(milliseconds));
    if (woken && !mManualReset) {
        mSignalled.set(lock, false);
    }
    return woken;
}

void WaitableEvent::reset() {
    MutexLock lock(mMutex);
    mSignalled.set(lock, false);
}

} // namespace zebdiscovery
