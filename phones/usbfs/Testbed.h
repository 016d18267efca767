// A machine without USB that has one: a root hub with ports, the devices plugged into
// them in sysfs and under /dev/bus/usb, and the uevents that tell of it. Seen by this
// process, if it is linked with the bed's preload library, and by children that are
// started with it preloaded.
//
// One bed at a time; make it before libusb's first context. Called by one thread.
#pragma once

#include "phones/PhoneModel.h"
#include "phones/usbfs/GObjectPtr.h"
#include "phones/usbfs/NodeHandler.h"
#include "phones/usbfs/UsbfsDevice.h"

#include <map>
#include <memory>
#include <string>
#include <umockdev.h>

namespace zebphones {

class Testbed {
public:
    Testbed();
    ~Testbed();
    Testbed(const Testbed&) = delete;
    Testbed& operator=(const Testbed&) = delete;

    // Plugged into a free port (1, 2, ...); gets the bus's next device number.
    std::shared_ptr<UsbfsDevice> plug(PhoneDescription description, int port = 1);
    // Pulled: whoever has it open finds it gone, then the system is told.
    void unplug(int port);
    // The same phone leaves and comes back on its port, under a new number, in accessory mode.
    std::shared_ptr<UsbfsDevice> reappearInAccessoryMode(int port);
    // The two steps of that, apart.
    std::shared_ptr<PhoneModel> takeAway(int port);
    std::shared_ptr<UsbfsDevice> bringBack(std::shared_ptr<PhoneModel> model, int port);

    // Of a plugged device.
    UsbfsDevice& at(int port) { return *mPlugged.at(port).device; }
    // The folder that stands for "/".
    std::string root() const;

private:
    struct Plugged {
        std::shared_ptr<PhoneModel> model;
        std::shared_ptr<UsbfsDevice> device;
    };

    int nextAddress();
    void add(const std::string& sysPath, const UsbFace& face, int address);
    NodeHandler& handlerOf(int address);

    // By address, for each that has been in use; they go after the bed and its thread.
    std::map<int, std::unique_ptr<NodeHandler>> mHandlers;
    GObjectPtr<UMockdevTestbed> mBed;
    std::map<int, Plugged> mPlugged;
    int mLastAddress = 1;
};

} // namespace zebphones
