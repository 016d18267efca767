#include "host/Observers.h"

namespace zebhost {

Observers::Observers(Output& output) :
    mOutput(output), mStageTimes([&output](const Event& event) { output.report(event); }) {
    output.listen([this](uint64_t nowUs, const Event& event) { take(nowUs, event); });
}

Observers::~Observers() {
    mOutput.listen([](uint64_t, const Event&) {});
}

void Observers::take(uint64_t nowUs, const Event& event) {
    if (std::this_thread::get_id() == mThread)
        mStageTimes.take(nowUs, event);
}

} // namespace zebhost
