// How often the formatter asks the system's, and what when that fails.
#include "mxcommon/StringUtils.h"

#include "tests/mxcommon/SystemFaults.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using namespace faults;

int attemptsFor(std::size_t length) {
    const std::string text(length, 'x');
    const Failing nothing(kVsnprintf, 0);
    mxcommon::formatString("%s", text.c_str());
    return state().count[kVsnprintf];
}

TEST(TheFormatter, NeedsASecondAttemptFromTwoHundredAndFiftySixCharactersOn) {
    EXPECT_EQ(attemptsFor(0), 1);
    EXPECT_EQ(attemptsFor(255), 1);
    EXPECT_EQ(attemptsFor(256), 2);
    EXPECT_EQ(attemptsFor(511), 2);
    EXPECT_EQ(attemptsFor(512), 3);
    EXPECT_EQ(attemptsFor(524'287), 12);
}

TEST(TheFormatter, MakesTwelveAttemptsAtMost) { EXPECT_EQ(attemptsFor(600'000), 12); }

TEST(TheFormatter, TriesAgainAfterAFailure) {
    for (const int failures : {1, 11}) {
        std::string text;
        int attempts = 0;
        {
            const Recording recording;
            fail(kVsnprintf, EOVERFLOW, failures);
            text = mxcommon::formatString("%s=%d", "bus", 1);
            attempts = state().count[kVsnprintf];
        }

        EXPECT_EQ(text, "bus=1");
        EXPECT_EQ(attempts, failures + 1);
    }
}

TEST(TheFormatter, GivesNothingWhenTheSystemsNeverSucceeds) {
    std::string text = "x";
    int attempts = 0;
    {
        const Failing failing(kVsnprintf, EOVERFLOW);
        text = mxcommon::formatString("%d", 1);
        attempts = state().count[kVsnprintf];
    }

    EXPECT_EQ(text, "");
    EXPECT_EQ(attempts, 12);
}

} // namespace
