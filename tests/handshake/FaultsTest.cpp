// Every fault of a phone at every one of the eight transfers: what the plug-in says, and whether it gives
// the phone up, tries again or goes on.
#include "tests/handshake/LibUsbSpy.h"
#include "tests/handshake/Rig.h"

#include <cctype>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

constexpr std::size_t kStart = 7;

enum class Outcome {
    /** The hand-shake goes on. */
    GoesOn,
    /** Lost without an error. */
    Lost,
    /** Kept, to be tried again in a second. */
    Retried,
};

struct Expected {
    Outcome outcome;
    int severity = 0;
    const char* text = "";
};

struct Row {
    const char* name;
    Reaction reaction;
    std::size_t moved;
    Expected atVersion;
    Expected atString;
    Expected atStart;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

constexpr Expected kGoesOn{Outcome::GoesOn};
// %d: the bytes that had to move.
constexpr Expected kNothing{Outcome::Lost, 10,
                            "USB transfer failed to be transfered completely (0 instead of %d)"};
constexpr Expected kOneByte{Outcome::Lost, 10,
                            "USB transfer failed to be transfered completely (1 instead of %d)"};
constexpr Expected kNoProtocol{Outcome::Lost, 30, "Device doesn't support AAP protocol"};
constexpr Expected kError{Outcome::Retried, 10, "USB transfer failed with status 1"};
constexpr Expected kStall{Outcome::Retried, 10, "USB transfer failed with status 4"};
constexpr Expected kNoDevice{Outcome::Retried, 10, "USB transfer failed with status 5"};
constexpr Expected kOverflow{Outcome::Retried, 10, "USB transfer failed with status 6"};

const Row kRows[] = {
    {"Stall", Reaction::Stall, 0, kNoProtocol, kStall, kStall},
    {"BusError", Reaction::BusError, 0, kError, kError, kError},
    {"Overflow", Reaction::Overflow, 0, kOverflow, kOverflow, kOverflow},
    {"Gone", Reaction::Gone, 0, kNoDevice, kNoDevice, kNoDevice},
    {"Unplug", Reaction::Unplug, 0, kNoDevice, kNoDevice, kNoDevice},
    // The start request has no data that could be missing.
    {"OneByteOnly", Reaction::Short, 1, kOneByte, kOneByte, kGoesOn},
    {"NoByteAtAll", Reaction::Short, 0, kNothing, kNothing, kGoesOn},
    {"Silence", Reaction::Silent, 0, kNothing, kNothing, kGoesOn},
    // Timed out, yet whole.
    {"SilenceAfterData", Reaction::SilentAfterData, 0, kGoesOn, kGoesOn, kGoesOn},
    {"AnswerAsHostGivesUp", Reaction::AnswerAsHostGivesUp, 0, kGoesOn, kGoesOn, kGoesOn},
};

const Expected& expectedOf(const Row& row, std::size_t transfer) {
    if (transfer == 0)
        return row.atVersion;
    return transfer == kStart ? row.atStart : row.atString;
}

LogLine lineOf(const Expected& expected, std::size_t transfer) {
    std::string text = expected.text;
    if (const auto number = text.find("%d"); number != std::string::npos)
        text.replace(number, 2, std::to_string(kTransfers[transfer].length));
    return {expected.severity, text};
}

PhoneDescription phoneThatFails(Reaction reaction, std::size_t moved, std::size_t transfer) {
    PhoneDescription description = loadPhone("accessory");
    description.faults = {{.request = kTransfers[transfer].request,
                           .index = kTransfers[transfer].index,
                           .reaction = reaction,
                           .moved = moved}};
    return description;
}

/** Offer the phone and turn the loop until the request has been sent, moving the clock where needed. */
void runUntilSent(Rig& rig, std::size_t transfer) {
    rig.offer();
    if (transfer == kStart) {
        ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));
        rig.host.advance(1'000'000);
    }
    ASSERT_TRUE(rig.runUntil([&] { return rig.requests() > transfer; }));
}

