#pragma once

#include "host/Event.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace zebhost {

/**
 * Follows each phone by its port, through the switch to accessory mode, and tells how long what
 * took once it can be connected to. A phone that the plug-in was about to switch when it left, and
 * a device that comes to the same port within ten seconds, are taken for the same phone.
 *
 * Stages: interest, offer, entity, start (the plug-in's log says that it asks for the switch; not
 * known when several phones are being switched), left, back, published, command.
 */
class StageTimes {
public:
    using Report = std::function<void(const Event&)>;

    explicit StageTimes(Report report) : mReport(std::move(report)) {}

    /** An event of the run, and when it was. */
    void take(uint64_t nowUs, const Event& event);

private:
    struct Story {
        uint64_t begin;
        bool isTether = false;
        bool isTold = false;
        std::optional<uint64_t> left{};
        /** The plug-in may be switching it. */
        bool isCandidate = false;
        /** When it was asked to switch: the plug-in may lose it before the system tells that it has left. */
        std::optional<uint64_t> asked{};
        std::vector<StoryEvent::Stage> stages{};
    };

    // One for each kind of event; for any other nothing happens.
    void on(uint64_t now, const DeviceEvent& event);
    void on(uint64_t now, const VerdictEvent& event);
    void on(uint64_t now, const InterestEvent& event);
    void on(uint64_t now, const OfferEvent& event);
    void on(uint64_t now, const EntityEvent& event);
    void on(uint64_t now, const ValueEvent& event);
    void on(uint64_t now, const LogEvent& event);
    template <class Other>
    void on(uint64_t, const Other&) {}

    void plugged(uint64_t now, const std::string& port);
    void unplugged(uint64_t now, const std::string& port);
    void mark(uint64_t now, const std::string& port, const char* stage);
    void tell(Story& story, const UsbAddress& address);

    Report mReport;
    std::map<std::string, Story> mStories;
    /** Entities that are alive, by their numbers. */
    std::map<uint32_t, UsbAddress> mEntities;
};

} // namespace zebhost
