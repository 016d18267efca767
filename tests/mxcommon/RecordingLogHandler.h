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

/** Throws from the given line on, the first being 1; counts down below 0. */
template <class Exception>
class ThrowingLogHandler : public mxcommon::LogHandler {
public:
    ThrowingLogHandler(int firstLine, Exception exception) : mLeft(firstLine), mException(exception) {}

    void log(int, const char*, const char*) override {
        if (--mLeft <= 0) {
            throw mException;
        }
    }

    int mLeft;
    Exception mException;
};
