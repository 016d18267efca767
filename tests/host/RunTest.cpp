// Whole runs, on an emulated USB bus: of the plug-in itself, and of one made to break the contract.
#include "host/Loop.h"
#include "host/Plugin.h"
#include "phones/Catalogue.h"
#include "phones/PhoneLinks.h"
#include "phones/usbfs/SysfsEntry.h"
#include "phones/usbfs/Testbed.h"
#include "tests/host/Lines.h"
#include "tests/host/LiveRun.h"
#include "tests/support/OpenDescriptors.h"

#include <dlfcn.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

RunOptions withTestPlugin(const std::string& misbehaviour) {
    RunOptions options;
    options.plugin = TEST_PLUGIN;
    if (!misbehaviour.empty())
        options.properties = {{"misbehave", misbehaviour}};
    return options;
}

RunOptions withPlugin() {
    RunOptions options;
    options.plugin = PLUGIN;
    return options;
}

/** A whole run, with what is plugged from start to end. */
ExitStatus runAWhile(RunOptions options, const Lines& lines) {
    options.json = true;
    options.seconds = 0.1;
    return run(options, lines.file());
}

TEST(ARun, TellsTheWholeStoryOfAPhone) {
    zebphones::Testbed bed;
    LiveRun run(withTestPlugin(""));
    run.waitFor({{"event", "started"}});

    bed.plug(zebphones::loadPhone("rndis"));
    nlohmann::json device = run.waitFor({{"event", "device"}});
    run.waitFor({{"event", "value"}, {"key", "zebcmd"}, {"value", "zebcmd:v=1;t=TEST"}});
    bed.unplug(1);
    run.waitFor({{"event", "entity"}, {"action", "destroyed"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.story(), IsSupersetOf({"started", "log handle timer", "log handle event", "device add",
                                           "interest 15", "entity published", "value id", "value zebcmd",
                                           "device remove", "entity lost", "entity destroyed", "stopped"}));
    EXPECT_THAT(std::string(device["name"]), EndsWith("(usb 1-1)"));
    EXPECT_EQ(run.of("value", "value").front(), std::string(device["name"]));
    EXPECT_THAT(run.of("violation", "text"), IsEmpty());
}

const nlohmann::json kCommandFetched = {{"event", "value"}, {"key", "zebcmd"}};

struct Misbehaviour {
    const char* name;
    std::vector<std::string> violations;
    /** What is told when all of it has happened but what comes with the end. */
    nlohmann::json last = kCommandFetched;
};

const Misbehaviour kMisbehaviours[] = {
    {"none", {}},
    {"free-twice", {"freeString: a string was freed twice"}},
    {"never-free", {"a string was never freed: \"forgotten\""}},
    {"complete-twice", {"fetchComplete: a fetch was completed twice"}},
    {"never-complete",
     {"a fetch of \"zebcmd\" was never completed", "a string was never freed: \"zebcmd\""},
     {{"event", "value"}, {"key", "id"}}},
    {"drop-fetch", {"a fetch of \"zebcmd\" was dropped without an answer"}, {{"event", "violation"}}},
    {"unknown-handle-timer", {"setTimerForHandle: handle 4321 is none of the discoverer's"}},
    {"unknown-entity-timer", {"setEntityTimer: an entity that is unknown or destroyed"}},
    {"unknown-entity-lost", {"entityLost: an entity that is unknown or destroyed"}},
    {"lost-after-destroy", {"entityLost: an entity that is unknown or destroyed"}},
    {"announce-twice", {"addEntity: no entity, or one that was announced before"}},
    {"release-twice", {"releaseDevice: a device that the discoverer does not hold"}},
    {"never-release", {"device Tethering phone (usb 1-1) was never released"}},
    {"never-unsubscribe", {"the discoverer never unsubscribed from its device provider"}},
    {"foreign-thread", {"entityLost: called on a thread that is not the host's"}},
    {"call-after-destroy", {"log: called after the discoverer was destroyed"}},
};

TEST(ARun, ReportsEveryWayToBreakTheContract) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("rndis"));
    for (const Misbehaviour& row : kMisbehaviours) {
        SCOPED_TRACE(row.name);
        LiveRun run(withTestPlugin(row.name));
        run.waitFor(row.last);

        EXPECT_EQ(run.end(), row.violations.empty() ? kExitDone : kExitViolation);
        EXPECT_EQ(run.of("violation", "text"), row.violations);
        EXPECT_THAT(run.of("entity", "action"), Contains("destroyed"));
        EXPECT_EQ(run.story().back(), "stopped");
    }
}

