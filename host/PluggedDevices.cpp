#include "host/PluggedDevices.h"

#include "host/UsbProvider.h"

#include <algorithm>
#include <cerrno>
#include <libudev.h>
#include <string_view>
#include <system_error>
#include <tuple>

namespace zebhost {
namespace {

struct Unref {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
    void operator()(udev_enumerate* enumerate) const { udev_enumerate_unref(enumerate); }
};

template <class T>
std::unique_ptr<T, Unref> owned(T* result, const char* call) {
    if (result == nullptr)
        throw std::system_error(errno, std::generic_category(), call);
    return std::unique_ptr<T, Unref>(result);
}

} // namespace

std::vector<UsbDevice> pluggedDevices() {
    auto context = owned(udev_new(), "udev_new");
    auto enumerate = owned(udev_enumerate_new(context.get()), "udev_enumerate_new");
    udev_enumerate_add_match_subsystem(enumerate.get(), "usb");
    // Devices alone have it, interfaces don't.
    udev_enumerate_add_match_sysattr(enumerate.get(), "devnum", nullptr);
    udev_enumerate_scan_devices(enumerate.get());

    std::vector<UsbDevice> found;
    udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get())) {
        std::unique_ptr<udev_device, Unref> device(
            udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        std::optional<UsbDevice> read = device ? readUsbDevice(device.get()) : std::nullopt;
        if (read && !read->isRootHub())
            found.push_back(std::move(*read));
    }
    std::sort(found.begin(), found.end(), [](const UsbDevice& a, const UsbDevice& b) {
        return std::tie(a.bus, a.device) < std::tie(b.bus, b.device);
    });
    return found;
}

} // namespace zebhost
