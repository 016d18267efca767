#include "phones/PhoneModel.h"

#include <algorithm>
#include <utility>

namespace zebphones {
namespace {

constexpr std::uint8_t kVendorToHost = 0xc0;
constexpr std::uint8_t kVendorToDevice = 0x40;
// A phone keeps at most this much of a string and ends it itself.
constexpr std::size_t kLongestString = 255;
// The two strings without which it does not switch.
constexpr std::size_t kManufacturer = 0;
constexpr std::size_t kModel = 1;
// Audio came with this version of the protocol.
constexpr std::uint16_t kVersionWithAudio = 2;

std::uint16_t word(std::uint8_t low, std::uint8_t high) {
    return static_cast<std::uint16_t>(low | (static_cast<unsigned>(high) << 8U));
}

// The phone has taken in the request, whatever the host learns of it.
bool reachesTheProtocol(Reaction reaction) {
    return reaction == Reaction::Answer || reaction == Reaction::SilentAfterData ||
           reaction == Reaction::AnswerAsHostGivesUp;
}

bool neverLeavesTheHost(Reaction reaction) {
    return reaction == Reaction::RefusedNoDevice || reaction == Reaction::RefusedNoMemory;
}

bool isAudioMode(const SetupPacket& setup) {
    return setup.value <= 1 && setup.index == 0 && setup.length == 0;
}

bool movesNothing(Reaction reaction) { return reaction != Reaction::Short && !reachesTheProtocol(reaction); }

void cut(Response& response, std::size_t moved) {
    response.moved = std::min(response.moved, moved);
    if (response.data.size() > response.moved)
        response.data.resize(response.moved);
}

void apply(const Fault& fault, Response& response) {
    response.reaction = fault.reaction;
    response.delay = fault.delay;
    if (fault.reaction == Reaction::Short)
        cut(response, fault.moved);
    else if (movesNothing(fault.reaction))
        cut(response, 0);
}

} // namespace

SetupPacket SetupPacket::fromBytes(std::span<const std::uint8_t, 8> b) {
    return {b[0], b[1], word(b[2], b[3]), word(b[4], b[5]), word(b[6], b[7])};
}

PhoneModel::PhoneModel(PhoneDescription description) : mDescription(std::move(description)) {}

const UsbFace& PhoneModel::face() const {
    if (!mInAccessoryMode)
        return mDescription.normal;
    return mHasAudio ? *mDescription.accessoryWithAudio : mDescription.accessory;
}

Response PhoneModel::foresee(const SetupPacket& setup) const {
    Response response = usualResponse(setup);
    if (const Fault* fault = faultFor(setup))
        apply(*fault, response);
    return response;
}

Response PhoneModel::answer(const SetupPacket& setup, std::span<const std::uint8_t> data) {
    Response response = foresee(setup);
    if (neverLeavesTheHost(response.reaction))
        return response;
    mReceived.push_back({setup, {data.begin(), data.end()}, response.reaction});
    if (reachesTheProtocol(response.reaction))
        obey(setup, data);
    return response;
}

const Fault* PhoneModel::faultFor(const SetupPacket& setup) const {
    const auto matches = [&setup](const Fault& fault) {
        return fault.request == setup.request && (fault.index == kAnyIndex || fault.index == setup.index);
    };
    const auto found = std::find_if(mDescription.faults.begin(), mDescription.faults.end(), matches);
    return found == mDescription.faults.end() ? nullptr : &*found;
}

Response PhoneModel::usualResponse(const SetupPacket& setup) const {
    Response response{.delay = mDescription.delay};
    if (!accepts(setup))
        return response;
    response.reaction = Reaction::Answer;
    response.moved = setup.length;
    if (setup.request == kGetProtocol) {
        const std::uint16_t version = mDescription.protocolVersion.value_or(0);
        response.data = {static_cast<std::uint8_t>(version & 0xffU),
                         static_cast<std::uint8_t>(version >> 8U)};
        response.moved = std::min<std::size_t>(setup.length, response.data.size());
        response.data.resize(response.moved);
    }
    return response;
}

bool PhoneModel::accepts(const SetupPacket& setup) const {
    if (!mDescription.protocolVersion)
        return false;
    if (setup.request == kGetProtocol)
        return setup.requestType == kVendorToHost;
    if (setup.requestType != kVendorToDevice)
        return false;
    if (setup.request == kSendString)
        return setup.length > 0 || !mDescription.stallsEmptyStrings;
    if (setup.request == kSetAudioMode)
        return *mDescription.protocolVersion >= kVersionWithAudio && isAudioMode(setup);
    return setup.request == kStartAccessory;
}

void PhoneModel::obey(const SetupPacket& setup, std::span<const std::uint8_t> data) {
    switch (setup.request) {
    case kGetProtocol:
        forget();
        break;
    case kSendString:
        keep(setup.index, data);
        break;
    case kSetAudioMode:
        mAudioWanted = setup.value == 1;
        break;
    case kStartAccessory:
        mSwitchRequested = isTold(kManufacturer) && isTold(kModel);
        break;
    default:
        break;
    }
}

// A phone takes an index that it does not know, and drops the string.
void PhoneModel::keep(std::uint16_t index, std::span<const std::uint8_t> text) {
    if (index >= kStringCount)
        return;
    const auto kept = text.first(std::min(text.size(), kLongestString));
    mStrings[index] = std::string(kept.begin(), std::find(kept.begin(), kept.end(), 0));
}

bool PhoneModel::isTold(std::size_t index) const { return !mStrings[index].value_or("").empty(); }

void PhoneModel::forget() {
    mStrings.fill(std::nullopt);
    mAudioWanted = false;
    mSwitchRequested = false;
}

// The strings survive the switch: they are what the phone's user is asked about.
void PhoneModel::reappearInAccessoryMode() {
    mInAccessoryMode = true;
    mHasAudio = mAudioWanted && mDescription.accessoryWithAudio;
    mSwitchRequested = false;
}

void PhoneModel::reappearInNormalMode() {
    mInAccessoryMode = false;
    forget();
}

} // namespace zebphones
