#include "host/GiveUps.h"
#include "host/PropertyAdvice.h"

#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

const UsbAddress kPhone{1, 4, "1-1"};
const UsbAddress kOther{1, 5, "1-2"};
constexpr uint64_t kPatienceUs = 10'000;
constexpr char kAsked[] = "Asking AAP device to switch to accessory mode";

class APhoneThatIsNotSwitched : public Test {
protected:
    explicit APhoneThatIsNotSwitched(std::vector<std::string> emptyStrings = {}) :
        mGiveUps(
            mLoop, kPatienceUs,
            [this](const Event& event) {
                const auto& advice = std::get<AdviceEvent>(event);
                mSaid.push_back(advice.address.port + " " + advice.text);
            },
            true, std::move(emptyStrings)) {}

    void add(uint32_t id, const UsbAddress& address) { mGiveUps.take(EntityEvent{"added", id, address}); }
    void lose(uint32_t id, const UsbAddress& address) { mGiveUps.take(EntityEvent{"lost", id, address}); }
    void log(const char* line) { mGiveUps.take(LogEvent{10, line}); }
    void unplug(const UsbAddress& address) { mGiveUps.take(DeviceEvent{"remove", address, "", "", ""}); }

    void runUntilPatienceEnds() {
        Timer end(mLoop, [this] { mLoop.quit(); });
        end.arm(3 * kPatienceUs);
        mLoop.run([] {});
    }

    std::vector<std::string> mSaid;
    Loop mLoop;
    GiveUps mGiveUps;
};

class APhoneThatIsToldNoManufacturer : public APhoneThatIsNotSwitched {
protected:
    APhoneThatIsToldNoManufacturer() : APhoneThatIsNotSwitched({"aapmanufacturer", "aapserial"}) {}
};

class APhoneThatIsToldNoSerial : public APhoneThatIsNotSwitched {
protected:
    APhoneThatIsToldNoSerial() : APhoneThatIsNotSwitched({"aapserial"}) {}
};

TEST_F(APhoneThatIsNotSwitched, IsExplainedByThePluginsLog) {
    const std::pair<const char*, const char*> rows[] = {
        {"Device doesn't support AAP protocol", "request 51"},
        {"Unknown AAP protocol version returned 0", "version 0"},
        {"USB transfer failed to be transfered completely (0 instead of 2)", "did not answer in time"},
        {"USB transfer failed to be transfered completely (1 instead of 2)", "less than it was asked to"},
        {"USB transfer failed with status 4", "refused a part of the hand-shake: unlock it"},
        {"USB transfer failed with status 5", "left the bus in the middle"},
        {"USB transfer failed with status 1", "another cable or port"},
        {"Submission of control transfer failed, error -4", "could not be sent"},
        {"Failed to open USB device with error -3", "could not be opened"},
        {"Failed to initialise libusb with error -99", "zebhost doctor"},
    };
    for (const auto& [line, sentence] : rows) {
        mSaid.clear();
        add(1, kPhone);
        log(line);
        lose(1, kPhone);

        EXPECT_THAT(mSaid,
                    ElementsAre(AllOf(StartsWith("1-1 this phone was not switched: "), HasSubstr(sentence))))
            << line;
    }
}

TEST_F(APhoneThatIsNotSwitched, IsExplainedByWhatHappenedElse) {
    add(1, kPhone);
    lose(1, kPhone);
    runUntilPatienceEnds();
    add(2, kPhone);
    log(kAsked);
    lose(2, kPhone);
    runUntilPatienceEnds();
    add(3, kPhone);
    unplug(kPhone);

    EXPECT_THAT(mSaid, ElementsAre(HasSubstr("gave it up without a word"), HasSubstr("stayed as it is"),
                                   HasSubstr("left the bus before it was asked to switch")));
}

TEST_F(APhoneThatIsNotSwitched, IsNotOneThatLeavesToSwitch) {
    add(1, kPhone);
    log(kAsked);
    unplug(kPhone);
    lose(1, kPhone);

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(APhoneThatIsNotSwitched, IsNotOneThatThePluginLosesBeforeItHasLeft) {
    add(1, kPhone);
    log(kAsked);
    log("USB transfer failed with status 5");
    lose(1, kPhone);
    unplug(kPhone);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, IsEmpty());
}

// With several at once a line may be about each of them.

TEST_F(APhoneThatIsNotSwitched, IsNoneOfSeveralThatLeaveOneAfterTheOther) {
    add(1, kPhone);
    add(2, kOther);
    log(kAsked);
    log(kAsked);
    unplug(kPhone);
    unplug(kOther);

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(APhoneThatIsNotSwitched, IsAmongSeveralTheOneThatIsLostAfterTheLine) {
    add(1, kPhone);
    add(2, kOther);
    log("Device doesn't support AAP protocol");
    lose(1, kPhone);
    log(kAsked);
    unplug(kOther);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid,
                ElementsAre(StartsWith("1-1 this phone was not switched: it refused the first question")));
}

TEST_F(APhoneThatIsNotSwitched, IsAmongSeveralPerhapsTheOneThatTheLineMeans) {
    add(1, kPhone);
    add(2, kOther);
    log("Device doesn't support AAP protocol");
    log("Setting AAP timer.");
    lose(1, kPhone);
    lose(2, kOther);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, UnorderedElementsAre(
                           AllOf(StartsWith("1-1 this phone was not switched: perhaps it refused the first"),
                                 EndsWith("(the log does not say of which phone it speaks)")),
                           StartsWith("1-2 this phone was not switched: perhaps it refused the first")));
}

