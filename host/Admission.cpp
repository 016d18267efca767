#include "host/Admission.h"

#include "host/Clock.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zebhost {
namespace {

constexpr uint64_t kNodePatienceUs = 1'000'000;
// Longer than a phone is off the bus after a reset.
constexpr uint64_t kResetPatienceUs = 3'000'000;

bool is(const Verdict& verdict, const char* rule) { return std::string_view(verdict.rule) == rule; }

/** Will the plug-in ask it for the switch? Not a tether, nor a phone that it takes for switched. */
bool isToBeSwitched(const UsbDevice& device, const Verdict& verdict) {
    bool isSwitched = device.descriptors.product == 0x2d00 || device.descriptors.product == 0x2d01;
    return !is(verdict, "tether-rndis") && !(is(verdict, "accessory-mode") && isSwitched);
}

} // namespace

Admission::Admission(Loop& loop, Output& output, const PolicySettings& settings,
                     const std::function<void(const std::string& port)>& retry) :
    mOutput(output),
    mSettings(settings),
    mNodes(loop, Machine(), kNodePatienceUs,
           {retry, [this](const UsbDevice& device,
                          const std::string& text) { advise("node-access", device, text); }}),
    mBreaker(settings.maxSwitches),
    mRetries(loop, retry) {}

bool Admission::mayOffer(const UsbDevice& device, const Verdict& verdict) {
    if (mIsStarting && is(verdict, "accessory-mode"))
        mStale.insert(device.port);
    if (needsNode(verdict) && !mNodes.isOpen(device))
        return false;
    if (mStale.erase(device.port) > 0 && !treatStale(device))
        return false;
    return !isToBeSwitched(device, verdict) || isBelowLimit(device);
}

void Admission::unplugged(const std::string& port) {
    mStale.erase(port);
    mNodes.forget(port);
    mRetries.erase(port);
    mBreaker.unplugged(port, monotonicMicroseconds());
}

/** False: it is being reset. */
bool Admission::treatStale(const UsbDevice& device) {
    const std::string found =
        "this phone was in accessory mode already when zebhost started, perhaps left so by "
        "an earlier run, and may not answer";
    if (!mSettings.resetStale) {
        advise("stale-accessory", device, found + ": replug it, or start zebhost with --reset-stale");
        return true;
    }
    if (int error = resetPort(device); error != 0) {
        advise("stale-accessory", device,
               found + ": its port can't be reset (" + std::strerror(error) + "), so replug it");
        return true;
    }
    advise("stale-accessory", device,
           found + ": its port was reset, once; if it does not come back, replug it");
    mRetries.set(device.port, kResetPatienceUs);
    return false;
}

bool Admission::isBelowLimit(const UsbDevice& device) {
    uint64_t now = monotonicMicroseconds();
    SwitchBreaker::Answer answer = mBreaker.ask(device.port, now);
    if (answer == SwitchBreaker::Answer::Go)
        return true;
    if (answer == SwitchBreaker::Answer::JustClosed)
        advise("switch-limit", device,
               "a phone at port " + device.port + " was to be switched " +
                   std::to_string(mSettings.maxSwitches) +
                   " times within a minute and keeps coming back in its own mode: it is left alone for a "
                   "minute. "
                   "Unplug it for five seconds to try at once, or change the limit by --max-switches");
    // Also for what came to the closed port meanwhile.
    mRetries.set(device.port, mBreaker.closedFor(device.port, now));
    return false;
}

void Admission::advise(const char* topic, const UsbDevice& device, const std::string& text) {
    mOutput.report(AdviceEvent{topic, device.address(), text});
}

int resetPort(const UsbDevice& device) {
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "/dev/bus/usb/%03d/%03d", device.bus, device.device);
    int node = open(path.data(), O_RDWR | O_CLOEXEC);
    if (node < 0)
        return errno;
    int error = ioctl(node, USBDEVFS_RESET, nullptr) == 0 ? 0 : errno;
    close(node);
    return error;
}

} // namespace zebhost
