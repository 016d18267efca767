#include "host/SwitchBreaker.h"

namespace zebhost {

SwitchBreaker::Answer SwitchBreaker::ask(const std::string& name, uint64_t now) {
    if (mLimit == 0)
        return Answer::Go;
    Port& port = mPorts[name];
    bool isReplugged = port.unplugged && now - *port.unplugged >= kReplugUs;
    if (isReplugged || (port.closed && now - *port.closed >= kMinuteUs))
        port = Port{};
    port.unplugged.reset();
    if (port.closed)
        return Answer::Closed;

    std::erase_if(port.offers, [now](uint64_t offer) { return now - offer >= kMinuteUs; });
    if (port.offers.size() < mLimit) {
        port.offers.push_back(now);
        return Answer::Go;
    }
    port.closed = now;
    return Answer::JustClosed;
}

uint64_t SwitchBreaker::closedFor(const std::string& name, uint64_t now) const {
    auto port = mPorts.find(name);
    if (port == mPorts.end() || !port->second.closed)
        return 0;
    uint64_t end = *port->second.closed + kMinuteUs;
    return end > now ? end - now : 0;
}

void SwitchBreaker::unplugged(const std::string& name, uint64_t now) {
    if (auto port = mPorts.find(name); port != mPorts.end())
        port->second.unplugged = now;
}

} // namespace zebhost
