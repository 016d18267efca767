#pragma once

#include "tests/fuzz/FakeSystem.h"

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zebtest {

/** What one call met: searches for the network and the host's allocations, oldest first. */
struct Met {
    std::deque<FakeSystem::Search> searches;
    struct Allocation {
        std::string text; // empty: a buffer
        bool worked;
    };
    std::deque<Allocation> allocations;

    /** The next allocation of this text; true when it worked. */
    bool allocated(const std::string& text);
};

/**
 * What an entity without a hand-shake must do, by the rules of its cycle: a tethering phone's, or one's
 * that has been switched. Told after each call what the call met, it says what must have come out.
 */
class Mirror {
public:
    /** command: the value of "zebcmd"; tethering phones wait for their network, others for nothing. */
    Mirror(bool tethering, std::string command) : mTethering(tethering), mCommand(std::move(command)) {}

    void start(Met& met);
    void stop();
    /** False: it must be reported lost. */
    bool timeout(Met& met);
    bool event();
    void fetch(Met& met);

    /** The answer that must have been given to a fetch of "zebcmd" since this was last asked. */
    struct Answer {
        int error;
        bool hasValue;
    };
    std::optional<Answer> takeAnswer() { return std::exchange(mAnswer, std::nullopt); }
    const std::string& command() const { return mCommand; }
    bool isPending() const { return mPending; }
    /** What the host's timer must be, in microseconds; empty: not armed. */
    std::optional<int> timer;

private:
    bool openPort(Met& met);
    void waitForCommand();
    bool spend();
    void answer(Met& met, int error);

    bool mTethering;
    std::string mCommand;
    bool mStarted = false;
    bool mHasCommand = false;
    bool mWaiting = false;
    bool mScheduled = false;
    bool mPending = false;
    int mBudget = 0;
    std::optional<Answer> mAnswer;
};

} // namespace zebtest
