#pragma once

#include "tests/support/Call.h"
#include "tests/support/OwnMemory.h"

#include <initializer_list>
#include <vector>

namespace zebtest {

/** What a recorded call was. */
enum class Kind {
    /** A callback of the host's but those below. */
    Callback,
    /** log(severity, text) */
    Log,
    /** isLogLevelEnabled(severity) */
    LevelQuery,
    /** allocString(text, length), freeString(text) */
    String,
    /** errorText(code) */
    ErrorText,
    /** A call that a double below the code under test has seen: libusb's, the system's, a scripted part's. */
    Below,
};

/**
 * Everything that happened around the code under test, in the order in which it happened. The fake host has
 * one and writes into it; the doubles below the code write into the one there is, by note(). [any-thread]
 */
class Record {
public:
    Record();
    ~Record();
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    template <class... Arguments>
    void write(Kind kind, const char* name, const Arguments&... arguments) {
        const OwnMemory own;
        add(kind, {name, {Argument(arguments)...}});
    }

    /** Into the record that there is; without one the call is forgotten. */
    template <class... Arguments>
    static void note(const char* name, const Arguments&... arguments) {
        const OwnMemory own;
        noteCall({name, {Argument(arguments)...}});
    }

    /** All of it but the kinds named. */
    std::vector<Call> all(std::initializer_list<Kind> without = {}) const;
    /** The same; then the whole record is forgotten, the kinds named too. */
    std::vector<Call> take(std::initializer_list<Kind> without = {});
    /** The calls of one kind. */
    std::vector<Call> of(Kind kind) const;
    /** The same, which are then forgotten. */
    std::vector<Call> takeOf(Kind kind);

private:
    struct Entry {
        Kind kind;
        Call call;
    };

    void add(Kind kind, Call call);
    static void noteCall(Call call);

    std::vector<Entry> mEntries;
};

} // namespace zebtest
