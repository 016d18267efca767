// A phone of the model on this kernel's own USB: each face a gadget, bound in turn to
// the same controller, and each request answered as the model says. Everything that
// happens is written down as one JSON object a line, stamped with the monotonic clock,
// which is the bus monitor's too.
#pragma once

#include "phones/PhoneModel.h"
#include "phones/functionfs/Gadget.h"

#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace zebphones {

class GadgetPhone {
public:
    // Unplugged until run(). The record is not owned.
    GadgetPhone(PhoneDescription description, std::string controller, std::FILE* record);

    // Plugged and answering until stopFd becomes readable; then unplugged.
    void run(int stopFd);

private:
    Gadget& gadget() { return mModel.inAccessoryMode() ? mAccessory : mNormal; }
    void plug();
    void unplug();
    void handleEvent();
    // The data that moved, in either direction.
    std::vector<std::uint8_t> reply(const SetupPacket& setup, const Response& response);
    void switchToAccessoryMode();

    PhoneModel mModel;
    const std::string mController;
    std::FILE* const mpRecord;
    Gadget mNormal;
    Gadget mAccessory;
};

} // namespace zebphones
