#pragma once

#include <chrono>
#include <cstdint>

namespace mxcommon {

/**
 * Milliseconds of the monotonic clock; of the wall clock, which may step back, where
 * the monotonic one can't be read.
 */
struct Clock {
    using rep = std::int64_t;
    using period = std::milli;
    using duration = std::chrono::duration<rep, period>;
    using time_point = std::chrono::time_point<Clock>;
    static constexpr bool is_steady = false;

    static time_point now();
};

} // namespace mxcommon
