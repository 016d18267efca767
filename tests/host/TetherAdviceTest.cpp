#include "host/TetherAdvice.h"

#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

const UsbAddress kPhone{1, 4, "1-1"};

class ATether : public Test {
protected:
    void offer(const char* rule = "tether-rndis") {
        mAdvice.take(VerdictEvent{kPhone, true, false, rule, ""});
        tell("published");
    }
    void tell(const char* action) { mAdvice.take(EntityEvent{action, 7, kPhone}); }

    std::vector<Network> mNetworks;
    std::vector<std::string> mSaid;
    Loop mLoop;
    TetherAdvice mAdvice{
        mLoop,
        {[this](const std::string& port) {
             EXPECT_EQ(port, "1-1");
             return mNetworks;
         },
         [this](const Event& event) { mSaid.push_back(std::get<AdviceEvent>(event).text); }}};
};

TEST_F(ATether, IsNamedWithAnAddressThatDoesNotFitOnce) {
    mNetworks = {{"usb0", {"10.42.187.23"}}};
    offer();
    tell("published");

    EXPECT_THAT(mSaid,
                ElementsAre(StartsWith("usb0 has the address 10.42.187.23, but the plug-in looks for one "
                                       "that begins with 192.168.42")));
}

TEST_F(ATether, IsNotAdvisedWhileItMayStillBeFound) {
    for (const std::vector<Network>& networks : {std::vector<Network>{},
                                                 {{"usb0", {}}},
                                                 {{"usb0", {"192.168.42.7"}}},
                                                 {{"usb0", {"10.0.0.1", "192.168.42.7"}}}}) {
        mNetworks = networks;
        offer();
    }

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(ATether, IsExplainedWhenItIsGivenUp) {
    const std::pair<std::vector<Network>, const char*> rows[] = {
        {{}, "no network interface of this phone has appeared"},
        {{{"usb0", {}}, {"usb1", {}}}, "no IPv4 address has come to usb0 and usb1: run a DHCP client there"},
        {{{"usb0", {"192.168.43.2"}}}, "usb0 has the address 192.168.43.2, but"},
        {{{"usb0", {"192.168.42.2"}}}, "the address of usb0 came too late"},
    };
    for (const auto& [networks, sentence] : rows) {
        offer();
        mNetworks = networks;
        mSaid.clear();
        tell("lost");
        mNetworks.clear();

        EXPECT_THAT(mSaid,
                    ElementsAre(AllOf(StartsWith("the plug-in has looked for this phone's network 21 times"),
                                      HasSubstr(sentence))));
    }
}

TEST_F(ATether, ThatWasFoundIsNotAdvised) {
    offer();
    mAdvice.take(ValueEvent{7, "name", 0, "Phone"});
    mAdvice.take(ValueEvent{7, "zebcmd", 0, "zebcmd:..."});
    tell("lost");

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(ATether, ThatWasUnpluggedIsNotAdvised) {
    offer();
    mAdvice.take(DeviceEvent{"remove", kPhone, "", "", ""});
    tell("lost");

    EXPECT_THAT(mSaid, IsEmpty());
}

TEST_F(ATether, IsNoOtherPhone) {
    mNetworks = {{"usb0", {"10.42.187.23"}}};
    offer("phone-adb");
    tell("lost");

    EXPECT_THAT(mSaid, IsEmpty());
}

} // namespace
} // namespace zebhost
