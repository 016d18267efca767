#include "phones/demo/HostProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zebphones {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLook{10};

std::vector<std::string> environmentWith(const std::string& preload) {
    constexpr std::string_view kPreload = "LD_PRELOAD=";
    std::vector<std::string> all = {std::string(kPreload) + preload};
    for (char** entry = environ; *entry; ++entry) {
        if (!std::string_view(*entry).starts_with(kPreload))
            all.emplace_back(*entry);
    }
    return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    for (std::string& text : texts)
        all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

pid_t spawn(std::vector<std::string> arguments, std::vector<std::string> environment, int output) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, arguments[0].c_str(), &actions, nullptr, pointers(arguments).data(),
                                    pointers(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), "can't start " + arguments[0]);
    return pid;
}

} // namespace

HostProcess::HostProcess(const std::vector<std::string>& arguments, const std::string& preload,
                         ShowLine show) :
    mShow(std::move(show)) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) < 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    mOutput = ends[0];
    try {
        mPid = spawn(arguments, environmentWith(preload), ends[1]);
    } catch (...) {
        ::close(ends[0]);
        ::close(ends[1]);
        throw;
    }
    ::close(ends[1]);
}

HostProcess::~HostProcess() {
    if (mPid > 0) {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
    ::close(mOutput);
}

bool HostProcess::awaitLine(const std::vector<std::string>& texts, milliseconds limit) {
    return awaitOneOf(texts, limit).has_value();
}

std::optional<std::size_t> HostProcess::awaitOneOf(const std::vector<std::string>& texts,
                                                   milliseconds limit) {
    std::optional<std::size_t> which;
    awaitCondition(
        [&] {
            for (auto line = mUnseen.begin(); line != mUnseen.end() && !which; ++line) {
                const auto found = std::find_if(texts.begin(), texts.end(), [&line](const std::string& text) {
                    return line->find(text) != std::string::npos;
                });
                if (found == texts.end())
                    continue;
                which = static_cast<std::size_t>(found - texts.begin());
                // What follows the line is still to be looked at by the next wait.
                mUnseen.erase(mUnseen.begin(), line + 1);
                break;
            }
            return which.has_value();
        },
        limit);
    return which;
}

bool HostProcess::awaitCondition(const std::function<bool()>& condition, milliseconds limit) {
    const auto end = Clock::now() + limit;
    bool open = true;
    while (!condition()) {
        if (!open || Clock::now() >= end)
            return false;
        open = pump(kLook);
    }
    return true;
}

void HostProcess::showFor(milliseconds time) {
    awaitCondition([] { return false; }, time);
}

std::optional<int> HostProcess::stop(milliseconds limit) {
    ::kill(mPid, SIGTERM);
    const auto end = Clock::now() + limit;
    while (pump(kLook)) {
        if (Clock::now() >= end)
            return std::nullopt;
    }
    int status = 0;
    ::waitpid(std::exchange(mPid, -1), &status, 0);
    return WIFEXITED(status) ? std::optional<int>(WEXITSTATUS(status)) : std::nullopt;
}

bool HostProcess::pump(milliseconds wait) {
    mWhileWaiting();
    pollfd ready{mOutput, POLLIN, 0};
    const int count = ::poll(&ready, 1, static_cast<int>(wait.count()));
    if (count < 0 && errno == EINTR)
        throw std::runtime_error("interrupted");
    if (count <= 0)
        return true;
    std::array<char, 4096> chunk{};
    const ssize_t length = ::read(mOutput, chunk.data(), chunk.size());
    if (length <= 0)
        return false;
    mUnfinished.append(chunk.data(), static_cast<std::size_t>(length));
    showWholeLines();
    return true;
}

void HostProcess::showWholeLines() {
    for (auto end = mUnfinished.find('\n'); end != std::string::npos; end = mUnfinished.find('\n')) {
        const std::string line = mUnfinished.substr(0, end);
        mUnfinished.erase(0, end + 1);
        mShow(line);
        mUnseen.push_back(line);
    }
}

} // namespace zebphones
