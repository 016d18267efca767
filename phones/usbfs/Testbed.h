// A machine without USB that has one: a bus or several, each a root hub with ports, the
// devices plugged into them in sysfs and under /dev/bus/usb, and the uevents that tell of
// it. Seen by this process, if it is linked with the bed's preload library, and by children
// that are started with it preloaded.
//
// One bed at a time; make it before libusb's first context. Called by one thread.
//
// Its limits: 64 buses, 126 devices a bus. Each device takes three descriptors of this
// process, and a client can have 50 nodes open at once (opennodes.c). Whoever goes beyond is
// told so: here by a std::runtime_error.
#pragma once

#include "phones/PhoneModel.h"
#include "phones/UsbPort.h"
#include "phones/usbfs/GObjectPtr.h"
#include "phones/usbfs/NodeHandler.h"
#include "phones/usbfs/UsbfsDevice.h"

#include <map>
#include <memory>
#include <string>
#include <umockdev.h>
#include <utility>

namespace zebphones {

class Testbed {
public:
    Testbed();
    ~Testbed();
    Testbed(const Testbed&) = delete;
    Testbed& operator=(const Testbed&) = delete;

    // Plugged into a free port (1, 2, ...); gets the bus's next device number. The first bus is there from
    // the beginning, each other one from its first device on.
    std::shared_ptr<UsbfsDevice> plug(PhoneDescription description, UsbPort port = 1);
    // Pulled: whoever has it open finds it gone, then the system is told.
    void unplug(UsbPort port);
    // The same phone leaves and comes back on its port, under a new number, in accessory mode.
    std::shared_ptr<UsbfsDevice> reappearInAccessoryMode(UsbPort port);
    // The two steps of that, apart.
    std::shared_ptr<PhoneModel> takeAway(UsbPort port);
    std::shared_ptr<UsbfsDevice> bringBack(std::shared_ptr<PhoneModel> model, UsbPort port);
    // A driver has made a network interface of this name of the plugged device's first interface.
    void giveNetwork(UsbPort port, const std::string& name);

    // Of a plugged device.
    UsbfsDevice& at(UsbPort port) { return *mPlugged.at(port).device; }
    // Returns when the bed has let go of everything that its clients have let go of.
    void rest();
    // The folder that stands for "/".
    std::string root() const;

private:
    struct Plugged {
        std::shared_ptr<PhoneModel> model;
        std::shared_ptr<UsbfsDevice> device;
    };

    struct Bus {
        std::shared_ptr<UsbfsDevice> rootHub{};
        int lastAddress = 0;
    };

    Bus& bus(int number);
    int nextAddress(int bus);
    std::shared_ptr<UsbfsDevice> add(const std::string& path, std::shared_ptr<PhoneModel> model, int bus,
                                     int address);
    NodeHandler& handlerOf(const UsbfsDevice& device);

    // By bus and address, for each that has been in use; they go after the bed and its thread.
    std::map<std::pair<int, int>, std::unique_ptr<NodeHandler>> mHandlers;
    GObjectPtr<UMockdevTestbed> mBed;
    std::map<int, Bus> mBuses;
    std::map<UsbPort, Plugged> mPlugged;
};

} // namespace zebphones
