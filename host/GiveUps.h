#pragma once

#include "host/Deadlines.h"
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

    /** patienceUs: how long the system may take to tell that a phone has left that the plug-in has lost.
     */
    GiveUps(Loop& loop, uint64_t patienceUs, Report report);

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

    void patienceEnded(const std::string& port);
    void tell(Candidate& candidate, const std::string& sentence);

    Report mReport;
    const uint64_t mPatienceUs;
    /** Entities that the plug-in may switch, by their numbers. */
    std::map<uint32_t, Candidate> mCandidates;
    /** Lost by the plug-in and still plugged, as far as is known; by port. */
    std::map<std::string, Candidate> mLost;
    Deadlines mPatience;
};

/** What a line of the plug-in's log means for the phone that it is about; none when it is no failure. */
std::optional<std::string> failureOf(const std::string& logLine);

} // namespace zebhost
