#include "tests/reliability/Resources.h"

#include "tests/reliability/Bus.h"
#include "tests/reliability/Faults.h"
#include "tests/support/OpenDescriptors.h"

#include <filesystem>
#include <iterator>
#include <ostream>
#include <poll.h>

namespace zebtest {

namespace {

constexpr int kTurns = 100'000;
constexpr int kStillTurns = 20;

} // namespace

int countEntries(const char* folder) {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<int>(std::distance(Iterator(folder), Iterator()));
}

Resources Resources::now() {
    return {countOpenDescriptors(), countEntries("/proc/self/task"), Faults::liveBlocks()};
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
    Bus::instance().rest();
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
