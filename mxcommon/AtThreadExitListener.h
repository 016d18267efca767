#pragma once

#include "mxcommon/Log.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/ThreadAnnotations.h"
#include "mxcommon/ThreadId.h"
#include "mxcommon/VirtualBase.h"

#include <pthread.h>
#include <set>

namespace mxcommon {

/**
 * Is told when a thread that registered with it ends. Must not be destroyed while a
 * registered thread is ending; threads that outlive it are logged and forgotten.
 */
class AtThreadExitListener : public VirtualBase {
public:
    /** The handler must outlive the listener. Throws a ThreadException when there is no key to be had. */
    explicit AtThreadExitListener(LogHandler* handler);
    ~AtThreadExitListener() override;
    AtThreadExitListener(const AtThreadExitListener&) = delete;
    AtThreadExitListener& operator=(const AtThreadExitListener&) = delete;

    /** Any thread: have its end told; a second time does nothing. Failing is a ThreadException. */
    void registerCurrentThread() ZEB_EXCLUDES(mMutex);

private:
    /** On the ending thread, which is no longer registered. What it throws is logged and dropped. */
    virtual void onThreadExit() = 0;

    static void exitCallback(void* listener);
    void threadExited() ZEB_EXCLUDES(mMutex);
    void unregisterCurrentThread() ZEB_EXCLUDES(mMutex);
    void logThreadsLeft() ZEB_EXCLUDES(mMutex);

    const Log mLog;
    pthread_key_t mKey;
    std::set<ThreadId> mThreads ZEB_GUARDED_BY(mMutex);
    Mutex mMutex;
};

} // namespace mxcommon
