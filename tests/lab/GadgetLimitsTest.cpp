#include "phones/functionfs/GadgetLimits.h"

#include "phones/Catalogue.h"

#include <gmock/gmock.h>

namespace zebphones {
namespace {

TEST(AGadget, LacksOfEachPhoneWhatItsFileSays) {
    const Catalogue catalogue;
    for (const std::string& name : catalogue.names()) {
        const PhoneFile file = catalogue.load(name);

        EXPECT_EQ(gadgetLimits(file.phone).lacks, file.expect.gadgetLacks) << name;
    }
}

TEST(AGadget, IsRefusedToAPhoneThatItCanNotBe) {
    EXPECT_FALSE(gadgetLimits(loadPhone("charging-only")).possible);
    EXPECT_TRUE(gadgetLimits(loadPhone("ncm")).possible);
    EXPECT_TRUE(gadgetLimits(loadPhone("accessory-silent")).possible);
}

struct Row {
    std::uint8_t request;
    Reaction reaction;
    bool possible;
};

const Row kRows[] = {
    {kGetProtocol, Reaction::Stall, true},
    {kGetProtocol, Reaction::Silent, true},
    {kGetProtocol, Reaction::Short, true},
    {kSendString, Reaction::Short, false},
    {kSendString, Reaction::Unplug, true},
    {kGetProtocol, Reaction::SilentAfterData, false},
    {kGetProtocol, Reaction::AnswerAsHostGivesUp, false},
    {kGetProtocol, Reaction::BusError, false},
    {kGetProtocol, Reaction::Overflow, false},
    {kGetProtocol, Reaction::Gone, false},
    {kGetProtocol, Reaction::RefusedNoDevice, false},
    {kGetProtocol, Reaction::RefusedNoMemory, false},
};

TEST(AGadget, ShowsOnlyWhatThePhoneItselfDoes) {
    for (const Row& row : kRows) {
        PhoneDescription phone = loadPhone("accessory");
        phone.faults = {{.request = row.request, .reaction = row.reaction}};

        EXPECT_EQ(gadgetLimits(phone).possible, row.possible) << nameOf(row.reaction);
    }
}

} // namespace
} // namespace zebphones
