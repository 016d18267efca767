#include "host/Fetches.h"

#include <algorithm>

namespace zebhost {
namespace {

uintptr_t number(const ZEBDiscoverySDKRequest* request) { return reinterpret_cast<uintptr_t>(request); }

} // namespace

ZEBDiscoverySDKRequest* Fetches::begin(Fetch fetch) {
    mWaiting.emplace(++mLast, std::move(fetch));
    return reinterpret_cast<ZEBDiscoverySDKRequest*>(mLast);
}

Fetches::Known Fetches::known(const ZEBDiscoverySDKRequest* request) const {
    if (mWaiting.contains(number(request)))
        return Known::Waiting;
    return number(request) != 0 && number(request) <= mLast ? Known::Answered : Known::Never;
}

Fetch Fetches::end(const ZEBDiscoverySDKRequest* request) {
    return std::move(mWaiting.extract(number(request)).mapped());
}

std::optional<Fetch> Fetches::endByKeyString(const char* keyString) {
    auto found = std::find_if(mWaiting.begin(), mWaiting.end(),
                              [keyString](const auto& entry) { return entry.second.keyString == keyString; });
    if (found == mWaiting.end())
        return std::nullopt;
    return std::move(mWaiting.extract(found).mapped());
}

std::vector<Fetch> Fetches::endAllOf(ZEBDiscovererEntity* entity) {
    std::vector<Fetch> ended;
    std::erase_if(mWaiting, [&](auto& entry) {
        if (entry.second.entity != entity)
            return false;
        ended.push_back(std::move(entry.second));
        return true;
    });
    return ended;
}

bool Fetches::waits(ZEBDiscovererEntity* entity, const std::string& key) const {
    return std::any_of(mWaiting.begin(), mWaiting.end(), [&](const auto& entry) {
        return entry.second.entity == entity && entry.second.key == key;
    });
}

} // namespace zebhost
