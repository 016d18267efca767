// Pages of traces that are written here, at times that are known.
#include "host/report/Report.h"

#include "host/Plugin.h"
#include "host/report/Visit.h"
#include "host/trace/Trace.h"
#include "tests/trace/TraceReading.h"

#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

class AReport : public ::testing::Test {
protected:
    /** A line of the run, so many milliseconds after its start. */
    void line(double ms, nlohmann::json members) {
        at(ms);
        members["time_us"] = mNow / 1000;
        mTrace->instant(mPhone, "line", members["event"].get<std::string>(), members.dump());
    }
    void device(double ms, const char* action, const char* product) {
        line(ms, {{"event", "device"},
                  {"action", action},
                  {"vendor", "18d1"},
                  {"product", product},
                  {"name", "Phone"}});
    }
    void offered(double ms, const char* description) {
        line(ms, {{"event", "verdict"}, {"offered", true}, {"reason", "a phone"}});
        line(ms, {{"event", "interest"}, {"level", 30}, {"description", description}});
        line(ms, {{"event", "offer"}});
    }
    void command(double ms) {
        line(ms, {{"event", "value"}, {"id", 1}, {"key", "zebcmd"}, {"value", "zebcmd:v=1"}});
    }
    void transfer(double from, double to, const char* name, const char* status) {
        at(from);
        mTrace->open(mPhone, "transfer", name, ++mId, "{}");
        at(to);
        mTrace->close(mPhone, "transfer", name, mId, TraceArgs().add("status", status).json());
    }
    void at(double ms) { mNow = 1'000'000'000 + static_cast<uint64_t>(ms * 1e6); }

    /** A phone that is switched. */
    void switchPhone(double awayMs = 500) {
        device(0, "add", "4ee2");
        offered(1, "105");
        transfer(2, 3, "protocol version?", "completed");
        transfer(3, 10, "string 5: serial", "completed");
        transfer(1010, 1011, "switch to accessory", "completed");
        device(1100, "remove", "4ee2");
        device(1100 + awayMs, "add", "2d00");
        line(1101 + awayMs, {{"event", "entity"}, {"action", "published"}, {"id", 2}});
        command(2101 + awayMs);
    }

    std::string page() {
        mTrace.reset();
        return reportPage(mFile.path());
    }
    Visit visit() {
        mTrace.reset();
        return visitsOf(readTrace(mFile.path()).tracks.at(1)).at(0);
    }

    AFile mFile;
    uint64_t mNow = 1'000'000'000;
    uint64_t mId = 0;
    std::optional<Trace> mTrace{std::in_place, mFile.path(), [this] { return mNow; }};
    Track mPhone = mTrace->track("usb 1-1");
};

TEST_F(AReport, TellsWhereTheTimeWent) {
    switchPhone();

    std::vector<std::string> stages;
    for (const Visit::Stage& stage : visit().stages())
        stages.push_back(stage.label + " " + std::to_string(std::lround((stage.end - stage.begin) / 1000)));

    EXPECT_THAT(stages, ElementsAre("Recognise 1", "Hand-shake 9", "Pause 1000", "Leave 90", "Restart 500",
                                    "Announce 1", "Command 1000"));
}

TEST_F(AReport, HoldsThePhoneAgainstTheBudgets) {
    switchPhone();

    EXPECT_THAT(page(), AllOf(HasSubstr("2.601 s</p>"), HasSubstr("data-total-us=\"2601000\""),
                              HasSubstr("reachable as an accessory"), HasSubstr("✓ within 6 s"),
                              HasSubstr("Most of it: Pause, 1.000 s (38 %)")));
}

TEST_F(AReport, SaysWhenSomeDevicesGiveUp) {
    switchPhone(5000);

    EXPECT_THAT(page(), AllOf(HasSubstr("over 6 s: some devices give up"), Not(HasSubstr("within 6 s"))));
}

TEST_F(AReport, SaysWhenAndroidGivesUp) {
    switchPhone(9000);

    EXPECT_THAT(page(),
                AllOf(HasSubstr("over 10 s: Android gives up"), Not(HasSubstr("some devices give up"))));
}

TEST_F(AReport, HasNoBudgetForAPhoneThatSharesItsNetwork) {
    device(0, "add", "4ee3");
    offered(1, "103");
    line(1, {{"event", "entity"}, {"action", "published"}, {"id", 1}});
    command(1501);

    EXPECT_THAT(page(),
                AllOf(HasSubstr("over the network it shares"), HasSubstr("Most of it: Network, 1.500 s"),
                      Not(HasSubstr("Against what devices allow")), Not(HasSubstr("Transfers of the"))));
}

TEST_F(AReport, NamesTheTransferThatFailed) {
    device(0, "add", "4ee2");
    offered(1, "105");
    transfer(2, 3, "protocol version?", "stalled");
    device(50, "remove", "4ee2");

    EXPECT_THAT(page(), AllOf(HasSubstr("The hand-shake ended with “protocol version?”: stalled."),
                              HasSubstr("<tr class=\"failed\">"), HasSubstr("No result")));
}

TEST_F(AReport, ShowsWhatWasUnderWayWhenTheRunWasKilled) {
    device(0, "add", "4ee2");
    offered(1, "105");
    at(2);
    mTrace->open(mPhone, "transfer", "protocol version?", 9, "{}");
    mTrace->begin(mPhone, "call", "handleSingleEvent", "{}");

    EXPECT_THAT(page(), AllOf(HasSubstr("“protocol version?”: no answer yet."), HasSubstr("under way")));
}

TEST_F(AReport, SaysWhyADeviceWasLeftAlone) {
    device(0, "add", "0001");
    line(1, {{"event", "verdict"}, {"offered", false}, {"reason", "a mouse"}});

    EXPECT_THAT(page(), AllOf(HasSubstr("Never offered to the plug-in: a mouse."),
                              HasSubstr("No phone was offered")));
}

TEST_F(AReport, TakesAPhoneThatComesLaterForAnother) {
    switchPhone();
    device(3000, "remove", "2d00");
    device(60000, "add", "4ee2");
    offered(60001, "105");

    EXPECT_THAT(page(), AllOf(HasSubstr("id=\"phone-2\""), HasSubstr("2 phones")));
}

TEST_F(AReport, TakesAPhoneThatIsPluggedSoonAfterASwitchForAnother) {
    switchPhone();
    device(3000, "remove", "2d00");
    device(4000, "add", "4ee2");
    offered(4001, "105");
    transfer(4002, 4003, "protocol version?", "completed");

    EXPECT_THAT(page(), AllOf(HasSubstr("2 phones"), HasSubstr("id=\"phone-2\""),
                              HasSubstr("data-total-us=\"2601000\""),
                              HasSubstr("Nothing had come of it when the trace ended.")));
}

TEST_F(AReport, CountsOneReturnForEachSwitch) {
    switchPhone();
    device(3000, "remove", "2d00");
    device(3500, "add", "2d00");
    offered(3501, "106");

    EXPECT_THAT(page(), HasSubstr("2 phones"));
}

TEST_F(AReport, ShowsEachTimeThatAPhoneCameBackAsItWas) {
    for (int time = 0; time < 3; ++time) {
        double from = time * 2000;
        device(from, "add", "4ee2");
        offered(from + 1, "105");
        transfer(from + 1010, from + 1011, "switch to accessory", "completed");
        device(from + 1100, "remove", "4ee2");
    }
    device(6000, "add", "4ee2");
    line(6001, {{"event", "verdict"}, {"offered", true}, {"reason", "a phone"}});
    line(6001, {{"event", "advice"}, {"topic", "switch-limit"}, {"text", "it comes back in its own mode"}});

    EXPECT_THAT(page(), AllOf(HasSubstr("3 phones"),
                              HasSubstr("It left when it was asked to switch, and did not come back as an"),
                              HasSubstr("Left alone: it comes back in its own mode.")));
}

TEST_F(AReport, ShowsMarkupAsText) {
    line(0, {{"event", "device"}, {"action", "add"}, {"name", "<script>alert(1)</script>"}});
    offered(1, "105");
    line(2, {{"event", "log"}, {"severity", 30}, {"text", "\"><img onerror=x>"}});

    EXPECT_THAT(page(),
                AllOf(Not(HasSubstr("<script")), Not(HasSubstr("<img")), HasSubstr("&lt;script&gt;")));
}

TEST_F(AReport, NeedsNothingFromElsewhere) {
    switchPhone();

    EXPECT_THAT(page(), AllOf(Not(HasSubstr("http:")), Not(HasSubstr("https:")), Not(HasSubstr("src=")),
                              Not(HasSubstr("url(")), Not(HasSubstr("{{")), HasSubstr("default-src 'none'")));
}

constexpr char kHead[] = R"([{"ph":"i","tid":0,"ts":1,"cat":"trace","args":{"format":1}})";
constexpr char kStrange[] = "is not as \"zebhost run --trace\" writes it";

TEST(AReportOf, WhatIsNoTraceIsAnError) {
    AFile file;
    const std::pair<std::string, const char*> rows[] = {
        {"", "it is no JSON at byte 1"},
        {"{", "it is no JSON at byte 2"},
        {"[]", "it has no head, or one of another version"},
        {"{}", "it has no head"},
        {"5", kStrange},
        {"[1]", "its event 1 is not as \"zebhost run --trace\" writes it"},
        {"[{\"ph\":5}]", "its event 1 is not as"},
        {std::string(kHead) + ",{\"ph\":\"X\"}]", "its event 2 is not as"},
        {std::string(kHead) + R"(,{"ph":"e","tid":1,"ts":1,"cat":"c","id":1,"args":{}}])",
         "its event 2 is not as"},
        {std::string(kHead) + R"(,{"ph":"i","tid":1,"ts":1,"cat":"line","args":5}])", kStrange},
        {std::string(kHead) +
             R"(,{"ph":"i","tid":0,"ts":1,"cat":"line","args":{"event":"interest","level":"x"}}])",
         kStrange},
        {"[{\"ph\":\"E\",\"tid\":1,\"ts\":1,\"args\":{}}]", "something ends that has not begun"},
    };

    EXPECT_THAT([&] { reportPage(file.path()); }, ThrowsMessage<HostError>(HasSubstr("there is no trace")));
    for (const auto& [text, says] : rows) {
        std::ofstream(file.path()) << text;
        EXPECT_THAT([&] { reportPage(file.path()); },
                    ThrowsMessage<HostError>(AllOf(HasSubstr(" is no trace of zebhost's: "), HasSubstr(says),
                                                   Not(HasSubstr("exception")))))
            << text;
    }
}

TEST(AReportOf, ARunThatCanNotBeWrittenIsAnError) {
    AFile file;
    Trace(file.path(), [] { return uint64_t{1}; });

    EXPECT_THAT([&] { writeReport(file.path(), "/no/such/folder/page.html"); },
                ThrowsMessage<HostError>(HasSubstr("can't be written")));
}

} // namespace
} // namespace zebhost
