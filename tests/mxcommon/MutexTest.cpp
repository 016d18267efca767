#include "mxcommon/Mutex.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

namespace {

using namespace mxcommon;

/** What another thread's attempt to take the mutex would end with: 0 or EBUSY. */
int tryFromAnotherThread(Mutex& mutex) {
    int result = -1;
    std::thread([&] {
        result = pthread_mutex_trylock(mutex.nativeHandle());
        if (result == 0) {
            pthread_mutex_unlock(mutex.nativeHandle());
        }
    }).join();
    return result;
}

TEST(AMutex, KeepsOthersOutWhileALockLives) {
    Mutex mutex;
    {
        const MutexLock lock(mutex);

        EXPECT_EQ(tryFromAnotherThread(mutex), EBUSY);
    }

    EXPECT_EQ(tryFromAnotherThread(mutex), 0);
}

TEST(AMutex, IsPlainUnlessMadeRecursive) {
    Mutex mutex;
    const MutexLock lock(mutex);

    EXPECT_EQ(pthread_mutex_trylock(mutex.nativeHandle()), EBUSY);
}

TEST(ARecursiveMutex, IsFreeAfterAsManyUnlocksAsLocks) {
    Mutex mutex(true);

    ASSERT_EQ(pthread_mutex_trylock(mutex.nativeHandle()), 0);
    ASSERT_EQ(pthread_mutex_trylock(mutex.nativeHandle()), 0);
    pthread_mutex_unlock(mutex.nativeHandle());
    EXPECT_EQ(tryFromAnotherThread(mutex), EBUSY);
    pthread_mutex_unlock(mutex.nativeHandle());
    EXPECT_EQ(tryFromAnotherThread(mutex), 0);
}

TEST(ALock, TellsWhichMutexItHolds) {
    Mutex mutex;
    const MutexLock lock(mutex);

    EXPECT_EQ(&lock.mutex(), &mutex);
}

TEST(AMutexVariable, IsReadAndWrittenUnderItsMutex) {
    Mutex mutex;
    MutexVariable<std::string> variable("before", mutex);
    MutexLock lock(mutex);

    EXPECT_EQ(variable.get(lock), "before");
    variable.set(lock, "after");
    EXPECT_EQ(variable.get(lock), "after");
}

TEST(AMutexVariable, RefusesALockOfAnotherMutexEvenWhenItsOwnIsHeld) {
    constexpr const char* kText = "MutexException: Invalid mutex supplied to Mutex variable";
    Mutex owner;
    Mutex other;
    MutexVariable<int> variable(1, owner);
    MutexLock ownersLock(owner);
    MutexLock othersLock(other);

    try {
        variable.get(othersLock);
        FAIL();
    } catch (const MutexException& e) {
        EXPECT_STREQ(e.what(), kText);
    }
    try {
        variable.set(othersLock, 2);
        FAIL();
    } catch (const MutexException& e) {
        EXPECT_STREQ(e.what(), kText);
    }
    EXPECT_EQ(variable.get(ownersLock), 1);
}

} // namespace
