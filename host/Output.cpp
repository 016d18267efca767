#include "host/Output.h"

#include "host/Clock.h"
#include "host/Terminal.h"

namespace zebhost {

Output::Output(std::FILE* file, Form form) : mpFile(file), mForm(form), mStart(monotonicMicroseconds()) {}

void Output::report(const Event& event) { mListener(write(event), event); }

uint64_t Output::write(const Event& event) {
    std::lock_guard lock(mMutex);
    // The time is taken under the lock, so that it never runs backwards from line to line.
    uint64_t now = monotonicMicroseconds();
    if (mWitness)
        mWitness(now, event);
    std::string line =
        mForm == Form::Json ? jsonLine(now, event) : plainLine(now - mStart, event, mForm == Form::Coloured);
    line += '\n';
    if (std::fwrite(line.data(), 1, line.size(), mpFile) != line.size() || std::fflush(mpFile) != 0)
        mBroken = true;
    if (std::holds_alternative<ViolationEvent>(event))
        ++mViolations;
    return now;
}

unsigned Output::violations() const {
    std::lock_guard lock(mMutex);
    return mViolations;
}

bool Output::broken() const {
    std::lock_guard lock(mMutex);
    return mBroken;
}

Output::Form plainFormFor(std::FILE* file) {
    return coloursWanted(file) ? Output::Form::Coloured : Output::Form::Plain;
}

} // namespace zebhost
