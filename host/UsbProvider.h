#pragma once

#include "host/Loop.h"
#include "host/UsbDevice.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

struct udev;
struct udev_device;
struct udev_monitor;

namespace zebhost {

/**
 * The real provider "usb": what is plugged and what comes and goes, as the kernel tells. The
 * machine's own hubs are left out; one that is plugged in is told of like any device.
 *
 * Where udevd runs its messages are used, which come when its rules are done (and with them the
 * access rights of the device's node); elsewhere the kernel's own. No udev database is needed.
 */
class UsbProvider {
public:
    struct Handlers {
        /** Plugged, or changed. Also called when nothing has changed. */
        std::function<void(const UsbDevice&)> seen;
        /** What was at this port has gone. */
        std::function<void(const std::string& port)> gone;
    };

    UsbProvider(Loop& loop, Handlers handlers);
    ~UsbProvider();

    /** Watch from now on. Throws std::system_error when the monitor can't be had. */
    void watch();

    /** Report what is plugged, in the same way as what comes later, and what has gone unnoticed. */
    void scan();

    void stop();

private:
    struct Unref {
        void operator()(udev* context) const;
        void operator()(udev_device* device) const;
        void operator()(udev_monitor* monitor) const;
    };

    void receive();
    void handle(udev_device* device);
    void report(udev_device* device);
    void forget(const std::string& port);

    Loop& mLoop;
    Handlers mHandlers;
    std::unique_ptr<udev, Unref> mUdev;
    std::unique_ptr<udev_monitor, Unref> mMonitor;
    std::unique_ptr<Watch> mWatch;
    std::set<std::string> mReported;
};

/** What the kernel tells of a device; none when it has gone again, or tells no descriptors. */
std::optional<UsbDevice> readUsbDevice(udev_device* device);

} // namespace zebhost
