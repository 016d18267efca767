#pragma once

#include "host/Output.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace zebhost {

/**
 * The SDK strings, every one accounted for. The host copies what it is handed and frees it at
 * once, so a string that is alive is the plug-in's to free or to hand over. [any-thread]
 *
 * Freed memory is kept for a while, overwritten: so a string that is freed twice is recognised
 * and not taken for a newer one at the same address, and what is read through a stale pointer
 * looks wrong.
 */
class Strings {
public:
    /** output must outlive this. */
    explicit Strings(Output& output) : mOutput(output) {}

    /** A copy of text (length -1: up to its terminator), or with a null text a zeroed buffer of length
     *  bytes. Null without memory or sense. */
    char* allocate(const char* text, int32_t length) noexcept;

    /** The plug-in frees a string; null is no string and free to free. */
    void release(char* string);

    /** The plug-in hands a string over to the host: its text, and the string is freed. None, and a
     *  violation, when it is not one of the plug-in's. giver says which callback or operation. */
    std::optional<std::string> take(char* string, const char* giver);

    bool isAlive(const char* string) const;

    /** A violation for every string that is left. */
    void reportLeaks();

private:
    struct Block {
        std::unique_ptr<char[]> bytes;
        size_t size;
    };

    bool retire(char* string);
    bool wasFreed(const char* string) const;

    Output& mOutput;
    mutable std::mutex mMutex;
    std::unordered_map<const char*, Block> mAlive;
    std::deque<Block> mFreed;
    size_t mFreedBytes = 0;
};

} // namespace zebhost