/** ... and the one after it too, or for the last nothing is pending any more. */
bool wentOn(Rig& rig, std::size_t transfer) {
    if (transfer == kStart)
        return rig.phone->pending() == 0;
    return transfer + 1 == kStart ? !rig.host.handleTimers().empty() : rig.requests() > transfer + 1;
}

using FaultAndTransfer = std::tuple<Row, std::size_t>;
class AFault : public TestWithParam<FaultAndTransfer> {};

TEST_P(AFault, HasItsOutcome) {
    const Row& row = std::get<0>(GetParam());
    const std::size_t transfer = std::get<1>(GetParam());
    const Expected& expected = expectedOf(row, transfer);
    const LogLine line = lineOf(expected, transfer);
    Rig rig(phoneThatFails(row.reaction, row.moved, transfer));
    LibUsbSpy::instance().hurry = {kTransfers[transfer].request, kTransfers[transfer].index};

    runUntilSent(rig, transfer);
    const bool happened = rig.runUntil([&] {
        return expected.outcome == Outcome::GoesOn ? wentOn(rig, transfer)
                                                   : rig.host.hasLogged(line.severity, line.text);
    });
    if (expected.outcome == Outcome::GoesOn)
        rig.settle();

    EXPECT_TRUE(happened) << line.text;
    EXPECT_EQ(rig.lostCalls() > 0, expected.outcome == Outcome::Lost);
    const std::map<ZEBDiscovererEntity*, std::int64_t> none;
    const std::map<ZEBDiscovererEntity*, std::int64_t> oneSecond = {{rig.entity, 1'000'000}};
    const std::map<ZEBDiscovererEntity*, std::int64_t> threeSeconds = {{rig.entity, 3'000'000}};
    EXPECT_EQ(rig.host.entityTimers(), expected.outcome == Outcome::Lost      ? none
                                       : expected.outcome == Outcome::Retried ? oneSecond
                                                                              : threeSeconds);
    // Nothing is logged as an error but that line, and no error is left out.
    const bool isError = expected.outcome != Outcome::GoesOn && expected.severity == 10;
    EXPECT_EQ(rig.logged(10), isError ? std::vector{line.text} : std::vector<std::string>{});
    if (expected.outcome == Outcome::GoesOn)
        EXPECT_TRUE(wentOn(rig, transfer));
    else
        EXPECT_THAT(rig.host.handleTimers(), IsEmpty());
}

std::string nameOf(const TestParamInfo<FaultAndTransfer>& info) {
    std::string name = std::get<0>(info.param).name;
    name += "At_";
    for (const char* c = kTransfers[std::get<1>(info.param)].name; *c; ++c)
        name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(EveryTransfer, AFault, Combine(ValuesIn(kRows), Range<std::size_t>(0, 8)), nameOf);

struct Refusal {
    Reaction reaction;
    const char* text;
};

const Refusal kRefusals[] = {
    {Reaction::RefusedNoDevice, "Submission of control transfer failed, error -4"},
    {Reaction::RefusedNoMemory, "Submission of control transfer failed, error -1"},
};

TEST(ARefusedSubmission, OfTheFirstRequestIsTriedAgainInASecond) {
    for (const Refusal& refusal : kRefusals) {
        Rig rig(phoneThatFails(refusal.reaction, 0, 0));

        rig.offer();

        EXPECT_THAT(rig.logged(10), ElementsAre(refusal.text));
        EXPECT_TRUE(rig.host.hasLogged(80, "Can't open the port, waiting for interval"));
        EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 1'000'000)));
        rig.host.advance(19'000'000);
        EXPECT_EQ(rig.lostCalls(), 0);
        rig.host.advance(1'000'000);
        EXPECT_EQ(rig.lostCalls(), 1);
    }
}

