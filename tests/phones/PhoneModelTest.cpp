#include "phones/PhoneModel.h"

#include "phones/Catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;

namespace zebphones {
namespace {

constexpr SetupPacket kAskVersion{0xc0, kGetProtocol, 0, 0, 2};
constexpr SetupPacket kStart{0x40, kStartAccessory, 0, 0, 0};

std::vector<std::uint8_t> bytes(std::string_view text) { return {text.begin(), text.end()}; }

SetupPacket stringSetup(std::uint16_t index, std::size_t length) {
    return {0x40, kSendString, 0, index, static_cast<std::uint16_t>(length)};
}

Response send(PhoneModel& phone, std::uint16_t index, std::string_view text) {
    return phone.answer(stringSetup(index, text.size()), bytes(text));
}

// The least that a host tells of itself to be obeyed.
void introduce(PhoneModel& phone) {
    send(phone, 0, "Maker");
    send(phone, 1, "Model");
}

TEST(ASetupPacket, ReadsItsWordsLowByteFirst) {
    const std::array<std::uint8_t, 8> wire = {0x40, 52, 0x02, 0x01, 0x05, 0x00, 0x07, 0x03};

    EXPECT_EQ(SetupPacket::fromBytes(wire), (SetupPacket{0x40, 52, 0x0102, 5, 0x0307}));
}

TEST(APhone, AnswersFiftyOneWithItsVersionLowByteFirst) {
    PhoneModel phone(loadPhone("accessory"));

    const Response response = phone.answer(kAskVersion, {});

    EXPECT_EQ(response.reaction, Reaction::Answer);
    EXPECT_THAT(response.data, ElementsAre(2, 0));
}

TEST(APhone, KeepsTheSixStringsUntilTheVersionIsAskedAgain) {
    PhoneModel phone(loadPhone("accessory"));
    phone.answer(kAskVersion, {});
    for (std::uint16_t i = 0; i < kStringCount; ++i)
        EXPECT_EQ(send(phone, i, "text" + std::to_string(i)).moved, 5U);
    EXPECT_EQ(phone.string(5), "text5");

    phone.answer(kAskVersion, {});

    EXPECT_EQ(phone.string(5), std::nullopt);
}

TEST(APhone, TakesAnIndexBeyondTheSixthAndDropsTheString) {
    PhoneModel phone(loadPhone("accessory"));

    EXPECT_EQ(send(phone, 6, "seventh").reaction, Reaction::Answer);
}

TEST(APhone, TakesAnEmptyStringUnlessItsProtocolRunsInUserSpace) {
    PhoneModel kernel(loadPhone("accessory"));
    PhoneDescription description = loadPhone("accessory");
    description.stallsEmptyStrings = true;
    PhoneModel userSpace(description);

    EXPECT_EQ(send(kernel, 0, "").reaction, Reaction::Answer);
    EXPECT_EQ(kernel.string(0), "");
    EXPECT_EQ(send(userSpace, 0, "").reaction, Reaction::Stall);
}

// What the host tells of itself before it has the phone switch.
struct Told {
    const char* name;
    std::optional<std::string_view> manufacturer;
    std::optional<std::string_view> model;
    bool switches;
};

const Told kTold[] = {
    {"nothing", std::nullopt, std::nullopt, false},
    {"the manufacturer alone", "Maker", std::nullopt, false},
    {"the model alone", std::nullopt, "Model", false},
    {"an empty manufacturer", "", "Model", false},
    {"an empty model", "Maker", "", false},
    {"both", "Maker", "Model", true},
};

TEST(APhone, AcknowledgesTheStartButObeysOnlyWhoHasToldManufacturerAndModel) {
    for (const Told& told : kTold) {
        PhoneModel phone(loadPhone("accessory"));
        if (told.manufacturer)
            send(phone, 0, *told.manufacturer);
        if (told.model)
            send(phone, 1, *told.model);

        EXPECT_EQ(phone.answer(kStart, {}).reaction, Reaction::Answer) << told.name;
        EXPECT_EQ(phone.switchRequested(), told.switches) << told.name;
    }
}

TEST(APhone, SwitchesWhenTheOtherFourStringsAreEmpty) {
    PhoneModel phone(loadPhone("accessory"));
    for (std::uint16_t i = 0; i < kStringCount; ++i)
        send(phone, i, i < 2 ? "text" : "");

    phone.answer(kStart, {});

    EXPECT_TRUE(phone.switchRequested());
}

TEST(APhone, ForgetsTheHostThatAsksForTheVersionAgain) {
    PhoneModel phone(loadPhone("accessory"));
    introduce(phone);
    phone.answer(kStart, {});

    phone.answer(kAskVersion, {});
    EXPECT_FALSE(phone.switchRequested());
    phone.answer(kStart, {});

    EXPECT_FALSE(phone.switchRequested());
}

TEST(APhone, KeepsAStringOf255BytesWholeAndNoMore) {
    PhoneModel phone(loadPhone("accessory"));

    send(phone, 4, std::string(254, 'a') + "z");
    send(phone, 5, std::string(254, 'a') + "zz");

    EXPECT_EQ(phone.string(4), std::string(254, 'a') + "z");
    EXPECT_EQ(phone.string(5), phone.string(4));
}

struct AudioRow {
    const char* name;
    const char* phone;
    SetupPacket setup;
    Reaction reaction;
};

const AudioRow kAudioRows[] = {
    {"off", "accessory-audio", {0x40, kSetAudioMode, 0, 0, 0}, Reaction::Answer},
    {"on", "accessory-audio", {0x40, kSetAudioMode, 1, 0, 0}, Reaction::Answer},
    {"no mode", "accessory-audio", {0x40, kSetAudioMode, 2, 0, 0}, Reaction::Stall},
    {"an index", "accessory-audio", {0x40, kSetAudioMode, 1, 1, 0}, Reaction::Stall},
    {"data", "accessory-audio", {0x40, kSetAudioMode, 1, 0, 1}, Reaction::Stall},
    {"to the host", "accessory-audio", {0xc0, kSetAudioMode, 1, 0, 0}, Reaction::Stall},
    {"version 2 without a face of its own for it",
     "accessory",
     {0x40, kSetAudioMode, 1, 0, 0},
     Reaction::Answer},
    {"version 1", "accessory-version-1", {0x40, kSetAudioMode, 1, 0, 0}, Reaction::Stall},
};

TEST(APhone, TakesTheAudioModeFromVersionTwoOn) {
    for (const AudioRow& row : kAudioRows) {
        PhoneModel phone(loadPhone(row.phone));

        EXPECT_EQ(phone.answer(row.setup, {}).reaction, row.reaction) << row.name;
    }
}

TEST(APhone, ComesBackWithAudioForAHostThatHasAskedForIt) {
    PhoneModel phone(loadPhone("accessory-audio"));
    phone.answer({0x40, kSetAudioMode, 1, 0, 0}, {});
    introduce(phone);
    phone.answer(kStart, {});

    phone.reappearInAccessoryMode();
    EXPECT_EQ(phone.face().product, 0x2d04);

    phone.answer({0x40, kSetAudioMode, 0, 0, 0}, {});
    EXPECT_EQ(phone.face().product, 0x2d04) << "a face changes only off the bus";
}

TEST(APhone, ForgetsTheAudioModeWhenTheVersionIsAskedAgain) {
    PhoneModel phone(loadPhone("accessory-audio"));
    phone.answer({0x40, kSetAudioMode, 1, 0, 0}, {});
    phone.answer(kAskVersion, {});

    phone.reappearInAccessoryMode();

    EXPECT_EQ(phone.face().product, 0x2d00);
}

TEST(APhone, ShowsItsAccessoryFaceOnceItHasReappeared) {
    PhoneModel phone(loadPhone("accessory"));
    introduce(phone);
    phone.answer(kStart, {});
    EXPECT_TRUE(phone.switchRequested());
    EXPECT_EQ(phone.face().product, 0x4ee2);

    phone.reappearInAccessoryMode();

    EXPECT_FALSE(phone.switchRequested());
    EXPECT_EQ(phone.face().product, 0x2d00);
}

TEST(APhone, RecordsWhatItWasSentInOrder) {
    PhoneModel phone(loadPhone("accessory"));

    send(phone, 3, "v1");
    phone.answer(kStart, {});

    ASSERT_THAT(phone.received(), SizeIs(2));
    EXPECT_EQ(phone.received()[0].setup, stringSetup(3, 2));
    EXPECT_EQ(phone.received()[0].data, bytes("v1"));
    EXPECT_EQ(phone.received()[1].setup, kStart);
}

TEST(AFaultRow, MattersOnlyToItsRequestAndIndex) {
    PhoneModel phone(loadPhone("accessory"));
    phone.setFaults({{.request = kSendString, .index = 2, .reaction = Reaction::Stall}});

    EXPECT_EQ(send(phone, 1, "a").reaction, Reaction::Answer);
    EXPECT_EQ(send(phone, 2, "b").reaction, Reaction::Stall);
    EXPECT_EQ(phone.string(2), std::nullopt);
}

TEST(AFaultRow, CutsAnAnswerShort) {
    PhoneModel phone(loadPhone("accessory"));
    phone.setFaults({{.request = kGetProtocol, .reaction = Reaction::Short, .moved = 1},
                     {.request = kSendString, .reaction = Reaction::Short, .moved = 3}});

    EXPECT_THAT(phone.answer(kAskVersion, {}).data, ElementsAre(2));
    EXPECT_EQ(send(phone, 0, "abcdef").moved, 3U);
}

TEST(AFaultRow, MovesNothingWhenThePhoneStaysSilent) {
    PhoneModel phone(loadPhone("accessory"));
    phone.setFaults({{.request = kSendString, .reaction = Reaction::Silent}});

    EXPECT_EQ(send(phone, 0, "abcdef").moved, 0U);
}

TEST(AFaultRow, KeepsARefusedRequestFromThePhone) {
    PhoneModel phone(loadPhone("accessory"));
    phone.setFaults({{.request = kStartAccessory, .reaction = Reaction::RefusedNoDevice}});

    EXPECT_EQ(phone.answer(kStart, {}).reaction, Reaction::RefusedNoDevice);
    EXPECT_THAT(phone.received(), IsEmpty());
    EXPECT_FALSE(phone.switchRequested());
}

TEST(APhone, ForeseesItsAnswerWithoutActingOnIt) {
    PhoneModel phone(loadPhone("accessory"));

    EXPECT_EQ(phone.foresee(kStart).reaction, Reaction::Answer);
    EXPECT_FALSE(phone.switchRequested());
    EXPECT_THAT(phone.received(), IsEmpty());
}

TEST(AStranger, StallsEverythingAndStillRecordsIt) {
    for (const PhoneDescription& description :
         {loadPhone("mouse"), loadPhone("hub"), loadPhone("storage-stick")}) {
        PhoneModel stranger(description);

        EXPECT_EQ(stranger.answer(kAskVersion, {}).reaction, Reaction::Stall) << description.name;
        EXPECT_THAT(stranger.received(), SizeIs(1)) << description.name;
    }
}

TEST(AFace, BecomesTheBytesOfTheBus) {
    const auto all = descriptors(loadPhone("rndis").normal);

    const std::vector<std::uint8_t> device = {18,   1,    0,    2, 0, 0, 0, 64, 0xd1,
                                              0x18, 0xe3, 0x4e, 0, 1, 1, 2, 3,  1};
    const std::vector<std::uint8_t> rest = {
        9, 2,  56, 0, 2, 1,  0, 0x80, 250,                                                  // configuration
        8, 11, 0,  2, 2, 6,  0, 0,                                                          // association
        9, 4,  0,  0, 1, 2,  2, 255,  0,   7, 5, 0x81, 2, 0, 2, 0,                          // interface 0
        9, 4,  1,  0, 2, 10, 0, 0,    0,   7, 5, 2,    2, 0, 2, 0, 7, 5, 0x83, 2, 0, 2, 0}; // interface 1
    EXPECT_EQ(std::vector(all.begin(), all.begin() + 18), device);
    EXPECT_EQ(std::vector(all.begin() + 18, all.end()), rest);
}

} // namespace
} // namespace zebphones
