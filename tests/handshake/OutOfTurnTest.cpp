// Timers and events that come when nothing is due: what they change, and what they leave alone.
#include "tests/handshake/Sequence.h"

#include <ostream>

using namespace testing;

namespace zebtest {
namespace {

class ALateTimeout : public ASequence {};

TEST_F(ALateTimeout, OfAnEntityThatIsNotSupportedReportsItLostAgain) {
    advanceTo(0);
    completeAs(LIBUSB_TRANSFER_STALL, 0);
    ASSERT_EQ(rig.lostCalls(), 1);
    taken();

    rig.host.expireEntityTimer(rig.entity);
    EXPECT_EQ(taken(), Calls{lost()});
    rig.host.expireEntityTimer(rig.entity);
    EXPECT_EQ(taken(), Calls{lost()});
}

TEST_F(ALateTimeout, OfAnEntityThatFailedSpendsATryAndNoRequest) {
    advanceTo(1);
    completeAs(LIBUSB_TRANSFER_ERROR, 0);
    taken();

    rig.host.expireEntityTimer(rig.entity);

    EXPECT_EQ(taken(), Calls{timer(1'000'000)});
}

TEST_F(ALateTimeout, OfAnEntityThatIsUnderWayOpensNothingAgain) {
    for (const std::size_t transfer : {0U, 1U, 6U, 7U}) {
        SCOPED_TRACE(kTransfers[transfer].name);
        advanceTo(transfer);

        rig.host.expireEntityTimer(rig.entity);

        EXPECT_EQ(taken(), Calls{timer(3'000'000)});
        EXPECT_EQ(rig.phone->pending(), 1U);
    }
}

TEST_F(ALateTimeout, OfTheWakeEventIsOnlyForWhereItIsAwaited) {
    for (std::size_t transfer = 0; transfer < kTransfers.size(); ++transfer) {
        SCOPED_TRACE(kTransfers[transfer].name);
        advanceTo(transfer);

        expireTimer();

        EXPECT_EQ(taken(), Calls{});
    }
    rig.completeOne();
    taken();
    expireTimer();
    EXPECT_EQ(taken(), Calls{}) << "all has been sent";
}

TEST_F(ALateTimeout, OfTheWakeEventDoesNothingToAnEntityThatIsAtItsEnd) {
    for (const int status : {LIBUSB_TRANSFER_STALL, LIBUSB_TRANSFER_ERROR}) {
        advanceTo(0);
        completeAs(status, 0);
        taken();

        expireTimer();

        EXPECT_EQ(taken(), Calls{});
        rig.host.entry.stop(rig.host.discoverer);
        rig.host.entry.start(rig.host.discoverer);
    }
}

// Events when nothing has happened.

class AnEvent : public ASequence {};

TEST_F(AnEvent, LooksAtLibusbOnceWithoutWaiting) {
    advanceTo(2);

    wake();

    EXPECT_EQ(taken(), (Calls{timer(-1), events(), timer(3'000'000)}));
}

TEST_F(AnEvent, OfAnEntityThatFailedDoesNotLookAtLibusb) {
    advanceTo(2);
    completeAs(LIBUSB_TRANSFER_ERROR, 0);
    taken();

    wake();

    EXPECT_EQ(taken(), (Calls{timer(-1), timer(1'000'000)}));
}

TEST_F(AnEvent, OfAnEntityThatIsNotSupportedReportsItLostAgain) {
    advanceTo(2);
    completeAs(LIBUSB_TRANSFER_COMPLETED, 0);
    taken();

    wake();

    EXPECT_EQ(taken(), (Calls{timer(-1), events(), lost()}));
}

TEST_F(AnEvent, ThatLibusbFailsSpendsATryWhateverItsError) {
    for (const int error : {-10, -99, 1}) {
        advanceTo(2);
        usb.nextEvents = error;

        wake();

        EXPECT_EQ(taken(), (Calls{timer(-1), events(), timer(1'000'000)}));
    }
}

// A host that calls back in from inside a line finds the entity as it is at that moment.

struct Said {
    const char* text;
    std::uint16_t version;
    std::size_t transfer;
    int status;
    int length;
};

void PrintTo(const Said& said, std::ostream* out) { *out << said.text; }

const Said kSaid[] = {
    {"Device doesn't support AAP protocol", 2, 0, LIBUSB_TRANSFER_STALL, 0},
    {"Unknown AAP protocol version returned 0", 0, 0, LIBUSB_TRANSFER_COMPLETED, 2},
    {"USB transfer failed to be transfered completely (3 instead of 15)", 2, 1, LIBUSB_TRANSFER_COMPLETED, 3},
    {"USB transfer failed with status 1", 2, 1, LIBUSB_TRANSFER_ERROR, 0},
    {"USB transfer failed with status 4", 2, 1, LIBUSB_TRANSFER_STALL, 0},
    {"Submission of control transfer failed, error -4", 2, 2, LIBUSB_TRANSFER_COMPLETED, 7},
};

zebphones::PhoneDescription phoneThatEndsWith(const Said& said) {
    zebphones::PhoneDescription description = phoneThatReacts(zebphones::Reaction::RefusedNoDevice, 3);
    description.protocolVersion = said.version;
    return description;
}

class ALine : public ASequence {
protected:
    using ASequence::ASequence;

    /** Call back in from inside the line of that text. */
    void inside(const std::string& text, const std::function<void()>& call) {
        rig.host.on["log"] = [this, text, call] {
            if (rig.host.logLines().back().text != text)
                return;
            rig.host.on.erase("log");
            rig.host.takeRecord();
            call();
            mMeanwhile = taken();
        };
    }

    Calls mMeanwhile;
};

class ALineAboutAnEnd : public ALine, public WithParamInterface<Said> {
protected:
    ALineAboutAnEnd() : ALine(phoneThatEndsWith(GetParam())) {}
};

TEST_P(ALineAboutAnEnd, ComesBeforeTheEntityIsAtItsEnd) {
    const Said& said = GetParam();
    advanceTo(said.transfer);
    inside(said.text, [&] { rig.host.entry.handleEntityTimeout(rig.host.discoverer, rig.entity); });

    completeAs(said.status, said.length);

    EXPECT_EQ(mMeanwhile, Calls{timer(3'000'000)}) << "it is under way";
    rig.host.takeRecord();
    rig.host.expireEntityTimer(rig.entity);
    EXPECT_THAT(taken(), Not(Contains(timer(3'000'000)))) << "it is not any more";
}

INSTANTIATE_TEST_SUITE_P(OfAnyKind, ALineAboutAnEnd, ValuesIn(kSaid));

TEST_F(ALine, ThatTheTimerIsSetComesWhenItIsAwaited) {
    advanceTo(6);
    inside("Setting AAP timer.", [&] { expireTimer(); });

    rig.completeOne();

    EXPECT_EQ(mMeanwhile,
              (Calls{line(30, "Asking AAP device to switch to accessory mode"), submitted(kSetups[7])}));
}

} // namespace
} // namespace zebtest
