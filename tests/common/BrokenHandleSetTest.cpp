#include "tests/common/HandleSets.h"

using namespace testing;
using namespace zebtest;

namespace {

// Broken sets stop the process, with the broken invariant as the text.

void breakAndUse(void (*change)(Members&)) {
    HandleSet set;
    fill(set, 3);
    Members members = membersOf(set);
    change(members);
    overwrite(set, members);
    set.removeHandle(nullptr); // checks, and does nothing else
}

#define EXPECT_INVARIANT(change, text)                                                                       \
    EXPECT_ASSERTION(breakAndUse([](Members& m) { change; }), "common/EventHandles\\.cpp", text)

TEST(ABrokenHandleSet, StopsWhenThereAreFlagsOrACapacityWithoutHandles) {
    EXPECT_INVARIANT(m.handles = nullptr, "mpEventHandles || (mMaxHandleCount == 0 && !mpWriteNotification)");
    EXPECT_INVARIANT((m.handles = nullptr, m.count = 0, m.capacity = 0),
                     "mpEventHandles || (mMaxHandleCount == 0 && !mpWriteNotification)");
    EXPECT_INVARIANT((m.handles = m.writeNotification = nullptr, m.count = 0),
                     "mpEventHandles || (mMaxHandleCount == 0 && !mpWriteNotification)");
}

TEST(ABrokenHandleSet, StopsWhenThereAreHandlesWithoutACapacityOrFlags) {
    EXPECT_INVARIANT((m.count = 0, m.capacity = 0),
                     "!mpEventHandles || (mMaxHandleCount > 0 && mpWriteNotification)");
    EXPECT_INVARIANT(m.writeNotification = nullptr,
                     "!mpEventHandles || (mMaxHandleCount > 0 && mpWriteNotification)");
}

TEST(ABrokenHandleSet, StopsWhenItHoldsMoreThanItCan) {
    EXPECT_INVARIANT(m.capacity = 2, "mHandleCount <= mMaxHandleCount");
    EXPECT_INVARIANT((m.handles = m.writeNotification = nullptr, m.capacity = 0),
                     "mHandleCount <= mMaxHandleCount");
}

TEST(ABrokenHandleSet, StopsWhenAHandleIsNone) {
    EXPECT_INVARIANT(m.handles[0] = -1, "mpEventHandles[i] != ZEBDiscovererNoEventHandle");
    EXPECT_INVARIANT(m.handles[2] = -1, "mpEventHandles[i] != ZEBDiscovererNoEventHandle");
}

TEST(ABrokenHandleSet, StopsWhenAHandleIsThereTwice) {
    EXPECT_INVARIANT(m.handles[1] = 100, "mpEventHandles[i] != mpEventHandles[j]");
    EXPECT_INVARIANT(m.handles[2] = 101, "mpEventHandles[i] != mpEventHandles[j]");
    EXPECT_INVARIANT((m.handles[0] = -5, m.handles[2] = -5), "mpEventHandles[i] != mpEventHandles[j]");
}

TEST(ABrokenHandleSet, StopsWhenItsTerminatorIsGone) {
    EXPECT_INVARIANT(m.handles[3] = 0,
                     "mMaxHandleCount == 0 || mpEventHandles[mHandleCount] == ZEBDiscovererNoEventHandle");
}

/** Every operation looks at the invariants, so every one of them finds the set broken. */
TEST(ABrokenHandleSet, StopsEveryOperation) {
    const int handle = 7;
    const auto broken = [] {
        auto* set = new HandleSet;
        fill(*set, 3);
        set->eventHandles()[1] = 100;
        return set;
    };
    HandleSet good;
    constexpr char kText[] = "mpEventHandles\\[i\\] != mpEventHandles\\[j\\]";

    EXPECT_DEATH(broken()->addHandle(&handle, false), kText);
    EXPECT_DEATH(broken()->removeHandle(&handle), kText);
    EXPECT_DEATH(broken()->setHandleWriteNotifications(&handle, false), kText);
    EXPECT_DEATH(broken()->clear(), kText);
    EXPECT_DEATH(broken()->eventHandles(), kText);
    EXPECT_DEATH(broken()->writeNotifications(), kText);
    EXPECT_DEATH((void)(*broken() == good), kText);
    EXPECT_DEATH((void)(good == *broken()), kText);
    EXPECT_DEATH(good = *broken(), kText);
    EXPECT_DEATH(*broken() = good, kText);
}

TEST(AHandleSetGivenNoHandle, Stops) {
    HandleSet set;

    EXPECT_ASSERTION(set.addHandle(nullptr, false), "common/EventHandles\\.cpp", "handleToAdd");
    EXPECT_ASSERTION(add(set, -1), "common/EventHandles\\.cpp", "*handleToAdd != ZEBDiscovererNoEventHandle");
    EXPECT_ASSERTION(set.setHandleWriteNotifications(nullptr, true), "common/EventHandles\\.cpp", "handle");
    const int none = -1;
    EXPECT_ASSERTION(set.setHandleWriteNotifications(&none, true), "common/EventHandles\\.cpp",
                     "*handle != ZEBDiscovererNoEventHandle");
}

} // namespace
