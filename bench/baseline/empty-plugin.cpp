// A plug-in that does nothing: what any C++ library with the plug-in's dependencies costs when it is loaded.
// The function it exports is another one, so that nobody takes it for a discoverer.
#include <libusb.h>
#include <stdexcept>

extern "C" __attribute__((visibility("default"))) int emptyPlugin(int argument) {
    if (argument < 0)
        throw std::runtime_error("never");
    // Never either: it is what makes libusb needed.
    return argument > 1 ? libusb_get_version()->major : argument;
}
