// What an event thread and its owner call, in their order, with a libusb that stands still in between.
#include "common/LibUsbThread.h"

#include "tests/mxcommon/OpenedMember.h"
#include "tests/mxcommon/ScriptedLibUsb.h"
#include "tests/mxcommon/SystemFaults.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <thread>

namespace {

using namespace faults;
using testing::ElementsAre;
using testing::IsEmpty;
using zebdiscovery::LibUsbThread;

using Calls = std::vector<std::string>;

constexpr const char* kLocked = "lock and unlock";
constexpr const char* kQuestion = "libusb_handle_events_timeout 0 s and 125000";

/** With "lock and unlock" for a mutex that is locked and unlocked with nothing in between. */
Calls shortened(Calls calls) {
    for (std::size_t i = 0; i + 1 < calls.size(); ++i) {
        if (calls[i] == "pthread_mutex_lock m1" && calls[i + 1] == "pthread_mutex_unlock m1") {
            calls[i] = kLocked;
            calls.erase(calls.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        }
    }
    return calls;
}

/** Tells of each wait that its thread begins, and of its end without one. */
class Waits : public Watcher {
public:
    void about(Call call, const void*) override {
        if (call == kPthreadCondWait) {
            ++count;
            begun.release();
        }
    }

    int count = 0;
    std::counting_semaphore<8> begun{0};
};

class TheCallsOfALibUsbThread : public testing::Test {
protected:
    ~TheCallsOfALibUsbThread() override {
        if (mpThread) {
            mUsb.onCallback = [](int) {}; // what a test's own looks at is gone
            mUsb.letGo();
            mpThread.reset();
        }
    }

    void make(bool signalling = true) {
        mpThread = std::make_unique<LibUsbThread>(reinterpret_cast<libusb_context*>(&mContext), signalling);
    }

    /** Made, and at its first question. */
    void begin(bool signalling = true) {
        make(signalling);
        mUsb.awaitQuestion();
    }

    int submit(int number) { return mpThread->submit(mUsb.transfer(number)); }
    void waitFor(int number) { mpThread->waitForTransfer(mUsb.transfer(number)); }

    ScriptedLibUsb mUsb;
    /** Never looked into. */
    int mContext = 0;
    std::unique_ptr<LibUsbThread> mpThread;
};

TEST_F(TheCallsOfALibUsbThread, MakeItsMembersInOrderThenTheThreadAndDestroyThemInReverse) {
    const Calls made = callsOf([&] {
        make();
        mUsb.awaitQuestion();
        mUsb.letGo();
        mpThread.reset();
    });

    EXPECT_THAT(
        made,
        ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1", "pthread_mutexattr_init",
                    "pthread_mutex_init m2", "pipe", "fcntl F_GETFL the read end",
                    "fcntl F_SETFL the read end", "pthread_mutexattr_init", "pthread_mutex_init m3",
                    "pthread_condattr_init", "pthread_condattr_setclock monotonic", "clock_gettime monotonic",
                    "pthread_cond_init with attributes",
                    // The thread's start.
                    "pthread_mutex_lock m1", "pthread_mutex_lock m2", "pthread_create without attributes",
                    "pthread_mutex_unlock m2", "pthread_mutex_unlock m1",
                    // Nothing to be cancelled, and the thread's end.
                    "pthread_mutex_lock m3", "pthread_mutex_unlock m3", "pthread_mutex_lock m1",
                    "pthread_mutex_lock m2", "pthread_mutex_unlock m2", "pthread_join",
                    "pthread_mutex_lock m2", "pthread_mutex_unlock m2", "pthread_mutex_unlock m1",
                    "pthread_cond_destroy", "pthread_condattr_destroy", "pthread_mutex_destroy m3",
                    "close the read end", "close the write end", "pthread_mutex_lock m1",
                    "pthread_mutex_unlock m1", "pthread_mutex_destroy m2", "pthread_mutex_destroy m1"));
}

TEST_F(TheCallsOfALibUsbThread, DestroyTheMembersWhenThereIsNoThread) {
    const Calls made = callsOf([&] { make(); }, kPthreadCreate, EAGAIN);

    ASSERT_EQ(mpThread, nullptr);
    ASSERT_GE(made.size(), 9u);
    EXPECT_THAT(Calls(made.end() - 9, made.end()),
                ElementsAre("pthread_cond_destroy", "pthread_condattr_destroy", "pthread_mutex_destroy m3",
                            "close the read end", "close the write end", "pthread_mutex_lock m1",
                            "pthread_mutex_unlock m1", "pthread_mutex_destroy m2",
                            "pthread_mutex_destroy m1"));
}

TEST_F(TheCallsOfALibUsbThread, AskWhetherItIsDoneBeforeTheyAskForEvents) {
    make();

    EXPECT_THAT(shortened(mUsb.awaitQuestion()), ElementsAre("prctl LibUsbThread", kLocked, kQuestion));
}

TEST_F(TheCallsOfALibUsbThread, SubmitUnderTheLockWithTheThreadsOwnCallback) {
    begin();

    EXPECT_THAT(callsOf([&] { submit(1); }),
                ElementsAre("pthread_mutex_lock m1", "libusb_submit_transfer t1", "pthread_mutex_unlock m1"));
    EXPECT_THAT(shortened(callsOf([&] { EXPECT_EQ(submit(1), LIBUSB_ERROR_INVALID_PARAM); })),
                ElementsAre(kLocked));
    mUsb.complete(1);
    EXPECT_EQ(submit(1), LIBUSB_ERROR_INVALID_PARAM) << "it has finished and was not delivered";
}

TEST_F(TheCallsOfALibUsbThread, GiveBackWhatLibusbRefuses) {
    begin();
    mUsb.submitResult = LIBUSB_ERROR_BUSY;
    int error = 0;

    EXPECT_THAT(callsOf([&] { error = submit(1); }),
                ElementsAre("pthread_mutex_lock m1", "libusb_submit_transfer t1", "pthread_mutex_unlock m1"));

    EXPECT_EQ(error, LIBUSB_ERROR_BUSY);
    EXPECT_TRUE(mUsb.isAsItsOwnerLeftIt(1));
    EXPECT_THAT(shortened(callsOf([&] { waitFor(1); })), ElementsAre(kLocked));
    mUsb.submitResult = LIBUSB_SUCCESS;
    EXPECT_EQ(submit(1), LIBUSB_SUCCESS);
}

TEST_F(TheCallsOfALibUsbThread, WakeNobodyWhenNothingHasFinished) {
    begin();
    submit(1);

    EXPECT_THAT(shortened(mUsb.answer([] {})), ElementsAre(kLocked, kLocked, kLocked, kQuestion));
}

TEST_F(TheCallsOfALibUsbThread, DeliverEachWithoutTheLockAndThenLookForWaiters) {
    begin();
    submit(1);
    submit(2);
    submit(3);
    bool wasRestoredEarly = false;
    mUsb.onCallback = [&](int number) {
        EXPECT_TRUE(mUsb.isAsItsOwnerLeftIt(number));
        wasRestoredEarly |= number == 1 && mUsb.isAsItsOwnerLeftIt(3);
    };

    const Calls made = mUsb.answer([&] {
        mUsb.complete(3);
        mUsb.complete(1);
    });

    // Two are marked, all finished ones taken; each is restored, delivered and forgotten; there are no
    // more; nobody waits; it is not done.
    EXPECT_THAT(shortened(made),
                ElementsAre(kLocked, kLocked, kLocked, kLocked, "callback t1", kLocked, kLocked,
                            "callback t3", kLocked, kLocked, kLocked, kLocked, kQuestion));
    EXPECT_FALSE(wasRestoredEarly);
    EXPECT_FALSE(mUsb.isAsItsOwnerLeftIt(2));
}

TEST_F(TheCallsOfALibUsbThread, DeliverWhateverTheHandlingOfEventsEndsWith) {
    begin();
    for (const int result : {int{LIBUSB_ERROR_INTERRUPTED}, int{LIBUSB_ERROR_NO_DEVICE}, 1}) {
        submit(1);

        EXPECT_THAT(mUsb.answer([&] { mUsb.complete(1); }, result), testing::Contains("callback t1"));
    }
}

TEST_F(TheCallsOfALibUsbThread, DeliverOnItsThreadWhatAnotherThreadsHandlingOfEventsBrings) {
    begin();
    submit(1);
    bool isOnItsThread = false;
    mUsb.onCallback = [&](int) { isOnItsThread = mpThread->isCurrentThread(); };

    EXPECT_THAT(shortened(callsOf([&] { mUsb.complete(1); })), ElementsAre(kLocked));
    EXPECT_THAT(mUsb.answer([] {}), testing::Contains("callback t1"));

    EXPECT_TRUE(isOnItsThread);
}

TEST_F(TheCallsOfALibUsbThread, LeaveWhatFinishesDuringADeliveryToTheNextRound) {
    begin();
    submit(1);
    submit(2);
    submit(3);
    mUsb.onCallback = [&](int number) {
        if (number == 2) {
            mUsb.complete(1);
            mUsb.complete(3);
            submit(2);
            mUsb.complete(2);
        }
    };
    const auto isCallback = [](const std::string& call) { return call.starts_with("callback"); };
    const auto delivered = [&](Calls calls) {
        std::erase_if(calls, std::not_fn(isCallback));
        return calls;
    };

    EXPECT_THAT(delivered(mUsb.answer([&] { mUsb.complete(2); })), ElementsAre("callback t2"));
    mUsb.onCallback = [](int) {};
    EXPECT_THAT(delivered(mUsb.answer([] {})), ElementsAre("callback t1", "callback t2", "callback t3"));
    EXPECT_THAT(delivered(mUsb.answer([] {})), IsEmpty());
}

TEST_F(TheCallsOfALibUsbThread, WakeEachWaiterOnceUnderTheLockWhenAllIsDelivered) {
    begin();
    submit(1);
    submit(2);
    Waits waits[2];
    Calls waiters[2];
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&, i] {
            const Recording recording;
            state().pWatcher = &waits[i];
            waitFor(1);
            waiters[i] = calls();
        });
        waits[i].begun.acquire();
    }

    const Calls first = mUsb.answer([&] {
        mUsb.complete(1);
        mUsb.complete(2);
    });
    for (auto& thread : threads) {
        thread.join();
    }
    submit(1);
    const Calls second = mUsb.answer([&] { mUsb.complete(1); });

    EXPECT_THAT(shortened(first),
                ElementsAre(kLocked, kLocked, kLocked, kLocked, "callback t1", kLocked, kLocked,
                            "callback t2", kLocked, kLocked, "pthread_mutex_lock m1", "pthread_cond_signal",
                            "pthread_cond_signal", "pthread_mutex_unlock m1", kLocked, kQuestion));
    EXPECT_THAT(second, testing::Not(testing::Contains("pthread_cond_signal")));
    for (const Calls& calls : waiters) {
        EXPECT_THAT(calls,
                    ElementsAre("pthread_mutex_lock m1", "pthread_cond_wait m1", "pthread_mutex_unlock m1"));
    }
}

