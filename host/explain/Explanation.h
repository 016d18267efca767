#pragma once

#include "host/Policy.h"
#include "host/Settings.h"
#include "host/UsbDevice.h"
#include "host/doctor/Machine.h"
#include "host/explain/Networks.h"

#include <string>
#include <vector>

namespace zebhost {

struct ExplainedInterface {
    UsbInterface interface;
    std::string words;
    /** Of the kernel; empty when none has it. */
    std::string driver;
};

/** What the plug-in says of a device. */
struct Opinion {
    /** Why it can't be asked; empty when it was. */
    std::string fault;
    int level = 100;
    std::string description;
};

/** Everything about one device that can be known without asking the device. */
struct Explanation {
    UsbDevice device;
    Verdict verdict;
    Opinion opinion;
    DeviceNode node;
    /** Of the active configuration. */
    std::vector<ExplainedInterface> interfaces;
    std::vector<Network> networks;
    /** What to do next, most urgent first; never empty. */
    std::vector<std::string> next;
};

Explanation explain(const UsbDevice& device, const Settings& settings, const Machine& machine);

/** Load the plug-in and ask it; nothing is offered. */
Opinion askPlugin(const UsbDevice& device, const Settings& settings);

} // namespace zebhost
