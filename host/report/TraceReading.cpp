#include "host/report/TraceReading.h"

#include "host/Plugin.h"

#include <algorithm>
#include <fstream>

namespace zebhost {
namespace {

using Json = nlohmann::json;

constexpr int kFormat = 1;

/** Puts events where they belong. */
class Sorter {
public:
    void take(const Json& event) {
        std::string phase = event.at("ph");
        TracedTrack& track = mTracks[event.at("tid").get<int>()];
        if (phase == "M") {
            if (event.at("name") == "thread_name")
                track.name = event.at("args").at("name");
            return;
        }
        double at = event.at("ts");
        mRead.first = mRead.first == 0 ? at : mRead.first;
        mRead.last = at;
        if (phase == "i")
            instant(track, event, at);
        else if (phase == "B" || phase == "b")
            begin(track, event, at, phase == "b");
        else
            end(track, event, at, phase == "e");
    }

    ReadTrace finish() {
        if (!mRead.about.is_object() || mRead.about.value("format", 0) != kFormat)
            throw std::runtime_error("it has no head, or one of another version");
        for (auto& [number, track] : mTracks)
            mRead.tracks.push_back(std::move(track));
        return std::move(mRead);
    }

private:
    void instant(TracedTrack& track, const Json& event, double at) {
        if (event.at("cat") == "trace")
            mRead.about = event.at("args");
        else if (event.at("cat") == "line")
            track.lines.push_back({event.at("args").value("time_us", at), event.at("args")});
    }

    void begin(TracedTrack& track, const Json& event, double at, bool mayOverlap) {
        std::vector<size_t>& running = mRunning[event.at("tid").get<int>()];
        int depth = mayOverlap ? 0 : static_cast<int>(running.size());
        if (mayOverlap)
            mOpen[key(event)] = track.spans.size();
        else
            running.push_back(track.spans.size());
        track.spans.push_back(
            {event.at("cat"), event.at("name"), at, {}, event.at("args"), Json::object(), depth});
    }

    void end(TracedTrack& track, const Json& event, double at, bool mayOverlap) {
        std::vector<size_t>& running = mRunning[event.at("tid").get<int>()];
        if (!mayOverlap && running.empty())
            throw std::runtime_error("something ends that has not begun");
        size_t index = mayOverlap ? mOpen.at(key(event)) : running.back();
        if (!mayOverlap)
            running.pop_back();
        track.spans.at(index).end = at;
        track.spans.at(index).result = event.at("args");
    }

    static std::string key(const Json& event) {
        return event.at("cat").get<std::string>() + event.at("id").dump();
    }

    ReadTrace mRead;
    std::map<int, TracedTrack> mTracks;
    /** By track, the calls that run; by kind and number, what may overlap. */
    std::map<int, std::vector<size_t>> mRunning;
    std::map<std::string, size_t> mOpen;
};

ReadTrace sorted(const Json& events) {
    Sorter sorter;
    size_t number = 0;
    try {
        for (const Json& event : events) {
            ++number;
            sorter.take(event);
        }
        return sorter.finish();
    } catch (const std::runtime_error&) {
        throw;
    } catch (const std::exception&) {
        // Of the JSON library or a container: about members and types, which no reader of a report knows.
        throw std::runtime_error("its event " + std::to_string(number) +
                                 " is not as \"zebhost run --trace\" writes it");
    }
}

} // namespace

ReadTrace readTrace(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        throw HostError("there is no trace " + path);
    try {
        return sorted(Json::parse(file));
    } catch (const Json::parse_error& error) {
        throw HostError(path + " is no trace of zebhost's: it is no JSON at byte " +
                        std::to_string(error.byte));
    } catch (const std::exception& error) {
        throw HostError(path + " is no trace of zebhost's: " + error.what());
    }
}

} // namespace zebhost
