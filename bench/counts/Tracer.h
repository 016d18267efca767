#pragma once

#include <cstdint>
#include <functional>

namespace zebbench {

/** What an operation did, as far as it can be counted here. */
struct Traced {
    bool isKnown = false;
    /** In user space, as many as were executed. */
    long instructions = 0;
    long systemCalls = 0;
};

/**
 * Runs a program's measurements in a child process, under the eyes of the parent, who stops it at each
 * system call, or after each instruction. Where a process can't be traced (under user emulation) the child
 * runs all the same and nothing is known.
 */
class Tracer {
public:
    /** Returns in the child alone; the parent exits with the child's status when that ends. */
    Tracer();

    /** In the child: call the operation twice, once for each count, and after each time what undoes it. */
    Traced count(const std::function<void()>& operation, const std::function<void()>& undo);

private:
    struct Shared;

    void mark() const;
    [[noreturn]] void watch(int child) const;
    Traced countMarked(const std::function<void()>& operation, const std::function<void()>& undo);

    Shared* mpShared;
    bool mIsTraced = false;
    Traced mOverhead;
};

} // namespace zebbench
