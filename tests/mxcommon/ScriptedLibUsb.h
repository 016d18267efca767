#pragma once

#include <atomic>
#include <functional>
#include <libusb.h>
#include <semaphore>
#include <string>
#include <vector>

/**
 * A libusb in place of the real one, for programs that are linked with it: what comes of transfers is what a
 * test says, and the thread that handles events stands still in between. It writes into the calling thread's
 * record.
 */
class ScriptedLibUsb {
public:
    ScriptedLibUsb();
    ~ScriptedLibUsb();
    ScriptedLibUsb(const ScriptedLibUsb&) = delete;
    ScriptedLibUsb& operator=(const ScriptedLibUsb&) = delete;

    /** One of three, in the order of their addresses; as the owner made it, its callback does onCallback. */
    libusb_transfer* transfer(int number) const { return mTransfers[number - 1]; }
    bool isAsItsOwnerLeftIt(int number) const;
    /** [event-thread] What the owner's callback does. */
    std::function<void(int number)> onCallback = [](int) {};

    /** [owner-thread] Before a cancelled transfer comes back. */
    std::function<void()> onCancel = [] {};

    /** Complete a transfer as the real one does from inside any thread's handling of events. */
    void complete(int number) { mTransfers[number - 1]->callback(mTransfers[number - 1]); }

    /** Wait until the thread asks for events; what it has called up to and with that. */
    std::vector<std::string> awaitQuestion();
    /** Answer it and wait until it asks again; what it has called meanwhile. */
    std::vector<std::string> answer(const std::function<void()>& events, int result = LIBUSB_SUCCESS);
    /** From now on it is answered at once, with what has been cancelled; so with the first that is. */
    void letGo();

    int submitResult = LIBUSB_SUCCESS;

    int submit(libusb_transfer* transfer);
    int cancel(libusb_transfer* transfer);
    int handleEvents(const timeval& timeout);

private:
    static void finished(libusb_transfer* transfer);
    int numberOf(const libusb_transfer* transfer) const;
    int bringBackWhatIsCancelled();

    libusb_transfer* mTransfers[3];
    int mCancelled[3] = {};
    std::atomic<int> mCancelledCount = 0;
    int mBroughtBack = 0;
    std::binary_semaphore mAsked{0};
    std::binary_semaphore mAnswered{0};
    std::function<void()> mEvents;
    int mResult = LIBUSB_SUCCESS;
    std::atomic<bool> mIsLetGo = false;
    std::vector<std::string> mCalls;
};
