#include "tests/fuzz/Choices.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace zebtest {

std::uint32_t Choices::next(std::size_t bytes) {
    if (!mFromBytes) {
        // splitmix64
        mState += 0x9e3779b97f4a7c15;
        std::uint64_t z = mState;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return static_cast<std::uint32_t>((z ^ (z >> 31)) >> 32);
    }
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes && mLeft > 0; ++i, --mLeft)
        value = value << 8 | *mpBytes++;
    return value;
}

std::uint32_t Choices::below(std::uint32_t limit) {
    if (limit <= 1)
        return 0;
    return next(limit <= 0x100 ? 1 : limit <= 0x10000 ? 2 : 4) % limit;
}

void fail(const char* format, ...) {
    std::fputs("not as the model says: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
    std::abort();
}

} // namespace zebtest
