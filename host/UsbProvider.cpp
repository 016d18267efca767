#include "host/UsbProvider.h"

#include <cerrno>
#include <libudev.h>
#include <string_view>
#include <sys/epoll.h>
#include <system_error>
#include <unistd.h>

namespace zebhost {
namespace {

constexpr char kSubsystem[] = "usb";
constexpr char kDeviceType[] = "usb_device";
// Room for the burst of a hub that is plugged in full.
constexpr int kMonitorBufferBytes = 1024 * 1024;

struct EnumerateUnref {
    void operator()(udev_enumerate* enumerate) const { udev_enumerate_unref(enumerate); }
};

bool udevdRuns() { return access("/run/udev/control", F_OK) == 0; }

template <class T>
T* orThrow(T* result, const char* call) {
    if (result == nullptr)
        throw std::system_error(errno, std::generic_category(), call);
    return result;
}

} // namespace

void UsbProvider::Unref::operator()(udev* context) const { udev_unref(context); }

void UsbProvider::Unref::operator()(udev_device* device) const { udev_device_unref(device); }

void UsbProvider::Unref::operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }

UsbProvider::UsbProvider(Loop& loop, Handlers handlers) : mLoop(loop), mHandlers(std::move(handlers)) {}

UsbProvider::~UsbProvider() = default;

void UsbProvider::watch() {
    mUdev.reset(orThrow(udev_new(), "udev_new"));
    mMonitor.reset(orThrow(udev_monitor_new_from_netlink(mUdev.get(), udevdRuns() ? "udev" : "kernel"),
                           "udev_monitor_new_from_netlink"));
    udev_monitor_filter_add_match_subsystem_devtype(mMonitor.get(), kSubsystem, kDeviceType);
    // Best effort: an overflow is noticed and made good.
    udev_monitor_set_receive_buffer_size(mMonitor.get(), kMonitorBufferBytes);
    if (int error = udev_monitor_enable_receiving(mMonitor.get()); error < 0)
        throw std::system_error(-error, std::generic_category(), "udev_monitor_enable_receiving");
    mWatch =
        std::make_unique<Watch>(mLoop, udev_monitor_get_fd(mMonitor.get()), EPOLLIN, [this] { receive(); });
}

void UsbProvider::stop() {
    mWatch.reset();
    mMonitor.reset();
}

void UsbProvider::scan() {
    std::unique_ptr<udev_enumerate, EnumerateUnref> enumerate(
        orThrow(udev_enumerate_new(mUdev.get()), "udev_enumerate_new"));
    udev_enumerate_add_match_subsystem(enumerate.get(), kSubsystem);
    udev_enumerate_scan_devices(enumerate.get());

    std::set<std::string> vanished = mReported;
    udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get())) {
        std::unique_ptr<udev_device, Unref> device(
            udev_device_new_from_syspath(mUdev.get(), udev_list_entry_get_name(entry)));
        if (device == nullptr)
            continue;
        vanished.erase(udev_device_get_sysname(device.get()));
        report(device.get());
    }
    for (const std::string& port : vanished)
        forget(port);
}

void UsbProvider::receive() {
    std::unique_ptr<udev_device, Unref> device(udev_monitor_receive_device(mMonitor.get()));
    if (device != nullptr)
        handle(device.get());
    else if (errno == ENOBUFS)
        scan(); // Messages were lost.
}

void UsbProvider::handle(udev_device* device) {
    const char* action = udev_device_get_action(device);
    // Any other action may bring news: "bind" comes when a configuration has been chosen, which
    // can be after "add".
    if (action != nullptr && std::string_view(action) == "remove")
        forget(udev_device_get_sysname(device));
    else
        report(device);
}

void UsbProvider::report(udev_device* device) {
    const char* type = udev_device_get_devtype(device);
    if (type == nullptr || std::string_view(type) != kDeviceType)
        return;
    std::optional<UsbDevice> read = readUsbDevice(device);
    if (!read || read->isRootHub())
        return;
    mReported.insert(read->port);
    mHandlers.seen(*read);
}

void UsbProvider::forget(const std::string& port) {
    if (mReported.erase(port) > 0)
        mHandlers.gone(port);
}

} // namespace zebhost
