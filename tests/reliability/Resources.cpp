#include "tests/reliability/Resources.h"

#include "tests/reliability/Faults.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <poll.h>
#include <string>
#include <sys/socket.h>

namespace zebtest {

namespace {

constexpr int kTurns = 2000;
constexpr int kStillTurns = 20;

/** The emulated bus talks to its clients over local sockets, and lets go of its ends when it likes. */
bool isTheBussOwn(const std::filesystem::path& descriptor) {
    int domain = 0;
    socklen_t size = sizeof(domain);
    return getsockopt(std::stoi(descriptor.filename()), SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
           domain == AF_UNIX;
}

int countDescriptors() {
    std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<int>(
        std::count_if(begin(all), end(all), [](const auto& entry) { return !isTheBussOwn(entry.path()); }));
}

} // namespace

int countEntries(const char* folder) {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<int>(std::distance(Iterator(folder), Iterator()));
}

Resources Resources::now() {
    // Counting opens one more descriptor each time, always the same.
    return {countDescriptors(), countEntries("/proc/self/task"), Faults::liveBlocks()};
}

Resources Resources::atRest(const Resources& expected) {
    Resources found = now();
    for (int turn = 0; turn < kTurns && found != expected; ++turn) {
        poll(nullptr, 0, 1);
        found = now();
    }
    return found;
}

Resources Resources::atRest() {
    Resources last = now();
    for (int still = 0; still < kStillTurns; ++still) {
        poll(nullptr, 0, 1);
        const Resources next = now();
        if (next != last)
            still = 0;
        last = next;
    }
    return last;
}

std::ostream& operator<<(std::ostream& out, const Resources& resources) {
    return out << resources.descriptors << " descriptors, " << resources.threads << " threads, "
               << resources.blocks << " blocks";
}

} // namespace zebtest
