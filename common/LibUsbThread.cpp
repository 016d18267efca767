#include "common/LibUsbThread.h"

#include "mxcommon/Assert.h"

#include <libusb.h>

namespace zebdiscovery {

using mxcommon::MutexLock;

namespace {

/** The condition is what users see: it names the member that the context is for. */
void requireContext(const libusb_context* mpLibusbCtx) { ZEB_ASSERT(mpLibusbCtx); }

} // namespace

LibUsbThread::InternalThread::InternalThread(LogHandler* handler, LibUsbThread* owner) :
    Thread(handler, "LibUsbThread"), mpOwner(owner) {}

void LibUsbThread::InternalThread::run() { mpOwner->handleEvents(); }

LibUsbThread::LibUsbThread(libusb_context* context, bool signalling) :
    // Before the first member is built: one that can't be had must not come first.
    mLogHandler((requireContext(context), InternalThread::LogHandler())),
    mInternalThread(&mLogHandler, this),
    mpLibusbCtx(context),
    mSignalling(signalling) {
    mInternalThread.start();
}

LibUsbThread::~LibUsbThread() {
    cancelAll();
    // Should this fail, the process ends: the thread must not see the members go.
    mInternalThread.join();
}

int LibUsbThread::submit(libusb_transfer* transfer) {
    // Held until libusb has the transfer, so that it can neither finish nor be cancelled before.
    MutexLock lock(mMutex);
    if (mStopping) {
        return LIBUSB_ERROR_NO_DEVICE;
    }
    const Record record{transfer->callback, transfer->user_data, false};
    const auto [position, isNew] = mInFlight.emplace(transfer, record);
    if (!isNew) {
        return LIBUSB_ERROR_INVALID_PARAM;
    }
    transfer->callback = &LibUsbThread::markFinished;
    transfer->user_data = this;
    const int error = libusb_submit_transfer(transfer);
    if (error != LIBUSB_SUCCESS) {
        transfer->callback = record.ownersCallback;
        transfer->user_data = record.ownersUserData;
        mInFlight.erase(position);
    }
    return error;
}

bool LibUsbThread::isCurrentThread() { return mInternalThread.isCurrentThread(); }

ZEBDiscovererEventHandle* LibUsbThread::getEventHandle() { return mSignalling ? &mWakeUp.readFd() : nullptr; }

void LibUsbThread::signal() {
    if (mSignalling) {
        mWakeUp.signal();
    }
}

bool LibUsbThread::wasSignalled() { return mSignalling && mWakeUp.consume(); }

void LibUsbThread::waitForTransfer(libusb_transfer* transfer) {
    MutexLock lock(mMutex);
    while (mInFlight.contains(transfer) || mDelivering.contains(transfer)) {
        ++mWaiters;
        mDelivered.wait(lock);
    }
}

void LibUsbThread::markFinished(libusb_transfer* transfer) noexcept {
    auto& self = *static_cast<LibUsbThread*>(transfer->user_data);
    MutexLock lock(self.mMutex);
    self.mInFlight.at(transfer).finished = true;
}

void LibUsbThread::handleEvents() {
    while (!isDone()) {
        timeval timeout{0, 125'000};
        libusb_handle_events_timeout(mpLibusbCtx, &timeout);
        takeFinished();
        if (deliverTaken()) {
            wakeWaiters();
        }
    }
}

bool LibUsbThread::isDone() {
    MutexLock lock(mMutex);
    return mStopping && mInFlight.empty() && mDelivering.empty();
}

void LibUsbThread::takeFinished() {
    MutexLock lock(mMutex);
    for (auto next = mInFlight.begin(); next != mInFlight.end();) {
        const auto position = next++;
        if (position->second.finished) {
            mDelivering.insert(mInFlight.extract(position));
        }
    }
}

bool LibUsbThread::deliverTaken() {
    bool delivered = false;
    while (libusb_transfer* pTransfer = restoreFirstTaken()) {
        if (pTransfer->callback) {
            pTransfer->callback(pTransfer);
        }
        // From here on the transfer may be gone or in flight again.
        forget(pTransfer);
        delivered = true;
    }
    return delivered;
}

libusb_transfer* LibUsbThread::restoreFirstTaken() {
    MutexLock lock(mMutex);
    if (mDelivering.empty()) {
        return nullptr;
    }
    const auto& [pTransfer, record] = *mDelivering.begin();
    pTransfer->callback = record.ownersCallback;
    pTransfer->user_data = record.ownersUserData;
    return pTransfer;
}

void LibUsbThread::forget(libusb_transfer* transfer) {
    MutexLock lock(mMutex);
    mDelivering.erase(transfer);
}

void LibUsbThread::wakeWaiters() {
    MutexLock lock(mMutex);
    for (; mWaiters > 0; --mWaiters) {
        mDelivered.signal();
    }
}

void LibUsbThread::cancelAll() {
    MutexLock lock(mMutex);
    for (const auto& [pTransfer, record] : mInFlight) {
        if (!record.finished) {
            libusb_cancel_transfer(pTransfer);
        }
    }
    mStopping = true;
}

} // namespace zebdiscovery
