#include "mxcommon/ConditionVariable.h"

#include "mxcommon/Exceptions.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/StringUtils.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <sys/time.h>

namespace mxcommon {
namespace {

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

template <class Exception>
void throwIfFailed(int error, const char* call) {
    if (error != 0) {
        throw Exception(formatString("%s failed. %s", call, std::strerror(error)));
    }
}

timespec currentTime(bool monotonic) {
    timespec time{};
    if (monotonic) {
        const int error = ::clock_gettime(CLOCK_MONOTONIC, &time) == 0 ? 0 : errno;
        throwIfFailed<ConditionVariableException>(error, "clock_gettime");
        return time;
    }
    timeval wall{};
    ::gettimeofday(&wall, nullptr);
    time.tv_sec = wall.tv_sec;
    time.tv_nsec = wall.tv_usec * 1000;
    return time;
}

timespec later(timespec time, Clock::duration timeout) {
    const std::int64_t milliseconds = timeout.count();
    const std::int64_t nanoseconds = time.tv_nsec + milliseconds % 1000 * kNanosecondsPerMillisecond;
    const std::int64_t seconds = time.tv_sec + milliseconds / 1000 + nanoseconds / kNanosecondsPerSecond;
    // Where time_t has 32 bits, a deadline beyond its end is its end.
    constexpr std::int64_t kLastSecond = std::numeric_limits<time_t>::max();
    time.tv_sec = static_cast<time_t>(std::min(seconds, kLastSecond));
    time.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
    return time;
}

} // namespace

ConditionAttributes::ConditionAttributes() {
    throwIfFailed<std::runtime_error>(pthread_condattr_init(&mHandle), "pthread_condattr_init");
    timespec probe{};
    mMonotonic = pthread_condattr_setclock(&mHandle, CLOCK_MONOTONIC) == 0 &&
                 ::clock_gettime(CLOCK_MONOTONIC, &probe) == 0;
}

ConditionAttributes::~ConditionAttributes() { pthread_condattr_destroy(&mHandle); }

ConditionVariable::ConditionVariable() : mpAttributes(std::make_unique<ConditionAttributes>()) {
    const pthread_condattr_t* pAttributes =
        mpAttributes->isMonotonic() ? mpAttributes->nativeHandle() : nullptr;
    throwIfFailed<ConditionVariableException>(pthread_cond_init(&mHandle, pAttributes), "pthread_cond_init");
}

ConditionVariable::~ConditionVariable() { pthread_cond_destroy(&mHandle); }

void ConditionVariable::signal() {
    throwIfFailed<ConditionVariableException>(pthread_cond_signal(&mHandle), "pthread_cond_signal");
}

void ConditionVariable::wait(MutexLock& lock) {
    const int error = pthread_cond_wait(&mHandle, lock.mutex().nativeHandle());
    throwIfFailed<ConditionVariableException>(error, "pthread_cond_wait");
}

bool ConditionVariable::timedWait(MutexLock& lock, Clock::duration timeout) {
    if (timeout.count() < 1) {
        return false;
    }
    const timespec deadline = later(currentTime(mpAttributes->isMonotonic()), timeout);
    const int error = pthread_cond_timedwait(&mHandle, lock.mutex().nativeHandle(), &deadline);
    if (error == ETIMEDOUT) {
        return false;
    }
    throwIfFailed<ConditionVariableException>(error, "pthread_cond_timedwait");
    return true;
}

} // namespace mxcommon
