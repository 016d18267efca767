#include "bench/support/ManyEntities.h"

#include <algorithm>
#include <sys/resource.h>

namespace zebbench {
namespace {

/** Each entity has a pipe. */
void allowManyDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

ManyEntities::ManyEntities(BareHost& host, int count) : mHost(host) {
    allowManyDescriptors();
    for (int number = 1; number <= count; ++number) {
        const UsbRecord& record =
            mRecords.emplace_back(static_cast<uint32_t>(number + 1), 1, 1, "18d1", "4ee2");
        mEntities.push_back(host.offer(record.get()));
        // Before it: the handles of those that came earlier. Behind them: its own, the last its wake-up.
        if (*std::max_element(mEntities.begin(), mEntities.end()) == mEntities.back()) {
            mpLast = mEntities.back();
            const ZEBDiscovererEventHandle* handles =
                host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr);
            for (; *handles != ZEBDiscovererNoEventHandle; ++handles)
                mHandle = *handles;
        }
    }
    // What was added last is published by the time it is asked for again.
    host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr);
}

ManyEntities::~ManyEntities() {
    for (ZEBDiscovererEntity* entity : mEntities)
        mHost.entry.destroyEntity(mHost.discoverer, entity);
    mHost.entry.getMultipleEventHandlesEx(mHost.discoverer, nullptr);
}

} // namespace zebbench
