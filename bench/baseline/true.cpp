// Says that it has started, with all libraries that zebhost and the plug-in have between them: what it takes
// to start any program with these.
#include <libudev.h>
#include <libusb.h>
#include <stdexcept>
#include <systemd/sd-event.h>
#include <unistd.h>

int main(int argc, char**) {
    // Never: it is what makes the libraries needed.
    if (argc < 0) {
        udev_new();
        sd_event_new(nullptr);
        libusb_get_version();
        throw std::runtime_error("never");
    }
    return write(STDOUT_FILENO, "started\n", 8) == 8 ? 0 : 1;
}
