#include "phones/usbfs/NodeHandler.h"

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace zebphones {

NodeHandler::NodeHandler(UMockdevTestbed* bed, const std::string& nodePath) :
    mHandler(umockdev_ioctl_base_new()) {
    g_signal_connect(mHandler.get(), "handle-ioctl", G_CALLBACK(&NodeHandler::onIoctl), this);
    GError* error = nullptr;
    if (umockdev_testbed_attach_ioctl(bed, nodePath.c_str(), mHandler.get(), &error))
        return;
    const std::string text = error ? error->message : "unknown error";
    g_clear_error(&error);
    throw std::runtime_error("can't take the ioctls of " + nodePath + ": " + text);
}

void NodeHandler::setDevice(std::shared_ptr<UsbfsDevice> device) {
    const std::lock_guard lock(mMutex);
    // What was there before is let go of by the caller's thread, after the lock.
    mDevice.swap(device);
}

std::shared_ptr<UsbfsDevice> NodeHandler::device() {
    const std::lock_guard lock(mMutex);
    return mDevice;
}

gboolean NodeHandler::onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self) {
    UsbfsDevice::Result result{-1, ENODEV};
    if (const auto device = static_cast<NodeHandler*>(self)->device())
        result = device->handleIoctl(umockdev_ioctl_client_get_request(client),
                                     umockdev_ioctl_client_get_arg(client));
    umockdev_ioctl_client_complete(client, result.value, result.error);
    return TRUE;
}

} // namespace zebphones
