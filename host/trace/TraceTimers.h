#pragma once

#include "host/trace/Trace.h"

#include <map>
#include <string>
#include <vector>

namespace zebhost {

/** The plug-in's timers: each is open from when it is armed until it expires, is cancelled, armed again,
 *  or goes with its owner. [host-thread] */
class TraceTimers {
public:
    explicit TraceTimers(Trace& trace) : mTrace(trace) {}

    /** name says whose it is, and tells timers apart. Microseconds; less than 0 cancels. */
    void set(const std::string& name, Track track, int64_t microseconds);
    void expired(const std::string& name) { end(name, "expired"); }
    /** The timer's owner is no more; none need be armed. */
    void dropped(const std::string& name) { end(name, "dropped"); }

    /** Drop those timers of descriptors that are not among these. */
    void keepDescriptors(const std::vector<int>& descriptors);

    static std::string ofEntity(uint32_t number) { return "timer of entity #" + std::to_string(number); }
    static std::string ofDescriptor(int descriptor) { return kOfDescriptor + std::to_string(descriptor); }

private:
    struct Armed {
        Track track;
        uint64_t id;
    };

    void end(const std::string& name, const char* how);

    static constexpr char kCategory[] = "timer";
    static inline const std::string kOfDescriptor = "timer of descriptor ";

    Trace& mTrace;
    std::map<std::string, Armed> mArmed;
    uint64_t mLastId = 0;
};

} // namespace zebhost
