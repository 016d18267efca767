#include "host/Host.h"
#include "host/Plugin.h"
#include "host/explain/Explanation.h"

#include <memory>

namespace zebhost {
namespace {

/** Before the plug-in is unloaded, also when it can't be started. */
struct Ending {
    Host& host;
    ~Ending() { host.end(); }
};

} // namespace

Opinion askPlugin(const UsbDevice& device, const Settings& settings) try {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> nowhere(std::fopen("/dev/null", "w"), std::fclose);
    Output output(nowhere.get(), Output::Form::Plain);
    Loop loop;
    Host host(loop, output);
    host.setLogLevel(ZEBDiscoveryLogSeverityFatal);
    const Plugin plugin(settings.plugin.empty() ? defaultPluginPath() : settings.plugin);
    const Ending ending{host};
    host.start(plugin.initialize(), settings.properties);
    InterestEvent interest = host.devices().interestIn(device);
    return {"", interest.level, interest.description};
} catch (const HostError& error) {
    return {error.what(), 100, ""};
}

} // namespace zebhost
