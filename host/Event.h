#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace zebhost {

/** Where a device is on the bus; 0/0 for an entity that has no device. */
struct UsbAddress {
    int bus = 0;
    int device = 0;
};

/** A device was plugged ("add") or has gone ("remove"). */
struct DeviceEvent {
    const char* action;
    UsbAddress address;
    std::string vendor;
    std::string product;
    std::string name;
    /** The kernel's name for the place it is plugged in. */
    std::string port;
};

/** What the policy says of a device that was plugged or has changed. */
struct VerdictEvent {
    UsbAddress address;
    std::string port;
    bool offered;
    /** In a dry run nothing is offered, whatever the verdict. */
    bool dryRun;
    const char* rule;
    std::string reason;
};

/** The host has something to say that a user can act on. topic is a name for programs. */
struct AdviceEvent {
    const char* topic;
    /** 0/0 and empty when it is about no device. */
    UsbAddress address;
    std::string port;
    std::string text;
};

/** How much the plug-in wants a device, and its code for why. */
struct InterestEvent {
    UsbAddress address;
    int level;
    std::string description;
};

/** "added" (not for clients yet), "published", "lost" or "destroyed". id is unique in a run. */
struct EntityEvent {
    const char* action;
    uint32_t id;
    UsbAddress address;
};

/** The answer to a fetch of an entity's value. */
struct ValueEvent {
    uint32_t id;
    std::string key;
    int error;
    std::optional<std::string> value;
};

/** A log line of the plug-in. */
struct LogEvent {
    int severity;
    std::string text;
};

struct StartedEvent {
    int error;
};

struct StoppedEvent {
    int error;
};

/** The plug-in has broken the contract. */
struct ViolationEvent {
    std::string text;
};

/** What a run tells. The names of these and their members are also those of the JSON lines. */
using Event = std::variant<DeviceEvent, VerdictEvent, AdviceEvent, InterestEvent, EntityEvent, ValueEvent,
                           LogEvent, StartedEvent, StoppedEvent, ViolationEvent>;

} // namespace zebhost
