#include "phones/functionfs/GadgetPhone.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <system_error>
#include <thread>
#include <utility>

namespace zebphones {
namespace {

using namespace std::chrono_literals;

// Longer than a host waits for an answer.
constexpr auto kSilence = 600ms;

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
    mNormal(mController + "-normal", mModel.description().normal) {
    if (const UsbFace& face = mModel.description().accessory; !face.interfaces.empty())
        mAccessory.emplace(mController + "-accessory", face);
    if (const auto& face = mModel.description().accessoryWithAudio)
        mWithAudio.emplace(mController + "-audio", *face);
}

Gadget& GadgetPhone::gadget() {
    const UsbFace* face = &mModel.face();
    if (face == &mModel.description().normal)
        return mNormal;
    return face == &mModel.description().accessory ? mAccessory.value() : mWithAudio.value();
}

void GadgetPhone::run(int stopFd) {
    plug();
    while (true) {
        // One that has dropped off has no events any more.
        pollfd watched[] = {{stopFd, POLLIN, 0}, {mPlugged ? gadget().controlFd() : -1, POLLIN, 0}};
        const int ready = ::poll(watched, 2, untilItReverts());
        if (ready < 0)
            throw std::system_error(errno, std::generic_category(), "poll");
        if (watched[0].revents != 0)
            break;
        if (ready == 0) {
            change(&PhoneModel::reappearInNormalMode);
            continue;
        }
        handleEvent();
        if (mModel.switchRequested()) {
            std::this_thread::sleep_for(mModel.description().startTold);
            change(&PhoneModel::reappearInAccessoryMode);
        }
    }
    unplug();
}

void GadgetPhone::plug() {
    gadget().plug(mController);
    mPlugged = true;
    notePlug(mpRecord, "plugged", mModel.face());
}

void GadgetPhone::unplug() {
    if (!std::exchange(mPlugged, false))
        return;
    gadget().unplug();
    notePlug(mpRecord, "unplugged", mModel.face());
}

int GadgetPhone::untilItReverts() const {
    if (!mReverts || !mPlugged)
        return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*mReverts - std::chrono::steady_clock::now());
    return static_cast<int>(std::max(left, 0ms).count());
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
    std::vector<std::uint8_t> data;
    switch (response.reaction) {
    case Reaction::Unplug:
        unplug();
        break;
    case Reaction::Silent:
        // Whatever is done with the request answers or stalls it; so nothing, until nobody waits any more.
        std::this_thread::sleep_for(kSilence);
        gadget().stall(setup);
        break;
    case Reaction::Stall:
        gadget().stall(setup);
        break;
    default:
        if (setup.toHost()) {
            data = response.data;
            gadget().send(data);
        } else {
            data.resize(setup.length);
            gadget().receive(data);
        }
    }
    return data;
}

// Off the bus, and back in the other mode.
void GadgetPhone::change(void (PhoneModel::*reappear)()) {
    const PhoneDescription& phone = mModel.description();
    unplug();
    std::this_thread::sleep_for(phone.away);
    (mModel.*reappear)();
    plug();
    mReverts.reset();
    if (mModel.inAccessoryMode() && phone.reverts)
        mReverts = std::chrono::steady_clock::now() + *phone.reverts;
}

} // namespace zebphones
