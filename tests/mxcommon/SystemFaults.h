#pragma once

#include "tests/mxcommon/Thrown.h"

#include <atomic>
#include <climits>
#include <ctime>
#include <optional>
#include <pthread.h>
#include <string>
#include <sys/types.h>
#include <vector>

// System calls of the code under test, recorded and failed on demand: the program is
// linked with --wrap for each of them. Faults, counts and the record belong to the
// calling thread and are those of the time since the last reset, so that the test
// framework's own calls in between neither fail nor count.
namespace faults {

enum Call {
    kPthreadCreate,
    kPthreadJoin,
    kPthreadKeyCreate,
    kPthreadKeyDelete,
    kPthreadSetspecific,
    kPthreadMutexattrInit,
    kPthreadMutexattrSettype,
    kPthreadMutexInit,
    kPthreadMutexDestroy,
    kPthreadMutexLock,
    kPthreadMutexUnlock,
    kPthreadCondattrInit,
    kPthreadCondattrSetclock,
    kPthreadCondattrDestroy,
    kPthreadCondInit,
    kPthreadCondDestroy,
    kPthreadCondSignal,
    kPthreadCondWait,
    kPthreadCondTimedwait,
    kClockGettime,
    kGettimeofday,
    kPipe,
    kFcntlGet,
    kFcntlSet,
    kClose,
    kSnprintf,
    kVsnprintf,
    kRead,
    kWrite,
    kMemory,
    kCallCount
};

/** Is told of a call before it is made, with the object that it is about: a wait with its mutex. */
class Watcher {
public:
    virtual ~Watcher() = default;
    virtual void about(Call call, const void* object) = 0;
};

/** Destroyed by nobody: threads that end still make calls. */
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
    /** Waits end at once, for no reason. */
    bool wakesSpuriously = false;
    /** Who the caller is; the real thread while not set. */
    std::optional<pthread_t> self;
    /** The most bytes that one write takes. */
    size_t writeLimit = 0;
    /** The last pipe that was made on this thread. */
    int ends[2] = {-1, -1};
    /** What F_GETFL tells besides the flags that there are, and what F_SETFL got last. */
    int flagsToo = 0;
    int flagsSet = 0;
    Watcher* pWatcher = nullptr;

    /** The first calls, in order; see calls(). */
    struct {
        char text[44];
    } notes[80] = {};
    int noteCount = 0;
    /** What the notes number. */
    struct {
        const char* kind;
        const void* object;
    } objects[16] = {};
};

State& state();

/** What prctl ends with on every thread. */
extern std::atomic<int> prctlError;

/** Write a call into this thread's record: "call object", with a number if there is one. Needs no memory. */
void note(const char* call, const char* object = "", int number = 0);

/** The same with the object's number among those of its kind that this record has met: m1, m2, c1, t1. */
void noteObject(const char* call, const char* kind, const void* object);

/** For what stands for a system call: count it; its error number when it is to fail, else 0. */
int entered(Call call, const void* object = nullptr);

/** The same for calls that return -1 and set errno. */
bool failed(Call call);

/** Which end of the last pipe that was made on this thread. */
const char* endOf(int fd);

/** This thread's record: "pthread_mutex_lock m1", but nothing of memory, of which there is only the count. */
std::vector<std::string> calls();

/** Before and afterwards all faults, counts and records of this thread are as new. */
class Recording {
public:
    Recording() { state() = State(); }
    ~Recording() { state() = State(); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
};

/** The next call fails; or as many as it is told. */
inline void fail(Call call, int error, int times = 1) {
    state().fails[call] = times;
    state().error[call] = error;
}

/** A recording in which one call fails whenever it is made. */
class Failing : public Recording {
public:
    Failing(Call call, int error) { fail(call, error, INT_MAX); }
};

/** The calls that an action makes, whatever it throws. */
template <class Action>
std::vector<std::string> callsOf(Action action) {
    const Recording recording;
    thrownBy(action);
    return calls();
}

/** The same while one call fails whenever it is made. */
template <class Action>
std::vector<std::string> callsOf(Action action, Call call, int error) {
    const Failing failing(call, error);
    thrownBy(action);
    return calls();
}

} // namespace faults
