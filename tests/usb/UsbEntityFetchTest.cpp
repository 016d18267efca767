#include "tests/usb/EntityFixtures.h"

using namespace testing;
using namespace zebtest;

namespace {

const Call kRequestZebCmd{"requestZebCmd", {}};
const Call kDoSetZebCmd{"doSetZebCmd", {}};

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

        forget(); // the entity before
        const void* request = host.fetch(toHost(&asked), row.key);

        std::vector<Call> expected = {
            {"fetchComplete", {toHost(&asked), row.key, request, row.error, row.value}}};
        if (row.value != Argument(nullptr))
            expected.insert(expected.begin(), {"allocString", {row.value, -1}});
        EXPECT_EQ(happened(), expected);
    }
}

TEST_F(AnEntityThatIsAsked, WritesLargeDeviceIdsWithEightDigits) {
    const DeviceRecord record(0xfedcba98, {});
    ScriptedEntity asked(*discoverer, *discoverer, record);

    const void* request = host.fetch(toHost(&asked), "id");

    EXPECT_THAT(happened(),
                ElementsAre(copied("0xfedcba98"),
                            Call{"fetchComplete", {toHost(&asked), "id", request, 0, "0xfedcba98"}}));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenAValueCantBeCopied) {
    const struct {
        const char* key;
        const char* value;
    } rows[] = {{"id", "0x00001a2b"}, {"type", "usb"}, {"connectionPassPossible", "n"}};
    for (const auto& row : rows) {
        host.failAllocationAt = 1;

        const void* request = fetch(row.key);

        EXPECT_THAT(happened(), ElementsAre(copied(row.value), answer(row.key, request, 3, nullptr)));
    }
}

TEST_F(AnEntityThatIsAsked, AnswersAPasswordWithWhatBecameOfIt) {
    const void* first = host.post(handle(), "password", "secret");
    entity->password = [](const char* value) { return std::string(value) == "secret" ? 0 : 44; };
    const void* second = host.post(handle(), "password", "secret");
    const void* third = host.post(handle(), "password", "guess");

    const Call tried{"setPassword", {"secret"}};
    EXPECT_THAT(happened(),
                ElementsAre(tried, Call{"postComplete", {handle(), "password", "secret", first, 9}}, tried,
                            Call{"postComplete", {handle(), "password", "secret", second, 0}},
                            Call{"setPassword", {"guess"}},
                            Call{"postComplete", {handle(), "password", "guess", third, 44}}));
}

TEST_F(AnEntityThatIsAsked, AcceptsNoOtherValues) {
    entity->password = [](const char*) { return 0; };
    const void* first = host.post(handle(), "id", "x");
    const void* second = host.post(handle(), nullptr, nullptr);

    EXPECT_THAT(happened(), ElementsAre(Call{"postComplete", {handle(), "id", "x", first, 9}},
                                        Call{"postComplete", {handle(), nullptr, nullptr, second, 9}}));
}

// The command, before there is one.

TEST_F(AnEntityThatIsAsked, KeepsAFetchOfTheCommandAndAsksForIt) {
    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kRequestZebCmd));
    entity->setZebCmd(-1);
    EXPECT_THAT(happened(), ElementsAre(kDoSetZebCmd, copied("zebcmd:test"), copied("zebcmd:test"),
                                        answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchBeforeItAsksForTheCommand) {
    entity->inRequestZebCmd = [&] { entity->setZebCmd(-1); };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kRequestZebCmd, kDoSetZebCmd, copied("zebcmd:test"),
                                        copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, DropsASecondFetchWhileOneIsPending) {
    const void* request = fetch("zebcmd");
    forget();
    fetchQuietly("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(freed("zebcmd")));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", request, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, AnswersOnlyOnce) {
    fetch("zebcmd");
    entity->setZebCmd(-1);
    forget();

    entity->completePendingFetch();
    entity->cancelPendingFetch();

    EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(AnEntityThatIsAsked, CancelsAPendingFetch) {
    const void* request = fetch("zebcmd");
    forget();

    entity->cancelPendingFetch();

    EXPECT_THAT(happened(), ElementsAre(answer("zebcmd", request, 11, nullptr)));
}

TEST_F(AnEntityThatIsAsked, IsCancelledBeforeItSaysSo) {
    fetch("zebcmd");
    const void* again = nullptr;
    host.on["fetchComplete"] = [&] {
        host.on["fetchComplete"] = nullptr;
        again = fetch("zebcmd");
    };
    forget();

    entity->cancelPendingFetch();

    EXPECT_EQ(happened().back(), answer("zebcmd", again, 11, nullptr));
}

TEST_F(AnEntityThatIsAsked, AnswersCancelledForGoodWhileThereIsNoCommand) {
    entity->cancelPendingFetch();

    const void* request = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(answer("zebcmd", request, 11, nullptr)));
    giveCommand(500000);
    const void* scheduled = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(answer("zebcmd", scheduled, 11, nullptr)));
    entity->handleTimeout();
    const void* present = fetch("zebcmd");
    EXPECT_EQ(happened().back(), answer("zebcmd", present, 0, "zebcmd:test"));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenItsCommandCantBeFormed) {
    const void* request = fetch("zebcmd");
    host.failAllocationAt = 1;
    forget();

    entity->setZebCmd(-1);

    EXPECT_THAT(happened(),
                ElementsAre(kDoSetZebCmd, copied("zebcmd:test"), answer("zebcmd", request, 3, nullptr)));
}

TEST_F(AnEntityThatIsAsked, ReportsOutOfMemoryWhenItsCommandCantBeCopied) {
    const void* request = fetch("zebcmd");
    host.failAllocationAt = 2;
    forget();

    entity->setZebCmd(-1);

    EXPECT_THAT(happened(), ElementsAre(kDoSetZebCmd, copied("zebcmd:test"), copied("zebcmd:test"),
                                        answer("zebcmd", request, 3, nullptr)));
}

TEST_F(AnEntityThatIsAsked, FormsItsCommandThenArmsItsTimerThenAnswers) {
    const void* request = fetch("zebcmd");
    forget();

    entity->setZebCmd(500000);
    EXPECT_THAT(happened(), ElementsAre(kDoSetZebCmd, copied("zebcmd:test"), timer(500000)));
    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchWhileItsAnswersAreScheduled) {
    giveCommand(500000);

    const void* request = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(kRequestZebCmd));
    entity->handleTimeout();

    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, SchedulesNothingWhenItsTimerCantBeArmed) {
    host.on["setEntityTimer"] = [] { throw std::runtime_error("no timers"); };
    EXPECT_THROW(entity->setZebCmd(500000), std::runtime_error);
    host.on["setEntityTimer"] = nullptr;
    forget();

    const void* request = fetch("zebcmd");

    EXPECT_EQ(happened().back(), answer("zebcmd", request, 0, "zebcmd:test")) << "for no timeout would do it";
}

TEST_F(AnEntityThatIsAsked, FreesTheCommandBeforeANewOneReplacesIt) {
    giveCommand(-1);
    entity->command = "zebcmd:new";

    entity->setZebCmd(-1);

    EXPECT_THAT(happened(), ElementsAre(freed("zebcmd:test"), kDoSetZebCmd, copied("zebcmd:new")));
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:new"));
}

} // namespace
