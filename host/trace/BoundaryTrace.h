#pragma once

#include "host/trace/Owners.h"
#include "host/trace/TraceTimers.h"

#include <thread>

namespace zebhost {

/**
 * What the calls across the boundary tell: where each goes, what it opens and which timers it touches.
 *
 * A call goes to the track of the phone that its arguments name; one that names none goes where the
 * call goes that it is made from. Callbacks of another thread get a track of their own.
 */
class BoundaryTrace {
public:
    explicit BoundaryTrace(Trace& trace) : mTrace(trace), mOwners(trace), mTimers(trace) {}

    Owners& owners() { return mOwners; }

    /** A call begins. owner is 0 when its arguments name no phone. [any-thread] */
    Track enter(const char* category, std::string_view name, Track owner, const TraceArgs& args);
    void leave(Track track, const TraceArgs& result);

    /** Where a call goes that names no phone. [any-thread] */
    Track current();

    // What single slots do besides, with the slot's arguments.
    static void announced(BoundaryTrace& self, void*, ZEBDiscoverer*, ZEBDiscovererEntity* entity);
    static void discovererTimer(BoundaryTrace& self, void*, ZEBDiscoverer*, int32_t us);
    static void entityTimer(BoundaryTrace& self, void*, ZEBDiscovererEntity* entity, int32_t us);
    static void handleTimer(BoundaryTrace& self, void*, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle,
                            int32_t us);
    static void discovererTimeout(BoundaryTrace& self, ZEBDiscoverer*);
    static void entityTimeout(BoundaryTrace& self, ZEBDiscoverer*, ZEBDiscovererEntity* entity);
    static void handleTimeout(BoundaryTrace& self, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle);
    static void destroyed(BoundaryTrace& self, ZEBDiscoverer*, ZEBDiscovererEntity* entity);
    static void listed(BoundaryTrace& self, ZEBDiscovererEventHandle* handles);

private:
    bool isHostThread() const { return std::this_thread::get_id() == mThread; }

    Trace& mTrace;
    Owners mOwners;
    TraceTimers mTimers;
    const std::thread::id mThread = std::this_thread::get_id();
    /** The tracks of the calls that run, the innermost last. */
    std::vector<Track> mRunning;
    std::vector<int> mListed;
};

/** A call during which the plug-in may open descriptors: those new at its end are the phone's. */
class OpeningCall {
public:
    OpeningCall(BoundaryTrace& trace, Track track) :
        mTrace(trace), mTrack(track), mBefore(openDescriptors()) {}
    ~OpeningCall() { mTrace.owners().opened(mBefore, openDescriptors(), mTrack); }
    OpeningCall(const OpeningCall&) = delete;
    OpeningCall& operator=(const OpeningCall&) = delete;

private:
    BoundaryTrace& mTrace;
    const Track mTrack;
    const std::set<int> mBefore;
};

} // namespace zebhost