TEST(ARefusedSubmission, OfAStringKeepsTheEntityForASecondTry) {
    for (const Refusal& refusal : kRefusals) {
        for (std::size_t transfer = 1; transfer < kStart; ++transfer) {
            SCOPED_TRACE(kTransfers[transfer].name);
            Rig rig(phoneThatFails(refusal.reaction, 0, transfer));

            rig.offer();
            ASSERT_TRUE(rig.runUntil([&] { return rig.host.hasLogged(10, refusal.text); }));

            EXPECT_THAT(rig.logged(10), ElementsAre(refusal.text));
            EXPECT_EQ(rig.lostCalls(), 0);
            EXPECT_EQ(rig.requests(), transfer);
            EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 1'000'000)));
        }
    }
}

TEST(ARefusedSubmission, OfTheStartArmsNoTimerOfItsOwn) {
    for (const Refusal& refusal : kRefusals) {
        Rig rig(phoneThatFails(refusal.reaction, 0, kStart));
        rig.offer();
        ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));

        rig.host.expireHandleTimer(rig.host.handleTimers().begin()->first);

        EXPECT_THAT(rig.logged(10), ElementsAre(refusal.text, "Failed to send AAP request"));
        EXPECT_EQ(rig.lostCalls(), 0);
        // Still the one of the event before.
        EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 3'000'000)));
    }
}

TEST(AFailedHandshake, IsNeverRepeatedAndGivenUpAfterNineMoreSeconds) {
    Rig rig(phoneThatFails(Reaction::Stall, 0, 2));
    rig.advanceTo(2);
    rig.completeOne();
    EXPECT_THAT(rig.logged(10), ElementsAre("USB transfer failed with status 4"));

    rig.host.advance(8'000'000);
    EXPECT_EQ(rig.lostCalls(), 0);
    rig.host.advance(1'000'000);

    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_EQ(rig.requests(), 3U);
}

TEST(APhoneWithoutTheProtocol, IsLostAtOnceAndOnlyOnce) {
    Rig rig(phoneThatFails(Reaction::Stall, 0, 0));
    rig.advanceTo(0);

    rig.completeOne();

    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_THAT(rig.host.entityTimers(), IsEmpty());
}

TEST(APhoneOfVersionZero, IsLostWithAnErrorLine) {
    PhoneDescription description = loadPhone("accessory");
    description.protocolVersion = 0;
    Rig rig(description);

    rig.offer();

    EXPECT_TRUE(rig.runUntil([&] { return rig.lostCalls() > 0; }));
    EXPECT_THAT(rig.logged(10), ElementsAre("Unknown AAP protocol version returned 0"));
}

TEST(APhoneOfAnyOtherVersion, IsSwitched) {
    for (const int version : {1, 2, 0x0100, 0xffff}) {
        PhoneDescription description = loadPhone("accessory");
        description.protocolVersion = static_cast<std::uint16_t>(version);
        Rig rig(description);

        rig.offer();

        EXPECT_TRUE(rig.runUntil([&] { return rig.requests() == 7; })) << version;
        EXPECT_THAT(rig.logged(10), IsEmpty()) << version;
    }
}

TEST(APhoneThatIsUnplugged, TakesItsNodeFromTheHandles) {
    Rig rig;
    rig.advanceTo(3);
    ASSERT_THAT(rig.host.handles(), SizeIs(4));

    rig.phone->pull();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.logged(10).empty(); }));

    EXPECT_THAT(rig.host.handles(), SizeIs(3));
    for (const auto& [handle, write] : rig.host.handles())
        EXPECT_EQ(write, 0);
}

// After an error nobody empties libusb's event descriptor, which tells of the removed node: each turn of
// the loop costs a try, until the entity is lost without waiting for its timers.
TEST(APhoneThatIsUnplugged, WhilePendingIsLostAfterTenEvents) {
    Rig rig;
    rig.advanceTo(3);
    rig.phone->pull();
    rig.host.on["entityLost"] = [&] { rig.host.destroyEntity(rig.entity); };

    int events = 0;
    while (rig.lostCalls() == 0 && events < 100)
        events += rig.host.dispatch(0);

    EXPECT_LE(events, 11);
    EXPECT_THAT(rig.host.handles(), IsEmpty());
}

