#pragma once

#include "host/Deadlines.h"
#include "host/Event.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zebhost {

/**
 * Says in one sentence why a phone was not switched, as far as a host can know: from the plug-in's
 * log, from what became of the entity and from when the device left. The log names no device, so when several
 * phones are being switched at once a line counts for each of them, as something that may be so.
 */
class GiveUps {
public:
    using Report = std::function<void(const Event&)>;

    /** patienceUs: how long the system may take to tell that a phone has left that was asked to switch, or
     * that the plug-in has lost. hearsAll: the log has all lines that matter here, those of severity info
     * too. emptyStrings: the properties whose strings the plug-in sends empty. */
    GiveUps(Loop& loop, uint64_t patienceUs, Report report, bool hearsAll = true,
            std::vector<std::string> emptyStrings = {});

    /** An event of the run. */
    void take(const Event& event);

private:
    struct Candidate {
        UsbAddress address;
        bool isTold = false;
        /** Was it asked to switch? Perhaps: it, or another one at the same time. */
        enum class Asked { No, Perhaps, Yes } asked = Asked::No;
        /** What the log has said, of it or of another one. */
        std::string failure{};
        bool isFailureCertain = false;
    };

    void on(const DeviceEvent& event);
    void on(const EntityEvent& event);
    void on(const LogEvent& event);
    template <class Other>
    void on(const Other&) {}

    void asked();
    void failed(const std::string& sentence);
    void patienceEnded(const std::string& port);
    std::string whyStayed(const Candidate& candidate) const;
    void tell(Candidate& candidate, const std::string& sentence);
    /** Of one that was asked. */
    std::string whyItStayed() const;
    std::string whyItFailed(const std::string& logLine, const std::string& usual) const;

    Report mReport;
    const uint64_t mPatienceUs;
    const bool mHearsAll;
    const std::vector<std::string> mEmptyStrings;
    /** The last event was a line that tells of a failure: who is lost next is whom it meant. */
    bool mHasJustFailed = false;
    /** Entities that the plug-in may switch, by their numbers. */
    std::map<uint32_t, Candidate> mCandidates;
    /** Lost by the plug-in and still plugged, as far as is known; by port. */
    std::map<std::string, Candidate> mLost;
    Deadlines mPatience;
};

/** What a line of the plug-in's log means for the phone that it is about; none when it is no failure. */
std::optional<std::string> failureOf(const std::string& logLine);

} // namespace zebhost
