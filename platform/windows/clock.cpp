#include "platform/clock.h"

#include <windows.h>

namespace veltrane {
namespace {

// The ticks from 1601-01-01, where FILETIME begins, to 1970-01-01.
constexpr std::int64_t kUnixEpochTicks = 116'444'736'000'000'000;

}  // namespace

std::int64_t UtcTicks() {
  FILETIME time{};
  GetSystemTimePreciseAsFileTime(&time);
  const ULARGE_INTEGER ticks{{time.dwLowDateTime, time.dwHighDateTime}};
  return static_cast<std::int64_t>(ticks.QuadPart) - kUnixEpochTicks;
}

void SleepMilliseconds(std::uint32_t milliseconds) { Sleep(milliseconds); }

}  // namespace veltrane
