// A device that is plugged into the emulated usbfs: plays a PhoneModel to the clients
// that open its node, whichever process they are in.
//
// Their ioctls arrive on the bed's worker thread, everything else is called by the
// test's; one lock guards the model, the node and the queues.
#pragma once

#include "phones/PhoneModel.h"
#include "phones/usbfs/DeviceNode.h"
#include "phones/usbfs/Urb.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace zebphones {

class UsbfsDevice : public std::enable_shared_from_this<UsbfsDevice> {
public:
    // The model is shared with the bed, which plugs a switched phone again as a new device.
    UsbfsDevice(std::shared_ptr<PhoneModel> model, int bus, int address, const std::string& nodePath);

    int bus() const { return mBus; }
    int address() const { return mAddress; }

    // Look at the model, or change it, under the lock.
    void withModel(const std::function<void(PhoneModel&)>& look);
    // What it has been sent so far.
    std::vector<Exchange> received();
    bool switchRequested();

    // One state at a time: requests that would be answered wait until completeNext() is called.
    void hold(bool on);
    // The oldest waiting request ends as the model wanted. False: none waits.
    bool completeNext();
    // How often a client had its port reset. Nothing else comes of it: what the phone does then is the
    // test's.
    unsigned resets();
    // Requests submitted and not ended.
    std::size_t pending();
    // Ioctls of all clients so far: opening a device takes one already, a request several.
    std::size_t calls();
    // Whether by a test or by the phone itself.
    bool isPulled();

    // The plug is pulled: nothing is answered any more and the node reports an error.
    void pull();
    // The node vanishes, as before udev has made it; the device stays.
    void removeNode();

    struct Result {
        long value = 0;
        int error = 0;
    };
    // One ioctl of a client [worker thread].
    Result handleIoctl(unsigned long request, UMockdevIoctlData* argument);

private:
    Result submit(UMockdevIoctlData* argument);
    Result reap(UMockdevIoctlData* argument);
    Result discard(UMockdevIoctlData* argument);
    void begin(Urb urb);
    void endLater(std::chrono::milliseconds delay);
    void endDelayed();
    void end(Urb urb, int status, bool dataMoved);
    void endAsWanted(Urb urb);
    void pullLocked();
    bool completeOldest();

    const int mBus;
    const int mAddress;
    std::mutex mMutex;
    std::shared_ptr<PhoneModel> mModel;
    DeviceNode mNode;
    bool mHold = false;
    bool mPulled = false;
    unsigned mResets = 0;
    std::size_t mCalls = 0;
    std::deque<Urb> mFlying;
    std::deque<Urb> mDone;
};

} // namespace zebphones
