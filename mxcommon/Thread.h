#pragma once

#include "mxcommon/Log.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/ThreadAnnotations.h"

#include <pthread.h>
#include <string>

namespace mxcommon {

/**
 * A named thread with one body: started at most once, joined at most once. Start and
 * join may come from different threads and wait for each other. A subclass must make
 * run() return, and join, before its own members are destroyed.
 */
class Thread {
public:
    /** The handler gets the thread's failures and must outlive it. The system shows 15 characters of name. */
    Thread(LogHandler* handler, const std::string& name);
    /** Joins; a std::exception out of that is only logged, anything else ends the process. */
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /** Throws a ThreadException when it was called before or there is no thread to be had. */
    void start() ZEB_EXCLUDES(mStateMutex, mIdMutex);

    /**
     * Wait for the end of run(); does nothing before start() or a second time, even
     * when the first join failed with a ThreadException.
     */
    void join() ZEB_EXCLUDES(mStateMutex, mIdMutex);

    /** Any thread, also while another one waits in join(): is the caller this thread? */
    bool isCurrentThread() ZEB_EXCLUDES(mIdMutex);

private:
    /** The body, on the new thread. An exception that leaves it ends the process. */
    virtual void run() = 0;

    static void* enter(void* self);
    pthread_t id() ZEB_EXCLUDES(mIdMutex);
    void setId(pthread_t id) ZEB_EXCLUDES(mIdMutex);

    const std::string mName;
    const Log mLog;
    /** Held before mIdMutex, and for the whole of start and join. */
    Mutex mStateMutex;
    Mutex mIdMutex;
    bool mStarted ZEB_GUARDED_BY(mStateMutex) = false;
    bool mJoined ZEB_GUARDED_BY(mStateMutex) = false;
    /** 0 while there is no thread to join. */
    pthread_t mThread ZEB_GUARDED_BY(mIdMutex) = 0;
};

} // namespace mxcommon
