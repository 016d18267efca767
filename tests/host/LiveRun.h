// "zebhost run", going on in a thread of its own while a test plugs and unplugs.
#pragma once

#include "host/Run.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace zebhost {

class LiveRun {
public:
    explicit LiveRun(RunOptions options);
    ~LiveRun();
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;

    /** Read lines until one of them has all these members, and return it. Fails the test, and returns
     *  null, when none comes within ten seconds. */
    nlohmann::json waitFor(const nlohmann::json& members);

    /** Read so many lines; false when it does not tell as many within ten seconds. */
    bool read(size_t lines);

    /** Read what comes within that time. */
    void readFor(std::chrono::milliseconds time);

    /** End it by SIGTERM, and read the rest. */
    ExitStatus end();

    const std::vector<nlohmann::json>& lines() const { return mLines; }
    /** What was read so far, each line in short: "entity published", "value zebcmd" and so on. */
    std::vector<std::string> story() const;
    /** The given member of every line of this kind of event. */
    std::vector<std::string> of(const std::string& event, const std::string& member) const;

private:
    bool readLine();
    bool fill(int patienceMs);

    std::FILE* mpWriter;
    int mReader;
    std::string mUnread;
    std::vector<nlohmann::json> mLines;
    ExitStatus mStatus = kExitFailed;
    std::thread mThread;
};

} // namespace zebhost
