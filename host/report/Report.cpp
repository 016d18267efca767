#include "host/report/Report.h"

#include "host/Plugin.h"
#include "host/Replacement.h"
#include "host/report/Drawing.h"
#include "host/report/Pages.h"
#include "host/report/Template.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>

namespace zebhost {
namespace {

using Json = nlohmann::json;

constexpr size_t kLongestCalls = 5;

std::string seconds(double microseconds) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.3f", microseconds / 1e6);
    return text.data();
}

std::string interestText(const TracedLine& line) {
    int level = line.members.value("level", 100);
    std::string of = line.text("description") == "103"   ? ", it shares its network"
                     : line.text("description") == "105" ? ", it may be switched to accessory mode"
                     : line.text("description") == "106" ? ", it is in accessory mode"
                                                         : "";
    return level >= 100 ? "the plug-in does not want it"
                        : "the plug-in wants it, level " + std::to_string(level) + of;
}

/** The values of a line in their order, but for those that are told elsewhere. */
std::string otherText(const TracedLine& line) {
    std::string text;
    for (const auto& [name, value] : line.members.items()) {
        bool isElsewhere =
            name == "time_us" || name == "event" || name == "bus" || name == "device" || name == "port";
        if (!isElsewhere)
            text += (text.empty() ? "" : ", ") + name + " " +
                    (value.is_string() ? value.get<std::string>() : value.dump());
    }
    return text;
}

/** The host's own account of the stages, in their order. */
std::string storyText(const TracedLine& line) {
    std::vector<std::pair<double, std::string>> stages;
    Json told = line.members.value("stages_us", Json::object());
    for (const auto& [name, us] : told.items())
        stages.emplace_back(us, name);
    std::sort(stages.begin(), stages.end());
    std::string text = line.text("kind");
    for (const auto& [us, name] : stages)
        text += ", " + name + " after " + duration(us);
    return text;
}

std::string lineText(const TracedLine& line) {
    if (line.is("device"))
        return (line.is("device", "add") ? "plugged in: " : "unplugged: ") + line.text("name");
    if (line.is("verdict"))
        return std::string(line.members.value("offered", false) ? "offered: " : "kept from the plug-in: ") +
               line.text("reason");
    if (line.is("interest"))
        return interestText(line);
    if (line.is("entity"))
        return "#" + line.members.value("id", Json()).dump() + " " + line.text("action");
    if (line.is("value"))
        return line.text("key") + " = " + (line.text("value").empty() ? "(none)" : line.text("value"));
    if (line.is("story"))
        return storyText(line);
    if (line.is("offer"))
        return "given to the plug-in";
    return line.text("text").empty() ? otherText(line) : line.text("text");
}

Json logOf(const std::vector<TracedLine>& lines, double origin) {
    Json log = Json::array();
    for (const TracedLine& line : lines) {
        bool isBad = line.is("violation") || line.is("advice") ||
                     (line.is("log") && line.members.value("severity", 100) <= 10);
        log.push_back({{"at", seconds(line.at - origin)},
                       {"event", line.text("event")},
                       {"text", lineText(line)},
                       {"bad", isBad}});
    }
    return log;
}

Json stageTable(const Visit& visit) {
    std::vector<Visit::Stage> stages = visit.stages();
    double total = stages.empty() ? 0 : stages.back().end - visit.begin;
    double longest = 0;
    for (const Visit::Stage& stage : stages)
        longest = std::max(longest, stage.end - stage.begin);
    Json rows = Json::array();
    for (const Visit::Stage& stage : stages) {
        double length = stage.end - stage.begin;
        rows.push_back({{"name", stage.name},
                        {"label", stage.label},
                        {"note", stage.note},
                        {"from", seconds(stage.begin - visit.begin)},
                        {"length", duration(length)},
                        {"us", std::llround(length)},
                        {"share", total > 0 ? std::llround(100 * length / total) : 0},
                        {"longest", length == longest}});
    }
    return rows;
}

Json transferTable(const Visit& visit) {
    std::vector<TracedSpan> transfers = visit.transfers();
    double longest = 1;
    for (const TracedSpan& transfer : transfers)
        longest = std::max(longest, transfer.length(visit.end));
    Json rows = Json::array();
    for (const TracedSpan& transfer : transfers) {
        double length = transfer.length(visit.end);
        Json protocol = transfer.result.value("protocol", Json());
        rows.push_back(
            {{"number", rows.size() + 1},
             {"name", transfer.name},
             {"text", protocol.is_null() ? transfer.args.value("text", "") : "version " + protocol.dump()},
             {"at", seconds(transfer.begin - visit.begin)},
             {"length", duration(length)},
             {"us", std::llround(length)},
             {"bar", std::llround(100 * length / longest)},
             {"status", transfer.result.value("status", "under way")},
             {"bad", transfer.result.value("status", "") != "completed"}});
    }
    return rows;
}

/** Why a visit came to nothing, as far as that is known. */
std::string whyNot(const Visit& visit) {
    const TracedLine* verdict = visit.line("verdict");
    if (verdict != nullptr && !verdict->members.value("offered", false))
        return "Never offered to the plug-in: " + verdict->text("reason") + ".";
    for (const TracedLine& line : visit.lines) {
        if (line.is("advice") && line.text("topic") == "switch-limit")
            return "Left alone: " + line.text("text") + ".";
    }
    const TracedLine* interest = visit.line("interest");
    if (interest != nullptr && interest->members.value("level", 100) >= 100)
        return "The plug-in has no interest in it.";
    std::vector<TracedSpan> transfers = visit.transfers();
    if (!transfers.empty() && transfers.back().result.value("status", "") != "completed")
        return "The hand-shake ended with “" + transfers.back().name +
               "”: " + transfers.back().result.value("status", "no answer yet") + ".";
    if (visit.hasLeftAsAsked())
        return "It left when it was asked to switch, and did not come back as an accessory.";
    return visit.isPlugged ? "Nothing had come of it when the trace ended."
                           : "It was unplugged before anything came of it.";
}

Json phoneView(const Visit& visit, size_t number) {
    const TracedLine* first = visit.line("device", "add");
    const TracedLine* command = visit.command();
    const TracedLine* verdict = visit.line("verdict");
    std::vector<Visit::Stage> stages = visit.stages();
    auto longest = std::max_element(stages.begin(), stages.end(), [](const auto& a, const auto& b) {
        return a.end - a.begin < b.end - b.begin;
    });
    Json view = {{"number", number},
                 {"name", first->text("name")},
                 {"port", visit.port},
                 {"ids", first->text("vendor") + ":" + first->text("product")},
                 {"verdict", verdict != nullptr ? lineText(*verdict) : ""},
                 {"done", command != nullptr},
                 {"why", whyNot(visit)},
                 {"timeline", drawTimeline(visit)},
                 {"stages", stageTable(visit)},
                 {"transfers", transferTable(visit)},
                 {"hasTransfers", !visit.transfers().empty()},
                 {"noTransfers", visit.transfers().empty() && visit.line("entity", "added") != nullptr},
                 {"log", logOf(visit.lines, visit.begin)}};
    if (command != nullptr) {
        view["command"] = command->text("value");
        view["total"] = duration(command->at - visit.begin);
        view["total_us"] = std::llround(command->at - visit.begin);
        view["way"] = visit.isAccessory() ? "as an accessory" : "over the network it shares";
    }
    if (command != nullptr && longest != stages.end()) {
        double all = stages.back().end - visit.begin;
        view["longest"] = {{"label", longest->label},
                           {"length", duration(longest->end - longest->begin)},
                           {"share", std::llround(100 * (longest->end - longest->begin) / all)},
                           {"note", longest->note}};
    }
    if (visit.isAccessory() && command != nullptr)
        view["budget"] = drawBudget(visit);
    return view;
}

Json strangerView(const Visit& visit) {
    const TracedLine* first = visit.line("device", "add");
    return {{"name", first->text("name")},
            {"ids", first->text("vendor") + ":" + first->text("product")},
            {"why", whyNot(visit)}};
}

/** To a pipe, or another thing that can't be replaced. */
void writeThrough(const std::string& page, const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << page).flush())
        throw HostError("the report " + path + " can't be written: " + std::strerror(errno));
}

