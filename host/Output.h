#pragma once

#include "host/Event.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace zebhost {

/** Of all that --json prints; docs/json.md says when it changes. */
constexpr int kJsonSchema = 1;

/** One JSON object, without a line feed. Bytes that are not UTF-8 become U+FFFD. */
std::string jsonLine(uint64_t timeUs, const Event& event);

/** One line for people, without a line feed: seconds since the start, then what happened. Control
 *  characters of a device's texts are shown as "?", bytes that are not UTF-8 as U+FFFD. */
std::string plainLine(uint64_t sinceStartUs, const Event& event, bool colours);

/** What the codes of the interest descriptions stand for; "" for an unknown one. */
std::string interestInWords(std::string_view code);

/** Where the events of a run go, a line each, at once. [any-thread] */
class Output {
public:
    enum class Form { Plain, Coloured, Json };

    /** file stays the caller's. */
    Output(std::FILE* file, Form form);

    void report(const Event& event);

    /** Have each event handed to listener once its line is written, with the line's time in µs and on the
     *  thread that reports it. It may report in its turn. Set it before anything is reported. */
    void listen(std::function<void(uint64_t, const Event&)> listener) { mListener = std::move(listener); }

    /** Short for reporting a ViolationEvent. */
    void violation(const std::string& text) { report(ViolationEvent{text}); }

    /** Have every event told, with the time of its line; null ends it. Not while others report. */
    void setWitness(std::function<void(uint64_t timeUs, const Event&)> witness) {
        mWitness = std::move(witness);
    }

    unsigned violations() const;
    /** A line could not be written: nobody reads them any more. */
    bool broken() const;

private:
    uint64_t write(const Event& event);

    std::FILE* const mpFile;
    const Form mForm;
    const uint64_t mStart;
    std::function<void(uint64_t, const Event&)> mListener = [](uint64_t, const Event&) {};
    mutable std::mutex mMutex;
    std::function<void(uint64_t, const Event&)> mWitness;
    unsigned mViolations = 0;
    bool mBroken = false;
};

/** Coloured when file is a terminal and the environment does not set NO_COLOR, else plain. */
Output::Form plainFormFor(std::FILE* file);

} // namespace zebhost
