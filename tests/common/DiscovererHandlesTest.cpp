// The event handles of a discoverer, and how the host gets to know them.
#include "tests/common/Slots.h"
#include "tests/common/TestDiscoverer.h"
#include "tests/support/Assertions.h"
#include "tests/support/FailingNew.h"

#include <thread>

using namespace testing;
using namespace zebtest;

namespace {

using ADiscoverer = WithDiscoverer;
using ASingleHandleDiscoverer = WithSingleHandleDiscoverer;

TEST_F(ADiscoverer, PublishesNullArraysWhenThereNeverWasAHandle) {
    int* flags = reinterpret_cast<int*>(this);

    EXPECT_EQ(host.entry.getMultipleEventHandlesEx(host.discoverer, &flags), nullptr);
    EXPECT_EQ(flags, nullptr);
    EXPECT_EQ(host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr), nullptr);
}

TEST_F(ADiscoverer, PublishesHandlesWithTheirFlags) {
    const int seven = 7, eight = 8;
    discoverer.addEventHandle(&seven, false, true);
    discoverer.addEventHandle(&eight, false, false);

    EXPECT_THAT(host.handles(), ElementsAre(std::pair(7, 1), std::pair(8, 0)));
    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(ADiscoverer, LeavesPublishedArraysAloneUntilAskedAgain) {
    const int seven = 7, eight = 8;
    discoverer.addEventHandle(&seven, false, false);
    int* flags = nullptr;
    const int* published = host.entry.getMultipleEventHandlesEx(host.discoverer, &flags);

    discoverer.addEventHandle(&eight, false, true);
    discoverer.removeEventHandle(&seven, false);
    discoverer.setEventHandleWriteNotifications(&seven, true, false);

    EXPECT_THAT(std::vector<int>(published, published + 2), ElementsAre(7, -1));
    EXPECT_EQ(flags[0], 0);
    EXPECT_THAT(host.handles(), ElementsAre(std::pair(8, 1)));
}

TEST_F(ADiscoverer, TellsTheHostOfChangedHandlesOnRequest) {
    const int seven = 7;
    const Call changed{"eventHandlesChanged", {host.discoverer}};

    discoverer.addEventHandle(&seven, true, false);
    EXPECT_THAT(host.takeCalls(), ElementsAre(changed));
    discoverer.setEventHandleWriteNotifications(&seven, true, true);
    EXPECT_THAT(host.takeCalls(), ElementsAre(changed));
    EXPECT_THAT(host.handles(), ElementsAre(std::pair(7, 1)));
    discoverer.removeEventHandle(&seven, true);
    EXPECT_THAT(host.takeCalls(), ElementsAre(changed));
    EXPECT_THAT(host.handles(), IsEmpty());
    discoverer.setEventHandleWriteNotifications(&seven, true, false);
    EXPECT_THAT(host.takeCalls(), IsEmpty());
}

TEST_F(ADiscoverer, TellsTheHostAfterItsLockIsFree) {
    const int seven = 7;
    std::vector<std::pair<int, int>> seen;
    host.on["eventHandlesChanged"] = [&] { seen = host.handles(); };

    discoverer.addEventHandle(&seven, true, true);
    EXPECT_THAT(seen, ElementsAre(std::pair(7, 1)));
    discoverer.setEventHandleWriteNotifications(&seven, false, true);
    EXPECT_THAT(seen, ElementsAre(std::pair(7, 0)));
    discoverer.removeEventHandle(&seven, true);
    EXPECT_THAT(seen, IsEmpty());
}

/** What the hook saw: whose thread it was on, and what the host, on its own, could read meanwhile. */
struct Told {
    std::thread::id by;
    std::vector<std::pair<int, int>> handles;
};

TEST_F(ADiscoverer, TellsTheHostOnWhicheverThreadChangedTheHandlesWithItsLockFree) {
    const int seven = 7;
    std::vector<Told> told;
    host.on["eventHandlesChanged"] = [&] {
        told.push_back({std::this_thread::get_id(), {}});
        // Would wait for ever if the thread that tells still held the lock.
        std::thread asks([&] { told.back().handles = host.handles(); });
        asks.join();
    };
    std::thread changes([&] {
        discoverer.addEventHandle(&seven, true, false);
        discoverer.setEventHandleWriteNotifications(&seven, true, true);
        discoverer.removeEventHandle(&seven, true);
    });
    const std::thread::id other = changes.get_id();
    changes.join();

    ASSERT_EQ(told.size(), 3U);
    for (const Told& each : told)
        EXPECT_EQ(each.by, other);
    EXPECT_THAT(told[0].handles, ElementsAre(std::pair(7, 0)));
    EXPECT_THAT(told[1].handles, ElementsAre(std::pair(7, 1)));
    EXPECT_THAT(told[2].handles, IsEmpty());
}

TEST_F(ADiscoverer, IgnoresNullHandles) {
    discoverer.addEventHandle(nullptr, true, true);
    discoverer.removeEventHandle(nullptr, true);
    discoverer.setEventHandleWriteNotifications(nullptr, true, true);

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_THAT(host.handles(), IsEmpty());
}

TEST_F(ASingleHandleDiscoverer, StopsWhenMultipleHandlesAreChanged) {
    EXPECT_ASSERTION(discoverer.addEventHandle(nullptr, false, false), "common/ZEBDiscovererImpl\\.cpp",
                     "isUsingMultipleHandles()");
    EXPECT_ASSERTION(discoverer.removeEventHandle(nullptr, false), "common/ZEBDiscovererImpl\\.cpp",
                     "isUsingMultipleHandles()");
    EXPECT_ASSERTION(discoverer.setEventHandleWriteNotifications(nullptr, false, false),
                     "common/ZEBDiscovererImpl\\.cpp", "isUsingMultipleHandles()");
    EXPECT_ASSERTION(discoverer.setTimerForHandle(&gHandle, 1), "common/ZEBDiscovererImpl\\.cpp",
                     "isUsingMultipleHandles()");
}

TEST_F(ADiscoverer, LogsThatItHasNoMemoryBeforeItGivesThePublishedHandlesAgain) {
    for (int handle = 100; handle < 120; ++handle)
        discoverer.addEventHandle(&handle, false, true);
    int none = 0;
    int* flags = &none;
    std::vector<int*> seen;
    host.on["log"] = [&] { seen.push_back(flags); };

    const FailingNew failing = FailingNew::at(1);
    EXPECT_EQ(discoverer.Base::getMultipleEventHandlesEx(&flags), nullptr);

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"isLogLevelEnabled", {0}},
                            Call{"log", {0, "Unable to prepare the multiple handles, out of memory"}}));
    EXPECT_THAT(seen, ElementsAre(&none));
    EXPECT_EQ(flags, nullptr);
}

