#include "tests/support/HostStrings.h"

#include "tests/support/OwnMemory.h"

#include <cstring>

namespace zebtest {

namespace {

constexpr char kReturned = '\x5a';

} // namespace

char* HostStrings::make(const char* text, int length) {
    if (length < (text ? -1 : 0))
        mViolations.push_back("allocString: no length: " + std::to_string(length));
    const std::size_t size = length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text);
    auto memory = std::make_unique<char[]>(size + 1);
    if (text)
        std::memcpy(memory.get(), text, size);
    char* result = memory.get();
    mEntries.emplace(result, Entry{std::move(memory), size, false});
    ++mMade;
    mLastLength = length;
    return result;
}

void HostStrings::takeBack(char* string, const char* who) {
    if (!string)
        return;
    const auto found = mEntries.find(string);
    if (found == mEntries.end()) {
        mViolations.push_back(std::string(who) + ": a string that the host never made");
    } else if (found->second.returned) {
        mViolations.push_back(std::string(who) + ": a string that had already come back");
    } else {
        found->second.returned = true;
        std::memset(string, kReturned, found->second.size);
    }
}

bool HostStrings::isOutstanding(const char* string) const {
    const auto found = mEntries.find(string);
    return found != mEntries.end() && !found->second.returned;
}

std::vector<std::string> HostStrings::outstanding() const {
    std::vector<std::string> texts;
    for (const auto& [string, entry] : mEntries) {
        if (!entry.returned)
            texts.emplace_back(string);
    }
    return texts;
}

Argument HostStrings::describe(const char* text, int length) {
    const OwnMemory own;
    if (text && length >= 0)
        return std::string(text, static_cast<std::size_t>(length));
    return text;
}

Argument HostStrings::describe(const char* string) const {
    const OwnMemory own;
    if (mEntries.contains(string))
        return string;
    return static_cast<const void*>(string);
}

} // namespace zebtest
