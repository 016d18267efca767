#pragma once

#include <string>
#include <vector>

namespace zebtest {

/**
 * The n-th call that the plug-in makes of one function fails.
 *
 * The functions are the plug-in's imports ("pipe", "libusb_open", ...), its allocations by operator new
 * ("operator new", wherever in the C++ library they are asked for), and libusb's own imports
 * ("libusb: malloc", ...). Only calls from inside the plug-in count.
 */
class Faults {
public:
    /** Stand between the loaded plug-in, libusb and what they import; once in a process. */
    static void install(const char* plugin);

    /** Fail the n-th call from now on (1: the next); 0 only counts. */
    static void arm(const std::string& function, int n);
    /** Fail nothing, but see which functions are called, until disarmed. */
    static void watch();
    static std::vector<std::string> seen();
    static void disarm();
    static bool hasFired();
    /** Calls since arm(). */
    static int calls();

    /** Blocks that were allocated inside the plug-in (or by libusb) and have not been freed. */
    static long liveBlocks();
    /** How often libusb_close was called from inside a transfer's callback, where it would never return. */
    static int closedInsideCallback();
    /** Does the emulated network have the phone's interface? */
    static void setInterfacePresent(bool present);
};

} // namespace zebtest
