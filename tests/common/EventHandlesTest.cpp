#include "tests/common/HandleSets.h"

#include <new>
#include <pthread.h>
#include <thread>

using namespace testing;
using namespace zebtest;

namespace {

class WithoutMemory : public TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(ForEitherArray, WithoutMemory, Values(1, 2));

TEST_P(WithoutMemory, AFirstHandleIsNotAdded) {
    HandleSet set;
    const long before = zebtest::liveAllocations();

    {
        const FailingNew failing = FailingNew::at(GetParam());
        EXPECT_THROW(add(set, 7), std::bad_alloc);
    }

    EXPECT_EQ(set.eventHandles(), nullptr);
    EXPECT_EQ(set.writeNotifications(), nullptr);
    EXPECT_EQ(membersOf(set).capacity, 0U);
    EXPECT_EQ(zebtest::liveAllocations(), before);
}

TEST_P(WithoutMemory, ASixteenthHandleIsNotAdded) {
    HandleSet set;
    fill(set, 15);
    const long before = zebtest::liveAllocations();

    {
        const FailingNew failing = FailingNew::at(GetParam());
        EXPECT_THROW(add(set, 115), std::bad_alloc);
    }

    expectFilled(set, 15);
    EXPECT_EQ(membersOf(set).capacity, 15U);
    EXPECT_EQ(zebtest::liveAllocations(), before);
}

TEST_P(WithoutMemory, APublishedSetStaysWhatItWas) {
    EventHandles handles;
    const int seven = 7;
    handles.addHandle(&seven, true);
    handles.prepare();
    const int* before = handles.publishedHandles();
    for (int i = 0; i < 20; ++i) {
        const int handle = 100 + i;
        handles.addHandle(&handle, false);
    }

    {
        const FailingNew failing = FailingNew::at(GetParam());
        EXPECT_THROW(handles.prepare(), std::bad_alloc);
    }

    ASSERT_EQ(handles.publishedHandles(), before);
    EXPECT_EQ(before[0], 7);
    EXPECT_EQ(before[1], -1);
    EXPECT_EQ(handles.publishedWriteNotifications()[0], 1);
    EXPECT_TRUE(handles.prepare()) << "there is memory now";
    EXPECT_EQ(handles.publishedHandles()[20], 119);
}

TEST(APublishedSet, IsNullUntilThereWasAHandle) {
    EventHandles handles;

    EXPECT_FALSE(handles.prepare());

    EXPECT_EQ(handles.publishedHandles(), nullptr);
    EXPECT_EQ(handles.publishedWriteNotifications(), nullptr);
}

TEST(APublishedSet, IsNullWhenTheOnlyHandleWentBeforeTheHostAsked) {
    EventHandles handles;
    const int seven = 7;
    handles.addHandle(&seven, false);
    handles.removeHandle(&seven);

    EXPECT_FALSE(handles.prepare());

    EXPECT_EQ(handles.publishedHandles(), nullptr);
}

TEST(APublishedSet, ChangesOnlyWhenPrepared) {
    EventHandles handles;
    const int seven = 7, eight = 8;
    handles.addHandle(&seven, true);
    EXPECT_TRUE(handles.prepare());
    const int* published = handles.publishedHandles();
    const int* flags = handles.publishedWriteNotifications();

    handles.addHandle(&eight, false);
    handles.setHandleWriteNotifications(&seven, false);

    EXPECT_THAT(std::vector<int>(published, published + 2), ElementsAre(7, -1));
    EXPECT_EQ(flags[0], 1);
    EXPECT_TRUE(handles.prepare());
    published = handles.publishedHandles();
    flags = handles.publishedWriteNotifications();
    EXPECT_THAT(std::vector<int>(published, published + 3), ElementsAre(7, 8, -1));
    EXPECT_THAT(std::vector<int>(flags, flags + 2), ElementsAre(0, 0));
}

TEST(APublishedSet, IsNotCopiedWhenNothingChangedInTheEnd) {
    EventHandles handles;
    const int seven = 7, eight = 8;
    handles.addHandle(&seven, false);
    handles.prepare();

    handles.addHandle(&eight, false);
    handles.removeHandle(&eight);
    handles.setHandleWriteNotifications(&seven, true);
    handles.setHandleWriteNotifications(&seven, false);

    EXPECT_FALSE(handles.prepare());
}

TEST(APublishedSet, SeesAChangedFlagAlone) {
    EventHandles handles;
    const int seven = 7;
    handles.addHandle(&seven, false);
    handles.prepare();

    handles.setHandleWriteNotifications(&seven, true);

    EXPECT_TRUE(handles.prepare());
    EXPECT_EQ(handles.publishedWriteNotifications()[0], 1);
}

TEST(APublishedSet, BecomesEmptyWhenTheWorkingSetIsCleared) {
    EventHandles handles;
    const int seven = 7;
    handles.addHandle(&seven, false);
    handles.prepare();

    handles.clear();

    EXPECT_TRUE(handles.prepare());
    EXPECT_EQ(handles.publishedHandles()[0], -1);
}

/** The mutex of event handles, in the hands of a test: locked, and of a kind that says so instead of waiting.
 */
class HeldMutex {
public:
    explicit HeldMutex(EventHandles& handles) :
        mpMutex(
            reinterpret_cast<pthread_mutex_t*>(reinterpret_cast<char*>(&handles) + 2 * sizeof(HandleSet))) {
        pthread_mutexattr_t kind;
        pthread_mutexattr_init(&kind);
        pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_destroy(mpMutex);
        pthread_mutex_init(mpMutex, &kind);
        pthread_mutexattr_destroy(&kind);
        pthread_mutex_lock(mpMutex);
    }
    ~HeldMutex() { pthread_mutex_unlock(mpMutex); }
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;

private:
    pthread_mutex_t* mpMutex;
};

TEST(EventHandlesOfSeveralThreads, AreTouchedByNoOperationThatDoesNotGetTheMutex) {
    EventHandles handles;
    const int seven = 7, eight = 8, nine = 9;
    handles.addHandle(&seven, false);
    handles.prepare();
    using mxcommon::MutexException;
    {
        const HeldMutex held(handles);
        EXPECT_THROW(handles.prepare(), MutexException) << "not even to find that nothing has changed";
    }
    handles.addHandle(&eight, false);
    const int* const published = handles.publishedHandles();

    {
        const HeldMutex held(handles);
        EXPECT_THROW(handles.addHandle(&nine, true), MutexException);
        EXPECT_THROW(handles.removeHandle(&seven), MutexException);
        EXPECT_THROW(handles.setHandleWriteNotifications(&seven, true), MutexException);
        EXPECT_THROW(handles.clear(), MutexException);
        EXPECT_THROW(handles.prepare(), MutexException);
        EXPECT_THROW(handles.publishedHandles(), MutexException);
        EXPECT_THROW(handles.publishedWriteNotifications(), MutexException);
    }

    EXPECT_EQ(handles.publishedHandles(), published);
    EXPECT_EQ(published[1], -1) << "nothing was published";
    EXPECT_TRUE(handles.prepare());
    EXPECT_THAT(std::vector<int>(handles.publishedHandles(), handles.publishedHandles() + 3),
                ElementsAre(7, 8, -1));
    EXPECT_EQ(handles.publishedWriteNotifications()[0], 0);
}

TEST(EventHandlesOfSeveralThreads, ComeAndGoWhileTheHostReadsWhatIsPublished) {
    EventHandles handles;
    const auto work = [&](int first) {
        for (int round = 0; round < 200; ++round) {
            for (int i = 0; i < 10; ++i) {
                const int handle = first + i;
                handles.addHandle(&handle, false);
                handles.setHandleWriteNotifications(&handle, true);
            }
            for (int i = 0; i < 9; ++i) {
                const int handle = first + i;
                handles.removeHandle(&handle);
            }
        }
    };

    std::thread one(work, 100), two(work, 200);
    std::size_t seen = 0;
    for (int round = 0; round < 200; ++round) {
        handles.prepare();
        const int* all = handles.publishedHandles();
        const int* flags = handles.publishedWriteNotifications();
        for (; all && *all != -1; ++all, ++flags)
            seen += *flags == 0 || *flags == 1 ? 1U : 0U;
    }
    one.join();
    two.join();

    handles.prepare();
    const int* all = handles.publishedHandles();
    EXPECT_THAT(std::vector<int>(all, all + 2), UnorderedElementsAre(109, 209));
    EXPECT_EQ(all[2], -1);
    EXPECT_LE(seen, 200U * 20U);
}

} // namespace
