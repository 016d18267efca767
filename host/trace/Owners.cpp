#include "host/trace/Owners.h"

#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <memory>

namespace zebhost {

void Owners::offered(const ZEBDeviceInfo* device) {
    const char* const* properties = device->properties;
    std::string port = portInName(properties[UsbDeviceProviderDevicePropertyName]);
    Track track = portTrack(port);
    mDevices[device] = {std::string(properties[UsbDeviceProviderDevicePropertyVendorId]) + ":" +
                            properties[UsbDeviceProviderDevicePropertyProductId] + " at " + port,
                        track};
    mAddresses[{std::atoi(properties[UsbDeviceProviderDevicePropertyBusNumber]),
                std::atoi(properties[UsbDeviceProviderDevicePropertyDeviceNumber])}] = track;
}

std::string Owners::nameOf(const ZEBDeviceInfo* device) const {
    auto found = mDevices.find(device);
    return found == mDevices.end() ? "unknown" : found->second.name;
}

Track Owners::of(const ZEBDeviceInfo* device) const {
    auto found = mDevices.find(device);
    return found == mDevices.end() ? 0 : found->second.track;
}

Track Owners::of(const ZEBDiscovererEntity* entity) const {
    auto found = mEntities.find(entity);
    return found == mEntities.end() ? 0 : found->second.track;
}

Track Owners::of(const UsbAddress& address) const {
    auto found = mAddresses.find({address.bus, address.device});
    return found == mAddresses.end() ? 0 : found->second;
}

Track Owners::ofDescriptor(int descriptor) const {
    auto found = mDescriptors.find(descriptor);
    return found == mDescriptors.end() ? 0 : found->second;
}

uint32_t Owners::number(const ZEBDiscovererEntity* entity) const {
    auto found = mEntities.find(entity);
    return found == mEntities.end() ? 0 : found->second.number;
}

void Owners::announced(const ZEBDiscovererEntity* entity, Track track) {
    if (entity != nullptr && mEntities.try_emplace(entity, Entity{mLastEntity + 1, track}).second)
        ++mLastEntity;
}

void Owners::opened(const std::set<int>& before, const std::set<int>& after, Track track) {
    for (int descriptor : after) {
        if (!before.contains(descriptor))
            mDescriptors[descriptor] = track;
    }
}

std::string portInName(const std::string& name) {
    constexpr std::string_view kStart = "(usb ";
    size_t at = name.rfind(kStart);
    if (at == std::string::npos || name.back() != ')')
        return "";
    return name.substr(at + kStart.size(), name.size() - at - kStart.size() - 1);
}

std::set<int> openDescriptors() {
    std::set<int> open;
    std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
    if (folder == nullptr)
        return open;
    while (const dirent* entry = readdir(folder.get())) {
        if (entry->d_name[0] != '.')
            open.insert(std::atoi(entry->d_name));
    }
    open.erase(dirfd(folder.get()));
    return open;
}

std::string describeDescriptor(int descriptor) {
    std::string number = std::to_string(descriptor);
    std::error_code gone;
    std::string behind = std::filesystem::read_symlink("/proc/self/fd/" + number, gone);
    if (size_t usb = behind.find("/dev/bus/usb/"); usb != std::string::npos)
        behind = behind.substr(usb);
    else if (behind.starts_with("anon_inode:["))
        behind = behind.substr(12, behind.size() - 13);
    else if (behind.starts_with("pipe:"))
        behind = "pipe";
    return behind.empty() ? number : number + " " + behind;
}

} // namespace zebhost
