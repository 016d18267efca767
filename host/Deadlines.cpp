#include "host/Deadlines.h"

#include "host/Clock.h"

#include <algorithm>
#include <vector>

namespace zebhost {

Deadlines::Deadlines(Loop& loop, std::function<void(const std::string& name)> handler) :
    mHandler(std::move(handler)), mTimer(loop, [this] { expire(); }) {}

void Deadlines::set(const std::string& name, uint64_t microseconds) {
    mDue[name] = monotonicMicroseconds() + microseconds;
    arm();
}

void Deadlines::arm() {
    auto next = std::min_element(mDue.begin(), mDue.end(),
                                 [](const auto& a, const auto& b) { return a.second < b.second; });
    if (next == mDue.end())
        return;
    uint64_t now = monotonicMicroseconds();
    mTimer.arm(next->second > now ? next->second - now : 0);
}

void Deadlines::expire() {
    uint64_t now = monotonicMicroseconds();
    std::vector<std::string> due;
    for (const auto& [name, time] : mDue) {
        if (time <= now)
            due.push_back(name);
    }
    for (const std::string& name : due)
        mDue.erase(name);
    arm();
    for (const std::string& name : due)
        mHandler(name);
}

} // namespace zebhost
