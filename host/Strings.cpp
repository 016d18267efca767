#include "host/Strings.h"

#include <algorithm>
#include <cstring>

namespace zebhost {
namespace {

constexpr size_t kKeptStrings = 256;
constexpr size_t kKeptBytes = 64 * 1024;
constexpr char kFreedByte = '\x5a';

} // namespace

char* Strings::allocate(const char* text, int32_t length) noexcept try {
    if (length < -1 || (text == nullptr && length == -1))
        return nullptr;
    size_t wanted = length == -1 ? std::strlen(text) : static_cast<size_t>(length);
    // One more, so that there always is a terminator.
    Block block{std::make_unique<char[]>(wanted + 1), wanted + 1};
    if (text != nullptr)
        std::memcpy(block.bytes.get(), text, wanted);

    char* string = block.bytes.get();
    std::lock_guard lock(mMutex);
    mAlive.emplace(string, std::move(block));
    return string;
} catch (const std::bad_alloc&) {
    return nullptr;
}

void Strings::release(char* string) {
    if (string == nullptr)
        return;
    std::lock_guard lock(mMutex);
    if (!retire(string))
        mOutput.violation(wasFreed(string) ? "freeString: a string was freed twice"
                                           : "freeString: not a string of the host's");
}

std::optional<std::string> Strings::take(char* string, const char* giver) {
    if (string == nullptr)
        return std::nullopt;
    std::lock_guard lock(mMutex);
    if (!mAlive.contains(string)) {
        mOutput.violation(std::string(giver) + (wasFreed(string) ? ": hands over a string that was freed"
                                                                 : ": hands over what is no SDK string"));
        return std::nullopt;
    }
    std::string text = string;
    retire(string);
    return text;
}

bool Strings::isAlive(const char* string) const {
    std::lock_guard lock(mMutex);
    return mAlive.contains(string);
}

void Strings::reportLeaks() {
    std::lock_guard lock(mMutex);
    for (const auto& [string, block] : mAlive)
        mOutput.violation(std::string("a string was never freed: \"") + string + "\"");
    mAlive.clear();
}

bool Strings::retire(char* string) {
    auto found = mAlive.find(string);
    if (found == mAlive.end())
        return false;
    Block block = std::move(found->second);
    mAlive.erase(found);
    std::memset(block.bytes.get(), kFreedByte, block.size - 1);

    mFreedBytes += block.size;
    mFreed.push_back(std::move(block));
    while (mFreed.size() > kKeptStrings || mFreedBytes > kKeptBytes) {
        mFreedBytes -= mFreed.front().size;
        mFreed.pop_front();
    }
    return true;
}

bool Strings::wasFreed(const char* string) const {
    return std::any_of(mFreed.begin(), mFreed.end(),
                       [string](const Block& block) { return block.bytes.get() == string; });
}

} // namespace zebhost
