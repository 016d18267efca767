#pragma once

namespace zebdiscovery {

class OwedCompletion;

/** What the host receives of an operation by a callback: the completions, and an offered device's release. */
enum class Completion { Fetch, Post, Publish, Unpublish, Release };

/** The completions that the running entry points owe the host, innermost first. [host-thread] */
class OwedCompletions {
public:
    /** The completion that these three name has been sent, or whoever keeps them will send it. Says
     *  whether one was owed. */
    bool settle(Completion what, const void* first, const void* second);

private:
    friend class OwedCompletion;
    OwedCompletion* mpInnermost = nullptr;
};

/**
 * One completion that an entry point owes the host while it runs, named by its
 * operation and the key and request (or entity, or device) that came with it. The barrier
 * sends it when the operation failed before anybody settled it: so each is sent
 * exactly once, and the strings that travel with it are neither lost nor handed
 * over twice. The operation is part of the name because an entity that is being
 * published may owe the end of an older withdrawal as well.
 */
class OwedCompletion {
public:
    OwedCompletion(OwedCompletions& all, Completion what, const void* first, const void* second) :
        mAll(all), mpOuter(all.mpInnermost), mWhat(what), mpFirst(first), mpSecond(second) {
        all.mpInnermost = this;
    }
    ~OwedCompletion() { mAll.mpInnermost = mpOuter; }
    OwedCompletion(const OwedCompletion&) = delete;
    OwedCompletion& operator=(const OwedCompletion&) = delete;

    bool isOwed() const { return mOwed; }

private:
    friend class OwedCompletions;
    bool isFor(Completion what, const void* first, const void* second) const {
        return mWhat == what && mpFirst == first && mpSecond == second;
    }

    OwedCompletions& mAll;
    OwedCompletion* const mpOuter;
    const Completion mWhat;
    const void* const mpFirst;
    const void* const mpSecond;
    bool mOwed = true;
};

inline bool OwedCompletions::settle(Completion what, const void* first, const void* second) {
    for (OwedCompletion* owed = mpInnermost; owed; owed = owed->mpOuter) {
        if (owed->mOwed && owed->isFor(what, first, second)) {
            owed->mOwed = false;
            return true;
        }
    }
    return false;
}

} // namespace zebdiscovery
