#include "tests/mxcommon/LibUsbThreadFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <dlfcn.h>
#include <latch>
#include <poll.h>
#include <pthread.h>
#include <thread>

namespace {

using zebdiscovery::LibUsbThread;

/** For how long libusb was last asked to wait for events. */
std::atomic<std::int64_t> gMicrosecondsOfWait = -1;

} // namespace

// Wins over libusb's own.
extern "C" int libusb_handle_events_timeout(libusb_context* context, timeval* timeout) {
    gMicrosecondsOfWait = std::int64_t{timeout->tv_sec} * 1'000'000 + timeout->tv_usec;
    static const auto real = reinterpret_cast<decltype(&libusb_handle_events_timeout)>(
        dlsym(RTLD_NEXT, "libusb_handle_events_timeout"));
    return real(context, timeout);
}

namespace {

bool isReadableWithin(int fd, int milliseconds) {
    pollfd poll{fd, POLLIN, 0};
    return ::poll(&poll, 1, milliseconds) == 1;
}

TEST_P(ALibUsbThread, DeliversACompletionOnceOnItsOwnThread) {
    bool onInnerThread = false;
    char name[16] = {};
    const auto answered = transfer(kAnswers, [&](OwnTransfer&) {
        onInnerThread = mpThread->isCurrentThread();
        pthread_getname_np(pthread_self(), name, sizeof name);
    });

    EXPECT_EQ(statusOf(*answered), LIBUSB_TRANSFER_COMPLETED);

    EXPECT_EQ(answered->callbacks(), 1);
    EXPECT_TRUE(onInnerThread);
    EXPECT_FALSE(mpThread->isCurrentThread());
    EXPECT_STREQ(name, "LibUsbThread");
    EXPECT_EQ(mPhone->received().size(), 1u);
}

TEST_P(ALibUsbThread, WaitsForAnEighthOfASecondAtATime) {
    statusOf(*transfer(kAnswers));

    EXPECT_EQ(gMicrosecondsOfWait, 125'000);
}

TEST_P(ALibUsbThread, DeliversAStall) {
    const auto stalled = transfer(kStalls);

    EXPECT_EQ(statusOf(*stalled), LIBUSB_TRANSFER_STALL);
    EXPECT_EQ(stalled->callbacks(), 1);
}

TEST_P(ALibUsbThread, DeliversATimeOut) {
    const auto late = transfer(kIsSilent, {}, 20);

    EXPECT_EQ(statusOf(*late), LIBUSB_TRANSFER_TIMED_OUT);
    EXPECT_EQ(late->callbacks(), 1);
}

TEST_P(ALibUsbThread, DeliversACancelledTransfer) {
    const auto cancelled = transfer(kIsSilent);
    mpThread->submit(cancelled->get());

    EXPECT_EQ(libusb_cancel_transfer(cancelled->get()), LIBUSB_SUCCESS);
    mpThread->waitForTransfer(cancelled->get());

    EXPECT_EQ(cancelled->status(), LIBUSB_TRANSFER_CANCELLED);
    EXPECT_EQ(cancelled->callbacks(), 1);
}

TEST_P(ALibUsbThread, DeliversWhatWasInFlightWhenThePhoneIsUnplugged) {
    const auto waiting = transfer(kIsSilent);
    const auto fatal = transfer(kUnplugs);
    mpThread->submit(waiting->get());

    EXPECT_EQ(statusOf(*fatal), LIBUSB_TRANSFER_NO_DEVICE);
    mpThread->waitForTransfer(waiting->get());

    EXPECT_EQ(waiting->status(), LIBUSB_TRANSFER_NO_DEVICE);
    EXPECT_EQ(waiting->callbacks(), 1);
    EXPECT_EQ(fatal->callbacks(), 1);
    EXPECT_EQ(mpThread->submit(waiting->get()), LIBUSB_ERROR_NO_DEVICE);
}

TEST_P(ALibUsbThread, RefusesATransferThatIsInFlight) {
    const auto twice = transfer(kIsSilent);
    EXPECT_EQ(mpThread->submit(twice->get()), LIBUSB_SUCCESS);

    EXPECT_EQ(mpThread->submit(twice->get()), LIBUSB_ERROR_INVALID_PARAM);
    EXPECT_EQ(mpThread->submit(twice->get()), -2);

    libusb_cancel_transfer(twice->get());
    mpThread->waitForTransfer(twice->get());
    EXPECT_EQ(twice->callbacks(), 1);
}

TEST_P(ALibUsbThread, GivesATransferBackThatLibusbDoesNotTake) {
    const auto gone = transfer(kRefusesNoDevice);
    const auto noMemory = transfer(kRefusesNoMemory);

    EXPECT_EQ(mpThread->submit(gone->get()), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(mpThread->submit(noMemory->get()), LIBUSB_ERROR_IO);
    // It is no longer in flight, so libusb is asked again.
    EXPECT_EQ(mpThread->submit(noMemory->get()), LIBUSB_ERROR_IO);
    mpThread->waitForTransfer(noMemory->get());

    EXPECT_TRUE(gone->isAsItsOwnerLeftIt());
    EXPECT_TRUE(noMemory->isAsItsOwnerLeftIt());
    EXPECT_EQ(gone->callbacks() + noMemory->callbacks(), 0);
}

TEST_P(ALibUsbThread, DeliversWhatFinishesBeforeSubmitHasReturned) {
    // The phone answers inside the very call that submits.
    const auto quick = transfer(kAnswers);

    for (int round = 1; round <= 100; ++round) {
        ASSERT_EQ(statusOf(*quick), LIBUSB_TRANSFER_COMPLETED);
        ASSERT_EQ(quick->callbacks(), round);
    }
}

TEST_P(ALibUsbThread, LetsACallbackSubmitItsTransferAgain) {
    std::vector<int> errors;
    const auto again = transfer(kAnswers, [&](OwnTransfer& self) {
        if (self.callbacks() < 4) {
            errors.push_back(mpThread->submit(self.get()));
        }
    });

    statusOf(*again);

    EXPECT_EQ(again->callbacks(), 4);
    EXPECT_THAT(errors, testing::ElementsAre(0, 0, 0));
    EXPECT_TRUE(again->isAsItsOwnerLeftIt());
}

TEST_P(ALibUsbThread, DeliversOnceWhatIsCancelledWhileItIsBeingDelivered) {
    int error = 0;
    const auto late =
        transfer(kAnswers, [&](OwnTransfer& self) { error = libusb_cancel_transfer(self.get()); });

    EXPECT_EQ(statusOf(*late), LIBUSB_TRANSFER_COMPLETED);

    EXPECT_EQ(error, LIBUSB_ERROR_NOT_FOUND);
    EXPECT_EQ(late->callbacks(), 1);
}

TEST_P(ALibUsbThread, LetsACallbackFreeItsTransfer) {
    const auto freed = transfer(kAnswers, [](OwnTransfer& self) { self.free(); });
    libusb_transfer* const pTransfer = freed->get();

    mpThread->submit(pTransfer);
    mpThread->waitForTransfer(pTransfer);

    EXPECT_EQ(freed->callbacks(), 1);
}

TEST_P(ALibUsbThread, NeedsNoCallback) {
    const auto silent = transfer(kAnswers);
    silent->get()->callback = nullptr;

    mpThread->submit(silent->get());
    mpThread->waitForTransfer(silent->get());

    EXPECT_EQ(silent->get()->status, LIBUSB_TRANSFER_COMPLETED);
    EXPECT_EQ(silent->get()->callback, nullptr);
}

TEST_P(ALibUsbThread, DeliversInTheOrderOfItsMap) {
    constexpr int kCount = 6;
    std::latch reached(1);
    std::latch released(1);
    std::vector<libusb_transfer*> delivered;
    const auto gate = transfer(kAnswers, [&](OwnTransfer&) {
        reached.count_down();
        released.wait();
    });
    std::vector<std::unique_ptr<OwnTransfer>> transfers;
    std::vector<libusb_transfer*> expected;
    for (int i = 0; i < kCount; ++i) {
        transfers.push_back(transfer(kAnswers, [&](OwnTransfer& self) { delivered.push_back(self.get()); }));
        expected.push_back(transfers.back()->get());
    }
    std::sort(expected.begin(), expected.end(), std::less<>());

    // While the gate's callback holds the thread up, the others finish in the opposite order.
    mpThread->submit(gate->get());
    reached.wait();
    std::for_each(expected.rbegin(), expected.rend(), [&](auto* t) { mpThread->submit(t); });
    released.count_down();
    for (const auto& transfer : transfers) {
        mpThread->waitForTransfer(transfer->get());
    }

    EXPECT_EQ(delivered, expected);
}

TEST_P(ALibUsbThread, WakesItsOwnerOnlyWithSignalling) {
    const bool signalling = GetParam();
    const auto answered = transfer(kAnswers, [&](OwnTransfer&) { mpThread->signal(); });
    ASSERT_EQ(mpThread->getEventHandle() != nullptr, signalling);
    EXPECT_FALSE(mpThread->wasSignalled());

    statusOf(*answered);

    if (signalling) {
        EXPECT_TRUE(isReadableWithin(*mpThread->getEventHandle(), 0));
    }
    EXPECT_EQ(mpThread->wasSignalled(), signalling);
    EXPECT_FALSE(mpThread->wasSignalled());
}

TEST_P(ALibUsbThread, GivesBackAsManyWakeUpsAsItWasGiven) {
    for (int i = 0; i < 3; ++i) {
        mpThread->signal();
    }

    int taken = 0;
    while (mpThread->wasSignalled()) {
        ++taken;
    }

    EXPECT_EQ(taken, GetParam() ? 3 : 0);
}

TEST(ALibUsbThreadDeathTest, StopsWithoutAContext) {
    EXPECT_DEATH(LibUsbThread(nullptr, false), "LibUsbThread.cpp:.*Assertion `mpLibusbCtx' failed");
}

TEST_P(ALibUsbThread, DeliversEachOfEightTimesAThousandTransfersOnce) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 250;
    constexpr Treatment kRound[] = {kAnswers, kStalls, kIsSilent, kAnswers};
    std::atomic<int> wrong = 0;
    std::atomic<int> delivered = 0;
    const auto submitRounds = [&] {
        std::vector<std::unique_ptr<OwnTransfer>> own;
        for (const Treatment treatment : kRound) {
            own.push_back(transfer(treatment, [&](OwnTransfer&) { ++delivered; }));
        }
        for (int round = 1; round <= kRounds; ++round) {
            for (const auto& transfer : own) {
                wrong += mpThread->submit(transfer->get()) == LIBUSB_SUCCESS ? 0 : 1;
            }
            libusb_cancel_transfer(own[2]->get());
            for (const auto& transfer : own) {
                mpThread->waitForTransfer(transfer->get());
                wrong += transfer->callbacks() == round ? 0 : 1;
            }
        }
    };

    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(submitRounds);
    }
    for (auto& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(delivered, kThreads * 1'000);
}

INSTANTIATE_TEST_SUITE_P(Signalling, ALibUsbThread, testing::Values(true));
INSTANTIATE_TEST_SUITE_P(NotSignalling, ALibUsbThread, testing::Values(false));

} // namespace
