#include "host/Observers.h"

#include "zebdiscovery/zebdiscovery.h"

namespace zebhost {
namespace {

// Several times what a phone takes to leave when it switches, and the system to tell of it.
constexpr uint64_t kPatienceUs = 2'000'000;

} // namespace

Observers::Observers(Loop& loop, Output& output, int32_t logLevel, const Properties& properties) :
    mOutput(output),
    mStageTimes([&output](const Event& event) { output.report(event); }),
    mGiveUps(
        loop, kPatienceUs, [&output](const Event& event) { output.report(event); },
        logLevel >= ZEBDiscoveryLogSeverityInfo, emptyStrings(properties)),
    mTetherAdvice(loop, {[](const std::string& port) { return networksAt(Machine(), port); },
                         [&output](const Event& event) { output.report(event); }}) {
    output.listen([this](uint64_t nowUs, const Event& event) { take(nowUs, event); });
}

Observers::~Observers() {
    mOutput.listen([](uint64_t, const Event&) {});
}

void Observers::take(uint64_t nowUs, const Event& event) {
    if (std::this_thread::get_id() != mThread)
        return;
    mStageTimes.take(nowUs, event);
    mGiveUps.take(event);
    mTetherAdvice.take(event);
}

} // namespace zebhost
