#pragma once

#include "host/Event.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace zebhost {

/**
 * Says in one sentence why a phone was not switched, as far as a host can know: from the plug-in's
 * log, from what became of the entity and from when the device left. The log names no device, so
 * when several phones are being switched at once its lines are not counted to any.
 */
class GiveUps {
public:
    using Report = std::function<void(const Event&)>;

    explicit GiveUps(Report report) : mReport(std::move(report)) {}

    /** An event of the run. */
    void take(const Event& event);

private:
    struct Candidate {
        UsbAddress address;
        bool isTold = false;
        /** It was asked to switch. */
        bool isAsked = false;
    };

    void on(const DeviceEvent& event);
    void on(const EntityEvent& event);
    void on(const LogEvent& event);
    template <class Other>
    void on(const Other&) {}

    void tell(Candidate& candidate, const std::string& sentence);

    Report mReport;
    /** Entities that the plug-in may switch, by their numbers. */
    std::map<uint32_t, Candidate> mCandidates;
};

/** What a line of the plug-in's log means for the phone that it is about; none when it is no failure. */
std::optional<std::string> failureOf(const std::string& logLine);

} // namespace zebhost
