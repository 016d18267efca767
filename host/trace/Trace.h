#pragma once

#include "host/trace/TraceArgs.h"
#include "host/trace/TraceFile.h"

#include <functional>
#include <map>
#include <mutex>

namespace zebhost {

/** A line of the picture, by the number that the trace format calls "tid". */
using Track = uint32_t;

/** The host's loop, and what belongs to no phone. */
constexpr Track kLoopTrack = 1;

/**
 * A trace in the event format that Chrome and Perfetto open: an array with an object an event, in the
 * order of their times, which are CLOCK_MONOTONIC in µs, as in the JSON lines.
 *
 * What nests on a track has begin and end; what may overlap (a transfer, a timer) has open and close,
 * told apart by a number of its own. [any-thread]
 */
class Trace {
public:
    /** Nanoseconds of CLOCK_MONOTONIC. */
    using Clock = std::function<uint64_t()>;

    Trace(std::string path, Clock clock);

    /** The track of this name; made when it is new. */
    Track track(const std::string& name);

    void begin(Track track, const char* category, std::string_view name, const std::string& args);
    void end(Track track, const std::string& args);
    void instant(Track track, const char* category, std::string_view name, const std::string& args);
    void open(Track track, const char* category, std::string_view name, uint64_t id, const std::string& args);
    void close(Track track, const char* category, std::string_view name, uint64_t id,
               const std::string& args);

    /** Why nothing more is traced; empty while all is well. */
    std::string trouble() const;
    /** The trace lacks something, and not because it is as large as one may be. */
    bool hasFailed() const;

private:
    struct What {
        char phase;
        Track track;
        const char* category;
        std::string_view name;
    };

    void write(const What& what, const std::string& more, const std::string& args);
    void nameTrack(const char* what, Track track, const std::string& name);

    mutable std::mutex mMutex;
    TraceFile mFile;
    const Clock mClock;
    const std::string mProcess;
    std::map<std::string, Track> mTracks;
};

/** The clock of a real trace. */
uint64_t monotonicNanoseconds();

} // namespace zebhost
