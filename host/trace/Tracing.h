#pragma once

#include "host/Loop.h"
#include "host/Output.h"
#include "host/trace/BoundaryTrace.h"
#include "host/trace/Transfers.h"

namespace zebhost {

struct TraceOptions {
    /** Where the trace goes. */
    std::string path;
    /** The tap; empty: the one beside this program. */
    std::string tap;
};

/**
 * A trace of a run: everything that crosses the boundary, every line, every transfer, and when the loop
 * waits. Make it before the plug-in is loaded; it must outlive the plug-in, and output and loop
 * this. One at a time in a process.
 */
class Tracing {
public:
    Tracing(const TraceOptions& options, Output& output, Loop& loop,
            Trace::Clock clock = monotonicNanoseconds);
    ~Tracing();
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;

    /** An entry function that does what real does, and is traced. */
    ZEBDiscovererInitializeFunction around(ZEBDiscovererInitializeFunction real);

    /** Before each wait: say so, once, when transfers can't be seen or the trace not be written any more. */
    void check();

    /** Why the trace is not whole; empty when it is, or is as large as one may be. */
    std::string failure() const { return mTrace.hasFailed() ? mTrace.trouble() : ""; }

private:
    void line(uint64_t timeUs, const Event& event);
    Track trackOf(const Event& event);
    void say(const std::string& text);

    Output& mOutput;
    Loop& mLoop;
    Trace mTrace;
    BoundaryTrace mBoundary{mTrace};
    Transfers mTransfers;
    std::string mUntold = mTransfers.trouble();
    bool mHasComplained = false;
};

} // namespace zebhost