TEST(ARun, TellsAPhoneThatWasPluggedBeforeLikeOneThatComesLater) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("rndis"));
    LiveRun before(withTestPlugin(""));
    before.waitFor({{"event", "value"}, {"key", "zebcmd"}});
    before.end();
    bed.unplug(1);

    LiveRun after(withTestPlugin(""));
    after.waitFor({{"event", "log"}, {"text", "handle event"}});
    bed.plug(zebphones::loadPhone("rndis"));
    after.waitFor({{"event", "value"}, {"key", "zebcmd"}});
    after.end();

    auto withoutLog = [](std::vector<std::string> story) {
        std::erase_if(story, [](const std::string& line) { return line.starts_with("log"); });
        return story;
    };
    EXPECT_EQ(withoutLog(before.story()), withoutLog(after.story()));
    EXPECT_EQ(before.of("device", "name"), after.of("device", "name"));
}

TEST(ARun, SaysOfAHubThatItIsWithheld) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("hub"), 1);
    RunOptions options = withTestPlugin("");
    options.policy.offerAll = true;
    LiveRun run(options);

    nlohmann::json verdict = run.waitFor({{"event", "verdict"}});
    bed.unplug(1);
    run.waitFor({{"event", "device"}, {"action", "remove"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_EQ(verdict["port"], "1-1");
    EXPECT_EQ(verdict["rule"], "hub");
    EXPECT_EQ(verdict["offered"], false);
    EXPECT_THAT(run.of("interest", "level"), IsEmpty());
}

TEST(ARun, SaysNothingOfTheMachinesOwnHubs) {
    zebphones::GObjectPtr<UMockdevTestbed> bed(umockdev_testbed_new());
    for (const char* path : {"/devices/pci0000:00/usb1", "/devices/pci0000:00/usb1/1-1"}) {
        std::string entry = zebphones::sysfsEntry(path, zebphones::loadPhone("hub").normal, 1, 1);
        umockdev_testbed_add_from_string(bed.get(), entry.c_str(), nullptr);
    }
    Lines lines;

    EXPECT_EQ(runAWhile(withTestPlugin(""), lines), kExitDone);

    EXPECT_THAT(lines.of("device", "name"), ElementsAre("Hub (usb 1-1)"));
}

std::string withoutConfiguration(std::string entry) {
    const std::string chosen = "bConfigurationValue=1";
    return entry.replace(entry.find(chosen), chosen.size(), "bConfigurationValue=");
}

TEST(ARun, JudgesAPhoneAgainWhenTheKernelHasChosenItsConfiguration) {
    const char* path = "/sys/devices/pci0000:00/usb1/1-1";
    std::string entry =
        zebphones::sysfsEntry("/devices/pci0000:00/usb1/1-1", zebphones::loadPhone("rndis").normal, 1, 4);
    zebphones::GObjectPtr<UMockdevTestbed> bed(umockdev_testbed_new());
    LiveRun run(withTestPlugin(""));
    run.waitFor({{"event", "started"}});

    umockdev_testbed_add_from_string(bed.get(), withoutConfiguration(entry).c_str(), nullptr);
    run.waitFor({{"event", "verdict"}, {"rule", "no-active-interface"}});
    umockdev_testbed_set_attribute(bed.get(), path, "bConfigurationValue", "1\n");
    umockdev_testbed_uevent(bed.get(), path, "bind");
    run.waitFor({{"event", "interest"}, {"level", 15}});
    umockdev_testbed_uevent(bed.get(), path, "change");

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("device", "action"), ElementsAre("add"));
    EXPECT_THAT(run.of("entity", "action"), ElementsAre("published", "destroyed"));
}

TEST(ARun, HasTheMachinesUsbForItselfUntilItEnds) {
    zebphones::Testbed bed;
    LiveRun first(withPlugin()); // the other one is written for one run at a time
    first.waitFor({{"event", "started"}});
    Lines lines;
    RunOptions resetting = withTestPlugin("");
    resetting.policy.resetStale = true;
    RunOptions looking = withTestPlugin("");
    looking.policy.dryRun = true;

    for (const RunOptions& second : {withTestPlugin(""), resetting})
        EXPECT_THAT(
            [&] { runAWhile(second, lines); },
            ThrowsMessage<HostError>(StartsWith("another zebhost drives the USB devices of this machine")));
    EXPECT_THAT(lines.text(), IsEmpty());
    EXPECT_EQ(runAWhile(looking, lines), kExitDone);
    EXPECT_EQ(first.end(), kExitDone);
    EXPECT_EQ(runAWhile(resetting, lines), kExitDone);
}

TEST(ARun, SaysWhenThereIsNoUsbAtAll) {
    zebphones::GObjectPtr<UMockdevTestbed> bed(umockdev_testbed_new());
    Lines lines;

    EXPECT_EQ(runAWhile(withTestPlugin(""), lines), kExitDone);

    EXPECT_EQ(lines.of("advice", "topic"), std::filesystem::exists("/dev/bus/usb")
                                               ? std::vector<std::string>{}
                                               : std::vector<std::string>{"no-usb"});
}

TEST(ARun, LeavesOutADeviceWithoutDescriptors) {
    zebphones::GObjectPtr<UMockdevTestbed> bed(umockdev_testbed_new());
    std::string entry =
        zebphones::sysfsEntry("/devices/pci0000:00/usb1/1-1", zebphones::loadPhone("rndis").normal, 1, 4);
    entry.erase(entry.find("H: descriptors"));
    umockdev_testbed_add_from_string(bed.get(), entry.c_str(), nullptr);
    Lines lines;

    EXPECT_EQ(runAWhile(withTestPlugin(""), lines), kExitDone);

    EXPECT_THAT(lines.of("device", "action"), IsEmpty());
}

TEST(ARun, LeavesNothingOpen) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("rndis"), 1);
    bed.plug(zebphones::loadPhone("accessory"), 2);
    Lines lines;
    runAWhile(withPlugin(), lines);
    int before = zebtest::countOpenDescriptors();

    runAWhile(withPlugin(), lines);

    EXPECT_EQ(zebtest::countOpenDescriptors(), before);
}

