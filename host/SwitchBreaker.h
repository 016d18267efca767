#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zebhost {

/**
 * Some phones go back and forth between their modes for ever. Counts how often what is at a port is
 * offered to be switched: after so many within a minute the port is closed for a minute. A port that
 * was empty for five seconds, as when a person replugs, starts anew. Times are µs of one clock.
 */
class SwitchBreaker {
public:
    static constexpr uint64_t kMinuteUs = 60'000'000;
    static constexpr uint64_t kReplugUs = 5'000'000;

    enum class Answer { Go, JustClosed, Closed };

    /** limit 0: never closed. */
    explicit SwitchBreaker(unsigned limit) : mLimit(limit) {}

    /** May what is at this port be offered? "Go" counts. */
    Answer ask(const std::string& port, uint64_t now);

    /** How long a port still is closed; 0 when it is not. */
    uint64_t closedFor(const std::string& port, uint64_t now) const;

    void unplugged(const std::string& port, uint64_t now);

private:
    struct Port {
        std::vector<uint64_t> offers;
        std::optional<uint64_t> closed;
        std::optional<uint64_t> unplugged;
    };

    const unsigned mLimit;
    std::map<std::string, Port> mPorts;
};

} // namespace zebhost
