#pragma once

#include "host/UsbDevice.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zebhost {

/** The first of all: what is going to be told, and by whom. */
struct RunEvent {
    int schema;
    std::string version;
};

/** A device was plugged ("add") or has gone ("remove"). */
struct DeviceEvent {
    const char* action;
    UsbAddress address;
    std::string vendor;
    std::string product;
    std::string name;
};

/** What the policy says of a device that was plugged or has changed. */
struct VerdictEvent {
    UsbAddress address;
    bool offered;
    /** In a dry run nothing is offered, whatever the verdict. */
    bool dryRun;
    const char* rule;
    std::string reason;
};

/** The host has something to say that a user can act on. topic is a name for programs. */
struct AdviceEvent {
    const char* topic;
    UsbAddress address;
    std::string text;
};

/** How much the plug-in wants a device, and its code for why. */
struct InterestEvent {
    UsbAddress address;
    int level;
    std::string description;
};

/** The plug-in is given a device that it wants. */
struct OfferEvent {
    UsbAddress address;
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

/** A phone can be connected to: what happened since it was plugged, also under other numbers. */
struct StoryEvent {
    struct Stage {
        const char* name;
        uint64_t afterUs;
    };

    UsbAddress address;
    /** "tether" or "accessory". */
    const char* kind;
    /** In the order of time; the last one is the end. */
    std::vector<Stage> stages;
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
using Event =
    std::variant<RunEvent, DeviceEvent, VerdictEvent, AdviceEvent, InterestEvent, OfferEvent, EntityEvent,
                 ValueEvent, StoryEvent, LogEvent, StartedEvent, StoppedEvent, ViolationEvent>;

} // namespace zebhost
