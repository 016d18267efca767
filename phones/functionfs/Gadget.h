// One face of a phone as a gadget of this machine's kernel: its folder in configfs and
// a FunctionFS instance, through whose ep0 the control requests come. Made unplugged;
// gone without a trace when destroyed. Needs root, configfs and the modules
// libcomposite and usb_f_fs. Failures of the system are std::system_error.
#pragma once

#include "phones/PhoneModel.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zebphones {

class Gadget {
public:
    // The name is unique among the machine's gadgets.
    Gadget(const std::string& name, const UsbFace& face);
    ~Gadget();
    Gadget(const Gadget&) = delete;
    Gadget& operator=(const Gadget&) = delete;

    void plug(const std::string& controller);
    void unplug();

    // Readable when an event is there; also while a request is unanswered.
    int controlFd() const { return mControl; }
    // The next event, when it is a request. It must be answered before the next call,
    // by the one of the three below that fits.
    std::optional<SetupPacket> nextRequest();
    // All three are false when the host has given the request up meanwhile.
    bool send(std::span<const std::uint8_t> data);
    bool receive(std::vector<std::uint8_t>& data);
    bool stall(const SetupPacket& setup);

private:
    void describe(const UsbFace& face);
    void openFunction(const UsbFace& face);
    void remove() noexcept;

    const std::string mName;
    const std::filesystem::path mGadget;
    const std::filesystem::path mFunction;
    const std::filesystem::path mMountPoint;
    int mControl = -1;
    bool mPlugged = false;
};

} // namespace zebphones
