#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct libusb_context;
struct libusb_device_handle;
struct libusb_transfer;

namespace zebtest {

/**
 * Stands between the plug-in and libusb in these programs: notes every call in the record of the test's host
 * and passes it on, or makes it fail as told. A transfer that comes back is noted too, as transferFinished.
 * Devices are noted by bus and number ("001/002"), which libusb is asked for without a note. [host-thread]
 */
class LibUsbSpy {
public:
    /** A libusb function's result instead of a call; 0 passes the call on. Reset after use. */
    int nextInit = 0;
    int nextDeviceList = 0;
    int nextOpen = 0;
    int nextEvents = 0;
    bool nextAllocationFails = false;
    /** The next list of devices is an empty one. */
    bool nextListIsEmpty = false;

    /** The limit of requests with these numbers becomes short, so that a silent phone costs no half second;
     *  others have none. */
    struct Hurry {
        int request = -1;
        int index = 0;
    } hurry;

    /** What libusb tells of the next transfer that comes back, instead of how it went. */
    struct Outcome {
        int status;
        int length;
    };
    std::optional<Outcome> nextOutcome;

    /** Bus and number that libusb tells of every device but the root hub; 0: the real ones. */
    struct Told {
        std::uint8_t bus = 0;
        std::uint8_t address = 0;
    } told;

    /** Run inside the libusb function of that name, after it was noted and before libusb does it. */
    std::map<std::string, std::function<void()>, std::less<>> on;

    /** What the plug-in wants to be told of descriptors with, and for whom. */
    struct Notifiers {
        void (*added)(int descriptor, short events, void* user) = nullptr;
        void (*removed)(int descriptor, void* user) = nullptr;
        void* user = nullptr;
    } notifiers;

    /** The last ones that were made; they may be gone. */
    libusb_context* context = nullptr;
    libusb_device_handle* handle = nullptr;
    libusb_transfer* transfer = nullptr;
    /** The last list of devices, in its order, by their real bus and number. */
    std::vector<std::string> devices;
    /** The last list of descriptors, in its order, with the events that libusb waits for. */
    std::vector<std::pair<int, int>> pollFds;

    static LibUsbSpy& instance();
    /** Forget everything, fail nothing. */
    static void reset();
};

} // namespace zebtest
