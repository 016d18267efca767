// Whole runs with a trace: of the plug-in on an emulated USB bus, and of the program, killed.
#include "host/Loop.h"
#include "host/report/Report.h"
#include "phones/Catalogue.h"
#include "phones/usbfs/Testbed.h"
#include "tests/host/LiveRun.h"
#include "tests/trace/TraceReading.h"

#include <csignal>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>

using namespace testing;

namespace zebhost {
namespace {

/** A run in which a phone is switched. */
class ATracedRun : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::filesystem::create_directories(TRACED_RUN);
        RunOptions options;
        options.plugin = PLUGIN;
        options.trace = TRACED_RUN "/trace.json";
        options.usbTap = USB_TAP;
        options.properties = {{"aapmodel", "Bench"}};
        zebphones::Testbed bed;
        LiveRun run(options);
        run.waitFor({{"event", "started"}});
        switchAPhone(bed, run);
        plugAHostileOne(bed, run);
        EXPECT_EQ(run.end(), kExitDone);
        gLines = run.lines();
        std::ifstream trace(options.trace);
        gEvents = nlohmann::json::parse(trace).get<std::vector<nlohmann::json>>();
        keepForTheBrowser(options.trace);
    }

    static bool isTraced(const std::string& text) {
        std::ifstream file(TRACED_RUN "/trace.json");
        return std::string(std::istreambuf_iterator<char>(file), {}).find(text) != std::string::npos;
    }

    static void switchAPhone(zebphones::Testbed& bed, LiveRun& run) {
        bed.plug(zebphones::loadPhone("accessory"));
        run.waitFor({{"event", "log"}, {"text", "Asking AAP device to switch to accessory mode"}});
        // A phone that leaves before the host has seen the request's end is one that was pulled out.
        while (!isTraced("\"ph\":\"e\",\"cat\":\"transfer\",\"name\":\"switch to accessory\""))
            usleep(1000);
        bed.reappearInAccessoryMode(1);
        run.waitFor({{"event", "value"}, {"key", "zebcmd"}});
        bed.unplug(1);
        run.waitFor({{"event", "entity"}, {"action", "destroyed"}, {"id", 2}});
    }

    /** A phone whose name is written for a browser. */
    static void plugAHostileOne(zebphones::Testbed& bed, LiveRun& run) {
        zebphones::PhoneDescription phone = zebphones::loadPhone("rndis");
        phone.normal.productName = "<script>document.title='owned'</script>\"><img src=x onerror=alert(1)>";
        bed.plug(phone, 2);
        run.waitFor({{"event", "value"}, {"key", "id"}, {"id", 3}});
    }

    /** The page and the lines that its numbers must be those of. */
    static void keepForTheBrowser(const std::string& trace) {
        writeReport(trace, TRACED_RUN "/page.html");
        std::ofstream lines(TRACED_RUN "/lines.jsonl");
        for (const nlohmann::json& line : gLines)
            lines << line << "\n";
    }

    /** The events of a kind on the phone's track. */
    static std::vector<nlohmann::json> ofPhone(const std::string& category, const std::string& phase) {
        std::map<int, std::string> names = trackNames(gEvents);
        std::vector<nlohmann::json> found;
        for (const nlohmann::json& event : gEvents) {
            if (event.value("cat", "") == category && event["ph"] == phase &&
                names[event["tid"]] == "usb 1-1")
                found.push_back(event);
        }
        return found;
    }

    static inline std::vector<nlohmann::json> gLines;
    static inline std::vector<nlohmann::json> gEvents;
};

TEST_F(ATracedRun, HoldsEveryLineAsItWasPrinted) {
    std::vector<nlohmann::json> traced;
    for (const nlohmann::json& event : gEvents) {
        if (event.value("cat", "") == "line")
            traced.push_back(event["args"]);
    }

    EXPECT_EQ(traced, gLines);
}

