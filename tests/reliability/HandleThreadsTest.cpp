// Eight threads change the handles while the host asks for them again and again.
#include "common/EventHandles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>
#include <thread>
#include <vector>

using namespace testing;

namespace zebdiscovery {
namespace {

constexpr int kThreads = 8;
constexpr int kHandlesOfAThread = 6;
constexpr int kRounds = 2000;

/** What the host reads when it walks the arrays. */
std::vector<std::pair<int, int>> walk(const int* handles, const int* flags) {
    std::vector<std::pair<int, int>> all;
    for (; handles && *handles != ZEBDiscovererNoEventHandle; ++handles, ++flags)
        all.emplace_back(*handles, *flags);
    return all;
}

/** From its first turn on a thread always has a handle in the set, so there is one to publish. */
void change(EventHandles& handles, int thread, std::latch& running, const std::atomic<bool>& stop) {
    int own[kHandlesOfAThread];
    for (int i = 0; i < kHandlesOfAThread; ++i)
        own[i] = thread * 100 + i;
    for (unsigned turn = 0; !stop; ++turn) {
        int& handle = own[turn % kHandlesOfAThread];
        handles.addHandle(&handle, turn % 2 == 0);
        handles.setHandleWriteNotifications(&handle, turn % 3 == 0);
        handles.removeHandle(&own[(turn + 2) % kHandlesOfAThread]);
        if (turn == 0)
            running.count_down();
        std::this_thread::yield();
    }
    for (const int& handle : own)
        handles.removeHandle(&handle);
}

TEST(PublishedHandles, StandStillWhileEightThreadsChangeTheSet) {
    EventHandles handles;
    std::latch running(kThreads);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] { change(handles, thread, running, stop); });
    running.wait();

    int published = 0;
    for (int round = 0; round < kRounds; ++round) {
        published += handles.prepare() ? 1 : 0;
        const int* array = handles.publishedHandles();
        const int* flags = handles.publishedWriteNotifications();
        const auto first = walk(array, flags);
        std::this_thread::yield();
        ASSERT_EQ(walk(array, flags), first);
        ASSERT_EQ(handles.publishedHandles(), array);
        ASSERT_LE(first.size(), kThreads * kHandlesOfAThread);
        std::set<int> distinct;
        for (const auto& [handle, flag] : first) {
            distinct.insert(handle);
            ASSERT_THAT(flag, AnyOf(0, 1));
        }
        ASSERT_EQ(distinct.size(), first.size());
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    handles.prepare();

    EXPECT_GT(published, 0);
    EXPECT_THAT(walk(handles.publishedHandles(), handles.publishedWriteNotifications()), IsEmpty());
}

} // namespace
} // namespace zebdiscovery
