#include "host/HandleTimers.h"

namespace zebhost {

HandleTimers::HandleTimers(Loop& loop, const Discoverer& discoverer, const HandleWatches& watches,
                           Output& output) :
    mLoop(loop), mDiscoverer(discoverer), mWatches(watches), mOutput(output) {}

void HandleTimers::set(const ZEBDiscovererEventHandle* handle, ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    if (handle == nullptr || *handle == ZEBDiscovererNoEventHandle) {
        mOutput.violation("setTimerForHandle: no handle");
        return;
    }
    int descriptor = *handle;
    auto found = mTimers.find(descriptor);
    if (timeout < 0) {
        if (found != mTimers.end())
            found->second.timer.cancel();
        return;
    }
    if (found == mTimers.end())
        found = mTimers
                    .emplace(descriptor, Armed{Timer(mLoop, [this, descriptor] { expired(descriptor); }),
                                               mWatches.lists(descriptor)})
                    .first;
    found->second.timer.arm(static_cast<uint64_t>(timeout));
}

void HandleTimers::refresh() {
    for (auto entry = mTimers.begin(); entry != mTimers.end();) {
        auto& [descriptor, armed] = *entry;
        bool listed = mWatches.lists(descriptor);
        if (!listed && !armed.trusted)
            mOutput.violation("setTimerForHandle: handle " + std::to_string(descriptor) +
                              " is none of the discoverer's");
        armed.trusted = listed;
        entry = listed ? std::next(entry) : mTimers.erase(entry);
    }
}

void HandleTimers::expired(int descriptor) const {
    mDiscoverer.entry.handleTimeoutForEventHandle(mDiscoverer.self, &descriptor);
}

} // namespace zebhost