TEST_F(ATracedRun, HasAPhonesStoryOnOneTrack) {
    std::vector<std::string> told = onTrack(gEvents, "usb 1-1");

    // Plugged, and back after it was switched.
    EXPECT_THAT(told, AllOf(Contains("i device add").Times(2), Contains("i interest").Times(2),
                            Contains("B offerDevice").Times(2), Contains("i device remove").Times(2),
                            Contains("i entity published"), Contains("i value zebcmd"),
                            Contains(StartsWith("b timer of descriptor")), Contains("b timer of entity #2")));
    EXPECT_THAT(onTrack(gEvents, "host loop"), AllOf(Contains("B wait"), Contains("i descriptors")));
}

TEST_F(ATracedRun, ShowsTheEightTransfersOfTheHandShake) {
    std::vector<std::string> names;
    for (const nlohmann::json& event : ofPhone("transfer", "b"))
        names.push_back(event["name"]);
    std::vector<nlohmann::json> ends;
    for (const nlohmann::json& event : ofPhone("transfer", "e"))
        ends.push_back(event["args"]);

    EXPECT_THAT(names, ElementsAre("protocol version?", "string 0: manufacturer", "string 1: model",
                                   "string 2: description", "string 3: version", "string 4: uri",
                                   "string 5: serial", "switch to accessory"));
    EXPECT_EQ(ofPhone("transfer", "b")[2]["args"]["text"], "Bench");
    ASSERT_THAT(ends, SizeIs(8));
    EXPECT_EQ(ends[0], (nlohmann::json{{"status", "completed"}, {"moved", 2}, {"protocol", 2}}));
    EXPECT_EQ(ends[2], (nlohmann::json{{"status", "completed"}, {"moved", 5}}));
}

TEST_F(ATracedRun, TellsTheSecondBeforeTheSwitch) {
    std::vector<nlohmann::json> armed = ofPhone("timer", "b");
    std::vector<nlohmann::json> ended = ofPhone("timer", "e");

    auto isHandles = [](const nlohmann::json& event) {
        return event["name"].get<std::string>().starts_with("timer of descriptor");
    };
    auto start = std::find_if(armed.begin(), armed.end(), isHandles);
    auto end = std::find_if(ended.begin(), ended.end(), isHandles);
    ASSERT_TRUE(start != armed.end() && end != ended.end());
    EXPECT_EQ((*start)["args"]["us"], 1'000'000);
    EXPECT_EQ((*end)["args"]["end"], "expired");
    EXPECT_GE((*end)["ts"].get<double>() - (*start)["ts"].get<double>(), 1'000'000);
}

TEST_F(ATracedRun, NestsWhatBeginsAndEnds) {
    std::map<int, int> depth;
    for (const nlohmann::json& event : gEvents) {
        int& open = depth[event["tid"]];
        open += event["ph"] == "B" ? 1 : 0;
        open -= event["ph"] == "E" ? 1 : 0;
        ASSERT_GE(open, 0);
    }

    EXPECT_THAT(depth, Each(Pair(_, 0)));
    EXPECT_TRUE(timesNeverRunBack(gEvents));
}

/** The program's words, and those that start it. */
pid_t start(const std::string& arguments) {
    std::istringstream words(ZEBHOST_COMMAND " " + arguments);
    std::vector<std::string> parts{std::istream_iterator<std::string>(words), {}};
    std::vector<char*> argv;
    for (std::string& part : parts)
        argv.push_back(part.data());
    argv.push_back(nullptr);
    pid_t child = -1;
    EXPECT_EQ(posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ), 0);
    return child;
}

constexpr char kLineOfTheTimer[] = "\"cat\":\"line\",\"name\":\"log\"";

TEST(AKilledRun, LeavesATraceThatCanBeRead) {
    AFile file;
    pid_t host = start("run --json --plugin " TEST_PLUGIN " --trace " + file.path());
    for (int tries = 0; tries < 200000 && file.text().find(kLineOfTheTimer) == std::string::npos; ++tries)
        usleep(1000);

    kill(host, SIGKILL);
    waitpid(host, nullptr, 0);

    EXPECT_THAT(onTrack(file.events(), "host loop"), AllOf(Contains("i started"), Contains("i log")));
}

} // namespace
} // namespace zebhost

int main(int argc, char** argv) {
    zebhost::blockSignals();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
