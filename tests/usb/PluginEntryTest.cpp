// The plug-in's file, entered by the one function it exports.
#include "tests/support/FailingNew.h"
#include "tests/support/FakeHost.h"
#include "tests/support/PluginUnderTest.h"

#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <new>

using namespace testing;
using namespace zebtest;

namespace {

TEST(ThePluginsEntry, GivesNullAndTouchesNothingWhenTheDiscovererCantBeAllocated) {
    const PluginUnderTest plugin;
    FakeHost host;
    const ZEBDiscovererCallbacks callbacks = host.callbacks;
    bool failed = false;
    {
        const FailingNew failing = FailingNew::at(1);
        host.initialize(plugin.initialize());
        failed = failing.hasFailed();
    }

    EXPECT_TRUE(failed);
    EXPECT_EQ(host.discoverer, nullptr);
    ZEBDiscovererInterface untouched;
    std::memset(&untouched, FakeHost::kUntouched, sizeof(untouched));
    EXPECT_EQ(std::memcmp(&host.entry, &untouched, sizeof(untouched)), 0);
    EXPECT_EQ(std::memcmp(&host.callbacks, &callbacks, sizeof(callbacks)), 0);
    EXPECT_THAT(host.takeRecord(), IsEmpty());
}

/** Callbacks of which the line that a discoverer logs while it is being made throws. */
ZEBDiscovererCallbacks callbacksWithAThrowingLog() {
    ZEBDiscovererCallbacks callbacks{};
    callbacks.isLogLevelEnabled = [](void*, int32_t) -> int32_t { return 1; };
    callbacks.log = [](void*, int32_t, const char*) { throw 42; };
    return callbacks;
}

TEST(ThePluginsEntry, PassesOnWhatTheConstructorThrowsAndLeavesNoMemoryBehind) {
    const PluginUnderTest plugin;
    const ZEBDiscovererCallbacks callbacks = callbacksWithAThrowingLog();
    ZEBDiscovererInterface entry{};
    const long before = liveAllocations();

    {
        const FailingNew failing = FailingNew::at(2); // the phone's identification, of which the line tells
        EXPECT_THROW(plugin.initialize()(&entry, sizeof(entry), &callbacks, sizeof(callbacks)), int);
    }

    EXPECT_EQ(liveAllocations(), before);
}

/** Make a discoverer while the n-th allocation fails, and end it again; false when there were fewer. */
bool makeWithoutAllocation(int n, ZEBDiscovererInitializeFunction initialize) {
    ZEBDiscovererInterface entry{};
    const ZEBDiscovererCallbacks none{};
    ZEBDiscoverer* discoverer = nullptr;
    const FailingNew failing = FailingNew::at(n);
    try {
        discoverer = initialize(&entry, sizeof(entry), &none, sizeof(none));
    } catch (const std::bad_alloc&) {
    }
    if (discoverer)
        entry.destroyDiscoverer(discoverer);
    return failing.hasFailed();
}

TEST(ThePluginsEntry, LeavesNoMemoryBehindWhicheverAllocationFails) {
    const PluginUnderTest plugin;
    const long before = liveAllocations();

    int n = 1;
    for (; makeWithoutAllocation(n, plugin.initialize()); ++n)
        EXPECT_EQ(liveAllocations(), before) << n;

    EXPECT_EQ(liveAllocations(), before);
    EXPECT_GT(n, 2) << "the discoverer, and the identification";
}

// The texts of the frame's assertions as the file has them: those that nothing but a bug can bring up too,
// and those that a formatter could put blanks into.
constexpr const char* kConditions[] = {
    "mpEventHandles || (mMaxHandleCount == 0 && !mpWriteNotification)",
    "!mpEventHandles || (mMaxHandleCount > 0 && mpWriteNotification)",
    "mHandleCount <= mMaxHandleCount",
    "mHandleCount == 0 || (mpEventHandles && mpWriteNotification)",
    "mMaxHandleCount == 0 || (mpEventHandles && mpWriteNotification)",
    "mpEventHandles[i] != ZEBDiscovererNoEventHandle",
    "mpEventHandles[i] != mpEventHandles[j]",
    "mMaxHandleCount == 0 || mpEventHandles[mHandleCount] == ZEBDiscovererNoEventHandle",
    "handleToAdd",
    "*handleToAdd != ZEBDiscovererNoEventHandle",
    "mHandleCount == 0",
    "mMaxHandleCount > 0",
    "pTmpEventHandles[mHandleCount-1] == mpEventHandles[mHandleCount-1]",
    "pTmpEventHandles[mHandleCount] == ZEBDiscovererNoEventHandle",
    "mHandleCount < mMaxHandleCount",
    "isUsingMultipleHandles()",
    "!isUsingMultipleHandles()",
    "pDeviceProvider",
    // The functions that hold conditions, and the files.
    "HandleSet::checkInvariance() const",
    "HandleSet::checkEveryHandleIsUnique() const",
    "HandleSet::grow()",
    "common/EventHandles.cpp",
    "common/ZEBDiscovererImpl.cpp",
};

TEST(ThePluginsFile, HasEachConditionOfTheFrameAsItStandsInTheContract) {
    std::ifstream file(PluginUnderTest::path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

    for (const char* condition : kConditions) {
        // Whole: with its end. What stands before it may be another text that ends alike.
        const std::string whole(condition, std::strlen(condition) + 1);
        EXPECT_NE(bytes.find(whole), std::string::npos) << condition;
    }
}

} // namespace
