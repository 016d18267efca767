// From the first request to the last: what each step calls, in its order, and what each outcome changes.
#include "tests/handshake/Sequence.h"

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

constexpr std::size_t kSerial = 6;
constexpr std::size_t kStartRequest = 7;
constexpr int kStatusCancelled = 3;

class ATransfer : public ASequence {
protected:
    using ASequence::ASequence;

    /** An event in which a transfer came back, and what that has led to; the command is awaited further. */
    Calls event(const Call& came, const Calls& steps) const {
        Calls all = {timer(-1), events(), came};
        all.insert(all.end(), steps.begin(), steps.end());
        all.push_back(timer(3'000'000));
        return all;
    }
};

TEST_F(ATransfer, ThatWasAnsweredSendsTheNextStringFromInsideTheEvent) {
    for (std::size_t transfer = 0; transfer < kSerial; ++transfer) {
        SCOPED_TRACE(kTransfers[transfer].name);
        advanceTo(transfer);

        rig.completeOne();

        EXPECT_EQ(taken(),
                  event(finished(0, kTransfers[transfer].length), {submitted(kSetups[transfer + 1])}));
    }
}

TEST_F(ATransfer, OfTheLastStringSaysSoBeforeItArmsTheTimer) {
    advanceTo(kSerial);

    rig.completeOne();

    ASSERT_THAT(rig.host.handleTimers(), SizeIs(1));
    const void* const wakeHandle = rig.host.handleTimers().begin()->first;
    EXPECT_EQ(taken(),
              event(finished(0, 13), {line(30, "Setting AAP timer."),
                                      {"setTimerForHandle", {rig.host.discoverer, wakeHandle, 1'000'000}}}));
}

TEST_F(ATransfer, OfTheStartIsAnnouncedBeforeItIsSent) {
    advanceToTimer();

    rig.host.advance(1'000'000);

    EXPECT_EQ(taken(), (Calls{line(30, "Asking AAP device to switch to accessory mode"),
                              submitted(kSetups[kStartRequest])}));
}

TEST_F(ATransfer, OfTheStartLooksAtLibusbOnceMoreWhenAnswered) {
    advanceTo(kStartRequest);

    rig.completeOne();

    EXPECT_EQ(taken(), event(finished(0, 0), {events()}));
}

PhoneDescription phoneOfVersionZero() {
    PhoneDescription description = loadPhone("accessory");
    description.protocolVersion = 0;
    return description;
}

class AVersionOfZero : public ATransfer {
protected:
    AVersionOfZero() : ATransfer(phoneOfVersionZero()) {}
};

TEST_F(AVersionOfZero, EndsTheEntityWithALineAndNoOtherRequest) {
    advanceTo(0);

    rig.completeOne();

    EXPECT_EQ(taken(), (Calls{timer(-1), events(), finished(0, 2),
                              line(10, "Unknown AAP protocol version returned 0"), lost()}));
}

class ARefusedTransfer : public ATransfer, public WithParamInterface<std::size_t> {
protected:
    ARefusedTransfer() : ATransfer(phoneThatReacts(Reaction::RefusedNoDevice, GetParam())) {}
};

TEST_P(ARefusedTransfer, OfAStringIsLoggedAndEndsTheHandshake) {
    const std::size_t transfer = GetParam();
    advanceTo(transfer - 1);

    rig.completeOne();

    EXPECT_EQ(taken(),
              (Calls{timer(-1), events(), finished(0, kTransfers[transfer - 1].length),
                     submitted(kSetups[transfer]),
                     line(10, "Submission of control transfer failed, error -4"), timer(1'000'000)}));
    rig.host.entry.stop(rig.host.discoverer);
    EXPECT_EQ(taken(), (Calls{transferFreed(), closed(), ended(), timer(-1), stopped()}))
        << "none is pending";
}

INSTANTIATE_TEST_SUITE_P(OfTheStrings, ARefusedTransfer, Range<std::size_t>(1, kStartRequest));

class ARefusedStart : public ATransfer {
protected:
    ARefusedStart() : ATransfer(phoneThatReacts(Reaction::RefusedNoMemory, kStartRequest)) {}
};

TEST_F(ARefusedStart, IsAnnouncedAllTheSame) {
    advanceToTimer();

    rig.host.advance(1'000'000);

    EXPECT_EQ(taken(), (Calls{line(30, "Asking AAP device to switch to accessory mode"),
                              submitted(kSetups[kStartRequest]),
                              line(10, "Submission of control transfer failed, error -1"),
                              line(10, "Failed to send AAP request")}));
}

// Of an entity's ten tries.
TEST_F(ARefusedStart, IsTheLastTryOfAnEntityThatHasNoOther) {
    advanceToTimer();
    for (int tries = 10; tries > 1; --tries)
        rig.host.expireEntityTimer(rig.entity);
    ASSERT_EQ(rig.lostCalls(), 0);

    expireTimer();

    EXPECT_EQ(rig.lostCalls(), 1);
}

TEST_F(ATransfer, OfTheStartIsNoTry) {
    advanceToTimer();
    for (int tries = 10; tries > 1; --tries)
        rig.host.expireEntityTimer(rig.entity);

    expireTimer();

    EXPECT_EQ(rig.lostCalls(), 0);
    rig.host.expireEntityTimer(rig.entity);
    EXPECT_EQ(rig.lostCalls(), 1) << "one was left";
}

enum class After { GoesOn, Waits, Lost, Retries };

/** What libusb may tell of a transfer of which all or less has moved. */
struct Ending {
    const char* name;
    int status;
    bool whole;
    After after;
    const char* text;
};

