// A phone of the model on this kernel's own USB: each face a gadget, bound in turn to
// the same controller, and each request answered as the model says. Everything that
// happens is written down as one JSON object a line, stamped with the monotonic clock,
// which is the bus monitor's too.
#pragma once

#include "phones/PhoneModel.h"
#include "phones/functionfs/Gadget.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zebphones {

class GadgetPhone {
public:
    // A phone that a gadget can be (see GadgetLimits.h), unplugged until run(). The record is not owned.
    GadgetPhone(PhoneDescription description, std::string controller, std::FILE* record);

    // Plugged and answering until stopFd becomes readable; then unplugged.
    void run(int stopFd);

private:
    // The one of its present face.
    Gadget& gadget();
    void plug();
    void unplug();
    // In milliseconds, for poll: when the phone falls back to its normal mode.
    int untilItReverts() const;
    void handleEvent();
    // The data that moved, in either direction.
    std::vector<std::uint8_t> reply(const SetupPacket& setup, const Response& response);
    void change(void (PhoneModel::*reappear)());

    PhoneModel mModel;
    const std::string mController;
    bool mPlugged = false;
    std::optional<std::chrono::steady_clock::time_point> mReverts;
    std::FILE* const mpRecord;
    Gadget mNormal;
    // None for what never switches.
    std::optional<Gadget> mAccessory;
    // None for what comes back the same, whatever it is asked for.
    std::optional<Gadget> mWithAudio;
};

} // namespace zebphones
