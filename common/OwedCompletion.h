#pragma once

namespace zebdiscovery {

class OwedCompletion;

/** The completions that the running entry points owe the host, innermost first. [host-thread] */
class OwedCompletions {
public:
    /** The completion that these two name has been sent, or whoever keeps them will send it. */
    void settle(const void* first, const void* second);

private:
    friend class OwedCompletion;
    OwedCompletion* mpInnermost = nullptr;
};

/**
 * One completion that an entry point owes the host while it runs, named by the key
 * and request (or entity) that came with it. The barrier sends it when the
 * operation failed before anybody settled it: so each is sent exactly once, and
 * the strings that travel with it are neither lost nor handed over twice.
 */
class OwedCompletion {
public:
    OwedCompletion(OwedCompletions& all, const void* first, const void* second) :
        mAll(all), mpOuter(all.mpInnermost), mpFirst(first), mpSecond(second) {
        all.mpInnermost = this;
    }
    ~OwedCompletion() { mAll.mpInnermost = mpOuter; }
    OwedCompletion(const OwedCompletion&) = delete;
    OwedCompletion& operator=(const OwedCompletion&) = delete;

    bool isOwed() const { return mOwed; }

private:
    friend class OwedCompletions;
    OwedCompletions& mAll;
    OwedCompletion* const mpOuter;
    const void* const mpFirst;
    const void* const mpSecond;
    bool mOwed = true;
};

inline void OwedCompletions::settle(const void* first, const void* second) {
    for (OwedCompletion* owed = mpInnermost; owed; owed = owed->mpOuter) {
        if (owed->mOwed && owed->mpFirst == first && owed->mpSecond == second) {
            owed->mOwed = false;
            return;
        }
    }
}

} // namespace zebdiscovery