TEST_F(ADiscoverer, GivesTheHandlesThatItHadOnlyWhenThereIsNoMemory) {
    const int seven = 7;
    discoverer.addEventHandle(&seven, false, false);
    host.takeRecord();

    EXPECT_THAT(host.handles(), ElementsAre(std::pair(7, 0)));

    EXPECT_THAT(host.takeRecord(), ElementsAre(Call{"getMultipleEventHandlesEx", {}}));
}

TEST_F(ADiscoverer, GoesOnWithThePublishedHandlesWhenOutOfMemory) {
    for (int handle = 7; handle < 9; ++handle)
        discoverer.addEventHandle(&handle, false, handle == 8);
    int* flagsBefore = nullptr;
    const int* before = discoverer.getMultipleEventHandlesEx(&flagsBefore);
    for (int handle = 100; handle < 120; ++handle)
        discoverer.addEventHandle(&handle, false, true);

    for (const int array : {1, 2}) {
        SCOPED_TRACE(array);
        int* flags = nullptr;
        const int* published = nullptr;
        {
            const FailingNew failing = FailingNew::at(array);
            published = discoverer.Base::getMultipleEventHandlesEx(&flags);
        }

        ASSERT_EQ(published, before);
        ASSERT_EQ(flags, flagsBefore);
        EXPECT_THAT(std::vector<int>(published, published + 3), ElementsAre(7, 8, -1));
        EXPECT_THAT(std::vector<int>(flags, flags + 2), ElementsAre(0, 1));
        EXPECT_THAT(host.takeLogLines(),
                    ElementsAre(LogLine{0, "Unable to prepare the multiple handles, out of memory"}));
    }
    EXPECT_EQ(host.handles().size(), 22U) << "there is memory again";
}

} // namespace