struct Ending {
    const char* phone;
    /** Of the last line that comes without a wait. */
    nlohmann::json last;
};

TEST(ARun, EndsCleanlyAfterAnyLine) {
    const Ending rows[] = {
        {"accessory", {{"event", "log"}, {"text", "Setting AAP timer."}}},
        {"accessory-2d00", {{"event", "value"}, {"key", "connectionPassPossible"}}},
        {"rndis", {{"event", "value"}, {"key", "connectionPassPossible"}}},
    };
    zebphones::Testbed bed;
    for (const Ending& row : rows) {
        bed.plug(zebphones::loadPhone(row.phone));
        LiveRun whole(withPlugin());
        whole.waitFor(row.last);
        size_t lines = whole.story().size();
        whole.end();
        int before = zebtest::countOpenDescriptors();

        for (size_t n = 1; n <= lines; ++n) {
            LiveRun run(withPlugin());
            EXPECT_TRUE(run.read(n)) << row.phone << n;

            EXPECT_EQ(run.end(), kExitDone) << row.phone << n;
            EXPECT_THAT(run.of("violation", "text"), IsEmpty()) << row.phone << n;
            EXPECT_THAT(run.of("stopped", "error"), ElementsAre("0")) << row.phone << n;
        }

        EXPECT_GT(lines, 8u) << row.phone;
        EXPECT_EQ(zebtest::countOpenDescriptors(), before) << row.phone;
        bed.unplug(1);
    }
}

