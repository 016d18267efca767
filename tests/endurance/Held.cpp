#include "tests/endurance/Held.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <poll.h>
#include <unistd.h>

namespace zebtest {
namespace {

std::ptrdiff_t countOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

struct Column {
    const char* title;
    int width;
    int decimals;
    double (*value)(const Sample&);
};

constexpr Column kColumns[] = {
    {"descriptors", 12, 0, [](const Sample& s) { return static_cast<double>(s.held.descriptors); }},
    {"threads", 8, 0, [](const Sample& s) { return static_cast<double>(s.held.threads); }},
    {"bytes in use", 14, 0, [](const Sample& s) { return static_cast<double>(s.held.bytes); }},
    {"resident", 12, 0, [](const Sample& s) { return static_cast<double>(s.resident); }},
    {"us/cycle", 10, 1, [](const Sample& s) { return s.cycleUs; }},
};

} // namespace

Held held() {
    return {countOf("/proc/self/fd"), countOf("/proc/self/task"),
            static_cast<std::ptrdiff_t>(mallinfo2().uordblks)};
}

Held heldAtRest() {
    Held last = held();
    for (int same = 0, looks = 0; same < 5 && looks < 200; ++looks) {
        ::poll(nullptr, 0, 10);
        const Held now = held();
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

std::ptrdiff_t residentBytes() {
    std::ptrdiff_t all = 0;
    std::ptrdiff_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

double slope(const std::vector<Sample>& samples, double (*value)(const Sample&)) {
    double meanX = 0;
    double meanY = 0;
    const auto count = static_cast<double>(samples.size());
    for (const Sample& sample : samples) {
        meanX += sample.cycles / count;
        meanY += value(sample) / count;
    }
    double together = 0;
    double alone = 0;
    for (const Sample& sample : samples) {
        together += (sample.cycles - meanX) * (value(sample) - meanY);
        alone += (sample.cycles - meanX) * (sample.cycles - meanX);
    }
    return alone > 0 ? together / alone : 0;
}

void printTable(const std::vector<Sample>& samples) {
    std::printf("%8s", "cycles");
    for (const Column& column : kColumns)
        std::printf(" %*s", column.width, column.title);
    for (const Sample& sample : samples) {
        std::printf("\n%8d", sample.cycles);
        for (const Column& column : kColumns)
            std::printf(" %*.*f", column.width, column.decimals, column.value(sample));
    }
    std::printf("\n%8s", "slope");
    for (const Column& column : kColumns)
        std::printf(" %*.4f", column.width, slope(samples, column.value));
    std::printf("\n");
}

} // namespace zebtest
