#include "host/Plugin.h"
#include "host/PluginFile.h"
#include "host/doctor/Checks.h"

#include <dlfcn.h>
#include <libusb.h>
#include <memory>

namespace zebhost {
namespace {

constexpr char kLibusb[] = "libusb-1.0.so.0";

struct LibraryClose {
    void operator()(void* library) const { dlclose(library); }
};

template <class Function>
Function* function(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

} // namespace

// Loaded here rather than linked: the plug-in is what needs it, and its lack is a finding.
Libusb askLibusb() {
    std::unique_ptr<void, LibraryClose> library(dlopen(kLibusb, RTLD_NOW | RTLD_LOCAL));
    if (library == nullptr)
        return {dlerror(), "", false};
    auto* version = function<decltype(libusb_get_version)>(library.get(), "libusb_get_version");
    auto* init = function<decltype(libusb_init)>(library.get(), "libusb_init");
    auto* exit = function<decltype(libusb_exit)>(library.get(), "libusb_exit");
    auto* timeouts =
        function<decltype(libusb_pollfds_handle_timeouts)>(library.get(), "libusb_pollfds_handle_timeouts");
    auto* errorName = function<decltype(libusb_error_name)>(library.get(), "libusb_error_name");
    if (!version || !init || !exit || !timeouts || !errorName)
        return {std::string(kLibusb) + " lacks functions that the plug-in needs", "", false};

    const libusb_version* v = version();
    Libusb found;
    found.version =
        std::to_string(v->major) + "." + std::to_string(v->minor) + "." + std::to_string(v->micro);
    libusb_context* context = nullptr;
    if (int error = init(&context); error != LIBUSB_SUCCESS) {
        found.fault = "it can't start: " + std::string(errorName(error));
        return found;
    }
    found.tellsTimeouts = timeouts(context) == 1;
    exit(context);
    return found;
}

Findings checkLibusb(const Libusb& libusb) {
    const std::string name = libusb.version.empty() ? "libusb" : "libusb " + libusb.version;
    if (!libusb.fault.empty())
        return {{"libusb", Level::Problem, name + " can't be used: " + libusb.fault,
                 "install libusb 1.0, and make sure that /sys and /dev/bus/usb are there"}};
    if (!libusb.tellsTimeouts)
        return {{"libusb", Level::Problem,
                 name + " does not tell time-outs by a descriptor: a phone that never answers is waited for "
                        "for ever",
                 "build libusb with timerfd"}};
    return {{"libusb", Level::Ok, name + ", which tells its time-outs by a descriptor (timerfd)"}};
}

Findings checkPlugin(const std::string& path) try {
    Plugin plugin(path);
    PluginFile file = inspectPlugin(plugin.file());
    std::string made = file.elf ? file.elf->name() : "unknown";
    return {{"plugin", Level::Ok,
             plugin.file() + " loads (" + made + ", " + kEntryFunction + " in " +
                 ZEBDISCOVERER_SYMBOL_VERSION + ")"}};
} catch (const HostError& error) {
    return {{"plugin", Level::Problem, error.what(),
             "install the plug-in for this system, or name it with --plugin"}};
}

} // namespace zebhost
