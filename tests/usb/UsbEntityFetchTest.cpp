#include "tests/usb/EntityFixtures.h"

using namespace testing;
using namespace zebtest;

namespace {

// The properties.

struct PropertyRow {
    const char* key;
    Properties device;
    bool connectionPass;
    int error;
    Argument value;
};

const PropertyRow kProperties[] = {
    {"id", {"1", "4", "18d1", "4ee2", "A phone"}, false, 0, "A phone"},
    {"name", {"1", "4", "18d1", "4ee2", "A phone", "more"}, false, 0, "A phone"},
    {"id", {"1", "4", "18d1", "4ee2"}, false, 0, "0x00001a2b"},
    {"name", {"1", "4", "18d1", "4ee2"}, false, 0, "0x00001a2b"},
    {"id", {"1", "4", "18d1", "4ee2", std::nullopt}, false, 0, "0x00001a2b"},
    {"id", {"1", "4", "18d1", "4ee2", ""}, false, 0, ""},
    {"type", {}, false, 0, "usb"},
    {"connectionPassPossible", {}, false, 0, "n"},
    {"connectionPassPossible", {}, true, 0, "y"},
    {"password", {}, false, 9, nullptr},
    {"Id", {}, false, 9, nullptr},
    {"", {}, false, 9, nullptr},
    {nullptr, {}, false, 9, nullptr},
};

TEST_F(AnEntityThatIsAsked, AnswersEachPropertyAtOnce) {
    for (const PropertyRow& row : kProperties) {
        SCOPED_TRACE(row.key ? row.key : "(null)");
        const DeviceRecord record(6699, row.device);
        ScriptedEntity asked(*discoverer, *discoverer, record);
        asked.connectionPass = row.connectionPass;

        host.takeCalls(); // of the entity before
        const void* request = host.fetch(toHost(&asked), row.key);

        EXPECT_THAT(
            host.calls(),
            ElementsAre(Call{"fetchComplete", {toHost(&asked), row.key, request, row.error, row.value}}));
    }
}

TEST_F(AnEntityThatIsAsked, WritesLargeDeviceIdsWithEightDigits) {
    const DeviceRecord record(0xfedcba98, {});
    ScriptedEntity asked(*discoverer, *discoverer, record);

    host.fetch(toHost(&asked), "id");

    EXPECT_EQ(host.calls()[0].arguments[4], Argument("0xfedcba98"));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenAValueCantBeCopied) {
    for (const char* key : {"id", "type", "connectionPassPossible"}) {
        host.failAllocationAt = 1;

        const void* request = fetch(key);

        EXPECT_THAT(host.takeCalls(), ElementsAre(answer(key, request, 3, nullptr)));
    }
}

TEST_F(AnEntityThatIsAsked, AnswersAPasswordWithWhatBecameOfIt) {
    const void* first = host.post(handle(), "password", "secret");
    entity->password = [](const char* value) { return std::string(value) == "secret" ? 0 : 44; };
    const void* second = host.post(handle(), "password", "secret");
    const void* third = host.post(handle(), "password", "guess");

    EXPECT_THAT(host.calls(), ElementsAre(Call{"postComplete", {handle(), "password", "secret", first, 9}},
                                          Call{"postComplete", {handle(), "password", "secret", second, 0}},
                                          Call{"postComplete", {handle(), "password", "guess", third, 44}}));
}

TEST_F(AnEntityThatIsAsked, AcceptsNoOtherValues) {
    entity->password = [](const char*) { return 0; };
    const void* first = host.post(handle(), "id", "x");
    const void* second = host.post(handle(), nullptr, nullptr);

    EXPECT_THAT(host.calls(), ElementsAre(Call{"postComplete", {handle(), "id", "x", first, 9}},
                                          Call{"postComplete", {handle(), nullptr, nullptr, second, 9}}));
}

// The command, before there is one.

TEST_F(AnEntityThatIsAsked, KeepsAFetchOfTheCommandAndAsksForIt) {
    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_EQ(entity->commandsRequested, 1);
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, DropsASecondFetchWhileOneIsPending) {
    const void* request = fetch("zebcmd");
    fetchQuietly("zebcmd");

    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd")) << "one of the two keys";
    EXPECT_EQ(entity->commandsRequested, 1);
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, AnswersOnlyOnce) {
    fetch("zebcmd");
    entity->setZebCmd(-1);
    host.takeCalls();

    entity->completePendingFetch();
    entity->cancelPendingFetch();

    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(AnEntityThatIsAsked, CancelsAPendingFetch) {
    const void* request = fetch("zebcmd");

    entity->cancelPendingFetch();

    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 11, nullptr)));
}

