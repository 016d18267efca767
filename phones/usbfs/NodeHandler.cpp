#include "phones/usbfs/NodeHandler.h"

#include <cerrno>
#include <condition_variable>
#include <stdexcept>
#include <utility>

namespace zebphones {

namespace {

// Told by one thread, awaited by another. Not a future: that would be the one thing here that needs
// thread-local storage, and with it a dependency on the loader.
class Idle {
public:
    void tell() {
        const std::lock_guard lock(mMutex);
        mIsTold = true;
        mTold.notify_one();
    }
    void await() {
        std::unique_lock lock(mMutex);
        mTold.wait(lock, [this] { return mIsTold; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mTold;
    bool mIsTold = false;
};

} // namespace

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

std::shared_ptr<UsbfsDevice> NodeHandler::deviceOfCall() {
    const std::lock_guard lock(mMutex);
    mpLoop = g_main_context_get_thread_default();
    return mDevice;
}

GMainContext* NodeHandler::loop() {
    const std::lock_guard lock(mMutex);
    return mpLoop;
}

bool NodeHandler::rest() {
    GMainContext* const bedsLoop = loop();
    if (!bedsLoop)
        return false;
    Idle idle;
    GSource* source = g_idle_source_new(); // comes after everything else that is ready
    const auto tell = [](gpointer awaited) -> gboolean {
        static_cast<Idle*>(awaited)->tell();
        return G_SOURCE_REMOVE;
    };
    g_source_set_callback(source, tell, &idle, nullptr);
    g_source_attach(source, bedsLoop);
    g_source_unref(source);
    idle.await();
    return true;
}

gboolean NodeHandler::onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self) {
    UsbfsDevice::Result result{-1, ENODEV};
    if (const auto device = static_cast<NodeHandler*>(self)->deviceOfCall())
        result = device->handleIoctl(umockdev_ioctl_client_get_request(client),
                                     umockdev_ioctl_client_get_arg(client));
    umockdev_ioctl_client_complete(client, result.value, result.error);
    return TRUE;
}

} // namespace zebphones
