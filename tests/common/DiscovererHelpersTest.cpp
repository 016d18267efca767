#include "tests/common/Slots.h"
#include "tests/common/TestDiscoverer.h"
#include "tests/support/Assertions.h"

#include <cstdlib>
#include <functional>

using namespace testing;
using namespace zebtest;

namespace {

using AHelper = WithDiscoverer;

/** A helper, the callback it forwards to and what it returns without that callback. */
struct Helper {
    const char* name;
    unsigned offset; // of the callback, where pointers have four bytes
    /** Call it; "void" when nothing is returned. */
    std::function<Argument(TestDiscoverer&)> call;
    /** The recorded call, with `discoverer` for the discoverer. */
    std::function<std::vector<Argument>(TestDiscoverer&)> arguments;
    Argument present;
    Argument absent;
};

std::function<Argument(TestDiscoverer&)> forward(std::function<void(TestDiscoverer&)> call) {
    return [call](TestDiscoverer& d) {
        call(d);
        return Argument("void");
    };
}

std::function<std::vector<Argument>(TestDiscoverer&)> just(std::vector<Argument> arguments) {
    return [arguments](TestDiscoverer&) { return arguments; };
}

std::function<std::vector<Argument>(TestDiscoverer&)> withDiscoverer(std::vector<Argument> arguments) {
    return [arguments](TestDiscoverer& d) {
        std::vector<Argument> all{d.handle()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    };
}

char gA, gB, gC;
void *const kA = &gA, *const kB = &gB, *const kC = &gC;
ZEBDiscovererDeviceProvider* gProviderOut;
char* gOut;

const std::vector<Helper>& helpers() {
    using D = TestDiscoverer;
    const Argument nothing("void");
    // clang-format off
    static const std::vector<Helper> rows = {
        {"discovererStarted", 16, forward([](D& d) { d.notifyStarted(7); }), withDiscoverer({7}), nothing, nothing},
        {"discovererStopped", 20, forward([](D& d) { d.notifyStopped(8); }), withDiscoverer({8}), nothing, nothing},
        {"addEntity", 28, forward([](D& d) { d.addEntity(kEntity); }), withDiscoverer({kEntity}), nothing, nothing},
        {"setEntityTimer", 32, forward([](D& d) { d.setEntityTimer(kEntity, 1000); d.setEntityTimer(kEntity, -1); }), just({kEntity, 1000}), nothing, nothing},
        {"forward36", 36, forward([](D& d) { d.forward36(kA, kB); }), just({kA, kB}), nothing, nothing},
        {"entityLost", 40, forward([](D& d) { d.entityLost(kEntity); }), just({kEntity}), nothing, nothing},
        {"fetchComplete", 44, forward([](D& d) { d.entityFetchComplete(kEntity, nullptr, kRequest, 5, nullptr); }), just({kEntity, nullptr, kRequest, 5, nullptr}), nothing, nothing},
        {"postComplete", 48, forward([](D& d) { d.entityPostComplete(kEntity, nullptr, nullptr, kRequest, 5); }), just({kEntity, nullptr, nullptr, kRequest, 5}), nothing, nothing},
        {"publishComplete", 52, forward([](D& d) { d.entityPublishComplete(kEntity, 5); }), just({kEntity, 5}), nothing, nothing},
        {"unpublishComplete", 56, forward([](D& d) { d.entityUnpublishComplete(kEntity, 6); }), just({kEntity, 6}), nothing, nothing},
        {"addUnpublishedEntity", 76, forward([](D& d) { d.addUnpublishedEntity(kEntity); }), withDiscoverer({kEntity}), nothing, nothing},
        {"setTimerForHandle", 84, forward([](D& d) { d.setTimerForHandle(&gHandle, -1); }), withDiscoverer({static_cast<const void*>(&gHandle), -1}), nothing, nothing},
        {"eventHandlesChanged", 88, forward([](D& d) { d.removeEventHandle(&gHandle, true); }), withDiscoverer({}), nothing, nothing},
        {"forward92", 92, forward([](D& d) { d.forward92(kA, kB); }), just({kA, kB}), nothing, nothing},
        {"forward96", 96, forward([](D& d) { d.forward96(kA, kB); }), just({kA, kB}), nothing, nothing},
        {"forward100", 100, forward([](D& d) { d.forward100(kA, kB); }), just({kA, kB}), nothing, nothing},
        {"subscribeToDeviceProvider", 104, [](D& d) { return Argument(d.subscribeToDeviceProvider("usb", &gProviderOut)); }, just({"usb"}), 61, 9},
        {"unsubscribeFromDeviceProvider", 108, forward([](D& d) { d.unsubscribeFromDeviceProvider(kProvider); }), just({kProvider}), nothing, nothing},
        {"setDeviceProviderProperty", 112, [](D& d) { return Argument(d.setDeviceProviderProperty(kProvider, "k", "v")); }, just({kProvider, "k", "v"}), 62, 9},
        {"getDeviceProviderProperty", 116, [](D& d) { return Argument(d.getDeviceProviderProperty(kProvider, "k", &gOut)); }, just({kProvider, "k"}), 63, 9},
        {"releaseDevice", 120, forward([](D& d) { d.releaseDevice(kProvider, kDevice); }), just({kProvider, kDevice}), nothing, nothing},
        {"forward124", 124, forward([](D& d) { d.forward124(kA, kB, kC); }), just({kA, kB, kC}), nothing, nothing},
        {"forward136", 136, forward([](D& d) { d.forward136(kA); }), just({kA}), nothing, nothing},
        {"forward140", 140, forward([](D& d) { d.forward140(kA); }), just({kA}), nothing, nothing},
        {"forward144", 144, forward([](D& d) { d.forward144(kA); }), just({kA}), nothing, nothing},
        {"freeProtocolString", 148, forward([](D& d) { d.freeProtocolString(nullptr); }), just({nullptr}), nothing, nothing},
    };
    // clang-format on
    return rows;
}

TEST_F(AHelper, CallsItsCallbackWithTheContextAndItsArguments) {
    host.results = {{"subscribeToDeviceProvider", 61},
                    {"setDeviceProviderProperty", 62},
                    {"getDeviceProviderProperty", 63}};
    for (const Helper& helper : helpers()) {
        SCOPED_TRACE(helper.name);

        const Argument result = helper.call(discoverer);

        const std::vector<Call> calls = host.takeCalls();
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls[0], (Call{helper.name, helper.arguments(discoverer)}));
        EXPECT_EQ(result, helper.present);
    }
}

/** With a table that ends at each byte before, at and behind the callback. */
TEST(AHelperWithoutItsCallback, DoesNothing) {
    for (const Helper& helper : helpers()) {
        const std::size_t begin = helper.offset / 4 * sizeof(void*);
        for (std::size_t size = begin; size <= begin + sizeof(void*) + 1; ++size) {
            SCOPED_TRACE(std::string(helper.name) + " with a table of " + std::to_string(size));
            FakeHost host;
            host.results = {{"subscribeToDeviceProvider", 61},
                            {"setDeviceProviderProperty", 62},
                            {"getDeviceProviderProperty", 63}};
            host.callbackSize = size;
            TestDiscoverer discoverer(host);
            discoverer.Base::setContext(&host);

            const Argument result = helper.call(discoverer);

            const bool present = size >= begin + sizeof(void*);
            EXPECT_EQ(host.callsOf(helper.name).empty(), !present);
            EXPECT_EQ(result, present ? helper.present : helper.absent);
        }
    }
}

TEST(AHelperWithoutItsCallback, GivesNoStringAndLogsNothing) {
    FakeHost host;
    host.callbackSize = 0;
    TestDiscoverer discoverer(host);

    EXPECT_EQ(discoverer.allocString("x", -1), nullptr);
    discoverer.freeString(nullptr);
    EXPECT_FALSE(discoverer.isLogLevelEnabled(10));
    discoverer.log(10, "nobody hears this");
    discoverer.logFormatted(10, "%s", "nor this");
    EXPECT_STREQ(discoverer.errorText(1), "<unknown>");
    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST(AHelperWithoutItsCallback, LogsNothingToAHostThatOnlyAnswersTheLevelQuery) {
    FakeHost host;
    host.callbacks.log = nullptr;
    TestDiscoverer discoverer(host);
    host.setContext();

    discoverer.log(10, "x");
    discoverer.logFormatted(10, "x");

    EXPECT_THAT(host.logLines(), IsEmpty());
}

TEST(ASingleModeHelper, SetsTheDiscoverersTimer) {
    FakeHost host;
    TestDiscoverer discoverer(host, false);
    host.setContext();
    host.takeCalls();

    discoverer.setTimer(1500);

    EXPECT_THAT(host.calls(), ElementsAre(Call{"setTimer", {discoverer.handle(), 1500}}));
    EXPECT_THAT(host.complaints(), IsEmpty());
}

TEST(ASingleModeHelper, SetsNoTimerWithoutTheCallback) {
    FakeHost host;
    host.callbacks.setTimer = nullptr;
    TestDiscoverer discoverer(host, false);

    discoverer.setTimer(1500);

    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(AHelper, StopsWhenItIsOfTheOtherMode) {
    EXPECT_ASSERTION(discoverer.setTimer(1), "common/ZEBDiscovererImpl\\.cpp", "!isUsingMultipleHandles()");
}

TEST_F(AHelper, StopsWithoutAProvider) {
    char* out = nullptr;

    EXPECT_ASSERTION(discoverer.unsubscribeFromDeviceProvider(nullptr), "common/ZEBDiscovererImpl\\.cpp",
                     "pDeviceProvider");
    EXPECT_ASSERTION(discoverer.setDeviceProviderProperty(nullptr, "k", "v"),
                     "common/ZEBDiscovererImpl\\.cpp", "pDeviceProvider");
    EXPECT_ASSERTION(discoverer.getDeviceProviderProperty(nullptr, "k", &out),
                     "common/ZEBDiscovererImpl\\.cpp", "pDeviceProvider");
    EXPECT_ASSERTION(discoverer.releaseDevice(nullptr, kDevice), "common/ZEBDiscovererImpl\\.cpp",
                     "pDeviceProvider");
}

/** Ends the process with success where the host is asked all the same. */
TEST_F(AHelper, StopsBeforeTheHostIsAsked) {
    for (const char* callback : {"setTimer", "unsubscribeFromDeviceProvider", "releaseDevice"})
        host.on[callback] = [] { std::_Exit(0); };

    EXPECT_DEATH(discoverer.setTimer(1), "!isUsingMultipleHandles\\(\\)");
    EXPECT_DEATH(discoverer.unsubscribeFromDeviceProvider(nullptr), "pDeviceProvider");
    EXPECT_DEATH(discoverer.releaseDevice(nullptr, kDevice), "pDeviceProvider");
}

TEST(ASingleModeHelper, StopsBeforeTheHostIsAskedForTheTimerOfAHandle) {
    FakeHost host;
    TestDiscoverer discoverer(host, false);
    host.setContext();
    host.on["setTimerForHandle"] = [] { std::_Exit(0); };

    EXPECT_DEATH(discoverer.setTimerForHandle(&gHandle, 1), "isUsingMultipleHandles\\(\\)");
}

TEST_F(AHelper, PassesWhatTheHostGivesOut) {
    ZEBDiscovererDeviceProvider* out = nullptr;
    char* text = nullptr;

    EXPECT_EQ(discoverer.subscribeToDeviceProvider("usb", &out), 0);
    EXPECT_EQ(discoverer.getDeviceProviderProperty(kProvider, "k", &text), 0);

    EXPECT_EQ(out, host.provider);
    EXPECT_EQ(host.receive(text), "provider value");
}

TEST_F(AHelper, HandsStringsOver) {
    char* value = discoverer.allocString("value", -1);

    discoverer.entityFetchComplete(kEntity, host.handOver("key"), kRequest, 0, value);
    discoverer.entityPostComplete(kEntity, host.handOver("key"), host.handOver("posted"), kRequest, 3);

    EXPECT_THAT(host.calls(), ElementsAre(Call{"fetchComplete", {kEntity, "key", kRequest, 0, "value"}},
                                          Call{"postComplete", {kEntity, "key", "posted", kRequest, 3}}));
}

TEST_F(AHelper, AllocatesCopiesPartsAndBuffers) {
    char* copy = discoverer.allocString("value", -1);
    char* part = discoverer.allocString("value", 3);
    char* buffer = discoverer.allocString(nullptr, 10);

    EXPECT_STREQ(copy, "value");
    EXPECT_STREQ(part, "val");
    ASSERT_NE(buffer, nullptr);
    for (char* string : {copy, part, buffer})
        discoverer.freeString(string);
    EXPECT_THAT(host.strings.outstanding(), IsEmpty());
}

TEST_F(AHelper, GivesTheHostsErrorTexts) {
    host.errorTexts[5] = "five";

    EXPECT_STREQ(discoverer.errorText(5), "five");
}

} // namespace
