#pragma once

#include <cstddef>
#include <cstdint>

namespace zebtest {

/**
 * Where everything that is arbitrary in a run comes from: a seed, or the bytes that a fuzzer made up. The
 * same source gives the same run on every machine. Once the bytes are used up all choices are 0, which is
 * therefore always the calm one.
 */
class Choices {
public:
    explicit Choices(std::uint64_t seed) : mState(seed) {}
    /** The bytes stay the caller's and must outlive the object. */
    Choices(const std::uint8_t* bytes, std::size_t size) : mpBytes(bytes), mLeft(size), mFromBytes(true) {}

    /** 0 to limit - 1. */
    std::uint32_t below(std::uint32_t limit);
    /** True once in n. */
    bool rarely(std::uint32_t n) { return below(n) == n - 1; }
    template <class T, std::size_t N>
    const T& of(const T (&values)[N]) {
        return values[below(N)];
    }
    /** Never with a seed. */
    bool isUsedUp() const { return mFromBytes && mLeft == 0; }

private:
    std::uint32_t next(std::size_t bytes);

    std::uint64_t mState = 0;
    const std::uint8_t* mpBytes = nullptr;
    std::size_t mLeft = 0;
    bool mFromBytes = false;
};

/** What a run found: prints it with where it was, and ends the process. */
[[noreturn]] void fail(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace zebtest
