// Must not compile with -Wthread-safety -Werror: each function breaks a rule.
#include "mxcommon/Mutex.h"

namespace {

class Counter {
public:
    // requires holding mutex
    int readUnlocked() { return mCount; }
    // still held at the end of function
    void lockOnly() { mMutex.lock(); }
    // acquired twice
    void lockTwice() {
        mxcommon::MutexLock first(mMutex);
        mxcommon::MutexLock second(mMutex);
    }

private:
    mxcommon::Mutex mMutex;
    int mCount ZEB_GUARDED_BY(mMutex) = 0;
};

} // namespace
