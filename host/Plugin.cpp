#include "host/Plugin.h"

#include "host/PluginFile.h"

#include <cstddef>
#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <new>
#include <vector>

namespace zebhost {
namespace {

constexpr char kFileName[] = "libzebdiscoverer-usb.so";

/** A bare name is the loader's to find. */
bool isBareName(const std::string& path) { return path.find('/') == std::string::npos; }

void refuseFaulty(const std::string& path) {
    if (std::string fault = inspectPlugin(path).fault; !fault.empty())
        throw HostError(fault);
}

/** Where the loader looks for bare names before it asks its cache. */
std::vector<std::string> loaderFolders() {
    std::unique_ptr<void, int (*)(void*)> program(dlopen(nullptr, RTLD_NOW), dlclose);
    Dl_serinfo size{};
    if (dlinfo(program.get(), RTLD_DI_SERINFOSIZE, &size) != 0)
        return {};
    std::vector<std::max_align_t> room(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* info = new (room.data()) Dl_serinfo(size);
    std::vector<std::string> folders;
    if (dlinfo(program.get(), RTLD_DI_SERINFO, info) == 0)
        for (const Dl_serpath* path = info->dls_serpath; path != info->dls_serpath + info->dls_cnt; ++path)
            folders.emplace_back(path->dls_name);
    return folders;
}

/** The loader passes over what it can't load; what it would not survive must not be there. */
void refuseHarmful(const std::string& fileName) {
    for (const std::string& folder : loaderFolders()) {
        if (PluginFile file = inspectPlugin(folder + "/" + fileName); file.isHarmful)
            throw HostError(file.fault);
    }
}

void* load(const std::string& path) {
    if (isBareName(path))
        refuseHarmful(path);
    else
        refuseFaulty(path);
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library != nullptr)
        return library;
    std::string why = dlerror();
    if (isBareName(path))
        throw HostError("there is no " + path +
                        " beside this program, and none that loads in the library path (" + why +
                        "): name it with --plugin");
    throw HostError("the plug-in can't be loaded: " + why);
}

std::string fileOf(void* library) {
    link_map* map = nullptr;
    return dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "";
}

} // namespace

void Plugin::Closer::operator()(void* library) const { dlclose(library); }

Plugin::Plugin(const std::string& path) : mLibrary(load(path)), mFile(fileOf(mLibrary.get())) {
    if (isBareName(path))
        refuseFaulty(mFile);
    void* entry = dlvsym(mLibrary.get(), kEntryFunction, ZEBDISCOVERER_SYMBOL_VERSION);
    // Only where the file does not show what it exports: else it was refused before.
    if (entry == nullptr)
        throw HostError(entryFault(mFile, {}));
    mInitialize = reinterpret_cast<ZEBDiscovererInitializeFunction>(entry);
}

std::string defaultPluginPath() { return besideProgram(kFileName); }

std::string besideProgram(const std::string& fileName) {
    std::error_code ignored;
    std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
    for (const auto& place : {folder, (folder / ZEB_PLUGIN_WAY).lexically_normal()}) {
        if (!folder.empty() && std::filesystem::exists(place / fileName, ignored))
            return place / fileName;
    }
    return fileName;
}

} // namespace zebhost
