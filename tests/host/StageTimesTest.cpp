#include "host/StageTimes.h"

#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

const UsbAddress kBefore{1, 4, "1-1"};
const UsbAddress kAfter{1, 5, "1-1"};
const UsbAddress kOther{1, 6, "1-2"};

class StoriesOfPhones : public Test {
protected:
    void take(uint64_t milliseconds, const Event& event) { mTimes.take(milliseconds * 1000, event); }
    void plug(uint64_t ms, const UsbAddress& address) { take(ms, DeviceEvent{"add", address, "", "", ""}); }
    void unplug(uint64_t ms, const UsbAddress& address) {
        take(ms, DeviceEvent{"remove", address, "", "", ""});
    }

    void offerCandidate(uint64_t ms, const UsbAddress& address, uint32_t id) {
        plug(ms, address);
        take(ms, VerdictEvent{address, true, false, "phone-adb", ""});
        take(ms + 1, InterestEvent{address, 30, "105"});
        take(ms + 2, OfferEvent{address});
        take(ms + 3, EntityEvent{"added", id, address});
    }
    void comeAsAccessory(uint64_t ms, const UsbAddress& address, uint32_t id) {
        plug(ms, address);
        take(ms, VerdictEvent{address, true, false, "accessory-mode", ""});
        take(ms + 1, InterestEvent{address, 10, "106"});
        take(ms + 2, OfferEvent{address});
        take(ms + 3, EntityEvent{"published", id, address});
        take(ms + 1003, ValueEvent{id, "zebcmd", 0, "zebcmd:..."});
    }

    std::vector<std::string> stages(size_t story = 0) const {
        std::vector<std::string> told;
        for (const StoryEvent::Stage& stage : mStories.at(story).stages)
            told.push_back(stage.name + (" " + std::to_string(stage.afterUs / 1000)));
        return told;
    }

    std::vector<StoryEvent> mStories;
    std::vector<std::string> mAdvice;
    StageTimes mTimes{[this](const Event& event) {
        if (const auto* story = std::get_if<StoryEvent>(&event))
            mStories.push_back(*story);
        else
            mAdvice.push_back(std::get<AdviceEvent>(event).text);
    }};
};

TEST_F(StoriesOfPhones, GoOnAtTheSamePortUnderAnotherNumber) {
    offerCandidate(100, kBefore, 1);
    take(1200, LogEvent{30, "Asking AAP device to switch to accessory mode"});
    unplug(1300, kBefore);
    take(1300, EntityEvent{"lost", 1, kBefore});
    take(1300, EntityEvent{"destroyed", 1, kBefore});
    comeAsAccessory(2000, kAfter, 2);

    ASSERT_THAT(mStories, SizeIs(1));
    EXPECT_STREQ(mStories[0].kind, "accessory");
    EXPECT_EQ(mStories[0].address.device, 5);
    EXPECT_THAT(stages(), ElementsAre("interest 1", "offer 2", "entity 3", "start 1100", "left 1200",
                                      "back 1900", "published 1903", "command 2903"));
    EXPECT_THAT(mAdvice, IsEmpty());
}

TEST_F(StoriesOfPhones, GoOnWhenThePluginLosesThePhoneBeforeItHasLeft) {
    offerCandidate(0, kBefore, 1);
    take(1000, LogEvent{30, "Asking AAP device to switch to accessory mode"});
    take(1001, EntityEvent{"lost", 1, kBefore});
    take(1001, EntityEvent{"destroyed", 1, kBefore});
    unplug(1002, kBefore);
    comeAsAccessory(2000, kAfter, 2);

    EXPECT_THAT(stages(), IsSupersetOf({"start 1000", "left 1002", "back 2000"}));
}

TEST_F(StoriesOfPhones, BeginAnewWhenAPhoneThatWasAskedStayedLong) {
    offerCandidate(0, kBefore, 1);
    take(1000, LogEvent{30, "Asking AAP device to switch to accessory mode"});
    take(1001, EntityEvent{"lost", 1, kBefore});
    unplug(11001, kBefore);
    comeAsAccessory(12000, kAfter, 2);

    EXPECT_THAT(stages(), Not(Contains(StartsWith("back"))));
}

TEST_F(StoriesOfPhones, OfATetherHaveNoBudget) {
    plug(0, kBefore);
    take(0, VerdictEvent{kBefore, true, false, "tether-rndis", ""});
    take(1, InterestEvent{kBefore, 15, "103"});
    take(2, OfferEvent{kBefore});
    take(3, EntityEvent{"published", 1, kBefore});
    take(20000, ValueEvent{1, "zebcmd", 0, "zebcmd:..."});

    EXPECT_STREQ(mStories.at(0).kind, "tether");
    EXPECT_THAT(stages(), ElementsAre("interest 1", "offer 2", "entity 3", "published 3", "command 20000"));
    EXPECT_THAT(mAdvice, IsEmpty());
}

TEST_F(StoriesOfPhones, BeginAnewWhenAPhoneComesBackTooLate) {
    offerCandidate(0, kBefore, 1);
    unplug(1000, kBefore);
    comeAsAccessory(11001, kAfter, 2);

    EXPECT_THAT(stages(), ElementsAre("interest 1", "offer 2", "entity 3", "published 3", "command 1003"));
}

TEST_F(StoriesOfPhones, BeginAnewWhenThePluginWasNotSwitching) {
    offerCandidate(0, kBefore, 1);
    take(500, EntityEvent{"lost", 1, kBefore});
    unplug(1000, kBefore);
    comeAsAccessory(1100, kAfter, 2);

    EXPECT_THAT(stages(), Not(Contains(StartsWith("back"))));
}

TEST_F(StoriesOfPhones, WarnWhenABudgetIsExceeded) {
    const std::pair<uint64_t, const char*> rows[] = {{4997, nullptr},
                                                     {4998, "some devices give up after 6 s"},
                                                     {8997, "some devices give up after 6 s"},
                                                     {8998, "Android gives up after 10 s"}};
    for (const auto& [back, sentence] : rows) {
        mAdvice.clear();
        offerCandidate(0, kBefore, 1);
        unplug(1000, kBefore);
        comeAsAccessory(back, kAfter, 2);
        unplug(30000, kAfter);

        if (sentence == nullptr)
            EXPECT_THAT(mAdvice, IsEmpty());
        else
            EXPECT_THAT(mAdvice, ElementsAre(HasSubstr(sentence))) << back;
    }
}

TEST_F(StoriesOfPhones, DoNotGuessWhichOfTwoIsToldToSwitch) {
    offerCandidate(0, kBefore, 1);
    offerCandidate(0, kOther, 2);
    take(1000, LogEvent{30, "Asking AAP device to switch to accessory mode"});
    unplug(1100, kBefore);
    comeAsAccessory(1500, kAfter, 3);

    EXPECT_THAT(stages(), Not(Contains(StartsWith("start"))));
}

TEST_F(StoriesOfPhones, AreToldOnce) {
    comeAsAccessory(0, kBefore, 1);
    take(2000, ValueEvent{1, "zebcmd", 0, "zebcmd:..."});

    EXPECT_THAT(mStories, SizeIs(1));
}

TEST_F(StoriesOfPhones, AreNotToldForOtherValues) {
    plug(0, kBefore);
    take(3, EntityEvent{"published", 1, kBefore});
    take(4, ValueEvent{1, "name", 0, "Phone"});
    take(5, ValueEvent{1, "zebcmd", 9, std::nullopt});
    take(6, ValueEvent{7, "zebcmd", 0, "zebcmd:..."});

    EXPECT_THAT(mStories, IsEmpty());
}

} // namespace
} // namespace zebhost
