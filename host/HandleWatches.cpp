#include "host/HandleWatches.h"

#include <algorithm>
#include <sys/epoll.h>
#include <system_error>

namespace zebhost {

HandleWatches::HandleWatches(Loop& loop, const Discoverer& discoverer, Output& output) :
    mLoop(loop), mDiscoverer(discoverer), mOutput(output) {}

void HandleWatches::refresh(const std::vector<WantedHandle>& entityHandles) {
    mWanted.clear();
    ask();
    mWanted.insert(mWanted.end(), entityHandles.begin(), entityHandles.end());
    if (mWanted != mApplied)
        apply();
}

bool HandleWatches::lists(int descriptor) const {
    auto found = mWatches.find(descriptor);
    return found != mWatches.end() && found->second.handle.entity == nullptr;
}

void HandleWatches::clear() {
    mWatches.clear();
    mApplied.clear();
}

void HandleWatches::ask() {
    if (mDiscoverer.isSingle()) {
        const ZEBDiscovererEventHandle* handle = mDiscoverer.entry.getEventHandle(mDiscoverer.self);
        if (handle != nullptr && *handle != ZEBDiscovererNoEventHandle)
            mWanted.push_back({*handle, EPOLLIN, nullptr});
        return;
    }
    int* writeFlags = nullptr;
    ZEBDiscovererEventHandle* handles =
        mDiscoverer.entry.getMultipleEventHandlesEx(mDiscoverer.self, &writeFlags);
    if (handles == nullptr)
        return;
    for (size_t i = 0; handles[i] != ZEBDiscovererNoEventHandle; ++i) {
        uint32_t write = writeFlags != nullptr && writeFlags[i] != 0 ? uint32_t{EPOLLOUT} : 0u;
        mWanted.push_back({handles[i], EPOLLIN | write, nullptr});
    }
}

void HandleWatches::apply() {
    // First out, then in: a descriptor may have changed hands.
    std::erase_if(mWatches, [this](const auto& entry) {
        const WantedHandle& old = entry.second.handle;
        return std::none_of(mWanted.begin(), mWanted.end(), [&old](const WantedHandle& wanted) {
            return wanted.descriptor == old.descriptor && wanted.entity == old.entity;
        });
    });
    for (const WantedHandle& wanted : mWanted)
        watch(wanted);
    mApplied = mWanted;
}

void HandleWatches::watch(const WantedHandle& wanted) {
    auto [entry, isNew] = mWatches.try_emplace(wanted.descriptor, Watched{wanted, nullptr});
    Watched& watched = entry->second;
    try {
        if (isNew)
            watched.watch = std::make_unique<Watch>(mLoop, wanted.descriptor, wanted.events,
                                                    [this, wanted] { ready(wanted); });
        else if (watched.watch != nullptr)
            watched.watch->setEvents(wanted.events);
    } catch (const std::system_error& error) {
        mOutput.violation("handle " + std::to_string(wanted.descriptor) +
                          " can't be waited for: " + error.code().message());
    }
}

void HandleWatches::ready(const WantedHandle& handle) const {
    int descriptor = handle.descriptor;
    if (handle.entity != nullptr)
        mDiscoverer.entry.handleEntityEvent(mDiscoverer.self, handle.entity);
    else if (mDiscoverer.isSingle())
        mDiscoverer.entry.handleEvent(mDiscoverer.self);
    else
        mDiscoverer.entry.handleSingleEvent(mDiscoverer.self, &descriptor);
}

} // namespace zebhost
