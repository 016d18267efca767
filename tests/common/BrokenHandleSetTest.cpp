#include "tests/common/HandleSets.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

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

/** Where several are broken it tells of the first, in the order in which they are written down. */
TEST(ABrokenHandleSet, StopsAtTheFirstThatIsBroken) {
    EXPECT_INVARIANT((m.handles = nullptr, m.capacity = 2),
                     "mpEventHandles || (mMaxHandleCount == 0 && !mpWriteNotification)");
    EXPECT_INVARIANT(m.capacity = 0, "!mpEventHandles || (mMaxHandleCount > 0 && mpWriteNotification)");
    EXPECT_INVARIANT((m.handles[0] = -1, m.capacity = 2), "mHandleCount <= mMaxHandleCount");
    EXPECT_INVARIANT(m.handles[0] = m.handles[1] = -1, "mpEventHandles[i] != ZEBDiscovererNoEventHandle");
    EXPECT_INVARIANT((m.handles[1] = 100, m.handles[3] = 0), "mpEventHandles[i] != mpEventHandles[j]");
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

// The way out. An operation can only break its set when the memory of the set is not what it seems: here the
// two arrays overlap, so that what is written to one of them changes the other.

struct Overlapping {
    int memory[64];
    Members members;
};

/** Handles 1, 101, 102, with the flags lying `distance` entries behind them; lives as long as the process. */
HandleSet& overlapping(int distance) {
    static Overlapping lies;
    std::fill(std::begin(lies.memory), std::end(lies.memory), -1);
    int* const handles = lies.memory + 32;
    const int first[] = {1, 101, 102};
    std::copy(std::begin(first), std::end(first), handles);
    lies.members = {handles, handles + distance, 3, 15};
    auto* set = new HandleSet;
    overwrite(*set, lies.members);
    set->eventHandles(); // all is well
    return *set;
}

TEST(AHandleSetThatAnOperationBreaks, IsFoundOutOnTheWayOutOfIt) {
    const int seven = 7, second = 101;
    HandleSet twoFlags, none;
    add(twoFlags, 7, true), add(twoFlags, 8, true);
    constexpr char kTwice[] = "mpEventHandles\\[i\\] != mpEventHandles\\[j\\]";
    constexpr char kNone[] = "mpEventHandles\\[i\\] != ZEBDiscovererNoEventHandle";

    EXPECT_DEATH(overlapping(-2).addHandle(&seven, true), kTwice) << "the flag 1 becomes the second handle";
    EXPECT_DEATH(overlapping(1).setHandleWriteNotifications(&second, true), kTwice) << "the third";
    EXPECT_DEATH(remove(overlapping(1), 1), kNone) << "the end moves down twice";
    EXPECT_DEATH(overlapping(0) = twoFlags, kTwice) << "two flags become the handles";
}

void copyFlagsOverTheHandlesOfTheSource() {
    HandleSet from, to;
    add(from, 7, true), add(from, 8, true);
    fill(to, 3);
    Members members = membersOf(to);
    members.writeNotification = membersOf(from).handles;
    overwrite(to, members);
    to = from;
}

/** A set whose handles lie over its own count: emptying it writes "no handle" there. */
void clearASetThatHoldsItself() {
    static int flags[2];
    auto* set = new HandleSet;
    int* const count = reinterpret_cast<int*>(reinterpret_cast<char*>(set) + offsetof(Members, count));
    overwrite(*set, {count, flags, 1, ~uint32_t{0}});
    set->clear();
}

TEST(AHandleSetThatAnOperationBreaks, IsFoundOutAlsoWhenItIsTheSourceOrIsEmptied) {
    EXPECT_DEATH(copyFlagsOverTheHandlesOfTheSource(), "mpEventHandles\\[i\\] != mpEventHandles\\[j\\]");
    EXPECT_DEATH(clearASetThatHoldsItself(), "mpEventHandles\\[i\\] != ZEBDiscovererNoEventHandle");
}

/** What a broken set ends with names the function that holds the condition, not the operation. */
TEST(ABrokenHandleSet, NamesTheFunctionThatFoundIt) {
    EXPECT_DEATH(breakAndUse([](Members& m) { m.capacity = 2; }), "HandleSet::checkInvariance\\(\\) const: ");
    EXPECT_DEATH(breakAndUse([](Members& m) { m.handles[1] = 100; }),
                 "HandleSet::checkEveryHandleIsUnique\\(\\) const: ");
    HandleSet set;
    EXPECT_DEATH(add(set, -1), "HandleSet::addHandle\\(.*\\): ");
    EXPECT_DEATH(set.setHandleWriteNotifications(nullptr, true),
                 "HandleSet::setHandleWriteNotifications\\(.*\\): ");
}

/** The set is looked at before the arguments. */
TEST(ABrokenHandleSet, IsFoundOutBeforeAMissingHandle) {
    const auto broken = [] {
        auto* set = new HandleSet;
        fill(*set, 3);
        set->eventHandles()[1] = 100;
        return set;
    };
    constexpr char kText[] = "mpEventHandles\\[i\\] != mpEventHandles\\[j\\]";

    EXPECT_DEATH(broken()->addHandle(nullptr, false), kText);
    EXPECT_DEATH(broken()->setHandleWriteNotifications(nullptr, false), kText);
}

/** Of two broken sets the source of a copy is the one that is told of. */
TEST(ABrokenHandleSet, IsFoundOutAsTheSourceBeforeTheDestination) {
    const auto copyBrokenToBroken = [] {
        HandleSet from, to;
        fill(from, 3), fill(to, 3);
        from.eventHandles()[3] = 0;
        to.eventHandles()[1] = 100;
        to = from;
    };

    EXPECT_DEATH(copyBrokenToBroken(), "mpEventHandles\\[mHandleCount\\] == ZEBDiscovererNoEventHandle");
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