TEST(ARun, EndsWhenNobodyReadsItsLines) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> full(std::fopen("/dev/full", "w"), std::fclose);

    EXPECT_EQ(run(withTestPlugin(""), full.get()), kExitFailed);
}

// The plug-in itself

TEST(ThePlugin, FindsATetheringPhone) {
    zebphones::PhoneLinks().add(1, "192.168.42.23");
    zebphones::Testbed bed;
    LiveRun run(withPlugin());
    run.waitFor({{"event", "started"}});

    bed.plug(zebphones::loadPhone("rndis"));
    run.waitFor({{"event", "interest"}, {"level", 15}, {"description", "103"}});
    run.waitFor({{"event", "value"}, {"key", "zebcmd"}, {"value", "zebcmd:v=1;t=USBAND"}});
    bed.unplug(1);
    run.waitFor({{"event", "entity"}, {"action", "destroyed"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("entity", "action"), ElementsAre("published", "lost", "destroyed"));
    EXPECT_THAT(run.of("violation", "text"), IsEmpty());
}

TEST(ThePlugin, SwitchesAPhoneToAccessoryMode) {
    zebphones::Testbed bed;
    auto phone = bed.plug(zebphones::loadPhone("accessory"));
    RunOptions options = withPlugin();
    options.properties = {{"aapmodel", "Bench"}};
    LiveRun run(options);

    run.waitFor({{"event", "interest"}, {"level", 30}, {"description", "105"}});
    run.waitFor({{"event", "log"}, {"text", "Asking AAP device to switch to accessory mode"}});
    while (!phone->switchRequested())
        usleep(1000);
    auto switched = bed.reappearInAccessoryMode(1);
    run.waitFor({{"event", "interest"}, {"level", 10}, {"description", "106"}});
    std::string command = "zebcmd:v=1;t=USBAAP;bus=" + std::to_string(switched->bus()) +
                          ";dev=" + std::to_string(switched->address());
    run.waitFor({{"event", "value"}, {"key", "zebcmd"}, {"value", command}});

    nlohmann::json stages =
        run.waitFor({{"event", "story"}, {"port", "1-1"}, {"kind", "accessory"}})["stages_us"];

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("entity", "action"),
                ElementsAre("added", "lost", "destroyed", "published", "destroyed"));
    for (const char* stage : {"interest", "offer", "entity", "start", "left", "back", "published", "command"})
        EXPECT_TRUE(stages.contains(stage)) << stage;
    EXPECT_GT(stages["command"], stages["back"]);
    EXPECT_THAT(run.of("violation", "text"), IsEmpty());
    phone->withModel([](zebphones::PhoneModel& model) { EXPECT_EQ(model.string(1), "Bench"); });
}

TEST(ThePlugin, EndsCleanlyInTheMiddleOfAHandShake) {
    zebphones::Testbed bed;
    auto phone = bed.plug(zebphones::loadPhone("accessory"));
    phone->hold(true);
    LiveRun run(withPlugin());

    run.waitFor({{"event", "entity"}, {"action", "added"}});

    EXPECT_EQ(run.end(), kExitDone);
    EXPECT_THAT(run.of("entity", "action"), ElementsAre("added", "destroyed"));
    EXPECT_THAT(run.of("violation", "text"), IsEmpty());
}

} // namespace
} // namespace zebhost

int main(int argc, char** argv) {
    zebhost::blockSignals();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
