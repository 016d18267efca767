// A host as a plug-in meets it: starting, strings, log lines, ends.
#include "host/Plugin.h"
#include "tests/host/TestHost.h"

using namespace testing;

namespace zebhost {
namespace {

TEST_F(AHost, SaysThatTheDiscovererHasStarted) {
    EXPECT_THAT(mLines.of("started", "error"), ElementsAre("0"));
}

TEST_F(AHost, TellsThatAPropertyIsNotTaken) {
    Lines lines;
    Output output(lines.file(), Output::Form::Json);

    EXPECT_THAT(
        [&] {
            Host(mLoop, output).start(initialize, {{"known", "a"}, {"strange", "b"}});
        },
        ThrowsMessage<HostError>(HasSubstr("\"strange\": not implemented (9)")));
}

TEST_F(AHost, TellsThatInitFailed) {
    gCalls.initResult = 15;
    Lines lines;
    Output output(lines.file(), Output::Form::Json);

    EXPECT_THAT([&] { Host(mLoop, output).start(initialize, {}); },
                ThrowsMessage<HostError>(HasSubstr("can't be set up: failed (15)")));
}

TEST_F(AHost, NamesTheEntryPointsThatAreMissing) {
    auto incomplete = [](ZEBDiscovererInterface* table, size_t size, const ZEBDiscovererCallbacks* callbacks,
                         size_t callbacksSize) {
        ZEBDiscoverer* made = initialize(table, size, callbacks, callbacksSize);
        table->offerDevice = nullptr;
        table->stop = nullptr;
        return made;
    };

    EXPECT_THAT([&] { mHost.start(incomplete, {}); },
                ThrowsMessage<HostError>(HasSubstr("stop, offerDevice")));
}

TEST_F(AHost, SurvivesAPluginThatThrowsWhileItIsMade) {
    auto throwing = [](ZEBDiscovererInterface*, size_t, const ZEBDiscovererCallbacks*,
                       size_t) -> ZEBDiscoverer* { throw std::runtime_error("no room"); };

    EXPECT_THAT([&] { mHost.start(throwing, {}); }, ThrowsMessage<HostError>(HasSubstr("no room")));
}

// Strings

TEST_F(AHost, StopsTheDiscovererBeforeItDestroysIt) {
    mHost.end();
    mHost.end();
    mHost.conclude();

    EXPECT_THAT(gCalls.made, ElementsAre("stop", "destroyDiscoverer"));
    EXPECT_THAT(mLines.of("stopped", "error"), ElementsAre("0"));
    EXPECT_FALSE(mHost.hasStopped());
}

TEST_F(AHost, DoesNotStopADiscovererThatStoppedByItself) {
    gHost.discovererStopped(gContext, nullptr, 15);
    EXPECT_TRUE(mHost.hasStopped());

    mHost.end();
    mHost.conclude();

    EXPECT_THAT(gCalls.made, ElementsAre("destroyDiscoverer"));
    EXPECT_THAT(mLines.of("stopped", "error"), ElementsAre("15"));
}

TEST_F(AHost, TellsAsTheLastThingThatTheDiscovererHasStopped) {
    addEntity(0);
    gHost.allocString("forgotten", -1);

    mHost.end();
    mHost.conclude();

    std::vector<std::string> events;
    for (const nlohmann::json& line : mLines.all())
        events.push_back(line["event"]);
    EXPECT_THAT(events, ElementsAre("started", "entity", "entity", "violation", "stopped"));
}

TEST_F(AHost, CopiesTextUpToItsEnd) {
    char* string = gHost.allocString("text", -1);

    EXPECT_STREQ(string, "text");
    gHost.freeString(string);
}

TEST_F(AHost, CopiesTextUpToALength) {
    char* string = gHost.allocString("text", 2);

    EXPECT_STREQ(string, "te");
    gHost.freeString(string);
}

TEST_F(AHost, GivesABufferForNoText) {
    char* string = gHost.allocString(nullptr, 56);

    ASSERT_NE(string, nullptr);
    std::memset(string, 'x', 55);
    EXPECT_EQ(std::strlen(string), 55u);
    gHost.freeString(string);
}

TEST_F(AHost, GivesNoStringForNonsense) {
    EXPECT_EQ(gHost.allocString(nullptr, -1), nullptr);
    EXPECT_EQ(gHost.allocString("text", -2), nullptr);
}

TEST_F(AHost, FreesNoString) {
    gHost.freeString(nullptr);

    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, ReportsAStringFreedTwice) {
    char* string = gHost.allocString("text", -1);

    gHost.freeString(string);
    gHost.freeString(string);

    EXPECT_THAT(mLines.violations(), ElementsAre("freeString: a string was freed twice"));
}

TEST_F(AHost, ReportsAStringThatIsNotItsOwn) {
    char text[] = "mine";

    gHost.freeString(text);

    EXPECT_THAT(mLines.violations(), ElementsAre("freeString: not a string of the host's"));
}

TEST_F(AHost, ReportsAStringThatWasNeverFreed) {
    gHost.allocString("forgotten", -1);

    mHost.end();
    mHost.conclude();

    EXPECT_THAT(mLines.violations(), ElementsAre("a string was never freed: \"forgotten\""));
}

TEST_F(AHost, SeesAStringFreedTwiceAfterManyOthers) {
    char* string = gHost.allocString("text", -1);
    gHost.freeString(string);
    for (int i = 0; i < 200; ++i)
        gHost.freeString(gHost.allocString("text", -1));

    gHost.freeString(string);

    EXPECT_THAT(mLines.violations(), ElementsAre("freeString: a string was freed twice"));
}

// Phase and thread

TEST_F(AHost, ReportsACallbackAfterTheDiscovererWasDestroyed) {
    mHost.end();

    gHost.log(gContext, 10, "late");
    gHost.entityLost(gContext, entity(0));
    EXPECT_EQ(gHost.allocString("late", -1), nullptr);

    EXPECT_THAT(mLines.violations(), AllOf(SizeIs(3), Each(HasSubstr("after the discoverer was destroyed"))));
}

TEST_F(AHost, ReportsACallbackOnAThreadThatIsNotItsOwn) {
    addEntity(0);

    std::thread([this] { gHost.entityLost(gContext, entity(0)); }).join();

    EXPECT_THAT(mLines.violations(), ElementsAre("entityLost: called on a thread that is not the host's"));
    EXPECT_THAT(mLines.of("entity", "action"), ElementsAre("published"));
}

TEST_F(AHost, LogsFromAnyThreadAndWithoutAContext) {
    std::thread([] { gHost.log(gContext, 30, "from elsewhere"); }).join();
    gHost.log(nullptr, 30, "early");

    EXPECT_THAT(mLines.of("log", "text"), ElementsAre("from elsewhere", "early"));
}

TEST_F(AHost, WantsLinesUpToItsLevel) {
    mHost.setLogLevel(30);

    EXPECT_EQ(gHost.isLogLevelEnabled(gContext, 30), 1);
    EXPECT_EQ(gHost.isLogLevelEnabled(gContext, 80), 0);
}

} // namespace
} // namespace zebhost
