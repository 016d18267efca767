#include "host/NodeAccess.h"

#include <array>
#include <string_view>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

namespace zebhost {
namespace {

constexpr uint32_t kNews = IN_CREATE | IN_MOVED_TO | IN_ATTRIB;

} // namespace

NodeAccess::NodeAccess(Loop& loop, Machine machine, uint64_t patienceUs, Handlers handlers) :
    mLoop(loop),
    mMachine(std::move(machine)),
    mPatienceUs(patienceUs),
    mHandlers(std::move(handlers)),
    mPatience(loop, [this](const std::string& port) { complain(port); }) {}

NodeAccess::~NodeAccess() {
    mWatch.reset();
    if (mInotify >= 0)
        close(mInotify);
}

bool NodeAccess::isOpen(const UsbDevice& device) {
    // Watched before it is looked at: nothing can come in between.
    watchFolders(device);
    if (canBeOpened(device)) {
        forget(device.port);
        return true;
    }
    if (mWaiting.insert_or_assign(device.port, device).second)
        mPatience.set(device.port, mPatienceUs);
    return false;
}

void NodeAccess::forget(const std::string& port) {
    mWaiting.erase(port);
    mPatience.erase(port);
}

bool NodeAccess::canBeOpened(const UsbDevice& device) const {
    return deviceNode(mMachine, device.bus, device.device).canBeOpened;
}

/** Best effort: without it the node is looked at once more when the patience ends. */
void NodeAccess::watchFolders(const UsbDevice& device) {
    if (mInotify < 0) {
        mInotify = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        if (mInotify < 0)
            return;
        mWatch = std::make_unique<Watch>(mLoop, mInotify, EPOLLIN, [this] { lookAgain(); });
    }
    std::filesystem::path node = deviceNode(mMachine, device.bus, device.device).path;
    for (const std::string& folder : {std::string(kUsbNodes), node.parent_path().string()})
        inotify_add_watch(mInotify, mMachine.at(folder).c_str(), kNews);
}

void NodeAccess::lookAgain() {
    std::array<char, 4096> news;
    while (read(mInotify, news.data(), news.size()) > 0) {
    }
    std::vector<std::string> opened;
    for (const auto& [port, device] : mWaiting) {
        // A bus's folder may have come just now.
        watchFolders(device);
        if (canBeOpened(device))
            opened.push_back(port);
    }
    for (const std::string& port : opened) {
        forget(port);
        mHandlers.opened(port);
    }
}

void NodeAccess::complain(const std::string& port) {
    UsbDevice device = mWaiting.at(port);
    if (!canBeOpened(device))
        return mHandlers.refused(device, nodeAdvice(deviceNode(mMachine, device.bus, device.device), device));
    forget(port);
    mHandlers.opened(port);
}

const char kNoUsbNodes[] =
    "there is no /dev/bus/usb, so no USB device can be reached: load the driver of the USB host "
    "controller; in a container, pass /dev/bus/usb in";

bool needsNode(const Verdict& verdict) {
    return verdict.isOffered && std::string_view(verdict.rule) != "tether-rndis";
}

std::string standing(const Verdict& verdict, const DeviceNode& node) {
    if (!verdict.isOffered)
        return "not offered: " + verdict.reason;
    if (node.canBeOpened || !needsNode(verdict))
        return "offered: " + verdict.reason;
    return "not offered until " + node.path +
           (node.exists ? " can be opened (" + node.rights + "): " : " is there: ") + verdict.reason;
}

std::string nodeAdvice(const DeviceNode& node, const UsbDevice& device) {
    if (!node.exists)
        return "the node " + node.path +
               " is missing: have udevd or devtmpfs make it; in a container, pass /dev/bus/usb in";
    return "the node " + node.path + " can't be opened (" + node.rights +
           "), so the phone can't be asked: a udev rule is missing. Put SUBSYSTEM==\"usb\", "
           "ATTR{idVendor}==\"" +
           device.vendorId() +
           "\", MODE=\"0660\", GROUP=\"plugdev\" into /etc/udev/rules.d/70-zebhost.rules, join that group, "
           "run "
           "\"udevadm control --reload\" and plug the phone in again; or run zebhost as root";
}

} // namespace zebhost
