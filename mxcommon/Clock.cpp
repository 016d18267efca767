#include "mxcommon/Clock.h"

#include <ctime>
#include <sys/time.h>

namespace mxcommon {

Clock::time_point Clock::now() {
    timespec monotonic{};
    if (::clock_gettime(CLOCK_MONOTONIC, &monotonic) == 0) {
        return time_point(duration(rep{monotonic.tv_sec} * 1000 + monotonic.tv_nsec / 1'000'000));
    }
    timeval wall{};
    ::gettimeofday(&wall, nullptr);
    return time_point(duration(rep{wall.tv_sec} * 1000 + wall.tv_usec / 1000));
}

} // namespace mxcommon
