// The order of the members and of the virtual operations, and what the classes derive from.
#include "common/DiscoveryException.h"
#include "common/EventFd.h"
#include "common/LibUsbThread.h"
#include "common/WaitableEvent.h"
#include "mxcommon/AtThreadExitListener.h"
#include "mxcommon/ConditionVariable.h"
#include "mxcommon/Exceptions.h"
#include "mxcommon/LogStream.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/OStreamLogHandler.h"
#include "mxcommon/Thread.h"
#include "tests/mxcommon/OpenedMember.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace {

using namespace mxcommon;
using zebdiscovery::DiscoveryException;
using zebdiscovery::EventFd;
using zebdiscovery::LibUsbThread;
using zebdiscovery::WaitableEvent;

using BoolVariable = MutexVariable<bool>;

/** Where the members of an object lie, in bytes from its beginning. */
template <class Object, class... Members>
std::vector<std::ptrdiff_t> placesIn(const Object& object, Members... members) {
    const auto* const pBegin = reinterpret_cast<const char*>(&object);
    return {reinterpret_cast<const char*>(&(object.*members)) - pBegin...};
}

template <class Object, class... Members>
void expectOrder(const Object& object, Members... members) {
    const std::vector<std::ptrdiff_t> places = placesIn(object, members...);

    for (std::size_t i = 1; i < places.size(); ++i) {
        EXPECT_LT(places[i - 1], places[i]) << "the " << i + 1 << ". of " << typeid(Object).name();
    }
}

/** A virtual operation by its place behind the two entries of the destructor. */
template <class Operation>
Operation slotBehindTheDestructor(const void* object) {
    return reinterpret_cast<Operation>((*static_cast<void* const* const*>(object))[2]);
}

OPEN(Thread, mName);
OPEN(Thread, mLog);
OPEN(Thread, mStateMutex);
OPEN(Thread, mIdMutex);
OPEN(Thread, mStarted);
OPEN(Thread, mJoined);
OPEN(Thread, mThread);
OPEN(AtThreadExitListener, mLog);
OPEN(AtThreadExitListener, mKey);
OPEN(AtThreadExitListener, mThreads);
OPEN(AtThreadExitListener, mMutex);
OPEN(BoolVariable, mValue);
OPEN(BoolVariable, mpOwner);
OPEN(ConditionVariable, mHandle);
OPEN(ConditionVariable, mpAttributes);
OPEN(ConditionAttributes, mHandle);
OPEN(ConditionAttributes, mMonotonic);
OPEN(Log, mpHandler);
OPEN(Log, mCategory);
OPEN(LogStream, mpHandler);
OPEN(LogStream, mCategory);
OPEN(LogStream, mActive);
OPEN(LogStream, mLevel);
OPEN(LogStream, mStream);
OPEN(OStreamLogHandler, mStart);
OPEN(OStreamLogHandler, mpStream);
OPEN(OStreamLogHandler, mMutex);
OPEN(WaitableEvent, mMutex);
OPEN(WaitableEvent, mCondition);
OPEN(WaitableEvent, mManualReset);
OPEN(WaitableEvent, mSignalled);
OPEN(EventFd, mReadFd);
OPEN(EventFd, mWriteFd);
OPEN(LibUsbThread, mLogHandler);
OPEN(LibUsbThread, mInternalThread);
OPEN(LibUsbThread, mWakeUp);
OPEN(LibUsbThread, mMutex);
OPEN(LibUsbThread, mpLibusbCtx);
OPEN(LibUsbThread, mSignalling);
OPEN(LibUsbThread, mDelivered);
OPEN(LibUsbThread, mStopping);
OPEN(LibUsbThread, mInFlight);
OPEN(LibUsbThread, mDelivering);

class CountingThread : public Thread {
public:
    using Thread::Thread;
    int runs = 0;

private:
    void run() override { ++runs; }
};

class CountingListener : public AtThreadExitListener {
public:
    using AtThreadExitListener::AtThreadExitListener;
    int told = 0;

private:
    void onThreadExit() override { ++told; }
};

TEST(TheMembersOfTheRuntimeSupport, LieInTheirOrder) {
    std::ostringstream output;
    OStreamLogHandler handler(&output);
    const CountingThread thread(&handler, "Counting");
    const CountingListener listener(&handler);
    Mutex mutex;
    const BoolVariable variable(true, mutex);
    const ConditionVariable condition;
    const ConditionAttributes attributes;
    const Log log(&handler, "Usb");

    expectOrder<Thread>(thread, OPENED(Thread, mName), OPENED(Thread, mLog), OPENED(Thread, mStateMutex),
                        OPENED(Thread, mIdMutex), OPENED(Thread, mStarted), OPENED(Thread, mJoined),
                        OPENED(Thread, mThread));
    expectOrder<AtThreadExitListener>(
        listener, OPENED(AtThreadExitListener, mLog), OPENED(AtThreadExitListener, mKey),
        OPENED(AtThreadExitListener, mThreads), OPENED(AtThreadExitListener, mMutex));
    expectOrder(variable, OPENED(BoolVariable, mValue), OPENED(BoolVariable, mpOwner));
    expectOrder(condition, OPENED(ConditionVariable, mHandle), OPENED(ConditionVariable, mpAttributes));
    expectOrder(attributes, OPENED(ConditionAttributes, mHandle), OPENED(ConditionAttributes, mMonotonic));
    expectOrder(log, OPENED(Log, mpHandler), OPENED(Log, mCategory));
    expectOrder(LogStream(log), OPENED(LogStream, mpHandler), OPENED(LogStream, mCategory),
                OPENED(LogStream, mActive), OPENED(LogStream, mLevel), OPENED(LogStream, mStream));
    expectOrder(handler, OPENED(OStreamLogHandler, mStart), OPENED(OStreamLogHandler, mpStream),
                OPENED(OStreamLogHandler, mMutex));
}

