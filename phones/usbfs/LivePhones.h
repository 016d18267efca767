// What phones do by themselves while they are on a bed: leave when they were told to
// switch, come back as accessories, fall back after a while, and drop off for good.
//
// Has no thread: things happen in step(), on the bed's thread, one at a time, because
// whoever listens to the bed has room for ten messages only.
#pragma once

#include "phones/usbfs/Testbed.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace zebphones {

class LivePhones {
public:
    using Clock = std::chrono::steady_clock;

    // The bed is not owned. The phones live by the time that now tells.
    explicit LivePhones(Testbed& bed, std::function<Clock::time_point()> now = Clock::now) :
        mBed(bed), mNow(std::move(now)) {}

    // Both happen in a later step.
    void plug(PhoneDescription description, UsbPort port);
    void unplug(UsbPort port);
    // The change of the bus that is most overdue; false: nothing was due. Call it every few milliseconds.
    bool step();
    // How often something has come or gone, which the system was told of.
    std::size_t changes() const { return mChanges; }

    // Null while the phone is off the bus.
    std::shared_ptr<UsbfsDevice> deviceAt(UsbPort port) const { return mPhones.at(port).device; }
    // What it has been sent so far, in all its modes.
    std::vector<Exchange> received(UsbPort port) const;
    // How often clients have turned to its nodes.
    std::size_t calls(UsbPort port) const;

private:
    enum class Next { None, Arrive, LeaveToSwitch, ReturnSwitched, LeaveToRevert, LeaveForGood };
    struct Phone {
        std::shared_ptr<PhoneModel> model;
        // Null while it is off the bus.
        std::shared_ptr<UsbfsDevice> device;
        Next next = Next::None;
        Clock::time_point when{};
        // By its former devices.
        std::size_t earlierCalls = 0;
    };

    void plan(Phone& phone, Next next, std::chrono::milliseconds after);
    void look(Phone& phone);
    static bool isStillToSwitch(const Phone& phone);
    void act(UsbPort port, Phone& phone);
    void come(UsbPort port, Phone& phone);
    void go(UsbPort port, Phone& phone);

    Testbed& mBed;
    const std::function<Clock::time_point()> mNow;
    std::map<UsbPort, Phone> mPhones;
    std::size_t mChanges = 0;
};

} // namespace zebphones
