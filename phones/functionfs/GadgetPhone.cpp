#include "phones/functionfs/GadgetPhone.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace zebphones {
namespace {

using namespace std::chrono_literals;

// Between taking the start request and leaving the bus, as phones do.
constexpr auto kBeforeLeaving = 10ms;
constexpr auto kAway = 100ms;

std::int64_t nowUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

std::string hex(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string result;
    for (const std::uint8_t byte : bytes) {
        result += kDigits[byte >> 4U];
        result += kDigits[byte & 0xfU];
    }
    return result;
}

void notePlug(std::FILE* record, const char* event, const UsbFace& face) {
    std::fprintf(record, "{\"time_us\":%" PRId64 ",\"event\":\"%s\",\"vendor\":\"%s\",\"product\":\"%s\"}\n",
                 nowUs(), event, hexId(face.vendor).c_str(), hexId(face.product).c_str());
    std::fflush(record);
}

void noteRequest(std::FILE* record, std::int64_t timeUs, const SetupPacket& setup, Reaction reaction,
                 std::span<const std::uint8_t> data) {
    std::fprintf(record,
                 "{\"time_us\":%" PRId64 ",\"event\":\"request\",\"type\":%d,\"request\":%d,\"value\":%d,"
                 "\"index\":%d,\"length\":%d,\"answered\":%s,\"bytes\":\"%s\"}\n",
                 timeUs, setup.requestType, setup.request, setup.value, setup.index, setup.length,
                 reaction == Reaction::Answer ? "true" : "false", hex(data).c_str());
    std::fflush(record);
}

} // namespace

GadgetPhone::GadgetPhone(PhoneDescription description, std::string controller, std::FILE* record) :
    mModel(std::move(description)),
    mController(std::move(controller)),
    mpRecord(record),
    mNormal(mController + "-normal", mModel.description().normal),
    mAccessory(mController + "-accessory", mModel.description().accessory) {}

void GadgetPhone::run(int stopFd) {
    plug();
    while (true) {
        pollfd watched[] = {{stopFd, POLLIN, 0}, {gadget().controlFd(), POLLIN, 0}};
        if (::poll(watched, 2, -1) < 0)
            throw std::system_error(errno, std::generic_category(), "poll");
        if (watched[0].revents != 0)
            break;
        handleEvent();
        if (mModel.switchRequested())
            switchToAccessoryMode();
    }
    unplug();
}

void GadgetPhone::plug() {
    gadget().plug(mController);
    notePlug(mpRecord, "plugged", mModel.face());
}

void GadgetPhone::unplug() {
    gadget().unplug();
    notePlug(mpRecord, "unplugged", mModel.face());
}

void GadgetPhone::handleEvent() {
    const std::optional<SetupPacket> setup = gadget().nextRequest();
    if (!setup)
        return;
    const std::int64_t arrived = nowUs();
    const Response response = mModel.foresee(*setup);
    std::this_thread::sleep_for(response.delay);
    const std::vector<std::uint8_t> moved = reply(*setup, response);
    mModel.answer(*setup, moved);
    noteRequest(mpRecord, arrived, *setup, response.reaction, moved);
}

std::vector<std::uint8_t> GadgetPhone::reply(const SetupPacket& setup, const Response& response) {
    if (response.reaction != Reaction::Answer && response.reaction != Reaction::Stall)
        throw std::logic_error("a gadget cannot show this reaction");
    std::vector<std::uint8_t> data;
    if (response.reaction == Reaction::Stall) {
        gadget().stall(setup);
    } else if (setup.toHost()) {
        data = response.data;
        gadget().send(data);
    } else {
        data.resize(setup.length);
        gadget().receive(data);
    }
    return data;
}

void GadgetPhone::switchToAccessoryMode() {
    std::this_thread::sleep_for(kBeforeLeaving);
    unplug();
    std::this_thread::sleep_for(kAway);
    mModel.reappearInAccessoryMode();
    plug();
}

} // namespace zebphones
