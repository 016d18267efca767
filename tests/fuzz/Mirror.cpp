#include "tests/fuzz/Mirror.h"

#include <algorithm>

namespace zebtest {

namespace {

constexpr int kSecond = 1'000'000;

} // namespace

bool Met::allocated(const std::string& text) {
    const auto found = std::find_if(allocations.begin(), allocations.end(),
                                    [&](const Allocation& one) { return one.text == text; });
    if (found == allocations.end())
        fail("no allocation of \"%s\" was made", text.c_str());
    const bool worked = found->worked;
    allocations.erase(found);
    return worked;
}

bool Mirror::openPort(Met& met) {
    if (mTethering) {
        if (met.searches.empty())
            fail("no search for the network was made");
        const FakeSystem::Search search = met.searches.front();
        met.searches.pop_front();
        if (search != FakeSystem::Search::Found)
            return false;
    }
    mHasCommand = met.allocated(mTethering ? mCommand : "");
    timer = mTethering ? kSecond / 2 : kSecond;
    mScheduled = true;
    return true;
}

void Mirror::waitForCommand() {
    if (mHasCommand)
        return;
    mWaiting = true;
    timer = 3 * kSecond;
}

bool Mirror::spend() {
    mBudget = std::max(mBudget - 1, 0);
    return mBudget > 0;
}

void Mirror::start(Met& met) {
    if (mStarted)
        return;
    mStarted = true;
    mWaiting = false;
    if (mHasCommand)
        return;
    timer.reset();
    if (openPort(met)) {
        mBudget = 10;
        return waitForCommand();
    }
    mBudget = 20;
    timer = kSecond;
}

void Mirror::stop() {
    mStarted = mWaiting = mScheduled = false;
    mBudget = 0;
    timer.reset();
}

bool Mirror::timeout(Met& met) {
    if (mHasCommand) {
        mScheduled = false;
        if (std::exchange(mPending, false))
            answer(met, 0);
        return true;
    }
    if (std::exchange(mWaiting, false) && !spend())
        return false;
    if (openPort(met)) {
        waitForCommand();
        return true;
    }
    timer = kSecond;
    return spend();
}

bool Mirror::event() {
    timer.reset();
    mWaiting = false;
    if (!spend())
        return false;
    timer = kSecond;
    return true;
}

void Mirror::answer(Met& met, int error) {
    if (!mHasCommand)
        mAnswer = {error, false};
    else if (met.allocated(mCommand))
        mAnswer = {0, true};
    else
        mAnswer = {3, false};
}

void Mirror::fetch(Met& met) {
    if (!mHasCommand || mScheduled) {
        mPending = true; // or was: then this one is dropped
        return;
    }
    if (openPort(met)) {
        stop();
        answer(met, 0);
        mPending = false; // an older one is dropped
        return;
    }
    mPending = true;
    mHasCommand = false;
    start(met);
}

} // namespace zebtest
