#pragma once

// The time of day, and waiting.
// Units: ticks of 100 nanoseconds, and milliseconds.
// Threads: any.
// Windows: "System Time".

#include <cstdint>

namespace veltrane {

inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

// Returns the current UTC time in ticks since 1970-01-01 00:00:00
// (GetSystemTimePreciseAsFileTime).
std::int64_t UtcTicks();

// Returns how long ago Windows was started, sleep and hibernation included (GetTickCount64).
std::uint64_t UptimeMilliseconds();

// Suspends the calling thread (Sleep).
void SleepMilliseconds(std::uint32_t milliseconds);

}  // namespace veltrane
