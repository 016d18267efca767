#pragma once

#include "tests/support/Call.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zebtest {

/**
 * The strings of a fake host, each accounted for: every one that was made must go back exactly once.
 * Returned strings stay in quarantine, overwritten, so that a second return and a late read are found.
 */
class HostStrings {
public:
    explicit HostStrings(std::vector<std::string>& violations) : mViolations(violations) {}

    /** A new string: a copy of text, or length bytes when text is null; length -1 means all of text. */
    char* make(const char* text, int length);

    /** Take a string back. Null is allowed; anything else must be outstanding. who names the callback. */
    void takeBack(char* string, const char* who);

    /** Is this one of ours that has not come back yet? */
    bool isOutstanding(const char* string) const;

    /** The texts that have not come back. */
    std::vector<std::string> outstanding() const;

    /** What is to be copied, for the record. */
    static Argument describe(const char* text, int length);
    /** A string that comes back, for the record: its text; its address when it was never ours. */
    Argument describe(const char* string) const;

    std::size_t made() const { return mMade; }
    /** With which the last string was asked for. */
    int lastLength() const { return mLastLength; }

private:
    struct Entry {
        std::unique_ptr<char[]> memory;
        std::size_t size;
        bool returned;
    };

    std::map<const char*, Entry> mEntries;
    std::vector<std::string>& mViolations;
    std::size_t mMade = 0;
    int mLastLength = 0;
};

} // namespace zebtest
