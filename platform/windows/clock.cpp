#include "platform/clock.h"

#include <windows.h>

#include "platform/windows/file_time.h"

namespace veltrane {

std::int64_t UtcTicks() {
  FILETIME time{};
  GetSystemTimePreciseAsFileTime(&time);
  return UnixTicks(time);
}

std::uint64_t UptimeMilliseconds() { return GetTickCount64(); }

void SleepMilliseconds(std::uint32_t milliseconds) { Sleep(milliseconds); }

}  // namespace veltrane
