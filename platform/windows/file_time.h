#pragma once

// Times of Windows in the units of platform/clock.h.

#include <windows.h>

#include <cstdint>

namespace veltrane {

// Returns a FILETIME, which counts from 1601-01-01, in ticks since 1970-01-01.
inline std::int64_t UnixTicks(const FILETIME& time) {
  constexpr std::int64_t kUnixEpochTicks = 116'444'736'000'000'000;
  const ULARGE_INTEGER ticks{{time.dwLowDateTime, time.dwHighDateTime}};
  return static_cast<std::int64_t>(ticks.QuadPart) - kUnixEpochTicks;
}

}  // namespace veltrane
