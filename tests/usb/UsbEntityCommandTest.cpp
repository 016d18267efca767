// A fetch of the command, when there is one.
#include "tests/usb/EntityFixtures.h"

using namespace testing;
using namespace zebtest;

namespace {

TEST_F(AnEntityThatIsAsked, LooksAtTheLinkStopsAndAnswers) {
    entity->start();
    giveCommand(-1);

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"),
                                        answer("zebcmd", request, 0, "zebcmd:test")));
    entity->ports = {Status::TryLater};
    fetch("zebcmd"); // started no more: tries again
    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, freed("zebcmd:test"), timer(-1), kOpenPort,
                            logged(80, "Can't open the port, waiting for interval"), timer(1000000)));
    entity->cancelPendingFetch();
}

TEST_F(AnEntityThatIsAsked, FreesAnOlderKeyWhenItAnswersANewerFetch) {
    fetchQuietly("zebcmd");
    giveCommand(500000);
    entity->stop(); // the schedule is forgotten, the fetch and the command are kept
    forget();

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"),
                                        answer("zebcmd", request, 0, "zebcmd:test"), freed("zebcmd")));
    entity->completePendingFetch();
    EXPECT_THAT(happened(), IsEmpty()) << "nothing is pending";
}

TEST_F(AnEntityThatIsAsked, AnswersWithoutErrorAndValueWhenTheLinkGaveNoNewCommand) {
    giveCommand(-1);
    entity->inOpenPort = [&] {
        host.failAllocationAt = 1;
        entity->setZebCmd(500000);
    };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, freed("zebcmd:test"), Call{"doSetZebCmd", {}}, copied("zebcmd:test"),
                            timer(500000), timer(-1), answer("zebcmd", request, 0, nullptr)));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenAPresentCommandCantBeCopied) {
    giveCommand(-1);
    host.failAllocationAt = 1;
    const void* request = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"),
                                        answer("zebcmd", request, 3, nullptr)));

    entity->ports = {Status::NotSupported};
    host.failAllocationAt = 1;
    request = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(kOpenPort, copied("zebcmd:test"),
                                        answer("zebcmd", request, 3, nullptr), freed("zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, StartsAgainWhenTheLinkIsGone) {
    giveCommand(-1);
    entity->ports = {Status::TryLater};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, freed("zebcmd:test"), timer(-1), kOpenPort,
                            logged(80, "Can't open the port, waiting for interval"), timer(1000000)))
        << "the command is not asked for";
    giveCommand(500000);
    entity->handleTimeout();
    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, AnswersFromInsideItsNewStartWhenTheLinkIsBack) {
    giveCommand(-1);
    entity->ports = {Status::TryLater, Status::Done};
    entity->inOpenPort = [&] {
        if (entity->portsOpened == 2)
            entity->setZebCmd(-1);
    };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, freed("zebcmd:test"), timer(-1), kOpenPort,
                                        Call{"doSetZebCmd", {}}, copied("zebcmd:test"), copied("zebcmd:test"),
                                        answer("zebcmd", request, 0, "zebcmd:test"),
                                        logged(80, "Port opened successfully")))
        << "the fetch is kept before the start";
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:test"));
}

TEST_F(AnEntityThatIsAsked, LeavesAFetchPendingWhenTheLinkIsGoneAndItIsStartedStill) {
    entity->start();
    giveCommand(-1);
    entity->ports = {Status::TryLater};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, freed("zebcmd:test")));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", request, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, AnswersCancelledThoughAFetchIsPending) {
    entity->start();
    entity->cancelPendingFetch();
    giveCommand(-1);
    entity->ports = {Status::TryLater};
    const void* kept = fetch("zebcmd");
    forget();

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(answer("zebcmd", request, 11, nullptr)));
    entity->cancelPendingFetch();
    EXPECT_THAT(happened(), ElementsAre(answer("zebcmd", kept, 11, nullptr)));
}

TEST_F(AnEntityThatIsAsked, FreesAnOlderKeyWhenItKeepsANewerFetch) {
    fetchQuietly("zebcmd");
    giveCommand(500000);
    entity->stop();
    forget();
    entity->ports = {Status::TryLater};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, freed("zebcmd"), freed("zebcmd:test"), timer(-1), kOpenPort,
                            logged(80, "Can't open the port, waiting for interval"), timer(1000000)));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", request, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, AnswersALastTimeThenFreesTheCommandOfALinkThatIsNotSupported) {
    giveCommand(-1);
    entity->ports = {Status::NotSupported};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, copied("zebcmd:test"),
                                        answer("zebcmd", request, 0, "zebcmd:test"), freed("zebcmd:test")));
    fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(Call{"requestZebCmd", {}})) << "there is no command now";
    entity->cancelPendingFetch();
}

TEST_F(AnEntityThatIsAsked, KeepsAnOlderFetchWhenItAnswersANewerALastTime) {
    const void* older = fetch("zebcmd");
    giveCommand(500000);
    entity->stop();
    entity->ports = {Status::NotSupported};
    fetch("zebcmd");

    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", older, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, FreesTheKeyForAStatusWithoutAName) {
    giveCommand(-1);
    entity->ports = {kOtherStatus};

    fetchQuietly("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, freed("zebcmd")));
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:test"));
}

} // namespace
