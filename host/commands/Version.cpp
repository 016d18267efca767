#include "host/Plugin.h"
#include "host/Terminal.h"
#include "host/commands/Commands.h"
#include "host/commands/Json.h"

namespace zebhost {
namespace {

Versions collect(const Settings& settings) {
    Versions versions{ZEBHOST_VERSION, ownElfIdentity().name(), ZEBHOST_BUILD, {}, askLibusb()};
    const std::string path = settings.plugin.empty() ? defaultPluginPath() : settings.plugin;
    try {
        versions.plugin = inspectPlugin(Plugin(path).file());
    } catch (const HostError& error) {
        versions.plugin.path = path;
        versions.plugin.fault = error.what();
    }
    return versions;
}

} // namespace

ExitStatus perform(const VersionOptions& options, std::FILE* out) {
    const Versions versions = collect(options);
    if (options.json) {
        std::fprintf(out, "%s\n", jsonOf(versions).c_str());
        return kExitDone;
    }
    std::fprintf(out, "zebhost   %s (%s, %s)\n", versions.zebhost.c_str(), versions.system.c_str(),
                 versions.build.c_str());
    if (versions.plugin.fault.empty())
        std::fprintf(out, "plug-in   %s (%s)\n", printable(versions.plugin.path).c_str(),
                     ZEBDISCOVERER_SYMBOL_VERSION);
    else
        std::fprintf(out, "plug-in   %s\n", printable(versions.plugin.fault).c_str());
    std::fprintf(out, "libusb    %s\n",
                 versions.libusb.version.empty() ? versions.libusb.fault.c_str()
                                                 : versions.libusb.version.c_str());
    return kExitDone;
}

} // namespace zebhost