TEST(TheMembersOfTheFramesEvents, LieInTheirOrder) {
    expectOrder(WaitableEvent(false, false), OPENED(WaitableEvent, mMutex), OPENED(WaitableEvent, mCondition),
                OPENED(WaitableEvent, mManualReset), OPENED(WaitableEvent, mSignalled));
    expectOrder(EventFd(), OPENED(EventFd, mReadFd), OPENED(EventFd, mWriteFd));
}

TEST(TheMembersOfAnEventThread, LieInTheirOrder) {
    // Only the places are looked at: none of it is ever made.
    alignas(LibUsbThread) static std::byte memory[sizeof(LibUsbThread)];
    const auto& thread = *reinterpret_cast<const LibUsbThread*>(memory);

    expectOrder(thread, OPENED(LibUsbThread, mLogHandler), OPENED(LibUsbThread, mInternalThread),
                OPENED(LibUsbThread, mWakeUp), OPENED(LibUsbThread, mMutex),
                OPENED(LibUsbThread, mpLibusbCtx), OPENED(LibUsbThread, mSignalling),
                OPENED(LibUsbThread, mDelivered), OPENED(LibUsbThread, mStopping),
                OPENED(LibUsbThread, mInFlight), OPENED(LibUsbThread, mDelivering));
}

TEST(TheVirtualOperations, StandBehindTheDestructor) {
    std::ostringstream output;
    OStreamLogHandler handler(&output);
    CountingThread thread(&handler, "Counting");
    CountingListener listener(&handler);

    slotBehindTheDestructor<void (*)(Thread*)> (&thread)(&thread);
    slotBehindTheDestructor<void (*)(AtThreadExitListener*)> (&listener)(&listener);
    slotBehindTheDestructor<void (*)(LogRaw*, int, const char*, const char*)> (&handler)(&handler, 30, "Usb",
                                                                                         "Ready");

    EXPECT_EQ(thread.runs, 1);
    EXPECT_EQ(listener.told, 1);
    EXPECT_TRUE(output.str().ends_with("[Usb] [30] Ready\n")) << output.str();
}

template <class... Classes>
constexpr bool kVirtuallyDestroyed = (std::has_virtual_destructor_v<Classes> && ...);

template <class... Classes>
constexpr bool kNotCopied = ((!std::is_copy_constructible_v<Classes> &&
                              !std::is_copy_assignable_v<Classes>)&&...);

static_assert(
    kVirtuallyDestroyed<VirtualBase, LogRaw, LogHandler, OStreamLogHandler, Thread, AtThreadExitListener,
                        MutexException, ThreadException, ConditionVariableException, DiscoveryException>);
static_assert(kNotCopied<Mutex, MutexLock, ConditionVariable, ConditionAttributes, EventFd, Thread,
                         AtThreadExitListener, LogStream, LibUsbThread>);
static_assert(std::is_base_of_v<VirtualBase, LogRaw> && std::is_base_of_v<LogRaw, LogHandler>);
static_assert(std::is_base_of_v<LogHandler, OStreamLogHandler>);
static_assert(std::is_base_of_v<VirtualBase, AtThreadExitListener> &&
              !std::is_base_of_v<VirtualBase, Thread>);
static_assert(!std::is_abstract_v<VirtualBase> && std::is_abstract_v<LogRaw> &&
              std::is_abstract_v<LogHandler>);
static_assert(std::is_abstract_v<Thread> && std::is_abstract_v<AtThreadExitListener>);
static_assert(!std::is_polymorphic_v<Log> && !std::is_polymorphic_v<LogStream>);
static_assert(std::is_base_of_v<std::exception, MutexException> &&
              !std::is_base_of_v<std::runtime_error, MutexException>);
static_assert(std::is_base_of_v<std::exception, ThreadException> &&
              !std::is_base_of_v<std::runtime_error, ThreadException>);
static_assert(std::is_base_of_v<std::exception, ConditionVariableException> &&
              !std::is_base_of_v<std::runtime_error, ConditionVariableException>);
static_assert(std::is_base_of_v<std::runtime_error, DiscoveryException>);

} // namespace