bool isPhone(const Visit& visit) { return visit.line("offer") != nullptr; }

std::vector<const TracedSpan*> callsOf(const ReadTrace& trace) {
    std::vector<const TracedSpan*> calls;
    for (const TracedTrack& track : trace.tracks) {
        for (const TracedSpan& span : track.spans) {
            if (span.category == "call" && span.depth == 0)
                calls.push_back(&span);
        }
    }
    return calls;
}

/** How much the host's thread spent in the plug-in, and where it spent it. */
Json hostView(const ReadTrace& trace) {
    std::vector<const TracedSpan*> calls = callsOf(trace);
    double inside = 0;
    for (const TracedSpan* call : calls)
        inside += call->length(trace.last);
    std::stable_sort(calls.begin(), calls.end(), [&trace](const TracedSpan* a, const TracedSpan* b) {
        return a->length(trace.last) > b->length(trace.last);
    });
    Json rows = Json::array();
    for (size_t i = 0; i < std::min(calls.size(), kLongestCalls); ++i)
        rows.push_back({{"name", calls[i]->name},
                        {"at", seconds(calls[i]->begin - trace.first)},
                        {"length", duration(calls[i]->length(trace.last))}});
    return {{"calls", calls.size()}, {"inside", duration(inside)}, {"longest", rows}};
}

Json pageView(const ReadTrace& trace) {
    Json phones = Json::array();
    Json strangers = Json::array();
    for (const TracedTrack& track : trace.tracks) {
        for (const Visit& visit : visitsOf(track)) {
            if (isPhone(visit))
                phones.push_back(phoneView(visit, phones.size() + 1));
            else if (visit.line("device", "add") != nullptr)
                strangers.push_back(strangerView(visit));
        }
    }
    Json view = {{"about", trace.about},
                 {"length", duration(trace.last - trace.first)},
                 {"count", phones.size()},
                 {"isOne", phones.size() == 1},
                 {"severalPhones", phones.size() > 1},
                 {"phones", std::move(phones)},
                 {"strangers", std::move(strangers)},
                 {"host", hostView(trace)}};
    if (!trace.tracks.empty())
        view["hostLog"] = logOf(trace.tracks.front().lines, trace.first);
    return view;
}

} // namespace

std::string reportPage(const std::string& tracePath) try {
    Json view = pageView(readTrace(tracePath));
    // The style is ours and goes in as it is: between it and the page no value is filled in.
    std::string page = kPageHead;
    return page.append(kPageStyle).append(render(kPageBody, view));
} catch (const Json::exception&) {
    throw HostError(tracePath +
                    " is no trace of zebhost's: what its lines hold is not as \"zebhost run --trace\" "
                    "writes it");
}

void writeReport(const std::string& tracePath, const std::string& path) {
    std::string page = reportPage(tracePath);
    if (isNoRegularFile(path))
        return writeThrough(page, path);
    Replacement file(path, "report");
    // The last of it is written now, or is known to be missing.
    if (!writeWhole(file.descriptor(), page) || fsync(file.descriptor()) != 0)
        file.fail();
    close(file.takePlace());
}

} // namespace zebhost
