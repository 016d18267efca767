#include "phones/usbfs/Testbed.h"

#include "phones/usbfs/SysfsEntry.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace zebphones {
namespace {

constexpr int kBus = 1;
constexpr int kRootHubAddress = 1;
constexpr int kHighestAddress = 127;
const std::string kRootHub = "/devices/pci0000:00/usb1";

std::string portPath(int port) { return kRootHub + "/1-" + std::to_string(port); }
std::string sysPath(int port) { return "/sys" + portPath(port); }

UsbFace rootHubFace() {
    return {.vendor = 0x1d6b,
            .product = 0x0002,
            .deviceClass = 9,
            .manufacturer = "Simulated",
            .productName = "Root hub",
            .serial = "0000:00",
            .interfaces = {{0, 9, 0, 0, 1}}};
}

} // namespace

Testbed::Testbed() : mBed(umockdev_testbed_new()) { add(kRootHub, rootHubFace(), kRootHubAddress); }

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
    const int address = nextAddress();
    auto device = std::make_shared<UsbfsDevice>(model, kBus, address, root() + nodePath(kBus, address));
    const UsbFace face = model->face();
    // The node answers before the system is told of the device.
    mPlugged[port] = {std::move(model), device};
    handlerOf(address).setDevice(device);
    add(portPath(port), face, address);
    return device;
}

// As the kernel does: the number after the last one, from 2 again after 127, never one in use.
int Testbed::nextAddress() {
    const auto inUse = [this](int address) {
        return std::any_of(mPlugged.begin(), mPlugged.end(), [address](const auto& plugged) {
            return plugged.second.device->address() == address;
        });
    };
    do {
        mLastAddress = mLastAddress < kHighestAddress ? mLastAddress + 1 : kRootHubAddress + 1;
    } while (inUse(mLastAddress));
    return mLastAddress;
}

void Testbed::unplug(int port) { takeAway(port); }

std::shared_ptr<PhoneModel> Testbed::takeAway(int port) {
    Plugged plugged = std::move(mPlugged.at(port));
    mPlugged.erase(port);
    plugged.device->pull();
    plugged.device->removeNode();
    umockdev_testbed_uevent(mBed.get(), sysPath(port).c_str(), "remove");
    umockdev_testbed_remove_device(mBed.get(), sysPath(port).c_str());
    handlerOf(plugged.device->address()).setDevice(nullptr);
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
    if (umockdev_testbed_add_from_string(mBed.get(), entry.c_str(), &error))
        return;
    const std::string text = error ? error->message : "unknown error";
    g_clear_error(&error);
    throw std::runtime_error("can't add " + path + ": " + text);
}

NodeHandler& Testbed::handlerOf(int address) {
    std::unique_ptr<NodeHandler>& handler = mHandlers[address];
    if (!handler)
        handler = std::make_unique<NodeHandler>(mBed.get(), nodePath(kBus, address));
    return *handler;
}

} // namespace zebphones
