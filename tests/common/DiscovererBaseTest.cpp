#include "tests/common/Slots.h"
#include "tests/common/TestDiscoverer.h"
#include "tests/support/Assertions.h"

#include <cstring>

using namespace testing;
using namespace zebtest;

namespace {

using ADiscoverer = WithDiscoverer;
using ASingleHandleDiscoverer = WithSingleHandleDiscoverer;

bool isZeroed(const ZEBDiscoverySDKUtils& utils) {
    const ZEBDiscoverySDKUtils zeroed{};
    return std::memcmp(&utils, &zeroed, sizeof(utils)) == 0;
}

// The defaults of the operations, in slot order.

TEST(ANewDiscoverer, HasNoContextAndZeroedUtilities) {
    FakeHost host;
    TestDiscoverer discoverer(host);

    EXPECT_TRUE(isZeroed(*discoverer.getUtils()));
    EXPECT_THAT(host.calls(), IsEmpty());
    host.callbacks.discovererStarted = nullptr; // comes too late: the table was copied

    discoverer.notifyStarted(0);
    EXPECT_THAT(host.complaints(), ElementsAre("discovererStarted: not the host's context"));
}

TEST(SettingTheContext, HasTheHostFillTheUtilities) {
    FakeHost host;
    host.utils.context = &host;
    TestDiscoverer discoverer(host);

    host.setContext();

    EXPECT_EQ(discoverer.getUtils()->context, &host);
    EXPECT_THAT(host.calls(),
                ElementsAre(Call{"fillUtils", {discoverer.getUtils(), sizeof(ZEBDiscoverySDKUtils)}}));
    EXPECT_EQ(sizeof(ZEBDiscoverySDKUtils), 15 * sizeof(void*));
}

TEST(SettingTheContext, ZeroesTheUtilitiesFirst) {
    FakeHost host;
    TestDiscoverer discoverer(host);
    discoverer.getUtils()->context = &host;
    bool zeroed = false;
    host.utils = {};
    host.on["fillUtils"] = [&] { zeroed = isZeroed(*discoverer.getUtils()); };

    host.setContext();

    EXPECT_TRUE(zeroed);
}

TEST(SettingTheContext, LeavesTheUtilitiesZeroedWithoutTheCallback) {
    FakeHost host;
    host.callbacks.fillUtils = nullptr;
    TestDiscoverer discoverer(host);
    discoverer.getUtils()->context = &host;

    host.setContext();

    EXPECT_TRUE(isZeroed(*discoverer.getUtils()));
    EXPECT_THAT(host.calls(), IsEmpty());
    ZEBDiscoverySDKError error = 0;
    EXPECT_EQ(discoverer.createParser("x", &error), nullptr);
    EXPECT_EQ(error, 9);
}

TEST(SettingTheContext, AgainReplacesTheContextAndTheUtilities) {
    FakeHost host;
    host.utils.context = &host;
    TestDiscoverer discoverer(host);
    host.setContext();
    host.utils = {};
    bool zeroed = false;
    host.on["fillUtils"] = [&] { zeroed = isZeroed(*discoverer.getUtils()); };
    host.callbacks.fillUtils = nullptr; // comes too late: the table was copied

    host.entry.setContext(host.discoverer, kContext);
    discoverer.notifyStarted(0);
    host.setContext();
    discoverer.notifyStopped(0);

    EXPECT_TRUE(zeroed);
    EXPECT_EQ(host.callsOf("fillUtils").size(), 3U);
    const std::vector<std::string> complaints = host.complaints();
    EXPECT_THAT(complaints, Contains("fillUtils: not the host's context"));
    EXPECT_THAT(complaints, Contains("discovererStarted: not the host's context"));
    EXPECT_THAT(complaints, Not(Contains("discovererStopped: not the host's context")));
}

TEST_F(ASingleHandleDiscoverer, HasNoHandleAndIgnoresEvents) {
    EXPECT_FALSE(discoverer.isUsingMultipleHandles());
    EXPECT_EQ(host.entry.getEventHandle(host.discoverer), nullptr);
    host.entry.handleEvent(host.discoverer);
    host.entry.handleTimeout(host.discoverer);

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"getEventHandle", {}}, Call{"handleEvent", {}}, Call{"handleTimeout", {}}));
}

TEST_F(ADiscoverer, StopsWhenItIsAskedForASingleHandle) {
    EXPECT_TRUE(discoverer.isUsingMultipleHandles());
    EXPECT_ASSERTION(discoverer.getEventHandle(), "common/ZEBDiscovererImpl\\.cpp",
                     "!isUsingMultipleHandles()");
    EXPECT_DEATH(discoverer.getEventHandle(), "getEventHandle\\(\\): ");
    EXPECT_ASSERTION(discoverer.handleEvent(), "common/ZEBDiscovererImpl\\.cpp", "!isUsingMultipleHandles()");
    EXPECT_ASSERTION(discoverer.handleTimeout(), "common/ZEBDiscovererImpl\\.cpp",
                     "!isUsingMultipleHandles()");
}

TEST_F(ADiscoverer, KnowsNothingOfEntities) {
    EXPECT_EQ(host.entry.getEntityEventHandle(host.discoverer, kEntity), nullptr);
    host.entry.handleEntityEvent(host.discoverer, kEntity);
    host.entry.handleEntityTimeout(host.discoverer, kEntity);

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_THAT(host.logLines(), IsEmpty());
}

