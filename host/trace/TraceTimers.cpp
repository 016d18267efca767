#include "host/trace/TraceTimers.h"

#include <algorithm>
#include <cstdlib>

namespace zebhost {

void TraceTimers::set(const std::string& name, Track track, int64_t microseconds) {
    if (microseconds < 0)
        return end(name, "cancelled");
    end(name, "armed again");
    mArmed[name] = {track, ++mLastId};
    mTrace.open(track, kCategory, name, mLastId, TraceArgs().add("us", microseconds).json());
}

void TraceTimers::keepDescriptors(const std::vector<int>& descriptors) {
    std::vector<std::string> gone;
    for (const auto& [name, armed] : mArmed) {
        if (name.starts_with(kOfDescriptor) &&
            std::find(descriptors.begin(), descriptors.end(),
                      std::atoi(name.c_str() + kOfDescriptor.size())) == descriptors.end())
            gone.push_back(name);
    }
    for (const std::string& name : gone)
        dropped(name);
}

void TraceTimers::end(const std::string& name, const char* how) {
    auto found = mArmed.extract(name);
    if (found.empty())
        return;
    const Armed& armed = found.mapped();
    mTrace.close(armed.track, kCategory, name, armed.id, TraceArgs().add("end", how).json());
}

} // namespace zebhost
