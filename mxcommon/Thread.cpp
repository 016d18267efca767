#include "mxcommon/Thread.h"

#include "mxcommon/Exceptions.h"

#include <sys/prctl.h>

namespace mxcommon {
namespace {

constexpr std::size_t kLongestVisibleName = 15;

} // namespace

Thread::Thread(LogHandler* handler, const std::string& name) : mName(name), mLog(handler, "Thread: " + name) {
    if (mName.size() > kLongestVisibleName) {
        mLog.warning("Long thread name '%s' may be truncated by pthreads", mName.c_str());
    }
}

Thread::~Thread() {
    try {
        join();
    } catch (const std::exception& e) {
        try {
            mLog.error("Suppressed exception in Thread::~Thread: %s", e.what());
        } catch (...) {
            // Not even the log works: nobody is left to tell.
        }
    }
}

void Thread::start() {
    MutexLock stateLock(mStateMutex);
    MutexLock idLock(mIdMutex);
    if (mStarted) {
        throw ThreadException("Attempt to start thread multiple times");
    }
    pthread_t thread = 0;
    const int result = pthread_create(&thread, nullptr, &Thread::enter, this);
    if (result != 0) {
        mLog.error("pthread_create failed: return value %d.", result);
        throw ThreadException("pthread_create failed");
    }
    mThread = thread;
    mStarted = true;
}

void Thread::join() {
    MutexLock lock(mStateMutex);
    if (!mStarted || mJoined) {
        return;
    }
    // Before the attempt on purpose: a join that failed is not repeated.
    mJoined = true;
    const int result = pthread_join(id(), nullptr);
    if (result != 0) {
        mLog.error("pthread_join failed: return value %d.", result);
        throw ThreadException("pthread_join failed");
    }
    setId(0);
}

bool Thread::isCurrentThread() {
    MutexLock lock(mIdMutex);
    return mThread == pthread_self();
}

void* Thread::enter(void* self) {
    auto& thread = *static_cast<Thread*>(self);
    ::prctl(PR_SET_NAME, thread.mName.c_str());
    thread.run();
    return nullptr;
}

pthread_t Thread::id() {
    MutexLock lock(mIdMutex);
    return mThread;
}

void Thread::setId(pthread_t id) {
    MutexLock lock(mIdMutex);
    mThread = id;
}

} // namespace mxcommon
