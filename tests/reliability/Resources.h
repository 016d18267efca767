#pragma once

#include <iosfwd>

namespace zebtest {

/** What this process holds. */
struct Resources {
    int descriptors;
    int threads;
    /** As Faults counts them: the plug-in's and libusb's. */
    long blocks;

    static Resources now();
    /** The same, when those who close asynchronously (the emulated bus, a thread's end) have done so: waits,
     *  but not for ever, until there is as much as expected. */
    static Resources atRest(const Resources& expected);
    /** The same with nothing known: waits until the figures stand still. */
    static Resources atRest();
    bool operator==(const Resources&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Resources& resources);
};

/** Entries of a folder of /proc/self. */
int countEntries(const char* folder);

} // namespace zebtest
