#pragma once

#include <climits>
#include <ctime>
#include <optional>
#include <pthread.h>
#include <sys/types.h>

// System calls of the code under test, failed on demand: the program is linked with
// --wrap for each of them. Faults and counts belong to the calling thread and are
// those of the time since the last reset, so that the test framework's own calls in
// between neither fail nor count.
namespace faults {

enum Call {
    kPthreadCreate,
    kPthreadJoin,
    kPthreadKeyCreate,
    kPthreadSetspecific,
    kPthreadMutexInit,
    kPthreadMutexDestroy,
    kPthreadMutexLock,
    kPthreadMutexUnlock,
    kPthreadCondattrInit,
    kPthreadCondattrSetclock,
    kPthreadCondattrDestroy,
    kPthreadCondInit,
    kPthreadCondSignal,
    kPthreadCondWait,
    kPthreadCondTimedwait,
    kClockGettime,
    kGettimeofday,
    kPipe,
    kFcntlGet,
    kFcntlSet,
    kVsnprintf,
    kWrite,
    kMemory,
    kCallCount
};

struct State {
    /** How many calls are to fail, and with which error number. */
    int fails[kCallCount] = {};
    int error[kCallCount] = {};
    int count[kCallCount] = {};

    /** What clock_gettime and gettimeofday tell; the real time while not set. */
    bool hasTime = false;
    timespec time{};
    /** The last deadline of pthread_cond_timedwait. */
    timespec deadline{};
    /** Whether the last pthread_cond_init got attributes. */
    bool hadAttributes = false;
    /** Waits end at once, for no reason. */
    bool wakesSpuriously = false;
    /** Who the caller is; the real thread while not set. */
    std::optional<pthread_t> self;
    /** The most bytes that one write takes. */
    size_t writeLimit = 0;
};

State& state();

/** One call fails for as long as this lives; before and afterwards all faults and counts are as new. */
class Failing {
public:
    Failing(Call call, int error) {
        state() = State();
        state().fails[call] = INT_MAX;
        state().error[call] = error;
    }
    ~Failing() { state() = State(); }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
};

} // namespace faults
