// What phones do by themselves, by a clock of the test's.
#include "phones/usbfs/LivePhones.h"

#include "phones/Catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace std::chrono_literals;

namespace zebphones {
namespace {

constexpr int kPort = 1;

class APhoneByItself : public Test {
protected:
    APhoneByItself() { mPhones.plug(loadPhone("accessory"), kPort); }

    // What is due now has happened.
    void live(std::chrono::milliseconds time) {
        mNow += time;
        while (mPhones.step()) {
        }
    }

    // One request, as if it had come over the bus.
    void ask(const SetupPacket& setup, std::string_view text = "") {
        const std::vector<std::uint8_t> data(text.begin(), text.end());
        mPhones.deviceAt(kPort)->withModel([&](PhoneModel& model) { model.answer(setup, data); });
    }
    void sendString(std::uint16_t index, std::string_view text) {
        ask({0x40, kSendString, 0, index, static_cast<std::uint16_t>(text.size())}, text);
    }
    void introduce(std::string_view manufacturer) {
        sendString(0, manufacturer);
        sendString(1, "Model");
    }
    void start() { ask({0x40, kStartAccessory, 0, 0, 0}); }

    bool isOnTheBus() const { return mPhones.deviceAt(kPort) != nullptr; }
    std::uint16_t product() const {
        std::uint16_t id = 0;
        mPhones.deviceAt(kPort)->withModel([&id](PhoneModel& model) { id = model.face().product; });
        return id;
    }

    LivePhones::Clock::time_point mNow{};
    Testbed mBed;
    LivePhones mPhones{mBed, [this] { return mNow; }};
};

TEST_F(APhoneByItself, LeavesFifteenMillisecondsAfterTheStartAndIsBackHalfASecondLater) {
    live(0ms);
    introduce("Maker");
    start();

    live(0ms);
    live(14ms);
    EXPECT_TRUE(isOnTheBus());
    live(1ms);
    EXPECT_FALSE(isOnTheBus());
    live(499ms);
    EXPECT_FALSE(isOnTheBus());
    live(1ms);
    ASSERT_TRUE(isOnTheBus());
    EXPECT_EQ(product(), 0x2d00);
}

TEST_F(APhoneByItself, StaysWhenTheManufacturerIsEmpty) {
    live(0ms);
    introduce("");
    start();

    for (int i = 0; i < 10; ++i)
        live(1s);

    ASSERT_TRUE(isOnTheBus());
    EXPECT_EQ(product(), 0x4ee2);
    EXPECT_EQ(mPhones.changes(), 1U);
}

TEST_F(APhoneByItself, StaysWhenItIsAskedForItsVersionBeforeTheStartIsTold) {
    live(0ms);
    introduce("Maker");
    start();
    live(0ms);

    ask({0xc0, kGetProtocol, 0, 0, 2});
    live(1s);

    EXPECT_TRUE(isOnTheBus());
    EXPECT_EQ(mPhones.changes(), 1U);
}

} // namespace
} // namespace zebphones
