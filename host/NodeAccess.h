#pragma once

#include "host/Deadlines.h"
#include "host/Loop.h"
#include "host/Policy.h"
#include "host/UsbDevice.h"
#include "host/doctor/Machine.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace zebhost {

/**
 * Waits until device nodes can be opened. A device is often announced before its node is there or
 * has its rights; the plug-in looks once and gives up without a word.
 */
class NodeAccess {
public:
    struct Handlers {
        /** The node of what is at this port can be opened now. */
        std::function<void(const std::string& port)> opened;
        /** It could not within the patience; text says why and what to do. It is still waited for. */
        std::function<void(const UsbDevice& device, const std::string& text)> refused;
    };

    /** The handlers are called from the loop. */
    NodeAccess(Loop& loop, Machine machine, uint64_t patienceUs, Handlers handlers);
    ~NodeAccess();
    NodeAccess(const NodeAccess&) = delete;
    NodeAccess& operator=(const NodeAccess&) = delete;

    /** Can it be opened now? If not, it is waited for. */
    bool isOpen(const UsbDevice& device);

    /** What is at this port is not waited for any more. */
    void forget(const std::string& port);

private:
    bool canBeOpened(const UsbDevice& device) const;
    void watchFolders(const UsbDevice& device);
    void lookAgain();
    void complain(const std::string& port);

    Loop& mLoop;
    const Machine mMachine;
    const uint64_t mPatienceUs;
    Handlers mHandlers;
    /** By port. */
    std::map<std::string, UsbDevice> mWaiting;
    Deadlines mPatience;
    int mInotify = -1;
    std::unique_ptr<Watch> mWatch;
};

/** Where the kernel's nodes of devices are. */
inline constexpr char kUsbNodes[] = "/dev/bus/usb";

/** There are none at all, and what to do. */
extern const char kNoUsbNodes[];

/** Will the plug-in open what is judged so? It looks at the network for a tether and never opens it. */
bool needsNode(const Verdict& verdict);

/** What a run would do with a device, as things are now: "offered: ...", "not offered: ...". */
std::string standing(const Verdict& verdict, const DeviceNode& node);

/** What is wrong with the node of a device that can't be opened, and what to do: one sentence. */
std::string nodeAdvice(const DeviceNode& node, const UsbDevice& device);

} // namespace zebhost
