#pragma once

namespace zebtest {

/**
 * While one lives, what its thread allocates is the test support's own: it neither fails nor counts where
 * FailingNew makes memory fail, so that remembering a call never changes what the code under test meets.
 */
class OwnMemory {
public:
    OwnMemory() { ++depth(); }
    ~OwnMemory() { --depth(); }
    OwnMemory(const OwnMemory&) = delete;
    OwnMemory& operator=(const OwnMemory&) = delete;

    static bool isBeingAsked() { return depth() > 0; }

private:
    static int& depth() {
        static thread_local int depth = 0;
        return depth;
    }
};

} // namespace zebtest
