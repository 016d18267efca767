#pragma once

#include "tests/host/KeptLines.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace zebhost {

/** A file in memory to which a host writes its JSON lines. */
class Lines {
public:
    Lines() : mpFile(open_memstream(&mpText, &mLength)) {}
    ~Lines() {
        std::fflush(mpFile);
        keepLines(text());
        std::fclose(mpFile);
        std::free(mpText);
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    std::FILE* file() const { return mpFile; }
    std::string text() const { return {mpText, mLength}; }

    std::vector<nlohmann::json> all() const {
        std::vector<nlohmann::json> lines;
        std::istringstream stream(text());
        for (std::string line; std::getline(stream, line);)
            lines.push_back(nlohmann::json::parse(line));
        return lines;
    }

    /** The given member of every line of this kind of event. */
    std::vector<std::string> of(const std::string& event, const std::string& member) const {
        std::vector<std::string> values;
        for (const nlohmann::json& line : all()) {
            if (line["event"] == event)
                values.push_back(line[member].is_string() ? line[member].get<std::string>()
                                                          : line[member].dump());
        }
        return values;
    }

    std::vector<std::string> violations() const { return of("violation", "text"); }

private:
    char* mpText = nullptr;
    size_t mLength = 0;
    std::FILE* mpFile;
};

} // namespace zebhost