TEST_F(AnEntityThatIsAsked, AnswersCancelledForGoodWhileThereIsNoCommand) {
    entity->cancelPendingFetch();

    const void* request = fetch("zebcmd");
    EXPECT_THAT(host.takeCalls(), ElementsAre(answer("zebcmd", request, 11, nullptr)));
    EXPECT_EQ(entity->commandsRequested, 0);
    giveCommand(500000);
    const void* scheduled = fetch("zebcmd");
    EXPECT_THAT(host.takeCalls(), ElementsAre(answer("zebcmd", scheduled, 11, nullptr)));
    entity->handleTimeout();
    const void* present = fetch("zebcmd");
    EXPECT_EQ(host.takeCalls().back(), answer("zebcmd", present, 0, "zebcmd:test"));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenItsCommandCantBeFormed) {
    const void* request = fetch("zebcmd");
    host.failAllocationAt = 1;

    entity->setZebCmd(-1);

    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 3, nullptr)));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenItsCommandCantBeCopied) {
    const void* request = fetch("zebcmd");
    host.failAllocationAt = 2;

    entity->setZebCmd(-1);

    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 3, nullptr)));
}

TEST_F(AnEntityThatIsAsked, AnswersByItsTimerWhenTheCommandIsScheduled) {
    const void* request = fetch("zebcmd");

    entity->setZebCmd(500000);
    EXPECT_THAT(host.takeCalls(), ElementsAre(timer(500000)));
    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(host.takeCalls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchWhileItsAnswersAreScheduled) {
    giveCommand(500000);

    const void* request = fetch("zebcmd");
    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_EQ(entity->commandsRequested, 1);
    EXPECT_EQ(entity->portsOpened, 0);
    entity->handleTimeout();

    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, FreesTheCommandThatANewOneReplaces) {
    giveCommand(-1);
    entity->command = "zebcmd:new";

    giveCommand(-1);

    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:new"));
}

// The command, when there is one.

TEST_F(AnEntityThatIsAsked, LooksAtTheLinkStopsAndAnswers) {
    entity->start();
    giveCommand(-1);

    const void* request = fetch("zebcmd");

    EXPECT_EQ(entity->portsOpened, 2);
    EXPECT_THAT(host.calls(), ElementsAre(timer(-1), answer("zebcmd", request, 0, "zebcmd:test")));
    entity->ports = {Status::TryLater};
    const void* second = fetch("zebcmd"); // started no more: tries again
    EXPECT_EQ(entity->portsOpened, 4);
    giveCommand(-1);
    (void)second;
}

TEST_F(AnEntityThatIsAsked, FreesAnOlderKeyWhenItAnswersANewerFetch) {
    fetchQuietly("zebcmd");
    giveCommand(500000);
    entity->stop(); // the schedule is forgotten, the fetch and the command are kept
    host.takeCalls();

    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.calls(), ElementsAre(timer(-1), answer("zebcmd", request, 0, "zebcmd:test")));
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:test"));
    entity->completePendingFetch();
    EXPECT_EQ(answers().size(), 1U) << "nothing is pending";
}

TEST_F(AnEntityThatIsAsked, AnswersWithoutErrorAndValueWhenTheLinkGaveNoNewCommand) {
    giveCommand(-1);
    entity->inOpenPort = [&] {
        host.failAllocationAt = 1;
        entity->setZebCmd(500000);
    };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(answers(), ElementsAre(answer("zebcmd", request, 0, nullptr)));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenAPresentCommandCantBeCopied) {
    for (const Status status : {Status::Done, Status::NotSupported}) {
        giveCommand(-1);
        entity->ports = {status};
        host.failAllocationAt = 1;

        const void* request = fetch("zebcmd");

        EXPECT_THAT(answers(), ElementsAre(answer("zebcmd", request, 3, nullptr)));
        host.takeCalls();
    }
}

TEST_F(AnEntityThatIsAsked, StartsAgainWhenTheLinkIsGone) {
    giveCommand(-1);
    entity->ports = {Status::TryLater};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.takeCalls(), ElementsAre(timer(-1), timer(1000000)));
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd")) << "the command is freed, the key kept";
    EXPECT_EQ(entity->portsOpened, 2);
    EXPECT_EQ(entity->commandsRequested, 0);
    giveCommand(500000);
    entity->handleTimeout();
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, LeavesAFetchPendingWhenTheLinkIsGoneAndItIsStartedStill) {
    entity->start();
    giveCommand(-1);
    entity->ports = {Status::TryLater};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_EQ(entity->portsOpened, 2) << "once at start, once now";
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, FreesAnOlderKeyWhenItKeepsANewerFetch) {
    fetchQuietly("zebcmd");
    giveCommand(500000);
    entity->stop();
    host.takeCalls();
    entity->ports = {Status::TryLater};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd")) << "one of the two keys";
    host.takeCalls();
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, AnswersALastTimeWithTheCommandOfALinkThatIsNotSupported) {
    giveCommand(-1);
    entity->ports = {Status::NotSupported};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.takeCalls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
    EXPECT_THAT(host.strings.outstanding(), IsEmpty());
    fetch("zebcmd");
    EXPECT_EQ(entity->commandsRequested, 1) << "there is no command now";
    entity->cancelPendingFetch();
}

TEST_F(AnEntityThatIsAsked, FreesTheKeyForAStatusWithoutAName) {
    giveCommand(-1);
    entity->ports = {kOtherStatus};

    fetchQuietly("zebcmd");

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:test"));
}

} // namespace
