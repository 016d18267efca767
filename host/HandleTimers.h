#pragma once

#include "host/Discoverer.h"
#include "host/HandleWatches.h"

#include <map>

namespace zebhost {

/**
 * The timers of the plug-in's handles, one a descriptor. The plug-in may remove a handle and
 * leave its timer armed: the timer goes with the handle. It gets the handle back as a pointer to
 * a copy of the descriptor, because its own pointer may be stale by then.
 */
class HandleTimers {
public:
    HandleTimers(Loop& loop, const Discoverer& discoverer, const HandleWatches& watches, Output& output);

    /** Callback setTimerForHandle. A handle that the plug-in has just added is taken on trust until
     *  the next refresh; cancelling on an unknown one changes nothing and is no violation. */
    void set(const ZEBDiscovererEventHandle* handle, ZEBDiscoverySDKTimeoutMicroseconds timeout);

    /** After the watches were refreshed: drop the timers of handles that are not listed any more, and
     *  report those that never were. */
    void refresh();

    void clear() { mTimers.clear(); }

private:
    struct Armed {
        Timer timer;
        bool trusted;
    };

    void expired(int descriptor) const;

    Loop& mLoop;
    const Discoverer& mDiscoverer;
    const HandleWatches& mWatches;
    Output& mOutput;
    std::map<int, Armed> mTimers;
};

} // namespace zebhost
