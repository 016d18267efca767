#include "tests/mxcommon/LibUsbThreadFixture.h"

#include <latch>
#include <thread>

namespace {

using zebdiscovery::LibUsbThread;

class WithTransfersInFlight : public ALibUsbThread {
protected:
    void destroyWith(int count) {
        // Callbacks come while the fixture's pointer is being reset.
        LibUsbThread* const pThread = mpThread.get();
        std::vector<std::unique_ptr<OwnTransfer>> transfers;
        std::atomic<int> refused = 0;
        for (int i = 0; i < count; ++i) {
            transfers.push_back(transfer(kIsSilent, [&](OwnTransfer& self) {
                refused += pThread->submit(self.get()) == LIBUSB_ERROR_NO_DEVICE ? 1 : 0;
            }));
            EXPECT_EQ(mpThread->submit(transfers.back()->get()), LIBUSB_SUCCESS);
        }

        mpThread.reset();

        for (const auto& transfer : transfers) {
            EXPECT_EQ(transfer->callbacks(), 1);
            EXPECT_EQ(transfer->status(), LIBUSB_TRANSFER_CANCELLED);
            EXPECT_TRUE(transfer->isAsItsOwnerLeftIt());
        }
        EXPECT_EQ(refused, count);
    }
};

TEST_P(WithTransfersInFlight, OneIsCancelledDeliveredAndNotTakenAgainByDestruction) { destroyWith(1); }

TEST_P(WithTransfersInFlight, SixtyFourAreCancelledDeliveredAndNotTakenAgainByDestruction) {
    destroyWith(64);
}

TEST_P(WithTransfersInFlight, DestructionDeliversWhatHasFinishedMeanwhile) {
    std::latch reached(1);
    LibUsbThread* const pThread = mpThread.get();
    std::unique_ptr<OwnTransfer> waiting = transfer(kIsSilent);
    std::unique_ptr<OwnTransfer> answered = transfer(kAnswers);
    const auto gate = transfer(kAnswers, [&](OwnTransfer&) {
        EXPECT_EQ(pThread->submit(answered->get()), LIBUSB_SUCCESS);
        EXPECT_EQ(pThread->submit(waiting->get()), LIBUSB_SUCCESS);
        reached.count_down();
        // -2 as long as it is in flight, -4 once destruction has begun.
        while (pThread->submit(waiting->get()) == LIBUSB_ERROR_INVALID_PARAM) {
            std::this_thread::yield();
        }
        EXPECT_EQ(pThread->submit(waiting->get()), LIBUSB_ERROR_NO_DEVICE);
    });

    pThread->submit(gate->get());
    reached.wait();
    mpThread.reset();

    EXPECT_EQ(gate->callbacks(), 1);
    EXPECT_EQ(answered->callbacks(), 1);
    EXPECT_EQ(waiting->callbacks(), 1);
    EXPECT_EQ(waiting->status(), LIBUSB_TRANSFER_CANCELLED);
}

TEST_P(WithTransfersInFlight, WaitingReturnsAtOnceForATransferItDoesNotHave) {
    const auto busy = transfer(kIsSilent);
    const auto other = transfer(kAnswers);
    mpThread->submit(busy->get());

    mpThread->waitForTransfer(other->get());

    EXPECT_EQ(busy->callbacks(), 0);
    mpThread.reset();
}

/** Eight threads that each wait for one of the transfers, all waiting when they finish. */
void waitFromEightThreads(LibUsbThread& thread, const std::vector<OwnTransfer*>& transfers,
                          const std::function<void()>& finish) {
    std::latch ready(8);
    std::atomic<int> early = 0;
    std::vector<std::thread> waiters;
    for (std::size_t i = 0; i < 8; ++i) {
        OwnTransfer& transfer = *transfers[i % transfers.size()];
        waiters.emplace_back([&] {
            ready.count_down();
            thread.waitForTransfer(transfer.get());
            early += transfer.callbacks() == 1 ? 0 : 1;
        });
    }
    ready.wait();
    finish();
    for (auto& waiter : waiters) {
        waiter.join();
    }

    EXPECT_EQ(early, 0);
}

TEST_P(WithTransfersInFlight, EightThreadsWaitForTheSameOne) {
    for (int round = 0; round < 20; ++round) {
        const auto shared = transfer(kIsSilent);
        mpThread->submit(shared->get());

        waitFromEightThreads(*mpThread, {shared.get()}, [&] { libusb_cancel_transfer(shared->get()); });
    }
}

TEST_P(WithTransfersInFlight, EightThreadsWaitForOneEach) {
    std::vector<std::unique_ptr<OwnTransfer>> owned;
    std::vector<OwnTransfer*> transfers;
    for (int i = 0; i < 8; ++i) {
        owned.push_back(transfer(kIsSilent));
        transfers.push_back(owned.back().get());
        mpThread->submit(transfers.back()->get());
    }

    waitFromEightThreads(*mpThread, transfers, [&] {
        for (const OwnTransfer* pTransfer : transfers) {
            libusb_cancel_transfer(pTransfer->get());
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Signalling, WithTransfersInFlight, testing::Values(true));
INSTANTIATE_TEST_SUITE_P(NotSignalling, WithTransfersInFlight, testing::Values(false));

} // namespace
