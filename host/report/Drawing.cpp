#include "host/report/Drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace zebhost {
namespace {

using Json = nlohmann::json;

// Units of the drawings; the page scales them. The labels of the lanes stand left of kLeft.
constexpr double kLeft = 96;
constexpr double kWidth = 1000;
constexpr double kLeastBar = 2.5;
constexpr double kLetter = 6.6;
constexpr double kMostTicks = 9;
// What stands closer together shares a label.
constexpr double kClose = 74;
constexpr double kCloseTransfers = 12;

constexpr int kFirstLane = 28;
constexpr int kLaneHeight = 24;
constexpr int kLaneGap = 8;

constexpr double kStrictBudgetUs = 6e6;
constexpr double kAndroidBudgetUs = 10e6;

std::string decimal(double number, int digits = 1) {
    std::array<char, 48> text;
    std::snprintf(text.data(), text.size(), "%.*f", digits, number);
    return text.data();
}

/** Without trailing zeros. */
std::string plain(double number) {
    std::array<char, 48> text;
    std::snprintf(text.data(), text.size(), "%g", number);
    return text.data();
}

/** From times to places. */
struct Scale {
    double begin;
    double length;

    double x(double at) const { return kLeft + std::clamp((at - begin) / length, 0.0, 1.0) * kWidth; }
    /** A bar with place for a text if it is wide enough. */
    Json bar(double from, double to, const std::string& text) const {
        double left = x(from);
        double width = std::max(x(to) - left, kLeastBar);
        Json drawn = {{"x", decimal(left)},
                      {"w", decimal(width)},
                      {"middle", decimal(left + width / 2)},
                      {"right", decimal(left + width)}};
        if (width > static_cast<double>(text.size()) * kLetter + 8)
            drawn["text"] = text;
        return drawn;
    }
};

Json drawTicks(const Scale& scale) {
    double step = 1;
    for (int i = 0; scale.length / step > kMostTicks; ++i) // 1, 2, 5, 10, ...
        step *= i % 3 == 1 ? 2.5 : 2;
    Json ticks = Json::array();
    for (double at = 0; at <= scale.length; at += step)
        ticks.push_back({{"x", decimal(scale.x(scale.begin + at))},
                         {"text", at == 0               ? "0"
                                  : scale.length >= 1e6 ? plain(at / 1e6) + " s"
                                                        : plain(at / 1e3) + " ms"}});
    return ticks;
}

/** Milestones, those that would overlap under one label. */
Json drawMilestones(const Visit& visit, const Scale& scale) {
    Json drawn = Json::array();
    double groupAt = -kClose;
    for (const Visit::Milestone& milestone : visit.milestones()) {
        double x = scale.x(milestone.at);
        if (x - groupAt < kClose) {
            drawn.back()["text"] = drawn.back()["text"].get<std::string>() + " · " + milestone.name;
        } else {
            groupAt = x;
            bool atTheEnd = x > kLeft + 0.75 * kWidth;
            drawn.push_back({{"x", decimal(x)},
                             {"text", milestone.name},
                             {"anchor", atTheEnd ? "end" : "start"},
                             {"textX", decimal(atTheEnd ? x - 5 : x + 5)}});
        }
        drawn.back()["ticks"].push_back(decimal(x));
    }
    return drawn;
}

Json drawStages(const Visit& visit, const Scale& scale) {
    Json drawn = Json::array();
    for (const Visit::Stage& stage : visit.stages()) {
        Json bar = scale.bar(stage.begin, stage.end, stage.label);
        bar["class"] = "stage " + stage.name;
        bar["title"] = stage.label + ": " + duration(stage.end - stage.begin);
        drawn.push_back(std::move(bar));
    }
    return drawn;
}

/** The device on the bus, under each of its ids. */
Json drawBus(const Visit& visit, const Scale& scale) {
    Json drawn = Json::array();
    const TracedLine* present = nullptr;
    auto draw = [&](double until) {
        std::string ids = present->text("vendor") + ":" + present->text("product");
        drawn.push_back(scale.bar(present->at, until, ids));
        drawn.back()["class"] = "bus";
        drawn.back()["title"] = "on the bus as " + ids + " for " + duration(until - present->at);
    };
    for (const TracedLine& line : visit.lines) {
        if (line.is("device", "remove") && present != nullptr)
            draw(line.at);
        if (line.is("device"))
            present = line.is("device", "add") ? &line : nullptr;
    }
    if (present != nullptr)
        draw(visit.end);
    return drawn;
}

std::string transferTitle(const TracedSpan& transfer, double last) {
    return transfer.name + ": " + duration(transfer.length(last)) + ", " +
           transfer.result.value("status", "under way");
}

Json drawTransfers(const Visit& visit, const Scale& scale) {
    Json drawn = Json::array();
    int groupFirst = 0;
    double lastX = -kCloseTransfers;
    for (const TracedSpan& transfer : visit.transfers()) {
        double x = scale.x(transfer.begin);
        std::string number = std::to_string(drawn.size() + 1);
        bool joins = x - lastX < kCloseTransfers;
        if (joins)
            drawn.back().erase("beside");
        else
            groupFirst = static_cast<int>(drawn.size()) + 1;
        drawn.push_back(scale.bar(transfer.begin, transfer.end.value_or(visit.end), ""));
        bool isGood = transfer.result.value("status", "") == "completed";
        drawn.back()["class"] = isGood ? "transfer" : "transfer failed";
        drawn.back()["title"] = transferTitle(transfer, visit.end);
        drawn.back()["beside"] = joins ? std::to_string(groupFirst) + "–" + number : number;
        lastX = x;
    }
    return drawn;
}

/** Spans of a kind; only one of a call's, not what it calls in its turn. */
Json drawSpans(const Visit& visit, const Scale& scale, const std::string& category,
               const std::string& prefix) {
    Json drawn = Json::array();
    for (const TracedSpan& span : visit.spans) {
        if (span.category != category || span.depth > 0 || !span.name.starts_with(prefix) ||
            span.begin > scale.begin + scale.length)
            continue;
        double length = span.length(visit.end);
        drawn.push_back(scale.bar(span.begin, span.begin + length, duration(length)));
        drawn.back()["title"] = span.name + ": " + duration(length);
        drawn.back()["class"] = category + " " + span.result.value("end", "");
    }
    return drawn;
}

double lengthOfInterest(const Visit& visit) {
    const TracedLine* command = visit.command();
    double end = command != nullptr ? command->at + (command->at - visit.begin) * 0.04 : visit.end;
    return std::max(end - visit.begin, 1000.0);
}

} // namespace