TEST_F(ADiscoverer, ImplementsNoProperties) {
    char untouched = 0;
    char* out = &untouched;

    EXPECT_EQ(host.entry.setProperty(host.discoverer, "k", "v"), 9);
    EXPECT_EQ(host.entry.getProperty(host.discoverer, "k", &out), 9);
    EXPECT_EQ(out, &untouched);
}

TEST_F(ADiscoverer, HasNoViewerParameters) {
    void *first = this, *second = this;

    EXPECT_EQ(host.entry.getViewerParameters(host.discoverer, kEntity, &first, &second), 0);

    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(host.entry.getViewerParameters(host.discoverer, kEntity, nullptr, nullptr), 0);
}

TEST_F(ADiscoverer, HasNoBinaryData) {
    const void* out = this;

    EXPECT_EQ(host.entry.getEntityBinaryData(host.discoverer, kEntity, "k", &out), 0U);

    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(host.entry.getEntityBinaryData(host.discoverer, kEntity, "k", nullptr), 0U);
}

TEST_F(ADiscoverer, AnswersFetchesAndPostsWithNotImplemented) {
    const void* fetched = host.fetch(kEntity, "k");
    const void* posted = host.post(kEntity, "k", "v");

    EXPECT_THAT(host.takeRecord(), ElementsAre(Call{"fetchEntityValue", {}},
                                               Call{"fetchComplete", {kEntity, "k", fetched, 9, nullptr}},
                                               Call{"postEntityValue", {}},
                                               Call{"postComplete", {kEntity, "k", "v", posted, 9}}));
}

TEST_F(ADiscoverer, AnswersPublishingWithNotImplemented) {
    host.entry.publishEntity(host.discoverer, kEntity);
    host.entry.unpublishEntity(host.discoverer, kEntity);

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"publishEntity", {}}, Call{"publishComplete", {kEntity, 9}},
                            Call{"unpublishEntity", {}}, Call{"unpublishComplete", {kEntity, 9}}));
}

TEST_F(ADiscoverer, ImplementsNoRequestsFromOutside) {
    EXPECT_EQ(host.entry.cancelRequest(host.discoverer, kRequest), 9);
    EXPECT_EQ(host.entry.createEntity(host.discoverer, kEntity), 9);
    EXPECT_EQ(host.entry.destroyUnpublishedEntity(host.discoverer, kEntity), 9);
}

TEST_F(ADiscoverer, IgnoresEventsOfHandles) {
    host.entry.handleSingleEvent(host.discoverer, &gHandle);
    host.entry.handleTimeoutForEventHandle(host.discoverer, &gHandle);

    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(ASingleHandleDiscoverer, StopsWhenItIsAskedForMultipleHandles) {
    int* flags = nullptr;

    EXPECT_ASSERTION(discoverer.handleSingleEvent(&gHandle), "common/ZEBDiscovererImpl\\.cpp",
                     "isUsingMultipleHandles()");
    EXPECT_ASSERTION(discoverer.handleTimeoutForEventHandle(&gHandle), "common/ZEBDiscovererImpl\\.cpp",
                     "isUsingMultipleHandles()");
    EXPECT_ASSERTION(discoverer.getMultipleEventHandlesEx(&flags), "common/ZEBDiscovererImpl\\.cpp",
                     "isUsingMultipleHandles()");
    EXPECT_DEATH(discoverer.handleSingleEvent(&gHandle), "handleSingleEvent\\(.*\\): ");
}

TEST_F(ADiscoverer, InitialisesWithSuccess) { EXPECT_EQ(host.entry.init(host.discoverer), 0); }

TEST_F(ADiscoverer, IgnoresItsProviders) {
    char* out = nullptr;
    host.entry.deviceProviderStarted(host.discoverer, kProvider, 7);
    host.entry.deviceProviderStopped(host.discoverer, kProvider, 7);

    EXPECT_EQ(host.entry.getDeviceInterest(host.discoverer, kProvider, kDevice, &out), 100);
    EXPECT_EQ(out, nullptr);
    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"deviceProviderStarted", {}}, Call{"deviceProviderStopped", {}},
                            Call{"getDeviceInterest", {}}));
}

TEST_F(ADiscoverer, StopsWhenADeviceIsOfferedThatItCantTake) {
    EXPECT_ASSERTION(host.entry.offerDevice(host.discoverer, kProvider, kDevice),
                     "common/ZEBDiscovererImpl\\.cpp", "false");
}

TEST_F(ADiscoverer, LogsWhenADeviceIsRemoved) {
    host.entry.removeDevice(host.discoverer, kProvider, kDevice);

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"removeDevice", {}}, Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "removeDevice() not implemented by Discoverer"}}));
}

TEST_F(ADiscoverer, ReleasesADeviceThatIsOfferedForAProtocol) {
    host.entry.offerDeviceForProtocol(host.discoverer, kProvider, kDevice, host.handOver("p"));

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"offerDeviceForProtocol", {}}, Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "Unknown protocol offered to discoverer"}},
                            Call{"releaseDevice", {kProvider, kDevice}}, Call{"freeProtocolString", {"p"}}));
}

TEST_F(ADiscoverer, HasNoDescription) {
    EXPECT_EQ(host.entry.getDescription(host.discoverer), nullptr);
    host.entry.setExternalContext(host.discoverer, kContext);

    EXPECT_THAT(host.calls(), IsEmpty());
}

} // namespace
