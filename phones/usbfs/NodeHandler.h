// Takes the ioctls of whoever has one device node open, for the device that is there
// at the time. Attached once for a bed's life, although devices come and go: the
// library loses a little memory with each time that a handler is detached.
#pragma once

#include "phones/usbfs/GObjectPtr.h"
#include "phones/usbfs/UsbfsDevice.h"

#include <memory>
#include <mutex>
#include <string>
#include <umockdev.h>

namespace zebphones {

class NodeHandler {
public:
    // nodePath as clients see it. Throws std::runtime_error when it can't be attached.
    NodeHandler(UMockdevTestbed* bed, const std::string& nodePath);
    // The bed must be gone, and with it the thread that calls.
    ~NodeHandler() = default;
    NodeHandler(const NodeHandler&) = delete;
    NodeHandler& operator=(const NodeHandler&) = delete;

    // Null: there is none, and who still has the node open is told so.
    void setDevice(std::shared_ptr<UsbfsDevice> device);
    // Returns when the bed's thread has done all that was to be done when this was called: it closes a
    // client's connection some time after the client did. False: nobody has called this node yet.
    bool rest();

private:
    static gboolean onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);
    std::shared_ptr<UsbfsDevice> deviceOfCall();
    GMainContext* loop();

    std::mutex mMutex;
    std::shared_ptr<UsbfsDevice> mDevice;
    // Of the bed's thread, from the first call on.
    GMainContext* mpLoop = nullptr;
    GObjectPtr<UMockdevIoctlBase> mHandler;
};

} // namespace zebphones
