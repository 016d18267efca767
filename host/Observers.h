#pragma once

#include "host/GiveUps.h"
#include "host/Output.h"
#include "host/PropertyAdvice.h"
#include "host/StageTimes.h"
#include "host/TetherAdvice.h"

#include <thread>

namespace zebhost {

/**
 * Those who read along what a run tells and add what they make of it: lines for people, nothing that
 * changes the run. On the thread that makes this; what other threads tell (log lines) they miss.
 */
class Observers {
public:
    /** logLevel: of the log that they read; properties: those that the plug-in is given. */
    Observers(Loop& loop, Output& output, int32_t logLevel, const Properties& properties);
    ~Observers();
    Observers(const Observers&) = delete;
    Observers& operator=(const Observers&) = delete;

private:
    void take(uint64_t nowUs, const Event& event);

    Output& mOutput;
    const std::thread::id mThread = std::this_thread::get_id();
    StageTimes mStageTimes;
    GiveUps mGiveUps;
    TetherAdvice mTetherAdvice;
};

} // namespace zebhost
