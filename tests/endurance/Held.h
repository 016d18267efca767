#pragma once

#include <cstddef>
#include <vector>

namespace zebtest {

/** What this process holds at a moment. */
struct Held {
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t threads = 0;
    /** Allocated and not freed. The sanitizers' allocators report none; the leak sanitizer looks instead. */
    std::ptrdiff_t bytes = 0;

    bool operator==(const Held&) const = default;
};

Held held();

/** The same once nothing changes any more: the bed's thread puts its ends of things away a little later. */
Held heldAtRest();

/** Bytes of memory that are resident. */
std::ptrdiff_t residentBytes();

/** A look at the process after so many cycles. */
struct Sample {
    int cycles = 0;
    Held held{};
    std::ptrdiff_t resident = 0;
    /** Processor time of each cycle since the sample before, in µs. */
    double cycleUs = 0;
};

/** By how much a value grows with each cycle: the slope of the line that fits the samples best. */
double slope(const std::vector<Sample>& samples, double (*value)(const Sample&));

/** The samples as a table for people, and under it the slope of each column. */
void printTable(const std::vector<Sample>& samples);

} // namespace zebtest
