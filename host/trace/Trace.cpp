#include "host/trace/Trace.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace zebhost {
namespace {

constexpr int kFormatVersion = 1;

/** Microseconds with three decimals. */
std::string stamp(uint64_t nanoseconds) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%" PRIu64 ".%03" PRIu64, nanoseconds / 1000, nanoseconds % 1000);
    return text.data();
}

std::string utcNow() {
    std::time_t now = std::time(nullptr);
    std::tm parts{};
    std::array<char, 32> text;
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&now, &parts));
    return text.data();
}

} // namespace

Trace::Trace(std::string path, Clock clock) :
    mFile(std::move(path)), mClock(std::move(clock)), mProcess(",\"pid\":" + std::to_string(getpid())) {
    nameTrack("process_name", kLoopTrack, "zebhost");
    nameTrack("thread_name", kLoopTrack, "host loop");
    mTracks["host loop"] = kLoopTrack;
    instant(kLoopTrack, "trace", "trace",
            TraceArgs()
                .add("format", kFormatVersion)
                .add("program", "zebhost " ZEBHOST_VERSION)
                .add("utc", utcNow())
                .json());
}

Track Trace::track(const std::string& name) {
    std::lock_guard lock(mMutex);
    auto [entry, isNew] = mTracks.try_emplace(name, static_cast<Track>(mTracks.size() + 1));
    if (isNew)
        nameTrack("thread_name", entry->second, name);
    return entry->second;
}

void Trace::begin(Track track, const char* category, std::string_view name, const std::string& args) {
    write({'B', track, category, name}, "", args);
}

void Trace::end(Track track, const std::string& args) { write({'E', track, nullptr, {}}, "", args); }

void Trace::instant(Track track, const char* category, std::string_view name, const std::string& args) {
    write({'i', track, category, name}, ",\"s\":\"t\"", args);
}

void Trace::open(Track track, const char* category, std::string_view name, uint64_t id,
                 const std::string& args) {
    write({'b', track, category, name}, ",\"id\":" + std::to_string(id), args);
}

void Trace::close(Track track, const char* category, std::string_view name, uint64_t id,
                  const std::string& args) {
    write({'e', track, category, name}, ",\"id\":" + std::to_string(id), args);
}

std::string Trace::trouble() const {
    std::lock_guard lock(mMutex);
    return mFile.trouble();
}

bool Trace::hasFailed() const {
    std::lock_guard lock(mMutex);
    return mFile.hasFailed();
}

void Trace::write(const What& what, const std::string& more, const std::string& args) {
    std::string text = std::string("{\"ph\":\"") + what.phase + "\"";
    if (what.category != nullptr)
        text.append(",\"cat\":\"").append(what.category).append("\",\"name\":").append(inQuotes(what.name));
    text.append(mProcess).append(",\"tid\":").append(std::to_string(what.track)).append(more);
    // The time is taken under the lock, so that it never runs backwards from event to event.
    std::lock_guard lock(mMutex);
    text.append(",\"ts\":").append(stamp(mClock()));
    mFile.append(text.append(",\"args\":").append(args).append("}"));
}

void Trace::nameTrack(const char* what, Track track, const std::string& name) {
    mFile.append(std::string("{\"ph\":\"M\",\"name\":\"") + what + "\"" + mProcess + ",\"tid\":" +
                 std::to_string(track) + ",\"args\":" + TraceArgs().add("name", name).json() + "}");
}

uint64_t monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

} // namespace zebhost