TEST(APhoneThatIsUnplugged, WhileTheTimerRunsFailsAtTheStart) {
    Rig rig;
    rig.advanceTo(6);
    rig.completeOne();
    rig.phone->pull();
    rig.settle();
    EXPECT_THAT(rig.logged(10), IsEmpty());

    rig.host.advance(1'000'000);

    EXPECT_THAT(rig.logged(10),
                ElementsAre("Submission of control transfer failed, error -4", "Failed to send AAP request"));
}

// The host is late to tell that the phone has gone: until then its timers go on as if it were there.
TEST(APhoneThatIsUnplugged, WhileTheRetryTimerRunsIsGivenUpInItsTime) {
    Rig rig(phoneThatFails(Reaction::BusError, 0, 2));
    rig.advanceTo(2);
    rig.completeOne();
    ASSERT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 1'000'000)));
    rig.phone->pull();

    rig.host.advance(8'000'000);
    EXPECT_EQ(rig.lostCalls(), 0);
    rig.host.advance(1'000'000);

    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_THAT(rig.logged(10), ElementsAre("USB transfer failed with status 1"));
}

TEST(APhoneThatIsUnplugged, AfterTheStartIsGivenUpAfterTenWaits) {
    Rig rig;
    rig.advanceTo(kStart);
    rig.completeOne();
    ASSERT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 3'000'000)));
    rig.phone->pull();

    rig.host.advance(29'000'000);
    EXPECT_EQ(rig.lostCalls(), 0);
    rig.host.advance(1'000'000);

    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_THAT(rig.logged(10), IsEmpty());
}

TEST(APhoneThatIsUnplugged, WhileItsCommandIsDueAnswersAllTheSame) {
    PhoneDescription description = loadPhone("accessory");
    description.normal = description.accessory;
    Rig rig(description);
    rig.offer();
    rig.host.fetch(rig.entity, "zebcmd");
    rig.phone->pull();

    rig.host.advance(999'999);
    EXPECT_THAT(rig.host.callsOf("fetchComplete"), IsEmpty());
    rig.host.advance(1);

    const std::string command = "zebcmd:v=1;t=USBAAP;bus=1;dev=" + std::to_string(rig.phone->address());
    ASSERT_THAT(rig.host.callsOf("fetchComplete"), SizeIs(1));
    EXPECT_THAT(rig.host.callsOf("fetchComplete")[0].arguments, Contains(Argument(command)));
    EXPECT_EQ(rig.lostCalls(), 0);
    rig.removeDevice();
    EXPECT_EQ(rig.lostCalls(), 1);
}

TEST(AnInterruptedEventCall, CostsATryAndNotTheHandshake) {
    Rig rig;
    rig.advanceTo(2);
    ASSERT_TRUE(rig.phone->completeNext());
    LibUsbSpy::instance().nextEvents = -10;

    rig.host.dispatch(1000);
    EXPECT_EQ(rig.lostCalls(), 0);
    EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 1'000'000)));
    rig.settle();

    EXPECT_EQ(rig.requests(), 4U);
}

TEST(AHostThatThrowsInsideATransfer, IsLoggedAndNotSeenByLibusb) {
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[] { throw std::runtime_error("no timers today"); },
         "Exception occured in transfer cb: 'no timers today'"},
        {[] { throw 42; }, "Exception occured in transfer cb: 'unknown exception'"},
    };
    for (const auto& [thrown, line] : rows) {
        Rig rig;
        rig.host.on["setTimerForHandle"] = thrown;

        rig.offer();

        const std::string expected = line;
        EXPECT_TRUE(rig.runUntil([&] { return rig.host.hasLogged(10, expected); })) << expected;
    }
}

} // namespace
} // namespace zebtest
