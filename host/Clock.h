#pragma once

#include <cstdint>

namespace zebhost {

/** CLOCK_MONOTONIC in µs: the clock of the lines and of the timers. */
uint64_t monotonicMicroseconds();

} // namespace zebhost
