#pragma once

#include "host/doctor/Machine.h"

#include <optional>
#include <string>
#include <vector>

namespace zebhost {

enum class Level { Ok, Warning, Problem };

/** One thing that was looked at. */
struct Finding {
    /** Which check; a name for programs. */
    const char* check;
    Level level;
    /** A sentence without a full stop. */
    std::string text;
    /** What to do next; empty when nothing. */
    std::string advice{};
};

using Findings = std::vector<Finding>;

/** Can the nodes of what is plugged be opened? Hubs don't count. */
Findings checkNodes(const Machine& machine);

/** Is there a udev rule of ours, and does udevd run? */
Findings checkUdev(const Machine& machine);

/** The drivers that make network interfaces of phones that tether. */
Findings checkModules(const Machine& machine);

/** Programs that open phones by themselves. */
Findings checkDaemons(const Machine& machine);

/** What libusb on this machine says of itself. */
struct Libusb {
    /** Why it can't be loaded or started; empty when it can. */
    std::string fault;
    std::string version;
    /** Do its time-outs make a descriptor ready? */
    bool tellsTimeouts = false;
};

Libusb askLibusb();
Findings checkLibusb(const Libusb& libusb);

/** path: of the plug-in; it is loaded and unloaded. */
Findings checkPlugin(const std::string& path);

} // namespace zebhost
