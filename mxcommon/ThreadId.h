#pragma once

#include <pthread.h>

namespace mxcommon {

/** Names a thread; a default one names none and equals nothing, not even itself. */
struct ThreadId {
    bool valid = false;
    pthread_t id = 0;

    static ThreadId current() { return {true, pthread_self()}; }
    bool isCurrent() const { return *this == current(); }

    friend bool operator==(const ThreadId& a, const ThreadId& b) {
        return a.valid && b.valid && a.id == b.id;
    }
    /** By id alone, for ordered sets. */
    friend bool operator<(const ThreadId& a, const ThreadId& b) { return a.id < b.id; }
};

} // namespace mxcommon
