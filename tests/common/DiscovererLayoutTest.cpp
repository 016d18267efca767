// How the frame's objects lie in memory: the order of the operations in the virtual table, and of the
// members.
#include "tests/common/HandleSets.h"
#include "tests/common/TestDiscoverer.h"

#include <array>
#include <cstddef>
#include <cstring>

using namespace testing;
using namespace zebtest;

namespace {

/** Which entry of the virtual table a member pointer stands for, by the rules that all our targets follow. */
template <class Method>
std::size_t virtualIndex(Method method) {
    struct {
        std::uintptr_t function;
        std::intptr_t adjustment;
    } pointer;
    static_assert(sizeof(pointer) == sizeof(method));
    std::memcpy(&pointer, &method, sizeof(pointer));
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = (pointer.adjustment & 1) != 0;
    const std::uintptr_t offset = pointer.function;
#else
    const bool isVirtual = (pointer.function & 1) != 0;
    const std::uintptr_t offset = pointer.function - 1;
#endif
    EXPECT_TRUE(isVirtual);
    return offset / sizeof(void*);
}

TEST(ADiscoverersVirtualTable, HasTheOperationsInOrderBehindTheTwoEntriesOfTheDestructor) {
    using D = zebdiscovery::ZEBDiscovererImpl;

    EXPECT_THAT((std::vector<std::size_t>{virtualIndex(&D::setContext),
                                          virtualIndex(&D::getEventHandle),
                                          virtualIndex(&D::handleEvent),
                                          virtualIndex(&D::handleTimeout),
                                          virtualIndex(&D::getEntityEventHandle),
                                          virtualIndex(&D::handleEntityEvent),
                                          virtualIndex(&D::handleEntityTimeout),
                                          virtualIndex(&D::setProperty),
                                          virtualIndex(&D::getProperty),
                                          virtualIndex(&D::getViewerParameters),
                                          virtualIndex(&D::start),
                                          virtualIndex(&D::stop),
                                          virtualIndex(&D::fetchEntityValue),
                                          virtualIndex(&D::getEntityBinaryData),
                                          virtualIndex(&D::postEntityValue),
                                          virtualIndex(&D::destroyEntity),
                                          virtualIndex(&D::cancelRequest),
                                          virtualIndex(&D::createEntity),
                                          virtualIndex(&D::publishEntity),
                                          virtualIndex(&D::unpublishEntity),
                                          virtualIndex(&D::destroyUnpublishedEntity),
                                          virtualIndex(&D::getMultipleEventHandlesEx),
                                          virtualIndex(&D::handleSingleEvent),
                                          virtualIndex(&D::handleTimeoutForEventHandle),
                                          virtualIndex(&D::init),
                                          virtualIndex(&D::deviceProviderStarted),
                                          virtualIndex(&D::getDeviceInterest),
                                          virtualIndex(&D::offerDevice),
                                          virtualIndex(&D::offerDeviceForProtocol),
                                          virtualIndex(&D::removeDevice),
                                          virtualIndex(&D::deviceProviderStopped),
                                          virtualIndex(&D::getDescription),
                                          virtualIndex(&D::setExternalContext)}),
                ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23,
                            24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34));
}

/** The members that a discoverer begins with, as they must lie. */
struct DiscovererBegins {
    void* virtualTable;
    ZEBDiscovererCallbacks callbacks;
    void* context;
    bool multipleHandles;
    alignas(EventHandles) unsigned char eventHandles[sizeof(EventHandles)];
    ZEBDiscoverySDKUtils utils;
};

/** The object's own bytes, of which the compiler knows nothing. */
template <class As, class Object>
As bytesOf(const Object& object, std::size_t offset = 0) {
    As as;
    std::memcpy(static_cast<void*>(&as), reinterpret_cast<const unsigned char*>(&object) + offset,
                sizeof(as));
    return as;
}

TEST(ADiscoverersMembers, AreTheCallbacksTheContextTheModeTheHandlesAndTheUtilities) {
    for (const bool multiple : {false, true}) {
        FakeHost host;
        host.utils.context = &host;
        TestDiscoverer discoverer(host, multiple);
        host.setContext();

        const auto begins = bytesOf<DiscovererBegins>(discoverer);
        EXPECT_EQ(std::memcmp(&begins.callbacks, &host.callbacks, sizeof(host.callbacks)), 0);
        EXPECT_EQ(begins.context, &host);
        EXPECT_EQ(begins.multipleHandles, multiple);
        EXPECT_EQ(begins.utils.context, &host);
        EXPECT_EQ(reinterpret_cast<const unsigned char*>(discoverer.getUtils()) -
                      reinterpret_cast<const unsigned char*>(&discoverer),
                  static_cast<std::ptrdiff_t>(offsetof(DiscovererBegins, utils)));
    }
}

