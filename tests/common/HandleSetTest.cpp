#include "tests/common/HandleSets.h"

using namespace testing;
using namespace zebtest;

namespace {

TEST(AHandleSet, StartsWithoutArrays) {
    const HandleSet set;

    EXPECT_EQ(set.eventHandles(), nullptr);
    EXPECT_EQ(set.writeNotifications(), nullptr);
    EXPECT_EQ(membersOf(set).count, 0U);
    EXPECT_EQ(membersOf(set).capacity, 0U);
}

TEST(AHandleSet, KeepsTheFirstHandleInArraysOfSixteen) {
    HandleSet set;
    int handle = 7;

    const FailingNew watch = FailingNew::at(0);
    set.addHandle(&handle, true);
    const std::vector<std::size_t> sizes = watch.sizes();

    EXPECT_THAT(sizes, ElementsAre(16 * sizeof(int), 16 * sizeof(int)));
    EXPECT_EQ(membersOf(set).capacity, 15U);
    EXPECT_EQ(membersOf(set).count, 1U);
    EXPECT_EQ(set.eventHandles()[0], 7);
    EXPECT_EQ(set.eventHandles()[1], -1);
    EXPECT_EQ(set.writeNotifications()[0], 1);
}

TEST(AHandleSet, GrowsFromFifteenToThirtyToSixty) {
    HandleSet set;

    fill(set, 15);
    EXPECT_EQ(membersOf(set).capacity, 15U);
    expectFilled(set, 15);
    {
        const FailingNew watch = FailingNew::at(0);
        add(set, 115, true);
        EXPECT_THAT(watch.sizes(), ElementsAre(31 * sizeof(int), 31 * sizeof(int)));
    }
    EXPECT_EQ(membersOf(set).capacity, 30U);
    expectFilled(set, 16);
    fill(set, 30);
    EXPECT_EQ(membersOf(set).capacity, 30U);
    {
        const FailingNew watch = FailingNew::at(0);
        add(set, 130, true);
        EXPECT_THAT(watch.sizes(), ElementsAre(61 * sizeof(int), 61 * sizeof(int)));
    }

    EXPECT_EQ(membersOf(set).capacity, 60U);
    expectFilled(set, 31);
}

TEST(AHandleSet, KeepsTheFirstFlagOfAHandleThatIsAddedTwice) {
    HandleSet set;
    add(set, 7, true);
    add(set, 8, false);

    add(set, 7, false);
    add(set, 8, true);

    EXPECT_THAT(handlesOf(set), ElementsAre(7, 8));
    EXPECT_THAT(flagsOf(set), ElementsAre(1, 0));
}

TEST(AHandleSet, HoldsHandlesThatLieFarApart) {
    HandleSet set;

    // Those whose numbers are alike but for their high digits are compared one by one.
    for (const int handle : {5, 5 + 8192, 5 + 2 * 8192, 6})
        add(set, handle, false);

    EXPECT_EQ(membersOf(set).count, 4U);
    EXPECT_EQ(set.eventHandles()[2], 5 + 2 * 8192);
    EXPECT_EQ(set.eventHandles()[4], -1);
}

TEST(AHandleSet, DoesNotGrowForAHandleThatIsThere) {
    HandleSet set;
    fill(set, 15);

    add(set, 107);

    EXPECT_EQ(membersOf(set).capacity, 15U);
    expectFilled(set, 15);
}

TEST(AHandleSet, ClosesTheGapOfARemovedHandle) {
    HandleSet set;
    for (const int handle : {7, 8, 9})
        add(set, handle, handle == 9);

    remove(set, 8);

    EXPECT_THAT(handlesOf(set), ElementsAre(7, 9));
    EXPECT_THAT(flagsOf(set), ElementsAre(0, 1));
    EXPECT_EQ(set.eventHandles()[2], -1);
}

TEST(AHandleSet, RemovesTheFirstAndTheLast) {
    HandleSet set;
    for (const int handle : {7, 8, 9})
        add(set, handle, handle == 8);

    remove(set, 7);
    remove(set, 9);

    EXPECT_THAT(handlesOf(set), ElementsAre(8));
    EXPECT_THAT(flagsOf(set), ElementsAre(1));
    EXPECT_EQ(set.eventHandles()[1], -1);
}

TEST(AHandleSet, RemovesFromFullArrays) {
    HandleSet set;
    fill(set, 15);

    remove(set, 100);

    EXPECT_EQ(membersOf(set).count, 14U);
    EXPECT_EQ(set.eventHandles()[0], 101);
    EXPECT_EQ(set.eventHandles()[13], 114);
    EXPECT_EQ(set.eventHandles()[14], -1);
}

TEST(AHandleSet, KeepsItsCapacityWhenItBecomesEmpty) {
    HandleSet set;
    add(set, 7);

    remove(set, 7);

    EXPECT_EQ(membersOf(set).count, 0U);
    EXPECT_EQ(membersOf(set).capacity, 15U);
    EXPECT_EQ(set.eventHandles()[0], -1);
}

TEST(AHandleSet, IgnoresARemovalOfNothing) {
    HandleSet set;
    set.removeHandle(nullptr);
    remove(set, 7);
    add(set, 7);

    set.removeHandle(nullptr);
    remove(set, -1);
    remove(set, 8);

    EXPECT_THAT(handlesOf(set), ElementsAre(7));
}

TEST(AHandleSet, ChangesTheFlagOfAHandle) {
    HandleSet set;
    add(set, 7, false);
    add(set, 8, true);
    const int seven = 7, eight = 8;

    set.setHandleWriteNotifications(&seven, true);
    set.setHandleWriteNotifications(&eight, false);

    EXPECT_THAT(flagsOf(set), ElementsAre(1, 0));
}

TEST(AHandleSet, IgnoresTheFlagOfAHandleThatIsNotThere) {
    HandleSet set;
    const int nine = 9;
    set.setHandleWriteNotifications(&nine, true);
    add(set, 7, false);

    set.setHandleWriteNotifications(&nine, true);

    EXPECT_THAT(handlesOf(set), ElementsAre(7));
    EXPECT_THAT(flagsOf(set), ElementsAre(0));
}

TEST(AHandleSet, KeepsItsArraysWhenCleared) {
    HandleSet set;
    fill(set, 16);
    const Members before = membersOf(set);

    set.clear();

    const Members after = membersOf(set);
    EXPECT_EQ(after.handles, before.handles);
    EXPECT_EQ(after.writeNotification, before.writeNotification);
    EXPECT_EQ(after.capacity, 30U);
    EXPECT_EQ(after.count, 0U);
    EXPECT_EQ(after.handles[0], -1);
}

TEST(AHandleSet, MayBeClearedWithoutArrays) {
    HandleSet set;

    set.clear();

    EXPECT_EQ(set.eventHandles(), nullptr);
}

TEST(AHandleSet, EqualsASetOfTheSameHandlesAndFlagsWhateverTheCapacities) {
    HandleSet small, large, empty;
    fill(large, 16);
    for (int i = 15; i >= 3; --i)
        remove(large, 100 + i);
    fill(small, 3);

    EXPECT_TRUE(small == large);
    large.clear();
    EXPECT_TRUE(large == empty);
    EXPECT_TRUE(empty == large);
}

TEST(AHandleSet, DiffersByCountHandleFlagOrOrder) {
    HandleSet set, count, handle, flag, order;
    add(set, 7), add(set, 8, true);
    add(count, 7);
    add(handle, 7), add(handle, 9, true);
    add(flag, 7), add(flag, 8, false);
    add(order, 8, true), add(order, 7);

    for (const HandleSet* other : {&count, &handle, &flag, &order}) {
        EXPECT_FALSE(set == *other);
        EXPECT_FALSE(*other == set);
    }
}

TEST(AssigningAHandleSet, AllocatesExactlyWhatTheSourceHolds) {
    HandleSet from, to;
    fill(from, 20);
    add(to, 7);

    const FailingNew watch = FailingNew::at(0);
    to = from;
    const std::vector<std::size_t> sizes = watch.sizes();

    EXPECT_THAT(sizes, ElementsAre(21 * sizeof(int), 21 * sizeof(int)));
    EXPECT_EQ(membersOf(to).capacity, 20U);
    expectFilled(to, 20);
    EXPECT_TRUE(to == from);
    expectFilled(from, 20);
}

TEST(AssigningAHandleSet, DoublesTheExactCapacityLater) {
    for (const int count : {1, 20}) {
        HandleSet from, to;
        fill(from, count);
        to = from;

        add(to, 120, true);

        EXPECT_EQ(membersOf(to).capacity, static_cast<uint32_t>(2 * count));
        EXPECT_EQ(to.eventHandles()[count], 120);
        EXPECT_EQ(to.eventHandles()[count + 1], -1);
    }
}

TEST(AssigningAHandleSet, KeepsArraysThatAreLargeEnough) {
    HandleSet from, to;
    fill(from, 15);
    fill(to, 15);
    remove(to, 100);
    const Members before = membersOf(to);

    const FailingNew watch = FailingNew::at(0);
    to = from;
    const std::vector<std::size_t> sizes = watch.sizes();

    EXPECT_THAT(sizes, IsEmpty());
    EXPECT_EQ(membersOf(to).handles, before.handles);
    EXPECT_EQ(membersOf(to).capacity, 15U);
    expectFilled(to, 15);
}

TEST(AssigningAHandleSet, OfNothingLeavesAnEmptySetWithItsArrays) {
    HandleSet from, to;
    fill(to, 3);

    to = from;

    EXPECT_EQ(membersOf(to).count, 0U);
    EXPECT_EQ(membersOf(to).capacity, 15U);
    EXPECT_EQ(to.eventHandles()[0], -1);
}

TEST(AssigningAHandleSet, OfNothingToNothingLeavesNoArrays) {
    HandleSet from, to;
    add(from, 7);
    remove(from, 7);

    to = from;

    EXPECT_EQ(to.eventHandles(), nullptr);
    EXPECT_EQ(to.writeNotifications(), nullptr);
}

TEST(AssigningAHandleSet, ToItselfChangesNothing) {
    HandleSet set;
    fill(set, 5);
    const HandleSet& same = set;

    set = same;

    expectFilled(set, 5);
}

} // namespace