Json drawTimeline(const Visit& visit) {
    Scale scale{visit.begin, lengthOfInterest(visit)};
    const std::pair<const char*, Json> all[] = {
        {"Stages", drawStages(visit, scale)},
        {"On the bus", drawBus(visit, scale)},
        {"Transfers", drawTransfers(visit, scale)},
        {"Phone's timer", drawSpans(visit, scale, "timer", "timer of entity")},
        {"Switch's timer", drawSpans(visit, scale, "timer", "timer of d")},
        {"Calls", drawSpans(visit, scale, "call", "")},
    };
    Json lanes = Json::array();
    int y = kFirstLane;
    for (const auto& [label, bars] : all) {
        if (bars.empty())
            continue;
        lanes.push_back({{"label", label}, {"y", y}, {"textY", y + kLaneHeight / 2 + 4}, {"bars", bars}});
        y += kLaneHeight + kLaneGap;
    }
    return {{"ticks", drawTicks(scale)},
            {"milestones", drawMilestones(visit, scale)},
            {"lanes", std::move(lanes)},
            {"laneHeight", kLaneHeight},
            {"bottom", y},
            {"ticksY", y + 14},
            {"height", y + 20}};
}

Json drawBudget(const Visit& visit) {
    std::vector<Visit::Stage> stages = visit.stages();
    double total = stages.empty() ? 0 : stages.back().end - visit.begin;
    Scale scale{visit.begin, std::max(total, kAndroidBudgetUs) * 1.12};
    return {{"stages", drawStages(visit, scale)},
            {"strict", decimal(scale.x(visit.begin + kStrictBudgetUs))},
            {"android", decimal(scale.x(visit.begin + kAndroidBudgetUs))},
            {"end", decimal(scale.x(visit.begin + total))},
            {"total", duration(total)},
            {"isWithin", total <= kStrictBudgetUs},
            {"isLate", total > kStrictBudgetUs && total <= kAndroidBudgetUs},
            {"isTooLate", total > kAndroidBudgetUs}};
}

std::string duration(double microseconds) {
    if (microseconds >= 1e6)
        return decimal(microseconds / 1e6, 3) + " s";
    return microseconds >= 1e3 ? decimal(microseconds / 1e3) + " ms" : decimal(microseconds, 0) + " µs";
}

} // namespace zebhost