TEST_F(TheCallsOfALibUsbThread, WaitAgainAfterAWakeUpForAnotherTransfer) {
    begin();
    submit(1);
    submit(2);
    Waits waits;
    std::thread waiter([&] {
        const Recording recording;
        state().pWatcher = &waits;
        waitFor(1);
    });
    waits.begun.acquire();

    mUsb.answer([&] { mUsb.complete(2); });
    waits.begun.acquire();
    mUsb.answer([&] { mUsb.complete(1); });
    waiter.join();

    EXPECT_EQ(waits.count, 2);
}

TEST_F(TheCallsOfALibUsbThread, WaitUntilTheCallbackHasReturned) {
    begin();
    submit(1);
    Waits waits;
    std::binary_semaphore reached{0};
    mUsb.onCallback = [&](int) {
        reached.release();
        waits.begun.acquire();
    };
    std::thread waiter([&] {
        reached.acquire();
        const Recording recording;
        state().pWatcher = &waits;
        waitFor(1);
        // Without a wait the callback is let go from here.
        waits.begun.release();
    });

    mUsb.answer([&] { mUsb.complete(1); });
    waiter.join();

    EXPECT_EQ(waits.count, 1);
}

OPEN(LibUsbThread, mStopping);

TEST_F(TheCallsOfALibUsbThread, CancelOnlyWhatHasNotFinishedUnderTheLockBeforeTheJoin) {
    begin();
    submit(1);
    submit(2);
    submit(3);
    mUsb.complete(2);
    LibUsbThread* const pThread = mpThread.get();
    std::vector<int> delivered;
    std::vector<int> errors;
    mUsb.onCallback = [&](int number) {
        delivered.push_back(number);
        errors.push_back(pThread->submit(mUsb.transfer(number)));
    };

    bool wasStopping = false;
    mUsb.onCancel = [&] { wasStopping |= pThread->*OPENED(LibUsbThread, mStopping); };

    // The first that is cancelled lets the event thread go.
    const Calls made = callsOf([&] { mpThread.reset(); });

    EXPECT_FALSE(wasStopping);
    ASSERT_GE(made.size(), 8u);
    EXPECT_THAT(Calls(made.begin(), made.begin() + 8),
                ElementsAre("pthread_mutex_lock m1", "libusb_cancel_transfer t1", "libusb_cancel_transfer t3",
                            "pthread_mutex_unlock m1", "pthread_mutex_lock m2", "pthread_mutex_lock m3",
                            "pthread_mutex_unlock m3", "pthread_join"));
    EXPECT_THAT(delivered, testing::UnorderedElementsAre(1, 2, 3));
    EXPECT_THAT(errors, testing::Each(LIBUSB_ERROR_NO_DEVICE));
}

TEST_F(TheCallsOfALibUsbThread, AnnounceACompletionOnlyWhereTheOwnerDoes) {
    begin();
    submit(1);
    submit(2);
    mUsb.onCallback = [&](int number) {
        if (number == 2) {
            mpThread->signal();
        }
    };

    mUsb.answer([&] { mUsb.complete(1); });
    EXPECT_FALSE(mpThread->wasSignalled());
    const Calls made = mUsb.answer([&] { mUsb.complete(2); });

    EXPECT_EQ(std::count(made.begin(), made.end(), "write another"), 1);
    EXPECT_THAT(callsOf([&] { EXPECT_TRUE(mpThread->wasSignalled()); }), ElementsAre("read another"));
}

TEST_F(TheCallsOfALibUsbThread, AreNoneForSignalsWithoutSignalling) {
    begin(false);

    EXPECT_THAT(callsOf([&] {
                    mpThread->signal();
                    EXPECT_FALSE(mpThread->wasSignalled());
                    EXPECT_EQ(mpThread->getEventHandle(), nullptr);
                }),
                IsEmpty());
}

} // namespace
