#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace zebhost {

// A trace as a report reads it. Times are µs of the trace's clock.

/** A line of the run; its members are those of the JSON line. */
struct TracedLine {
    double at;
    nlohmann::json members;

    std::string text(const char* member) const {
        auto found = members.find(member);
        return found != members.end() && found->is_string() ? found->get<std::string>() : "";
    }
    bool is(const char* event, const char* action = "") const {
        return text("event") == event && (*action == '\0' || text("action") == action);
    }
};

/** What lasts: a call into the plug-in, a transfer, a timer, a wait. Without an end it was open to the last.
 */
struct TracedSpan {
    std::string category;
    std::string name;
    double begin;
    std::optional<double> end;
    /** What was told at its begin, and at its end. */
    nlohmann::json args;
    nlohmann::json result;
    /** How many calls it was made inside of. */
    int depth;

    double length(double last) const { return end.value_or(last) - begin; }
};

struct TracedTrack {
    std::string name;
    std::vector<TracedLine> lines;
    std::vector<TracedSpan> spans;
};

struct ReadTrace {
    /** What the trace says of itself: format, program, utc. */
    nlohmann::json about;
    double first = 0;
    double last = 0;
    /** In the order in which they appeared; the first is the loop's. */
    std::vector<TracedTrack> tracks;
};

/** Throws HostError when the file is none or no trace of this program. */
ReadTrace readTrace(const std::string& path);

} // namespace zebhost
