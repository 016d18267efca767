#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace zebtest {

/**
 * Stands between the plug-in and libusb in these programs: passes every call on, but first notes what
 * it was (in the fake host's record too: without the context, handle and transfer; a submission as its
 * request, index, length and time limit) or makes it fail as told. [host-thread]
 */
class LibUsbSpy {
public:
    /** A libusb function's result instead of a call; 0 passes the call on. Reset after use. */
    int nextInit = 0;
    int nextDeviceList = 0;
    int nextOpen = 0;
    int nextEvents = 0;
    bool nextAllocationFails = false;

    /** The limit of requests with these numbers becomes short, so that a silent phone costs no half second;
     *  others have none. */
    struct Hurry {
        int request = -1;
        int index = 0;
    } hurry;

    /** What the plug-in wants to be told of descriptors with, and for whom. */
    struct Notifiers {
        void (*added)(int descriptor, short events, void* user) = nullptr;
        void (*removed)(int descriptor, void* user) = nullptr;
        void* user = nullptr;
    } notifiers;

    /** Options that were set, with their values. */
    std::vector<std::pair<int, int>> options;
    /** The time limits of submitted transfers as the plug-in set them, in milliseconds. */
    std::vector<unsigned> timeouts;

    static LibUsbSpy& instance();
    /** Forget everything, fail nothing. */
    static void reset();
};

} // namespace zebtest