const Ending kEndings[] = {
    {"Completed", 0, true, After::GoesOn, ""},
    {"CompletedShort", 0, false, After::Lost,
     "USB transfer failed to be transfered completely (%1 instead of %2)"},
    {"Failed", 1, true, After::Retries, "USB transfer failed with status 1"},
    {"TimedOutWhole", 2, true, After::GoesOn, ""},
    {"TimedOutShort", 2, false, After::Lost,
     "USB transfer failed to be transfered completely (%1 instead of %2)"},
    {"Cancelled", kStatusCancelled, true, After::Waits, ""},
    {"CancelledShort", kStatusCancelled, false, After::Waits, ""},
    {"Stalled", 4, true, After::Retries, "USB transfer failed with status 4"},
    {"WithoutADevice", 5, true, After::Retries, "USB transfer failed with status 5"},
    {"Overflowed", 6, true, After::Retries, "USB transfer failed with status 6"},
    {"Unknown", 7, true, After::Waits, ""},
};

class AnEnding : public ATransfer, public WithParamInterface<std::tuple<Ending, std::size_t>> {
protected:
    /** Of data one byte less has moved; where there is none, one byte too many. */
    int lengthOf(const Ending& ending, std::size_t transfer) const {
        const int all = kTransfers[transfer].length;
        return ending.whole ? all : (all > 0 ? all - 1 : 1);
    }
    static std::string textOf(const Ending& ending, int length, std::size_t transfer) {
        std::string text = ending.text;
        if (const auto at = text.find("%1"); at != std::string::npos)
            text.replace(at, 2, std::to_string(length));
        if (const auto at = text.find("%2"); at != std::string::npos)
            text.replace(at, 2, std::to_string(kTransfers[transfer].length));
        return text;
    }
    Calls expected(const Ending& ending, int length, std::size_t transfer) const {
        const Call came = finished(ending.status, length);
        const Call said = line(10, textOf(ending, length, transfer).c_str());
        const Call next = transfer == kStartRequest ? events() : submitted(kSetups[transfer + 1]);
        switch (ending.after) {
        case After::GoesOn:
            return event(came, {next});
        case After::Waits:
            return event(came, {});
        case After::Lost:
            return {timer(-1), events(), came, said, lost()};
        default:
            return {timer(-1), events(), came, said, timer(1'000'000)};
        }
    }
};

TEST_P(AnEnding, HasItsStepsAndNoOthers) {
    const auto& [ending, transfer] = GetParam();
    const int length = lengthOf(ending, transfer);
    advanceTo(transfer);

    completeAs(ending.status, length);

    if (ending.status == 4 && transfer == 0)
        EXPECT_EQ(taken(), (Calls{timer(-1), events(), finished(4, length),
                                  line(30, "Device doesn't support AAP protocol"), lost()}));
    else
        EXPECT_EQ(taken(), expected(ending, length, transfer));
}

std::string nameOfEnding(const TestParamInfo<std::tuple<Ending, std::size_t>>& info) {
    return std::get<0>(info.param).name + std::string("At") + std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(OfARequest, AnEnding,
                         Combine(ValuesIn(kEndings), Values<std::size_t>(0, 1, 4, kStartRequest)),
                         nameOfEnding);

class ACancelledTransfer : public ATransfer, public WithParamInterface<std::size_t> {
protected:
    /** The transfer came back cancelled, though nobody asked for it. */
    void cancel() {
        advanceTo(GetParam());
        completeAs(kStatusCancelled, 0);
        rig.host.takeRecord();
    }
};

TEST_P(ACancelledTransfer, IsNotPendingAnyMore) {
    cancel();

    rig.host.entry.stop(rig.host.discoverer);

    EXPECT_EQ(taken(), (Calls{transferFreed(), closed(), ended(), timer(-1), stopped()}));
}

TEST_P(ACancelledTransfer, LeavesTheHandshakeWhereItWas) {
    const std::size_t transfer = GetParam();
    cancel();

    // As if it had come back a second time, complete.
    usb.transfer->status = LIBUSB_TRANSFER_COMPLETED;
    usb.transfer->actual_length = kTransfers[transfer].length;
    usb.transfer->callback(usb.transfer);

    const Call next = transfer == kStartRequest ? events() : submitted(kSetups[transfer + 1]);
    EXPECT_EQ(taken(), Calls{next});
}

INSTANTIATE_TEST_SUITE_P(AtMostMoments, ACancelledTransfer, Values<std::size_t>(0, 1, 3, 5, kStartRequest));

TEST_F(ATransfer, ThatComesBackWhenThereIsNoneAnyMoreIsLookedAtAllTheSame) {
    advanceTo(kStartRequest);
    rig.completeOne();
    libusb_transfer late = *usb.transfer; // as it was, with the plug-in's callback
    rig.host.entry.stop(rig.host.discoverer);
    taken();

    late.status = LIBUSB_TRANSFER_ERROR;
    late.callback(&late);

    EXPECT_EQ(taken(), Calls{line(10, "USB transfer failed with status 1")});
}

// Everything is made in the child: threads do not survive the fork.
TEST(ATransferDeathTest, ThatIsAnotherStopsTheProcess) {
    EXPECT_DEATH(
        {
            Rig rig;
            rig.advanceTo(kStartRequest);
            rig.completeOne();
            libusb_transfer other = *LibUsbSpy::instance().transfer;
            other.callback(&other);
        },
        "AAPUsbEntity::transferFinished.*Assertion `transfer == mpUsbTransfer \\|\\| !mpUsbTransfer' failed");
}

} // namespace
} // namespace zebtest
