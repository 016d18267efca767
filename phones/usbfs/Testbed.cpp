#include "phones/usbfs/Testbed.h"

#include "phones/usbfs/SysfsEntry.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace zebphones {
namespace {

constexpr int kFirstBus = 1;
constexpr int kLastBus = 64;
constexpr int kRootHubAddress = 1;
constexpr int kHighestAddress = 127;

std::string hubPath(int bus) { return "/devices/pci0000:00/usb" + std::to_string(bus); }
std::string portPath(UsbPort port) { return hubPath(port.bus) + "/" + port.name(); }
std::string sysPath(UsbPort port) { return "/sys" + portPath(port); }

UsbFace rootHubFace() {
    return {.vendor = 0x1d6b,
            .product = 0x0002,
            .deviceClass = 9,
            .manufacturer = "Simulated",
            .productName = "Root hub",
            .serial = "0000:00",
            .interfaces = {{0, 9, 0, 0, 1}}};
}

// It has a node as every device has, and refuses what it is asked.
std::shared_ptr<PhoneModel> rootHub() {
    return std::make_shared<PhoneModel>(PhoneDescription{.name = "root-hub", .normal = rootHubFace()});
}

} // namespace

Testbed::Testbed() : mBed(umockdev_testbed_new()) { bus(kFirstBus); }

Testbed::~Testbed() {
    while (!mPlugged.empty())
        unplug(mPlugged.begin()->first);
}

void Testbed::rest() {
    // They all have the bed's one thread.
    std::any_of(mHandlers.begin(), mHandlers.end(),
                [](const auto& handler) { return handler.second->rest(); });
}

std::string Testbed::root() const {
    gchar* folder = umockdev_testbed_get_root_dir(mBed.get());
    std::string text = folder;
    g_free(folder);
    return text;
}

Testbed::Bus& Testbed::bus(int number) {
    if (number < kFirstBus || number > kLastBus)
        throw std::runtime_error("there is no bus " + std::to_string(number) + ": buses are 1 to 64");
    Bus& bus = mBuses[number];
    if (!bus.rootHub) {
        bus.rootHub = add(hubPath(number), rootHub(), number, kRootHubAddress);
        bus.lastAddress = kRootHubAddress;
    }
    return bus;
}

std::shared_ptr<UsbfsDevice> Testbed::plug(PhoneDescription description, UsbPort port) {
    return bringBack(std::make_shared<PhoneModel>(std::move(description)), port);
}

std::shared_ptr<UsbfsDevice> Testbed::bringBack(std::shared_ptr<PhoneModel> model, UsbPort port) {
    if (mPlugged.contains(port))
        throw std::runtime_error("port " + port.name() + " is taken");
    auto device = add(portPath(port), model, port.bus, nextAddress(port.bus));
    mPlugged[port] = {std::move(model), device};
    return device;
}

// As the kernel does: the number after the last one, from 2 again after 127, never one in use.
int Testbed::nextAddress(int number) {
    Bus& where = bus(number);
    for (int tries = kRootHubAddress; tries < kHighestAddress; ++tries) {
        where.lastAddress = where.lastAddress < kHighestAddress ? where.lastAddress + 1 : kRootHubAddress + 1;
        const bool isInUse = std::any_of(mPlugged.begin(), mPlugged.end(), [&](const auto& plugged) {
            return plugged.first.bus == number && plugged.second.device->address() == where.lastAddress;
        });
        if (!isInUse)
            return where.lastAddress;
    }
    throw std::runtime_error("bus " + std::to_string(number) +
                             " is full: it has numbers for 126 devices; plug into another bus");
}

void Testbed::giveNetwork(UsbPort port, const std::string& name) {
    std::filesystem::create_directories(root() + sysPath(port) + "/" + port.name() + ":1.0/net/" + name);
}

void Testbed::unplug(UsbPort port) { takeAway(port); }

std::shared_ptr<PhoneModel> Testbed::takeAway(UsbPort port) {
    Plugged plugged = std::move(mPlugged.at(port));
    mPlugged.erase(port);
    plugged.device->pull();
    plugged.device->removeNode();
    umockdev_testbed_uevent(mBed.get(), sysPath(port).c_str(), "remove");
    std::error_code ignored;
    std::filesystem::remove_all(root() + sysPath(port) + "/" + port.name() + ":1.0", ignored);
    umockdev_testbed_remove_device(mBed.get(), sysPath(port).c_str());
    handlerOf(*plugged.device).setDevice(nullptr);
    return plugged.model;
}

std::shared_ptr<UsbfsDevice> Testbed::reappearInAccessoryMode(UsbPort port) {
    auto model = takeAway(port);
    model->reappearInAccessoryMode();
    return bringBack(std::move(model), port);
}

std::shared_ptr<UsbfsDevice> Testbed::add(const std::string& path, std::shared_ptr<PhoneModel> model, int bus,
                                          int address) {
    const UsbFace face = model->face();
    auto device =
        std::make_shared<UsbfsDevice>(std::move(model), bus, address, root() + nodePath(bus, address));
    // The node answers before the system is told of the device.
    handlerOf(*device).setDevice(device);
    GError* error = nullptr;
    const std::string entry = sysfsEntry(path, face, bus, address);
    if (umockdev_testbed_add_from_string(mBed.get(), entry.c_str(), &error))
        return device;
    const std::string text = error ? error->message : "unknown error";
    g_clear_error(&error);
    handlerOf(*device).setDevice(nullptr);
    throw std::runtime_error("can't add " + path + ": " + text);
}

NodeHandler& Testbed::handlerOf(const UsbfsDevice& device) {
    std::unique_ptr<NodeHandler>& handler = mHandlers[{device.bus(), device.address()}];
    if (!handler)
        handler = std::make_unique<NodeHandler>(mBed.get(), nodePath(device.bus(), device.address()));
    return *handler;
}

} // namespace zebphones
