#include "host/report/Visit.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace zebhost {
namespace {

constexpr double kReturnUs = 10e6;
constexpr std::string_view kAskedLine = "Asking AAP device to switch to accessory mode";
constexpr std::string_view kShakenLine = "Setting AAP timer.";

struct StageText {
    std::string_view name;
    const char* label;
    const char* note;
};

constexpr StageText kStages[] = {
    {"offer", "Recognise", "the host looks at the device and offers it to the plug-in"},
    {"strings", "Hand-shake", "the protocol version and six strings, one transfer after the other"},
    {"switch", "Pause", "the plug-in lets the phone be before it asks for the switch"},
    {"left", "Leave", "the phone takes the request and leaves the bus"},
    {"back", "Restart", "the phone is away, and comes back as an accessory"},
    {"published", "Announce", "the device is recognised, and its entity shown to clients"},
    {"command", "Command", "until the command is there by which a client connects"},
};

constexpr char kLinkNote[] = "until the network that the phone shares has an address on this machine";

/** The first log line of the plug-in, at or after a time, that has this text. */
const TracedLine* logLine(const Visit& visit, std::string_view text, double from = 0) {
    auto found = std::find_if(visit.lines.begin(), visit.lines.end(), [=](const TracedLine& line) {
        return line.at >= from && line.is("log") && line.text("text") == text;
    });
    return found == visit.lines.end() ? nullptr : &*found;
}

const TracedSpan* transfer(const Visit& visit, std::string_view name, double from = 0) {
    auto found = std::find_if(visit.spans.begin(), visit.spans.end(), [=](const TracedSpan& span) {
        return span.begin >= from && span.category == "transfer" && span.name.starts_with(name);
    });
    return found == visit.spans.end() ? nullptr : &*found;
}

/** When the last string was sent: as its transfer tells, or else the plug-in's log. */
std::optional<double> stringsSent(const Visit& visit) {
    const TracedSpan* last = transfer(visit, "string 5");
    if (last != nullptr && last->result.value("status", "") == "completed")
        return last->end;
    const TracedLine* line = last == nullptr ? logLine(visit, kShakenLine) : nullptr;
    return line != nullptr ? std::optional(line->at) : std::nullopt;
}

/** When it was first asked to switch, at or after a time. */
std::optional<double> switchAsked(const Visit& visit, double from = 0) {
    if (const TracedSpan* request = transfer(visit, "switch", from))
        return request->begin;
    const TracedLine* line = logLine(visit, kAskedLine, from);
    return line != nullptr ? std::optional(line->at) : std::nullopt;
}

bool isAccessoryDevice(const TracedLine& line) {
    std::string product = line.text("product");
    return line.text("vendor") == "18d1" && product >= "2d00" && product <= "2d05";
}

/** Is the phone back that was asked to switch? Once for each time that it was asked. */
bool isReturn(const Visit& visit, const TracedLine& plugged) {
    auto last = std::find_if(visit.lines.rbegin(), visit.lines.rend(),
                             [](const TracedLine& line) { return line.is("device", "add"); });
    return last != visit.lines.rend() && switchAsked(visit, last->at) && isAccessoryDevice(plugged) &&
           plugged.at - visit.end <= kReturnUs;
}

std::optional<double> timeOf(const TracedLine* line) {
    return line != nullptr ? std::optional(line->at) : std::nullopt;
}

void takeLine(Visit& visit, const TracedLine& line) {
    if (line.is("device"))
        visit.isPlugged = line.is("device", "add");
    visit.lines.push_back(line);
    visit.end = std::max(visit.isPlugged ? visit.end : 0, line.at);
}

} // namespace

const TracedLine* Visit::line(const char* event, const char* action, double from) const {
    auto found = std::find_if(lines.begin(), lines.end(), [=](const TracedLine& candidate) {
        return candidate.at >= from && candidate.is(event, action);
    });
    return found == lines.end() ? nullptr : &*found;
}

std::vector<TracedSpan> Visit::transfers() const {
    std::vector<TracedSpan> found;
    std::copy_if(spans.begin(), spans.end(), std::back_inserter(found),
                 [](const TracedSpan& span) { return span.category == "transfer"; });
    return found;
}

const TracedLine* Visit::command() const {
    auto found = std::find_if(lines.begin(), lines.end(), [](const TracedLine& candidate) {
        return candidate.is("value") && candidate.text("key") == "zebcmd" && !candidate.text("value").empty();
    });
    return found == lines.end() ? nullptr : &*found;
}

std::vector<Visit::Milestone> Visit::milestones() const {
    std::optional<double> asked = switchAsked(*this);
    const TracedLine* left = asked ? line("device", "remove", *asked) : nullptr;
    const TracedLine* back = left != nullptr ? line("device", "add", left->at) : nullptr;
    const std::pair<const char*, std::optional<double>> all[] = {
        {"plug", begin},
        {"interest", timeOf(line("interest"))},
        {"offer", timeOf(line("offer"))},
        {"strings", stringsSent(*this)},
        {"switch", asked},
        {"left", timeOf(left)},
        {"back", timeOf(back)},
        {"published", timeOf(line("entity", "published"))},
        {"command", timeOf(command())},
    };
    std::vector<Milestone> found;
    for (const auto& [name, at] : all) {
        if (at)
            found.push_back({name, *at});
    }
    return found;
}

std::vector<Visit::Stage> Visit::stages() const {
    std::vector<Stage> found;
    double from = begin;
    for (const Milestone& milestone : milestones()) {
        bool isLink = std::string_view(milestone.name) == "command" && !isAccessory();
        auto text =
            std::find_if(std::begin(kStages), std::end(kStages),
                         [&milestone](const StageText& stage) { return stage.name == milestone.name; });
        if (text == std::end(kStages))
            continue;
        found.push_back({milestone.name, isLink ? "Network" : text->label, isLink ? kLinkNote : text->note,
                         from, milestone.at});
        from = milestone.at;
    }
    if (command() == nullptr && end > from)
        found.push_back({"open", "No result", "nothing that leads on was seen", from, end});
    return found;
}

bool Visit::isAccessory() const {
    const TracedLine* interest = line("interest");
    std::string description = interest != nullptr ? interest->text("description") : "";
    return description == "105" || description == "106";
}

bool Visit::hasLeftAsAsked() const {
    std::optional<double> asked = switchAsked(*this);
    return asked && line("device", "remove", *asked) != nullptr;
}

std::vector<Visit> visitsOf(const TracedTrack& track) {
    std::vector<Visit> visits;
    auto span = track.spans.begin();
    // Spans before the line that comes after them: whether a phone was asked to switch is known when it is
    // back.
    auto takeSpans = [&](double until) {
        for (; span != track.spans.end() && span->begin < until; ++span) {
            if (visits.empty())
                continue;
            visits.back().spans.push_back(*span);
            if (visits.back().isPlugged)
                visits.back().end = std::max(visits.back().end, span->end.value_or(span->begin));
        }
    };
    for (const TracedLine& line : track.lines) {
        takeSpans(line.at);
        bool isAdd = line.is("device", "add");
        if (isAdd && (visits.empty() || !isReturn(visits.back(), line)))
            visits.push_back({track.name, line.at, line.at, true, {}, {}});
        if (!visits.empty())
            takeLine(visits.back(), line);
    }
    takeSpans(std::numeric_limits<double>::infinity());
    return visits;
}

} // namespace zebhost