TEST(ADiscoverersMembers, HaveTheHandlesWhereTheySayTheyHave) {
    FakeHost host;
    TestDiscoverer discoverer(host);
    const int seven = 7;
    discoverer.addEventHandle(&seven, false, false);
    const std::size_t handles = offsetof(DiscovererBegins, eventHandles);

    const auto published = bytesOf<Members>(discoverer, handles);
    const auto working = bytesOf<Members>(discoverer, handles + sizeof(Members));

    EXPECT_EQ(published.count, 0U);
    EXPECT_EQ(working.count, 1U);
    EXPECT_EQ(working.capacity, 15U);
}

TEST(ADiscoverersMembers, AreClearWhateverTheMemoryHeld) {
    alignas(TestDiscoverer) static unsigned char memory[sizeof(TestDiscoverer)];
    std::memset(memory, 0xa5, sizeof(memory));
    auto* discoverer = new (memory) TestDiscoverer(nullptr, 0, nullptr, 0, true);

    const auto begins = bytesOf<DiscovererBegins>(memory);
    const auto published = bytesOf<Members>(memory, offsetof(DiscovererBegins, eventHandles));
    const auto working = bytesOf<Members>(memory, offsetof(DiscovererBegins, eventHandles) + sizeof(Members));
    discoverer->~TestDiscoverer();

    const ZEBDiscovererCallbacks noCallbacks{};
    const ZEBDiscoverySDKUtils noUtils{};
    EXPECT_EQ(std::memcmp(&begins.callbacks, &noCallbacks, sizeof(noCallbacks)), 0);
    EXPECT_EQ(begins.context, nullptr);
    EXPECT_EQ(std::memcmp(&begins.utils, &noUtils, sizeof(noUtils)), 0);
    for (const Members& members : {published, working}) {
        EXPECT_EQ(members.handles, nullptr);
        EXPECT_EQ(members.writeNotification, nullptr);
        EXPECT_EQ(members.count + members.capacity, 0U);
    }
}

TEST(TheEventHandlesMembers, AreThePublishedSetTheWorkingSetAndTheMutex) {
    EventHandles handles;
    const int seven = 7, eight = 8;
    handles.addHandle(&seven, true);
    handles.prepare();
    handles.addHandle(&eight, true);

    const auto published = bytesOf<Members>(handles);
    const auto working = bytesOf<Members>(handles, sizeof(Members));

    EXPECT_EQ(published.count, 1U);
    EXPECT_EQ(published.handles, handles.publishedHandles());
    EXPECT_EQ(published.writeNotification, handles.publishedWriteNotifications());
    EXPECT_EQ(working.count, 2U);
    struct AsTheyLie {
        Members published, working;
        alignas(mxcommon::Mutex) unsigned char mutex[sizeof(mxcommon::Mutex)];
    };
    EXPECT_EQ(sizeof(EventHandles), sizeof(AsTheyLie));
}

TEST(AWrappersMembers, AreTheUtilitiesAndTheHostsObject) {
    static int object;
    ZEBDiscoverySDKUtils utils{};
    utils.createParser = [](void*, const char*, ZEBDiscoverySDKParser** out) {
        *out = reinterpret_cast<ZEBDiscoverySDKParser*>(&object);
        return ZEBDiscoverySDKError{0};
    };
    utils.createGenerator = [](void*, ZEBDiscoverySDKGenerator** out) {
        *out = reinterpret_cast<ZEBDiscoverySDKGenerator*>(&object);
        return ZEBDiscoverySDKError{0};
    };
    using Pointers = std::array<const void*, 2>;
    const Pointers expected{&utils, &object};

    const zebdiscovery::StringParser parser(&utils, "x");
    const zebdiscovery::StringGenerator generator(&utils);

    EXPECT_EQ(bytesOf<Pointers>(parser), expected);
    EXPECT_EQ(bytesOf<Pointers>(generator), expected);
    EXPECT_EQ(sizeof(parser), sizeof(Pointers));
    EXPECT_EQ(sizeof(generator), sizeof(Pointers));
}

} // namespace
