#pragma once

#include "host/report/TraceReading.h"

namespace zebhost {

/** A phone at its port, from the plug until it is gone for good: when it is asked to switch and comes back as
 * an accessory, it is the same visit. */
struct Visit {
    /** Something that happened once, by its name in the report. */
    struct Milestone {
        const char* name;
        double at;
    };
    /** What lies between two milestones; it is called after what it leads to. */
    struct Stage {
        std::string name;
        std::string label;
        std::string note;
        double begin;
        double end;
    };

    std::string port;
    double begin = 0;
    /** When it was unplugged, or the last that is known of it. */
    double end = 0;
    bool isPlugged = true;
    std::vector<TracedLine> lines;
    std::vector<TracedSpan> spans;

    /** The first line that is this, at or after a time. Null: there is none. */
    const TracedLine* line(const char* event, const char* action = "", double from = 0) const;
    /** The transfers, in order. */
    std::vector<TracedSpan> transfers() const;
    /** The command by which it can be reached. Null: there is none. */
    const TracedLine* command() const;

    std::vector<Milestone> milestones() const;
    std::vector<Stage> stages() const;
    /** Is it, or was it to become, an accessory? Otherwise it shares its network, or is nothing of ours. */
    bool isAccessory() const;
    /** It was asked to switch, and left. */
    bool hasLeftAsAsked() const;
};

/** The visits to the port of a track. */
std::vector<Visit> visitsOf(const TracedTrack& track);

} // namespace zebhost
