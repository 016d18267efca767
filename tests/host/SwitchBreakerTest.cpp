#include "host/SwitchBreaker.h"

#include <gtest/gtest.h>

namespace zebhost {
namespace {

using Answer = SwitchBreaker::Answer;

constexpr uint64_t kSecond = 1'000'000;

TEST(ASwitchBreaker, ClosesAPortForAMinute) {
    SwitchBreaker breaker(2);

    EXPECT_EQ(breaker.ask("1-1", 0), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 10 * kSecond), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 20 * kSecond), Answer::JustClosed);
    EXPECT_EQ(breaker.ask("1-1", 30 * kSecond), Answer::Closed);
    EXPECT_EQ(breaker.closedFor("1-1", 30 * kSecond), 50 * kSecond);
    EXPECT_EQ(breaker.closedFor("1-1", 81 * kSecond), 0U);
    EXPECT_EQ(breaker.closedFor("1-2", 30 * kSecond), 0U);
    EXPECT_EQ(breaker.ask("1-1", 80 * kSecond - 1), Answer::Closed);
    EXPECT_EQ(breaker.ask("1-1", 80 * kSecond), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 81 * kSecond), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 82 * kSecond), Answer::JustClosed);
}

TEST(ASwitchBreaker, ForgetsOffersAfterAMinute) {
    SwitchBreaker breaker(2);

    EXPECT_EQ(breaker.ask("1-1", 0), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 59 * kSecond), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 60 * kSecond), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 61 * kSecond), Answer::JustClosed);
}

TEST(ASwitchBreaker, StartsAnewAtAPortThatWasEmptyForFiveSeconds) {
    SwitchBreaker breaker(1);
    EXPECT_EQ(breaker.ask("1-1", 0), Answer::Go);

    breaker.unplugged("1-1", 1 * kSecond);
    EXPECT_EQ(breaker.ask("1-1", 6 * kSecond - 1), Answer::JustClosed);
    breaker.unplugged("1-1", 7 * kSecond);
    EXPECT_EQ(breaker.ask("1-1", 12 * kSecond), Answer::Go);
}

TEST(ASwitchBreaker, KeepsPortsApart) {
    SwitchBreaker breaker(1);

    EXPECT_EQ(breaker.ask("1-1", 0), Answer::Go);
    EXPECT_EQ(breaker.ask("1-2", 0), Answer::Go);
    EXPECT_EQ(breaker.ask("1-1", 1), Answer::JustClosed);
}

TEST(ASwitchBreaker, WithoutALimitNeverCloses) {
    SwitchBreaker breaker(0);

    for (uint64_t now = 0; now < 1000; ++now)
        EXPECT_EQ(breaker.ask("1-1", now), Answer::Go);
}

} // namespace
} // namespace zebhost
