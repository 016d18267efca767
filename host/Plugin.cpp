#include "host/Plugin.h"

#include <dlfcn.h>
#include <filesystem>

namespace zebhost {
namespace {

constexpr char kFileName[] = "libzebdiscoverer-usb.so";
constexpr char kEntryFunction[] = "ZEBDiscovererInitialize";

void* load(const std::string& path) {
    std::error_code ignored;
    if (path.find('/') != std::string::npos && !std::filesystem::exists(path, ignored))
        throw HostError("there is no plug-in " + path);
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw HostError("the plug-in can't be loaded: " + std::string(dlerror()));
    return library;
}

} // namespace

void Plugin::Closer::operator()(void* library) const { dlclose(library); }

Plugin::Plugin(const std::string& path) : mLibrary(load(path)) {
    void* entry = dlvsym(mLibrary.get(), kEntryFunction, ZEBDISCOVERER_SYMBOL_VERSION);
    if (entry == nullptr && dlsym(mLibrary.get(), kEntryFunction) != nullptr)
        throw HostError(path + " has " + kEntryFunction + ", but not in the version " +
                        ZEBDISCOVERER_SYMBOL_VERSION + ": it was made for another kind of host");
    if (entry == nullptr)
        throw HostError(path + " is no discoverer plug-in: it does not export " + kEntryFunction);
    mInitialize = reinterpret_cast<ZEBDiscovererInitializeFunction>(entry);
}

std::string defaultPluginPath() {
    std::error_code ignored;
    std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
    for (const auto& place : {folder, (folder / ZEB_PLUGIN_WAY).lexically_normal()}) {
        if (!folder.empty() && std::filesystem::exists(place / kFileName, ignored))
            return place / kFileName;
    }
    return kFileName;
}

} // namespace zebhost
