#include "mxcommon/AtThreadExitListener.h"

#include "mxcommon/Exceptions.h"
#include "mxcommon/StringUtils.h"

namespace mxcommon {
namespace {

void throwIfFailed(int result, const char* call) {
    if (result != 0) {
        throw ThreadException(formatString("%s failed with error %d", call, result));
    }
}

} // namespace

AtThreadExitListener::AtThreadExitListener(LogHandler* handler) : mLog(handler, "AtThreadExitListener") {
    throwIfFailed(pthread_key_create(&mKey, &AtThreadExitListener::exitCallback), "pthread_key_create");
}

AtThreadExitListener::~AtThreadExitListener() {
    pthread_key_delete(mKey);
    try {
        logThreadsLeft();
    } catch (...) {
        // Without the lock there are no lines: a destructor has nobody to tell.
    }
}

void AtThreadExitListener::registerCurrentThread() {
    const ThreadId current = ThreadId::current();
    MutexLock lock(mMutex);
    if (mThreads.contains(current)) {
        return;
    }
    throwIfFailed(pthread_setspecific(mKey, this), "pthread_setspecific");
    mThreads.insert(current);
}

void AtThreadExitListener::exitCallback(void* listener) {
    if (!listener) {
        return;
    }
    try {
        static_cast<AtThreadExitListener*>(listener)->threadExited();
    } catch (...) {
        // Not even the log works; the thread library must not see an exception.
    }
}

void AtThreadExitListener::threadExited() {
    try {
        unregisterCurrentThread();
        onThreadExit();
    } catch (const std::exception& e) {
        mLog.error("Suppressed exception from thread exit handler: %s", e.what());
    } catch (...) {
        mLog.error("Suppressed unknown exception from thread exit handler");
    }
}

void AtThreadExitListener::unregisterCurrentThread() {
    MutexLock lock(mMutex);
    if (mThreads.erase(ThreadId::current()) == 0) {
        mLog.error("Thread exit handler called for non-registered thread");
    }
}

void AtThreadExitListener::logThreadsLeft() {
    MutexLock lock(mMutex);
    for (std::size_t left = mThreads.size(); left > 0; --left) {
        try {
            mLog.error("AtThreadExitListener being destroyed with thread still registered");
        } catch (...) {
            // This line is lost; the other threads get theirs.
        }
    }
}

} // namespace mxcommon
