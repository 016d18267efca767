// "zebhost run" with the real plug-in while every phone of the catalogue is plugged, and
// what was told of each.
#pragma once

#include "phones/Catalogue.h"
#include "phones/usbfs/LivePhones.h"
#include "tests/host/LiveRun.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace zebtest {

// What a run told of one port.
struct Story {
    struct Verdict {
        std::string rule;
        bool offered;
    };
    struct Interest {
        int level;
        std::string description;
    };
    std::vector<Verdict> verdicts{};
    std::vector<Interest> interests{};
    // In order: "added", "published", "lost", "destroyed", and the commands that were answered.
    std::vector<std::string> entities{};

    // As a phone's file would say it; "" while the host has told of nothing that came of the phone.
    std::string outcome() const;
};

// Follows the lines of a run in order.
class Stories {
public:
    void read(const nlohmann::json& line);
    // By the kernel's name of the port.
    const Story& of(const std::string& port) { return mStories[port]; }
    // Looks for a tether's link that did not find it.
    std::size_t vainLooks() const { return mVainLooks; }
    // Devices that came and went.
    std::size_t changes() const { return mChanges; }

private:
    void readEntity(const nlohmann::json& line);

    std::map<std::string, Story> mStories;
    // The port of each entity.
    std::map<int, std::string> mEntities;
    std::size_t mVainLooks = 0;
    std::size_t mChanges = 0;
};

class CatalogueRun {
public:
    // What became of a phone, and what it had been sent in all its modes.
    struct Result {
        Story story{};
        // As a phone's file would say it.
        std::string outcome{};
        std::size_t calls = 0;
        std::vector<zebphones::Exchange> received{};
    };

    // Plays the catalogue, once in the life of the program.
    static const CatalogueRun& instance();

    const Result& of(const std::string& phone) const { return mResults.at(phone); }
    const std::vector<std::string>& violations() const { return mViolations; }
    zebhost::ExitStatus status() const { return mStatus; }

private:
    // Each with the port that it is plugged into.
    using Files = std::map<int, zebphones::PhoneFile>;

    using Properties = std::vector<std::pair<std::string, std::string>>;

    CatalogueRun();
    // One host with these properties, for all these phones in turn.
    void run(zebphones::Testbed& bed, const Properties& properties, const std::vector<Files>& turns);
    // Until everything has come out as the files say, or for too long.
    void play(zebhost::LiveRun& run, zebphones::LivePhones& phones, const Files& files);
    void stepUntil(zebhost::LiveRun& run, zebphones::LivePhones& phones, const std::function<bool()>& done);
    bool isAsExpected(const zebphones::LivePhones& phones, const Files& files);
    std::string outcomeAt(const zebphones::LivePhones& phones, int port);
    void lookAt(zebhost::LiveRun& run);

    std::size_t mRead = 0;
    Stories mStories;
    std::map<std::string, Result> mResults;
    std::vector<std::string> mViolations;
    zebhost::ExitStatus mStatus = zebhost::kExitDone;
};

} // namespace zebtest
