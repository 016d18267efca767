#include "phones/usbfs/UsbfsDevice.h"

#include <algorithm>
#include <cerrno>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <utility>

namespace zebphones {
namespace {

using Result = UsbfsDevice::Result;

constexpr Result kDone{0, 0};
constexpr Result failed(int error) { return {-1, error}; }

// The request stays with the host's kernel until the host discards it.
bool waitsForTheHost(Reaction reaction) {
    return reaction == Reaction::Silent || reaction == Reaction::SilentAfterData ||
           reaction == Reaction::AnswerAsHostGivesUp || reaction == Reaction::Unplug;
}

int statusOf(Reaction reaction) {
    switch (reaction) {
    case Reaction::Stall:
        return -EPIPE;
    case Reaction::BusError:
        return -EPROTO;
    case Reaction::Overflow:
        return -EOVERFLOW;
    case Reaction::Gone:
        return -ENODEV;
    default:
        return 0;
    }
}

Result tellCapabilities(UMockdevIoctlData* argument) {
    const GObjectPtr<UMockdevIoctlData> word(
        umockdev_ioctl_data_resolve(argument, 0, sizeof(std::uint32_t), nullptr));
    *reinterpret_cast<std::uint32_t*>(word->data) =
        USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION | USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
    return kDone;
}

} // namespace

UsbfsDevice::UsbfsDevice(std::shared_ptr<PhoneModel> model, int bus, int address,
                         const std::string& nodePath) :
    mBus(bus), mAddress(address), mModel(std::move(model)), mNode(nodePath) {}

void UsbfsDevice::withModel(const std::function<void(PhoneModel&)>& look) {
    const std::lock_guard lock(mMutex);
    look(*mModel);
}

std::vector<Exchange> UsbfsDevice::received() {
    const std::lock_guard lock(mMutex);
    return mModel->received();
}

bool UsbfsDevice::switchRequested() {
    const std::lock_guard lock(mMutex);
    return mModel->switchRequested();
}

void UsbfsDevice::hold(bool on) {
    const std::lock_guard lock(mMutex);
    mHold = on;
}

bool UsbfsDevice::completeNext() {
    const std::lock_guard lock(mMutex);
    return completeOldest();
}

bool UsbfsDevice::completeOldest() {
    const auto oldest = std::find_if(mFlying.begin(), mFlying.end(), [](const Urb& urb) {
        return !waitsForTheHost(urb.response().reaction);
    });
    if (oldest == mFlying.end())
        return false;
    Urb urb = std::move(*oldest);
    mFlying.erase(oldest);
    endAsWanted(std::move(urb));
    return true;
}

std::size_t UsbfsDevice::pending() {
    const std::lock_guard lock(mMutex);
    return mFlying.size();
}

unsigned UsbfsDevice::resets() {
    const std::lock_guard lock(mMutex);
    return mResets;
}

std::size_t UsbfsDevice::calls() {
    const std::lock_guard lock(mMutex);
    return mCalls;
}

bool UsbfsDevice::isPulled() {
    const std::lock_guard lock(mMutex);
    return mPulled;
}

void UsbfsDevice::pull() {
    const std::lock_guard lock(mMutex);
    pullLocked();
}

void UsbfsDevice::pullLocked() {
    mPulled = true;
    mFlying.clear();
    mDone.clear();
    mNode.hangUp();
}

void UsbfsDevice::removeNode() {
    const std::lock_guard lock(mMutex);
    mNode.remove();
}

Result UsbfsDevice::handleIoctl(unsigned long request, UMockdevIoctlData* argument) {
    const std::lock_guard lock(mMutex);
    ++mCalls;
    if (mPulled)
        return failed(ENODEV);
    switch (request) {
    case USBDEVFS_GET_CAPABILITIES:
        return tellCapabilities(argument);
    case USBDEVFS_SUBMITURB:
        return submit(argument);
    case USBDEVFS_REAPURBNDELAY:
        return reap(argument);
    case USBDEVFS_DISCARDURB:
        return discard(argument);
    case USBDEVFS_CLAIMINTERFACE:
    case USBDEVFS_RELEASEINTERFACE:
        return kDone;
    case USBDEVFS_GETDRIVER:
        // No driver of the kernel has the interface.
        return failed(ENODATA);
    case USBDEVFS_RESET:
        ++mResets;
        return kDone;
    default:
        return failed(ENOTTY);
    }
}

Result UsbfsDevice::submit(UMockdevIoctlData* argument) {
    Urb urb(argument);
    if (!urb.isControl())
        return failed(EINVAL);
    urb.setResponse(mModel->answer(urb.setup(), urb.outgoingData()));
    switch (urb.response().reaction) {
    case Reaction::RefusedNoDevice:
        return failed(ENODEV);
    case Reaction::RefusedNoMemory:
        return failed(ENOMEM);
    default:
        begin(std::move(urb));
        return kDone;
    }
}

void UsbfsDevice::begin(Urb urb) {
    const Response response = urb.response();
    if (response.delay.count() == 0 && !mHold && !waitsForTheHost(response.reaction)) {
        endAsWanted(std::move(urb));
        return;
    }
    mFlying.push_back(std::move(urb));
    if (response.delay.count() > 0)
        endLater(response.delay);
    else if (response.reaction == Reaction::Unplug)
        pullLocked();
}

// By the main loop of this thread, the worker's.
void UsbfsDevice::endLater(std::chrono::milliseconds delay) {
    GSource* later = g_timeout_source_new(static_cast<guint>(delay.count()));
    const auto end = [](gpointer device) -> gboolean {
        (*static_cast<std::shared_ptr<UsbfsDevice>*>(device))->endDelayed();
        return G_SOURCE_REMOVE;
    };
    const auto forget = [](gpointer device) { delete static_cast<std::shared_ptr<UsbfsDevice>*>(device); };
    g_source_set_callback(later, end, new std::shared_ptr<UsbfsDevice>(shared_from_this()), forget);
    g_source_attach(later, g_main_context_get_thread_default());
    g_source_unref(later);
}

void UsbfsDevice::endDelayed() {
    const std::lock_guard lock(mMutex);
    if (mPulled)
        return;
    const bool unplugs = std::any_of(mFlying.begin(), mFlying.end(), [](const Urb& urb) {
        return urb.response().reaction == Reaction::Unplug;
    });
    if (unplugs)
        pullLocked();
    else if (!mHold)
        completeOldest();
}

void UsbfsDevice::endAsWanted(Urb urb) {
    const Reaction reaction = urb.response().reaction;
    end(std::move(urb), statusOf(reaction), reaction == Reaction::Answer || reaction == Reaction::Short);
}

void UsbfsDevice::end(Urb urb, int status, bool dataMoved) {
    urb.finish(status, dataMoved);
    mDone.push_back(std::move(urb));
    mNode.setReady(true);
}

Result UsbfsDevice::reap(UMockdevIoctlData* argument) {
    if (mDone.empty())
        return failed(EAGAIN);
    mDone.front().handOver(argument);
    mDone.pop_front();
    if (mDone.empty())
        mNode.setReady(false);
    return kDone;
}

Result UsbfsDevice::discard(UMockdevIoctlData* argument) {
    // The argument is the client's pointer to its request, not something to be read.
    const gulong address = *reinterpret_cast<const gulong*>(argument->data);
    const auto found =
        std::find_if(mFlying.begin(), mFlying.end(), [address](const Urb& urb) { return urb.isAt(address); });
    if (found == mFlying.end())
        return failed(EINVAL);
    Urb urb = std::move(*found);
    mFlying.erase(found);
    const Reaction reaction = urb.response().reaction;
    if (reaction == Reaction::AnswerAsHostGivesUp) {
        end(std::move(urb), 0, true);
        return failed(EINVAL);
    }
    // On a busy machine the timer of the answer may be late; the phone is not.
    if (urb.isDue() && !waitsForTheHost(reaction)) {
        endAsWanted(std::move(urb));
        return failed(EINVAL);
    }
    end(std::move(urb), -ENOENT, reaction == Reaction::SilentAfterData);
    return kDone;
}

} // namespace zebphones
