#pragma once

#include <cstddef>
#include <vector>

namespace zebtest {

/**
 * Replaces operator new of the program that links it, so that a test can make allocations fail and see how
 * large they are. Only the thread that says so is affected, and only until the object goes.
 */
class FailingNew {
public:
    /** Fail the n-th allocation from now on (1: the next one), and only that one; 0: none. */
    static FailingNew at(int n) { return FailingNew(n, false); }
    /** Fail all of them. */
    static FailingNew always() { return FailingNew(1, true); }
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    /** Sizes in bytes of what was asked for since the object was made, the first 64 of them. */
    std::vector<std::size_t> sizes() const;
    /** Has the allocation that was to fail been asked for? */
    bool hasFailed() const;

private:
    FailingNew(int n, bool always);
};

/** Allocations of the whole program by operator new that have not been freed. */
long liveAllocations();

/**
 * What operator delete leaves behind, so that whoever goes on reading it is found out: a flag that is set,
 * unless an object of this class says otherwise while it lives. 0 is for whoever would be stopped by that.
 */
class FreedMemory {
public:
    static FreedMemory isOverwrittenWith(unsigned char byte) { return FreedMemory(byte); }
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;

private:
    explicit FreedMemory(unsigned char byte);
};

} // namespace zebtest
