#include "phones/usbfs/Testbed.h"

#include "phones/usbfs/SysfsEntry.h"

#include <stdexcept>
#include <utility>

namespace zebphones {
namespace {

constexpr int kBus = 1;
const std::string kRootHub = "/devices/pci0000:00/usb1";

std::string portPath(int port) { return kRootHub + "/1-" + std::to_string(port); }
std::string sysPath(int port) { return "/sys" + portPath(port); }

void throwIf(bool failure, GError* error, const char* what) {
    if (!failure)
        return;
    const std::string text = std::string(what) + ": " + (error ? error->message : "failed");
    g_clear_error(&error);
    throw std::runtime_error(text);
}

UsbFace rootHubFace() {
    return {.vendor = 0x1d6b,
            .product = 0x0002,
            .deviceClass = 9,
            .manufacturer = "Simulated",
            .productName = "Root hub",
            .serial = "0000:00",
            .interfaces = {{0, 9, 0, 0, 1}}};
}

gboolean onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer device) {
    const auto result =
        (*static_cast<std::shared_ptr<UsbfsDevice>*>(device))
            ->handleIoctl(umockdev_ioctl_client_get_request(client), umockdev_ioctl_client_get_arg(client));
    umockdev_ioctl_client_complete(client, result.value, result.error);
    return TRUE;
}

} // namespace

Testbed::Testbed() : mBed(umockdev_testbed_new()) { add(kRootHub, rootHubFace(), 1); }

Testbed::~Testbed() {
    while (!mPlugged.empty())
        unplug(mPlugged.begin()->first);
}

std::string Testbed::root() const {
    gchar* folder = umockdev_testbed_get_root_dir(mBed.get());
    std::string text = folder;
    g_free(folder);
    return text;
}

std::shared_ptr<UsbfsDevice> Testbed::plug(PhoneDescription description, int port) {
    return bringBack(std::make_shared<PhoneModel>(std::move(description)), port);
}

std::shared_ptr<UsbfsDevice> Testbed::bringBack(std::shared_ptr<PhoneModel> model, int port) {
    const int address = ++mLastAddress;
    auto device = std::make_shared<UsbfsDevice>(model, kBus, address, root() + nodePath(kBus, address));
    const UsbFace face = model->face();
    // The node answers before the system is told of the device.
    mPlugged[port] = {std::move(model), device, attach(device)};
    add(portPath(port), face, address);
    return device;
}

void Testbed::unplug(int port) { takeAway(port); }

std::shared_ptr<PhoneModel> Testbed::takeAway(int port) {
    Plugged plugged = std::move(mPlugged.at(port));
    mPlugged.erase(port);
    plugged.device->pull();
    plugged.device->removeNode();
    umockdev_testbed_uevent(mBed.get(), sysPath(port).c_str(), "remove");
    umockdev_testbed_remove_device(mBed.get(), sysPath(port).c_str());
    GError* error = nullptr;
    const auto node = nodePath(kBus, plugged.device->address());
    throwIf(!umockdev_testbed_detach_ioctl(mBed.get(), node.c_str(), &error), error, "detach");
    return plugged.model;
}

std::shared_ptr<UsbfsDevice> Testbed::reappearInAccessoryMode(int port) {
    auto model = takeAway(port);
    model->reappearInAccessoryMode();
    return bringBack(std::move(model), port);
}

void Testbed::add(const std::string& path, const UsbFace& face, int address) {
    GError* error = nullptr;
    const std::string entry = sysfsEntry(path, face, kBus, address);
    throwIf(!umockdev_testbed_add_from_string(mBed.get(), entry.c_str(), &error), error, "add");
}

GObjectPtr<UMockdevIoctlBase> Testbed::attach(const std::shared_ptr<UsbfsDevice>& device) {
    GObjectPtr<UMockdevIoctlBase> handler(umockdev_ioctl_base_new());
    // The connection keeps the device alive as long as a client can reach it.
    g_signal_connect_data(
        handler.get(), "handle-ioctl", G_CALLBACK(onIoctl), new std::shared_ptr<UsbfsDevice>(device),
        [](gpointer kept, GClosure*) { delete static_cast<std::shared_ptr<UsbfsDevice>*>(kept); },
        GConnectFlags{});
    GError* error = nullptr;
    const auto node = nodePath(device->bus(), device->address());
    throwIf(!umockdev_testbed_attach_ioctl(mBed.get(), node.c_str(), handler.get(), &error), error, "attach");
    return handler;
}

} // namespace zebphones