TEST_F(APhoneThatIsNotSwitched, IsAmongSeveralPerhapsTheOneThatWasAskedAndStayed) {
    add(1, kPhone);
    add(2, kOther);
    log(kAsked);
    unplug(kOther);
    lose(1, kPhone);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid,
                ElementsAre(StartsWith("1-1 this phone was not switched: perhaps it was asked to switch")));
}

// It was alone when it failed; whether it was asked before is not known, so it is given time to leave.
TEST_F(APhoneThatIsNotSwitched, IsTheLastOfSeveralWhenItFails) {
    add(1, kPhone);
    add(2, kOther);
    log(kAsked);
    unplug(kOther);
    log("USB transfer failed with status 4");
    EXPECT_THAT(mSaid, IsEmpty());
    lose(1, kPhone);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, ElementsAre(StartsWith("1-1 this phone was not switched: it refused a part")));
}

TEST_F(APhoneThatIsNotSwitched, IsAmongSeveralOneThatLeavesBeforeAnyIsAsked) {
    add(1, kPhone);
    add(2, kOther);
    unplug(kOther);

    EXPECT_THAT(mSaid, ElementsAre(StartsWith("1-2 this phone was not switched: it left the bus before")));
}

// At the log level "error" the line is not there that says that a phone is asked.
TEST_F(APhoneThatIsNotSwitched, IsNotGuessedWhenTheLogIsNotHeard) {
    GiveUps deaf(
        mLoop, kPatienceUs,
        [this](const Event& event) { mSaid.push_back(std::get<AdviceEvent>(event).text); }, false);
    deaf.take(EntityEvent{"added", 1, kPhone});
    deaf.take(DeviceEvent{"remove", kPhone, "", "", ""});
    EXPECT_THAT(mSaid, IsEmpty());
    deaf.take(EntityEvent{"added", 2, kPhone});
    deaf.take(EntityEvent{"lost", 2, kPhone});
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, ElementsAre(HasSubstr("the plug-in gave it up: --log info says why")));
}

TEST_F(APhoneThatIsNotSwitched, IsNotOneThatTheEndOfTheRunDestroys) {
    add(1, kPhone);
    mGiveUps.take(EntityEvent{"destroyed", 1, kPhone});
    unplug(kPhone);

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(APhoneThatIsNotSwitched, IsNoneOfTheOtherLines) {
    add(1, kPhone);
    log("Setting AAP timer.");

    EXPECT_THAT(mSaid, IsEmpty());
}

// It has acknowledged the request, so the plug-in never loses it.
TEST_F(APhoneThatIsNotSwitched, IsToldOfWhenItIsAskedAndStays) {
    add(1, kPhone);
    log(kAsked);
    runUntilPatienceEnds();
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, ElementsAre("1-1 this phone was not switched: it was asked to switch and stayed as it "
                                   "is: unlock it, and plug it in again"));
}

TEST_F(APhoneThatIsNotSwitched, IsNotOneThatTheEndOfTheRunDestroysAfterItWasAsked) {
    add(1, kPhone);
    log(kAsked);
    mGiveUps.take(EntityEvent{"destroyed", 1, kPhone});
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(APhoneThatIsToldNoManufacturer, StaysForThatReason) {
    add(1, kPhone);
    log(kAsked);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, ElementsAre("1-1 this phone was not switched: it was asked to switch and stayed as it "
                                   "is: the property aapmanufacturer is empty, and a phone obeys only a host "
                                   "that tells its manufacturer and model"));
}

TEST_F(APhoneThatIsToldNoManufacturer, MayRefuseTheEmptyString) {
    add(1, kPhone);
    log("USB transfer failed with status 4");

    EXPECT_THAT(mSaid,
                ElementsAre(HasSubstr("the property aapmanufacturer is empty, and newer phones refuse")));
}

TEST_F(APhoneThatIsToldNoSerial, StaysForAnotherReason) {
    add(1, kPhone);
    log(kAsked);
    runUntilPatienceEnds();

    EXPECT_THAT(mSaid, ElementsAre(HasSubstr("stayed as it is: unlock it")));
}

TEST(Properties, AreWarnedOfWhenTheyAreEmpty) {
    EXPECT_THAT(propertyAdvice({}), IsEmpty());
    EXPECT_THAT(propertyAdvice({{"aapmodel", "Bench"}, {"other", ""}}), IsEmpty());
    EXPECT_THAT(propertyAdvice({{"aapmodel", ""}, {"aapmodel", "Bench"}}), IsEmpty());
    EXPECT_THAT(propertyAdvice({{"aapuri", "x"}, {"aapuri", ""}, {"aapmodel", ""}}),
                ElementsAre(StartsWith("the property aapmodel is empty"),
                            StartsWith("the property aapuri is empty")));
    for (const char* key :
         {"aapmanufacturer", "aapmodel", "aapdescription", "aapversion", "aapuri", "aapserial"})
        EXPECT_THAT(propertyAdvice({{key, ""}}), SizeIs(1)) << key;
}

TEST(Properties, AreWarnedOfWithThePhonesThatMindThem) {
    for (const char* key : {"aapmanufacturer", "aapmodel"})
        EXPECT_THAT(propertyAdvice({{key, ""}}),
                    ElementsAre("the property " + std::string(key) +
                                " is empty: no phone switches for a host that tells it no manufacturer or no "
                                "model: it acknowledges the request and stays as it is; give it a text, or "
                                "leave it out for the plug-in's own"))
            << key;
    for (const char* key : {"aapdescription", "aapversion", "aapuri", "aapserial"})
        EXPECT_THAT(propertyAdvice({{key, ""}}),
                    ElementsAre("the property " + std::string(key) +
                                " is empty: most phones take that, but newer phones, whose accessory code "
                                "runs in user space, refuse an empty string and do not switch; give it a "
                                "text, or leave it out for the plug-in's own"))
            << key;
}

} // namespace
} // namespace zebhost
