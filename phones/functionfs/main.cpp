// functionfs-phone CONTROLLER [PHONE]: a phone of the catalogue, plugged into that USB
// device controller of this kernel (such as dummy_udc.0) until SIGTERM or SIGINT. What it
// was asked goes to standard output.
#include "phones/Catalogue.h"
#include "phones/functionfs/GadgetLimits.h"
#include "phones/functionfs/GadgetPhone.h"

#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

namespace {

// The signals that end the phone, as a descriptor.
int stopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: functionfs-phone CONTROLLER [PHONE]    (default: accessory)\n");
        return 2;
    }
    try {
        const int stopFd = stopSignals();
        const zebphones::PhoneDescription phone = zebphones::loadPhone(argc > 2 ? argv[2] : "accessory");
        const zebphones::GadgetLimits limits = zebphones::gadgetLimits(phone);
        if (!limits.possible)
            throw std::runtime_error("a gadget can't show of " + phone.name + " " + limits.lacks);
        if (!limits.lacks.empty()) {
            std::fprintf(stderr, "functionfs-phone: not shown of %s: %s\n", phone.name.c_str(),
                         limits.lacks.c_str());
        }
        zebphones::GadgetPhone(phone, argv[1], stdout).run(stopFd);
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "functionfs-phone: %s\n", e.what());
        return 1;
    }
}
