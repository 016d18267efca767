#include "tests/host/LiveRun.h"

#include "tests/host/KeptLines.h"

#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace zebhost {
namespace {

constexpr int kPatienceMs = 100000;

bool hasAll(const nlohmann::json& line, const nlohmann::json& members) {
    for (const auto& [key, value] : members.items()) {
        if (!line.contains(key) || line[key] != value)
            return false;
    }
    return true;
}

} // namespace

LiveRun::LiveRun(RunOptions options) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    mReader = ends[0];
    mpWriter = fdopen(ends[1], "w");
    options.json = true;
    mThread = std::thread([this, options] {
        try {
            mStatus = run(options, mpWriter);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
        std::fclose(mpWriter);
    });
}

LiveRun::~LiveRun() {
    if (mThread.joinable())
        end();
    close(mReader);
}

nlohmann::json LiveRun::waitFor(const nlohmann::json& members) {
    while (readLine()) {
        if (hasAll(mLines.back(), members))
            return mLines.back();
    }
    ADD_FAILURE() << "there was no " << members << " among " << nlohmann::json(mLines).dump(1);
    return nullptr;
}

bool LiveRun::read(size_t lines) {
    while (mLines.size() < lines) {
        if (!readLine())
            return false;
    }
    return true;
}

ExitStatus LiveRun::end() {
    // For this process alone, and blocked on each thread: the run's loop gets it.
    kill(getpid(), SIGTERM);
    while (readLine()) {
    }
    mThread.join();
    return mStatus;
}

std::vector<std::string> LiveRun::story() const {
    std::vector<std::string> told;
    for (const nlohmann::json& line : mLines) {
        std::string short_ = line["event"];
        for (const char* member : {"action", "key", "level", "text"}) {
            if (line.contains(member))
                short_ +=
                    " " + (line[member].is_string() ? line[member].get<std::string>() : line[member].dump());
        }
        told.push_back(short_);
    }
    return told;
}

std::vector<std::string> LiveRun::of(const std::string& event, const std::string& member) const {
    std::vector<std::string> values;
    for (const nlohmann::json& line : mLines) {
        if (line["event"] == event)
            values.push_back(line[member].is_string() ? line[member].get<std::string>()
                                                      : line[member].dump());
    }
    return values;
}

bool LiveRun::readLine() {
    size_t end = std::string::npos;
    while ((end = mUnread.find('\n')) == std::string::npos) {
        if (!fill(kPatienceMs))
            return false;
    }
    keepLines(mUnread.substr(0, end));
    mLines.push_back(nlohmann::json::parse(mUnread.substr(0, end)));
    mUnread.erase(0, end + 1);
    return true;
}

void LiveRun::readFor(std::chrono::milliseconds time) {
    fill(static_cast<int>(time.count()));
    while (mUnread.find('\n') != std::string::npos)
        readLine();
}

bool LiveRun::fill(int patienceMs) {
    pollfd ready{mReader, POLLIN, 0};
    std::array<char, 4096> bytes;
    if (poll(&ready, 1, patienceMs) <= 0)
        return false;
    ssize_t length = ::read(mReader, bytes.data(), bytes.size());
    if (length <= 0)
        return false;
    mUnread.append(bytes.data(), static_cast<size_t>(length));
    return true;
}

} // namespace zebhost
