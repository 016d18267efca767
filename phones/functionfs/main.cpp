// functionfs-phone CONTROLLER: an accessory phone, plugged into that USB device
// controller of this kernel (such as dummy_udc.0) until SIGTERM or SIGINT. What it was
// asked goes to standard output.
#include "phones/Catalogue.h"
#include "phones/functionfs/GadgetPhone.h"

#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <exception>

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
    if (argc != 2) {
        std::fprintf(stderr, "usage: functionfs-phone CONTROLLER\n");
        return 2;
    }
    try {
        const int stopFd = stopSignals();
        zebphones::GadgetPhone(zebphones::loadPhone("accessory"), argv[1], stdout).run(stopFd);
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "functionfs-phone: %s\n", e.what());
        return 1;
    }
}
