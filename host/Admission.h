#pragma once

#include "host/Deadlines.h"
#include "host/NodeAccess.h"
#include "host/Output.h"
#include "host/Policy.h"
#include "host/SwitchBreaker.h"

#include <functional>
#include <set>
#include <string>

namespace zebhost {

/**
 * When a device that the policy lets through is offered: once its node can be opened, not too often
 * at one port, and (if the user wants that) after the reset of a port where a phone was found in
 * accessory mode at the start. Says in advice why something has to wait.
 */
class Admission {
public:
    /** retry is called from the loop when what is at a port may be asked for again. */
    Admission(Loop& loop, Output& output, const PolicySettings& settings,
              const std::function<void(const std::string& port)>& retry);

    /** May it be offered now? If not, retry is called when it may be, unless the device goes before. */
    bool mayOffer(const UsbDevice& device, const Verdict& verdict);

    void unplugged(const std::string& port);

    /** What is seen from now on was plugged in after the start. */
    void startIsOver() { mIsStarting = false; }

private:
    bool treatStale(const UsbDevice& device);
    bool isBelowLimit(const UsbDevice& device);
    void advise(const char* topic, const UsbDevice& device, const std::string& text);

    Output& mOutput;
    const PolicySettings mSettings;
    NodeAccess mNodes;
    SwitchBreaker mBreaker;
    bool mIsStarting = true;
    /** Ports where a phone was found in accessory mode at the start, and nothing has been done about it. */
    std::set<std::string> mStale;
    Deadlines mRetries;
};

/** Have the kernel reset the port of a device. The device is enumerated anew; a phone in accessory mode
 *  comes back in its own mode. Blocks while the kernel does it. Returns 0 or an errno. */
int resetPort(const UsbDevice& device);

} // namespace zebhost
