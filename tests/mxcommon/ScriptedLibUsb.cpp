#include "tests/mxcommon/ScriptedLibUsb.h"

#include "tests/mxcommon/SystemFaults.h"

#include <algorithm>
#include <iterator>
#include <thread>

namespace {

ScriptedLibUsb* gpScript = nullptr;

} // namespace

ScriptedLibUsb::ScriptedLibUsb() {
    std::generate(std::begin(mTransfers), std::end(mTransfers), [] { return libusb_alloc_transfer(0); });
    std::sort(std::begin(mTransfers), std::end(mTransfers), std::less<>());
    for (libusb_transfer* pTransfer : mTransfers) {
        pTransfer->callback = &ScriptedLibUsb::finished;
        pTransfer->user_data = this;
    }
    gpScript = this;
}

ScriptedLibUsb::~ScriptedLibUsb() {
    gpScript = nullptr;
    std::for_each(std::begin(mTransfers), std::end(mTransfers), libusb_free_transfer);
}

bool ScriptedLibUsb::isAsItsOwnerLeftIt(int number) const {
    return transfer(number)->callback == &ScriptedLibUsb::finished && transfer(number)->user_data == this;
}

std::vector<std::string> ScriptedLibUsb::awaitQuestion() {
    mAsked.acquire();
    return mCalls;
}

std::vector<std::string> ScriptedLibUsb::answer(const std::function<void()>& events, int result) {
    mEvents = events;
    mResult = result;
    mAnswered.release();
    return awaitQuestion();
}

void ScriptedLibUsb::letGo() {
    if (mIsLetGo.exchange(true)) {
        return; // its thread may be calling mEvents
    }
    mEvents = [] {};
    mAnswered.release();
}

int ScriptedLibUsb::submit(libusb_transfer* transfer) {
    const bool isTheOwners = transfer->callback == &ScriptedLibUsb::finished || transfer->user_data == this;
    faults::note("libusb_submit_transfer", isTheOwners ? "the owner's t" : "t", numberOf(transfer));
    return submitResult;
}

int ScriptedLibUsb::cancel(libusb_transfer* transfer) {
    faults::note("libusb_cancel_transfer", "t", numberOf(transfer));
    onCancel();
    mCancelled[mCancelledCount] = numberOf(transfer);
    if (mCancelledCount++ == 0) {
        letGo();
    }
    return LIBUSB_SUCCESS;
}

int ScriptedLibUsb::handleEvents(const timeval& timeout) {
    if (mIsLetGo) {
        return bringBackWhatIsCancelled();
    }
    const std::string seconds = std::to_string(timeout.tv_sec) + " s and ";
    faults::note("libusb_handle_events_timeout", seconds.c_str(), static_cast<int>(timeout.tv_usec));
    mCalls = faults::calls();
    faults::state() = faults::State();
    mAsked.release();
    mAnswered.acquire();
    mEvents();
    return mResult;
}

void ScriptedLibUsb::finished(libusb_transfer* transfer) {
    auto& self = *static_cast<ScriptedLibUsb*>(transfer->user_data);
    faults::note("callback", "t", self.numberOf(transfer));
    self.onCallback(self.numberOf(transfer));
}

int ScriptedLibUsb::numberOf(const libusb_transfer* transfer) const {
    return static_cast<int>(std::find(std::begin(mTransfers), std::end(mTransfers), transfer) -
                            std::begin(mTransfers)) +
           1;
}

int ScriptedLibUsb::bringBackWhatIsCancelled() {
    std::this_thread::yield();
    for (; mBroughtBack < mCancelledCount; ++mBroughtBack) {
        complete(mCancelled[mBroughtBack]);
    }
    return LIBUSB_SUCCESS;
}

// Win over libusb's own.
extern "C" {

int libusb_submit_transfer(libusb_transfer* transfer) { return gpScript->submit(transfer); }
int libusb_cancel_transfer(libusb_transfer* transfer) { return gpScript->cancel(transfer); }
int libusb_handle_events_timeout(libusb_context*, timeval* timeout) {
    const int result = gpScript->handleEvents(*timeout);
    // Its to change: who asks again says again for how long.
    *timeout = {};
    return result;
}
}
