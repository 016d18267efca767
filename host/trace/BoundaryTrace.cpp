#include "host/trace/BoundaryTrace.h"

#include <unistd.h>

namespace zebhost {
namespace {

constexpr char kDiscoverersTimer[] = "timer of the discoverer";

} // namespace

Track BoundaryTrace::enter(const char* category, std::string_view name, Track owner, const TraceArgs& args) {
    Track track = owner != 0 ? owner : current();
    mTrace.begin(track, category, name, args.json());
    if (isHostThread())
        mRunning.push_back(track);
    return track;
}

void BoundaryTrace::leave(Track track, const TraceArgs& result) {
    if (isHostThread())
        mRunning.pop_back();
    mTrace.end(track, result.json());
}

Track BoundaryTrace::current() {
    if (!isHostThread())
        return mTrace.track("thread " + std::to_string(gettid()));
    return mRunning.empty() ? kLoopTrack : mRunning.back();
}

void BoundaryTrace::announced(BoundaryTrace& self, void*, ZEBDiscoverer*, ZEBDiscovererEntity* entity) {
    if (self.isHostThread())
        self.mOwners.announced(entity, self.current());
}

void BoundaryTrace::discovererTimer(BoundaryTrace& self, void*, ZEBDiscoverer*, int32_t us) {
    if (self.isHostThread())
        self.mTimers.set(kDiscoverersTimer, self.current(), us);
}

void BoundaryTrace::entityTimer(BoundaryTrace& self, void*, ZEBDiscovererEntity* entity, int32_t us) {
    if (uint32_t number = self.mOwners.number(entity); number != 0 && self.isHostThread())
        self.mTimers.set(TraceTimers::ofEntity(number), self.current(), us);
}

void BoundaryTrace::handleTimer(BoundaryTrace& self, void*, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle,
                                int32_t us) {
    if (handle != nullptr && self.isHostThread())
        self.mTimers.set(TraceTimers::ofDescriptor(*handle), self.current(), us);
}

void BoundaryTrace::discovererTimeout(BoundaryTrace& self, ZEBDiscoverer*) {
    self.mTimers.expired(kDiscoverersTimer);
}

void BoundaryTrace::entityTimeout(BoundaryTrace& self, ZEBDiscoverer*, ZEBDiscovererEntity* entity) {
    self.mTimers.expired(TraceTimers::ofEntity(self.mOwners.number(entity)));
}

void BoundaryTrace::handleTimeout(BoundaryTrace& self, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle) {
    self.mTimers.expired(TraceTimers::ofDescriptor(*handle));
}

void BoundaryTrace::destroyed(BoundaryTrace& self, ZEBDiscoverer*, ZEBDiscovererEntity* entity) {
    self.mTimers.dropped(TraceTimers::ofEntity(self.mOwners.number(entity)));
    self.mOwners.destroyed(entity);
}

void BoundaryTrace::listed(BoundaryTrace& self, ZEBDiscovererEventHandle* handles) {
    std::vector<int> now;
    for (; handles != nullptr && *handles != ZEBDiscovererNoEventHandle; ++handles)
        now.push_back(*handles);
    self.mTimers.keepDescriptors(now);
    if (now == self.mListed)
        return;
    self.mListed = now;
    std::string list;
    for (int descriptor : now)
        list += (list.empty() ? "" : ",") + inQuotes(describeDescriptor(descriptor));
    self.mTrace.instant(self.current(), "descriptor", "descriptors",
                        TraceArgs().addJson("list", "[" + list + "]").json());
}

} // namespace zebhost
