// One phone's behaviour, without a transport: what it shows of itself in its two
// modes, how it answers the vendor requests of the accessory protocol, where a
// script makes it fail, and what it was sent.
//
// A transport (an emulated usbfs, a gadget of the kernel) hands every control
// request that reaches the phone to answer() and plays the Response. A device that
// is no phone is a model without a protocol version: it stalls whatever it is asked.
//
// Passive and without a lock: the transport guards it.
#pragma once

#include "phones/UsbFace.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zebphones {

// The vendor requests of the accessory protocol.
inline constexpr std::uint8_t kGetProtocol = 51;
inline constexpr std::uint8_t kSendString = 52;
inline constexpr std::uint8_t kStartAccessory = 53;
inline constexpr std::uint8_t kSetAudioMode = 58;
inline constexpr std::size_t kStringCount = 6;

struct SetupPacket {
    std::uint8_t requestType = 0;
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint16_t length = 0;

    // From the eight bytes on the wire.
    static SetupPacket fromBytes(std::span<const std::uint8_t, 8> bytes);
    bool toHost() const { return (requestType & 0x80U) != 0; }
    bool operator==(const SetupPacket&) const = default;
};

// How a request goes. What a transport can't show, it must say.
enum class Reaction {
    Answer,
    Stall,
    // Ends well, but only Fault::moved bytes of data went over the bus.
    Short,
    // No answer: nothing moved, and the request ends only when the host gives it up.
    Silent,
    // All the data moved, yet the request ends only when the host gives it up.
    SilentAfterData,
    // As Silent, but the answer comes in the very moment that the host gives up.
    AnswerAsHostGivesUp,
    BusError,
    Overflow,
    // The request ends because the phone has gone; the node is still there.
    Gone,
    // The phone is pulled out while the request is pending.
    Unplug,
    // The request never leaves the host: its kernel says ENODEV, or ENOMEM.
    RefusedNoDevice,
    RefusedNoMemory,
};

inline constexpr std::uint16_t kAnyIndex = 0xffff;

// A row of the script: what happens to one request. The first row that matches counts.
struct Fault {
    std::uint8_t request = 0;
    std::uint16_t index = kAnyIndex;
    Reaction reaction = Reaction::Answer;
    std::size_t moved = 0;
    // The phone thinks this long before it reacts.
    std::chrono::milliseconds delay{0};
};

struct PhoneDescription {
    std::string name{};
    UsbFace normal{};
    // What the phone comes back as after a switch.
    UsbFace accessory{};
    // The same for a host that has asked for audio; absent: as without.
    std::optional<UsbFace> accessoryWithAudio{};
    // Absent: the device knows nothing of the protocol and stalls its requests.
    std::optional<std::uint16_t> protocolVersion{};
    // The protocol in a phone's user space refuses empty strings; the kernel's takes them.
    bool stallsEmptyStrings = false;
    // Every answer takes this long.
    std::chrono::milliseconds delay{0};
    // The phone's kernel acknowledges request 53 at once; who makes the switch is told so much later.
    std::chrono::milliseconds startTold{15};
    // Off the bus for so long when it switches.
    std::chrono::milliseconds away{500};
    // In accessory mode for so long, then it falls back; absent: it stays.
    std::optional<std::chrono::milliseconds> reverts{};
    std::vector<Fault> faults{};
};

// What a transport is to do with a request.
struct Response {
    Reaction reaction = Reaction::Stall;
    // Device to host: the bytes to hand over, already cut to what moves.
    std::vector<std::uint8_t> data{};
    // Data bytes that move, in either direction.
    std::size_t moved = 0;
    std::chrono::milliseconds delay{0};
};

// A request that reached the phone.
struct Exchange {
    SetupPacket setup{};
    // Host to device: what came with it.
    std::vector<std::uint8_t> data{};
    Reaction reaction = Reaction::Answer;
};

class PhoneModel {
public:
    explicit PhoneModel(PhoneDescription description);

    const PhoneDescription& description() const { return mDescription; }
    // The face it shows now.
    const UsbFace& face() const;

    // What answer() will say. A transport that has to take or refuse the data before it
    // sees them asks first; nothing is written down.
    Response foresee(const SetupPacket& setup) const;
    // A control request; data is what the host sends with it.
    Response answer(const SetupPacket& setup, std::span<const std::uint8_t> data);

    // A string that was kept; absent until it was sent.
    const std::optional<std::string>& string(std::size_t index) const { return mStrings.at(index); }
    // Request 53 was answered, the phone obeys it, and the switch has not been made yet. It obeys only a
    // host that has told its manufacturer and model: any other leaves the phone as it is, unawares.
    bool switchRequested() const { return mSwitchRequested; }
    bool inAccessoryMode() const { return mInAccessoryMode; }
    // The transport has taken the phone off the bus and plugs it again as face().
    void reappearInAccessoryMode();
    void reappearInNormalMode();

    const std::vector<Exchange>& received() const { return mReceived; }
    void setFaults(std::vector<Fault> faults) { mDescription.faults = std::move(faults); }

private:
    const Fault* faultFor(const SetupPacket& setup) const;
    Response usualResponse(const SetupPacket& setup) const;
    bool accepts(const SetupPacket& setup) const;
    void obey(const SetupPacket& setup, std::span<const std::uint8_t> data);
    void keep(std::uint16_t index, std::span<const std::uint8_t> text);
    bool isTold(std::size_t index) const;
    void forget();

    PhoneDescription mDescription;
    std::array<std::optional<std::string>, kStringCount> mStrings;
    bool mAudioWanted = false;
    // The face that it has come back with.
    bool mHasAudio = false;
    bool mSwitchRequested = false;
    bool mInAccessoryMode = false;
    std::vector<Exchange> mReceived;
};

} // namespace zebphones
