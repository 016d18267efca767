// zebhost as a child process on the emulated machine: started with what makes it see
// the bed, its output shown line by line as it comes.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace zebphones {

class HostProcess {
public:
    using ShowLine = std::function<void(const std::string&)>;

    // arguments starts with the program; preload goes to LD_PRELOAD. show gets every line
    // that the child prints, on either of its outputs.
    HostProcess(const std::vector<std::string>& arguments, const std::string& preload, ShowLine show);
    // Kills a child that still runs.
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    pid_t pid() const { return mPid; }
    // Called every few milliseconds in all that follows.
    void whileWaiting(std::function<void()> handler) { mWhileWaiting = std::move(handler); }
    // Show lines until one contains one of the texts; false when none did in time.
    bool awaitLine(const std::vector<std::string>& texts, std::chrono::milliseconds limit);
    bool awaitLine(const std::string& text, std::chrono::milliseconds limit) {
        return awaitLine(std::vector<std::string>{text}, limit);
    }
    // The same, and which of them it was.
    std::optional<std::size_t> awaitOneOf(const std::vector<std::string>& texts,
                                          std::chrono::milliseconds limit);
    // Show lines until the condition, looked at again and again, holds; false when it did not in time.
    bool awaitCondition(const std::function<bool()>& condition, std::chrono::milliseconds limit);
    // Show what comes in this time.
    void showFor(std::chrono::milliseconds time);
    // SIGTERM, and show what comes until the child has ended: its exit status, or nothing
    // when it did not end in time or not by exiting.
    std::optional<int> stop(std::chrono::milliseconds limit);

private:
    using Clock = std::chrono::steady_clock;

    // Waits for output and shows it; false at the end of the output.
    bool pump(std::chrono::milliseconds wait);
    void showWholeLines();

    ShowLine mShow;
    std::function<void()> mWhileWaiting = [] {};
    pid_t mPid = -1;
    int mOutput = -1;
    std::string mUnfinished;
    std::vector<std::string> mUnseen;
};

} // namespace zebphones
