#pragma once

#include "common/EventFd.h"
#include "mxcommon/ConditionVariable.h"
#include "mxcommon/LogHandler.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/Thread.h"
#include "mxcommon/ThreadAnnotations.h"
#include "zebdiscovery/types.h"

#include <cstddef>
#include <map>

struct libusb_context;
struct libusb_transfer;

namespace zebdiscovery {

/**
 * Handles libusb's events on a thread of its own, for an owner that does not want to
 * poll libusb's descriptors. Transfers submitted here complete on that thread: it puts
 * the owner's callback and user data back and calls the callback, exactly once for each
 * submission, without any lock held. The callback may submit the transfer again or free
 * it, but must leave the owner's own state alone: with signalling it calls signal(), and
 * the owner goes on when wasSignalled() is true on its own thread.
 *
 * Any thread may call the operations, until destruction begins; from then on only the
 * callbacks may.
 */
class LibUsbThread {
public:
    /** The context is not owned and must not be null. Throws when the thread can't be had. */
    LibUsbThread(libusb_context* context, bool signalling);

    /** Cancels what is in flight and returns when all callbacks have been called. */
    ~LibUsbThread();
    LibUsbThread(const LibUsbThread&) = delete;
    LibUsbThread& operator=(const LibUsbThread&) = delete;

    /**
     * Submit a transfer, which stays the owner's and must not be freed by libusb itself
     * (LIBUSB_TRANSFER_FREE_TRANSFER). Returns 0 or a libusb error, with the transfer as
     * it was: -4 once destruction has begun, -2 when the transfer is in flight already.
     */
    int submit(libusb_transfer* transfer) ZEB_EXCLUDES(mMutex);

    /** Is the caller the thread that calls the callbacks? */
    bool isCurrentThread();

    /** The handle that becomes readable with signal(), ours; null without signalling. */
    ZEBDiscovererEventHandle* getEventHandle();

    /** Add one wake-up; nothing without signalling. */
    void signal();

    /** Take one wake-up; true when there was one. Never blocks. */
    bool wasSignalled();

    /** Sleep until the transfer is neither in flight nor being delivered. Not from a callback. */
    void waitForTransfer(libusb_transfer* transfer) ZEB_EXCLUDES(mMutex);

private:
    class InternalThread : public mxcommon::Thread {
    public:
        /** Discards the thread's lines. */
        class LogHandler : public mxcommon::LogHandler {
        public:
            void log(int, const char*, const char*) override {}
        };

        InternalThread(LogHandler* handler, LibUsbThread* owner);

    private:
        void run() override;

        LibUsbThread* const mpOwner;
    };

    using Callback = void (*)(libusb_transfer*);

    /** What submit() replaced in a transfer. */
    struct Record {
        Callback ownersCallback;
        void* ownersUserData;
        bool finished;
    };
    using Records = std::map<libusb_transfer*, Record>;

    static void markFinished(libusb_transfer* transfer) noexcept;
    void handleEvents() ZEB_EXCLUDES(mMutex);
    bool isDone() ZEB_EXCLUDES(mMutex);
    void takeFinished() ZEB_EXCLUDES(mMutex);
    bool deliverTaken() ZEB_EXCLUDES(mMutex);
    libusb_transfer* restoreFirstTaken() ZEB_EXCLUDES(mMutex);
    void forget(libusb_transfer* transfer) ZEB_EXCLUDES(mMutex);
    void wakeWaiters() ZEB_EXCLUDES(mMutex);
    void cancelAll() ZEB_EXCLUDES(mMutex);

    InternalThread::LogHandler mLogHandler;
    InternalThread mInternalThread;
    EventFd mWakeUp;
    mxcommon::Mutex mMutex;
    libusb_context* const mpLibusbCtx;
    const bool mSignalling;
    mxcommon::ConditionVariable mDelivered;
    /** How many wake-ups the waiters need: may count one who has left, never misses one who waits. */
    std::size_t mWaiters ZEB_GUARDED_BY(mMutex) = 0;
    bool mStopping ZEB_GUARDED_BY(mMutex) = false;
    Records mInFlight ZEB_GUARDED_BY(mMutex);
    /** Only the inner thread changes it. */
    Records mDelivering ZEB_GUARDED_BY(mMutex);
};

} // namespace zebdiscovery
