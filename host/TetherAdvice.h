#pragma once

#include "host/AddressWatch.h"
#include "host/Event.h"
#include "host/explain/Networks.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace zebhost {

/**
 * Why a phone that shares its network does not come to be connected to. The plug-in looks for an
 * interface address that begins with 192.168.42, 21 times with a second between, and then gives
 * the phone up without a word.
 */
class TetherAdvice {
public:
    struct World {
        /** The network interfaces of the phone at a port. */
        std::function<std::vector<Network>(const std::string& port)> networks;
        std::function<void(const Event&)> report;
    };

    TetherAdvice(Loop& loop, World world) : mLoop(loop), mWorld(std::move(world)) {}

    /** An event of the run. */
    void take(const Event& event);

private:
    struct Tether {
        UsbAddress address;
        std::optional<uint32_t> entity{};
        std::string said{};
    };

    void on(const DeviceEvent& event);
    void on(const VerdictEvent& event);
    void on(const EntityEvent& event);
    void on(const ValueEvent& event);
    template <class Other>
    void on(const Other&) {}

    void look();
    void forget(const std::string& port);

    Loop& mLoop;
    World mWorld;
    /** Those that wait for their address, by port. */
    std::map<std::string, Tether> mTethers;
    /** While there are any. */
    std::unique_ptr<AddressWatch> mWatch;
};

/** Has one of these interfaces an address that the plug-in looks for? */
bool isFoundByTether(const std::vector<Network>& networks);

/** Why the plug-in does not find a phone with these interfaces. */
std::string tetherFault(const std::vector<Network>& networks);

} // namespace zebhost
