#pragma once

#include "mxcommon/LogHandler.h"

#include <mutex>
#include <string>
#include <vector>

/** Keeps lines as "level category: text". Any thread. */
class RecordingLogHandler : public mxcommon::LogHandler {
public:
    void log(int level, const char* category, const char* text) override {
        const std::scoped_lock lock(mMutex);
        mLines.push_back(std::to_string(level) + " " + category + ": " + text);
    }

    std::vector<std::string> lines() const {
        const std::scoped_lock lock(mMutex);
        return mLines;
    }

private:
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
};
