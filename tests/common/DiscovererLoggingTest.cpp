// How a discoverer's lines get to the host.
#include "tests/common/TestDiscoverer.h"

using namespace testing;
using namespace zebtest;

namespace {

using ADiscoverersLog = WithDiscoverer;

TEST_F(ADiscoverersLog, LogsWhatTheHostWants) {
    host.logLevel = 30;

    discoverer.log(10, "an error");
    discoverer.log(30, "a note");
    discoverer.log(31, "too much");
    discoverer.logFormatted(10, "%d %s", 7, "of nine");
    discoverer.logFormatted(80, "%s", "too much");

    EXPECT_THAT(host.logLines(),
                ElementsAre(LogLine{10, "an error"}, LogLine{30, "a note"}, LogLine{10, "7 of nine"}));
    EXPECT_TRUE(discoverer.isLogLevelEnabled(30));
    EXPECT_FALSE(discoverer.isLogLevelEnabled(31));
}

TEST_F(ADiscoverersLog, AsksForTheLevelBeforeALineAndTwiceBeforeAFormattedOne) {
    discoverer.log(10, "x");
    discoverer.logFormatted(20, "%s", "y");

    EXPECT_THAT(host.takeRecord(), ElementsAre(Call{"isLogLevelEnabled", {10}}, Call{"log", {10, "x"}},
                                               Call{"isLogLevelEnabled", {20}},
                                               Call{"isLogLevelEnabled", {20}}, Call{"log", {20, "y"}}));
}

TEST_F(ADiscoverersLog, AsksOnceForALevelThatIsNotWanted) {
    host.logLevel = 0;

    discoverer.log(10, "x");
    discoverer.logFormatted(20, "%s", "y");

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"isLogLevelEnabled", {10}}, Call{"isLogLevelEnabled", {20}}));
}

TEST_F(ADiscoverersLog, LeavesALineThatIsNoLongerWantedWhenItIsFormatted) {
    host.on["isLogLevelEnabled"] = [&] {
        if (host.levelQueries() == 2)
            host.logLevel = 0;
    };

    discoverer.logFormatted(10, "%s", "x");

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"isLogLevelEnabled", {10}}, Call{"isLogLevelEnabled", {10}}));
}

TEST_F(ADiscoverersLog, TakesAnyNonZeroAnswerOfTheLevelQueryForYes) {
    static int32_t answer;
    ZEBDiscovererCallbacks callbacks = host.callbacks;
    callbacks.isLogLevelEnabled = [](void*, int32_t) { return answer; };
    TestDiscoverer other(nullptr, 0, &callbacks, sizeof(callbacks), true);

    for (answer = -2; answer <= 2; ++answer)
        EXPECT_EQ(other.isLogLevelEnabled(10), answer != 0) << answer;
}

TEST_F(ADiscoverersLog, CutsAFormattedLineAt511Characters) {
    const std::string text(600, 'x');

    for (const int length : {510, 511, 512, 600})
        discoverer.logFormatted(10, "%.*s", length, text.c_str());

    const std::vector<LogLine> lines = host.logLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].text.size(), 510U);
    EXPECT_EQ(lines[1].text.size(), 511U);
    EXPECT_EQ(lines[2].text, std::string(511, 'x'));
    EXPECT_EQ(lines[3].text, std::string(511, 'x'));
}

TEST_F(ADiscoverersLog, LogsALineThatFormattingLeavesEmpty) {
    discoverer.logFormatted(10, "%s", "");

    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{10, ""}));
}

TEST_F(ADiscoverersLog, DoesNotCutAPlainLine) {
    discoverer.log(10, std::string(600, 'x').c_str());

    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{10, std::string(600, 'x')}));
}

TEST_F(ADiscoverersLog, SendsAnEmptyLineForWhatCantBeFormatted) {
    // No locale of a test can write this character, and by then the words before it are there.
    discoverer.logFormatted(10, "half a line %ls", L"\x20ac");

    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{10, ""}));
}

TEST_F(ADiscoverersLog, HasATextForEveryErrorOrSaysUnknown) {
    static const char* text;
    ZEBDiscovererCallbacks callbacks = host.callbacks;
    callbacks.errorText = [](ZEBDiscoverySDKError) { return text; };
    TestDiscoverer other(nullptr, 0, &callbacks, sizeof(callbacks), true);

    text = nullptr;
    EXPECT_STREQ(other.errorText(5), "<unknown>");
    text = "";
    EXPECT_STREQ(other.errorText(5), "") << "is a text";
}

} // namespace
