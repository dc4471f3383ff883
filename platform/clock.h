#pragma once

// The time of day, and waiting. May be called on any thread.

#include <cstdint>

namespace veltrane {

inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

// The current UTC time in 100-nanosecond ticks since 1970-01-01 00:00:00.
std::int64_t UtcTicks();

// Suspends the calling thread for this many milliseconds (Sleep).
void SleepMilliseconds(std::uint32_t milliseconds);

}  // namespace veltrane
