#include "host/GiveUps.h"

#include "host/PropertyAdvice.h"

#include <algorithm>
#include <string_view>

namespace zebhost {
namespace {

constexpr std::string_view kStartLine = "Asking AAP device to switch to accessory mode";
constexpr std::string_view kRefusedLine = "USB transfer failed with status 4";

struct Row {
    /** How the line begins; the first row counts that fits. */
    std::string_view line;
    const char* sentence;
};

constexpr Row kRows[] = {
    {"Device doesn't support AAP protocol",
     "it refused the first question (request 51): it knows no accessory mode, or is no phone"},
    {"Unknown AAP protocol version returned", "it says that it speaks version 0 of the accessory protocol, "
                                              "which is none: accessory mode is off on it"},
    {"USB transfer failed to be transfered completely (0 instead",
     "it did not answer in time: unlock it and plug it in again, or try another cable"},
    {"USB transfer failed to be transfered completely",
     "it sent or took less than it was asked to: it does not speak the accessory protocol properly"},
    {kRefusedLine, "it refused a part of the hand-shake: unlock it, and plug it in again"},
    {"USB transfer failed with status 5", "it left the bus in the middle of the hand-shake"},
    {"USB transfer failed with status", "a request failed on the bus: try another cable or port"},
    {"Submission of control transfer failed",
     "a request could not be sent: the phone has just gone, or the kernel is short of memory"},
    {"Failed to open USB device", "its node could not be opened: does another program hold the phone?"},
    {"Failed to initialise libusb", "libusb could not be started: \"zebhost doctor\" says more"},
};

} // namespace

std::optional<std::string> failureOf(const std::string& logLine) {
    auto row = std::find_if(std::begin(kRows), std::end(kRows),
                            [&logLine](const Row& r) { return logLine.starts_with(r.line); });
    return row == std::end(kRows) ? std::nullopt : std::optional<std::string>(row->sentence);
}

GiveUps::GiveUps(Loop& loop, uint64_t patienceUs, Report report, bool hearsAll,
                 std::vector<std::string> emptyStrings) :
    mReport(std::move(report)),
    mPatienceUs(patienceUs),
    mHearsAll(hearsAll),
    mEmptyStrings(std::move(emptyStrings)),
    mPatience(loop, [this](const std::string& port) { patienceEnded(port); }) {}

void GiveUps::take(const Event& event) {
    std::visit([this](const auto& e) { on(e); }, event);
    const auto* line = std::get_if<LogEvent>(&event);
    mHasJustFailed = line != nullptr && failureOf(line->text).has_value();
}

void GiveUps::on(const DeviceEvent& event) {
    mLost.erase(event.address.port);
    mPatience.erase(event.address.port);
    auto candidate = std::find_if(mCandidates.begin(), mCandidates.end(), [&event](const auto& one) {
        return one.second.address.port == event.address.port;
    });
    if (candidate == mCandidates.end())
        return;
    if (mHearsAll && candidate->second.asked == Candidate::Asked::No)
        tell(candidate->second, "it left the bus before it was asked to switch: it was unplugged, or it does "
                                "not stand the hand-shake");
    mCandidates.erase(candidate);
}

void GiveUps::on(const EntityEvent& event) {
    std::string_view action = event.action;
    if (action == "added") {
        mCandidates.insert_or_assign(event.id, Candidate{event.address});
        return;
    }
    auto candidate = mCandidates.find(event.id);
    if (candidate == mCandidates.end())
        return;
    // That a phone has left to switch can be known to the plug-in before the system tells.
    if (action == "lost") {
        candidate->second.isFailureCertain |= mHasJustFailed;
        mLost.insert_or_assign(event.address.port, candidate->second);
        mPatience.set(event.address.port, mPatienceUs);
    }
    mCandidates.erase(candidate);
}

void GiveUps::on(const LogEvent& event) {
    if (event.text == kStartLine)
        asked();
    else if (std::optional<std::string> failure = failureOf(event.text))
        failed(whyItFailed(event.text, *failure));
}

void GiveUps::asked() {
    using Asked = Candidate::Asked;
    for (auto& [id, candidate] : mCandidates)
        candidate.asked = mCandidates.size() == 1 ? Asked::Yes : std::max(candidate.asked, Asked::Perhaps);
    // The plug-in waits on for one that has acknowledged the request.
    if (mCandidates.size() == 1)
        mPatience.set(mCandidates.begin()->second.address.port, mPatienceUs);
}

void GiveUps::failed(const std::string& sentence) {
    bool isOnly = mCandidates.size() == 1;
    for (auto& [id, candidate] : mCandidates) {
        // Once it is asked it may leave at any moment, which is no failure.
        if (candidate.asked == Candidate::Asked::Yes)
            continue;
        candidate.failure = sentence;
        candidate.isFailureCertain = isOnly;
        if (isOnly && candidate.asked == Candidate::Asked::No)
            tell(candidate, sentence);
    }
}

void GiveUps::patienceEnded(const std::string& port) {
    if (auto lost = mLost.extract(port))
        return tell(lost.mapped(), whyStayed(lost.mapped()));
    for (auto& [id, candidate] : mCandidates) {
        if (candidate.address.port == port && candidate.asked == Candidate::Asked::Yes)
            tell(candidate, whyItStayed());
    }
}

std::string GiveUps::whyStayed(const Candidate& candidate) const {
    constexpr char kOfWhich[] = " (the log does not say of which phone it speaks)";
    if (candidate.asked == Candidate::Asked::Yes)
        return whyItStayed();
    if (!candidate.failure.empty())
        return candidate.isFailureCertain ? candidate.failure : "perhaps " + candidate.failure + kOfWhich;
    if (candidate.asked == Candidate::Asked::Perhaps)
        return "perhaps " + whyItStayed() + kOfWhich;
    return mHearsAll ? "the plug-in gave it up without a word: --log debug may say more"
                     : "the plug-in gave it up: --log info says why";
}

std::string GiveUps::whyItStayed() const {
    const std::string what = "it was asked to switch and stayed as it is: ";
    for (const std::string& property : mEmptyStrings) {
        if (isNeededToSwitch(property))
            return what + "the property " + property +
                   " is empty, and a phone obeys only a host that tells its manufacturer and model";
    }
    return what + "unlock it, and plug it in again";
}

std::string GiveUps::whyItFailed(const std::string& logLine, const std::string& usual) const {
    if (!logLine.starts_with(kRefusedLine) || mEmptyStrings.empty())
        return usual;
    return "it refused a part of the hand-shake: the property " + mEmptyStrings.front() +
           " is empty, and newer phones refuse empty strings";
}

void GiveUps::tell(Candidate& candidate, const std::string& sentence) {
    if (!candidate.isTold)
        mReport(AdviceEvent{"not-switched", candidate.address, "this phone was not switched: " + sentence});
    candidate.isTold = true;
}

} // namespace zebhost
