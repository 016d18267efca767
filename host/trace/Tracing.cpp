#include "host/trace/Tracing.h"

#include "host/trace/TracedTables.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace zebhost {
namespace {

/** What a line is called on its track: its kind, and which of it. */
std::string nameOf(const std::string& jsonLine) {
    nlohmann::json line = nlohmann::json::parse(jsonLine);
    std::string name = line["event"];
    for (const char* member : {"action", "key", "topic", "stage"}) {
        if (line.contains(member) && line[member].is_string())
            name += " " + line[member].get<std::string>();
    }
    return name;
}

} // namespace

Tracing::Tracing(const TraceOptions& options, Output& output, Loop& loop, Trace::Clock clock) :
    mOutput(output),
    mLoop(loop),
    mTrace(options.path, std::move(clock)),
    mTransfers(mTrace, mBoundary, options.tap) {
    mOutput.setWitness([this](uint64_t timeUs, const Event& event) { line(timeUs, event); });
    mLoop.setWitness([this](bool waits) {
        if (waits)
            mTrace.begin(kLoopTrack, "loop", "wait", "{}");
        else
            mTrace.end(kLoopTrack, "{}");
    });
}

Tracing::~Tracing() {
    mLoop.setWitness(nullptr);
    mOutput.setWitness(nullptr);
}

ZEBDiscovererInitializeFunction Tracing::around(ZEBDiscovererInitializeFunction real) {
    return traced(real, mBoundary);
}

void Tracing::check() {
    if (std::string untold = std::exchange(mUntold, ""); !untold.empty())
        say(untold);
    if (mHasComplained)
        return;
    std::string trouble = mTrace.trouble();
    mHasComplained = !trouble.empty();
    if (mHasComplained)
        say(trouble);
}

void Tracing::line(uint64_t timeUs, const Event& event) {
    std::string text = jsonLine(timeUs, event);
    mTrace.instant(trackOf(event), "line", nameOf(text), text);
}

/** Lines come on any thread, those that name a device on the host's alone. */
Track Tracing::trackOf(const Event& event) {
    auto track = [this](const auto& e) -> Track {
        if constexpr (requires { e.address; })
            return e.address.port.empty() ? 0 : mBoundary.owners().portTrack(e.address.port);
        else
            return 0;
    };
    Track owner = std::visit(track, event);
    return owner != 0 ? owner : mBoundary.current();
}

void Tracing::say(const std::string& text) { mOutput.report(AdviceEvent{"trace", {}, text}); }

} // namespace zebhost
