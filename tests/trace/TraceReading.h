// A trace, as a test reads it.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <unistd.h>
#include <vector>

namespace zebhost {

/** A file that goes with its test. */
class AFile {
public:
    AFile() :
        mPath(std::filesystem::temp_directory_path() / ("trace-" + std::to_string(getpid()) + ".json")) {}
    ~AFile() { std::filesystem::remove(mPath); }

    std::string path() const { return mPath; }
    std::string text() const {
        std::ifstream file(mPath);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /** Throws when it is no valid JSON. */
    std::vector<nlohmann::json> events() const {
        return nlohmann::json::parse(text()).get<std::vector<nlohmann::json>>();
    }

private:
    const std::filesystem::path mPath;
};

/** The names of the tracks by their numbers. */
inline std::map<int, std::string> trackNames(const std::vector<nlohmann::json>& events) {
    std::map<int, std::string> names;
    for (const nlohmann::json& event : events) {
        if (event.value("name", "") == "thread_name")
            names[event["tid"]] = event["args"]["name"];
    }
    return names;
}

/** What is on a track, each in short: "B offerDevice", "e string 0: manufacturer". Its metadata is left out.
 */
inline std::vector<std::string> onTrack(const std::vector<nlohmann::json>& events, const std::string& track) {
    std::map<int, std::string> names = trackNames(events);
    std::vector<std::string> told;
    for (const nlohmann::json& event : events) {
        std::string phase = event["ph"];
        if (names[event["tid"]] == track && phase != "M" && phase != "E")
            told.push_back(phase + " " + event["name"].get<std::string>());
    }
    return told;
}

inline bool timesNeverRunBack(const std::vector<nlohmann::json>& events) {
    double last = 0;
    for (const nlohmann::json& event : events) {
        if (event["ph"] == "M")
            continue;
        if (event["ts"] < last)
            return false;
        last = event["ts"];
    }
    return true;
}

} // namespace zebhost
