// What a run offers and what it says to people, on an emulated USB bus and with the plug-in itself.
#include "phones/Catalogue.h"
#include "phones/PhoneLinks.h"
#include "phones/usbfs/SysfsEntry.h"
#include "phones/usbfs/Testbed.h"
#include "tests/host/LiveRun.h"

#include <filesystem>
#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

RunOptions withPlugin() {
    RunOptions options;
    options.plugin = PLUGIN;
    return options;
}

TEST(ARun, AsksNoStrangerAnything) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("mouse"), 1);
    bed.plug(zebphones::loadPhone("storage-stick"), 2);
    LiveRun run(withPlugin());

    run.waitFor({{"event", "verdict"}, {"port", "1-1"}, {"offered", false}, {"rule", "hid"}});
    run.waitFor({{"event", "verdict"}, {"port", "1-2"}, {"offered", false}, {"rule", "storage"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("interest", "level"), IsEmpty());
    for (int port : {1, 2})
        EXPECT_THAT(bed.at(port).received(), IsEmpty());
}

TEST(ARun, AsksEverythingOnlyWithAWarning) {
    zebphones::Testbed bed;
    auto mouse = bed.plug(zebphones::loadPhone("mouse"));
    RunOptions options = withPlugin();
    options.policy.offerAll = true;
    LiveRun run(options);

    run.waitFor({{"event", "advice"}, {"topic", "offer-all"}});
    run.waitFor({{"event", "verdict"}, {"offered", true}, {"rule", "offer-all"}});
    run.waitFor({{"event", "entity"}, {"action", "destroyed"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(mouse->received(), SizeIs(1));
}

TEST(ARun, SendsNothingWhenItIsDry) {
    zebphones::Testbed bed;
    auto phone = bed.plug(zebphones::loadPhone("accessory"));
    RunOptions options = withPlugin();
    options.policy.dryRun = true;
    LiveRun run(options);

    run.waitFor({{"event", "verdict"}, {"offered", true}, {"dry_run", true}, {"rule", "phone-adb"}});
    run.waitFor({{"event", "interest"}, {"level", 30}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("entity", "action"), IsEmpty());
    EXPECT_THAT(phone->received(), IsEmpty());
}

/** The node of a bed's device, which a test takes away and brings back. */
class ANode {
public:
    ANode(const zebphones::Testbed& bed, const zebphones::UsbfsDevice& device) :
        mPath(bed.root() + zebphones::nodePath(device.bus(), device.address())),
        mTarget(std::filesystem::read_symlink(mPath)) {}

    void remove() { std::filesystem::remove(mPath); }
    void bringBack() { std::filesystem::create_symlink(mTarget, mPath); }

private:
    std::filesystem::path mPath;
    std::filesystem::path mTarget;
};

TEST(ARun, OffersAPhoneAsSoonAsItsNodeIsThere) {
    zebphones::Testbed bed;
    auto phone = bed.plug(zebphones::loadPhone("accessory"));
    ANode node(bed, *phone);
    node.remove();
    LiveRun run(withPlugin());
    run.waitFor({{"event", "verdict"}, {"offered", true}});

    node.bringBack();
    run.waitFor({{"event", "log"}, {"text", "Asking AAP device to switch to accessory mode"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("advice", "topic"), Not(Contains("node-access")));
    EXPECT_THAT(phone->received(), SizeIs(8));
}

TEST(ARun, SaysWhatIsMissingWhenANodeDoesNotCome) {
    zebphones::Testbed bed;
    auto phone = bed.plug(zebphones::loadPhone("accessory"));
    ANode node(bed, *phone);
    node.remove();
    LiveRun run(withPlugin());

    std::string text = run.waitFor({{"event", "advice"}, {"topic", "node-access"}, {"port", "1-1"}})["text"];
    EXPECT_THAT(run.of("interest", "level"), IsEmpty());
    node.bringBack();
    run.waitFor({{"event", "interest"}, {"level", 30}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_EQ(text, "the node " + zebphones::nodePath(phone->bus(), phone->address()) +
                        " is missing: have udevd or devtmpfs make it; in a container, pass /dev/bus/usb in");
}

TEST(ARun, LeavesAPhoneAloneThatKeepsComingBackInItsOwnMode) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory"));
    RunOptions options = withPlugin();
    options.policy.maxSwitches = 2;
    LiveRun run(options);

    run.waitFor({{"event", "offer"}});
    bed.bringBack(bed.takeAway(1), 1);
    run.waitFor({{"event", "offer"}});
    auto model = bed.takeAway(1);
    size_t asked = model->received().size(); // while it was offered
    auto third = bed.bringBack(std::move(model), 1);
    std::string text = run.waitFor({{"event", "advice"}, {"topic", "switch-limit"}, {"port", "1-1"}})["text"];

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(text, HasSubstr("was to be switched 2 times within a minute"));
    EXPECT_THAT(run.of("offer", "port"), SizeIs(2));
    EXPECT_THAT(third->received(), SizeIs(asked));
}

TEST(ARun, SaysThatAPhoneWasInAccessoryModeAlready) {
    zebphones::Testbed bed;
    auto stale = bed.plug(zebphones::loadPhone("accessory-2d00"));
    LiveRun run(withPlugin());

    std::string text = run.waitFor({{"event", "advice"}, {"topic", "stale-accessory"}})["text"];
    run.waitFor({{"event", "value"}, {"key", "zebcmd"}});
    bed.unplug(1);
    bed.plug(zebphones::loadPhone("accessory-2d00"));
    run.waitFor({{"event", "value"}, {"key", "zebcmd"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(text, HasSubstr("replug it, or start zebhost with --reset-stale"));
    EXPECT_THAT(run.of("advice", "topic"), ElementsAre("stale-accessory"));
    EXPECT_EQ(stale->resets(), 0U);
}

TEST(ARun, RemembersThatAPhoneIsStaleUntilItsNodeOpens) {
    zebphones::Testbed bed;
    auto stale = bed.plug(zebphones::loadPhone("accessory-2d00"));
    ANode node(bed, *stale);
    node.remove();
    LiveRun run(withPlugin());
    run.waitFor({{"event", "verdict"}, {"rule", "accessory-mode"}});

    node.bringBack();
    run.waitFor({{"event", "advice"}, {"topic", "stale-accessory"}});
    run.waitFor({{"event", "offer"}});

    EXPECT_EQ(run.end(), kExitDone);
}

TEST(ARun, ResetsAStalePhoneOnce) {
    zebphones::Testbed bed;
    auto stale = bed.plug(zebphones::loadPhone("accessory-2d00"));
    RunOptions options = withPlugin();
    options.policy.resetStale = true;
    LiveRun run(options);

    std::string text = run.waitFor({{"event", "advice"}, {"topic", "stale-accessory"}})["text"];
    EXPECT_THAT(run.of("offer", "port"), IsEmpty());
    bed.unplug(1);
    auto again = bed.plug(zebphones::loadPhone("accessory-2d00"));
    run.waitFor({{"event", "offer"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(text, HasSubstr("its port was reset, once"));
    EXPECT_EQ(stale->resets(), 1U);
    EXPECT_EQ(again->resets(), 0U);
}

/** The sentence that a run with this phone says for why it was not switched. */
std::string whyNotSwitched(const char* phone, const RunOptions& options = withPlugin()) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone(phone));
    LiveRun run(options);
    std::string text = run.waitFor({{"event", "advice"}, {"topic", "not-switched"}, {"port", "1-1"}})["text"];
    EXPECT_EQ(run.end(), kExitDone);
    return text;
}

TEST(ARun, SaysWhyAPhoneWasNotSwitched) {
    const std::pair<const char*, const char*> rows[] = {
        {"no-accessory", "refused the first question (request 51)"},
        {"accessory-version-0", "version 0 of the accessory protocol"},
        {"accessory-short", "less than it was asked to"},
        {"accessory-silent", "did not answer in time"},
        {"accessory-drops-at-string", "left the bus"},
    };
    for (const auto& [phone, sentence] : rows)
        EXPECT_THAT(whyNotSwitched(phone), HasSubstr(sentence)) << phone;
}

TEST(ARun, SaysOfPhonesThatArePluggedTogetherNothingThatItsLogRefutes) {
    zebphones::Testbed bed;
    const auto switched = {bed.plug(zebphones::loadPhone("accessory"), 1),
                           bed.plug(zebphones::loadPhone("accessory"), 2)};
    bed.plug(zebphones::loadPhone("no-accessory"), 3);
    LiveRun run(withPlugin());
    for (const auto& phone : switched) {
        while (!phone->switchRequested())
            usleep(1000);
    }

    bed.reappearInAccessoryMode(1);
    bed.reappearInAccessoryMode(2);
    run.waitFor({{"event", "entity"}, {"action", "published"}, {"port", "1-2"}});
    if (run.of("advice", "topic").empty())
        run.waitFor({{"event", "advice"}, {"topic", "not-switched"}, {"port", "1-3"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("advice", "port"), ElementsAre("1-3"));
    EXPECT_THAT(run.of("advice", "text"), ElementsAre(HasSubstr("refused the first question (request 51)")));
}

TEST(ARun, WarnsThatNewerPhonesRefuseEmptyStrings) {
    RunOptions options = withPlugin();
    options.properties = {{"aapserial", ""}};
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory-user-space"));
    LiveRun run(options);

    std::string warning = run.waitFor({{"event", "advice"}, {"topic", "empty-property"}})["text"];
    std::string text = run.waitFor({{"event", "advice"}, {"topic", "not-switched"}})["text"];

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(warning,
                StartsWith("the property aapserial is empty: most phones take that, but newer phones"));
    EXPECT_THAT(text, HasSubstr("the property aapserial is empty, and newer phones refuse empty strings"));
}

TEST(ARun, NamesTheEmptyStringForWhichAPhoneStaysAsItIs) {
    RunOptions options = withPlugin();
    options.properties = {{"aapmodel", ""}};

    EXPECT_THAT(whyNotSwitched("accessory", options),
                HasSubstr("asked to switch and stayed as it is: the property aapmodel is empty"));
}

TEST(ARun, NamesTheAddressThatThePluginDoesNotLookFor) {
    zebphones::PhoneLinks links;
    links.remove(1);
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("rndis-random-subnet"));
    // The phone's interface is the loopback one: no other can be had everywhere.
    std::filesystem::create_directories(bed.root() + "/sys/devices/pci0000:00/usb1/1-1/1-1:1.0/net/lo");
    LiveRun run(withPlugin());
    run.waitFor({{"event", "entity"}, {"action", "published"}});

    links.add(1, "10.42.187.23");
    std::string text =
        run.waitFor({{"event", "advice"}, {"topic", "tether-address"}, {"port", "1-1"}})["text"];

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(text,
                StartsWith("lo has the address 10.42.187.23, but the plug-in looks for one that begins with "
                           "192.168.42"));
    links.remove(1);
}

} // namespace
} // namespace zebhost
